// TLlista and TLlistaOrdenada: growth, positions, ownership, sorting, walking.
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

TEST(Llista, RecordAndEmptyState) {
  TLlista l;
  TLlistaOrdenada s;
  EXPECT_EQ(l.QueSoc(), 2);
  EXPECT_EQ(s.QueSoc(), 2);
  EXPECT_STREQ(s.GetNomClasse(), L"TLlista");
  EXPECT_EQ(l.EsBuit(), 1);
  EXPECT_EQ(l.GetItem(0), nullptr);
  EXPECT_EQ(l.Principi(), 0);
  EXPECT_EQ(l.GetCapacitat(), 0);
  EXPECT_EQ(l.GetPas(), 16);
}

TEST(Llista, CapacityAndStepFollowTheGrowthRule) {
  TLlista l;
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

TEST(Llista, PositionsClampAndTheCursorFollows) {
  TLlista l;
  for (int i = 0; i < 3; ++i) l.Afegir(new TInt(i));
  l.Insertar(new TInt(10), 99);
  EXPECT_EQ(l.PosActual(), 4);
  l.Insertar(new TInt(11), -4);
  EXPECT_EQ(l.PosActual(), 1);
  EXPECT_EQ(Values(l), (std::vector<int>{11, 0, 1, 2, 10}));
  EXPECT_EQ(l.Final(), 1);
  EXPECT_EQ(l.Seguent(), 0);  // at the last item: no move
  EXPECT_EQ(l.PosActual(), 4);
  EXPECT_EQ(l.EsUltim(), 1);
  EXPECT_EQ(l.Principi(), 1);
  EXPECT_EQ(l.Previ(), 0);
  EXPECT_EQ(l.Seguent(), 1);
  EXPECT_EQ(static_cast<TInt*>(l.Actual())->Get(), 0);
  l.Invertir();
  EXPECT_EQ(Values(l), (std::vector<int>{10, 2, 1, 0, 11}));
}

TEST(Llista, OwnershipOfRemovedAndReplacedItems) {
  Counted::live = 0;
  {
    TLlista l;
    std::vector<TItem*> kept;
    for (int i = 0; i < 4; ++i) l.Afegir(kept.emplace_back(new Counted(i)));
    l.Done(0);  // forgets without deleting: the items are still alive
    EXPECT_EQ(Counted::live, 4);
    EXPECT_EQ(l.Cnt(), 0);
    for (TItem* item : kept) delete item;
    for (int i = 0; i < 4; ++i) l.Afegir(new Counted(i));
    TItem* taken = l.Treure(1);
    EXPECT_EQ(Counted::live, 4);
    delete taken;
    TItem* old = l.Canviar(new Counted(9), 0);
    EXPECT_EQ(static_cast<TInt*>(old)->Get(), 0);
    delete old;
    EXPECT_EQ(l.Eliminar(0), 0);
    EXPECT_EQ(Counted::live, 2);
    EXPECT_EQ(l.CreaBuida(2), 0);
    EXPECT_EQ(l.Cnt(), 4);
    EXPECT_EQ(l.GetItem(3), nullptr);
    EXPECT_EQ(l.Treure(7), nullptr);  // outside the list: refused, nothing read
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(Llista, CopiesDeepFromPointersAndShallowFromReferences) {
  Counted::live = 0;
  {
    TLlista a;
    for (int i = 0; i < 3; ++i) a.Afegir(new Counted(i));
    TItem* dup = a.Duplicar();
    EXPECT_EQ(Counted::live, 6);
    EXPECT_NE(static_cast<TLlista*>(dup)->GetItem(0), a.GetItem(0));
    delete dup;
    TLlista shallow(a);
    EXPECT_EQ(shallow.GetItem(2), a.GetItem(2));  // one array for both
    delete a.Canviar(new Counted(7), 0);  // seen through both lists
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

TEST(Llista, ConcatenateCopiesAndMergeMoves) {
  TLlista a, b;
  for (int i = 0; i < 3; ++i) a.Afegir(new TInt(i));
  for (int i = 10; i < 12; ++i) b.Afegir(new TInt(i));
  EXPECT_EQ(a.Concatenar(&b, 1), 0);
  EXPECT_EQ(Values(a), (std::vector<int>{0, 10, 11, 1, 2}));
  EXPECT_EQ(b.Cnt(), 2);
  EXPECT_EQ(a.Fusionar(&b), 0);
  EXPECT_EQ(Values(a), (std::vector<int>{0, 10, 11, 1, 2, 10, 11}));
  EXPECT_EQ(b.Cnt(), 0);
  EXPECT_EQ(b.GetCapacitat(), 0);
  b.Afegir(new TInt(5));  // still usable
  EXPECT_EQ(a.Fusionar(&b, 0), 0);
  EXPECT_EQ(Values(a).front(), 5);
  EXPECT_EQ(a.Concatenar(nullptr), 0);
}

using Recording = kwtest::RecordingIndicator;

TEST(Llista, SortIsStableAndReportsEveryFraction) {
  TLlista l;
  const int keys[] = {3, 1, 2, 1, 3, 2, 1};
  for (int i = 0; i < 7; ++i) l.Afegir(new TInt(keys[i] * 100 + i));  // value = key*100 + original index
  Recording ie;
  const auto byKey = [](const TItem* a, const TItem* b, __int64 param) {
    return static_cast<const TInt*>(a)->Get() / static_cast<int>(param) - static_cast<const TInt*>(b)->Get() / static_cast<int>(param);
  };
  EXPECT_EQ(l.Ordenar(byKey, 100, &ie), 0);
  EXPECT_EQ(Values(l), (std::vector<int>{101, 103, 106, 202, 205, 300, 304}));
  std::vector<double> expected;
  for (int k = 1; k <= 7; ++k) expected.push_back(k / 7.0);
  EXPECT_EQ(ie.shown, expected);
  EXPECT_EQ(l.Ordenar(nullptr), -2);
  EXPECT_EQ(TLlista().Ordenar(byKey), 0);
}

TEST(Llista, SortWithAnIndicatorOrdersAsWithoutAndReportsEveryFraction) {
  TLlista a, b;
  for (int i = 0; i < 1000; ++i) {
    a.Afegir(new TInt((i * 7919) % 101));
    b.Afegir(new TInt((i * 7919) % 101));
  }
  Recording ie;
  EXPECT_EQ(a.Ordenar(kwtest::ByValue, 0, &ie), 0);
  EXPECT_EQ(b.Ordenar(kwtest::ByValue), 0);
  EXPECT_EQ(Values(a), Values(b));
  ASSERT_EQ(ie.shown.size(), 1000u);
  for (std::size_t k = 0; k < ie.shown.size(); ++k) EXPECT_DOUBLE_EQ(ie.shown[k], (k + 1) / 1000.0);
}

TEST(Llista, CancelledSortLeavesTheListAsItWas) {
  TLlista l;
  for (int i = 9; i >= 0; --i) l.Afegir(new TInt(i));
  Recording ie;
  ie.cancelAt = 4;
  EXPECT_EQ(l.Ordenar(kwtest::ByValue, 0, &ie), -5);
  EXPECT_EQ(Values(l), (std::vector<int>{9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
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

TEST(LlistaOrdenada, ReplaceOrKeepDuplicates) {
  Counted::live = 0;
  {
    TLlistaOrdenada unique(0), dups(1);
    for (int v : {5, 1, 3}) {
      unique.Afegir(new Counted(v));
      dups.Afegir(new Counted(v));
    }
    auto* again = new Counted(3);
    unique.Afegir(again);
    EXPECT_EQ(unique.Cnt(), 3);
    EXPECT_EQ(unique.GetItem(1), again);  // the present one was replaced and deleted
    EXPECT_EQ(Counted::live, 6);
    auto* twin = new Counted(3);
    dups.Afegir(twin);
    EXPECT_EQ(dups.Cnt(), 4);
    EXPECT_EQ(dups.GetItem(1), twin);  // before the equal one the search met
    EXPECT_EQ(Values(dups), (std::vector<int>{1, 3, 3, 5}));
    Counted probe(5);
    EXPECT_EQ(unique.BuscarItem(&probe), 2);
    int pos = -1;
    Counted four(4);
    EXPECT_EQ(unique.BuscarPosicio(&four, pos), 0);
    EXPECT_EQ(pos, 2);
  }
  EXPECT_EQ(Counted::live, 0);
  TLlistaOrdenada empty;
  TInt x(1);
  int pos = -1;
  EXPECT_EQ(empty.BuscarItem(&x), -1);
  EXPECT_EQ(empty.BuscarPosicio(&x, pos), 0);
  EXPECT_EQ(pos, 0);
}

TEST(LlistaOrdenada, ItemsWithoutAComparisonAreAllEqual) {
  TLlistaOrdenada l;
  l.Afegir(new TDouble(2.0));
  l.Afegir(new TDouble(1.0));
  EXPECT_EQ(l.Cnt(), 1);  // the second replaced the first
  EXPECT_EQ(static_cast<TDouble*>(l.GetItem(0))->Get(), 1.0);
  TItem* copy = l.Duplicar();
  EXPECT_EQ(copy->QueSoc(), 2);
  delete copy;
}

}  // namespace
