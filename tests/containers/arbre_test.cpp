// Trees and tables.
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/arbre.h>
#include <kwlib63/containers/taula.h>

#include "counted.h"

namespace {

using kwtest::Counted;

using Visits = std::vector<std::pair<int, int>>;  // value, depth

int Record(const TItem* item, int depth, __int64 param) {
  reinterpret_cast<Visits*>(param)->push_back({static_cast<const TInt*>(item)->Get(), depth});
  return 0;
}

TEST(Arbre, WalkOrders) {
  // R(0) -> A(1) -> B(2)
  TArbre root(new TInt(0), 1);
  auto* a = new TArbre(new TInt(1), 1);
  root.InsertarFill(a, -1);
  a->InsertarFill(new TArbre(new TInt(2), 1), -1);
  Visits v;
  root.Preordre(Record, reinterpret_cast<__int64>(&v));
  EXPECT_EQ(v, (Visits{{0, 0}, {1, 1}, {2, 2}}));
  v.clear();
  root.Postordre(Record, reinterpret_cast<__int64>(&v));
  EXPECT_EQ(v, (Visits{{1, 1}, {2, 2}, {0, 0}}));  // only the root comes last
  EXPECT_EQ(root.QueSoc(), 7);
}

TEST(Arbre, InOrderIsBinaryAndWalksStopOnNegative) {
  TArbre root(new TInt(0), 1);
  for (int i = 1; i <= 3; ++i) root.InsertarFill(new TArbre(new TInt(i), 1), -1);
  Visits v;
  EXPECT_EQ(root.Inordre(Record, reinterpret_cast<__int64>(&v)), 0);
  EXPECT_EQ(v, (Visits{{1, 1}, {0, 0}, {2, 1}}));  // the third child is never visited
  const auto stopAtOne = [](TArbre* node, int, __int64) { return static_cast<TInt*>(node->GetItem())->Get() == 1 ? -1 : 5; };
  EXPECT_EQ(root.PreordreA(stopAtOne, 0), -1);
  EXPECT_EQ(root.PostordreA(stopAtOne, 0), -1);
  const auto five = [](TArbre*, int, __int64) { return 5; };
  EXPECT_EQ(root.PreordreA(five, 0), 5);
}

TEST(Arbre, BinaryNodesAndOwnership) {
  Counted::live = 0;
  {
    TArbre empty(nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(empty.GetNumFills(), 2);
    EXPECT_EQ(empty.GetFillEsquerre(), nullptr);
    EXPECT_EQ(empty.GetFillDret(), nullptr);
    EXPECT_EQ(empty.EsFulla(), 0);
    EXPECT_EQ(empty.EsBinari(), 1);

    Counted kept(7);
    Counted* unowned = new Counted(2);
    {
      TArbre node(&kept, new TArbre(new Counted(1), 1), new TArbre(unowned, 0), 0);
      TArbre* left = node.GetFillEsquerre();
      node.SetFill(left, 0, 1);  // the same child: nothing deleted
      EXPECT_EQ(node.GetFillEsquerre(), left);
      TItem* copy = node.Duplicar();  // deep, whatever the ownership
      delete copy;
    }
    // The node's own item stays (not owned), the children went with their owned item.
    EXPECT_EQ(kept.Get(), 7);
    EXPECT_EQ(Counted::live, 2);  // `kept` and the right child's unowned item
    delete unowned;
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(Arbre, ChildrenInAndOut) {
  TArbre root(new TInt(0), 1);
  root.InsertarFill(new TArbre(new TInt(1), 1), -1);
  root.InsertarFill(new TArbre(new TInt(2), 1), 0);
  EXPECT_EQ(static_cast<TInt*>(root.GetFill(0)->GetItem())->Get(), 2);
  TArbre* out = root.TreureFill(0);
  EXPECT_EQ(root.GetNumFills(), 1);
  delete out;
  root.EliminarFill(0);
  EXPECT_EQ(root.EsFulla(), 1);
  EXPECT_EQ(root.GetFill(0), nullptr);
  root.SetItem(new TInt(9), 1);
  EXPECT_EQ(static_cast<TInt*>(root.GetItem())->Get(), 9);
}

TEST(Taula, CellsMadeByTheFactory) {
  TTaulaBool bools(0);
  bools.ConstruirTaula(2, 3);
  EXPECT_EQ(bools.QueSoc(), 6);
  for (int r = 0; r < 2; ++r) {
    for (int c = 0; c < 3; ++c) {
      ASSERT_NE(bools.GetItem(r, c), nullptr);
      EXPECT_EQ(bools.Get(r, c), 0);
    }
  }
  TTaula plain;
  plain.ConstruirTaula(2, 3);
  EXPECT_EQ(plain.GetItem(1, 2), nullptr);
  EXPECT_EQ(plain.EsBuit(), 0);
  bools.Swap(1, 1);
  EXPECT_EQ(bools.Get(1, 1), 1);
  bools.SetItem(nullptr, 0, 0);
  EXPECT_EQ(bools.Get(0, 0), 0);  // the default for a null cell
  bools.Set(0, 0, 5);
  EXPECT_EQ(bools.Get(0, 0), 5);
}

TEST(Taula, RowsAndColumnsInAndOut) {
  Counted::live = 0;
  {
    TTaula t;
    t.ConstruirTaula(2, 2);
    for (int r = 0; r < 2; ++r) {
      for (int c = 0; c < 2; ++c) t.SetItem(new Counted(r * 10 + c), r, c);
    }
    t.InsertarFiles(-1, 2);  // appends
    EXPECT_EQ(t.GetNumFiles(), 4);
    EXPECT_EQ(static_cast<TInt*>(t.GetItem(1, 1))->Get(), 11);
    EXPECT_EQ(t.GetItem(3, 0), nullptr);
    t.InsertarColumnes(1, 1);
    EXPECT_EQ(t.GetNumColumnes(), 3);
    EXPECT_EQ(static_cast<TInt*>(t.GetItem(0, 2))->Get(), 1);
    EXPECT_EQ(t.GetItem(0, 1), nullptr);
    t.EliminarFiles(0, 1);
    EXPECT_EQ(Counted::live, 2);
    EXPECT_EQ(static_cast<TInt*>(t.GetItem(0, 0))->Get(), 10);
    t.EliminarColumnes(0, 1);
    EXPECT_EQ(Counted::live, 1);
    EXPECT_EQ(static_cast<TInt*>(t.GetItem(0, 1))->Get(), 11);
    t.EliminarFiles(0, 99);  // all of them: an empty table
    EXPECT_EQ(t.EsBuit(), 1);
    EXPECT_EQ(Counted::live, 0);
    t.ConstruirTaula(1, 1);
    t.SetItem(new Counted(1), 0, 0);
  }
  EXPECT_EQ(Counted::live, 0);
}

}  // namespace
