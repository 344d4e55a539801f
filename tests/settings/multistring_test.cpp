// CMultiString: the buffer form, appending and removing, and the platform-fill
// pattern.
#include <cwchar>
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/settings/multistring.h>

#include "support/throws.h"

namespace {

// The whole buffer, terminators included.
std::wstring Raw(const CMultiString& m) {
  return std::wstring(static_cast<const wchar_t*>(m), static_cast<std::size_t>(m.GetMidaBuffer()));
}

TEST(MultiString, EmptyListAndMeasuring) {
  CMultiString m;
  EXPECT_EQ(m.GetNumStr(), 0);
  EXPECT_EQ(m.GetMidaBuffer(), 2);
  EXPECT_EQ(Raw(m), std::wstring(2, L'\0'));
  m.Afegir(L"");
  EXPECT_EQ(m.GetMidaBuffer(), 2);  // an empty string would end the list: not appended
  m.Set(L"a\0b\0");
  EXPECT_EQ(m.GetNumStr(), 2);
  EXPECT_EQ(m.GetMidaBuffer(), 5);
  EXPECT_STREQ(m[1], L"b");
  CArray<int, int> index;
  EXPECT_EQ(CMultiString::analitzarCadena(L"\0x\0", index), 2);  // the first string is empty
  EXPECT_EQ(index.GetSize(), 0);
  EXPECT_EQ(CMultiString::analitzarCadena(L"ab\0c\0\0d\0", index), 6);  // stops at the first empty string
  EXPECT_EQ(index.GetSize(), 2);
  EXPECT_EQ(index[1], 3);
}

TEST(MultiString, AppendRemoveFind) {
  const wchar_t* three[] = {L"x", L"yy", L"z"};
  CMultiString m(three, 3);
  EXPECT_EQ(Raw(m), std::wstring(L"x\0yy\0z\0\0", 8));
  m += CString(L"w");
  m += L"yy";
  EXPECT_EQ(m.GetNumStr(), 5);
  EXPECT_EQ(m.Buscar(L"yy"), 1);
  EXPECT_EQ(m.Buscar(L"YY"), -1);  // case-sensitive
  m.Treure(L"yy");                 // the first one only
  EXPECT_EQ(Raw(m), std::wstring(L"x\0z\0w\0yy\0\0", 10));
  m.Treure(5);  // outside the list: nothing
  EXPECT_EQ(m.GetNumStr(), 4);
  m.Treure(0);
  EXPECT_STREQ(m.GetCadena(0), L"z");
  EXPECT_TRUE(kwtest::Throws<CInvalidArgException>([&] { (void)m.GetCadena(3); }));
  EXPECT_TRUE(kwtest::Throws<CInvalidArgException>([&] { (void)m[-1]; }));

  CMultiString copy(m);
  copy += m;  // appending a list to a copy of itself
  EXPECT_EQ(copy.GetNumStr(), 6);
  copy = static_cast<const wchar_t*>(copy);  // a list set from its own buffer
  EXPECT_EQ(copy.GetNumStr(), 6);
  const wchar_t* withEmpty[] = {L"a", L"", L"b"};
  CMultiString kept;
  kept.Afegir(withEmpty, 3);  // empty strings inside one call are kept
  EXPECT_EQ(kept.GetNumStr(), 3);
  kept.Buidar();
  EXPECT_EQ(kept.GetMidaBuffer(), 2);
}

TEST(MultiString, FilledByAPlatformCall) {
  CMultiString m;
  wchar_t* buffer = m.GetBuffer(16);
  std::wmemcpy(buffer, L"one\0two\0\0", 9);
  m.ReleaseBuffer();
  EXPECT_EQ(m.GetNumStr(), 2);
  EXPECT_EQ(m.GetMidaBuffer(), 9);
  // A buffer filled to its end without the final terminator is closed, not overrun.
  buffer = m.GetBuffer(16);
  std::wmemset(buffer, L'q', 16);
  m.ReleaseBuffer();
  EXPECT_EQ(m.GetNumStr(), 1);
  EXPECT_EQ(std::wcslen(m[0]), 14u);
}

}  // namespace
