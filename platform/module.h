// Module handles. A module is an ELF object mapped into the process (the
// executable or a shared library); its handle is the address of its ELF header,
// as a Windows module handle is the address of its image.
#pragma once

#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// The executable's handle when `name` is null. A name is matched against the
// file names of the loaded modules, in full or by the last path component.
// Null with ERROR_MOD_NOT_FOUND when no module matches.
HMODULE GetModuleHandleW(LPCWSTR name);

// The module that contains `address`, or null.
HMODULE GetModuleFromAddress(const void* address);

// The full file name of `module` (null: the executable). When it does not fit,
// writes size - 1 characters and the terminator, returns `size` and sets
// ERROR_INSUFFICIENT_BUFFER. Returns 0 with ERROR_MOD_NOT_FOUND for an unknown module.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);

}  // namespace kwplat
