// The last system error as a value and as text, the system-error report box, and
// the library's one trace facility (the debugger output).
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

// One system error code. 0xFFFFFFFF stands for the calling thread's last error.
class KW_API CLastError {
 public:
  CLastError();
  CLastError(unsigned long code);
  // Takes the calling thread's last error.
  void Update();
  unsigned long GetError() const { return m_nError; }
  operator unsigned long() const { return m_nError; }
  CString GetText() const;

 private:
  DWORD m_nError;
};

// The system's text for an error code, with the code. The text is looked up for
// the code as given: the default (0xFFFFFFFF) holds the last error as its code and
// an empty text. An unknown code has an empty text.
class KW_API CStringLastError : public CString {
 public:
  CStringLastError(unsigned long code = 0xFFFFFFFF);
  unsigned long GetError() const { return m_nError; }

 private:
  DWORD m_nError;
};

// Shows the thread's last system error in a message box of style `type`:
// "<context> (Error nº<code>: <text>)", or "Error nº<code>: <text>." without a
// context. Returns the box's button, or 1 without a box when the last error is 0.
// `reserved` is not used.
KW_API int REPORT_SYSTEM_ERROR(const wchar_t* context, const wchar_t* reserved, unsigned int type);

// Formats printf-style and sends the text to the debugger output.
KW_API void AfxFormatDebugString(const wchar_t* format, ...);
