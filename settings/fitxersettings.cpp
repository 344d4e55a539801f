#include "fitxersettings.h"

#include <cwchar>
#include <vector>

#include <kwlib63/settings/pathstring.h>

int CFitxerSettings::TestFitxer() const { return CPathString::TestFitxer(m_strFitxer); }

int CFitxerSettings::GetInt(const wchar_t* seccio, const wchar_t* clau, int perDefecte) const {
  const CString text = GetString(seccio, clau, L"");
  if (text.IsEmpty()) return perDefecte;
  const wchar_t* s = text.GetString();
  if (s[0] == L'0' && (s[1] == L'x' || s[1] == L'X')) return static_cast<int>(std::wcstol(s + 2, nullptr, 16));
  return static_cast<int>(std::wcstol(s, nullptr, 10));
}

int CFitxerSettings::SetInt(const wchar_t* seccio, const wchar_t* clau, int valor, int base, const wchar_t* afix,
                            int bSufix) {
  // The magnitude as an unsigned number, so that the smallest int has one too.
  unsigned int magnitude = valor < 0 ? 0u - static_cast<unsigned int>(valor) : static_cast<unsigned int>(valor);
  if (base < 2 || base > 36) base = 10;
  std::wstring digits;
  do {
    const unsigned int d = magnitude % static_cast<unsigned int>(base);
    digits.insert(digits.begin(), static_cast<wchar_t>(d < 10 ? L'0' + d : L'a' + d - 10));
    magnitude /= static_cast<unsigned int>(base);
  } while (magnitude != 0);
  CString text(digits.c_str());
  if (afix != nullptr) text = bSufix != 0 ? text + afix : CString(afix) + text;
  if (valor < 0) text = CString(L"-") + text;
  return SetString(seccio, clau, text);
}

double CFitxerSettings::GetDouble(const wchar_t* seccio, const wchar_t* clau, double perDefecte) const {
  const CString text = GetString(seccio, clau, L"");
  return text.IsEmpty() ? perDefecte : std::wcstod(text.GetString(), nullptr);
}

int CFitxerSettings::SetDouble(const wchar_t* seccio, const wchar_t* clau, double valor) {
  CString text;
  text.Format(L"%f", valor);
  return SetString(seccio, clau, text);
}

int CFitxerSettings::GetValorsSeccio(const wchar_t* seccio, CMultiString& claus, CMultiString& valors) const {
  CMultiString linies;
  if (!GetSeccio(seccio, linies)) return 0;
  for (int i = 0; i < linies.GetNumStr(); ++i) {
    std::vector<wchar_t> line(linies[i], linies[i] + std::wcslen(linies[i]) + 1);
    wchar_t* state = nullptr;
    const wchar_t* key = std::wcstok(line.data(), L"= ", &state);
    const wchar_t* value = key != nullptr ? std::wcstok(nullptr, L";", &state) : nullptr;
    if (key == nullptr || value == nullptr) continue;
    claus.Afegir(key);
    valors.Afegir(value);
  }
  return 1;
}

int CFitxerSettings::SetValorsSeccio(const wchar_t* seccio, CMultiString& claus, CMultiString& valors) {
  CMultiString linies;
  for (int i = 0; i < claus.GetNumStr(); ++i) {
    CString line;
    line.Format(L"%s = %s", claus[i], valors[i]);
    linies.Afegir(line);
  }
  return SetSeccio(seccio, linies);
}

int CFitxerSettings::EnumSeccio(const wchar_t* seccio, int (*pfn)(const wchar_t*, const wchar_t*, __int64),
                                __int64 lParam) const {
  CMultiString claus, valors;
  if (!GetValorsSeccio(seccio, claus, valors)) return -3;
  int result = 0;
  for (int i = 0; i < claus.GetNumStr(); ++i) {
    result = pfn(claus[i], valors[i], lParam);
    if (result < 0) break;
  }
  return result;
}

int CFitxerSettings::BorrarClau(const wchar_t* seccio, const wchar_t* clau) {
  CMultiString claus, valors;
  if (!GetValorsSeccio(seccio, claus, valors) || claus.GetNumStr() == 0) return 0;
  for (int i = claus.GetNumStr() - 1; i >= 0; --i) {
    if (CString(claus[i]).CompareNoCase(clau) != 0) continue;
    claus.Treure(i);
    valors.Treure(i);
    return SetValorsSeccio(seccio, claus, valors);
  }
  return 0;
}
