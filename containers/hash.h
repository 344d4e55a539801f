// THash: a chained hash table from wide-string keys to owned items. Entries live
// in one pool linked by 32-bit indexes, so adding and removing keys allocates only
// when the pool is full (it grows by a third, at least 20 entries); the number of
// buckets is fixed by init. THashItem is a key with a copy of its item, as
// LlistaElements lists them.
//
// Keys are given with a length: -1 for a null-terminated key, else the count of
// wide characters. A key's bucket is the sum of its UTF-16 code units (a character
// outside the basic plane counts as its two surrogates) modulo the bucket count. A counted key is stored one position later than look-ups read it, so
// a look-up by the same counted key generally misses it: kept, callers depend on
// the duplicates that follow. Keys are at most 263 code units.
//
// Copying a table from a reference gives a second handle on the same table.
#pragma once

#include <cstdint>

#include <kwlib63/containers/llista.h>
#include <kwlib63/framework/export.h>

inline constexpr int KW_HASH_CLAU = 264;  // code units of a stored key, terminator included

class KW_API THashItem : public TItem {
 public:
  static CMoxelRTTI m_rttiTHashItem;

  // Copies the key and stores a copy (Duplicar) of `item`.
  THashItem(const wchar_t* key, const TItem* item);
  THashItem(const THashItem&) = delete;
  THashItem& operator=(const THashItem&) = delete;
  ~THashItem() override;

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

  const wchar_t* GetClau() const { return m_szClau; }
  TItem* GetItem() const { return m_pItem; }

 private:
  wchar_t m_szClau[KW_HASH_CLAU];
  TItem* m_pItem;
};

class KW_API THash : public TItem {
 public:
  static CMoxelRTTI m_rttiTHash;

  // Unusable until init: look-ups miss and changes return -1.
  THash() = default;
  THash(const THash& other);
  THash& operator=(const THash& other);
  ~THash() override;

  // Null for a table with items (by design); a new empty table for an empty one.
  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;
  int EsBuit() const override;

  // `size` entries, size / 3 + 1 buckets, all empty. 0, or -1 out of memory.
  int init(unsigned int size);
  // Stores `item` under the key; an item already there is deleted. 0 or -1.
  int put(TItem* item, const wchar_t* key, int len = -1);
  // Like put, but a replaced item is handed back in `old` (left as it was when the
  // key is new).
  int change(TItem* item, const wchar_t* key, TItem*& old, int len = -1);
  // The stored item (still the table's), or null.
  TItem* get(const wchar_t* key, int len = -1) const;
  // Removes the key and deletes its item; -1402 when the key is not there. `len`
  // only picks the bucket: the key is compared as a null-terminated text, so it
  // must be terminated whatever `len` says (del(L"abcdef", 3) does not remove "abc").
  int del(const wchar_t* key, int len = -1);
  unsigned int length() const;
  // Copies of every item into the empty `dest`; -4 when `dest` is too small or not
  // empty, -1 when a put fails.
  int copy(THash* dest) const;
  // A new list of THashItem, one per key, in pool order.
  TLlista* LlistaElements() const;
  // Forgets every item without deleting it; the count and the free entry stay as
  // they were, so a table is made ready again with init.
  void Done();

  // Walks the chain of bucket `pos`: `pos` becomes the matching entry or -1
  // (0xFFFFFFFF); returns the entry visited before the match, or the chain's tail.
  int BuscarClau(const wchar_t* key, int& pos, int len = -1) const;
  // Stores a key into entry `index`.
  void CopyClau(const wchar_t* key, int index, int len = -1);

  // The pool's and the buckets' sizes, for callers that tune their tables.
  unsigned int GetCapacitat() const;
  unsigned int GetNumBuckets() const;

 protected:
  unsigned int clau(const wchar_t* key, int len) const;
  // Grows the pool by `n` entries (-1: a third, at least 20). 0, or -1 out of memory.
  int Ampliar(int n = -1);

 private:
  struct Entry;
  struct Storage;
  int Store(TItem* item, const wchar_t* key, int len, TItem** old);
  void Drop();  // lets go of the table; the last handle deletes it with its items
  Storage* m_pTaula = nullptr;
};
