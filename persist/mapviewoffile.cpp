#include "mapviewoffile.h"

#include "filemapping.h"

#include <kwlib63/platform/lasterror.h>

IMPLEMENT_DYNAMIC(CMapViewOfFile, CObject)

CMapViewOfFile::CMapViewOfFile(CFileMapping* pMapping) : m_pMapping(pMapping) {}

CMapViewOfFile::~CMapViewOfFile() { Close(); }

int CMapViewOfFile::Open(unsigned long long nOffset, unsigned long nSize, unsigned long dwAccess) {
  Close();
  if (m_pMapping == nullptr) {
    kwplat::SetLastError(ERROR_INVALID_HANDLE);
    return 0;
  }
  const unsigned long long delta = nOffset % m_pMapping->GetAllocationGranularity();
  const unsigned long long start = nOffset - delta;
  const std::size_t length = static_cast<std::size_t>(delta + nSize);
  void* base = kwplat::MapViewOfFile(m_pMapping->GetHandle(), dwAccess, static_cast<DWORD>(start >> 32),
                                     static_cast<DWORD>(start), length);
  if (base == nullptr) return 0;
  m_pBase = base;
  m_nMappedOffset = start;
  m_nMappedLength = length;
  m_pData = static_cast<unsigned char*>(base) + delta;
  m_nOffset = nOffset;
  m_nSize = nSize;
  m_dwAccess = dwAccess;
  return 1;
}

int CMapViewOfFile::Close() {
  if (m_pBase == nullptr) return 1;
  if (!kwplat::UnmapViewOfFile(m_pBase)) return 0;
  m_pData = m_pBase = nullptr;
  m_nSize = 0;
  m_nOffset = m_nMappedOffset = 0;
  m_dwAccess = 0;
  m_nMappedLength = 0;
  return 1;
}
