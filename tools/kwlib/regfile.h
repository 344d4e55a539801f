// The ".reg" text format that carries registry keys between machines, read and
// written as the Windows registry editor reads and writes it. Written files are
// "Windows Registry Editor Version 5.00" in UTF-16LE with a byte order mark and
// CR LF line ends. Read files may also be UTF-8, or "REGEDIT4" files in
// Windows-1252; a line the editor would skip is skipped with a warning, and the
// rest of the file still counts.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/registry.h>

namespace kwlib {

// The types whose data is text (one string, or a list of them).
inline bool IsTextType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

struct RegFileValue {
  std::wstring name;  // empty: the key's default value ("@")
  bool remove = false;
  DWORD type = 0;
  std::vector<BYTE> bytes;  // as Windows stores them: text types in UTF-16LE
  std::size_t line = 0;  // where the file gives the value; 0 for values not read from a file
  bool operator==(const RegFileValue&) const = default;
};

struct RegFileKey {
  std::wstring path;  // as the file names it, from the root: "HKEY_CURRENT_USER\..."
  bool remove = false;
  std::vector<RegFileValue> values;
  std::size_t line = 0;  // where the file names the key; 0 for keys not read from a file
  bool operator==(const RegFileKey&) const = default;
};

struct RegFileContents {
  std::vector<RegFileKey> keys;
  // One "line N: ..." for each line that was skipped, in file order.
  std::vector<std::string> warnings;
};

// Text as the registry stores it (UTF-16LE), and back; an odd last byte is dropped.
std::vector<BYTE> Utf16LeBytes(std::wstring_view text);
std::wstring FromUtf16Le(const BYTE* bytes, std::size_t size);

std::string WriteRegFile(const std::vector<RegFileKey>& keys);
// False with `error` when the file is refused as a whole (it does not start with
// a header the editor accepts); `contents` is then left as it was.
bool ParseRegFile(const std::vector<unsigned char>& file, RegFileContents& contents, std::string& error);

}  // namespace kwlib
