// Waits for something a test can observe (a state another thread or process
// reaches), looking again every few milliseconds. The limit only stops a test
// whose event never comes: it is a minute, so that a loaded machine never
// fails a test that would pass on an idle one.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace kwtest {

inline constexpr std::chrono::seconds kEventLimit{60};

// True once `done` holds; false if it still does not after the limit. `between`
// runs before each pause (a loop that must pump messages while it waits).
inline bool Eventually(const std::function<bool()>& done, const std::function<void()>& between = {},
                       std::chrono::milliseconds limit = kEventLimit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    if (done()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    if (between) between();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace kwtest
