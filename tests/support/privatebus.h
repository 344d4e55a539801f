// A D-Bus daemon of the test's own, given to the library's DDE calls (and, through
// KWLIB63_DDE_BUS, to the processes the test starts) for as long as it lives.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/dde.h>

#include "eventually.h"
#include "support/tempdir.h"

namespace kwtest {

class PrivateBus {
 public:
  PrivateBus() : m_address("unix:path=" + m_dir.At("bus")) {
    m_pid = fork();
    if (m_pid == 0) {
      // It says on its error stream that it may not raise its file limit.
      const int quiet = open("/dev/null", O_WRONLY);
      dup2(quiet, 2);
      execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
             ("--address=" + m_address).c_str(), nullptr);
      _exit(127);
    }
    struct stat st {};
    if (!Eventually([&] { return stat(m_dir.At("bus").c_str(), &st) == 0; })) {
      throw std::runtime_error("dbus-daemon did not start");
    }
    DdeSetBusAddress(kwfw::Utf8ToWide(m_address).c_str());
    setenv("KWLIB63_DDE_BUS", m_address.c_str(), 1);
  }
  ~PrivateBus() {
    DdeSetBusAddress(nullptr);
    unsetenv("KWLIB63_DDE_BUS");
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& Address() const { return m_address; }

 private:
  TempDir m_dir{"kwbus"};
  std::string m_address;
  pid_t m_pid;
};

}  // namespace kwtest
