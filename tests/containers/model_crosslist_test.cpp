// The cross list and the ring against a model written from their linking rules:
// order, links both ways, the ends, the index, the sorted flag, copies that leave
// their source alone, and ownership. Seeded random walks across every size.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/crosslist.h>

#include "model.h"

namespace {

using kwtest::Counted;
using kwtest::Tagged;
using kwtest::TagOf;
using kwtest::ValueOf;

struct Entry {
  int value;
  TItem* item;
};

// What a cross list must hold: its items in order and its sorted flag.
struct CrossModel {
  bool ring = false;
  std::vector<Entry> entries;
  int sorted = 1;

  int Count() const { return static_cast<int>(entries.size()); }
  // The sorted flag after a node entered at `at`: cleared when it compares below
  // its new previous node or above its new next one (in a ring they wrap).
  void Linked(int at) {
    const int n = Count();
    if (n == 1) return;
    const int v = entries[static_cast<std::size_t>(at)].value;
    const int prev = at > 0 ? at - 1 : (ring ? n - 1 : -1);
    const int next = at < n - 1 ? at + 1 : (ring ? 0 : -1);
    if (prev >= 0 && v < entries[static_cast<std::size_t>(prev)].value) sorted = 0;
    if (next >= 0 && v > entries[static_cast<std::size_t>(next)].value) sorted = 0;
  }
  void Insert(Entry e, int at) {
    entries.insert(entries.begin() + at, e);
    Linked(at);
  }
  // Rebuilds the order by appending one node after another.
  void Relinked(const std::vector<Entry>& order) {
    entries.clear();
    for (const Entry& e : order) Insert(e, Count());
  }
  // Sort(): taken from the back, each after the ones it does not compare below.
  void SortByItems() {
    std::vector<Entry> order(entries.rbegin(), entries.rend());
    std::stable_sort(order.begin(), order.end(), [](const Entry& a, const Entry& b) { return a.value < b.value; });
    Relinked(order);
    sorted = 1;
  }
  int Find(const TItem* item) const {
    for (int i = 0; i < Count(); ++i) {
      if (entries[static_cast<std::size_t>(i)].item == item) return i;
    }
    return -1;
  }
};

// The first difference between a list and its model, or "".
std::string Diff(const TCrossList& l, const CrossModel& m) {
  const int n = m.Count();
  if (l.Cnt() != n) return "count " + std::to_string(l.Cnt()) + " want " + std::to_string(n);
  if (l.IsEmpty() != (n < 1 ? 1 : 0)) return "IsEmpty";
  if (n == 0) return l.GetFirst() == nullptr && l.GetLast() == nullptr ? "" : "ends of an empty list";
  TCrossNode* node = l.GetFirst();
  TCrossNode* before = m.ring ? l.GetLast() : nullptr;
  for (int i = 0; i < n; ++i) {
    const std::string at = " at " + std::to_string(i);
    if (node == nullptr) return "the links end early" + at;
    if (node->GetItem() != m.entries[static_cast<std::size_t>(i)].item) {
      return "item " + std::to_string(ValueOf(node->GetItem())) + "#" + std::to_string(TagOf(node->GetItem())) + " want " +
             std::to_string(m.entries[static_cast<std::size_t>(i)].value) + "#" +
             std::to_string(TagOf(m.entries[static_cast<std::size_t>(i)].item)) + at;
    }
    if (node->GetPrev() != before) return "prev link" + at;
    if (l.GetNode(node->GetItem()) != node) return "index" + at;
    before = node;
    node = node->GetNext();
  }
  if (before != l.GetLast()) return "last";
  if (node != (m.ring ? l.GetFirst() : nullptr)) return "next of the last";
  if (l.IsSorted() != m.sorted) return "sorted flag " + std::to_string(l.IsSorted()) + " want " + std::to_string(m.sorted);
  return "";
}

// A linear list or a ring of `n` new items, and its model.
std::unique_ptr<TCrossList> MakeList(kwtest::Walk& walk, bool ring, int n, CrossModel& m) {
  std::unique_ptr<TCrossList> l(ring ? new TCircularCrossList : new TCrossList);
  m.ring = ring;
  for (int i = 0; i < n; ++i) {
    auto* item = new Tagged(walk.Pick(30));
    l->InsertLast(item);
    m.Insert({item->Get(), item}, m.Count());
  }
  return l;
}

// Checks that `l` holds, from `at`, fresh copies of `source`; adopts them into `out`.
std::string CheckCopies(const TCrossList& l, int at, const std::vector<Entry>& source, std::vector<Entry>& out) {
  TCrossNode* node = l.GetFirst();
  for (int i = 0; i < at; ++i) node = node->GetNext();
  for (const Entry& e : source) {
    if (node == nullptr || node->GetItem() == nullptr) return "a copy is missing";
    const auto* copy = static_cast<const Tagged*>(node->GetItem());
    if (copy->Get() != e.value || copy->from != TagOf(e.item)) return "not a copy of #" + std::to_string(TagOf(e.item));
    out.push_back({copy->Get(), node->GetItem()});
    node = node->GetNext();
  }
  return "";
}

int Number(TItem* item, int index, __int64 param) {
  reinterpret_cast<std::vector<std::pair<TItem*, int>>*>(param)->push_back({item, index});
  return index;
}

int ByValue(const TItem* a, const TItem* b, __int64) { return kwtest::ByValueNullFirst(a, b, 0); }

void RunWalk(bool ring) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    kwtest::Walk walk(seed);
    Counted::live = 0;
    {
      CrossModel m;
      m.ring = ring;
      std::unique_ptr<TCrossList> list(ring ? new TCircularCrossList : new TCrossList);
      for (int step = 0; step < 2500; ++step) {
        const int n = m.Count();
        const int at = walk.Pick(n);
        TItem* atItem = n > 0 ? m.entries[static_cast<std::size_t>(at)].item : nullptr;
        std::string op;
        if (walk.Pick(10) < 7 && walk.Grow(n)) {
          auto* item = new Tagged(walk.Pick(30));
          const Entry e{item->Get(), item};
          switch (walk.Pick(7)) {
            case 0:
              op = "InsertFirst";
              ASSERT_NE(list->InsertFirst(item), nullptr);
              m.Insert(e, 0);
              break;
            case 1:
              op = "InsertLast";
              ASSERT_NE(list->InsertLast(item), nullptr);
              m.Insert(e, n);
              break;
            case 2:
              op = "InsertAfter " + std::to_string(at);
              ASSERT_NE(list->InsertAfter(item, atItem), nullptr);
              m.Insert(e, atItem != nullptr ? at + 1 : 0);  // after nothing: first
              break;
            case 3: {
              op = "InsertBefore node " + std::to_string(at);
              auto* node = new TCrossNode;
              node->SetItem(item);
              ASSERT_EQ(list->InsertBefore(node, list->GetNode(atItem)), node);
              m.Insert(e, atItem != nullptr ? at : n);  // before nothing: last
              break;
            }
            case 4: {
              op = "AddOrderedElem";
              if (!m.sorted) m.SortByItems();
              ASSERT_NE(list->AddOrderedElem(item), nullptr);
              int pos = 0;
              while (pos < m.Count() && !(e.value < m.entries[static_cast<std::size_t>(pos)].value)) ++pos;
              m.Insert(e, pos);
              break;
            }
            case 5: {
              // Copies from another list (linear or ring) or from itself, from a node on.
              delete item;
              const bool self = walk.OneIn(4);
              CrossModel om;
              auto other = self ? nullptr : MakeList(walk, walk.OneIn(2), walk.OneIn(8) ? walk.Pick(40) : walk.Pick(7), om);
              const CrossModel& src = self ? m : om;
              const int from = walk.Pick(src.Count() + 1) - 1;  // -1: from the first
              TCrossNode* fromNode = from >= 0 ? (self ? list.get() : other.get())->GetNode(src.entries[static_cast<std::size_t>(from)].item) : nullptr;
              const std::vector<Entry> source(src.entries.begin() + std::max(from, 0), src.entries.end());
              op = std::string(self ? "Concatenate self " : "Concatenate ") + std::to_string(src.Count()) + " from " + std::to_string(from);
              ASSERT_EQ(list->Concatenate(self ? list.get() : other.get(), fromNode), 0);
              std::vector<Entry> copies;
              ASSERT_EQ(CheckCopies(*list, n, source, copies), "") << kwtest::Replay(seed, step, op);
              for (const Entry& c : copies) m.Insert(c, m.Count());
              if (other) {
                ASSERT_EQ(Diff(*other, om), "") << "the source changed: " << kwtest::Replay(seed, step, op);
                ASSERT_EQ(Counted::live, m.Count() + om.Count()) << kwtest::Replay(seed, step, op);
              }
              break;
            }
            default: {
              // Moves another list's nodes from one of them on.
              delete item;
              CrossModel om;
              auto other = MakeList(walk, walk.OneIn(2), walk.Pick(7), om);
              const int from = walk.Pick(om.Count() + 1) - 1;
              TCrossNode* fromNode = from >= 0 ? other->GetNode(om.entries[static_cast<std::size_t>(from)].item) : nullptr;
              op = "Join " + std::to_string(om.Count()) + " from " + std::to_string(from);
              ASSERT_EQ(list->Join(other.get(), fromNode), 0);
              const auto cut = om.entries.begin() + std::max(from, 0);
              for (auto it = cut; it != om.entries.end(); ++it) m.Insert(*it, m.Count());
              const std::vector<Entry> left(om.entries.begin(), cut);
              om.entries = left;
              ASSERT_EQ(other->Cnt(), om.Count()) << kwtest::Replay(seed, step, op);
              break;
            }
          }
        } else if (n > 0 && walk.Pick(10) < 7) {
          switch (walk.Pick(3)) {
            case 0:
              op = "Remove " + std::to_string(at);
              ASSERT_EQ(list->Remove(list->GetNode(atItem)), 0);
              m.entries.erase(m.entries.begin() + at);
              break;
            case 1: {
              op = "PullOut and back " + std::to_string(at);
              TCrossNode* node = list->PullOut(list->GetNode(atItem));
              ASSERT_NE(node, nullptr);
              const Entry e = m.entries[static_cast<std::size_t>(at)];
              m.entries.erase(m.entries.begin() + at);
              if (walk.OneIn(2)) {
                ASSERT_EQ(list->InsertLast(node), node);
                m.Insert(e, m.Count());
              } else {
                ASSERT_EQ(list->InsertFirst(node), node);
                m.Insert(e, 0);
              }
              break;
            }
            default: {
              const int other = walk.Pick(n);
              if (other == at) continue;
              op = "ExChangePositions " + std::to_string(at) + " " + std::to_string(other);
              TItem* otherItem = m.entries[static_cast<std::size_t>(other)].item;
              ASSERT_EQ(list->ExChangePositions(list->GetNode(atItem), list->GetNode(otherItem)), 0);
              std::swap(m.entries[static_cast<std::size_t>(at)], m.entries[static_cast<std::size_t>(other)]);
              m.sorted = 0;
              break;
            }
          }
        } else {
          switch (walk.Pick(6)) {
            case 0:
              op = "Reverse";
              list->Reverse();
              m.Relinked(std::vector<Entry>(m.entries.rbegin(), m.entries.rend()));
              m.sorted = 0;
              break;
            case 1:
              op = "Sort";
              ASSERT_EQ(list->Sort(), 0);
              m.SortByItems();
              break;
            case 2: {
              op = "Sort by compare";
              ASSERT_EQ(list->Sort(ByValue, 0, nullptr), 0);
              if (n == 0) break;
              std::vector<Entry> order(m.entries.rbegin(), m.entries.rend());
              std::stable_sort(order.begin(), order.end(), [](const Entry& a, const Entry& b) { return a.value < b.value; });
              m.Relinked(order);
              break;
            }
            case 3: {
              op = "copy";  // the copy replaces the list
              std::unique_ptr<TCrossList> copy;
              if (walk.OneIn(2)) copy.reset(static_cast<TCrossList*>(list->Duplicar()));
              else if (ring) copy.reset(new TCircularCrossList(static_cast<TCircularCrossList*>(list.get())));
              else copy.reset(new TCrossList(list.get()));
              ASSERT_EQ(copy->GetRTTI(), list->GetRTTI());
              CrossModel cm;
              cm.ring = ring;
              ASSERT_EQ(CheckCopies(*copy, 0, m.entries, cm.entries), "") << kwtest::Replay(seed, step, op);
              cm.sorted = m.sorted;
              ASSERT_EQ(Diff(*list, m), "") << "the source changed: " << kwtest::Replay(seed, step, op);
              list = std::move(copy);
              m = cm;
              break;
            }
            case 4: {
              const int flags = walk.Pick(2);
              op = "Process " + std::to_string(flags);
              std::vector<std::pair<TItem*, int>> seen, want;
              const int result = list->Process(Number, flags, reinterpret_cast<__int64>(&seen), nullptr);
              for (int i = 0; i < n; ++i) want.push_back({m.entries[static_cast<std::size_t>(i)].item, flags ? n - 1 - i : i});
              ASSERT_EQ(seen, want) << kwtest::Replay(seed, step, op);
              ASSERT_EQ(result, n == 0 ? 0 : want.back().second);
              break;
            }
            default:
              if (!walk.OneIn(10)) continue;
              op = "Done";
              list->Done(1);
              m.entries.clear();
              m.sorted = 1;
              break;
          }
        }
        ASSERT_EQ(Diff(*list, m), "") << kwtest::Replay(seed, step, op) << (ring ? " ring" : " linear");
        ASSERT_EQ(Counted::live, m.Count()) << kwtest::Replay(seed, step, op);
      }
    }
    ASSERT_EQ(Counted::live, 0) << "seed " << seed;
  }
}

TEST(CrossModel, LinearListAgainstItsRules) { RunWalk(false); }
TEST(CrossModel, RingAgainstItsRules) { RunWalk(true); }

}  // namespace
