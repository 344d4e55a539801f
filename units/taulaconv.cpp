#include "taulaconv.h"

#include <cstring>

// Built by the compiler: in the library's read-only data from the start.
constinit const CTaulaConvByte2Double g_byte2double;
constinit const CTaulaConvWord2Double g_word2double;
constinit const CTaulaConvWord2Byte g_word2byte;

namespace {

// The whole table; memmove because a source may overlap the target.
template <typename Table>
Table& CopyTable(Table& target, const Table& source) {
  std::memmove(target.m_taula, source.m_taula, sizeof target.m_taula);
  return target;
}

}  // namespace

CTaulaConvByte2Double& CTaulaConvByte2Double::operator=(const CTaulaConvByte2Double& other) { return CopyTable(*this, other); }
CTaulaConvByte2Double& CTaulaConvByte2Double::operator=(CTaulaConvByte2Double&& other) noexcept { return CopyTable(*this, other); }
CTaulaConvWord2Double& CTaulaConvWord2Double::operator=(const CTaulaConvWord2Double& other) { return CopyTable(*this, other); }
CTaulaConvWord2Double& CTaulaConvWord2Double::operator=(CTaulaConvWord2Double&& other) noexcept { return CopyTable(*this, other); }
CTaulaConvWord2Byte& CTaulaConvWord2Byte::operator=(const CTaulaConvWord2Byte& other) { return CopyTable(*this, other); }
CTaulaConvWord2Byte& CTaulaConvWord2Byte::operator=(CTaulaConvWord2Byte&& other) noexcept { return CopyTable(*this, other); }
