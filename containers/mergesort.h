// Internal to containers/: the one stable sort of the containers. A bottom-up
// merge sort that yields the order of an insertion sort which places each new
// element before the first one it does not exceed, taking the elements in the
// order given: when two runs meet, `takeLeft(left, right)` says whether the left
// element goes first. The indicator hears k / n for k = 1..n, in order, spread
// evenly over the merges; on a cancel the result is -5 and `items` is unchanged.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include <kwlib63/progress/iecalls.h>

namespace kwcont {

template <typename T, typename TakeLeft>
int StableMergeSort(std::vector<T>& items, TakeLeft&& takeLeft, TIndicadorEstat* ie) {
  const std::size_t n = items.size();
  if (n == 0) return 0;
  std::size_t passes = 0;
  for (std::size_t width = 1; width < n; width *= 2) ++passes;
  const double work = static_cast<double>(std::max<std::size_t>(passes, 1)) * static_cast<double>(n);
  double done = 0.0;
  std::size_t reported = 0;
  const auto progress = [&](double moved) {
    done += moved;
    while (reported < n && done * static_cast<double>(n) >= work * static_cast<double>(reported + 1)) {
      ++reported;
      if (!kwprog::MostrarEstatRel(ie, static_cast<double>(reported) / static_cast<double>(n))) return false;
    }
    return true;
  };
  std::vector<T> a(items), b(n);
  for (std::size_t width = 1; width < n; width *= 2) {
    for (std::size_t lo = 0; lo < n; lo += 2 * width) {
      const std::size_t mid = std::min(lo + width, n), hi = std::min(lo + 2 * width, n);
      std::size_t i = lo, j = mid, k = lo;
      while (i < mid && j < hi) b[k++] = takeLeft(a[i], a[j]) ? a[i++] : a[j++];
      while (i < mid) b[k++] = a[i++];
      while (j < hi) b[k++] = a[j++];
      if (!progress(static_cast<double>(hi - lo))) return -5;
    }
    a.swap(b);
  }
  if (n == 1 && !progress(1.0)) return -5;
  items.swap(a);
  return 0;
}

}  // namespace kwcont
