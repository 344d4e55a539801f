// Network shares of the local machine, on Samba's user shares: each call runs the
// `net usershare` command (without a shell) and turns its answers into the
// Windows results. Share names match without regard to case, as Samba matches
// them. A share's remark is the usershare's comment; its rights become the
// usershare's access list (Everyone, S-1-1-0, with full rights when the record
// allows writing, else read); guests are let in when Samba allows guests.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

using NET_API_STATUS = DWORD;

struct KW_API SHARE_INFO_0 {
  LPWSTR shi0_netname;
};

struct KW_API SHARE_INFO_2 {
  LPWSTR shi2_netname;
  DWORD shi2_type;
  LPWSTR shi2_remark;
  DWORD shi2_permissions;
  DWORD shi2_max_uses;
  DWORD shi2_current_uses;
  LPWSTR shi2_path;
  LPWSTR shi2_passwd;
};

inline constexpr NET_API_STATUS NERR_Success = 0;
inline constexpr NET_API_STATUS NERR_UnknownDevDir = 2116;
inline constexpr NET_API_STATUS NERR_DuplicateShare = 2118;
inline constexpr NET_API_STATUS NERR_BufTooSmall = 2123;
inline constexpr NET_API_STATUS NERR_NetNameNotFound = 2310;
inline constexpr NET_API_STATUS NERR_ServerNotStarted = 2114;
inline constexpr DWORD ERROR_BAD_NETPATH = 53;
inline constexpr DWORD ERROR_TOO_MANY_NAMES = 68;
inline constexpr DWORD MAX_PREFERRED_LENGTH = 0xFFFFFFFF;
inline constexpr DWORD STYPE_DISKTREE = 0;
inline constexpr DWORD ACCESS_READ = 0x01;
inline constexpr DWORD ACCESS_WRITE = 0x02;
inline constexpr DWORD ACCESS_CREATE = 0x04;
inline constexpr DWORD ACCESS_EXEC = 0x08;
inline constexpr DWORD ACCESS_DELETE = 0x10;
inline constexpr DWORD ACCESS_ALL = 0x7F;

namespace kwplat {

// Results: NERR_Success; NERR_DuplicateShare for a name in use; NERR_UnknownDevDir
// for a path that is not a folder; NERR_NetNameNotFound for no such share;
// ERROR_ACCESS_DENIED when the user may not share; NERR_ServerNotStarted when user
// shares are disabled on this machine (no usershare path, or none allowed);
// ERROR_TOO_MANY_NAMES when the machine's limit of shares is reached;
// ERROR_INVALID_NAME for a name no share may take (control characters, more than
// 80 UTF-16 units, characters Windows or Samba refuses, ".", "..", global, homes,
// printers). NetShareAdd checks the name and adds the share as one step for
// every process that adds to the same usershare folder through it. Only the
// local machine (a null or empty server) is served; another is
// ERROR_BAD_NETPATH. Buffers are freed with NetApiBufferFree.
KW_API NET_API_STATUS NetShareAdd(LPWSTR server, DWORD level, LPBYTE buffer, LPDWORD parameterError);
KW_API NET_API_STATUS NetShareDel(LPWSTR server, LPWSTR name, DWORD reserved);
// Every share at level 0 or 2; `maximum` is ignored (everything is returned).
KW_API NET_API_STATUS NetShareEnum(LPWSTR server, DWORD level, LPBYTE* buffer, DWORD maximum, LPDWORD read, LPDWORD total,
                                   LPDWORD resume);
KW_API NET_API_STATUS NetShareGetInfo(LPWSTR server, LPWSTR name, DWORD level, LPBYTE* buffer);
KW_API NET_API_STATUS NetApiBufferFree(LPVOID buffer);

// The smb.conf the calls give to `net` (null: Samba's own). The variable
// KWLIB63_SMB_CONF sets it for a whole process and its children.
KW_API void NetShareSetConfigFile(LPCWSTR path);

}  // namespace kwplat
