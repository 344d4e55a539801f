// A small GTK program on kwlib63 and kwlib63-gtk: a window whose place is kept in
// the registry, a menu of units made by unitsMenu, an owner-drawn list painted by
// CDrawItemHelper, message boxes through the library, and a long sort of a list
// on a worker thread with the progress window. The library's message pump drives
// GTK, whose events share the main thread's context.
//
//   kwlib63-gtk-demo [--screenshot FILE.png] [--progress-screenshot FILE.png]
// With --screenshot the window is shown, photographed once drawn, and closed.
// With --progress-screenshot the sort is started from the menu, held at a third
// of the way, its progress window photographed, and the sort cancelled.
#include <gtk/gtk.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <kwlib63/containers/llista.h>
#include <kwlib63/core/valueitem.h>
#include <kwlib63/framework/controls.h>
#include <kwlib63/framework/menu.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/gtk/gtkdialogs.h>
#include <kwlib63/gtk/gtkindicadorestat.h>
#include <kwlib63/gtk/gtkwnd.h>
#include <kwlib63/platform/messagebox.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/settings/carpetaregistry.h>
#include <kwlib63/ui/drawitemhelper.h>
#include <kwlib63/units/unitats.h>

namespace {

// The long operation: two million numbers sorted on a worker thread while the
// progress window reports, pauses and cancels it.
struct Sort {
  std::unique_ptr<CGtkIndicadorEstat> ie;
  TLlista numbers;
  std::thread worker;
  int result = 0;
};

struct Demo {
  CGtkWnd* frame = nullptr;
  CListBox list;
  CMenu* units = nullptr;
  std::vector<GtkWidget*> unitItems;
  const char* screenshot = nullptr;
  const char* progressScreenshot = nullptr;
  std::unique_ptr<Sort> sort;
};

// The list's rows as owner-drawn items: a plain one, the selected one with the
// focus, and a grayed one.
gboolean Draw(GtkWidget* area, cairo_t* cr, gpointer data) {
  auto* demo = static_cast<Demo*>(data);
  CDC dc(cr);
  const int width = gtk_widget_get_allocated_width(area);
  const UINT states[] = {0, ODS_SELECTED | ODS_FOCUS, ODS_GRAYED};
  for (int i = 0; i < demo->list.GetCount(); ++i) {
    const DRAWITEMSTRUCT item{ODT_LISTBOX, 1, static_cast<UINT>(i), ODA_DRAWENTIRE, states[i % 3],
                              demo->list.GetSafeHwnd(), dc.GetSafeHdc(), {0, i * 28, width, i * 28 + 28}, 0};
    CDrawItemHelper helper(&item);
    helper.PintarFons();
    helper.PintarText(helper.GetTextItem(), nullptr, DT_SINGLELINE | DT_VCENTER, DEFAULT_GUI_FONT);
    helper.PintarFocus(1);
  }
  dc.Detach();
  return FALSE;
}

void ChooseUnit(GtkCheckMenuItem* item, gpointer data) {
  if (!gtk_check_menu_item_get_active(item)) return;
  auto* demo = static_cast<Demo*>(data);
  const int unit = GPOINTER_TO_INT(g_object_get_data(G_OBJECT(item), "unit"));
  AfxSetUnitatsActives(static_cast<TipusUnitats>(unit));
  kwplat::MessageBoxW(nullptr, (L"210 mm = " + std::wstring(eps2unit(unit2eps(L"210 mm", UNITATS_MM),
                                                                      UNITATS_ACTIVES, 1, 0)))
                                   .c_str(),
                      L"kwlib63", MB_OK | MB_ICONINFORMATION);
  (void)demo;
}

// The GTK menu that mirrors the library's unit menu.
GtkWidget* UnitsMenu(Demo& demo) {
  demo.units = unitsMenu(nullptr, 1);
  GtkWidget* menu = gtk_menu_new();
  GSList* group = nullptr;
  for (int i = 0; i < demo.units->GetMenuItemCount(); ++i) {
    CString label;
    demo.units->GetMenuStringW(i, label, MF_BYPOSITION);
    std::string mnemonic = kwfw::WideToUtf8(label.GetString());
    for (char& c : mnemonic) c = c == '&' ? '_' : c;
    GtkWidget* item = gtk_radio_menu_item_new_with_mnemonic(group, mnemonic.c_str());
    group = gtk_radio_menu_item_get_group(GTK_RADIO_MENU_ITEM(item));
    const UINT command = demo.units->GetMenuItemID(i);
    g_object_set_data(G_OBJECT(item), "unit", GINT_TO_POINTER(static_cast<int>(command) - 11310));
    gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(item),
                                   (demo.units->GetMenuState(i, MF_BYPOSITION) & MF_CHECKED) != 0);
    g_signal_connect(item, "toggled", G_CALLBACK(ChooseUnit), &demo);
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
  }
  GtkWidget* top = gtk_menu_item_new_with_mnemonic("_Unitats");
  gtk_menu_item_set_submenu(GTK_MENU_ITEM(top), menu);
  return top;
}

constexpr int kSortCount = 2'000'000;

gboolean SortEnded(gpointer data) {
  auto* demo = static_cast<Demo*>(data);
  demo->sort->worker.join();
  demo->sort->ie->Amagar();
  const int result = demo->sort->result;
  demo->sort.reset();
  if (demo->progressScreenshot != nullptr) {
    kwplat::PostQuitMessage(result == -5 ? 0 : 1);
  } else {
    kwplat::MessageBoxW(nullptr, result == 0 ? L"Llista ordenada." : L"Ordenació cancel·lada.", L"kwlib63",
                        MB_OK | MB_ICONINFORMATION);
  }
  return G_SOURCE_REMOVE;
}

void StartSort(GtkMenuItem*, gpointer data) {
  auto* demo = static_cast<Demo*>(data);
  if (demo->sort != nullptr) return;  // one at a time
  demo->sort = std::make_unique<Sort>();
  Sort& sort = *demo->sort;
  std::mt19937 random(63);
  for (int i = 0; i < kSortCount; ++i) sort.numbers.Afegir(new TInt(static_cast<int>(random() % 1000000)));
  sort.ie = std::make_unique<CGtkIndicadorEstat>(demo->frame);
  sort.ie->ActivarTimer();
  sort.ie->SetMissatge(L"Ordenant dos milions de nombres");
  sort.ie->Mostrar();
  sort.worker = std::thread([demo, &sort] {
    sort.result = sort.numbers.Ordenar([](const TItem* a, const TItem* b, __int64) { return a->Comparar(b); }, 0,
                                       sort.ie.get());
    g_idle_add(SortEnded, demo);
  });
}

GtkWidget* ListMenu(Demo& demo) {
  GtkWidget* menu = gtk_menu_new();
  GtkWidget* item = gtk_menu_item_new_with_mnemonic("_Ordenar dos milions de nombres");
  g_signal_connect(item, "activate", G_CALLBACK(StartSort), &demo);
  gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
  GtkWidget* top = gtk_menu_item_new_with_mnemonic("_Llista");
  gtk_menu_item_set_submenu(GTK_MENU_ITEM(top), menu);
  g_object_set_data(G_OBJECT(top), "sort", item);
  return top;
}

// Holds the sort a third of the way, photographs its window once drawn, and
// cancels it with the window's own button.
gboolean PhotographProgress(gpointer data) {
  auto* demo = static_cast<Demo*>(data);
  Sort* sort = demo->sort.get();
  if (sort == nullptr) return G_SOURCE_REMOVE;  // ended before: SortEnded reports it
  if (sort->ie->GetEstat() < 1.0 / 3 && !sort->ie->GetPausa()) return G_SOURCE_CONTINUE;
  sort->ie->Pausa();
  GtkWindow* window = sort->ie->Window();
  if (window == nullptr) return G_SOURCE_CONTINUE;
  if (g_object_get_data(G_OBJECT(window), "drawn") == nullptr) {
    if (g_object_get_data(G_OBJECT(window), "watched") == nullptr) {
      g_object_set_data(G_OBJECT(window), "watched", window);
      g_signal_connect_after(window, "draw", G_CALLBACK(+[](GtkWidget* drawn, cairo_t*, gpointer) {
                               g_object_set_data(G_OBJECT(drawn), "drawn", drawn);
                               return FALSE;
                             }),
                             nullptr);
      gtk_widget_queue_draw(GTK_WIDGET(window));
    }
    return G_SOURCE_CONTINUE;
  }
  GdkWindow* gdk = gtk_widget_get_window(GTK_WIDGET(window));
  GdkPixbuf* shot = gdk_pixbuf_get_from_window(gdk, 0, 0, gdk_window_get_width(gdk), gdk_window_get_height(gdk));
  if (shot != nullptr) {
    gdk_pixbuf_save(shot, demo->progressScreenshot, "png", nullptr, nullptr);
    g_object_unref(shot);
  }
  sort->ie->Cancelar();
  return G_SOURCE_REMOVE;
}

gboolean Photograph(gpointer data) {
  auto* window = static_cast<CGtkWnd*>(data);
  GdkWindow* gdk = gtk_widget_get_window(GTK_WIDGET(window->Window()));
  GdkPixbuf* shot = gdk_pixbuf_get_from_window(gdk, 0, 0, gdk_window_get_width(gdk), gdk_window_get_height(gdk));
  const char* file = static_cast<const char*>(g_object_get_data(G_OBJECT(window->Window()), "screenshot"));
  if (shot != nullptr) {
    gdk_pixbuf_save(shot, file, "png", nullptr, nullptr);
    g_object_unref(shot);
  }
  gtk_widget_destroy(GTK_WIDGET(window->Window()));
  return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
  gtk_init(&argc, &argv);
  Demo demo;
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], "--screenshot") == 0) demo.screenshot = argv[i + 1];
    if (std::strcmp(argv[i], "--progress-screenshot") == 0) demo.progressScreenshot = argv[i + 1];
  }
  AfxGtkInstallDialogs();
  TCarpetaRegistry::SetCarpetaBaseApp(L"Software\\Tormel\\kwlib63-gtk-demo");

  GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  gtk_window_set_default_size(GTK_WINDOW(window), 360, 180);
  CGtkWnd frame(GTK_WINDOW(window));
  demo.frame = &frame;
  frame.SetWindowTextW(L"kwlib63");
  frame.QuitOnClose();
  AfxLoadWndState(&frame, L"Finestra", 0);
  g_signal_connect(window, "delete-event", G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer wnd) {
                     AfxSaveWndState(static_cast<CGtkWnd*>(wnd), L"Finestra");
                     return FALSE;
                   }),
                   &frame);

  demo.list.CreateControl(&frame, 1);
  for (const wchar_t* row : {L"Millimètres", L"Pouces (seleccionat)", L"Points (desactivat)"}) demo.list.AddString(row);
  GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  GtkWidget* bar = gtk_menu_bar_new();
  gtk_menu_shell_append(GTK_MENU_SHELL(bar), UnitsMenu(demo));
  GtkWidget* listMenu = ListMenu(demo);
  gtk_menu_shell_append(GTK_MENU_SHELL(bar), listMenu);
  gtk_box_pack_start(GTK_BOX(box), bar, FALSE, FALSE, 0);
  GtkWidget* area = gtk_drawing_area_new();
  gtk_widget_set_size_request(area, 320, 3 * 28);
  g_signal_connect(area, "draw", G_CALLBACK(Draw), &demo);
  gtk_box_pack_start(GTK_BOX(box), area, TRUE, TRUE, 0);
  gtk_container_add(GTK_CONTAINER(window), box);
  gtk_widget_show_all(window);

  if (demo.screenshot != nullptr) {
    g_object_set_data(G_OBJECT(window), "screenshot", const_cast<char*>(demo.screenshot));
    // Once drawn: a second after showing is ample on any display.
    g_timeout_add(1000, Photograph, &frame);
  }
  if (demo.progressScreenshot != nullptr) {
    gtk_menu_item_activate(GTK_MENU_ITEM(g_object_get_data(G_OBJECT(listMenu), "sort")));
    g_timeout_add(5, PhotographProgress, &demo);
  }
  int code = 0;
  while (kwplat::PumpOneMessage(&code)) {
  }
  if (demo.sort != nullptr) {  // the window closed during the sort
    demo.sort->ie->Cancelar();
    demo.sort->worker.join();
  }
  delete demo.units;
  return code;
}
