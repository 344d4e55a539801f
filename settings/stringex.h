// CStringEx: a CString with static conversions and text functions: resource strings
// of any length, system error texts, UTF-8 and Mac Roman with byte-order marks, and
// escaping for HTML and XML.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class KW_API CStringEx : public CString {
 public:
  CStringEx() = default;
  // String resource `nID` of `hInst` (the process's module when null), whole
  // whatever its length.
  explicit CStringEx(unsigned int nID, HINSTANCE hInst = nullptr);

  // "Error %u: %s" with the system's text for the code.
  static CString GetMsgErrorSistema(unsigned long nError);
  // 4 for the UTF-8 mark EF BB BF, 5 for FE FF, else 0.
  static int DetectBOMEncoding(const char* s);
  // The text after its mark: UTF-8 after EF BB BF, UTF-16 as it stands after FE FF,
  // UTF-8 without a mark; null gives an empty string. After FE FF the units (low
  // byte first) run up to a zero unit, the terminator of UTF-16 text, which the
  // buffer must hold; a unit whose low byte alone is zero (U+4E00) is a character.
  static CString RemoveBOMEncoding(const char* s);
  // U+FEFF and `s`; an empty or null `s` gives an empty string.
  static CString AddBOMEncoding(const wchar_t* s);
  // EF BB BF and the UTF-8 form of `s` with its terminator, in at most `mida`
  // bytes; returns the converted length plus 3, or without a buffer the length
  // needed plus 3.
  static int WideToUTF8(const wchar_t* s, char* buffer, int mida);
  static CStringA WideToUTF8(const wchar_t* s, int bBOM);
  static CStringA WideToUTF8_XML(const wchar_t* s);
  // Plain conversion into a caller buffer, terminator counted (or the length needed).
  static int UTF8ToWide(const char* s, wchar_t* buffer, int mida);
  // Normalised to NFC, then converted.
  static CString UTF8ToWide(const char* s);
  static int WideToMac(const wchar_t* s, char* buffer, int mida);
  static int MacToWide(const char* s, wchar_t* buffer, int mida);
  // Line feed, carriage return, double quote, ampersand, apostrophe, less-than and
  // greater-than as character references.
  static CString HtmlSpecialChars(const wchar_t* s);
  // UTF-8 with the last five escaped; line ends are kept, unlike HtmlSpecialChars.
  static CStringA HtmlSpecialChars8(const wchar_t* s);
  // The identifier's text form in capitals.
  static CString UUIDtoString(const GUID& id);
};
