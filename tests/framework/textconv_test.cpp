// framework/textconv.h in the "C", "C.UTF-8" and Turkish locales, which it must
// not depend on: UTF-8 and UTF-16 at the edges of each encoding length, invalid
// bytes and lone surrogates replaced by U+FFFD one for one, UTF-16LE bytes that
// keep lone surrogates, and a seeded walk of mixed valid and invalid text against
// what each piece must give.
#include <random>
#include <utility>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>

#include "support/locales.h"

namespace {

// Runs `check` once in each text locale.
template <typename Check>
void InEveryTextLocale(Check check) {
  for (const char* name : kwtest::kTextLocales) {
    kwtest::ScopedLocale locale(name);
    ASSERT_TRUE(locale.Ok()) << name << " is not generated (scripts/install-deps)";
    SCOPED_TRACE(name);
    check();
  }
}

// Checks in every text locale that `convert` gives each case's output for its input.
template <typename Convert, typename Input, typename Output>
void ExpectConversions(Convert convert, const std::vector<std::pair<Input, Output>>& cases) {
  InEveryTextLocale([&] {
    for (const auto& [input, output] : cases) EXPECT_EQ(convert(input), output) << testing::PrintToString(input);
  });
}

std::wstring Wide(std::initializer_list<char32_t> codes) {
  std::wstring text;
  for (const char32_t c : codes) text += static_cast<wchar_t>(c);
  return text;
}

// Each byte that does not start a complete, valid sequence is one U+FFFD.
TEST(TextConv, Utf8DecodesEachLengthAndReplacesEachInvalidByte) {
  ExpectConversions(kwfw::Utf8ToWide, std::vector<std::pair<std::string, std::wstring>>{
      {"", L""},
      {"\x7F", Wide({0x7F})},
      {"\xC2\x80", Wide({0x80})},
      {"\xDF\xBF", Wide({0x7FF})},
      {"\xE0\xA0\x80", Wide({0x800})},
      {"\xEF\xBF\xBF", Wide({0xFFFF})},
      {"\xF0\x90\x80\x80", Wide({0x10000})},
      {"\xF4\x8F\xBF\xBF", Wide({0x10FFFF})},
      {"\xC0\x80\xED\xA0\x80" "a", Wide({0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 'a'})},  // overlong, surrogate
      {"\xE0\x9F\xBF", Wide({0xFFFD, 0xFFFD, 0xFFFD})},                                 // overlong
      {"\xF0\x8F\xBF\xBF", Wide({0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD})},                     // overlong
      {"\xED\xBF\xBF", Wide({0xFFFD, 0xFFFD, 0xFFFD})},                                 // low surrogate
      {"\xF4\x90\x80\x80", Wide({0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD})},                     // past U+10FFFF
      {"\xF8\x88\x80\x80\x80", Wide({0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD})},         // five-byte form
      {"\xE2\x82" "A", Wide({0xFFFD, 0xFFFD, 'A'})},                                    // cut short
      {"x\xF0\x9F\x98", Wide({'x', 0xFFFD, 0xFFFD, 0xFFFD})},                           // cut by the end
      {"\x80\xBF\xFE\xFF", Wide({0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD})},
  });
}

// Every scalar value is encoded; a surrogate or a value past U+10FFFF (a negative
// wchar_t among them) is U+FFFD.
TEST(TextConv, WideToUtf8EncodesScalarsAndReplacesTheRest) {
  ExpectConversions(kwfw::WideToUtf8, std::vector<std::pair<std::wstring, std::string>>{
      {Wide({0x7F, 0x80}), "\x7F\xC2\x80"},
      {Wide({0x7FF, 0x800}), "\xDF\xBF\xE0\xA0\x80"},
      {Wide({0xFFFF, 0x10000}), "\xEF\xBF\xBF\xF0\x90\x80\x80"},
      {Wide({0x10FFFF}), "\xF4\x8F\xBF\xBF"},
      {Wide({0xD800}), "\xEF\xBF\xBD"},
      {Wide({0xDFFF, 'a'}), "\xEF\xBF\xBD" "a"},
      {Wide({0x110000}), "\xEF\xBF\xBD"},
      {std::wstring(1, static_cast<wchar_t>(-1)), "\xEF\xBF\xBD"},
  });
}

TEST(TextConv, Utf16PairsCharactersPastTheBasicPlaneAndReplacesLoneSurrogates) {
  ExpectConversions(kwfw::WideToUtf16, std::vector<std::pair<std::wstring, std::u16string>>{
      {Wide({0xFFFF}), u"\xFFFF"},
      {Wide({0x10000}), u"\xD800\xDC00"},
      {Wide({0x1F600}), u"\xD83D\xDE00"},
      {Wide({0x10FFFF}), u"\xDBFF\xDFFF"},
      {Wide({0xD800, 0xDC00}), u"\xFFFD\xFFFD"},  // a pair as wide characters is two lone halves
      {Wide({0x110000}), u"\xFFFD"},
  });
  ExpectConversions(kwfw::Utf16ToWide, std::vector<std::pair<std::u16string, std::wstring>>{
      {u"\xD83D\xDE00", Wide({0x1F600})},
      {u"\xDBFF\xDFFF", Wide({0x10FFFF})},
      {u"\xDE00x\xD83D", Wide({0xFFFD, 'x', 0xFFFD})},
      {u"\xDC00\xD800", Wide({0xFFFD, 0xFFFD})},                // the halves the wrong way round
      {u"\xD800\xD83D\xDE00", Wide({0xFFFD, 0x1F600})},         // a high half, then a pair
      {u"\xD800" u"a\xDC00", Wide({0xFFFD, 'a', 0xFFFD})},      // halves apart
  });
}

// UTF-16LE bytes as Windows data holds them: pairs for characters past U+FFFF, a
// lone surrogate kept as the unit it is both ways, U+FFFD for what is no character,
// and an odd last byte left out.
TEST(TextConv, Utf16LeBytesKeepLoneSurrogatesBothWays) {
  const struct {
    std::wstring wide;
    std::string bytes;
  } cases[] = {
      {Wide({'A', 0x1F600, 0xD800, 'z'}), std::string("A\0\x3D\xD8\x00\xDE\x00\xD8z\0", 10)},
      {Wide({0xDC00, 0xD800}), std::string("\x00\xDC\x00\xD8", 4)},  // not a pair the wrong way round
      {Wide({0x20AC, 0xFFFF}), std::string("\xAC\x20\xFF\xFF", 4)},
      {L"", ""},
  };
  InEveryTextLocale([&] {
    for (const auto& c : cases) {
      EXPECT_EQ(kwfw::WideToUtf16Le(c.wide), c.bytes) << testing::PrintToString(c.bytes);
      EXPECT_EQ(kwfw::Utf16LeToWide(c.bytes), c.wide) << testing::PrintToString(c.bytes);
      EXPECT_EQ(kwfw::Utf16LeToWide(c.bytes + "x"), c.wide) << testing::PrintToString(c.bytes);
    }
    EXPECT_EQ(kwfw::WideToUtf16Le(Wide({0x110000})), std::string("\xFD\xFF", 2));
    EXPECT_EQ(kwfw::Utf16LeUnits(std::string("a\0\xAC\x20q", 5)), std::u16string(u"a\u20AC"));
    EXPECT_EQ(kwfw::Utf16LeBytes(u"a\u20AC"), std::string("a\0\xAC\x20", 4));
  });
}

// The one-character calls: the length returned, the units or bytes written, and
// the code point left alone when there is no valid sequence.
TEST(TextConv, SingleCharactersAtTheEdges) {
  InEveryTextLocale([] {
    const struct {
      char32_t code;
      int units;
      char16_t first, second;
      std::string utf8;
    } encodings[] = {{0x41, 1, 0x41, 0x5A5A, "A"},
                     {0xFFFF, 1, 0xFFFF, 0x5A5A, "\xEF\xBF\xBF"},
                     {0x10000, 2, 0xD800, 0xDC00, "\xF0\x90\x80\x80"},
                     {0x10FFFF, 2, 0xDBFF, 0xDFFF, "\xF4\x8F\xBF\xBF"},
                     {0xDFFF, 1, 0xFFFD, 0x5A5A, "\xEF\xBF\xBD"},
                     {0x110000, 1, 0xFFFD, 0x5A5A, "\xEF\xBF\xBD"}};
    for (const auto& e : encodings) {
      char16_t out[2] = {0x5A5A, 0x5A5A};
      EXPECT_EQ(kwfw::EncodeUtf16(static_cast<wchar_t>(e.code), out), e.units) << std::hex << static_cast<unsigned>(e.code);
      EXPECT_EQ(out[0], e.first) << std::hex << static_cast<unsigned>(e.code);
      if (e.units == 2) {
        EXPECT_EQ(out[1], e.second) << std::hex << static_cast<unsigned>(e.code);
      }
      std::string appended = "kept";
      kwfw::AppendUtf8(appended, e.code);
      EXPECT_EQ(appended, "kept" + e.utf8) << std::hex << static_cast<unsigned>(e.code);
    }
    // Then an overlong NUL, an encoded surrogate and a lead cut by the end.
    const std::string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xC0\x80\xED\xA0\x80\xC3";
    const struct {
      std::size_t pos, length;
      char32_t code;
    } decodings[] = {{0, 1, 'a'}, {1, 2, 0xE9}, {3, 3, 0x20AC}, {6, 4, 0x1F600}, {2, 0, 0},
                     {7, 0, 0},   {10, 0, 0},   {12, 0, 0},     {15, 0, 0}};
    for (const auto& d : decodings) {
      char32_t code = 0x5A5A;
      EXPECT_EQ(kwfw::DecodeUtf8(text, d.pos, code), d.length) << d.pos;
      EXPECT_EQ(code, d.length != 0 ? d.code : 0x5A5A) << d.pos;
    }
  });
}

// Text made of pieces whose decoding is known on its own: characters of every
// length, bytes that are never UTF-8 (C0, C1, F5-FF), and sequences cut short,
// each followed by a piece that cannot continue it. Decoded whole, it is the
// pieces' results in order; encoded back, each invalid byte is U+FFFD's three bytes.
TEST(TextConv, MixedTextDecodesPieceByPiece) {
  const std::string lengths[] = {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x7F", "\xF4\x8F\xBF\xBF"};
  const std::wstring decoded[] = {L"a", Wide({0xE9}), Wide({0x20AC}), Wide({0x1F600}), Wide({0x7F}), Wide({0x10FFFF})};
  const std::string never = "\xC0\xC1\xF5\xF8\xFE\xFF";
  const std::string cut[] = {"\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xE2", "\xF0"};
  InEveryTextLocale([&] {
    for (unsigned seed = 1; seed <= 100; ++seed) {
      std::mt19937 rng(seed);
      std::string text, back;
      std::wstring wide;
      for (int piece = 0; piece < 40; ++piece) {
        const unsigned kind = rng() % 3;
        if (kind == 0) {
          const std::size_t i = rng() % std::size(lengths);
          text += lengths[i];
          wide += decoded[i];
          back += lengths[i];
          continue;
        }
        const std::string bytes = kind == 1 ? std::string(1, never[rng() % never.size()]) : cut[rng() % std::size(cut)];
        text += bytes;
        wide.append(bytes.size(), static_cast<wchar_t>(0xFFFD));
        for (std::size_t i = 0; i < bytes.size(); ++i) back += "\xEF\xBF\xBD";
      }
      EXPECT_EQ(kwfw::Utf8ToWide(text), wide) << "seed " << seed;
      EXPECT_EQ(kwfw::WideToUtf8(kwfw::Utf8ToWide(text)), back) << "seed " << seed;
    }
  });
}

}  // namespace
