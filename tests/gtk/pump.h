// GTK's loop run by a test until what it waits for is seen, and a window's
// widgets found by the names the library gives them.
#pragma once

#include <gtk/gtk.h>

#include <cstring>
#include <functional>

#include "support/eventually.h"

namespace kwtest {

// Runs GTK's loop until `done` holds.
inline bool PumpUntil(const std::function<bool()>& done) {
  return Eventually(done, [] {
    while (gtk_events_pending()) gtk_main_iteration();
  });
}

// The widget named `name` in `root`'s tree, or null.
inline GtkWidget* Named(GtkWidget* root, const char* name) {
  if (root == nullptr) return nullptr;
  if (std::strcmp(gtk_widget_get_name(root), name) == 0) return root;
  if (!GTK_IS_CONTAINER(root)) return nullptr;
  GList* children = gtk_container_get_children(GTK_CONTAINER(root));
  GtkWidget* found = nullptr;
  for (GList* c = children; c != nullptr && found == nullptr; c = c->next) found = Named(GTK_WIDGET(c->data), name);
  g_list_free(children);
  return found;
}

}  // namespace kwtest
