#include <kwlib63/platform/sysmessage.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>

namespace kwplat {
namespace {

struct Message {
  DWORD code;
  const wchar_t* text;
};

constexpr Message kMessages[] = {
    {0, L"The operation completed successfully."},
    {1, L"Incorrect function."},
    {2, L"The system cannot find the file specified."},
    {3, L"The system cannot find the path specified."},
    {4, L"The system cannot open the file."},
    {5, L"Access is denied."},
    {6, L"The handle is invalid."},
    {8, L"Not enough memory resources are available to process this command."},
    {14, L"Not enough memory resources are available to complete this operation."},
    {17, L"The system cannot move the file to a different disk drive."},
    {18, L"There are no more files."},
    {19, L"The media is write protected."},
    {32, L"The process cannot access the file because it is being used by another process."},
    {33, L"The process cannot access the file because another process has locked a portion of the file."},
    {38, L"Reached the end of the file."},
    {50, L"The request is not supported."},
    {80, L"The file exists."},
    {87, L"The parameter is incorrect."},
    {109, L"The pipe has been ended."},
    {112, L"There is not enough space on the disk."},
    {122, L"The data area passed to a system call is too small."},
    {123, L"The filename, directory name, or volume label syntax is incorrect."},
    {131, L"An attempt was made to move the file pointer before the beginning of the file."},
    {126, L"The specified module could not be found."},
    {145, L"The directory is not empty."},
    {170, L"The requested resource is in use."},
    {183, L"Cannot create a file when that file already exists."},
    {193, L"%1 is not a valid Win32 application."},
    {206, L"The filename or extension is too long."},
    {223, L"The file size exceeds the limit allowed and cannot be saved."},
    {234, L"More data is available."},
    {259, L"No more data is available."},
    {317, L"The system cannot find message text for message number 0x%1 in the message file for %2."},
    {1009, L"The configuration registry database is corrupt."},
    {1018, L"Illegal operation attempted on a registry key that has been marked for deletion."},
    {1053, L"The service did not respond to the start or control request in a timely fashion."},
    {1052, L"The requested control is not valid for this service."},
    {1056, L"An instance of the service is already running."},
    {1058, L"The service cannot be started, either because it is disabled or because it has no enabled devices associated with it."},
    {1060, L"The specified service does not exist as an installed service."},
    {1062, L"The service has not been started."},
    {1066, L"The service has returned a service-specific error code."},
    {1068, L"The dependency service or group failed to start."},
    {1117, L"The request could not be performed because of an I/O device error."},
    {1722, L"The RPC server is unavailable."},
    {1460, L"This operation returned because the timeout period expired."},
    {1812, L"The specified image file did not contain a resource section."},
    {1813, L"The specified resource type cannot be found in the image file."},
    {1814, L"The specified resource name cannot be found in the image file."},
    {1815, L"The specified resource language ID cannot be found in the image file."},
};

bool LanguageServed(DWORD lang) {
  return lang == 0 || lang == LANG_USER_DEFAULT || PRIMARYLANGID(static_cast<LANGID>(lang)) == LANG_ENGLISH;
}

bool Lookup(DWORD code, std::wstring& text) {
  for (const Message& m : kMessages) {
    if (m.code == code) {
      text = m.text;
      text += L"\r\n";
      return true;
    }
  }
  if ((code & APPLICATION_ERROR_MASK) != 0 && (code & ~APPLICATION_ERROR_MASK) < 4096) {
    char buf[256];
    const char* s = strerror_r(static_cast<int>(code & ~APPLICATION_ERROR_MASK), buf, sizeof buf);
    text = kwfw::Utf8ToWide(s);
    text += L"\r\n";
    return true;
  }
  return false;
}

}  // namespace

DWORD FormatMessageW(DWORD flags, LPCVOID /*source*/, DWORD messageId, DWORD languageId, LPWSTR buffer,
                     DWORD size, void* /*arguments*/) {
  if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0 || buffer == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  if (!LanguageServed(languageId)) {
    SetLastError(ERROR_RESOURCE_LANG_NOT_FOUND);
    return 0;
  }
  std::wstring text;
  if (!Lookup(messageId, text)) {
    SetLastError(ERROR_MR_MID_NOT_FOUND);
    return 0;
  }
  const std::size_t n = text.size();
  if ((flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
    auto* block = static_cast<wchar_t*>(LocalAlloc(LMEM_FIXED, std::max<std::size_t>(n + 1, size) * sizeof(wchar_t)));
    if (block == nullptr) {
      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
      return 0;
    }
    std::wmemcpy(block, text.c_str(), n + 1);
    *reinterpret_cast<wchar_t**>(buffer) = block;
    return static_cast<DWORD>(n);
  }
  if (size < n + 1) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::wmemcpy(buffer, text.c_str(), n + 1);
  return static_cast<DWORD>(n);
}

}  // namespace kwplat
