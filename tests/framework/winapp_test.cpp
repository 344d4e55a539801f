// The application object: one per process, found through AfxGetApp.
#include <unistd.h>
#include <gtest/gtest.h>

#include <kwlib63/framework/winapp.h>

namespace {

TEST(WinApp, RegistersItselfAndKeepsItsNames) {
  EXPECT_EQ(AfxGetApp(), nullptr);
  EXPECT_EQ(AfxGetAppName(), L"framework_test");  // without an application object
  {
    CWinApp app(L"Editor");
    EXPECT_EQ(AfxGetApp(), &app);
    EXPECT_STREQ(app.m_pszAppName, L"Editor");
    EXPECT_STREQ(app.m_pszExeName, L"framework_test");
    EXPECT_EQ(app.m_pszRegistryKey, nullptr);
    app.SetRegistryKey(L"Tormel");
    EXPECT_STREQ(app.m_pszRegistryKey, L"Tormel");
    EXPECT_STREQ(app.m_pszProfileName, L"Editor");
    EXPECT_EQ(app.m_nThreadID, static_cast<DWORD>(gettid()));
    EXPECT_EQ(AfxGetMainWnd(), nullptr);
    EXPECT_EQ(AfxGetAppName(), L"Editor");
  }
  EXPECT_EQ(AfxGetApp(), nullptr);
  CWinApp unnamed;
  EXPECT_STREQ(unnamed.m_pszAppName, L"framework_test");
}

}  // namespace
