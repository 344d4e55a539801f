// The service calls against a real systemd user manager of the test's own.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/memory.h>
#include <kwlib63/platform/service.h>

#include "support/eventually.h"
#include "support/fakeclock.h"
#include "support/scopedenv.h"
#include "support/shell.h"
#include "support/usermanager.h"

using namespace kwplat;

namespace {

class Service : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "a private user manager needs root (a mount namespace and cgroups)";
    m_manager = std::make_unique<kwtest::UserManager>();
    m_scm = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    ASSERT_NE(m_scm, nullptr) << GetLastError();
  }
  void TearDown() override {
    if (m_scm != nullptr) CloseServiceHandle(m_scm);
  }

  SC_HANDLE Open(const wchar_t* name, DWORD access = SERVICE_ALL_ACCESS) {
    SC_HANDLE service = OpenServiceW(m_scm, name, access);
    EXPECT_NE(service, nullptr) << GetLastError();
    return service;
  }
  static SERVICE_STATUS_PROCESS Status(SC_HANDLE service) {
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    EXPECT_TRUE(QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&status),
                                     sizeof status, &needed))
        << GetLastError();
    return status;
  }

  std::unique_ptr<kwtest::UserManager> m_manager;
  SC_HANDLE m_scm = nullptr;
};

TEST_F(Service, OpeningAndStatusOfAStoppedService) {
  EXPECT_EQ(OpenServiceW(m_scm, L"kwnothere", SERVICE_ALL_ACCESS), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_DOES_NOT_EXIST);
  EXPECT_EQ(OpenServiceW(m_scm, L"bad/name", SERVICE_ALL_ACCESS), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
  EXPECT_EQ(OpenSCManagerW(L"otherhost", nullptr, SC_MANAGER_ALL_ACCESS), nullptr);
  EXPECT_EQ(GetLastError(), RPC_S_SERVER_UNAVAILABLE);

  SC_HANDLE service = Open(L"kwsimple");
  const SERVICE_STATUS_PROCESS status = Status(service);
  EXPECT_EQ(status.dwCurrentState, SERVICE_STOPPED);
  EXPECT_EQ(status.dwCheckPoint, 0u);
  EXPECT_EQ(status.dwWaitHint, 0u);
  EXPECT_EQ(status.dwProcessId, 0u);
  BYTE small[35];
  DWORD needed = 0;
  EXPECT_FALSE(QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, small, sizeof small, &needed));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(needed, 36u);
  EXPECT_FALSE(QueryServiceStatusEx(service, static_cast<SC_STATUS_TYPE>(1), small, sizeof small, &needed));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_LEVEL);
  CloseServiceHandle(service);

  // Each call needs its right.
  SC_HANDLE statusOnly = Open(L"kwsimple.service", SERVICE_QUERY_STATUS);
  EXPECT_FALSE(StartServiceW(statusOnly, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  CloseServiceHandle(statusOnly);
  EXPECT_FALSE(CloseServiceHandle(nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

  // A manager that does not answer.
  ServiceSetBusAddress(L"unix:path=/nonexistent/kwlib63-bus");
  EXPECT_EQ(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS), nullptr);
  EXPECT_EQ(GetLastError(), RPC_S_SERVER_UNAVAILABLE);
}

// "system" (the default) and "user" name the buses of those managers; anything
// else is an address.
TEST_F(Service, TheChoiceNamesTheSystemOrTheUserBusOrGivesAnAddress) {
  const char* manager = m_manager->Bus().c_str();
  const char* none = "unix:path=/nonexistent/kwlib63-bus";
  struct {
    const wchar_t* chosen;
    const char* systemBus;
    const char* sessionBus;
    bool reached;
  } cases[] = {{L"system", manager, none, true}, {L"system", none, manager, false},
               {L"user", none, manager, true},   {L"user", manager, none, false},
               {nullptr, manager, none, true},   {nullptr, none, manager, false}};
  kwtest::ScopedEnv noChoice("KWLIB63_SERVICE_BUS", nullptr);
  for (const auto& c : cases) {
    const std::string label = std::to_string(&c - cases);
    kwtest::ScopedEnv system("DBUS_SYSTEM_BUS_ADDRESS", c.systemBus);
    kwtest::ScopedEnv session("DBUS_SESSION_BUS_ADDRESS", c.sessionBus);
    ServiceSetBusAddress(c.chosen);
    SetLastError(ERROR_SUCCESS);
    SC_HANDLE scm = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    EXPECT_EQ(scm != nullptr, c.reached) << label << " " << GetLastError();
    if (scm != nullptr) {
      CloseServiceHandle(scm);
    } else {
      EXPECT_EQ(GetLastError(), RPC_S_SERVER_UNAVAILABLE) << label;
    }
  }
}

TEST_F(Service, StartAndStop) {
  SC_HANDLE service = Open(L"kwsimple");
  const wchar_t* argument = L"x";
  EXPECT_FALSE(StartServiceW(service, 1, &argument));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  ASSERT_TRUE(StartServiceW(service, 0, nullptr)) << GetLastError();
  ASSERT_TRUE(m_manager->Await("kwsimple.service", "active"));
  SERVICE_STATUS_PROCESS status = Status(service);
  EXPECT_EQ(status.dwCurrentState, SERVICE_RUNNING);
  EXPECT_EQ(status.dwControlsAccepted, SERVICE_ACCEPT_STOP);
  EXPECT_NE(status.dwProcessId, 0u);
  EXPECT_FALSE(StartServiceW(service, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_ALREADY_RUNNING);

  SERVICE_STATUS control{};
  EXPECT_FALSE(ControlService(service, 2, &control));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_SERVICE_CONTROL);
  ASSERT_TRUE(ControlService(service, SERVICE_CONTROL_STOP, &control)) << GetLastError();
  EXPECT_EQ(control.dwCurrentState, SERVICE_STOPPED);
  EXPECT_FALSE(ControlService(service, SERVICE_CONTROL_STOP, &control));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_NOT_ACTIVE);
  CloseServiceHandle(service);

  SC_HANDLE failing = Open(L"kwfail");
  EXPECT_FALSE(StartServiceW(failing, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_SERVICE_REQUEST_TIMEOUT);
  EXPECT_EQ(Status(failing).dwCurrentState, SERVICE_STOPPED);
  CloseServiceHandle(failing);
}

TEST_F(Service, AStopThatNeverEndsReturnsAfterThirtySecondsOfTheLibrarysClock) {
  SC_HANDLE hung = Open(L"kwhung");
  ASSERT_TRUE(StartServiceW(hung, 0, nullptr)) << GetLastError();
  ASSERT_TRUE(m_manager->Await("kwhung.service", "active"));
  kwtest::FakeClock clock(1000, 0);
  SERVICE_STATUS control{};
  ASSERT_TRUE(ControlService(hung, SERVICE_CONTROL_STOP, &control)) << GetLastError();
  EXPECT_EQ(control.dwCurrentState, SERVICE_STOP_PENDING);
  EXPECT_EQ(control.dwWaitHint, INFINITE);  // no stop time-out
  EXPECT_GT(clock.tick.load() - 1000, 30000u);
  EXPECT_LE(clock.tick.load() - 1000, 31000u);
  CloseServiceHandle(hung);
}

TEST_F(Service, PendingStatesCarryAnAdvancingCheckPointAndTheTimeOutAsHint) {
  SC_HANDLE slow = Open(L"kwslow");
  ASSERT_TRUE(StartServiceW(slow, 0, nullptr)) << GetLastError();
  SERVICE_STATUS_PROCESS status = Status(slow);
  ASSERT_EQ(status.dwCurrentState, SERVICE_START_PENDING);
  EXPECT_EQ(status.dwWaitHint, 20000u);
  EXPECT_GE(status.dwCheckPoint, 1u);
  // From the pause before the start to the start itself: the sub-state moves.
  DWORD highest = status.dwCheckPoint;
  kwtest::Eventually([&] {
    status = Status(slow);
    if (status.dwCurrentState == SERVICE_START_PENDING) highest = std::max(highest, status.dwCheckPoint);
    return status.dwCurrentState != SERVICE_START_PENDING;
  });
  EXPECT_EQ(status.dwCurrentState, SERVICE_RUNNING);
  EXPECT_EQ(status.dwCheckPoint, 0u);
  EXPECT_GE(highest, 2u);
  CloseServiceHandle(slow);

  SC_HANDLE stubborn = Open(L"kwstubborn");
  ASSERT_TRUE(StartServiceW(stubborn, 0, nullptr));
  ASSERT_TRUE(m_manager->Await("kwstubborn.service", "active"));
  m_manager->Manager("StopUnit kwstubborn.service replace");
  ASSERT_TRUE(m_manager->Await("kwstubborn.service", "deactivating"));
  status = Status(stubborn);
  EXPECT_EQ(status.dwCurrentState, SERVICE_STOP_PENDING);
  EXPECT_EQ(status.dwWaitHint, 20000u);
  EXPECT_EQ(status.dwCheckPoint, 1u);
  CloseServiceHandle(stubborn);
}

TEST_F(Service, DependentsComeInTheOrderToStopThem) {
  SC_HANDLE top = Open(L"kwtop");
  ASSERT_TRUE(StartServiceW(top, 0, nullptr)) << GetLastError();
  ASSERT_TRUE(m_manager->Await("kwtop.service", "active"));
  CloseServiceHandle(top);

  SC_HANDLE slow = Open(L"kwslow", SERVICE_ENUMERATE_DEPENDENTS);
  DWORD needed = 0, count = 7;
  ASSERT_FALSE(EnumDependentServicesW(slow, SERVICE_ACTIVE, nullptr, 0, &needed, &count));
  EXPECT_EQ(GetLastError(), ERROR_MORE_DATA);
  EXPECT_EQ(count, 0u);
  auto* list = static_cast<ENUM_SERVICE_STATUSW*>(LocalAlloc(LPTR, needed));
  ASSERT_TRUE(EnumDependentServicesW(slow, SERVICE_ACTIVE, list, needed, &needed, &count)) << GetLastError();
  ASSERT_EQ(count, 2u);
  EXPECT_STREQ(list[0].lpServiceName, L"kwtop");
  EXPECT_STREQ(list[0].lpDisplayName, L"Needs dep");
  EXPECT_STREQ(list[1].lpServiceName, L"kwdep");
  EXPECT_EQ(list[1].ServiceStatus.dwCurrentState, SERVICE_RUNNING);
  ASSERT_TRUE(EnumDependentServicesW(slow, SERVICE_INACTIVE, list, needed, &needed, &count));
  EXPECT_EQ(count, 0u);
  LocalFree(list);
  CloseServiceHandle(slow);

  SC_HANDLE lone = Open(L"kwsimple", SERVICE_ENUMERATE_DEPENDENTS);
  EXPECT_TRUE(EnumDependentServicesW(lone, SERVICE_ACTIVE, nullptr, 0, &needed, &count));
  EXPECT_EQ(count, 0u);
  EXPECT_FALSE(EnumDependentServicesW(lone, 4, nullptr, 0, &needed, &count));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  CloseServiceHandle(lone);
}

// The access list as the service holds it, in a buffer of its size.
std::vector<BYTE> ReadList(SC_HANDLE service) {
  DWORD needed = 0;
  EXPECT_FALSE(QueryServiceObjectSecurity(service, DACL_SECURITY_INFORMATION, nullptr, 0, &needed));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  std::vector<BYTE> descriptor(needed);
  EXPECT_TRUE(QueryServiceObjectSecurity(service, DACL_SECURITY_INFORMATION, descriptor.data(), needed, &needed))
      << GetLastError();
  return descriptor;
}

TEST_F(Service, AccessListsBecomePolkitRulesAndReadBack) {
  SC_HANDLE service = Open(L"kwsimple", READ_CONTROL | WRITE_DAC);
  std::vector<BYTE> descriptor = ReadList(service);
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor.data(), &present, &dacl, &defaulted));
  ASSERT_TRUE(present);
  ASSERT_EQ(dacl->AceCount, 2u);  // root, everyone

  EXPLICIT_ACCESS_W access{};
  wchar_t guest[] = L"GUEST";
  BuildExplicitAccessWithNameW(&access, guest, 0x30030, SET_ACCESS, NO_INHERITANCE);
  PACL merged = nullptr;
  ASSERT_EQ(SetEntriesInAclW(1, &access, dacl, &merged), ERROR_SUCCESS);
  SECURITY_DESCRIPTOR updated;
  InitializeSecurityDescriptor(&updated, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&updated, TRUE, merged, FALSE);
  ASSERT_TRUE(SetServiceObjectSecurity(service, DACL_SECURITY_INFORMATION, &updated)) << GetLastError();

  const std::string rule = kwtest::Output("cat " + m_manager->Rules() + "/60-kwlib63-kwsimple.service.rules");
  EXPECT_NE(rule.find("action.lookup(\"unit\") != \"kwsimple.service\""), std::string::npos) << rule;
  EXPECT_NE(rule.find("if (subject.user == \"nobody\" && [\"start\", \"stop\", \"restart\", \"try-restart\"]"
                      ".indexOf(verb) >= 0) return polkit.Result.YES;"),
            std::string::npos)
      << rule;
  descriptor = ReadList(service);
  ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor.data(), &present, &dacl, &defaulted));
  ASSERT_EQ(dacl->AclSize, merged->AclSize);
  EXPECT_EQ(std::memcmp(dacl, merged, merged->AclSize), 0);
  LocalFree(merged);

  // Only the access list, only by a handle that may write it, only for accounts
  // the system knows.
  EXPECT_FALSE(SetServiceObjectSecurity(service, OWNER_SECURITY_INFORMATION, &updated));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  BYTE list[64];
  InitializeAcl(reinterpret_cast<PACL>(list), sizeof list, ACL_REVISION);
  BYTE unknown[] = {1, 2, 0, 0, 0, 0, 0, 5, 21, 0, 0, 0, 7, 0, 0, 0};
  AddAccessAllowedAce(reinterpret_cast<PACL>(list), ACL_REVISION, SERVICE_START, unknown);
  SetSecurityDescriptorDacl(&updated, TRUE, reinterpret_cast<PACL>(list), FALSE);
  EXPECT_FALSE(SetServiceObjectSecurity(service, DACL_SECURITY_INFORMATION, &updated));
  EXPECT_EQ(GetLastError(), ERROR_NONE_MAPPED);
  SC_HANDLE readOnly = Open(L"kwsimple", READ_CONTROL);
  EXPECT_FALSE(SetServiceObjectSecurity(readOnly, DACL_SECURITY_INFORMATION, &updated));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  CloseServiceHandle(readOnly);
  CloseServiceHandle(service);
}

}  // namespace
