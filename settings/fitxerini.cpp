#include "fitxerini.h"

#include <vector>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/file.h>
#include <kwlib63/framework/modulestate.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/profile.h>
#include <kwlib63/settings/pathstring.h>

namespace {

constexpr DWORD kValueBuffer = 1024;
constexpr DWORD kListBuffer = 32767;

}  // namespace

CFitxerINI::CFitxerINI(const wchar_t* fitxer) : CFitxerSettings(fitxer) {
  if (m_strFitxer.IsEmpty()) m_strFitxer = CPathString(AfxGetInstanceHandle()).Substituir(nullptr, nullptr, nullptr, L"ini");
}

int CFitxerINI::checkCarpeta(int) const {
  const CString folder = CPathString(m_strFitxer, nullptr).GetRuta(0);
  if (folder.IsEmpty() || CPathString::TestCarpeta(folder)) return 1;
  return CPathString::CrearCarpeta(folder) != 0;
}

CString CFitxerINI::GetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* perDefecte) const {
  wchar_t buffer[kValueBuffer];
  const DWORD n = kwplat::GetPrivateProfileStringW(seccio, clau, L"", buffer, kValueBuffer, m_strFitxer);
  return n != 0 ? CString(buffer, static_cast<int>(n)) : CString(perDefecte);
}

int CFitxerINI::SetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* valor) {
  checkCarpeta(0);
  VerifyAndCreateUnicodeFile(m_strFitxer);
  return kwplat::WritePrivateProfileStringW(seccio, clau, valor, m_strFitxer) ? 1 : 0;
}

int CFitxerINI::BorrarValor(const wchar_t* seccio, const wchar_t* clau) {
  checkCarpeta(0);
  return kwplat::WritePrivateProfileStringW(seccio, clau, nullptr, m_strFitxer) ? 1 : 0;
}

int CFitxerINI::GetSeccions(CMultiString& seccions) const {
  std::vector<wchar_t> buffer(kListBuffer, 0);
  if (kwplat::GetPrivateProfileSectionNamesW(buffer.data(), kListBuffer, m_strFitxer) < 2) return 0;
  seccions.Set(buffer.data());
  return 1;
}

int CFitxerINI::GetClausSeccio(const wchar_t* seccio, CMultiString& claus) const {
  std::vector<wchar_t> buffer(kListBuffer, 0);
  if (kwplat::GetPrivateProfileStringW(seccio, nullptr, L"", buffer.data(), kListBuffer, m_strFitxer) < 2) return 0;
  claus.Set(buffer.data());
  return 1;
}

int CFitxerINI::GetSeccio(const wchar_t* seccio, CMultiString& linies) const {
  std::vector<wchar_t> buffer(kListBuffer, 0);
  if (kwplat::GetPrivateProfileSectionW(seccio, buffer.data(), kListBuffer, m_strFitxer) >= 2) linies.Set(buffer.data());
  return linies.GetNumStr() > 0;
}

int CFitxerINI::SetSeccio(const wchar_t* seccio, const CMultiString& linies) {
  checkCarpeta(0);
  return kwplat::WritePrivateProfileSectionW(seccio, linies, m_strFitxer) ? 1 : 0;
}

int CFitxerINI::BorrarSeccio(const wchar_t* seccio) {
  checkCarpeta(0);
  return kwplat::WritePrivateProfileSectionW(seccio, nullptr, m_strFitxer) ? 1 : 0;
}

int CFitxerINI::VerifyAndCreateUnicodeFile(const wchar_t* fitxer) {
  if (CPathString::TestFitxer(fitxer)) {
    unsigned char mark[2] = {0, 0};
    try {
      CFile file(fitxer, CFile::modeRead | CFile::shareExclusive | CFile::typeBinary);
      file.Read(mark, 2);
    } catch (CException* e) {
      e->Delete();  // unreadable: the conversion below tells
    }
    if (mark[0] == 0xFF && mark[1] == 0xFE) return 1;
    return ConvertIniFileIntoUnicode(fitxer);
  }
  try {
    CFile file(fitxer, CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite | CFile::typeBinary);
    if (file.GetLength() == 0) file.Write("\xFF\xFE", 2);
  } catch (CException* e) {
    e->Delete();
  }
  return 1;
}

int CFitxerINI::ConvertIniFileIntoUnicode(const wchar_t* fitxer) {
  const CPathString temp = CPathString(fitxer, nullptr).Substituir(nullptr, nullptr, nullptr, L"tmp");
  // A source that cannot be read is left as it is: the conversion gives up with 0
  // rather than waiting for a read that never succeeds.
  try {
    CFile source(fitxer, CFile::modeRead | CFile::typeBinary);
  } catch (CException* e) {
    e->Delete();
    return 0;
  }
  try {
    CFile target(temp, CFile::modeCreate | CFile::modeWrite | CFile::typeBinary);
    target.Write("\xFF\xFE", 2);
  } catch (CException* e) {
    e->Delete();
    return 0;
  }
  // No byte of the source is copied: a readable source ends the copy at once, so
  // the file keeps only the mark, as callers of this library observe.
  kwplat::CopyFileW(temp, fitxer, FALSE);
  kwplat::DeleteFileW(temp);
  return 1;
}
