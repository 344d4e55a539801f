// The cross list and the ring: what the model walk does not reach (refused links,
// nodes pulled out or without items, progress and cancelling), and copies.
#include <memory>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/crosslist.h>
#include <kwlib63/progress/indicadorestat.h>

#include "counted.h"
#include "support/recordingie.h"

namespace {

using kwtest::Counted;

std::vector<int> Values(const TCrossList& l) {
  std::vector<int> v;
  TCrossNode* n = l.GetFirst();
  for (int i = 0; i < l.Cnt() && n != nullptr; ++i, n = n->GetNext()) {
    v.push_back(n->GetItem() ? static_cast<TInt*>(n->GetItem())->Get() : -1);
  }
  return v;
}

TEST(CrossList, InsertionRules) {
  TCrossList l;
  EXPECT_EQ(l.IsSorted(), 1);
  EXPECT_EQ(l.AddOrderedElem(static_cast<TItem*>(nullptr)), nullptr);
  EXPECT_EQ(l.Remove(nullptr), -3);
  TInt notThere(0);
  auto* x = new TInt(5);
  EXPECT_EQ(l.InsertAfter(x, &notThere), nullptr);  // nothing created
  EXPECT_EQ(l.Cnt(), 0);
  TCrossNode* a = l.InsertLast(new TInt(1));
  TCrossNode* b = l.InsertLast(new TInt(2));
  TCrossNode* inserted = l.InsertAfter(x, b->GetItem());
  EXPECT_EQ(inserted, l.GetLast());
  auto* first = new TCrossNode;
  first->SetItem(new TInt(0));
  inserted = l.InsertAfter(first, static_cast<TCrossNode*>(nullptr));
  EXPECT_EQ(inserted, l.GetFirst());
  auto* last = new TCrossNode;
  last->SetItem(new TInt(9));
  inserted = l.InsertBefore(last, static_cast<TCrossNode*>(nullptr));
  EXPECT_EQ(inserted, l.GetLast());
  EXPECT_EQ(Values(l), (std::vector<int>{0, 1, 2, 5, 9}));
  EXPECT_EQ(l.GetNode(a->GetItem()), a);
  TCrossNode stray;
  EXPECT_EQ(l.LinkNodes(a, &stray, l.GetLast()), nullptr);  // not neighbours: refused
  EXPECT_EQ(l.Cnt(), 5);
  EXPECT_EQ(l.IsSorted(), 1);
  l.InsertFirst(new TInt(7));
  EXPECT_EQ(l.IsSorted(), 0);
}

TEST(CrossList, PullingOutTheOnlyNode) {
  TCrossList linear;
  TCrossNode* n = linear.InsertLast(new TInt(1));
  TCrossNode* out = linear.PullOut(n);
  EXPECT_EQ(out, n);
  EXPECT_EQ(linear.Cnt(), 0);
  EXPECT_EQ(linear.GetFirst(), nullptr);
  EXPECT_EQ(linear.GetNode(n->GetItem()), n);  // kept: the index still finds it
  linear.Remove(n);                            // and the node can still be removed

  TCircularCrossList ring;
  TCrossNode* r = ring.InsertLast(new TInt(1));
  EXPECT_EQ(r->GetNext(), r);  // a ring of one
  ring.PullOut(r);
  EXPECT_EQ(ring.GetNode(r->GetItem()), nullptr);  // the ring forgets it
  delete r;
}

TEST(CrossList, SortByComparisonReversesEqualsAndDropsEmptyNodes) {
  Counted::live = 0;
  {
    TCrossList l;
    auto* first3 = new Counted(3);
    l.InsertLast(first3);
    l.InsertLast(new Counted(1));
    l.InsertLast(new TCrossNode);  // no item
    auto* second3 = new Counted(3);
    l.InsertLast(second3);
    EXPECT_EQ(l.Sort(), 0);
    EXPECT_EQ(Values(l), (std::vector<int>{1, 3, 3}));
    EXPECT_EQ(l.GetLast()->GetItem(), first3);  // equal items reversed
    EXPECT_EQ(l.GetNode(second3)->GetNext(), l.GetNode(first3));
    EXPECT_EQ(l.IsSorted(), 1);
  }
  EXPECT_EQ(Counted::live, 0);
}

using Recording = kwtest::RecordingIndicator;

TEST(CrossList, SortAndProcessReportProgressAndStopWhenCancelled) {
  TCrossList l;
  for (int v : {4, 102, 3, 101, 1}) l.InsertLast(new TInt(v));
  const auto byUnits = [](const TItem* a, const TItem* b, __int64) {
    return static_cast<const TInt*>(a)->Get() % 100 - static_cast<const TInt*>(b)->Get() % 100;
  };
  Recording ie;
  EXPECT_EQ(l.Sort(byUnits, 0, &ie), 0);
  // Gathered from the first, each before the first it does not exceed: 1 and 101
  // tie and come out reversed.
  EXPECT_EQ(Values(l), (std::vector<int>{1, 101, 102, 3, 4}));
  EXPECT_EQ(ie.shown, (std::vector<double>{0.2, 0.4, 0.6, 0.8, 1.0}));
  Recording cancel;
  cancel.cancelAt = 2;
  EXPECT_EQ(l.Sort(kwtest::ByValue, 0, &cancel), -5);
  EXPECT_EQ(Values(l), (std::vector<int>{1, 101, 102, 3, 4}));
  const auto index = [](TItem*, int i, __int64) { return i; };
  Recording cancelled;
  cancelled.Cancelar();
  EXPECT_EQ(l.Process(index, 0, 0, &cancelled), -5);
}

// Both lists' links agree with each other and with the count, forwards and back,
// and every node's item is indexed to it.
void ExpectWellFormed(const TCrossList& l, bool ring, const char* what) {
  SCOPED_TRACE(what);
  const int n = l.Cnt();
  if (n == 0) {
    EXPECT_EQ(l.GetFirst(), nullptr);
    EXPECT_EQ(l.GetLast(), nullptr);
    return;
  }
  TCrossNode* node = l.GetFirst();
  TCrossNode* before = ring ? l.GetLast() : nullptr;
  for (int i = 0; i < n; ++i) {
    ASSERT_NE(node, nullptr) << "at " << i;
    EXPECT_EQ(node->GetPrev(), before) << "at " << i;
    if (node->GetItem() != nullptr) {
      EXPECT_EQ(l.GetNode(node->GetItem()), node) << "at " << i;
    }
    before = node;
    node = node->GetNext();
  }
  EXPECT_EQ(before, l.GetLast());
  EXPECT_EQ(node, ring ? l.GetFirst() : nullptr);
}

template <typename List>
void Fill(List& l, int n) {
  for (int i = 0; i < n; ++i) l.InsertLast(new Counted(i));
}

}  // namespace

TEST(CrossList, DeepCopiesOfEveryLengthLeaveTheSourceAlone) {
  Counted::live = 0;
  for (int n = 0; n <= 9; ++n) {
    SCOPED_TRACE(n);
    TCrossList src;
    Fill(src, n);
    const std::vector<int> before = Values(src);
    {
      TCrossList byPointer(&src);
      std::unique_ptr<TItem> duplicate(src.Duplicar());
      auto* dup = static_cast<TCrossList*>(duplicate.get());
      TCrossList concatenated;
      concatenated.InsertLast(new Counted(100));
      concatenated.Concatenate(&src, nullptr);
      for (const TCrossList* copy : {static_cast<const TCrossList*>(&byPointer), static_cast<const TCrossList*>(dup)}) {
        EXPECT_EQ(Values(*copy), before);
        ExpectWellFormed(*copy, false, "copy");
      }
      std::vector<int> expected{100};
      expected.insert(expected.end(), before.begin(), before.end());
      EXPECT_EQ(Values(concatenated), expected);
      ExpectWellFormed(concatenated, false, "concatenated");
      // No node of a copy is shared with the source.
      for (TCrossNode* c = byPointer.GetFirst(); c != nullptr; c = c->GetNext()) {
        EXPECT_EQ(src.GetNode(c->GetItem()), nullptr);
      }
    }
    EXPECT_EQ(Values(src), before);
    ExpectWellFormed(src, false, "source");
    EXPECT_EQ(Counted::live, n);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(CrossList, ARingConcatenatedIntoALinearListStopsAtItsStart) {
  Counted::live = 0;
  for (int n = 1; n <= 6; ++n) {
    SCOPED_TRACE(n);
    TCircularCrossList ring;
    Fill(ring, n);
    TCrossList line;
    line.Concatenate(&ring, nullptr);
    EXPECT_EQ(Values(line), Values(ring));
    ExpectWellFormed(line, false, "line");
    ExpectWellFormed(ring, true, "ring");
    TCircularCrossList ringCopy(&ring);
    ExpectWellFormed(ringCopy, true, "ring copy");
    // From the second node, round to the ring's end.
    TCrossList tail;
    tail.Concatenate(&ring, ring.GetFirst()->GetNext());
    std::vector<int> expected = Values(ring);
    expected.erase(expected.begin());
    EXPECT_EQ(Values(tail), n > 1 ? expected : std::vector<int>{0});
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(CrossList, DoneWithoutDeletingKeepsTheIndex) {
  Counted::live = 0;
  TCrossList l;
  auto* a = new Counted(1);
  auto* b = new Counted(2);
  TCrossNode* na = l.InsertLast(a);
  TCrossNode* nb = l.InsertLast(b);
  l.Done(0);
  EXPECT_EQ(l.Cnt(), 0);
  EXPECT_EQ(l.GetFirst(), nullptr);
  // Done leaves the index alone: the nodes are the caller's now, and still found.
  EXPECT_EQ(l.GetNode(a), na);
  EXPECT_EQ(l.GetNode(b), nb);
  delete na;
  delete nb;
  EXPECT_EQ(Counted::live, 0);
}
