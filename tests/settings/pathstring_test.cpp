// CPathString: the text rules (joining, parts, Cd, Purify, roots) with '/' paths,
// and the file operations on a real temporary folder.
#include <sys/stat.h>
#include <unistd.h>
#include <cstdlib>
#include <fstream>
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/shell.h>
#include <kwlib63/settings/pathstring.h>

#include "support/tempdir.h"
#include "support/throws.h"

namespace {

CString S(const wchar_t* s) { return CString(s); }

TEST(PathString, Joining) {
  EXPECT_EQ(CPathString(L"a.txt", L"/x"), S(L"/x/a.txt"));
  EXPECT_EQ(CPathString(L"a.txt", L"/x/"), S(L"/x/a.txt"));
  EXPECT_EQ(CPathString(L"a.txt", L"\"/x\""), S(L"/x/a.txt"));
  EXPECT_EQ(CPathString(nullptr, L"/x"), S(L"/x/"));
  EXPECT_EQ(CPathString(L"a.txt", nullptr), S(L"a.txt"));
  EXPECT_EQ(CPathString(L"", L""), S(L""));
  EXPECT_EQ(CPathString(L"/b", L"/x/"), S(L"/x//b"));  // nothing collapses a doubled separator
  EXPECT_EQ(CPathString(nullptr, L"/d", L"f", L"txt"), S(L"/d/f.txt"));
  EXPECT_EQ(AfxNetejarPath(L"\""), S(L""));
  EXPECT_EQ(AfxNetejarPath(L"\"a b\" "), S(L"a b\" "));  // only a quote at each very end goes
}

TEST(PathString, Parts) {
  const CPathString p(L"/a/b/c.tar.gz", nullptr);
  EXPECT_EQ(p.GetUnitat(), S(L""));
  EXPECT_EQ(p.GetDirectori(0), S(L"/a/b"));
  EXPECT_EQ(p.GetRuta(1), S(L"/a/b/"));
  EXPECT_EQ(p.GetFitxer(), S(L"c.tar.gz"));
  EXPECT_EQ(p.GetNomFitxer(), S(L"c.tar"));
  EXPECT_EQ(p.GetExtensio(0), S(L"gz"));
  EXPECT_EQ(p.GetExtensio(1), S(L".gz"));
  EXPECT_EQ(CPathString(L"/x/a", nullptr).GetExtensio(1), S(L"."));
  EXPECT_EQ(CPathString(L"/a/b/c.txt", nullptr).GetSubdirectori(), S(L"b"));
  EXPECT_EQ(CPathString(L"/a/c.txt", nullptr).GetSubdirectori(), S(L"/a"));
  EXPECT_EQ(CPathString(L"c.txt", nullptr).GetSubdirectori(), S(L""));
  EXPECT_TRUE(CPathString(L"/", nullptr).IsRoot());
  EXPECT_FALSE(CPathString(L"/a", nullptr).IsRoot());
  EXPECT_FALSE(CPathString(L"", nullptr).IsRoot());
  EXPECT_TRUE(CPathString::EsCarpeta(L"/a/"));
  EXPECT_FALSE(CPathString::EsCarpeta(L"/a"));
  EXPECT_EQ(CPathString::posarBarraFinal(L"", 1), S(L"/"));
  EXPECT_EQ(CPathString::posarBarraFinal(L"/a//", 0), S(L"/a/"));
  EXPECT_EQ(p.Substituir(nullptr, L"/z/", nullptr, L".txt"), S(L"/z/c.tar.txt"));
  CString dir, name;
  p.SplitPath(nullptr, &dir, &name, nullptr);
  EXPECT_EQ(dir + name, S(L"/a/b/c.tar"));
}

// With the dot: the split's extension (so "." without one); without: whatever
// follows the last dot of the whole text, a dot in a folder name included.
TEST(PathString, ExtensionForms) {
  struct {
    const wchar_t* path;
    const wchar_t* withDot;
    const wchar_t* bare;
  } cases[] = {
      {L"/a.b/c", L".", L"b/c"},   {L"/a.b/c.d", L".d", L"d"},        {L"/x/a", L".", L""},
      {L"/x/a.tar.gz", L".gz", L"gz"}, {L"/x/a.", L".", L""},          {L"a.b/", L".", L"b/"},
      {L"", L".", L""},
  };
  for (const auto& c : cases) {
    const CPathString p(c.path, nullptr);
    EXPECT_EQ(p.GetExtensio(1), S(c.withDot)) << kwfw::WideToUtf8(c.path);
    EXPECT_EQ(p.GetExtensio(0), S(c.bare)) << kwfw::WideToUtf8(c.path);
  }
}

TEST(PathString, CdAndPurify) {
  EXPECT_EQ(CPathString(L"/a/b/f.txt", nullptr).Cd(L".."), S(L"/a/f.txt"));
  EXPECT_EQ(CPathString(L"/a/f.txt", nullptr).Cd(L".."), S(L"/f.txt"));
  EXPECT_EQ(CPathString(L"/a/f.txt", nullptr).Cd(L"sub"), S(L"/a/sub/f.txt"));
  EXPECT_EQ(CPathString(L"/a/f.txt", nullptr).Cd(L"/z"), S(L"/z/f.txt"));
  EXPECT_EQ(CPathString(L"/a/f.txt", nullptr).Cd(L"../x"), S(L"/a/../x/f.txt"));  // appended as it stands
  EXPECT_TRUE(kwtest::Throws<CInvalidArgException>([] { (void)CPathString(L"f.txt", nullptr).Cd(L".."); }));
  EXPECT_EQ(CPathString(L"/a|b/c?d.t*t", nullptr).Purify(), S(L"/a b/c d.t t"));
  EXPECT_EQ(CPathString(L"x<y", nullptr).Purify(), S(L"/x y"));
  EXPECT_EQ(CPathString::purify(L" <a> "), S(L"a"));
}

// Quotes around a whole path go when it is made; a quote left at either end of the
// text afterwards belongs to a name, and moving the file keeps it.
TEST(PathString, CdKeepsQuotesThatBelongToTheName) {
  const struct {
    const wchar_t* path;
    const wchar_t* to;
    const wchar_t* moved;
  } cases[] = {{L"/a/\"\"b\"\"", L"c", L"/a/c/\"\"b\"\""}, {L"/=/\"\"\"", L".r", L"/=/.r/\"\"\""},
               {L"\"f\"", L"d", L"d/\"f\""},                {L"/a/b/x.\"", L"..", L"/a/x.\""}};
  for (const auto& c : cases) {
    CPathString p;
    p = c.path;  // as it stands, quotes and all
    EXPECT_EQ(p.Cd(c.to), S(c.moved)) << kwfw::WideToUtf8(c.path) << " " << kwfw::WideToUtf8(c.to);
  }
}

class PathStringFiles : public ::testing::Test {
 protected:
  CString At(const wchar_t* name) const { return CString((m_dir + L"/" + name).c_str()); }
  void Touch(const wchar_t* name, const std::string& content) const {
    std::ofstream(kwfw::WideToUtf8(At(name).GetString())) << content;
  }
  kwtest::TempDir m_tmp{"kwlib-path"};
  std::wstring m_dir = kwfw::Utf8ToWide(m_tmp.Path());
};

TEST_F(PathStringFiles, FoldersFilesAndLoading) {
  EXPECT_EQ(CPathString::CrearCarpeta(L""), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(CPathString::CrearCarpeta(At(L"a/b/c/")), 1);
  EXPECT_TRUE(CPathString::TestCarpeta(At(L"a/b/c/")));
  EXPECT_EQ(CPathString::CrearCarpeta(At(L"a/b")), 1);  // there already
  Touch(L"a/f.txt", "hello");
  EXPECT_EQ(CPathString::CrearCarpeta(At(L"a/f.txt")), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_EXISTS);
  EXPECT_TRUE(CPathString::TestFitxer(At(L"a/f.txt")));
  EXPECT_FALSE(CPathString::TestFitxer(At(L"a")));
  EXPECT_TRUE(CPathString::TestCarpeta(L"/"));
  EXPECT_TRUE(CPathString(L"x.txt", At(L"a")).TestCarpeta());  // the folder part of the path

  EXPECT_EQ(CPathString::GetMida(At(L"a/f.txt")), 5u);
  EXPECT_EQ(CPathString::GetMida(At(L"none")), 0u);
  CTime t;
  EXPECT_EQ(CPathString::GetData(At(L"a/f.txt"), t, 2), 1);
  EXPECT_GT(t.GetTime(), 0);
  EXPECT_EQ(CPathString::GetData(At(L"a/f.txt"), t, 4), 0);
  unsigned char* data = nullptr;
  EXPECT_EQ(CPathString::Carregar(At(L"a/f.txt"), data), 5u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), 5), "hello");
  std::free(data);
  data = nullptr;
  EXPECT_EQ(CPathString::Carregar(At(L"none"), data), 0u);
  EXPECT_EQ(data, nullptr);

  chmod(kwfw::WideToUtf8(At(L"a/f.txt").GetString()).c_str(), 0444);
  EXPECT_EQ(CPathString::Esborrar(At(L"a/f.txt"), 0), 0);  // read-only
  EXPECT_NE(CPathString::Esborrar(At(L"a/f.txt"), 1), 0);
  EXPECT_EQ(CPathString::Esborrar(L"", 1), 0);
}

TEST_F(PathStringFiles, RemovingAndCopyingFolders) {
  CPathString::CrearCarpeta(At(L"src/sub"));
  Touch(L"src/one", "1");
  Touch(L"src/sub/two", "22");
  EXPECT_EQ(CPathString::CopyFolderTo(At(L"src"), At(L"dst"), 1), 1);
  EXPECT_EQ(CPathString::GetMida(At(L"dst/sub/two")), 2u);
  // Into an existing folder, renaming on collision when not overwriting.
  EXPECT_EQ(CPathString::CopyFolderTo(At(L"src"), At(L"dst"), 0), 1);
  EXPECT_TRUE(CPathString::TestCarpeta(At(L"dst/src")));
  EXPECT_EQ(CPathString::CopyFolderTo(At(L"src"), At(L"dst"), 0), 1);
  EXPECT_TRUE(CPathString::TestCarpeta(At(L"dst/src - Copy")));
  EXPECT_EQ(CPathString::CopyFolderTo(At(L"none/x"), At(L"dst"), 1), 0);

  EXPECT_EQ(CPathString::EsborrarCarpeta(At(L"src"), 0), 0);  // not empty
  // Removing the current folder first moves out of it.
  ASSERT_EQ(chdir(kwfw::WideToUtf8(At(L"src").GetString()).c_str()), 0);
  EXPECT_NE(CPathString::EsborrarCarpeta(At(L"src"), 1), 0);
  EXPECT_FALSE(CPathString::TestCarpeta(At(L"src")));
  char* cwd = getcwd(nullptr, 0);
  EXPECT_EQ(kwfw::Utf8ToWide(cwd), m_dir);
  std::free(cwd);
  ASSERT_EQ(chdir("/"), 0);
}

// Symbolic links met inside a folder tree: a recursive delete removes each link as
// a link and never touches what it points at; a folder copy copies each link as a
// link. The targets lie outside the tree and must come through whole.
TEST_F(PathStringFiles, WalksDoNotFollowLinks) {
  CPathString::CrearCarpeta(At(L"outside/deep"));
  Touch(L"outside/keep.txt", "keep");
  Touch(L"outside/deep/inner.txt", "inner");
  const std::string outside = kwfw::WideToUtf8(At(L"outside").GetString());
  struct {
    const wchar_t* link;
    std::string target;
  } cases[] = {
      {L"to-folder", outside},
      {L"to-file", outside + "/keep.txt"},
      {L"dangling", outside + "/none"},
      {L"to-ancestor", ".."},
  };
  for (const auto& c : cases) {
    const std::wstring tree = std::wstring(L"tree-") + c.link;
    CPathString::CrearCarpeta(At((tree + L"/sub").c_str()));
    Touch((tree + L"/sub/own.txt").c_str(), "own");
    const std::string link = kwfw::WideToUtf8(At((tree + L"/sub/" + c.link).c_str()).GetString());
    ASSERT_EQ(symlink(c.target.c_str(), link.c_str()), 0) << link;

    const std::wstring copy = std::wstring(L"copy-") + c.link;
    EXPECT_EQ(CPathString::CopyFolderTo(At(tree.c_str()), At(copy.c_str()), 1), 1) << kwfw::WideToUtf8(c.link);
    const std::string copied = kwfw::WideToUtf8(At((copy + L"/sub/" + c.link).c_str()).GetString());
    struct stat st {};
    ASSERT_EQ(lstat(copied.c_str(), &st), 0) << copied;
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << copied;
    char target[4096] = {};
    ASSERT_GT(readlink(copied.c_str(), target, sizeof target - 1), 0) << copied;
    EXPECT_EQ(std::string(target), c.target) << copied;
    EXPECT_EQ(CPathString::GetMida(At((copy + L"/sub/own.txt").c_str())), 3u) << copied;

    for (const std::wstring& folder : {tree, copy}) {
      EXPECT_NE(CPathString::EsborrarCarpeta(At(folder.c_str()), 1), 0) << kwfw::WideToUtf8(folder);
      EXPECT_NE(lstat(kwfw::WideToUtf8(At(folder.c_str()).GetString()).c_str(), &st), 0) << kwfw::WideToUtf8(folder);
    }
    EXPECT_EQ(CPathString::GetMida(At(L"outside/keep.txt")), 4u) << kwfw::WideToUtf8(c.link);
    EXPECT_EQ(CPathString::GetMida(At(L"outside/deep/inner.txt")), 5u) << kwfw::WideToUtf8(c.link);
  }
}

// The folder given is itself a link: the link goes, what it points at stays.
TEST_F(PathStringFiles, ARecursiveDeleteOfALinkRemovesTheLink) {
  CPathString::CrearCarpeta(At(L"target/deep"));
  Touch(L"target/deep/inner.txt", "inner");
  const std::string link = kwfw::WideToUtf8(At(L"link").GetString());
  ASSERT_EQ(symlink(kwfw::WideToUtf8(At(L"target").GetString()).c_str(), link.c_str()), 0);
  EXPECT_NE(kwplat::GetFileAttributesW(At(L"link")) & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
  EXPECT_EQ(kwplat::GetFileAttributesW(At(L"target")) & FILE_ATTRIBUTE_REPARSE_POINT, 0u);
  for (const wchar_t* given : {L"link", L"link/"}) {
    if (!CPathString::TestCarpeta(At(L"link"))) {
      ASSERT_EQ(symlink(kwfw::WideToUtf8(At(L"target").GetString()).c_str(), link.c_str()), 0);
    }
    EXPECT_NE(CPathString::EsborrarCarpeta(At(given), 1), 0) << kwfw::WideToUtf8(given);
    struct stat st {};
    EXPECT_NE(lstat(link.c_str(), &st), 0) << kwfw::WideToUtf8(given);
    EXPECT_EQ(CPathString::GetMida(At(L"target/deep/inner.txt")), 5u) << kwfw::WideToUtf8(given);
  }
}

TEST_F(PathStringFiles, DataFoldersTemporaryNamesAndFullPaths) {
  setenv("TMPDIR", kwfw::WideToUtf8(m_dir).c_str(), 1);
  CPathString temp(L"kw", 0x2B);
  EXPECT_EQ(temp, At(L"kw002B.TMP"));
  EXPECT_EQ(CPathString::GetTempPathW(0), CString(m_dir.c_str()));
  unsetenv("TMPDIR");

  // Without a documents folder configured, the data folder is under XDG_DATA_HOME
  // (each test runs in a process of its own, so GLib reads these afresh).
  setenv("XDG_CONFIG_HOME", kwfw::WideToUtf8(m_dir + L"/config").c_str(), 1);
  setenv("XDG_DATA_HOME", kwfw::WideToUtf8(m_dir + L"/data").c_str(), 1);
  CPathString::SetBaseRutaDades(L"Base/App/");
  const CString data = CPathString::GetRutaDades(1, L"Sub", nullptr, 1, 1, 0);
  EXPECT_EQ(data, At(L"data/Base/App/Sub/"));
  EXPECT_TRUE(CPathString::TestCarpeta(data));
  EXPECT_EQ(CPathString::GetFitxerDades(L"f.ini", 1, L"Sub", L"Other/"), At(L"data/Other/Sub/f.ini"));
  EXPECT_EQ(CPathString::GetRutaDades(1, nullptr, nullptr, 0, 0, 0), At(L"data/Base/App"));
  EXPECT_EQ(CPathString::GetTempFitxerDades(0x10, L"t", 1, nullptr, nullptr), At(L"data/Base/App/t0010.TMP"));
  CPathString::SetBaseRutaDades(L"");
  EXPECT_EQ(CPathString::GetBaseRutaDades(), S(L""));

  CPathString::CrearCarpeta(At(L"a"));
  EXPECT_EQ(CString(CPathString::FullPath(L"b/../c.txt", At(L"a/"))), At(L"a/c.txt"));
  EXPECT_EQ(CString(CPathString::FullPath(L"c.txt", At(L"none/"))), CString(CPathString::FullPath(L"c.txt")));
  EXPECT_EQ(CPathString::FullPath(L"/x/./y", nullptr), S(L"/x/y"));
  EXPECT_EQ(CPathString::GetWindowsDir(1), S(L"/usr/"));
  EXPECT_EQ(CPathString::GetSystemDir(0), S(L"/usr/lib"));
  EXPECT_EQ(CPathString::GetNomRutaShell(CSIDL_WINDOWS), S(L"usr"));
  EXPECT_TRUE(CPathString::GetRutaShell(CSIDL_COMMON_DOCUMENTS, 1).IsEmpty());
  EXPECT_EQ(CPathString().GetFitxer(), S(L"settings_test"));  // the running program
}

// A folder picker that answers with a fixed folder and records what it was shown.
struct Picker {
  std::wstring start;
  UINT flags = 0;
  static int Pick(HWND, const wchar_t*, UINT flags, const wchar_t* start, wchar_t* folder, int size, void* context) {
    auto* self = static_cast<Picker*>(context);
    self->start = start;
    self->flags = flags;
    const wchar_t chosen[] = L"/chosen";
    if (size < 8) return 0;
    std::copy(chosen, chosen + 8, folder);
    return 1;
  }
};

TEST(PathString, BrowseGoesToTheHandler) {
  CPathString p(L"/start/", nullptr);
  EXPECT_EQ(p.Browse(L"Title", 0), 0);  // the default picker chooses nothing
  EXPECT_EQ(p, S(L"/start/"));
  Picker picker;
  AfxSetFolderPickerHandler(&Picker::Pick, &picker);
  EXPECT_NE(p.Browse(L"Title", BIF_RETURNONLYFSDIRS), 0);
  AfxSetFolderPickerHandler(nullptr, nullptr);
  EXPECT_EQ(picker.start, L"/start");
  EXPECT_EQ(picker.flags, BIF_RETURNONLYFSDIRS | BIF_STATUSTEXT);
  EXPECT_EQ(p, S(L"/chosen/"));
}

}  // namespace
