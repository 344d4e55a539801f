// Conversions between the API's wide text (UTF-32 wchar_t), the narrow text of
// Linux (UTF-8) and UTF-16, the form that file formats and string tables count in.
// Invalid input never fails a conversion: a byte or unit that cannot be decoded, and
// a lone surrogate, become U+FFFD.
#pragma once

#include <string>
#include <string_view>

#include <kwlib63/framework/export.h>

namespace kwfw {

KW_API std::wstring Utf8ToWide(std::string_view text);
KW_API std::string WideToUtf8(std::wstring_view text);
KW_API std::u16string WideToUtf16(std::wstring_view text);
KW_API std::wstring Utf16ToWide(std::u16string_view text);

// UTF-16 code units to and from their little-endian bytes, as files store them;
// an odd last byte is left out.
KW_API std::string Utf16LeBytes(std::u16string_view units);
KW_API std::u16string Utf16LeUnits(std::string_view bytes);

// UTF-16LE bytes, the form of Windows' text data (registry values, .reg files).
// Unlike the conversions above, a surrogate without its other half stays the unit
// it is, both ways, so that any sequence of units round-trips as the registry
// keeps it; a wide character above U+10FFFF becomes U+FFFD, and an odd last byte
// is left out.
KW_API std::string WideToUtf16Le(std::wstring_view text);
KW_API std::wstring Utf16LeToWide(std::string_view bytes);

// The UTF-16 code units of one wide character (U+FFFD for one that is not a scalar
// value): writes one or two units to `out` and returns how many.
KW_API int EncodeUtf16(wchar_t c, char16_t out[2]);

// Appends the UTF-8 form of one code point (U+FFFD for one that is not a scalar value).
KW_API void AppendUtf8(std::string& out, char32_t cp);

// Decodes one UTF-8 sequence at text[pos]. Returns its length in bytes, or 0 when the
// bytes there are not a complete, valid sequence; `cp` is set only on success.
KW_API std::size_t DecodeUtf8(std::string_view text, std::size_t pos, char32_t& cp);

}  // namespace kwfw
