#include "gtkwnd.h"

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/messagequeue.h>

CGtkWnd::CGtkWnd(GtkWindow* window) : m_window(GTK_WINDOW(g_object_ref(window))) {
  Attach(reinterpret_cast<HWND>(window));
  int x = 0, y = 0, width = 0, height = 0;
  gtk_window_get_position(window, &x, &y);
  gtk_window_get_size(window, &width, &height);
  m_normal = {x, y, x + width, y + height};
  gtk_widget_add_events(GTK_WIDGET(window), GDK_STRUCTURE_MASK);
  m_signals[0] = g_signal_connect(window, "configure-event", G_CALLBACK(OnConfigure), this);
  m_signals[1] = g_signal_connect(window, "window-state-event", G_CALLBACK(OnState), this);
}

CGtkWnd::~CGtkWnd() {
  for (gulong id : m_signals) {
    if (id != 0 && g_signal_handler_is_connected(m_window, id)) g_signal_handler_disconnect(m_window, id);
  }
  Detach();
  g_object_unref(m_window);
}

gboolean CGtkWnd::OnConfigure(GtkWidget*, GdkEventConfigure* event, gpointer self) {
  auto* wnd = static_cast<CGtkWnd*>(self);
  // Only a normal window's place is the place to come back to.
  if ((wnd->m_state & (GDK_WINDOW_STATE_MAXIMIZED | GDK_WINDOW_STATE_ICONIFIED | GDK_WINDOW_STATE_FULLSCREEN)) == 0) {
    int x = 0, y = 0;
    gtk_window_get_position(wnd->m_window, &x, &y);
    wnd->m_normal = {x, y, x + event->width, y + event->height};
  }
  return FALSE;
}

gboolean CGtkWnd::OnState(GtkWidget*, GdkEventWindowState* event, gpointer self) {
  static_cast<CGtkWnd*>(self)->m_state = event->new_window_state;
  return FALSE;
}

BOOL CGtkWnd::GetWindowPlacement(WINDOWPLACEMENT* placement) const {
  if (placement == nullptr || placement->length != sizeof(WINDOWPLACEMENT)) return FALSE;
  placement->flags = 0;
  placement->showCmd = IsIconic() ? SW_SHOWMINIMIZED : IsZoomed() ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL;
  placement->ptMinPosition = m_minimised;
  placement->ptMaxPosition = m_maximised;
  placement->rcNormalPosition = m_normal;
  return TRUE;
}

BOOL CGtkWnd::SetWindowPlacement(const WINDOWPLACEMENT* placement) {
  if (placement == nullptr || placement->length != sizeof(WINDOWPLACEMENT)) return FALSE;
  const RECT& r = placement->rcNormalPosition;
  if (r.right > r.left && r.bottom > r.top) {
    gtk_window_unmaximize(m_window);
    gtk_window_move(m_window, r.left, r.top);
    gtk_window_resize(m_window, r.right - r.left, r.bottom - r.top);
    m_normal = r;
  }
  m_minimised = placement->ptMinPosition;
  m_maximised = placement->ptMaxPosition;
  switch (placement->showCmd) {
    case SW_SHOWMAXIMIZED:
      gtk_window_maximize(m_window);
      break;
    case SW_SHOWMINIMIZED:
    case SW_MINIMIZE:
    case SW_SHOWMINNOACTIVE:
      gtk_window_iconify(m_window);
      break;
    default:
      gtk_window_deiconify(m_window);
      break;
  }
  return TRUE;
}

BOOL CGtkWnd::IsZoomed() const { return (m_state & GDK_WINDOW_STATE_MAXIMIZED) != 0 ? TRUE : FALSE; }

BOOL CGtkWnd::IsIconic() const { return (m_state & GDK_WINDOW_STATE_ICONIFIED) != 0 ? TRUE : FALSE; }

void CGtkWnd::SetWindowTextW(const wchar_t* text) {
  gtk_window_set_title(m_window, kwfw::WideToUtf8(text != nullptr ? text : L"").c_str());
}

void CGtkWnd::GetWindowTextW(CString& text) const {
  const char* title = gtk_window_get_title(m_window);
  text = kwfw::Utf8ToWide(title != nullptr ? title : "").c_str();
}

void CGtkWnd::QuitOnClose() {
  g_signal_connect(m_window, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) { kwplat::PostQuitMessage(0); }),
                   nullptr);
}
