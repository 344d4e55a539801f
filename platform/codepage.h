// Code-page conversions (MultiByteToWideChar, WideCharToMultiByte). The ANSI code
// page is Windows-1252 and the Macintosh one Mac Roman, so that bytes written by the
// Windows version read back as the same text; the single-byte tables are built
// once through iconv. Wide text is counted in wchar_t units.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_OEMCP = 1;
inline constexpr UINT CP_MACCP = 2;
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_UTF8 = 65001;

inline constexpr DWORD MB_PRECOMPOSED = 0x00000001;
inline constexpr DWORD MB_ERR_INVALID_CHARS = 0x00000008;
inline constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x00000400;
inline constexpr DWORD WC_ERR_INVALID_CHARS = 0x00000080;

inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;

namespace kwplat {

// Code pages served: 0 and 3 (Windows-1252), 1 (437), 2 and 10000 (Mac Roman),
// 1252, 437, 850, 28591 (ISO-8859-1), 20127 (ASCII) and 65001 (UTF-8); another
// fails with ERROR_INVALID_PARAMETER.
KW_API bool IsValidCodePage(UINT codePage);

// A source length of -1 takes the text up to and including its terminator. With a
// destination size of 0 the size needed is returned; a destination too small
// fails with ERROR_INSUFFICIENT_BUFFER. Bytes that are no character of the code
// page become U+FFFD (Windows-1252's five unassigned bytes become the C1 controls
// of the same value, as Windows maps them); with MB_ERR_INVALID_CHARS they fail
// the call with ERROR_NO_UNICODE_TRANSLATION.
KW_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR src, int srcLength, LPWSTR dst, int dstSize);

// Characters the code page lacks become `defaultChar` (or '?'), and `usedDefault`
// is set when given; for UTF-8 both must be null (else ERROR_INVALID_PARAMETER)
// and a character that is no scalar value becomes U+FFFD.
KW_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR src, int srcLength, LPSTR dst, int dstSize,
                               LPCSTR defaultChar, BOOL* usedDefault);

}  // namespace kwplat
