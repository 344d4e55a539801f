// Windows printf conventions on glibc: the format is parsed here; strings and
// characters are converted and padded here (so that narrow and wide text mix
// without the C library's locale-dependent conversions), and each numeric
// conversion is handed to snprintf on its own.
#include <kwlib63/framework/format.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

#include <kwlib63/framework/textconv.h>

namespace kwfw {
namespace {

enum class Size { kNone, kChar, kShort, kLong, kLongLong, kPtr, kInt32, kIntMax, kLongDouble, kWide };

struct Spec {
  std::string flags;
  int width = 0;
  int precision = -1;
  Size size = Size::kNone;
  char conv = 0;
  bool left() const { return flags.find('-') != std::string::npos; }
  bool zero() const { return flags.find('0') != std::string::npos; }
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

// Appends narrow output (ASCII digits, or the locale's UTF-8 punctuation).
void AppendNarrow(std::wstring& out, std::string_view text) { out += Utf8ToWide(text); }
void AppendNarrow(std::string& out, std::string_view text) { out += text; }

// `spec` is one conversion rebuilt from the parsed format, so its argument type
// is known to match `value`.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <typename T>
std::string Snprintf(const std::string& spec, T value) {
  char small[128];
  const int n = std::snprintf(small, sizeof small, spec.c_str(), value);
  if (n < 0) return {};
  if (static_cast<std::size_t>(n) < sizeof small) return std::string(small, static_cast<std::size_t>(n));
  std::string big(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(big.data(), big.size(), spec.c_str(), value);
  big.resize(static_cast<std::size_t>(n));
  return big;
}
#pragma GCC diagnostic pop

std::string NumericSpec(const Spec& s, const char* lengthModifier) {
  std::string spec = "%" + s.flags;
  if (s.width > 0) spec += std::to_string(s.width);
  if (s.precision >= 0) spec += "." + std::to_string(s.precision);
  spec += lengthModifier;
  spec += s.conv;
  return spec;
}

std::string FormatInteger(const Spec& s, va_list& args) {
  const bool isSigned = s.conv == 'd' || s.conv == 'i';
  switch (s.size) {
    case Size::kLongLong:
      return isSigned ? Snprintf(NumericSpec(s, "ll"), va_arg(args, long long))
                      : Snprintf(NumericSpec(s, "ll"), va_arg(args, unsigned long long));
    case Size::kLong:
      return isSigned ? Snprintf(NumericSpec(s, "l"), va_arg(args, long))
                      : Snprintf(NumericSpec(s, "l"), va_arg(args, unsigned long));
    case Size::kPtr:
      return isSigned ? Snprintf(NumericSpec(s, "t"), va_arg(args, std::ptrdiff_t))
                      : Snprintf(NumericSpec(s, "z"), va_arg(args, std::size_t));
    case Size::kIntMax:
      return isSigned ? Snprintf(NumericSpec(s, "j"), va_arg(args, std::intmax_t))
                      : Snprintf(NumericSpec(s, "j"), va_arg(args, std::uintmax_t));
    case Size::kShort:
      return Snprintf(NumericSpec(s, "h"), va_arg(args, int));
    case Size::kChar:
      return Snprintf(NumericSpec(s, "hh"), va_arg(args, int));
    default:
      return isSigned ? Snprintf(NumericSpec(s, ""), va_arg(args, int))
                      : Snprintf(NumericSpec(s, ""), va_arg(args, unsigned int));
  }
}

std::string FormatFloat(const Spec& s, va_list& args) {
  if (s.size == Size::kLongDouble) return Snprintf(NumericSpec(s, "L"), va_arg(args, long double));
  return Snprintf(NumericSpec(s, ""), va_arg(args, double));
}

// Whether a %s/%c-family argument is wide, by the Windows rules.
template <typename CharT>
bool ArgIsWide(const Spec& s, bool upperConv) {
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
void AppendPadded(std::basic_string<CharT>& out, const std::basic_string<CharT>& text, const Spec& s) {
  const std::size_t width = static_cast<std::size_t>(s.width);
  if (text.size() >= width) {
    out += text;
    return;
  }
  const std::size_t pad = width - text.size();
  if (s.left()) {
    out += text;
    out.append(pad, CharT(' '));
  } else {
    out.append(pad, CharT(s.zero() ? '0' : ' '));
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
    Spec s;
    while (*p == '-' || *p == '+' || *p == '0' || *p == ' ' || *p == '#') s.flags += static_cast<char>(*p++);
    if (*p == '*') {
      s.width = va_arg(args, int);
      if (s.width < 0) {
        s.flags += '-';
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
        AppendNarrow(out, FormatInteger(s, args));
        break;
      case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
        AppendNarrow(out, FormatFloat(s, args));
        break;
      case 'p':
        AppendNarrow(out, Snprintf("%016llX", static_cast<unsigned long long>(
                                                  reinterpret_cast<std::uintptr_t>(va_arg(args, void*)))));
        break;
      case 'n':
        (void)va_arg(args, void*);
        break;
      case 's': case 'S': {
        const void* ptr = va_arg(args, const void*);
        std::basic_string<CharT> text;
        if (ptr == nullptr) {
          for (const char* n = "(null)"; *n != 0; ++n) text += CharT(*n);
        } else {
          const std::size_t limit = s.precision >= 0 ? static_cast<std::size_t>(s.precision) : std::size_t(-1);
          text = StringArg<CharT>(ArgIsWide<CharT>(s, s.conv == 'S'), ptr, limit);
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
