// The profile functions give the results Windows gives. Each check states the fact
// it relies on and where it was seen on Windows: the Wine project's public
// conformance tests of the profile calls, dlls/kernel32/tests/profile.c, which pass
// on Windows (the test function is named in each comment).
#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/profile.h>

#include "support/tempdir.h"

namespace {

using namespace kwplat;

class ProfileResults : public ::testing::Test {
 protected:
  void Write(const std::string& bytes) const { kwtest::WriteBytes(m_path, bytes); }
  std::string Bytes() const { return kwtest::ReadBytes(m_path); }
  bool Exists() const {
    struct stat st {};
    return stat(m_path.c_str(), &st) == 0;
  }

  kwtest::TempDir m_dir{"kwlib-ini-facts"};
  std::string m_path = m_dir.At("profile.ini");
  std::wstring m_file = kwfw::Utf8ToWide(m_path);
};

// test_profile_string, test_profile_sections: a line without '=' is no key (the key
// list "name1\0name2\0name4\0\0" is 18 characters), but the section read keeps it
// ("name1=val1\0name2=\0name3\0name4=val4\0\0", 35). The file was written with its
// C terminator, so it ends in a NUL byte, which is no entry; a later write of a
// key goes into the section, before the NUL.
TEST_F(ProfileResults, LinesWithoutEqualsAndATrailingNul) {
  const char text[] = "[s]\r\nname1=val1\r\nname2=\r\nname3\r\nname4=val4\r\n";
  Write(std::string(text, sizeof text));  // the terminator included
  wchar_t buffer[100];
  ASSERT_EQ(GetPrivateProfileStringW(L"s", nullptr, L"", buffer, 100, m_file.c_str()), 18u);
  EXPECT_EQ(std::wstring(buffer, 19), std::wstring(L"name1\0name2\0name4\0\0", 19));
  EXPECT_EQ(GetPrivateProfileStringW(L"s", L"name3", L"default", buffer, 100, m_file.c_str()), 7u);
  EXPECT_EQ(std::wstring(buffer), L"default");
  ASSERT_EQ(GetPrivateProfileSectionW(L"s", buffer, 100, m_file.c_str()), 35u);
  EXPECT_EQ(std::wstring(buffer, 36), std::wstring(L"name1=val1\0name2=\0name3\0name4=val4\0\0", 36));

  ASSERT_TRUE(WritePrivateProfileStringW(L"s", L"name5", L"val5", m_file.c_str()));
  EXPECT_EQ(GetPrivateProfileStringW(L"s", nullptr, L"", buffer, 100, m_file.c_str()), 24u);
  EXPECT_EQ(Bytes(), std::string("[s]\r\nname1=val1\r\nname2=\r\nname3\r\nname4=val4\r\nname5=val5\r\n") + '\0');
}

// test_profile_sections_names: names that need 28 characters (three names, their
// zeros and the closing one) fit a buffer of 29 (27 returned); a buffer of exactly
// 28 is cut to 26, and one of 27 to 25, each ending in two zeros. A missing file
// gives 0 and leaves the buffer's second character as it was.
TEST_F(ProfileResults, SectionNamesAtTheBuffersEdge) {
  Write("[ section1 ]\r\n[section2]\r\n[section3]\r\n");
  // The size, the count returned, and where the list's two closing zeros are.
  struct Row {
    DWORD size, count, zero;
  };
  for (const Row& row : {Row{29, 27, 26}, Row{28, 26, 26}, Row{27, 25, 25}}) {
    wchar_t buffer[32];
    std::fill(std::begin(buffer), std::end(buffer), L'#');
    EXPECT_EQ(GetPrivateProfileSectionNamesW(buffer, row.size, m_file.c_str()), row.count) << row.size;
    EXPECT_EQ(buffer[row.zero], L'\0') << row.size;
    EXPECT_EQ(buffer[row.zero + 1], L'\0') << row.size;
    EXPECT_EQ(std::wstring(buffer), L"section1") << row.size;
  }
  wchar_t buffer[10];
  std::fill(std::begin(buffer), std::end(buffer), L'#');
  const std::wstring missing = kwfw::Utf8ToWide(m_dir.At("missing.ini"));
  EXPECT_EQ(GetPrivateProfileSectionNamesW(buffer, 10, missing.c_str()), 0u);
  EXPECT_EQ(buffer[0], L'\0');
  EXPECT_EQ(buffer[1], L'#');
}

// test_profile_sections: GetPrivateProfileSectionW with a null section or buffer
// (or no room) gives 0 and ERROR_INVALID_PARAMETER; a read sets ERROR_SUCCESS, an
// empty section included; a null file is ERROR_FILE_NOT_FOUND.
TEST_F(ProfileResults, SectionReadErrors) {
  Write("[section1]\r\nname1=val1\r\n[empty]\r\n");
  wchar_t buffer[100];
  const auto fails = [](DWORD result, DWORD error) {
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(GetLastError(), error);
  };
  SetLastError(0xDEADBEEF);
  fails(GetPrivateProfileSectionW(nullptr, nullptr, 0, nullptr), ERROR_INVALID_PARAMETER);
  fails(GetPrivateProfileSectionW(nullptr, nullptr, 0, m_file.c_str()), ERROR_INVALID_PARAMETER);
  fails(GetPrivateProfileSectionW(L"section1", nullptr, 0, m_file.c_str()), ERROR_INVALID_PARAMETER);
  fails(GetPrivateProfileSectionW(nullptr, buffer, 100, m_file.c_str()), ERROR_INVALID_PARAMETER);
  fails(GetPrivateProfileSectionW(L"section1", buffer, 100, nullptr), ERROR_FILE_NOT_FOUND);
  SetLastError(0xDEADBEEF);
  fails(GetPrivateProfileSectionW(L"empty", buffer, 100, m_file.c_str()), ERROR_SUCCESS);
  SetLastError(0xDEADBEEF);
  EXPECT_EQ(GetPrivateProfileSectionW(L"section1", buffer, 100, m_file.c_str()), 11u);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

// test_WritePrivateProfileString: a write without a section is FALSE with
// ERROR_FILE_NOT_FOUND and makes no file; an empty file name is FALSE with
// ERROR_ACCESS_DENIED. Deleting a key or a section of a file that does not exist
// succeeds and leaves an empty file; deleting one already gone leaves the file as
// it is.
TEST_F(ProfileResults, WriteErrorsAndDeletionsFromNothing) {
  EXPECT_FALSE(WritePrivateProfileStringW(nullptr, L"key", L"string", m_file.c_str()));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(Exists());
  EXPECT_FALSE(WritePrivateProfileStringW(L"App", L"key", L"string", L""));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);

  EXPECT_TRUE(WritePrivateProfileStringW(L"App", nullptr, L"string", m_file.c_str()));
  EXPECT_TRUE(Exists());
  EXPECT_EQ(Bytes(), "");
  ASSERT_EQ(std::remove(m_path.c_str()), 0);
  EXPECT_TRUE(WritePrivateProfileStringW(L"App", L"key", nullptr, m_file.c_str()));
  EXPECT_TRUE(Exists());
  EXPECT_EQ(Bytes(), "");

  Write("[App]\r\nother=1\r\n");
  EXPECT_TRUE(WritePrivateProfileStringW(L"App", L"key", nullptr, m_file.c_str()));
  EXPECT_EQ(Bytes(), "[App]\r\nother=1\r\n");
}

}  // namespace

namespace {

// test_GetPrivateProfileString, test_profile_string: values cut to the buffer (a
// size of 0 writes nothing; "val1" into 4 gives "val", 3); quotes removed; the
// default's trailing blanks removed and a null default read as ""; an empty key
// name finds a line "=value"; an empty section name finds "[]"; an empty or null
// file name gives the default.
TEST_F(ProfileResults, ValuesDefaultsAndEmptyNames) {
  Write("[section1]\r\nname1=val1\r\nname2=\"val2\"\r\n=val_no_key\r\n[]\r\nkey=val_e_section\r\n");
  wchar_t buffer[64];
  std::fill(std::begin(buffer), std::end(buffer), L'#');
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"name1", L"default", buffer, 0, m_file.c_str()), 0u);
  EXPECT_EQ(buffer[0], L'#');
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"name1", L"default", buffer, 4, m_file.c_str()), 3u);
  EXPECT_EQ(std::wstring(buffer), L"val");
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"name1", L"default", buffer, 1, m_file.c_str()), 0u);
  EXPECT_EQ(std::wstring(buffer), L"");
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"name2", L"default", buffer, 64, m_file.c_str()), 4u);
  EXPECT_EQ(std::wstring(buffer), L"val2");
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"notakey", L"default  ", buffer, 64, m_file.c_str()), 7u);
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"notakey", nullptr, buffer, 64, m_file.c_str()), 0u);
  EXPECT_EQ(std::wstring(buffer), L"");
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"", L"default", buffer, 64, m_file.c_str()), 10u);
  EXPECT_EQ(std::wstring(buffer), L"val_no_key");
  EXPECT_EQ(GetPrivateProfileStringW(L"", L"key", L"default", buffer, 64, m_file.c_str()), 13u);
  EXPECT_EQ(std::wstring(buffer), L"val_e_section");
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"name1", L"default", buffer, 64, L""), 7u);
  EXPECT_EQ(GetPrivateProfileStringW(L"section1", L"name1", L"default", buffer, 64, nullptr), 7u);
}

// test_WritePrivateProfileString: an empty value writes "key="; a null key deletes
// the section whatever the value; deleting a section's last key leaves its header;
// a new section goes at the end as "[S]\r\nk=v\r\n".
TEST_F(ProfileResults, WritesAndDeletions) {
  Write("[App1]\r\nkey1=string1\r\n[App2]\r\nkey2=string2\r\n[App3]\r\nkey3=string3\r\n");
  ASSERT_TRUE(WritePrivateProfileStringW(L"App1", L"key1", L"", m_file.c_str()));
  ASSERT_TRUE(WritePrivateProfileStringW(L"App2", nullptr, L"ignored", m_file.c_str()));
  ASSERT_TRUE(WritePrivateProfileStringW(L"App3", L"key3", nullptr, m_file.c_str()));
  ASSERT_TRUE(WritePrivateProfileStringW(L"App4", L"key4", L"string4", m_file.c_str()));
  EXPECT_EQ(Bytes(), "[App1]\r\nkey1=\r\n[App3]\r\n[App4]\r\nkey4=string4\r\n");
}

}  // namespace
