// The file-system calls on a real temporary folder: attributes, folders, the
// read-only rule of deleting, copies, temporary names, listing with masks, and
// the path splitting functions.
#include <sys/stat.h>
#include <unistd.h>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/pathparts.h>

#include "support/locales.h"
#include "support/tempdir.h"

namespace {

class FileApiTest : public ::testing::Test {
 protected:
  static std::string Native(const std::wstring& p) { return kwfw::WideToUtf8(p); }
  std::wstring At(const std::wstring& name) const { return m_dir + L"/" + name; }
  void Touch(const std::wstring& name, const std::string& content = "x") const {
    std::ofstream(Native(At(name))) << content;
  }
  std::vector<std::wstring> List(const std::wstring& pattern) const {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW data;
    HANDLE h = kwplat::FindFirstFileW(At(pattern).c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return names;
    do names.emplace_back(data.cFileName);
    while (kwplat::FindNextFileW(h, &data));
    EXPECT_EQ(kwplat::GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_TRUE(kwplat::FindClose(h));
    return names;
  }

  kwtest::TempDir m_tmp{"kwlib-fs"};
  std::wstring m_dir = kwfw::Utf8ToWide(m_tmp.Path());
};

TEST_F(FileApiTest, AttributesFoldersAndDeleting) {
  Touch(L"f.txt");
  EXPECT_EQ(kwplat::GetFileAttributesW(At(L"f.txt").c_str()), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(kwplat::GetFileAttributesW(m_dir.c_str()), FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(kwplat::GetFileAttributesW(At(L"none").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_NOT_FOUND);

  EXPECT_TRUE(kwplat::SetFileAttributesW(At(L"f.txt").c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(kwplat::GetFileAttributesW(At(L"f.txt").c_str()), FILE_ATTRIBUTE_READONLY);
  EXPECT_FALSE(kwplat::DeleteFileW(At(L"f.txt").c_str()));  // read-only files stay, as on Windows
  EXPECT_EQ(kwplat::GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(kwplat::SetFileAttributesW(At(L"f.txt").c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_TRUE(kwplat::DeleteFileW(At(L"f.txt").c_str()));

  EXPECT_TRUE(kwplat::CreateDirectoryW(At(L"d").c_str(), nullptr));
  EXPECT_FALSE(kwplat::CreateDirectoryW(At(L"d").c_str(), nullptr));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(kwplat::CreateDirectoryW(At(L"x/y").c_str(), nullptr));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(kwplat::DeleteFileW(At(L"d").c_str()));
  Touch(L"d/inner");
  EXPECT_FALSE(kwplat::RemoveDirectoryW(At(L"d").c_str()));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_DIR_NOT_EMPTY);
  EXPECT_TRUE(kwplat::DeleteFileW(At(L"d/inner").c_str()));
  EXPECT_TRUE(kwplat::RemoveDirectoryW(At(L"d").c_str()));
}

TEST_F(FileApiTest, CopiesAndTemporaryNames) {
  Touch(L"src", "content");
  chmod(Native(At(L"src")).c_str(), 0640);
  EXPECT_TRUE(kwplat::CopyFileW(At(L"src").c_str(), At(L"dst").c_str(), TRUE));
  std::ifstream in(Native(At(L"dst")));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "content");
  struct stat st {};
  stat(Native(At(L"dst")).c_str(), &st);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_FALSE(kwplat::CopyFileW(At(L"src").c_str(), At(L"dst").c_str(), TRUE));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_EXISTS);
  EXPECT_TRUE(kwplat::CopyFileW(At(L"src").c_str(), At(L"dst").c_str(), FALSE));
  EXPECT_FALSE(kwplat::CopyFileW(At(L"none").c_str(), At(L"dst").c_str(), FALSE));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_NOT_FOUND);

  wchar_t name[MAX_PATH];
  EXPECT_EQ(kwplat::GetTempFileNameW(m_dir.c_str(), L"abcd", 0x1001A, name), 0x1Au);
  EXPECT_EQ(std::wstring(name), At(L"abc001A.TMP"));
  EXPECT_EQ(kwplat::GetFileAttributesW(name), INVALID_FILE_ATTRIBUTES);  // a given number creates nothing
  const UINT n = kwplat::GetTempFileNameW(m_dir.c_str(), L"k", 0, name);
  EXPECT_NE(n, 0u);
  EXPECT_EQ(kwplat::GetFileAttributesW(name), FILE_ATTRIBUTE_NORMAL);  // created, empty
  wchar_t other[MAX_PATH];
  EXPECT_NE(kwplat::GetTempFileNameW(m_dir.c_str(), L"k", 0, other), 0u);
  EXPECT_NE(std::wstring(other), std::wstring(name));
  EXPECT_EQ(kwplat::GetTempFileNameW(At(L"none").c_str(), L"k", 0, other), 0u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_DIRECTORY);

  setenv("TMPDIR", Native(m_dir).c_str(), 1);
  wchar_t temp[8];
  const DWORD needed = kwplat::GetTempPathW(8, temp);
  EXPECT_EQ(needed, m_dir.size() + 2);  // with its separator and terminator
  std::wstring full(needed, L'\0');
  EXPECT_EQ(kwplat::GetTempPathW(needed, full.data()), needed - 1);
  EXPECT_EQ(full.c_str(), m_dir + L"/");
  unsetenv("TMPDIR");
}

TEST_F(FileApiTest, ListingWithMasks) {
  for (const wchar_t* n : {L"b.TXT", L"a.txt", L"C.doc", L"noext", L".hidden"}) Touch(n);
  kwplat::CreateDirectoryW(At(L"sub").c_str(), nullptr);
  EXPECT_EQ(List(L"*.*"), (std::vector<std::wstring>{L".", L"..", L".hidden", L"a.txt", L"b.TXT", L"C.doc", L"noext", L"sub"}));
  EXPECT_EQ(List(L"*.txt"), (std::vector<std::wstring>{L"a.txt", L"b.TXT"}));
  EXPECT_EQ(List(L"?.*"), (std::vector<std::wstring>{L"..", L"a.txt", L"b.TXT", L"C.doc"}));  // ".." is one character, a dot, and nothing
  EXPECT_EQ(List(L"NOEXT.*"), (std::vector<std::wstring>{L"noext"}));
  WIN32_FIND_DATAW data;
  EXPECT_EQ(kwplat::FindFirstFileW(At(L"*.xyz").c_str(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(kwplat::FindFirstFileW(At(L"none/*.*").c_str(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_PATH_NOT_FOUND);
  HANDLE h = kwplat::FindFirstFileW(At(L"sub").c_str(), &data);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_FALSE(kwplat::CloseHandle(h));  // a listing is closed with FindClose
  EXPECT_TRUE(kwplat::FindClose(h));
}

// Masks match by the library's case fold, whatever the locale.
TEST_F(FileApiTest, MasksMatchNonAsciiNamesTheSameInEveryLocale) {
  for (const wchar_t* n : {L"stra\u00DFe.txt", L"Index.txt", L"\u00E9t\u00E9.doc"}) Touch(n);
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    EXPECT_EQ(List(L"STRA\u1E9EE.*"), (std::vector<std::wstring>{L"stra\u00DFe.txt"})) << locale;
    EXPECT_EQ(List(L"\u00C9T\u00C9.*"), (std::vector<std::wstring>{L"\u00E9t\u00E9.doc"})) << locale;
    EXPECT_EQ(List(L"\u0131NDEX.*"), std::vector<std::wstring>()) << locale;
    EXPECT_EQ(List(L"iNDEX.*"), (std::vector<std::wstring>{L"Index.txt"})) << locale;
  }
}

TEST(PathParts, SplitMakeAndFullPath) {
  std::wstring drive = L"x", dir, name, ext;
  kwplat::_wsplitpath(L"/a/b/c.tar.gz", &drive, &dir, &name, &ext);
  EXPECT_EQ(drive, L"");
  EXPECT_EQ(dir, L"/a/b/");
  EXPECT_EQ(name, L"c.tar");
  EXPECT_EQ(ext, L".gz");
  kwplat::_wsplitpath(L"a.b/c", nullptr, &dir, &name, &ext);
  EXPECT_EQ(dir, L"a.b/");
  EXPECT_EQ(name, L"c");
  EXPECT_EQ(ext, L"");
  EXPECT_EQ(kwplat::_wmakepath(nullptr, L"/a", L"f", L"txt"), L"/a/f.txt");
  EXPECT_EQ(kwplat::_wmakepath(L"", L"/a/", L"f", L".txt"), L"/a/f.txt");
  EXPECT_EQ(kwplat::_wmakepath(nullptr, nullptr, L"f", nullptr), L"f");
  EXPECT_EQ(kwplat::_wfullpath(L"/a/./b/../c"), L"/a/c");
  EXPECT_EQ(kwplat::_wfullpath(L"/a/b/"), L"/a/b/");
  EXPECT_EQ(kwplat::_wfullpath(L"/.."), L"/");
  char* cwd = getcwd(nullptr, 0);
  EXPECT_EQ(kwplat::_wfullpath(L"x"), kwfw::Utf8ToWide(cwd) + L"/x");
  std::free(cwd);
}

}  // namespace
