#include "gtkindicadorestat.h"

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <kwlib63/core/frame.h>
#include <kwlib63/core/loadstring.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/platform/clock.h>
#include <kwlib63/res/resource.h>

namespace {

// String `id` of the library's own table in the current language, or in its
// default one where the table lacks the language.
CString LibraryString(UINT id) {
  CString text = AfxLoadStringLang(id, AfxGetLanguage(), AfxGetKWLibResource());
  return text.IsEmpty() ? AfxLoadStringLang(id, 0, AfxGetKWLibResource()) : text;
}

// A caption with its '&' mnemonic written as GTK's '_'.
std::string Caption(UINT id) {
  const std::string text = kwfw::WideToUtf8(LibraryString(id).GetString());
  std::string caption;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '&') {
      const bool doubled = i + 1 < text.size() && text[i + 1] == '&';
      caption += doubled ? '&' : '_';
      i += doubled ? 1 : 0;
    } else {
      caption += text[i] == '_' ? std::string("__") : std::string(1, text[i]);
    }
  }
  return caption;
}

// A call queued from another thread reaches GTK's through GLib's own locks, which
// the thread sanitizer cannot see: it is told of the hand-over.
#if defined(__SANITIZE_THREAD__)
void HandedOver(void* call) { __tsan_release(call); }
void TakenOver(void* call) { __tsan_acquire(call); }
#else
void HandedOver(void*) {}
void TakenOver(void*) {}
#endif

std::wstring Clock(long long seconds) {
  wchar_t text[32];
  std::swprintf(text, std::size(text), L"%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
  return text;
}

std::wstring LocalTime(long long time) {
  GDateTime* at = g_date_time_new_from_unix_local(time);
  if (at == nullptr) return L"?";
  gchar* text = g_date_time_format(at, "%H:%M:%S");
  g_date_time_unref(at);
  std::wstring shown = kwfw::Utf8ToWide(text != nullptr ? text : "?");
  g_free(text);
  return shown;
}

}  // namespace

// What the worker reports and the window shows. The indicator owns it with the
// sources queued on GTK's thread, so that a window event or a queued call after
// the indicator is gone finds it still there (and finds no indicator).
struct CGtkIndicadorEstat::View : std::enable_shared_from_this<View> {
  explicit View(CGtkIndicadorEstat* indicator, CGtkWnd* parent)
      : gui(std::this_thread::get_id()),
        context(g_main_context_ref_thread_default()),
        owner(indicator),
        ownerWindow(parent != nullptr ? GTK_WINDOW(g_object_ref(parent->Window())) : nullptr) {}
  ~View() {
    if (window != nullptr && std::this_thread::get_id() == gui) gtk_widget_destroy(window);
    if (ownerWindow != nullptr) g_object_unref(ownerWindow);
    g_main_context_unref(context);
  }

  // Runs `work` on GTK's thread: at once when called there, else from its main
  // context (never on the caller's thread, even when the context is free).
  void OnGui(void (View::*work)()) {
    if (std::this_thread::get_id() == gui) {
      (this->*work)();
    } else {
      Later(work);
    }
  }

  // Runs `work` from GTK's main context, also when called on its thread: for a
  // refresh asked for from inside the window's own handlers.
  void Later(void (View::*work)()) {
    struct Call {
      std::shared_ptr<View> view;
      void (View::*work)();
    };
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    auto* call = new Call{shared_from_this(), work};
    HandedOver(call);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
          TakenOver(data);
          auto* called = static_cast<Call*>(data);
          ((*called->view).*(called->work))();
          return G_SOURCE_REMOVE;
        },
        call, [](gpointer data) { delete static_cast<Call*>(data); });
    g_source_attach(source, context);
    g_source_unref(source);
  }

  void StartTicking() {
    if (ticker != nullptr) return;
    ticker = g_timeout_source_new(kIntervalMs);
    g_source_set_callback(
        ticker, [](gpointer data) -> gboolean { return (*static_cast<std::shared_ptr<View>*>(data))->Tick(); },
        new std::shared_ptr<View>(shared_from_this()),
        [](gpointer data) { delete static_cast<std::shared_ptr<View>*>(data); });
    g_source_attach(ticker, context);
  }

  void StopTicking() {
    if (ticker == nullptr) return;
    g_source_destroy(ticker);
    g_source_unref(ticker);
    ticker = nullptr;
  }

  void Hide() {
    {
      std::lock_guard guard(lock);
      if (wanted) return;  // shown again since the hide was asked for
    }
    StopTicking();
    if (window != nullptr) gtk_widget_hide(window);
  }

  void Close() {
    StopTicking();
    if (window != nullptr) gtk_widget_destroy(window);
  }

  // Every interval while the window is wanted: shows it once the delay is over,
  // then refreshes it and asks the worker for fresh times.
  gboolean Tick() {
    std::wstring text;
    bool show = false;
    bool keep = false;
    {
      std::lock_guard guard(lock);
      keep = wanted;
      if (keep) {
        show = window == nullptr || !gtk_widget_get_visible(window);
        if (show && g_get_monotonic_time() - wantedAt < kDelayMs * G_GINT64_CONSTANT(1000)) return G_SOURCE_CONTINUE;
        text = message;
      }
    }
    if (!keep) {  // Amagar or a close came first: the source ends with this call
      g_source_unref(ticker);
      ticker = nullptr;
      if (window != nullptr) gtk_widget_hide(window);
      return G_SOURCE_REMOVE;
    }
    if (window == nullptr) Build();
    if (show) gtk_widget_show_all(window);
    Refresh(text);
    due.store(true, std::memory_order_relaxed);
    return G_SOURCE_CONTINUE;
  }

  // A pause, resume or cancel shows at once, not at the next interval.
  void RefreshNow() {
    if (window == nullptr || !gtk_widget_get_visible(window)) return;
    std::wstring text;
    {
      std::lock_guard guard(lock);
      text = message;
    }
    Refresh(text);
  }

  void Build() {
    window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_widget_set_name(window, "progress");
    gtk_window_set_type_hint(GTK_WINDOW(window), GDK_WINDOW_TYPE_HINT_DIALOG);
    gtk_window_set_default_size(GTK_WINDOW(window), 420, -1);
    if (ownerWindow != nullptr) {
      gtk_window_set_transient_for(GTK_WINDOW(window), ownerWindow);
      const char* title = gtk_window_get_title(ownerWindow);
      gtk_window_set_title(GTK_WINDOW(window), title != nullptr ? title : "");
    } else {
      gtk_window_set_title(GTK_WINDOW(window), g_get_prgname() != nullptr ? g_get_prgname() : "");
    }
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
    gtk_container_set_border_width(GTK_CONTAINER(box), 12);
    label = gtk_label_new("");
    times = gtk_label_new("");
    for (auto [widget, name] : {std::pair{label, "message"}, std::pair{times, "times"}}) {
      gtk_widget_set_name(widget, name);
      gtk_label_set_xalign(GTK_LABEL(widget), 0.0F);
      gtk_label_set_ellipsize(GTK_LABEL(widget), PANGO_ELLIPSIZE_END);
    }
    bar = gtk_progress_bar_new();
    gtk_widget_set_name(bar, "bar");
    gtk_progress_bar_set_show_text(GTK_PROGRESS_BAR(bar), TRUE);
    pause = gtk_toggle_button_new_with_mnemonic(Caption(IDS_BOTO_PAUSA).c_str());
    gtk_widget_set_name(pause, "pause");
    cancel = gtk_button_new_with_mnemonic(Caption(IDS_BOTO_CANCELLAR).c_str());
    gtk_widget_set_name(cancel, "cancel");
    GtkWidget* buttons = gtk_button_box_new(GTK_ORIENTATION_HORIZONTAL);
    gtk_button_box_set_layout(GTK_BUTTON_BOX(buttons), GTK_BUTTONBOX_END);
    gtk_box_set_spacing(GTK_BOX(buttons), 6);
    gtk_container_add(GTK_CONTAINER(buttons), pause);
    gtk_container_add(GTK_CONTAINER(buttons), cancel);
    for (GtkWidget* row : {label, bar, times, buttons}) gtk_box_pack_start(GTK_BOX(box), row, FALSE, FALSE, 0);
    gtk_container_add(GTK_CONTAINER(window), box);

    g_signal_connect(pause, "toggled", G_CALLBACK(OnPause), this);
    g_signal_connect(cancel, "clicked", G_CALLBACK(OnCancel), this);
    g_signal_connect(window, "delete-event", G_CALLBACK(OnClose), this);
    // Destroyed by this view, or by the application's own clean-up: forgotten.
    g_signal_connect(window, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer self) {
                       static_cast<View*>(self)->window = nullptr;
                     }),
                     this);
    shownPos = -1.0;
    shownPaused = 0;
    shownLanguage = AfxGetLanguage();
    shownMessage.clear();
    shownTimes.clear();
  }

  void Refresh(const std::wstring& text) {
    if (text != shownMessage) {
      shownMessage = text;
      // One line: a message of many must not push the buttons off the screen.
      std::wstring line = text;
      std::replace_if(line.begin(), line.end(), [](wchar_t c) { return c == L'\n' || c == L'\r'; }, L' ');
      gtk_label_set_text(GTK_LABEL(label), kwfw::WideToUtf8(line).c_str());
    }
    if (const unsigned short language = AfxGetLanguage(); language != shownLanguage) {
      shownLanguage = language;
      shownPaused = -1;  // the pause button's caption is set below
      gtk_button_set_label(GTK_BUTTON(cancel), Caption(IDS_BOTO_CANCELLAR).c_str());
    }
    const double at = pos.load(std::memory_order_relaxed);
    if (at != shownPos) {
      shownPos = at;
      const double fraction = std::clamp(std::isnan(at) ? 0.0 : at, 0.0, 1.0);
      gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(bar), fraction);
      gtk_progress_bar_set_text(GTK_PROGRESS_BAR(bar), (std::to_string(std::lround(fraction * 100)) + " %").c_str());
    }
    std::wstring line;
    if (const unsigned long long start = timerStart.load(std::memory_order_relaxed); start > 0) {
      const unsigned long long elapsed = kwplat::GetTickCount64() - start;
      CString part;
      part.Format(LibraryString(IDS_PROGRES_TEMPS), Clock(static_cast<long long>(elapsed / 1000)).c_str());
      line = part.GetString();
      if (at > 0.0) {
        part.Format(LibraryString(IDS_PROGRES_FINAL), LocalTime(eta.load(std::memory_order_relaxed)).c_str());
        line += L"    ";
        line += part.GetString();
      }
    }
    if (line != shownTimes) {
      shownTimes = line;
      gtk_label_set_text(GTK_LABEL(times), kwfw::WideToUtf8(line).c_str());
    }
    const int isPaused = paused.load(std::memory_order_relaxed) ? 1 : 0;
    if (isPaused != shownPaused) {
      shownPaused = isPaused;
      syncing = true;
      gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(pause), isPaused);
      syncing = false;
      gtk_button_set_label(GTK_BUTTON(pause), Caption(isPaused ? IDS_BOTO_REPRENDRE : IDS_BOTO_PAUSA).c_str());
    }
    const bool running = !cancelled.load(std::memory_order_relaxed);
    gtk_widget_set_sensitive(pause, running);
    gtk_widget_set_sensitive(cancel, running);
  }

  static void OnPause(GtkToggleButton* button, gpointer self) {
    auto* view = static_cast<View*>(self);
    if (view->syncing) return;
    std::lock_guard guard(view->calling);
    if (view->owner == nullptr) return;
    if (gtk_toggle_button_get_active(button)) {
      view->owner->Pausa();
    } else {
      view->owner->Reanudar();
    }
  }

  static void OnCancel(GtkButton*, gpointer self) {
    auto* view = static_cast<View*>(self);
    std::lock_guard guard(view->calling);
    if (view->owner != nullptr) view->owner->Cancelar();
  }

  // Closing the window is the Cancel button, and the window goes at once.
  static gboolean OnClose(GtkWidget* window, GdkEvent*, gpointer self) {
    auto* view = static_cast<View*>(self);
    {
      std::lock_guard guard(view->calling);
      if (view->owner != nullptr) view->owner->Cancelar();
    }
    {
      std::lock_guard guard(view->lock);
      view->wanted = false;
    }
    gtk_widget_hide(window);
    return TRUE;
  }

  const std::thread::id gui;
  GMainContext* const context;

  // guards owner while the window's buttons call it: held across those calls, which
  // an override may make call back in (a message set on Cancel)
  std::recursive_mutex calling;
  CGtkIndicadorEstat* owner;  // null once the indicator is gone
  std::mutex lock;  // guards message, wanted and wantedAt
  std::wstring message;
  bool wanted = false;
  gint64 wantedAt = 0;

  // Stored by the indicator's side, from any thread; read by the window.
  std::atomic<double> pos{0.0};
  std::atomic<unsigned long long> timerStart{0};  // the timer's start on the tick clock; 0 without one
  std::atomic<long long> eta{0};
  std::atomic<bool> paused{false};
  std::atomic<bool> cancelled{false};
  std::atomic<bool> due{false};  // the window asks the worker for fresh times

  // GTK's thread only.
  GtkWindow* const ownerWindow;
  GtkWidget* window = nullptr;
  GtkWidget* label = nullptr;
  GtkWidget* bar = nullptr;
  GtkWidget* times = nullptr;
  GtkWidget* pause = nullptr;
  GtkWidget* cancel = nullptr;
  GSource* ticker = nullptr;
  bool syncing = false;  // the pause button set to match a pause made elsewhere
  double shownPos = -1.0;
  int shownPaused = 0;
  unsigned short shownLanguage = 0;
  std::wstring shownMessage;
  std::wstring shownTimes;
};

CGtkIndicadorEstat::CGtkIndicadorEstat(CGtkWnd* owner) : m_view(std::make_shared<View>(this, owner)) {}

CGtkIndicadorEstat::~CGtkIndicadorEstat() {
  {
    std::lock_guard guard(m_view->calling);
    m_view->owner = nullptr;
  }
  {
    std::lock_guard guard(m_view->lock);
    m_view->wanted = false;
  }
  m_view->OnGui(&View::Close);
}

void CGtkIndicadorEstat::SetMissatge(const wchar_t* text) {
  TIndicadorEstat::SetMissatge(text);
  std::lock_guard guard(m_view->lock);
  m_view->message = text != nullptr ? text : L"";
}

int CGtkIndicadorEstat::MostrarEstat(double pos) {
  View& view = *m_view;
  view.pos.store(pos, std::memory_order_relaxed);
  int going = 1;
  if (std::this_thread::get_id() == view.gui) {
    ServeWindow();
    // The indicator's pause wait runs the messages of a thread with a thread
    // object: GTK's thread gets one for the report when it has none, so that a
    // pause, from the window or from any thread, leaves the window alive.
    std::optional<CWinThread> pumping;
    if (AfxGetThread() == nullptr) pumping.emplace();
    going = TIndicadorEstat::MostrarEstat(pos);
  } else {
    going = TIndicadorEstat::MostrarEstat(pos);
  }
  // The times are the worker's to read (its timer), with the position just
  // stored, and only as often as the window shows them.
  if (view.due.load(std::memory_order_relaxed) && view.due.exchange(false, std::memory_order_relaxed)) {
    const unsigned long long elapsed = GetTempsTimer();
    view.timerStart.store(elapsed > 0 ? kwplat::GetTickCount64() - elapsed : 0, std::memory_order_relaxed);
    view.eta.store(GetETA().GetTime(), std::memory_order_relaxed);
  }
  return going;
}

void CGtkIndicadorEstat::ServeWindow() {
  const gint64 now = g_get_monotonic_time();
  if (now < m_nextServe) return;
  m_nextServe = now + kIntervalMs * G_GINT64_CONSTANT(1000);
  // Bounded: a source that is always ready must not keep the work from going on.
  GMainContext* context = m_view->context;
  for (int i = 0; i < 64 && g_main_context_pending(context); ++i) g_main_context_iteration(context, FALSE);
}

void CGtkIndicadorEstat::Init() {
  TIndicadorEstat::Init();
  m_view->paused.store(false, std::memory_order_release);
  m_view->cancelled.store(false, std::memory_order_relaxed);
  std::lock_guard guard(m_view->lock);
  m_view->message.clear();
}

void CGtkIndicadorEstat::Cancelar() {
  TIndicadorEstat::Cancelar();
  m_view->cancelled.store(true, std::memory_order_relaxed);
  m_view->paused.store(false, std::memory_order_release);
  g_main_context_wakeup(m_view->context);
  m_view->Later(&View::RefreshNow);
}

void CGtkIndicadorEstat::Pausa() {
  TIndicadorEstat::Pausa();
  m_view->paused.store(true, std::memory_order_release);
  m_view->Later(&View::RefreshNow);
}

void CGtkIndicadorEstat::Reanudar() {
  TIndicadorEstat::Reanudar();
  m_view->paused.store(false, std::memory_order_release);
  g_main_context_wakeup(m_view->context);
  m_view->Later(&View::RefreshNow);
}

void CGtkIndicadorEstat::Mostrar() {
  {
    std::lock_guard guard(m_view->lock);
    // Asked again while wanted: the delay already running goes on.
    if (!m_view->wanted) m_view->wantedAt = g_get_monotonic_time();
    m_view->wanted = true;
  }
  m_view->OnGui(&View::StartTicking);
}

void CGtkIndicadorEstat::Amagar() {
  {
    std::lock_guard guard(m_view->lock);
    m_view->wanted = false;
  }
  m_view->OnGui(&View::Hide);
}

GtkWindow* CGtkIndicadorEstat::Window() const {
  return m_view->window != nullptr && gtk_widget_get_visible(m_view->window) ? GTK_WINDOW(m_view->window) : nullptr;
}
