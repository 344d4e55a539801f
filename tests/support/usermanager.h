// A systemd user manager of the test's own (scripts/user-manager), with the
// test's unit files, given to the library's service calls for as long as the
// object lives; access-list rules go to a folder of the test's own.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/service.h>

#include "eventually.h"
#include "support/shell.h"
#include "support/tempdir.h"

namespace kwtest {

// The services the tests drive: a plain one; one that spends about three seconds
// activating, in two steps; two that need it, in a chain; one that ignores SIGTERM
// until its stop time-out; one whose start fails before it begins; one that ignores
// SIGTERM without a stop time-out, so that its stop never ends, and a plain one that
// it needs. The two that ignore SIGTERM report ready once they do: active before
// that, a stop on a loaded machine could still end them at once.
inline std::map<std::string, std::string> TestUnits() {
  return {
      {"kwsimple.service", "[Unit]\nDescription=Plain\n[Service]\nExecStart=/bin/sleep 1000\n"},
      {"kwslow.service",
       "[Unit]\nDescription=Slow\n[Service]\nType=notify\nNotifyAccess=all\nTimeoutStartSec=20\n"
       "ExecStartPre=/bin/sleep 1\nExecStart=/bin/sh -c 'sleep 2; systemd-notify --ready; exec sleep 1000'\n"},
      {"kwdep.service",
       "[Unit]\nDescription=Needs slow\nRequires=kwslow.service\nBindsTo=kwslow.service\nAfter=kwslow.service\n"
       "[Service]\nExecStart=/bin/sleep 1000\n"},
      {"kwtop.service",
       "[Unit]\nDescription=Needs dep\nRequires=kwdep.service\nAfter=kwdep.service\n"
       "[Service]\nExecStart=/bin/sleep 1000\n"},
      {"kwstubborn.service",
       "[Unit]\nDescription=Stubborn\n[Service]\nType=notify\nNotifyAccess=all\nTimeoutStopSec=20\n"
       "ExecStart=/bin/sh -c 'trap \"\" TERM; systemd-notify --ready; while :; do sleep 0.2; done'\n"},
      {"kwhung.service",
       "[Unit]\nDescription=Hung\nRequires=kwbase.service\n[Service]\nType=notify\nNotifyAccess=all\n"
       "TimeoutStopSec=infinity\n"
       "ExecStart=/bin/sh -c 'trap \"\" TERM; systemd-notify --ready; while :; do sleep 0.2; done'\n"},
      {"kwbase.service", "[Unit]\nDescription=Needed by hung\n[Service]\nExecStart=/bin/sleep 1000\n"},
      // Started and then failed: an exit status, a program that cannot be run, no
      // readiness before the start time-out.
      {"kwfalse.service", "[Unit]\nDescription=Exits 1\n[Service]\nType=oneshot\nExecStart=/bin/false\n"},
      {"kwmissing.service", "[Unit]\nDescription=No program\n[Service]\nType=exec\nExecStart=/nonexistent/kwlib63\n"},
      {"kwsilent.service",
       "[Unit]\nDescription=Never ready\n[Service]\nType=notify\nTimeoutStartSec=1\nExecStart=/bin/sleep 1000\n"},
      {"kwfail.service",
       "[Unit]\nDescription=Fails\nAssertPathExists=/nonexistent/kwlib63\n[Service]\nExecStart=/bin/sleep 1000\n"},
  };
}

class UserManager {
 public:
  // `units`: file name -> contents.
  explicit UserManager(const std::map<std::string, std::string>& units = TestUnits()) {
    for (const char* folder : {"units", "state", "rules"}) Output("mkdir -p " + m_dir.At(folder));
    for (const auto& [name, text] : units) std::ofstream(m_dir.At("units/" + name)) << text;
    m_bus = Output(std::string(KWTEST_USER_MANAGER) + " start " + m_dir.At("state") + " " + m_dir.At("units"));
    while (!m_bus.empty() && m_bus.back() == '\n') m_bus.pop_back();
    if (m_bus.empty()) throw std::runtime_error("the user manager did not start");
    ServiceSetBusAddress(kwfw::Utf8ToWide(m_bus).c_str());
    ServiceSetRulesFolder(kwfw::Utf8ToWide(m_dir.At("rules")).c_str());
  }
  ~UserManager() {
    ServiceSetBusAddress(nullptr);
    ServiceSetRulesFolder(nullptr);
    Output(std::string(KWTEST_USER_MANAGER) + " stop " + m_dir.At("state"));
  }
  UserManager(const UserManager&) = delete;
  UserManager& operator=(const UserManager&) = delete;

  const std::string& Bus() const { return m_bus; }
  std::string Rules() const { return m_dir.At("rules"); }
  // Calls a manager method with gdbus ("StopUnit x.service replace"); its output.
  std::string Manager(const std::string& call) const {
    return Output("gdbus call --address " + m_bus +
                  " --dest org.freedesktop.systemd1 --object-path /org/freedesktop/systemd1"
                  " --method org.freedesktop.systemd1.Manager." + call + " 2>&1");
  }
  // A unit property as gdbus prints it ("(<'active'>,)").
  std::string Property(const std::string& unit, const std::string& name) const {
    std::string path = "/org/freedesktop/systemd1/unit/";
    for (char c : unit) path += std::isalnum(static_cast<unsigned char>(c)) ? std::string(1, c) : Escaped(c);
    return Output("gdbus call --address " + m_bus + " --dest org.freedesktop.systemd1 --object-path " + path +
                  " --method org.freedesktop.DBus.Properties.Get org.freedesktop.systemd1.Unit " + name + " 2>&1");
  }
  // Waits for the unit's ActiveState to be `state`.
  bool Await(const std::string& unit, const std::string& state) const {
    return Eventually([&] { return Property(unit, "ActiveState").find("'" + state + "'") != std::string::npos; });
  }

 private:
  static std::string Escaped(char c) {
    static constexpr char kHex[] = "0123456789abcdef";
    const auto b = static_cast<unsigned char>(c);
    return std::string("_") + kHex[b >> 4] + kHex[b & 15];
  }

  TempDir m_dir{"kwsystemd"};
  std::string m_bus;
};

// The manager's start and stop requests as the bus carries them, recorded by
// dbus-monitor from construction on.
class RequestMonitor {
 public:
  explicit RequestMonitor(const UserManager& manager) {
    const std::string log = m_dir.At("log");
    m_pid = fork();
    if (m_pid == 0) {
      const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(fd, 1);
      execlp("dbus-monitor", "dbus-monitor", "--address", manager.Bus().c_str(),
             "type='method_call',interface='org.freedesktop.systemd1.Manager'", nullptr);
      _exit(127);
    }
    // dbus-monitor reports its own name first, once it is listening.
    Eventually([this] { return Log().find("NameAcquired") != std::string::npos; });
  }
  ~RequestMonitor() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  RequestMonitor(const RequestMonitor&) = delete;
  RequestMonitor& operator=(const RequestMonitor&) = delete;

  bool Listening() { return Log().find("NameAcquired") != std::string::npos; }
  // The units named by the calls of `method` ("StartUnit") seen so far, in order.
  std::vector<std::string> Units(const std::string& method) {
    const std::string log = Log(), key = "member=" + method;
    std::vector<std::string> units;
    for (std::size_t at = log.find(key); at != std::string::npos; at = log.find(key, at + 1)) {
      const std::size_t open = log.find("string \"", at), close = log.find('"', open + 8);
      units.push_back(log.substr(open + 8, close - open - 8));
    }
    return units;
  }

 private:
  std::string Log() { return Output("cat " + m_dir.At("log")); }

  TempDir m_dir{"kwmonitor"};
  pid_t m_pid;
};

}  // namespace kwtest
