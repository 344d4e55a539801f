// Message boxes (MessageBoxW, and the toolkit box the library's own boxes use) go
// to one replaceable handler. The default handler writes the caption and the text
// to standard error and answers the default button of the style, so a program
// without a user interface never blocks; a toolkit adapter installs a real box.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

// Shows a box and returns the button chosen (IDOK, IDCANCEL, ...). `owner` is the
// owner window or null; `type` the MB_ style, MB_TASKMODAL included when asked.
using AFX_MSGBOX_HANDLER = int (*)(HWND owner, const wchar_t* text, const wchar_t* caption, UINT type,
                                   void* context);

// Installs `handler` (null restores the default) and returns the previous one,
// whose context is stored in `previousContext` when that is not null.
KW_API AFX_MSGBOX_HANDLER AfxSetMessageBoxHandler(AFX_MSGBOX_HANDLER handler, void* context,
                                                  void** previousContext = nullptr);

namespace kwplat {

// A null text is shown empty, a null caption as "Error".
KW_API int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);

// The buttons of a box of style `type`, in order, into `buttons` (room for three);
// their count.
KW_API int MessageBoxButtons(UINT type, int* buttons);
// The button a box of style `type` answers when its default button is taken.
KW_API int DefaultMessageBoxButton(UINT type);

}  // namespace kwplat
