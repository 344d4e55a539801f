// The DDE handles and the instance's errors, on a private bus.
#include <gtest/gtest.h>

#include <kwlib63/platform/dde.h>

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

}  // namespace
