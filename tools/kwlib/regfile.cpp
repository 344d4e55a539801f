#include "regfile.h"

#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <optional>
#include <string_view>

#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/codepage.h>
#include <kwlib63/platform/registry.h>

namespace kwlib {

// Text as the registry keeps it (kwfw's UTF-16LE forms): a value written as a
// quoted string or as hex then loses nothing.
std::vector<BYTE> Utf16LeBytes(std::wstring_view text) {
  const std::string bytes = kwfw::WideToUtf16Le(text);
  return std::vector<BYTE>(bytes.begin(), bytes.end());
}

std::wstring FromUtf16Le(const BYTE* bytes, std::size_t size) {
  return kwfw::Utf16LeToWide(std::string_view(reinterpret_cast<const char*>(bytes), size));
}

namespace {

constexpr std::wstring_view kHeader5 = L"Windows Registry Editor Version 5.00";
constexpr std::wstring_view kHeader4 = L"REGEDIT4";
// The editor wraps hex data once a line reaches this column (the two-space indent
// included, the closing backslash not): 25 bytes on a continuation line.
constexpr std::size_t kHexLineEnd = 2 + 25 * 3;

// Writing.

std::wstring Quoted(std::wstring_view text) {
  std::wstring out = L"\"";
  for (wchar_t c : text) {
    if (c == L'\\' || c == L'"') out += L'\\';
    out += c;
  }
  return out + L"\"";
}

// A REG_SZ is written as a quoted string when the string form gives its bytes
// back; otherwise (no terminator, a NUL or a line end inside, a lone surrogate)
// as hex(1), so that no byte is lost. An empty one is "" as the editor writes it.
bool AsText(const RegFileValue& value, std::wstring& text) {
  const auto& b = value.bytes;
  if (value.type != REG_SZ) return false;
  if (b.empty()) return true;
  if (b.size() % 2 != 0 || b[b.size() - 1] != 0 || b[b.size() - 2] != 0) return false;
  text = FromUtf16Le(b.data(), b.size() - 2);
  if (text.find_first_of(std::wstring_view(L"\0\r\n", 3)) != std::wstring::npos) return false;
  return Utf16LeBytes(text + L'\0') == b;
}

std::wstring ValueLine(const RegFileValue& value) {
  std::wstring line = value.name.empty() ? L"@=" : Quoted(value.name) + L"=";
  if (value.remove) return line + L"-";
  std::wstring text;
  if (AsText(value, text)) return line + Quoted(text);
  wchar_t number[24];
  if (value.type == REG_DWORD && value.bytes.size() == 4) {
    std::swprintf(number, 24, L"dword:%08x", kwfw::Load32(value.bytes.data()));
    return line + number;
  }
  if (value.type == REG_BINARY) {
    line += L"hex:";
  } else {
    std::swprintf(number, 24, L"hex(%x):", static_cast<unsigned>(value.type));
    line += number;
  }
  // The editor's wrapping: a comma after every byte but the last, and a break
  // after the comma that brings the line to its end column, counted in UTF-16
  // units as the editor counts.
  std::size_t column = Utf16LeBytes(line).size() / 2;
  for (std::size_t i = 0; i < value.bytes.size(); ++i) {
    std::swprintf(number, 24, L"%02x", value.bytes[i]);
    line += number;
    if (i + 1 == value.bytes.size()) break;
    line += L',';
    column += 3;
    if (column >= kHexLineEnd) {
      line += L"\\\r\n  ";
      column = 2;
    }
  }
  return line;
}

// Reading.

struct Text {
  std::wstring text;
  bool ansi = false;  // an 8-bit REGEDIT4 file: hex text data is Windows-1252
};

std::wstring_view SkipBlanks(std::wstring_view s) {
  while (!s.empty() && (s.front() == L' ' || s.front() == L'\t')) s.remove_prefix(1);
  return s;
}

std::wstring_view TrimBlanks(std::wstring_view s) {
  s = SkipBlanks(s);
  while (!s.empty() && (s.back() == L' ' || s.back() == L'\t')) s.remove_suffix(1);
  return s;
}

std::wstring Windows1252(std::string_view bytes) {
  if (bytes.empty()) return {};
  const int size = static_cast<int>(bytes.size());
  std::wstring out(bytes.size(), L'\0');
  out.resize(static_cast<std::size_t>(kwplat::MultiByteToWideChar(1252, 0, bytes.data(), size, out.data(), size)));
  return out;
}

// The first line of an 8-bit file decides its encoding: UTF-8 for the 5.00
// header, Windows-1252 for the REGEDIT ones.
Text Decode(const std::vector<unsigned char>& file) {
  if (file.size() >= 2 && file[0] == 0xFF && file[1] == 0xFE) return {FromUtf16Le(file.data() + 2, file.size() - 2), false};
  std::string_view bytes(reinterpret_cast<const char*>(file.data()), file.size());
  if (bytes.substr(0, 3) == "\xEF\xBB\xBF") return {kwfw::Utf8ToWide(bytes.substr(3)), false};
  const std::size_t start = std::min(bytes.find_first_not_of(" \t"), bytes.size());
  if (bytes.substr(start, 7) == "REGEDIT") return {Windows1252(bytes), true};
  return {kwfw::Utf8ToWide(bytes), false};
}

// Lines end at CR LF, LF or a lone CR.
std::vector<std::wstring_view> Lines(std::wstring_view text) {
  std::vector<std::wstring_view> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != L'\r' && text[i] != L'\n') continue;
    lines.push_back(text.substr(start, i - start));
    if (text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n') ++i;
    start = i + 1;
  }
  if (start < text.size()) lines.push_back(text.substr(start));
  return lines;
}

bool IsHexDigit(wchar_t c) { return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F'); }

// The end of a line after data: blanks, then nothing or a ';' comment.
bool EndsClean(std::wstring_view rest) {
  rest = SkipBlanks(rest);
  return rest.empty() || rest.front() == L';';
}

// A quoted string at the start of `s`, with the format's two escapes (\\ and \");
// any other escape, or no closing quote, makes it no string. `s` moves past it.
std::optional<std::wstring> ReadQuoted(std::wstring_view& s) {
  if (s.empty() || s.front() != L'"') return std::nullopt;
  std::wstring out;
  for (std::size_t i = 1; i < s.size(); ++i) {
    if (s[i] == L'"') {
      s.remove_prefix(i + 1);
      return out;
    }
    if (s[i] == L'\\') {
      if (i + 1 >= s.size() || (s[i + 1] != L'\\' && s[i + 1] != L'"')) return std::nullopt;
      ++i;
    }
    out += s[i];
  }
  return std::nullopt;
}

// The hex digits at the start of `s` as a number, for at most `most` digits.
std::optional<unsigned long> ReadHexNumber(std::wstring_view& s, std::size_t most) {
  std::size_t n = 0;
  while (n < s.size() && IsHexDigit(s[n])) ++n;
  if (n == 0 || n > most) return std::nullopt;
  const unsigned long number = std::wcstoul(std::wstring(s.substr(0, n)).c_str(), nullptr, 16);
  s.remove_prefix(n);
  return number;
}

class Parser {
 public:
  Parser(std::vector<std::wstring_view> lines, bool ansi) : m_lines(std::move(lines)), m_ansi(ansi) {}

  void Run(RegFileContents& out) {
    enum class Section { kNone, kKey, kDeleted } section = Section::kNone;
    while (m_next < m_lines.size()) {
      const std::size_t number = m_next + 1;
      std::wstring_view line = SkipBlanks(m_lines[m_next++]);
      if (line.empty() || line.front() == L';' || line.front() == L'#') continue;
      if (line.front() == L'[') {
        RegFileKey key;
        if (!ReadKey(line, key)) {
          Warn(out, number, "not a key line the editor accepts ([PATH] or [-PATH]); its values are skipped");
          section = Section::kNone;
          continue;
        }
        key.line = number;
        section = key.remove ? Section::kDeleted : Section::kKey;
        out.keys.push_back(std::move(key));
        continue;
      }
      RegFileValue value;
      if (!ReadValue(line, value)) {
        Warn(out, number, "not a value the editor accepts; the line is skipped");
      } else if (section == Section::kKey) {
        value.line = number;
        out.keys.back().values.push_back(std::move(value));
      } else {
        Warn(out, number,
             section == Section::kDeleted ? "a value after a key deletion is ignored"
                                          : "a value outside a key is ignored");
      }
    }
  }

 private:
  static void Warn(RegFileContents& out, std::size_t number, const char* why) {
    out.warnings.push_back("line " + std::to_string(number) + ": " + why);
  }

  // "[PATH]" or "[-PATH]": nothing may stand between the bracket, the minus and
  // the name; blanks before the closing bracket belong to the name.
  static bool ReadKey(std::wstring_view line, RegFileKey& key) {
    const std::size_t close = line.rfind(L']');
    if (close == std::wstring_view::npos || !TrimBlanks(line.substr(close + 1)).empty()) return false;
    std::wstring_view path = line.substr(1, close - 1);
    key.remove = !path.empty() && path.front() == L'-';
    if (key.remove) path.remove_prefix(1);
    if (path.empty() || path.front() == L' ' || path.front() == L'\t') return false;
    key.path = std::wstring(path);
    return true;
  }

  bool ReadValue(std::wstring_view line, RegFileValue& value) {
    if (!line.empty() && line.front() == L'@') {
      line.remove_prefix(1);
    } else if (std::optional<std::wstring> name = ReadQuoted(line)) {
      value.name = std::move(*name);
    } else {
      return false;
    }
    line = SkipBlanks(line);
    if (line.empty() || line.front() != L'=') return false;
    line = SkipBlanks(line.substr(1));
    if (!line.empty() && line.front() == L'-') {
      value.remove = true;
      return EndsClean(line.substr(1));
    }
    if (std::optional<std::wstring> text = ReadQuoted(line)) {
      value.type = REG_SZ;
      value.bytes = Utf16LeBytes(*text + L'\0');
      return EndsClean(line);
    }
    if (line.starts_with(L"dword:")) {
      line = SkipBlanks(line.substr(6));
      const std::optional<unsigned long> number = ReadHexNumber(line, 8);
      if (!number || !EndsClean(line)) return false;
      value.type = REG_DWORD;
      for (int shift = 0; shift < 32; shift += 8) value.bytes.push_back(static_cast<BYTE>(*number >> shift));
      return true;
    }
    if (line.starts_with(L"hex:")) {
      value.type = REG_BINARY;
      line.remove_prefix(4);
    } else if (line.starts_with(L"hex(")) {
      line.remove_prefix(4);
      const std::optional<unsigned long> type = ReadHexNumber(line, 8);
      if (!type || !line.starts_with(L"):")) return false;
      value.type = static_cast<DWORD>(*type);
      line.remove_prefix(2);
    } else {
      return false;
    }
    return ReadHexBytes(line, value.bytes) && FinishText(value);
  }

  // Bytes "xx,xx,...", continued over lines by a backslash after a comma (or right
  // after the prefix). On the continuation lines blanks and ';' comment lines are
  // passed over and a '#' comment line ends the value as bad; the end of the file
  // ends a continued value with the bytes so far. A comma with nothing after it
  // ends the value.
  bool ReadHexBytes(std::wstring_view line, std::vector<BYTE>& bytes) {
    bool needByte = false;  // just after a continuation
    bool canContinue = true;  // after the prefix or a comma
    for (;;) {
      line = SkipBlanks(line);
      if (line.empty()) return !needByte;
      const wchar_t c = line.front();
      if (IsHexDigit(c)) {
        const std::optional<unsigned long> byte = ReadHexNumber(line, 2);
        if (!byte) return false;
        bytes.push_back(static_cast<BYTE>(*byte));
        needByte = false;
        line = SkipBlanks(line);
        if (line.empty() || line.front() == L';') return true;
        if (line.front() != L',') return false;
        line.remove_prefix(1);
        canContinue = true;
        continue;
      }
      if (needByte) return false;
      if (c == L';') return true;
      if (c != L'\\' || !canContinue) return false;
      line = SkipBlanks(line.substr(1));
      if (!line.empty() && line.front() != L';') return false;
      if (!NextDataLine(line)) return true;
      if (line.front() == L'#') return false;
      needByte = true;
      canContinue = false;
    }
  }

  // The next line of a continued value that is not blank and not a ';' comment,
  // without its leading blanks; false at the end of the file.
  bool NextDataLine(std::wstring_view& line) {
    while (m_next < m_lines.size()) {
      line = SkipBlanks(m_lines[m_next++]);
      if (!line.empty() && line.front() != L';') return true;
    }
    return false;
  }

  // Text given as hex: an 8-bit REGEDIT4 file's bytes are Windows-1252 text, and
  // an expandable string or a string list gets the terminator it lacks.
  bool FinishText(RegFileValue& value) const {
    if (!IsTextType(value.type)) return true;
    auto& b = value.bytes;
    if (m_ansi) b = Utf16LeBytes(Windows1252(std::string_view(reinterpret_cast<const char*>(b.data()), b.size())));
    if ((value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ) && !b.empty() &&
        (b.size() % 2 != 0 || b[b.size() - 1] != 0 || b[b.size() - 2] != 0)) {
      if (b.size() % 2 != 0) b.push_back(0);
      b.insert(b.end(), {0, 0});
    }
    return true;
  }

  std::vector<std::wstring_view> m_lines;
  bool m_ansi;
  std::size_t m_next = 1;  // the header is line 1
};

}  // namespace

std::string WriteRegFile(const std::vector<RegFileKey>& keys) {
  std::wstring text = std::wstring(kHeader5) + L"\r\n\r\n";
  for (const RegFileKey& key : keys) {
    text += (key.remove ? L"[-" : L"[") + key.path + L"]\r\n";
    for (const RegFileValue& value : key.values) text += ValueLine(value) + L"\r\n";
    text += L"\r\n";
  }
  const std::vector<BYTE> bytes = Utf16LeBytes(text);
  return "\xFF\xFE" + std::string(bytes.begin(), bytes.end());
}

bool ParseRegFile(const std::vector<unsigned char>& file, RegFileContents& contents, std::string& error) {
  const Text decoded = Decode(file);
  std::vector<std::wstring_view> lines = Lines(decoded.text);
  // The header must be the first line; blanks may come before it on that line.
  const std::wstring_view header = lines.empty() ? std::wstring_view() : TrimBlanks(lines[0]);
  RegFileContents read;
  if (header == kHeader5 || header == kHeader4) {
    Parser(std::move(lines), decoded.ansi && header == kHeader4).Run(read);
  } else if (header.starts_with(L"REGEDIT")) {
    // The Windows 3.1 form, which holds only HKEY_CLASSES_ROOT: accepted, as the
    // editor accepts it, but this registry has no such root.
    read.warnings.push_back("line 1: a Windows 3.1 registration file (HKEY_CLASSES_ROOT only); nothing was imported");
  } else {
    error = "not a .reg file (its first line must be \"Windows Registry Editor Version 5.00\" or \"REGEDIT4\")";
    return false;
  }
  contents = std::move(read);
  return true;
}

}  // namespace kwlib
