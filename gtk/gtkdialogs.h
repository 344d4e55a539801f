// The library's message boxes and folder picker as GTK dialogs. Call after
// gtk_init; the dialogs are modal and run on the calling thread, which must be
// GTK's (the main thread).
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

// Installs both handlers (AfxSetMessageBoxHandler, AfxSetFolderPickerHandler).
KW_API void AfxGtkInstallDialogs();

// The handlers themselves, for an application that installs them its own way.
KW_API int AfxGtkMessageBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT type, void* context);
KW_API int AfxGtkPickFolder(HWND owner, const wchar_t* title, UINT flags, const wchar_t* start, wchar_t* folder,
                            int folderSize, void* context);
