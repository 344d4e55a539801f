// TIteradorFitxers: walks a folder, optionally with its subfolders, handing every
// subfolder or every file that matches a mask (Windows mask rules: '*' and '?',
// "*.*" matches every name, without regard to case) to a callback that may stop
// the walk.
//
// The recursive file walk keeps its long-standing order and repetitions: the files
// of the subfolders come before a folder's own files, and a folder at depth d
// (d >= 1) is walked 2^(d-1) times. Callers that need each path once remove the
// repeats themselves.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/stringlist.h>
#include <kwlib63/framework/wintypes.h>

class KW_API TIteradorFitxers {
 public:
  // Non-zero to go on, 0 to stop.
  using Callback = int (*)(const wchar_t* carpeta, const wchar_t* nom, int nivell, __int64 param);

  // Results of the walks.
  static constexpr int kAcabat = 0;
  static constexpr int kAturat = -5;
  static constexpr int kNoLlistable = 1;

  // Every subfolder; when a deeper walk was stopped, the same subfolder is shown
  // to the callback again, so a callback that stops must keep answering 0.
  int IteraCarpetes(Callback callback, __int64 param, const wchar_t* carpeta, int bRecursiu);
  int IteraFitxers(Callback callback, __int64 param, const wchar_t* mascara, const wchar_t* carpeta, int bRecursiu);
  // Appends the full path of every file the walk meets to `llista`.
  int GetLlistaFitxers(CStringList& llista, const wchar_t* mascara, const wchar_t* carpeta, int bRecursiu);

  // The depth below the starting folder during a walk; 0 outside one.
  int m_nNivell = 0;

 protected:
  static int _fnGetLlistaFitxers(const wchar_t* carpeta, const wchar_t* nom, int nivell, __int64 param);

 private:
  struct WalkFiles;
  static int _fnIteraSubcarpeta(const wchar_t* carpeta, const wchar_t* nom, int nivell, __int64 param);
};
