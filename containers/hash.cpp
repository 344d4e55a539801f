#include <kwlib63/containers/hash.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>

#include <kwlib63/containers/newcopy.h>
#include <kwlib63/framework/textconv.h>

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

  void DeleteItems() {
    for (std::uint32_t i = 0; i < capacity; ++i) {
      delete pool[i].item;
      pool[i].item = nullptr;
    }
  }
  ~Storage() {
    std::free(heads);
    std::free(pool);
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
  storage->pool = static_cast<Entry*>(std::calloc(std::max(size, 1u), sizeof(Entry)));
  if (storage->heads == nullptr || storage->pool == nullptr) {
    delete storage;
    return -1;
  }
  std::fill(storage->heads, storage->heads + storage->buckets, kEnd);
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
  wchar_t* to = m_pTaula->pool[index].key;
  if (len < 0) {
    CopyTerminated(to, key);
    return;
  }
  // Counted keys go one position later, without a terminator: see the header.
  const int n = std::min(len, KW_HASH_CLAU - 3);
  for (int i = 0; i < n; ++i) to[i + 1] = key[i];
}

int THash::Ampliar(int n) {
  if (m_pTaula == nullptr) return -1;
  const std::uint32_t old = m_pTaula->capacity;
  const std::uint32_t more = n < 0 ? static_cast<std::uint32_t>(std::max(static_cast<int>(old) / 3, 20)) : static_cast<std::uint32_t>(n);
  const std::uint32_t capacity = old + more;
  auto* pool = static_cast<Entry*>(std::calloc(std::max(capacity, 1u), sizeof(Entry)));
  // On failure the table is left as it was (it stays usable).
  if (pool == nullptr || capacity < old) {
    std::free(pool);
    return -1;
  }
  std::memcpy(pool, m_pTaula->pool, old * sizeof(Entry));
  for (std::uint32_t i = old; i < capacity; ++i) pool[i].next = i + 1 < capacity ? i + 1 : kEnd;
  std::free(m_pTaula->pool);
  m_pTaula->pool = pool;
  m_pTaula->capacity = capacity;
  m_pTaula->freeHead = more > 0 ? old : kEnd;
  return 0;
}

int THash::Store(TItem* item, const wchar_t* key, int len, TItem** old) {
  if (m_pTaula == nullptr || key == nullptr) return -1;
  const std::uint32_t bucket = clau(key, len);
  std::uint32_t tail = kEnd;
  if (m_pTaula->heads[bucket] != kEnd) {
    int pos = static_cast<int>(bucket);
    tail = static_cast<std::uint32_t>(BuscarClau(key, pos, len));
    if (pos != -1) {
      Entry& e = m_pTaula->pool[pos];
      if (old != nullptr) {
        *old = e.item;
        CopyClau(key, pos, len);
      } else if (e.item != item) {
        delete e.item;
      }
      e.item = item;
      e.keyLen = len;
      return 0;
    }
  }
  if (m_pTaula->count == m_pTaula->capacity && Ampliar() < 0) return -1;
  const std::uint32_t at = m_pTaula->freeHead;
  if (at >= m_pTaula->capacity) return -1;  // a free list that Done left behind
  Entry& e = m_pTaula->pool[at];
  m_pTaula->freeHead = e.next;
  e.next = kEnd;
  ++m_pTaula->count;
  if (m_pTaula->heads[bucket] == kEnd) {
    m_pTaula->heads[bucket] = at;
  } else {
    m_pTaula->pool[tail].next = at;
  }
  CopyClau(key, static_cast<int>(at), len);
  e.item = item;
  e.keyLen = len;
  return 0;
}

int THash::put(TItem* item, const wchar_t* key, int len) { return Store(item, key, len, nullptr); }

int THash::change(TItem* item, const wchar_t* key, TItem*& old, int len) { return Store(item, key, len, &old); }

TItem* THash::get(const wchar_t* key, int len) const {
  if (m_pTaula == nullptr || key == nullptr) return nullptr;
  int pos = static_cast<int>(clau(key, len));
  BuscarClau(key, pos, len);
  return pos != -1 ? m_pTaula->pool[pos].item : nullptr;
}

int THash::del(const wchar_t* key, int len) {
  if (m_pTaula == nullptr || key == nullptr) return kMissing;
  // The length picks the bucket; the comparison is of null-terminated keys whatever
  // the length, so a counted key given here must be terminated. A stored key always
  // ends within its entry, which bounds how far the caller's key is read.
  const std::uint32_t bucket = clau(key, len);
  std::uint32_t previous = kEnd;
  for (std::uint32_t at = m_pTaula->heads[bucket]; at != kEnd; previous = at, at = m_pTaula->pool[at].next) {
    Entry& e = m_pTaula->pool[at];
    if (!SameKey(e.key, key)) continue;
    if (previous == kEnd) {
      m_pTaula->heads[bucket] = e.next;
    } else {
      m_pTaula->pool[previous].next = e.next;
    }
    e.next = m_pTaula->freeHead;
    m_pTaula->freeHead = at;
    delete e.item;
    e.item = nullptr;
    e.key[0] = 0;
    --m_pTaula->count;
    return 0;
  }
  return kMissing;
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
}
