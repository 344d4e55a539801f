// Stacks and the circular list.
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/llistacircular.h>
#include <kwlib63/containers/pila.h>

#include "counted.h"

namespace {

using kwtest::Counted;

int Value(const TItem* item) { return static_cast<const TInt*>(item)->Get(); }

TEST(Pila, PushPopTop) {
  Counted::live = 0;
  {
    TPila p;
    EXPECT_EQ(p.QueSoc(), 5);
    EXPECT_EQ(p.EsTipus(2), 1);
    EXPECT_EQ(p.top(), nullptr);
    for (int i = 1; i <= 3; ++i) p.push(new Counted(i));
    EXPECT_EQ(Value(p.top()), 3);
    EXPECT_EQ(p.pop(), 0);
    EXPECT_EQ(Counted::live, 2);
    TItem* taken = p.poptop();
    EXPECT_EQ(Value(taken), 2);
    delete taken;
    TItem* copy = p.Duplicar();
    EXPECT_EQ(copy->QueSoc(), 5);
    delete copy;
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(PilaLimitada, KeepsTheNewest) {
  Counted::live = 0;
  {
    TPilaLimitada p(2);
    EXPECT_EQ(p.QueSoc(), 5);
    for (int i : {1, 2, 3}) p.push(new Counted(i));
    EXPECT_EQ(p.Cnt(), 2);
    EXPECT_EQ(Value(p.GetItem(0)), 2);
    EXPECT_EQ(Value(p.top()), 3);
    EXPECT_EQ(Counted::live, 2);  // 1 was deleted
    p.SetTamany(1);
    EXPECT_EQ(Value(p.top()), 3);
    EXPECT_EQ(Counted::live, 1);
    TPilaLimitada none(0);
    EXPECT_EQ(none.push(new Counted(9)), 0);
    EXPECT_EQ(none.Cnt(), 0);
    EXPECT_EQ(Counted::live, 1);
    EXPECT_EQ(none.GetTamany(), 0);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(LlistaCircular, PositionsWrap) {
  TLlistaCircular l;
  EXPECT_EQ(l.QueSoc(), 8);
  EXPECT_EQ(l.GetItem(5), nullptr);
  for (int i = 0; i < 3; ++i) l.Afegir(new TInt(i));
  EXPECT_EQ(Value(l.GetItem(-1)), 2);
  EXPECT_EQ(Value(l.GetItem(3)), 0);
  EXPECT_EQ(Value(l.GetItem(7)), 1);
  EXPECT_EQ(Value(l[-3]), 0);
  EXPECT_EQ(l.CalculaPosicio(-2147483647 - 1), 1);  // 2^31 mod 3 = 2: 3 - 2
  l.Insertar(new TInt(10), 3);  // the count: appends
  EXPECT_EQ(Value(l.GetItem(3)), 10);
  l.Insertar(new TInt(11), 5);  // 5 mod 4 = 1
  EXPECT_EQ(Value(l.GetItem(1)), 11);
  l.Eliminar(-1);
  EXPECT_EQ(l.Cnt(), 4);
  EXPECT_EQ(Value(l.GetItem(-1)), 2);
}

TEST(LlistaCircular, SteppingWrapsOnlyFromBehindTheLast) {
  TLlistaCircular l;
  for (int i = 0; i < 3; ++i) l.Afegir(new TInt(i));
  EXPECT_EQ(l.PosActual(), 3);  // behind the last item after appending
  EXPECT_EQ(l.Seguent(), 1);
  EXPECT_EQ(l.PosActual(), 0);
  l.Posicionar(2);
  EXPECT_EQ(l.Seguent(), 0);  // at the last item: no wrap
  EXPECT_EQ(l.PosActual(), 2);
  l.Posicionar(3);  // wrapped to 0
  EXPECT_EQ(l.PosActual(), 0);
  EXPECT_EQ(l.Previ(), 1);
  EXPECT_EQ(l.PosActual(), 2);
  TLlistaCircular empty;
  EXPECT_EQ(empty.Previ(), 1);
  EXPECT_EQ(empty.PosActual(), 0);
}

}  // namespace
