// CArray: the framework's growable array, on std::vector. An index outside the
// array raises CInvalidArgException rather than reading beyond it.
#pragma once

#include <vector>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/framework/wintypes.h>

template <class TYPE, class ARG_TYPE = const TYPE&>
class CArray : public CObject {
 public:
  CArray() = default;
  CArray(const CArray&) = default;
  CArray& operator=(const CArray&) = default;

  INT_PTR GetSize() const { return static_cast<INT_PTR>(m_items.size()); }
  INT_PTR GetCount() const { return GetSize(); }
  BOOL IsEmpty() const { return m_items.empty(); }
  INT_PTR GetUpperBound() const { return GetSize() - 1; }
  // `growBy` is accepted for the framework's signature; growth is the vector's.
  void SetSize(INT_PTR newSize, INT_PTR growBy = -1) {
    (void)growBy;
    if (newSize < 0) AfxThrowInvalidArgException();
    m_items.resize(static_cast<std::size_t>(newSize));
  }
  void RemoveAll() { m_items.clear(); }

  const TYPE& GetAt(INT_PTR i) const { return m_items[Checked(i)]; }
  void SetAt(INT_PTR i, ARG_TYPE item) { m_items[Checked(i)] = item; }
  TYPE& ElementAt(INT_PTR i) { return m_items[Checked(i)]; }
  const TYPE& operator[](INT_PTR i) const { return GetAt(i); }
  TYPE& operator[](INT_PTR i) { return ElementAt(i); }
  const TYPE* GetData() const { return m_items.data(); }
  TYPE* GetData() { return m_items.data(); }

  void SetAtGrow(INT_PTR i, ARG_TYPE item) {
    if (i < 0) AfxThrowInvalidArgException();
    if (i >= GetSize()) SetSize(i + 1);
    m_items[static_cast<std::size_t>(i)] = item;
  }
  INT_PTR Add(ARG_TYPE item) {
    m_items.push_back(item);
    return GetUpperBound();
  }
  INT_PTR Append(const CArray& other) {
    const INT_PTR first = GetSize();
    m_items.insert(m_items.end(), other.m_items.begin(), other.m_items.end());
    return first;
  }
  void Copy(const CArray& other) { m_items = other.m_items; }
  void InsertAt(INT_PTR i, ARG_TYPE item, INT_PTR count = 1) {
    if (i < 0 || count < 0) AfxThrowInvalidArgException();
    if (i > GetSize()) SetSize(i);
    m_items.insert(m_items.begin() + i, static_cast<std::size_t>(count), item);
  }
  void RemoveAt(INT_PTR i, INT_PTR count = 1) {
    if (i < 0 || count < 0 || i + count > GetSize()) AfxThrowInvalidArgException();
    m_items.erase(m_items.begin() + i, m_items.begin() + i + count);
  }

 private:
  std::size_t Checked(INT_PTR i) const {
    if (i < 0 || i >= GetSize()) AfxThrowInvalidArgException();
    return static_cast<std::size_t>(i);
  }

  std::vector<TYPE> m_items;
};
