#include "stringex.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include <utf8proc.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/codepage.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/platform/resource.h>
#include <kwlib63/platform/sysmessage.h>

namespace {

// The escape of `c` for the given set, or null when it stays as it is.
const wchar_t* Escape(wchar_t c, bool lineEnds) {
  switch (c) {
    case L'\n': return lineEnds ? L"&#10;" : nullptr;
    case L'\r': return lineEnds ? L"&#13;" : nullptr;
    case L'"': return L"&quot;";
    case L'&': return L"&amp;";
    case L'\'': return L"&apos;";
    case L'<': return L"&lt;";
    case L'>': return L"&gt;";
    default: return nullptr;
  }
}

std::wstring Escaped(const wchar_t* s, bool lineEnds) {
  std::wstring out;
  for (; s != nullptr && *s != 0; ++s) {
    if (const wchar_t* e = Escape(*s, lineEnds)) {
      out += e;
    } else {
      out += *s;
    }
  }
  return out;
}

}  // namespace

CStringEx::CStringEx(unsigned int nID, HINSTANCE hInst) {
  HINSTANCE module = hInst != nullptr ? hInst : kwplat::GetModuleHandleW(nullptr);
  for (int size = 256;; size += 256) {
    std::vector<wchar_t> buffer(static_cast<std::size_t>(size), 0);
    const int n = kwplat::LoadStringW(module, nID, buffer.data(), size);
    // Two characters left free: the text was not cut.
    if (n < size - 2) {
      CString::operator=(CString(buffer.data(), n));
      return;
    }
  }
}

CString CStringEx::GetMsgErrorSistema(unsigned long nError) {
  wchar_t text[256] = {};
  kwplat::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(nError),
                         MAKELANGID(LANG_NEUTRAL, 0x01), text, 256, nullptr);
  CString s;
  s.Format(L"Error %u: %s", static_cast<unsigned>(nError), text);
  return s;
}

int CStringEx::DetectBOMEncoding(const char* s) {
  if (s == nullptr) return 0;
  const auto* b = reinterpret_cast<const unsigned char*>(s);
  if (b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) return 4;
  if (b[0] == 0xFE && b[1] == 0xFF) return 5;
  return 0;
}

CString CStringEx::RemoveBOMEncoding(const char* s) {
  if (s == nullptr) return CString();
  switch (DetectBOMEncoding(s)) {
    case 4: return CString(kwfw::Utf8ToWide(s + 3).c_str());
    case 5: {
      // The rest is UTF-16 as it stands (little-endian units), so it ends where
      // UTF-16 ends: at a zero unit. A zero low byte alone is a character (U+4E00).
      std::size_t size = 0;
      while (s[2 + size] != 0 || s[3 + size] != 0) size += 2;
      return CString(kwfw::Utf16ToWide(kwfw::Utf16LeUnits(std::string_view(s + 2, size))).c_str());
    }
    default: return CString(kwfw::Utf8ToWide(s).c_str());
  }
}

CString CStringEx::AddBOMEncoding(const wchar_t* s) {
  if (s == nullptr || *s == 0) return CString();
  return CString(L'\xFEFF') + s;
}

int CStringEx::WideToUTF8(const wchar_t* s, char* buffer, int mida) {
  const wchar_t* text = s != nullptr ? s : L"";
  if (buffer == nullptr) return kwplat::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr) + 3;
  if (mida < 3) return 3;
  std::memcpy(buffer, "\xEF\xBB\xBF", 3);
  const int n = mida > 3 ? kwplat::WideCharToMultiByte(CP_UTF8, 0, text, -1, buffer + 3, mida - 3, nullptr, nullptr) : 0;
  return n + 3;
}

CStringA CStringEx::WideToUTF8(const wchar_t* s, int bBOM) {
  const std::string text = kwfw::WideToUtf8(s != nullptr ? s : L"");
  return CStringA(((bBOM != 0 ? "\xEF\xBB\xBF" : "") + text).c_str());
}

CStringA CStringEx::WideToUTF8_XML(const wchar_t* s) { return WideToUTF8(HtmlSpecialChars(s), 0); }

int CStringEx::UTF8ToWide(const char* s, wchar_t* buffer, int mida) {
  return kwplat::MultiByteToWideChar(CP_UTF8, 0, s != nullptr ? s : "", -1, buffer, buffer != nullptr ? mida : 0);
}

CString CStringEx::UTF8ToWide(const char* s) {
  if (s == nullptr || *s == 0) return CString();
  utf8proc_uint8_t* nfc = utf8proc_NFC(reinterpret_cast<const utf8proc_uint8_t*>(s));
  // Text that is not valid UTF-8 cannot be normalised; it is converted as it is.
  const CString text(kwfw::Utf8ToWide(nfc != nullptr ? reinterpret_cast<const char*>(nfc) : s).c_str());
  std::free(nfc);
  return text;
}

int CStringEx::WideToMac(const wchar_t* s, char* buffer, int mida) {
  return kwplat::WideCharToMultiByte(CP_MACCP, 0, s != nullptr ? s : L"", -1, buffer, buffer != nullptr ? mida : 0,
                                     nullptr, nullptr);
}

int CStringEx::MacToWide(const char* s, wchar_t* buffer, int mida) {
  return kwplat::MultiByteToWideChar(CP_MACCP, 0, s != nullptr ? s : "", -1, buffer, buffer != nullptr ? mida : 0);
}

CString CStringEx::HtmlSpecialChars(const wchar_t* s) { return CString(Escaped(s, true).c_str()); }

CStringA CStringEx::HtmlSpecialChars8(const wchar_t* s) {
  return CStringA(kwfw::WideToUtf8(Escaped(s, false)).c_str());
}

CString CStringEx::UUIDtoString(const GUID& id) {
  CString s;
  s.Format(L"%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", static_cast<unsigned>(id.Data1),
           static_cast<unsigned>(id.Data2), static_cast<unsigned>(id.Data3), id.Data4[0], id.Data4[1], id.Data4[2],
           id.Data4[3], id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
  return s;
}
