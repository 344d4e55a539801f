// The hash table, the tables and the tree against models written from their rules:
// the pool and its free list, rows and columns, children and the three walks.
// Seeded random walks across every size; a failure names the seed and the step.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cwchar>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/arbre.h>
#include <kwlib63/containers/hash.h>
#include <kwlib63/containers/taula.h>

#include "model.h"
#include "support/locales.h"

namespace {

using kwtest::Counted;
using kwtest::Tagged;
using kwtest::TagOf;
using kwtest::ValueOf;

// Keys that share buckets (same code-unit sums), characters outside the basic
// plane, accents and the empty key.
std::wstring KeyOf(kwtest::Walk& walk) {
  static const wchar_t* const kParts[] = {L"ab", L"ba", L"", L"\u00E9", L"e\u0301", L"\U0001F600", L"z", L"Key", L"key"};
  std::wstring key;
  const int parts = walk.Pick(4);
  for (int i = 0; i < parts; ++i) key += kParts[walk.Pick(9)];
  if (walk.OneIn(3)) key += std::to_wstring(walk.Pick(1200));
  return key;
}

struct HashModel {
  std::map<std::wstring, std::pair<TItem*, std::uint32_t>> keys;  // item and pool entry
  std::deque<std::uint32_t> free;                                 // the free list, head first
  std::uint32_t capacity = 0;

  void Init(std::uint32_t size) {
    keys.clear();
    free.clear();
    capacity = size;
    for (std::uint32_t i = 0; i < size; ++i) free.push_back(i);
  }
  // A new key takes the free head; a full pool grows by a third, at least 20.
  std::uint32_t Take() {
    if (keys.size() == capacity) {
      const std::uint32_t more = std::max(capacity / 3, 20u);
      for (std::uint32_t i = capacity; i < capacity + more; ++i) free.push_back(i);
      capacity += more;
    }
    const std::uint32_t at = free.front();
    free.pop_front();
    return at;
  }
  // The keys in pool order, as the table lists them.
  std::vector<std::wstring> PoolOrder() const {
    std::vector<std::pair<std::uint32_t, std::wstring>> order;
    for (const auto& [k, v] : keys) order.push_back({v.second, k});
    std::sort(order.begin(), order.end());
    std::vector<std::wstring> out;
    for (const auto& [i, k] : order) out.push_back(k);
    return out;
  }
};

std::string Narrow(const std::wstring& w) {
  std::string s;
  for (wchar_t c : w) s += c < 128 ? static_cast<char>(c) : '?';
  return s;
}

std::string Diff(const THash& h, const HashModel& m) {
  if (h.length() != m.keys.size()) return "length " + std::to_string(h.length()) + " want " + std::to_string(m.keys.size());
  if (h.GetCapacitat() != m.capacity) return "capacity " + std::to_string(h.GetCapacitat()) + " want " + std::to_string(m.capacity);
  for (const auto& [k, v] : m.keys) {
    if (h.get(k.c_str()) != v.first) return "get " + Narrow(k);
  }
  return "";
}

TEST(TableModel, HashAgainstItsPool) {
  // Keys compare by code unit, so no locale may change what matches.
  for (const char* locale : kwtest::kTextLocales) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    kwtest::ScopedLocale in(locale);
    ASSERT_TRUE(in.Ok()) << locale << " is not generated (scripts/install-deps)";
    SCOPED_TRACE(locale);
    kwtest::Walk walk(seed);
    Counted::live = 0;
    {
      auto h = std::make_unique<THash>();
      HashModel m;
      const unsigned sizes[] = {1, 2, 3, 5, 16, 17, 33};
      const unsigned first = sizes[walk.Pick(7)];
      ASSERT_EQ(h->init(first), 0);
      m.Init(first);
      for (int step = 0; step < 2500; ++step) {
        const int n = static_cast<int>(m.keys.size());
        const std::wstring key = KeyOf(walk);
        const auto found = m.keys.find(key);
        std::string op;
        if (walk.Pick(10) < 8 && walk.Grow(n)) {
          auto* item = new Tagged(walk.Pick(100));
          if (walk.OneIn(3)) {
            op = "change " + Narrow(key);
            TItem* old = reinterpret_cast<TItem*>(1);
            ASSERT_EQ(h->change(item, key.c_str(), old), 0);
            if (found != m.keys.end()) {
              ASSERT_EQ(old, found->second.first) << kwtest::Replay(seed, step, op);
              delete old;  // handed back
              found->second.first = item;
            } else {
              ASSERT_EQ(old, reinterpret_cast<TItem*>(1)) << "left untouched: " << kwtest::Replay(seed, step, op);
              m.keys[key] = {item, m.Take()};
            }
          } else {
            op = "put " + Narrow(key);
            ASSERT_EQ(h->put(item, key.c_str()), 0);
            if (found != m.keys.end()) found->second.first = item;  // the old one deleted
            else m.keys[key] = {item, m.Take()};
          }
        } else if (walk.Pick(10) < 8) {
          // Remove a stored key, or try one that is not there.
          const std::wstring gone = n > 0 && !walk.OneIn(4) ? std::next(m.keys.begin(), walk.Pick(n))->first : key;
          op = "del " + Narrow(gone);
          const auto it = m.keys.find(gone);
          ASSERT_EQ(h->del(gone.c_str()), it != m.keys.end() ? 0 : -1402) << kwtest::Replay(seed, step, op);
          if (it != m.keys.end()) {
            m.free.push_front(it->second.second);
            m.keys.erase(it);
          }
        } else {
          switch (walk.Pick(4)) {
            case 0: {
              op = "LlistaElements";
              std::unique_ptr<TLlista> list(h->LlistaElements());
              const std::vector<std::wstring> order = m.PoolOrder();
              ASSERT_EQ(list->Cnt(), static_cast<int>(order.size()));
              for (int i = 0; i < list->Cnt(); ++i) {
                const auto* pair = static_cast<const THashItem*>(list->GetItem(i));
                ASSERT_EQ(std::wstring(pair->GetClau()), order[static_cast<std::size_t>(i)]) << kwtest::Replay(seed, step, op);
                const auto* copy = static_cast<const Tagged*>(pair->GetItem());
                ASSERT_EQ(copy->from, TagOf(m.keys.at(order[static_cast<std::size_t>(i)]).first));
              }
              break;
            }
            case 1: {
              op = "copy";
              THash dest;
              const auto room = static_cast<unsigned>(walk.Between(std::max(n - 2, 1), n + 3));
              ASSERT_EQ(dest.init(room), 0);
              const int result = h->copy(&dest);
              if (room < static_cast<unsigned>(n)) {
                ASSERT_EQ(result, -4) << kwtest::Replay(seed, step, op);
                break;
              }
              ASSERT_EQ(result, 0) << kwtest::Replay(seed, step, op);
              ASSERT_EQ(dest.length(), static_cast<unsigned>(n));
              for (const auto& [k, v] : m.keys) ASSERT_EQ(static_cast<const Tagged*>(dest.get(k.c_str()))->from, TagOf(v.first));
              if (n > 0) {
                ASSERT_EQ(dest.copy(&dest), -4);  // not empty
              }
              break;
            }
            case 2: {
              op = "Duplicar";
              std::unique_ptr<TItem> copy(h->Duplicar());
              if (n > 0) {
                ASSERT_EQ(copy, nullptr) << "kept: a table with items duplicates to null";
              } else {
                ASSERT_NE(copy, nullptr);
                ASSERT_EQ(static_cast<THash*>(copy.get())->GetCapacitat(), m.capacity);
              }
              break;
            }
            default: {
              const unsigned size = sizes[walk.Pick(7)];
              op = "init " + std::to_string(size);
              ASSERT_EQ(h->init(size), 0);  // deletes what it held
              m.Init(size);
              break;
            }
          }
        }
        ASSERT_EQ(Diff(*h, m), "") << kwtest::Replay(seed, step, op);
        ASSERT_EQ(Counted::live, static_cast<int>(m.keys.size())) << kwtest::Replay(seed, step, op);
      }
    }
    ASSERT_EQ(Counted::live, 0) << "seed " << seed;
  }
  }
}

// The pool as the rules describe it, walked the slow way: every entry's key as it
// was written (a counted key one position later, stale code units kept), the
// chains in link order, the free list and the count. Duplicates, rewritten keys
// and Done's leftovers are its business; the walk below keeps to plain keys.
struct ChainModel {
  struct Entry {
    std::array<wchar_t, KW_HASH_CLAU> key{};
    int keyLen = -1;
    TItem* item = nullptr;
  };
  std::vector<Entry> pool;
  std::vector<std::vector<std::uint32_t>> chains;
  std::deque<std::uint32_t> free;
  std::uint32_t count = 0;

  void Init(std::uint32_t size) {
    pool.assign(size, Entry{});
    chains.assign(size / 3 + 1, {});
    free.clear();
    for (std::uint32_t i = 0; i < size; ++i) free.push_back(i);
    count = 0;
  }
  // The UTF-16 code units of the key (a terminated one cut to 263), summed.
  std::uint32_t Bucket(const wchar_t* key, int len) const {
    const std::size_t n = len < 0 ? std::min<std::size_t>(std::wcslen(key), KW_HASH_CLAU - 1) : static_cast<std::size_t>(len);
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const auto c = static_cast<std::uint32_t>(key[i]);
      sum += c <= 0xFFFF ? c : 0xD800 + ((c - 0x10000) >> 10) + 0xDC00 + ((c - 0x10000) & 0x3FF);
    }
    return sum % static_cast<std::uint32_t>(chains.size());
  }
  static bool Matches(const Entry& e, const wchar_t* key, int len) {
    if (len < 0) {
      // The stored text against the key cut to what an entry holds.
      const std::size_t n = std::min<std::size_t>(std::wcslen(key), KW_HASH_CLAU - 1);
      return std::wcslen(e.key.data()) == n && std::equal(key, key + n, e.key.begin());
    }
    return e.keyLen == len && len < KW_HASH_CLAU && std::equal(key, key + len, e.key.begin());
  }
  // BuscarClau's answer: {the entry before the match or the tail, the match or -1}.
  std::pair<int, int> Find(std::uint32_t bucket, const wchar_t* key, int len) const {
    int previous = -1;
    if (bucket >= chains.size()) return {-1, -1};
    for (std::uint32_t at : chains[bucket]) {
      if (Matches(pool[at], key, len)) return {previous, static_cast<int>(at)};
      previous = static_cast<int>(at);
    }
    return {previous, -1};
  }
  void Write(std::uint32_t at, const wchar_t* key, int len) {
    if (at >= pool.size()) return;
    auto& k = pool[at].key;
    if (len < 0) {
      const std::size_t n = std::min<std::size_t>(std::wcslen(key), KW_HASH_CLAU - 1);
      std::copy(key, key + n, k.begin());
      k[n] = 0;
    } else {
      for (int i = 0; i < std::min(len, KW_HASH_CLAU - 3); ++i) k[static_cast<std::size_t>(i) + 1] = key[i];
    }
  }
  int Store(TItem* item, const wchar_t* key, int len, TItem** old) {
    const std::uint32_t bucket = Bucket(key, len);
    if (const int at = Find(bucket, key, len).second; at >= 0) {
      Entry& e = pool[static_cast<std::size_t>(at)];
      if (old != nullptr) {
        *old = e.item;
        Write(static_cast<std::uint32_t>(at), key, len);
      }
      e.item = item;
      e.keyLen = len;
      return 0;
    }
    if (count == pool.size()) {
      // The free head becomes the first new entry: what was left of the list is lost.
      const auto first = static_cast<std::uint32_t>(pool.size());
      pool.resize(first + std::max(first / 3, 20u), Entry{{}, 0, nullptr});
      free.clear();
      for (std::uint32_t i = first; i < pool.size(); ++i) free.push_back(i);
    }
    if (free.empty()) return -1;
    const std::uint32_t at = free.front();
    free.pop_front();
    ++count;
    chains[bucket].push_back(at);
    Write(at, key, len);
    pool[at].item = item;
    pool[at].keyLen = len;
    return 0;
  }
  // del: the bucket by `len`, the comparison of terminated keys.
  int Del(const wchar_t* key, int len) {
    const std::uint32_t bucket = Bucket(key, len);
    const int at = Find(bucket, key, -1).second;
    if (at < 0) return -1402;
    auto& chain = chains[bucket];
    chain.erase(std::find(chain.begin(), chain.end(), static_cast<std::uint32_t>(at)));
    free.push_front(static_cast<std::uint32_t>(at));
    pool[static_cast<std::size_t>(at)].item = nullptr;
    pool[static_cast<std::size_t>(at)].key[0] = 0;
    --count;
    return 0;
  }
  // Done: the items are forgotten (handed to `forgotten`), the chains emptied; the
  // free list runs on from its head through every later entry; the count stays.
  void Done(std::vector<TItem*>& forgotten) {
    for (auto& chain : chains) {
      for (std::uint32_t at : chain) forgotten.push_back(pool[at].item);
      chain.clear();
    }
    for (Entry& e : pool) {
      e.item = nullptr;
      e.keyLen = -1;
    }
    const std::uint32_t head = free.empty() ? static_cast<std::uint32_t>(pool.size()) : free.front();
    free.clear();
    for (std::uint32_t i = head; i < pool.size(); ++i) free.push_back(i);
  }
  // The ways a look-up can read entry `at`: its terminated text, and its counted
  // units when its length allows a counted match.
  std::vector<std::pair<std::wstring, int>> Readings(std::uint32_t at) const {
    const Entry& e = pool[at];
    std::vector<std::pair<std::wstring, int>> out = {{std::wstring(e.key.data()), -1}};
    if (e.keyLen >= 0 && e.keyLen < KW_HASH_CLAU) out.push_back({std::wstring(e.key.data(), static_cast<std::size_t>(e.keyLen)), e.keyLen});
    return out;
  }
};

// Keys for the chain walk: few code units, so that sums and whole keys repeat; now
// and then one longer than an entry holds.
std::wstring ChainKeyOf(kwtest::Walk& walk) {
  static const wchar_t* const kPieces[] = {L"ab", L"ba", L"a", L"", L"\U0001F600", L"\u00E9", L"c"};
  if (walk.OneIn(20)) return std::wstring(static_cast<std::size_t>(walk.Between(260, 300)), L'q') + (walk.OneIn(2) ? L"r" : L"");
  std::wstring key;
  for (int i = walk.Pick(4); i > 0; --i) key += kPieces[walk.Pick(7)];
  if (walk.OneIn(4)) key += std::to_wstring(walk.Pick(50));
  return key;
}

// Every chain's tail, and for a spread of entries what BuscarClau answers in its
// chain and what get finds, by each reading of its key.
std::string Diff(const THash& h, const ChainModel& m, int step) {
  if (h.length() != m.count) return "length " + std::to_string(h.length()) + " want " + std::to_string(m.count);
  if (h.GetCapacitat() != m.pool.size()) return "capacity " + std::to_string(h.GetCapacitat());
  if (h.GetNumBuckets() != m.chains.size()) return "buckets " + std::to_string(h.GetNumBuckets());
  const std::size_t stride = m.count / 48 + 1;
  std::size_t seen = 0;
  for (std::uint32_t b = 0; b < m.chains.size(); ++b) {
    int pos = static_cast<int>(b);
    const int tail = h.BuscarClau(L"#", pos);
    if (std::make_pair(tail, pos) != m.Find(b, L"#", -1)) return "tail of chain " + std::to_string(b);
    for (std::uint32_t at : m.chains[b]) {
      if ((seen++ + static_cast<std::size_t>(step)) % stride != 0) continue;
      for (const auto& [k, len] : m.Readings(at)) {
        const std::string what = " of entry " + std::to_string(at) + " len " + std::to_string(len);
        pos = static_cast<int>(b);
        const int previous = h.BuscarClau(k.c_str(), pos, len);
        if (std::make_pair(previous, pos) != m.Find(b, k.c_str(), len)) return "BuscarClau" + what;
        const int found = m.Find(m.Bucket(k.c_str(), len), k.c_str(), len).second;
        if (h.get(k.c_str(), len) != (found >= 0 ? m.pool[static_cast<std::size_t>(found)].item : nullptr)) return "get" + what;
      }
    }
  }
  return "";
}

TEST(TableModel, HashChainsAgainstTheirWalk) {
  for (unsigned seed = 1; seed <= 6; ++seed) {
    kwtest::Walk walk(seed);
    Counted::live = 0;
    {
      THash h;
      ChainModel m;
      const unsigned sizes[] = {0, 1, 2, 3, 5, 16, 33};
      const auto reinit = [&] {
        const unsigned size = sizes[walk.Pick(7)];
        ASSERT_EQ(h.init(size), 0);
        m.Init(size);
      };
      reinit();
      // A key read back from a linked entry, so that counted keys and rewritten
      // ones are found again; else a fresh one.
      const auto keyAndLength = [&](std::wstring& key, int& len) {
        std::vector<std::uint32_t> linked;
        for (const auto& chain : m.chains) linked.insert(linked.end(), chain.begin(), chain.end());
        if (!linked.empty() && walk.OneIn(3)) {
          const auto readings = m.Readings(linked[static_cast<std::size_t>(walk.Pick(static_cast<int>(linked.size())))]);
          std::tie(key, len) = readings[static_cast<std::size_t>(walk.Pick(static_cast<int>(readings.size())))];
          return;
        }
        key = ChainKeyOf(walk);
        len = walk.OneIn(2) ? -1 : walk.Between(0, static_cast<int>(key.size()));
      };
      for (int step = 0; step < 3000; ++step) {
        std::wstring key;
        int len = -1;
        keyAndLength(key, len);
        std::string op = " len " + std::to_string(len);
        const int choice = walk.Pick(100);
        if (choice < 70 && walk.Grow(static_cast<int>(m.count))) {
          auto* item = new Counted(step);
          if (walk.OneIn(3)) {
            op = "change" + op;
            TItem* old = nullptr;
            TItem* want = nullptr;
            const int result = h.change(item, key.c_str(), old, len);
            ASSERT_EQ(result, m.Store(item, key.c_str(), len, &want)) << kwtest::Replay(seed, step, op);
            ASSERT_EQ(old, want) << kwtest::Replay(seed, step, op);
            delete old;  // handed back, or null
            if (result != 0) delete item;
          } else {
            op = "put" + op;
            const int result = h.put(item, key.c_str(), len);
            ASSERT_EQ(result, m.Store(item, key.c_str(), len, nullptr)) << kwtest::Replay(seed, step, op);
            if (result != 0) delete item;  // still the caller's
          }
        } else if (choice < 70) {
          // del compares terminated keys: a counted length only picks the bucket.
          len = len < 0 || walk.OneIn(2) ? -1 : walk.Between(0, static_cast<int>(std::wcslen(key.c_str())));
          op = "del len " + std::to_string(len);
          ASSERT_EQ(h.del(key.c_str(), len), m.Del(key.c_str(), len)) << kwtest::Replay(seed, step, op);
        } else if (choice < 90) {
          const int index = walk.Between(-1, static_cast<int>(m.pool.size()));
          op = "CopyClau " + std::to_string(index) + op;
          h.CopyClau(key.c_str(), index, len);
          if (index >= 0) m.Write(static_cast<std::uint32_t>(index), key.c_str(), len);
        } else if (choice < 93) {
          op = "Done";
          std::vector<TItem*> forgotten;
          h.Done();
          m.Done(forgotten);
          for (TItem* item : forgotten) delete item;  // no longer the table's
        } else if (choice < 95) {
          op = "init";
          reinit();
        } else {
          op = "LlistaElements";
          std::vector<std::wstring> want;
          for (std::uint32_t at = 0; at < m.pool.size(); ++at) {
            if (m.pool[at].item != nullptr) want.emplace_back(m.pool[at].key.data());
          }
          std::unique_ptr<TLlista> list(h.LlistaElements());
          std::vector<std::wstring> got;
          for (int i = 0; i < list->Cnt(); ++i) got.emplace_back(static_cast<const THashItem*>(list->GetItem(i))->GetClau());
          ASSERT_EQ(got, want) << kwtest::Replay(seed, step, op);
        }
        ASSERT_EQ(Diff(h, m, step), "") << kwtest::Replay(seed, step, op);
        std::size_t linked = 0;
        for (const auto& chain : m.chains) linked += chain.size();
        ASSERT_EQ(Counted::live, static_cast<int>(linked)) << kwtest::Replay(seed, step, op);
      }
    }
    ASSERT_EQ(Counted::live, 0) << "seed " << seed;
  }
}

// A table that fills new cells with counted items, so that the model sees them.
class MadeTable : public TTaula {
 public:
  TItem* _CrearItem(int row, int column) override { return new Tagged(1000 + row * 100 + column); }
};

using Grid = std::vector<std::vector<int>>;  // cell values, -1 for a null cell

std::string Diff(const TTaula& t, const Grid& g, int columns) {
  const int rows = static_cast<int>(g.size());
  if (t.GetNumFiles() != rows || t.GetNumColumnes() != columns) {
    return "size " + std::to_string(t.GetNumFiles()) + "x" + std::to_string(t.GetNumColumnes()) + " want " +
           std::to_string(rows) + "x" + std::to_string(columns);
  }
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      if (ValueOf(t.GetItem(r, c)) != g[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)]) {
        return "cell " + std::to_string(r) + "," + std::to_string(c);
      }
    }
  }
  return t.EsBuit() == (rows == 0 && columns == 0 ? 1 : 0) ? "" : "EsBuit";
}

TEST(TableModel, TableRowsAndColumns) {
  for (bool made : {false, true}) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
      kwtest::Walk walk(seed);
      Counted::live = 0;
      {
        std::unique_ptr<TTaula> t(made ? new MadeTable : new TTaula);
        Grid g;
        int columns = 0;
        const auto fresh = [&](int r, int c) { return made ? 1000 + r * 100 + c : -1; };
        const auto live = [&] {
          int k = 0;
          for (const auto& row : g) k += static_cast<int>(std::count_if(row.begin(), row.end(), [](int v) { return v >= 0; }));
          return k;
        };
        for (int step = 0; step < 1250; ++step) {
          const int rows = static_cast<int>(g.size());
          std::string op;
          const bool grow = walk.Grow(std::max(rows, columns));
          const bool onRows = walk.OneIn(2);
          const int count = onRows ? rows : columns;
          const int pos = walk.Between(-2, count + 2);
          const int n = walk.OneIn(10) ? walk.Between(count, count + 3) : walk.Between(0, 3);
          if (walk.OneIn(40)) {
            const int r = walk.Pick(6), c = walk.Pick(6);
            op = "ConstruirTaula " + std::to_string(r) + "x" + std::to_string(c);
            t->ConstruirTaula(r, c);
            g.assign(static_cast<std::size_t>(r), std::vector<int>(static_cast<std::size_t>(c)));
            for (int i = 0; i < r; ++i) {
              for (int j = 0; j < c; ++j) g[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = fresh(i, j);
            }
            columns = c;
          } else if (grow && n > 0) {
            const int at = pos < 0 || pos > count ? count : pos;
            op = (onRows ? "InsertarFiles " : "InsertarColumnes ") + std::to_string(pos) + " " + std::to_string(n);
            if (onRows) {
              t->InsertarFiles(pos, n);
              for (int i = 0; i < n; ++i) {
                std::vector<int> row(static_cast<std::size_t>(columns));
                for (int c = 0; c < columns; ++c) row[static_cast<std::size_t>(c)] = fresh(at + i, c);
                g.insert(g.begin() + at + i, row);
              }
            } else {
              t->InsertarColumnes(pos, n);
              for (int r = 0; r < rows; ++r) {
                for (int i = 0; i < n; ++i) g[static_cast<std::size_t>(r)].insert(g[static_cast<std::size_t>(r)].begin() + at + i, fresh(r, at + i));
              }
              columns += n;
            }
          } else if (!grow && n > 0) {
            op = (onRows ? "EliminarFiles " : "EliminarColumnes ") + std::to_string(pos) + " " + std::to_string(n);
            if (onRows) t->EliminarFiles(pos, n);
            else t->EliminarColumnes(pos, n);
            if (n >= count) {
              g.clear();
              columns = 0;
            } else if (pos >= 0 && pos < count) {
              const int k = std::min(n, count - pos);
              if (onRows) {
                g.erase(g.begin() + pos, g.begin() + pos + k);
              } else {
                for (auto& row : g) row.erase(row.begin() + pos, row.begin() + pos + k);
                columns -= k;
              }
            }
          } else if (rows > 0 && columns > 0) {
            const int r = walk.Pick(rows), c = walk.Pick(columns);
            op = "SetItem " + std::to_string(r) + "," + std::to_string(c);
            auto* item = walk.OneIn(5) ? nullptr : new Tagged(walk.Pick(900));
            t->SetItem(item, r, c);
            g[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)] = ValueOf(item);
          } else {
            continue;
          }
          ASSERT_EQ(Diff(*t, g, columns), "") << kwtest::Replay(seed, step, op) << (made ? " made" : " plain");
          ASSERT_EQ(Counted::live, live()) << kwtest::Replay(seed, step, op);
        }
      }
      ASSERT_EQ(Counted::live, 0) << "seed " << seed;
    }
  }
}

TEST(TableModel, TruthTableValues) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    kwtest::Walk walk(seed);
    const int byDefault = walk.Pick(2);
    TTaulaBool t(byDefault);
    Grid g;  // values
    t.ConstruirTaula(3, 3);
    g.assign(3, std::vector<int>(3, byDefault));
    for (int step = 0; step < 2500; ++step) {
      const int rows = t.GetNumFiles(), columns = t.GetNumColumnes();
      std::string op;
      if (walk.OneIn(10)) {
        const int pos = walk.Between(-1, rows + 1), n = walk.Between(1, 2);
        op = "InsertarFiles";
        t.InsertarFiles(pos, n);
        const int at = pos < 0 || pos > rows ? rows : pos;
        g.insert(g.begin() + at, static_cast<std::size_t>(n), std::vector<int>(static_cast<std::size_t>(columns), byDefault));
      } else if (walk.OneIn(10) && rows > 1) {
        const int pos = walk.Pick(rows);
        op = "EliminarFiles";
        t.EliminarFiles(pos, 1);
        g.erase(g.begin() + pos);
      } else if (rows > 0 && columns > 0) {
        const int r = walk.Pick(rows), c = walk.Pick(columns);
        auto& cell = g[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)];
        if (walk.OneIn(2)) {
          const int v = walk.Between(0, 5);
          op = "Set " + std::to_string(v);
          t.Set(r, c, v);
          cell = v;
        } else {
          op = "Swap";
          t.Swap(r, c);
          cell = cell == 0 ? 1 : 0;
        }
      }
      ASSERT_EQ(static_cast<int>(g.size()), t.GetNumFiles()) << kwtest::Replay(seed, step, op);
      for (int r = 0; r < t.GetNumFiles(); ++r) {
        for (int c = 0; c < t.GetNumColumnes(); ++c) {
          ASSERT_EQ(t.Get(r, c), g[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)]) << kwtest::Replay(seed, step, op);
        }
      }
    }
  }
}

// A model tree node; a null child is a null pointer.
struct TreeModel {
  TItem* item = nullptr;
  std::vector<std::unique_ptr<TreeModel>> children;
};

using Visits = std::vector<std::pair<const TItem*, int>>;

void ModelPre(const TreeModel& m, int depth, Visits& out) {
  out.push_back({m.item, depth});
  for (const auto& c : m.children) {
    if (c) ModelPre(*c, depth + 1, out);
  }
}

void ModelIn(const TreeModel& m, int depth, Visits& out) {
  if (!m.children.empty() && m.children[0]) ModelIn(*m.children[0], depth + 1, out);
  out.push_back({m.item, depth});
  if (m.children.size() > 1 && m.children[1]) ModelIn(*m.children[1], depth + 1, out);
}

// Only the starting node comes after its descendants; below, the order is pre-order.
void ModelPost(const TreeModel& m, Visits& out) {
  for (const auto& c : m.children) {
    if (!c) continue;
    out.push_back({c->item, 1});
    for (const auto& g : c->children) {
      if (g) ModelPre(*g, 2, out);
    }
  }
  out.push_back({m.item, 0});
}

int Record(const TItem* item, int depth, __int64 param) {
  reinterpret_cast<Visits*>(param)->push_back({item, depth});
  return 0;
}

std::string Diff(const TArbre& t, const TreeModel& m) {
  if (t.GetItem() != m.item) return "item";
  if (t.GetNumFills() != static_cast<int>(m.children.size())) return "children " + std::to_string(t.GetNumFills());
  for (int i = 0; i < t.GetNumFills(); ++i) {
    const auto& c = m.children[static_cast<std::size_t>(i)];
    if ((t.GetFill(i) == nullptr) != !c) return "null child " + std::to_string(i);
    if (c) {
      const std::string d = Diff(*t.GetFill(i), *c);
      if (!d.empty()) return std::to_string(i) + "/" + d;
    }
  }
  if (t.GetFill(-1) != nullptr || t.GetFill(t.GetNumFills()) != nullptr) return "a child outside the list";
  return t.EsFulla() == (m.children.empty() ? 1 : 0) ? "" : "EsFulla";
}

// Checks that `copy` has the shape of `m` with copies of its items.
std::string CheckCopy(const TArbre& copy, const TreeModel& m) {
  if ((copy.GetItem() == nullptr) != (m.item == nullptr)) return "item";
  if (m.item != nullptr && static_cast<const Tagged*>(copy.GetItem())->from != TagOf(m.item)) return "not a copy";
  if (copy.GetNumFills() != static_cast<int>(m.children.size())) return "children";
  for (int i = 0; i < copy.GetNumFills(); ++i) {
    const auto& c = m.children[static_cast<std::size_t>(i)];
    if ((copy.GetFill(i) == nullptr) != !c) return "null child";
    if (c) {
      const std::string d = CheckCopy(*copy.GetFill(i), *c);
      if (!d.empty()) return d;
    }
  }
  return "";
}

void Nodes(TArbre* t, TreeModel* m, std::vector<std::pair<TArbre*, TreeModel*>>& out) {
  out.push_back({t, m});
  for (int i = 0; i < t->GetNumFills(); ++i) {
    if (t->GetFill(i) != nullptr) Nodes(t->GetFill(i), m->children[static_cast<std::size_t>(i)].get(), out);
  }
}

int CountItems(const TreeModel& m) {
  int k = m.item != nullptr ? 1 : 0;
  for (const auto& c : m.children) {
    if (c) k += CountItems(*c);
  }
  return k;
}

TEST(TableModel, TreeAgainstItsWalks) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    kwtest::Walk walk(seed);
    Counted::live = 0;
    {
      auto root = std::make_unique<TArbre>(new Tagged(0), 1);
      auto model = std::make_unique<TreeModel>();
      model->item = root->GetItem();
      for (int step = 0; step < 2500; ++step) {
        std::vector<std::pair<TArbre*, TreeModel*>> nodes;
        Nodes(root.get(), model.get(), nodes);
        const int size = static_cast<int>(nodes.size());
        auto [node, m] = nodes[static_cast<std::size_t>(walk.Pick(size))];
        const int k = node->GetNumFills();
        std::string op;
        const auto leaf = [&](TreeModel& into) {
          auto* item = walk.OneIn(8) ? nullptr : new Tagged(walk.Pick(100));
          into.item = item;
          return new TArbre(item, 1);
        };
        if (walk.Grow(size)) {
          auto child = std::make_unique<TreeModel>();
          TArbre* made = nullptr;
          if (walk.OneIn(5)) {
            // A binary node with two leaves or nulls.
            auto* item = new Tagged(walk.Pick(100));
            child->item = item;
            TArbre* sides[2] = {nullptr, nullptr};
            for (TArbre*& side : sides) {
              child->children.push_back(nullptr);
              if (walk.OneIn(3)) continue;
              child->children.back() = std::make_unique<TreeModel>();
              side = leaf(*child->children.back());
            }
            made = new TArbre(item, sides[0], sides[1], 1);
            if (made->EsBinari() != 1) FAIL() << "not binary";
          } else {
            made = leaf(*child);
          }
          const int pos = walk.Between(-2, k + 2);
          op = "InsertarFill " + std::to_string(pos);
          ASSERT_EQ(node->InsertarFill(made, pos), 0);
          const int at = pos >= 0 ? std::min(pos, k) : k;
          m->children.insert(m->children.begin() + at, std::move(child));
        } else if (k > 0) {
          const int pos = walk.Pick(k);
          switch (walk.Pick(3)) {
            case 0:
              op = "EliminarFill " + std::to_string(pos);
              node->EliminarFill(pos);
              m->children.erase(m->children.begin() + pos);
              break;
            case 1: {
              op = "TreureFill " + std::to_string(pos);
              std::unique_ptr<TArbre> out(node->TreureFill(pos));
              if (m->children[static_cast<std::size_t>(pos)]) {
                ASSERT_EQ(Diff(*out, *m->children[static_cast<std::size_t>(pos)]), "") << kwtest::Replay(seed, step, op);
              } else {
                ASSERT_EQ(out, nullptr);
              }
              m->children.erase(m->children.begin() + pos);
              break;
            }
            default: {
              op = "SetFill " + std::to_string(pos);
              auto child = std::make_unique<TreeModel>();
              node->SetFill(leaf(*child), pos, 1);
              m->children[static_cast<std::size_t>(pos)] = std::move(child);
              break;
            }
          }
        } else {
          switch (walk.Pick(3)) {
            case 0: {
              op = "SetItem";
              auto* item = new Tagged(walk.Pick(100));
              node->SetItem(item, 1);
              m->item = item;
              break;
            }
            case 1: {
              op = "walks";
              Visits pre, in, post, want;
              root->Preordre(Record, reinterpret_cast<__int64>(&pre));
              ModelPre(*model, 0, want);
              ASSERT_EQ(pre, want) << kwtest::Replay(seed, step, op);
              want.clear();
              root->Inordre(Record, reinterpret_cast<__int64>(&in));
              ModelIn(*model, 0, want);
              ASSERT_EQ(in, want) << kwtest::Replay(seed, step, op);
              want.clear();
              root->Postordre(Record, reinterpret_cast<__int64>(&post));
              ModelPost(*model, want);
              ASSERT_EQ(post, want) << kwtest::Replay(seed, step, op);
              break;
            }
            default: {
              op = "Duplicar";  // the copy replaces the tree
              std::unique_ptr<TArbre> copy(static_cast<TArbre*>(root->Duplicar()));
              ASSERT_EQ(CheckCopy(*copy, *model), "") << kwtest::Replay(seed, step, op);
              ASSERT_EQ(Counted::live, 2 * CountItems(*model));
              // Re-point the model at the copy's items.
              std::vector<std::pair<TArbre*, TreeModel*>> copied;
              Nodes(copy.get(), model.get(), copied);
              for (auto& [c, cm] : copied) cm->item = c->GetItem();
              root = std::move(copy);
              break;
            }
          }
        }
        ASSERT_EQ(Diff(*root, *model), "") << kwtest::Replay(seed, step, op);
        ASSERT_EQ(Counted::live, CountItems(*model)) << kwtest::Replay(seed, step, op);
      }
    }
    ASSERT_EQ(Counted::live, 0) << "seed " << seed;
  }
}

}  // namespace
