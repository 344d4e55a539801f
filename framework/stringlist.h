// CStringList: the framework's doubly linked list of strings, walked by POSITION
// (an opaque place that stays valid until its own element is removed).
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/framework/wintypes.h>

class KW_API CStringList : public CObject {
  DECLARE_DYNAMIC(CStringList)
 public:
  CStringList() = default;
  ~CStringList() override;
  CStringList(const CStringList&) = delete;
  CStringList& operator=(const CStringList&) = delete;

  INT_PTR GetCount() const { return m_nCount; }
  INT_PTR GetSize() const { return m_nCount; }
  BOOL IsEmpty() const { return m_nCount == 0; }

  // The head and tail; on an empty list these raise CInvalidArgException.
  CString& GetHead();
  const CString& GetHead() const;
  CString& GetTail();
  const CString& GetTail() const;
  CString RemoveHead();
  CString RemoveTail();

  POSITION AddHead(const wchar_t* text);
  POSITION AddTail(const wchar_t* text);
  void AddHead(const CStringList* list);
  void AddTail(const CStringList* list);
  void RemoveAll();

  // Null for an empty list.
  POSITION GetHeadPosition() const;
  POSITION GetTailPosition() const;
  // The element at `pos`, moving `pos` to the next (previous) one, null after the end.
  CString& GetNext(POSITION& pos);
  const CString& GetNext(POSITION& pos) const;
  CString& GetPrev(POSITION& pos);
  const CString& GetPrev(POSITION& pos) const;
  CString& GetAt(POSITION pos);
  const CString& GetAt(POSITION pos) const;
  void SetAt(POSITION pos, const wchar_t* text);
  void RemoveAt(POSITION pos);
  // A null `pos` inserts at the head (before) or the tail (after).
  POSITION InsertBefore(POSITION pos, const wchar_t* text);
  POSITION InsertAfter(POSITION pos, const wchar_t* text);

  // The first element equal to `text` (case-sensitive) after `startAfter` (null:
  // from the head), or null.
  POSITION Find(const wchar_t* text, POSITION startAfter = nullptr) const;
  // The element at index `index` from the head, or null.
  POSITION FindIndex(INT_PTR index) const;

 private:
  struct Node;
  static Node* NodeAt(POSITION pos);
  Node* Link(Node* before, Node* after, const wchar_t* text);
  void Unlink(Node* node);

  Node* m_pHead = nullptr;
  Node* m_pTail = nullptr;
  INT_PTR m_nCount = 0;
};
