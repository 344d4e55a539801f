// The library's message boxes and the application title they show as caption.
// All return the button chosen (IDOK, IDCANCEL, ...). The Afx...MessageBox family
// belongs to the user-interface thread; other threads use AfxThreadMessageBox.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

// The caption is `caption`, or the application title when that is null or empty.
KW_API int AfxMoxelMessageBox(const wchar_t* text, unsigned int type = MB_OK, unsigned int helpId = 0,
                              const wchar_t* caption = nullptr);
// The text is string `textId` in the current language.
KW_API int AfxMoxelMessageBox(unsigned int textId, unsigned int type = MB_OK, unsigned int helpId = 0,
                              const wchar_t* caption = nullptr);
// printf-style text, from a format or from string `formatId`.
KW_API int AfxFormatMessageBox(const wchar_t* caption, unsigned int type, const wchar_t* format, ...);
KW_API int AfxFormatMessageBox(const wchar_t* caption, unsigned int type, unsigned int formatId, ...);
// A plain task-modal box without owner, for threads other than the interface's.
KW_API int AfxThreadMessageBox(const wchar_t* text, unsigned int type = MB_OK, const wchar_t* caption = nullptr);
KW_API int AfxThreadMessageBox(unsigned int textId, unsigned int type = MB_OK, const wchar_t* caption = nullptr);

// One title for the process, empty at load. AfxGetAppTitle gives it, or the
// application's name when it is empty.
KW_API void AfxSetAppTitle(const wchar_t* title);
KW_API CString AfxGetAppTitle();
