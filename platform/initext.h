// Internal to platform/: the INI text of the profile functions, held in memory. A
// file's bytes split into lines and joined back, each line read as a section, an
// entry, a comment or a blank, the look-ups of reads and the edits of writes.
// No file, lock or cache here: profile.cpp reads, caches and replaces the files.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat::ini {

// One line of the file: its bytes as they stand (without the line end), its line
// end's bytes, and its text.
struct Line {
  std::string raw;
  std::string eol;
  std::wstring text;
};

// A file as lines, in UTF-16LE (its bytes start with FF FE) or Windows-1252.
struct IniFile {
  bool utf16 = false;
  std::vector<Line> lines;
};

// Splits `bytes` into lines at CR LF, LF or CR, in the file's code units; the last
// line may have no line end. An odd last byte of a UTF-16LE file is left out.
IniFile Split(const std::string& bytes);
// The file's bytes: its mark when UTF-16LE, then each line's bytes and line end.
// Gives back what Split was given, but for the odd byte it leaves out.
std::string Join(const IniFile& file);

// What a line is, by its text.
struct Parsed {
  enum Kind { kBlank, kComment, kSection, kEntry } kind = kBlank;
  std::wstring name;      // the section's, or the entry's key
  std::wstring value;     // the entry's value, its surrounding quotes gone
  std::wstring rawValue;  // the entry's value as written (trimmed)
  bool hasEquals = false;
};

// `s` without its leading and trailing blanks and tabs; a view, so that a look-up
// by a caller's name copies nothing.
std::wstring_view Trim(std::wstring_view s);
// Reads one line's text. The text ends at its first NUL.
Parsed Parse(const std::wstring& text);

// Names keyed without regard to case.
template <typename Value>
using FoldMap = std::unordered_map<std::wstring, Value, kwfw::NoCaseHash, kwfw::NoCaseEqual>;

// What reads need of a file, found without walking its lines: the sections in
// order, each with its entries and its lines in the section-read form, and the
// first section of each name and the first entry of each key.
struct SectionIndex {
  std::wstring name;
  // The keys: entries with an '='. A line without one is kept by the section read
  // only, as Windows lists and looks up keys.
  std::vector<std::wstring> keys;
  std::vector<std::wstring> values;
  std::vector<std::wstring> lines;
  FoldMap<std::size_t> byKey;
};

struct FileIndex {
  std::vector<SectionIndex> sections;
  FoldMap<std::size_t> byName;

  // The first section named `name`, or null.
  const SectionIndex* Find(std::wstring_view name) const {
    const auto it = byName.find(name);
    return it != byName.end() ? &sections[it->second] : nullptr;
  }
};

FileIndex IndexOf(const IniFile& file);

// The edits of writes. Names are given as they are to be written (the caller trims
// them) and match the first section, and in it the first entry, of that name
// without regard to case; an entry without '=' matches by its name too. Lines an
// edit does not touch keep their bytes; lines it adds end in CR LF, in the file's
// encoding, and a last line without a line end gets one before lines go after it.
// Each returns whether it changed the file.

// Sets the key's line to key=value (its line end kept), or adds the line after the
// section's last line that is not blank, or adds the section with the line at the
// end of the file. Always true.
bool SetKey(IniFile& file, std::wstring_view section, std::wstring_view key, std::wstring_view value);
// Removes the key's line; false when the section or the key is missing.
bool RemoveKey(IniFile& file, std::wstring_view section, std::wstring_view key);
// Removes the section's header and every line up to the next section's header;
// false when the section is missing.
bool RemoveSection(IniFile& file, std::wstring_view section);
// Replaces the section's lines with `lines`, keeping the blank lines before the
// next section, or adds the section with them at the end of the file. Always true.
bool ReplaceSection(IniFile& file, std::wstring_view section, const std::vector<std::wstring>& lines);

// Results into a caller's buffer of `size` characters. A null buffer or a size of
// 0 gives 0 and writes nothing.

// The value and its terminator, cut to size - 1 characters; the characters copied.
DWORD CopyValue(const std::wstring& value, LPWSTR buffer, DWORD size);
// A list of items, each with its zero, and a closing zero; the characters copied
// without the closing zero. A list that does not fit is cut to size - 2 characters
// and still ends with two zeros. `spare` asks for that many characters more than
// the list needs before it counts as fitting, as Windows' list of section names
// does.
DWORD CopyList(const std::vector<std::wstring>& items, LPWSTR buffer, DWORD size, DWORD spare = 0);

}  // namespace kwplat::ini
