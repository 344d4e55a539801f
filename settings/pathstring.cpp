#include "pathstring.h"

#include <cstdlib>
#include <vector>

#include <kwlib63/core/loadstring.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/file.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/framework/wnd.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/platform/pathparts.h>
#include <kwlib63/platform/shell.h>
#include <kwlib63/platform/versioninfo.h>

CString CPathString::g_strBaseRutaDades;

namespace {

// Paths here may be as long as the system allows, not the 1040 characters of the
// Windows buffers.
constexpr int kPathBuffer = 4096;

bool EndsWithSlash(const CString& s) { return !s.IsEmpty() && s[s.GetLength() - 1] == L'/'; }

CString WithoutOneSlash(const CString& s) { return EndsWithSlash(s) ? s.Left(s.GetLength() - 1) : s; }

struct Parts {
  std::wstring drive, dir, name, ext;
  explicit Parts(const wchar_t* path) { kwplat::_wsplitpath(path, &drive, &dir, &name, &ext); }
  // Joined as they stand: these come from a path, so a quote at either end
  // belongs to a name; it is not one around the whole.
  CPathString Make() const { return CPathString(drive.c_str(), dir.c_str(), name.c_str(), ext.c_str()); }
};

CString CurrentDirectory() {
  std::vector<wchar_t> buffer(kPathBuffer);
  const DWORD n = kwplat::GetCurrentDirectoryW(kPathBuffer, buffer.data());
  return n > 0 && n < static_cast<DWORD>(kPathBuffer) ? CString(buffer.data()) : CString();
}

}  // namespace

CString AfxNetejarPath(const wchar_t* path) {
  CString s(path);
  if (!s.IsEmpty() && s[0] == L'"') s = s.Mid(1);
  if (!s.IsEmpty() && s[s.GetLength() - 1] == L'"') s = s.Left(s.GetLength() - 1);
  return s;
}

CPathString::CPathString(HINSTANCE hModule) {
  std::vector<wchar_t> buffer(kPathBuffer);
  const DWORD n = kwplat::GetModuleFileNameW(hModule, buffer.data(), kPathBuffer);
  CString::operator=(CString(buffer.data(), static_cast<int>(n)));
}

CPathString::CPathString(const wchar_t* name, const wchar_t* dir) {
  const CString n = AfxNetejarPath(name), d = AfxNetejarPath(dir);
  if (d.IsEmpty()) {
    CString::operator=(n);
  } else if (n.IsEmpty()) {
    CString::operator=(posarBarraFinal(d, 1));
  } else {
    Format(EndsWithSlash(d) ? L"%s%s" : L"%s/%s", d.GetString(), n.GetString());
  }
}

CPathString::CPathString(const wchar_t* drive, const wchar_t* dir, const wchar_t* name, const wchar_t* ext)
    : CString(kwplat::_wmakepath(drive, dir, name, ext).c_str()) {}

CPathString::CPathString(const wchar_t* prefix, unsigned int unique) { GetTempFileNameW(prefix, unique); }

CPathString& CPathString::operator=(const wchar_t* text) {
  CString::operator=(text);
  return *this;
}

CString CPathString::GetUnitat() const { return CString(Parts(*this).drive.c_str()); }

CString CPathString::GetDirectori(int bBarraFinal) const { return posarBarraFinal(CString(Parts(*this).dir.c_str()), bBarraFinal); }

CString CPathString::GetRuta(int bBarraFinal) const {
  if (IsEmpty()) return CString();
  const Parts p(*this);
  return posarBarraFinal(CString((p.drive + p.dir).c_str()), bBarraFinal);
}

CString CPathString::GetSubdirectori() const {
  CString dir(Parts(*this).dir.c_str());
  while (EndsWithSlash(dir)) dir = dir.Left(dir.GetLength() - 1);
  const int slash = dir.ReverseFind(L'/');
  return slash <= 0 ? dir : dir.Mid(slash + 1);
}

CString CPathString::GetFitxer() const {
  const Parts p(*this);
  return CString((p.name + p.ext).c_str());
}

CString CPathString::GetNomFitxer() const { return CString(Parts(*this).name.c_str()); }

CString CPathString::GetExtensio(int bPunt) const {
  if (bPunt != 0) {
    const std::wstring ext = Parts(*this).ext;
    return CString(L".") + (ext.empty() ? L"" : ext.c_str() + 1);
  }
  // The whole text is searched, not the split: a dot in a folder name counts.
  const int dot = ReverseFind(L'.');
  return dot < 0 ? CString() : Mid(dot + 1);
}

void CPathString::SplitPath(CString* drive, CString* dir, CString* name, CString* ext) const {
  const Parts p(*this);
  if (drive != nullptr) *drive = p.drive.c_str();
  if (dir != nullptr) *dir = p.dir.c_str();
  if (name != nullptr) *name = p.name.c_str();
  if (ext != nullptr) *ext = p.ext.c_str();
}

int CPathString::IsRoot() const { return GetLength() == 1 && GetAt(0) == L'/'; }

int CPathString::EsCarpeta() const { return GetFitxer().IsEmpty(); }

int CPathString::EsCarpeta(const wchar_t* path) { return CPathString(path, nullptr).EsCarpeta(); }

CPathString CPathString::Substituir(const wchar_t* drive, const wchar_t* dir, const wchar_t* name,
                                    const wchar_t* ext) const {
  Parts p(*this);
  if (drive != nullptr) p.drive = drive;
  if (dir != nullptr) p.dir = dir;
  if (name != nullptr) p.name = name;
  if (ext != nullptr) p.ext = ext;
  return p.Make();
}

CPathString CPathString::Cd(const wchar_t* dir) const {
  Parts p(*this);
  const std::wstring to = dir != nullptr ? dir : L"";
  if (to == L"..") {
    if (p.dir.empty()) AfxThrowInvalidArgException();  // no folder to climb out of
    if (p.dir.back() == L'/') p.dir.pop_back();
    const std::size_t slash = p.dir.find_last_of(L'/');
    p.dir = slash == std::wstring::npos ? L"/" : p.dir.substr(0, slash + 1);
  } else if (to.empty() || to[0] != L'/') {
    if (!p.dir.empty() && p.dir.back() != L'/') p.dir += L'/';
    p.dir += to;
  } else {
    p.dir = to;
  }
  if (p.dir.empty() || p.dir.back() != L'/') p.dir += L'/';
  return p.Make();
}

CPathString CPathString::Purify() const {
  Parts p(*this);
  p.drive = purify(CString(p.drive.c_str())).GetString();
  const CString dir = purify(WithoutOneSlash(CString(p.dir.c_str())));
  p.dir = dir.IsEmpty() ? L"/" : dir.GetString();
  p.name = purify(CString(p.name.c_str())).GetString();
  p.ext = purify(CString(p.ext.c_str())).GetString();
  return p.Make();
}

CPathString CPathString::FullPath(const wchar_t* path, const wchar_t* base) {
  const CString p(path);
  // Resolved against the folder of `base` by text, which is what moving the current
  // folder there would give, without moving the whole process's current folder.
  if (base != nullptr && (p.IsEmpty() || p[0] != L'/')) {
    const CString folder = CPathString(base, nullptr).GetRuta(1);
    if (TestCarpeta(folder)) return CPathString(kwplat::_wfullpath((folder + p).GetString()).c_str(), nullptr);
  }
  return CPathString(kwplat::_wfullpath(p).c_str(), nullptr);
}

CString CPathString::posarBarraFinal(const CString& s, int bBarraFinal) {
  if (bBarraFinal != 0) return EndsWithSlash(s) ? s : s + L"/";
  return WithoutOneSlash(s);
}

CString CPathString::purify(const CString& s) {
  CString out(s);
  for (const wchar_t c : {L'<', L'>', L':', L'"', L'|', L'?', L'*'}) out.Replace(c, L' ');
  return out.Trim();
}

CString CPathString::getLongPathName(const wchar_t* path) {
  // Linux paths have no short 8.3 forms to expand: the path is already its long form.
  return CString(path);
}

int CPathString::TestFitxer(const wchar_t* path) {
  if (path == nullptr || *path == 0) return 0;
  const DWORD a = kwplat::GetFileAttributesW(path);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

int CPathString::TestCarpeta(const wchar_t* path) {
  if (path == nullptr || *path == 0) return 0;
  CString p = WithoutOneSlash(CString(path));
  if (p.IsEmpty()) p = L"/";  // the root, once its separator is taken off
  const DWORD a = kwplat::GetFileAttributesW(p);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

int CPathString::CrearCarpeta(const wchar_t* path) {
  if (path == nullptr || *path == 0) {
    kwplat::SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const CString p = WithoutOneSlash(CString(path));
  if (p.IsEmpty()) return 1;  // the root
  const DWORD a = kwplat::GetFileAttributesW(p);
  if (a != INVALID_FILE_ATTRIBUTES) {
    if ((a & FILE_ATTRIBUTE_DIRECTORY) != 0) return 1;
    kwplat::SetLastError(ERROR_FILE_EXISTS);
    return 0;
  }
  const int slash = p.ReverseFind(L'/');
  if (slash > 0) {
    if (const int parent = CrearCarpeta(p.Left(slash)); parent == 0) return parent;
  }
  if (!kwplat::CreateDirectoryW(p, nullptr)) {
    kwplat::SetLastError(kwplat::GetLastError());
    return 0;
  }
  return 1;
}

int CPathString::Esborrar(const wchar_t* path, int bForcar) {
  if (path == nullptr || *path == 0) return 0;
  if (bForcar != 0) kwplat::SetFileAttributesW(path, FILE_ATTRIBUTE_NORMAL);
  return kwplat::DeleteFileW(path);
}

int CPathString::EsborrarCarpeta(const wchar_t* path, int bRecursiu) {
  if (path == nullptr || *path == 0) return 0;
  // A link given as the folder goes as a link: what it points at is elsewhere.
  const CString bare = posarBarraFinal(CString(path), 0);
  const DWORD attributes = kwplat::GetFileAttributesW(bare);
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    return kwplat::RemoveDirectoryW(bare);
  }
  const CString folder = posarBarraFinal(CString(path), 1);
  if (bRecursiu != 0) {
    WIN32_FIND_DATAW data;
    HANDLE find = kwplat::FindFirstFileW(folder + L"*.*", &data);
    if (find == INVALID_HANDLE_VALUE) return 0;
    do {
      const CString name(data.cFileName);
      const bool isFolder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
      if ((data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        // A link goes as a link: what it points at is not in this folder.
        if (isFolder) {
          kwplat::RemoveDirectoryW(folder + name);
        } else {
          kwplat::DeleteFileW(folder + name);
        }
      } else if (isFolder) {
        if (name != L"." && name != L"..") EsborrarCarpeta(folder + name, 1);
      } else {
        kwplat::DeleteFileW(folder + name);
      }
    } while (kwplat::FindNextFileW(find, &data));
    kwplat::FindClose(find);
  }
  // A folder cannot go while the process stands in it.
  if (posarBarraFinal(CurrentDirectory(), 1).CompareNoCase(folder) == 0) kwplat::SetCurrentDirectoryW(L"..");
  return kwplat::RemoveDirectoryW(path);
}

int CPathString::CopyFileTo(const wchar_t* src, const wchar_t* dst, int bFailIfExists) {
  return kwplat::CopyFileW(src, dst, bFailIfExists);
}

int CPathString::CopyFolderTo(const wchar_t* src, const wchar_t* dst, int bSobreescriure) {
  const CPathString from(src, nullptr), to(dst, nullptr);
  if (!TestCarpeta(from.GetRuta(0))) return 0;
  // Double-zero-terminated lists of one entry each.
  const std::wstring fromList = std::wstring(from.GetString()) + L'\0';
  const std::wstring toList = std::wstring(to.GetString()) + L'\0';
  SHFILEOPSTRUCTW op{};
  op.hwnd = nullptr;
  op.wFunc = FO_COPY;
  op.pFrom = fromList.c_str();
  op.pTo = toList.c_str();
  op.fFlags = static_cast<WORD>(bSobreescriure != 0 ? 0x214 : 0x21C);
  return kwplat::SHFileOperationW(&op) == 0;
}

unsigned long long CPathString::GetMida(const wchar_t* path) {
  try {
    CFileStatus status;
    return CFile::GetStatus(path, status) ? status.m_size : 0;
  } catch (CException* e) {
    e->Delete();
    return 0;
  }
}

int CPathString::GetData(const wchar_t* path, CTime& t, unsigned int nQuina) {
  if (nQuina < 1 || nQuina > 3) return 0;
  try {
    CFileStatus status;
    if (!CFile::GetStatus(path, status)) return 0;
    t = nQuina == 1 ? status.m_ctime : nQuina == 2 ? status.m_mtime : status.m_atime;
    return 1;
  } catch (CException* e) {
    e->Delete();
    return 0;
  }
}

unsigned long long CPathString::Carregar(const wchar_t* path, unsigned char*& pBuffer) {
  const unsigned long long size = GetMida(path);
  if (size == 0) return 0;
  auto* block = static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(size)));
  if (block == nullptr) return 0;
  pBuffer = block;
  try {
    CFile file(path, CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary);
    for (unsigned long long done = 0; done < size;) {
      const auto chunk = static_cast<UINT>(size - done < 0x1000000 ? size - done : 0x1000000);
      const UINT n = file.Read(block + done, chunk);
      // A file that shrank since its size was taken cannot be loaded whole.
      if (n == 0) AfxThrowFileException(CFileException::endOfFile, -1, path);
      done += n;
    }
    file.Close();
    return size;
  } catch (CException* e) {
    e->Delete();
    std::free(block);
    pBuffer = nullptr;
    return 0;
  }
}

unsigned int CPathString::GetTempFileNameW(const wchar_t* prefix, unsigned int unique) {
  return GetTempFileNameW(GetTempPathW(1), prefix, unique);
}

unsigned int CPathString::GetTempFileNameW(const wchar_t* dir, const wchar_t* prefix, unsigned int unique) {
  std::vector<wchar_t> buffer(kPathBuffer, 0);
  const UINT n = kwplat::GetTempFileNameW(dir, prefix, unique, buffer.data());
  CString::operator=(buffer.data());
  return n;
}

namespace {

// The file's version block, or an empty vector.
std::vector<unsigned char> VersionBlock(const wchar_t* path) {
  DWORD handle = 0;
  const DWORD size = kwplat::GetFileVersionInfoSizeW(path, &handle);
  std::vector<unsigned char> block(size);
  if (size == 0 || !kwplat::GetFileVersionInfoW(path, handle, size, block.data())) block.clear();
  return block;
}

int ReadVersion(const wchar_t* path, CInfoVersio& versio, bool product) {
  const std::vector<unsigned char> block = VersionBlock(path);
  void* data = nullptr;
  UINT length = 0;
  if (block.empty() || !kwplat::VerQueryValueW(block.data(), L"\\", &data, &length)) return 0;
  const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(data);
  const DWORD ms = product ? fixed->dwProductVersionMS : fixed->dwFileVersionMS;
  const DWORD ls = product ? fixed->dwProductVersionLS : fixed->dwFileVersionLS;
  versio.nMajor = ms >> 16;
  versio.nMinor = ms & 0xFFFF;
  versio.nRelease = ls >> 16;
  versio.nBuild = ls & 0xFFFF;
  versio.bDebug = (fixed->dwFileFlags & VS_FF_DEBUG) != 0;
  versio.bPreRelease = (fixed->dwFileFlags & VS_FF_PRERELEASE) != 0;
  return 1;
}

CString VersionText(const CInfoVersio& v, bool suffix) {
  CString s;
  if (v.nRelease != 0) {
    s.Format(L"%u.%u.%u", v.nMajor, v.nMinor, v.nRelease);
  } else {
    s.Format(L"%u.%u", v.nMajor, v.nMinor);
  }
  if (!suffix) return s;
  if (v.nBuild == 99) {
    s += L"-rc";
  } else if (v.nBuild > 100) {
    s.AppendFormat(L"-rc.%u", v.nBuild - 100);
  } else if (v.bPreRelease != 0 || v.nBuild != 0) {
    s += L"-beta";
    if (v.nBuild != 0) s.AppendFormat(L".%u", v.nBuild);
  }
  return s;
}

}  // namespace

int CPathString::GetFileVersion(const wchar_t* path, CInfoVersio& versio) { return ReadVersion(path, versio, false); }

int CPathString::GetProductVersion(const wchar_t* path, CInfoVersio& versio) { return ReadVersion(path, versio, true); }

int CPathString::GetFileVersion(CString& s, int bSufix) const {
  CInfoVersio v;
  if (!GetFileVersion(*this, v)) return 0;
  s = VersionText(v, bSufix != 0);
  return 1;
}

int CPathString::GetProductVersion(CString& s) const {
  CInfoVersio v;
  if (!GetProductVersion(*this, v)) return 0;
  s = VersionText(v, true);
  return 1;
}

int CPathString::GetStringInformacio(const wchar_t* path, const wchar_t* clau, CString& s) {
  const std::vector<unsigned char> block = VersionBlock(path);
  void* data = nullptr;
  UINT length = 0;
  if (block.empty() || !kwplat::VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &data, &length) || length < 4) {
    return 0;
  }
  const DWORD translation = *static_cast<const DWORD*>(data);
  CString query;
  query.Format(L"\\StringFileInfo\\%04hx%04hx\\%s", static_cast<unsigned short>(translation & 0xFFFF),
               static_cast<unsigned short>(translation >> 16), clau != nullptr ? clau : L"");
  if (!kwplat::VerQueryValueW(block.data(), query, &data, &length)) return 0;
  s = static_cast<const wchar_t*>(data);
  return 1;
}

CString CPathString::GetWindowsDir(int bBarraFinal) { return GetRutaShell(CSIDL_WINDOWS, bBarraFinal); }

CString CPathString::GetSystemDir(int bBarraFinal) { return GetRutaShell(CSIDL_SYSTEM, bBarraFinal); }

CString CPathString::GetColorProfilesDir(int bBarraFinal) { return posarBarraFinal(L"/usr/share/color/icc", bBarraFinal); }

CString CPathString::GetTempPathW(int bBarraFinal) {
  std::vector<wchar_t> buffer(kPathBuffer, 0);
  kwplat::GetTempPathW(kPathBuffer, buffer.data());
  CString path(buffer.data());
  if (path.Find(L'~') >= 0) path = getLongPathName(path);
  return posarBarraFinal(path, bBarraFinal);
}

CString CPathString::GetRutaShell(int nCSIDL, int bBarraFinal) {
  wchar_t path[MAX_PATH] = {};
  CWnd* main = AfxGetMainWnd();
  if (kwplat::SHGetFolderPathW(main != nullptr ? main->GetSafeHwnd() : nullptr, nCSIDL, nullptr, 0, path) != S_OK) {
    return CString();
  }
  return posarBarraFinal(CString(path), bBarraFinal);
}

CString CPathString::GetNomRutaShell(int nCSIDL) {
  // The folder's own name: its last component, the final separator set aside.
  const CString path = WithoutOneSlash(GetRutaShell(nCSIDL, 1));
  const int slash = path.ReverseFind(L'/');
  return slash < 0 ? CString() : path.Mid(slash + 1);
}

CString CPathString::GetRutaDades(int bUsuari, const wchar_t* subcarpeta, const wchar_t* base, int bBarraFinal,
                                  int bCrear, int bCanviarDirectori) {
  CString root = GetRutaShell(bUsuari != 0 ? CSIDL_PERSONAL : CSIDL_COMMON_DOCUMENTS, 0);
  if (root.IsEmpty()) root = GetRutaShell(bUsuari != 0 ? CSIDL_APPDATA : CSIDL_COMMON_APPDATA, 0);
  if (root.IsEmpty()) return CString();
  CString folderBase(base);
  if (folderBase.IsEmpty()) folderBase = g_strBaseRutaDades;
  if (folderBase.IsEmpty()) folderBase.Format(L"Tormel/%s/", AfxGetAppName().GetString());
  CString path = posarBarraFinal(root, 1) + folderBase;
  if (subcarpeta != nullptr && *subcarpeta != 0) path = posarBarraFinal(path, 1) + subcarpeta;
  path = posarBarraFinal(path, bBarraFinal);
  const CString folder = CPathString(path, nullptr).GetRuta(0);
  if (bCrear != 0 && !TestCarpeta(folder)) CrearCarpeta(folder);
  if (bCanviarDirectori != 0) kwplat::SetCurrentDirectoryW(path);
  return path;
}

CString CPathString::GetFitxerDades(const wchar_t* fitxer, int bUsuari, const wchar_t* subcarpeta, const wchar_t* base) {
  const CString folder = GetRutaDades(bUsuari, subcarpeta, base, 1, 1, 0);
  return folder.IsEmpty() ? CString() : CString(CPathString(fitxer, folder));
}

CString CPathString::GetTempFitxerDades(unsigned int unique, const wchar_t* prefix, int bUsuari,
                                        const wchar_t* subcarpeta, const wchar_t* base) {
  const CString folder = GetRutaDades(bUsuari, subcarpeta, base, 1, 1, 0);
  if (folder.IsEmpty()) return CString();
  CPathString name;
  name.GetTempFileNameW(folder, prefix, unique);
  return name;
}

void CPathString::SetBaseRutaDades(const wchar_t* base) { g_strBaseRutaDades = base; }

CString CPathString::GetBaseRutaDades() { return g_strBaseRutaDades; }

int CPathString::Browse(const wchar_t* title, unsigned int nFlags, CWnd* pParent) {
  CWnd* owner = pParent != nullptr ? pParent : AfxGetMainWnd();
  CString start(*this);
  if (!IsRoot() && GetLength() > 1) start = WithoutOneSlash(start);
  std::vector<wchar_t> chosen(kPathBuffer, 0);
  if (!kwplat::BrowseForFolder(owner != nullptr ? owner->GetSafeHwnd() : nullptr, title, nFlags | BIF_STATUSTEXT, start,
                               chosen.data(), kPathBuffer)) {
    return 0;
  }
  CString::operator=(posarBarraFinal(CString(chosen.data()), 1));
  return 1;
}

int CPathString::Browse(unsigned int nIDTitle, unsigned int nFlags, CWnd* pParent) {
  return Browse(AfxLoadString(nIDTitle), nFlags, pParent);
}
