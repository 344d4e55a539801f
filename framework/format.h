// The one printf-style formatter of the project. Formats follow the Windows
// convention that the library's resource strings are written in:
//   - in a wide format %s and %c take wide arguments and %S and %C narrow ones;
//     in a narrow format it is the other way round;
//   - %hs/%hc are always narrow and %ls/%lc/%ws/%wc always wide;
//   - %I64d/u/x/X/o take a long long, %I32 an int, %I a pointer-sized integer;
//   - %p prints the address as 16 upper-case hex digits, without a prefix;
//   - a null string argument prints "(null)"; %n writes nothing.
// Other length modifiers are the C ones (l is the C++ type long). Numbers are
// formatted by the C library in the calling thread's locale.
#pragma once

#include <cstdarg>
#include <string>

namespace kwfw {

// Appends the formatted text to `out`. A null format appends nothing.
void FormatAppendV(std::wstring& out, const wchar_t* format, va_list args);
void FormatAppendV(std::string& out, const char* format, va_list args);

}  // namespace kwfw
