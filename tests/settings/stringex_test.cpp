// CStringEx: resource strings longer than the first buffer, byte-order marks, the
// UTF-8 and Mac Roman conversions and the two escaping forms.
#include <cstring>
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/platform/module.h>
#include <kwlib63/settings/stringex.h>

#include "exestrings.h"
#include "support/guardedbuffer.h"

namespace {

TEST(StringEx, ResourceStringsOfAnyLength) {
  EXPECT_EQ(std::wstring(CStringEx(40001).GetString()), kwtest::kLongString);
  EXPECT_EQ(CStringEx(40002), CString(L"short"));
  EXPECT_EQ(CStringEx(40002, kwplat::GetModuleHandleW(nullptr)), CString(L"short"));
  EXPECT_TRUE(CStringEx(40003).IsEmpty());
}

TEST(StringEx, MarksAndConversions) {
  EXPECT_EQ(CStringEx::DetectBOMEncoding("\xEF\xBB\xBFx"), 4);
  EXPECT_EQ(CStringEx::DetectBOMEncoding("\xFE\xFFx"), 5);
  EXPECT_EQ(CStringEx::DetectBOMEncoding("\xFF\xFEx"), 0);
  EXPECT_EQ(CStringEx::DetectBOMEncoding(nullptr), 0);
  EXPECT_EQ(CStringEx::RemoveBOMEncoding("\xEF\xBB\xBF" "caf\xC3\xA9"), CString(L"caf\u00E9"));
  EXPECT_EQ(CStringEx::RemoveBOMEncoding("\xFE\xFF" "a\0b\0\0"), CString(L"ab"));
  EXPECT_EQ(CStringEx::RemoveBOMEncoding("plain"), CString(L"plain"));
  EXPECT_TRUE(CStringEx::RemoveBOMEncoding(nullptr).IsEmpty());
  EXPECT_EQ(CStringEx::AddBOMEncoding(L"x"), CString(L"\uFEFFx"));
  EXPECT_TRUE(CStringEx::AddBOMEncoding(L"").IsEmpty());

  char buffer[16];
  EXPECT_EQ(CStringEx::WideToUTF8(L"\u00E9a", buffer, sizeof buffer), 7);  // mark, 3 bytes, terminator
  EXPECT_EQ(std::string(buffer, 7), std::string("\xEF\xBB\xBF\xC3\xA9" "a\0", 7));
  EXPECT_EQ(CStringEx::WideToUTF8(L"\u00E9a", nullptr, 0), 7);
  EXPECT_EQ(CStringEx::WideToUTF8(L"\u00E9", 1), CStringA("\xEF\xBB\xBF\xC3\xA9"));
  EXPECT_EQ(CStringEx::WideToUTF8_XML(L"<\u00E9>"), CStringA("&lt;\xC3\xA9&gt;"));
  // Decomposed input comes back composed.
  EXPECT_EQ(CStringEx::UTF8ToWide("e\xCC\x81"), CString(L"\u00E9"));
  wchar_t wide[8];
  EXPECT_EQ(CStringEx::UTF8ToWide("ab", wide, 8), 3);
  EXPECT_EQ(CStringEx::UTF8ToWide("ab", nullptr, 0), 3);

  char mac[8];
  EXPECT_EQ(CStringEx::WideToMac(L"\u00E9\u20AC", mac, 8), 3);
  EXPECT_EQ(std::string(mac, 2), "\x8E\xDB");
  EXPECT_EQ(CStringEx::MacToWide("\x8E", wide, 8), 2);
  EXPECT_EQ(wide[0], L'\u00E9');
}

// After the FE FF mark the text is read as low-byte-first units up to a zero
// unit, and no byte after it is read: the inputs sit against an inaccessible page.
TEST(StringEx, Utf16AfterTheMarkEndsAtAZeroUnit) {
  struct {
    std::string bytes;
    std::wstring text;
  } cases[] = {
      {std::string("\xFE\xFF\0\0", 4), L""},
      {std::string("\xFE\xFF" "\xE9\0\x3D\xD8\x01\xDE\0\0", 10), L"\u00E9\U0001F601"},
      {std::string("\xFE\xFF" "\x3D\xD8\x00\xDE\0\0", 8), L"\U0001F600"},  // a low half whose low byte is zero
      {std::string("\xFE\xFF" "a\0\x00\x4E" "b\0\0\0", 10), L"a\u4E00b"},
      {std::string("\xFE\xFF" "\x00\x30\0\0", 6), L"\u3000"},
  };
  for (const auto& c : cases) {
    const kwtest::GuardedBuffer input(c.bytes.data(), c.bytes.size());
    EXPECT_EQ(std::wstring(CStringEx::RemoveBOMEncoding(input.As<char>()).GetString()), c.text) << c.bytes.size();
  }
}

TEST(StringEx, EscapingAndTexts) {
  EXPECT_EQ(CStringEx::HtmlSpecialChars(L"a\nb\r\"&'<>"), CString(L"a&#10;b&#13;&quot;&amp;&apos;&lt;&gt;"));
  EXPECT_EQ(CStringEx::HtmlSpecialChars8(L"a\nb\r\"&'<>\u00E9"), CStringA("a\nb\r&quot;&amp;&apos;&lt;&gt;\xC3\xA9"));
  const GUID id = {0x12345678, 0x9ABC, 0xDEF0, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
  EXPECT_EQ(CStringEx::UUIDtoString(id), CString(L"12345678-9ABC-DEF0-0123-456789ABCDEF"));
  EXPECT_EQ(CStringEx::GetMsgErrorSistema(5), CString(L"Error 5: Access is denied.\r\n"));
}

}  // namespace
