// Module handles. A module is an ELF object mapped into the process (the
// executable or a shared library); its handle is the address of its ELF header,
// as a Windows module handle is the address of its image.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// The executable's handle when `name` is null. A name is matched against the
// file names of the loaded modules, in full or by the last path component.
// Null with ERROR_MOD_NOT_FOUND when no module matches.
KW_API HMODULE GetModuleHandleW(LPCWSTR name);

// The module that contains `address`, or null.
KW_API HMODULE GetModuleFromAddress(const void* address);

// The full file name of `module` (null: the executable). When it does not fit,
// writes size - 1 characters and the terminator, returns `size` and sets
// ERROR_INSUFFICIENT_BUFFER. Returns 0 with ERROR_MOD_NOT_FOUND for an unknown module.
KW_API DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);

// Loads the shared library at `path` (the dynamic linker's search rules apply to a
// name without '/'); each load is matched by one FreeLibrary. Null with
// ERROR_MOD_NOT_FOUND when it cannot be loaded.
KW_API HMODULE LoadLibraryW(LPCWSTR path);
KW_API BOOL FreeLibrary(HMODULE module);
// The function or variable `name` defined by `module` itself (not one it only
// reaches through its own dependencies), or null with ERROR_PROC_NOT_FOUND.
KW_API void* GetProcAddress(HMODULE module, LPCSTR name);

}  // namespace kwplat
