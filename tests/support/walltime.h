// The wall-clock time of a call, for the one kind of timed check the tests allow:
// a guard against quadratic cost, with a limit far above what the linear
// algorithm needs and far below what a quadratic one takes.
#pragma once

#include <chrono>

namespace kwtest {

template <typename F>
double SecondsFor(F&& f) {
  const auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace kwtest
