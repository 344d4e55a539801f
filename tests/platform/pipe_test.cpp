// Pipes and child processes: a close wakes every call blocked on the handle, an
// end refuses the other end's direction, a wait sees the end of a child made
// without a descriptor to spare, and a child that has ended cannot be terminated.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/platform/event.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/process.h>

#include "support/eventually.h"
#include "support/threadwait.h"

namespace {

using kwtest::kReadWaits;
using kwtest::kWriteWaits;
using kwtest::SleepsIn;

// A megabyte nobody reads fills the pipe: closing the writing end wakes the
// write, which fails as a broken pipe.
TEST(Pipes, ClosingAHandleWakesABlockedWrite) {
  HANDLE readEnd = nullptr, writeEnd = nullptr;
  ASSERT_TRUE(kwplat::CreatePipe(&readEnd, &writeEnd, nullptr, 0));
  const std::vector<char> data(1 << 20, 'x');
  std::atomic<pid_t> tid{0};
  std::atomic<bool> done{false};
  BOOL result = TRUE;
  DWORD error = 0;
  std::thread writer([&] {
    tid = gettid();
    DWORD written = 0;
    result = kwplat::WriteFile(writeEnd, data.data(), static_cast<DWORD>(data.size()), &written, nullptr);
    error = kwplat::GetLastError();
    done = true;
  });
  ASSERT_TRUE(kwtest::Eventually([&] { return tid != 0 && SleepsIn(tid, kWriteWaits); }));
  EXPECT_TRUE(kwplat::CloseHandle(writeEnd));
  EXPECT_TRUE(kwtest::Eventually([&] { return done.load(); })) << "the write stayed blocked";
  EXPECT_TRUE(kwplat::CloseHandle(readEnd));  // lets a write the close did not wake fail
  writer.join();
  EXPECT_FALSE(result);
  EXPECT_EQ(error, static_cast<DWORD>(ERROR_BROKEN_PIPE));
}

// Several readers wait on one end; one byte releases one of them, and closing
// the handle releases all the others, whichever of them took the byte.
TEST(Pipes, ClosingAHandleWakesEveryBlockedReader) {
  constexpr int kReaders = 8;
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    ASSERT_TRUE(kwplat::CreatePipe(&readEnd, &writeEnd, nullptr, 0));
    std::atomic<pid_t> tids[kReaders] = {};
    std::atomic<int> finished{0}, brokenPipe{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < kReaders; ++i) {
      readers.emplace_back([&, i] {
        tids[i] = gettid();
        char byte = 0;
        DWORD read = 0;
        if (!kwplat::ReadFile(readEnd, &byte, 1, &read, nullptr) && kwplat::GetLastError() == ERROR_BROKEN_PIPE) {
          ++brokenPipe;
        }
        ++finished;
      });
    }
    ASSERT_TRUE(kwtest::Eventually([&] {
      return std::all_of(std::begin(tids), std::end(tids), [](const auto& tid) { return tid != 0 && SleepsIn(tid, kReadWaits); });
    }));
    DWORD written = 0;
    ASSERT_TRUE(kwplat::WriteFile(writeEnd, "z", 1, &written, nullptr));
    ASSERT_TRUE(kwtest::Eventually([&] { return finished >= 1; }));
    EXPECT_TRUE(kwplat::CloseHandle(readEnd));
    const bool woken = kwtest::Eventually([&] { return finished == kReaders; });
    EXPECT_TRUE(woken) << kReaders - finished << " readers stayed blocked";
    // Lets them go: their descriptor is still open under them.
    for (int i = finished; i < kReaders; ++i) kwplat::WriteFile(writeEnd, "z", 1, &written, nullptr);
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(brokenPipe.load(), kReaders - 1);
    kwplat::CloseHandle(writeEnd);
    if (!woken) break;
  }
}

// As Windows refuses a handle opened without the access a call needs.
TEST(Pipes, EachEndRefusesTheOtherDirection) {
  HANDLE readEnd = nullptr, writeEnd = nullptr;
  ASSERT_TRUE(kwplat::CreatePipe(&readEnd, &writeEnd, nullptr, 0));
  char byte = 'j';
  DWORD count = 99;
  EXPECT_FALSE(kwplat::ReadFile(writeEnd, &byte, 1, &count, nullptr));
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(count, 0u);
  count = 99;
  EXPECT_FALSE(kwplat::WriteFile(readEnd, &byte, 1, &count, nullptr));
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(count, 0u);
  // Each end still works in its own direction.
  EXPECT_TRUE(kwplat::WriteFile(writeEnd, "k", 1, &count, nullptr));
  EXPECT_TRUE(kwplat::ReadFile(readEnd, &byte, 1, &count, nullptr));
  EXPECT_EQ(byte, 'k');
  kwplat::CloseHandle(readEnd);
  kwplat::CloseHandle(writeEnd);
}

// A forked child that closes its copies of a pipe's handles leaves the pipe as it
// was for the parent: a read still waits for the byte the parent writes.
TEST(Pipes, ClosingCopiesInAForkedChildLeavesThePipe) {
  HANDLE readEnd = nullptr, writeEnd = nullptr;
  ASSERT_TRUE(kwplat::CreatePipe(&readEnd, &writeEnd, nullptr, 0));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    kwplat::CloseHandle(readEnd);
    kwplat::CloseHandle(writeEnd);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  std::atomic<pid_t> tid{0};
  std::atomic<bool> done{false};
  BOOL result = FALSE;
  DWORD error = 0;
  char byte = 0;
  std::thread reader([&] {
    tid = gettid();
    DWORD read = 0;
    result = kwplat::ReadFile(readEnd, &byte, 1, &read, nullptr);
    error = kwplat::GetLastError();
    done = true;
  });
  ASSERT_TRUE(kwtest::Eventually([&] { return done || (tid != 0 && SleepsIn(tid, kReadWaits)); }));
  DWORD written = 0;
  EXPECT_TRUE(kwplat::WriteFile(writeEnd, "k", 1, &written, nullptr));
  reader.join();
  EXPECT_TRUE(result) << "the read failed at once with error " << error;
  EXPECT_EQ(byte, 'k');
  kwplat::CloseHandle(readEnd);
  kwplat::CloseHandle(writeEnd);
}

// Starts `command` with this process's streams: its process handle, or null;
// `pid`, when given, receives the child's id.
HANDLE StartChild(const wchar_t* command, DWORD* pid = nullptr) {
  std::wstring line = command;
  STARTUPINFOW startup{};
  PROCESS_INFORMATION information{};
  if (!kwplat::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &information)) {
    return nullptr;
  }
  if (pid != nullptr) *pid = information.dwProcessId;
  return information.hProcess;
}

// A child that has exited, its end not yet looked at by any call, is gone: the
// call fails and its own exit code stays.
TEST(Processes, TerminatingAChildThatHasEndedKeepsItsCode) {
  DWORD pid = 0;
  HANDLE child = StartChild(L"sh -c \"exit 3\"", &pid);
  ASSERT_NE(child, nullptr);
  // Looks at the child's end without reaping it.
  ASSERT_TRUE(kwtest::Eventually([&] {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
  }));
  EXPECT_FALSE(kwplat::TerminateProcess(child, 9));
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  DWORD code = 0;
  ASSERT_TRUE(kwplat::GetExitCodeProcess(child, &code));
  EXPECT_EQ(code, 3u);
  kwplat::CloseHandle(child);
}

// A writing end whose reader has gone still starts the child, whose first write
// to it then fails: the shell dies of SIGPIPE.
TEST(Processes, AChildGivenAPipeWithoutAReaderStarts) {
  HANDLE readEnd = nullptr, writeEnd = nullptr;
  ASSERT_TRUE(kwplat::CreatePipe(&readEnd, &writeEnd, nullptr, 0));
  ASSERT_TRUE(kwplat::CloseHandle(readEnd));
  std::wstring line = L"sh -c \"echo lost; exit 4\"";
  STARTUPINFOW startup{};
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writeEnd;
  PROCESS_INFORMATION information{};
  ASSERT_TRUE(kwplat::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                                     &information))
      << "error " << kwplat::GetLastError();
  EXPECT_EQ(kwplat::WaitForSingleObject(information.hProcess, INFINITE), WAIT_OBJECT_0);
  DWORD code = 0;
  EXPECT_TRUE(kwplat::GetExitCodeProcess(information.hProcess, &code));
  EXPECT_EQ(code, 128u + SIGPIPE);
  kwplat::CloseHandle(information.hProcess);
  kwplat::CloseHandle(writeEnd);
}

// Lowers the descriptor limit so that no descriptor is left to open; restores it
// on destruction.
class NoSpareDescriptor {
 public:
  NoSpareDescriptor() {
    getrlimit(RLIMIT_NOFILE, &m_saved);
    std::vector<int> open;
    DIR* dir = opendir("/proc/self/fd");
    while (dirent* entry = readdir(dir)) {
      if (entry->d_name[0] != '.') open.push_back(std::atoi(entry->d_name));
    }
    closedir(dir);  // its own descriptor was among them
    const int top = *std::max_element(open.begin(), open.end());
    // Every hole below the top is filled, so that the limit leaves none.
    for (int fd = 0; fd < top; ++fd) {
      if (fcntl(fd, F_GETFD) >= 0) continue;
      const int filler = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
      if (filler != fd) {
        dup2(filler, fd);
        close(filler);
      }
      m_fillers.push_back(fd);
    }
    rlimit lower = m_saved;
    lower.rlim_cur = static_cast<rlim_t>(top);
    setrlimit(RLIMIT_NOFILE, &lower);
  }
  ~NoSpareDescriptor() {
    setrlimit(RLIMIT_NOFILE, &m_saved);
    for (int fd : m_fillers) close(fd);
  }
  NoSpareDescriptor(const NoSpareDescriptor&) = delete;
  NoSpareDescriptor& operator=(const NoSpareDescriptor&) = delete;

 private:
  rlimit m_saved{};
  std::vector<int> m_fillers;
};

// The child starts, but no descriptor is left to watch it by: an endless wait
// under way still ends with it.
TEST(Processes, AWaitSeesTheEndOfAChildMadeWithoutASpareDescriptor) {
  // The same calls once with descriptors to spare: the sanitizers take one the
  // first time they meet some calls.
  HANDLE warm = StartChild(L"sh -c \"exit 0\"");
  ASSERT_NE(warm, nullptr);
  EXPECT_EQ(kwplat::WaitForSingleObject(warm, INFINITE), WAIT_OBJECT_0);
  kwplat::CloseHandle(warm);
  HANDLE child = nullptr;
  DWORD pid = 0;
  {
    NoSpareDescriptor none;
    ASSERT_LT(open("/dev/null", O_RDONLY | O_CLOEXEC), 0);  // nothing left indeed
    child = StartChild(L"sleep 600", &pid);
  }
  ASSERT_NE(child, nullptr);
  HANDLE letGo = kwplat::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::atomic<pid_t> tid{0};
  std::atomic<bool> done{false};
  DWORD result = 0;
  std::thread waiter([&] {
    tid = gettid();
    const HANDLE both[] = {letGo, child};
    result = kwplat::WaitForMultipleObjects(2, both, FALSE, INFINITE);
    done = true;
  });
  ASSERT_TRUE(kwtest::Eventually([&] { return tid != 0 && SleepsIn(tid, kwtest::kPollWaits); }));
  kill(static_cast<pid_t>(pid), SIGKILL);  // directly, so that no call of ours looks at the child
  if (!kwtest::Eventually([&] { return done.load(); })) kwplat::SetEvent(letGo);
  waiter.join();
  EXPECT_EQ(result, WAIT_OBJECT_0 + 1) << "the wait did not see the child end";
  kwplat::CloseHandle(letGo);
  DWORD code = 0;
  EXPECT_TRUE(kwplat::GetExitCodeProcess(child, &code));
  EXPECT_EQ(code, 128u + SIGKILL);
  kwplat::CloseHandle(child);
}

}  // namespace
