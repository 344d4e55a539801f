// CString and CStringA: the members whose edge rules clients rely on.
#include <gtest/gtest.h>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/exception.h>

#include "support/locales.h"
#include "support/throws.h"

namespace {

using kwtest::Throws;

TEST(CString, ExtractionClampsLikeTheFramework) {
  const CString s(L"abcdef");
  EXPECT_EQ(s.Left(2), L"ab");
  EXPECT_EQ(s.Left(-1), L"");
  EXPECT_EQ(s.Left(99), L"abcdef");
  EXPECT_EQ(s.Right(2), L"ef");
  EXPECT_EQ(s.Right(99), L"abcdef");
  EXPECT_EQ(s.Mid(2), L"cdef");
  EXPECT_EQ(s.Mid(2, 2), L"cd");
  EXPECT_EQ(s.Mid(-3, 2), L"ab");
  EXPECT_EQ(s.Mid(4, 99), L"ef");
  EXPECT_EQ(s.Mid(99), L"");
  EXPECT_EQ(s.SpanIncluding(L"abc"), L"abc");
  EXPECT_EQ(s.SpanExcluding(L"dx"), L"abc");
}

TEST(CString, Search) {
  const CString s(L"a/b/c");
  EXPECT_EQ(s.Find(L'/'), 1);
  EXPECT_EQ(s.Find(L'/', 2), 3);
  EXPECT_EQ(s.Find(L'/', 5), -1);
  EXPECT_EQ(s.Find(L"b/"), 2);
  EXPECT_EQ(s.Find(L"", 5), 5);
  EXPECT_EQ(s.Find(static_cast<const wchar_t*>(nullptr)), -1);
  EXPECT_EQ(s.ReverseFind(L'/'), 3);
  EXPECT_EQ(s.ReverseFind(L'x'), -1);
  EXPECT_EQ(s.FindOneOf(L"cb"), 2);
}

TEST(CString, EditingMembers) {
  CString s(L"  \t hello world \r\n");
  EXPECT_EQ(s.Trim(), L"hello world");
  s = L"xxhixx";
  EXPECT_EQ(s.TrimLeft(L'x'), L"hixx");
  EXPECT_EQ(s.TrimRight(L"x"), L"hi");
  s = L"a.b.c";
  EXPECT_EQ(s.Replace(L'.', L'/'), 2);
  EXPECT_EQ(s, L"a/b/c");
  EXPECT_EQ(s.Replace(L"/", L"::"), 2);
  EXPECT_EQ(s, L"a::b::c");
  EXPECT_EQ(s.Replace(L"", L"x"), 0);
  EXPECT_EQ(s.Remove(L':'), 4);
  EXPECT_EQ(s.Insert(1, L"-"), 4);
  EXPECT_EQ(s.Insert(99, L'!'), 5);
  EXPECT_EQ(s, L"a-bc!");
  EXPECT_EQ(s.Delete(1, 99), 1);
  EXPECT_EQ(s, L"a");
}

TEST(CString, CaseMappingAndComparisonAreUnicode) {
  CString s(L"\u00E9cole \u03A3");
  EXPECT_EQ(s.MakeUpper(), L"\u00C9COLE \u03A3");
  EXPECT_EQ(s.MakeLower(), L"\u00E9cole \u03C3");
  EXPECT_EQ(CString(L"\u00C9COLE").CompareNoCase(L"\u00E9cole"), 0);
  EXPECT_LT(CString(L"B").Compare(L"a"), 0);  // code-unit order: upper case first
  EXPECT_GT(CString(L"b").CompareNoCase(L"A"), 0);
  EXPECT_EQ(CString(L"").Compare(nullptr), 0);
  CStringA n("caf\xC3\xA9\xFF");
  EXPECT_STREQ(n.MakeUpper(), "CAF\xC3\x89\xFF");  // invalid bytes are kept
  EXPECT_LT(CStringA("\x7F").Compare("\xC3\xA9"), 0);  // bytes compare unsigned
}

TEST(CString, CompareNoCaseFollowsTheLibraryFold) {
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    EXPECT_EQ(CString(L"DONN\u00C9ES").CompareNoCase(L"donn\u00E9es"), 0) << locale;
    EXPECT_NE(CString(L"\u0130stanbul").CompareNoCase(L"istanbul"), 0) << locale;
    EXPECT_NE(CString(L"\u0131").CompareNoCase(L"I"), 0) << locale;
    EXPECT_EQ(CString(L"\u1E9E").CompareNoCase(L"\u00DF"), 0) << locale;
    EXPECT_NE(CStringA("\xC4\xB0").CompareNoCase("i"), 0) << locale;
  }
}

TEST(CString, BufferProtocol) {
  CString s(L"abc");
  wchar_t* p = s.GetBuffer(10);
  wcscpy(p, L"0123456");
  s.ReleaseBuffer();
  EXPECT_EQ(s, L"0123456");
  p = s.GetBufferSetLength(3);
  p[0] = L'X';
  s.ReleaseBuffer(2);
  EXPECT_EQ(s, L"X1");
  EXPECT_TRUE(Throws<CInvalidArgException>([&] { s.ReleaseBuffer(50); }));
}

TEST(CString, BadArgumentsRaiseInvalidArg) {
  CString s(L"ab");
  EXPECT_EQ(s.GetAt(2), L'\0');  // the terminator is readable
  EXPECT_TRUE(Throws<CInvalidArgException>([&] { (void)s.GetAt(3); }));
  EXPECT_TRUE(Throws<CInvalidArgException>([&] { s.SetAt(2, L'x'); }));
  EXPECT_TRUE(Throws<CInvalidArgException>([&] { s.Format(nullptr); }));
  EXPECT_TRUE(Throws<CInvalidArgException>([&] { CString t(nullptr, 3); }));
}

TEST(CString, WidthsConvertThroughUtf8) {
  const CString wide("gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");
  EXPECT_EQ(wide, L"gr\u00FC\u00DF \U0001F600");
  const CStringA back(wide);
  EXPECT_STREQ(back, "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");
  EXPECT_EQ(CString(static_cast<const char*>(nullptr)), L"");
  EXPECT_EQ(CString(L"a\0b", 3).GetLength(), 3);
  EXPECT_EQ(CString(L'z', 3), L"zzz");
  EXPECT_EQ(CString(L"x") + L"y" + CString(L"z") + L'!', L"xyz!");
}

}  // namespace
