// Resource string look-up across the application's resources, the chain of
// linked libraries and the executable's own table; formatting with resources.
#include <dlfcn.h>
#include <clocale>
#include <cstring>
#include <gtest/gtest.h>

#include <kwlib63/core/frame.h>
#include <kwlib63/core/loadstring.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/res/resource.h>

#include "support/recorders.h"

namespace {

// Before any test runs, the language is the user's default.
const unsigned short kLanguageAtLoad = AfxSetLanguage(LANG_USER_DEFAULT);

// The executable's own table: 30001 only in English, 30040 (another block) in French.
const KW_STRINGRESOURCE kExeEnglish[] = {{30001, L"30001 from the executable"}};
const KW_STRINGRESOURCE kExeFrench[] = {{30040, L"30040 de l'exécutable"}};
const KW_STRINGTABLE kExeTables[] = {{LANG_EN_US, kExeEnglish, 1}, {LANG_FR_FR, kExeFrench, 1}};
const CStringTableRegistration kExeStrings(&kExeTables, kExeTables, LANG_FR_FR);

const std::wstring kMissingMessage = L"[AfxLoadStringLang] Error: no s'ha pogut carregar l'string '";

TEST(Language, StartsAsTheUsersDefault) {
  EXPECT_EQ(kLanguageAtLoad, 0x0400);
  EXPECT_EQ(AfxGetLanguage(), 0x0400);
  EXPECT_EQ(AfxSetLanguage(LANG_EN_US), 0x0400);
  EXPECT_EQ(AfxSetLanguage(0x0400), LANG_EN_US);
}

TEST(LoadString, LibraryTablesInEachLanguage) {
  EXPECT_EQ(AfxLoadString(IDS_BOTO_REFRESCAR), L"&Raffraichir");
  EXPECT_EQ(AfxLoadString(IDS_UNITAT_FT), L"feet");
  EXPECT_EQ(AfxLoadStringLang(IDS_BOTO_ANTERIOR, LANG_FR_FR, nullptr), L"&Précédent");
  EXPECT_EQ(AfxLoadStringLang(IDS_BOTO_ANTERIOR, LANG_EN_US, nullptr), L"&Previous");
  EXPECT_EQ(AfxLoadStringLang(IDS_BOTO_ANTERIOR, LANG_EN_US, AfxGetKWLibResource()), L"&Previous");
  EXPECT_EQ(AfxLoadString(L"plain"), L"plain");
  for (UINT id = 20350; id <= 20370; ++id) EXPECT_FALSE(AfxLoadString(id).IsEmpty()) << id;
  for (UINT id = 22050; id <= 22063; ++id) EXPECT_FALSE(AfxLoadString(id).IsEmpty()) << id;
}

TEST(LoadString, MissingEverywhereGivesEmptyAndOneDebugMessage) {
  kwtest::DebugOutputRecorder out;
  EXPECT_EQ(AfxLoadString(29999), L"");
  EXPECT_EQ(out.All(), kMissingMessage + L"29999'\n");
  out.pieces.clear();
  // With an explicit module only that module is searched, silently.
  EXPECT_EQ(AfxLoadStringLang(30040, LANG_FR_FR, AfxGetKWLibInstance()), L"");
  EXPECT_TRUE(out.pieces.empty());
}

TEST(LoadString, ExecutableTableIsTheLastResortInAnyLanguage) {
  // Not in French anywhere: the executable's plain loader finds the English one.
  EXPECT_EQ(AfxLoadStringLang(30001, LANG_FR_FR, nullptr), L"30001 from the executable");
}

class LinkedModule : public ::testing::Test {
 protected:
  void SetUp() override {
    m_handle = dlopen(KWTEST_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(m_handle, nullptr) << dlerror();
    auto get = reinterpret_cast<AFX_EXTENSION_MODULE* (*)()>(dlsym(m_handle, "kwtest_module"));
    ASSERT_NE(get, nullptr);
    m_module = get();
    EXPECT_EQ(AfxLinkExtensionModule(*m_module), 1);
  }
  void TearDown() override {
    if (m_module != nullptr) AfxTermExtensionModule(*m_module);
    if (m_handle != nullptr) dlclose(m_handle);
  }
  static int ChainLength() {
    int n = 0;
    AfxLockGlobals(CRIT_DYNLINKLIST);
    for (auto* lib = AfxGetModuleState()->m_libraryList.GetHead(); lib; lib = CDynLinkLibraryList::GetNext(lib)) ++n;
    AfxUnlockGlobals(CRIT_DYNLINKLIST);
    return n;
  }
  void* m_handle = nullptr;
  AFX_EXTENSION_MODULE* m_module = nullptr;
};

TEST_F(LinkedModule, LinkingTwiceAddsNothing) {
  const int before = ChainLength();
  EXPECT_EQ(AfxLinkExtensionModule(*m_module), 1);
  EXPECT_EQ(KWLib_LinkDll(), 1);
  EXPECT_EQ(ChainLength(), before);
  EXPECT_EQ(AfxGetModuleState()->m_libraryList.GetHead()->m_hModule, AfxGetKWLibInstance());  // the library first
}

TEST_F(LinkedModule, SearchOrder) {
  // The library's entry comes before the linked module's.
  EXPECT_EQ(AfxLoadStringLang(18000, LANG_EN_US, nullptr), L"There is not enough memory to complete the operation.");
  // Only the linked module has it.
  EXPECT_EQ(AfxLoadStringLang(30003, LANG_EN_US, nullptr), L"30003 from the module");
  // The application's resources come before the chain...
  EXPECT_EQ(AfxLoadStringLang(30040, LANG_FR_FR, nullptr), L"30040 de l'exécutable");
  EXPECT_EQ(AfxLoadStringLang(30040, LANG_EN_US, nullptr), L"30040 from the module");
  // ...unless the application has no resource module.
  const HINSTANCE resources = AfxGetResourceHandle();
  AfxSetResourceHandle(nullptr);
  EXPECT_EQ(AfxLoadStringLang(30001, LANG_EN_US, nullptr), L"30001 from the executable");  // empty in the module
  AfxSetResourceHandle(resources);
}

TEST_F(LinkedModule, EmptyEntryCountsAsMissingAndTheSearchGoesOn) {
  kwtest::DebugOutputRecorder out;
  EXPECT_EQ(AfxLoadStringLang(30001, LANG_EN_US, m_module->hModule), L"");
  EXPECT_EQ(AfxLoadStringLang(30001, LANG_EN_US, nullptr), L"30001 from the executable");
  EXPECT_TRUE(out.pieces.empty());
}

TEST(FormatString, ResourceFormatsAndDecimalPoints) {
  EXPECT_EQ(AfxFormatString(IDS_EXCEPCIO, 3, L"?", L"M"), L"Il y a eu une exception nº3 (?) dans le module [M].");
  ASSERT_NE(setlocale(LC_NUMERIC, "fr_FR.UTF-8"), nullptr) << "scripts/install-deps generates fr_FR.UTF-8";
  EXPECT_EQ(AfxFormatString(L"%.2f", 1.5), L"1.50");
  EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "C");  // left so
  setlocale(LC_NUMERIC, "fr_FR.UTF-8");
  EXPECT_STREQ(AfxFormatStringA("%.1f %S", 2.25, L"\u00E9"), "2.2 \xC3\xA9");
  EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "C");
}

TEST(FormatDate, SpanishNamesAndTheTimeCategoryLeftAtC) {
  CTime t(1709647629);  // 2024-03-05 14:07:09 UTC; the tests run with TZ=UTC
  ASSERT_NE(setlocale(LC_TIME, "fr_FR.UTF-8"), nullptr);
  EXPECT_EQ(AfxFormatDate(t, "%A %d %B %Y %H:%M:%S"), L"martes 05 marzo 2024 14:07:09");
  EXPECT_STREQ(setlocale(LC_TIME, nullptr), "C");
  EXPECT_EQ(AfxFormatDate(t, "%a %b"), L"mar mar");
  EXPECT_EQ(AfxFormatDate(t, nullptr), L"");
  EXPECT_EQ(AfxFormatDate(t, std::string(130, 'x').c_str()), L"");  // does not fit in 128
  EXPECT_EQ(AfxFormatDate(t, std::string(127, 'x').c_str()).GetLength(), 127);
}

TEST(FormatDate, UnconvertibleTimeRaisesInvalidArg) {
  CTime before1970(-86400);
  bool thrown = false;
  try {
    AfxFormatDate(before1970, "%Y");
  } catch (CInvalidArgException* e) {
    thrown = true;
    e->Delete();
  }
  EXPECT_TRUE(thrown);
}

}  // namespace
