// Windows printf conventions on glibc: the format is parsed here; strings and
// characters are converted and padded here (so that narrow and wide text mix
// without the C library's locale-dependent conversions), and each numeric
// conversion is handed to snprintf on its own.
#include <kwlib63/framework/format.h>

#include <langinfo.h>

#include <algorithm>
#include <charconv>
#include <cfenv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

#include <kwlib63/framework/textconv.h>

namespace kwfw {
namespace {

enum class Size { kNone, kChar, kShort, kLong, kLongLong, kPtr, kInt32, kIntMax, kLongDouble, kWide };

struct Conversion {
  char flags[8] = {};
  int flagCount = 0;
  int width = 0;
  int precision = -1;
  Size size = Size::kNone;
  char conv = 0;
  bool Has(char flag) const { return std::memchr(flags, flag, static_cast<std::size_t>(flagCount)) != nullptr; }
  void AddFlag(char flag) {
    if (flagCount < 7) flags[flagCount++] = flag;
  }
};

template <typename CharT>
bool IsDigit(CharT c) {
  return c >= '0' && c <= '9';
}

template <typename CharT>
int ParseNumber(const CharT*& p) {
  long value = 0;
  while (IsDigit(*p)) {
    if (value < 1'000'000) value = value * 10 + (*p - '0');
    ++p;
  }
  return static_cast<int>(value);
}

// Appends the C library's narrow output: ASCII, or the locale's UTF-8 punctuation.
void AppendNarrow(std::wstring& out, std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      out += Utf8ToWide(text);
      return;
    }
  }
  out.append(text.begin(), text.end());
}
void AppendNarrow(std::string& out, std::string_view text) { out += text; }

// One numeric conversion as the C library spells it: "%<flags><width>.<precision><length><conv>".
class NumericFormat {
 public:
  NumericFormat(const Conversion& s, const char* length) {
    char* p = m_text;
    *p++ = '%';
    for (int i = 0; i < s.flagCount; ++i) *p++ = s.flags[i];
    if (s.width > 0) p = std::to_chars(p, m_text + 24, s.width).ptr;
    if (s.precision >= 0) {
      *p++ = '.';
      p = std::to_chars(p, m_text + 36, s.precision).ptr;
    }
    while (*length != 0) *p++ = *length++;
    *p++ = s.conv;
    *p = 0;
  }
  const char* c_str() const { return m_text; }

 private:
  char m_text[48];
};

// The format is rebuilt from the parsed format, so its argument type matches `value`.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <typename CharT, typename T>
void AppendNumber(std::basic_string<CharT>& out, const NumericFormat& numeric, T value) {
  char small[128];
  const int n = std::snprintf(small, sizeof small, numeric.c_str(), value);
  if (n < 0) return;
  if (static_cast<std::size_t>(n) < sizeof small) {
    AppendNarrow(out, std::string_view(small, static_cast<std::size_t>(n)));
    return;
  }
  std::string big(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(big.data(), big.size(), numeric.c_str(), value);
  big.resize(static_cast<std::size_t>(n));
  AppendNarrow(out, big);
}
#pragma GCC diagnostic pop

// A conversion without flags, width or precision is written without the C
// library: the same digits, much less work.
template <typename CharT, typename T>
bool AppendPlainInteger(std::basic_string<CharT>& out, const Conversion& s, T value) {
  if (s.flagCount != 0 || s.width != 0 || s.precision >= 0) return false;
  const int base = s.conv == 'o' ? 8 : (s.conv == 'x' || s.conv == 'X') ? 16 : 10;
  char digits[32];
  const char* end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
  for (const char* p = digits; p != end; ++p) {
    out += static_cast<CharT>(s.conv == 'X' && *p >= 'a' ? *p - 'a' + 'A' : *p);
  }
  return true;
}

template <typename CharT>
void FormatInteger(std::basic_string<CharT>& out, const Conversion& s, va_list& args) {
  const bool isSigned = s.conv == 'd' || s.conv == 'i';
  if (s.size == Size::kNone || s.size == Size::kInt32) {
    if (isSigned) {
      const int v = va_arg(args, int);
      if (!AppendPlainInteger(out, s, v)) AppendNumber(out, NumericFormat(s, ""), v);
    } else {
      const unsigned v = va_arg(args, unsigned);
      if (!AppendPlainInteger(out, s, v)) AppendNumber(out, NumericFormat(s, ""), v);
    }
    return;
  }
  switch (s.size) {
    case Size::kLongLong:
      if (isSigned) return AppendNumber(out, NumericFormat(s, "ll"), va_arg(args, long long));
      return AppendNumber(out, NumericFormat(s, "ll"), va_arg(args, unsigned long long));
    case Size::kLong:
      if (isSigned) return AppendNumber(out, NumericFormat(s, "l"), va_arg(args, long));
      return AppendNumber(out, NumericFormat(s, "l"), va_arg(args, unsigned long));
    case Size::kPtr:
      if (isSigned) return AppendNumber(out, NumericFormat(s, "t"), va_arg(args, std::ptrdiff_t));
      return AppendNumber(out, NumericFormat(s, "z"), va_arg(args, std::size_t));
    case Size::kIntMax:
      if (isSigned) return AppendNumber(out, NumericFormat(s, "j"), va_arg(args, std::intmax_t));
      return AppendNumber(out, NumericFormat(s, "j"), va_arg(args, std::uintmax_t));
    case Size::kShort:
      return AppendNumber(out, NumericFormat(s, "h"), va_arg(args, int));
    case Size::kChar:
      return AppendNumber(out, NumericFormat(s, "hh"), va_arg(args, int));
    default:
      if (isSigned) return AppendNumber(out, NumericFormat(s, ""), va_arg(args, int));
      return AppendNumber(out, NumericFormat(s, ""), va_arg(args, unsigned int));
  }
}

// %f without flags or width, the usual case, written without the C library:
// std::to_chars gives the C library's digits (rounded the same way), and the
// decimal point is the one of the calling thread's locale.
template <typename CharT>
bool AppendPlainFixed(std::basic_string<CharT>& out, const Conversion& s, double value) {
  constexpr int kMaxPrecision = 64;  // with 309 integer digits at most, the buffer holds it
  // std::to_chars rounds to nearest; under another rounding mode the C library
  // rounds as the mode says.
  if (s.flagCount != 0 || s.width != 0 || s.precision > kMaxPrecision || (s.conv != 'f' && s.conv != 'F') ||
      !std::isfinite(value) || std::fegetround() != FE_TONEAREST) {
    return false;
  }
  char digits[400];
  const char* end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed,
                                  s.precision >= 0 ? s.precision : 6).ptr;
  const char* point = std::find(static_cast<const char*>(digits), end, '.');
  AppendNarrow(out, std::string_view(digits, static_cast<std::size_t>(point - digits)));
  if (point != end) {
    AppendNarrow(out, nl_langinfo(RADIXCHAR));
    AppendNarrow(out, std::string_view(point + 1, static_cast<std::size_t>(end - point - 1)));
  }
  return true;
}

template <typename CharT>
void FormatFloat(std::basic_string<CharT>& out, const Conversion& s, va_list& args) {
  if (s.size == Size::kLongDouble) return AppendNumber(out, NumericFormat(s, "L"), va_arg(args, long double));
  const double value = va_arg(args, double);
  if (!AppendPlainFixed(out, s, value)) AppendNumber(out, NumericFormat(s, ""), value);
}

// Whether a %s/%c-family argument is wide, by the Windows rules.
template <typename CharT>
bool ArgIsWide(const Conversion& s, bool upperConv) {
  if (s.size == Size::kChar || s.size == Size::kShort) return false;
  if (s.size == Size::kLong || s.size == Size::kWide) return true;
  constexpr bool wideFormat = sizeof(CharT) != 1;
  return upperConv ? !wideFormat : wideFormat;
}

// Converted text of a string argument, reading no more than `limit` source units.
template <typename CharT>
std::basic_string<CharT> StringArg(bool wide, const void* ptr, std::size_t limit) {
  if (wide) {
    const auto* w = static_cast<const wchar_t*>(ptr);
    const std::wstring_view view(w, wcsnlen(w, limit));
    if constexpr (sizeof(CharT) == 1) {
      return WideToUtf8(view);
    } else {
      return std::wstring(view);
    }
  }
  const auto* n = static_cast<const char*>(ptr);
  const std::string_view view(n, strnlen(n, limit));
  if constexpr (sizeof(CharT) == 1) {
    return std::string(view);
  } else {
    return Utf8ToWide(view);
  }
}

template <typename CharT>
std::basic_string<CharT> CharArg(bool wide, int value) {
  if (wide) {
    if constexpr (sizeof(CharT) == 1) {
      return WideToUtf8(std::wstring(1, static_cast<wchar_t>(value)));
    } else {
      return std::wstring(1, static_cast<wchar_t>(value));
    }
  }
  const auto byte = static_cast<unsigned char>(value);
  if constexpr (sizeof(CharT) == 1) {
    return std::string(1, static_cast<char>(byte));
  } else {
    return std::wstring(1, byte < 0x80 ? static_cast<wchar_t>(byte) : L'\xFFFD');
  }
}

// Cuts narrow text to at most `max` bytes without splitting a UTF-8 sequence.
void Truncate(std::string& text, std::size_t max) {
  if (text.size() <= max) return;
  std::size_t cut = max;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  text.resize(cut);
}
void Truncate(std::wstring& text, std::size_t max) {
  if (text.size() > max) text.resize(max);
}

template <typename CharT>
void AppendPadded(std::basic_string<CharT>& out, const std::basic_string<CharT>& text, const Conversion& s) {
  const std::size_t width = static_cast<std::size_t>(s.width);
  if (text.size() >= width) {
    out += text;
    return;
  }
  const std::size_t pad = width - text.size();
  if (s.Has('-')) {
    out += text;
    out.append(pad, CharT(' '));
  } else {
    out.append(pad, CharT(s.Has('0') ? '0' : ' '));
    out += text;
  }
}

template <typename CharT>
void FormatImpl(std::basic_string<CharT>& out, const CharT* format, va_list& args) {
  if (format == nullptr) return;
  for (const CharT* p = format; *p != 0;) {
    if (*p != '%') {
      const CharT* run = p;
      while (*p != 0 && *p != '%') ++p;
      out.append(run, static_cast<std::size_t>(p - run));
      continue;
    }
    const CharT* start = p++;
    if (*p == '%') {
      out += CharT('%');
      ++p;
      continue;
    }
    Conversion s;
    while (*p == '-' || *p == '+' || *p == '0' || *p == ' ' || *p == '#') s.AddFlag(static_cast<char>(*p++));
    if (*p == '*') {
      s.width = va_arg(args, int);
      if (s.width < 0) {
        s.AddFlag('-');
        s.width = s.width == -2147483647 - 1 ? 0 : -s.width;
      }
      ++p;
    } else {
      s.width = ParseNumber(p);
    }
    if (*p == '.') {
      ++p;
      if (*p == '*') {
        s.precision = va_arg(args, int);
        if (s.precision < 0) s.precision = -1;
        ++p;
      } else {
        s.precision = ParseNumber(p);
      }
    }
    if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
      s.size = Size::kLongLong, p += 3;
    } else if (p[0] == 'I' && p[1] == '3' && p[2] == '2') {
      s.size = Size::kInt32, p += 3;
    } else if (*p == 'I' || *p == 'z' || *p == 't') {
      s.size = Size::kPtr, ++p;
    } else if (*p == 'j') {
      s.size = Size::kIntMax, ++p;
    } else if (p[0] == 'h' && p[1] == 'h') {
      s.size = Size::kChar, p += 2;
    } else if (*p == 'h') {
      s.size = Size::kShort, ++p;
    } else if (p[0] == 'l' && p[1] == 'l') {
      s.size = Size::kLongLong, p += 2;
    } else if (*p == 'l') {
      s.size = Size::kLong, ++p;
    } else if (*p == 'w') {
      s.size = Size::kWide, ++p;
    } else if (*p == 'L') {
      s.size = Size::kLongDouble, ++p;
    }
    if (*p == 0) {  // a format cut short: the rest is text
      out.append(start);
      break;
    }
    s.conv = static_cast<char>(*p);
    if (static_cast<CharT>(s.conv) != *p) s.conv = '?';  // a wide character that is no conversion
    ++p;
    switch (s.conv) {
      case 'd': case 'i': case 'u': case 'o': case 'x': case 'X':
        FormatInteger(out, s, args);
        break;
      case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
        FormatFloat(out, s, args);
        break;
      case 'p':
        AppendNumber(out, NumericFormat(Conversion{{'0'}, 1, 16, -1, Size::kNone, 'X'}, "ll"),
                     static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(va_arg(args, void*))));
        break;
      case 'n':
        (void)va_arg(args, void*);
        break;
      case 's': case 'S': {
        const void* ptr = va_arg(args, const void*);
        std::basic_string<CharT> text;
        const bool wide = ArgIsWide<CharT>(s, s.conv == 'S');
        // The common cases, without padding: appended as they are, or narrow text
        // in a wide format converted straight into the output.
        if (ptr != nullptr && s.width == 0 && s.precision < 0 && wide == (sizeof(CharT) != 1)) {
          out += static_cast<const CharT*>(ptr);
          break;
        }
        if (ptr != nullptr && s.width == 0 && s.precision < 0 && !wide) {
          AppendNarrow(out, static_cast<const char*>(ptr));
          break;
        }
        if (ptr == nullptr) {
          for (const char* n = "(null)"; *n != 0; ++n) text += CharT(*n);
        } else {
          const std::size_t limit = s.precision >= 0 ? static_cast<std::size_t>(s.precision) : std::size_t(-1);
          text = StringArg<CharT>(wide, ptr, limit);
        }
        if (s.precision >= 0) Truncate(text, static_cast<std::size_t>(s.precision));
        AppendPadded(out, text, s);
        break;
      }
      case 'c': case 'C':
        AppendPadded(out, CharArg<CharT>(ArgIsWide<CharT>(s, s.conv == 'C'), va_arg(args, int)), s);
        break;
      default:  // not a conversion: keep the text as written
        out.append(start, static_cast<std::size_t>(p - start));
        break;
    }
  }
}

}  // namespace

void FormatAppendV(std::wstring& out, const wchar_t* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  FormatImpl(out, format, copy);
  va_end(copy);
}

void FormatAppendV(std::string& out, const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  FormatImpl(out, format, copy);
  va_end(copy);
}

}  // namespace kwfw
