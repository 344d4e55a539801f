// The progress window on the test's own X server: when it shows, how often it is
// refreshed, its buttons and its close as a user presses them, a worker on
// another thread and on GTK's own, and a photograph of it at 40 %.
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/containers/llista.h>
#include <kwlib63/core/frame.h>
#include <kwlib63/core/valueitem.h>
#include <kwlib63/gtk/gtkindicadorestat.h>

#include "pump.h"

namespace {

using kwtest::Named;
using kwtest::PumpUntil;
using Clock = std::chrono::steady_clock;

GtkWidget* Part(CGtkIndicadorEstat& ie, const char* name) {
  return Named(GTK_WIDGET(ie.Window()), name);
}

std::string ButtonLabel(CGtkIndicadorEstat& ie, const char* name) {
  GtkWidget* button = Part(ie, name);
  return button != nullptr ? gtk_button_get_label(GTK_BUTTON(button)) : "";
}

double Fraction(CGtkIndicadorEstat& ie) {
  GtkWidget* bar = Part(ie, "bar");
  return bar != nullptr ? gtk_progress_bar_get_fraction(GTK_PROGRESS_BAR(bar)) : -1.0;
}

// Runs GTK's loop for `span`: for checks that something does not happen.
void PumpFor(std::chrono::milliseconds span, const std::function<void()>& each = {}) {
  const auto end = Clock::now() + span;
  while (Clock::now() < end) {
    while (gtk_events_pending()) gtk_main_iteration();
    if (each) each();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

TEST(GtkIndicadorEstat, ShowsOnlyAfterTheDelayAndQuickWorkFlashesNothing) {
  CGtkIndicadorEstat ie;
  ie.Mostrar();
  ie.Amagar();
  bool flashed = false;
  PumpFor(std::chrono::milliseconds(3 * CGtkIndicadorEstat::kDelayMs), [&] { flashed |= ie.Window() != nullptr; });
  EXPECT_FALSE(flashed);

  const auto asked = Clock::now();
  ie.Mostrar();
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr; }));
  EXPECT_GE(Clock::now() - asked, std::chrono::milliseconds(CGtkIndicadorEstat::kDelayMs));
  ie.Amagar();
  EXPECT_TRUE(PumpUntil([&] { return ie.Window() == nullptr; }));
}

TEST(GtkIndicadorEstat, AMillionReportsRefreshTheWindowAtMostTwentyTimesASecond) {
  CGtkIndicadorEstat ie;
  ie.ActivarTimer();
  ie.SetMissatge(L"Comptant");
  ie.Mostrar();
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr; }));
  int refreshes = 0;
  g_signal_connect(Part(ie, "bar"), "notify::fraction",
                   G_CALLBACK(+[](GObject*, GParamSpec*, gpointer count) { ++*static_cast<int*>(count); }), &refreshes);
  constexpr int kReports = 1'000'000;
  std::atomic<bool> done{false};
  const auto start = Clock::now();
  std::thread worker([&] {
    for (int i = 1; i <= kReports; ++i) ie.MostrarEstat(static_cast<double>(i) / kReports);
    done = true;
  });
  ASSERT_TRUE(PumpUntil([&] { return done.load(); }));
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  worker.join();
  EXPECT_LE(refreshes, static_cast<int>(20 * seconds) + 1) << "in " << seconds << " s";
  // The last report still reaches the window, with the times of the timer.
  EXPECT_TRUE(PumpUntil([&] { return Fraction(ie) == 1.0; }));
  EXPECT_TRUE(PumpUntil([&] { return std::string(gtk_label_get_text(GTK_LABEL(Part(ie, "times")))).find(':') != std::string::npos; }));
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(Part(ie, "message"))), "Comptant");
}

TEST(GtkIndicadorEstat, PauseHoldsAWorkerWithinOneReportAndResumeLetsItGoOn) {
  const unsigned short language = AfxSetLanguage(LANG_EN_US);
  CGtkIndicadorEstat ie;
  ie.Mostrar();
  std::atomic<long> reports{0};
  std::atomic<int> last{1};
  std::thread worker([&] {
    while ((last = ie.MostrarEstat(0.5)) != 0) ++reports;
  });
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr && reports > 0; }));
  EXPECT_EQ(ButtonLabel(ie, "pause"), "_Pause");
  gtk_button_clicked(GTK_BUTTON(Part(ie, "pause")));
  const long atPause = reports;
  ASSERT_TRUE(PumpUntil([&] { return ButtonLabel(ie, "pause") == "_Resume"; }));
  // However long it is given, the worker finishes at most the report under way.
  PumpFor(std::chrono::milliseconds(300));
  EXPECT_LE(reports.load(), atPause + 1);
  EXPECT_EQ(ie.GetPausa(), 1);

  gtk_button_clicked(GTK_BUTTON(Part(ie, "pause")));
  EXPECT_TRUE(PumpUntil([&] { return reports > atPause + 1000; }));
  EXPECT_TRUE(PumpUntil([&] { return ButtonLabel(ie, "pause") == "_Pause"; }));

  gtk_button_clicked(GTK_BUTTON(Part(ie, "cancel")));
  worker.join();
  EXPECT_EQ(last.load(), 0);
  EXPECT_TRUE(PumpUntil([&] { return !gtk_widget_get_sensitive(Part(ie, "cancel")); }));
  AfxSetLanguage(language);
}

TEST(GtkIndicadorEstat, CancelStopsASortAndLeavesTheListAsItWas) {
  TLlista list;
  std::mt19937 random(27);
  for (int i = 0; i < 200'000; ++i) list.Afegir(new TInt(static_cast<int>(random() % 1000)));
  std::vector<TItem*> before;
  for (int i = 0; i < 200'000; ++i) before.push_back(list[i]);
  CGtkIndicadorEstat ie;
  ie.Mostrar();
  ie.Pausa();  // held at its first report until the button is pressed
  std::atomic<int> result{1};
  std::thread worker([&] {
    result = list.Ordenar([](const TItem* a, const TItem* b, __int64) { return a->Comparar(b); }, 0, &ie);
  });
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr; }));
  gtk_button_clicked(GTK_BUTTON(Part(ie, "cancel")));
  worker.join();
  EXPECT_EQ(result.load(), -5);
  for (int i = 0; i < 200'000; ++i) ASSERT_EQ(list[i], before[static_cast<std::size_t>(i)]) << "at " << i;
  EXPECT_EQ(ie.MostrarEstat(0.7), 0);
}

TEST(GtkIndicadorEstat, ClosingTheWindowCancels) {
  CGtkIndicadorEstat ie;
  ie.Mostrar();
  ie.Pausa();
  std::atomic<int> last{1};
  std::atomic<bool> done{false};
  std::thread worker([&] {
    last = ie.MostrarEstat(0.2);
    done = true;
  });
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr; }));
  gtk_window_close(ie.Window());
  EXPECT_TRUE(PumpUntil([&] { return done.load(); }));
  worker.join();
  EXPECT_EQ(last.load(), 0);
  EXPECT_EQ(ie.TestCancel(), 1);
  EXPECT_TRUE(PumpUntil([&] { return ie.Window() == nullptr; }));
}

TEST(GtkIndicadorEstat, AWorkerOnGtksThreadKeepsTheWindowAliveWhilePaused) {
  // The user, as a source of GTK's loop: pauses once the window shows, sees the
  // window still served while the worker waits, and resumes.
  struct User {
    CGtkIndicadorEstat ie;
    long reports = 0;
    int stage = 0;
    long atPause = -1;
    long whilePaused = -1;
  } user;
  user.ie.Mostrar();
  g_timeout_add(
      20,
      [](gpointer data) -> gboolean {
        auto* u = static_cast<User*>(data);
        if (u->ie.Window() == nullptr) return G_SOURCE_CONTINUE;
        if (u->stage == 0) {
          gtk_button_clicked(GTK_BUTTON(Part(u->ie, "pause")));
          u->atPause = u->reports;
          u->stage = 1;
          return G_SOURCE_CONTINUE;
        }
        u->whilePaused = u->reports;
        gtk_button_clicked(GTK_BUTTON(Part(u->ie, "pause")));
        u->stage = 2;
        return G_SOURCE_REMOVE;
      },
      &user);
  // The worker: reports until a while after the resume.
  long afterResume = 0;
  while (user.ie.MostrarEstat(0.3) != 0 && afterResume < 1000) {
    ++user.reports;
    afterResume += user.stage == 2 ? 1 : 0;
  }
  EXPECT_EQ(user.stage, 2);
  EXPECT_EQ(user.whilePaused, user.atPause);
  EXPECT_EQ(afterResume, 1000);
}

TEST(GtkIndicadorEstat, APauseFromAnotherThreadLeavesGtksLoopRunning) {
  // A worker on GTK's thread, paused and resumed from another thread again and
  // again: while it is held, GTK's sources must still run.
  CGtkIndicadorEstat ie;
  std::atomic<long> reports{0}, ticks{0};
  std::atomic<bool> done{false}, alive{true};
  const guint source = g_timeout_add(
      5, [](gpointer count) -> gboolean { return ++*static_cast<std::atomic<long>*>(count), G_SOURCE_CONTINUE; },
      &ticks);
  std::thread pauser([&] {
    for (int round = 0; round < 20 && alive; ++round) {
      const long at = reports;
      kwtest::Eventually([&] { return reports > at + 100; });
      ie.Pausa();
      const long seen = ticks;
      alive = kwtest::Eventually([&] { return ticks > seen + 3; });
      ie.Reanudar();
    }
    done = true;
  });
  while (!done) {
    ie.MostrarEstat(0.5);
    ++reports;
  }
  pauser.join();
  g_source_remove(source);
  EXPECT_TRUE(alive);
}

TEST(GtkIndicadorEstat, AnOverrideMayCallBackFromTheButtons) {
  // A client's Cancelar that also says so.
  struct Saying : CGtkIndicadorEstat {
    void Cancelar() override {
      CGtkIndicadorEstat::Cancelar();
      SetMissatge(L"Cancel\u00B7lant");
    }
  } ie;
  ie.Mostrar();
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr; }));
  gtk_button_clicked(GTK_BUTTON(Part(ie, "cancel")));
  EXPECT_EQ(ie.TestCancel(), 1);
  EXPECT_TRUE(PumpUntil([&] { return std::string(gtk_label_get_text(GTK_LABEL(Part(ie, "message")))) == "Cancel\u00B7lant"; }));
}

TEST(GtkIndicadorEstat, AHideFromAWorkerDoesNotUndoTheNextShow) {
  CGtkIndicadorEstat ie;
  ie.Mostrar();
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr; }));
  std::thread([&] { ie.Amagar(); }).join();  // the first job ends on its worker
  ie.Mostrar();                              // and GTK's thread starts the next at once
  // The hide, queued first, must not take the new job's window away.
  PumpFor(std::chrono::milliseconds(2 * CGtkIndicadorEstat::kDelayMs));
  EXPECT_NE(ie.Window(), nullptr);
}

TEST(GtkIndicadorEstat, ButtonsSpeakTheCurrentLanguage) {
  const unsigned short language = AfxGetLanguage();
  struct Case {
    unsigned short language;
    const char* pause;
    const char* cancel;
  };
  // German is not in the library's table: its default language answers.
  for (const Case& c : {Case{LANG_EN_US, "_Pause", "Cancel"}, Case{LANG_FR_FR, "_Pause", "Annuler"},
                        Case{0x0407, "_Pause", "Annuler"}}) {
    AfxSetLanguage(c.language);
    CGtkIndicadorEstat ie;
    ie.Mostrar();
    ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr; }));
    EXPECT_EQ(ButtonLabel(ie, "pause"), c.pause) << c.language;
    EXPECT_EQ(ButtonLabel(ie, "cancel"), c.cancel) << c.language;
    ie.Pausa();
    EXPECT_TRUE(PumpUntil([&] {
      return ButtonLabel(ie, "pause") == (c.language == LANG_EN_US ? "_Resume" : "_Reprendre");
    })) << c.language;
  }
  AfxSetLanguage(language);
}

// Where the bar is filled along its middle row, as a fraction of its width; the
// fill is the colour at its left end, the trough the one at its right end.
double FilledPart(GdkPixbuf* picture, const GtkAllocation& bar, guint32& fill, guint32& trough) {
  const guchar* pixels = gdk_pixbuf_get_pixels(picture);
  const int stride = gdk_pixbuf_get_rowstride(picture), channels = gdk_pixbuf_get_n_channels(picture);
  const auto at = [&](int x, int y) {
    const guchar* p = pixels + y * stride + x * channels;
    return static_cast<guint32>(p[0] << 16 | p[1] << 8 | p[2]);
  };
  // The row where the bar's two ends differ most clearly: the fill's.
  for (int y = bar.y; y < bar.y + bar.height; ++y) {
    fill = at(bar.x + bar.width / 10, y);
    trough = at(bar.x + bar.width * 9 / 10, y);
    if (fill == trough) continue;
    int x = bar.x + bar.width / 10;
    while (x < bar.x + bar.width && at(x, y) == fill) ++x;
    return static_cast<double>(x - bar.x) / bar.width;
  }
  return -1.0;
}

TEST(GtkIndicadorEstat, APhotographAtFortyPercentShowsTheBar) {
  CGtkIndicadorEstat ie;
  ie.SetMissatge(L"Llegint el fitxer de registres");
  ie.MostrarEstat(0.4);
  ie.Mostrar();
  ASSERT_TRUE(PumpUntil([&] { return ie.Window() != nullptr && Fraction(ie) == 0.4; }));
  GtkWidget* window = GTK_WIDGET(ie.Window());
  // Photographed once drawn with the 40 %.
  bool drawn = false;
  g_signal_connect_after(window, "draw", G_CALLBACK(+[](GtkWidget*, cairo_t*, gpointer flag) {
                           *static_cast<bool*>(flag) = true;
                           return FALSE;
                         }),
                         &drawn);
  gtk_widget_queue_draw(window);
  ASSERT_TRUE(PumpUntil([&] { return drawn; }));
  GdkWindow* gdk = gtk_widget_get_window(window);
  GdkPixbuf* picture = gdk_pixbuf_get_from_window(gdk, 0, 0, gdk_window_get_width(gdk), gdk_window_get_height(gdk));
  ASSERT_NE(picture, nullptr);
  gdk_pixbuf_save(picture, (std::string(KWTEST_ARTEFACTS) + "/progress-window.png").c_str(), "png", nullptr, nullptr);
  GtkAllocation bar;
  gtk_widget_get_allocation(Part(ie, "bar"), &bar);
  gtk_widget_translate_coordinates(Part(ie, "bar"), window, 0, 0, &bar.x, &bar.y);
  guint32 fill = 0, trough = 0;
  const double filled = FilledPart(picture, bar, fill, trough);
  EXPECT_NEAR(filled, 0.4, 0.05) << std::hex << fill << " on " << trough;
  // The theme's fill is a blue, above the trough's grey.
  EXPECT_GT(fill & 0xFF, (fill >> 16) + 40) << std::hex << fill;
  EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(Part(ie, "message"))), "Llegint el fitxer de registres");
  g_object_unref(picture);
}

}  // namespace
