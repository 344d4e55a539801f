// Child processes through CreateProcessW, GetExitCodeProcess and the waits, with a
// real child (kw_child): how it ended, waits made more than once, handles closed
// in any order, its arguments word for word, output larger than a pipe holds, and
// the starts that cannot be made. The command-line rules are checked as tables.
#include <signal.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/event.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/process.h>

#include "support/eventually.h"
#include "support/scopedenv.h"
#include "support/tempdir.h"
#include "support/threadwait.h"

namespace {

const std::wstring kChild = L"" KWTEST_CHILD;
constexpr DWORD kJunk = 0x5A5A5A5A;

// Both ends of a pipe, closed with the object unless the test closed one first.
struct PipeEnds {
  HANDLE read = nullptr, write = nullptr;
  PipeEnds() { EXPECT_TRUE(kwplat::CreatePipe(&read, &write, nullptr, 0)); }
  ~PipeEnds() {
    Close(read);
    Close(write);
  }
  PipeEnds(const PipeEnds&) = delete;
  PipeEnds& operator=(const PipeEnds&) = delete;
  static void Close(HANDLE& end) {
    if (end != nullptr) {
      EXPECT_TRUE(kwplat::CloseHandle(end));
    }
    end = nullptr;
  }
};

// Starts `line` with the given standard input and output (null: this process's);
// the process handle is null when the start failed.
PROCESS_INFORMATION Start(const std::wstring& line, HANDLE in = nullptr, HANDLE out = nullptr,
                          const wchar_t* folder = nullptr) {
  std::wstring buffer = line;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in;
  startup.hStdOutput = out;
  PROCESS_INFORMATION information{};
  if (!kwplat::CreateProcessW(nullptr, buffer.data(), nullptr, nullptr, TRUE, 0, nullptr, folder, &startup,
                              &information)) {
    information.hProcess = nullptr;
  }
  return information;
}

// The code of a child once it has ended, or kJunk when the wait or the call fails.
DWORD CodeAtEnd(HANDLE process) {
  if (kwplat::WaitForSingleObject(process, INFINITE) != WAIT_OBJECT_0) return kJunk;
  DWORD code = kJunk;
  kwplat::GetExitCodeProcess(process, &code);
  return code;
}

// Everything a pipe gives until every writer has gone.
std::string ReadAll(HANDLE readEnd) {
  std::string all;
  std::vector<char> buffer(65536);
  DWORD n = 0;
  while (kwplat::ReadFile(readEnd, buffer.data(), static_cast<DWORD>(buffer.size()), &n, nullptr)) all.append(buffer.data(), n);
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_BROKEN_PIPE));
  return all;
}

// What the child's "fill N" writes.
std::string Filling(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i % 251);
  return bytes;
}

TEST(Processes, TheExitCodeTellsHowTheChildEnded) {
  const struct {
    const wchar_t* actions;
    DWORD code;
  } cases[] = {{L"exit 0", 0},
               {L"exit 1", 1},
               {L"exit 255", 255},
               {L"signal 15 exit 0", 128 + SIGTERM},
               {L"signal 9 exit 0", 128 + SIGKILL}};
  for (const auto& c : cases) {
    const PROCESS_INFORMATION child = Start(kChild + L" " + c.actions);
    ASSERT_NE(child.hProcess, nullptr) << kwfw::WideToUtf8(c.actions);
    EXPECT_EQ(CodeAtEnd(child.hProcess), c.code) << kwfw::WideToUtf8(c.actions);
    kwplat::CloseHandle(child.hProcess);
  }
}

// The child starts with the default dispositions and an empty mask: a signal this
// process ignores or blocks still ends it.
TEST(Processes, ASignalTheParentIgnoresOrBlocksStillEndsTheChild) {
  for (const bool block : {false, true}) {
    struct sigaction ignore {}, formerAction {};
    ignore.sa_handler = SIG_IGN;
    sigset_t term, formerMask;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    if (block) {
      pthread_sigmask(SIG_BLOCK, &term, &formerMask);
    } else {
      sigaction(SIGTERM, &ignore, &formerAction);
    }
    const PROCESS_INFORMATION child = Start(kChild + L" signal 15 exit 0");
    if (block) {
      pthread_sigmask(SIG_SETMASK, &formerMask, nullptr);
    } else {
      sigaction(SIGTERM, &formerAction, nullptr);
    }
    ASSERT_NE(child.hProcess, nullptr);
    EXPECT_EQ(CodeAtEnd(child.hProcess), 128u + SIGTERM) << (block ? "blocked" : "ignored");
    kwplat::CloseHandle(child.hProcess);
  }
}

// The child waits for a line, so it is surely running until the test sends one.
TEST(Processes, StillActiveUntilTheChildEnds) {
  PipeEnds input;
  const PROCESS_INFORMATION child = Start(kChild + L" wait exit 7", input.read);
  ASSERT_NE(child.hProcess, nullptr);
  DWORD code = kJunk;
  EXPECT_TRUE(kwplat::GetExitCodeProcess(child.hProcess, &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(kwplat::WaitForSingleObject(child.hProcess, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  DWORD written = 0;
  ASSERT_TRUE(kwplat::WriteFile(input.write, "\n", 1, &written, nullptr));
  EXPECT_EQ(CodeAtEnd(child.hProcess), 7u);
  kwplat::CloseHandle(child.hProcess);
}

// Two threads waiting at once are both released, and every later wait and look
// gives the same answer: the first to see the end keeps it for the others.
TEST(Processes, EveryWaitOnAnEndedChildAgrees) {
  PipeEnds input;
  const PROCESS_INFORMATION child = Start(kChild + L" wait exit 9", input.read);
  ASSERT_NE(child.hProcess, nullptr);
  std::atomic<pid_t> tids[2] = {};
  DWORD results[2] = {kJunk, kJunk};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 2; ++i) {
    waiters.emplace_back([&, i] {
      tids[i] = gettid();
      results[i] = kwplat::WaitForSingleObject(child.hProcess, INFINITE);
    });
  }
  ASSERT_TRUE(kwtest::Eventually([&] {
    return tids[0] != 0 && tids[1] != 0 && kwtest::SleepsIn(tids[0], kwtest::kPollWaits) &&
           kwtest::SleepsIn(tids[1], kwtest::kPollWaits);
  }));
  DWORD written = 0;
  ASSERT_TRUE(kwplat::WriteFile(input.write, "\n", 1, &written, nullptr));
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(results[0], WAIT_OBJECT_0);
  EXPECT_EQ(results[1], WAIT_OBJECT_0);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(CodeAtEnd(child.hProcess), 9u) << "look " << again;
    EXPECT_EQ(kwplat::WaitForMultipleObjects(1, &child.hProcess, TRUE, 0), WAIT_OBJECT_0) << "look " << again;
  }
  kwplat::CloseHandle(child.hProcess);
}

// The caller's pipe ends and the process handle all closed while the child still
// waits to write: the output arrives whole through the ends left, and the child,
// whose handle has gone, is reaped when it ends rather than left a zombie.
TEST(Processes, HandlesClosedWhileTheChildRunsLoseNothing) {
  PipeEnds input, output;
  const PROCESS_INFORMATION child = Start(kChild + L" wait fill 100000", input.read, output.write);
  ASSERT_NE(child.hProcess, nullptr);
  PipeEnds::Close(input.read);
  PipeEnds::Close(output.write);
  EXPECT_TRUE(kwplat::CloseHandle(child.hProcess));
  DWORD written = 0;
  ASSERT_TRUE(kwplat::WriteFile(input.write, "\n", 1, &written, nullptr));
  PipeEnds::Close(input.write);
  EXPECT_EQ(ReadAll(output.read), Filling(100000));
  const std::string entry = "/proc/" + std::to_string(child.dwProcessId);
  EXPECT_TRUE(kwtest::Eventually([&] { return !std::filesystem::exists(entry); })) << "left as a zombie";
}

// The words as the child's argv receives them, through a program path that needs
// quoting itself: blanks, tabs, quotes, backslashes before a quote and at the end,
// text beyond ASCII and outside the basic plane.
TEST(Processes, ArgumentsReachTheChildWordForWord) {
  kwtest::TempDir dir("kwlib-args");
  const std::string folder = dir.At("dossier \xC3\xA9t\xC3\xA9");
  std::filesystem::create_directory(folder);
  const std::string program = folder + "/kw child";
  std::filesystem::copy_file(KWTEST_CHILD, program);
  const std::vector<std::wstring> words = {
      kwfw::Utf8ToWide(program), L"args", L"two words", L"tab\there", L"\"quoted\"", L"in\"side", L"back\\slash",
      L"trailing\\", L"\\\\\"both\\\\", L"   ", L"caf\u00E9 \u65E5\u672C \U0001F600", L"'single'", L""};
  PipeEnds output;
  const PROCESS_INFORMATION child = Start(kwplat::JoinCommandLine(words), nullptr, output.write);
  ASSERT_NE(child.hProcess, nullptr) << "error " << kwplat::GetLastError();
  PipeEnds::Close(output.write);
  std::string expected;
  for (std::size_t i = 2; i < words.size(); ++i) expected += "[" + kwfw::WideToUtf8(words[i]) + "]";
  EXPECT_EQ(ReadAll(output.read), expected + "\n");
  EXPECT_EQ(CodeAtEnd(child.hProcess), 0u);
  kwplat::CloseHandle(child.hProcess);
}

// A megabyte is many times what a pipe holds: the child can finish only while the
// parent reads, which it does on another thread as it waits for the end.
TEST(Processes, OutputBeyondAPipeBufferArrivesWholeWhileTheParentWaits) {
  constexpr std::size_t kSize = 1 << 20;
  PipeEnds output;
  const PROCESS_INFORMATION child = Start(kChild + L" fill " + std::to_wstring(kSize), nullptr, output.write);
  ASSERT_NE(child.hProcess, nullptr);
  PipeEnds::Close(output.write);
  std::string got;
  std::thread reader([&] { got = ReadAll(output.read); });
  const auto limit = static_cast<DWORD>(std::chrono::milliseconds(kwtest::kEventLimit).count());
  const DWORD waited = kwplat::WaitForSingleObject(child.hProcess, limit);
  EXPECT_EQ(waited, WAIT_OBJECT_0) << "the child never finished writing";
  if (waited != WAIT_OBJECT_0) kwplat::TerminateProcess(child.hProcess, 1);  // lets the reader end
  reader.join();
  EXPECT_EQ(got.size(), kSize);
  EXPECT_TRUE(got == Filling(kSize)) << "the bytes arrived changed or out of order";
  EXPECT_EQ(CodeAtEnd(child.hProcess), 0u);
  kwplat::CloseHandle(child.hProcess);
}

// A program is found by a path with a '/' or, by a bare name, in PATH.
TEST(Processes, ABareNameIsLookedUpInPath) {
  const std::filesystem::path child(KWTEST_CHILD);
  const kwtest::ScopedEnv path("PATH", ("/nonexistent-kw:" + child.parent_path().string()).c_str());
  const PROCESS_INFORMATION started = Start(kwfw::Utf8ToWide(child.filename().string()) + L" exit 5");
  ASSERT_NE(started.hProcess, nullptr) << "error " << kwplat::GetLastError();
  EXPECT_EQ(CodeAtEnd(started.hProcess), 5u);
  kwplat::CloseHandle(started.hProcess);
}

TEST(Processes, StartsThatCannotBeMadeGiveWindowsCodes) {
  kwtest::TempDir dir("kwlib-nostart");
  kwtest::WriteBytes(dir.At("plain"), "#!/bin/sh\nexit 0\n");  // not executable
  kwtest::WriteBytes(dir.At("garbage"), "no program at all\n");
  chmod(dir.At("garbage").c_str(), 0755);
  const std::wstring folder = kwfw::Utf8ToWide(dir.Path());
  const std::wstring file = kwfw::Utf8ToWide(dir.At("plain"));
  const struct {
    std::wstring line;
    const wchar_t* folder;
    DWORD error;
  } cases[] = {
      {L"/nonexistent/kw-program -x", nullptr, ERROR_FILE_NOT_FOUND},
      {L"kw-no-such-program-anywhere", nullptr, ERROR_FILE_NOT_FOUND},
      {folder, nullptr, ERROR_FILE_NOT_FOUND},  // a folder is no program
      {file, nullptr, ERROR_FILE_NOT_FOUND},    // nor a file without the right to run it
      {kwfw::Utf8ToWide(dir.At("garbage")), nullptr, ERROR_BAD_EXE_FORMAT},
      {kChild + L" exit 0", file.c_str(), ERROR_DIRECTORY},
      {kChild + L" exit 0", L"/nonexistent/kw-folder", ERROR_DIRECTORY},
  };
  for (const auto& c : cases) {
    kwplat::SetLastError(kJunk);
    const PROCESS_INFORMATION child = Start(c.line, nullptr, nullptr, c.folder);
    EXPECT_EQ(child.hProcess, nullptr) << kwfw::WideToUtf8(c.line);
    EXPECT_EQ(kwplat::GetLastError(), c.error) << kwfw::WideToUtf8(c.line);
    if (child.hProcess != nullptr) kwplat::CloseHandle(child.hProcess);
  }
}

// SplitCommandLine by the rules process.h states: blanks separate words, quotes
// group them, 2n backslashes before a quote give n and the quote acts, 2n+1 give n
// and a literal quote, other backslashes are literal, and the program name ends at
// its closing quote without escapes.
TEST(CommandLine, SplitsByTheWindowsRules) {
  const struct {
    const wchar_t* line;
    std::vector<std::wstring> words;
  } cases[] = {
      {L"prog a b", {L"prog", L"a", L"b"}},
      {L" \t prog\ta  \t b \t", {L"prog", L"a", L"b"}},
      {LR"(p a\\b c\d)", {L"p", LR"(a\\b)", LR"(c\d)"}},
      {LR"(p a\"b)", {L"p", L"a\"b"}},
      {LR"(p a\\"b c")", {L"p", LR"(a\b c)"}},
      {LR"(p a\\\"b)", {L"p", LR"(a\"b)"}},
      {LR"(p "" x)", {L"p", L"", L"x"}},
      {LR"(p "open ended)", {L"p", L"open ended"}},
      {LR"(p a"b c"d)", {L"p", L"ab cd"}},
      {LR"("my prog\" x)", {LR"(my prog\)", L"x"}},
      {LR"(  "C:\dir\" a\\"b c" d)", {LR"(C:\dir\)", LR"(a\b c)", L"d"}},
      {L"pr\u00F2g \"\u65E5 \u672C\" \U0001F600", {L"pr\u00F2g", L"\u65E5 \u672C", L"\U0001F600"}},
      {L"", {}},
      {L"   ", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(kwplat::SplitCommandLine(c.line), c.words) << kwfw::WideToUtf8(c.line);
  EXPECT_TRUE(kwplat::SplitCommandLine(nullptr).empty());
}

TEST(CommandLine, JoinIsUndoneBySplit) {
  const std::vector<std::vector<std::wstring>> cases = {
      {L"/opt/my tools/run", L"", L"a b", LR"(q"uote)", LR"(tail\)", LR"(\\"x)", L"plain"},
      {L"p", L"\t", LR"(\)", LR"(\\)", LR"(\")", LR"("")", L"a\tb"},
      {L"/usr/bin/\u00E9", L"\u65E5 \u672C", L"\U0001F600\""},
  };
  for (const auto& words : cases) {
    const std::wstring line = kwplat::JoinCommandLine(words);
    EXPECT_EQ(kwplat::SplitCommandLine(line.c_str()), words) << kwfw::WideToUtf8(line);
  }
}

}  // namespace
