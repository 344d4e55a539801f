// The calling thread's id (GetCurrentThreadId) and thread names. A thread's id is
// the kernel's thread id, the number under /proc/self/task; its name is its comm,
// which debuggers, ps and top show, at most 15 bytes long.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// The calling thread's id; never 0. The main thread's id is the process id.
KW_API DWORD GetCurrentThreadId();

// Names the thread `threadId` of this process `name`, cut to its first 15 bytes.
// Returns TRUE, or FALSE with ERROR_INVALID_PARAMETER for a null name or an id
// that is no thread of this process (one that has ended included), or with the
// system's error when it refuses the name.
KW_API BOOL SetThreadName(DWORD threadId, const char* name);

}  // namespace kwplat
