// Table-driven Base64 encoding, two characters per 12 bits; decoding is
// base64_decode.cpp's engine.
#include <kwlib63/persist/base64.h>

#include <array>
#include <cstdint>
#include <cstring>

#include <kwlib63/persist/base64_impl.h>

namespace {

using kwpersist::kBase64Alphabet;

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

int Base64decode_len(const char* pCoded) {
  const std::size_t n = kwpersist::Base64AlphabetLength(reinterpret_cast<const unsigned char*>(pCoded));
  return static_cast<int>((n + 3) / 4 * 3 + 1);
}

int Base64decode(char* pOut, const char* pCoded) {
  static const bool wide = kwpersist::Base64WideAvailable();
  return kwpersist::Base64DecodeWith(pOut, pCoded, wide);
}
