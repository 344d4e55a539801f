#include <kwlib63/containers/crosslist.h>

#include <algorithm>
#include <new>
#include <vector>

#include <kwlib63/containers/stablesort.h>
#include <kwlib63/containers/newcopy.h>
#include <kwlib63/progress/iecalls.h>

constinit CMoxelRTTI TCrossList::m_rttiTCrossList(&TItem::m_rttiTItem, "TCrossList", kwtipus::TCrossList,
                                                  sizeof(TCrossList), nullptr);
// The ring's record names TItem as its parent, not TCrossList: kept.
constinit CMoxelRTTI TCircularCrossList::m_rttiTCircularCrossList(&TItem::m_rttiTItem, "TCircularCrossList",
                                                                  kwtipus::TCircularCrossList,
                                                                  sizeof(TCircularCrossList), nullptr);

// Nodes.

TCrossNode::TCrossNode(const TCrossNode& other)
    : m_pPrev(other.m_pPrev), m_pNext(other.m_pNext), m_pItem(other.m_pItem), m_bOwnsItem(false) {}

TCrossNode& TCrossNode::operator=(const TCrossNode& other) {
  if (this == &other) return *this;
  if (m_bOwnsItem) delete m_pItem;
  m_pPrev = other.m_pPrev;
  m_pNext = other.m_pNext;
  m_pItem = other.m_pItem;
  m_bOwnsItem = false;
  return *this;
}

TCrossNode::TCrossNode(const TCrossNode* other)
    : m_pPrev(other != nullptr ? other->m_pPrev : nullptr),
      m_pNext(other != nullptr ? other->m_pNext : nullptr),
      m_pItem(other != nullptr && other->m_pItem != nullptr ? other->m_pItem->Duplicar() : nullptr) {}

TCrossNode::~TCrossNode() {
  m_pPrev = m_pNext = nullptr;
  if (m_bOwnsItem) delete m_pItem;
}

TCrossNode* TCrossNode::Duplicar() const { return new (std::nothrow) TCrossNode(this); }

void TCrossNode::SetItem(TItem* item) {
  m_pItem = item;
  m_bOwnsItem = true;
}

int TCrossNode::SetNextItem(TItem* item) {
  if (m_pNext == nullptr) return -3;
  m_pNext->SetItem(item);
  return 0;
}

int TCrossNode::SetPrevItem(TItem* item) {
  if (m_pPrev == nullptr) return -3;
  m_pPrev->SetItem(item);
  return 0;
}

TItem* TCrossNode::UnLinkItem() {
  TItem* item = m_pItem;
  m_pItem = nullptr;
  return item;
}

namespace {
TCrossNode* NodeOf(TItem* item) {
  if (item == nullptr) return nullptr;
  auto* node = new TCrossNode;
  node->SetItem(item);
  return node;
}

// A node the list refused goes back to nothing, its item still the caller's.
TCrossNode* Refused(TCrossNode* node) {
  node->UnLinkItem();
  delete node;
  return nullptr;
}
}  // namespace

// The linear list.

TCrossList::TCrossList(const TCrossList* src) { CopyFrom(src); }

void TCrossList::CopyFrom(const TCrossList* src) {
  if (src == nullptr) return;
  TCrossNode* node = src->GetFirst();
  for (int i = 0; i < src->m_nCount && node != nullptr; ++i, node = src->GetNext(node)) {
    LinkNodes(GetLast(), node->Duplicar(), nullptr);
  }
  m_bSorted = src->m_bSorted;
  m_bOwnsNodes = src->m_bOwnsNodes;
}

TCrossList::~TCrossList() { Done(m_bOwnsNodes); }

TItem* TCrossList::Duplicar() const { return kwcont::NewCopy(this); }
CMoxelRTTI* TCrossList::GetRTTI() const { return &m_rttiTCrossList; }

int TCrossList::IsEmpty() const { return m_nCount < 1 ? 1 : 0; }
int TCrossList::IsSorted() const { return m_bSorted; }

TCrossNode* TCrossList::GetNode(const TItem* item) const {
  const auto it = m_index.find(item);
  return it != m_index.end() ? it->second : nullptr;
}

TCrossNode* TCrossList::GetFirst() const { return m_pFirst; }
TCrossNode* TCrossList::GetLast() const { return m_pLast; }
TCrossNode* TCrossList::GetPrev(const TCrossNode* node) const { return node != nullptr ? node->GetPrev() : nullptr; }
TCrossNode* TCrossList::GetNext(const TCrossNode* node) const { return node != nullptr ? node->GetNext() : nullptr; }
TCrossNode* TCrossList::GetFirstPreviousNode() const { return nullptr; }
TCrossNode* TCrossList::GetLastNextNode() const { return nullptr; }

void TCrossList::Init() {
  m_bSorted = 1;
  m_pFirst = m_pLast = nullptr;
  m_nCount = 0;
}

void TCrossList::Unindex(const TCrossNode* node) {
  if (node == nullptr || node->GetItem() == nullptr) return;
  const auto it = m_index.find(node->GetItem());
  if (it != m_index.end() && it->second == node) m_index.erase(it);
}

void TCrossList::Done(int bDelete) {
  if (bDelete) {
    while (m_nCount >= 1) {
      TCrossNode* node = PullOut(GetLast());
      // The only node keeps its index entry when pulled out; a deleted node must not.
      Unindex(node);
      delete node;
    }
  }
  // The index stays: nodes left to the caller are still found by their items.
  Init();
}

TCrossNode* TCrossList::LinkNodes(TCrossNode* prev, TCrossNode* node, TCrossNode* next) {
  if (node == nullptr) return nullptr;
  if (m_nCount == 0 || m_pFirst == nullptr) {
    m_pFirst = m_pLast = node;
    node->SetPrev(GetFirstPreviousNode());
    node->SetNext(GetLastNextNode());
  } else {
    if (prev != nullptr ? (next != nullptr && prev->GetNext() != next) : next == nullptr) return nullptr;
    if (m_nCount == 1) {
      if (prev != nullptr) {
        prev->SetNext(node);
        node->SetPrev(prev);
        m_pFirst = prev;
        m_pLast = node;
        node->SetNext(GetLastNextNode());
        prev->SetPrev(GetFirstPreviousNode());
      } else {
        next->SetPrev(node);
        node->SetNext(next);
        m_pFirst = node;
        m_pLast = next;
        node->SetPrev(GetFirstPreviousNode());
        next->SetNext(GetLastNextNode());
      }
    } else if (prev == nullptr) {
      TCrossNode* p = next->GetPrev();
      next->SetPrev(node);
      node->SetNext(next);
      // Also when p is null: a node copied from another list still points into it.
      node->SetPrev(p);
      if (p != nullptr) p->SetNext(node);
      if (p == GetFirstPreviousNode()) m_pFirst = node;
    } else if (next != nullptr) {
      prev->SetNext(node);
      node->SetPrev(prev);
      next->SetPrev(node);
      node->SetNext(next);
    } else {
      TCrossNode* n = prev->GetNext();
      prev->SetNext(node);
      node->SetPrev(prev);
      node->SetNext(n);  // as above
      if (n != nullptr) n->SetPrev(node);
      if (n == GetLastNextNode()) m_pLast = node;
    }
    if (const TItem* item = node->GetItem()) {
      if (node->GetPrevItem() != nullptr && item->Comparar(node->GetPrevItem()) < 0) m_bSorted = 0;
      if (node->GetNextItem() != nullptr && item->Comparar(node->GetNextItem()) > 0) m_bSorted = 0;
    }
  }
  if (node->GetItem() != nullptr) m_index[node->GetItem()] = node;
  ++m_nCount;
  return node;
}

TCrossNode* TCrossList::PullOut(TCrossNode* node) {
  if (node == nullptr) return nullptr;
  if (m_nCount <= 1) {
    m_pFirst = m_pLast = nullptr;
    m_nCount = 0;
    return node;
  }
  TCrossNode* prev = node->GetPrev();
  TCrossNode* next = node->GetNext();
  if (prev != nullptr) {
    prev->SetNext(next);
  } else {
    m_pFirst = next;
  }
  if (next != nullptr) {
    next->SetPrev(prev);
  } else {
    m_pLast = prev;
  }
  node->SetPrev(nullptr);
  node->SetNext(nullptr);
  --m_nCount;
  Unindex(node);
  return node;
}

TCrossNode* TCrossList::InsertAfter(TCrossNode* node, TCrossNode* after) {
  if (node == nullptr) return nullptr;
  if (after == nullptr) return InsertFirst(node);
  if (after == GetLast()) return InsertLast(node);
  return LinkNodes(after, node, after->GetNext());
}

TCrossNode* TCrossList::InsertBefore(TCrossNode* node, TCrossNode* before) {
  if (node == nullptr) return nullptr;
  if (before == nullptr) return InsertLast(node);
  if (before == GetFirst()) return InsertFirst(node);
  return LinkNodes(nullptr, node, before);
}

TCrossNode* TCrossList::InsertFirst(TCrossNode* node) { return node != nullptr ? LinkNodes(nullptr, node, GetFirst()) : nullptr; }
TCrossNode* TCrossList::InsertLast(TCrossNode* node) { return node != nullptr ? LinkNodes(GetLast(), node, nullptr) : nullptr; }

TCrossNode* TCrossList::InsertAfter(TItem* item, TItem* after) {
  if (item == nullptr) return nullptr;
  TCrossNode* afterNode = nullptr;
  if (after != nullptr && (afterNode = GetNode(after)) == nullptr) return nullptr;
  TCrossNode* node = NodeOf(item);
  return InsertAfter(node, afterNode) != nullptr ? node : Refused(node);
}

TCrossNode* TCrossList::InsertBefore(TItem* item, TItem* before) {
  if (item == nullptr) return nullptr;
  TCrossNode* beforeNode = nullptr;
  if (before != nullptr && (beforeNode = GetNode(before)) == nullptr) return nullptr;
  TCrossNode* node = NodeOf(item);
  return InsertBefore(node, beforeNode) != nullptr ? node : Refused(node);
}

TCrossNode* TCrossList::InsertFirst(TItem* item) {
  TCrossNode* node = NodeOf(item);
  return node == nullptr || InsertFirst(node) != nullptr ? node : Refused(node);
}

TCrossNode* TCrossList::InsertLast(TItem* item) {
  TCrossNode* node = NodeOf(item);
  return node == nullptr || InsertLast(node) != nullptr ? node : Refused(node);
}

int TCrossList::Remove(TCrossNode* node) {
  if (node == nullptr) return -3;
  PullOut(node);
  Unindex(node);
  delete node;
  return 0;
}

int TCrossList::ExChangePositions(TCrossNode* a, TCrossNode* b) {
  if (a == nullptr || b == nullptr || a == b) return a == b && a != nullptr ? 0 : -3;
  return SwapNodes(a, b, GetPrev(a));
}

int TCrossList::SwapNodes(TCrossNode* a, TCrossNode* b, TCrossNode* p) {
  PullOut(a);
  InsertBefore(a, b);
  // When b stood right before a, putting a before b has swapped them already.
  if (p != b) {
    PullOut(b);
    InsertAfter(b, p);
  }
  m_bSorted = 0;
  return 0;
}

std::vector<TCrossNode*> TCrossList::Walk(const TCrossList* src, TCrossNode* from) {
  std::vector<TCrossNode*> nodes;
  if (src == nullptr || src->IsEmpty()) return nodes;
  const TCrossNode* end = src->GetLastNextNode();
  TCrossNode* node = from != nullptr ? from : src->GetFirst();
  for (int i = 0; i < src->m_nCount && node != nullptr && (i == 0 || node != end); ++i, node = src->GetNext(node)) {
    nodes.push_back(node);
  }
  return nodes;
}

void TCrossList::Relink(const std::vector<TCrossNode*>& nodes) {
  m_pFirst = m_pLast = nullptr;
  m_nCount = 0;
  for (TCrossNode* node : nodes) {
    node->SetPrev(nullptr);
    node->SetNext(nullptr);
    LinkNodes(GetLast(), node, nullptr);
  }
}

int TCrossList::Reverse() {
  std::vector<TCrossNode*> nodes = Walk(this, nullptr);
  std::reverse(nodes.begin(), nodes.end());
  Relink(nodes);
  m_bSorted = 0;
  return 0;
}

int TCrossList::Sort() {
  // Taken from the back, each placed after the items it does not compare below:
  // a stable sort of the reversed list.
  std::vector<TCrossNode*> nodes;
  for (TCrossNode* node : Walk(this, nullptr)) {
    if (node->GetItem() != nullptr) {
      nodes.push_back(node);
    } else {
      Unindex(node);
      delete node;  // dropped: a node without an item holds nothing
    }
  }
  std::reverse(nodes.begin(), nodes.end());
  kwcont::StableSort(
      nodes.data(), nodes.size(), [](const TCrossNode* a, const TCrossNode* b) { return a->GetItem()->Comparar(b->GetItem()) < 0; },
      nullptr);
  Relink(nodes);
  m_bSorted = 1;
  return 0;
}

int TCrossList::Sort(COMPARA compare, __int64 param, TIndicadorEstat* ie) {
  if (IsEmpty()) return 0;
  if (compare == nullptr) return -2;
  // Taken from the first, each placed before the first it does not exceed: a
  // stable sort of the reversed list.
  std::vector<TCrossNode*> nodes = Walk(this, nullptr);
  std::reverse(nodes.begin(), nodes.end());
  const int result = kwcont::StableSort(
      nodes.data(), nodes.size(), [&](const TCrossNode* a, const TCrossNode* b) { return compare(a->GetItem(), b->GetItem(), param) < 0; },
      ie);
  // Relinking clears the sorted flag where the caller's order is not Comparar's.
  if (result == 0) Relink(nodes);
  return result;
}

int TCrossList::Concatenate(const TCrossList* src, TCrossNode* from) {
  for (TCrossNode* node : Walk(src, from)) InsertLast(node->Duplicar());
  return 0;
}

int TCrossList::Join(TCrossList* src, TCrossNode* from) {
  if (src == this) return 0;
  for (TCrossNode* node : Walk(src, from)) {
    src->PullOut(node);
    src->Unindex(node);
    node->SetPrev(nullptr);
    node->SetNext(nullptr);
    InsertLast(node);
  }
  return 0;
}

TCrossNode* TCrossList::AddOrderedElem(TCrossNode* node) {
  if (node == nullptr || node->GetItem() == nullptr) return nullptr;
  if (!IsSorted()) Sort();
  TCrossNode* at = GetFirst();
  for (int i = 0; i < m_nCount && at != nullptr; ++i, at = GetNext(at)) {
    if (at->GetItem() != nullptr && node->GetItem()->Comparar(at->GetItem()) < 0) return InsertBefore(node, at);
  }
  return InsertLast(node);
}

TCrossNode* TCrossList::AddOrderedElem(TItem* item) {
  TCrossNode* node = NodeOf(item);
  return node == nullptr || AddOrderedElem(node) != nullptr ? node : Refused(node);
}

int TCrossList::Process(PROCESSA fn, int flags, __int64 param, TIndicadorEstat* ie) const {
  int result = 0;
  const int count = m_nCount;
  TCrossNode* node = GetFirst();
  for (int i = 0; i < count && node != nullptr; ++i, node = GetNext(node)) {
    if (!kwprog::SetRangPosicioRel(ie, static_cast<unsigned long long>(i), static_cast<unsigned long long>(count))) return -5;
    result = fn(node->GetItem(), (flags & 1) ? count - 1 - i : i, param);
    if (!kwprog::PopRangRel(ie)) return -5;
    if (result < 0) return result;
  }
  return result;
}

// The ring.

TCircularCrossList::TCircularCrossList(const TCircularCrossList* src) { CopyFrom(src); }

TCircularCrossList::~TCircularCrossList() { Done(m_bOwnsNodes); }  // with the ring's PullOut

TItem* TCircularCrossList::Duplicar() const { return kwcont::NewCopy(this); }
CMoxelRTTI* TCircularCrossList::GetRTTI() const { return &m_rttiTCircularCrossList; }
TCrossNode* TCircularCrossList::GetFirstPreviousNode() const { return GetLast(); }
TCrossNode* TCircularCrossList::GetLastNextNode() const { return GetFirst(); }

TCrossNode* TCircularCrossList::PullOut(TCrossNode* node) {
  if (node == nullptr) return nullptr;
  if (m_nCount > 1) {
    TCrossNode* prev = node->GetPrev();
    TCrossNode* next = node->GetNext();
    prev->SetNext(next);
    next->SetPrev(prev);
    if (node == m_pFirst) m_pFirst = next;
    if (node == m_pLast) m_pLast = prev;
  } else {
    m_pFirst = m_pLast = nullptr;
  }
  node->SetPrev(nullptr);
  node->SetNext(nullptr);
  if (m_nCount > 0) --m_nCount;
  Unindex(node);
  return node;
}

int TCircularCrossList::ExChangePositions(TCrossNode* a, TCrossNode* b) {
  if (a == nullptr || b == nullptr || a == b) return a == b && a != nullptr ? 0 : -3;
  // As in the linear list, with "before the first" meaning the head of the ring.
  return SwapNodes(a, b, a == GetFirst() ? nullptr : GetPrev(a));
}
