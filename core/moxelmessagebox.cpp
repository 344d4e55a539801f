#include <kwlib63/core/moxelmessagebox.h>

#include <cstdarg>
#include <mutex>

#include <kwlib63/core/loadstring.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/platform/messagebox.h>

namespace {
std::mutex g_titleLock;  // guards g_title
CString g_title;

CString FormatV(const wchar_t* format, va_list args) {
  CString text;
  text.FormatV(format, args);
  return text;
}
}  // namespace

// The library's own boxes have no owner window. The toolkit options the original
// sets on its box (no "don't show again" check, the box's own look) have no
// equivalent here; the handler receives the text, the caption and the style.
int AfxMoxelMessageBox(const wchar_t* text, unsigned int type, unsigned int /*helpId*/, const wchar_t* caption) {
  const CString shown = caption != nullptr && *caption != 0 ? CString(caption) : AfxGetAppTitle();
  return kwplat::MessageBoxW(nullptr, text, shown, type);
}

int AfxMoxelMessageBox(unsigned int textId, unsigned int type, unsigned int helpId, const wchar_t* caption) {
  return AfxMoxelMessageBox(AfxLoadString(textId), type, helpId, caption);
}

int AfxFormatMessageBox(const wchar_t* caption, unsigned int type, const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  const CString text = FormatV(format, args);
  va_end(args);
  return AfxMoxelMessageBox(text, type, 0xFFFFFFFF, caption);
}

int AfxFormatMessageBox(const wchar_t* caption, unsigned int type, unsigned int formatId, ...) {
  const CString format = AfxLoadString(formatId);
  va_list args;
  va_start(args, formatId);
  const CString text = FormatV(format, args);
  va_end(args);
  return AfxMoxelMessageBox(text, type, 0xFFFFFFFF, caption);
}

int AfxThreadMessageBox(const wchar_t* text, unsigned int type, const wchar_t* caption) {
  return kwplat::MessageBoxW(nullptr, text, caption, type | MB_TASKMODAL);
}

int AfxThreadMessageBox(unsigned int textId, unsigned int type, const wchar_t* caption) {
  return AfxThreadMessageBox(AfxLoadString(textId), type, caption);
}

void AfxSetAppTitle(const wchar_t* title) {
  const CString copy(title);
  std::lock_guard lock(g_titleLock);
  g_title = copy;
}

CString AfxGetAppTitle() {
  {
    std::lock_guard lock(g_titleLock);
    if (!g_title.IsEmpty()) return g_title;
  }
  return AfxGetAppName();
}
