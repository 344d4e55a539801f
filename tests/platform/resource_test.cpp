// String tables kept in the Windows block layout, found by module and exact
// language, and loaded with the plain string loader.
#include <cstring>
#include <gtest/gtest.h>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/platform/resource.h>

namespace {

const KW_STRINGRESOURCE kFrench[] = {{100, L"cent"}, {102, L"cent deux"}, {103, L""}, {4000, L"\U0001F600!"}};
const KW_STRINGRESOURCE kEnglish[] = {{100, L"hundred"}, {117, L"only english"}};
const KW_STRINGTABLE kTables[] = {{LANG_FR_FR, kFrench, std::size(kFrench)}, {LANG_EN_US, kEnglish, std::size(kEnglish)}};
const CStringTableRegistration kRegistration(&kTables, kTables, LANG_FR_FR);

HMODULE Exe() { return kwplat::GetModuleHandleW(nullptr); }

TEST(Resources, BlockLayoutIsTheWindowsOne) {
  ASSERT_EQ(kRegistration.GetModule(), Exe());
  // Ids 96..111 are block 7: entries 4 ("cent") and 6 ("cent deux"), the others empty.
  const HRSRC r = kwplat::FindResourceExW(Exe(), RT_STRING, MAKEINTRESOURCEW(7), LANG_FR_FR);
  ASSERT_NE(r, nullptr);
  const auto* units = static_cast<const char16_t*>(kwplat::LockResource(kwplat::LoadResource(Exe(), r)));
  EXPECT_EQ(kwplat::SizeofResource(Exe(), r), (16 + 4 + 9) * 2u);
  const char16_t expected[] = {0, 0, 0, 0, 4, u'c', u'e', u'n', u't', 0, 9};
  EXPECT_EQ(std::memcmp(units, expected, sizeof expected), 0);
  // A character outside the BMP takes two units, as in a Windows table.
  const HRSRC emoji = kwplat::FindResourceExW(Exe(), RT_STRING, MAKEINTRESOURCEW(4000 / 16 + 1), 0);
  ASSERT_NE(emoji, nullptr);
  EXPECT_EQ(static_cast<const char16_t*>(kwplat::LoadResource(Exe(), emoji))[0], 3);
}

TEST(Resources, FindIsByExactLanguageWithTheDefaultForNeutral) {
  EXPECT_NE(kwplat::FindResourceExW(Exe(), RT_STRING, MAKEINTRESOURCEW(8), LANG_EN_US), nullptr);
  EXPECT_EQ(kwplat::FindResourceExW(Exe(), RT_STRING, MAKEINTRESOURCEW(8), LANG_FR_FR), nullptr);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_RESOURCE_LANG_NOT_FOUND);
  EXPECT_EQ(kwplat::FindResourceExW(Exe(), RT_STRING, MAKEINTRESOURCEW(7), 0x0400),
            kwplat::FindResourceExW(Exe(), RT_STRING, MAKEINTRESOURCEW(7), LANG_FR_FR));
  EXPECT_EQ(kwplat::FindResourceExW(Exe(), MAKEINTRESOURCEW(3), MAKEINTRESOURCEW(7), LANG_FR_FR), nullptr);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_RESOURCE_TYPE_NOT_FOUND);
  int local = 0;
  EXPECT_EQ(kwplat::FindResourceExW(reinterpret_cast<HMODULE>(&local), RT_STRING, MAKEINTRESOURCEW(7), 0), nullptr);
}

TEST(Resources, BlocksOfAnUnregisteredModuleNoLongerLoad) {
  const HRSRC block = kwplat::FindResourceExW(Exe(), RT_STRING, MAKEINTRESOURCEW(7), LANG_FR_FR);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(kwplat::LoadResource(nullptr, block), kwplat::LoadResource(Exe(), block));
  int local = 0;
  EXPECT_EQ(kwplat::LoadResource(reinterpret_cast<HMODULE>(&local), block), nullptr);  // not that module's
  kwplat::UnregisterStringTables(Exe());
  EXPECT_EQ(kwplat::LoadResource(Exe(), block), nullptr);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_RESOURCE_DATA_NOT_FOUND);
  EXPECT_EQ(kwplat::SizeofResource(Exe(), block), 0u);
  kwplat::RegisterStringTables(&kTables, kTables, LANG_FR_FR);  // back for the other tests
}

TEST(Resources, LoadStringTakesTheDefaultLanguageThenAnyOther) {
  wchar_t buf[32];
  EXPECT_EQ(kwplat::LoadStringW(nullptr, 100, buf, 32), 4);
  EXPECT_STREQ(buf, L"cent");
  EXPECT_EQ(kwplat::LoadStringW(nullptr, 117, buf, 32), 12);
  EXPECT_STREQ(buf, L"only english");
  EXPECT_EQ(kwplat::LoadStringW(nullptr, 102, buf, 5), 4);  // cut and terminated
  EXPECT_STREQ(buf, L"cent");
  EXPECT_EQ(kwplat::LoadStringW(nullptr, 103, buf, 32), 0);  // empty counts as missing
  EXPECT_EQ(kwplat::LoadStringW(nullptr, 9999, buf, 32), 0);
  EXPECT_EQ(kwplat::LoadStringW(nullptr, 4000, buf, 32), 2);
  EXPECT_STREQ(buf, L"\U0001F600!");
}

}  // namespace
