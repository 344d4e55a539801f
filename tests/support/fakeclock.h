// A clock the test moves by hand, installed for its lifetime. The library's pauses
// move it by what they ask for, after a real pause of `realPause` milliseconds
// (none by default), so that waits with time limits end at once.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include <kwlib63/platform/clock.h>

namespace kwtest {

class FakeClock {
 public:
  FakeClock(unsigned long long startTick, long long startTime, unsigned realPause = 0)
      : tick(startTick), time(startTime), m_realPause(realPause) {
    m_clock = {[](void* c) { return static_cast<FakeClock*>(c)->tick.load(); },
               [](void* c) { return static_cast<FakeClock*>(c)->time.load(); }, this,
               [](unsigned long milliseconds, void* c) {
                 auto* clock = static_cast<FakeClock*>(c);
                 std::this_thread::sleep_for(std::chrono::milliseconds(clock->m_realPause));
                 clock->Advance(milliseconds);
               }};
    AfxSetClock(&m_clock);
  }
  ~FakeClock() { AfxSetClock(nullptr); }
  FakeClock(const FakeClock&) = delete;
  FakeClock& operator=(const FakeClock&) = delete;

  // Moves both clocks forward.
  void Advance(unsigned long long ms) {
    tick += ms;
    time += static_cast<long long>(ms / 1000);
  }

  std::atomic<unsigned long long> tick;
  std::atomic<long long> time;

 private:
  unsigned m_realPause;
  KW_CLOCK m_clock;
};

}  // namespace kwtest
