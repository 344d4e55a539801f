// The system colours, as a table: the classic Windows scheme by default, which an
// application or a toolkit adapter may replace entry by entry.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/gdi.h>

namespace kwplat {

inline constexpr int kSysColorCount = 31;

// The colour of `index` (COLOR_WINDOW, ...); 0 for an index out of range.
KW_API COLORREF GetSysColor(int index);
// Replaces `count` entries; FALSE (and nothing changed) when an index is out of
// range.
KW_API BOOL SetSysColors(int count, const int* indexes, const COLORREF* colors);
// Back to the classic scheme.
KW_API void ResetSysColors();

}  // namespace kwplat
