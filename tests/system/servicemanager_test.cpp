// CServiceManager against a real systemd user manager of the test's own; what it
// asks of the manager is read off the bus by dbus-monitor.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>

#include <kwlib63/platform/service.h>
#include <kwlib63/system/servicemanager.h>

#include "support/fakeclock.h"
#include "support/shell.h"
#include "support/usermanager.h"

namespace {

class ServiceManager : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "a private user manager needs root (a mount namespace and cgroups)";
    m_manager = std::make_unique<kwtest::UserManager>();
  }
  // Starts `unit` outside the class under test and waits until it is active.
  void Running(const std::string& unit) {
    m_manager->Manager("StartUnit " + unit + " replace");
    ASSERT_TRUE(m_manager->Await(unit, "active")) << unit;
  }

  std::unique_ptr<kwtest::UserManager> m_manager;
  CServiceManager m_services;
};

TEST_F(ServiceManager, UnknownNamesGiveZero) {
  EXPECT_EQ(m_services.DoStartSvc(L"kwnothere"), 0);
  EXPECT_EQ(m_services.DoStopSvc(L"kwnothere"), 0);
  ServiceSetBusAddress(L"unix:path=/nonexistent/kwlib63-bus");
  EXPECT_EQ(m_services.DoStartSvc(L"kwsimple"), 0);
}

TEST_F(ServiceManager, NoRequestForAServiceAlreadyInTheState) {
  kwtest::RequestMonitor monitor(*m_manager);
  ASSERT_TRUE(monitor.Listening());
  EXPECT_EQ(m_services.DoStopSvc(L"kwsimple"), 1);
  EXPECT_TRUE(monitor.Units("StopUnit").empty());

  Running("kwsimple.service");
  EXPECT_EQ(m_services.DoStartSvc(L"kwsimple"), 1);
  EXPECT_EQ(monitor.Units("StartUnit"), std::vector<std::string>{"kwsimple.service"});  // ours, in Running
}

TEST_F(ServiceManager, StartWaitsWhileTheServiceIsStarting) {
  EXPECT_EQ(m_services.DoStartSvc(L"kwslow"), 1);
  EXPECT_NE(m_manager->Property("kwslow.service", "ActiveState").find("'active'"), std::string::npos);
}

TEST_F(ServiceManager, StuckInStopPendingLongerThanItsHintGivesZero) {
  Running("kwstubborn.service");
  m_manager->Manager("StopUnit kwstubborn.service replace");
  ASSERT_TRUE(m_manager->Await("kwstubborn.service", "deactivating"));
  kwtest::RequestMonitor monitor(*m_manager);
  ASSERT_TRUE(monitor.Listening());
  // The service stays stop pending for 20 s of real time; the clock runs ahead.
  kwtest::FakeClock clock(1000, 0, 5);
  EXPECT_EQ(m_services.DoStartSvc(L"kwstubborn"), 0);
  // Steps of a tenth of the 20 s hint, until more than the hint has passed.
  EXPECT_EQ(clock.tick.load(), 1000u + 11 * 2000u);
  EXPECT_TRUE(monitor.Units("StartUnit").empty());
}

TEST_F(ServiceManager, StuckInStopPendingWithoutATimeOutGivesZeroAfterTheStopLimit) {
  Running("kwhung.service");
  m_manager->Manager("StopUnit kwhung.service replace");
  ASSERT_TRUE(m_manager->Await("kwhung.service", "deactivating"));
  kwtest::FakeClock clock(1000, 0);
  EXPECT_EQ(m_services.DoStartSvc(L"kwhung"), 0);
  // The endless hint counts as the 30 s a stop may take: steps of a tenth of it,
  // until more than that has passed.
  EXPECT_EQ(clock.tick.load(), 1000u + 11 * 3000u);
}

TEST_F(ServiceManager, StopOfAServiceThatNeverStopsEndsAfterTheStopLimit) {
  Running("kwhung.service");
  kwtest::FakeClock clock(1000, 0);
  EXPECT_EQ(m_services.DoStopSvc(L"kwhung"), 1);
  // The stop control's own 30 s, then one pause of at most 30 s for the endless hint.
  EXPECT_GT(clock.tick.load() - 1000, 30000u);
  EXPECT_LE(clock.tick.load() - 1000, 2 * 30000u + 1000);
  EXPECT_NE(m_manager->Property("kwhung.service", "ActiveState").find("'deactivating'"), std::string::npos);
}

TEST_F(ServiceManager, StopEndsAfterTheStopLimitWhenADependentNeverStops) {
  Running("kwhung.service");
  kwtest::RequestMonitor monitor(*m_manager);
  ASSERT_TRUE(monitor.Listening());
  kwtest::FakeClock clock(1000, 0);
  EXPECT_EQ(m_services.DoStopSvc(L"kwbase"), 1);
  EXPECT_EQ(monitor.Units("StopUnit"), (std::vector<std::string>{"kwhung.service", "kwbase.service"}));
  EXPECT_GT(clock.tick.load() - 1000, 30000u);
  EXPECT_LE(clock.tick.load() - 1000, 2 * 30000u + 1000);
}

TEST_F(ServiceManager, StopStopsTheActiveDependentsFirst) {
  Running("kwtop.service");
  kwtest::RequestMonitor monitor(*m_manager);
  ASSERT_TRUE(monitor.Listening());
  EXPECT_EQ(m_services.DoStopSvc(L"kwslow"), 1);
  EXPECT_EQ(monitor.Units("StopUnit"),
            (std::vector<std::string>{"kwtop.service", "kwdep.service", "kwslow.service"}));
  for (const char* unit : {"kwtop.service", "kwdep.service", "kwslow.service"}) {
    EXPECT_NE(m_manager->Property(unit, "ActiveState").find("'inactive'"), std::string::npos) << unit;
  }
}

TEST_F(ServiceManager, NoActiveDependentsIsSuccess) {
  Running("kwsimple.service");
  kwtest::RequestMonitor monitor(*m_manager);
  m_services.m_hSCManager = kwplat::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  m_services.m_hService = kwplat::OpenServiceW(m_services.m_hSCManager, L"kwsimple", SERVICE_ENUMERATE_DEPENDENTS);
  EXPECT_EQ(m_services.StopDependentServices(), 1);
  EXPECT_TRUE(monitor.Units("StopUnit").empty());
  kwplat::CloseServiceHandle(m_services.m_hService);
  kwplat::CloseServiceHandle(m_services.m_hSCManager);
}

TEST_F(ServiceManager, OperationsLeaveNoDescriptorOpen) {
  const auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  const auto cycle = [this] {
    ASSERT_EQ(m_services.DoStartSvc(L"kwsimple"), 1);
    ASSERT_TRUE(m_manager->Await("kwsimple.service", "active"));
    ASSERT_EQ(m_services.DoStopSvc(L"kwsimple"), 1);
    ASSERT_TRUE(m_manager->Await("kwsimple.service", "inactive"));
  };
  // The first cycle sets up what GLib keeps for the process (its bus worker thread
  // and the wake-up descriptors of its contexts).
  cycle();
  const auto afterFirst = descriptors();
  for (int i = 0; i < 49; ++i) cycle();
  EXPECT_EQ(descriptors(), afterFirst);
}

TEST_F(ServiceManager, GuestMayStartAndStopAfterTheUpdate) {
  m_services.DoUpdateSvcDacl(L"kwsimple");
  const std::string rule = kwtest::Output("cat " + m_manager->Rules() + "/60-kwlib63-kwsimple.service.rules");
  EXPECT_NE(rule.find("if (subject.user == \"nobody\" && [\"start\", \"stop\", \"restart\", \"try-restart\"]"),
            std::string::npos)
      << rule;
  // Root keeps every right and everyone keeps reading: the guest entry was merged.
  EXPECT_NE(rule.find("subject.user == \"root\""), std::string::npos) << rule;
  m_services.DoUpdateSvcDacl(L"kwnothere");
  EXPECT_EQ(kwtest::Output("ls " + m_manager->Rules()), "60-kwlib63-kwsimple.service.rules\n");
}

}  // namespace
