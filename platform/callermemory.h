// Copies to and from memory a caller named, without trusting the caller's pointer:
// an address the process cannot read or write gives false instead of a fault, so
// that the calls can answer ERROR_NOACCESS as Windows does for a bad buffer.
#pragma once

#include <cstddef>

namespace kwplat {

// Copies `size` bytes at the caller's `from` into `to`; false when any of them
// cannot be read.
bool ReadCallerMemory(void* to, const void* from, std::size_t size);
// Copies `size` bytes from `from` to the caller's `to`; false when any of them
// cannot be written (the bytes before the first bad one may have been written).
bool WriteCallerMemory(void* to, const void* from, std::size_t size);

}  // namespace kwplat
