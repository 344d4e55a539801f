// Child processes and anonymous pipes with Windows' calls. A command line is
// split by the Windows argument rules (no shell is involved) and its program is
// looked up in PATH; the child runs in a process group of its own and receives no
// descriptor of the parent but the three standard streams. A process handle is
// signalled (for WaitForSingleObject and WaitForMultipleObjects) once the child
// has ended.
#pragma once

#include <string>
#include <vector>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

inline constexpr DWORD STILL_ACTIVE = 259;
inline constexpr DWORD STARTF_USESHOWWINDOW = 0x1;
inline constexpr DWORD STARTF_USESTDHANDLES = 0x100;
inline constexpr DWORD CREATE_NEW_CONSOLE = 0x10;
inline constexpr DWORD ERROR_NO_DATA = 232;

struct KW_API STARTUPINFOW {
  DWORD cb;
  LPWSTR lpReserved;
  LPWSTR lpDesktop;
  LPWSTR lpTitle;
  DWORD dwX, dwY, dwXSize, dwYSize, dwXCountChars, dwYCountChars, dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  BYTE* lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};

struct KW_API PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;  // always null: there is no separate thread object
  DWORD dwProcessId;
  DWORD dwThreadId;
};

namespace kwplat {

// The words of a command line by the Windows rules: blanks separate words, double
// quotes group them, 2n backslashes before a quote give n and the quote acts, 2n+1
// give n and a literal quote; the program name (the first word) ends at its
// closing quote without any escape.
KW_API std::vector<std::wstring> SplitCommandLine(const wchar_t* commandLine);

// The command line that SplitCommandLine splits back into `words`: a word with a
// blank or a quote (or an empty one) is quoted, with its quotes and the
// backslashes before them escaped. The program name cannot hold a quote.
KW_API std::wstring JoinCommandLine(const std::vector<std::wstring>& words);

// Starts `commandLine` (the program from `application` when given). With
// STARTF_USESTDHANDLES the child's standard streams are the given pipe ends (a
// null one is the parent's stream), blocking ones whatever ours are; the window, console and security arguments
// have no meaning here and are accepted. ERROR_FILE_NOT_FOUND when the program is
// not found, ERROR_DIRECTORY for a working folder that is not one.
KW_API BOOL CreateProcessW(LPCWSTR application, LPWSTR commandLine, SECURITY_ATTRIBUTES* processAttributes,
                           SECURITY_ATTRIBUTES* threadAttributes, BOOL inheritHandles, DWORD creationFlags,
                           LPVOID environment, LPCWSTR currentDirectory, STARTUPINFOW* startup,
                           PROCESS_INFORMATION* information);
// STILL_ACTIVE while the child runs; then its exit code, the code given to
// TerminateProcess, or 128 + the signal that ended it.
KW_API BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
// Kills the child's whole process group; its exit code becomes `exitCode`.
KW_API BOOL TerminateProcess(HANDLE process, UINT exitCode);

// An anonymous pipe; both ends are handles for ReadFile/WriteFile and CloseHandle.
// The size is a hint, as on Windows.
KW_API BOOL CreatePipe(HANDLE* readEnd, HANDLE* writeEnd, SECURITY_ATTRIBUTES* attributes, DWORD size);
// Reads what is there (waiting for something); 0 bytes and ERROR_BROKEN_PIPE when
// every write end is closed, or when `pipe` is closed during the wait. Only
// reading ends are accepted: ERROR_ACCESS_DENIED for a writing end.
KW_API BOOL ReadFile(HANDLE pipe, LPVOID buffer, DWORD size, LPDWORD read, LPVOID overlapped);
// Writes all of `size`; ERROR_NO_DATA when the reading end is closed,
// ERROR_BROKEN_PIPE when `pipe` is closed during the wait, with `written` what
// went before. Only writing ends are accepted: ERROR_ACCESS_DENIED for a reading end.
KW_API BOOL WriteFile(HANDLE pipe, LPCVOID buffer, DWORD size, LPDWORD written, LPVOID overlapped);

}  // namespace kwplat
