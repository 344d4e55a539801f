#include "filemapping.h"

IMPLEMENT_DYNAMIC(CFileMapping, CObject)

CFileMapping::CFileMapping(HANDLE hFile) : m_hFile(hFile) {
  SYSTEM_INFO info;
  kwplat::GetSystemInfo(&info);
  m_dwAllocationGranularity = info.dwAllocationGranularity;
}

CFileMapping::~CFileMapping() { Close(); }

int CFileMapping::Open(unsigned long flProtect, unsigned long long nSize, const wchar_t* name) {
  Close();
  m_hMapping = kwplat::CreateFileMappingW(m_hFile, nullptr, flProtect, static_cast<DWORD>(nSize >> 32),
                                          static_cast<DWORD>(nSize), name);
  if (m_hMapping == nullptr) return 0;
  m_flProtect = flProtect;
  m_nSize = nSize;
  m_strName = name != nullptr ? name : L"";
  return 1;
}

int CFileMapping::Close() {
  if (m_hMapping == nullptr) return 1;
  if (!kwplat::CloseHandle(m_hMapping)) return 0;
  m_hMapping = nullptr;
  return 1;
}
