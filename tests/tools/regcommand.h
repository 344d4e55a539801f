// kwlib reg as a real child process on a private registry hive, with the hive read
// back directly, byte for byte, to see what a command did. The cases cite the
// Windows behaviour they check; "reg tests" are Wine's conformance tests of the
// Windows registry tool (programs/reg/tests/*.c) and "regedit tests" those of the
// registry editor (programs/regedit/tests/regedit.c), whose expected results are
// those of real Windows.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/platform/registry.h>

#include "kwlibrun.h"
#include "support/privatehive.h"

namespace kwtest {

// A value as Windows stores it: text types in UTF-16LE.
struct Stored {
  DWORD type;
  std::string bytes;
  bool operator==(const Stored&) const = default;
};

inline void PrintTo(const Stored& s, std::ostream* os) {
  *os << "type " << s.type << ", bytes";
  for (unsigned char c : s.bytes) *os << ' ' << std::hex << static_cast<int>(c) << std::dec;
}

// UTF-16LE bytes of a text, its NULs included.
inline std::string U16(std::wstring_view text) {
  std::string bytes;
  for (wchar_t c : text) {
    bytes += static_cast<char>(c & 0xFF);
    bytes += static_cast<char>((c >> 8) & 0xFF);
  }
  return bytes;
}

inline Stored Sz(std::wstring_view text, DWORD type = REG_SZ) { return {type, U16(text)}; }
inline Stored Dword(std::uint32_t n) { return {REG_DWORD, std::string{char(n), char(n >> 8), char(n >> 16), char(n >> 24)}}; }

class RegCommandTest : public ::testing::Test {
 protected:
  static constexpr const char* kKey = "HKCU\\Software\\KwlibTest";

  Result Reg(const std::string& args) {
    return Shell("KWLIB63_REGISTRY_DIR=" + m_hive.Dir().Path() + " " + KWLIB_EXE + " reg " + args + " </dev/null");
  }

  // Runs `kwlib reg import` on a file of these bytes.
  Result Import(const std::string& bytes) {
    const std::string file = m_hive.Dir().At("import.reg");
    WriteBytes(file, bytes);
    return Reg("import " + file);
  }

  // The value `name` of key `path` (below HKEY_CURRENT_USER), if there is one.
  std::optional<Stored> Value(const std::wstring& path, const std::wstring& name) {
    HKEY key = nullptr;
    if (kwplat::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return std::nullopt;
    DWORD type = 0, size = 0;
    std::optional<Stored> value;
    if (kwplat::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size) == ERROR_SUCCESS) {
      std::string data(size, '\0');
      EXPECT_EQ(kwplat::RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size),
                ERROR_SUCCESS);
      if (type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ) {
        std::wstring units(size / sizeof(wchar_t), L'\0');
        data.copy(reinterpret_cast<char*>(units.data()), units.size() * sizeof(wchar_t));
        // Back to Windows' UTF-16 (these tests use no characters beyond U+FFFF).
        data = U16(units);
      }
      value = Stored{type, data};
    }
    kwplat::RegCloseKey(key);
    return value;
  }

  bool KeyExists(const std::wstring& path) {
    HKEY key = nullptr;
    if (kwplat::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    kwplat::RegCloseKey(key);
    return true;
  }

  PrivateHive m_hive;
};

}  // namespace kwtest
