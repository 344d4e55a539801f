// Wall-clock time of one call, for the guards against quadratic cost: an input on
// which a quadratic algorithm takes minutes, checked against a bound that the
// linear one meets a hundred times over. Never for anything finer.
#pragma once

#include <chrono>
#include <utility>

namespace kwtest {

template <typename F>
double SecondsTaken(F&& f) {
  const auto start = std::chrono::steady_clock::now();
  std::forward<F>(f)();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace kwtest
