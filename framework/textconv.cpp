// UTF-8, UTF-16 and UTF-32 conversions written out by hand: they sit under every
// string operation of the library and must not depend on the process's locale.
#include <kwlib63/framework/textconv.h>

#include <algorithm>

#include <kwlib63/framework/endian.h>

namespace kwfw {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsScalar(char32_t cp) { return cp < 0xD800 || (cp > 0xDFFF && cp <= 0x10FFFF); }

}  // namespace

std::size_t DecodeUtf8(std::string_view text, std::size_t pos, char32_t& cp) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(pos);
  if (lead < 0x80) {
    cp = lead;
    return 1;
  }
  std::size_t len;
  char32_t value;
  char32_t min;
  if ((lead & 0xE0) == 0xC0) {
    len = 2, value = lead & 0x1F, min = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    len = 3, value = lead & 0x0F, min = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    len = 4, value = lead & 0x07, min = 0x10000;
  } else {
    return 0;
  }
  if (text.size() - pos < len) return 0;
  for (std::size_t i = 1; i < len; ++i) {
    const unsigned char b = byte(pos + i);
    if ((b & 0xC0) != 0x80) return 0;
    value = (value << 6) | (b & 0x3F);
  }
  if (value < min || !IsScalar(value)) return 0;
  cp = value;
  return len;
}

void AppendUtf8(std::string& out, char32_t cp) {
  if (!IsScalar(cp)) cp = kReplacement;
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

std::wstring Utf8ToWide(std::string_view text) {
  // Never more characters than bytes: the result is sized once and cut at the end.
  std::wstring out(text.size(), L'\0');
  std::size_t n = 0;
  for (std::size_t pos = 0; pos < text.size();) {
    if (const auto lead = static_cast<unsigned char>(text[pos]); lead < 0x80) {
      out[n++] = static_cast<wchar_t>(lead);
      ++pos;
      continue;
    }
    char32_t cp;
    const std::size_t len = DecodeUtf8(text, pos, cp);
    out[n++] = static_cast<wchar_t>(len == 0 ? kReplacement : cp);
    pos += len == 0 ? 1 : len;
  }
  out.resize(n);
  return out;
}

std::string WideToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t c : text) AppendUtf8(out, static_cast<char32_t>(c));
  return out;
}

int EncodeUtf16(wchar_t c, char16_t out[2]) {
  char32_t cp = static_cast<char32_t>(c);
  if (!IsScalar(cp)) cp = kReplacement;
  if (cp < 0x10000) {
    out[0] = static_cast<char16_t>(cp);
    return 1;
  }
  cp -= 0x10000;
  out[0] = static_cast<char16_t>(0xD800 | (cp >> 10));
  out[1] = static_cast<char16_t>(0xDC00 | (cp & 0x3FF));
  return 2;
}

std::u16string WideToUtf16(std::wstring_view text) {
  std::u16string out;
  out.reserve(text.size());
  char16_t units[2];
  for (wchar_t c : text) out.append(units, static_cast<std::size_t>(EncodeUtf16(c, units)));
  return out;
}

std::string Utf16LeBytes(std::u16string_view units) {
  std::string bytes(2 * units.size(), '\0');
  for (std::size_t i = 0; i < units.size(); ++i) Store16(&bytes[2 * i], units[i]);
  return bytes;
}

std::u16string Utf16LeUnits(std::string_view bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) units[i] = Load16(&bytes[2 * i]);
  return units;
}

std::string WideToUtf16Le(std::wstring_view text) {
  const auto paired = [](wchar_t c) { return static_cast<char32_t>(c) >= 0x10000 && static_cast<char32_t>(c) <= 0x10FFFF; };
  std::string bytes(2 * (text.size() + static_cast<std::size_t>(std::count_if(text.begin(), text.end(), paired))), '\0');
  char* at = bytes.data();
  const auto put = [&at](char32_t unit) {
    Store16(at, static_cast<std::uint16_t>(unit));
    at += 2;
  };
  for (const wchar_t c : text) {
    const auto code = static_cast<char32_t>(c);
    if (paired(c)) {
      put(0xD800 + ((code - 0x10000) >> 10));
      put(0xDC00 + ((code - 0x10000) & 0x3FF));
    } else {
      put(code <= 0xFFFF ? code : kReplacement);
    }
  }
  return bytes;
}

std::wstring Utf16LeToWide(std::string_view bytes) {
  const std::size_t units = bytes.size() / 2;
  const auto unit = [&bytes](std::size_t i) -> char32_t { return Load16(&bytes[2 * i]); };
  std::wstring text;
  text.reserve(units);
  for (std::size_t i = 0; i < units; ++i) {
    char32_t code = unit(i);
    if (code >= 0xD800 && code < 0xDC00 && i + 1 < units && unit(i + 1) >= 0xDC00 && unit(i + 1) < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (unit(++i) - 0xDC00);
    }
    text += static_cast<wchar_t>(code);
  }
  return text;
}

std::wstring Utf16ToWide(std::u16string_view text) {
  std::wstring out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t u = text[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      out += static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (text[i + 1] - 0xDC00));
      ++i;
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      out += static_cast<wchar_t>(kReplacement);
    } else {
      out += static_cast<wchar_t>(u);
    }
  }
  return out;
}

}  // namespace kwfw
