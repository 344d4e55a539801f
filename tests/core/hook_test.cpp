// A program whose own qzmultilangLoadLibrary chooses the language module: the
// library calls it while it is loaded and searches that module for its strings.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <kwlib63/core/frame.h>
#include <kwlib63/core/loadstring.h>
#include <kwlib63/platform/module.h>

namespace {
HINSTANCE g_askedFor = nullptr;
void* g_languageModule = nullptr;
}  // namespace

extern "C" HINSTANCE qzmultilangLoadLibrary(HINSTANCE instance) {
  g_askedFor = instance;
  g_languageModule = dlopen(KWTEST_MODULE, RTLD_NOW | RTLD_LOCAL);
  if (g_languageModule == nullptr) return nullptr;
  return kwplat::GetModuleFromAddress(dlsym(g_languageModule, "kwtest_module"));
}

namespace {

TEST(MultilangHook, ChosenModuleBecomesTheLibrarysResources) {
  ASSERT_NE(g_languageModule, nullptr);
  EXPECT_EQ(g_askedFor, AfxGetKWLibInstance());
  EXPECT_NE(AfxGetKWLibResource(), AfxGetKWLibInstance());
  EXPECT_EQ(AfxGetKWLibResource(), kwplat::GetModuleFromAddress(dlsym(g_languageModule, "kwtest_module")));
  EXPECT_EQ(AfxLoadStringLang(18000, LANG_EN_US, nullptr), L"module: not enough memory");
  // The library's own tables are no longer in the chain.
  EXPECT_EQ(AfxLoadStringLang(22050, LANG_FR_FR, nullptr), L"");
  EXPECT_EQ(AfxLoadStringLang(22050, LANG_FR_FR, AfxGetKWLibInstance()), L"&Accepter");
}

}  // namespace
