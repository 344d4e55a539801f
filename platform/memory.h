// Whether a range of the process's memory can be read or written, as the
// process's own memory map says. Meant for debugging checks, not hot paths.
#pragma once

#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// Non-zero when some byte of [pointer, pointer + size) is not readable
// (writable). A size of 0 is never bad; otherwise a null pointer is.
BOOL IsBadReadPtr(const void* pointer, UINT_PTR size);
BOOL IsBadWritePtr(void* pointer, UINT_PTR size);

}  // namespace kwplat
