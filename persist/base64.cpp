// Table-driven Base64: two characters per 12 bits when encoding; when decoding,
// one table gives each character's value shifted into place, with a marker bit
// for bytes outside the alphabet, so a group of four is checked with one test.
#include <kwlib63/persist/base64.h>

#include <array>
#include <cstdint>
#include <cstring>

#include <kwlib63/persist/base64_impl.h>

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t kBad = 0x80000000u;

constexpr std::array<std::uint16_t, 4096> MakePairs() {
  std::array<std::uint16_t, 4096> t{};
  for (unsigned i = 0; i < 4096; ++i) {
    // Little-endian: the first character is the low byte.
    t[i] = static_cast<std::uint16_t>(static_cast<unsigned char>(kAlphabet[i >> 6]) |
                                      static_cast<unsigned char>(kAlphabet[i & 63]) << 8);
  }
  return t;
}
constexpr auto kPairs = MakePairs();

// kDecode[k][c]: the value of c placed for position k of a group of four.
constexpr std::array<std::array<std::uint32_t, 256>, 4> MakeDecode() {
  std::array<std::array<std::uint32_t, 256>, 4> t{};
  for (auto& row : t) row.fill(kBad);
  for (unsigned v = 0; v < 64; ++v) {
    const auto c = static_cast<unsigned char>(kAlphabet[v]);
    t[0][c] = v << 18;
    t[1][c] = v << 12;
    t[2][c] = v << 6;
    t[3][c] = v;
  }
  return t;
}
constexpr auto kDecode = MakeDecode();

std::size_t AlphabetLength(const unsigned char* p) {
  std::size_t n = 0;
  while (kDecode[3][p[n]] != kBad) ++n;
  return n;
}

}  // namespace

int Base64encode_len(int nLength) { return ((nLength + 2) / 3) * 4 + 1; }

int Base64encode(char* pOut, const char* pIn, int nLength) {
  const auto* in = reinterpret_cast<const unsigned char*>(pIn);
  char* out = pOut;
  int i = 0;
  for (; i + 3 <= nLength; i += 3, out += 4) {
    const std::uint32_t v = (std::uint32_t{in[i]} << 16) | (std::uint32_t{in[i + 1]} << 8) | in[i + 2];
    const std::uint16_t hi = kPairs[v >> 12], lo = kPairs[v & 0xFFF];
    std::memcpy(out, &hi, 2);
    std::memcpy(out + 2, &lo, 2);
  }
  if (nLength - i == 1) {
    *out++ = kAlphabet[in[i] >> 2];
    *out++ = kAlphabet[(in[i] & 3) << 4];
    *out++ = '=';
    *out++ = '=';
  } else if (nLength - i == 2) {
    *out++ = kAlphabet[in[i] >> 2];
    *out++ = kAlphabet[((in[i] & 3) << 4) | (in[i + 1] >> 4)];
    *out++ = kAlphabet[(in[i + 1] & 15) << 2];
    *out++ = '=';
  }
  *out++ = '\0';
  return static_cast<int>(out - pOut);
}

int Base64decode_len(const char* pCoded) {
  const std::size_t n = AlphabetLength(reinterpret_cast<const unsigned char*>(pCoded));
  return static_cast<int>((n + 3) / 4 * 3 + 1);
}

int Base64decode(char* pOut, const char* pCoded) {
  static const bool wide = kwpersist::Base64WideAvailable();
  return kwpersist::Base64DecodeWith(pOut, pCoded, wide);
}

int kwpersist::Base64DecodeWith(char* pOut, const char* pCoded, bool wide) {
  const auto* in = reinterpret_cast<const unsigned char*>(pCoded);
  // The terminator bounds what may be read, so whole groups are taken with one
  // test; the group holding the first byte outside the alphabet ends the data.
  const std::size_t length = std::strlen(pCoded);
  auto* out = reinterpret_cast<unsigned char*>(pOut);
  std::size_t i = wide ? Base64DecodeWide(in, length, out) : 0;
  out += i / 4 * 3;
  for (; i + 4 <= length; i += 4, out += 3) {
    const std::uint32_t v = kDecode[0][in[i]] | kDecode[1][in[i + 1]] | kDecode[2][in[i + 2]] | kDecode[3][in[i + 3]];
    if (v & kBad) break;
    out[0] = static_cast<unsigned char>(v >> 16);
    out[1] = static_cast<unsigned char>(v >> 8);
    out[2] = static_cast<unsigned char>(v);
  }
  // Fewer than four alphabet characters left: one byte for two, two for three.
  std::uint32_t v = 0;
  std::size_t r = 0;
  for (; r < 3 && i + r < length && kDecode[3][in[i + r]] != kBad; ++r) v |= kDecode[r][in[i + r]];
  if (r >= 2) *out++ = static_cast<unsigned char>(v >> 16);
  if (r >= 3) *out++ = static_cast<unsigned char>(v >> 8);
  *out = '\0';
  return static_cast<int>(out - reinterpret_cast<unsigned char*>(pOut));
}
