#include <kwlib63/framework/dumpcontext.h>

#include <kwlib63/framework/object.h>
#include <kwlib63/platform/debugoutput.h>

CDumpContext afxDump;

void CDumpContext::Write(const CString& text) { kwplat::OutputDebugStringW(text); }

CDumpContext& CDumpContext::operator<<(const wchar_t* text) {
  Write(text == nullptr ? L"(NULL)" : text);
  return *this;
}

CDumpContext& CDumpContext::operator<<(const char* text) {
  Write(text == nullptr ? CString(L"(NULL)") : CString(text));
  return *this;
}

CDumpContext& CDumpContext::operator<<(const void* pointer) {
  CString s;
  s.Format(L"$%p", pointer);
  Write(s);
  return *this;
}

CDumpContext& CDumpContext::operator<<(const CObject* object) {
  if (object == nullptr) return *this << L"NULL";
  object->Dump(*this);
  return *this;
}

CDumpContext& CDumpContext::operator<<(const CObject& object) { return *this << &object; }

namespace {
template <typename T>
CString Number(const wchar_t* format, T value) {
  CString s;
  s.Format(format, value);
  return s;
}
}  // namespace

CDumpContext& CDumpContext::operator<<(int value) { Write(Number(L"%d", value)); return *this; }
CDumpContext& CDumpContext::operator<<(unsigned int value) { Write(Number(L"%u", value)); return *this; }
CDumpContext& CDumpContext::operator<<(long value) { Write(Number(L"%ld", value)); return *this; }
CDumpContext& CDumpContext::operator<<(unsigned long value) { Write(Number(L"%lu", value)); return *this; }
CDumpContext& CDumpContext::operator<<(long long value) { Write(Number(L"%lld", value)); return *this; }
CDumpContext& CDumpContext::operator<<(unsigned long long value) { Write(Number(L"%llu", value)); return *this; }
CDumpContext& CDumpContext::operator<<(double value) { Write(Number(L"%f", value)); return *this; }
