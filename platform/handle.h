// Handles. A HANDLE made by this library names an open object (an event, a pipe
// end, a process, a mapping, a search, a registry key, a service); a closed,
// stale or made-up value reaches nothing. A file handle is the file's descriptor
// carried in the pointer, so INVALID_HANDLE_VALUE is descriptor -1, as
// CFile::hFileNull.
#pragma once

#include <cstdint>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

namespace kwplat {

// Closes a handle made by any of the library's Create calls (pipe ends, processes
// and registry transactions included; not a file handle: files are closed through
// their CFile).
// FALSE with ERROR_INVALID_HANDLE otherwise.
KW_API BOOL CloseHandle(HANDLE handle);

inline HANDLE HandleFromFd(int fd) { return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(fd)); }
inline int FdFromHandle(HANDLE handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)); }

}  // namespace kwplat
