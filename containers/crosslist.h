// TCrossList: a doubly linked list of nodes, each holding one owned item, with an
// index from item to node so that an item's node is found without a walk. It
// knows whether it is in ascending order of its items' Comparar, which ordered
// insertion uses. TCircularCrossList closes the list into a ring.
//
// Every step goes through the virtual operations, so that the ring changes the
// behaviour by overriding PullOut, GetFirstPreviousNode, GetLastNextNode and
// ExChangePositions. Results: null for an insertion refused, -3 for a missing
// node, -5 for a cancel through the indicator.
//
// PullOut of the only node of a linear list clears just the list's ends and count:
// the node keeps its links and its index entry. Kept: callers rely on it.
#pragma once

#include <unordered_map>
#include <vector>

#include <kwlib63/core/item.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class TIndicadorEstat;

class KW_API TCrossNode {
 public:
  TCrossNode() = default;
  // Shallow: the item is shared, and the copy does not delete it.
  TCrossNode(const TCrossNode& other);
  TCrossNode& operator=(const TCrossNode& other);
  // Deep: the links copied, the item duplicated.
  TCrossNode(const TCrossNode* other);
  // Clears the links and deletes the item it owns.
  virtual ~TCrossNode();
  virtual TCrossNode* Duplicar() const;

  TItem* GetItem() const { return m_pItem; }
  TCrossNode* GetNext() const { return m_pNext; }
  TCrossNode* GetPrev() const { return m_pPrev; }
  TItem* GetNextItem() const { return m_pNext != nullptr ? m_pNext->m_pItem : nullptr; }
  TItem* GetPrevItem() const { return m_pPrev != nullptr ? m_pPrev->m_pItem : nullptr; }
  // The node takes the item over.
  void SetItem(TItem* item);
  void SetNext(TCrossNode* next) { m_pNext = next; }
  void SetPrev(TCrossNode* prev) { m_pPrev = prev; }
  // Sets the neighbour's item; -3 without a neighbour, else 0.
  int SetNextItem(TItem* item);
  int SetPrevItem(TItem* item);
  int IsValid() const { return m_pItem != nullptr ? 1 : 0; }
  // Hands the item over: deleting the node no longer deletes it.
  TItem* UnLinkItem();

 private:
  TCrossNode* m_pPrev = nullptr;
  TCrossNode* m_pNext = nullptr;
  TItem* m_pItem = nullptr;
  bool m_bOwnsItem = true;
};

class KW_API TCrossList : public TItem {
 public:
  using COMPARA = int (*)(const TItem* a, const TItem* b, __int64 param);
  using PROCESSA = int (*)(TItem* item, int index, __int64 param);

  static CMoxelRTTI m_rttiTCrossList;

  // Empty, owning its nodes, sorted.
  TCrossList() = default;
  // A deep copy of `src`'s nodes; the sorted and owner flags from `src`.
  TCrossList(const TCrossList* src);
  TCrossList(const TCrossList&) = delete;
  TCrossList& operator=(const TCrossList&) = delete;
  ~TCrossList() override;

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

  // The virtual operations of the list, in the order of its interface.
  virtual int IsEmpty() const;
  // The node indexed for `item`, or null.
  virtual TCrossNode* GetNode(const TItem* item) const;
  virtual TCrossNode* GetFirst() const;
  virtual TCrossNode* GetLast() const;
  virtual TCrossNode* GetPrev(const TCrossNode* node) const;
  virtual TCrossNode* GetNext(const TCrossNode* node) const;
  virtual TCrossNode* InsertAfter(TCrossNode* node, TCrossNode* after);
  // Null, creating nothing, when `after` is given and not in the list.
  virtual TCrossNode* InsertAfter(TItem* item, TItem* after);
  virtual TCrossNode* InsertBefore(TCrossNode* node, TCrossNode* before);
  virtual TCrossNode* InsertBefore(TItem* item, TItem* before);
  virtual TCrossNode* InsertFirst(TCrossNode* node);
  virtual TCrossNode* InsertFirst(TItem* item);
  virtual TCrossNode* InsertLast(TCrossNode* node);
  virtual TCrossNode* InsertLast(TItem* item);
  virtual int ExChangePositions(TCrossNode* a, TCrossNode* b);
  // The one place where nodes enter the list: between `prev` and `next`, which
  // must be neighbours (either may be null, not both unless the list is empty).
  virtual TCrossNode* LinkNodes(TCrossNode* prev, TCrossNode* node, TCrossNode* next);
  // Takes the node out and deletes it (with its item). -3 for null.
  virtual int Remove(TCrossNode* node);
  // Takes the node out and hands it over.
  virtual TCrossNode* PullOut(TCrossNode* node);
  virtual TCrossNode* GetFirstPreviousNode() const;
  virtual TCrossNode* GetLastNextNode() const;
  virtual int Reverse();
  // By the items' own Comparar; equal items end up reversed; nodes without an
  // item are dropped.
  virtual int Sort();
  // A stable sort by `compare` of the list taken from its first node; 0, -5 on a
  // cancel (the list unchanged), -2 without a comparison.
  virtual int Sort(COMPARA compare, __int64 param, TIndicadorEstat* ie);
  // Appends copies of src's nodes from `from` (its first when null); src unchanged.
  virtual int Concatenate(const TCrossList* src, TCrossNode* from);
  // Moves src's nodes from `from` (its first when null) to the end of this list.
  virtual int Join(TCrossList* src, TCrossNode* from);
  // Inserts after every item that compares equal, sorting the list first when it
  // is not known to be sorted. Null for a null node or one without item.
  virtual TCrossNode* AddOrderedElem(TCrossNode* node);
  virtual TCrossNode* AddOrderedElem(TItem* item);
  virtual int IsSorted() const;

  // Forgets everything without freeing it.
  void Init();
  // Takes the nodes out from the last and, with `bDelete`, deletes them (and their
  // index entries). Without it the nodes are the caller's and stay indexed.
  void Done(int bDelete);
  int Cnt() const { return m_nCount; }
  // Calls fn for each node from the first, numbering them 0, 1, ... or, with bit
  // 0 of `flags`, count - 1 down to 0.
  int Process(PROCESSA fn, int flags, __int64 param, TIndicadorEstat* ie) const;

 protected:
  // Appends deep copies of src's nodes (for the constructors of the list kinds).
  void CopyFrom(const TCrossList* src);
  // The index entry of `node`'s item, when it is that node's.
  void Unindex(const TCrossNode* node);
  // Puts a before b, then b where a stood: behind `p`, or first when `p` is null.
  int SwapNodes(TCrossNode* a, TCrossNode* b, TCrossNode* p);

  int m_bOwnsNodes = 1;
  TCrossNode* m_pFirst = nullptr;
  TCrossNode* m_pLast = nullptr;
  int m_nCount = 0;
  std::unordered_map<const TItem*, TCrossNode*> m_index;
  int m_bSorted = 1;

 private:
  // The nodes from `from` (src's first when null) up to src's end.
  static std::vector<TCrossNode*> Walk(const TCrossList* src, TCrossNode* from);
  // Relinks the list with `nodes`, in order.
  void Relink(const std::vector<TCrossNode*>& nodes);
};

class KW_API TCircularCrossList : public TCrossList {
 public:
  static CMoxelRTTI m_rttiTCircularCrossList;

  TCircularCrossList() = default;
  TCircularCrossList(const TCircularCrossList* src);
  ~TCircularCrossList() override;

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

  TCrossNode* PullOut(TCrossNode* node) override;
  TCrossNode* GetFirstPreviousNode() const override;
  TCrossNode* GetLastNextNode() const override;
  int ExChangePositions(TCrossNode* a, TCrossNode* b) override;
};
