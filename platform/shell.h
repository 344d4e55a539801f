// The shell services the library uses: special folders by CSIDL number (XDG
// folders through GLib), the folder copy of SHFileOperationW, and the folder
// picker, which goes to a replaceable handler as message boxes do.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

inline constexpr int CSIDL_DESKTOP = 0x0000;
inline constexpr int CSIDL_PERSONAL = 0x0005;  // the user's documents
inline constexpr int CSIDL_MYMUSIC = 0x000D;
inline constexpr int CSIDL_MYVIDEO = 0x000E;
inline constexpr int CSIDL_APPDATA = 0x001A;
inline constexpr int CSIDL_LOCAL_APPDATA = 0x001C;
inline constexpr int CSIDL_COMMON_APPDATA = 0x0023;
inline constexpr int CSIDL_WINDOWS = 0x0024;
inline constexpr int CSIDL_SYSTEM = 0x0025;
inline constexpr int CSIDL_MYPICTURES = 0x0027;
inline constexpr int CSIDL_PROFILE = 0x0028;
inline constexpr int CSIDL_COMMON_DOCUMENTS = 0x002E;
inline constexpr int CSIDL_FLAG_CREATE = 0x8000;


inline constexpr UINT FO_COPY = 0x0002;
inline constexpr WORD FOF_SILENT = 0x0004;
inline constexpr WORD FOF_RENAMEONCOLLISION = 0x0008;
inline constexpr WORD FOF_NOCONFIRMATION = 0x0010;
inline constexpr WORD FOF_NOCONFIRMMKDIR = 0x0200;

struct KW_API SHFILEOPSTRUCTW {
  HWND hwnd;
  UINT wFunc;
  LPCWSTR pFrom;  // double-zero-terminated lists
  LPCWSTR pTo;
  WORD fFlags;
  BOOL fAnyOperationsAborted;
  void* hNameMappings;
  LPCWSTR lpszProgressTitle;
};

inline constexpr UINT BIF_RETURNONLYFSDIRS = 0x0001;
inline constexpr UINT BIF_STATUSTEXT = 0x0004;

// Shows a folder picker and returns non-zero with the chosen folder in `folder`
// (at least MAX_PATH characters), or 0 when nothing was chosen. `start` is the
// folder shown first (may be empty); `flags` the BIF_ flags.
using AFX_FOLDERPICKER_HANDLER = int (*)(HWND owner, const wchar_t* title, UINT flags, const wchar_t* start,
                                         wchar_t* folder, int folderSize, void* context);

// Installs `handler` (null restores the default, which chooses nothing) and returns
// the previous one, whose context is stored in `previousContext` when not null.
KW_API AFX_FOLDERPICKER_HANDLER AfxSetFolderPickerHandler(AFX_FOLDERPICKER_HANDLER handler, void* context,
                                                          void** previousContext = nullptr);

namespace kwplat {

// The folder of `csidl` (CSIDL_FLAG_CREATE creates it when missing) into `path`
// (MAX_PATH characters): S_OK, or E_FAIL for a folder this
// system does not have (the common documents) or one that cannot be read,
// E_INVALIDARG for an unknown number. XDG_* variables are honoured.
KW_API HRESULT SHGetFolderPathW(HWND owner, int csidl, HANDLE token, DWORD flags, LPWSTR path);

// FO_COPY of each entry of pFrom (a file, a folder, or a mask in a folder) to the
// folder pTo: into it when it exists, as it when it does not (a single entry).
// With FOF_RENAMEONCOLLISION a name already taken gets " - Copy" (then " - Copy
// (2)", ...) before its extension; otherwise it is overwritten. Symbolic links found
// in a folder (or by a mask) are copied as links, never followed; an entry named in
// pFrom is followed. 0, or a Win32 code.
KW_API int SHFileOperationW(SHFILEOPSTRUCTW* operation);

KW_API int BrowseForFolder(HWND owner, const wchar_t* title, UINT flags, const wchar_t* start, wchar_t* folder,
                           int folderSize);

}  // namespace kwplat
