// The coders scan for the end of a run with word-wide comparisons and copy
// literal stretches and runs as blocks; the packet choices are exactly the
// greedy ones the formats define.
#include <kwlib63/persist/compression.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

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

// RLE and RLL differ only in the longest run of a pair and in its count byte.
template <std::size_t kMaxRun, typename CountByte>
int CompressPairs(const unsigned char* src, unsigned long& nLen, unsigned char* dst, unsigned long nMax,
                  CountByte countByte) {
  const std::size_t n = nLen;
  const std::size_t limit = nMax != 0 ? nMax : n;
  std::size_t out = 0;
  for (std::size_t i = 0; i < n;) {
    const std::size_t run = RunLength(src, i, n, kMaxRun);
    if (out + 2 > limit) return 0;
    dst[out] = countByte(run - 1);
    dst[out + 1] = src[i];
    out += 2;
    i += run;
  }
  nLen = static_cast<unsigned long>(out);
  return 1;
}

// Literal packets of at most 128 bytes.
std::size_t FlushLiterals(const unsigned char* src, std::size_t from, std::size_t to, unsigned char* dst,
                          std::size_t out) {
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
  std::size_t i = 0;
  while (n > 2 && i < n - 2) {
    const unsigned char v = pSrc[i];
    if (pSrc[i + 1] != v) {
      ++i;
      continue;
    }
    // A pair inside literal data stays literal unless a third byte follows it.
    if (literals < i && pSrc[i + 2] != v) {
      ++i;
      continue;
    }
    out = FlushLiterals(pSrc, literals, i, pDst, out);
    const std::size_t end = i + 2 + (pSrc[i + 2] == v ? RunLength(pSrc, i + 2, n, n) : 0);
    std::size_t remaining = end - i;
    for (; remaining > 128; remaining -= 128) {
      pDst[out++] = 0x81;
      pDst[out++] = v;
    }
    if (remaining > 1) {
      pDst[out++] = static_cast<unsigned char>(257 - remaining);
      pDst[out++] = v;
      literals = end;
    } else {
      literals = end - 1;  // the run's last byte opens the next literal stretch
    }
    i = end;
  }
  out = FlushLiterals(pSrc, literals, n, pDst, out);
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
