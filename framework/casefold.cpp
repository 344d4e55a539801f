// Simple case folding built on utf8proc's full folding and lower-case mapping.
#include <kwlib63/framework/casefold.h>

#include <utf8proc.h>

#include <algorithm>
#include <string>

#include <kwlib63/framework/textconv.h>

namespace kwfw {

namespace {

// The full case folding of `c`: up to three code points. Returns how many.
utf8proc_ssize_t FullFold(utf8proc_int32_t c, utf8proc_int32_t (&out)[4]) {
  int boundclass = 0;
  const utf8proc_ssize_t n = utf8proc_decompose_char(c, out, 4, UTF8PROC_CASEFOLD, &boundclass);
  if (n <= 0 || n > 4) {
    out[0] = c;
    return 1;
  }
  return n;
}

// UTF-8 text as code points; bytes that do not decode stay as values above
// U+10FFFF, so they fold to themselves and never equal a character.
std::u32string Decode(std::string_view text) {
  std::u32string out;
  out.reserve(text.size());
  for (std::size_t pos = 0; pos < text.size();) {
    char32_t cp;
    const std::size_t len = DecodeUtf8(text, pos, cp);
    if (len == 0) {
      out += static_cast<char32_t>(0x110000 + static_cast<unsigned char>(text[pos++]));
      continue;
    }
    out += cp;
    pos += len;
  }
  return out;
}

template <typename S>
int CompareFolded(const S& a, const S& b) {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i) {
    const auto ca = static_cast<char32_t>(FoldCase(static_cast<wchar_t>(a[i])));
    const auto cb = static_cast<char32_t>(FoldCase(static_cast<wchar_t>(b[i])));
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

}  // namespace

wchar_t FoldCase(wchar_t c) {
  const auto cp = static_cast<utf8proc_int32_t>(c);
  if (cp < 0x80) return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c - L'A' + L'a') : c;
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return c;
  utf8proc_int32_t full[4];
  const utf8proc_ssize_t n = FullFold(cp, full);
  if (n == 1) return static_cast<wchar_t>(full[0]);
  const utf8proc_int32_t lower = utf8proc_tolower(cp);
  if (lower == cp) return c;
  utf8proc_int32_t lowerFull[4];
  return FullFold(lower, lowerFull) == n && std::equal(full, full + n, lowerFull) ? static_cast<wchar_t>(lower) : c;
}

int CompareNoCase(std::wstring_view a, std::wstring_view b) { return CompareFolded(a, b); }

int CompareNoCase(std::string_view a, std::string_view b) { return CompareFolded(Decode(a), Decode(b)); }

std::size_t NoCaseHash::operator()(std::wstring_view s) const {
  std::size_t h = 14695981039346656037ULL;  // FNV-1a over the folded characters
  for (const wchar_t c : s) h = (h ^ static_cast<std::size_t>(FoldCase(c))) * 1099511628211ULL;
  return h;
}

std::wstring FoldCase(std::wstring_view text) {
  std::wstring out(text);
  for (wchar_t& c : out) c = FoldCase(c);
  return out;
}

std::string FoldCase(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  for (std::size_t pos = 0; pos < utf8.size();) {
    char32_t cp;
    const std::size_t len = DecodeUtf8(utf8, pos, cp);
    if (len == 0) {
      out += utf8[pos++];
      continue;
    }
    AppendUtf8(out, static_cast<char32_t>(FoldCase(static_cast<wchar_t>(cp))));
    pos += len;
  }
  return out;
}

}  // namespace kwfw
