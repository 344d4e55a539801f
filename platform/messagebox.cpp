#include <kwlib63/platform/messagebox.h>

#include <cstdio>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/hookslot.h>

namespace {

int DefaultHandler(HWND, const wchar_t* text, const wchar_t* caption, UINT type, void*) {
  const std::string line = kwfw::WideToUtf8(caption) + ": " + kwfw::WideToUtf8(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  return kwplat::DefaultMessageBoxButton(type);
}

kwplat::HookSlot<AFX_MSGBOX_HANDLER> g_handler(DefaultHandler);

}  // namespace

AFX_MSGBOX_HANDLER AfxSetMessageBoxHandler(AFX_MSGBOX_HANDLER handler, void* context, void** previousContext) {
  return g_handler.Set(handler, context, previousContext);
}

namespace kwplat {

int MessageBoxButtons(UINT type, int* buttons) {
  static const int kButtons[][3] = {
      {IDOK, 0, 0},                      // MB_OK
      {IDOK, IDCANCEL, 0},               // MB_OKCANCEL
      {IDABORT, IDRETRY, IDIGNORE},      // MB_ABORTRETRYIGNORE
      {IDYES, IDNO, IDCANCEL},           // MB_YESNOCANCEL
      {IDYES, IDNO, 0},                  // MB_YESNO
      {IDRETRY, IDCANCEL, 0},            // MB_RETRYCANCEL
      {IDCANCEL, IDTRYAGAIN, IDCONTINUE} // MB_CANCELTRYCONTINUE
  };
  const UINT kind = type & MB_TYPEMASK;
  const int* row = kind < std::size(kButtons) ? kButtons[kind] : kButtons[0];
  int count = 0;
  while (count < 3 && row[count] != 0) {
    buttons[count] = row[count];
    ++count;
  }
  return count;
}

int DefaultMessageBoxButton(UINT type) {
  int buttons[3];
  const int count = MessageBoxButtons(type, buttons);
  const UINT which = (type & MB_DEFMASK) >> 8;
  // A default button beyond the box's buttons falls back to the first, as on Windows.
  return static_cast<int>(which) < count ? buttons[which] : buttons[0];
}

int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type) {
  // A null caption reads "Error", as on Windows.
  return g_handler.Call(owner, text != nullptr ? text : L"", caption != nullptr ? caption : L"Error", type);
}

}  // namespace kwplat
