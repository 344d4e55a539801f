// The Win32 type names, handles and constants that the library's interface uses,
// with the widths they have on Windows. Nothing here calls the system.
#pragma once

#include <cstddef>
#include <cstdint>

#include <kwlib63/framework/export.h>

using BOOL = int;
using BYTE = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = unsigned int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = ULONG_PTR;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using HRESULT = LONG;
using LANGID = WORD;
using __int64 = long long;

using WCHAR = wchar_t;
using TCHAR = wchar_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using LPTSTR = wchar_t*;
using LPCTSTR = const wchar_t*;
using LPVOID = void*;
using PVOID = void*;
using LPCVOID = const void*;
using PUINT = UINT*;
using LPDWORD = DWORD*;
using LPBOOL = BOOL*;
using LPBYTE = BYTE*;

#ifndef _T
#define _T(x) L##x
#endif
#ifndef TEXT
#define TEXT(x) L##x
#endif

// Macros, as on Windows: GLib defines the same names with the same values.
#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Handles are distinct opaque pointer types, as with STRICT on Windows.
#define KW_DECLARE_HANDLE(name) \
  struct name##__;              \
  using name = name##__*
KW_DECLARE_HANDLE(HINSTANCE);
KW_DECLARE_HANDLE(HWND);
KW_DECLARE_HANDLE(HRSRC);
using HMODULE = HINSTANCE;

// An opaque place in a collection, for the framework's walk-by-position members.
using POSITION = struct __POSITION*;

struct KW_API GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using UUID = GUID;
using LPGUID = GUID*;
using HANDLE = void*;
using HGLOBAL = HANDLE;
using HLOCAL = HANDLE;

// Security attributes of a new object: its access list and whether child
// processes inherit its handle.
struct KW_API SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct KW_API POINT {
  LONG x;
  LONG y;
};
struct KW_API RECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
};

// Window placement: where a window sits when normal, minimised and maximised, and
// how it is shown.
struct KW_API WINDOWPLACEMENT {
  UINT length;
  UINT flags;
  UINT showCmd;
  POINT ptMinPosition;
  POINT ptMaxPosition;
  RECT rcNormalPosition;
};
inline constexpr UINT WPF_RESTORETOMAXIMIZED = 0x2;
inline constexpr UINT SW_HIDE = 0;
inline constexpr UINT SW_SHOWNORMAL = 1;
inline constexpr UINT SW_SHOWMINIMIZED = 2;
inline constexpr UINT SW_SHOWMAXIMIZED = 3;
inline constexpr UINT SW_MINIMIZE = 6;
inline constexpr UINT SW_SHOWMINNOACTIVE = 7;

inline constexpr std::size_t MAX_PATH = 260;
inline constexpr DWORD INFINITE = 0xFFFFFFFF;

// Languages.
constexpr LANGID MAKELANGID(unsigned primary, unsigned sub) { return LANGID((sub << 10) | primary); }
constexpr unsigned PRIMARYLANGID(LANGID lang) { return lang & 0x3FF; }
constexpr unsigned SUBLANGID(LANGID lang) { return lang >> 10; }
inline constexpr LANGID LANG_NEUTRAL = 0x00;
inline constexpr LANGID LANG_ENGLISH = 0x09;
inline constexpr LANGID LANG_FRENCH = 0x0C;
inline constexpr LANGID LANG_SPANISH = 0x0A;
inline constexpr LANGID LANG_USER_DEFAULT = 0x0400;
inline constexpr LANGID LANG_EN_US = 0x0409;
inline constexpr LANGID LANG_FR_FR = 0x040C;

// Message box styles and results.
inline constexpr UINT MB_OK = 0x0;
inline constexpr UINT MB_OKCANCEL = 0x1;
inline constexpr UINT MB_ABORTRETRYIGNORE = 0x2;
inline constexpr UINT MB_YESNOCANCEL = 0x3;
inline constexpr UINT MB_YESNO = 0x4;
inline constexpr UINT MB_RETRYCANCEL = 0x5;
inline constexpr UINT MB_CANCELTRYCONTINUE = 0x6;
inline constexpr UINT MB_TYPEMASK = 0xF;
inline constexpr UINT MB_ICONHAND = 0x10;
inline constexpr UINT MB_ICONERROR = MB_ICONHAND;
inline constexpr UINT MB_ICONSTOP = MB_ICONHAND;
inline constexpr UINT MB_ICONQUESTION = 0x20;
inline constexpr UINT MB_ICONEXCLAMATION = 0x30;
inline constexpr UINT MB_ICONWARNING = MB_ICONEXCLAMATION;
inline constexpr UINT MB_ICONASTERISK = 0x40;
inline constexpr UINT MB_ICONINFORMATION = MB_ICONASTERISK;
inline constexpr UINT MB_ICONMASK = 0xF0;
inline constexpr UINT MB_DEFBUTTON1 = 0x000;
inline constexpr UINT MB_DEFBUTTON2 = 0x100;
inline constexpr UINT MB_DEFBUTTON3 = 0x200;
inline constexpr UINT MB_DEFBUTTON4 = 0x300;
inline constexpr UINT MB_DEFMASK = 0xF00;
inline constexpr UINT MB_APPLMODAL = 0x0000;
inline constexpr UINT MB_SYSTEMMODAL = 0x1000;
inline constexpr UINT MB_TASKMODAL = 0x2000;

inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr int IDABORT = 3;
inline constexpr int IDRETRY = 4;
inline constexpr int IDIGNORE = 5;
inline constexpr int IDYES = 6;
inline constexpr int IDNO = 7;
inline constexpr int IDTRYAGAIN = 10;
inline constexpr int IDCONTINUE = 11;

// System error codes the library produces.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_OUTOFMEMORY = 14;
inline constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_LOCK_VIOLATION = 33;
inline constexpr DWORD ERROR_HANDLE_EOF = 38;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_BROKEN_PIPE = 109;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_INVALID_LEVEL = 124;
inline constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
inline constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_BUSY = 170;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_NOACCESS = 998;
inline constexpr DWORD ERROR_SERVICE_REQUEST_TIMEOUT = 1053;
inline constexpr DWORD ERROR_SERVICE_DOES_NOT_EXIST = 1060;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr DWORD ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
inline constexpr DWORD ERROR_RESOURCE_LANG_NOT_FOUND = 1815;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_TIMEOUT = 1460;

// Bit 29 marks codes that are not the system's own. The platform layer uses it
// for an errno value that has no system error code: 0x20000000 | errno.
inline constexpr DWORD APPLICATION_ERROR_MASK = 0x20000000;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_FAIL = HRESULT(0x80004005);
inline constexpr HRESULT E_INVALIDARG = HRESULT(0x80070057);
inline constexpr HRESULT E_OUTOFMEMORY = HRESULT(0x8007000E);
