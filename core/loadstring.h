// Loading and formatting the resource strings of the current language, and
// formatting dates with the Spanish names of months and days.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/ctime.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

// String `id` in language `langId`, or an empty string. With a module, only that
// module is searched. Otherwise the application's current resource module, then
// the chain of linked libraries in order, then the executable's own table in any
// language. An empty entry counts as missing. A string found nowhere is reported
// to the debugger output.
KW_API CString AfxLoadStringLang(unsigned int id, unsigned short langId, HINSTANCE module);
// String `id` in the current language.
KW_API CString AfxLoadString(unsigned int id);
// `text` as a string (no look-up).
KW_API CString AfxLoadString(const wchar_t* text);

// printf-style formatting (Windows conventions) of string `id` or of a format.
// Each first sets the C library's numeric locale category to "C", and leaves it
// so, so that decimal points are always dots.
KW_API CString AfxFormatString(unsigned int id, ...);
KW_API CString AfxFormatString(const wchar_t* format, ...);
KW_API CStringA AfxFormatStringA(const char* format, ...);

// `time` as local time, formatted with strftime's `format` and the Spanish
// (es_ES) names, into at most 127 characters; empty when the result does not fit
// or `format` is null. Raises CInvalidArgException for a time that cannot be
// converted. Leaves the C library's time category at "C".
KW_API CString AfxFormatDate(CTime& time, const char* format);
