// CFitxerSettings: the interface of a settings file of named sections holding key
// and value pairs, all text; the file's path is its only state. The typed functions
// are built on the nine virtual operations, so they serve every kind of file.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/settings/multistring.h>

class KW_API CFitxerSettings {
 public:
  CFitxerSettings(const wchar_t* fitxer = nullptr) : m_strFitxer(fitxer) {}
  CFitxerSettings(const CFitxerSettings&) = default;
  CFitxerSettings(CFitxerSettings&&) = default;
  CFitxerSettings& operator=(const CFitxerSettings&) = default;
  CFitxerSettings& operator=(CFitxerSettings&&) = default;
  const CString& GetFitxer() const { return m_strFitxer; }
  void SetFitxer(const wchar_t* fitxer) { m_strFitxer = fitxer; }

  // Whether the file exists.
  virtual int TestFitxer() const;
  virtual CString GetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* perDefecte) const = 0;
  virtual int SetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* valor) = 0;
  virtual int BorrarValor(const wchar_t* seccio, const wchar_t* clau) = 0;
  virtual int GetSeccions(CMultiString& seccions) const = 0;
  virtual int GetClausSeccio(const wchar_t* seccio, CMultiString& claus) const = 0;
  // The section's lines, each key=value.
  virtual int GetSeccio(const wchar_t* seccio, CMultiString& linies) const = 0;
  virtual int SetSeccio(const wchar_t* seccio, const CMultiString& linies) = 0;
  virtual int BorrarSeccio(const wchar_t* seccio) = 0;
  // Virtual, after the nine operations (whose slots keep their order), so that a
  // settings file deleted through this interface is destroyed whole.
  virtual ~CFitxerSettings() = default;

  // Base 10, or 16 after a leading 0x; empty text gives `perDefecte`, other text 0.
  int GetInt(const wchar_t* seccio, const wchar_t* clau, int perDefecte) const;
  // The magnitude in `base`, the affix after it (`bSufix`) or before it, and a minus
  // sign in front of everything for a negative value.
  int SetInt(const wchar_t* seccio, const wchar_t* clau, int valor, int base = 10, const wchar_t* afix = nullptr,
             int bSufix = 0);
  double GetDouble(const wchar_t* seccio, const wchar_t* clau, double perDefecte) const;
  int SetDouble(const wchar_t* seccio, const wchar_t* clau, double valor);
  // Appends the section's pairs (key up to '=' or a blank, value up to ';').
  int GetValorsSeccio(const wchar_t* seccio, CMultiString& claus, CMultiString& valors) const;
  // Replaces the section with "key = value" lines; fewer values than keys raises
  // CInvalidArgException.
  int SetValorsSeccio(const wchar_t* seccio, CMultiString& claus, CMultiString& valors);
  // Calls `pfn` for each pair until it returns a negative value: the last result, 0
  // for an empty section, -3 when the section cannot be read.
  int EnumSeccio(const wchar_t* seccio, int (*pfn)(const wchar_t* clau, const wchar_t* valor, __int64 lParam),
                 __int64 lParam) const;
  // Removes the last pair whose key matches without regard to case, rewriting the
  // section.
  int BorrarClau(const wchar_t* seccio, const wchar_t* clau);

 protected:
  CString m_strFitxer;
};
