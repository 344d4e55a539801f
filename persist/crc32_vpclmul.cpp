// CRC-32 by carry-less multiplication on 256-bit registers: four of them fold
// 128 bytes at a time (each 128-bit lane folded over 1024 bits), are folded into
// one register, then into one lane, and the 128-bit engine finishes. This file
// alone is compiled for VPCLMULQDQ and AVX2; it is called only when the CPU has them.
#include <kwlib63/persist/crc32_impl.h>

#if defined(__x86_64__)
#include <immintrin.h>

namespace kwpersist {

std::uint32_t Crc32Wide(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  if (length < 256) return Crc32Simd(crc, data, length);
  // Per lane: x^(D+32) and x^(D-32) modulo the polynomial, reflected and shifted,
  // for the fold distances D = 1024 and 256 bits.
  const __m256i k1024 = _mm256_set_epi64x(0x014a7fe880LL, 0x01e88ef372LL, 0x014a7fe880LL, 0x01e88ef372LL);
  const __m256i k256 = _mm256_set_epi64x(0x015a546366LL, 0x00f1da05aaLL, 0x015a546366LL, 0x00f1da05aaLL);
  const __m128i k128 = _mm_set_epi64x(0x00ccaa009eLL, 0x01751997d0LL);
  const auto load = [](const unsigned char* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); };
  const auto fold = [](__m256i x, __m256i k, __m256i next) {
    return _mm256_xor_si256(_mm256_xor_si256(_mm256_clmulepi64_epi128(x, k, 0x00), _mm256_clmulepi64_epi128(x, k, 0x11)),
                            next);
  };

  __m256i y1 = _mm256_xor_si256(load(data), _mm256_zextsi128_si256(_mm_cvtsi32_si128(static_cast<int>(crc))));
  __m256i y2 = load(data + 32), y3 = load(data + 64), y4 = load(data + 96);
  data += 128;
  length -= 128;
  for (; length >= 128; data += 128, length -= 128) {
    y1 = fold(y1, k1024, load(data));
    y2 = fold(y2, k1024, load(data + 32));
    y3 = fold(y3, k1024, load(data + 64));
    y4 = fold(y4, k1024, load(data + 96));
  }
  y2 = fold(y1, k256, y2);
  y3 = fold(y2, k256, y3);
  y4 = fold(y3, k256, y4);
  // The earlier lane folded over 128 bits into the later one.
  const __m128i lo = _mm256_castsi256_si128(y4), hi = _mm256_extracti128_si256(y4, 1);
  const __m128i x = _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(lo, k128, 0x00), _mm_clmulepi64_si128(lo, k128, 0x11)), hi);
  // The 128-bit engine takes a register state only through data: hand it the
  // folded lane as 16 bytes of input with a zero register, which is the same.
  alignas(16) unsigned char lane[16];
  _mm_store_si128(reinterpret_cast<__m128i*>(lane), x);
  return Crc32Portable(Crc32Portable(0, lane, 16), data, length);
}

}  // namespace kwpersist

#else

namespace kwpersist {
std::uint32_t Crc32Wide(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  return Crc32Portable(crc, data, length);
}
}  // namespace kwpersist

#endif
