// CGtkWnd: a CWnd for a GtkWindow, so that library code that saves, restores,
// titles or closes a window works on a real one. Its handle is the GtkWindow.
#pragma once

#include <gtk/gtk.h>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wnd.h>

class KW_API CGtkWnd : public CFrameWnd {
 public:
  // Holds a reference to `window` for the object's life.
  explicit CGtkWnd(GtkWindow* window);
  ~CGtkWnd() override;

  GtkWindow* Window() const { return m_window; }

  // The normal rectangle is where the window stands when it is neither maximised
  // nor minimised (the last such place while it is); the show state follows the
  // window's state.
  BOOL GetWindowPlacement(WINDOWPLACEMENT* placement) const override;
  BOOL SetWindowPlacement(const WINDOWPLACEMENT* placement) override;
  BOOL IsZoomed() const override;
  BOOL IsIconic() const override;
  // The window's title.
  void SetWindowTextW(const wchar_t* text) override;
  void GetWindowTextW(CString& text) const override;

  // Ends the thread's message loop (PostQuitMessage(0)) when the window is closed.
  void QuitOnClose();

 private:
  static gboolean OnConfigure(GtkWidget*, GdkEventConfigure*, gpointer self);
  static gboolean OnState(GtkWidget*, GdkEventWindowState*, gpointer self);

  GtkWindow* m_window;
  GdkWindowState m_state = static_cast<GdkWindowState>(0);
  RECT m_normal{0, 0, 0, 0};
  POINT m_minimised{-1, -1};
  POINT m_maximised{-1, -1};
  gulong m_signals[2] = {0, 0};
};
