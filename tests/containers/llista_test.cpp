// TLlista and TLlistaOrdenada: what the model walk does not reach (its growth rule
// in numbers, forgetting, shared changes, progress, stopping and cancelling walks).
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/llista.h>
#include <kwlib63/progress/indicadorestat.h>

#include "counted.h"
#include "support/recordingie.h"

namespace {

using kwtest::Counted;

std::vector<int> Values(const TLlista& l) {
  std::vector<int> v;
  for (int i = 0; i < l.Cnt(); ++i) v.push_back(l.GetItem(i) ? static_cast<TInt*>(l.GetItem(i))->Get() : -999);
  return v;
}

TEST(Llista, CapacityAndStepFollowTheGrowthRule) {
  TLlista l;
  EXPECT_EQ(l.GetCapacitat(), 0);  // a fresh list has no array yet
  EXPECT_EQ(l.GetPas(), 16);
  EXPECT_EQ(l.Principi(), 0);  // and no first item to go to
  std::vector<int> capacities;
  for (int i = 0; i < 49; ++i) {
    l.Afegir(new TInt(i));
    if (capacities.empty() || capacities.back() != l.GetCapacitat()) capacities.push_back(l.GetCapacitat());
    if (i == 16) {
      EXPECT_EQ(l.GetCapacitat(), 32);
      EXPECT_EQ(l.GetPas(), 16);  // 32 is not above twice the step
    }
  }
  // 48 > 2 * 16 made the step 32; 64 is not above 2 * 32.
  EXPECT_EQ(capacities, (std::vector<int>{16, 32, 48, 64}));
  EXPECT_EQ(l.GetPas(), 32);
  // Shrinking: the wanted capacity is step - count % step + count; the step halves
  // once the capacity is at most the step.
  while (l.Cnt() > 32) l.Eliminar(0);
  EXPECT_EQ(l.GetCapacitat(), 64);
  l.Eliminar(0);
  EXPECT_EQ(l.GetCapacitat(), 32);
  EXPECT_EQ(l.GetPas(), 16);
  while (l.Cnt() > 10) l.Eliminar(0);
  EXPECT_EQ(l.GetCapacitat(), 16);
  while (l.Cnt() > 0) l.Eliminar(0);
  EXPECT_EQ(l.GetCapacitat(), 0);
  EXPECT_EQ(l.GetPas(), 16);
}

// What the model walk never does: forget without deleting, take from outside the
// list, change an item through a list that shares the array.
TEST(Llista, ForgettingTakingOutsideAndSharedChanges) {
  Counted::live = 0;
  {
    TLlista l;
    std::vector<TItem*> kept;
    for (int i = 0; i < 4; ++i) l.Afegir(kept.emplace_back(new Counted(i)));
    l.Done(0);  // forgets without deleting: the items are still alive
    EXPECT_EQ(Counted::live, 4);
    EXPECT_EQ(l.Cnt(), 0);
    for (TItem* item : kept) delete item;
    for (int i = 0; i < 3; ++i) l.Afegir(new Counted(i));
    EXPECT_EQ(l.Treure(7), nullptr);  // outside the list: refused, nothing read
    TLlista shallow(l);
    delete l.Canviar(new Counted(7), 0);  // seen through both lists
    EXPECT_EQ(static_cast<TInt*>(shallow.GetItem(0))->Get(), 7);
  }
  EXPECT_EQ(Counted::live, 0);  // the items were deleted once
}

// Items one holder adds to a shared array beyond the other's count are deleted
// once, by whichever holder lets go last.
TEST(Llista, TheLastHolderOfASharedArrayDeletesEveryItemInIt) {
  for (bool firstGoesFirst : {true, false}) {
    Counted::live = 0;
    {
      auto* a = new TLlista;
      a->Afegir(new Counted(0));
      auto* b = new TLlista(*a);
      a->Afegir(new Counted(1));   // within the capacity: written into the shared array
      a->Concatenar(b, 0);         // a copy in front, still within it
      EXPECT_EQ(Counted::live, 3);
      delete (firstGoesFirst ? a : b);
      EXPECT_EQ(Counted::live, 3) << "the other still holds them";
      delete (firstGoesFirst ? b : a);
    }
    EXPECT_EQ(Counted::live, 0) << (firstGoesFirst ? "a first" : "b first");
  }
}

TEST(Llista, AMergedListStaysUsableAndNothingConcatenatesAsNothing) {
  TLlista a, b;
  a.Afegir(new TInt(0));
  b.Afegir(new TInt(10));
  EXPECT_EQ(a.Fusionar(&b), 0);
  b.Afegir(new TInt(5));  // emptied by the merge, still usable
  EXPECT_EQ(a.Fusionar(&b, 0), 0);
  EXPECT_EQ(Values(a), (std::vector<int>{5, 0, 10}));
  EXPECT_EQ(a.Concatenar(nullptr), 0);
  EXPECT_EQ(a.Cnt(), 3);
}

using Recording = kwtest::RecordingIndicator;

// The sort reports k / n after each of the n items, for a short and a long list,
// and hands its parameter to the comparison.
TEST(Llista, SortReportsEveryFractionAndPassesItsParameter) {
  const auto byValue = [](const TItem* a, const TItem* b, __int64 param) {
    EXPECT_EQ(param, 42);
    return kwtest::ByValue(a, b, param);
  };
  for (int n : {7, 1000}) {
    TLlista l;
    for (int i = 0; i < n; ++i) l.Afegir(new TInt((i * 7919) % 101));
    Recording ie;
    EXPECT_EQ(l.Ordenar(byValue, 42, &ie), 0);
    ASSERT_EQ(ie.shown.size(), static_cast<std::size_t>(n));
    for (std::size_t k = 0; k < ie.shown.size(); ++k) EXPECT_DOUBLE_EQ(ie.shown[k], (k + 1) / static_cast<double>(n)) << n;
    EXPECT_EQ(l.Ordenar(nullptr), -2);
  }
}

TEST(Llista, WalkForwardBackwardStopAndCancel) {
  TLlista l;
  for (int i = 0; i < 4; ++i) l.Afegir(new TInt(i * 10));
  std::vector<int> seen;
  const auto visit = [](TItem* item, int index, __int64 param) {
    reinterpret_cast<std::vector<int>*>(param)->push_back(index);
    return static_cast<TInt*>(item)->Get() == 20 ? -7 : static_cast<TInt*>(item)->Get();
  };
  EXPECT_EQ(l.Recorrer(visit, 1, reinterpret_cast<__int64>(&seen)), -7);
  EXPECT_EQ(seen, (std::vector<int>{3, 2}));
  seen.clear();
  l.Eliminar(2);
  EXPECT_EQ(l.Recorrer(visit, 0, reinterpret_cast<__int64>(&seen)), 30);
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2}));
  Recording ie;
  ie.Cancelar();
  EXPECT_EQ(l.Recorrer(visit, 0, reinterpret_cast<__int64>(&seen), &ie), -5);
  EXPECT_EQ(TLlista().Recorrer(visit), 0);
}

TEST(LlistaOrdenada, ItemsWithoutAComparisonAreAllEqual) {
  TLlistaOrdenada l;
  l.Afegir(new TDouble(2.0));
  l.Afegir(new TDouble(1.0));
  EXPECT_EQ(l.Cnt(), 1);  // the second replaced the first
  EXPECT_EQ(static_cast<TDouble*>(l.GetItem(0))->Get(), 1.0);
}

}  // namespace
