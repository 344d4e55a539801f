#include <kwlib63/framework/winapp.h>

#include <kwlib63/framework/modulestate.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/platform/thread.h>

IMPLEMENT_DYNAMIC(CWinThread, CObject)
IMPLEMENT_DYNAMIC(CWinApp, CWinThread)

namespace {
CString ExecutableBaseName() {
  wchar_t path[4096];
  if (kwplat::GetModuleFileNameW(nullptr, path, 4096) == 0) return CString();
  CString name(path);
  name = name.Mid(name.ReverseFind(L'/') + 1);
  const int dot = name.ReverseFind(L'.');
  return dot > 0 ? name.Left(dot) : name;
}
}  // namespace

namespace {
thread_local CWinThread* t_thread = nullptr;
}  // namespace

CWinThread::CWinThread() : m_nThreadID(kwplat::GetCurrentThreadId()) {
  if (t_thread == nullptr) t_thread = this;
}

CWinThread::~CWinThread() {
  if (t_thread == this) t_thread = nullptr;
}

BOOL CWinThread::PumpMessage() { return kwplat::PumpOneMessage(&m_nExitCode); }

BOOL CWinThread::OnIdle(LONG) { return FALSE; }

int CWinThread::Run() {
  for (;;) {
    for (LONG idle = 0; !kwplat::HasPendingMessage() && OnIdle(idle); ++idle) {
    }
    if (!PumpMessage()) return m_nExitCode;
  }
}

CWinThread* AfxGetThread() { return t_thread; }

CWinApp::CWinApp(LPCTSTR appName) : m_exeName(ExecutableBaseName()) {
  m_appName = appName != nullptr ? CString(appName) : m_exeName;
  m_pszAppName = m_appName;
  m_pszExeName = m_exeName;
  AfxGetModuleState()->m_pCurrentWinApp = this;
}

CWinApp::~CWinApp() {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  if (state->m_pCurrentWinApp == this) state->m_pCurrentWinApp = nullptr;
}

void CWinApp::SetRegistryKey(LPCTSTR registryKey) {
  m_registryKey = registryKey;
  m_profileName = m_appName;
  m_pszRegistryKey = m_registryKey;
  m_pszProfileName = m_profileName;
}

CWinApp* AfxGetApp() { return AfxGetModuleState()->m_pCurrentWinApp; }

CWnd* AfxGetMainWnd() {
  CWinApp* app = AfxGetApp();
  return app != nullptr ? app->m_pMainWnd : nullptr;
}

CString AfxGetAppName() {
  CWinApp* app = AfxGetApp();
  return app != nullptr ? CString(app->m_pszAppName) : ExecutableBaseName();
}
