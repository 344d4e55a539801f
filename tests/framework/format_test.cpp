// The Windows printf conventions: which argument width a conversion takes, the
// Windows-only size prefixes, and how strings are cut and padded.
#include <climits>
#include <gtest/gtest.h>

#include <kwlib63/framework/cstring.h>

namespace {

template <typename... Args>
std::wstring W(const wchar_t* format, Args... args) {
  CString s;
  s.Format(format, args...);
  return s.GetString();
}

template <typename... Args>
std::string N(const char* format, Args... args) {
  CStringA s;
  s.Format(format, args...);
  return s.GetString();
}

TEST(Format, StringWidthsFollowTheWindowsConvention) {
  EXPECT_EQ(W(L"%s|%S", L"wide", "narrow"), L"wide|narrow");
  EXPECT_EQ(W(L"%hs|%ls|%ws", "n", L"w", L"w2"), L"n|w|w2");
  EXPECT_EQ(N("%s|%S", "narrow", L"wide"), "narrow|wide");
  EXPECT_EQ(N("%hs|%ls", "n", L"w"), "n|w");
  EXPECT_EQ(W(L"%c%C%hc%lc", L'a', 'b', 'c', L'd'), L"abcd");
  EXPECT_EQ(N("%c%C", 'a', L'b'), "ab");
}

TEST(Format, NonAsciiTextCrossesWidthsAsUtf8) {
  EXPECT_EQ(W(L"%S", "caf\xC3\xA9"), L"caf\u00E9");
  EXPECT_EQ(N("%S", L"caf\u00E9 \U0001F600"), "caf\xC3\xA9 \xF0\x9F\x98\x80");
  EXPECT_EQ(W(L"%S", "bad\xFF"), L"bad\uFFFD");
  EXPECT_EQ(N("%C", L'\u00E9'), "\xC3\xA9");
}

TEST(Format, NullStringsAndPrecisionAndPadding) {
  EXPECT_EQ(W(L"[%s]", static_cast<const wchar_t*>(nullptr)), L"[(null)]");
  EXPECT_EQ(N("[%S]", static_cast<const wchar_t*>(nullptr)), "[(null)]");
  EXPECT_EQ(W(L"[%5s][%-5s][%.2s][%5.1s]", L"ab", L"ab", L"abc", L"xyz"), L"[   ab][ab   ][ab][    x]");
  EXPECT_EQ(W(L"[%*s][%-*s]", 4, L"a", 3, L"b"), L"[   a][b  ]");
  EXPECT_EQ(W(L"[%*s]", -3, L"a"), L"[a  ]");
  // A precision never cuts a UTF-8 sequence, and never reads past it.
  EXPECT_EQ(N("[%.2S]", L"\u00E9\u00E9"), "[\xC3\xA9]");
  const char unterminated[3] = {'a', 'b', 'c'};
  EXPECT_EQ(N("%.3s", unterminated), "abc");
}

TEST(Format, IntegersWithWindowsAndCSizes) {
  EXPECT_EQ(W(L"%I64d|%I64u|%I64x|%I64X", LLONG_MIN, ULLONG_MAX, 255ULL, 255ULL),
            L"-9223372036854775808|18446744073709551615|ff|FF");
  EXPECT_EQ(W(L"%I32d|%Id|%Iu", -5, static_cast<std::ptrdiff_t>(-6), static_cast<std::size_t>(7)), L"-5|-6|7");
  EXPECT_EQ(W(L"%d|%i|%u|%x|%X|%o", -1, 2, 3u, 0xabu, 0xabu, 8u), L"-1|2|3|ab|AB|10");
  EXPECT_EQ(W(L"%ld|%lu|%lld|%hd|%hhu", -1L, 2UL, 3LL, 65537, 257), L"-1|2|3|1|1");
  EXPECT_EQ(W(L"[%05d][%-4d][%+d][% d][%#x]", 42, 7, 3, 3, 255), L"[00042][7   ][+3][ 3][0xff]");
}

TEST(Format, FloatsPointersAndLiterals) {
  EXPECT_EQ(W(L"%.2f|%e|%g|%5.1f", 3.14159, 1.5, 0.0001, 2.25), L"3.14|1.500000e+00|0.0001|  2.2");
  EXPECT_EQ(W(L"%p", reinterpret_cast<void*>(0x1234ABCD)), L"000000001234ABCD");
  EXPECT_EQ(W(L"100%% %y done"), L"100% %y done");
  EXPECT_EQ(W(L"cut %"), L"cut %");
  EXPECT_EQ(W(L"cut %-5"), L"cut %-5");
  int written = -1;
  EXPECT_EQ(W(L"a%nb", &written), L"ab");
  EXPECT_EQ(written, -1);  // %n never writes
}

}  // namespace
