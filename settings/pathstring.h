// CPathString: a file-system path that splits itself into drive, directory, name
// and extension, composes itself from parts, moves between folders, cleans itself
// of characters a file name may not hold, and answers questions about the file or
// folder it names. The separator is '/' and there are no drives: the drive part is
// always empty and the root is "/".
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/ctime.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/settings/infoversio.h>

class CWnd;

// `path` without one leading and one trailing double quote.
KW_API CString AfxNetejarPath(const wchar_t* path);

class KW_API CPathString : public CString {
 public:
  // The full file name of `hModule` (the running program when null).
  CPathString(HINSTANCE hModule = nullptr);
  // `name` joined to the folder `dir` (note the order); quotes around either go.
  CPathString(const wchar_t* name, const wchar_t* dir);
  CPathString(const wchar_t* drive, const wchar_t* dir, const wchar_t* name, const wchar_t* ext);
  // A temporary file name in the user's temporary folder (GetTempFileNameW rules).
  CPathString(const wchar_t* prefix, unsigned int unique);
  CPathString(const CPathString& other) = default;
  CPathString& operator=(const CPathString& other) = default;
  CPathString& operator=(const wchar_t* text);

  CString GetUnitat() const;
  CString GetDirectori(int bBarraFinal) const;
  CString GetRuta(int bBarraFinal) const;
  // The directory's last folder name; a folder right under the root keeps its
  // leading separator ("/a"), by design.
  CString GetSubdirectori() const;
  CString GetFitxer() const;
  CString GetNomFitxer() const;
  // With `bPunt`: the split's extension with its dot ("." when there is none);
  // without: the text after the last dot of the whole path, a dot in a folder name
  // included ("/a.b/c" gives "b/c"), or empty.
  CString GetExtensio(int bPunt) const;
  void SplitPath(CString* drive, CString* dir, CString* name, CString* ext) const;
  int IsRoot() const;
  // Whether the text ends in a separator (no name): textual, the disk is not asked.
  int EsCarpeta() const;

  CPathString Substituir(const wchar_t* drive, const wchar_t* dir, const wchar_t* name, const wchar_t* ext) const;
  // The same file in another folder: "..", a relative or an absolute folder.
  CPathString Cd(const wchar_t* dir) const;
  CPathString Purify() const;
  static CPathString FullPath(const wchar_t* path, const wchar_t* base = nullptr);

  static CString posarBarraFinal(const CString& s, int bBarraFinal);
  static CString purify(const CString& s);
  static CString getLongPathName(const wchar_t* path);

  static int TestFitxer(const wchar_t* path);
  int TestFitxer() const { return TestFitxer(*this); }
  static int TestCarpeta(const wchar_t* path);
  int TestCarpeta() const { return TestCarpeta(GetRuta(0)); }
  static int EsCarpeta(const wchar_t* path);
  static int CrearCarpeta(const wchar_t* path);
  int CrearCarpeta() const { return CrearCarpeta(GetRuta(0)); }
  static int Esborrar(const wchar_t* path, int bForcar);
  int Esborrar(int bForcar) const { return Esborrar(*this, bForcar); }
  // With `bRecursiu` the contents go first; a symbolic link inside is removed as a
  // link, and nothing outside the folder is touched.
  static int EsborrarCarpeta(const wchar_t* path, int bRecursiu);
  int EsborrarCarpeta(int bRecursiu) const { return EsborrarCarpeta(GetRuta(0), bRecursiu); }
  // Non-zero `bFailIfExists`: an existing target is kept and the copy fails.
  static int CopyFileTo(const wchar_t* src, const wchar_t* dst, int bFailIfExists);
  int CopyFileTo(const wchar_t* dst, int bFailIfExists) const { return CopyFileTo(*this, dst, bFailIfExists); }
  // Non-zero `bSobreescriure`: existing files are overwritten (the opposite sense
  // to CopyFileTo's flag).
  static int CopyFolderTo(const wchar_t* src, const wchar_t* dst, int bSobreescriure);
  int CopyFolderTo(const wchar_t* dst, int bSobreescriure) const { return CopyFolderTo(*this, dst, bSobreescriure); }
  static unsigned long long GetMida(const wchar_t* path);
  unsigned long long GetMida() const { return GetMida(*this); }
  // `nQuina`: 1 creation, 2 last modification, 3 last access.
  static int GetData(const wchar_t* path, CTime& t, unsigned int nQuina);
  int GetData(CTime& t, unsigned int nQuina) const { return GetData(*this, t, nQuina); }
  // The whole file in a malloc block (the caller frees it); its size, or 0.
  static unsigned long long Carregar(const wchar_t* path, unsigned char*& pBuffer);
  unsigned long long Carregar(unsigned char*& pBuffer) const { return Carregar(*this, pBuffer); }
  unsigned int GetTempFileNameW(const wchar_t* prefix, unsigned int unique);
  unsigned int GetTempFileNameW(const wchar_t* dir, const wchar_t* prefix, unsigned int unique);

  // The version note of the file (see KW_VERSION_INFO): 1, or 0 without one.
  static int GetFileVersion(const wchar_t* path, CInfoVersio& versio);
  static int GetProductVersion(const wchar_t* path, CInfoVersio& versio);
  // The version as text, "2.1.3-beta.7" and the like; the product version always
  // with its suffix, the file version with it on request.
  int GetFileVersion(CString& s, int bSufix) const;
  int GetProductVersion(CString& s) const;
  // The text of `clau` in the string table of the file's first translation.
  static int GetStringInformacio(const wchar_t* path, const wchar_t* clau, CString& s);

  static CString GetWindowsDir(int bBarraFinal);
  static CString GetSystemDir(int bBarraFinal);
  static CString GetColorProfilesDir(int bBarraFinal);
  static CString GetTempPathW(int bBarraFinal);
  static CString GetRutaShell(int nCSIDL, int bBarraFinal);
  static CString GetNomRutaShell(int nCSIDL);
  // The application data folder: the user's (or the common) documents, else the
  // application data folder, then the base ("Tormel/<application>/" unless set),
  // then `subcarpeta`.
  static CString GetRutaDades(int bUsuari, const wchar_t* subcarpeta, const wchar_t* base, int bBarraFinal,
                              int bCrear, int bCanviarDirectori);
  static CString GetFitxerDades(const wchar_t* fitxer, int bUsuari, const wchar_t* subcarpeta, const wchar_t* base);
  static CString GetTempFitxerDades(unsigned int unique, const wchar_t* prefix, int bUsuari, const wchar_t* subcarpeta,
                                    const wchar_t* base);
  static void SetBaseRutaDades(const wchar_t* base);
  static CString GetBaseRutaDades();

  // The folder picker (AfxSetFolderPickerHandler): non-zero with the chosen folder,
  // ending in a separator, as the new text.
  int Browse(const wchar_t* title, unsigned int nFlags, CWnd* pParent = nullptr);
  int Browse(unsigned int nIDTitle, unsigned int nFlags, CWnd* pParent = nullptr);

  static CString g_strBaseRutaDades;
};
