// The thread object and the application object. A thread object belongs to the
// thread that makes it (the first one made there) and pumps that thread's message
// queue, a GLib main context. One CWinApp per process, usually a global object of
// the program; library code finds it through AfxGetApp, null in programs without one.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>

class CWnd;

class KW_API CWinThread : public CObject {
  DECLARE_DYNAMIC(CWinThread)
 public:
  CWinThread();
  ~CWinThread() override;
  CWinThread(const CWinThread&) = delete;
  CWinThread& operator=(const CWinThread&) = delete;

  // Pumps one message of the thread's queue, waiting for one when none is ready.
  // FALSE when the message is the quit request, whose exit code is then kept.
  virtual BOOL PumpMessage();
  // Idle processing between messages, called with 0, 1, 2, ... while it returns
  // non-zero. The base has nothing to do and returns FALSE.
  virtual BOOL OnIdle(LONG count);
  // The message loop: idle processing whenever the queue is empty, then messages,
  // until the quit request. Returns its exit code.
  virtual int Run();

  CWnd* m_pMainWnd = nullptr;
  DWORD m_nThreadID;  // the thread that made the object
  int m_nExitCode = 0;
};

class KW_API CWinApp : public CWinThread {
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

// The calling thread's thread object, or null.
KW_API CWinThread* AfxGetThread();
KW_API CWinApp* AfxGetApp();
KW_API CWnd* AfxGetMainWnd();
// The application's name: the application object's, or without one the
// executable's file name without directory and extension.
KW_API CString AfxGetAppName();
