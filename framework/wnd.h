// Window objects as the library sees them: a CWnd stands for a window of the
// program's toolkit, known by an opaque HWND that a toolkit adapter gives it.
// CFrameWnd marks a main frame window.
//
// A window also keeps its text, its control id and its parent's list of
// controls, so that dialog code (data exchange, owner drawing) works on models of
// controls; an adapter mirrors them on a real toolkit.
//
// The placement members keep the placement in the object, so that library code
// can save and restore it without a toolkit; an adapter for a real window
// overrides them to read and move that window.
#pragma once

#include <vector>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/framework/wintypes.h>

class KW_API CWnd : public CObject {
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

  // Makes the object control `id` of `parent` (null: a window of its own), with a
  // handle of its own when it has none; FALSE when it is a control already.
  BOOL CreateControl(CWnd* parent, int id);
  CWnd* GetParent() const { return m_parent; }
  int GetDlgCtrlID() const { return m_id; }
  // The control `id` among this window's controls, or null.
  CWnd* GetDlgItem(int id) const;

  virtual void SetWindowTextW(const wchar_t* text);
  virtual void GetWindowTextW(CString& text) const;
  // A message to the window; a model answers those of its kind, else 0.
  virtual LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0);

  HWND m_hWnd = nullptr;

 private:
  CWnd* m_parent = nullptr;
  int m_id = 0;
  std::vector<CWnd*> m_controls;
  CString m_text;
  WINDOWPLACEMENT m_placement{sizeof(WINDOWPLACEMENT), 0, SW_SHOWNORMAL, {-1, -1}, {-1, -1}, {0, 0, 0, 0}};
};

class KW_API CFrameWnd : public CWnd {
  DECLARE_DYNAMIC(CFrameWnd)
};
