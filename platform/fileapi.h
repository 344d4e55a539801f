// The Win32 file-system calls the library uses, on POSIX: attributes, folders,
// deleting and copying, temporary names, the current folder, and listing a folder
// with a Windows mask. Paths are UTF-8 on disk; the separator is '/'.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/handle.h>

inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x02;
inline constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x04;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
// A symbolic link: FindFirstFileW reports it with this and its target's attributes.
inline constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_BUFFER_OVERFLOW = 111;

struct KW_API FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

struct KW_API WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  wchar_t cFileName[MAX_PATH];
  wchar_t cAlternateFileName[14];
};

namespace kwplat {

// FILE_ATTRIBUTE_DIRECTORY for a folder, READONLY when the owner may not write,
// HIDDEN for a name that starts with a dot, NORMAL when none applies; or
// INVALID_FILE_ATTRIBUTES with the last error set.
KW_API DWORD GetFileAttributesW(LPCWSTR path);
// READONLY takes the write permissions away; without it the owner may write again.
// The other attributes have no counterpart and are ignored.
KW_API BOOL SetFileAttributesW(LPCWSTR path, DWORD attributes);

// ERROR_ALREADY_EXISTS when the name is taken, ERROR_PATH_NOT_FOUND when a parent
// is missing.
KW_API BOOL CreateDirectoryW(LPCWSTR path, void* security);
// A symbolic link to a folder is removed as a link, as Windows removes one.
KW_API BOOL RemoveDirectoryW(LPCWSTR path);
// As on Windows, a read-only file is not deleted (ERROR_ACCESS_DENIED), nor a folder.
KW_API BOOL DeleteFileW(LPCWSTR path);
// Copies the data, the permissions and the modification time; with `failIfExists`
// an existing target fails with ERROR_FILE_EXISTS.
KW_API BOOL CopyFileW(LPCWSTR source, LPCWSTR target, BOOL failIfExists);

// $TMPDIR, or /tmp, with a trailing separator. The length written without the
// terminator, or the size needed with it when `size` is too small.
KW_API DWORD GetTempPathW(DWORD size, LPWSTR buffer);
// `dir` + the first three characters of `prefix` + the low 16 bits of `unique` in
// four hex digits + ".TMP" into `buffer` (MAX_PATH characters, or longer paths up
// to 4096 here). With `unique` 0, numbers are tried from a time-based start until
// a name is free, and that file is created empty. Returns the number used, or 0
// with the last error set (ERROR_DIRECTORY for a folder that does not exist).
KW_API UINT GetTempFileNameW(LPCWSTR dir, LPCWSTR prefix, UINT unique, LPWSTR buffer);

KW_API DWORD GetCurrentDirectoryW(DWORD size, LPWSTR buffer);
KW_API BOOL SetCurrentDirectoryW(LPCWSTR path);

// Lists the folder part of `pattern` with its last component as a mask: '*' any
// run of characters, '?' any one, "*.*" every name, without regard to case. Entries
// come in name order, "." and ".." included. INVALID_HANDLE_VALUE with
// ERROR_FILE_NOT_FOUND when nothing matches, ERROR_PATH_NOT_FOUND without the folder.
KW_API HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);
// FALSE with ERROR_NO_MORE_FILES after the last entry.
KW_API BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data);
KW_API BOOL FindClose(HANDLE find);

// Whether `name` matches the Windows mask `mask` (the rules of FindFirstFileW).
KW_API bool MatchesMask(LPCWSTR name, LPCWSTR mask);

}  // namespace kwplat
