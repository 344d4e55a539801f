// The running application's main window and frame, and the message pump that
// long operations call so that the user interface stays alive while they work.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class CWnd;
class CFrameWnd;

// The application object's main window; null without an application object.
KW_API CWnd* AfxGetAppWnd();
// The main window when it is a frame window, else null.
KW_API CFrameWnd* AfxGetAppFrame();

// Pumps what is waiting in the calling thread's queue, then, with `idle`, runs the
// thread object's idle processing until it has nothing more to do. A quit request
// met here stops the pumping and is posted again (exit code 0), so that the
// application's own loop still ends. Does nothing on a thread without a thread
// object. Windows have no queues of their own: `wnd` selects nothing.
KW_API void AfxDoEvents(CWnd* wnd, int idle);
// AfxDoEvents with idle processing.
KW_API void DoEvents(HWND hwnd);
KW_API void DoEvents(CWnd* wnd);

// Whether the calling thread is the application object's thread.
KW_API int AfxIsAppThread();

// Names a thread for debuggers and tools (its comm, at most 15 bytes): the calling
// thread when `threadId` is its id or 0xFFFFFFFF. Never fails; a thread that is
// gone or a null name is ignored.
KW_API void AfxSetThreadName(const char* name, unsigned long threadId);
