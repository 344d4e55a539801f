// Decoders of outside input never read past its end: every input sits against an
// inaccessible page, so reading one byte further faults. Each is tried at every
// length from 0 to 64 (the zero-terminated forms with their terminator after that).
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/settings/blocopcions.h>
#include <kwlib63/settings/multistring.h>
#include <kwlib63/settings/pathstring.h>
#include <kwlib63/settings/stringex.h>

#include "support/guardedbuffer.h"

namespace {

constexpr std::size_t kLongest = 64;

// A zero-terminated narrow text of `n` bytes of `fill` after `prefix`.
std::string Narrow(const std::string& prefix, std::size_t n, char fill) {
  std::string s = prefix.substr(0, n);
  s.resize(n, fill);
  return s + '\0';
}

// What the narrow decoders make of a text, in one string to compare.
std::wstring Decoded(const char* s, bool withMark) {
  std::wstring out = std::to_wstring(CStringEx::DetectBOMEncoding(s)) + L"|";
  if (withMark) out += std::wstring(CStringEx::RemoveBOMEncoding(s).GetString()) + L"|";
  out += std::wstring(CStringEx::UTF8ToWide(s).GetString()) + L"|";
  std::vector<wchar_t> wide(kLongest + 8, L'#');
  const int n = CStringEx::UTF8ToWide(s, wide.data(), static_cast<int>(wide.size()));
  out += std::wstring(wide.data(), n > 0 ? static_cast<std::size_t>(n) : 0) + L"|";
  const int m = CStringEx::MacToWide(s, wide.data(), static_cast<int>(wide.size()));
  out += std::wstring(wide.data(), m > 0 ? static_cast<std::size_t>(m) : 0) + L"|";
  const ITEMBLOCOPCIONS item(s);
  return out + static_cast<const wchar_t*>(item.pDades);
}

// Zero-terminated narrow texts, with and without a mark: the same results as on a
// copy with room after it. After FE FF the text is UTF-16, whose end is a zero
// byte where a unit begins; those inputs have their own test below.
TEST(InputBounds, NarrowTextDecoders) {
  for (std::size_t n = 0; n <= kLongest; ++n) {
    for (const std::string& prefix : {std::string(), std::string("\xEF\xBB\xBF"), std::string("\xFE\xFF"),
                                      std::string("\xC3\xA9\xE2\x82")}) {
      const std::string bytes = Narrow(prefix, n, 'a');
      const kwtest::GuardedBuffer input(bytes.data(), bytes.size());
      const std::string roomy = bytes + std::string(8, '\0');
      const bool utf16 = CStringEx::DetectBOMEncoding(roomy.c_str()) == 5;
      EXPECT_EQ(Decoded(input.As<char>(), !utf16), Decoded(roomy.c_str(), !utf16)) << n << " after " << prefix.size();
    }
  }
}

// FE FF then UTF-16 units closed by a zero unit, the buffer ending right after it.
// Units whose low byte is zero (U+4E00, U+3000, U+0100) are characters like any
// other: only the zero unit ends the text.
TEST(InputBounds, Utf16AfterTheMark) {
  const char16_t kUnits[] = {u'A', u'\u4E00', u'\u3000', u'z', u'\u0100', u'\u00E9'};
  for (std::size_t n = 0; n <= kLongest; ++n) {
    std::string bytes = "\xFE\xFF";
    std::u16string expected;
    for (std::size_t i = 0; i < n; ++i) {
      const char16_t unit = kUnits[i % std::size(kUnits)];
      bytes += static_cast<char>(unit & 0xFF);
      bytes += static_cast<char>(unit >> 8);
      expected += unit;
    }
    bytes += std::string(2, '\0');
    const kwtest::GuardedBuffer input(bytes.data(), bytes.size());
    EXPECT_EQ(std::wstring(CStringEx::RemoveBOMEncoding(input.As<char>()).GetString()), kwfw::Utf16ToWide(expected))
        << n;
  }
}

// Lists of n characters before the final terminator: short strings, each with its
// own terminator.
TEST(InputBounds, MultiStringBuffers) {
  for (std::size_t n = 0; n <= kLongest; ++n) {
    std::vector<wchar_t> chars;
    int strings = 0;
    for (std::size_t left = n; left >= 2;) {
      const std::size_t length = left == 3 || left > 4 ? 2 : 1;
      chars.insert(chars.end(), length, L'x');
      chars.push_back(0);
      ++strings;
      left -= length + 1;
    }
    if (chars.size() < n) chars.push_back(0);  // a lone zero: the list ends at once
    chars.push_back(0);
    const kwtest::GuardedBuffer input(chars.data(), chars.size() * sizeof(wchar_t));
    const wchar_t* buffer = input.As<wchar_t>();
    const CMultiString list(buffer);
    EXPECT_EQ(list.GetNumStr(), strings) << n;
    CMultiString set;
    set.Set(buffer);
    EXPECT_EQ(set.GetNumStr(), strings) << n;
    CArray<int, int> index;
    EXPECT_EQ(CMultiString::analitzarCadena(buffer, index), strings == 0 ? 2 : static_cast<int>(chars.size())) << n;
  }
}

// Every prefix of a data block that holds each type, a nested block and a path
// name: complete records load (0), a cut one is refused (-3).
TEST(InputBounds, OptionsDataBlocks) {
  TBlocOpcions inner;
  inner.EntraValorInt32(L"i", 1);
  TBlocOpcions source;
  source.EntraValorInt32(L"n", 1);
  source.EntraValorReal64(L"r", 2.5);
  source.EntraValorString(L"s", L"text");
  source.EntraValorBinari(L"x", "\x01\x02\x03", 3);
  source.EntraSubBloc(L"sub", &inner);
  unsigned int size = 0;
  unsigned char* whole = source.ToBlocDades(size);
  ASSERT_GT(size, kLongest);
  std::string bytes(reinterpret_cast<char*>(whole), size);
  std::free(whole);
  bytes += std::string("\x03\x00" "a/b" "\x00" "\x05\x00\x00\x00", 10);  // a path name

  // Where the records end: a block cut there is whole.
  std::vector<std::size_t> ends = {0, 11};
  for (std::size_t pos = 11; pos < bytes.size();) {
    const std::size_t name = static_cast<unsigned char>(bytes[pos]) | static_cast<unsigned char>(bytes[pos + 1]) << 8;
    pos += 2 + name;
    const int type = bytes[pos++];
    const auto le = [&](std::size_t at, int n) {
      std::size_t v = 0;
      for (int i = n; i-- > 0;) v = v << 8 | static_cast<unsigned char>(bytes[at + i]);
      return v;
    };
    pos += type == 0 ? 4 : type == 1 ? 8 : type == 5 ? 2 + le(pos, 2) : 4 + le(pos, 4);
    ends.push_back(pos);
  }
  for (std::size_t n = 0; n <= bytes.size(); n = n == kLongest ? bytes.size() : n + 1) {
    const kwtest::GuardedBuffer input(bytes.data(), n);
    const bool complete = std::find(ends.begin(), ends.end(), n) != ends.end();
    TBlocOpcions b;
    EXPECT_EQ(b.FromBlocDades(input.data(), static_cast<unsigned int>(n), 0), complete ? 0 : -3) << n;
    const TBlocOpcions constructed(input.data(), static_cast<unsigned int>(n));
    unsigned int again = 0;
    unsigned char* rebuilt = constructed.ToBlocDades(again);
    EXPECT_GE(again, 11u) << n;
    std::free(rebuilt);
  }
}

// Paths given as zero-terminated text.
TEST(InputBounds, PathTexts) {
  for (std::size_t n = 0; n <= kLongest; ++n) {
    std::wstring text = L"\"/a.b/c";
    text.resize(n, L'x');
    if (n > 0) text[n - 1] = L'"';
    const std::wstring terminated = text + L'\0';
    const kwtest::GuardedBuffer input(terminated.data(), terminated.size() * sizeof(wchar_t));
    const wchar_t* path = input.As<wchar_t>();
    EXPECT_EQ(AfxNetejarPath(path), AfxNetejarPath(text.c_str())) << n;
    const CPathString joined(path, path);
    EXPECT_EQ(joined, CPathString(text.c_str(), text.c_str())) << n;
    EXPECT_EQ(joined.GetExtensio(0), CPathString(text.c_str(), text.c_str()).GetExtensio(0)) << n;
  }
}

}  // namespace
