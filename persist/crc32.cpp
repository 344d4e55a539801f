// CRC-32 of the library's interface, on the fastest engine this CPU runs, chosen once.
#include <kwlib63/persist/crc32.h>

#include <kwlib63/persist/crc32_impl.h>

namespace kwpersist {

std::uint32_t Crc32Update(std::uint32_t crc, const unsigned char* data, std::size_t length) {
  static const auto engine = Crc32WideAvailable() ? &Crc32Wide : Crc32SimdAvailable() ? &Crc32Simd : &Crc32Portable;
  return engine(crc, data, length);
}

}  // namespace kwpersist

unsigned long AfxComputeCRC32(unsigned char* pData, unsigned long long nLength) {
  if (nLength == 0 || pData == nullptr) return 0;
  return ~kwpersist::Crc32Update(0xFFFFFFFFu, pData, static_cast<std::size_t>(nLength));
}

unsigned long AfxUpdateCRC32(char c, unsigned long crc) {
  return (crc >> 8) ^ kwpersist::Crc32ByteTable()[(static_cast<unsigned char>(c) ^ crc) & 0xFF];
}
