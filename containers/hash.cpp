// THash: the pool of entries and its chains, as the header describes them, and
// beside them a private index of whole keys that takes get, put, change and del
// straight to their entry. BuscarClau still walks the chains.
#include <kwlib63/containers/hash.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>

#include <kwlib63/containers/newcopy.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/memory.h>

constinit CMoxelRTTI THash::m_rttiTHash(&TItem::m_rttiTItem, "THash", kwtipus::THash, sizeof(THash), nullptr);
constinit CMoxelRTTI THashItem::m_rttiTHashItem(&TItem::m_rttiTItem, "THashItem", kwtipus::THashItem,
                                                sizeof(THashItem), nullptr);

namespace {
constexpr std::uint32_t kEnd = 0xFFFFFFFF;  // no entry: an empty bucket, the end of a chain
constexpr int kMissing = -1402;
// A null-terminated key is stored, hashed and compared by its first 263 code units
// at most, so that a longer key is found again by the same text.
constexpr std::size_t kStored = KW_HASH_CLAU - 1;

// Whether a stored key is `key` (cut as it was stored). The plain comparison
// decides unless the stored key fills its entry.
bool SameKey(const wchar_t* stored, const wchar_t* key) {
  if (stored[0] != key[0]) return false;
  if (std::wcscmp(stored, key) == 0) return true;
  return stored[kStored - 1] != 0 && std::wcsncmp(stored, key, kStored) == 0;
}

// Copies a null-terminated key, cut to what an entry holds.
void CopyTerminated(wchar_t* to, const wchar_t* from) {
  std::size_t n = 0;
  for (; from[n] != 0 && n < KW_HASH_CLAU - 1; ++n) to[n] = from[n];
  to[n] = 0;
}

// The length of a null-terminated key as it is stored and compared.
std::size_t CutLength(const wchar_t* key) {
  std::size_t n = 0;
  while (n < kStored && key[n] != 0) ++n;
  return n;
}

// Writes a key into an entry as CopyClau documents it.
void WriteKey(wchar_t* to, const wchar_t* key, int len) {
  if (len < 0) {
    CopyTerminated(to, key);
    return;
  }
  // Counted keys go one position later, without a terminator: see the header.
  const int n = std::min(len, KW_HASH_CLAU - 3);
  for (int i = 0; i < n; ++i) to[i + 1] = key[i];
}

// The two ways a look-up reads a stored key, each with an index of its own: as
// its null-terminated text (len < 0, and always for del), or as its first keyLen
// code units (len >= 0, only for an entry whose keyLen is below KW_HASH_CLAU).
enum View : int { kTerminated = 0, kCounted = 1, kViews = 2 };

// A hash of a chain's number and a key's code units, spread over all 32 bits.
std::uint32_t KeyHash(std::uint32_t bucket, const wchar_t* text, std::size_t n) {
  std::uint64_t h = (bucket + 0x9E3779B97F4A7C15ull) * 0xBF58476D1CE4E5B9ull ^ n;
  for (std::size_t i = 0; i < n; ++i) h = (h ^ static_cast<std::uint32_t>(text[i])) * 0x100000001B3ull;
  h ^= h >> 33;
  h *= 0xFF51AFD7ED558CCDull;
  h ^= h >> 33;
  h *= 0xC4CEB9FE1A85EC53ull;
  h ^= h >> 33;
  const auto hash = static_cast<std::uint32_t>(h);
  return hash != 0 ? hash : 1;  // 0 marks an empty slot
}

// One slot of an index: the first and the last, in chain order, of the entries
// of one chain whose keys read the same, with their chain and hash, so that a
// search reads no entry but the one it wants. All zero (hash 0) when empty, so
// that fresh slots cost no writes.
struct Slot {
  std::uint32_t first;
  std::uint32_t last;
  std::uint32_t bucket;
  std::uint32_t hash;
};

// Slots for a pool of `capacity` entries: a power of two, at least twice as many,
// so that a search from a key's home slot meets an empty one soon.
std::size_t SlotsFor(std::uint32_t capacity) {
  std::size_t n = 8;
  while (n < 2 * static_cast<std::size_t>(capacity)) n *= 2;
  return n;
}

Slot* NewSlots(std::size_t n) { return static_cast<Slot*>(std::calloc(n, sizeof(Slot))); }

// Where a pool entry sits, beside the pool so that the entry keeps its layout.
// The chains stay the truth (BuscarClau walks them); the rest lets get, put,
// change and del reach an entry, its predecessor and a chain's tail at once.
// All zero for a free entry; the other fields count only while it is linked.
struct Place {
  std::uint64_t seq;             // when it was linked: chain order within a bucket
  std::uint32_t bucket;          // its chain
  std::uint32_t prev;            // the entry before it in the chain, kEnd for the head
  std::uint32_t hash[kViews];    // per view, while `in`
  std::uint32_t before[kViews];  // the entries of its slot on either side, in chain order
  std::uint32_t after[kViews];
  std::uint16_t length[kViews];  // code units the view reads
  bool in[kViews];               // whether the view indexes it
  bool linked;
};
}  // namespace

// A pool entry: key, item, next in the chain or the free list, key length.
struct THash::Entry {
  wchar_t key[KW_HASH_CLAU];
  TItem* item;
  std::uint32_t next;
  int keyLen;
};

// The table itself; copies of a THash share it.
struct THash::Storage {
  long holders = 1;
  std::uint32_t capacity = 0;
  std::uint32_t buckets = 0;
  std::uint32_t count = 0;
  std::uint32_t freeHead = 0;
  std::uint32_t* heads = nullptr;
  Entry* pool = nullptr;
  // The index: every linked entry, by the hash of its chain and key, per view.
  std::uint32_t* tails = nullptr;  // per bucket: the chain's last entry, kEnd when empty
  Place* places = nullptr;         // per pool entry
  Slot* slots[kViews] = {};        // open addressing: a key lives at its home slot or the next free one after it
  std::size_t used[kViews] = {};   // slots in use
  std::size_t mask = 0;            // slots per view, less one
  std::uint64_t linked = 0;        // links made so far: the next entry's seq

  // Zeroed entries for a pool of `n`. An entry holds a whole key, over a kilobyte,
  // so a large table's pool runs to hundreds of megabytes and fills one page
  // fault at a time unless it has large pages.
  static Entry* NewPool(std::uint32_t n) {
    const std::size_t count = std::max(n, 1u);
    auto* pool = static_cast<Entry*>(std::calloc(count, sizeof(Entry)));
    kwplat::AdviseLargePages(pool, count * sizeof(Entry));
    return pool;
  }

  void DeleteItems() {
    for (std::uint32_t i = 0; i < capacity; ++i) {
      delete pool[i].item;
      pool[i].item = nullptr;
    }
  }
  ~Storage() {
    std::free(heads);
    std::free(pool);
    std::free(tails);
    std::free(places);
    for (Slot* s : slots) std::free(s);
  }

  // Whether slot `s` holds the entries of chain `bucket` whose view `v` reads the
  // `n` code units of `text` (no terminator among them).
  bool Holds(const Slot& s, int v, std::uint32_t bucket, std::uint32_t h, const wchar_t* text, std::size_t n) const {
    if (s.hash != h || s.bucket != bucket) return false;
    const Entry& e = pool[s.first];
    if (std::wmemcmp(e.key, text, n) != 0) return false;
    return v == kTerminated ? e.key[n] == 0 : static_cast<std::size_t>(e.keyLen) == n;
  }

  // The first entry, in chain order, of chain `bucket` that a look-up of `key`
  // with `len` matches (see BuscarClau), or kEnd.
  std::uint32_t Find(const wchar_t* key, int len, std::uint32_t bucket) const {
    if (len >= KW_HASH_CLAU) return kEnd;
    const int v = len < 0 ? kTerminated : kCounted;
    const std::size_t n = len < 0 ? CutLength(key) : static_cast<std::size_t>(len);
    const std::uint32_t h = KeyHash(bucket, key, n);
    for (std::size_t i = h & mask;; i = (i + 1) & mask) {
      const Slot& s = slots[v][i];
      if (s.hash == 0) return kEnd;
      if (Holds(s, v, bucket, h, key, n)) return s.first;
    }
  }

  // Adds linked entry `at` to view `v`, behind the entries of its slot linked before it.
  void Enter(int v, std::uint32_t at) {
    Place& p = places[at];
    const Entry& e = pool[at];
    p.in[v] = v == kTerminated || (e.keyLen >= 0 && e.keyLen < KW_HASH_CLAU);
    if (!p.in[v]) return;
    const std::size_t n = v == kTerminated ? CutLength(e.key) : static_cast<std::size_t>(e.keyLen);
    p.length[v] = static_cast<std::uint16_t>(n);
    p.hash[v] = KeyHash(p.bucket, e.key, n);
    for (std::size_t i = p.hash[v] & mask;; i = (i + 1) & mask) {
      Slot& s = slots[v][i];
      if (s.hash == 0) {
        s = {at, at, p.bucket, p.hash[v]};
        ++used[v];
        p.before[v] = p.after[v] = kEnd;
        return;
      }
      if (!Holds(s, v, p.bucket, p.hash[v], e.key, n)) continue;
      // A new link is last; only a rewritten key lands among older ones.
      std::uint32_t x = s.last;
      while (x != kEnd && places[x].seq > p.seq) x = places[x].before[v];
      p.before[v] = x;
      p.after[v] = x == kEnd ? s.first : places[x].after[v];
      if (x == kEnd) s.first = at;
      else places[x].after[v] = at;
      if (p.after[v] == kEnd) s.last = at;
      else places[p.after[v]].before[v] = at;
      return;
    }
  }

  // Takes entry `at` out of view `v`; its key may have changed since it entered.
  void Leave(int v, std::uint32_t at) {
    Place& p = places[at];
    if (!p.in[v]) return;
    p.in[v] = false;
    const std::uint32_t before = p.before[v], after = p.after[v];
    if (before != kEnd) places[before].after[v] = after;
    if (after != kEnd) places[after].before[v] = before;
    if (before != kEnd && after != kEnd) return;  // the slot names neither end
    std::size_t i = p.hash[v] & mask;
    while (slots[v][i].first != at && slots[v][i].last != at) i = (i + 1) & mask;
    Slot& s = slots[v][i];
    if (before == kEnd) s.first = after;
    if (after == kEnd) s.last = before;
    if (s.first != kEnd) return;
    // Backward-shift deletion: a later slot that may live in the hole moves into it,
    // so that no look-up stops early at an emptied slot.
    std::size_t hole = i;
    for (std::size_t j = (i + 1) & mask; slots[v][j].hash != 0; j = (j + 1) & mask) {
      const std::size_t home = slots[v][j].hash & mask;
      if (((j - home) & mask) >= ((j - hole) & mask)) {
        slots[v][hole] = slots[v][j];
        hole = j;
      }
    }
    slots[v][hole] = Slot{};
    --used[v];
  }

  // Links free entry `at`, its key and length stored, behind the tail of `bucket`.
  void Attach(std::uint32_t at, std::uint32_t bucket) {
    Place& p = places[at];
    p.linked = true;
    p.bucket = bucket;
    p.seq = linked++;
    p.prev = tails[bucket];
    pool[at].next = kEnd;
    if (p.prev == kEnd) heads[bucket] = at;
    else pool[p.prev].next = at;
    tails[bucket] = at;
    for (int v = 0; v < kViews; ++v) Enter(v, at);
  }

  void Detach(std::uint32_t at) {
    for (int v = 0; v < kViews; ++v) Leave(v, at);
    Place& p = places[at];
    const std::uint32_t next = pool[at].next;
    if (p.prev == kEnd) heads[p.bucket] = next;
    else pool[p.prev].next = next;
    if (next == kEnd) tails[p.bucket] = p.prev;
    else places[next].prev = p.prev;
    p.linked = false;
  }

  // Applies `change` to entry `at`'s key or length and re-indexes only the views
  // whose reading changed, so that rewriting one of many equal keys the same way
  // does not walk its equals.
  template <typename F>
  void Rewrite(std::uint32_t at, F&& change) {
    if (!places[at].linked) {
      change();
      return;
    }
    wchar_t former[KW_HASH_CLAU];
    std::wmemcpy(former, pool[at].key, KW_HASH_CLAU);
    change();
    const Entry& e = pool[at];
    for (int v = 0; v < kViews; ++v) {
      const Place& p = places[at];
      const bool in = v == kTerminated || (e.keyLen >= 0 && e.keyLen < KW_HASH_CLAU);
      const std::size_t n = !in ? 0 : v == kTerminated ? CutLength(e.key) : static_cast<std::size_t>(e.keyLen);
      if (in == p.in[v] && (!in || (n == p.length[v] && std::wmemcmp(former, e.key, n) == 0))) continue;
      Leave(v, at);
      Enter(v, at);
    }
  }
};

THashItem::THashItem(const wchar_t* key, const TItem* item) : m_pItem(item != nullptr ? item->Duplicar() : nullptr) {
  CopyTerminated(m_szClau, key != nullptr ? key : L"");
}

THashItem::~THashItem() { delete m_pItem; }

TItem* THashItem::Duplicar() const { return new (std::nothrow) THashItem(m_szClau, m_pItem); }
CMoxelRTTI* THashItem::GetRTTI() const { return &m_rttiTHashItem; }

THash::THash(const THash& other) : TItem(other), m_pTaula(other.m_pTaula) {
  if (m_pTaula != nullptr) ++m_pTaula->holders;
}

THash& THash::operator=(const THash& other) {
  if (other.m_pTaula != nullptr) ++other.m_pTaula->holders;
  Drop();
  m_pTaula = other.m_pTaula;
  return *this;
}

THash::~THash() { Drop(); }

void THash::Drop() {
  if (m_pTaula != nullptr && --m_pTaula->holders == 0) {
    m_pTaula->DeleteItems();
    delete m_pTaula;
  }
  m_pTaula = nullptr;
}

TItem* THash::Duplicar() const {
  auto* table = new (std::nothrow) THash;
  if (table == nullptr) return nullptr;
  if (m_pTaula != nullptr) {
    if (table->init(m_pTaula->capacity) < 0) {
      delete table;
      return nullptr;
    }
    for (std::uint32_t i = 0; i < m_pTaula->capacity; ++i) {
      const Entry& e = m_pTaula->pool[i];
      if (e.item == nullptr) continue;
      // By design the copy ends with the first successful put and yields null; the
      // abandoned table is freed here rather than lost.
      if (table->put(e.item->Duplicar(), e.key, e.keyLen) == 0) {
        delete table;
        return nullptr;
      }
    }
  }
  return table;
}

CMoxelRTTI* THash::GetRTTI() const { return &m_rttiTHash; }
int THash::EsBuit() const { return length() == 0 ? 1 : 0; }
unsigned int THash::length() const { return m_pTaula != nullptr ? m_pTaula->count : 0; }
unsigned int THash::GetCapacitat() const { return m_pTaula != nullptr ? m_pTaula->capacity : 0; }
unsigned int THash::GetNumBuckets() const { return m_pTaula != nullptr ? m_pTaula->buckets : 0; }

int THash::init(unsigned int size) {
  auto* storage = new (std::nothrow) Storage;
  if (storage == nullptr) return -1;
  storage->capacity = size;
  storage->buckets = size / 3 + 1;
  storage->heads = static_cast<std::uint32_t*>(std::malloc(storage->buckets * sizeof(std::uint32_t)));
  storage->tails = static_cast<std::uint32_t*>(std::malloc(storage->buckets * sizeof(std::uint32_t)));
  storage->pool = Storage::NewPool(size);
  storage->places = static_cast<Place*>(std::calloc(std::max(size, 1u), sizeof(Place)));
  const std::size_t slots = SlotsFor(size);
  storage->mask = slots - 1;
  for (Slot*& s : storage->slots) s = NewSlots(slots);
  if (storage->heads == nullptr || storage->tails == nullptr || storage->pool == nullptr || storage->places == nullptr ||
      storage->slots[kTerminated] == nullptr || storage->slots[kCounted] == nullptr) {
    delete storage;
    return -1;
  }
  std::fill(storage->heads, storage->heads + storage->buckets, kEnd);
  std::fill(storage->tails, storage->tails + storage->buckets, kEnd);
  for (std::uint32_t i = 0; i < size; ++i) {
    storage->pool[i].next = i + 1 < size ? i + 1 : kEnd;
    storage->pool[i].keyLen = -1;
  }
  // A table made ready again lets go of what it held: its items are deleted, not lost.
  Drop();
  m_pTaula = storage;
  return 0;
}

unsigned int THash::clau(const wchar_t* key, int len) const {
  if (m_pTaula == nullptr || m_pTaula->buckets == 0 || key == nullptr) return 0;
  // The sum of the key's UTF-16 code units, as tables written elsewhere count them.
  std::uint32_t sum = 0;
  char16_t units[2];
  const auto add = [&](wchar_t c) {
    // A character of the basic plane is one unit, itself (a lone surrogate too, as
    // a caller's UTF-16 unit); beyond it, the two surrogates.
    if (c >= 0 && c <= 0xFFFF) {
      sum += static_cast<std::uint32_t>(c);
      return;
    }
    const int n = kwfw::EncodeUtf16(c, units);
    for (int i = 0; i < n; ++i) sum += units[i];
  };
  if (len < 0) {
    for (const wchar_t* p = key; *p != 0 && static_cast<std::size_t>(p - key) < kStored; ++p) add(*p);
  } else {
    for (int i = 0; i < len; ++i) add(key[i]);
  }
  return sum % m_pTaula->buckets;
}

int THash::BuscarClau(const wchar_t* key, int& pos, int len) const {
  std::uint32_t previous = kEnd;
  const auto bucket = static_cast<std::uint32_t>(pos);
  pos = -1;
  if (m_pTaula == nullptr || key == nullptr || bucket >= m_pTaula->buckets) return static_cast<int>(previous);
  for (std::uint32_t at = m_pTaula->heads[bucket]; at != kEnd; at = m_pTaula->pool[at].next) {
    const Entry& e = m_pTaula->pool[at];
    const bool match = len < 0 ? SameKey(e.key, key)
                               : e.keyLen == len && len < KW_HASH_CLAU && std::wmemcmp(e.key, key, static_cast<std::size_t>(len)) == 0;
    if (match) {
      pos = static_cast<int>(at);
      return static_cast<int>(previous);
    }
    previous = at;
  }
  return static_cast<int>(previous);
}

void THash::CopyClau(const wchar_t* key, int index, int len) {
  if (m_pTaula == nullptr || key == nullptr || index < 0 || static_cast<std::uint32_t>(index) >= m_pTaula->capacity) return;
  // Any entry may be rewritten, a linked one too: its chain keeps it, look-ups read the new key.
  wchar_t* to = m_pTaula->pool[index].key;
  m_pTaula->Rewrite(static_cast<std::uint32_t>(index), [&] { WriteKey(to, key, len); });
}

int THash::Ampliar(int n) {
  if (m_pTaula == nullptr) return -1;
  Storage& t = *m_pTaula;
  const std::uint32_t old = t.capacity;
  const std::uint32_t more = n < 0 ? static_cast<std::uint32_t>(std::max(static_cast<int>(old) / 3, 20)) : static_cast<std::uint32_t>(n);
  const std::uint32_t capacity = old + more;
  const std::size_t slots = SlotsFor(capacity);
  const bool rehash = slots > t.mask + 1;
  auto* pool = Storage::NewPool(capacity);
  auto* places = static_cast<Place*>(std::calloc(std::max(capacity, 1u), sizeof(Place)));
  Slot* index[kViews] = {};
  if (rehash) {
    for (Slot*& s : index) s = NewSlots(slots);
  }
  // On failure the table is left as it was (it stays usable).
  if (pool == nullptr || places == nullptr || (rehash && (index[kTerminated] == nullptr || index[kCounted] == nullptr)) ||
      capacity < old) {
    std::free(pool);
    std::free(places);
    for (Slot* s : index) std::free(s);
    return -1;
  }
  std::memcpy(pool, t.pool, old * sizeof(Entry));
  for (std::uint32_t i = old; i < capacity; ++i) pool[i].next = i + 1 < capacity ? i + 1 : kEnd;
  std::memcpy(places, t.places, old * sizeof(Place));
  std::free(t.pool);
  std::free(t.places);
  t.pool = pool;
  t.places = places;
  if (rehash) {
    // Entries keep their numbers; only the slots move to their new homes.
    const std::size_t mask = slots - 1;
    for (int v = 0; v < kViews; ++v) {
      for (std::size_t i = 0; i <= t.mask; ++i) {
        const Slot s = t.slots[v][i];
        if (s.hash == 0) continue;
        std::size_t j = s.hash & mask;
        while (index[v][j].hash != 0) j = (j + 1) & mask;
        index[v][j] = s;
      }
      std::free(t.slots[v]);
      t.slots[v] = index[v];
    }
    t.mask = mask;
  }
  t.capacity = capacity;
  t.freeHead = more > 0 ? old : kEnd;
  return 0;
}

int THash::Store(TItem* item, const wchar_t* key, int len, TItem** old) {
  if (m_pTaula == nullptr || key == nullptr) return -1;
  const std::uint32_t bucket = clau(key, len);
  const std::uint32_t found = m_pTaula->Find(key, len, bucket);
  if (found != kEnd) {
    Entry& e = m_pTaula->pool[found];
    if (old != nullptr) {
      *old = e.item;
    } else if (e.item != item) {
      delete e.item;
    }
    m_pTaula->Rewrite(found, [&] {
      if (old != nullptr) WriteKey(e.key, key, len);
      e.keyLen = len;
    });
    e.item = item;
    return 0;
  }
  if (m_pTaula->count == m_pTaula->capacity && Ampliar() < 0) return -1;
  const std::uint32_t at = m_pTaula->freeHead;
  if (at >= m_pTaula->capacity) return -1;  // a free list that Done left behind
  Entry& e = m_pTaula->pool[at];
  m_pTaula->freeHead = e.next;
  ++m_pTaula->count;
  WriteKey(e.key, key, len);
  e.item = item;
  e.keyLen = len;
  m_pTaula->Attach(at, bucket);
  return 0;
}

int THash::put(TItem* item, const wchar_t* key, int len) { return Store(item, key, len, nullptr); }

int THash::change(TItem* item, const wchar_t* key, TItem*& old, int len) { return Store(item, key, len, &old); }

TItem* THash::get(const wchar_t* key, int len) const {
  if (m_pTaula == nullptr || key == nullptr) return nullptr;
  const std::uint32_t at = m_pTaula->Find(key, len, clau(key, len));
  return at != kEnd ? m_pTaula->pool[at].item : nullptr;
}

int THash::del(const wchar_t* key, int len) {
  if (m_pTaula == nullptr || key == nullptr) return kMissing;
  // The length picks the bucket; the comparison is of null-terminated keys whatever
  // the length, so a counted key given here must be terminated. At most 263 code
  // units of it are read.
  const std::uint32_t at = m_pTaula->Find(key, -1, clau(key, len));
  if (at == kEnd) return kMissing;
  m_pTaula->Detach(at);
  Entry& e = m_pTaula->pool[at];
  e.next = m_pTaula->freeHead;
  m_pTaula->freeHead = at;
  delete e.item;
  e.item = nullptr;
  e.key[0] = 0;
  --m_pTaula->count;
  return 0;
}

int THash::copy(THash* dest) const {
  if (dest == nullptr || dest->GetCapacitat() < length() || !dest->EsBuit()) return -4;
  if (m_pTaula == nullptr) return 0;
  for (std::uint32_t i = 0; i < m_pTaula->capacity; ++i) {
    const Entry& e = m_pTaula->pool[i];
    if (e.item == nullptr) continue;
    TItem* item = e.item->Duplicar();
    if (dest->put(item, e.key, e.keyLen) < 0) {
      delete item;
      return -1;
    }
  }
  return 0;
}

TLlista* THash::LlistaElements() const {
  auto* list = new TLlista;
  if (m_pTaula == nullptr) return list;
  for (std::uint32_t i = 0; i < m_pTaula->capacity; ++i) {
    const Entry& e = m_pTaula->pool[i];
    if (e.item != nullptr) list->Afegir(new THashItem(e.key, e.item));
  }
  return list;
}

void THash::Done() {
  if (m_pTaula == nullptr) return;
  for (std::uint32_t i = 0; i < m_pTaula->capacity; ++i) {
    Entry& e = m_pTaula->pool[i];
    e.item = nullptr;
    e.keyLen = -1;
    e.next = i + 1 < m_pTaula->capacity ? i + 1 : kEnd;
  }
  std::fill(m_pTaula->heads, m_pTaula->heads + m_pTaula->buckets, kEnd);
  std::fill(m_pTaula->tails, m_pTaula->tails + m_pTaula->buckets, kEnd);
  std::memset(m_pTaula->places, 0, m_pTaula->capacity * sizeof(Place));
  for (int v = 0; v < kViews; ++v) {
    if (m_pTaula->used[v] != 0) std::memset(m_pTaula->slots[v], 0, (m_pTaula->mask + 1) * sizeof(Slot));
    m_pTaula->used[v] = 0;
  }
}
