// TCarpetaRegistry: one registry key ("folder") under a root key, opened on
// demand with a nesting count, for typed values, deletes, enumeration and window
// placements. By default the folder is the application's own,
// "Software\<company>\<product>" under the current user's root.
//
// Every value operation opens the folder itself (writes creating it when
// missing, reads read-only) and closes it again; wrap several in Obrir/Tancar to
// keep the key open between them. Results: 0 on success; -2500 the folder cannot
// be opened, -2503 a value cannot be written, -2504 a value cannot be deleted,
// -2505 a key cannot be deleted; 2500 when a read fell back to its default. The
// registry's error code is set as last error wherever a registry call fails.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <string>

#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/settings/multistring.h>

class CWnd;

class KW_API TCarpetaRegistry {
 public:
  // Obrir modes.
  static constexpr unsigned long kCrear = 0x1;
  static constexpr unsigned long kNomesLectura = 0x2;
  // BorrarValor's argument that deletes every value of the folder.
  static inline const wchar_t* const kTotsElsValors = reinterpret_cast<const wchar_t*>(1);

  // A `carpeta` starting with "." is placed below the application folder; any
  // other is the path from the root; none is the application folder itself.
  TCarpetaRegistry(const wchar_t* carpeta = nullptr, HKEY arrel = HKEY_CURRENT_USER, int flag = 0);
  // The sub-folder `nom` of `pare`, on the same root.
  TCarpetaRegistry(const TCarpetaRegistry* pare, const wchar_t* nom);
  // Copies the root and the path; the copy starts closed.
  TCarpetaRegistry(const TCarpetaRegistry& other);
  TCarpetaRegistry& operator=(const TCarpetaRegistry& other);
  // Closes an open key whatever the count.
  virtual ~TCarpetaRegistry();

  // Bit kCrear creates the key when missing, bit kNomesLectura opens it read-only.
  // Nested calls only count. 1 on success, 0 with the last error set.
  virtual int Obrir(unsigned long nMode);
  // Closes the key when the count comes back to 0. Always 1.
  virtual int Tancar();

  CString GetNom() const { return m_sCarpeta; }
  int SetClauBase(HKEY arrel);
  // A new folder (the caller deletes it) for the sub-folder `nom`, same root and flag.
  TCarpetaRegistry* GetSubcarpeta(const wchar_t* nom) const;

  // "Software\<company>\<product>" (or the base set below) followed by `sub`.
  static CString ConstruirCarpetaApp(const wchar_t* sub);
  static void SetCarpetaBaseApp(const wchar_t* base);
  static CString GetCarpetaBaseApp();

  int EntraValor(const wchar_t* nom, const wchar_t* valor);
  int EntraValor(const wchar_t* nom, unsigned long valor);
  int EntraValor(const wchar_t* nom, long valor);
  int EntraValor(const wchar_t* nom, int valor);
  int EntraValor(const wchar_t* nom, short valor);
  int EntraValor(const wchar_t* nom, unsigned short valor);
  // Stored as the text of "%f" (six decimals).
  int EntraValor(const wchar_t* nom, double valor);
  int EntraValor(const wchar_t* nom, float valor);
  int EntraValor(const wchar_t* nom, const CMultiString& valor);
  int EntraValor(const wchar_t* nom, void* dades, unsigned long mida);

  int TornaValor(const wchar_t* nom, int& valor, int perDefecte);
  int TornaValor(const wchar_t* nom, long& valor, long perDefecte);
  int TornaValor(const wchar_t* nom, unsigned long& valor, unsigned long perDefecte);
  int TornaValor(const wchar_t* nom, short& valor, short perDefecte);
  int TornaValor(const wchar_t* nom, unsigned short& valor, unsigned short perDefecte);
  int TornaValor(const wchar_t* nom, double& valor, double perDefecte);
  int TornaValor(const wchar_t* nom, float& valor, float perDefecte);
  int TornaValor(const wchar_t* nom, CString& valor, const wchar_t* perDefecte);
  // `perDefecte` is a multi-string buffer (a double-zero list); null is the empty list.
  int TornaValor(const wchar_t* nom, CMultiString& valor, const wchar_t* perDefecte);
  // Reads up to `mida` bytes and sets `mida` to the count read; on failure copies
  // `mida` bytes of `perDefecte` when both pointers are given.
  int TornaValor(const wchar_t* nom, void* dades, unsigned long& mida, void* perDefecte);
  int TornaValorInt(const wchar_t* nom, int perDefecte);
  int TornaValorBool(const wchar_t* nom, int perDefecte);
  double TornaValorReal(const wchar_t* nom, double perDefecte);
  CString TornaValorString(const wchar_t* nom, const wchar_t* perDefecte);
  // A malloc copy of a binary value (the caller frees it with free) and its size,
  // or null and 0.
  void* TornaValorBin(const wchar_t* nom, unsigned long& mida);

  // With kTotsElsValors, deletes every value (failures only set the last error).
  int BorrarValor(const wchar_t* nom);
  // Deletes the sub-folder `nom`, or with null this folder, with everything in it.
  int BorrarCarpeta(const wchar_t* nom = nullptr);

  // The name of the i-th value or sub-folder: 1, or 0 when there is none.
  int GetNomValorIndex(unsigned long i, CString& nom);
  int GetNomCarpetaIndex(unsigned long i, CString& nom);
  // Calls `pfn` for every value or sub-folder in index order; a negative return
  // stops the walk and is the result, else the last return is (0 for none).
  int EnumValors(int (*pfn)(TCarpetaRegistry*, const wchar_t* nom, unsigned long tipus, __int64 lParam),
                 __int64 lParam, unsigned long nMode);
  int EnumSubcarpetes(int (*pfn)(TCarpetaRegistry*, const wchar_t* nom, __int64 lParam), __int64 lParam,
                      unsigned long nMode);

  // The window's placement as the text "flags,show,minx,miny,maxx,maxy,left,top,
  // right,bottom"; non-zero on success.
  int SaveWndState(const CWnd* pWnd, const wchar_t* nom);
  // Applies a saved placement; unless `bMinimitzat`, a minimised window comes
  // back normal. The result of applying it, 0 when there is nothing to apply.
  int LoadWndState(CWnd* pWnd, const wchar_t* nom, int bMinimitzat);

 protected:
  HKEY m_hArrel;
  CString m_sCarpeta;
  HKEY m_hClau = nullptr;
  SECURITY_ATTRIBUTES m_sa{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  int m_nFlag;
  int m_nObert = 0;

  static CString g_sCarpetaBaseApp;

 private:
  int Escriure(const wchar_t* nom, DWORD tipus, const void* dades, unsigned long mida);
  // The stored bytes of a value, read at their stored length; false when missing.
  bool Llegir(const wchar_t* nom, std::string& dades);
  int LlegirDWORD(const wchar_t* nom, DWORD& valor);
  template <typename T>
  int TornaEnter(const wchar_t* nom, T& valor, T perDefecte);
  // The name of the i-th sub-folder, or of the i-th value.
  int NomIndex(bool carpetes, unsigned long i, CString& nom);
  void TancarDelTot();
};

// Save and restore a window's placement in the application's folder under `name`
// ("MainWnd" when null or empty); a null window is the application's main window.
KW_API BOOL AfxSaveWndState(CWnd* wnd, const wchar_t* name);
KW_API BOOL AfxLoadWndState(CWnd* wnd, const wchar_t* name, int bMinimitzat);
