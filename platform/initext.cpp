// The INI text held in memory: bytes to lines and back, lines read, and the edits
// of writes. Nothing here touches a file.
#include <kwlib63/platform/initext.h>

#include <cwchar>
#include <optional>

#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/codepage.h>

namespace kwplat::ini {
namespace {

// --- Bytes and text -------------------------------------------------------------

std::wstring DecodeAnsi(const std::string& bytes) {
  if (bytes.empty()) return std::wstring();
  std::wstring text(bytes.size(), L'\0');
  MultiByteToWideChar(1252, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), static_cast<int>(text.size()));
  return text;
}

std::string Encode(const IniFile& file, const std::wstring& text) {
  if (file.utf16) return kwfw::Utf16LeBytes(kwfw::WideToUtf16(text));
  if (text.empty()) return std::string();
  std::string bytes(text.size(), '\0');
  WideCharToMultiByte(1252, 0, text.data(), static_cast<int>(text.size()), bytes.data(), static_cast<int>(bytes.size()),
                      nullptr, nullptr);
  return bytes;
}

std::string NewLineEnd(const IniFile& file) { return file.utf16 ? std::string("\r\0\n\0", 4) : std::string("\r\n"); }

Line MakeLine(const IniFile& file, const std::wstring& text) { return Line{Encode(file, text), NewLineEnd(file), text}; }

// --- Sections --------------------------------------------------------------------

struct Range {
  std::size_t header, end;  // the header line, and the next section's header (or the end)
};

std::optional<Range> FindSection(const IniFile& file, std::wstring_view name) {
  for (std::size_t i = 0; i < file.lines.size(); ++i) {
    const Parsed p = Parse(file.lines[i].text);
    if (p.kind != Parsed::kSection || !kwfw::EqualNoCase(p.name, name)) continue;
    std::size_t end = i + 1;
    while (end < file.lines.size() && Parse(file.lines[end].text).kind != Parsed::kSection) ++end;
    return Range{i, end};
  }
  return std::nullopt;
}

std::optional<std::size_t> FindKey(const IniFile& file, const Range& r, std::wstring_view key) {
  for (std::size_t i = r.header + 1; i < r.end; ++i) {
    const Parsed p = Parse(file.lines[i].text);
    if (p.kind == Parsed::kEntry && kwfw::EqualNoCase(p.name, key)) return i;
  }
  return std::nullopt;
}

// Lines go at the end of the file; the last line gets its line end first.
void AppendLines(IniFile& file, const std::vector<std::wstring>& texts) {
  if (!file.lines.empty() && file.lines.back().eol.empty()) file.lines.back().eol = NewLineEnd(file);
  for (const std::wstring& t : texts) file.lines.push_back(MakeLine(file, t));
}

// Inserts after the section's last line that is not blank.
void InsertInSection(IniFile& file, const Range& r, const std::vector<std::wstring>& texts) {
  std::size_t at = r.end;
  while (at > r.header + 1 && Parse(file.lines[at - 1].text).kind == Parsed::kBlank) --at;
  if (at == file.lines.size()) {
    AppendLines(file, texts);
    return;
  }
  if (file.lines[at - 1].eol.empty()) file.lines[at - 1].eol = NewLineEnd(file);
  std::vector<Line> added;
  for (const std::wstring& t : texts) added.push_back(MakeLine(file, t));
  file.lines.insert(file.lines.begin() + static_cast<long>(at), added.begin(), added.end());
}

// A new section at the end of the file: its header, then `lines`.
void AppendSection(IniFile& file, std::wstring_view section, const std::vector<std::wstring>& lines) {
  std::vector<std::wstring> all{L"[" + std::wstring(section) + L"]"};
  all.insert(all.end(), lines.begin(), lines.end());
  AppendLines(file, all);
}

}  // namespace

IniFile Split(const std::string& bytes) {
  IniFile file;
  file.utf16 = bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
               static_cast<unsigned char>(bytes[1]) == 0xFE;
  const std::size_t unit = file.utf16 ? 2 : 1;
  const std::size_t start = file.utf16 ? 2 : 0;
  const auto at = [&](std::size_t i) -> unsigned {
    return file.utf16 ? kwfw::Load16(&bytes[i]) : static_cast<unsigned char>(bytes[i]);
  };
  const std::size_t end = start + (bytes.size() - start) / unit * unit;  // an odd last byte is left out
  std::size_t lineStart = start;
  for (std::size_t i = start; i < end;) {
    const unsigned c = at(i);
    if (c != '\r' && c != '\n') {
      i += unit;
      continue;
    }
    std::size_t next = i + unit;
    if (c == '\r' && next < end && at(next) == '\n') next += unit;
    file.lines.push_back(Line{bytes.substr(lineStart, i - lineStart), bytes.substr(i, next - i), L""});
    lineStart = i = next;
  }
  if (lineStart < end) file.lines.push_back(Line{bytes.substr(lineStart, end - lineStart), std::string(), L""});
  for (Line& line : file.lines) {
    line.text = file.utf16 ? kwfw::Utf16ToWide(kwfw::Utf16LeUnits(line.raw)) : DecodeAnsi(line.raw);
  }
  return file;
}

std::string Join(const IniFile& file) {
  std::string bytes = file.utf16 ? std::string("\xFF\xFE", 2) : std::string();
  for (const Line& line : file.lines) bytes += line.raw + line.eol;
  return bytes;
}

std::wstring_view Trim(std::wstring_view s) {
  const std::size_t first = s.find_first_not_of(L" \t");
  if (first == std::wstring_view::npos) return {};
  const std::size_t last = s.find_last_not_of(L" \t");
  return s.substr(first, last - first + 1);
}

Parsed Parse(const std::wstring& text) {
  Parsed p;
  // A line's text ends at a NUL, as Windows reads it: a file written with its C
  // terminator ends in one, which makes no entry.
  const std::wstring t(Trim(std::wstring_view(text).substr(0, text.find(L'\0'))));
  if (t.empty()) return p;
  if (t[0] == L';') {
    p.kind = Parsed::kComment;
  } else if (t[0] == L'[') {
    p.kind = Parsed::kSection;
    const std::size_t close = t.find(L']');
    p.name = Trim(std::wstring_view(t).substr(1, close == std::wstring::npos ? std::wstring::npos : close - 1));
  } else {
    p.kind = Parsed::kEntry;
    const std::size_t eq = t.find(L'=');
    p.name = Trim(std::wstring_view(t).substr(0, eq));
    if (eq != std::wstring::npos) {
      p.hasEquals = true;
      p.value = p.rawValue = Trim(std::wstring_view(t).substr(eq + 1));
      if (p.value.size() >= 2 && (p.value[0] == L'"' || p.value[0] == L'\'') && p.value.back() == p.value[0]) {
        p.value = p.value.substr(1, p.value.size() - 2);
      }
    }
  }
  return p;
}

FileIndex IndexOf(const IniFile& file) {
  FileIndex index;
  SectionIndex* current = nullptr;
  for (const Line& line : file.lines) {
    const Parsed p = Parse(line.text);
    if (p.kind == Parsed::kSection) {
      index.byName.emplace(p.name, index.sections.size());  // the first of a name wins
      index.sections.push_back(SectionIndex{p.name, {}, {}, {}, {}});
      current = &index.sections.back();
    } else if (p.kind == Parsed::kEntry && current != nullptr) {
      if (p.hasEquals) {
        current->byKey.emplace(p.name, current->keys.size());
        current->keys.push_back(p.name);
        current->values.push_back(p.value);
      }
      // Each line as key=value, the blanks around the '=' gone, as Windows gives them.
      current->lines.push_back(p.hasEquals ? p.name + L"=" + p.rawValue : p.name);
    }
  }
  return index;
}

bool SetKey(IniFile& file, std::wstring_view section, std::wstring_view key, std::wstring_view value) {
  const std::optional<Range> r = FindSection(file, section);
  const std::optional<std::size_t> at = r ? FindKey(file, *r, key) : std::nullopt;
  const std::wstring text = std::wstring(key) + L"=" + std::wstring(value);
  if (at) {
    Line& line = file.lines[*at];
    line.text = text;
    line.raw = Encode(file, text);
  } else if (r) {
    InsertInSection(file, *r, {text});
  } else {
    AppendSection(file, section, {text});
  }
  return true;
}

bool RemoveKey(IniFile& file, std::wstring_view section, std::wstring_view key) {
  const std::optional<Range> r = FindSection(file, section);
  const std::optional<std::size_t> at = r ? FindKey(file, *r, key) : std::nullopt;
  if (!at) return false;
  file.lines.erase(file.lines.begin() + static_cast<long>(*at));
  return true;
}

bool RemoveSection(IniFile& file, std::wstring_view section) {
  const std::optional<Range> r = FindSection(file, section);
  if (!r) return false;
  file.lines.erase(file.lines.begin() + static_cast<long>(r->header), file.lines.begin() + static_cast<long>(r->end));
  return true;
}

bool ReplaceSection(IniFile& file, std::wstring_view section, const std::vector<std::wstring>& lines) {
  const std::optional<Range> r = FindSection(file, section);
  if (!r) {
    AppendSection(file, section, lines);
    return true;
  }
  // The section's old lines go, blank lines before the next section stay.
  std::size_t end = r->end;
  while (end > r->header + 1 && Parse(file.lines[end - 1].text).kind == Parsed::kBlank) --end;
  file.lines.erase(file.lines.begin() + static_cast<long>(r->header + 1), file.lines.begin() + static_cast<long>(end));
  InsertInSection(file, Range{r->header, r->header + 1}, lines);
  return true;
}

DWORD CopyValue(const std::wstring& value, LPWSTR buffer, DWORD size) {
  if (buffer == nullptr || size == 0) return 0;
  const std::size_t n = value.size() < size - 1 ? value.size() : size - 1;
  std::wmemcpy(buffer, value.c_str(), n);
  buffer[n] = 0;
  return static_cast<DWORD>(n);
}

DWORD CopyList(const std::vector<std::wstring>& items, LPWSTR buffer, DWORD size, DWORD spare) {
  if (buffer == nullptr || size == 0) return 0;
  if (size == 1) {
    buffer[0] = 0;
    return 0;
  }
  std::wstring list;
  for (const std::wstring& item : items) list += item + L'\0';
  if (list.size() + 1 + spare <= size) {
    std::wmemcpy(buffer, list.c_str(), list.size());
    buffer[list.size()] = 0;
    if (list.empty()) buffer[1] = 0;
    return static_cast<DWORD>(list.size());
  }
  // Cut to fit: the list still ends with two zeros.
  std::wmemcpy(buffer, list.c_str(), size - 2);
  buffer[size - 2] = 0;
  buffer[size - 1] = 0;
  return size - 2;
}

}  // namespace kwplat::ini
