// The DDE handles and the instance's errors, on a private bus.
#include <gtest/gtest.h>

#include <kwlib63/platform/dde.h>

#include "support/locales.h"
#include "support/privatebus.h"

using namespace kwplat;

namespace {

HDDEDATA Ignore(UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) { return nullptr; }

TEST(Dde, HandlesAndErrorsOfAnInstance) {
  kwtest::PrivateBus bus;
  DWORD instance = 0;
  ASSERT_EQ(DdeInitializeW(&instance, Ignore, APPCMD_CLIENTONLY, 0), DMLERR_NO_ERROR);

  // One counted handle per text, whatever its case; its first spelling kept.
  HSZ a = DdeCreateStringHandleW(instance, L"Sistema", CP_WINANSI);
  HSZ b = DdeCreateStringHandleW(instance, L"SISTEMA", CP_WINUNICODE);
  EXPECT_EQ(a, b);
  wchar_t text[5];
  EXPECT_EQ(DdeQueryStringW(instance, a, text, 5, CP_WINANSI), 7u);
  EXPECT_STREQ(text, L"Sist");
  EXPECT_TRUE(DdeFreeStringHandle(instance, a));
  EXPECT_TRUE(DdeFreeStringHandle(instance, b));
  EXPECT_FALSE(DdeFreeStringHandle(instance, a));
  EXPECT_EQ(DdeCreateStringHandleW(instance, L"x", 437), nullptr);
  EXPECT_EQ(DdeGetLastError(instance), DMLERR_INVALIDPARAMETER);

  BYTE bytes[] = {1, 2, 3, 4};
  HDDEDATA data = DdeCreateDataHandle(instance, bytes, 4, 2, nullptr, CF_TEXT, 0);
  EXPECT_EQ(DdeGetData(data, nullptr, 0, 0), 6u);
  BYTE out[3] = {};
  EXPECT_EQ(DdeGetData(data, out, 3, 3), 3u);
  EXPECT_EQ(out[0], 2);
  EXPECT_EQ(out[2], 4);
  EXPECT_TRUE(DdeFreeDataHandle(data));
  EXPECT_FALSE(DdeFreeDataHandle(data));

  // A client-only instance serves nothing.
  HSZ service = DdeCreateStringHandleW(instance, L"Prova", CP_WINANSI);
  EXPECT_EQ(DdeNameService(instance, service, nullptr, DNS_REGISTER), nullptr);
  EXPECT_EQ(DdeGetLastError(instance), DMLERR_DLL_USAGE);
  EXPECT_TRUE(DdeUninitialize(instance));
  EXPECT_EQ(DdeGetLastError(instance), DMLERR_DLL_NOT_INITIALIZED);

  DWORD none = 0;
  DdeSetBusAddress(L"unix:path=/nonexistent/kwlib63-bus");
  EXPECT_EQ(DdeInitializeW(&none, Ignore, 0, 0), DMLERR_SYS_ERROR);
  EXPECT_EQ(none, 0u);
}

// Names match by the library's case fold, whatever the caller's locale.
TEST(Dde, HandlesFoldNonAsciiNamesInEveryLocale) {
  kwtest::PrivateBus bus;
  DWORD instance = 0;
  ASSERT_EQ(DdeInitializeW(&instance, Ignore, APPCMD_CLIENTONLY, 0), DMLERR_NO_ERROR);
  struct {
    const wchar_t* a;
    const wchar_t* b;
    bool same;
  } cases[] = {{L"\u00C9t\u00E9", L"\u00C9T\u00C9", true},
               {L"\u03A9mega", L"\u03C9MEGA", true},
               {L"\u0414\u0430\u043D\u043D\u044B\u0435", L"\u0434\u0410\u041D\u041D\u042B\u0415", true},
               {L"\u0131", L"I", false},
               {L"\u0130", L"i", false}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    for (const auto& c : cases) {
      HSZ a = DdeCreateStringHandleW(instance, c.a, CP_WINUNICODE);
      HSZ b = DdeCreateStringHandleW(instance, c.b, CP_WINUNICODE);
      ASSERT_NE(a, nullptr);
      EXPECT_EQ(a == b, c.same) << locale << " " << (&c - cases);
      EXPECT_EQ(DdeCmpStringHandles(a, b) == 0, c.same) << locale << " " << (&c - cases);
      DdeFreeStringHandle(instance, a);
      DdeFreeStringHandle(instance, b);
    }
  }
  EXPECT_TRUE(DdeUninitialize(instance));
}

}  // namespace
