// CFitxerSettingsXML: the settings file as an XML document: a root "Sections", a
// "Section" element per section with its "Name", and in it a "Key" element per key
// with its "Name" and the value as text. Every operation reads the whole file; a
// change writes it back whole.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/settings/fitxersettings.h>

class KW_API CFitxerSettingsXML : public CFitxerSettings {
 public:
  // Without a path: the running module's file name with the extension "xml".
  CFitxerSettingsXML(const wchar_t* fitxer = nullptr);

  // The file exists and holds a "Settings" element (not "Sections", by design).
  int TestFitxer() const override;
  CString GetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* perDefecte) const override;
  int SetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* valor) override;
  int BorrarValor(const wchar_t* seccio, const wchar_t* clau) override;
  int GetSeccions(CMultiString& seccions) const override;
  // One empty string per key of the section, by design: the keys are fetched at the
  // section's position from the root, which holds none. Read keys with GetString.
  int GetClausSeccio(const wchar_t* seccio, CMultiString& claus) const override;
  // Two empty strings per key, for the same reason.
  int GetSeccio(const wchar_t* seccio, CMultiString& linies) const override;
  // `linies` as (name, value) pairs, merged into the section: other keys stay.
  int SetSeccio(const wchar_t* seccio, const CMultiString& linies) override;
  int BorrarSeccio(const wchar_t* seccio) override;
};
