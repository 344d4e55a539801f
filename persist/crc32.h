// CRC-32 of IEEE 802.3 and zlib: reflected polynomial 0xEDB88320, initial value
// and final complement 0xFFFFFFFF. The check value of "123456789" is 0xCBF43926.
#pragma once

// The CRC-32 of `nLength` bytes (0 for none).
unsigned long AfxComputeCRC32(unsigned char* pData, unsigned long long nLength);
// One raw table step, without the initial value or the final complement:
// (crc >> 8) ^ T[(c ^ crc) & 0xFF].
unsigned long AfxUpdateCRC32(char c, unsigned long crc);
