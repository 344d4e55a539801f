// The list family against a model written from the lists' own rules: slots, growth
// and shrink steps, the cursor, copies and ownership. Seeded random walks across
// every size at which the array changes; a failure names the seed and the step.
#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/llista.h>
#include <kwlib63/containers/llistacircular.h>
#include <kwlib63/containers/pila.h>

#include "model.h"
#include "support/recordingie.h"

namespace {

using kwtest::Counted;
using kwtest::Tagged;
using kwtest::TagOf;
using kwtest::ValueOf;

struct Slot {
  int value = -1;  // -1 and tag 0: a null slot
  int tag = 0;
};

// What a list must hold: its slots, the capacity and step of its array, the cursor.
struct ListModel {
  std::vector<Slot> slots;
  int capacity = 0;
  int step = 16;
  int cursor = 0;

  int Count() const { return static_cast<int>(slots.size()); }
  int Live() const {
    return static_cast<int>(std::count_if(slots.begin(), slots.end(), [](const Slot& s) { return s.tag != 0; }));
  }
  // Room for n more: the next multiple of the step strictly above the need, and a
  // doubled step once the capacity passes twice the step.
  void Reserve(int n) {
    if (capacity - Count() >= n) return;
    const int need = Count() + n;
    capacity = need + step - need % step;
    if (capacity > 2 * step && step < 16384) step = std::min(step * 2, 16384);
  }
  // After a removal: down to the step's granule above the count, halving the step.
  void Shrink() {
    if (Count() == 0) {
      capacity = 0;
      step = 16;
      return;
    }
    const int wanted = step - Count() % step + Count();
    if (wanted >= capacity) return;
    capacity = wanted;
    if (capacity <= step && step >= 17) step = std::max(step / 2, 16);
  }
  void Insert(Slot s, int pos) {
    pos = std::clamp(pos, 0, Count());
    Reserve(1);
    slots.insert(slots.begin() + pos, s);
    cursor = pos + 1;
  }
  Slot Remove(int pos) {
    cursor = pos;
    const Slot s = slots[static_cast<std::size_t>(pos)];
    slots.erase(slots.begin() + pos);
    Shrink();
    return s;
  }
};

Slot SlotOf(const TItem* item) { return {ValueOf(item), TagOf(item)}; }

// The first difference between a list and its model, or "".
std::string Diff(const TLlista& l, const ListModel& m, bool withCursor = true) {
  if (l.Cnt() != m.Count()) return "count " + std::to_string(l.Cnt()) + " want " + std::to_string(m.Count());
  for (int i = 0; i < m.Count(); ++i) {
    const Slot s = SlotOf(l.GetItem(i));
    const Slot& w = m.slots[static_cast<std::size_t>(i)];
    if (s.tag != w.tag || s.value != w.value) {
      return "slot " + std::to_string(i) + " holds " + std::to_string(s.value) + "#" + std::to_string(s.tag) +
             " want " + std::to_string(w.value) + "#" + std::to_string(w.tag);
    }
  }
  if (l.GetCapacitat() != m.capacity) return "capacity " + std::to_string(l.GetCapacitat()) + " want " + std::to_string(m.capacity);
  if (l.GetPas() != m.step) return "step " + std::to_string(l.GetPas()) + " want " + std::to_string(m.step);
  if (withCursor && l.PosActual() != m.cursor) return "cursor " + std::to_string(l.PosActual()) + " want " + std::to_string(m.cursor);
  if (l.GetItem(-1) != nullptr || l.GetItem(m.Count()) != nullptr) return "an item outside the list";
  if (l.EsBuida() != (m.Count() < 1 ? 1 : 0)) return "EsBuida";
  return "";
}

// A model of `n` items with fresh values, and the list holding the same items.
std::unique_ptr<TLlista> MakeList(kwtest::Walk& walk, int n, ListModel& m) {
  auto l = std::make_unique<TLlista>();
  for (int i = 0; i < n; ++i) {
    auto* item = walk.OneIn(8) ? nullptr : new Tagged(walk.Pick(40));
    l->Afegir(item);
    m.Insert(SlotOf(item), m.Count());
  }
  return l;
}

// Checks that `copy` holds fresh copies of `source`'s items, in order; adopts them.
std::string CheckCopies(const TLlista& l, int at, const std::vector<Slot>& source, std::vector<Slot>& out) {
  for (std::size_t i = 0; i < source.size(); ++i) {
    const TItem* item = l.GetItem(at + static_cast<int>(i));
    if (source[i].tag == 0) {
      if (item != nullptr) return "a null slot copied as an item";
      out.push_back({});
      continue;
    }
    if (item == nullptr || ValueOf(item) != source[i].value || static_cast<const Tagged*>(item)->from != source[i].tag) {
      return "slot " + std::to_string(at + static_cast<int>(i)) + " is not a copy of #" + std::to_string(source[i].tag);
    }
    out.push_back(SlotOf(item));
  }
  return "";
}

int Collect(TItem* item, int index, __int64 param) {
  auto* seen = reinterpret_cast<std::vector<std::pair<int, int>>*>(param);
  seen->push_back({TagOf(item), index});
  return index;
}

TEST(ListModel, TLlistaAgainstItsRules) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    kwtest::Walk walk(seed);
    Counted::live = 0;
    {
      auto list = std::make_unique<TLlista>();
      ListModel m;
      for (int step = 0; step < 2500; ++step) {
        const int n = m.Count();
        std::string op;
        if (walk.Pick(10) < 7 && walk.Grow(n)) {
          switch (walk.Pick(6)) {
            case 0: {
              op = "Afegir";
              auto* item = new Tagged(walk.Pick(40));
              ASSERT_EQ(list->Afegir(item), 0);
              m.Insert(SlotOf(item), n);
              break;
            }
            case 1: {
              const int pos = walk.Between(-3, n + 3);
              op = "Insertar " + std::to_string(pos);
              auto* item = walk.OneIn(10) ? nullptr : new Tagged(walk.Pick(40));
              ASSERT_EQ(list->Insertar(item, pos), 0);
              m.Insert(SlotOf(item), pos);
              break;
            }
            case 2: {
              const int pos = walk.Between(-2, n + 2);
              // From another list, from itself, or from a copy that shares its array.
              const int from = n <= 64 ? walk.Pick(4) : 2 + walk.Pick(2);  // a long list is not doubled
              ListModel om;
              auto other = from > 1 ? MakeList(walk, walk.OneIn(6) ? walk.Pick(40) : walk.Pick(6), om) : nullptr;
              std::unique_ptr<TLlista> shared(from == 1 ? new TLlista(*list) : nullptr);
              const std::vector<Slot> source = from > 1 ? om.slots : m.slots;
              const TLlista* joined = from > 1 ? other.get() : (from == 1 ? shared.get() : list.get());
              op = "Concatenar from " + std::to_string(from) + ", " + std::to_string(source.size()) + " at " + std::to_string(pos);
              ASSERT_EQ(list->Concatenar(joined, pos), 0) << kwtest::Replay(seed, step, op);
              shared.reset();
              if (source.empty()) break;
              m.Reserve(static_cast<int>(source.size()));
              const int at = pos >= 0 ? std::min(pos, n) : n;
              std::vector<Slot> copies;
              ASSERT_EQ(CheckCopies(*list, at, source, copies), "") << kwtest::Replay(seed, step, op);
              m.slots.insert(m.slots.begin() + at, copies.begin(), copies.end());
              m.cursor = list->PosActual();
              if (other) {
                ASSERT_EQ(Diff(*other, om), "") << "the source changed: " << kwtest::Replay(seed, step, op);
              }
              break;
            }
            case 3: {
              const int pos = walk.Between(-2, n + 2);
              ListModel om;
              auto other = MakeList(walk, walk.Pick(8), om);
              op = "Fusionar " + std::to_string(om.Count()) + " at " + std::to_string(pos);
              ASSERT_EQ(list->Fusionar(other.get(), pos), 0);
              if (om.Count() == 0) break;
              m.Reserve(om.Count());
              const int at = pos >= 0 ? std::min(pos, n) : n;
              m.slots.insert(m.slots.begin() + at, om.slots.begin(), om.slots.end());
              m.cursor = list->PosActual();
              ASSERT_EQ(Diff(*other, ListModel{}), "") << "the other list is not empty: " << kwtest::Replay(seed, step, op);
              break;
            }
            case 4: {
              const int k = walk.Pick(4);
              op = "CreaBuida " + std::to_string(k);
              ASSERT_EQ(list->CreaBuida(k), 0);
              m.Reserve(k);
              for (int i = 0; i < k; ++i) m.Insert({}, m.Count());
              break;
            }
            default: {
              op = "Duplicar";  // the deep copy replaces the list
              std::unique_ptr<TLlista> copy(walk.OneIn(2) ? static_cast<TLlista*>(list->Duplicar()) : new TLlista(list.get()));
              ListModel cm;
              cm.Reserve(n);
              ASSERT_EQ(CheckCopies(*copy, 0, m.slots, cm.slots), "") << kwtest::Replay(seed, step, op);
              cm.cursor = n;
              ASSERT_EQ(Counted::live, 2 * m.Live()) << kwtest::Replay(seed, step, op);
              list = std::move(copy);
              m = cm;
              break;
            }
          }
        } else if (n > 0 && walk.Pick(10) < 7) {
          const int pos = walk.Pick(n);
          switch (walk.Pick(3)) {
            case 0:
              op = "Eliminar " + std::to_string(pos);
              ASSERT_EQ(list->Eliminar(pos), 0);
              m.Remove(pos);
              break;
            case 1: {
              op = "Treure " + std::to_string(pos);
              std::unique_ptr<TItem> item(list->Treure(pos));
              const Slot want = m.Remove(pos);
              ASSERT_EQ(TagOf(item.get()), want.tag) << kwtest::Replay(seed, step, op);
              break;
            }
            default: {
              op = "Canviar " + std::to_string(pos);
              auto* item = new Tagged(walk.Pick(40));
              std::unique_ptr<TItem> old(list->Canviar(item, pos));
              ASSERT_EQ(TagOf(old.get()), m.slots[static_cast<std::size_t>(pos)].tag) << kwtest::Replay(seed, step, op);
              m.slots[static_cast<std::size_t>(pos)] = SlotOf(item);
              m.cursor = pos;
              break;
            }
          }
        } else {
          switch (walk.Pick(6)) {
            case 0:
              op = "Invertir";
              ASSERT_EQ(list->Invertir(), 0);
              std::reverse(m.slots.begin(), m.slots.end());
              break;
            case 1: {
              const bool cancel = n > 1 && walk.OneIn(4);
              op = cancel ? "Ordenar cancelled" : "Ordenar";
              kwtest::RecordingIndicator ie;
              ie.cancelAt = cancel ? 1 + walk.Pick(n) : 0;
              const int result = list->Ordenar(kwtest::ByValueNullFirst, 0, walk.OneIn(2) || cancel ? &ie : nullptr);
              if (cancel) {
                ASSERT_EQ(result, -5) << kwtest::Replay(seed, step, op);
              } else {
                ASSERT_EQ(result, 0);
                std::stable_sort(m.slots.begin(), m.slots.end(), [](const Slot& a, const Slot& b) { return a.value < b.value; });
              }
              break;
            }
            case 2: {
              const int flags = walk.Pick(2);
              op = "Recorrer " + std::to_string(flags);
              std::vector<std::pair<int, int>> seen, want;
              const int result = list->Recorrer(Collect, flags, reinterpret_cast<__int64>(&seen));
              for (int i = 0; i < n; ++i) {
                const int at = flags ? n - 1 - i : i;
                want.push_back({m.slots[static_cast<std::size_t>(at)].tag, at});
              }
              ASSERT_EQ(seen, want) << kwtest::Replay(seed, step, op);
              ASSERT_EQ(result, n == 0 ? 0 : want.back().second);
              break;
            }
            case 3: {
              op = "copy by reference";  // both share one array; the copy lets go
              {
                TLlista shallow(*list);
                ASSERT_EQ(Diff(shallow, m), "") << kwtest::Replay(seed, step, op);
                TLlista assigned;
                assigned.Afegir(new Tagged(1));
                assigned.Eliminar(0);
                assigned = shallow;
                ASSERT_EQ(Diff(assigned, m), "") << kwtest::Replay(seed, step, op);
              }
              break;
            }
            case 4: {
              const int which = walk.Pick(5);
              const int pos = walk.Between(-2, n + 2);
              op = "cursor " + std::to_string(which) + " " + std::to_string(pos);
              int result = 0, want = 0;
              if (which == 0) {
                result = list->Principi();
                want = n == 0 ? 0 : (m.cursor = 0, 1);
              } else if (which == 1) {
                result = list->Final();
                want = n == 0 ? 0 : (m.cursor = n - 1, 1);
              } else if (which == 2) {
                result = list->Seguent();
                want = n == 0 || m.cursor >= n - 1 ? 0 : (++m.cursor, 1);
              } else if (which == 3) {
                result = list->Previ();
                want = n == 0 || m.cursor < 1 ? 0 : (--m.cursor, 1);
              } else {
                list->Posicionar(pos);
                m.cursor = pos;
              }
              ASSERT_EQ(result, want) << kwtest::Replay(seed, step, op);
              const bool inside = m.cursor >= 0 && m.cursor < n;
              ASSERT_EQ(TagOf(list->Actual()), inside ? m.slots[static_cast<std::size_t>(m.cursor)].tag : 0);
              ASSERT_EQ(list->EsPrimer(), m.cursor < 1 ? 1 : 0);
              ASSERT_EQ(list->EsUltim(), m.cursor >= n - 1 ? 1 : 0);
              break;
            }
            default:
              if (!walk.OneIn(20)) continue;
              op = "Done";
              list->Done(1);
              m.slots.clear();
              m.capacity = 0;
              m.step = 16;
              break;
          }
        }
        ASSERT_EQ(Diff(*list, m), "") << kwtest::Replay(seed, step, op);
        ASSERT_EQ(Counted::live, m.Live()) << kwtest::Replay(seed, step, op);
      }
    }
    ASSERT_EQ(Counted::live, 0) << "seed " << seed;
  }
}

// The sorted list's binary search, run on the model: `pos` and whether an equal value was met.
bool ModelSearch(const std::vector<Slot>& s, int value, int& pos) {
  if (s.empty()) {
    pos = 0;
    return false;
  }
  int lo = 0, hi = static_cast<int>(s.size()) - 1;
  const auto cmp = [&](int at) {
    const int e = s[static_cast<std::size_t>(at)].value;
    return value < e ? -1 : (value > e ? 1 : 0);
  };
  while (hi > lo) {
    const int mid = (lo + hi) / 2;
    const int c = cmp(mid);
    if (c == 0) {
      pos = mid;
      return true;
    }
    if (c > 0) lo = mid + 1;
    else hi = mid;
  }
  const int c = cmp(lo);
  if (c == 0) {
    pos = lo;
    return true;
  }
  pos = c > 0 ? lo + 1 : lo;
  return false;
}

TEST(ListModel, SortedListPlacesAsItsSearchSays) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    for (int duplicates : {0, 1}) {
      kwtest::Walk walk(seed);
      Counted::live = 0;
      {
        TLlistaOrdenada list(duplicates);
        ListModel m;
        for (int step = 0; step < 1250; ++step) {
          const int n = m.Count();
          std::string op;
          const int value = walk.Pick(n < 40 ? 60 : 3 * n);
          if (walk.Grow(n)) {
            op = "Afegir " + std::to_string(value);
            auto* item = new Tagged(value);
            int pos = 0;
            const bool found = ModelSearch(m.slots, value, pos);
            ASSERT_EQ(list.Afegir(item), 0);
            if (found && !duplicates) {
              m.slots[static_cast<std::size_t>(pos)] = SlotOf(item);
              m.cursor = pos;
            } else {
              m.Insert(SlotOf(item), pos);
            }
          } else if (n > 0 && walk.OneIn(2)) {
            const int pos = walk.Pick(n);
            op = "Eliminar " + std::to_string(pos);
            list.Eliminar(pos);
            m.Remove(pos);
          } else {
            op = "Duplicar";
            std::unique_ptr<TItem> copy(list.Duplicar());
            ASSERT_EQ(copy->GetRTTI(), &TLlista::m_rttiTLlista);  // a plain list, by design
            std::vector<Slot> copies;
            ASSERT_EQ(CheckCopies(*static_cast<TLlista*>(copy.get()), 0, m.slots, copies), "") << kwtest::Replay(seed, step, op);
          }
          ASSERT_EQ(Diff(list, m), "") << kwtest::Replay(seed, step, op) << " duplicates " << duplicates;
          ASSERT_EQ(Counted::live, m.Live());
          Tagged probe(value);
          int pos = -7, want = 0;
          const bool found = ModelSearch(m.slots, value, want);
          ASSERT_EQ(list.BuscarPosicio(&probe, pos), found ? 1 : 0) << kwtest::Replay(seed, step, op);
          ASSERT_EQ(pos, want) << kwtest::Replay(seed, step, op);
          ASSERT_EQ(list.BuscarItem(&probe), found ? want : -1);
        }
      }
      ASSERT_EQ(Counted::live, 0) << "seed " << seed;
    }
  }
}

// A position wrapped into a circular list of n items.
int Wrap(int p, int n) {
  if (n == 0 || (p >= 0 && p < n)) return p;
  if (p >= n) return p % n;
  const int rest = static_cast<int>(-static_cast<long long>(p) % n);
  return rest == 0 ? 0 : n - rest;
}

TEST(ListModel, CircularListWrapsEveryPosition) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    kwtest::Walk walk(seed);
    Counted::live = 0;
    {
      auto list = std::make_unique<TLlistaCircular>();
      ListModel m;
      for (int step = 0; step < 2500; ++step) {
        const int n = m.Count();
        const int p = walk.OneIn(50) ? (walk.OneIn(2) ? INT32_MIN : INT32_MAX) : walk.Between(-2 * n - 3, 2 * n + 3);
        std::string op;
        if (walk.Grow(n)) {
          op = "Insertar " + std::to_string(p);
          auto* item = new Tagged(walk.Pick(40));
          ASSERT_EQ(list->Insertar(item, p), 0);
          m.Insert(SlotOf(item), p == n || n == 0 ? n : Wrap(p, n));
        } else if (n > 0 && walk.Pick(3) > 0) {
          if (walk.OneIn(2)) {
            op = "Eliminar " + std::to_string(p);
            ASSERT_EQ(list->Eliminar(p), 0);
            m.Remove(Wrap(p, n));
          } else {
            op = "Treure " + std::to_string(p);
            std::unique_ptr<TItem> item(list->Treure(p));
            ASSERT_EQ(TagOf(item.get()), m.Remove(Wrap(p, n)).tag) << kwtest::Replay(seed, step, op);
          }
        } else {
          switch (walk.Pick(5)) {
            case 0:
              op = "Seguent";
              if (m.cursor == n) {
                ASSERT_EQ(list->Seguent(), 1);
                m.cursor = 0;
              } else {
                const bool moves = n > 0 && m.cursor < n - 1;
                ASSERT_EQ(list->Seguent(), moves ? 1 : 0) << kwtest::Replay(seed, step, op);
                if (moves) ++m.cursor;
              }
              break;
            case 1:
              op = "Previ";
              if (m.cursor != 0) {
                const bool moves = n > 0 && m.cursor >= 1;
                ASSERT_EQ(list->Previ(), moves ? 1 : 0) << kwtest::Replay(seed, step, op);
                if (moves) --m.cursor;
              } else {
                ASSERT_EQ(list->Previ(), 1);
                if (n > 0) m.cursor = n - 1;
              }
              break;
            case 2:
              op = "Posicionar " + std::to_string(p);
              list->Posicionar(p);
              m.cursor = n == 0 ? 0 : Wrap(p, n);
              break;
            case 3:
              if (n == 0) continue;
              op = "Canviar " + std::to_string(p);
              {
                auto* item = new Tagged(walk.Pick(40));
                std::unique_ptr<TItem> old(list->Canviar(item, p));
                const int at = Wrap(p, n);
                ASSERT_EQ(TagOf(old.get()), m.slots[static_cast<std::size_t>(at)].tag) << kwtest::Replay(seed, step, op);
                m.slots[static_cast<std::size_t>(at)] = SlotOf(item);
                m.cursor = at;
              }
              break;
            default: {
              op = "copy";
              auto copy = std::make_unique<TLlistaCircular>(list.get());
              ListModel cm;
              cm.Reserve(n);
              ASSERT_EQ(CheckCopies(*copy, 0, m.slots, cm.slots), "") << kwtest::Replay(seed, step, op);
              cm.cursor = n;
              list = std::move(copy);
              m = cm;
              break;
            }
          }
        }
        ASSERT_EQ(Diff(*list, m), "") << kwtest::Replay(seed, step, op);
        ASSERT_EQ(Counted::live, m.Live());
        const int now = m.Count();
        const int q = walk.Between(-3 * now - 2, 3 * now + 2);
        ASSERT_EQ(TagOf(list->GetItem(q)), now == 0 ? 0 : m.slots[static_cast<std::size_t>(Wrap(q, now))].tag)
            << kwtest::Replay(seed, step, "GetItem " + std::to_string(q));
      }
    }
    ASSERT_EQ(Counted::live, 0) << "seed " << seed;
  }
}

TEST(ListModel, StacksKeepTheirTopAndTheirLimit) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    kwtest::Walk walk(seed);
    Counted::live = 0;
    {
      TPila stack;
      TPilaLimitada limited(walk.Pick(6));
      ListModel m, lm;
      for (int step = 0; step < 2500; ++step) {
        const int n = m.Count();
        std::string op;
        if (walk.Grow(n)) {
          op = "push";
          auto* item = new Tagged(walk.Pick(40));
          auto* other = new Tagged(walk.Pick(40));
          ASSERT_EQ(stack.push(item), 0);
          m.Insert(SlotOf(item), n);
          ASSERT_EQ(limited.push(other), 0);
          if (limited.GetTamany() >= 1) {
            while (lm.Count() >= limited.GetTamany()) lm.Remove(0);
            lm.Insert(SlotOf(other), lm.Count());
          }
        } else if (walk.OneIn(8)) {
          const int limit = walk.Between(-1, 40);
          op = "SetTamany " + std::to_string(limit);
          limited.SetTamany(limit);
          while (lm.Count() > limit && lm.Count() >= 1) lm.Remove(0);
        } else if (n > 0) {
          if (walk.OneIn(2)) {
            op = "pop";
            ASSERT_EQ(stack.pop(), 0);
            m.Remove(n - 1);
          } else {
            op = "poptop";
            std::unique_ptr<TItem> top(stack.poptop());
            ASSERT_EQ(TagOf(top.get()), m.Remove(n - 1).tag);
          }
          if (lm.Count() > 0) {
            std::unique_ptr<TItem> top(limited.poptop());
            ASSERT_EQ(TagOf(top.get()), lm.Remove(lm.Count() - 1).tag);
          }
        }
        ASSERT_EQ(Diff(stack, m), "") << kwtest::Replay(seed, step, op);
        ASSERT_EQ(Diff(limited, lm), "") << kwtest::Replay(seed, step, op) << " limit " << limited.GetTamany();
        ASSERT_EQ(TagOf(stack.top()), m.Count() ? m.slots.back().tag : 0);
        ASSERT_EQ(Counted::live, m.Live() + lm.Live()) << kwtest::Replay(seed, step, op);
      }
    }
    ASSERT_EQ(Counted::live, 0) << "seed " << seed;
  }
}

}  // namespace
