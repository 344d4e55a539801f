#include <kwlib63/ui/appframe.h>

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include <kwlib63/core/errorreport.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/framework/wnd.h>
#include <kwlib63/platform/messagequeue.h>

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
  return app != nullptr && app->m_nThreadID == static_cast<DWORD>(gettid()) ? 1 : 0;
}

void AfxSetThreadName(const char* name, unsigned long threadId) {
  if (name == nullptr) return;
  const std::string comm = std::string(name).substr(0, 15);
  const auto id = static_cast<DWORD>(threadId);
  if (id == 0xFFFFFFFF || id == static_cast<DWORD>(gettid())) {
    pthread_setname_np(pthread_self(), comm.c_str());
    return;
  }
  const std::string path = "/proc/self/task/" + std::to_string(id) + "/comm";
  if (std::FILE* f = std::fopen(path.c_str(), "we")) {
    std::fputs(comm.c_str(), f);
    std::fclose(f);
  }
}
