// An integer item that counts live instances, so tests see what a container
// deletes and what it hands back.
#pragma once

#include <kwlib63/core/valueitem.h>

namespace kwtest {

class Counted : public TInt {
 public:
  explicit Counted(int value = 0) : TInt(value) { ++live; }
  Counted(const Counted& other) : TInt(other) { ++live; }
  ~Counted() override { --live; }
  TItem* Duplicar() const override { return new Counted(*this); }
  static inline int live = 0;
};

inline int ByValue(const TItem* a, const TItem* b, __int64) {
  const int x = static_cast<const TInt*>(a)->Get(), y = static_cast<const TInt*>(b)->Get();
  return x < y ? -1 : (x > y ? 1 : 0);
}

}  // namespace kwtest
