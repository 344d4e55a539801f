// Internal to containers/: the one stable sort of the containers, the standard
// library's merge sort into a separate buffer. `less(a, b)` is true when a must go
// before b although it came later; equal elements keep their order.
//
// With an indicator, it hears k / n for k = 1..n in order, spread over the
// comparisons (about n log2 n of them), and a cancel stops the sort with -5 and
// `items` unchanged: the sort then works on a copy.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <kwlib63/progress/iecalls.h>

namespace kwcont {

template <typename T, typename Less>
int StableSort(T* items, std::size_t n, Less less, TIndicadorEstat* ie) {
  if (n == 0) return 0;
  if (ie == nullptr) {
    std::stable_sort(items, items + n, less);
    return 0;
  }
  struct Cancelled {};
  const double total = static_cast<double>(n);
  const double expected = total * std::max(1.0, std::ceil(std::log2(total)));
  double compared = 0.0;
  std::size_t reported = 0;
  const auto report = [&](std::size_t k) {
    reported = k;
    return kwprog::MostrarEstatRel(ie, static_cast<double>(k) / total) != 0;
  };
  std::vector<T> copy(items, items + n);
  try {
    std::stable_sort(copy.begin(), copy.end(), [&](const T& a, const T& b) {
      compared += 1.0;
      while (reported + 1 < n && compared * total >= expected * static_cast<double>(reported + 1)) {
        if (!report(reported + 1)) throw Cancelled{};
      }
      return less(a, b);
    });
  } catch (const Cancelled&) {
    return -5;
  }
  while (reported < n) {
    if (!report(reported + 1)) return -5;
  }
  std::copy(copy.begin(), copy.end(), items);
  return 0;
}

}  // namespace kwcont
