// CSharingManager on real components: access rights on POSIX ACLs (an account's
// entry replaced rather than repeated, Everyone, other accounts' inheritable
// entries kept, the fixed messages of failing steps) and folders shared through
// Samba user shares with a private smb.conf.
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/security.h>
#include <kwlib63/platform/netshare.h>
#include <kwlib63/system/sharingmanager.h>

#include "support/eventually.h"
#include "support/locales.h"
#include "support/privatesamba.h"
#include "support/shell.h"

extern char** environ;

namespace {


int Add(const std::string& path, const wchar_t* account, unsigned long mask, int everyone) {
  std::wstring file = kwfw::Utf8ToWide(path);
  std::wstring name = account != nullptr ? account : L"";
  return AfxAddAccessRights(file.data(), account != nullptr ? name.data() : nullptr, mask, everyone);
}

class SharingManagerTest : public ::testing::Test {
 protected:
  kwtest::TempDir m_dir{"kwlib-rights"};
};

TEST_F(SharingManagerTest, AnAccountsEntryIsReplacedNotRepeated) {
  const std::string file = m_dir.At("f.txt");
  std::ofstream(file) << "x";
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  ASSERT_EQ(std::system(("setfacl -m u:nobody:r-- '" + file + "'").c_str()), 0);
  EXPECT_EQ(Add(file, L"nobody", GENERIC_ALL, FALSE), 1);
  EXPECT_EQ(kwtest::Facl(file), "user::rw-\nuser:nobody:rwx\ngroup::r--\nmask::rwx\nother::---\n\n");
  EXPECT_EQ(Add(file, nullptr, GENERIC_READ | GENERIC_EXECUTE, TRUE), 1);  // Everyone
  EXPECT_EQ(kwtest::Facl(file), "user::rw-\nuser:nobody:rwx\ngroup::r--\nmask::rwx\nother::r-x\n\n");
}

TEST_F(SharingManagerTest, AFoldersInheritableEntriesOfOthersStay) {
  const std::string folder = m_dir.At("hot");
  ASSERT_EQ(mkdir(folder.c_str(), 0750), 0);
  ASSERT_EQ(std::system(("setfacl -d -m u:nobody:r-x,g:adm:r-- '" + folder + "'").c_str()), 0);
  // The account's own entries, inheritable ones included, are replaced by the new
  // one (they are explicit entries); the other accounts' stay.
  EXPECT_EQ(Add(folder, L"GUEST", FILE_GENERIC_READ, FALSE), 1);  // Samba's guest is nobody
  EXPECT_EQ(kwtest::Facl(folder),
            "user::rwx\nuser:nobody:r--\ngroup::r-x\nmask::r-x\nother::---\ndefault:user::rwx\n"
            "default:group::r-x\ndefault:group:adm:r--\ndefault:mask::r-x\ndefault:other::---\n\n");
}

TEST_F(SharingManagerTest, FailingStepsPrintTheirMessages) {
  const std::string file = m_dir.At("f.txt");
  std::ofstream(file) << "x";
  testing::internal::CaptureStdout();
  EXPECT_EQ(Add(file, L"no-such-account-kw", GENERIC_ALL, FALSE), 0);
  EXPECT_EQ(Add(m_dir.At("missing"), L"nobody", GENERIC_ALL, FALSE), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "LookupAccountName() failed. Error 1332\nGetFileSecurity() failed. Error 2\n");
}

std::vector<std::wstring> ShareNames() {
  LPBYTE buffer = nullptr;
  DWORD read = 0, total = 0;
  std::vector<std::wstring> names;
  if (kwplat::NetShareEnum(nullptr, 0, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr) != NERR_Success) return names;
  for (DWORD i = 0; i < read; ++i) names.emplace_back(reinterpret_cast<SHARE_INFO_0*>(buffer)[i].shi0_netname);
  kwplat::NetApiBufferFree(buffer);
  std::sort(names.begin(), names.end());  // Samba lists them in its folder's order
  return names;
}

TEST(SharingManager, SharingFoldersOnSamba) {
  kwtest::PrivateSamba samba;
  const kwtest::TempDir& dir = samba.Dir();
  for (const char* folder : {"one", "one/Data", "two", "two/Data"}) ASSERT_EQ(mkdir(dir.At(folder).c_str(), 0750), 0);
  const std::wstring first = kwfw::Utf8ToWide(dir.At("one/Data")), second = kwfw::Utf8ToWide(dir.At("two/Data"));

  EXPECT_EQ(AfxShareFolder(first.c_str()), 0);
  EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"DATA"}));
  EXPECT_NE(samba.Record("data").find("comment=Hot Folder"), std::string::npos);
  EXPECT_NE(kwtest::Facl(dir.At("one/Data")).find("other::rwx"), std::string::npos);  // Everyone, full access
  EXPECT_EQ(AfxShareFolder((first + L"/").c_str()), 0);  // already shared: the same folder
  EXPECT_EQ(AfxShareFolder(second.c_str()), 0);
  EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"DATA", L"DATA_1"}));

  const std::wstring file = kwfw::Utf8ToWide(dir.At("smb.conf"));
  EXPECT_EQ(AfxShareFolder(file.c_str()), -3);
  EXPECT_EQ(AfxUnShareFolder(file.c_str()), -3);
  EXPECT_EQ(AfxUnShareFolder(kwfw::Utf8ToWide(dir.At("one")).c_str()), 0);  // not shared
  EXPECT_EQ(AfxUnShareFolder(first.c_str()), 0);
  EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"DATA_1"}));
}

// Shares that smb.conf defines are shares too: a folder it serves is already
// shared, and its names are taken.
TEST(SharingManager, SharesOfTheConfigurationCount) {
  kwtest::PrivateSamba samba;
  const kwtest::TempDir& dir = samba.Dir();
  for (const char* folder : {"served", "elsewhere", "elsewhere/Photos"}) ASSERT_EQ(mkdir(dir.At(folder).c_str(), 0750), 0);
  samba.AddConfiguredShare("photos", dir.At("served"));

  EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"photos"}));
  EXPECT_EQ(AfxShareFolder(kwfw::Utf8ToWide(dir.At("served")).c_str()), 0);
  EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"photos"})) << "a second share of a served folder";
  EXPECT_EQ(samba.Record("served"), "");
  EXPECT_EQ(AfxShareFolder(kwfw::Utf8ToWide(dir.At("elsewhere/Photos")).c_str()), 0);
  EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"PHOTOS_1", L"photos"})) << "the configuration's name is taken";

  LPBYTE buffer = nullptr;
  ASSERT_EQ(kwplat::NetShareGetInfo(nullptr, const_cast<LPWSTR>(L"PHOTOS"), 2, &buffer), NERR_Success);
  EXPECT_EQ(std::wstring(reinterpret_cast<SHARE_INFO_2*>(buffer)->shi2_path), kwfw::Utf8ToWide(dir.At("served")));
  kwplat::NetApiBufferFree(buffer);
  // The administrator's share stays; the library removes only its user shares.
  EXPECT_EQ(kwplat::NetShareDel(nullptr, const_cast<LPWSTR>(L"photos"), 0), static_cast<NET_API_STATUS>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(AfxUnShareFolder(kwfw::Utf8ToWide(dir.At("elsewhere/Photos")).c_str()), 0);
  EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"photos"}));
}

// A shared folder is found by its path without regard to case, by the library's
// fold, whatever the locale.
TEST(SharingManager, FolderPathsMatchTheSameInEveryLocale) {
  kwtest::PrivateSamba samba;
  const kwtest::TempDir& dir = samba.Dir();
  for (const char* folder : {"\xC3\x89t\xC3\xA9", "\xC3\x89T\xC3\x89"}) ASSERT_EQ(mkdir(dir.At(folder).c_str(), 0750), 0);
  const std::wstring made = kwfw::Utf8ToWide(dir.At("\xC3\x89t\xC3\xA9"));
  const std::wstring asked = kwfw::Utf8ToWide(dir.At("\xC3\x89T\xC3\x89"));
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    EXPECT_EQ(AfxShareFolder(made.c_str()), 0) << locale;
    EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"\u00C9T\u00C9"})) << locale;
    EXPECT_EQ(AfxShareFolder(asked.c_str()), 0) << locale;  // the same folder: no second share
    EXPECT_EQ(ShareNames(), (std::vector<std::wstring>{L"\u00C9T\u00C9"})) << locale;
    EXPECT_EQ(AfxUnShareFolder(asked.c_str()), 0) << locale;
    EXPECT_EQ(ShareNames(), std::vector<std::wstring>()) << locale;
  }
}

TEST(SharingManager, ASambaServerOffersTheSharesToGuests) {
  if (geteuid() != 0) GTEST_SKIP() << "a private smbd needs root; run the tests as root to include this one";
  kwtest::PrivateSamba samba;
  const kwtest::TempDir& dir = samba.Dir();
  const int port = 40000 + static_cast<int>(getpid() % 20000);
  samba.Configure(10, true, port);
  // The guest (nobody) must be able to reach and read the folders.
  ASSERT_EQ(chmod(dir.Path().c_str(), 0755), 0);
  for (const char* folder : {"one", "one/Data", "two", "two/Data"}) ASSERT_EQ(mkdir(dir.At(folder).c_str(), 0755), 0);
  std::ofstream(dir.At("one/Data/file.txt")) << "hello";
  ASSERT_EQ(AfxShareFolder(kwfw::Utf8ToWide(dir.At("one/Data")).c_str()), 0);
  ASSERT_EQ(AfxShareFolder(kwfw::Utf8ToWide(dir.At("two/Data")).c_str()), 0);

  const std::string conf = dir.At("smb.conf");
  pid_t smbd = 0;
  const char* const argv[] = {"/usr/sbin/smbd", "-F", "--no-process-group", "-s", conf.c_str(), nullptr};
  // In a process group of its own: smbd signals its whole group when it stops.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  ASSERT_EQ(posix_spawn(&smbd, argv[0], nullptr, &attributes, const_cast<char* const*>(argv), environ), 0);
  posix_spawnattr_destroy(&attributes);
  const std::string client = "smbclient -N -p " + std::to_string(port) + " -s " + conf + " ";
  std::string list;
  kwtest::Eventually([&] {
    list = kwtest::Output(client + "-L 127.0.0.1 2>&1");
    return list.find("DATA_1") != std::string::npos;
  });
  const std::string got = dir.At("got.txt");
  const std::string read = kwtest::Output(client + "//127.0.0.1/DATA -c 'get file.txt " + got + "' 2>&1");
  // Stopped by process id: smbd, and the RPC helper it started.
  kill(smbd, SIGTERM);
  waitpid(smbd, nullptr, 0);
  std::ifstream helper(dir.At("pid/samba-dcerpcd.pid"));
  if (pid_t pid = 0; helper >> pid && pid > 0) kill(pid, SIGTERM);

  EXPECT_NE(list.find("DATA            Disk      Hot Folder"), std::string::npos) << list;
  EXPECT_NE(list.find("DATA_1          Disk      Hot Folder"), std::string::npos) << list;
  std::ifstream file(got);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "hello") << read;
}

}  // namespace
