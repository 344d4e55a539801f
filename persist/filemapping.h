// CFileMapping: the mapping object over an open file (see CMapViewOfFile for the
// views). The file handle is not owned; the mapping handle is.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/platform/filemapping.h>

class KW_API CFileMapping : public CObject {
  DECLARE_DYNAMIC(CFileMapping)
 public:
  // `hFile`: a CFile's handle (`(HANDLE)file`), or INVALID_HANDLE_VALUE for an
  // anonymous block.
  explicit CFileMapping(HANDLE hFile);
  ~CFileMapping() override;
  CFileMapping(const CFileMapping&) = delete;
  CFileMapping& operator=(const CFileMapping&) = delete;

  // Replaces any previous mapping with one of `nSize` bytes (0: the whole file).
  // 1, or 0 with the reason in the last error.
  int Open(unsigned long flProtect = PAGE_READONLY, unsigned long long nSize = 0, const wchar_t* name = nullptr);
  // 1, also when nothing is open; 0 when the handle could not be closed (it is kept).
  int Close();

  HANDLE GetHandle() const { return m_hMapping; }
  HANDLE GetFileHandle() const { return m_hFile; }
  unsigned long GetAllocationGranularity() const { return m_dwAllocationGranularity; }
  unsigned long GetProtection() const { return m_flProtect; }
  unsigned long long GetSize() const { return m_nSize; }
  const CString& GetName() const { return m_strName; }

 private:
  HANDLE m_hFile;
  unsigned long m_dwAllocationGranularity;
  unsigned long m_flProtect = PAGE_READONLY;
  unsigned long long m_nSize = 0;
  CString m_strName;
  HANDLE m_hMapping = nullptr;
};
