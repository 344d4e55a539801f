// Base64 decoding: one table gives each character's value shifted into place,
// with a marker bit for bytes outside the alphabet, so a group of four is checked
// with one test.
#include <array>
#include <cstdint>
#include <cstring>

#include <kwlib63/persist/base64_impl.h>

namespace kwpersist {
namespace {

constexpr std::uint32_t kBad = 0x80000000u;

// kDecode[k][c]: the value of c placed for position k of a group of four.
constexpr std::array<std::array<std::uint32_t, 256>, 4> MakeDecode() {
  std::array<std::array<std::uint32_t, 256>, 4> t{};
  for (auto& row : t) row.fill(kBad);
  for (unsigned v = 0; v < 64; ++v) {
    const auto c = static_cast<unsigned char>(kBase64Alphabet[v]);
    t[0][c] = v << 18;
    t[1][c] = v << 12;
    t[2][c] = v << 6;
    t[3][c] = v;
  }
  return t;
}
constexpr auto kDecode = MakeDecode();

}  // namespace

std::size_t Base64AlphabetLength(const unsigned char* p) {
  std::size_t n = 0;
  while (kDecode[3][p[n]] != kBad) ++n;
  return n;
}

int Base64DecodeWith(char* pOut, const char* pCoded, bool wide) {
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

}  // namespace kwpersist
