// An X server of the test process's own (Xvfb), started once, with GTK opened on
// it: a GoogleTest environment, so it outlives every test of the binary.
#pragma once

#include <gtk/gtk.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace kwtest {

class PrivateDisplay : public ::testing::Environment {
 public:
  void SetUp() override {
    int fds[2];
    if (pipe(fds) != 0) throw std::runtime_error("no pipe");
    m_pid = fork();
    if (m_pid == 0) {
      close(fds[0]);
      const std::string fd = std::to_string(fds[1]);
      execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "800x600x24", "-nolisten", "tcp", nullptr);
      _exit(127);
    }
    close(fds[1]);
    // Xvfb writes its display number once it accepts connections.
    std::string number;
    char c;
    while (read(fds[0], &c, 1) == 1 && c != '\n') number += c;
    close(fds[0]);
    if (number.empty()) throw std::runtime_error("Xvfb did not start");
    m_display = ":" + number;
    setenv("DISPLAY", m_display.c_str(), 1);
    setenv("NO_AT_BRIDGE", "1", 1);            // no accessibility bus to look for
    setenv("GSETTINGS_BACKEND", "memory", 1);  // nor a settings daemon
    if (!gtk_init_check(nullptr, nullptr)) throw std::runtime_error("GTK cannot open " + m_display);
  }
  void TearDown() override {
    kill(m_pid, SIGTERM);
    waitpid(m_pid, nullptr, 0);
  }
  const std::string& Display() const { return m_display; }

 private:
  pid_t m_pid = 0;
  std::string m_display;
};

}  // namespace kwtest
