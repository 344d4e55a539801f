#include <kwlib63/framework/stringlist.h>

#include <kwlib63/framework/exception.h>

IMPLEMENT_DYNAMIC(CStringList, CObject)

struct CStringList::Node {
  Node* next;
  Node* prev;
  CString data;
};

CStringList::~CStringList() { RemoveAll(); }

CStringList::Node* CStringList::NodeAt(POSITION pos) {
  if (pos == nullptr) AfxThrowInvalidArgException();
  return reinterpret_cast<Node*>(pos);
}

// Makes a node between two neighbours (either may be null at an end).
CStringList::Node* CStringList::Link(Node* before, Node* after, const wchar_t* text) {
  Node* node = new Node{after, before, CString(text != nullptr ? text : L"")};
  (before != nullptr ? before->next : m_pHead) = node;
  (after != nullptr ? after->prev : m_pTail) = node;
  ++m_nCount;
  return node;
}

void CStringList::Unlink(Node* node) {
  (node->prev != nullptr ? node->prev->next : m_pHead) = node->next;
  (node->next != nullptr ? node->next->prev : m_pTail) = node->prev;
  --m_nCount;
  delete node;
}

CString& CStringList::GetHead() { return NodeAt(reinterpret_cast<POSITION>(m_pHead))->data; }
const CString& CStringList::GetHead() const { return NodeAt(reinterpret_cast<POSITION>(m_pHead))->data; }
CString& CStringList::GetTail() { return NodeAt(reinterpret_cast<POSITION>(m_pTail))->data; }
const CString& CStringList::GetTail() const { return NodeAt(reinterpret_cast<POSITION>(m_pTail))->data; }

CString CStringList::RemoveHead() {
  CString text = GetHead();
  Unlink(m_pHead);
  return text;
}

CString CStringList::RemoveTail() {
  CString text = GetTail();
  Unlink(m_pTail);
  return text;
}

POSITION CStringList::AddHead(const wchar_t* text) { return reinterpret_cast<POSITION>(Link(nullptr, m_pHead, text)); }
POSITION CStringList::AddTail(const wchar_t* text) { return reinterpret_cast<POSITION>(Link(m_pTail, nullptr, text)); }

void CStringList::AddHead(const CStringList* list) {
  if (list == nullptr || list == this) AfxThrowInvalidArgException();
  for (Node* node = list->m_pTail; node != nullptr; node = node->prev) AddHead(node->data);
}

void CStringList::AddTail(const CStringList* list) {
  if (list == nullptr || list == this) AfxThrowInvalidArgException();
  for (Node* node = list->m_pHead; node != nullptr; node = node->next) AddTail(node->data);
}

void CStringList::RemoveAll() {
  while (m_pHead != nullptr) Unlink(m_pHead);
}

POSITION CStringList::GetHeadPosition() const { return reinterpret_cast<POSITION>(m_pHead); }
POSITION CStringList::GetTailPosition() const { return reinterpret_cast<POSITION>(m_pTail); }

CString& CStringList::GetNext(POSITION& pos) {
  Node* node = NodeAt(pos);
  pos = reinterpret_cast<POSITION>(node->next);
  return node->data;
}

const CString& CStringList::GetNext(POSITION& pos) const { return const_cast<CStringList*>(this)->GetNext(pos); }

CString& CStringList::GetPrev(POSITION& pos) {
  Node* node = NodeAt(pos);
  pos = reinterpret_cast<POSITION>(node->prev);
  return node->data;
}

const CString& CStringList::GetPrev(POSITION& pos) const { return const_cast<CStringList*>(this)->GetPrev(pos); }

CString& CStringList::GetAt(POSITION pos) { return NodeAt(pos)->data; }
const CString& CStringList::GetAt(POSITION pos) const { return NodeAt(pos)->data; }
void CStringList::SetAt(POSITION pos, const wchar_t* text) { NodeAt(pos)->data = text != nullptr ? text : L""; }
void CStringList::RemoveAt(POSITION pos) { Unlink(NodeAt(pos)); }

POSITION CStringList::InsertBefore(POSITION pos, const wchar_t* text) {
  if (pos == nullptr) return AddHead(text);
  Node* node = NodeAt(pos);
  return reinterpret_cast<POSITION>(Link(node->prev, node, text));
}

POSITION CStringList::InsertAfter(POSITION pos, const wchar_t* text) {
  if (pos == nullptr) return AddTail(text);
  Node* node = NodeAt(pos);
  return reinterpret_cast<POSITION>(Link(node, node->next, text));
}

POSITION CStringList::Find(const wchar_t* text, POSITION startAfter) const {
  const CString wanted(text != nullptr ? text : L"");
  for (Node* node = startAfter != nullptr ? NodeAt(startAfter)->next : m_pHead; node != nullptr; node = node->next) {
    if (node->data == wanted) return reinterpret_cast<POSITION>(node);
  }
  return nullptr;
}

POSITION CStringList::FindIndex(INT_PTR index) const {
  if (index < 0 || index >= m_nCount) return nullptr;
  Node* node = m_pHead;
  while (index-- > 0) node = node->next;
  return reinterpret_cast<POSITION>(node);
}
