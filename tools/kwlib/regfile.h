// The ".reg" text format that carries registry keys between machines: a
// "Windows Registry Editor Version 5.00" header, then for each key its full path
// in brackets and one line per value. Files are written in UTF-16LE with a byte
// order mark; reading also takes UTF-8.
#pragma once

#include <string>
#include <vector>

#include <kwlib63/framework/wintypes.h>

namespace kwlib {

struct RegFileValue {
  std::wstring name;  // empty: the key's default value ("@")
  bool remove = false;
  DWORD type = 0;
  std::vector<BYTE> bytes;  // as Windows stores them: text types in UTF-16LE
  bool operator==(const RegFileValue&) const = default;
};

struct RegFileKey {
  std::wstring path;  // from the root's full name, "HKEY_CURRENT_USER\..."
  bool remove = false;
  std::vector<RegFileValue> values;
  bool operator==(const RegFileKey&) const = default;
};

std::string WriteRegFile(const std::vector<RegFileKey>& keys);
// False with `error` ("line N: ...") when the text is not a .reg file; nothing is
// returned in part.
bool ParseRegFile(const std::vector<unsigned char>& file, std::vector<RegFileKey>& keys, std::string& error);

}  // namespace kwlib
