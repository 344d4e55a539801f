// Thread ids and names: the calling thread's id is the kernel's, and a name set by
// a thread's id reads back from that thread's comm under /proc, for the calling
// thread and for another one, cut to 15 bytes; ids of no thread of this process
// fail.
#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <gtest/gtest.h>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/thread.h>

namespace {

std::string Comm(DWORD tid) {
  std::ifstream f("/proc/self/task/" + std::to_string(tid) + "/comm");
  std::string name;
  std::getline(f, name);
  return name;
}

// Names and what the kernel keeps of them.
const struct {
  const char* name;
  const char* comm;
} kNames[] = {{"kw-name", "kw-name"},
              {"exactly-15-byte", "exactly-15-byte"},
              {"sixteen-bytes-xx", "sixteen-bytes-x"},
              {"\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3"}};

TEST(Thread, CurrentThreadIdIsTheKernels) {
  EXPECT_EQ(kwplat::GetCurrentThreadId(), static_cast<DWORD>(gettid()));
  EXPECT_EQ(kwplat::GetCurrentThreadId(), static_cast<DWORD>(getpid()));  // the main thread
  const auto [id, tid] = std::async(std::launch::async, [] {
                           return std::pair(kwplat::GetCurrentThreadId(), static_cast<DWORD>(gettid()));
                         }).get();
  EXPECT_EQ(id, tid);
  EXPECT_NE(id, kwplat::GetCurrentThreadId());
}

TEST(Thread, NamesTheCallingThread) {
  const DWORD self = kwplat::GetCurrentThreadId();
  const std::string former = Comm(self);
  for (const auto& c : kNames) {
    EXPECT_TRUE(kwplat::SetThreadName(self, c.name)) << c.name;
    EXPECT_EQ(Comm(self), c.comm) << c.name;
  }
  kwplat::SetLastError(0);
  EXPECT_FALSE(kwplat::SetThreadName(self, nullptr));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Comm(self), kNames[3].comm);
  EXPECT_TRUE(kwplat::SetThreadName(self, former.c_str()));
  EXPECT_EQ(Comm(self), former);
}

TEST(Thread, NamesAnotherThreadByItsId) {
  std::mutex lock;
  std::condition_variable changed;
  bool finish = false;  // guarded by lock
  std::promise<DWORD> started;
  std::thread other([&] {
    started.set_value(kwplat::GetCurrentThreadId());
    std::unique_lock held(lock);
    changed.wait(held, [&] { return finish; });
  });
  const DWORD id = started.get_future().get();
  const std::string mine = Comm(kwplat::GetCurrentThreadId());
  for (const auto& c : kNames) {
    EXPECT_TRUE(kwplat::SetThreadName(id, c.name)) << c.name;
    EXPECT_EQ(Comm(id), c.comm) << c.name;
  }
  EXPECT_EQ(Comm(kwplat::GetCurrentThreadId()), mine);  // only the one named
  {
    const std::lock_guard held(lock);
    finish = true;
  }
  changed.notify_one();
  other.join();

  // An ended thread, and ids of no thread, are refused.
  for (const DWORD gone : {id, DWORD{0}, DWORD{0x7FFFFFF0}}) {
    kwplat::SetLastError(0);
    EXPECT_FALSE(kwplat::SetThreadName(gone, "gone")) << gone;
    EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER) << gone;
  }
}

}  // namespace
