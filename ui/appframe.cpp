#include <kwlib63/ui/appframe.h>

#include <kwlib63/core/errorreport.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/framework/wnd.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/platform/thread.h>

CWnd* AfxGetAppWnd() {
  CWinApp* app = AfxGetApp();
  return app != nullptr ? app->m_pMainWnd : nullptr;
}

CFrameWnd* AfxGetAppFrame() { return DYNAMIC_DOWNCAST(CFrameWnd, AfxGetAppWnd()); }

void AfxDoEvents(CWnd* /*wnd*/, int idle) {
  CWinThread* thread = AfxGetThread();
  if (thread == nullptr) return;
  while (kwplat::HasPendingMessage()) {
    if (!thread->PumpMessage()) {
      AfxFormatDebugString(L"[AfxDoEvents] WM_QUIT rebut dins del AfxDoEvents...\n");
      kwplat::PostQuitMessage(0);
      break;
    }
  }
  // There are no temporary handle maps to lock: window objects are permanent here.
  if (idle) {
    for (LONG count = 0; thread->OnIdle(count); ++count) {
    }
  }
}

void DoEvents(HWND hwnd) { AfxDoEvents(hwnd != nullptr ? CWnd::FromHandle(hwnd) : nullptr, 1); }
void DoEvents(CWnd* wnd) { AfxDoEvents(wnd, 1); }

int AfxIsAppThread() {
  CWinApp* app = AfxGetApp();
  return app != nullptr && app->m_nThreadID == kwplat::GetCurrentThreadId() ? 1 : 0;
}

void AfxSetThreadName(const char* name, unsigned long threadId) {
  if (name == nullptr) return;
  const auto id = static_cast<DWORD>(threadId);
  // Never fails: a thread that is gone is ignored, and the caller's last error stays.
  const DWORD lastError = kwplat::GetLastError();
  if (!kwplat::SetThreadName(id == 0xFFFFFFFF ? kwplat::GetCurrentThreadId() : id, name)) kwplat::SetLastError(lastError);
}
