// kwlib reg and kwlib units as real child processes, on a registry moved to a
// temporary folder: the Windows command's forms, the .reg round trip, refusals
// without /f, bad files that change nothing, and lengths in points and units.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "kwlibrun.h"
#include "support/tempdir.h"

namespace {

using kwtest::Result;

class KwlibRegTest : public ::testing::Test {
 protected:
  Result Run(const std::string& args) {
    return kwtest::Shell("KWLIB63_REGISTRY_DIR=" + m_dir.Path() + " " + KWLIB_EXE + " " + args + " </dev/null");
  }
  kwtest::TempDir m_dir{"kwlib-regcmd"};
};

TEST_F(KwlibRegTest, AddQueryDelete) {
  ASSERT_EQ(Run("reg add 'HKCU\\Software\\Tormel\\App' /v Nom /d 'a \"b\" \\ c'").status, 0);
  ASSERT_EQ(Run("reg add HKEY_CURRENT_USER\\\\Software\\\\Tormel\\\\App /v N /t REG_DWORD /d 42").status, 0);
  ASSERT_EQ(Run("reg add 'HKCU\\Software\\Tormel\\App\\Sub' /ve /t reg_multi_sz /d 'x\\0y'").status, 0);
  Result r = Run("reg query 'hkcu\\software\\tormel\\app'");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "\nHKEY_CURRENT_USER\\software\\tormel\\app\n"
            "    Nom    REG_SZ    a \"b\" \\ c\n"
            "    N    REG_DWORD    0x2a\n"
            "\nHKEY_CURRENT_USER\\software\\tormel\\app\\Sub\n");
  r = Run("reg query 'HKCU\\Software\\Tormel' /s");
  EXPECT_NE(r.out.find("\nHKEY_CURRENT_USER\\Software\\Tormel\\App\\Sub\n    (Default)    REG_MULTI_SZ    x\\0y\n"),
            std::string::npos) << r.out;

  // Without /f and without a terminal, nothing is overwritten or deleted.
  r = Run("reg add 'HKCU\\Software\\Tormel\\App' /v N /t REG_DWORD /d 5");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(Run("reg delete 'HKCU\\Software\\Tormel'").status, 1);
  EXPECT_NE(Run("reg query 'HKCU\\Software\\Tormel\\App' /v n").out.find("0x2a"), std::string::npos);

  EXPECT_EQ(Run("reg delete 'HKCU\\Software\\Tormel\\App' /v N /f").status, 0);
  r = Run("reg query 'HKCU\\Software\\Tormel\\App' /v N");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "ERROR: The system was unable to find the specified registry key or value.\n");
  EXPECT_EQ(Run("reg delete 'HKCU\\Software\\Tormel' /f").status, 0);
  EXPECT_EQ(Run("reg query 'HKCU\\Software\\Tormel'").status, 1);
}

TEST_F(KwlibRegTest, ExportImportRoundTrip) {
  ASSERT_EQ(Run("reg add 'HKCU\\Software\\T\\A' /v S /d 'héllo'").status, 0);
  ASSERT_EQ(Run("reg add 'HKCU\\Software\\T\\A' /v Bin /t REG_BINARY /d " + std::string(100, 'f')).status, 0);
  ASSERT_EQ(Run("reg add 'HKCU\\Software\\T\\A\\B' /v Q /t REG_QWORD /d 0x100000000").status, 0);
  const std::string file = m_dir.At("t.reg");
  ASSERT_EQ(Run("reg export 'HKCU\\Software\\T' " + file).status, 0);
  const std::string bytes = kwtest::ReadBytes(file);
  ASSERT_GT(bytes.size(), 4u);
  EXPECT_EQ(bytes.substr(0, 6), std::string("\xFF\xFEW\0i\0", 6));  // UTF-16LE with its mark
  EXPECT_EQ(Run("reg export 'HKCU\\Software\\T' " + file).status, 1);  // exists, no /y

  ASSERT_EQ(Run("reg delete 'HKCU\\Software\\T' /f").status, 0);
  Result r = Run("reg import " + file);
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string again = m_dir.At("again.reg");
  ASSERT_EQ(Run("reg export 'HKCU\\Software\\T' " + again).status, 0);
  EXPECT_EQ(kwtest::ReadBytes(again), bytes);
  EXPECT_NE(Run("reg query 'HKCU\\Software\\T\\A\\B'").out.find("REG_QWORD    0x100000000"), std::string::npos);

  // A string stored without its terminator cannot be written as text: it travels as
  // hex(1), byte for byte, and a continued hex line reads back whole.
  const std::string odd = kwtest::TempFile(
      "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Odd]\r\n"
      "\"x\"=hex(1):61,00,\\\r\n  62,00\r\n");
  r = Run("reg import " + odd);
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(Run("reg export 'HKCU\\Software\\Odd' " + m_dir.At("odd.reg")).status, 0);
  const std::string exported = kwtest::ReadBytes(m_dir.At("odd.reg"));
  std::string line;  // the value's line as it is in the UTF-16LE file
  for (char c : std::string("\"x\"=hex(1):61,00,62,00\r\n")) line += std::string{c, '\0'};
  EXPECT_NE(exported.find(line), std::string::npos);
  std::remove(odd.c_str());
}

TEST_F(KwlibRegTest, BadFilesChangeNothing) {
  ASSERT_EQ(Run("reg add 'HKCU\\Software\\Keep' /v V /d 1").status, 0);
  const std::string bad = kwtest::TempFile(
      "Windows Registry Editor Version 5.00\r\n\r\n[-HKEY_CURRENT_USER\\Software\\Keep]\r\n"
      "[HKEY_CURRENT_USER\\Software\\New]\r\n\"x\"=dword:123456789\r\n");
  Result r = Run("reg import " + bad);
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("line 5:"), std::string::npos) << r.err;
  EXPECT_EQ(Run("reg query 'HKCU\\Software\\Keep' /v V").status, 0);  // the delete before it did not happen
  const std::string notReg = kwtest::TempFile("[HKEY_CURRENT_USER\\X]\r\n");
  EXPECT_NE(Run("reg import " + notReg).err.find("not a .reg file"), std::string::npos);
  EXPECT_EQ(Run("reg import " + m_dir.At("missing.reg")).status, 1);
  for (const char* args : {"reg", "reg query", "reg query HKXX\\\\A", "reg add HKCU\\\\A /t REG_DWORD /d x",
                           "reg add HKCU\\\\A /v a /ve", "reg query HKCU /frob", "reg delete HKCU /f"}) {
    EXPECT_EQ(Run(args).status, 2) << args;
  }
  // Malformed numbers are refused, not stored as what strtoul made of them.
  for (const char* data : {"0x-1", "'0x 5'", "' 5'", "-1", "+5", "0x", "5x", "0x1g", "18446744073709551616"}) {
    const Result refused = Run(std::string("reg add 'HKCU\\Software\\Num' /v Q /t REG_QWORD /d ") + data);
    EXPECT_EQ(refused.status, 2) << data << ": " << refused.err;
    EXPECT_EQ(Run("reg query 'HKCU\\Software\\Num' /v Q").status, 1) << data << " was stored";
  }
  EXPECT_EQ(Run("reg add 'HKCU\\Software\\Num' /v Q /t REG_QWORD /d 0xFFFFFFFFFFFFFFFF").status, 0);
  EXPECT_NE(Run("reg query 'HKCU\\Software\\Num' /v Q").out.find("0xffffffffffffffff"), std::string::npos);
  std::remove(bad.c_str());
  std::remove(notReg.c_str());
}

TEST_F(KwlibRegTest, Units) {
  Result r = Run("units '1 1/2\"' mm");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "108 pt\n38.1 mm\n");
  EXPECT_EQ(Run("units '12 mm' in").out, "34.01574803149606 pt\n0.472 in = 1/2 in\n");
  EXPECT_EQ(Run("units '10 rep' pt").out, "10 pt\n10.0 pt\n");
  EXPECT_EQ(Run("units --active yd").out, "yd (yards)\n");
  EXPECT_EQ(Run("units 2").out, "5184 pt\n2.00 yd = 2 yd\n");  // the active unit, kept in the registry
  EXPECT_NE(Run("reg query 'HKCU\\Software\\Tormel\\kwlib\\Settings' /v Unitats").out.find("0x6"), std::string::npos);
  EXPECT_EQ(Run("units 2 furlong").status, 2);
  EXPECT_EQ(Run("units --active a b").status, 2);
}

}  // namespace
