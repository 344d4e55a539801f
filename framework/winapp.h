// The application object and its thread. One CWinApp per process, usually a
// global object of the program; library code finds it through AfxGetApp, which
// is null in programs that have none.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/object.h>

class CWnd;

class CWinThread : public CObject {
  DECLARE_DYNAMIC(CWinThread)
 public:
  CWinThread();
  CWnd* m_pMainWnd = nullptr;
  DWORD m_nThreadID;  // the thread that made the object
};

class CWinApp : public CWinThread {
  DECLARE_DYNAMIC(CWinApp)
 public:
  // Without a name, the application's name is the executable's file name
  // without its directory and extension.
  explicit CWinApp(LPCTSTR appName = nullptr);
  ~CWinApp() override;
  CWinApp(const CWinApp&) = delete;
  CWinApp& operator=(const CWinApp&) = delete;

  // Sets the registry key (the company part of the application's registry
  // folders) and makes the profile name the application's name.
  void SetRegistryKey(LPCTSTR registryKey);

  // Owned by the object; read them, change them through the members above.
  LPCTSTR m_pszAppName = nullptr;
  LPCTSTR m_pszRegistryKey = nullptr;
  LPCTSTR m_pszProfileName = nullptr;
  LPCTSTR m_pszExeName = nullptr;

 private:
  CString m_appName, m_registryKey, m_profileName, m_exeName;
};

CWinApp* AfxGetApp();
CWnd* AfxGetMainWnd();
// The application's name: the application object's, or without one the
// executable's file name without directory and extension.
CString AfxGetAppName();
