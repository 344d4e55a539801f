// Base64 encoding: a table gives the two characters of each 12 bits, so a group
// of three bytes is two loads; the vector blocks, where the CPU has them, go first.
#include <array>
#include <cstdint>
#include <cstring>

#include <kwlib63/persist/base64_impl.h>

namespace kwpersist {
namespace {

constexpr std::array<std::uint16_t, 4096> MakePairs() {
  std::array<std::uint16_t, 4096> t{};
  for (unsigned i = 0; i < 4096; ++i) {
    // Little-endian: the first character is the low byte.
    t[i] = static_cast<std::uint16_t>(static_cast<unsigned char>(kBase64Alphabet[i >> 6]) |
                                      static_cast<unsigned char>(kBase64Alphabet[i & 63]) << 8);
  }
  return t;
}
constexpr auto kPairs = MakePairs();

}  // namespace

int Base64EncodeWith(char* pOut, const char* pIn, int nLength, bool wide) {
  const auto* in = reinterpret_cast<const unsigned char*>(pIn);
  char* out = pOut;
  int i = 0;
  if (wide && nLength > 0) {
    i = static_cast<int>(Base64EncodeWide(in, static_cast<std::size_t>(nLength), out));
    out += i / 3 * 4;
  }
  for (; i + 3 <= nLength; i += 3, out += 4) {
    const std::uint32_t v = (std::uint32_t{in[i]} << 16) | (std::uint32_t{in[i + 1]} << 8) | in[i + 2];
    const std::uint16_t hi = kPairs[v >> 12], lo = kPairs[v & 0xFFF];
    std::memcpy(out, &hi, 2);
    std::memcpy(out + 2, &lo, 2);
  }
  if (nLength - i == 1) {
    *out++ = kBase64Alphabet[in[i] >> 2];
    *out++ = kBase64Alphabet[(in[i] & 3) << 4];
    *out++ = '=';
    *out++ = '=';
  } else if (nLength - i == 2) {
    *out++ = kBase64Alphabet[in[i] >> 2];
    *out++ = kBase64Alphabet[((in[i] & 3) << 4) | (in[i + 1] >> 4)];
    *out++ = kBase64Alphabet[(in[i + 1] & 15) << 2];
    *out++ = '=';
  }
  *out++ = '\0';
  return static_cast<int>(out - pOut);
}

}  // namespace kwpersist
