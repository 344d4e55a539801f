#include <kwlib63/system/iteradorfitxers.h>

#include <cwchar>

#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/settings/pathstring.h>

namespace {

bool EsCarpeta(const WIN32_FIND_DATAW& dades) { return (dades.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

// A link to a folder is neither a folder to walk nor a file: a link to an ancestor
// would make the walk endless.
bool EsEnllacACarpeta(const WIN32_FIND_DATAW& dades) {
  return EsCarpeta(dades) && (dades.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Opens the listing of `patro`; on failure the walk's result is 1. The text that
// would describe a failure other than a missing folder is made and dropped, as
// the walk reports nothing.
HANDLE Llistar(const CPathString& patro, WIN32_FIND_DATAW& dades) {
  HANDLE cerca = kwplat::FindFirstFileW(patro, &dades);
  if (cerca == INVALID_HANDLE_VALUE && kwplat::GetLastError() != ERROR_FILE_NOT_FOUND) {
    CString descartat;
    descartat.Format(L"FindFirstFile ('%s')", static_cast<const wchar_t*>(patro));
  }
  return cerca;
}

}  // namespace

// What the folder callback of a recursive file walk needs.
struct TIteradorFitxers::WalkFiles {
  TIteradorFitxers* iterador;
  Callback callback;
  __int64 param;
  const wchar_t* mascara;
};

int TIteradorFitxers::IteraCarpetes(Callback callback, __int64 param, const wchar_t* carpeta, int bRecursiu) {
  WIN32_FIND_DATAW dades;
  HANDLE cerca = Llistar(CPathString(L"*.*", carpeta), dades);
  if (cerca == INVALID_HANDLE_VALUE) return kNoLlistable;
  int continuar = 1;
  int resultat = kAcabat;
  BOOL hiHa = TRUE;
  while (hiHa && continuar) {
    if (EsCarpeta(dades) && !EsEnllacACarpeta(dades) && std::wcscmp(dades.cFileName, L".") != 0 &&
        std::wcscmp(dades.cFileName, L"..") != 0) {
      continuar = callback(carpeta, dades.cFileName, m_nNivell, param);
      if (bRecursiu && continuar) {
        ++m_nNivell;
        resultat = IteraCarpetes(callback, param, CPathString(dades.cFileName, carpeta), bRecursiu);
        --m_nNivell;
      }
    }
    // After a stopped deeper walk the same entry comes round again.
    if (resultat >= 0) hiHa = kwplat::FindNextFileW(cerca, &dades);
  }
  kwplat::FindClose(cerca);
  return continuar ? kAcabat : kAturat;
}

int TIteradorFitxers::_fnIteraSubcarpeta(const wchar_t* carpeta, const wchar_t* nom, int, __int64 param) {
  auto* walk = reinterpret_cast<WalkFiles*>(param);
  TIteradorFitxers* iterador = walk->iterador;
  ++iterador->m_nNivell;
  const int resultat =
      iterador->IteraFitxers(walk->callback, walk->param, walk->mascara, CPathString(nom, carpeta), TRUE);
  --iterador->m_nNivell;
  return resultat == kAturat ? 0 : 1;
}

int TIteradorFitxers::IteraFitxers(Callback callback, __int64 param, const wchar_t* mascara, const wchar_t* carpeta,
                                   int bRecursiu) {
  if (bRecursiu) {
    WalkFiles walk{this, callback, param, mascara};
    if (IteraCarpetes(_fnIteraSubcarpeta, reinterpret_cast<__int64>(&walk), carpeta, bRecursiu) == kAturat) {
      return kAturat;
    }
  }
  WIN32_FIND_DATAW dades;
  HANDLE cerca = Llistar(CPathString(mascara, carpeta), dades);
  if (cerca == INVALID_HANDLE_VALUE) return kNoLlistable;
  int continuar = 1;
  do {
    if (!EsCarpeta(dades)) continuar = callback(carpeta, dades.cFileName, m_nNivell, param);
  } while (continuar && kwplat::FindNextFileW(cerca, &dades));
  kwplat::FindClose(cerca);
  return continuar ? kAcabat : kAturat;
}

int TIteradorFitxers::_fnGetLlistaFitxers(const wchar_t* carpeta, const wchar_t* nom, int, __int64 param) {
  reinterpret_cast<CStringList*>(param)->AddTail(CPathString(nom, carpeta));
  return 1;
}

int TIteradorFitxers::GetLlistaFitxers(CStringList& llista, const wchar_t* mascara, const wchar_t* carpeta,
                                       int bRecursiu) {
  return IteraFitxers(_fnGetLlistaFitxers, reinterpret_cast<__int64>(&llista), mascara, carpeta, bRecursiu);
}
