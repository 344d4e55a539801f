// Network shares on Samba user shares with a private smb.conf: a share as the
// record asks, Windows' refusal of a name in use whatever its case, folders that
// are not, the list, removal, guests as Samba allows them, and a machine where
// sharing is disabled or full, names at the edges, shares made outside the
// library, and two processes adding one name at once.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/netshare.h>

#include "support/locales.h"
#include "support/privatesamba.h"
#include "support/shell.h"

namespace {

using namespace kwplat;

class NetShareTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(mkdir(m_dir.At("Data").c_str(), 0755), 0); }
  void Configure(int maximum, bool guests) { m_samba.Configure(maximum, guests); }
  NET_API_STATUS Add(const wchar_t* name, const std::string& path) {
    std::wstring netname = name, folder = kwfw::Utf8ToWide(path), remark = L"Hot Folder", password;
    SHARE_INFO_2 info{netname.data(), STYPE_DISKTREE, remark.data(), 23, MAX_PREFERRED_LENGTH, 0, folder.data(),
                      password.data()};
    DWORD error = 99;
    return NetShareAdd(nullptr, 2, reinterpret_cast<LPBYTE>(&info), &error);
  }
  std::string UsershareFile(const char* name) { return m_samba.Record(name); }
  // The shares NetShareEnum lists, or its error as "error N".
  std::vector<std::string> Listed() {
    LPBYTE buffer = nullptr;
    DWORD read = 0, total = 0;
    const NET_API_STATUS status = NetShareEnum(nullptr, 0, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr);
    if (status != NERR_Success) return {"error " + std::to_string(status)};
    std::vector<std::string> names;
    for (DWORD i = 0; i < read; ++i) names.push_back(kwfw::WideToUtf8(reinterpret_cast<SHARE_INFO_0*>(buffer)[i].shi0_netname));
    NetApiBufferFree(buffer);
    return names;
  }

  kwtest::PrivateSamba m_samba;
  const kwtest::TempDir& m_dir = m_samba.Dir();
};

TEST_F(NetShareTest, ShareListAndRemove) {
  ASSERT_EQ(Add(L"DATA", m_dir.At("Data")), NERR_Success);
  const std::string record = UsershareFile("data");
  EXPECT_NE(record.find("comment=Hot Folder"), std::string::npos) << record;
  EXPECT_NE(record.find("usershare_acl=S-1-1-0:F"), std::string::npos) << record;
  EXPECT_NE(record.find("guest_ok=y"), std::string::npos) << record;

  EXPECT_EQ(Add(L"data", m_dir.At("Data")), NERR_DuplicateShare);  // Samba would have replaced it
  EXPECT_EQ(Add(L"FILE", m_dir.At("smb.conf")), NERR_UnknownDevDir);

  wchar_t name[] = L"Data";
  LPBYTE buffer = nullptr;
  ASSERT_EQ(NetShareGetInfo(nullptr, name, 2, &buffer), NERR_Success);
  const auto* info = reinterpret_cast<SHARE_INFO_2*>(buffer);
  EXPECT_STREQ(info->shi2_netname, L"DATA");
  EXPECT_STREQ(info->shi2_remark, L"Hot Folder");
  EXPECT_EQ(kwfw::WideToUtf8(info->shi2_path), m_dir.At("Data"));
  EXPECT_EQ(info->shi2_max_uses, MAX_PREFERRED_LENGTH);
  NetApiBufferFree(buffer);

  DWORD read = 0, total = 0;
  ASSERT_EQ(NetShareEnum(nullptr, 0, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr), NERR_Success);
  ASSERT_EQ(read, 1u);
  EXPECT_STREQ(reinterpret_cast<SHARE_INFO_0*>(buffer)->shi0_netname, L"DATA");
  NetApiBufferFree(buffer);

  EXPECT_EQ(NetShareDel(nullptr, name, 0), NERR_Success);
  EXPECT_EQ(NetShareGetInfo(nullptr, name, 0, &buffer), NERR_NetNameNotFound);
  EXPECT_EQ(NetShareDel(nullptr, name, 0), NERR_NetNameNotFound);
  wchar_t remote[] = L"\\\\elsewhere";
  EXPECT_EQ(NetShareGetInfo(remote, name, 0, &buffer), ERROR_BAD_NETPATH);
  EXPECT_EQ(NetShareGetInfo(nullptr, name, 1, &buffer), ERROR_INVALID_LEVEL);
}

// Share names match by the library's case fold, whatever the locale.
TEST_F(NetShareTest, NonAsciiNamesMatchTheSameInEveryLocale) {
  struct {
    const wchar_t* made;
    const wchar_t* asked;
  } cases[] = {{L"Donn\u00E9es", L"DONN\u00C9ES"},
               {L"\u03A9mega", L"\u03C9MEGA"},
               {L"\u0424\u0430\u0439\u043B", L"\u0444\u0410\u0419\u041B"}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    for (const auto& c : cases) {
      ASSERT_EQ(Add(c.made, m_dir.At("Data")), NERR_Success) << locale << " " << (&c - cases);
      EXPECT_EQ(Add(c.asked, m_dir.At("Data")), NERR_DuplicateShare) << locale << " " << (&c - cases);
      std::wstring asked = c.asked;
      LPBYTE buffer = nullptr;
      ASSERT_EQ(NetShareGetInfo(nullptr, asked.data(), 0, &buffer), NERR_Success) << locale << " " << (&c - cases);
      EXPECT_STREQ(reinterpret_cast<SHARE_INFO_0*>(buffer)->shi0_netname, c.made);
      NetApiBufferFree(buffer);
      EXPECT_EQ(NetShareDel(nullptr, asked.data(), 0), NERR_Success) << locale << " " << (&c - cases);
    }
  }
}

// Names that differ by this library's fold but that Samba stores under one name:
// the second would replace the first share, so it is refused.
TEST_F(NetShareTest, NamesSambaTakesForOneNeverReplaceAShare) {
  ASSERT_EQ(mkdir(m_dir.At("Other").c_str(), 0755), 0);
  for (const auto& [made, asked] : {std::pair{L"ix", L"\u0130x"}, std::pair{L"kelvin", L"\u212Aelvin"},
                                    std::pair{L"sigma\u03C3", L"SIGMA\u03C2"}}) {
    SCOPED_TRACE(kwfw::WideToUtf8(asked));
    ASSERT_EQ(Add(made, m_dir.At("Data")), NERR_Success);
    const NET_API_STATUS second = Add(asked, m_dir.At("Other"));
    std::wstring name = made;
    LPBYTE buffer = nullptr;
    ASSERT_EQ(NetShareGetInfo(nullptr, name.data(), 2, &buffer), NERR_Success);
    EXPECT_EQ(kwfw::WideToUtf8(reinterpret_cast<SHARE_INFO_2*>(buffer)->shi2_path), m_dir.At("Data"))
        << "the first share was replaced; the second add gave " << second;
    NetApiBufferFree(buffer);
    EXPECT_EQ(NetShareDel(nullptr, name.data(), 0), NERR_Success);
    if (second == NERR_Success) {
      std::wstring other = asked;
      NetShareDel(nullptr, other.data(), 0);
    }
  }
  // A pattern would make Samba's own match find other shares; such characters,
  // and the others either side refuses, are not names.
  ASSERT_EQ(Add(L"Data", m_dir.At("Data")), NERR_Success);
  for (const wchar_t* bad : {L"D*", L"Dat?", L"a/b", L"a\\b", L"[x]", L"a%b", L"a:b", L"a,b"}) {
    EXPECT_EQ(Add(bad, m_dir.At("Other")), ERROR_INVALID_NAME) << kwfw::WideToUtf8(bad);
  }
  std::wstring data = L"Data";
  LPBYTE buffer = nullptr;
  ASSERT_EQ(NetShareGetInfo(nullptr, data.data(), 2, &buffer), NERR_Success);
  EXPECT_EQ(kwfw::WideToUtf8(reinterpret_cast<SHARE_INFO_2*>(buffer)->shi2_path), m_dir.At("Data"));
  NetApiBufferFree(buffer);
}

TEST_F(NetShareTest, GuestsDisabledAndFullMachines) {
  Configure(1, false);
  ASSERT_EQ(Add(L"ONE", m_dir.At("Data")), NERR_Success);
  EXPECT_NE(UsershareFile("one").find("guest_ok=n"), std::string::npos);  // Samba refuses guests here
  EXPECT_EQ(Add(L"TWO", m_dir.At("Data")), ERROR_TOO_MANY_NAMES);
  Configure(0, true);
  EXPECT_EQ(Add(L"THREE", m_dir.At("Data")), NERR_ServerNotStarted);
  // A configuration whose usershare folder is not there.
  std::ofstream(m_dir.At("smb.conf")) << "[global]\nusershare path = " << m_dir.At("none") << "\n";
  LPBYTE buffer = nullptr;
  DWORD read = 0, total = 0;
  EXPECT_EQ(NetShareEnum(nullptr, 2, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr), NERR_ServerNotStarted);
  if (buffer != nullptr) NetApiBufferFree(buffer);
}

// What each name at the edges gives, and that a name taken can be found, is
// refused a second time and removed, under that same name.
TEST_F(NetShareTest, NamesAtTheEdges) {
  // Windows counts UTF-16 units: a character outside the basic plane is two.
  const std::wstring emoji40(40, L'\U0001F600'), emoji41(41, L'\U0001F600');
  struct {
    std::wstring name;
    NET_API_STATUS added;
  } cases[] = {
      // control characters: a line feed would leave a share no call can reach
      {L"a\nb", ERROR_INVALID_NAME},
      {L"tab\there", ERROR_INVALID_NAME},
      {L"c\x01x", ERROR_INVALID_NAME},
      {L"d\x7F", ERROR_INVALID_NAME},
      {L"e\x85", ERROR_INVALID_NAME},
      // at most 80 UTF-16 units
      {std::wstring(300, L'q'), ERROR_INVALID_NAME},
      {std::wstring(81, L'm'), ERROR_INVALID_NAME},
      {emoji41, ERROR_INVALID_NAME},
      {std::wstring(80, L'n'), NERR_Success},
      {emoji40, NERR_Success},
      // names Samba keeps for itself
      {L".", ERROR_INVALID_NAME},
      {L"..", ERROR_INVALID_NAME},
      {L"global", ERROR_INVALID_NAME},
      {L"GLOBAL", ERROR_INVALID_NAME},
      {L"homes", ERROR_INVALID_NAME},
      {L"Printers", ERROR_INVALID_NAME},
      {L"IPC$", NERR_DuplicateShare},
      {L"ipc$", NERR_DuplicateShare},
      // names like the command's options are names
      {L"-l", NERR_Success},
      {L"-h", NERR_Success},
      {L"-x", NERR_Success},
      {L"-d1", NERR_Success},
      {L"--long", NERR_Success},
      {L"-", NERR_Success},
      {L"--", NERR_Success},
      {L"a$", NERR_Success}};
  for (const auto& c : cases) {
    const std::string shown = kwfw::WideToUtf8(c.name.size() > 20 ? c.name.substr(0, 8) + L"...(" +
                                                                         std::to_wstring(c.name.size()) + L")"
                                                                   : c.name);
    const NET_API_STATUS added = Add(c.name.c_str(), m_dir.At("Data"));
    EXPECT_EQ(added, c.added) << shown;
    if (added == NERR_Success) {
      std::wstring name = c.name;
      LPBYTE buffer = nullptr;
      EXPECT_EQ(NetShareGetInfo(nullptr, name.data(), 0, &buffer), NERR_Success) << shown;
      if (buffer != nullptr) {
        EXPECT_EQ(reinterpret_cast<SHARE_INFO_0*>(buffer)->shi0_netname, c.name) << shown;
      }
      NetApiBufferFree(buffer);
      EXPECT_EQ(Add(c.name.c_str(), m_dir.At("Data")), NERR_DuplicateShare) << shown;
      EXPECT_EQ(NetShareDel(nullptr, name.data(), 0), NERR_Success) << shown;
    }
    EXPECT_EQ(Listed(), std::vector<std::string>{}) << shown;
    std::filesystem::remove_all(m_dir.At("usershares"));  // what a failed case left, so the next starts clean
    ASSERT_EQ(mkdir(m_dir.At("usershares").c_str(), 01770), 0);
  }
}

// User shares with control characters in their names, made with Samba's own tool:
// one with a line feed Samba cannot read back, and others it can. The list
// gives every share but the unreadable one, whichever order Samba reads them in.
TEST_F(NetShareTest, SharesWithStrangeNamesMadeOutsideTheLibrary) {
  m_samba.AddConfiguredShare("Conf", m_dir.At("Data"));
  auto netAdd = [this](const char* printfName) {
    return kwtest::Output("net -s '" + m_dir.At("smb.conf") + "' usershare add -- \"$(printf '" + printfName +
                          "')\" '" + m_dir.At("Data") + "' 2>&1; echo $?");
  };
  ASSERT_EQ(netAdd("a\\nb"), "0\n");
  EXPECT_EQ(Listed(), std::vector<std::string>{"Conf"});  // the unreadable share is the only user share
  ASSERT_EQ(netAdd("c\\001d"), "0\n");
  ASSERT_EQ(netAdd("t\\tb"), "0\n");
  ASSERT_EQ(Add(L"Data", m_dir.At("Data")), NERR_Success);
  std::vector<std::string> listed = Listed();
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(listed, (std::vector<std::string>{"Conf", "Data", "c\001d", "t\tb"}));
}

// Two processes adding one name at once, each to its own folder, round after
// round: one share is made, the other add is refused, and the share keeps the
// folder of the add that succeeded. A pipe releases both children together.
TEST_F(NetShareTest, TwoProcessesAddingOneNameMakeOneShare) {
  ASSERT_EQ(mkdir(m_dir.At("Other").c_str(), 0755), 0);
  const std::string folders[2] = {m_dir.At("Data"), m_dir.At("Other")};
  for (int round = 0; round < 12; ++round) {
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    pid_t children[2];
    for (int which = 0; which < 2; ++which) {
      children[which] = fork();
      ASSERT_GE(children[which], 0);
      if (children[which] == 0) {
        close(gate[1]);
        char byte = 0;
        (void)!read(gate[0], &byte, 1);  // returns when the parent closes its end
        const NET_API_STATUS added = Add(L"Same", folders[which]);
        _exit(added == NERR_Success ? 0 : added == NERR_DuplicateShare ? 1 : 2);
      }
    }
    close(gate[0]);
    close(gate[1]);
    int codes[2] = {-1, -1};
    for (int which = 0; which < 2; ++which) {
      int status = 0;
      ASSERT_EQ(waitpid(children[which], &status, 0), children[which]);
      codes[which] = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    ASSERT_TRUE((codes[0] == 0 && codes[1] == 1) || (codes[0] == 1 && codes[1] == 0)) << "round " << round << ": results " << codes[0] << " and " << codes[1];
    std::wstring name = L"Same";
    LPBYTE buffer = nullptr;
    ASSERT_EQ(NetShareGetInfo(nullptr, name.data(), 2, &buffer), NERR_Success) << "round " << round;
    EXPECT_EQ(kwfw::WideToUtf8(reinterpret_cast<SHARE_INFO_2*>(buffer)->shi2_path), folders[codes[0] == 0 ? 0 : 1])
        << "round " << round;
    NetApiBufferFree(buffer);
    ASSERT_EQ(NetShareDel(nullptr, name.data(), 0), NERR_Success) << "round " << round;
  }
}

}  // namespace
