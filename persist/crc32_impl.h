// Internal to persist/: the CRC-32 engines behind AfxComputeCRC32. Each takes and
// returns the running register (already complemented), so they chain.
// The engines the tests and benchmarks compare are exported (KW_API) for them;
// this header is not installed.
#pragma once

#include <cstddef>
#include <cstdint>

#include <kwlib63/framework/export.h>

namespace kwpersist {

// Slicing by eight bytes with tables; runs on every CPU.
KW_API std::uint32_t Crc32Portable(std::uint32_t crc, const unsigned char* data, std::size_t length);
// Carry-less multiplication folding; only where Crc32SimdAvailable() says so.
KW_API std::uint32_t Crc32Simd(std::uint32_t crc, const unsigned char* data, std::size_t length);
KW_API bool Crc32SimdAvailable();
// The same on 256-bit registers; only where Crc32WideAvailable() says so.
KW_API std::uint32_t Crc32Wide(std::uint32_t crc, const unsigned char* data, std::size_t length);
KW_API bool Crc32WideAvailable();
// The fastest engine this CPU runs, chosen once.

}  // namespace kwpersist
