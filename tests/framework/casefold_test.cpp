// The library's case fold: the same answers in every locale, with the Unicode
// default for the Turkish i's and the sharp s.
#include <gtest/gtest.h>

#include <string>

#include <kwlib63/framework/casefold.h>

#include "support/locales.h"

namespace {

struct Pair {
  std::wstring a, b;
  bool equal;
};

const Pair kPairs[] = {
    {L"donn\u00E9es", L"DONN\u00C9ES", true},
    {L"\u00C9t\u00E9", L"\u00C9T\u00C9", true},
    {L"\u03A9mega", L"\u03C9MEGA", true},
    {L"\u2126", L"\u03C9", true},            // ohm sign
    {L"\u212A", L"k", true},                 // kelvin sign
    {L"\u01C5", L"\u01C4", true},            // title-case DZ with caron
    {L"\u01C5", L"\u01C6", true},
    {L"\u0424\u0430\u0439\u043B", L"\u0444\u0410\u0419\u041B", true},  // Cyrillic
    {L"\u0401", L"\u0451", true},
    {L"\u03C3", L"\u03C2", true},            // final sigma
    {L"I", L"i", true},
    {L"\u0130", L"i", false},                // dotted capital I
    {L"\u0130", L"I", false},
    {L"\u0131", L"I", false},                // dotless small i
    {L"\u0131", L"i", false},
    {L"\u0130", L"\u0131", false},
    {L"\u1E9E", L"\u00DF", true},            // capital and small sharp s
    {L"\u00DF", L"ss", false},
    {L"stra\u00DFe", L"STRASSE", false},
    {L"\u1F88", L"\u1F80", true},            // alpha with psili and ypogegrammeni
    {L"abc", L"abcd", false},
};

TEST(CaseFold, SameAnswersInEveryLocale) {
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    for (const Pair& p : kPairs) {
      EXPECT_EQ(kwfw::EqualNoCase(p.a, p.b), p.equal) << locale << " pair " << (&p - kPairs);
      EXPECT_EQ(kwfw::EqualNoCase(p.b, p.a), p.equal) << locale;
      EXPECT_EQ(kwfw::FoldCase(p.a) == kwfw::FoldCase(p.b), p.equal) << locale;
    }
  }
}

TEST(CaseFold, OneCharacterForOne) {
  struct {
    wchar_t in, out;
  } cases[] = {{L'A', L'a'},         {L'z', L'z'},         {L'\u00C9', L'\u00E9'}, {L'\u03A9', L'\u03C9'},
               {L'\u0130', L'\u0130'}, {L'\u0131', L'\u0131'}, {L'\u00DF', L'\u00DF'}, {L'\u1E9E', L'\u00DF'},
               {L'\u01C5', L'\u01C6'}, {L'\u0416', L'\u0436'}, {L'\u0149', L'\u0149'}, {L'\uFB00', L'\uFB00'},
               {static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0xD800)},
               {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(0x110000)}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    for (const auto& c : cases) EXPECT_EQ(kwfw::FoldCase(c.in), c.out) << locale << " U+" << std::hex << static_cast<unsigned>(c.in);
  }
}

TEST(CaseFold, HashAndEqualityForUnorderedKeys) {
  const kwfw::NoCaseHash hash;
  const kwfw::NoCaseEqual equal;
  for (const Pair& p : kPairs) {
    EXPECT_EQ(equal(p.a, p.b), p.equal) << (&p - kPairs);
    if (p.equal) {
      EXPECT_EQ(hash(p.a), hash(p.b)) << (&p - kPairs);
    }
  }
  EXPECT_NE(hash(L"\u00E9"), hash(L"e"));
}

TEST(CaseFold, OrdersByFoldedCodePoints) {
  EXPECT_LT(kwfw::CompareNoCase(std::wstring_view(L"a"), std::wstring_view(L"B")), 0);
  EXPECT_GT(kwfw::CompareNoCase(std::wstring_view(L"\u00C9"), std::wstring_view(L"z")), 0);
  EXPECT_LT(kwfw::CompareNoCase(std::wstring_view(L"\u00E9"), std::wstring_view(L"\u00C9a")), 0);
  EXPECT_EQ(kwfw::CompareNoCase(std::wstring_view(L""), std::wstring_view(L"")), 0);
}

TEST(CaseFold, Utf8Text) {
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    EXPECT_TRUE(kwfw::EqualNoCase(std::string_view("donn\xC3\xA9" "es"), std::string_view("DONN\xC3\x89" "ES"))) << locale;
    EXPECT_FALSE(kwfw::EqualNoCase(std::string_view("\xC4\xB1"), std::string_view("I"))) << locale;
    EXPECT_EQ(kwfw::FoldCase(std::string_view("\xC3\x89t\xC3\xA9\xFF")), "\xC3\xA9t\xC3\xA9\xFF") << locale;
    // An invalid byte matches only itself.
    EXPECT_FALSE(kwfw::EqualNoCase(std::string_view("\xC9"), std::string_view("\xC3\x89"))) << locale;
    EXPECT_TRUE(kwfw::EqualNoCase(std::string_view("a\xFF"), std::string_view("A\xFF"))) << locale;
  }
}

}  // namespace
