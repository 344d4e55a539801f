// CRC-32 of IEEE 802.3 and zlib: reflected polynomial 0xEDB88320, initial value
// and final complement 0xFFFFFFFF. The check value of "123456789" is 0xCBF43926.
#pragma once

#include <cstddef>
#include <cstdint>

#include <kwlib63/framework/export.h>

// The CRC-32 of `nLength` bytes (0 for none).
KW_API unsigned long AfxComputeCRC32(unsigned char* pData, unsigned long long nLength);
// One raw table step, without the initial value or the final complement:
// (crc >> 8) ^ T[(c ^ crc) & 0xFF].
KW_API unsigned long AfxUpdateCRC32(char c, unsigned long crc);

namespace kwpersist {

// The raw table steps of AfxUpdateCRC32 over `length` bytes at once, for data that
// arrives in pieces: start from 0xFFFFFFFF and complement the result at the end.
KW_API std::uint32_t Crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t length);

}  // namespace kwpersist
