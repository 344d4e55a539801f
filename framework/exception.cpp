#include <kwlib63/framework/exception.h>

#include <cerrno>
#include <cwchar>
#include <new>

#include <kwlib63/framework/winapp.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/messagebox.h>

IMPLEMENT_DYNAMIC(CException, CObject)
IMPLEMENT_DYNAMIC(CSimpleException, CException)
IMPLEMENT_DYNAMIC(CMemoryException, CSimpleException)
IMPLEMENT_DYNAMIC(CInvalidArgException, CSimpleException)
IMPLEMENT_DYNAMIC(CResourceException, CSimpleException)
IMPLEMENT_DYNAMIC(CFileException, CException)

void CException::Delete() {
  if (m_bAutoDelete > 0) delete this;
}

BOOL CException::CopyMessage(const CString& text, LPTSTR error, UINT maxError, PUINT helpContext) {
  if (helpContext != nullptr) *helpContext = 0;
  if (error == nullptr || maxError == 0) return FALSE;
  const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(text.GetLength()), maxError - 1);
  std::wmemcpy(error, text.GetString(), n);
  error[n] = 0;
  return TRUE;
}

BOOL CException::GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext) const {
  if (helpContext != nullptr) *helpContext = 0;
  if (error != nullptr && maxError > 0) *error = 0;
  return FALSE;
}

BOOL CException::GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext) {
  return static_cast<const CException*>(this)->GetErrorMessage(error, maxError, helpContext);
}

int CException::ReportError(UINT type, UINT /*messageId*/) {
  wchar_t text[1024];
  if (!GetErrorMessage(text, 1024, nullptr)) std::wcscpy(text, L"No error message is available.");
  return kwplat::MessageBoxW(nullptr, text, AfxGetAppName(), type);
}

BOOL CSimpleException::GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext) const {
  return CopyMessage(Text(), error, maxError, helpContext);
}

const wchar_t* CMemoryException::Text() const { return L"Out of memory."; }
const wchar_t* CInvalidArgException::Text() const { return L"Invalid argument."; }
const wchar_t* CResourceException::Text() const { return L"A required resource was unavailable."; }

CFileException::CFileException(int cause, LONG osError, LPCTSTR fileName)
    : m_cause(cause), m_lOsError(osError), m_strFileName(fileName) {}

int CFileException::OsErrorToException(LONG osError) {
  switch (static_cast<DWORD>(osError)) {
    case ERROR_SUCCESS: return none;
    case ERROR_FILE_NOT_FOUND: return fileNotFound;
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_FILENAME_EXCED_RANGE: return badPath;
    case ERROR_TOO_MANY_OPEN_FILES: return tooManyOpenFiles;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT: return accessDenied;
    case ERROR_INVALID_HANDLE: return invalidFile;
    case ERROR_NEGATIVE_SEEK: return badSeek;
    case ERROR_IO_DEVICE: return hardIO;
    case ERROR_SHARING_VIOLATION: return sharingViolation;
    case ERROR_LOCK_VIOLATION: return lockViolation;
    case ERROR_DISK_FULL: return diskFull;
    case ERROR_HANDLE_EOF: return endOfFile;
    default: return genericException;
  }
}

int CFileException::ErrnoToException(int error) {
  return OsErrorToException(static_cast<LONG>(kwplat::Win32ErrorFromErrno(error)));
}

void CFileException::ThrowOsError(LONG osError, LPCTSTR fileName) {
  AfxThrowFileException(OsErrorToException(osError), osError, fileName);
}

void CFileException::ThrowErrno(int error, LPCTSTR fileName) {
  AfxThrowFileException(ErrnoToException(error), static_cast<LONG>(kwplat::Win32ErrorFromErrno(error)), fileName);
}

BOOL CFileException::GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext) const {
  static const wchar_t* const kTexts[] = {
      L"No error occurred with %s.",
      L"An unexpected error occurred while accessing %s.",
      L"%s was not found.",
      L"%s contains an incorrect path.",
      L"%s could not be opened because there are too many open files.",
      L"Access to %s was denied.",
      L"An incorrect file handle was associated with %s.",
      L"%s could not be removed because it is the current directory.",
      L"%s could not be created because the directory is full.",
      L"Seek failed on %s.",
      L"A hardware I/O error was reported while accessing %s.",
      L"A sharing violation occurred while accessing %s.",
      L"A locking violation occurred while accessing %s.",
      L"Disk full while accessing %s.",
      L"An attempt was made to access %s past its end.",
  };
  const int index = m_cause >= none && m_cause <= endOfFile ? m_cause : genericException;
  CString text;
  text.Format(kTexts[index], m_strFileName.IsEmpty() ? L"an unnamed file" : m_strFileName.GetString());
  return CopyMessage(text, error, maxError, helpContext);
}

namespace {
// Thrown when memory is exhausted, so throwing needs no allocation; never deleted.
// Built at compile time, so it is there before any other static initialisation.
constinit CMemoryException g_outOfMemory(FALSE);

}  // namespace

void AfxThrowMemoryException() { throw &g_outOfMemory; }

namespace {
// Throws a new E; when it cannot be made, the memory exception instead.
template <typename E, typename... Args>
[[noreturn]] void ThrowNew(Args... args) {
  auto* e = new (std::nothrow) E(args...);
  if (e == nullptr) AfxThrowMemoryException();
  throw e;
}
}  // namespace

void AfxThrowInvalidArgException() { ThrowNew<CInvalidArgException>(); }
void AfxThrowResourceException() { ThrowNew<CResourceException>(); }
void AfxThrowFileException(int cause, LONG osError, LPCTSTR fileName) {
  ThrowNew<CFileException>(cause, osError, fileName);
}
