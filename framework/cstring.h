// CString (wide) and CStringA (narrow, UTF-8): the framework's string classes,
// the subset of their interface that the library and its clients use.
// Indexes and lengths are in code units. Converting between the two widths goes
// through UTF-8. Exhausted memory raises CMemoryException; an index outside the
// string raises CInvalidArgException.
#pragma once

#include <compare>
#include <cstdarg>
#include <string>
#include <string_view>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

template <typename CharT>
class KW_API CStringT {
 public:
  using XCHAR = CharT;
  using YCHAR = std::conditional_t<sizeof(CharT) == 1, wchar_t, char>;
  using PXSTR = XCHAR*;
  using PCXSTR = const XCHAR*;

  CStringT() = default;
  CStringT(const CStringT& other);
  CStringT(CStringT&& other) noexcept = default;
  CStringT(PCXSTR text);                    // null gives an empty string
  CStringT(const YCHAR* text);              // converted; null gives an empty string
  CStringT(PCXSTR text, int length);        // `length` units, embedded zeros kept
  explicit CStringT(XCHAR ch, int repeat = 1);
  explicit CStringT(std::basic_string_view<XCHAR> text);
  ~CStringT() = default;

  CStringT& operator=(const CStringT& other);
  CStringT& operator=(CStringT&& other) noexcept = default;
  CStringT& operator=(PCXSTR text);
  CStringT& operator=(const YCHAR* text);
  CStringT& operator=(XCHAR ch);

  CStringT& operator+=(const CStringT& other);
  CStringT& operator+=(PCXSTR text);
  CStringT& operator+=(XCHAR ch);
  void Append(PCXSTR text, int length);
  void AppendChar(XCHAR ch) { *this += ch; }

  int GetLength() const { return static_cast<int>(m_str.size()); }
  bool IsEmpty() const { return m_str.empty(); }
  void Empty() { m_str.clear(); }
  PCXSTR GetString() const { return m_str.c_str(); }
  operator PCXSTR() const { return m_str.c_str(); }
  // The unit at `index`; index == GetLength() gives the terminating zero.
  XCHAR GetAt(int index) const;
  XCHAR operator[](int index) const { return GetAt(index); }
  void SetAt(int index, XCHAR ch);

  CStringT Left(int count) const;
  CStringT Right(int count) const;
  CStringT Mid(int first) const;
  CStringT Mid(int first, int count) const;
  CStringT SpanIncluding(PCXSTR charSet) const;
  CStringT SpanExcluding(PCXSTR charSet) const;

  // Indexes of the first or last match, or -1.
  int Find(XCHAR ch, int start = 0) const;
  int Find(PCXSTR sub, int start = 0) const;
  int ReverseFind(XCHAR ch) const;
  int FindOneOf(PCXSTR charSet) const;

  CStringT& MakeUpper();
  CStringT& MakeLower();
  CStringT& MakeReverse();
  CStringT& Trim();
  CStringT& Trim(XCHAR target);
  CStringT& Trim(PCXSTR targets);
  CStringT& TrimLeft();
  CStringT& TrimLeft(XCHAR target);
  CStringT& TrimLeft(PCXSTR targets);
  CStringT& TrimRight();
  CStringT& TrimRight(XCHAR target);
  CStringT& TrimRight(PCXSTR targets);

  int Replace(XCHAR oldCh, XCHAR newCh);
  int Replace(PCXSTR oldText, PCXSTR newText);
  int Remove(XCHAR ch);
  int Insert(int index, XCHAR ch);
  int Insert(int index, PCXSTR text);
  int Delete(int index, int count = 1);

  // Code-unit order; CompareNoCase compares the simple case foldings
  // (kwfw::CompareNoCase), whatever the locale.
  int Compare(PCXSTR other) const;
  int CompareNoCase(PCXSTR other) const;

  // A writable buffer of at least `minLength` units plus a terminator. The length
  // is undefined until ReleaseBuffer, which takes it from `newLength` or, when that
  // is -1, from the first zero.
  PXSTR GetBuffer();
  PXSTR GetBuffer(int minLength);
  PXSTR GetBufferSetLength(int length);
  void ReleaseBuffer(int newLength = -1);
  void ReleaseBufferSetLength(int newLength) { ReleaseBuffer(newLength); }

  // printf-style formatting with the Windows conventions (see framework/format.h).
  // A null format raises CInvalidArgException.
  void Format(PCXSTR format, ...);
  void FormatV(PCXSTR format, va_list args);
  void AppendFormat(PCXSTR format, ...);
  void AppendFormatV(PCXSTR format, va_list args);

  const std::basic_string<XCHAR>& StdString() const { return m_str; }

 private:
  std::basic_string<XCHAR> m_str;
};

using CString = CStringT<wchar_t>;
using CStringW = CString;
using CStringA = CStringT<char>;

extern template class CStringT<wchar_t>;
extern template class CStringT<char>;

template <typename CharT>
CStringT<CharT> operator+(const CStringT<CharT>& a, const CStringT<CharT>& b) {
  CStringT<CharT> r(a);
  r += b;
  return r;
}
template <typename CharT>
CStringT<CharT> operator+(const CStringT<CharT>& a, const CharT* b) {
  CStringT<CharT> r(a);
  r += b;
  return r;
}
template <typename CharT>
CStringT<CharT> operator+(const CharT* a, const CStringT<CharT>& b) {
  CStringT<CharT> r(a);
  r += b;
  return r;
}
template <typename CharT>
CStringT<CharT> operator+(const CStringT<CharT>& a, CharT b) {
  CStringT<CharT> r(a);
  r += b;
  return r;
}
template <typename CharT>
CStringT<CharT> operator+(CharT a, const CStringT<CharT>& b) {
  CStringT<CharT> r(a);
  r += b;
  return r;
}

template <typename CharT>
bool operator==(const CStringT<CharT>& a, const CStringT<CharT>& b) {
  return a.StdString() == b.StdString();
}
template <typename CharT>
bool operator==(const CStringT<CharT>& a, const CharT* b) {
  return a.Compare(b) == 0;
}
template <typename CharT>
bool operator==(const CharT* a, const CStringT<CharT>& b) {
  return b.Compare(a) == 0;
}
template <typename CharT>
auto operator<=>(const CStringT<CharT>& a, const CStringT<CharT>& b) {
  return a.Compare(b) <=> 0;
}
template <typename CharT>
auto operator<=>(const CStringT<CharT>& a, const CharT* b) {
  return a.Compare(b) <=> 0;
}
