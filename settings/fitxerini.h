// CFitxerINI: the settings file as a Windows INI file through the profile
// functions, kept in UTF-16 with its mark by SetString.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/settings/fitxersettings.h>

class KW_API CFitxerINI : public CFitxerSettings {
 public:
  // Without a path: the running module's file name with the extension "ini".
  CFitxerINI(const wchar_t* fitxer = nullptr);

  CString GetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* perDefecte) const override;
  int SetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* valor) override;
  int BorrarValor(const wchar_t* seccio, const wchar_t* clau) override;
  int GetSeccions(CMultiString& seccions) const override;
  int GetClausSeccio(const wchar_t* seccio, CMultiString& claus) const override;
  int GetSeccio(const wchar_t* seccio, CMultiString& linies) const override;
  int SetSeccio(const wchar_t* seccio, const CMultiString& linies) override;
  int BorrarSeccio(const wchar_t* seccio) override;

  // A file without the UTF-16 mark is converted (its entries do not survive); a
  // missing one is created holding only the mark.
  static int VerifyAndCreateUnicodeFile(const wchar_t* fitxer);
  // Replaces the file by one holding only the mark; 0 when it cannot be read.
  static int ConvertIniFileIntoUnicode(const wchar_t* fitxer);

 protected:
  // Creates the file's folder when it is missing; 0 only when that fails.
  int checkCarpeta(int) const;
};
