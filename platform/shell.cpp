#include <kwlib63/platform/shell.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cwchar>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/hookslot.h>
#include <kwlib63/platform/lasterror.h>

namespace {

int ChooseNothing(HWND, const wchar_t*, UINT, const wchar_t*, wchar_t*, int, void*) { return 0; }

kwplat::HookSlot<AFX_FOLDERPICKER_HANDLER> g_picker(&ChooseNothing);

}  // namespace

AFX_FOLDERPICKER_HANDLER AfxSetFolderPickerHandler(AFX_FOLDERPICKER_HANDLER handler, void* context,
                                                   void** previousContext) {
  return g_picker.Set(handler, context, previousContext);
}

namespace kwplat {
namespace {

std::string SpecialDir(GUserDirectory which) {
  const char* dir = g_get_user_special_dir(which);
  return dir != nullptr ? dir : "";
}

// The folder of a CSIDL number; `known` false for a number this table lacks.
std::string FolderOf(int csidl, bool& known) {
  known = true;
  switch (csidl) {
    case CSIDL_DESKTOP: return SpecialDir(G_USER_DIRECTORY_DESKTOP);
    case CSIDL_PERSONAL: return SpecialDir(G_USER_DIRECTORY_DOCUMENTS);
    case CSIDL_MYMUSIC: return SpecialDir(G_USER_DIRECTORY_MUSIC);
    case CSIDL_MYVIDEO: return SpecialDir(G_USER_DIRECTORY_VIDEOS);
    case CSIDL_MYPICTURES: return SpecialDir(G_USER_DIRECTORY_PICTURES);
    case CSIDL_APPDATA:
    case CSIDL_LOCAL_APPDATA: return g_get_user_data_dir();
    case CSIDL_COMMON_APPDATA: return "/var/lib";
    case CSIDL_WINDOWS: return "/usr";
    case CSIDL_SYSTEM: return "/usr/lib";
    case CSIDL_PROFILE: return g_get_home_dir();
    case CSIDL_COMMON_DOCUMENTS: return "";  // no shared documents folder here
    default: known = false; return "";
  }
}

bool HasWildcard(const std::wstring& name) { return name.find_first_of(L"*?") != std::wstring::npos; }

std::wstring Join(const std::wstring& dir, const std::wstring& name) {
  return dir.empty() || dir.back() == L'/' ? dir + name : dir + L"/" + name;
}

std::wstring BaseName(const std::wstring& path) {
  const std::size_t slash = path.find_last_of(L'/');
  return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

bool Exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

bool IsFolder(const std::wstring& path) {
  const DWORD a = GetFileAttributesW(path.c_str());
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// "name - Copy.ext", then "name - Copy (2).ext" and on, the first that is free.
std::wstring FreeName(const std::wstring& target) {
  const std::wstring base = BaseName(target);
  const std::wstring dir = target.substr(0, target.size() - base.size());
  const std::size_t dot = base.find_last_of(L'.');
  const std::wstring stem = dot == std::wstring::npos || dot == 0 ? base : base.substr(0, dot);
  const std::wstring ext = base.substr(stem.size());
  for (int n = 1;; ++n) {
    const std::wstring candidate = dir + stem + L" - Copy" + (n > 1 ? L" (" + std::to_wstring(n) + L")" : L"") + ext;
    if (!Exists(candidate)) return candidate;
  }
}

bool IsLink(const WIN32_FIND_DATAW& data) { return (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }

// Copies the symbolic link `source` as a link with the same target text; a file or
// link in the way is replaced. 0 or the error.
DWORD CopyLink(const std::wstring& source, std::wstring target, bool rename) {
  if (rename && Exists(target)) target = FreeName(target);
  const std::string from = kwfw::WideToUtf8(source), to = kwfw::WideToUtf8(target);
  std::string text(256, '\0');
  for (;;) {
    const ssize_t n = readlink(from.c_str(), text.data(), text.size());
    if (n < 0) return Win32ErrorFromErrno(errno);
    if (static_cast<std::size_t>(n) < text.size()) {
      text.resize(static_cast<std::size_t>(n));
      break;
    }
    text.resize(text.size() * 2);
  }
  struct stat st {};
  if (lstat(to.c_str(), &st) == 0 && !S_ISDIR(st.st_mode) && unlink(to.c_str()) != 0) return Win32ErrorFromErrno(errno);
  return symlink(text.c_str(), to.c_str()) == 0 ? 0 : Win32ErrorFromErrno(errno);
}

// Copies a file or a folder tree to `target`; 0 or the first error. Links met in
// the tree are copied as links, never followed: one to an ancestor would make the
// copy endless, and one to a folder elsewhere would copy what is not in the tree.
DWORD CopyEntry(const std::wstring& source, std::wstring target, bool rename) {
  if (rename && Exists(target)) target = FreeName(target);
  if (!IsFolder(source)) return CopyFileW(source.c_str(), target.c_str(), FALSE) ? 0 : GetLastError();
  if (!IsFolder(target) && !CreateDirectoryW(target.c_str(), nullptr)) return GetLastError();
  WIN32_FIND_DATAW data;
  HANDLE find = FindFirstFileW(Join(source, L"*").c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND ? 0 : GetLastError();
  DWORD result = 0;
  do {
    const std::wstring name = data.cFileName;
    if (name == L"." || name == L"..") continue;
    // Inside a folder that is itself new or merged, entries keep their names.
    const std::wstring from = Join(source, name), to = Join(target, name);
    if (const DWORD error = IsLink(data) ? CopyLink(from, to, false) : CopyEntry(from, to, false);
        error != 0 && result == 0) {
      result = error;
    }
  } while (FindNextFileW(find, &data));
  FindClose(find);
  return result;
}

// The entries of a double-zero-terminated list.
std::vector<std::wstring> Entries(LPCWSTR list) {
  std::vector<std::wstring> out;
  for (const wchar_t* p = list; p != nullptr && *p != 0; p += std::wcslen(p) + 1) out.emplace_back(p);
  return out;
}

}  // namespace

HRESULT SHGetFolderPathW(HWND, int csidl, HANDLE, DWORD, LPWSTR path) {
  if (path == nullptr) return E_INVALIDARG;
  path[0] = 0;
  bool known = false;
  const std::string dir = FolderOf(csidl & 0xFF, known);
  if (!known) return E_INVALIDARG;
  if (dir.empty()) return E_FAIL;
  if ((csidl & CSIDL_FLAG_CREATE) != 0 && g_mkdir_with_parents(dir.c_str(), 0700) != 0) return E_FAIL;
  const std::wstring wide = kwfw::Utf8ToWide(dir);
  if (wide.size() >= MAX_PATH) return E_FAIL;
  std::wmemcpy(path, wide.c_str(), wide.size() + 1);
  return S_OK;
}

int SHFileOperationW(SHFILEOPSTRUCTW* operation) {
  if (operation == nullptr || operation->wFunc != FO_COPY) return static_cast<int>(ERROR_INVALID_PARAMETER);
  operation->fAnyOperationsAborted = FALSE;
  const std::vector<std::wstring> targets = Entries(operation->pTo);
  if (targets.empty()) return static_cast<int>(ERROR_INVALID_PARAMETER);
  std::wstring to = targets[0];
  while (to.size() > 1 && to.back() == L'/') to.pop_back();

  // Each source, and whether it is a link met in a folder listing (a source named
  // by the caller is followed).
  std::vector<std::pair<std::wstring, bool>> sources;
  for (std::wstring from : Entries(operation->pFrom)) {
    while (from.size() > 1 && from.back() == L'/') from.pop_back();
    if (!HasWildcard(BaseName(from))) {
      if (!Exists(from)) return static_cast<int>(ERROR_FILE_NOT_FOUND);
      sources.emplace_back(from, false);
      continue;
    }
    const std::wstring dir = from.substr(0, from.size() - BaseName(from).size());
    WIN32_FIND_DATAW data;
    HANDLE find = FindFirstFileW(from.c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) continue;  // a mask that matches nothing copies nothing
    do {
      const std::wstring name = data.cFileName;
      if (name != L"." && name != L"..") sources.emplace_back(dir + name, IsLink(data));
    } while (FindNextFileW(find, &data));
    FindClose(find);
  }
  // One entry onto a name that does not exist yet becomes that name; otherwise the
  // entries go into the target folder, which is made when missing.
  const bool intoFolder = IsFolder(to) || sources.size() != 1;
  if (intoFolder && !IsFolder(to) && !CreateDirectoryW(to.c_str(), nullptr)) return static_cast<int>(GetLastError());
  const bool rename = (operation->fFlags & FOF_RENAMEONCOLLISION) != 0;
  int result = 0;
  for (const auto& [source, link] : sources) {
    const std::wstring target = intoFolder ? Join(to, BaseName(source)) : to;
    if (const DWORD error = link ? CopyLink(source, target, rename) : CopyEntry(source, target, rename);
        error != 0 && result == 0) {
      result = static_cast<int>(error);
    }
  }
  return result;
}

int BrowseForFolder(HWND owner, const wchar_t* title, UINT flags, const wchar_t* start, wchar_t* folder, int folderSize) {
  if (folder == nullptr || folderSize <= 0) return 0;
  folder[0] = 0;
  return g_picker.Call(owner, title != nullptr ? title : L"", flags, start != nullptr ? start : L"", folder, folderSize);
}

}  // namespace kwplat
