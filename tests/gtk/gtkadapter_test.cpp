// The GTK adapter on an X server of the test's own: a real window's placement
// saved and restored, a message box and a folder picker answered as a user would,
// and a photograph of the example program.
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtk/gtk.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <kwlib63/gtk/gtkdialogs.h>
#include <kwlib63/gtk/gtkwnd.h>
#include <kwlib63/platform/messagebox.h>
#include <kwlib63/platform/shell.h>
#include <kwlib63/settings/carpetaregistry.h>

#include "support/privatedisplay.h"
#include "support/privatehive.h"
#include "support/tempdir.h"
#include "pump.h"

namespace {

kwtest::PrivateDisplay* const g_display =
    static_cast<kwtest::PrivateDisplay*>(::testing::AddGlobalTestEnvironment(new kwtest::PrivateDisplay));

using kwtest::PumpUntil;

// The first top-level window of `type` that is shown, or null.
GtkWidget* Shown(GType type) {
  GList* windows = gtk_window_list_toplevels();
  GtkWidget* found = nullptr;
  for (GList* w = windows; w != nullptr && found == nullptr; w = w->next) {
    if (G_TYPE_CHECK_INSTANCE_TYPE(w->data, type) && gtk_widget_get_visible(GTK_WIDGET(w->data))) {
      found = GTK_WIDGET(w->data);
    }
  }
  g_list_free(windows);
  return found;
}

// Calls `answer` with the dialog of `type` once it shows.
void AnswerWhenShown(GType type, std::function<void(GtkWidget*)> answer) {
  struct Pending {
    GType type;
    std::function<void(GtkWidget*)> answer;
  };
  g_timeout_add(
      50,
      [](gpointer data) -> gboolean {
        auto* pending = static_cast<Pending*>(data);
        GtkWidget* dialog = Shown(pending->type);
        if (dialog == nullptr) return G_SOURCE_CONTINUE;
        pending->answer(dialog);
        delete pending;
        return G_SOURCE_REMOVE;
      },
      new Pending{type, std::move(answer)});
}

TEST(GtkAdapter, AWindowsPlacementIsSavedAndRestored) {
  kwtest::PrivateHive hive;
  TCarpetaRegistry::SetCarpetaBaseApp(L"Software\\Tormel\\kwtest-gtk");
  GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  {
    CGtkWnd frame(GTK_WINDOW(window));
    WINDOWPLACEMENT placement{sizeof placement, 0, SW_SHOWNORMAL, {-1, -1}, {-1, -1}, {40, 30, 440, 330}};
    ASSERT_TRUE(frame.SetWindowPlacement(&placement));
    gtk_widget_show(window);
    const auto at = [window](int x, int y, int width, int height) {
      return PumpUntil([=] {
        int px = 0, py = 0, w = 0, h = 0;
        gtk_window_get_position(GTK_WINDOW(window), &px, &py);
        gtk_window_get_size(GTK_WINDOW(window), &w, &h);
        return px == x && py == y && w == width && h == height;
      });
    };
    ASSERT_TRUE(at(40, 30, 400, 300));
    ASSERT_TRUE(AfxSaveWndState(&frame, L"Prova"));

    placement.rcNormalPosition = {100, 120, 300, 220};
    frame.SetWindowPlacement(&placement);
    ASSERT_TRUE(at(100, 120, 200, 100));
    ASSERT_TRUE(AfxLoadWndState(&frame, L"Prova", 0));
    EXPECT_TRUE(at(40, 30, 400, 300));
    WINDOWPLACEMENT read{};
    read.length = sizeof read;
    ASSERT_TRUE(frame.GetWindowPlacement(&read));
    EXPECT_EQ(read.rcNormalPosition.left, 40);
    EXPECT_EQ(read.rcNormalPosition.bottom, 330);
    EXPECT_EQ(read.showCmd, static_cast<UINT>(SW_SHOWNORMAL));

    frame.SetWindowTextW(L"Títol");
    CString title;
    frame.GetWindowTextW(title);
    EXPECT_EQ(title, L"Títol");
  }
  gtk_widget_destroy(window);
  TCarpetaRegistry::SetCarpetaBaseApp(nullptr);
}

TEST(GtkAdapter, AMessageBoxIsAnsweredLikeAUserWould) {
  AfxGtkInstallDialogs();
  std::string title, text;
  int buttons = 0;
  AnswerWhenShown(GTK_TYPE_MESSAGE_DIALOG, [&](GtkWidget* dialog) {
    title = gtk_window_get_title(GTK_WINDOW(dialog));
    gchar* shown = nullptr;
    g_object_get(dialog, "text", &shown, nullptr);
    text = shown;
    g_free(shown);
    for (int id : {IDYES, IDNO, IDCANCEL, IDOK}) {
      buttons += gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), id) != nullptr ? 1 : 0;
    }
    gtk_dialog_response(GTK_DIALOG(dialog), IDNO);
  });
  EXPECT_EQ(kwplat::MessageBoxW(nullptr, L"Desar els canvis?", L"Prova", MB_YESNOCANCEL | MB_ICONQUESTION), IDNO);
  EXPECT_EQ(title, "Prova");
  EXPECT_EQ(text, "Desar els canvis?");
  EXPECT_EQ(buttons, 3);  // yes, no, cancel

  // Closed without a button: Cancel where the box has one.
  AnswerWhenShown(GTK_TYPE_MESSAGE_DIALOG,
                  [](GtkWidget* dialog) { gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_DELETE_EVENT); });
  EXPECT_EQ(kwplat::MessageBoxW(nullptr, L"?", L"Prova", MB_OKCANCEL), IDCANCEL);
  AfxSetMessageBoxHandler(nullptr, nullptr);
}

TEST(GtkAdapter, TheFolderPickerGivesTheChosenFolder) {
  kwtest::TempDir dir("kwgtk");
  AfxGtkInstallDialogs();
  AnswerWhenShown(GTK_TYPE_FILE_CHOOSER_DIALOG, [&dir](GtkWidget* dialog) {
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(dialog), dir.Path().c_str());
    // The chooser loads the folder in the background: accept once it shows it.
    g_timeout_add(
        50,
        [](gpointer chooser) -> gboolean {
          gchar* shown = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(chooser));
          if (shown == nullptr) return G_SOURCE_CONTINUE;
          g_free(shown);
          gtk_dialog_response(GTK_DIALOG(chooser), GTK_RESPONSE_ACCEPT);
          return G_SOURCE_REMOVE;
        },
        dialog);
  });
  wchar_t folder[MAX_PATH] = {};
  EXPECT_EQ(kwplat::BrowseForFolder(nullptr, L"Carpeta", BIF_RETURNONLYFSDIRS, L"/tmp", folder, MAX_PATH), 1);
  EXPECT_EQ(std::wstring(folder), kwfw::Utf8ToWide(dir.Path()));
  AfxSetFolderPickerHandler(nullptr, nullptr);
}

// Runs the example with `option` FILE.png (exit 0 expected) and gives the picture
// it took, null when there is none.
GdkPixbuf* ExamplePicture(const char* option, const char* name) {
  kwtest::TempDir registry("kwgtk-reg");
  const std::string shot = std::string(KWTEST_ARTEFACTS) + "/" + name;
  std::remove(shot.c_str());
  const std::string command = "KWLIB63_REGISTRY_DIR=" + registry.Path() + " " + KWTEST_GTK_DEMO + " " + option +
                              " " + shot + " >/dev/null 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << option;
  GError* error = nullptr;
  GdkPixbuf* picture = gdk_pixbuf_new_from_file(shot.c_str(), &error);
  EXPECT_NE(picture, nullptr) << (error != nullptr ? error->message : "");
  if (error != nullptr) g_error_free(error);
  return picture;
}

// The pixels of `picture` whose red, green and blue satisfy `wanted`.
int CountPixels(GdkPixbuf* picture, const std::function<bool(int r, int g, int b)>& wanted) {
  int count = 0;
  const guchar* pixels = gdk_pixbuf_get_pixels(picture);
  for (int y = 0; y < gdk_pixbuf_get_height(picture); ++y) {
    for (int x = 0; x < gdk_pixbuf_get_width(picture); ++x) {
      const guchar* p = pixels + y * gdk_pixbuf_get_rowstride(picture) + x * gdk_pixbuf_get_n_channels(picture);
      count += wanted(p[0], p[1], p[2]) ? 1 : 0;
    }
  }
  return count;
}

TEST(GtkAdapter, TheExampleDrawsItsOwnerDrawnList) {
  GdkPixbuf* picture = ExamplePicture("--screenshot", "kwlib63-gtk-demo.png");
  ASSERT_NE(picture, nullptr);
  EXPECT_GE(gdk_pixbuf_get_width(picture), 320);
  // The selected row is on the highlight colour, the others on the window colour.
  EXPECT_GT(CountPixels(picture, [](int r, int g, int b) { return r == 10 && g == 36 && b == 106; }), 320 * 20);
  EXPECT_GT(CountPixels(picture, [](int r, int g, int b) { return r == 255 && g == 255 && b == 255; }), 320 * 40);
  g_object_unref(picture);
}

TEST(GtkAdapter, TheExampleShowsItsSortsProgressWindow) {
  // Photographed a third of the way, then cancelled.
  GdkPixbuf* picture = ExamplePicture("--progress-screenshot", "kwlib63-gtk-demo-progress.png");
  ASSERT_NE(picture, nullptr);
  // The bar's blue fill, a third of the way or more across the window.
  EXPECT_GT(CountPixels(picture, [](int r, int, int b) { return b > 150 && b > r + 40; }),
            gdk_pixbuf_get_width(picture) / 3 * 3);
  g_object_unref(picture);
}

}  // namespace
