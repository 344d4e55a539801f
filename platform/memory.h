// Whether a range of the process's memory can be read or written, as the
// process's own memory map says (meant for debugging checks, not hot paths); the
// local heap that Windows calls hand their results out in; and a hint for large
// tables.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// Non-zero when some byte of [pointer, pointer + size) is not readable
// (writable). A size of 0 is never bad; otherwise a null pointer is.
KW_API BOOL IsBadReadPtr(const void* pointer, UINT_PTR size);
KW_API BOOL IsBadWritePtr(void* pointer, UINT_PTR size);

inline constexpr UINT LMEM_FIXED = 0x0000;
inline constexpr UINT LMEM_ZEROINIT = 0x0040;
inline constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

// A block of `bytes` (zeroed with LMEM_ZEROINIT), or null with
// ERROR_NOT_ENOUGH_MEMORY. Freed by LocalFree, which returns null.
KW_API HLOCAL LocalAlloc(UINT flags, std::size_t bytes);
KW_API HLOCAL LocalFree(HLOCAL block);

// Asks for the whole 2 MiB stretches inside a heap block to be backed by large
// pages, so that filling a table of hundreds of megabytes takes one fault per
// 2 MiB instead of one per 4 KiB. Only a hint: memory outside the block is never
// touched, and nothing changes where the system has no large pages.
KW_API void AdviseLargePages(void* block, std::size_t bytes);

}  // namespace kwplat
