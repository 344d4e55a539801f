// CFile: the framework's unbuffered binary file on a POSIX descriptor. Failures
// of Read, Write, Seek and the like raise CFileException; Open reports them in the
// exception object it is given instead.
//
// Share modes are kept as advisory locks (open file description locks) on two
// bytes far beyond any data, one standing for readers and one for writers, so
// that CFile objects of this and other processes honour each other's share-deny
// modes. Programs that do not use these locks are not held back, and a file the
// process may not open for both reading and writing keeps only the locks its
// access allows.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/ctime.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/framework/wintypes.h>

class CFileException;

struct KW_API CFileStatus {
  CTime m_ctime;
  CTime m_mtime;
  CTime m_atime;
  unsigned long long m_size = 0;
  BYTE m_attribute = 0;
  wchar_t m_szFullName[MAX_PATH] = {};
};

class KW_API CFile : public CObject {
  DECLARE_DYNAMIC(CFile)
 public:
  enum OpenFlags : UINT {
    modeRead = 0x00000,
    modeWrite = 0x00001,
    modeReadWrite = 0x00002,
    shareCompat = 0x00000,
    shareExclusive = 0x00010,
    shareDenyWrite = 0x00020,
    shareDenyRead = 0x00030,
    shareDenyNone = 0x00040,
    modeNoInherit = 0x00080,
    modeCreate = 0x01000,
    modeNoTruncate = 0x02000,
    typeText = 0x04000,
    typeBinary = 0x08000,
    osNoBuffer = 0x10000,
    osWriteThrough = 0x20000,
    osRandomAccess = 0x40000,
    osSequentialScan = 0x80000,
  };
  enum SeekPosition { begin = 0x0, current = 0x1, end = 0x2 };
  // `system` is the framework's name; it hides the C library's system() inside CFile.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
  enum Attribute { normal = 0x00, readOnly = 0x01, hidden = 0x02, system = 0x04, volume = 0x08, directory = 0x10, archive = 0x20 };
#pragma GCC diagnostic pop

  static constexpr int hFileNull = -1;

  CFile() = default;
  // Opens `path`; raises CFileException on failure.
  CFile(LPCTSTR path, UINT openFlags);
  ~CFile() override;
  CFile(const CFile&) = delete;
  CFile& operator=(const CFile&) = delete;

  // TRUE, or FALSE with `error` (when given) describing the failure.
  virtual BOOL Open(LPCTSTR path, UINT openFlags, CFileException* error = nullptr);
  // The count read, short at the end of the file.
  virtual UINT Read(void* buffer, UINT count);
  virtual void Write(const void* buffer, UINT count);
  virtual unsigned long long Seek(long long offset, UINT from);
  virtual unsigned long long GetPosition() const;
  virtual unsigned long long GetLength() const;
  virtual void SetLength(unsigned long long length);
  virtual void LockRange(unsigned long long position, unsigned long long count);
  virtual void UnlockRange(unsigned long long position, unsigned long long count);
  virtual void Flush();
  virtual void Close();
  // Closes without raising anything.
  virtual void Abort();
  virtual BOOL GetStatus(CFileStatus& status) const;

  void SeekToBegin() { Seek(0, begin); }
  unsigned long long SeekToEnd() { return Seek(0, end); }
  CString GetFilePath() const { return m_strFileName; }
  // The descriptor as a file handle, for calls that take one (CreateFileMappingW).
  operator HANDLE() const;
  CString GetFileName() const;

  static BOOL GetStatus(LPCTSTR path, CFileStatus& status);
  // Raise CFileException on failure.
  static void Rename(LPCTSTR oldName, LPCTSTR newName);
  static void Remove(LPCTSTR path);

  int m_hFile = hFileNull;

 protected:
  [[noreturn]] void ThrowErrno(int error) const;
  CString m_strFileName;

 private:
  void ReleaseLocks();
  int m_hLock = hFileNull;  // the descriptor that holds the share-mode locks
};
