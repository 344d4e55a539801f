// The Windows printf conventions: which argument width a conversion takes, the
// Windows-only size prefixes, and how strings are cut and padded.
#include <cfenv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/textconv.h>

#include "support/locales.h"

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

// Fixed-point numbers are written without the C library in the usual case: the
// digits and the decimal point must still be the C library's, in locales with a
// point and with a comma, for random values, ties and extremes, in both widths.
TEST(Format, FixedPointAsTheCLibraryWritesIt) {
  const unsigned seed = std::random_device{}();
  std::mt19937_64 rng(seed);
  std::vector<double> values = {0.0, -0.0, 0.5, 1.5, 2.5, 0.125, -0.375, 2.675, 1e300, -1e-300, 5e-324, 123456789.987654321};
  for (int i = 0; i < 3000; ++i) {
    std::uint64_t bits = rng();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    if (v == v && v - v == 0) values.push_back(v);
    values.push_back(static_cast<double>(static_cast<long long>(rng() % 2000001) - 1000000) / static_cast<double>(1 << (rng() % 12)));
  }
  for (const char* name : {"C", "C.UTF-8", "tr_TR.UTF-8", "fr_FR.UTF-8"}) {
    kwtest::ScopedLocale locale(name);
    if (!locale.Ok()) continue;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const int precision = static_cast<int>(i % 18);
      char want[512];
      std::snprintf(want, sizeof want, "%.*f", precision, values[i]);
      ASSERT_EQ(N("%.*f", precision, values[i]), want) << name << ", seed " << seed;
      ASSERT_EQ(W(L"%.*f", precision, values[i]), kwfw::Utf8ToWide(want)) << name << ", seed " << seed;
    }
    char want[64];
    std::snprintf(want, sizeof want, "%f|%F|%.0f", 3.25, -7.5, 2.5);
    EXPECT_EQ(N("%f|%F|%.0f", 3.25, -7.5, 2.5), want) << name;
  }
  // Under another rounding mode too, as the C library rounds.
  for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    for (const double v : {0.125, -0.125, 1.0 / 3.0, 2.5, -2.5}) {
      char want[64];
      std::snprintf(want, sizeof want, "%.2f|%5.2f|%.0f", v, v, v);
      EXPECT_EQ(N("%.2f|%5.2f|%.0f", v, v, v), want) << "mode " << mode << ", " << v;
    }
    std::fesetround(FE_TONEAREST);
  }
}

// A format from a destructor run at exit, after the thread's own buffers are gone.
TEST(Format, FromADestructorAtExit) {
  EXPECT_EXIT(
      {
        static struct AtExit {
          ~AtExit() {
            CString s;
            s.Format(L"closing %d files", 3);
            std::_Exit(std::wstring(s.GetString()) == L"closing 3 files" ? 0 : 1);
          }
        } atExit;
        CString warm;
        warm.Format(L"%s", std::wstring(100, L'x').c_str());  // the thread's buffer, on the heap, goes at exit
        std::exit(2);
      },
      ::testing::ExitedWithCode(0), "");
}

// A formatted text may take the string's own text as an argument, and a very long
// one leaves nothing behind for the next.
TEST(Format, OwnTextAsArgumentAndLongTexts) {
  CString s(L"abc");
  s.Format(L"%s-%s", s.GetString(), s.GetString());
  EXPECT_EQ(std::wstring(s.GetString()), L"abc-abc");
  const std::string big(100000, 'x');
  s.Format(L"%S%d", big.c_str(), 7);
  EXPECT_EQ(s.GetLength(), 100001);
  s.Format(L"%S|%S", "d\xC3\xA9j\xC3\xA0", "bad\xFF" "byte");
  EXPECT_EQ(std::wstring(s.GetString()), L"d\u00E9j\u00E0|bad\uFFFDbyte");
}

}  // namespace
