// CDumpContext: the framework's diagnostic stream. Each piece written goes to the
// debugger output as it is written (no buffering), as text.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class CObject;

class KW_API CDumpContext {
 public:
  CDumpContext() = default;
  CDumpContext(const CDumpContext&) = delete;
  CDumpContext& operator=(const CDumpContext&) = delete;

  CDumpContext& operator<<(const wchar_t* text);
  CDumpContext& operator<<(const char* text);
  CDumpContext& operator<<(const CString& text) { return *this << text.GetString(); }
  CDumpContext& operator<<(const void* pointer);
  CDumpContext& operator<<(const CObject* object);
  CDumpContext& operator<<(const CObject& object);
  CDumpContext& operator<<(int value);
  CDumpContext& operator<<(unsigned int value);
  CDumpContext& operator<<(long value);
  CDumpContext& operator<<(unsigned long value);
  CDumpContext& operator<<(long long value);
  CDumpContext& operator<<(unsigned long long value);
  CDumpContext& operator<<(double value);

  int GetDepth() const { return m_nDepth; }
  void SetDepth(int depth) { m_nDepth = depth; }
  void Flush() {}

 private:
  void Write(const CString& text);
  int m_nDepth = 0;
};

// The process's dump context, writing to the debugger output.
extern KW_API CDumpContext afxDump;
