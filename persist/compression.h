// TCompression: the run-length coders RLE, RLL and PackBits over caller-owned
// byte buffers. No state, no allocation.
//
// RLE: pairs (n, v) for n + 1 copies of v (1..256).
// RLL: pairs (-k, v) for k + 1 copies of v (1..129); every pair is a PackBits
//      packet, so DescomprimirPackbits decodes RLL.
// PackBits: h 0..127: h + 1 literal bytes follow; h 128..255: one byte repeated
//      257 - h times (h = 128 gives 129 copies, not an empty packet).
#pragma once

#include <kwlib63/framework/export.h>

class KW_API TCompression {
 public:
  TCompression() = default;

  // Compress `nLen` bytes into at most `nMax` bytes (0: `nLen`). 1 and `nLen` set
  // to the compressed size, or 0 when the output would not fit (`nLen` unchanged,
  // `pDst` holding the pairs written so far).
  static int ComprimirRLE(unsigned char* pSrc, unsigned long& nLen, unsigned char* pDst, unsigned long nMax);
  static int ComprimirRLL(unsigned char* pSrc, unsigned long& nLen, unsigned char* pDst, unsigned long nMax);
  // Always 1; `nLen` becomes the compressed size. `pDst` must hold at least
  // nLen + ceil(nLen / 128) bytes: there is no capacity check.
  static int ComprimirPackbits(unsigned char* pSrc, unsigned long& nLen, unsigned char* pDst);

  // Decode `nLenSrc` bytes; the number of bytes written. Input is never read past
  // `nLenSrc`: a packet cut short by the end of the input gives what is there and
  // decoding stops. RLE never writes past `nMaxDst`; PackBits checks the limit
  // only before each packet, so a packet that starts below it is written whole:
  // size the destination nMaxDst + 129 bytes.
  static unsigned long DescomprimirRLE(unsigned char* pSrc, unsigned long nLenSrc, unsigned long nMaxDst,
                                       unsigned char* pDst);
  static unsigned long DescomprimirPackbits(unsigned char* pSrc, unsigned long nLenSrc, unsigned long nMaxDst,
                                            unsigned char* pDst);
};
