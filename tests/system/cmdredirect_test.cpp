// CCmdRedirect with a real child: both streams delivered, progress parsing, input
// reaching the child, the start-failure report, termination of a running child,
// destruction mid-run, the argument rules, the working folder and the descriptors
// the child receives.
#include <atomic>
#include <climits>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <mutex>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/event.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/process.h>
#include <kwlib63/system/cmdredirect.h>

#include "support/eventually.h"
#include "support/tempdir.h"

namespace {

const std::wstring kChild = L"" KWTEST_CHILD;

class Recorder : public CCmdRedirect {
 public:
  // The first call kills a running child, the second stops the threads: none of
  // them may call into this object once it is going.
  ~Recorder() override {
    TerminateChildProcess();
    TerminateChildProcess();
  }

  void OnChildStarted(const wchar_t*) override { m_started = true; }
  void OnChildStdOutWrite(const wchar_t* text) override {
    std::lock_guard guard(m_lock);
    m_out += text;
    m_outCalls.emplace_back(text);
  }
  void OnChildStdErrWrite(const wchar_t* text) override {
    std::lock_guard guard(m_lock);
    m_err += text;
  }
  void OnChildTerminate() override { m_terminated = true; }

  // Waits until the child has ended and `out` has arrived.
  bool WaitFor(const std::wstring& out) {
    return kwtest::Eventually([&] { return m_terminated && Out().find(out) != std::wstring::npos; });
  }
  // Waits until `out` has arrived, the child running or not.
  bool Sees(const std::wstring& out) {
    return kwtest::Eventually([&] { return Out().find(out) != std::wstring::npos; });
  }
  std::wstring Out() {
    std::lock_guard guard(m_lock);
    return m_out;
  }
  std::wstring Err() {
    std::lock_guard guard(m_lock);
    return m_err;
  }

  std::mutex m_lock;
  std::wstring m_out, m_err;
  std::vector<std::wstring> m_outCalls;
  std::atomic<bool> m_started{false}, m_terminated{false};
};

int Start(Recorder& r, const std::wstring& args, const wchar_t* folder = nullptr) {
  return r.StartChildProcess((kChild + L" " + args).c_str(), FALSE, TRUE, folder);
}

TEST(CmdRedirect, OutputErrorAndExitCode) {
  Recorder r;
  ASSERT_EQ(Start(r, L"out hello err oops exit 3"), 1);
  EXPECT_TRUE(r.m_started);
  ASSERT_TRUE(r.WaitFor(L"hello\n"));
  r.TerminateChildProcess();
  EXPECT_EQ(r.Out(), L"hello\n");
  EXPECT_EQ(r.Err(), L"oops\n");
  EXPECT_EQ(r.GetExitCode(), 3u);
  EXPECT_EQ(r.IsChildRunning(), 0);
}

// The child writes each part only once the test has seen the one before, so every
// part is a read of its own whatever the machine's load, as from a child that
// reports now and then.
void Step(Recorder& r, const std::vector<std::wstring>& parts) {
  for (const std::wstring& part : parts) {
    ASSERT_TRUE(r.Sees(part)) << "waiting for " << kwfw::WideToUtf8(part);
    r.WriteChildStdIn("\n");
  }
}

TEST(CmdRedirect, ProgressOnlyRisesAndSurvivesSplitWrites) {
  Recorder r;
  ASSERT_EQ(Start(r, L"out 5% wait out 12% wait out 7% wait out %"), 1);
  Step(r, {L"5%\n", L"12%\n", L"7%\n"});
  ASSERT_TRUE(r.WaitFor(L"7%\n%\n"));
  EXPECT_EQ(r.GetCurrentProgress(), 12);
  r.TerminateChildProcess();

  Recorder split;
  ASSERT_EQ(Start(split, L"raw 4 wait raw 2% wait raw x% wait split-e"), 1);
  Step(split, {L"4", L"42%", L"42%x%"});
  // The first byte of é cannot be seen alone (it is held for the next read); it is
  // given time to arrive before the second is asked for.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  split.WriteChildStdIn("\n");
  EXPECT_TRUE(split.WaitFor(L"\u00E9"));
  EXPECT_EQ(split.GetCurrentProgress(), 42);
  EXPECT_EQ(split.Out(), L"42%x%\u00E9");
}

// The percentage as the object has always followed it: all the text since the last
// step kept, and after each chunk the digits before its last sign read.
struct ProgressModel {
  std::string text;
  int progress = 0;
  void Chunk(std::string_view chunk) {
    text += chunk;
    const std::size_t sign = text.rfind('%');
    if (sign == std::string::npos || sign == 0) return;
    std::size_t start = sign;
    while (start > 0 && text[start - 1] >= '0' && text[start - 1] <= '9') --start;
    if (start == sign) return;
    const long long value = std::strtoll(text.c_str() + start, nullptr, 10);
    const int percentage = value > INT_MAX ? INT_MAX : static_cast<int>(value);
    if (percentage > progress) {
      progress = percentage;
      text.clear();
    }
  }
};

// Output of every size around the chunk and the read: whatever the chunks, each
// holds at most 256 bytes, they come in order, the percentage is the model's over
// the same chunks, and the text kept for it stays small.
TEST(CmdRedirect, ChunksAndProgressFollowTheModel) {
  class Chunks : public Recorder {
   public:
    std::size_t Kept() const { return m_strProgressText.size(); }
  };
  const unsigned seed = std::random_device{}();
  std::mt19937 rng(seed);
  kwtest::TempDir dir;
  for (const std::size_t size : {0u, 1u, 255u, 256u, 257u, 4096u, 65535u, 65536u, 65537u, 300000u}) {
    // Runs of digits long and short, signs, other bytes; leading zeros and numbers
    // beyond the cap included.
    std::string text;
    while (text.size() < size) {
      const unsigned pick = rng() % 10;
      if (pick < 5) text += std::string(1 + rng() % (pick == 0 ? 40 : 3), static_cast<char>('0' + rng() % 10));
      else if (pick < 7) text += '%';
      else text += "x\n"[rng() % 2];
    }
    text.resize(size);
    const std::string file = dir.At("out-" + std::to_string(size));
    kwtest::WriteBytes(file, text);
    Chunks r;
    ASSERT_EQ(r.StartChildProcess(kwfw::Utf8ToWide("/bin/cat " + file).c_str(), FALSE, TRUE, nullptr), 1);
    ASSERT_TRUE(kwtest::Eventually([&] { return r.m_terminated && r.Out().size() == size; }))
        << "seed " << seed << ", size " << size;
    r.TerminateChildProcess();
    ProgressModel model;
    std::string joined;
    for (const std::wstring& chunk : r.m_outCalls) {
      ASSERT_LE(chunk.size(), 256u) << "seed " << seed;
      model.Chunk(kwfw::WideToUtf8(chunk));
      joined += kwfw::WideToUtf8(chunk);
    }
    EXPECT_EQ(joined, text) << "seed " << seed << ", size " << size;
    EXPECT_EQ(r.GetCurrentProgress(), model.progress) << "seed " << seed << ", size " << size;
    EXPECT_LE(r.Kept(), 10u) << "seed " << seed << ", size " << size;
  }
}

TEST(CmdRedirect, InputArgumentsFolderAndDescriptors) {
  Recorder r;
  ASSERT_EQ(Start(r, L"echo-stdin"), 1);
  r.WriteChildStdIn("ping\n");
  ASSERT_TRUE(r.WaitFor(L"ping\n"));
  r.TerminateChildProcess();

  Recorder args;
  ASSERT_EQ(Start(args, LR"(args "a b" c\"d e\\f "g\\" "")"), 1);
  ASSERT_TRUE(args.WaitFor(L"\n"));
  EXPECT_EQ(args.Out(), LR"([a b][c"d][e\\f][g\][])" L"\n");

  kwtest::TempDir folder("kwlib-cwd");
  Recorder cwd;
  ASSERT_EQ(Start(cwd, L"cwd", std::wstring(folder.Path().begin(), folder.Path().end()).c_str()), 1);
  ASSERT_TRUE(cwd.WaitFor(L"\n"));
  EXPECT_EQ(cwd.Out(), std::wstring(folder.Path().begin(), folder.Path().end()) + L"\n");

  Recorder fds;
  ASSERT_EQ(Start(fds, L"fds"), 1);
  ASSERT_TRUE(fds.WaitFor(L"\n"));
  EXPECT_EQ(fds.Out(), L"0 1 2 \n");  // nothing of the parent's leaks in

  // The caller's ends wait without blocking; the child's streams block, as a
  // program expects of them.
  Recorder modes;
  ASSERT_EQ(Start(modes, L"blocking"), 1);
  ASSERT_TRUE(modes.WaitFor(L"\n"));
  EXPECT_EQ(modes.Out(), L"bbb\n");
}

TEST(CmdRedirect, MissingProgramAndUnredirectedStart) {
  Recorder r;
  EXPECT_EQ(r.StartChildProcess(L"/nonexistent/program -x", FALSE, TRUE, nullptr), 0);
  EXPECT_EQ(r.m_outCalls, (std::vector<std::wstring>{L"Unable to start ", L"/nonexistent/program -x", L"\n"}));
  EXPECT_FALSE(r.m_started);

  Recorder plain;
  EXPECT_EQ(plain.StartChildProcess((kChild + L" exit 0").c_str(), FALSE, FALSE, nullptr), 1);
  EXPECT_EQ(plain.IsChildRunning(), 0);
  EXPECT_EQ(plain.StartChildProcess(L"/nonexistent/program", FALSE, FALSE, nullptr), 1);  // not reported
}

int Entries(const char* folder) {
  int n = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) n += entry.path().empty() ? 0 : 1;
  return n;
}

// A failed start keeps the caller's ends until termination; a later start on the
// same object ends them first.
TEST(CmdRedirect, FailedStartsLeaveNothingToALaterStart) {
  const int fds = Entries("/proc/self/fd");
  {
    Recorder r;
    for (int i = 0; i < 5; ++i) ASSERT_EQ(r.StartChildProcess(L"/nonexistent/program", FALSE, TRUE, nullptr), 0) << i;
    ASSERT_EQ(Start(r, L"out ran exit 0"), 1);
    ASSERT_TRUE(r.WaitFor(L"ran\n"));
  }
  EXPECT_LE(Entries("/proc/self/fd"), fds);
}

// A second start stops the earlier child first (a running one is killed), so that
// no two children's threads share the object; nothing is left behind.
TEST(CmdRedirect, ASecondStartStopsTheFirst) {
  {
    // One run first, so that what the runtime makes once (a sanitizer's own
    // thread) is counted in the baseline.
    Recorder warm;
    ASSERT_EQ(Start(warm, L"exit 0"), 1);
    warm.TerminateChildProcess();
  }
  const int fds = Entries("/proc/self/fd"), threads = Entries("/proc/self/task");
  for (const bool firstEnded : {false, true}) {
    {
      Recorder r;
      ASSERT_EQ(Start(r, firstEnded ? L"out first exit 4" : L"out first sleep 20000"), 1);
      ASSERT_TRUE(r.Sees(L"first\n"));
      if (firstEnded) {
        ASSERT_TRUE(r.WaitFor(L"first\n"));
        EXPECT_EQ(r.GetExitCode(), 4u);
      }
      ASSERT_EQ(Start(r, L"out second wait exit 5"), 1);
      EXPECT_TRUE(r.m_terminated) << "the first child's end was reported before the second started";
      r.m_terminated = false;
      ASSERT_TRUE(r.Sees(L"second\n"));
      EXPECT_EQ(r.IsChildRunning(), 1);
      r.WriteChildStdIn("\n");  // reaches the second child
      ASSERT_TRUE(r.WaitFor(L"second\n"));
      EXPECT_EQ(r.GetExitCode(), 5u);
      r.TerminateChildProcess();
    }
    // Nothing left behind (a helper thread of an earlier test may have ended since).
    EXPECT_LE(Entries("/proc/self/fd"), fds) << (firstEnded ? "first ended" : "first running");
    EXPECT_LE(Entries("/proc/self/task"), threads) << (firstEnded ? "first ended" : "first running");
  }
}

// Holds up its first output callback until the object's reading end has been
// closed under it, as a slow callback does while the object is terminated.
class SlowReader : public CCmdRedirect {
 public:
  ~SlowReader() override {
    TerminateChildProcess();
    TerminateChildProcess();
  }
  void OnChildStarted(const wchar_t*) override { m_read = m_hStdOutRead; }
  void OnChildStdOutWrite(const wchar_t*) override {
    if (m_entered.exchange(true)) return;
    // The readers start before OnChildStarted runs.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (m_read.load() == nullptr && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    m_inside.set_value();
    // A read of nothing tells whether the handle is still open without taking
    // what the grandchild keeps writing.
    char none = 0;
    DWORD read = 0;
    while (m_read.load() != nullptr && std::chrono::steady_clock::now() < limit) {
      if (!kwplat::ReadFile(m_read, &none, 0, &read, nullptr)) {
        m_probeError = kwplat::GetLastError();
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  std::atomic<HANDLE> m_read{nullptr};
  std::atomic<bool> m_entered{false};
  std::promise<void> m_inside;
  std::atomic<DWORD> m_probeError{0};
};

TEST(CmdRedirect, TerminatingDuringASlowCallbackWhileAGrandchildKeepsThePipeBusy) {
  SlowReader r;
  // The grandchild leaves the child's group, so the kill spares it, and it writes
  // until the last reading end of its pipe is gone.
  ASSERT_EQ(r.StartChildProcess(L"/bin/sh -c \"setsid yes busy & exec sleep 600\"", FALSE, TRUE, nullptr), 1);
  ASSERT_EQ(r.m_inside.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  r.TerminateChildProcess();  // kills the child
  r.TerminateChildProcess();  // closes the ends while the reader is inside its callback, then joins it
  EXPECT_EQ(r.m_probeError.load(), static_cast<DWORD>(ERROR_INVALID_HANDLE))
      << "the callback saw its closed handle as open, or timed out";
  // The closed handle stays closed for every caller, whatever was opened since.
  HANDLE read = nullptr, write = nullptr;
  ASSERT_TRUE(kwplat::CreatePipe(&read, &write, nullptr, 0));
  char none = 0;
  EXPECT_FALSE(kwplat::ReadFile(r.m_read, &none, 0, nullptr, nullptr));
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  kwplat::CloseHandle(read);
  kwplat::CloseHandle(write);
}

// Stops or restarts itself once, from one of its own callbacks, and counts the
// ends it is told of.
class SelfStopping : public Recorder {
 public:
  enum class Act { kStopFromOutput, kStopFromTerminate, kRestartFromOutput, kRestartFromTerminate };
  explicit SelfStopping(Act act) : m_act(act) {}

  void OnChildStdOutWrite(const wchar_t* text) override {
    Recorder::OnChildStdOutWrite(text);
    if (m_act == Act::kStopFromOutput || m_act == Act::kRestartFromOutput) ActOnce();
  }
  void OnChildTerminate() override {
    ++m_ends;
    if (m_act == Act::kStopFromTerminate || m_act == Act::kRestartFromTerminate) ActOnce();
  }
  void ActOnce() {
    if (m_acting.exchange(true)) return;
    if (m_act == Act::kRestartFromOutput || m_act == Act::kRestartFromTerminate) {
      m_restarted = Start(*this, L"out 7% exit 6");
    } else {
      TerminateChildProcess();
      TerminateChildProcess();
    }
    m_acted = true;
  }

  const Act m_act;
  std::atomic<bool> m_acting{false}, m_acted{false};
  std::atomic<int> m_ends{0}, m_restarted{-1};
};

// The thread that runs the callback is let go rather than joined; once the
// callback returns it leaves without touching the object, which the next start
// owns: the first child's 50% must not reach the second child's progress.
TEST(CmdRedirect, ACallbackStopsOrRestartsItsOwnObject) {
  const struct {
    SelfStopping::Act act;
    const wchar_t* first;
    const char* name;
  } cases[] = {
      {SelfStopping::Act::kStopFromOutput, L"out 50% sleep 20000", "stop from the output"},
      {SelfStopping::Act::kStopFromTerminate, L"out 50% exit 0", "stop from the end"},
      {SelfStopping::Act::kRestartFromOutput, L"out 50% sleep 20000", "restart from the output"},
      {SelfStopping::Act::kRestartFromTerminate, L"out 50% exit 0", "restart from the end"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SelfStopping r(c.act);
    ASSERT_EQ(Start(r, c.first), 1);
    ASSERT_TRUE(kwtest::Eventually([&] { return r.m_acted.load(); }));
    if (r.m_restarted == -1) ASSERT_EQ(Start(r, L"out 7% exit 6"), 1);
    else EXPECT_EQ(r.m_restarted.load(), 1);
    ASSERT_TRUE(kwtest::Eventually([&] { return r.m_ends == 2 && r.Out().find(L"7%\n") != std::wstring::npos; }));
    EXPECT_EQ(r.GetExitCode(), 6u);
    EXPECT_EQ(r.GetCurrentProgress(), 7);
  }
}

// Killed from its first output, often before the watcher has started: the
// watcher still sees the end it was started to watch.
TEST(CmdRedirect, AChildKilledFromItsFirstOutputIsSeenToEnd) {
  class Killer : public Recorder {
   public:
    void OnChildStdOutWrite(const wchar_t* text) override {
      Recorder::OnChildStdOutWrite(text);
      if (!m_killed.exchange(true)) TerminateChildProcess();
    }
    std::atomic<bool> m_killed{false};
  };
  for (int round = 0; round < 10; ++round) {
    Killer r;
    ASSERT_EQ(r.StartChildProcess(L"/bin/sh -c \"echo hi; exec sleep 600\"", FALSE, TRUE, nullptr), 1);
    ASSERT_TRUE(kwtest::Eventually([&] { return r.m_terminated.load(); })) << "round " << round;
    EXPECT_EQ(r.IsChildRunning(), 0) << "round " << round;
  }
}

// Holds its first output until the stop has begun (its event is set), as a slow
// callback would.
class HeldAtFirstOutput : public Recorder {
 public:
  void OnChildStdOutWrite(const wchar_t* text) override {
    Recorder::OnChildStdOutWrite(text);
    if (m_held.exchange(true)) return;
    m_inside.set_value();
    kwplat::WaitForSingleObject(m_hStopEvent, 60000);
  }
  std::atomic<bool> m_held{false};
  std::promise<void> m_inside;
};

// A stop takes what the child wrote before it ended, even while a callback is
// still busy with earlier output.
TEST(CmdRedirect, StoppingTakesWhatAnEndedChildLeftInItsPipe) {
  HeldAtFirstOutput r;
  ASSERT_EQ(Start(r, L"out a wait out b"), 1);
  ASSERT_EQ(r.m_inside.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
  r.WriteChildStdIn("\n");
  ASSERT_TRUE(kwtest::Eventually([&] { return r.IsChildRunning() == 0; }));
  r.TerminateChildProcess();
  EXPECT_EQ(r.Out(), L"a\nb\n");
}

TEST(CmdRedirect, TerminatingAndDestroyingARunningChild) {
  Recorder r;
  ASSERT_EQ(Start(r, L"out started sleep 20000"), 1);
  ASSERT_EQ(r.IsChildRunning(), 1);
  ASSERT_TRUE(r.Sees(L"started"));
  r.TerminateChildProcess();  // kills the child; the watcher sees it end
  EXPECT_EQ(r.IsChildRunning(), 0);
  EXPECT_TRUE(kwtest::Eventually([&] { return r.m_terminated.load(); }));
  r.TerminateChildProcess();  // stops the threads

  const auto start = std::chrono::steady_clock::now();
  {
    Recorder running;
    ASSERT_EQ(Start(running, L"sleep 20000"), 1);
  }  // destroyed mid-run: the child is killed and every thread joined
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
