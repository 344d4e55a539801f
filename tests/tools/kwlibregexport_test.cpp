// kwlib reg export against the Windows registry editor's files: three files as
// the editor writes them come back byte for byte from an import and an export.
// Layout (regedit tests, regedit.c and reg tests, export.c test_export, whose
// expected files are real Windows output): UTF-16LE with its mark, CR LF, the 5.00
// header and a blank line, each key as "[FULL NAME]", its values in the order
// they were made and a blank line; "@=" for the default value; strings quoted with
// \ and " escaped; dword:%08x; other types as hex(N): with N in lower-case hex,
// REG_BINARY as hex:, a dword of another size as hex(4):, an empty one with
// nothing after the colon. Hex data wraps after the comma that brings the line to
// column 77 (two-space indent included, the backslash not; the editor's
// REG_FILE_HEX_LINE_LEN of 2 + 25 * 3, shown by complex_data_test's first line of
// 17 bytes after a 26-character prefix), columns counted in UTF-16 units.
// Sub-keys follow their parent in upper-case name order ("AB" before "A_").
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/settings/carpetaregistry.h>

#include "regcommand.h"

namespace {

// The editor's bytes for a text written here with LF line ends.
std::string EditorFile(const std::string& utf8) {
  std::string crlf;
  for (char c : utf8) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
  std::string bytes = "\xFF\xFE";
  for (char16_t unit : kwfw::WideToUtf16(kwfw::Utf8ToWide(crlf))) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

const char* const kFiles[] = {
    // Settings of an application: long expandable string and string list, a
    // QWORD, an empty key, a window placement.
    R"reg(Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\Software\KwlibTest]
@="Tormel App"
"InstallDir"="C:\\Program Files\\Tormel"
"Version"=dword:00060003
"Path"=hex(2):25,00,53,00,79,00,73,00,74,00,65,00,6d,00,52,00,6f,00,6f,00,74,\
  00,25,00,5c,00,73,00,79,00,73,00,74,00,65,00,6d,00,33,00,32,00,3b,00,25,00,\
  53,00,79,00,73,00,74,00,65,00,6d,00,52,00,6f,00,6f,00,74,00,25,00,3b,00,25,\
  00,55,00,53,00,45,00,52,00,50,00,52,00,4f,00,46,00,49,00,4c,00,45,00,25,00,\
  5c,00,41,00,70,00,70,00,44,00,61,00,74,00,61,00,5c,00,4c,00,6f,00,63,00,61,\
  00,6c,00,5c,00,54,00,6f,00,72,00,6d,00,65,00,6c,00,5c,00,62,00,69,00,6e,00,\
  00,00
"Recent"=hex(7):43,00,3a,00,5c,00,55,00,73,00,65,00,72,00,73,00,5c,00,61,00,6e,\
  00,6e,00,61,00,5c,00,44,00,6f,00,63,00,75,00,6d,00,65,00,6e,00,74,00,73,00,\
  5c,00,72,00,65,00,70,00,6f,00,72,00,74,00,2e,00,74,00,6d,00,64,00,00,00,44,\
  00,3a,00,5c,00,50,00,72,00,6f,00,6a,00,65,00,63,00,74,00,73,00,5c,00,70,00,\
  6c,00,61,00,6e,00,2e,00,74,00,6d,00,64,00,00,00,00,00
"Serial"=hex(b):ef,cd,ab,89,67,45,23,01

[HKEY_CURRENT_USER\Software\KwlibTest\Empty]

[HKEY_CURRENT_USER\Software\KwlibTest\Window]
"Placement"=hex:2c,00,00,00,02,00,00,00,03,00,00,00,ff,ff,ff,ff,ff,ff,ff,ff,10,\
  00,00,00,20,00,00,00,90,06,00,00,50,04,00,00
"Maximized"=dword:00000000

)reg",
    // Names in Greek, Japanese, with an emoji (two UTF-16 units, which move the
    // wrap by one byte) and a name so long its first hex line holds one byte.
    R"reg(Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\Software\KwlibTest]

[HKEY_CURRENT_USER\Software\KwlibTest\Ελληνικά]
"名前"="値 ☕"
"😀 Smile"=hex(100):00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,\
  13,14,15,16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27,28,29,2a,2b,\
  2c,2d,2e,2f,30,31,32,33,34,35,36,37,38,39,3a,3b,3c,3d,3e,3f,40,41,42,43,44,\
  45,46,47,48,49,4a,4b,4c,4d,4e,4f,50,51,52,53,54,55,56,57,58,59
"Größe"=hex:c8,c9,ca,cb,cc,cd,ce,cf,d0,d1,d2,d3,d4,d5,d6,d7,d8,d9,da,db,dc,dd,\
  de,df,e0,e1,e2,e3,e4,e5,e6,e7,e8,e9,ea,eb,ec,ed,ee,ef,f0,f1,f2,f3,f4,f5,f6,\
  f7,f8,f9,fa,fb,fc,fd,fe,ff
"A name long enough that the first line of its hex data holds few bytes"=hex:00,\
  01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,17,18,19,\
  1a,1b,1c,1d

)reg",
    // Escapes, an empty string, empty hex of three kinds, an 8-byte dword, sub-keys
    // whose order depends on upper case, a key two levels down.
    R"reg(Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\Software\KwlibTest]
"Quote \"q\" and \\"="C:\\dir\\\"x\""
"Empty"=""
"None"=hex(0):
"Eight"=hex(4):80,70,60,50,40,30,20,10
"Short"=hex(4):
"Nothing"=hex:

[HKEY_CURRENT_USER\Software\KwlibTest\AB]

[HKEY_CURRENT_USER\Software\KwlibTest\A_]
"x"=dword:ffffffff

[HKEY_CURRENT_USER\Software\KwlibTest\A_\Deep]

[HKEY_CURRENT_USER\Software\KwlibTest\b]

)reg",
};

class KwlibRegExportTest : public kwtest::RegCommandTest {};

TEST_F(KwlibRegExportTest, EditorFilesComeBackByteForByte) {
  for (const char* text : kFiles) {
    TCarpetaRegistry(L"Software\\KwlibTest").BorrarCarpeta(nullptr);
    const std::string file = EditorFile(text);
    kwtest::Result r = Import(file);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const std::string exported = m_hive.Dir().At("exported.reg");
    r = Reg("export 'HKCU\\Software\\KwlibTest' " + exported + " /y");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(kwtest::ReadBytes(exported), file) << text;
  }
}

TEST_F(KwlibRegExportTest, ValuesTheStringFormCannotHold) {
  // A REG_SZ of no bytes is "" (export.c empty_hex_test). One with a NUL inside
  // or no terminator would lose bytes as a string (the editor cuts it at the NUL,
  // export.c embedded_null_test), so it is written as hex(1), byte for byte.
  ASSERT_EQ(Import("Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\Software\\KwlibTest]\n"
                   "\"none\"=hex(1):\n\"inner\"=hex(1):61,00,00,00,62,00,00,00\n\"open\"=hex(1):61,00\n")
                .status,
            0);
  const std::string exported = m_hive.Dir().At("exported.reg");
  ASSERT_EQ(Reg("export 'HKCU\\Software\\KwlibTest' " + exported).status, 0);
  EXPECT_EQ(kwtest::ReadBytes(exported),
            EditorFile("Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\Software\\KwlibTest]\n\"none\"=\"\"\n"
                       "\"inner\"=hex(1):61,00,00,00,62,00,00,00\n\"open\"=hex(1):61,00\n\n"));
}

TEST_F(KwlibRegExportTest, ALoneSurrogateTravelsUnchanged) {
  // The registry keeps UTF-16 units as they are, halves of pairs included.
  const std::string bytes("\x00\xD8\x61\x00\x00\x00", 6);
  ASSERT_EQ(Import("Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\Software\\KwlibTest]\n"
                   "\"lone\"=hex(1):00,d8,61,00,00,00\n\"list\"=hex(7):00,dc,00,00,00,00\n")
                .status,
            0);
  EXPECT_EQ(Value(L"Software\\KwlibTest", L"lone"), (kwtest::Stored{REG_SZ, bytes}));
  const std::string exported = m_hive.Dir().At("exported.reg");
  ASSERT_EQ(Reg("export 'HKCU\\Software\\KwlibTest' " + exported).status, 0);
  ASSERT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /f").status, 0);
  ASSERT_EQ(Reg("import " + exported).status, 0);
  EXPECT_EQ(Value(L"Software\\KwlibTest", L"lone"), (kwtest::Stored{REG_SZ, bytes}));
  EXPECT_EQ(Value(L"Software\\KwlibTest", L"list"),
            (kwtest::Stored{REG_MULTI_SZ, std::string("\x00\xDC\x00\x00\x00\x00", 6)}));
}

TEST_F(KwlibRegExportTest, SwitchesAndFiles) {
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v x /d 1 /f").status, 0);
  const std::string file = m_hive.Dir().At("out.reg");
  kwtest::WriteBytes(file, "keep");
  // export.c test_export: /y only after both names; without it an existing file
  // is not overwritten (no terminal answers no).
  for (const std::string& args : {"export /y 'HKCU\\Software\\KwlibTest' " + file,
                                 "export 'HKCU\\Software\\KwlibTest' /y " + file,
                                 "export 'HKCU\\Software\\KwlibTest' " + file + " /y /y",
                                 "export " + file + " 'HKCU\\Software\\KwlibTest'", std::string("export 'HKCU\\Software\\KwlibTest'"),
                                 "export 'HKCU\\Software\\KwlibTest' " + file + " extra"}) {
    EXPECT_EQ(Reg(args).status, 2) << args;
    EXPECT_EQ(kwtest::ReadBytes(file), "keep") << args;
  }
  EXPECT_EQ(Reg("export 'HKCU\\Software\\KwlibTest' " + file).status, 1);
  EXPECT_EQ(kwtest::ReadBytes(file), "keep");
  EXPECT_EQ(Reg("export 'HKCU\\Software\\KwlibMissing' " + file + " /y").status, 1);
  EXPECT_EQ(kwtest::ReadBytes(file), "keep");
  // A name without the .reg ending is taken.
  EXPECT_EQ(Reg("export 'HKCU\\Software\\KwlibTest' " + file + " /y").status, 0);
  EXPECT_EQ(kwtest::ReadBytes(file).substr(0, 4), std::string("\xFF\xFEW\0", 4));
}

}  // namespace
