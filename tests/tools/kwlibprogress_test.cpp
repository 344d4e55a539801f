// kwlib's progress bar: drawn on a terminal (a pseudo-terminal of the test's own),
// stepping aside for text written there and wiped at the end; through pipes no
// byte changes; --progress and --no-progress force it either way.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kwlibrun.h"

namespace {

struct TerminalRun {
  int status = -1;
  std::string terminal;  // what the pseudo-terminal received
  std::string out;       // standard output, when it went to a pipe
};

// Runs kwlib with standard error on a pseudo-terminal of 100 columns, and standard
// output there too or to a pipe.
TerminalRun OnTerminal(const std::vector<std::string>& args, bool outputOnTerminal) {
  TerminalRun run;
  int master = -1, slave = -1;
  winsize size{24, 100, 0, 0};
  if (openpty(&master, &slave, nullptr, nullptr, &size) != 0) return run;
  int out[2];
  if (pipe(out) != 0) return run;
  const pid_t child = fork();
  if (child == 0) {
    setsid();
    ioctl(slave, TIOCSCTTY, 0);
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(outputOnTerminal ? slave : out[1], STDOUT_FILENO);
    dup2(slave, STDERR_FILENO);
    std::vector<char*> argv{const_cast<char*>(KWLIB_EXE)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(KWLIB_EXE, argv.data());
    _exit(127);
  }
  close(slave);
  close(out[1]);
  // Both read as they come: a full pipe would hold the child while the terminal
  // is read, and the other way round.
  pollfd fds[2] = {{master, POLLIN, 0}, {out[0], POLLIN, 0}};
  std::string* into[2] = {&run.terminal, &run.out};
  for (int open = 2; open > 0;) {
    if (poll(fds, 2, -1) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        into[i]->append(buffer, static_cast<std::size_t>(n));
      } else {  // the end, or EIO once the terminal's last holder closed it
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

// A child that reports 10 %, and 50 % once more than the bar's half second has
// gone by; then `after`.
std::vector<std::string> SlowReporter(const std::string& after = "") {
  return {"run", "--", "sh", "-c", "echo 10%; sleep 1; echo 50%" + after};
}

TEST(KwlibProgress, OnATerminalTheBarIsDrawnAndWipedAtTheEnd) {
  const TerminalRun run = OnTerminal(SlowReporter(), false);
  ASSERT_EQ(run.status, 0) << run.terminal;
  EXPECT_EQ(run.out, "10%\n50%\n");
  EXPECT_NE(run.terminal.find("\r[##########..........]  50% sh"), std::string::npos) << run.terminal;
  const std::string wipe = "\r\x1b[K";
  ASSERT_GE(run.terminal.size(), wipe.size());
  EXPECT_EQ(run.terminal.substr(run.terminal.size() - wipe.size()), wipe);
}

TEST(KwlibProgress, TextForTheSameTerminalComesAfterTheBarIsWiped) {
  const TerminalRun run = OnTerminal(SlowReporter("; sleep 1; echo done"), true);
  ASSERT_EQ(run.status, 0) << run.terminal;
  const std::size_t bar = run.terminal.find("% sh  ");
  ASSERT_NE(bar, std::string::npos) << run.terminal;
  EXPECT_NE(run.terminal.find("\r\x1b[Kdone", bar), std::string::npos) << run.terminal;
}

TEST(KwlibProgress, NoProgressKeepsTheTerminalClean) {
  std::vector<std::string> args = SlowReporter();
  args.insert(args.begin() + 1, "--no-progress");
  const TerminalRun run = OnTerminal(args, false);
  ASSERT_EQ(run.status, 0);
  EXPECT_EQ(run.terminal, "");
  EXPECT_EQ(run.out, "10%\n50%\n");
}

TEST(KwlibProgress, NamesReachTheBarWithoutTheirControlCharacters) {
  kwtest::TempDir dir("kwlib-progress");
  const std::string folder = dir.At("a\x1b]0;title\x07" "b");
  ASSERT_TRUE(std::filesystem::create_directory(folder));
  kwtest::WriteBytes(folder + "/f.txt", "x");
  const TerminalRun run = OnTerminal({"--progress", "find", "-r", "*.txt", dir.Path()}, false);
  ASSERT_EQ(run.status, 0) << run.terminal;
  EXPECT_NE(run.terminal.find("a?]0;title?b"), std::string::npos) << run.terminal;
  EXPECT_EQ(run.terminal.find("\x1b]"), std::string::npos) << run.terminal;
}

TEST(KwlibProgress, RegsDataIsTakenAsGiven) {
  // reg reads its words in the Windows tool's syntax: "--progress" is data there.
  kwtest::TempDir dir("kwlib-progress");
  ASSERT_EQ(kwtest::KwlibIn(dir, "reg add 'HKCU\\Software\\P' /v x /d --progress /f").status, 0);
  const kwtest::Result query = kwtest::KwlibIn(dir, "reg query 'HKCU\\Software\\P' /v x");
  EXPECT_NE(query.out.find("REG_SZ    --progress"), std::string::npos) << query.out;
}

TEST(KwlibProgress, ThroughPipesNothingChangesUnlessAskedFor) {
  kwtest::TempDir dir("kwlib-progress");
  const std::string data = dir.At("data.bin");
  {
    std::string bytes(3 << 20, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 251);
    kwtest::WriteBytes(data, bytes);
    kwtest::WriteBytes(dir.At("rows.csv"), "a,b\n1,2\n3,4\n");
  }
  // The last one lasts more than the bar's half second.
  for (const std::string& command : {"crc32 " + data, "base64 " + data, "csv " + dir.At("rows.csv"),
                                     "find '*.csv' " + dir.Path(), std::string("run -- sh -c 'echo 10%; sleep 1; echo 50%'")}) {
    const kwtest::Result plain = kwtest::Kwlib(command);
    const kwtest::Result refused = kwtest::Kwlib("--no-progress " + command);
    EXPECT_EQ(plain.status, 0) << command << ": " << plain.err;
    EXPECT_EQ(plain.err, "") << command;
    EXPECT_EQ(plain.out, refused.out) << command;
    EXPECT_EQ(plain.err, refused.err) << command;
    // Asked for, the bar writes lines on the pipe; the output stays the same.
    const kwtest::Result forced = kwtest::Kwlib("--progress " + command);
    EXPECT_EQ(forced.out, plain.out) << command;
    if (command.rfind("crc32", 0) == 0 || command.rfind("base64", 0) == 0) {
      EXPECT_NE(forced.err.find("[####################] 100% "), std::string::npos) << command << ": " << forced.err;
    }
  }
}

}  // namespace
