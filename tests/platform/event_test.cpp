// Events, waits, and the wait that also wakes for the thread's message queue.
#include <glib.h>
#include <atomic>
#include <chrono>
#include <vector>
#include <thread>
#include <gtest/gtest.h>

#include <kwlib63/platform/event.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/messagequeue.h>

#include "support/eventually.h"

namespace {

struct Handles {
  HANDLE h[2];
  Handles(BOOL manual0, BOOL manual1) {
    h[0] = kwplat::CreateEventW(nullptr, manual0, FALSE, nullptr);
    h[1] = kwplat::CreateEventW(nullptr, manual1, FALSE, nullptr);
  }
  ~Handles() {
    kwplat::CloseHandle(h[0]);
    kwplat::CloseHandle(h[1]);
  }
};

TEST(Events, AutoAndManualReset) {
  Handles e(FALSE, TRUE);
  EXPECT_EQ(kwplat::WaitForSingleObject(e.h[0], 0), WAIT_TIMEOUT);
  kwplat::SetEvent(e.h[0]);
  EXPECT_EQ(kwplat::WaitForSingleObject(e.h[0], 0), WAIT_OBJECT_0);
  EXPECT_EQ(kwplat::WaitForSingleObject(e.h[0], 0), WAIT_TIMEOUT);  // the wait reset it
  kwplat::SetEvent(e.h[1]);
  EXPECT_EQ(kwplat::WaitForSingleObject(e.h[1], 0), WAIT_OBJECT_0);
  EXPECT_EQ(kwplat::WaitForSingleObject(e.h[1], 0), WAIT_OBJECT_0);  // stays signalled
  kwplat::ResetEvent(e.h[1]);
  EXPECT_EQ(kwplat::WaitForSingleObject(e.h[1], 10), WAIT_TIMEOUT);
}

TEST(Events, WaitForAnyOrAll) {
  Handles e(FALSE, TRUE);
  kwplat::SetEvent(e.h[1]);
  EXPECT_EQ(kwplat::WaitForMultipleObjects(2, e.h, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(kwplat::WaitForMultipleObjects(2, e.h, TRUE, 10), WAIT_TIMEOUT);
  kwplat::SetEvent(e.h[0]);
  EXPECT_EQ(kwplat::WaitForMultipleObjects(2, e.h, TRUE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(kwplat::WaitForSingleObject(e.h[0], 0), WAIT_TIMEOUT);  // taken by the wait for all
}

// A wait that times out has waited its time: a loop that waits 1 ms at a time
// must not spin. Only a lower bound, which no load can break.
TEST(Events, TimeOutIsWaitedWhole) {
  Handles e(FALSE, TRUE);
  for (const DWORD ms : {1u, 2u, 10u}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(kwplat::WaitForMultipleObjects(2, e.h, FALSE, ms), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(ms)) << ms << " ms";
  }
}

TEST(Events, BadArguments) {
  int notAnEvent = 0;
  HANDLE bad = &notAnEvent;
  EXPECT_EQ(kwplat::WaitForSingleObject(bad, 0), WAIT_FAILED);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(kwplat::WaitForMultipleObjects(0, nullptr, FALSE, 0), WAIT_FAILED);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(kwplat::SetEvent(nullptr));
}

bool Reaches(const std::atomic<int>& value, int target) {
  return kwtest::Eventually([&] { return value.load() >= target; });
}

TEST(Events, OneSetReleasesOneAutoWaiterAndEveryManualWaiter) {
  for (BOOL manual : {BOOL(FALSE), BOOL(TRUE)}) {
    HANDLE e = kwplat::CreateEventW(nullptr, manual, FALSE, nullptr);
    std::atomic<int> released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i) {
      waiters.emplace_back([&] {
        if (kwplat::WaitForSingleObject(e, 60000) == WAIT_OBJECT_0) ++released;
      });
    }
    kwplat::SetEvent(e);
    if (!manual) {
      for (int n = 1; n <= 4; ++n) {
        ASSERT_TRUE(Reaches(released, n));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(released.load(), n) << "one set released more than one waiter";
        if (n < 4) kwplat::SetEvent(e);
      }
    }
    for (auto& t : waiters) t.join();
    EXPECT_EQ(released.load(), 4) << "manual " << manual;
    kwplat::CloseHandle(e);
  }
}

TEST(MsgWait, WakesForAReadySourceWithoutDispatchingIt) {
  GMainContext* context = static_cast<GMainContext*>(kwplat::GetThreadMainContext());
  int calls = 0;
  GSource* idle = g_idle_source_new();
  g_source_set_callback(
      idle, [](gpointer data) { ++*static_cast<int*>(data); return G_SOURCE_REMOVE; }, &calls, nullptr);
  g_source_attach(idle, context);
  g_source_unref(idle);
  HANDLE e = kwplat::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(kwplat::MsgWaitForMultipleObjects(1, &e, FALSE, 60000, QS_ALLINPUT), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(kwplat::HasPendingMessage());
  EXPECT_TRUE(kwplat::PumpOneMessage(nullptr));
  EXPECT_EQ(calls, 1);
  // Without the wake mask the queue is not looked at.
  EXPECT_EQ(kwplat::MsgWaitForMultipleObjects(1, &e, FALSE, 10, 0), WAIT_TIMEOUT);
  kwplat::CloseHandle(e);
}

TEST(MsgWait, WakesForTheEventFromAnotherThreadAndForAQuitRequest) {
  HANDLE e = kwplat::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::thread setter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    kwplat::SetEvent(e);
  });
  EXPECT_EQ(kwplat::MsgWaitForMultipleObjects(1, &e, FALSE, 60000, QS_ALLINPUT), WAIT_OBJECT_0);
  setter.join();
  // A wake-up of the context with nothing to dispatch is no message.
  std::thread waker([] { g_main_context_wakeup(g_main_context_default()); });
  EXPECT_EQ(kwplat::MsgWaitForMultipleObjects(1, &e, FALSE, 100, QS_ALLINPUT), WAIT_TIMEOUT);
  waker.join();
  kwplat::PostQuitMessage(7);
  EXPECT_EQ(kwplat::MsgWaitForMultipleObjects(1, &e, FALSE, 60000, QS_ALLINPUT), WAIT_OBJECT_0 + 1);
  int code = 0;
  EXPECT_FALSE(kwplat::PumpOneMessage(&code));
  EXPECT_EQ(code, 7);
  EXPECT_FALSE(kwplat::HasPendingMessage());
  kwplat::CloseHandle(e);
}

}  // namespace
