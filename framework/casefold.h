// The library's one case fold: every comparison of names "without regard to case"
// goes through it, so none depends on the process's locale.
// Rule: Unicode simple case folding, one character for one character. A character
// folds to its one-character full folding (É->é, Ω->ω, ǅ->ǆ, Ё->ё, K sign->k); one
// whose full folding is longer folds to its lower case only when that has the same
// full folding (ẞ->ß, ᾈ->ᾀ), otherwise to itself (ß, İ). So I and i match, İ and ı
// match nothing but themselves whatever the locale, and ß never matches "ss".
#pragma once

#include <cstddef>
#include <string_view>

#include <kwlib63/framework/export.h>

namespace kwfw {

// The simple case folding of one character; values that are not code points
// (lone surrogates, beyond U+10FFFF) fold to themselves.
KW_API wchar_t FoldCase(wchar_t c);

// Compares two wide strings character by character after folding, as code points.
// Returns -1, 0 or 1.
KW_API int CompareNoCase(std::wstring_view a, std::wstring_view b);

// True when the two strings are equal without regard to case.
inline bool EqualNoCase(std::wstring_view a, std::wstring_view b) { return CompareNoCase(a, b) == 0; }

// The same for UTF-8 text; bytes that are not valid UTF-8 compare as themselves.
KW_API int CompareNoCase(std::string_view a, std::string_view b);
inline bool EqualNoCase(std::string_view a, std::string_view b) { return CompareNoCase(a, b) == 0; }

// The folded form of a whole string, for keys of maps and stored look-up columns.
KW_API std::wstring FoldCase(std::wstring_view text);
KW_API std::string FoldCase(std::string_view utf8);

// Hash and equality of names without regard to case, for unordered containers;
// both transparent, so a look-up by string_view makes no copy.
struct KW_API NoCaseHash {
  using is_transparent = void;
  std::size_t operator()(std::wstring_view s) const;
};
struct KW_API NoCaseEqual {
  using is_transparent = void;
  bool operator()(std::wstring_view a, std::wstring_view b) const { return a.size() == b.size() && EqualNoCase(a, b); }
};

}  // namespace kwfw
