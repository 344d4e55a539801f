// The application frame: main window and frame, the pump with its quit rule, the
// application thread test and thread names.
#include <glib.h>
#include <unistd.h>
#include <fstream>
#include <future>
#include <vector>
#include <string>
#include <thread>
#include <gtest/gtest.h>

#include <kwlib63/framework/winapp.h>
#include <kwlib63/framework/wnd.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/ui/appframe.h>

#include "support/recorders.h"

namespace {

void AddIdle(int* calls) {
  GSource* idle = g_idle_source_new();
  g_source_set_callback(
      idle, [](gpointer data) { ++*static_cast<int*>(data); return G_SOURCE_REMOVE; }, calls, nullptr);
  g_source_attach(idle, static_cast<GMainContext*>(kwplat::GetThreadMainContext()));
  g_source_unref(idle);
}

class IdleApp : public CWinApp {
 public:
  IdleApp() : CWinApp(L"Proves") {}
  BOOL OnIdle(LONG count) override {
    idle.push_back(count);
    return count < 3;
  }
  std::vector<LONG> idle;
};

TEST(AppFrame, MainWindowAndFrame) {
  EXPECT_EQ(AfxGetAppWnd(), nullptr);
  EXPECT_EQ(AfxGetAppFrame(), nullptr);
  IdleApp app;
  EXPECT_EQ(AfxGetAppWnd(), nullptr);
  CWnd plain;
  app.m_pMainWnd = &plain;
  EXPECT_EQ(AfxGetAppWnd(), &plain);
  EXPECT_EQ(AfxGetAppFrame(), nullptr);  // not a frame window
  CFrameWnd frame;
  app.m_pMainWnd = &frame;
  EXPECT_EQ(AfxGetAppFrame(), &frame);
  app.m_pMainWnd = nullptr;
}

TEST(AppFrame, DoEventsPumpsWhatWaitsThenIdles) {
  IdleApp app;
  int calls = 0;
  AddIdle(&calls);
  AddIdle(&calls);
  AfxDoEvents(nullptr, 0);
  EXPECT_EQ(calls, 2);
  EXPECT_TRUE(app.idle.empty());
  AddIdle(&calls);
  DoEvents(static_cast<CWnd*>(nullptr));
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(app.idle, (std::vector<LONG>{0, 1, 2, 3}));
  int dummy = 0;
  DoEvents(reinterpret_cast<HWND>(&dummy));  // an unknown window handle is harmless
}

TEST(AppFrame, QuitMetInsideDoEventsIsPostedAgain) {
  kwtest::DebugOutputRecorder out;
  IdleApp app;
  int calls = 0;
  kwplat::PostQuitMessage(5);
  AddIdle(&calls);
  AfxDoEvents(nullptr, 1);
  EXPECT_EQ(out.All(), L"[AfxDoEvents] WM_QUIT rebut dins del AfxDoEvents...\n");
  EXPECT_EQ(calls, 1);  // what was ready before the quit was still pumped
  EXPECT_EQ(app.idle, (std::vector<LONG>{0, 1, 2, 3}));  // idle time still follows
  // The application's own loop still ends, with the re-posted code 0.
  EXPECT_EQ(app.Run(), 0);
}

TEST(AppFrame, WithoutAThreadObjectNothingIsPumped) {
  std::thread([] {
    int calls = 0;
    AddIdle(&calls);
    EXPECT_EQ(AfxGetThread(), nullptr);
    AfxDoEvents(nullptr, 1);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(kwplat::PumpOneMessage(nullptr));  // the source is in this thread's own queue
    EXPECT_EQ(calls, 1);
  }).join();
}

TEST(AppFrame, ApplicationThread) {
  EXPECT_EQ(AfxIsAppThread(), 0);
  IdleApp app;
  EXPECT_EQ(AfxIsAppThread(), 1);
  EXPECT_EQ(std::async(std::launch::async, [] { return AfxIsAppThread(); }).get(), 0);
}

std::string Comm(pid_t tid) {
  std::ifstream f("/proc/self/task/" + std::to_string(tid) + "/comm");
  std::string name;
  std::getline(f, name);
  return name;
}

TEST(AppFrame, ThreadNames) {
  AfxSetThreadName("kwlib-proves", 0xFFFFFFFF);
  EXPECT_EQ(Comm(gettid()), "kwlib-proves");
  std::promise<pid_t> tid;
  std::promise<void> named;
  std::thread other([&] {
    tid.set_value(gettid());
    named.get_future().wait();
    EXPECT_EQ(Comm(gettid()), "a-very-long-thr");  // cut to 15 bytes
  });
  const pid_t otherTid = tid.get_future().get();
  AfxSetThreadName("a-very-long-thread-name", static_cast<unsigned long>(otherTid));
  named.set_value();
  other.join();
  AfxSetThreadName(nullptr, 0xFFFFFFFF);
  AfxSetThreadName("gone", 0x7FFFFFF0);  // no such thread: ignored
  EXPECT_EQ(Comm(gettid()), "kwlib-proves");
}

// Naming never fails, so a thread that is gone leaves the caller's last error.
TEST(AppFrame, ThreadNamesKeepTheLastError) {
  kwplat::SetLastError(ERROR_ACCESS_DENIED);
  AfxSetThreadName("gone", 0x7FFFFFF0);
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

}  // namespace
