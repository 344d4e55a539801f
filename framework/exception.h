// The framework's exceptions. They are thrown by pointer; the handler that catches
// one releases it with Delete(), which frees it only when it was made on the heap
// to be freed (its auto-delete flag):
//
//   try { ... } catch (CException* e) { e->ReportError(); e->Delete(); }
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>

class KW_API CException : public CObject {
  DECLARE_DYNAMIC(CException)
 public:
  constexpr CException() : m_bAutoDelete(TRUE) {}
  constexpr explicit CException(BOOL autoDelete) : m_bAutoDelete(autoDelete) {}
  ~CException() override = default;

  // Frees the exception when its auto-delete flag is set; otherwise does nothing.
  void Delete();

  // Writes the exception's text into `error`, at most `maxError` units with the
  // terminator. Returns TRUE when there is a text. The help context, when asked,
  // is set to 0.
  virtual BOOL GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext = nullptr) const;
  virtual BOOL GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext = nullptr);

  // Shows the text in a message box of style `type` and returns the button;
  // when there is no text, shows "No error message is available.".
  virtual int ReportError(UINT type = MB_OK, UINT messageId = 0);

  BOOL m_bAutoDelete;

 protected:
  // Copies `text` into the caller's buffer as GetErrorMessage promises.
  static BOOL CopyMessage(const CString& text, LPTSTR error, UINT maxError, PUINT helpContext);
};

class KW_API CSimpleException : public CException {
  DECLARE_DYNAMIC(CSimpleException)
 public:
  using CException::CException;
  using CException::GetErrorMessage;
  BOOL GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext = nullptr) const override;

 protected:
  virtual const wchar_t* Text() const = 0;
};

class KW_API CMemoryException : public CSimpleException {
  DECLARE_DYNAMIC(CMemoryException)
 public:
  using CSimpleException::CSimpleException;

 protected:
  const wchar_t* Text() const override;
};

class KW_API CInvalidArgException : public CSimpleException {
  DECLARE_DYNAMIC(CInvalidArgException)
 public:
  using CSimpleException::CSimpleException;

 protected:
  const wchar_t* Text() const override;
};

class KW_API CResourceException : public CSimpleException {
  DECLARE_DYNAMIC(CResourceException)
 public:
  using CSimpleException::CSimpleException;

 protected:
  const wchar_t* Text() const override;
};

class KW_API CFileException : public CException {
  DECLARE_DYNAMIC(CFileException)
 public:
  enum {
    none,
    genericException,
    fileNotFound,
    badPath,
    tooManyOpenFiles,
    accessDenied,
    invalidFile,
    removeCurrentDir,
    directoryFull,
    badSeek,
    hardIO,
    sharingViolation,
    lockViolation,
    diskFull,
    endOfFile,
  };

  explicit CFileException(int cause = none, LONG osError = -1, LPCTSTR fileName = nullptr);

  // The cause for a system error code (0 none, unknown codes genericException).
  static int OsErrorToException(LONG osError);
  // The cause for an errno value.
  static int ErrnoToException(int error);
  [[noreturn]] static void ThrowOsError(LONG osError, LPCTSTR fileName = nullptr);
  [[noreturn]] static void ThrowErrno(int error, LPCTSTR fileName = nullptr);

  using CException::GetErrorMessage;
  BOOL GetErrorMessage(LPTSTR error, UINT maxError, PUINT helpContext = nullptr) const override;

  int m_cause;
  LONG m_lOsError;
  CString m_strFileName;
};

[[noreturn]] KW_API void AfxThrowMemoryException();
[[noreturn]] KW_API void AfxThrowInvalidArgException();
[[noreturn]] KW_API void AfxThrowResourceException();
[[noreturn]] KW_API void AfxThrowFileException(int cause, LONG osError = -1, LPCTSTR fileName = nullptr);
