// A D-Bus daemon of the test's own, given to the library's DDE calls (and, through
// KWLIB63_DDE_BUS, to the processes the test starts) for as long as it lives.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/dde.h>

#include "support/tempdir.h"

namespace kwtest {

class PrivateBus {
 public:
  PrivateBus() : m_address("unix:path=" + m_dir.At("bus")) {
    // The daemon prints its address once it listens: the socket file alone may
    // be there a moment before connections are taken.
    int ready[2];
    if (pipe(ready) != 0) throw std::runtime_error("no pipe for dbus-daemon");
    m_pid = fork();
    if (m_pid == 0) {
      // It says on its error stream that it may not raise its file limit.
      const int quiet = open("/dev/null", O_WRONLY);
      dup2(quiet, 2);
      close(ready[0]);
      execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
             ("--address=" + m_address).c_str(), ("--print-address=" + std::to_string(ready[1])).c_str(), nullptr);
      _exit(127);
    }
    close(ready[1]);
    std::string printed;
    char c = 0;
    while (printed.find('\n') == std::string::npos && read(ready[0], &c, 1) == 1) printed += c;
    close(ready[0]);
    if (printed.find('\n') == std::string::npos) throw std::runtime_error("dbus-daemon did not start");
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
