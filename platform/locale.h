// Locale information in Windows' terms, read from the user's POSIX locale (the
// LC_ALL, LC_* and LANG variables), whatever locale the process has set.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

using LCID = DWORD;
using LCTYPE = DWORD;

inline constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
inline constexpr LCTYPE LOCALE_IMEASURE = 13;
inline constexpr DWORD ERROR_INVALID_FLAGS = 1004;

namespace kwplat {

// LOCALE_IMEASURE: "0" for the metric system, "1" for the US system, from the
// locale's measurement category. Returns the characters written with the
// terminator (with `size` 0, the room needed); 0 with ERROR_INSUFFICIENT_BUFFER,
// ERROR_INVALID_FLAGS for another type, or ERROR_INVALID_PARAMETER when the
// user's locale cannot be loaded.
KW_API int GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR data, int size);

}  // namespace kwplat
