// The options block as XML: one element per value, named after it, with its type
// in an attribute and its value as text (binary data in Base64); nested blocks as
// nested elements.
#include "blocopcions.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cwchar>
#include <string>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/base64.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/pathstring.h>

namespace {

int WToI(const std::wstring& text) {
  const long v = std::wcstol(text.c_str(), nullptr, 10);
  return static_cast<int>(std::clamp<long>(v, -2147483647L - 1, 2147483647L));
}

bool SameNoCase(const std::wstring& a, const wchar_t* b) { return CString(a.c_str()).CompareNoCase(b) == 0; }

// Nested blocks deeper than this are left out of the XML forms: the conversions
// recurse once per level, and a hostile file must not exhaust the stack.
constexpr int kMaxXmlDepth = 256;
thread_local int t_xmlDepth = 0;

// Counts a level of recursion for as long as it lives.
class DepthGuard {
 public:
  DepthGuard() { ++t_xmlDepth; }
  ~DepthGuard() { --t_xmlDepth; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;
  static bool TooDeep() { return t_xmlDepth >= kMaxXmlDepth; }
};

}  // namespace

int TBlocOpcions::ToNodeXML(XMLNode& node) const {
  CString version;
  CPathString().GetFileVersion(version, 1);
  node.AddAttribute(L"SoftwareVersion", version);
  return Enumerar(&_fnAfegirNodesXML, reinterpret_cast<__int64>(&node));
}

int TBlocOpcions::_fnAfegirNodesXML(const wchar_t* nom, ITEMBLOCOPCIONS& valor, __int64 lParam) {
  const XMLNode& parent = *reinterpret_cast<XMLNode*>(lParam);
  CString text;
  switch (valor.nTipus) {
    case TIPUS_BLOC_INT32: {
      const XMLNode child = parent.AddChild(nom);
      child.AddAttribute(L"Type", L"int");
      text.Format(L"%i", static_cast<int>(valor.lValor));
      child.AddText(text);
      break;
    }
    case TIPUS_BLOC_REAL64: {
      const XMLNode child = parent.AddChild(nom);
      child.AddAttribute(L"Type", L"double");
      text.Format(L"%.10g", valor.dValor);
      child.AddText(text);
      break;
    }
    case TIPUS_BLOC_STRING: {
      const XMLNode child = parent.AddChild(nom);
      child.AddAttribute(L"Type", L"string");
      child.AddText(valor.pDades != nullptr ? static_cast<const wchar_t*>(valor.pDades) : L"");
      break;
    }
    case TIPUS_BLOC_BINARI: {
      const XMLNode child = parent.AddChild(nom);
      child.AddAttribute(L"Type", L"binary");
      child.AddAttribute(L"Encoding", L"base64");
      text.Format(L"%u", static_cast<unsigned>(valor.nMida));
      child.AddAttribute(L"ByteSize", text);
      if (valor.nMida != 0) {
        std::string encoded(static_cast<std::size_t>(Base64encode_len(static_cast<int>(valor.nMida))), '\0');
        Base64encode(encoded.data(), static_cast<const char*>(valor.pDades), static_cast<int>(valor.nMida));
        child.AddCData(encoded.c_str());
      }
      break;
    }
    case TIPUS_BLOC_SUBBLOC: {
      if (DepthGuard::TooDeep()) break;
      const DepthGuard level;
      XMLNode child = parent.AddChild(nom);
      child.AddAttribute(L"Type", L"SubBloc");
      const TBlocOpcions nested(static_cast<const unsigned char*>(valor.pDades), static_cast<unsigned int>(valor.nMida));
      nested.Enumerar(&_fnAfegirNodesXML, reinterpret_cast<__int64>(&child));
      break;
    }
    default: break;  // empty values and narrow text make no element
  }
  return 0;
}

int TBlocOpcions::FromNodeXML(XMLNode& node, TBlocOpcions* bloc) {
  if (bloc == nullptr) return 0;
  for (XMLNode child = node.FirstChild(nullptr); !child.IsEmpty(); child = child.NextSibling(nullptr)) {
    std::wstring type;
    child.Attribute(L"Type", type);
    if (SameNoCase(type, L"SubBloc")) {
      if (DepthGuard::TooDeep()) continue;
      const DepthGuard level;
      TBlocOpcions nested;
      FromNodeXML(child, &nested);
      bloc->EntraSubBloc(child.Name().c_str(), &nested);
    } else {
      _fnImportNodeXML(child, bloc);
    }
  }
  return 0;
}

int TBlocOpcions::_fnImportNodeXML(XMLNode& node, TBlocOpcions* bloc) {
  const std::wstring name = node.Name(), text = node.Text();
  std::wstring type;
  node.Attribute(L"Type", type);
  if (SameNoCase(type, L"int")) return bloc->EntraValorInt32(name.c_str(), WToI(text));
  if (SameNoCase(type, L"double")) return bloc->EntraValorReal64(name.c_str(), std::wcstod(text.c_str(), nullptr));
  if (SameNoCase(type, L"string")) return bloc->EntraValorString(name.c_str(), text.c_str());
  if (SameNoCase(type, L"binary")) {
    const std::string coded = kwfw::WideToUtf8(text);
    const int size = Base64decode_len(coded.c_str());
    // Zero-filled: the decoder fills only the bytes the text holds, and the rest of
    // the stored size must read the same on every run.
    auto* data = static_cast<char*>(std::calloc(static_cast<std::size_t>(size), 1));
    if (data == nullptr) return kFailed;
    if (Base64decode(data, coded.c_str()) == 0) {
      std::free(data);
      return 0;
    }
    // The stored size is the decode buffer's, as the interface defines it.
    try {
      return bloc->Afegir(name.c_str(), ITEMBLOCOPCIONS(data, static_cast<unsigned long>(size), TIPUS_BLOC_BINARI));
    } catch (CException* e) {
      e->Delete();
      return kFailed;
    }
  }
  // No known type: an integer when the text reads the same as an integer and a real.
  const int asInt = WToI(text);
  const double asReal = std::wcstod(text.c_str(), nullptr);
  return std::fabs(asInt - asReal) <= 1e-7 ? bloc->EntraValorInt32(name.c_str(), asInt) : 0;
}
