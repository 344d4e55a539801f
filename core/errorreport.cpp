#include <kwlib63/core/errorreport.h>

#include <cstdarg>

#include <kwlib63/core/moxelmessagebox.h>
#include <kwlib63/platform/debugoutput.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/sysmessage.h>

namespace {
constexpr DWORD kLastError = 0xFFFFFFFF;
DWORD Resolve(unsigned long code) {
  const auto value = static_cast<DWORD>(code);
  return value == kLastError ? kwplat::GetLastError() : value;
}
}  // namespace

CLastError::CLastError() : m_nError(kwplat::GetLastError()) {}
CLastError::CLastError(unsigned long code) : m_nError(Resolve(code)) {}
void CLastError::Update() { m_nError = kwplat::GetLastError(); }
CString CLastError::GetText() const { return CStringLastError(m_nError); }

CStringLastError::CStringLastError(unsigned long code) : m_nError(Resolve(code)) {
  wchar_t text[512];
  const DWORD n = kwplat::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                         static_cast<DWORD>(code), LANG_USER_DEFAULT, text, 512, nullptr);
  if (n > 0) CString::operator=(text);
}

int REPORT_SYSTEM_ERROR(const wchar_t* context, const wchar_t* /*reserved*/, unsigned int type) {
  const DWORD code = kwplat::GetLastError();
  if (code == 0) return 1;
  wchar_t* message = nullptr;
  kwplat::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                         nullptr, code, LANG_USER_DEFAULT, reinterpret_cast<LPWSTR>(&message), 0, nullptr);
  CString text;
  try {
    if (context != nullptr) {
      text.Format(L"%s (Error nº%lu: %s)", context, static_cast<unsigned long>(code), message);
    } else {
      text.Format(L"Error nº%lu: %s.", static_cast<unsigned long>(code), message);
    }
  } catch (...) {
    kwplat::LocalFree(message);
    throw;
  }
  kwplat::LocalFree(message);
  return AfxMoxelMessageBox(text, type, 0, nullptr);
}

void AfxFormatDebugString(const wchar_t* format, ...) {
  if (format == nullptr) return;
  CString text;
  va_list args;
  va_start(args, format);
  text.FormatV(format, args);
  va_end(args);
  kwplat::OutputDebugStringW(text);
}
