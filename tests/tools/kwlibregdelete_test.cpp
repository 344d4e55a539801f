// kwlib reg delete against the Windows registry tool (reg tests, delete.c): what
// each form deletes, and refused forms that delete nothing.
#include <string>

#include "regcommand.h"

namespace {

class KwlibRegDeleteTest : public kwtest::RegCommandTest {
 protected:
  void SetUp() override {
    for (const char* args : {"/ve /d d", "/v foo /d 1", "/v bar /d 2", "/v '\\foo\\bar' /d 3", "/v 'count/up' /d 4"}) {
      ASSERT_EQ(Reg(std::string("add 'HKCU\\Software\\KwlibTest' ") + args + " /f").status, 0);
    }
    ASSERT_EQ(Reg("add 'HKCU\\Software\\KwlibTest\\https://winehq.org' /v x /d 1 /f").status, 0);
  }
  int Values() {
    int n = 0;
    for (const wchar_t* name : {L"", L"foo", L"bar", L"\\foo\\bar", L"count/up"}) n += Value(kPath, name) ? 1 : 0;
    return n;
  }
  const std::wstring kPath = L"Software\\KwlibTest";
};

TEST_F(KwlibRegDeleteTest, EachFormDeletesWhatItNames) {
  // delete.c test_delete: /v, /ve and names taken literally.
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /v bar /f").status, 0);
  EXPECT_EQ(Value(kPath, L"bar"), std::nullopt);
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /v '\\foo\\bar' /f").status, 0);
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /ve /f").status, 0);
  EXPECT_EQ(Value(kPath, L""), std::nullopt);
  EXPECT_EQ(Values(), 2);
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /v bar /f").status, 1);
  // /va: every value, the sub-keys kept.
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /va /f").status, 0);
  EXPECT_EQ(Values(), 0);
  EXPECT_TRUE(KeyExists(kPath + L"\\https://winehq.org"));
  // The key: the whole tree; again, it is not there (exit 1).
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /f").status, 0);
  EXPECT_FALSE(KeyExists(kPath));
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /f").status, 1);
}

TEST_F(KwlibRegDeleteTest, RefusedFormsDeleteNothing) {
  // delete.c test_command_syntax: two of /v, /ve and /va, or one twice, or /v
  // without a name; kwlib answers 2 and changes nothing. A root is never deleted
  // whole, and without /f nothing is deleted when no one can answer.
  for (const char* args : {"/v foo /ve /f", "/v foo /va /f", "/ve /va /f", "/ve /ve /f", "/va /va /f",
                           "/v foo /ve /va /f", "/v foo /v bar /f", "/f /v", "/f /f", "/t REG_SZ /f", "/s /f"}) {
    const kwtest::Result r = Reg(std::string("delete 'HKCU\\Software\\KwlibTest' ") + args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_EQ(Values(), 5) << args;
  }
  EXPECT_EQ(Reg("delete HKCU /f").status, 2);
  EXPECT_EQ(Reg("delete 'HKCU\\' /f").status, 2);
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest'").status, 1);
  EXPECT_EQ(Reg("delete 'HKCU\\Software\\KwlibTest' /va").status, 1);
  EXPECT_EQ(Values(), 5);
  EXPECT_TRUE(KeyExists(kPath + L"\\https://winehq.org"));
}

}  // namespace
