// kwlib's progress bar: drawn on a terminal (a pseudo-terminal of the test's own),
// stepping aside for text written there and wiped at the end; through pipes no
// byte changes; --progress and --no-progress force it either way.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/serializer.h>

#include "kwlibrun.h"
#include "support/locales.h"
#include "terminalindicator.h"

namespace {

struct TerminalRun {
  int status = -1;       // the exit status, or 128 + the signal that ended it
  std::string terminal;  // what the pseudo-terminal received
  std::string out;       // standard output, when it went to a pipe
};

struct TerminalSetup {
  bool outputOnTerminal = false;
  unsigned short columns = 100;
  std::string input;  // a file for standard input instead of the watcher's pipe
  bool errorThroughTty = false;  // standard error opened as /dev/tty, the same terminal
  // Called with each new part of the terminal's text, kwlib's process and the
  // writing end of its standard input (closed when the watcher returns false).
  std::function<bool(const std::string& terminal, pid_t kwlib, int input)> watch;
};

// Runs kwlib with standard error on a pseudo-terminal of its own, standard output
// there too or to a pipe, and standard input from a pipe of the watcher's (no
// input without one). A run that outlasts a minute is killed.
TerminalRun OnTerminal(const std::vector<std::string>& args, const TerminalSetup& setup) {
  TerminalRun run;
  int master = -1, slave = -1;
  winsize size{24, setup.columns, 0, 0};
  if (openpty(&master, &slave, nullptr, nullptr, &size) != 0) return run;
  int out[2], in[2];
  if (pipe(out) != 0 || pipe(in) != 0) return run;
  const pid_t child = fork();
  if (child == 0) {
    setsid();
    ioctl(slave, TIOCSCTTY, 0);
    dup2(setup.input.empty() ? in[0] : open(setup.input.c_str(), O_RDONLY), STDIN_FILENO);
    dup2(setup.outputOnTerminal ? slave : out[1], STDOUT_FILENO);
    dup2(setup.errorThroughTty ? open("/dev/tty", O_WRONLY) : slave, STDERR_FILENO);
    std::vector<char*> argv{const_cast<char*>(KWLIB_EXE)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(KWLIB_EXE, argv.data());
    _exit(127);
  }
  close(slave);
  close(out[1]);
  close(in[0]);
  int input = in[1];
  if (!setup.watch) {
    close(input);
    input = -1;
  }
  // Both read as they come: a full pipe would hold the child while the terminal
  // is read, and the other way round.
  pollfd fds[2] = {{master, POLLIN, 0}, {out[0], POLLIN, 0}};
  std::string* into[2] = {&run.terminal, &run.out};
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  for (int open = 2; open > 0;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const int ready = left.count() > 0 ? poll(fds, 2, static_cast<int>(left.count())) : 0;
    if (ready <= 0) {
      ADD_FAILURE() << "no end after a minute; the terminal had: " << run.terminal;
      kill(child, SIGKILL);
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        into[i]->append(buffer, static_cast<std::size_t>(n));
        if (i == 0 && input >= 0 && !setup.watch(run.terminal, child, input)) {
          close(input);
          input = -1;
        }
      } else {  // the end, or EIO once the terminal's last holder closed it
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  if (input >= 0) close(input);
  for (const pollfd& f : fds) {
    if (f.fd >= 0) close(f.fd);
  }
  int status = 0;
  waitpid(child, &status, 0);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
  return run;
}

TerminalRun OnTerminal(const std::vector<std::string>& args, bool outputOnTerminal) {
  TerminalSetup setup;
  setup.outputOnTerminal = outputOnTerminal;
  return OnTerminal(args, setup);
}

// The bars drawn: each text between a carriage return and the end-of-line erase.
std::vector<std::string> Bars(const std::string& terminal) {
  std::vector<std::string> bars;
  for (std::size_t at = 0; (at = terminal.find('\r', at)) != std::string::npos; ++at) {
    const std::size_t end = terminal.find("\x1b[K", at);
    if (end != std::string::npos && end > at + 1 && terminal.find('\n', at) > end) bars.push_back(terminal.substr(at + 1, end - at - 1));
  }
  return bars;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
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

TEST(KwlibProgress, TheLineFitsAnyWidthInColumnsNotBytes) {
  using kwlib::TerminalIndicator;
  const std::string cjk = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E";  // three characters of two columns
  const std::string accents = "e\xCC\x81" "e\xCC\x81";              // two characters with combining accents
  const std::string turkish = "\xC4\xB0\xC4\xB1";                    // dotted capital I, dotless i
  for (const char* name : kwtest::kTextLocales) {
    const kwtest::ScopedLocale locale(name);
    if (!locale.Ok()) GTEST_SKIP() << name << " is not generated here";
    EXPECT_EQ(TerminalIndicator::Columns(cjk), 6u) << name;
    EXPECT_EQ(TerminalIndicator::Columns(accents), 2u) << name;
    EXPECT_EQ(TerminalIndicator::Columns(turkish), 2u) << name;
    for (const std::string& message : {std::string(), std::string("a plain folder name"), cjk + cjk + cjk, accents + accents}) {
      for (int width = 0; width <= 120; ++width) {
        const std::string line = TerminalIndicator::Render(0.42, "", message, 3723000, "12:34:56", width);
        ASSERT_LE(TerminalIndicator::Columns(line), static_cast<std::size_t>(std::max(width - 1, 0))) << name << " " << width << ": " << line;
        if (width >= 6) {
          EXPECT_NE(line.find("42%"), std::string::npos) << width << ": " << line;
        }
        if (width >= 80) {
          EXPECT_NE(line.find("[########............]  42% " + message + "  01:02:03 ETA 12:34:56"), std::string::npos) << line;
        }
        const std::string amount = TerminalIndicator::Render(0.0, "3.0 MiB", message, 0, "", width);
        ASSERT_LE(TerminalIndicator::Columns(amount), static_cast<std::size_t>(std::max(width - 1, 0))) << width;
        if (width >= 9) {
          EXPECT_EQ(amount.rfind("3.0 MiB ", 0), 0u) << width << ": " << amount;
        }
      }
    }
  }
}

TEST(KwlibProgress, ANarrowTerminalGetsBarsNoWiderThanItself) {
  kwtest::TempDir dir("kwlib-progress");
  const std::string folder = dir.At("\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE3\x83\x95\xE3\x82\xA9");
  ASSERT_TRUE(std::filesystem::create_directory(folder));
  kwtest::WriteBytes(folder + "/f.txt", "x");
  for (const unsigned short columns : {12, 30, 45}) {
    TerminalSetup setup;
    setup.columns = columns;
    const TerminalRun run = OnTerminal({"--progress", "find", "-r", "*.txt", dir.Path()}, setup);
    ASSERT_EQ(run.status, 0) << run.terminal;
    const std::vector<std::string> bars = Bars(run.terminal);
    ASSERT_FALSE(bars.empty()) << run.terminal;
    for (const std::string& bar : bars) EXPECT_LE(kwlib::TerminalIndicator::Columns(bar), columns - 1u) << bar;
  }
}

TEST(KwlibProgress, ALineLeftOpenIsNeitherDrawnOverNorWiped) {
  // The terminal also under its other name, /dev/tty.
  for (const bool throughTty : {false, true}) {
    TerminalSetup setup;
    setup.outputOnTerminal = true;
    setup.errorThroughTty = throughTty;
    const TerminalRun run = OnTerminal({"run", "--", "sh", "-c", "echo 10%; sleep 1; printf abc; sleep 1; echo; echo 50%"}, setup);
    ASSERT_EQ(run.status, 0) << run.terminal;
    ASSERT_NE(run.terminal.find("] "), std::string::npos) << "no bar was drawn: " << run.terminal;
    EXPECT_NE(run.terminal.find("abc\r\n"), std::string::npos) << throughTty << ": " << run.terminal;
  }
}

TEST(KwlibProgress, RunShowsThePercentageJustPrinted) {
  kwtest::TempDir dir("kwlib-progress");
  const std::string seen = dir.At("seen");
  // The command waits until the bar has shown its 50 %.
  TerminalSetup setup;
  setup.watch = [&](const std::string& terminal, pid_t, int) {
    for (const std::string& bar : Bars(terminal)) {
      if (bar.find(" 50% sh") != std::string::npos) {
        kwtest::WriteBytes(seen, "");
        return false;
      }
    }
    return true;
  };
  const TerminalRun run = OnTerminal(
      {"run", "--", "sh", "-c", "echo 10%; sleep 1; echo 50%; while [ ! -e '" + seen + "' ]; do sleep 0.05; done"}, setup);
  EXPECT_EQ(run.status, 0) << run.terminal;
  EXPECT_TRUE(std::filesystem::exists(seen)) << run.terminal;
}

TEST(KwlibProgress, ASignalThatEndsKwlibTakesTheBarAway) {
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE}) {
    bool sent = false;
    // crc32 reads endless input until the signal comes.
    TerminalSetup setup;
    setup.input = "/dev/zero";
    setup.watch = [&](const std::string& terminal, pid_t kwlib, int) {
      if (!sent && terminal.find("B standard input") != std::string::npos) {
        kill(kwlib, signal);
        sent = true;
      }
      return true;
    };
    const TerminalRun run = OnTerminal({"crc32", "-"}, setup);
    EXPECT_EQ(run.status, 128 + signal) << signal << ": " << run.terminal;
    // The last bar drawn, then the wipe.
    EXPECT_TRUE(EndsWith(run.terminal, "\x1b[K\r\x1b[K")) << signal << ": " << run.terminal;
  }
}

TEST(KwlibProgress, InputWithoutASizeIsCountedAndFilesStartFromNothing) {
  const kwtest::Result piped = kwtest::Shell("head -c 3145728 /dev/zero | " + std::string(KWLIB_EXE) + " --progress crc32 -");
  ASSERT_EQ(piped.status, 0) << piped.err;
  const std::string last = piped.err.substr(piped.err.rfind('\n', piped.err.size() - 2) + 1);
  EXPECT_EQ(last.rfind("3.0 MiB standard input  ", 0), 0u) << piped.err;
  // The unit follows what is shown.
  const kwtest::Result almost = kwtest::Shell("head -c 1048575 /dev/zero | " + std::string(KWLIB_EXE) + " --progress crc32 -");
  EXPECT_EQ(almost.err.substr(almost.err.rfind('\n', almost.err.size() - 2) + 1).rfind("1.0 MiB standard input  ", 0), 0u)
      << almost.err;

  kwtest::TempDir dir("kwlib-progress");
  for (const char* name : {"a.bin", "b.bin"}) kwtest::WriteBytes(dir.At(name), std::string(1 << 20, 'x'));
  const kwtest::Result files = kwtest::Kwlib("--progress crc32 " + dir.At("a.bin") + " " + dir.At("b.bin"));
  ASSERT_EQ(files.status, 0) << files.err;
  const std::size_t second = files.err.find(dir.At("b.bin"));
  ASSERT_NE(second, std::string::npos) << files.err;
  const std::size_t line = files.err.rfind('\n', second) + 1;
  EXPECT_EQ(files.err.substr(line, second - line), "[....................]   0% ") << files.err;
  // An empty file is done as soon as it is open.
  kwtest::WriteBytes(dir.At("empty.bin"), "");
  const kwtest::Result empty = kwtest::Kwlib("--progress crc32 " + dir.At("a.bin") + " " + dir.At("empty.bin"));
  ASSERT_EQ(empty.status, 0) << empty.err;
  const std::string final = empty.err.substr(empty.err.rfind('\n', empty.err.size() - 2) + 1);
  EXPECT_EQ(final.rfind("[####################] 100% " + dir.At("empty.bin"), 0), 0u) << empty.err;
}

TEST(KwlibProgress, RecordsGetReportsThroughTheBar) {
  kwtest::TempDir dir("kwlib-progress");
  const std::string path = dir.At("r.dat");
  {
    TSerializer* s = TSerializer::Open(kwfw::Utf8ToWide(path).c_str(), 1);
    ASSERT_NE(s, nullptr);
    s->CreateHeader(1, 0, 0, 0);
    for (unsigned long id = 0; id < 1000; ++id) s->WriteRecord(const_cast<char*>("data"), 4, id);
    TSerializer::Close(s);
  }
  const kwtest::Result r = kwtest::Kwlib("--progress records get " + path + " 999");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "data");
  EXPECT_NE(r.err.find("% " + path), std::string::npos) << r.err;
}

}  // namespace
