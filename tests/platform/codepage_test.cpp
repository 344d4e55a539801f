// Code-page conversions: every byte of the single-byte pages both ways, the
// two-call size pattern, and the refusals with their codes.
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/platform/codepage.h>
#include <kwlib63/platform/lasterror.h>

namespace {

std::wstring ToWide(UINT cp, const std::string& bytes, DWORD flags = 0) {
  const int n = kwplat::MultiByteToWideChar(cp, flags, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n), L'#');
  if (n > 0) kwplat::MultiByteToWideChar(cp, flags, bytes.data(), static_cast<int>(bytes.size()), out.data(), n);
  return out;
}

std::string ToBytes(UINT cp, const std::wstring& text, BOOL* usedDefault = nullptr) {
  const int n = kwplat::WideCharToMultiByte(cp, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, usedDefault);
  std::string out(static_cast<std::size_t>(n), '#');
  if (n > 0) kwplat::WideCharToMultiByte(cp, 0, text.data(), static_cast<int>(text.size()), out.data(), n, nullptr, usedDefault);
  return out;
}

TEST(CodePage, SingleBytePagesRoundTripEveryByte) {
  std::string all(256, '\0');
  for (int b = 0; b < 256; ++b) all[static_cast<std::size_t>(b)] = static_cast<char>(b);
  for (const UINT cp : {CP_ACP, 1252u, CP_MACCP, 10000u, 28591u, 437u, 850u}) {
    const std::wstring wide = ToWide(cp, all);
    ASSERT_EQ(wide.size(), 256u) << cp;
    EXPECT_EQ(ToBytes(cp, wide), all) << cp;
  }
  EXPECT_EQ(ToWide(1252, "\x80\x81\xE9\x9F"), std::wstring(L"\u20AC\u0081\u00E9\u0178"));
  EXPECT_EQ(ToWide(CP_MACCP, "\x8E\xDB\xA5"), std::wstring(L"\u00E9\u20AC\u2022"));
  EXPECT_EQ(ToBytes(CP_MACCP, L"caf\u00E9"), "caf\x8E");
}

TEST(CodePage, Utf8AndReplacement) {
  EXPECT_EQ(ToWide(CP_UTF8, "a\xC3\xA9\xF0\x9F\x98\x80"), std::wstring(L"a\u00E9\U0001F600"));
  EXPECT_EQ(ToWide(CP_UTF8, "a\xFF" "b"), std::wstring(L"a\uFFFD" "b"));
  EXPECT_EQ(ToBytes(CP_UTF8, L"\u00E9\U0001F600"), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(ToWide(20127, "a\xE9"), std::wstring(L"a\uFFFD"));
  BOOL usedDefault = FALSE;
  EXPECT_EQ(ToBytes(1252, L"x\u4E2D", &usedDefault), "x?");
  EXPECT_TRUE(usedDefault);
  EXPECT_EQ(ToBytes(1252, L"x\u00E9", &usedDefault), "x\xE9");
  EXPECT_FALSE(usedDefault);
}

TEST(CodePage, SizesTerminatorsAndRefusals) {
  // -1 counts the terminator.
  EXPECT_EQ(kwplat::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0), 4);
  wchar_t small[2];
  EXPECT_EQ(kwplat::MultiByteToWideChar(CP_UTF8, 0, "abc", -1, small, 2), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(kwplat::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a\xFF", 2, nullptr, 0), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
  EXPECT_EQ(kwplat::MultiByteToWideChar(1252, MB_ERR_INVALID_CHARS, "\x81", 1, nullptr, 0), 1);  // assigned here
  EXPECT_EQ(kwplat::MultiByteToWideChar(12345, 0, "a", 1, nullptr, 0), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(kwplat::MultiByteToWideChar(CP_UTF8, 0, "a", 0, nullptr, 0), 0);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  const char dflt = '*';
  EXPECT_EQ(kwplat::WideCharToMultiByte(CP_UTF8, 0, L"a", 1, nullptr, 0, &dflt, nullptr), 0);  // no default in UTF-8
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  char out[4];
  EXPECT_EQ(kwplat::WideCharToMultiByte(1252, 0, L"\u4E2D", -1, out, 4, &dflt, nullptr), 2);
  EXPECT_EQ(std::string(out, 2), std::string("*\0", 2));
}

}  // namespace
