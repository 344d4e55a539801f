// The system's message texts for error codes (FormatMessageW with
// FORMAT_MESSAGE_FROM_SYSTEM), in English, each ending with CR LF as Windows
// writes them. Codes made from errno values read the C library's text.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/memory.h>

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x00000400;
inline constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

namespace kwplat {

// Only FORMAT_MESSAGE_FROM_SYSTEM is served; inserts are never expanded.
// Languages 0 and 0x0400 and English are served; others fail with
// ERROR_RESOURCE_LANG_NOT_FOUND. Returns the number of characters written
// without the terminator, or 0 with the last error set: ERROR_MR_MID_NOT_FOUND
// for an unknown code, ERROR_INSUFFICIENT_BUFFER when `size` is too small.
// With FORMAT_MESSAGE_ALLOCATE_BUFFER, `buffer` is taken as a wchar_t** that
// receives a block to release with LocalFree (memory.h).
KW_API DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer,
                            DWORD size, void* arguments);

}  // namespace kwplat
