// The calling thread's last system error, with Windows' error codes. errno values
// are turned into those codes by one table; an errno that has no equivalent code
// becomes APPLICATION_ERROR_MASK | errno, whose text is the C library's.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {

KW_API DWORD GetLastError();
KW_API void SetLastError(DWORD code);

// The system error code for an errno value (0 for 0).
KW_API DWORD Win32ErrorFromErrno(int error);
// Sets the last error from errno and returns it.
KW_API DWORD SetLastErrorFromErrno();

}  // namespace kwplat
