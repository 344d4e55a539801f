// kwlib reg add against the Windows registry tool: the bytes each type stores, the
// data it refuses, the switches it refuses; a refused command changes nothing.
#include <string>
#include <vector>

#include "regcommand.h"

namespace {

using namespace std::string_literals;
using kwtest::Dword;
using kwtest::Stored;
using kwtest::Sz;

struct AddCase {
  const char* fact;
  std::string args;  // after "add KEY"
  std::wstring name;  // the value looked at; empty: the default value
  std::optional<Stored> value;  // nullopt: the command is refused and the key not made
};

Stored Raw(DWORD type, std::string bytes) { return {type, std::move(bytes)}; }
Stored Multi(std::wstring_view text) { return Sz(text, REG_MULTI_SZ); }
std::string Le64(unsigned long long n) {
  std::string bytes;
  for (int i = 0; i < 8; ++i) bytes += static_cast<char>(n >> (8 * i));
  return bytes;
}

using KwlibRegAddTest = kwtest::RegCommandTest;

TEST_F(KwlibRegAddTest, TypesAndDataAsTheWindowsToolStoresThem) {
  using std::wstring;
  const std::vector<AddCase> cases = {
      // reg tests, add.c test_add.
      {"no /v: the default value, an empty REG_SZ", "/f", L"", Sz(wstring(L"\0", 1))},
      {"no /v with a type: the default value of that type", "/t REG_DWORD /d 0x5 /f", L"", Dword(5)},
      // add.c test_reg_none.
      {"REG_NONE without /d: two zero bytes", "/v n /t REG_NONE /f", L"n", Raw(REG_NONE, std::string(2, '\0'))},
      {"REG_NONE data is a UTF-16 string, not hex", "/v n /d deadbeef /t REG_NONE /f", L"n",
       Raw(REG_NONE, kwtest::U16(wstring(L"deadbeef\0", 9)))},
      // add.c test_reg_sz, test_reg_expand_sz.
      {"REG_SZ without /d is empty", "/v s /f", L"s", Sz(wstring(L"\0", 1))},
      {"REG_SZ data is taken literally, \\0 included", "/v s /d 'foo\\0bar' /f", L"s", Sz(wstring(L"foo\\0bar\0", 9))},
      {"type names without regard to case; REG_EXPAND_SZ is stored unexpanded",
       "/v e /t REG_EXpand_sz /d 'dead%PATH%beef' /f", L"e", Sz(wstring(L"dead%PATH%beef\0", 15), REG_EXPAND_SZ)},
      // add.c test_reg_binary.
      {"REG_BINARY without /d: no bytes", "/v b /t REG_BINARY /f", L"b", Raw(REG_BINARY, "")},
      {"REG_BINARY hex digits", "/v b /t REG_BINARY /d deadbeef /f", L"b", Raw(REG_BINARY, "\xDE\xAD\xBE\xEF")},
      {"REG_BINARY with an odd count reads as if a 0 led it", "/v b /t REG_BINARY /d DeAdBeEf0DD /f", L"b",
       Raw(REG_BINARY, "\x0D\xEA\xDB\xEE\xF0\xDD")},
      {"REG_BINARY refuses 0x", "/v b /t REG_BINARY /d 0xDeAdBeEf /f", L"b", {}},
      {"REG_BINARY refuses x01", "/v b /t REG_BINARY /d x01 /f", L"b", {}},
      // add.c test_reg_dword.
      {"REG_DWORD decimal", "/v d /t REG_DWORD /d 12345678 /f", L"d", Dword(12345678)},
      {"REG_DWORD: a leading 0 is decimal, /D as /d", "/v d /t REG_DWORD /D 0123 /f", L"d", Dword(123)},
      {"REG_DWORD 0x and 0X", "/v d /t REG_DWORD /d 0X123 /f", L"d", Dword(0x123)},
      {"REG_DWORD 0xffffffff", "/v d /t REG_DWORD /d 0xffffffff /f", L"d", Dword(0xFFFFFFFF)},
      {"REG_DWORD needs /d", "/v d /t REG_DWORD /f", L"d", {}},
      {"REG_DWORD refuses hex without 0x", "/v d /t REG_DWORD /d deadbeef /f", L"d", {}},
      {"REG_DWORD refuses 00x123", "/v d /t REG_DWORD /d 00x123 /f", L"d", {}},
      {"REG_DWORD refuses -1", "/v d /t REG_DWORD /d -1 /f", L"d", {}},
      {"REG_DWORD refuses 4294967296", "/v d /t REG_DWORD /d 4294967296 /f", L"d", {}},
      {"REG_DWORD refuses 0x01ffffffff", "/v d /t REG_DWORD /d 0x01ffffffff /f", L"d", {}},
      {"REG_DWORD_LITTLE_ENDIAN is REG_DWORD", "/v d /t REG_DWORD_LITTLE_ENDIAN /d 456 /f", L"d", Dword(456)},
      // add.c test_reg_dword_big_endian: "broken in every version of Windows".
      {"REG_DWORD_BIG_ENDIAN keeps its type but stores little-endian bytes", "/v d /t REG_DWORD_BIG_ENDIAN /d 456 /f",
       L"d", Raw(5, "\xC8\x01\x00\x00"s)},
      {"REG_DWORD_BIG_ENDIAN needs /d", "/v d /t REG_DWORD_BIG_ENDIAN /f", L"d", {}},
      // add.c test_reg_qword.
      {"REG_QWORD hex", "/v q /t REG_QWORD /d 0x123456789abcdef /f", L"q", Raw(REG_QWORD, Le64(0x123456789abcdefull))},
      {"REG_QWORD without /d is 0", "/v q /t REG_QWORD /f", L"q", Raw(REG_QWORD, Le64(0))},
      {"REG_QWORD -1 is all ones", "/v q /t REG_QWORD /d -1 /f", L"q", Raw(REG_QWORD, Le64(~0ull))},
      {"REG_QWORD refuses -0x1", "/v q /t REG_QWORD /d -0x1 /f", L"q", {}},
      {"REG_QWORD refuses 18446744073709551616", "/v q /t REG_QWORD /d 18446744073709551616 /f", L"q", {}},
      // add.c test_reg_multi_sz.
      {"REG_MULTI_SZ without /d: one terminator", "/v m /t REG_MULTI_SZ /f", L"m", Multi(wstring(L"\0", 1))},
      {"REG_MULTI_SZ split at \\0", "/v m /t REG_MULTI_SZ /d 'three\\0little\\0strings' /f", L"m",
       Multi(wstring(L"three\0little\0strings\0\0", 22))},
      {"REG_MULTI_SZ split at the /s character", "/v m /t REG_MULTI_SZ /s '#' /d 'three#little#strings' /f", L"m",
       Multi(wstring(L"three\0little\0strings\0\0", 22))},
      {"REG_MULTI_SZ one string", "/v m /t REG_MULTI_SZ /s '#' /d threelittlestrings /f", L"m",
       Multi(wstring(L"threelittlestrings\0\0", 20))},
      {"REG_MULTI_SZ closing separator", "/v m /t REG_MULTI_SZ /d 'a\\0' /f", L"m", Multi(wstring(L"a\0\0", 3))},
      {"REG_MULTI_SZ lone separator", "/v m /t REG_MULTI_SZ /s '#' /d '#' /f", L"m", Multi(wstring(L"\0\0", 2))},
      {"REG_MULTI_SZ: with another separator \\0 is text", "/v m /t REG_MULTI_SZ /s '#' /d 'two\\0#strings' /f", L"m",
       Multi(wstring(L"two\\0\0strings\0\0", 15))},
      {"REG_MULTI_SZ refuses an empty string first", "/v m /t REG_MULTI_SZ /d '\\0a' /f", L"m", {}},
      {"REG_MULTI_SZ refuses an empty string inside", "/v m /t REG_MULTI_SZ /d 'two\\0\\0strings' /f", L"m", {}},
      {"REG_MULTI_SZ refuses ##", "/v m /t REG_MULTI_SZ /s '#' /d '##' /f", L"m", {}},
      {"/s takes one character", "/v m /t REG_MULTI_SZ /s '#random' /d 'a#b' /f", L"m", {}},
      {"/s takes one character, not none", "/v m /t REG_MULTI_SZ /s '' /d 'a#b' /f", L"m", {}},
      {"/s takes one UTF-16 unit, not a pair", "/v m /t REG_MULTI_SZ /s '\U0001F600' /d 'a\U0001F600b' /f", L"m", {}},
      {"a help word as data is data", "/v h /d -h /f", L"h", Sz(wstring(L"-h\0", 3))},
      {"a help word as a name is a name", "/v /? /d x /f", L"/?", Sz(wstring(L"x\0", 2))},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const AddCase& c = cases[i];
    const std::wstring path = L"Software\\KwlibTest\\" + std::to_wstring(i);
    const kwtest::Result r = Reg("add 'HKCU\\" + kwfw::WideToUtf8(path) + "' " + c.args);
    EXPECT_EQ(r.status, c.value ? 0 : 2) << c.fact << "\n" << r.err;
    EXPECT_EQ(Value(path, c.name), c.value) << c.fact;
    if (!c.value) {
      EXPECT_FALSE(KeyExists(path)) << c.fact;
    }
  }
}

TEST_F(KwlibRegAddTest, RefusedCommandLinesChangeNothing) {
  // add.c test_command_syntax and test_key_formats: every one of these fails and
  // makes no key (kwlib answers 2 where the Windows tool answers 1).
  const std::vector<std::string> refused = {
      "K /v Wine /t REG_SZ /d Test /v Test /f", "K /t REG_DWORD /d 1 /f /t REG_SZ", "K /d 123 /f /d 456",
      "K /f /f", "K /v Wine /ve /f", "K /ve /f /ve", "K /t REG_SZ /f /v", "K /t REG_SZ /f /d", "K /a /f", "K /ae /f",
      "K / /f", "K /t '' /f", "K /t REG_WHATEVER /f", "K /reg:32 /reg:64 /f", "K /reg:32 /reg:32 /f",
      "'\\HKCU\\Software\\KwlibTest\\K' /f", "'\\\\HKCU\\Software\\KwlibTest\\K' /f", "'HKCU\\Software\\KwlibTest\\K\\\\' /f",
      "'HKCU\\' /v Value1 /t REG_SZ /d Test /f", "'HKEY_CURRENT_USER\\' /v Value2 /t REG_SZ /d Test /f",
  };
  for (std::string args : refused) {
    if (args.rfind("K ", 0) == 0) args = "'HKCU\\Software\\KwlibTest\\K'" + args.substr(1);
    const kwtest::Result r = Reg("add " + args);
    EXPECT_EQ(r.status, 2) << args << "\n" << r.err;
    EXPECT_FALSE(KeyExists(L"Software\\KwlibTest")) << args;
    EXPECT_EQ(Value(L"", L"Value1"), std::nullopt) << args;
  }
  // One closing backslash is allowed, forward slashes belong to the name, and a
  // second add without /f on a key with no default value still writes it.
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\k3\\' /f").status, 0);
  EXPECT_TRUE(KeyExists(L"Software\\KwlibTest\\k3"));
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\https://winehq.org' /v x /f").status, 0);
  EXPECT_TRUE(KeyExists(L"Software\\KwlibTest\\https://winehq.org"));
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\k4' /v x /f").status, 0);
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\k4'").status, 0);
  EXPECT_EQ(Value(L"Software\\KwlibTest\\k4", L""), Sz(std::wstring(L"\0", 1)));
  // An existing value is overwritten only with /f (no terminator answers no).
  EXPECT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\k4' /t REG_DWORD /d 7").status, 1);
  EXPECT_EQ(Value(L"Software\\KwlibTest\\k4", L""), Sz(std::wstring(L"\0", 1)));
  // /? and /h print the help and succeed (add.c test_command_syntax).
  for (const char* help : {"add /?", "add /h", "add -H"}) {
    const kwtest::Result r = Reg(help);
    EXPECT_EQ(r.status, 0) << help;
    EXPECT_EQ(r.out.rfind("Usage: kwlib reg query", 0), 0u) << r.out;
  }
  EXPECT_EQ(Reg("add").status, 2);
}

}  // namespace
