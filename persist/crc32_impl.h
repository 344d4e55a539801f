// Internal to persist/: the CRC-32 engines behind AfxComputeCRC32. Each takes and
// returns the running register (already complemented), so they chain.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kwpersist {

// Slicing by eight bytes with tables; runs on every CPU.
std::uint32_t Crc32Portable(std::uint32_t crc, const unsigned char* data, std::size_t length);
// Carry-less multiplication folding; only where Crc32SimdAvailable() says so.
std::uint32_t Crc32Simd(std::uint32_t crc, const unsigned char* data, std::size_t length);
bool Crc32SimdAvailable();
// The same on 256-bit registers; only where Crc32WideAvailable() says so.
std::uint32_t Crc32Wide(std::uint32_t crc, const unsigned char* data, std::size_t length);
bool Crc32WideAvailable();
// The byte-wise table: T[i] is the register after byte i from state 0.
const std::uint32_t* Crc32ByteTable();

}  // namespace kwpersist
