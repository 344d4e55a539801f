// Window objects as the library sees them: a CWnd stands for a window of the
// program's toolkit, known by an opaque HWND that a toolkit adapter gives it.
// CFrameWnd marks a main frame window.
#pragma once

#include <kwlib63/framework/object.h>
#include <kwlib63/framework/wintypes.h>

class CWnd : public CObject {
  DECLARE_DYNAMIC(CWnd)
 public:
  CWnd() = default;
  ~CWnd() override;
  CWnd(const CWnd&) = delete;
  CWnd& operator=(const CWnd&) = delete;

  // Binds the object to a window handle; FALSE when it has one already or the
  // handle is null or bound to another object.
  BOOL Attach(HWND hwnd);
  HWND Detach();
  // The handle, or null; may be called through a null object.
  HWND GetSafeHwnd() const;

  // The object bound to `hwnd`, or null when there is none.
  static CWnd* FromHandle(HWND hwnd);

  HWND m_hWnd = nullptr;
};

class CFrameWnd : public CWnd {
  DECLARE_DYNAMIC(CFrameWnd)
};
