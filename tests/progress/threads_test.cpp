// The indicator between threads: pause, resume and cancel of waiting workers, the
// lock discipline of the callbacks, and a paused user-interface thread that keeps
// pumping its messages. These tests run under ThreadSanitizer too.
#include <glib.h>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/winapp.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/progress/indicadorestat.h>

#include "support/eventually.h"

namespace {

using namespace std::chrono_literals;

// Counts the workers that have reached MostrarEstat (the callback runs before the
// pause wait).
struct Arrivals {
  std::atomic<int> count{0};
  static void Callback(TIndicadorEstat*, __int64 user) { ++reinterpret_cast<Arrivals*>(user)->count; }
};

TEST(IndicadorThreads, CancelWakesAPausedWorker) {
  Arrivals arrivals;
  TIndicadorEstat ie(&Arrivals::Callback, reinterpret_cast<__int64>(&arrivals));
  ie.Pausa();
  EXPECT_EQ(ie.GetPausa(), 1);
  auto worker = std::async(std::launch::async, [&] { return ie.MostrarEstat(0.4); });
  ASSERT_TRUE(kwtest::Eventually([&] { return arrivals.count.load() == 1; }));
  EXPECT_EQ(worker.wait_for(50ms), std::future_status::timeout);  // held by the pause
  ie.Cancelar();
  EXPECT_EQ(worker.get(), 0);
  EXPECT_EQ(ie.GetPausa(), 0);  // cancelling releases the pause
}

TEST(IndicadorThreads, OneResumeReleasesEveryWaiter) {
  Arrivals arrivals;
  TIndicadorEstat ie(&Arrivals::Callback, reinterpret_cast<__int64>(&arrivals));
  ie.Pausa();
  std::vector<std::future<int>> workers;
  for (int i = 0; i < 8; ++i) workers.push_back(std::async(std::launch::async, [&ie, i] { return ie.MostrarEstat(i / 8.0); }));
  ASSERT_TRUE(kwtest::Eventually([&] { return arrivals.count.load() == 8; }));
  for (auto& w : workers) EXPECT_EQ(w.wait_for(10ms), std::future_status::timeout);
  ie.Reanudar();
  for (auto& w : workers) EXPECT_EQ(w.get(), 1);
}

// A callback that pauses the indicator during Init's first report: the worker waits
// in the pause, and the interface thread's resume must get through.
struct PauseOnFirstReport {
  std::atomic<bool> armed{false};
  std::promise<void> paused;
  static void Callback(TIndicadorEstat* ie, __int64 user) {
    auto* self = reinterpret_cast<PauseOnFirstReport*>(user);
    if (!self->armed.exchange(false)) return;
    ie->Pausa();
    self->paused.set_value();
  }
};

TEST(IndicadorThreads, InitHoldsNoLockWhileItsReportIsPaused) {
  PauseOnFirstReport probe;
  // Leaked on failure: a deadlocked worker still uses it.
  auto* ie = new TIndicadorEstat(&PauseOnFirstReport::Callback, reinterpret_cast<__int64>(&probe));
  ie->SetMissatge(L"old");
  probe.armed = true;
  auto worker = std::async(std::launch::async, [ie] { ie->Init(); });
  probe.paused.get_future().wait();
  // The worker now waits in the pause. Observers and a resume must not wait for it.
  auto resume = std::async(std::launch::async, [ie] {
    (void)ie->GetEstat();
    ie->Reanudar();
  });
  // Returns at once unless the resume is stuck behind the paused Init.
  if (resume.wait_for(60s) != std::future_status::ready || worker.wait_for(60s) != std::future_status::ready) {
    ADD_FAILURE() << "the resume or the Init never finished: a lock is held across the pause";
    new auto(std::move(resume));  // their destructors would wait for ever
    new auto(std::move(worker));
    return;
  }
  worker.get();
  EXPECT_EQ(ie->GetMissatge(), L"");
  EXPECT_EQ(ie->GetEstat(), 0.0);
  EXPECT_EQ(ie->GetPausa(), 0);
  delete ie;
}

TEST(IndicadorThreads, ObserversReadConsistentValues) {
  TIndicadorEstat ie;
  std::atomic<bool> done{false};
  std::thread worker([&] {
    for (int i = 1; i <= 2000; ++i) {
      ie.SetMissatge(i % 2 ? L"odd" : L"even");
      ie.MostrarEstat(i / 2000.0);
    }
    done = true;
  });
  double last = 0.0;
  while (!done) {
    const double pos = ie.GetEstat();
    EXPECT_GE(pos, last);  // the worker only moves forward
    last = pos;
    const CString text = ie.GetMissatge();
    EXPECT_TRUE(text.IsEmpty() || text == L"odd" || text == L"even");
  }
  worker.join();
  EXPECT_EQ(ie.GetEstat(), 1.0);
}

// Runs `read` on another thread while the indicator's callback runs, and says
// whether it had to wait for the callback to end. A read that should get through
// is given a minute, so load never makes it look blocked; one that should block
// is given a tenth of a second, which it can only outlast by really blocking.
struct LockProbe {
  TIndicadorEstat* ie = nullptr;
  std::function<void()> read;
  std::chrono::milliseconds patience{100};
  bool blocked = false;
  static void Callback(TIndicadorEstat*, __int64 user) {
    auto* self = reinterpret_cast<LockProbe*>(user);
    if (!self->read) return;
    auto f = std::async(std::launch::async, self->read);
    self->blocked = f.wait_for(self->patience) == std::future_status::timeout;
    self->read = nullptr;
    if (!self->blocked) f.get();
    // When blocked, the future's destructor waits after the callback returns... so
    // the lock must be released first: leave it to the caller.
    self->pending = std::move(f);
  }
  std::future<void> pending;
};

TEST(IndicadorThreads, SetMissatgeHoldsTheLockAcrossTheCallbackMostrarEstatDoesNot) {
  LockProbe probe;
  TIndicadorEstat ie(&LockProbe::Callback, reinterpret_cast<__int64>(&probe));
  probe.read = [&] { (void)ie.GetEstat(); };
  ie.SetMissatge(L"x");
  EXPECT_TRUE(probe.blocked);
  if (probe.pending.valid()) probe.pending.get();
  probe.read = [&] { (void)ie.GetMissatge(); };
  probe.patience = kwtest::kEventLimit;
  ie.MostrarEstat(0.5);
  EXPECT_FALSE(probe.blocked);
}

// A thread object that counts its idle calls.
class CountingThread : public CWinThread {
 public:
  BOOL OnIdle(LONG count) override {
    ++idleCalls;
    return count < 2;
  }
  int idleCalls = 0;
};

guint RunSoon(void (*action)(TIndicadorEstat*), TIndicadorEstat* ie) {
  struct Job {
    void (*action)(TIndicadorEstat*);
    TIndicadorEstat* ie;
  };
  GSource* source = g_timeout_source_new(20);
  g_source_set_callback(
      source,
      [](gpointer data) {
        auto* job = static_cast<Job*>(data);
        job->action(job->ie);
        return G_SOURCE_REMOVE;
      },
      new Job{action, ie}, [](gpointer data) { delete static_cast<Job*>(data); });
  const guint id = g_source_attach(source, static_cast<GMainContext*>(kwplat::GetThreadMainContext()));
  g_source_unref(source);
  return id;
}

TEST(IndicadorThreads, PausedInterfaceThreadKeepsPumping) {
  CountingThread thread;  // this thread's thread object
  ASSERT_EQ(AfxGetThread(), &thread);
  TIndicadorEstat ie;
  ie.Pausa();
  RunSoon([](TIndicadorEstat* i) { i->Reanudar(); }, &ie);
  EXPECT_EQ(ie.MostrarEstat(0.5), 1);  // resumed by a message pumped while paused
  EXPECT_EQ(thread.idleCalls, 3);      // idle processing ran: counts 0, 1, 2

  ie.Pausa();
  RunSoon([](TIndicadorEstat* i) { i->Cancelar(); }, &ie);
  EXPECT_EQ(ie.EsperarPausa(), -5);  // cancelled by a message pumped while paused
  EXPECT_EQ(ie.MostrarEstat(0.6), 0);
}

}  // namespace
