// The coders walk the input run by run: a bit mask marks where each run of equal
// bytes ends in a 64-byte window, so that a run costs a few instructions rather
// than a comparison per byte, and literal stretches are copied as blocks. The
// packet choices are exactly the greedy ones the formats define.
#include <kwlib63/persist/compression.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// The per-run steps are small and run millions of times: they belong inside the
// scanning loop, whatever the inliner's size estimate says.
#define KW_INLINE __attribute__((always_inline))

namespace {

// Bit k set when p[k] and p[k + 1] differ, for k in 0..63: the ends of the runs in
// the window. Reads p[0..64].
inline std::uint64_t RunEnds(const unsigned char* p) {
  std::uint64_t equal = 0;
#if defined(__SSE2__)
  for (int j = 0; j < 4; ++j) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * j));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * j + 1));
    equal |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(a, b)))) << (16 * j);
  }
#else
  for (int k = 0; k < 64; ++k) equal |= static_cast<std::uint64_t>(p[k] == p[k + 1]) << k;
#endif
  return ~equal;
}

// The 64 pairs (0, v) of 64 single bytes.
inline void SpreadPairs(const unsigned char* src, unsigned char* dst) {
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (int j = 0; j < 4; ++j) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16 * j));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 32 * j), _mm_unpacklo_epi8(zero, v));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 32 * j + 16), _mm_unpackhi_epi8(zero, v));
  }
#else
  for (int k = 0; k < 64; ++k) {
    dst[2 * k] = 0;
    dst[2 * k + 1] = src[k];
  }
#endif
}

// The length of the run of src[from]'s value starting at `from`, at most `max`.
std::size_t RunLength(const unsigned char* src, std::size_t from, std::size_t end, std::size_t max) {
  const unsigned char v = src[from];
  const std::size_t stop = std::min(end, from + max);
  std::size_t i = from + 1;
  const std::uint64_t pattern = 0x0101010101010101ULL * v;
  while (i + 8 <= stop) {
    std::uint64_t word;
    std::memcpy(&word, src + i, 8);
    const std::uint64_t diff = word ^ pattern;
    if (diff != 0) return i + static_cast<std::size_t>(__builtin_ctzll(diff) / 8) - from;
    i += 8;
  }
  while (i < stop && src[i] == v) ++i;
  return i - from;
}

// Which runs ForEachRun reports.
enum class Runs { kAll, kLongerThanOne };

// Calls onRun(start, end) for each maximal run of equal bytes of src[0, n) (with
// Runs::kLongerThanOne, for those of two bytes or more until the last 64 bytes,
// and for all of them after), in order, until it returns false. With Runs::kAll a
// window of 64 runs of one byte each is offered whole to onSingles(base) first;
// when it returns true the window is done.
template <Runs kWhich, typename OnRun, typename OnSingles>
void ForEachRun(const unsigned char* src, std::size_t n, OnRun&& onRun, OnSingles&& onSingles) {
  std::size_t start = 0;  // of the run in progress
  std::uint64_t endedBefore = 1;  // whether a run ends just before the window
  for (std::size_t base = 0; base + 65 <= n; base += 64) {
    std::uint64_t ends = RunEnds(src + base);
    if constexpr (kWhich == Runs::kLongerThanOne) {
      // A run is longer than one byte when the byte before its end is not an end.
      for (std::uint64_t longEnds = ends & ~(ends << 1 | endedBefore); longEnds != 0; longEnds &= longEnds - 1) {
        const int k = __builtin_ctzll(longEnds);
        const std::uint64_t below = ends & ((std::uint64_t{1} << k) - 1);
        const std::size_t from = below != 0 ? base + 64 - static_cast<std::size_t>(__builtin_clzll(below)) : start;
        if (!onRun(from, base + static_cast<std::size_t>(k) + 1)) return;
      }
      if (ends != 0) start = base + 64 - static_cast<std::size_t>(__builtin_clzll(ends));
      endedBefore = ends >> 63;
    } else {
      if (ends == ~std::uint64_t{0} && start == base && onSingles(base)) {
        start = base + 64;
        continue;
      }
      for (; ends != 0; ends &= ends - 1) {
        const std::size_t end = base + static_cast<std::size_t>(__builtin_ctzll(ends)) + 1;
        if (!onRun(start, end)) return;
        start = end;
      }
    }
  }
  while (start < n) {
    const std::size_t end = start + RunLength(src, start, n, n - start);
    if (!onRun(start, end)) return;
    start = end;
  }
}

// RLE and RLL differ only in the longest run of a pair and in its count byte.
template <std::size_t kMaxRun, typename CountByte>
int CompressPairs(const unsigned char* src, unsigned long& nLen, unsigned char* dst, unsigned long nMax,
                  CountByte countByte) {
  const std::size_t limit = nMax != 0 ? nMax : nLen;
  std::size_t out = 0;
  bool full = false;
  ForEachRun<Runs::kAll>(
      src, nLen,
      [&](std::size_t start, std::size_t end) KW_INLINE {
        for (std::size_t run = end - start; run > 0;) {
          const std::size_t part = std::min(run, kMaxRun);
          if (out + 2 > limit) return !(full = true);
          dst[out] = countByte(part - 1);
          dst[out + 1] = src[start];
          out += 2;
          run -= part;
        }
        return true;
      },
      [&](std::size_t base) {
        if (out + 128 > limit || countByte(0) != 0) return false;
        SpreadPairs(src + base, dst + out);
        out += 128;
        return true;
      });
  if (full) return 0;
  nLen = static_cast<unsigned long>(out);
  return 1;
}

// Literal packets of at most 128 bytes.
// `n` bounds both buffers: the input holds n bytes and the output at least n.
inline KW_INLINE std::size_t FlushLiterals(const unsigned char* src, std::size_t from, std::size_t to, unsigned char* dst,
                          std::size_t out, std::size_t n) {
  // Short stretches, the common case between runs, move as one 16-byte block; the
  // bytes past the stretch are overwritten by the packets that follow.
  if (to - from <= 16 && from + 16 <= n && out + 17 <= n) {
    if (from == to) return out;
    dst[out] = static_cast<unsigned char>(to - from - 1);
    std::memcpy(dst + out + 1, src + from, 16);
    return out + 1 + (to - from);
  }
  while (from < to) {
    const std::size_t r = std::min<std::size_t>(to - from, 128);
    dst[out++] = static_cast<unsigned char>(r - 1);
    std::memcpy(dst + out, src + from, r);
    out += r;
    from += r;
  }
  return out;
}

}  // namespace

int TCompression::ComprimirRLE(unsigned char* pSrc, unsigned long& nLen, unsigned char* pDst, unsigned long nMax) {
  return CompressPairs<256>(pSrc, nLen, pDst, nMax, [](std::size_t k) { return static_cast<unsigned char>(k); });
}

int TCompression::ComprimirRLL(unsigned char* pSrc, unsigned long& nLen, unsigned char* pDst, unsigned long nMax) {
  return CompressPairs<129>(pSrc, nLen, pDst, nMax,
                            [](std::size_t k) { return static_cast<unsigned char>(0x100 - k); });
}

int TCompression::ComprimirPackbits(unsigned char* pSrc, unsigned long& nLen, unsigned char* pDst) {
  const std::size_t n = nLen;
  std::size_t out = 0;
  std::size_t literals = 0;  // start of the pending literal stretch
  if (n > 2) {
    // Single bytes stay in the literal stretch: only longer runs need a look.
    ForEachRun<Runs::kLongerThanOne>(
        pSrc, n,
        [&](std::size_t start, std::size_t end) KW_INLINE {
          if (start >= n - 2) return false;  // the last two bytes never open a run
          const std::size_t length = end - start;
          // Single bytes are literal, and so is a pair inside literal data.
          if (length == 1 || (length == 2 && literals < start)) return true;
          out = FlushLiterals(pSrc, literals, start, pDst, out, n);
          std::size_t remaining = length;
          for (; remaining > 128; remaining -= 128) {
            pDst[out++] = 0x81;
            pDst[out++] = pSrc[start];
          }
          if (remaining > 1) {
            pDst[out++] = static_cast<unsigned char>(257 - remaining);
            pDst[out++] = pSrc[start];
            literals = end;
          } else {
            literals = end - 1;  // the run's last byte opens the next literal stretch
          }
          return true;
        },
        [](std::size_t) { return true; });
  }
  out = FlushLiterals(pSrc, literals, n, pDst, out, n);
  nLen = static_cast<unsigned long>(out);
  return 1;
}

unsigned long TCompression::DescomprimirRLE(unsigned char* pSrc, unsigned long nLenSrc, unsigned long nMaxDst,
                                            unsigned char* pDst) {
  std::size_t in = 0, out = 0;
  while (in + 1 < nLenSrc && out < nMaxDst) {
    const std::size_t copies = std::min<std::size_t>(pSrc[in] + 1u, nMaxDst - out);
    std::memset(pDst + out, pSrc[in + 1], copies);
    out += copies;
    in += 2;
  }
  return static_cast<unsigned long>(out);
}

unsigned long TCompression::DescomprimirPackbits(unsigned char* pSrc, unsigned long nLenSrc, unsigned long nMaxDst,
                                                 unsigned char* pDst) {
  std::size_t in = 0, out = 0;
  // Far from the end of the input and from the limit, a packet of up to kWide
  // bytes is written as kWide bytes, a fixed size that needs no branch on its
  // length. What goes past the packet is written again by the packets after it:
  // every two input bytes give at least one output byte, and with kFarIn input
  // bytes left and kFarOut output bytes below the limit, they give kWide more.
  constexpr std::size_t kWide = 16, kFarIn = 4 * kWide, kFarOut = 2 * kWide;
  while (nLenSrc - in >= kFarIn && out + kFarOut <= nMaxDst) {
    const unsigned h = pSrc[in++];
    if (h < 128) {
      const std::size_t count = h + 1u;
      if (count <= kWide) {
        std::memcpy(pDst + out, pSrc + in, kWide);
      } else if (count <= nLenSrc - in) {
        std::memcpy(pDst + out, pSrc + in, count);
      } else {
        --in;  // cut short by the end of the input: the exact loop below takes it
        break;
      }
      out += count;
      in += count;
    } else {
      const std::size_t count = 257 - h;
      if (count <= kWide) {
        std::memset(pDst + out, pSrc[in], kWide);
      } else {
        std::memset(pDst + out, pSrc[in], count);
      }
      ++in;
      out += count;
    }
  }
  while (in < nLenSrc && out < nMaxDst) {
    const unsigned h = pSrc[in++];
    if (h < 128) {
      const std::size_t count = h + 1u;
      const std::size_t available = std::min<std::size_t>(count, nLenSrc - in);
      std::memcpy(pDst + out, pSrc + in, available);
      out += available;
      in += available;
      if (available < count) break;  // cut short by the end of the input
    } else {
      if (in >= nLenSrc) break;
      std::memset(pDst + out, pSrc[in++], 257 - h);
      out += 257 - h;
    }
  }
  return static_cast<unsigned long>(out);
}
