#include "multistring.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <vector>

namespace {

constexpr wchar_t kEmptyList[] = {0, 0};

}  // namespace

CMultiString::CMultiString(const wchar_t** cadenes, int n) {
  Set(nullptr);
  if (n >= 1 && cadenes != nullptr) Afegir(cadenes, n);
}

CMultiString::CMultiString(const wchar_t* buffer) { Set(buffer); }

CMultiString::CMultiString(const CMultiString& other) { Set(other.m_pBuffer); }

CMultiString::~CMultiString() { std::free(m_pBuffer); }

CMultiString& CMultiString::operator=(const CMultiString& other) {
  if (this != &other) Set(other.m_pBuffer);
  return *this;
}

CMultiString& CMultiString::operator=(const wchar_t* buffer) {
  Set(buffer);
  return *this;
}

wchar_t* CMultiString::allocBuffer(int n, const wchar_t* font) {
  auto* p = static_cast<wchar_t*>(std::malloc(static_cast<std::size_t>(n > 0 ? n : 1) * sizeof(wchar_t)));
  if (p == nullptr) AfxThrowMemoryException();
  if (font != nullptr) std::wmemcpy(p, font, static_cast<std::size_t>(n));
  return p;
}

wchar_t* CMultiString::reallocBuffer(int n, wchar_t* p) {
  auto* q = static_cast<wchar_t*>(std::realloc(p, static_cast<std::size_t>(n > 0 ? n : 1) * sizeof(wchar_t)));
  if (q == nullptr) AfxThrowMemoryException();
  return q;
}

int CMultiString::analitzarCadena(const wchar_t* buffer, CArray<int, int>& index) {
  index.RemoveAll();
  if (buffer == nullptr) return 2;
  int pos = 0;
  while (buffer[pos] != 0) {
    index.Add(pos);
    pos += static_cast<int>(std::wcslen(buffer + pos)) + 1;
  }
  return pos + 1 > 2 ? pos + 1 : 2;
}

void CMultiString::Set(const wchar_t* buffer) {
  CArray<int, int> index;
  const int length = analitzarCadena(buffer, index);
  // The copy is made before the old buffer goes, so that a buffer of this very
  // list can be set again.
  wchar_t* copy = allocBuffer(length, buffer != nullptr && buffer[0] != 0 ? buffer : kEmptyList);
  std::free(m_pBuffer);
  m_pBuffer = copy;
  m_nMida = m_nCapacitat = length;
  m_index = index;
}

void CMultiString::Afegir(const wchar_t* text) {
  if (text == nullptr || text[0] == 0) return;
  Afegir(&text, 1);
}

void CMultiString::Afegir(const wchar_t** cadenes, int n) {
  if (n < 1 || cadenes == nullptr) return;
  // The new strings start where the list's final empty string stands.
  int pos = GetNumStr() == 0 ? 0 : m_nMida - 1;
  int needed = pos + 1;
  for (int i = 0; i < n; ++i) needed += static_cast<int>(std::wcslen(cadenes[i] != nullptr ? cadenes[i] : L"")) + 1;
  // The strings may lie in this very buffer: copy them before it moves.
  std::vector<std::wstring> texts;
  texts.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) texts.emplace_back(cadenes[i] != nullptr ? cadenes[i] : L"");
  if (needed > m_nCapacitat) {
    // Room for as much again: a list built one string at a time is copied a
    // bounded number of times, not once per string.
    const int room = needed > INT_MAX / 2 ? needed : std::max(needed, 2 * m_nCapacitat);
    m_pBuffer = reallocBuffer(room, m_pBuffer);
    m_nCapacitat = room;
  }
  for (const std::wstring& text : texts) {
    m_index.Add(pos);
    std::wmemcpy(m_pBuffer + pos, text.c_str(), text.size() + 1);
    pos += static_cast<int>(text.size()) + 1;
  }
  m_pBuffer[pos] = 0;
  m_nMida = pos + 1;
}

CMultiString& CMultiString::operator+=(const wchar_t* text) {
  Afegir(text);
  return *this;
}

CMultiString& CMultiString::operator+=(const CString& text) {
  Afegir(text.GetString());
  return *this;
}

CMultiString& CMultiString::operator+=(const CMultiString& other) {
  std::vector<const wchar_t*> strings;
  for (int i = 0; i < other.GetNumStr(); ++i) strings.push_back(other.GetCadena(i));
  Afegir(strings.data(), static_cast<int>(strings.size()));
  return *this;
}

void CMultiString::Treure(int i) {
  if (i < 0 || i >= GetNumStr()) return;
  const CMultiString copy(*this);
  Buidar();
  std::vector<const wchar_t*> rest;
  for (int k = 0; k < copy.GetNumStr(); ++k) {
    if (k != i) rest.push_back(copy.GetCadena(k));
  }
  Afegir(rest.data(), static_cast<int>(rest.size()));
}

void CMultiString::Treure(const wchar_t* text) { Treure(Buscar(text)); }

int CMultiString::Buscar(const wchar_t* text) const {
  if (text == nullptr) return -1;
  for (int i = 0; i < GetNumStr(); ++i) {
    if (std::wcscmp(GetCadena(i), text) == 0) return i;
  }
  return -1;
}

void CMultiString::Buidar() { Set(nullptr); }

const wchar_t* CMultiString::GetCadena(int i) const { return m_pBuffer + m_index.GetAt(i); }

wchar_t* CMultiString::GetBuffer(int n) {
  if (n > m_nCapacitat) {
    m_pBuffer = reallocBuffer(n, m_pBuffer);
    m_nCapacitat = n;
  }
  return m_pBuffer;
}

void CMultiString::ReleaseBuffer() {
  // A buffer the platform call left without its final terminator is closed here
  // rather than read past its end.
  if (m_nCapacitat >= 2) {
    m_pBuffer[m_nCapacitat - 1] = 0;
    m_pBuffer[m_nCapacitat - 2] = 0;
  }
  m_nMida = analitzarCadena(m_pBuffer, m_index);
  if (GetNumStr() == 0 && m_nCapacitat >= 2) m_pBuffer[1] = 0;
}
