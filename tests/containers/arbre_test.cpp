// Trees and tables: what the model walks do not reach (stopping walks, unowned
// items, truth cells) and removals at the edges.
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/arbre.h>
#include <kwlib63/containers/taula.h>

#include "counted.h"

namespace {

using kwtest::Counted;

TEST(Arbre, WalksStopOnNegative) {
  TArbre root(new TInt(0), 1);
  for (int i = 1; i <= 3; ++i) root.InsertarFill(new TArbre(new TInt(i), 1), -1);
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

TEST(Taula, TruthCellsAreMadeAndANullCellReadsTheDefault) {
  TTaulaBool bools(0);
  bools.ConstruirTaula(2, 3);
  for (int r = 0; r < 2; ++r) {
    for (int c = 0; c < 3; ++c) {
      ASSERT_NE(bools.GetItem(r, c), nullptr);
      EXPECT_EQ(bools.Get(r, c), 0);
    }
  }
  bools.Swap(1, 1);
  bools.SetItem(nullptr, 1, 1);
  EXPECT_EQ(bools.Get(1, 1), 0);  // the default for a null cell
}

// Rows (or columns) removed by EliminarFiles and EliminarColumnes on a 5 x 5 table
// whose cells hold row * 10 + column: n at least the count empties the table
// wherever it starts; a stretch that runs past the end stops at the end.
TEST(Taula, RemovalAtAndPastTheEdges) {
  struct { int pos, n; std::vector<int> kept; } cases[] = {
      {3, 5, {}}, {0, 5, {}}, {-2, 7, {}}, {4, 5, {}},       // the whole table goes
      {3, 4, {0, 1, 2}}, {4, 2, {0, 1, 2, 3}},                // cut at the last one
      {1, 2, {0, 3, 4}}, {0, 0, {0, 1, 2, 3, 4}},            // inside; nothing
      {5, 1, {0, 1, 2, 3, 4}}, {-1, 1, {0, 1, 2, 3, 4}}};     // outside: nothing
  for (bool rows : {true, false}) {
    for (const auto& c : cases) {
      Counted::live = 0;
      {
        TTaula t;
        t.ConstruirTaula(5, 5);
        for (int r = 0; r < 5; ++r) {
          for (int col = 0; col < 5; ++col) t.SetItem(new Counted(r * 10 + col), r, col);
        }
        if (rows) t.EliminarFiles(c.pos, c.n);
        else t.EliminarColumnes(c.pos, c.n);
        const std::string where = (rows ? "rows " : "columns ") + std::to_string(c.pos) + ", " + std::to_string(c.n);
        const int kept = static_cast<int>(c.kept.size());
        if (kept == 0) {
          EXPECT_EQ(t.EsBuit(), 1) << where;
          EXPECT_EQ(t.GetNumFiles() + t.GetNumColumnes(), 0) << where;
        } else {
          ASSERT_EQ(rows ? t.GetNumFiles() : t.GetNumColumnes(), kept) << where;
          ASSERT_EQ(rows ? t.GetNumColumnes() : t.GetNumFiles(), 5) << where;
          for (int i = 0; i < kept; ++i) {
            for (int j = 0; j < 5; ++j) {
              const TItem* cell = rows ? t.GetItem(i, j) : t.GetItem(j, i);
              const int want = rows ? c.kept[static_cast<std::size_t>(i)] * 10 + j : j * 10 + c.kept[static_cast<std::size_t>(i)];
              ASSERT_EQ(static_cast<const TInt*>(cell)->Get(), want) << where;
            }
          }
        }
        EXPECT_EQ(Counted::live, kept * 5) << where;
      }
      EXPECT_EQ(Counted::live, 0);
    }
  }
}

}  // namespace
