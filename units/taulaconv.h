// Lookup tables that turn 8-bit and 16-bit channel values into fractions of full
// scale, and 16-bit values into 8-bit ones, without a division per sample. Each
// class holds only its table; the three constant instances are built at compile
// time, so they are complete before any code can read them.
#pragma once

#include <cstddef>

#include <kwlib63/framework/export.h>

class KW_API CTaulaConvByte2Double {
 public:
  constexpr CTaulaConvByte2Double() {
    for (std::size_t i = 256; i-- > 0;) m_taula[i] = static_cast<double>(i) / 255.0;
  }
  CTaulaConvByte2Double& operator=(const CTaulaConvByte2Double& other);
  CTaulaConvByte2Double& operator=(CTaulaConvByte2Double&& other) noexcept;

  double m_taula[256];
};

class KW_API CTaulaConvWord2Double {
 public:
  constexpr CTaulaConvWord2Double() {
    for (std::size_t i = 65536; i-- > 0;) m_taula[i] = static_cast<double>(i) / 65535.0;
  }
  CTaulaConvWord2Double& operator=(const CTaulaConvWord2Double& other);
  CTaulaConvWord2Double& operator=(CTaulaConvWord2Double&& other) noexcept;

  double m_taula[65536];
};

class KW_API CTaulaConvWord2Byte {
 public:
  // i / 257 to the nearest integer: no quotient lies half-way, so there is no tie.
  constexpr CTaulaConvWord2Byte() {
    for (std::size_t i = 65536; i-- > 0;) m_taula[i] = static_cast<unsigned char>(static_cast<double>(i) / 257.0 + 0.5);
  }
  CTaulaConvWord2Byte& operator=(const CTaulaConvWord2Byte& other);
  CTaulaConvWord2Byte& operator=(CTaulaConvWord2Byte&& other) noexcept;

  unsigned char m_taula[65536];
};

extern KW_API const CTaulaConvByte2Double g_byte2double;
extern KW_API const CTaulaConvWord2Double g_word2double;
extern KW_API const CTaulaConvWord2Byte g_word2byte;
