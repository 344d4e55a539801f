// TBlocOpcions: a storable item of named, typed option values (32-bit integers,
// reals, text, binary blocks and nested blocks), which converts itself to a
// compact data block ("DRIVER-BLOC") and to and from XML elements. Each value
// travels in an ITEMBLOCOPCIONS, a tagged value that owns its memory.
#pragma once

#include <map>
#include <string>

#include <kwlib63/core/item.h>
#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {
class XMLNode;
}
using kwplat::XMLNode;

class TBlocOpcions;

// Type codes.
inline constexpr int TIPUS_BLOC_BUIT = -1;
inline constexpr int TIPUS_BLOC_INT32 = 0;
inline constexpr int TIPUS_BLOC_REAL64 = 1;
inline constexpr int TIPUS_BLOC_STRINGA = 2;  // narrow text, met only while reading a data block
inline constexpr int TIPUS_BLOC_SUBBLOC = 3;
inline constexpr int TIPUS_BLOC_BINARI = 4;
inline constexpr int TIPUS_BLOC_STRING = 5;

struct KW_API ITEMBLOCOPCIONS {
  int nTipus = TIPUS_BLOC_BUIT;
  union {
    long lValor;
    double dValor;
    void* pDades;
  };
  unsigned long nMida = 0;  // bytes of the pointed block (binary and nested blocks)

  ITEMBLOCOPCIONS() : pDades(nullptr) {}
  ITEMBLOCOPCIONS(long valor) : nTipus(TIPUS_BLOC_INT32), lValor(valor) {}
  ITEMBLOCOPCIONS(double valor) : nTipus(TIPUS_BLOC_REAL64), dValor(valor) {}
  // A copy of the text (null stays null).
  ITEMBLOCOPCIONS(const wchar_t* text);
  // Text in the ANSI code page (Windows-1252), converted.
  ITEMBLOCOPCIONS(const char* text);
  // Adopts `data` (it will be freed) without copying.
  ITEMBLOCOPCIONS(void* data, unsigned long size, int type) : nTipus(type), pDades(data), nMida(size) {}
  // Deep copies, except that narrow text (code 2) copies only its type.
  ITEMBLOCOPCIONS(const ITEMBLOCOPCIONS& other);
  ITEMBLOCOPCIONS& operator=(const ITEMBLOCOPCIONS& other);
  ~ITEMBLOCOPCIONS() { Reset(); }

  void Reset();
  void SetInt32(long valor);
  void SetReal64(double valor);
  void SetString(const wchar_t* text);
  // With `bCopiar` a copy of `size` bytes (none for 0), else `data` adopted.
  void SetDadesBin(void* data, unsigned long size, int bCopiar, int type);
  // Code 3 with the block's data block.
  void SetBlocOpcions(const TBlocOpcions* bloc);
};

class KW_API TBlocOpcions : public TItem {
 public:
  static CMoxelRTTI m_rttiTBlocOpcions;

  // Loads the data block when both are given (its result is not kept).
  TBlocOpcions(const unsigned char* dades = nullptr, unsigned int mida = 0);
  explicit TBlocOpcions(const TBlocOpcions* altre);
  ~TBlocOpcions() override;
  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

  // Storing: 0 on success, -1 on failure. A name with "/" makes the nested block its
  // first part names, when missing, and the value goes no further (it is put in a
  // copy that is not stored back); -1 when a part of the name is empty. The cost is
  // linear in the length of the name, however many levels it has.
  int Afegir(const wchar_t* nom, const ITEMBLOCOPCIONS& valor);
  int EntraValorInt32(const wchar_t* nom, long valor);
  int EntraValorReal64(const wchar_t* nom, double valor);
  int EntraValorString(const wchar_t* nom, const wchar_t* valor);
  int EntraValorBinari(const wchar_t* nom, const void* dades, unsigned long mida);
  int EntraSubBloc(const wchar_t* nom, const TBlocOpcions* bloc);

  // Reading: the default when the name is missing or holds another type.
  // Buscar follows a name with "/" through the nested blocks, reading each level's
  // records where they lie: linear in the name and in the bytes of the levels.
  int Buscar(const wchar_t* nom, ITEMBLOCOPCIONS& valor) const;
  long TornaValorInt32(const wchar_t* nom, long perDefecte) const;
  double TornaValorReal64(const wchar_t* nom, double perDefecte) const;
  CString TornaValorString(const wchar_t* nom, const wchar_t* perDefecte) const;
  void TornaValorString(const wchar_t* nom, CString& s, const wchar_t* perDefecte) const;
  // A malloc copy of a binary value (the caller frees it), or null.
  void* TornaValorBinari(const wchar_t* nom, unsigned long& mida) const;
  // A new block from a nested value (the caller deletes it), or null.
  TBlocOpcions* TornaSubBloc(const wchar_t* nom) const;

  // Removes an entry of this level: 1 if it existed.
  int Eliminar(const wchar_t* nom);
  void Reset();
  POSITION GetPrimer() const;
  void GetSeguent(POSITION& pos, CString& nom, ITEMBLOCOPCIONS& valor) const;
  // Calls `pfn` with a copy of each value in name order; the last result (0 when empty).
  int Enumerar(int (*pfn)(const wchar_t* nom, ITEMBLOCOPCIONS& valor, __int64 lParam), __int64 lParam) const;

  // The data block in a malloc buffer (the caller frees it).
  unsigned char* ToBlocDades(unsigned int& mida) const;
  // 0, -3 for malformed data, -9 for an unknown type; what loaded before stays.
  // Nothing outside the `mida` bytes at `dades` is read.
  int FromBlocDades(const unsigned char* dades, unsigned int mida, int bAfegir);
  int ToNodeXML(XMLNode& node) const;
  static int FromNodeXML(XMLNode& node, TBlocOpcions* bloc);

  static int _fnAfegirNodesXML(const wchar_t* nom, ITEMBLOCOPCIONS& valor, __int64 lParam);
  static int _fnImportNodeXML(XMLNode& node, TBlocOpcions* bloc);

 private:
  // A value not stored, or a name with an empty part.
  static constexpr int kFailed = -1;

  std::map<std::wstring, ITEMBLOCOPCIONS> m_mapa;
};
