// A clock the test moves by hand, installed for its lifetime.
#pragma once

#include <kwlib63/platform/clock.h>

namespace kwtest {

class FakeClock {
 public:
  FakeClock(unsigned long long startTick, long long startTime) : tick(startTick), time(startTime) {
    m_clock = {[](void* c) { return static_cast<FakeClock*>(c)->tick; },
               [](void* c) { return static_cast<FakeClock*>(c)->time; }, this};
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

  unsigned long long tick;
  long long time;

 private:
  KW_CLOCK m_clock;
};

}  // namespace kwtest
