// CSharingManager: static operations that publish folders as network shares and
// add access-allowed entries to files' access lists; the Afx functions forward to
// it unchanged. Failing steps of AddAccessRights write their fixed messages to
// standard output.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class KW_API CSharingManager {
 public:
  // Shares the folder under a name of its own (its last part, upper-cased, made
  // unique with "_1", "_2"...), remark "Hot Folder", and gives Everyone full access
  // to it. 0 when it is shared afterwards or the attempt was made; -3 when the path
  // is not an existing folder.
  static int _ShareFolder(const wchar_t* folder);
  // 0 when nothing was shared or the share was removed, else the share service's
  // error; -3 when the path is not an existing folder.
  static int _UnShareFolder(const wchar_t* folder);

  // Adds an entry allowing `accessMask` to `accountName` (or, with `bEveryone`, to
  // Everyone) to the access list of `fileName`, replacing the account's own
  // explicit entries and keeping inherited ones after the new entry. 1 on success,
  // 0 on failure. A SID that cannot be allocated ends the process, by design.
  static int AddAccessRights(wchar_t* fileName, wchar_t* accountName, unsigned long accessMask, int bEveryone);

 protected:
  static CString _getUniqueShareResourceName(const wchar_t* folder);
  // 1 when the share was made (Everyone then gets full access), -1 when not.
  static int _addSharePath(const wchar_t* folder, const wchar_t* shareName);
  // The name under which the folder is shared, or empty.
  static CString _getNetNameViaDevicePath(const wchar_t* folder);
  // Both return a new copy of the text (delete[]); the names describe no conversion.
  static wchar_t* _char2wchar(const wchar_t* text);
  static wchar_t* _wchar2char(wchar_t* text);
};

KW_API int AfxShareFolder(const wchar_t* folder);
KW_API int AfxUnShareFolder(const wchar_t* folder);
KW_API int AfxAddAccessRights(wchar_t* fileName, wchar_t* accountName, unsigned long accessMask, int bEveryone);
