// CGtkIndicadorEstat: a status indicator people can see and steer. Its window
// shows the message, a bar of the position, the elapsed time and the estimated
// end, with a Pause/Resume button and a Cancel button; closing it cancels.
//
// Code that already reports to a TIndicadorEstat* needs no change: the worker
// reports as before, from any thread. The window belongs to the thread that made
// the indicator (GTK's), and is refreshed from that thread's main context at most
// 20 times a second, whatever the report rate. It appears only when the operation
// has lasted half a second since Mostrar, so quick work flashes nothing.
//
// A worker on GTK's own thread keeps the window alive itself: its reports let the
// window's events through (at the same bounded rate), and a pause holds it while
// the events go on, so that Resume and Cancel can still be pressed.
#pragma once

#include <gtk/gtk.h>

#include <memory>

#include <kwlib63/framework/export.h>
#include <kwlib63/gtk/gtkwnd.h>
#include <kwlib63/progress/indicadorestat.h>

class KW_API CGtkIndicadorEstat : public TIndicadorEstat {
 public:
  // Made on GTK's thread. The window stays above `owner` when one is given.
  explicit CGtkIndicadorEstat(CGtkWnd* owner = nullptr);
  ~CGtkIndicadorEstat() override;

  using TIndicadorEstat::SetMissatge;
  void SetMissatge(const wchar_t* text) override;
  int MostrarEstat(double pos) override;
  void Init() override;
  void Cancelar() override;
  void Pausa() override;
  void Reanudar() override;
  // From any thread. Mostrar starts the delay after which the window shows;
  // Amagar hides it, or keeps a window still waiting from ever showing.
  void Mostrar() override;
  void Amagar() override;

  // The window once it has been shown, else null. GTK's thread only.
  GtkWindow* Window() const;

  static constexpr int kDelayMs = 500;
  static constexpr int kIntervalMs = 50;

 private:
  struct View;
  // A worker on GTK's thread: lets the window's events through when an interval
  // has passed.
  void ServeWindow();

  std::shared_ptr<View> m_view;
  gint64 m_nextServe = 0;  // the worker's own, on GTK's thread
};
