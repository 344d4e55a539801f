// CMapViewOfFile: a view of any byte range of a CFileMapping. The range is widened
// down to the mapping's allocation granularity inside; the caller sees a pointer
// to the first byte asked for.
#pragma once

#include <cstddef>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>

class CFileMapping;

class KW_API CMapViewOfFile : public CObject {
  DECLARE_DYNAMIC(CMapViewOfFile)
 public:
  explicit CMapViewOfFile(CFileMapping* pMapping);
  ~CMapViewOfFile() override;
  CMapViewOfFile(const CMapViewOfFile&) = delete;
  CMapViewOfFile& operator=(const CMapViewOfFile&) = delete;

  // Replaces any previous view with `nSize` bytes from `nOffset`, with the
  // FILE_MAP_ access flags. 1, or 0 with the reason in the last error.
  int Open(unsigned long long nOffset, unsigned long nSize, unsigned long dwAccess);
  // 1, also when nothing is mapped; 0 when the view could not be unmapped.
  int Close();

  // The first byte asked for, or null when nothing is mapped.
  void* GetData() const { return m_pData; }
  unsigned long GetSize() const { return m_nSize; }
  unsigned long long GetOffset() const { return m_nOffset; }
  unsigned long GetAccess() const { return m_dwAccess; }
  // The view as mapped: its base, its file offset and its length.
  void* GetBase() const { return m_pBase; }
  unsigned long long GetMappedOffset() const { return m_nMappedOffset; }
  std::size_t GetMappedLength() const { return m_nMappedLength; }

 private:
  CFileMapping* m_pMapping;
  void* m_pData = nullptr;
  unsigned long m_nSize = 0;
  unsigned long long m_nOffset = 0;
  unsigned long m_dwAccess = 0;
  void* m_pBase = nullptr;
  unsigned long long m_nMappedOffset = 0;
  std::size_t m_nMappedLength = 0;
};
