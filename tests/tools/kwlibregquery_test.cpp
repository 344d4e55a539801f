// kwlib reg query against the Windows registry tool's output, byte for byte (with
// LF where the Windows tool writes CR LF), and its refusals.
#include <string>
#include <vector>

#include "regcommand.h"
#include "support/locales.h"

namespace {

class KwlibRegQueryTest : public kwtest::RegCommandTest {
 protected:
  // The key of query.c test_query: two values, then a sub-key with three.
  void MakeKeys() {
    ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v Test1 /d 'Hello, World' /f").status, 0);
    ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v Test2 /t REG_DWORD /d 0x123 /f").status, 0);
    ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v Wine /d 'First instance' /f").status, 0);
    ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\subkey' /v Test3 /d 'Some string data' /f").status, 0);
    ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\subkey' /v Test4 /t REG_DWORD /d 0xabc /f").status, 0);
    ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\subkey' /v Wine /d 'Second instance' /f").status, 0);
  }
};

const std::string kTop = "HKEY_CURRENT_USER\\Software\\KwlibTest";
const std::string kSub = kTop + "\\subkey";
const std::string kTopValues =
    "    Test1    REG_SZ    Hello, World\n    Test2    REG_DWORD    0x123\n    Wine    REG_SZ    First instance\n";
const std::string kSubValues =
    "    Test3    REG_SZ    Some string data\n    Test4    REG_DWORD    0xabc\n    Wine    REG_SZ    Second instance\n";

TEST_F(KwlibRegQueryTest, OutputAsTheWindowsToolPrintsIt) {
  MakeKeys();
  // Expected texts from reg tests, query.c test_query (test1 to test7).
  const struct {
    std::string args;
    std::string out;
  } cases[] = {
      {"'HKCU\\Software\\KwlibTest'", "\n" + kTop + "\n" + kTopValues + "\n" + kSub + "\n"},
      {"'HKCU\\Software\\KwlibTest' /v Test1", "\n" + kTop + "\n    Test1    REG_SZ    Hello, World\n\n"},
      {"'HKCU\\Software\\KwlibTest\\subkey' /v test4", "\n" + kSub + "\n    Test4    REG_DWORD    0xabc\n\n"},
      {"'HKCU\\Software\\KwlibTest' /s", "\n" + kTop + "\n" + kTopValues + "\n" + kSub + "\n" + kSubValues + "\n"},
      {"'HKCU\\Software\\KwlibTest\\' /s", "\n" + kTop + "\n" + kTopValues + "\n" + kSub + "\n" + kSubValues + "\n"},
      // The Windows tool's own tests compare only the start of this one; the
      // closing count is the tool's usual line after a search.
      {"'HKCU\\Software\\KwlibTest' /v Wine /s",
       "\n" + kTop + "\n    Wine    REG_SZ    First instance\n\n" + kSub + "\n    Wine    REG_SZ    Second instance\n\n" +
           "End of search: 2 match(es) found.\n"},
      // A key without a default value answers /ve (query.c: exit 0 since Vista).
      {"'HKCU\\Software\\KwlibTest' /ve", "\n" + kTop + "\n    (Default)    REG_SZ    (value not set)\n\n"},
  };
  for (const auto& c : cases) {
    const kwtest::Result r = Reg("query " + c.args);
    EXPECT_EQ(r.status, 0) << c.args << "\n" << r.err;
    EXPECT_EQ(r.out, c.out) << c.args;
  }
  EXPECT_EQ(Reg("query 'HKCU\\Software\\KwlibTest' /v Missing").status, 1);
  EXPECT_EQ(Reg("query 'HKCU\\Software\\KwlibMissing'").status, 1);
}

TEST_F(KwlibRegQueryTest, KeysWithOnlySubKeys) {
  // query.c test8a and test8b: no header line for a key without values; with /s
  // each sub-key is a block of its own.
  for (const char* sub : {"subkey1", "subkey2", "subkey3", "subkey4"}) {
    HKEY key = nullptr;
    ASSERT_EQ(kwplat::RegCreateKeyExW(HKEY_CURRENT_USER, (L"Software\\KwlibTest\\" + kwfw::Utf8ToWide(sub)).c_str(), 0,
                                      nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    kwplat::RegCloseKey(key);
  }
  std::string plain = "\n", recursive = "\n";
  for (const char* sub : {"subkey1", "subkey2", "subkey3", "subkey4"}) {
    plain += kTop + "\\" + sub + "\n";
    recursive += kTop + "\\" + sub + "\n\n";
  }
  EXPECT_EQ(Reg("query 'HKCU\\Software\\KwlibTest'").out, plain);
  EXPECT_EQ(Reg("query 'HKCU\\Software\\KwlibTest' /s").out, recursive);
}

TEST_F(KwlibRegQueryTest, SubKeysInUpperCaseOrderAndEveryNameListed) {
  // The registry orders sub-keys by their upper-case names, so "_" (after 'Z')
  // sorts after the letters, where a lower-case order would put it before.
  for (const char* sub : {"ab", "A_", "Aa", "B"}) ASSERT_EQ(Reg(std::string("add 'HKCU\\Software\\KwlibTest\\") + sub + "' /f").status, 0);
  // Names of every length the registry allows are listed, none passed over.
  const std::string longName(255, 'z');
  const std::string longValue(16383, 'v');
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\" + longName + "' /v " + longValue + " /f").status, 0);
  const kwtest::Result r = Reg("query 'HKCU\\Software\\KwlibTest' /s");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::size_t aa = r.out.find("\\Aa\n"), ab = r.out.find("\\ab\n"), a_ = r.out.find("\\A_\n"),
                    b = r.out.find("\\B\n"), z = r.out.find("\\" + longName + "\n");
  EXPECT_LT(aa, ab);
  EXPECT_LT(ab, a_);
  EXPECT_LT(a_, b);
  EXPECT_LT(b, z);
  EXPECT_NE(r.out.find("    " + longValue + "    REG_SZ    \n"), std::string::npos);
  EXPECT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\" + longName + "z' /f").status, 1);
  EXPECT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v " + longValue + "v /f").status, 1);
}

// Names compare and sort by the registry's own rules, whatever the locale: I and i
// are one letter, dotted İ and dotless ı letters of their own (a Turkish locale
// would pair them with i and I), and sub-keys go by their upper-case names.
TEST_F(KwlibRegQueryTest, NamesCompareAlikeInEveryLocale) {
  for (const char* sub : {"Iy", "\xC4\xB0z", "iw", "\xC4\xB1x"}) {  // Iy, İz, iw, ıx
    ASSERT_EQ(Reg(std::string("add 'HKCU\\Software\\KwlibTest\\") + sub + "' /f").status, 0);
  }
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v \xC4\xB0 /d dotted /f").status, 0);
  ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest' /v i /d plain /f").status, 0);
  for (const char* locale : kwtest::kTextLocales) {
    const auto query = [&](const std::string& args) {
      return kwtest::Shell(std::string("LC_ALL=") + locale + " KWLIB63_REGISTRY_DIR=" + m_hive.Dir().Path() + " " +
                           KWLIB_EXE + " reg query 'HKCU\\Software\\KwlibTest' " + args + " </dev/null");
    };
    kwtest::Result r = query("/v I");
    EXPECT_EQ(r.status, 0) << locale;
    EXPECT_NE(r.out.find("    i    REG_SZ    plain\n"), std::string::npos) << locale << r.out;
    EXPECT_EQ(r.out.find("dotted"), std::string::npos) << locale;
    EXPECT_EQ(query("/v \xC4\xB1").status, 1) << locale;  // ı is not İ, nor i
    r = query("/s");
    ASSERT_EQ(r.status, 0) << locale;
    const std::size_t iw = r.out.find("\\iw\n"), ix = r.out.find("\\\xC4\xB1x\n"), iy = r.out.find("\\Iy\n"),
                      iz = r.out.find("\\\xC4\xB0z\n");
    EXPECT_LT(iw, ix) << locale << r.out;
    EXPECT_LT(ix, iy) << locale;
    EXPECT_LT(iy, iz) << locale;
    EXPECT_NE(iz, std::string::npos) << locale;
  }
}

TEST_F(KwlibRegQueryTest, RefusedSwitches) {
  MakeKeys();
  // query.c test_command_syntax.
  for (const char* args : {"query", "query 'HKCU\\Software\\KwlibTest' /v", "query 'HKCU\\Software\\KwlibTest' /v Test1 /v Test2",
                           "query 'HKCU\\Software\\KwlibTest' /v Test1 /ve", "query 'HKCU\\Software\\KwlibTest' /s /s",
                           "query 'HKCU\\Software\\KwlibTest' /ve /ve", "query 'HKCU\\Software\\KwlibTest' /reg:32 /reg:64",
                           "query 'HKCU\\Software\\KwlibTest' /f", "query 'HKCU\\Software\\KwlibTest' /d x"}) {
    const kwtest::Result r = Reg(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_EQ(r.out, "") << args;
  }
  for (const char* args : {"query /?", "query /h", "query -H"}) EXPECT_EQ(Reg(args).status, 0) << args;
}

}  // namespace
