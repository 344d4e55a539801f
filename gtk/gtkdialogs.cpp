#include "gtkdialogs.h"

#include <gtk/gtk.h>

#include <cwchar>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/messagebox.h>
#include <kwlib63/platform/shell.h>

#include "gtkwnd.h"

namespace {

// The GtkWindow of an owner, when the owner is one.
GtkWindow* Parent(HWND owner) { return dynamic_cast<CGtkWnd*>(CWnd::FromHandle(owner)) != nullptr
                                           ? GTK_WINDOW(reinterpret_cast<GtkWindow*>(owner))
                                           : nullptr; }

const char* Label(int button) {
  switch (button) {
    case IDOK: return "_OK";
    case IDCANCEL: return "_Cancel";
    case IDABORT: return "_Abort";
    case IDRETRY: return "_Retry";
    case IDIGNORE: return "_Ignore";
    case IDYES: return "_Yes";
    case IDNO: return "_No";
    case IDTRYAGAIN: return "_Try Again";
    case IDCONTINUE: return "C_ontinue";
    default: return "?";
  }
}

GtkMessageType Kind(UINT type) {
  switch (type & MB_ICONMASK) {
    case MB_ICONERROR: return GTK_MESSAGE_ERROR;
    case MB_ICONQUESTION: return GTK_MESSAGE_QUESTION;
    case MB_ICONWARNING: return GTK_MESSAGE_WARNING;
    case MB_ICONINFORMATION: return GTK_MESSAGE_INFO;
    default: return GTK_MESSAGE_OTHER;
  }
}

}  // namespace

int AfxGtkMessageBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT type, void*) {
  GtkWidget* dialog = gtk_message_dialog_new(Parent(owner), GTK_DIALOG_MODAL, Kind(type), GTK_BUTTONS_NONE, "%s",
                                             kwfw::WideToUtf8(text).c_str());
  gtk_window_set_title(GTK_WINDOW(dialog), kwfw::WideToUtf8(caption).c_str());
  int buttons[3];
  const int count = kwplat::MessageBoxButtons(type, buttons);
  bool cancels = false;
  for (int i = 0; i < count; ++i) {
    gtk_dialog_add_button(GTK_DIALOG(dialog), Label(buttons[i]), buttons[i]);
    cancels = cancels || buttons[i] == IDCANCEL;
  }
  gtk_dialog_set_default_response(GTK_DIALOG(dialog), kwplat::DefaultMessageBoxButton(type));
  const int response = gtk_dialog_run(GTK_DIALOG(dialog));
  gtk_widget_destroy(dialog);
  if (response > 0) return response;
  // Closed without a button: Cancel where there is one, OK for a box of one button.
  return cancels ? IDCANCEL : count == 1 ? buttons[0] : kwplat::DefaultMessageBoxButton(type);
}

int AfxGtkPickFolder(HWND owner, const wchar_t* title, UINT, const wchar_t* start, wchar_t* folder, int folderSize,
                     void*) {
  GtkWidget* dialog = gtk_file_chooser_dialog_new(kwfw::WideToUtf8(title != nullptr ? title : L"").c_str(),
                                                  Parent(owner), GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, "_Cancel",
                                                  GTK_RESPONSE_CANCEL, "_Select", GTK_RESPONSE_ACCEPT, nullptr);
  if (start != nullptr && *start != L'\0') {
    gtk_file_chooser_set_current_folder(GTK_FILE_CHOOSER(dialog), kwfw::WideToUtf8(start).c_str());
  }
  int chosen = 0;
  if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT) {
    // Accepting with no folder selected takes the folder shown.
    gchar* name = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(dialog));
    if (name == nullptr) name = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(dialog));
    if (name != nullptr) {
      const std::wstring path = kwfw::Utf8ToWide(name);
      g_free(name);
      if (folder != nullptr && static_cast<int>(path.size()) < folderSize) {
        std::wmemcpy(folder, path.c_str(), path.size() + 1);
        chosen = 1;
      }
    }
  }
  gtk_widget_destroy(dialog);
  return chosen;
}

void AfxGtkInstallDialogs() {
  AfxSetMessageBoxHandler(AfxGtkMessageBox, nullptr);
  AfxSetFolderPickerHandler(AfxGtkPickFolder, nullptr);
}
