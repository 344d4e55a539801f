// kwlib reg import against the Windows editor's reading of .reg files: which lines
// it takes, which it skips (the rest of the file still counts), which files it
// refuses whole, and one transaction for the whole file.
#include <sys/stat.h>

#include <string>
#include <vector>

#include <kwlib63/settings/carpetaregistry.h>

#include "regcommand.h"

namespace {

using kwtest::Dword;
using kwtest::Stored;
using kwtest::Sz;

const std::wstring kPath = L"Software\\KwlibTest";
const std::string kHeader = "Windows Registry Editor Version 5.00\n\n";
const std::string kKeyLine = "[HKEY_CURRENT_USER\\Software\\KwlibTest]\n";

Stored Bin(std::string bytes, DWORD type = REG_BINARY) { return {type, std::move(bytes)}; }

struct Expect {
  std::wstring name;
  std::optional<Stored> value;  // nullopt: the value must not exist
};

struct Case {
  const char* fact;  // what Windows does, and where that is shown
  std::string body;  // the lines after the header and the key line
  std::vector<Expect> expect;
};

class KwlibRegImportTest : public kwtest::RegCommandTest {
 protected:
  void Check(const Case& c, const std::string& file) {
    TCarpetaRegistry(kPath.c_str()).BorrarCarpeta(nullptr);
    const kwtest::Result r = Import(file);
    EXPECT_EQ(r.status, 0) << c.fact << "\n" << r.err;
    for (const Expect& e : c.expect) {
      EXPECT_EQ(Value(kPath, e.name), e.value) << c.fact << "\nvalue \"" << kwfw::WideToUtf8(e.name) << "\"\n" << r.err;
    }
  }
};

// Every case on a fresh hive, its lines below "[HKEY_CURRENT_USER\Software\KwlibTest]".
TEST_F(KwlibRegImportTest, LinesAsTheEditorReadsThem) {
  const std::vector<Case> cases = {
      {"'#' and ';' start comment lines; a comment ending in a backslash continues nothing (reg tests, import.c "
       "test_import: Wine8/9, Comment1-4)",
       "# c\n; c \\\n\"a\"=\"1\"\n  ; indented\n", {{L"a", Sz(std::wstring(L"1\0", 2))}}},
      {"after a string's closing quote ';' starts a comment, '#' makes the line bad (import.c: Wine10-31)",
       "\"a\"=\"Value 2\";comment\n\"b\"=\"Value\"#comment\n\"c\"=\"V\"  ;c\n\"d\"=\"V\"  #c\n\"e\"=#\"V\"\n\"f\"=;\"V\"\n",
       {{L"a", Sz(std::wstring(L"Value 2\0", 8))}, {L"b", {}}, {L"c", Sz(std::wstring(L"V\0", 2))}, {L"d", {}}, {L"e", {}},
        {L"f", {}}}},
      {"dword: 1 to 8 hex digits, blanks after 'dword:', ';' comments; 9 digits, 0x, inner blanks and '#' are bad "
       "(import.c: Wine32-36, test_import_with_whitespace)",
       "\"a\"=dword:1\n\"b\"=dword:\n\"c\"=dword:123456789\n\"d\"=dword:0x123\n\"e\"=dword:1234 5678\n"
       "\"f\"=dword:\t ABCDEF01\n\"g\"=dword:1234;5678\n\"h\"=dword:1234 ;5678\n\"i\"=dword:00000001 #c\n",
       {{L"a", Dword(1)}, {L"b", {}}, {L"c", {}}, {L"d", {}}, {L"e", {}}, {L"f", Dword(0xABCDEF01)},
        {L"g", Dword(0x1234)}, {L"h", Dword(0x1234)}, {L"i", {}}}},
      {"blanks before a name, around '=' and after data are allowed; inside quotes they are kept "
       "(import.c test_import_with_whitespace: Wine5d, Wine6a-c)",
       "  \"a\"  \t=  \t \"v\"  \n\t@\t=\tdword:\t00000008\t\n\"  b  \"=\"  s  \"\n",
       {{L"a", Sz(std::wstring(L"v\0", 2))}, {L"", Dword(8)}, {L"  b  ", Sz(std::wstring(L"  s  \0", 6))}}},
      {"\"name\"=- deletes, with blanks and a ';' comment; =-\"x\" and =- #c are bad and delete nothing "
       "(import.c and regedit.c test_value_deletion)",
       "\"a\"=\"x\"\n\"b\"=\"x\"\n\"c\"=\"x\"\n\"d\"=\"x\"\n\"a\"=  \t-\t \n\"b\"=- ;c\n\"c\"=-\"Test\"\n\"d\"=- #c\n",
       {{L"a", {}}, {L"b", {}}, {L"c", Sz(std::wstring(L"x\0", 2))}, {L"d", Sz(std::wstring(L"x\0", 2))}}},
      {"strings know two escapes, \\\\ and \\\"; any other (\\0) makes the value bad; \"\\\\0\" is a backslash and 0 "
       "(import.c: Wine69, Wine70)",
       "\"a\\\\b\"=\"c\\\"d\"\n\"e\"=\"Value1\\0\"\n\"f\"=\"\\\\0\"\n",
       {{L"a\\b", Sz(std::wstring(L"c\"d\0", 4))}, {L"e", {}}, {L"f", Sz(std::wstring(L"\\0\0", 3))}}},
      {"an inner quote or nothing after '=' is bad; \"=\" may be in a name; \"\"= is the default value "
       "(import.c test_import; regedit.c test_basic_import)",
       "\"a\"=\"foo\"bar\"\n\"b\"=\n\"With=Equals\"=\"x\"\n\"\"=\"def\"\n\"e\"=\"\"\n",
       {{L"a", {}}, {L"b", {}}, {L"With=Equals", Sz(std::wstring(L"x\0", 2))}, {L"", Sz(std::wstring(L"def\0", 4))},
        {L"e", Sz(std::wstring(L"\0", 1))}}},
      {"hex(N) takes 1 to 8 hex digits, no 0x; empty data gives the type with 0 bytes, even for REG_DWORD "
       "(import.c: Wine47, Wine68)",
       "\"a\"=hex(100):01\n\"b\"=hex(0x2):01\n\"c\"=hex(100000000):01\n\"d\"=hex(ffffffff):\n\"e\"=hex(1):\n"
       "\"f\"=hex(4):\n\"g\"=hex:\n",
       {{L"a", Bin("\x01", 0x100)}, {L"b", {}}, {L"c", {}}, {L"d", Bin("", 0xFFFFFFFF)}, {L"e", Bin("", REG_SZ)},
        {L"f", Bin("", REG_DWORD)}, {L"g", Bin("")}}},
      {"a byte of more than two digits is bad; a closing comma is fine (import.c: Wine49, Wine51)",
       "\"a\"=hex:100\n\"b\"=hex:01,02,\n\"c\"=hex:01,,02\n", {{L"a", {}}, {L"b", Bin("\x01\x02")}, {L"c", {}}}},
      {"hex(2) and hex(7) data without a terminator get one (import.c: Wine66, Wine67)",
       "\"a\"=hex(7):4c,00,69,00\n\"b\"=hex(7):4c,00,00,00\n\"c\"=hex(2):25,00,50,00\n",
       {{L"a", Sz(std::wstring(L"Li\0", 3), REG_MULTI_SZ)}, {L"b", Sz(std::wstring(L"L\0", 2), REG_MULTI_SZ)},
        {L"c", Sz(std::wstring(L"%P\0", 3), REG_EXPAND_SZ)}}},
      {"a backslash after a comma continues the bytes; blanks lead the next line and may stand before the backslash "
       "(import.c: Wine43b, Wine45b, Wine48)",
       "\"a\"=hex:01,\\\n  02,\t\\\n\t03\n", {{L"a", Bin("\x01\x02\x03")}}},
      {"a ';' comment may follow the backslash, a '#' one may not (import.c: Multi-Line1/2, Wine53c-f)",
       "\"a\"=hex:01,\\;c\n  02\n\"b\"=hex:01, \\ ;c\n  02\n\"c\"=hex:01,\\#c\n  02\n",
       {{L"a", Bin("\x01\x02")}, {L"b", Bin("\x01\x02")}, {L"c", {}}}},
      {"a comma without a backslash ends the value there; the next byte line is bad (import.c: Wine43i, Wine44i, "
       "Multi-Line7-9)",
       "\"a\"=hex:01,02,;c\n  03\n\"b\"=hex:01,02,\n  03\n", {{L"a", Bin("\x01\x02")}, {L"b", Bin("\x01\x02")}}},
      {"blank lines and ';' comment lines inside a continuation are passed over (import.c: Multi-Line10, Wine60b/e/f, "
       "Wine16)",
       "\"a\"=hex:01,\\\n\n   \n  02\n\"b\"=hex:01,\\\n; c\n  ;c\n  02\n", {{L"a", Bin("\x01\x02")}, {L"b", Bin("\x01\x02")}}},
      {"a '#' comment line inside a continuation makes the value bad; the line after it is read anew "
       "(import.c: Wine55e/f, Wine14, Wine60c/d)",
       "\"a\"=hex:01,\\\n  #c\n\"b\"=\"x\"\n", {{L"a", {}}, {L"b", Sz(std::wstring(L"x\0", 2))}}},
      {"a continuation takes the next value line as bytes and both are lost; so is a key line (import.c: Wine55b-d, "
       "Wine55g/h, Wine58b/d, Wine54a)",
       "\"a\"=hex:01,\\\n\"b\"=\"x\"\n\"c\"=\"y\"\n\"d\"=hex:01,\\\n\n\"e\"=\"z\"\n",
       {{L"a", {}}, {L"b", {}}, {L"c", Sz(std::wstring(L"y\0", 2))}, {L"d", {}}, {L"e", {}}}},
      {"without a comma before it a backslash continues nothing: the value is bad and the next line is read anew "
       "(import.c: Wine55i/j, Wine58e, Wine43c-g)",
       "\"a\"=hex:01,02\\\n\"b\"=\"x\"\n\"c\"=hex:0\\\n1,02\n\"d\"=hex:01,\\\n  ,02\n",
       {{L"a", {}}, {L"b", Sz(std::wstring(L"x\0", 2))}, {L"c", {}}, {L"d", {}}}},
      {"a backslash right after hex(2): continues; after \",\" or inside the bytes it is bad (import.c: Wine52, Wine59)",
       "\"a\"=hex(2):\\\n  25,00\n\"b\"=hex(2):,\\\n  25,00\n\"c\"=hex:25,48\\,4f\n\"d\"=hex:\\4f\n\"e\"=hex:01,\\\n\\\n",
       {{L"a", Sz(std::wstring(L"%\0", 2), REG_EXPAND_SZ)}, {L"b", {}}, {L"c", {}}, {L"d", {}}, {L"e", {}}}},
      {"a value after a key deletion is ignored, not written to the key before it (import.c: Wine46a)",
       "\"keep\"=\"x\"\n[-HKEY_CURRENT_USER\\Software\\KwlibTest\\Gone]\n\"after\"=\"y\"\n",
       {{L"keep", Sz(std::wstring(L"x\0", 2))}, {L"after", {}}}},
      {"the last line needs no line end (import.c: Wine5 \"No newline\")", "\"a\"=\"x\"", {{L"a", Sz(std::wstring(L"x\0", 2))}}},
      {"the file ending right after \",\\\" keeps the bytes so far; after \"01\\\" it does not (import.c: Wine62a-f)",
       "\"a\"=hex:01,\\", {{L"a", Bin("\x01")}}},
      {"the file ending right after \"01\\\" loses the value (import.c: Wine62a-f)", "\"a\"=hex:01\\", {{L"a", {}}}},
  };
  for (const Case& c : cases) Check(c, kHeader + kKeyLine + c.body);
}

TEST_F(KwlibRegImportTest, KeyLines) {
  // Blanks after '[' or around '-' make the line no key line; blanks before ']'
  // belong to the name; roots without regard to case; a deletion takes the tree
  // (import.c test_import: Subkey1a-1d, sUBKEY3A, Subkey4a; Wine46a).
  const kwtest::Result r = Import(kHeader +
                                  "  [HKEY_CURRENT_USER\\Software\\KwlibTest\\Tree\\Leaf]\n\"x\"=\"1\"\n"
                                  "[ HKEY_CURRENT_USER\\Software\\KwlibTest\\Blank1]\n\"x\"=\"1\"\n"
                                  "[HKEY_CURRENT_USER\\Software\\KwlibTest\\Blank2 ]\n\"x\"=\"1\"\n"
                                  "[HKEY_CURRENT_USER\\Software\\KwlibTest\\NoClose\n\"x\"=\"1\"\n"
                                  "[hkey_CURRENT_user\\Software\\KwlibTest\\Keep]\n"
                                  "[- HKEY_CURRENT_USER\\Software\\KwlibTest\\Keep]\n"
                                  "[-hkey_current_USER\\Software\\KwlibTest\\tREE]\n"
                                  "[HKEY_CLASSES_ROOT\\KwlibTest]\n\"y\"=\"1\"\n"
                                  // Closing backslashes go (import.c: Subkey1e-1g); an empty
                                  // name inside the path costs its key only.
                                  "[HKEY_CURRENT_USER\\Software\\KwlibTest\\Sub1f\\\\]\n\"b\"=\"2\"\n"
                                  "[HKEY_CURRENT_USER\\\\Bad]\n\"c\"=\"3\"\n"
                                  "[HKEY_CURRENT_USER\\Software\\KwlibTest\\After]\n\"d\"=\"4\"\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_FALSE(KeyExists(kPath + L"\\Tree"));
  EXPECT_FALSE(KeyExists(kPath + L"\\ Blank1"));
  EXPECT_FALSE(KeyExists(kPath + L"\\Blank1"));
  EXPECT_EQ(Value(kPath + L"\\Blank2 ", L"x"), Sz(std::wstring(L"1\0", 2)));
  EXPECT_FALSE(KeyExists(kPath + L"\\NoClose"));
  EXPECT_TRUE(KeyExists(kPath + L"\\Keep"));
  // Each skipped line is named on standard error.
  for (const char* line : {"line 5:", "line 6:", "line 9:", "line 10:", "line 12:", "line 14:"}) {
    EXPECT_NE(r.err.find(line), std::string::npos) << line << "\n" << r.err;
  }
  EXPECT_NE(r.err.find("HKEY_CLASSES_ROOT"), std::string::npos) << r.err;
  EXPECT_EQ(Value(kPath + L"\\Sub1f", L"b"), Sz(std::wstring(L"2\0", 2)));
  EXPECT_NE(r.err.find("line 18: an empty key name in the path"), std::string::npos) << r.err;
  EXPECT_FALSE(KeyExists(L"Bad"));
  EXPECT_EQ(Value(kPath + L"\\After", L"d"), Sz(std::wstring(L"4\0", 2)));
}

TEST_F(KwlibRegImportTest, HeadersAndEncodings) {
  const std::string body = "[HKEY_CURRENT_USER\\Software\\KwlibTest]\n\"v\"=\"1\"\n";
  // The header is the first line, case and all; blanks may lead it (import.c
  // test_import and test_unicode_import).
  for (const char* refused : {"regedit4\n", "Regedit4\n", "\nREGEDIT4\n", "AREGEDIT4\n", "1REGEDIT4\n",
                                    "Windows Registry Editor Version 4.00\n", "Windows Registry Editor Version 5\n",
                                    "WINDOWS REGISTRY EDITOR VERSION 5.00\n", "Windows Registry Editor version 5.00\n"}) {
    const kwtest::Result r = Import(refused + body);
    EXPECT_EQ(r.status, 1) << refused;
    EXPECT_NE(r.err.find("not a .reg file"), std::string::npos) << r.err;
    EXPECT_FALSE(KeyExists(kPath)) << refused;
  }
  // REGEDIT3, "REGEDIT 4", "REGEDIT4 FOO": accepted as the Windows 3.1 form, and
  // nothing of it is imported (import.c test_import).
  for (const char* win31 : {"REGEDIT3\n", "REGEDIT 4\n", "REGEDIT4 FOO\n", "REGEDIT\n"}) {
    const kwtest::Result r = Import(win31 + body);
    EXPECT_EQ(r.status, 0) << win31 << r.err;
    EXPECT_FALSE(KeyExists(kPath)) << win31;
  }
  // UTF-16LE needs its mark (import.c test_unicode_import).
  std::string utf16;
  for (char c : "Windows Registry Editor Version 5.00\n" + body) utf16 += std::string{c, '\0'};
  EXPECT_EQ(Import(utf16).status, 1);
  EXPECT_FALSE(KeyExists(kPath));
  ASSERT_EQ(Import("\xFF\xFE" + utf16).status, 0);
  EXPECT_EQ(Value(kPath, L"v"), Sz(std::wstring(L"1\0", 2)));

  // Leading blanks, lone CR line ends, and an 8-bit REGEDIT4 file in Windows-1252
  // whose hex(2) and hex(7) bytes are text of that code page too (regedit.c
  // test_basic_import; import.c Wine66/67).
  const kwtest::Result r = Import(
      " \tREGEDIT4\r\r[HKEY_CURRENT_USER\\Software\\KwlibTest\\Four]\r\"caf\xE9\"=\"\xE9t\xE9\"\r"
      "\"h\"=hex(2):25,50,41,54,48,25\r\"m\"=hex(7):4c,69,6e,65,00\r");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Value(kPath + L"\\Four", L"caf\u00E9"), Sz(std::wstring(L"\u00E9t\u00E9\0", 4)));
  EXPECT_EQ(Value(kPath + L"\\Four", L"h"), Sz(std::wstring(L"%PATH%\0", 7), REG_EXPAND_SZ));
  EXPECT_EQ(Value(kPath + L"\\Four", L"m"), Sz(std::wstring(L"Line\0", 5), REG_MULTI_SZ));
}

TEST_F(KwlibRegImportTest, AFailedWriteLeavesTheRegistryAsItWas) {
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v old /d before /f").status, 0);
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\Doomed' /v x /d 1 /f").status, 0);
  // A small key and a deletion first, then a value of 1 MiB that cannot be written
  // under the file size limit set below: the whole file, not only the big value,
  // must be missing afterwards.
  std::string file = kHeader + "[HKEY_CURRENT_USER\\Software\\KwlibTest\\First]\n\"a\"=\"x\"\n"
                               "[-HKEY_CURRENT_USER\\Software\\KwlibTest\\Doomed]\n" +
                     kKeyLine + "\"old\"=\"after\"\n\"big\"=hex:";
  for (int i = 0; i < 1 << 20; ++i) file += i % 25 == 24 ? "00,\\\n  " : "00,";
  file += "00\n";
  const std::string path = m_hive.Dir().At("big.reg");
  kwtest::WriteBytes(path, file);
  struct stat db {}, wal {};
  stat(m_hive.File().c_str(), &db);
  stat((m_hive.File() + "-wal").c_str(), &wal);
  // The shell counts the limit in blocks of 512 bytes; 256 KiB above the hive's
  // files leaves room for anything but the big value.
  const long blocks = (std::max(db.st_size, wal.st_size) + (256 << 10)) / 512;
  const kwtest::Result r =
      kwtest::Shell("trap '' XFSZ; ulimit -f " + std::to_string(blocks) + "; KWLIB63_REGISTRY_DIR=" +
                    m_hive.Dir().Path() + " " + KWLIB_EXE + " reg import " + path + " </dev/null");
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_NE(r.err.find("nothing was imported"), std::string::npos) << r.err;
  EXPECT_FALSE(KeyExists(kPath + L"\\First"));
  EXPECT_EQ(Value(kPath + L"\\Doomed", L"x"), Sz(std::wstring(L"1\0", 2)));
  EXPECT_EQ(Value(kPath, L"old"), Sz(std::wstring(L"before\0", 7)));
  EXPECT_EQ(Value(kPath, L"big"), std::nullopt);
  // Without the limit the same file goes in whole.
  ASSERT_EQ(Reg("import " + path).status, 0);
  EXPECT_TRUE(KeyExists(kPath + L"\\First"));
  EXPECT_FALSE(KeyExists(kPath + L"\\Doomed"));
  EXPECT_EQ(Value(kPath, L"big")->bytes.size(), std::size_t{(1 << 20) + 1});
}

TEST_F(KwlibRegImportTest, NamesTheRegistryRefusesCostOnlyThemselves) {
  // Windows refuses a key name of more than 255 characters and a value name of
  // more than 16383 (learn.microsoft.com, "Registry element size limits").
  const std::string longKey(256, 'k'), longValue(16384, 'v');
  const kwtest::Result r = Import(kHeader + kKeyLine + "\"" + longValue + "\"=\"x\"\n\"ok\"=\"y\"\n" +
                                  "[HKEY_CURRENT_USER\\Software\\KwlibTest\\" + longKey + "]\n\"z\"=\"1\"\n" +
                                  "[HKEY_CURRENT_USER\\Software\\KwlibTest\\" + longKey.substr(1) + "]\n\"z\"=\"1\"\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.err.find("line 4: a value name is longer than 16383"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("line 6: a key name is longer than 255"), std::string::npos) << r.err;
  EXPECT_EQ(Value(kPath, L"ok"), Sz(std::wstring(L"y\0", 2)));
  EXPECT_EQ(Value(kPath + L"\\" + std::wstring(255, L'k'), L"z"), Sz(std::wstring(L"1\0", 2)));
}

}  // namespace
