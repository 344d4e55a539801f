// CMultiString: a list of strings kept in the Windows multi-string form (each
// string closed by a zero, the whole closed by an empty string), so that the same
// buffer goes to and comes back from the profile and registry functions; an index
// of start positions gives direct access to each string.
#pragma once

#include <kwlib63/framework/array.h>
#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>

class KW_API CMultiString {
 public:
  CMultiString(const wchar_t** cadenes = nullptr, int n = 0);
  // A copy of a multi-string buffer (measured by analitzarCadena).
  CMultiString(const wchar_t* buffer);
  CMultiString(const CMultiString& other);
  ~CMultiString();
  CMultiString& operator=(const CMultiString& other);
  CMultiString& operator=(const wchar_t* buffer);

  void Set(const wchar_t* buffer);
  // Appends at the end. A single empty string is not appended (it would end the
  // list); within several strings, empty ones are kept.
  void Afegir(const wchar_t* text);
  void Afegir(const wchar_t** cadenes, int n);
  CMultiString& operator+=(const wchar_t* text);
  CMultiString& operator+=(const CString& text);
  CMultiString& operator+=(const CMultiString& other);
  // Removes the i-th string; an index outside the list removes nothing.
  void Treure(int i);
  // Removes the first string equal to `text` (case-sensitive).
  void Treure(const wchar_t* text);
  // The index of the first string equal to `text` (case-sensitive), or -1.
  int Buscar(const wchar_t* text) const;
  void Buidar();

  int GetNumStr() const { return static_cast<int>(m_index.GetSize()); }
  // Characters of the buffer, every terminator counted.
  int GetMidaBuffer() const { return m_nMida; }
  // The i-th string; an index outside the list raises CInvalidArgException.
  const wchar_t* GetCadena(int i) const;
  const wchar_t* operator[](int i) const { return GetCadena(i); }
  operator const wchar_t*() const { return m_pBuffer; }

  // A buffer of at least `n` characters for a platform call to fill; ReleaseBuffer
  // then takes its content as the list.
  wchar_t* GetBuffer(int n);
  void ReleaseBuffer();

  // Records the start of each string of `buffer` in `index` and returns the
  // buffer's length: the position after the first empty string, and 2 for a buffer
  // whose first string is empty.
  static int analitzarCadena(const wchar_t* buffer, CArray<int, int>& index);

 protected:
  // Raise CMemoryException when memory is exhausted.
  static wchar_t* allocBuffer(int n, const wchar_t* font);
  static wchar_t* reallocBuffer(int n, wchar_t* p);

 private:
  wchar_t* m_pBuffer = nullptr;
  int m_nMida = 0;
  int m_nCapacitat = 0;  // characters allocated, at least m_nMida
  CArray<int, int> m_index;
};
