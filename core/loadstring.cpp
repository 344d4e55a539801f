#include <kwlib63/core/loadstring.h>

#include <clocale>
#include <cstring>
#include <cwchar>
#include <locale.h>

#include <kwlib63/core/errorreport.h>
#include <kwlib63/core/frame.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/modulestate.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/platform/resource.h>

namespace {

// Holds the framework's global lock for a scope.
class GlobalsLock {
 public:
  GlobalsLock() { AfxLockGlobals(CRIT_DYNLINKLIST); }
  ~GlobalsLock() { AfxUnlockGlobals(CRIT_DYNLINKLIST); }
  GlobalsLock(const GlobalsLock&) = delete;
  GlobalsLock& operator=(const GlobalsLock&) = delete;
};

// Looks up entry `index` of string block `block` of `module` in exactly `lang`.
// Returns 1 and sets `dest` when found.
int LoadStringLang(UINT block, UINT index, LANGID lang, HMODULE module, CString& dest) {
  const HRSRC resource = kwplat::FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(static_cast<WORD>(block)), lang);
  if (resource == nullptr) return 0;
  const HGLOBAL data = kwplat::LoadResource(module, resource);
  if (data == nullptr) {
    // The module's name only for the message: finding it costs a symbol search,
    // far more than the look-up itself.
    wchar_t fileName[MAX_PATH];
    fileName[0] = 0;
    kwplat::GetModuleFileNameW(module, fileName, MAX_PATH);
    AfxFormatDebugString(L"[_loadStringLang] Error: no s'ha pogut accedir al recurs demanat (mòdul: %s)\n", fileName);
    return 0;
  }
  const auto* units = static_cast<const char16_t*>(kwplat::LockResource(data));
  const std::size_t count = kwplat::SizeofResource(module, resource) / sizeof(char16_t);
  // 16 entries of a length and that many units. An empty entry is passed over
  // without comparing: an empty string is "not found", and the search goes on.
  std::size_t pos = 0;
  for (UINT counter = 0; counter < 16 && pos < count; ++counter) {
    const std::size_t len = units[pos];
    if (len != 0 && counter == index) {
      if (pos + 1 + len > count) return 0;
      dest = CString(kwfw::Utf16ToWide(std::u16string_view(units + pos + 1, len)));
      return 1;
    }
    pos += 1 + len;
  }
  return 0;
}

// Sets a locale category of the process to "C", only when it is not already, so
// that other threads are not disturbed needlessly.
void SetCategoryToC(int category) {
  const char* current = std::setlocale(category, nullptr);
  if (current == nullptr || std::strcmp(current, "C") != 0) std::setlocale(category, "C");
}

locale_t SpanishTimeLocale() {
  static const locale_t locale = [] {
    for (const char* name : {"es_ES.UTF-8", "es_ES.utf8", "es_ES"}) {
      if (locale_t l = newlocale(LC_TIME_MASK, name, static_cast<locale_t>(nullptr))) return l;
    }
    return static_cast<locale_t>(nullptr);
  }();
  return locale;
}

}  // namespace

CString AfxLoadStringLang(unsigned int id, unsigned short langId, HINSTANCE module) {
  CString result;
  const UINT block = id / 16 + 1;
  const UINT index = id % 16;
  if (module != nullptr) {
    LoadStringLang(block, index, langId, module, result);
    return result;
  }
  const AFX_MODULE_STATE* state = AfxGetModuleState();
  if (!state->m_bSystem && state->m_hCurrentResourceHandle != nullptr &&
      LoadStringLang(block, index, langId, state->m_hCurrentResourceHandle, result)) {
    return result;
  }
  {
    GlobalsLock lock;
    for (CDynLinkLibrary* lib = state->m_libraryList.GetHead(); lib != nullptr; lib = CDynLinkLibraryList::GetNext(lib)) {
      if (!lib->m_bSystem && lib->m_hResource != nullptr &&
          LoadStringLang(block, index, langId, lib->m_hResource, result)) {
        return result;
      }
    }
  }
  wchar_t buffer[1024];
  if (kwplat::LoadStringW(kwplat::GetModuleHandleW(nullptr), id, buffer, 1024) > 0) result = buffer;
  if (result.IsEmpty()) AfxFormatDebugString(L"[AfxLoadStringLang] Error: no s'ha pogut carregar l'string '%u'\n", id);
  return result;
}

CString AfxLoadString(unsigned int id) { return AfxLoadStringLang(id, AfxGetLanguage(), nullptr); }

CString AfxLoadString(const wchar_t* text) { return CString(text); }

namespace {
// Formats with decimal points as dots: the numeric category is set to "C" first
// and left so.
template <typename S>
S FormatInCLocale(const typename S::XCHAR* format, va_list args) {
  SetCategoryToC(LC_NUMERIC);
  S result;
  result.FormatV(format, args);
  return result;
}
}  // namespace

CString AfxFormatString(unsigned int id, ...) {
  const CString format = AfxLoadString(id);
  va_list args;
  va_start(args, id);
  CString result = FormatInCLocale<CString>(format, args);
  va_end(args);
  return result;
}

CString AfxFormatString(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  CString result = FormatInCLocale<CString>(format, args);
  va_end(args);
  return result;
}

CStringA AfxFormatStringA(const char* format, ...) {
  va_list args;
  va_start(args, format);
  CStringA result = FormatInCLocale<CStringA>(format, args);
  va_end(args);
  return result;
}

CString AfxFormatDate(CTime& time, const char* format) {
  if (format == nullptr) return CString();
  struct tm local;
  if (time.GetLocalTm(&local) == nullptr) AfxThrowInvalidArgException();
  const std::wstring wideFormat = kwfw::Utf8ToWide(format);
  wchar_t buffer[128];
  // The Spanish names apply to this thread only while formatting, so other
  // threads never see the time category change.
  const locale_t spanish = SpanishTimeLocale();
  const locale_t previous = spanish != nullptr ? uselocale(spanish) : nullptr;
  const std::size_t n = std::wcsftime(buffer, 128, wideFormat.c_str(), &local);
  if (previous != nullptr) uselocale(previous);
  SetCategoryToC(LC_TIME);
  return n == 0 ? CString() : CString(buffer, static_cast<int>(n));
}
