// The profile functions on real files: the Windows reading rules, writes that keep
// every other byte, both encodings, buffers cut to fit, links written through,
// modes kept, the cache following outside changes, and two processes writing one
// file at once.
#include <sys/stat.h>
#include <sys/wait.h>
#include <csignal>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/profile.h>

#include "support/locales.h"
#include "support/tempdir.h"

namespace {

class ProfileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_path = m_dir + "/f.ini";
    m_file = kwfw::Utf8ToWide(m_path);
  }
  void WriteBytes(const std::string& bytes) const { kwtest::WriteBytes(m_path, bytes); }
  std::string Bytes() const { return kwtest::ReadBytes(m_path); }
  std::wstring Get(const wchar_t* section, const wchar_t* key, const wchar_t* dflt = L"") const {
    wchar_t buffer[256];
    const DWORD n = kwplat::GetPrivateProfileStringW(section, key, dflt, buffer, 256, m_file.c_str());
    return std::wstring(buffer, n);
  }
  // A list read as one string with its zeros, the final one left out.
  std::wstring List(const wchar_t* section) const {
    wchar_t buffer[256];
    return std::wstring(buffer, kwplat::GetPrivateProfileStringW(section, nullptr, L"", buffer, 256, m_file.c_str()));
  }
  BOOL Set(const wchar_t* section, const wchar_t* key, const wchar_t* value) const {
    return kwplat::WritePrivateProfileStringW(section, key, value, m_file.c_str());
  }

  kwtest::TempDir m_tmp{"kwlib-ini"};
  std::string m_dir = m_tmp.Path(), m_path;
  std::wstring m_file;
};

TEST_F(ProfileTest, ReadingRules) {
  WriteBytes("; comment\r\n[Sec]\r\n Key1 = value one \r\nkey1=dup\r\nquoted=\"  spaced  \"\r\nempty=\r\n"
             "[sec]\r\nother=x\r\n[Two]\r\na=1");
  EXPECT_EQ(Get(L"SEC", L"KEY1"), L"value one");  // case, whitespace, first of duplicates
  EXPECT_EQ(Get(L"Sec", L"quoted"), L"  spaced  ");
  EXPECT_EQ(Get(L"Sec", L"empty", L"d"), L"");
  EXPECT_EQ(Get(L"Sec", L"other", L"def  "), L"def");  // only the first [sec] counts; trailing blanks go
  EXPECT_EQ(Get(L"Two", L"a"), L"1");                   // the last line has no line end
  EXPECT_EQ(List(nullptr), std::wstring(L"Sec\0sec\0Two\0", 12));
  EXPECT_EQ(List(L"sec"), std::wstring(L"Key1\0key1\0quoted\0empty\0", 23));
  wchar_t buffer[64];
  DWORD n = kwplat::GetPrivateProfileSectionW(L"Two", buffer, 64, m_file.c_str());
  EXPECT_EQ(std::wstring(buffer, n), std::wstring(L"a=1\0", 4));
  n = kwplat::GetPrivateProfileSectionW(L"sec", buffer, 64, m_file.c_str());
  EXPECT_EQ(std::wstring(buffer, n), std::wstring(L"Key1=value one\0key1=dup\0quoted=\"  spaced  \"\0empty=\0", 51));

  // Cut to fit: a value to size - 1, a list to size - 2 with two zeros.
  EXPECT_EQ(kwplat::GetPrivateProfileStringW(L"Sec", L"Key1", L"", buffer, 4, m_file.c_str()), 3u);
  EXPECT_EQ(std::wstring(buffer), L"val");
  EXPECT_EQ(kwplat::GetPrivateProfileSectionNamesW(buffer, 6, m_file.c_str()), 4u);
  EXPECT_EQ(std::wstring(buffer, 6), std::wstring(L"Sec\0\0\0", 6));

  const std::wstring missing = kwfw::Utf8ToWide(m_dir + "/none.ini");
  EXPECT_EQ(kwplat::GetPrivateProfileStringW(L"a", L"b", L"dflt", buffer, 64, missing.c_str()), 4u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_NOT_FOUND);
}

// Sections and keys match by the library's case fold, whatever the locale.
TEST_F(ProfileTest, NonAsciiNamesMatchTheSameInEveryLocale) {
  struct {
    const wchar_t* made;
    const wchar_t* asked;
    bool found;
  } cases[] = {{L"Donn\u00E9es", L"DONN\u00C9ES", true},
               {L"\u03A9mega", L"\u03C9MEGA", true},
               {L"\u0424\u0430\u0439\u043B", L"\u0444\u0410\u0419\u041B", true},
               {L"Stra\u00DFe", L"STRA\u1E9EE", true},
               {L"\u0131", L"I", false},
               {L"\u0130", L"i", false}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    WriteBytes(std::string("\xFF\xFE", 2));  // UTF-16, so every name is kept
    for (const auto& c : cases) {
      ASSERT_TRUE(Set(c.made, c.made, L"v"));
      EXPECT_EQ(Get(c.asked, c.made, L"none"), c.found ? L"v" : L"none") << locale << " " << (&c - cases);
      EXPECT_EQ(Get(c.made, c.asked, L"none"), c.found ? L"v" : L"none") << locale << " " << (&c - cases);
    }
  }
}

TEST_F(ProfileTest, WritesKeepEveryOtherByte) {
  const std::string before = "; keep me\n[A]\nx = 1\n\n[B]\ny=2";
  WriteBytes(before);
  EXPECT_TRUE(Set(L"a", L"X", L"one"));  // replaces the line in place, line end kept
  EXPECT_EQ(Bytes(), "; keep me\n[A]\nX=one\n\n[B]\ny=2");
  EXPECT_TRUE(Set(L"A", L"z", L"3"));  // after the section's last line, before the blank one
  EXPECT_EQ(Bytes(), "; keep me\n[A]\nX=one\nz=3\r\n\n[B]\ny=2");
  EXPECT_TRUE(Set(L"C", L"k", L"v"));  // a new section at the end; the last line gets its line end
  EXPECT_EQ(Bytes(), "; keep me\n[A]\nX=one\nz=3\r\n\n[B]\ny=2\r\n[C]\r\nk=v\r\n");
  EXPECT_TRUE(Set(L"A", L"x", nullptr));
  EXPECT_TRUE(Set(L"B", nullptr, nullptr));
  EXPECT_EQ(Bytes(), "; keep me\n[A]\nz=3\r\n\n[C]\r\nk=v\r\n");
  const wchar_t lines[] = L"p=1\0q=2\0";
  EXPECT_TRUE(kwplat::WritePrivateProfileSectionW(L"a", lines, m_file.c_str()));
  EXPECT_EQ(Bytes(), "; keep me\n[A]\np=1\r\nq=2\r\n\n[C]\r\nk=v\r\n");
  EXPECT_TRUE(kwplat::WritePrivateProfileSectionW(L"A", nullptr, m_file.c_str()));
  EXPECT_EQ(Bytes(), "; keep me\n[C]\r\nk=v\r\n");
  EXPECT_FALSE(Set(nullptr, L"k", L"v"));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_NOT_FOUND);  // as on Windows: see profileresults_test.cpp

  // A new file is Windows-1252.
  std::filesystem::remove(m_path);
  EXPECT_TRUE(Set(L"S", L"k", L"caf\u00E9 \u4E2D"));
  EXPECT_EQ(Bytes(), "[S]\r\nk=caf\xE9 ?\r\n");
  // Names lose their surrounding blanks, in writes as in reads.
  EXPECT_TRUE(Set(L" T ", L" k ", L"v"));
  EXPECT_EQ(Get(L"t ", L" K"), L"v");
  EXPECT_EQ(Bytes(), "[S]\r\nk=caf\xE9 ?\r\n[T]\r\nk=v\r\n");
}

TEST_F(ProfileTest, Utf16Files) {
  const auto utf16 = [](const std::wstring& text) {
    std::string bytes("\xFF\xFE", 2);
    for (const char16_t u : kwfw::WideToUtf16(text)) bytes += {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
    return bytes;
  };
  WriteBytes(utf16(L"[\u00C9t\u00E9]\r\nnom=\u4E2D\U0001F600\r\n"));
  EXPECT_EQ(Get(L"\u00E9T\u00C9", L"NOM"), L"\u4E2D\U0001F600");
  EXPECT_TRUE(Set(L"\u00C9t\u00E9", L"b", L"\u00E0"));
  EXPECT_EQ(Bytes(), utf16(L"[\u00C9t\u00E9]\r\nnom=\u4E2D\U0001F600\r\nb=\u00E0\r\n"));
}

TEST_F(ProfileTest, LinksModesAndOutsideChanges) {
  WriteBytes("[s]\r\nk=1\r\n");
  chmod(m_path.c_str(), 0640);
  const std::string link = m_dir + "/link.ini";
  ASSERT_EQ(symlink("f.ini", link.c_str()), 0);
  EXPECT_TRUE(kwplat::WritePrivateProfileStringW(L"s", L"k", L"2", kwfw::Utf8ToWide(link).c_str()));
  struct stat st {};
  ASSERT_EQ(lstat(link.c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));  // still a link
  ASSERT_EQ(stat(m_path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(Get(L"s", L"k"), L"2");

  // The access list comes along with the new file.
  ASSERT_EQ(std::system(("setfacl -m u:nobody:r " + m_path).c_str()), 0);
  EXPECT_TRUE(Set(L"s", L"k", L"acl"));
  EXPECT_EQ(std::system(("getfacl -c " + m_path + " | grep -qx 'user:nobody:r--'").c_str()), 0);

  // Another program changes the file: the next read sees it, cache or not.
  WriteBytes("[s]\r\nk=3\r\n");
  EXPECT_EQ(Get(L"s", L"k"), L"3");
  WriteBytes("[s]\r\nk=44\r\n");
  EXPECT_EQ(Get(L"s", L"k"), L"44");
  // Replaced by a rename, as careful writers do: a new inode under the same name.
  std::ofstream(m_dir + "/new.ini", std::ios::binary) << "[s]\r\nk=5\r\n";
  ASSERT_EQ(std::rename((m_dir + "/new.ini").c_str(), m_path.c_str()), 0);
  EXPECT_EQ(Get(L"s", L"k"), L"5");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(L"s", L"k"), L"5");  // and served from the cache again
  std::remove(m_path.c_str());
  EXPECT_EQ(Get(L"s", L"k", L"gone"), L"gone");
}

TEST_F(ProfileTest, TwoProcessesWritingDifferentKeysLoseNothing) {
  constexpr int kKeys = 500;
  std::vector<pid_t> children;
  for (int writer = 0; writer < 2; ++writer) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      for (int k = 0; k < kKeys; ++k) {
        const std::wstring key = L"w" + std::to_wstring(writer) + L"k" + std::to_wstring(k);
        if (!kwplat::WritePrivateProfileStringW(L"keys", key.c_str(), L"v", m_file.c_str())) _exit(1);
      }
      _exit(0);
    }
    children.push_back(pid);
  }
  for (const pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  std::vector<wchar_t> buffer(65536);
  const DWORD n = kwplat::GetPrivateProfileStringW(L"keys", nullptr, L"", buffer.data(), 65536, m_file.c_str());
  int count = 0;
  for (DWORD i = 0; i < n; ++i) count += buffer[i] == 0;
  EXPECT_EQ(count, 2 * kKeys);
}

}  // namespace

namespace {

// A writer killed at random moments, fifty times: the file always reads, every key
// of an earlier writer is still there, each writer's keys are a gapless run, and
// no temporary file outlives the next write.
TEST_F(ProfileTest, KilledWritersNeverTearTheFile) {
  constexpr int kRounds = 50;
  std::vector<int> written(kRounds, 0);
  const auto count = [&](int round) {
    int n = 0;
    while (Get(L"keys", (L"r" + std::to_wstring(round) + L"k" + std::to_wstring(n)).c_str(), L"") == L"v") ++n;
    return n;
  };
  unsigned seed = 17;
  for (int round = 0; round < kRounds; ++round) {
    // The writer tells of its first completed write, so the kill always falls
    // after it, however slow the machine.
    int first[2];
    ASSERT_EQ(pipe(first), 0);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      close(first[0]);
      for (int k = 0;; ++k) {
        const std::wstring key = L"r" + std::to_wstring(round) + L"k" + std::to_wstring(k);
        kwplat::WritePrivateProfileStringW(L"keys", key.c_str(), L"v", m_file.c_str());
        if (k == 0) {
          (void)!write(first[1], "w", 1);
          close(first[1]);
        }
      }
    }
    close(first[1]);
    char byte = 0;
    ASSERT_EQ(read(first[0], &byte, 1), 1) << "round " << round << ": the writer died before its first write";
    close(first[0]);
    usleep(rand_r(&seed) % 15000);
    kill(pid, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    written[static_cast<std::size_t>(round)] = count(round);
    ASSERT_GE(written[static_cast<std::size_t>(round)], 1) << "round " << round << ": a reported write was lost";
    for (int earlier = 0; earlier < round; ++earlier) {
      ASSERT_EQ(count(earlier), written[static_cast<std::size_t>(earlier)]) << "round " << round;
    }
  }
  // The whole key list agrees with what the rounds left: no gaps, no duplicates.
  std::vector<wchar_t> buffer(1 << 20);
  const DWORD n = kwplat::GetPrivateProfileStringW(L"keys", nullptr, L"", buffer.data(), 1 << 20, m_file.c_str());
  int keys = 0;
  for (DWORD i = 0; i < n; ++i) keys += buffer[i] == 0;
  int total = 0;
  for (const int w : written) total += w;
  EXPECT_EQ(keys, total);
  EXPECT_GE(total, kRounds);
  EXPECT_TRUE(Set(L"after", L"k", L"v"));
  for (const auto& entry : std::filesystem::directory_iterator(m_dir)) {
    EXPECT_EQ(entry.path().filename().string().find("kwtmp"), std::string::npos) << "left behind: " << entry.path();
  }
}

}  // namespace
