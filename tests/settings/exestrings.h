// The string table of the settings test program: one registration per module, so
// every test of the program that needs strings of its own finds them here.
#pragma once

#include <string>

namespace kwtest {

// String 40001, longer than two growths of a loading buffer; 40002 is "short".
extern const std::wstring kLongString;
// String 57344, the program's title.
inline constexpr wchar_t kTitle[] = L"Prova Títol";

}  // namespace kwtest
