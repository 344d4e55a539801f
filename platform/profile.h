// The profile functions: reading and writing Windows INI files with Windows'
// observable rules. Sections and keys match without regard to case; whitespace
// around keys and values is trimmed and a value's surrounding quotes removed; the
// first of duplicate sections and keys wins; lines starting with ';' are comments.
// A file is UTF-16LE when it starts with FF FE, else Windows-1252 (a new file is
// written in Windows-1252, as Windows does).
//
// Every write is a read-modify-write under an exclusive lock on the file's folder,
// written to a temporary file in the same folder, flushed to disk and renamed over
// the file: concurrent writers of one file lose nothing and a crash leaves the old
// file or the new one, never a torn one. Lines a write does not touch keep their
// bytes. The file's mode, owner and access list are kept, and a symbolic link is
// written through to its target. Parsed files are cached and revalidated by size,
// modification time and inode.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// With `section` null: the section names; with `key` null: the section's keys
// (the lines with an '='; a line without one is no key); both as a list of
// strings closed by an empty one. Otherwise the key's value, or `defaultValue`
// (trailing blanks removed) when the key is missing. The characters
// copied without the terminator; a value cut to fit gives size - 1, a list cut to
// fit size - 2.
KW_API DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR buffer, DWORD size,
                                      LPCWSTR file);
KW_API DWORD GetPrivateProfileSectionNamesW(LPWSTR buffer, DWORD size, LPCWSTR file);
// The section's lines (comments and blank lines left out) as key=value, the blanks
// around the '=' removed.
KW_API DWORD GetPrivateProfileSectionW(LPCWSTR section, LPWSTR buffer, DWORD size, LPCWSTR file);
// A null `key` removes the section, a null `value` the key.
KW_API BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file);
// Replaces the section's lines with `lines` (a list closed by an empty string);
// null removes the section.
KW_API BOOL WritePrivateProfileSectionW(LPCWSTR section, LPCWSTR lines, LPCWSTR file);

}  // namespace kwplat
