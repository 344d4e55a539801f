// Tools for the model tests: items that carry a value and a unique tag, so that a
// model can tell equal items apart, and the random walk that drives each test
// through every size at which a container changes its allocation.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include "counted.h"

namespace kwtest {

// A counted integer item with an identity of its own: copies get a new tag and
// remember the tag they were copied from. Compares by value only.
class Tagged : public Counted {
 public:
  explicit Tagged(int value) : Counted(value), tag(++next), from(0) {}
  Tagged(const Tagged& other) : Counted(other), tag(++next), from(other.tag) {}
  TItem* Duplicar() const override { return new Tagged(*this); }
  const int tag;
  const int from;
  static inline int next = 0;
};

inline int ValueOf(const TItem* item) { return item != nullptr ? static_cast<const TInt*>(item)->Get() : -1; }
inline int TagOf(const TItem* item) { return item != nullptr ? static_cast<const Tagged*>(item)->tag : 0; }

// A comparison by value for the containers' sorts; a null item sorts first.
inline int ByValueNullFirst(const TItem* a, const TItem* b, __int64) {
  const int x = ValueOf(a), y = ValueOf(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

// The sizes at which the containers change their allocation, and a large one.
inline const std::vector<int> kThresholds = {0, 1, 2, 3, 4, 5, 16, 17, 31, 32, 33, 1000};

// A seeded walk: it picks a size from kThresholds, leans towards it until it is
// reached, then picks another, so that every threshold is crossed both ways.
class Walk {
 public:
  explicit Walk(unsigned seed) : m_rng(seed) { NewTarget(); }

  // A number in 0..n-1 (0 when n is 0).
  int Pick(int n) { return n > 0 ? static_cast<int>(m_rng() % static_cast<unsigned>(n)) : 0; }
  // A number in lo..hi.
  int Between(int lo, int hi) { return lo + Pick(hi - lo + 1); }
  bool OneIn(int n) { return Pick(n) == 0; }
  // Whether the next operation should add (rather than remove) at this size.
  bool Grow(int size) {
    if (size == m_target) NewTarget();
    return size < m_target ? Pick(10) < 8 : Pick(10) < 2;
  }

 private:
  void NewTarget() { m_target = kThresholds[static_cast<std::size_t>(Pick(static_cast<int>(kThresholds.size())))]; }
  std::mt19937 m_rng;
  int m_target = 0;
};

// The message that replays a failure.
inline std::string Replay(unsigned seed, int step, const std::string& op) {
  return "seed " + std::to_string(seed) + " step " + std::to_string(step) + " op " + op;
}

}  // namespace kwtest
