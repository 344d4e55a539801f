// Window objects as the library sees them: a CWnd stands for a window of the
// program's toolkit, known by an opaque HWND that a toolkit adapter gives it.
// CFrameWnd marks a main frame window.
//
// The placement members keep the placement in the object, so that library code
// can save and restore it without a toolkit; an adapter for a real window
// overrides them to read and move that window.
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

  // FALSE when `placement` is null or its length is not sizeof(WINDOWPLACEMENT).
  virtual BOOL GetWindowPlacement(WINDOWPLACEMENT* placement) const;
  virtual BOOL SetWindowPlacement(const WINDOWPLACEMENT* placement);
  // Non-zero while the window is maximised.
  virtual BOOL IsZoomed() const;
  // Non-zero while the window is minimised.
  virtual BOOL IsIconic() const;

  HWND m_hWnd = nullptr;

 private:
  WINDOWPLACEMENT m_placement{sizeof(WINDOWPLACEMENT), 0, SW_SHOWNORMAL, {-1, -1}, {-1, -1}, {0, 0, 0, 0}};
};

class CFrameWnd : public CWnd {
  DECLARE_DYNAMIC(CFrameWnd)
};
