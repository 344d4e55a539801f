// The table engine, and the choice between it and the folding one, made once.
#include <kwlib63/persist/crc32.h>

#include <array>
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

}  // namespace

std::uint32_t Crc32Portable(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  const auto& t = kTables;
  for (; length >= 8; data += 8, length -= 8) {
    std::uint32_t lo, hi;
    std::memcpy(&lo, data, 4);
    std::memcpy(&hi, data + 4, 4);
    lo ^= crc;  // little-endian: the first byte is the low one
    crc = t[7][lo & 0xFF] ^ t[6][(lo >> 8) & 0xFF] ^ t[5][(lo >> 16) & 0xFF] ^ t[4][lo >> 24] ^
          t[3][hi & 0xFF] ^ t[2][(hi >> 8) & 0xFF] ^ t[1][(hi >> 16) & 0xFF] ^ t[0][hi >> 24];
  }
  for (; length > 0; ++data, --length) crc = (crc >> 8) ^ t[0][(*data ^ crc) & 0xFF];
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

std::uint32_t Crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  static const auto engine = Crc32WideAvailable() ? &Crc32Wide : Crc32SimdAvailable() ? &Crc32Simd : &Crc32Portable;
  return engine(crc, data, length);
}

}  // namespace kwpersist

unsigned long AfxComputeCRC32(unsigned char* pData, unsigned long long nLength) {
  if (nLength == 0 || pData == nullptr) return 0;
  return ~kwpersist::Crc32Update(0xFFFFFFFFu, pData, static_cast<std::size_t>(nLength));
}

unsigned long AfxUpdateCRC32(char c, unsigned long crc) {
  return (crc >> 8) ^ kwpersist::kTables[0][(static_cast<unsigned char>(c) ^ crc) & 0xFF];
}
