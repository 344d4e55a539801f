// CRC-32 by carry-less multiplication: four 128-bit lanes folded 64 bytes at a
// time, then folded to one lane, to 64 bits, and reduced to 32 bits with Barrett's
// method. This file alone is compiled for pclmul and SSE4.1; AfxComputeCRC32
// calls it only when the CPU has them.
#include <kwlib63/persist/crc32_impl.h>

#if defined(__x86_64__)
#include <immintrin.h>

namespace kwpersist {

std::uint32_t Crc32Simd(std::uint32_t crc, const unsigned char* data,
                                                                   std::size_t length) {
  if (length < 64) return Crc32Portable(crc, data, length);
  // Fold constants for the reflected polynomial: x^(4*128+32), x^(4*128-32),
  // x^(128+32), x^(128-32), x^64, then the polynomial and mu for the reduction.
  const __m128i k1k2 = _mm_set_epi64x(0x01c6e41596LL, 0x0154442bd4LL);
  const __m128i k3k4 = _mm_set_epi64x(0x00ccaa009eLL, 0x01751997d0LL);
  const __m128i k5 = _mm_set_epi64x(0, 0x0163cd6124LL);
  const __m128i poly = _mm_set_epi64x(0x01f7011641LL, 0x01db710641LL);
  const auto load = [](const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
  const auto fold = [](__m128i x, __m128i k, __m128i next) {
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)), next);
  };

  __m128i x1 = _mm_xor_si128(load(data), _mm_cvtsi32_si128(static_cast<int>(crc)));
  __m128i x2 = load(data + 16), x3 = load(data + 32), x4 = load(data + 48);
  data += 64;
  length -= 64;
  for (; length >= 64; data += 64, length -= 64) {
    x1 = fold(x1, k1k2, load(data));
    x2 = fold(x2, k1k2, load(data + 16));
    x3 = fold(x3, k1k2, load(data + 32));
    x4 = fold(x4, k1k2, load(data + 48));
  }
  x1 = fold(x1, k3k4, x2);
  x1 = fold(x1, k3k4, x3);
  x1 = fold(x1, k3k4, x4);
  for (; length >= 16; data += 16, length -= 16) x1 = fold(x1, k3k4, load(data));

  // 128 to 64 bits.
  const __m128i low32 = _mm_setr_epi32(~0, 0, ~0, 0);
  __m128i x = _mm_xor_si128(_mm_clmulepi64_si128(x1, k3k4, 0x10), _mm_srli_si128(x1, 8));
  x = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x, low32), k5, 0x00), _mm_srli_si128(x, 4));
  // Barrett reduction to 32 bits.
  __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x, low32), poly, 0x10);
  t = _mm_clmulepi64_si128(_mm_and_si128(t, low32), poly, 0x00);
  crc = static_cast<std::uint32_t>(_mm_extract_epi32(_mm_xor_si128(x, t), 1));
  return Crc32Portable(crc, data, length);
}

}  // namespace kwpersist

#else

namespace kwpersist {
std::uint32_t Crc32Simd(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  return Crc32Portable(crc, data, length);
}
}  // namespace kwpersist

#endif
