// Base64 on 256-bit registers: 24 bytes to 32 characters, and back.
//
// Encoding: each 128-bit lane takes 12 bytes; every group of three is spread into
// a 32-bit word, its four 6-bit values moved into one byte each by two multiplies,
// and each value becomes its character by adding the offset of its range.
//
// Decoding: each character is checked and translated through two 16-entry tables
// indexed by its nibbles: the high nibble picks a class (the range a character
// can be in), the low nibble says which classes it is outside of, and a third
// table gives the offset from character to value for the class ('/' is told from
// '+' by a comparison).
#include <kwlib63/persist/base64_impl.h>

#if defined(__x86_64__)
#include <immintrin.h>

namespace kwpersist {

bool Base64WideAvailable() { return __builtin_cpu_supports("avx2"); }

std::size_t Base64DecodeWide(const unsigned char* in, std::size_t n, unsigned char* out) {
  // Classes by high nibble: 2 -> '+' '/'; 3 -> digits; 4, 6 -> letters from 1; 5,
  // 7 -> letters up to A; anything else (0x10) is never valid.
  const __m256i classes = _mm256_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10,
                                           0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                           0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  // The classes each low nibble is invalid in.
  const __m256i invalid = _mm256_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A,
                                           0x1B, 0x1B, 0x1B, 0x1A, 0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                           0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  // Character to value by high nibble, '/' moved to index 1.
  const __m256i offsets = _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 19, 4, -65,
                                           -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i slash = _mm256_set1_epi8('/');
  // Four 6-bit values a b c d become the 24 bits abcd, then three bytes in order.
  const __m256i pairs = _mm256_set1_epi32(0x01400140);
  const __m256i quads = _mm256_set1_epi32(0x00011000);
  const __m256i order = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6, 5, 4, 10,
                                         9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m256i compact = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);

  std::size_t i = 0;
  for (; i + 32 <= n; i += 32, out += 24) {
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(text, 4), nibble);
    const __m256i low = _mm256_and_si256(text, nibble);
    const __m256i cls = _mm256_shuffle_epi8(classes, high);
    // Bytes of 0x80 and above have high nibbles 8 to F: class 0x10, never valid.
    if (!_mm256_testz_si256(cls, _mm256_shuffle_epi8(invalid, low))) break;
    const __m256i index = _mm256_add_epi8(high, _mm256_cmpeq_epi8(text, slash));
    const __m256i values = _mm256_add_epi8(text, _mm256_shuffle_epi8(offsets, index));
    const __m256i merged = _mm256_madd_epi16(_mm256_maddubs_epi16(values, pairs), quads);
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(merged, order), compact);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(bytes, 1));
  }
  return i;
}

std::size_t Base64EncodeWide(const unsigned char* in, std::size_t n, char* out) {
  // Bytes s0 s1 s2 of a group as the word (s1, s0, s2, s1): each 16-bit half then
  // holds two values whole, one multiply of each pair moving them into place.
  const __m256i spread = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 1, 0, 2, 1, 4, 3, 5, 4, 7,
                                          6, 8, 7, 10, 9, 11, 10);
  const __m256i firstThird = _mm256_set1_epi32(0x0FC0FC00);
  const __m256i toLowBytes = _mm256_set1_epi32(0x04000040);
  const __m256i secondFourth = _mm256_set1_epi32(0x003F03F0);
  const __m256i toHighBytes = _mm256_set1_epi32(0x01000010);
  // Ranges: 0-25 -> index 13, 26-51 -> 0, 52-61 -> 1..10, 62 -> 11, 63 -> 12.
  const __m256i offsets = _mm256_setr_epi8(71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 65, 0, 0, 71, -4, -4,
                                           -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 65, 0, 0);
  const __m256i last = _mm256_set1_epi8(51);
  const __m256i capitals = _mm256_set1_epi8(26);
  const __m256i capitalIndex = _mm256_set1_epi8(13);

  std::size_t i = 0;
  for (; i + 28 <= n; i += 24, out += 32) {
    const __m256i bytes = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i + 12)), 1);
    const __m256i words = _mm256_shuffle_epi8(bytes, spread);
    const __m256i values = _mm256_or_si256(_mm256_mulhi_epu16(_mm256_and_si256(words, firstThird), toLowBytes),
                                           _mm256_mullo_epi16(_mm256_and_si256(words, secondFourth), toHighBytes));
    const __m256i range =
        _mm256_or_si256(_mm256_subs_epu8(values, last),
                        _mm256_and_si256(_mm256_cmpgt_epi8(capitals, values), capitalIndex));
    const __m256i text = _mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, range));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), text);
  }
  return i;
}

}  // namespace kwpersist

#else

namespace kwpersist {

bool Base64WideAvailable() { return false; }
std::size_t Base64DecodeWide(const unsigned char*, std::size_t, unsigned char*) { return 0; }
std::size_t Base64EncodeWide(const unsigned char*, std::size_t, char*) { return 0; }

}  // namespace kwpersist

#endif
