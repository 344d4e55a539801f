// The registry: a tree of keys holding named, typed values, with Windows' calls
// and results. Each hive is one SQLite database (the user's hive under the XDG
// config home, the machine's under /var/lib), shared by every process of the
// user: a change is committed before the call returns, so it survives a crash of
// the process and other processes see it at once. Key and value names match
// without regard to case (full Unicode case folding) and keep the case they were
// created with. Sub-keys enumerate in name order, values in creation order.
//
// Data is stored as Windows stores it. Wide text here is UTF-32, so for the string
// types (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ) the sizes the calls take and report
// count sizeof(wchar_t) bytes per character, and the stored form is UTF-16LE.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/fileapi.h>

KW_DECLARE_HANDLE(HKEY);
using PHKEY = HKEY*;
using REGSAM = DWORD;

inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000000));
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000001));
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000002));

inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_NOTIFY = 0x0010;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_OPTION_VOLATILE = 1;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;

inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_BADDB = 1009;
inline constexpr DWORD ERROR_KEY_DELETED = 1018;
inline constexpr DWORD ERROR_CHILD_MUST_BE_VOLATILE = 1021;
inline constexpr DWORD ERROR_TRANSACTION_NOT_ACTIVE = 6701;

namespace kwplat {

// Opens `subKey` (a path of names separated by '\\'; null or empty: `key` itself)
// below an open key or a hive (HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE; another
// predefined key is ERROR_INVALID_HANDLE). A path starting with '\\' is 161;
// doubled and closing backslashes count as one. 2 when the key does not exist, 5 when `sam` asks to change a hive that cannot be
// written.
KW_API LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM sam, PHKEY result);
// Opens `subKey`, creating the keys of its path that are missing; `disposition`
// (may be null) says which. The class and security attributes are not kept. Keys
// made with REG_OPTION_VOLATILE last until the machine restarts; a lasting key
// below a volatile one is ERROR_CHILD_MUST_BE_VOLATILE. A name in the path longer
// than 255 characters (counted in UTF-16 units, as Windows counts) is
// ERROR_INVALID_PARAMETER.
KW_API LONG RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM sam,
                            const SECURITY_ATTRIBUTES* security, PHKEY result, LPDWORD disposition);
KW_API LONG RegCloseKey(HKEY key);

// Writes value `name` (null or empty: the key's default value) of `type`; a name
// longer than 16383 UTF-16 units is ERROR_INVALID_PARAMETER.
KW_API LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
// Reads value `name`: `type` and `data` may be null. `*size` is the buffer's size
// and becomes the value's; 234 when the buffer is too small.
KW_API LONG RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
// The value at `index` in creation order: its name (`*nameLength` characters of
// room with the terminator, becoming the length without it), type and data as
// RegQueryValueExW. 259 past the last value, 234 when a buffer is too small.
KW_API LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPDWORD type,
                          LPBYTE data, LPDWORD size);
// The sub-key at `index` in name order. Keys have no class and no write time is
// kept: the class comes back empty and the time zero.
KW_API LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved, LPWSTR keyClass,
                          LPDWORD classLength, FILETIME* lastWrite);
KW_API LONG RegDeleteValueW(HKEY key, LPCWSTR name);
// Deletes a key that has no sub-keys (5 when it has).
KW_API LONG RegDeleteKeyW(HKEY key, LPCWSTR subKey);

// Transactions. Keys opened or created in a transaction, and the keys opened
// below them, change the registry inside it: other keys see none of it until
// CommitTransaction makes all of it visible at once, and RollbackTransaction (or
// closing the transaction's handle uncommitted, with CloseHandle) discards it.
// While a transaction has changed a hive, other writers of that hive wait for it
// (and fail with ERROR_BUSY after ten seconds). After the end, changes through the
// transaction's keys are ERROR_ACCESS_DENIED. The security attributes, unit of
// work, options, isolation, time-out and description are not used.
KW_API HANDLE CreateTransaction(LPSECURITY_ATTRIBUTES attributes, LPGUID unitOfWork, DWORD options, DWORD isolationLevel,
                                DWORD isolationFlags, DWORD timeout, LPWSTR description);
// FALSE with ERROR_TRANSACTION_NOT_ACTIVE when the transaction has ended, or with
// the failure of a hive's commit (the transaction is then rolled back).
KW_API BOOL CommitTransaction(HANDLE transaction);
KW_API BOOL RollbackTransaction(HANDLE transaction);
KW_API LONG RegCreateKeyTransactedW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options,
                                    REGSAM sam, const SECURITY_ATTRIBUTES* security, PHKEY result,
                                    LPDWORD disposition, HANDLE transaction, PVOID extended);
KW_API LONG RegOpenKeyTransactedW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM sam, PHKEY result,
                                  HANDLE transaction, PVOID extended);

// Places the database of hive HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE at `file`;
// null goes back to the default. Keys already open stay on the old file. The
// environment variable KWLIB63_REGISTRY_DIR, when set, holds the default places
// (HKCU.db and HKLM.db in that folder). ERROR_INVALID_HANDLE for another hive.
KW_API LONG RegSetHiveFile(HKEY hive, LPCWSTR file);

}  // namespace kwplat
