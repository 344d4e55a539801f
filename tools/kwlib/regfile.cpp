#include "regfile.h"

#include <cstdio>
#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <string_view>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/registry.h>

namespace kwlib {
namespace {

constexpr wchar_t kHeader[] = L"Windows Registry Editor Version 5.00";
// Hex data is wrapped before this column, as the format's readers expect.
constexpr std::size_t kLineWidth = 77;

std::wstring Quoted(std::wstring_view text) {
  std::wstring out = L"\"";
  for (wchar_t c : text) {
    if (c == L'\\' || c == L'"') out += L'\\';
    out += c;
  }
  return out + L"\"";
}

// A REG_SZ is written as text when it is one terminated string with nothing a
// line could not hold; any other is written as hex(1) so that no byte is lost.
bool AsText(const RegFileValue& value, std::wstring& text) {
  const auto& b = value.bytes;
  if (value.type != REG_SZ || b.size() < 2 || b.size() % 2 != 0 || b[b.size() - 1] != 0 || b[b.size() - 2] != 0) {
    return false;
  }
  std::u16string units(b.size() / 2 - 1, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) units[i] = static_cast<char16_t>(b[2 * i] | b[2 * i + 1] << 8);
  for (char16_t unit : units) {
    if (unit == 0 || unit == u'\r' || unit == u'\n') return false;
  }
  text = kwfw::Utf16ToWide(units);
  return kwfw::WideToUtf16(text) == units;  // a lone surrogate would not survive the text form
}

std::wstring ValueLine(const RegFileValue& value) {
  std::wstring line = value.name.empty() ? L"@=" : Quoted(value.name) + L"=";
  if (value.remove) return line + L"-";
  std::wstring text;
  if (AsText(value, text)) return line + Quoted(text);
  if (value.type == REG_DWORD && value.bytes.size() == 4) {
    wchar_t hex[16];
    std::swprintf(hex, 16, L"dword:%08x",
                  value.bytes[0] | value.bytes[1] << 8 | value.bytes[2] << 16 | static_cast<unsigned>(value.bytes[3]) << 24);
    return line + hex;
  }
  if (value.type == REG_BINARY) {
    line += L"hex:";
  } else {
    wchar_t prefix[24];
    std::swprintf(prefix, 24, L"hex(%x):", static_cast<unsigned>(value.type));
    line += prefix;
  }
  std::size_t column = line.size();
  for (std::size_t i = 0; i < value.bytes.size(); ++i) {
    wchar_t byte[4];
    std::swprintf(byte, 4, L"%02x", value.bytes[i]);
    const bool last = i + 1 == value.bytes.size();
    if (column + 3 > kLineWidth) {
      line += L"\\\r\n  ";
      column = 2;
    }
    line += byte;
    if (!last) line += L',';
    column += 3;
  }
  return line;
}

// Reading.

std::wstring Decode(const std::vector<unsigned char>& file) {
  if (file.size() >= 2 && file[0] == 0xFF && file[1] == 0xFE) {
    std::u16string units((file.size() - 2) / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
      units[i] = static_cast<char16_t>(file[2 + 2 * i] | file[3 + 2 * i] << 8);
    }
    return kwfw::Utf16ToWide(units);
  }
  std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
  if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  return kwfw::Utf8ToWide(text);
}

// The lines of the file, a hex value's continued lines joined; each with its number.
struct Line {
  std::size_t number;
  std::wstring text;
};

std::vector<Line> Lines(const std::wstring& text) {
  std::vector<Line> lines;
  std::size_t number = 0;
  bool continued = false;
  for (std::size_t start = 0; start <= text.size();) {
    std::size_t end = std::min(text.find(L'\n', start), text.size());
    std::wstring line = text.substr(start, end - start);
    start = end + 1;
    ++number;
    if (!line.empty() && line.back() == L'\r') line.pop_back();
    if (continued) {
      const std::size_t first = line.find_first_not_of(L" \t");
      lines.back().text += first == std::wstring::npos ? L"" : line.substr(first);
    } else {
      lines.push_back({number, line});
    }
    continued = !lines.back().text.empty() && lines.back().text.back() == L'\\' &&
                lines.back().text.find(L"=hex") != std::wstring::npos;
    if (continued) lines.back().text.pop_back();
    if (end == text.size()) break;
  }
  return lines;
}

// Reads a quoted string at text[at] (on the opening quote); `at` ends after it.
bool ReadQuoted(const std::wstring& text, std::size_t& at, std::wstring& out) {
  if (at >= text.size() || text[at] != L'"') return false;
  for (++at; at < text.size(); ++at) {
    if (text[at] == L'"') {
      ++at;
      return true;
    }
    if (text[at] == L'\\' && at + 1 < text.size()) ++at;
    out += text[at];
  }
  return false;
}

bool ReadHexBytes(std::wstring_view text, std::vector<BYTE>& bytes) {
  std::wstring digits;
  for (wchar_t c : text) {
    if (c == L' ' || c == L'\t') continue;
    if (c == L',') {
      if (digits.empty() || digits.size() > 2) return false;
      bytes.push_back(static_cast<BYTE>(std::wcstoul(digits.c_str(), nullptr, 16)));
      digits.clear();
    } else if (std::iswxdigit(static_cast<wint_t>(c))) {
      digits += c;
    } else {
      return false;
    }
  }
  if (digits.size() > 2) return false;
  if (!digits.empty()) bytes.push_back(static_cast<BYTE>(std::wcstoul(digits.c_str(), nullptr, 16)));
  return true;
}

bool ReadData(const std::wstring& data, RegFileValue& value) {
  if (data == L"-") {
    value.remove = true;
    return true;
  }
  if (!data.empty() && data[0] == L'"') {
    std::size_t at = 0;
    std::wstring text;
    if (!ReadQuoted(data, at, text) || at != data.size()) return false;
    value.type = REG_SZ;
    std::u16string units = kwfw::WideToUtf16(text);
    units += u'\0';
    for (char16_t unit : units) {
      value.bytes.push_back(static_cast<BYTE>(unit & 0xFF));
      value.bytes.push_back(static_cast<BYTE>(unit >> 8));
    }
    return true;
  }
  if (data.rfind(L"dword:", 0) == 0) {
    std::wstring digits = data.substr(6);
    if (digits.empty() || digits.size() > 8 || digits.find_first_not_of(L"0123456789abcdefABCDEF") != std::wstring::npos) {
      return false;
    }
    const unsigned long number = std::wcstoul(digits.c_str(), nullptr, 16);
    value.type = REG_DWORD;
    for (int shift = 0; shift < 32; shift += 8) value.bytes.push_back(static_cast<BYTE>(number >> shift));
    return true;
  }
  if (data.rfind(L"hex:", 0) == 0) {
    value.type = REG_BINARY;
    return ReadHexBytes(std::wstring_view(data).substr(4), value.bytes);
  }
  if (data.rfind(L"hex(", 0) == 0) {
    const std::size_t close = data.find(L"):");
    if (close == std::wstring::npos || close == 4 || close > 12) return false;
    const std::wstring type = data.substr(4, close - 4);
    if (type.find_first_not_of(L"0123456789abcdefABCDEF") != std::wstring::npos) return false;
    value.type = static_cast<DWORD>(std::wcstoul(type.c_str(), nullptr, 16));
    return ReadHexBytes(std::wstring_view(data).substr(close + 2), value.bytes);
  }
  return false;
}

}  // namespace

std::string WriteRegFile(const std::vector<RegFileKey>& keys) {
  std::wstring text = std::wstring(kHeader) + L"\r\n\r\n";
  for (const RegFileKey& key : keys) {
    text += (key.remove ? L"[-" : L"[") + key.path + L"]\r\n";
    for (const RegFileValue& value : key.values) text += ValueLine(value) + L"\r\n";
    text += L"\r\n";
  }
  std::string bytes = "\xFF\xFE";
  for (char16_t unit : kwfw::WideToUtf16(text)) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

bool ParseRegFile(const std::vector<unsigned char>& file, std::vector<RegFileKey>& keys, std::string& error) {
  std::vector<RegFileKey> parsed;
  bool header = false;
  for (const Line& line : Lines(Decode(file))) {
    const std::wstring& text = line.text;
    auto fail = [&](const char* why) {
      error = "line " + std::to_string(line.number) + ": " + why;
      return false;
    };
    if (text.empty() || text[0] == L';') continue;
    if (!header) {
      if (text != kHeader) return fail("not a .reg file (the first line must be \"Windows Registry Editor Version 5.00\")");
      header = true;
      continue;
    }
    if (text[0] == L'[') {
      if (text.back() != L']' || text.size() < 3) return fail("a key line must be [PATH] or [-PATH]");
      RegFileKey key;
      key.remove = text[1] == L'-';
      key.path = text.substr(key.remove ? 2 : 1, text.size() - (key.remove ? 3 : 2));
      if (key.path.empty()) return fail("a key line must name a key");
      parsed.push_back(std::move(key));
      continue;
    }
    if (parsed.empty() || parsed.back().remove) return fail("a value must follow the key it belongs to");
    RegFileValue value;
    std::size_t at = 0;
    if (text[0] == L'@') {
      at = 1;
    } else if (!ReadQuoted(text, at, value.name)) {
      return fail("a value line must start with \"NAME\" or @");
    }
    if (at >= text.size() || text[at] != L'=') return fail("'=' expected after the value's name");
    if (!ReadData(text.substr(at + 1), value)) return fail("the value's data is not in a form this format has");
    parsed.back().values.push_back(std::move(value));
  }
  if (!header) {
    error = "not a .reg file (it is empty)";
    return false;
  }
  keys = std::move(parsed);
  return true;
}

}  // namespace kwlib
