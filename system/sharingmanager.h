// CSharingManager: static operations that publish folders as network shares and
// add access-allowed entries to files' access lists; the Afx functions forward to
// it unchanged. Failing steps of AddAccessRights write their fixed messages to
// standard output.
#pragma once

#include <kwlib63/framework/wintypes.h>

class CSharingManager {
 public:
  // Adds an entry allowing `accessMask` to `accountName` (or, with `bEveryone`, to
  // Everyone) to the access list of `fileName`, replacing the account's own
  // explicit entries and keeping inherited ones after the new entry. 1 on success,
  // 0 on failure. A SID that cannot be allocated ends the process, by design.
  static int AddAccessRights(wchar_t* fileName, wchar_t* accountName, unsigned long accessMask, int bEveryone);

 protected:
  // Both return a new copy of the text (delete[]); the names describe no conversion.
  static wchar_t* _char2wchar(const wchar_t* text);
  static wchar_t* _wchar2char(wchar_t* text);
};

int AfxAddAccessRights(wchar_t* fileName, wchar_t* accountName, unsigned long accessMask, int bEveryone);
