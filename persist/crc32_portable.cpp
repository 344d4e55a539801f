// The table engine: slicing by eight bytes, braided over five lanes; and the CPU
// checks that choose between it and the folding engines.
#include <array>
#include <bit>
#include <cstring>

#include <kwlib63/persist/crc32_impl.h>

namespace kwpersist {
namespace {

constexpr std::uint32_t kPolynomial = 0xEDB88320u;

// tables[0] is the byte-wise table; tables[k] advances a byte k positions further.
constexpr std::array<std::array<std::uint32_t, 256>, 8> MakeTables() {
  std::array<std::array<std::uint32_t, 256>, 8> t{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? (c >> 1) ^ kPolynomial : c >> 1;
    t[0][i] = c;
  }
  for (std::size_t k = 1; k < 8; ++k) {
    for (std::size_t i = 0; i < 256; ++i) t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFF];
  }
  return t;
}
constexpr auto kTables = MakeTables();
static_assert(kTables[0][1] == 0x77073096u);

// The word loops read eight bytes at a time with the first byte lowest.
static_assert(std::endian::native == std::endian::little);

// The state after eight more zero bytes.
constexpr std::uint32_t AdvanceWord(std::uint32_t c) {
  return kTables[7][c & 0xFF] ^ kTables[6][(c >> 8) & 0xFF] ^ kTables[5][(c >> 16) & 0xFF] ^ kTables[4][c >> 24];
}

// Braiding: kLanes independent CRCs over interleaved eight-byte words, so that the
// table look-ups of one word do not wait for the previous word's. braid[j][b] is
// the state that byte b at position j of a word leaves for the same lane's next
// word, kLanes words further on.
constexpr std::size_t kLanes = 5;
constexpr std::size_t kBlock = kLanes * 8;

constexpr std::array<std::array<std::uint32_t, 256>, 8> MakeBraidTables() {
  std::array<std::array<std::uint32_t, 256>, 8> t{};
  for (std::size_t j = 0; j < 8; ++j) {
    for (std::size_t b = 0; b < 256; ++b) {
      std::uint32_t c = kTables[7 - j][b];  // the rest of its own word
      for (std::size_t k = 1; k < kLanes; ++k) c = AdvanceWord(c);  // the other lanes' words
      t[j][b] = c;
    }
  }
  return t;
}
constexpr auto kBraid = MakeBraidTables();

inline std::uint64_t LoadWord(const unsigned char* p) {
  std::uint64_t w;
  std::memcpy(&w, p, 8);
  return w;
}

// The eight bytes of `w` fed to the tables `t` from state 0.
inline std::uint32_t WordStep(const std::array<std::array<std::uint32_t, 256>, 8>& t, std::uint64_t w) {
  return t[0][w & 0xFF] ^ t[1][(w >> 8) & 0xFF] ^ t[2][(w >> 16) & 0xFF] ^ t[3][(w >> 24) & 0xFF] ^
         t[4][(w >> 32) & 0xFF] ^ t[5][(w >> 40) & 0xFF] ^ t[6][(w >> 48) & 0xFF] ^ t[7][w >> 56];
}

// The byte-wise tables in the order WordStep reads them: byte 0 of a word has 7
// bytes after it.
constexpr std::array<std::array<std::uint32_t, 256>, 8> MakeWordTables() {
  std::array<std::array<std::uint32_t, 256>, 8> t{};
  for (std::size_t j = 0; j < 8; ++j) t[j] = kTables[7 - j];
  return t;
}
constexpr auto kWord = MakeWordTables();

}  // namespace

std::uint32_t Crc32Portable(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  if (length >= 2 * kBlock) {
    const std::size_t blocks = length / kBlock;
    std::uint32_t s0 = crc, s1 = 0, s2 = 0, s3 = 0, s4 = 0;
    for (std::size_t b = 1; b < blocks; ++b, data += kBlock) {
      s0 = WordStep(kBraid, LoadWord(data) ^ s0);
      s1 = WordStep(kBraid, LoadWord(data + 8) ^ s1);
      s2 = WordStep(kBraid, LoadWord(data + 16) ^ s2);
      s3 = WordStep(kBraid, LoadWord(data + 24) ^ s3);
      s4 = WordStep(kBraid, LoadWord(data + 32) ^ s4);
    }
    // The last block joins the lanes in order.
    crc = WordStep(kWord, LoadWord(data) ^ s0);
    crc = WordStep(kWord, LoadWord(data + 8) ^ s1 ^ crc);
    crc = WordStep(kWord, LoadWord(data + 16) ^ s2 ^ crc);
    crc = WordStep(kWord, LoadWord(data + 24) ^ s3 ^ crc);
    crc = WordStep(kWord, LoadWord(data + 32) ^ s4 ^ crc);
    data += kBlock;
    length -= blocks * kBlock;
  }
  for (; length >= 8; data += 8, length -= 8) crc = WordStep(kWord, LoadWord(data) ^ crc);
  for (; length > 0; ++data, --length) crc = (crc >> 8) ^ kTables[0][(*data ^ crc) & 0xFF];
  return crc;
}

bool Crc32SimdAvailable() {
#if defined(__x86_64__)
  return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
#else
  return false;
#endif
}

bool Crc32WideAvailable() {
#if defined(__x86_64__)
  return Crc32SimdAvailable() && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("vpclmulqdq");
#else
  return false;
#endif
}

const std::uint32_t* Crc32ByteTable() { return kTables[0].data(); }

}  // namespace kwpersist
