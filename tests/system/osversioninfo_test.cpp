// The system version as the probe reads the running kernel, the naming rule, the
// version tests, and library versions through "DllGetVersion".
#include <sys/utsname.h>

#include <algorithm>
#include <cstdio>

#include <gtest/gtest.h>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/osversion.h>
#include <kwlib63/system/osversioninfo.h>

namespace {

// What the probe must find for this kernel: majors above 10, minors above 4 and
// service packs above 9 cannot be represented.
struct Expected {
  unsigned short major, minor, servicePack;
};

Expected FromKernel() {
  utsname name{};
  uname(&name);
  unsigned major = 0, minor = 0, patch = 0;
  std::sscanf(name.release, "%u.%u.%u", &major, &minor, &patch);
  if (major > 10) return {10, 4, 9};
  if (minor > 4) return {static_cast<unsigned short>(major), 4, 9};
  return {static_cast<unsigned short>(major), static_cast<unsigned short>(minor),
          static_cast<unsigned short>(std::min(patch, 9u))};
}

TEST(OSVersionInfo, ProbesTheKernelRelease) {
  const COSVersionInfo* info = AfxGetOSVersionInfo();
  const Expected expected = FromKernel();
  EXPECT_EQ(info->GetMajorVersion(), expected.major);
  EXPECT_EQ(info->GetMinorVersion(), expected.minor);
  EXPECT_EQ(info->m_wServicePack, expected.servicePack);
  CString versio;
  EXPECT_EQ(info->GetVersio(versio), 1);
  CString wanted;
  if (expected.servicePack == 0) wanted.Format(L"%d.%d", expected.major, expected.minor);
  else wanted.Format(L"%d.%d SP%d", expected.major, expected.minor, expected.servicePack);
  EXPECT_EQ(versio, wanted);
  ASSERT_GE(expected.major, 6) << "the tests expect a kernel of 6.0 or later";
  // 6.0 and later: the last passing rule names it.
  const wchar_t* name = expected.major >= 10 ? L"Microsoft Windows 10"
                        : expected.minor >= 3 ? L"Microsoft Windows 8.1"
                        : expected.minor == 2 ? L"Microsoft Windows 8"
                        : expected.minor == 1 ? (expected.servicePack >= 1 ? L"Microsoft Windows 7 SP1" : L"Microsoft Windows 7")
                                              : (expected.servicePack >= 1 ? L"Microsoft Windows Vista SP1" : L"Microsoft Windows Vista");
  EXPECT_EQ(info->GetNom(), CString(name));

  EXPECT_EQ(info->TestVersio(5, 1, 3), 1);  // the service pack is not tested
  EXPECT_EQ(info->TestVersio(expected.major, expected.minor, 99), 1);
  EXPECT_EQ(info->TestVersio(11, 0, 0), 0);
  EXPECT_EQ(info->EsWindowsXP(7), 1);
  EXPECT_EQ(info->EsWindows9x(), 0);
  EXPECT_EQ(info->EsWindows98(0), 0);
  EXPECT_EQ(info->EsWindowsNT(), 1);
}

TEST(OSVersionInfo, VerifyVersionInfoRules) {
  OSVERSIONINFOEXW wanted{};
  wanted.dwOSVersionInfoSize = sizeof wanted;
  wanted.dwMajorVersion = 99;
  EXPECT_FALSE(kwplat::VerifyVersionInfoW(&wanted, 0, 0));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(kwplat::VerifyVersionInfoW(&wanted, VER_MAJORVERSION, 0));  // no condition given
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INVALID_PARAMETER);
  const DWORDLONG atLeast = kwplat::VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
  EXPECT_FALSE(kwplat::VerifyVersionInfoW(&wanted, VER_MAJORVERSION, atLeast));
  EXPECT_EQ(kwplat::GetLastError(), ERROR_OLD_WIN_VERSION);
  EXPECT_TRUE(kwplat::VerifyVersionInfoW(&wanted, VER_MAJORVERSION,
                                         kwplat::VerSetConditionMask(0, VER_MAJORVERSION, VER_LESS)));
  wanted.wProductType = 3;  // a server
  EXPECT_FALSE(kwplat::VerifyVersionInfoW(&wanted, VER_PRODUCT_TYPE,
                                          kwplat::VerSetConditionMask(0, VER_PRODUCT_TYPE, VER_EQUAL)));
  OSVERSIONINFOEXW system{};
  system.dwOSVersionInfoSize = sizeof system;
  ASSERT_TRUE(kwplat::GetVersionExW(&system));
  // Major, minor and service pack compare as one version: a lower major with a
  // higher minor is still older.
  wanted = system;
  wanted.dwMajorVersion = system.dwMajorVersion - 1;
  wanted.dwMinorVersion = system.dwMinorVersion + 1;
  const DWORDLONG all = kwplat::VerSetConditionMask(atLeast, VER_MINORVERSION, VER_GREATER_EQUAL);
  EXPECT_TRUE(kwplat::VerifyVersionInfoW(&wanted, VER_MAJORVERSION | VER_MINORVERSION, all));
}

TEST(OSVersionInfo, LibraryVersions) {
  constexpr unsigned short kMajor = KWTEST_VERSION_MAJOR, kMinor = KWTEST_VERSION_MINOR;
  EXPECT_EQ(AfxGetShellDllVersion(L"" KWTEST_LIBRARY), (static_cast<unsigned long>(kMajor) << 16) | kMinor);
  EXPECT_EQ(AfxTestShellDllVersion(L"" KWTEST_LIBRARY, kMajor, kMinor), 1);
  EXPECT_EQ(AfxTestShellDllVersion(L"" KWTEST_LIBRARY, kMajor, kMinor + 1), 0);
  // A library linked with this one but without an entry of its own has no version.
  EXPECT_EQ(AfxGetShellDllVersion(L"" KWTEST_MODULE), 0ul);
  EXPECT_EQ(AfxTestShellDllVersion(L"" KWTEST_MODULE, 0ul), 1);
  EXPECT_EQ(AfxTestShellDllVersion(L"" KWTEST_MODULE, 0, 1), 0);
  EXPECT_EQ(AfxGetShellDllVersion(L"/nonexistent/lib.so"), 0ul);
  EXPECT_EQ(AfxGetShellDllVersion(nullptr), 0ul);
  DLLVERSIONINFO info{};
  EXPECT_LT(DllGetVersion(&info), 0);  // the size must be set
}

}  // namespace
