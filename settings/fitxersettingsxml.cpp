#include "fitxersettingsxml.h"

#include <string>
#include <unordered_map>

#include <kwlib63/framework/modulestate.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/pathstring.h>

using kwplat::XMLNode;

namespace {

XMLNode Root(const CString& file) { return XMLNode::ParseFile(file, L"Sections"); }

// The root of the file, or a new one when the file is missing or unreadable.
XMLNode RootOrNew(const CString& file) {
  const XMLNode root = Root(file);
  return root.IsEmpty() ? XMLNode::CreateTopNode(L"Sections") : root;
}

XMLNode Section(const XMLNode& root, const wchar_t* name) { return root.ChildWithAttribute(L"Section", L"Name", name); }

XMLNode Key(const XMLNode& section, const wchar_t* name) { return section.ChildWithAttribute(L"Key", L"Name", name); }

XMLNode FindOrAdd(const XMLNode& parent, const wchar_t* tag, const wchar_t* name) {
  XMLNode node = parent.ChildWithAttribute(tag, L"Name", name);
  if (node.IsEmpty()) {
    node = parent.AddChild(tag);
    node.AddAttribute(L"Name", name);
  }
  return node;
}

void AppendKept(CMultiString& list, const std::wstring& text) {
  // The several-string form keeps an empty string, which the single form would drop.
  const wchar_t* item = text.c_str();
  list.Afegir(&item, 1);
}

// The key listings: the number of keys of the first section whose name matches
// without regard to case, and each of them fetched from the root at that section's
// position. That fetch gives the same element every time: it is made once.
int ListKeys(const CString& file, const wchar_t* seccio, CMultiString& out, bool withText) {
  const XMLNode root = Root(file);
  if (root.IsEmpty()) return 0;
  int position = 0;
  XMLNode section = root.FirstChild(L"Section");
  for (; !section.IsEmpty(); section = section.NextSibling(L"Section"), ++position) {
    std::wstring name;
    section.Attribute(L"Name", name);
    if (CString(name.c_str()).CompareNoCase(seccio != nullptr ? seccio : L"") == 0) break;
  }
  if (section.IsEmpty()) return 1;
  XMLNode key = root.FirstChild(L"Key");
  for (int i = 0; i < position && !key.IsEmpty(); ++i) key = key.NextSibling(L"Key");
  std::wstring keyName;
  key.Attribute(L"Name", keyName);
  const std::wstring keyText = key.Text();
  for (XMLNode k = section.FirstChild(L"Key"); !k.IsEmpty(); k = k.NextSibling(L"Key")) {
    AppendKept(out, keyName);
    if (withText) AppendKept(out, keyText);
  }
  return 1;
}

}  // namespace

CFitxerSettingsXML::CFitxerSettingsXML(const wchar_t* fitxer) : CFitxerSettings(fitxer) {
  if (m_strFitxer.IsEmpty()) m_strFitxer = CPathString(AfxGetInstanceHandle()).Substituir(nullptr, nullptr, nullptr, L"xml");
}

int CFitxerSettingsXML::TestFitxer() const {
  return CPathString::TestFitxer(m_strFitxer) && !XMLNode::ParseFile(m_strFitxer, L"Settings").IsEmpty();
}

CString CFitxerSettingsXML::GetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* perDefecte) const {
  const XMLNode key = Key(Section(Root(m_strFitxer), seccio), clau);
  return key.IsEmpty() ? CString(perDefecte) : CString(key.Text().c_str());
}

int CFitxerSettingsXML::SetString(const wchar_t* seccio, const wchar_t* clau, const wchar_t* valor) {
  const XMLNode root = RootOrNew(m_strFitxer);
  const XMLNode key = FindOrAdd(FindOrAdd(root, L"Section", seccio), L"Key", clau);
  key.DeleteText();
  key.AddText(valor);
  return root.WriteToFile(m_strFitxer) ? 1 : 0;
}

int CFitxerSettingsXML::BorrarValor(const wchar_t* seccio, const wchar_t* clau) {
  const XMLNode root = Root(m_strFitxer);
  const XMLNode key = Key(Section(root, seccio), clau);
  if (key.IsEmpty()) return 0;
  key.Remove();
  return root.WriteToFile(m_strFitxer) ? 1 : 0;
}

int CFitxerSettingsXML::GetSeccions(CMultiString& seccions) const {
  const XMLNode root = Root(m_strFitxer);
  if (root.IsEmpty()) return 0;
  for (XMLNode section = root.FirstChild(L"Section"); !section.IsEmpty(); section = section.NextSibling(L"Section")) {
    std::wstring name;
    section.Attribute(L"Name", name);
    AppendKept(seccions, name);
  }
  return 1;
}

int CFitxerSettingsXML::GetClausSeccio(const wchar_t* seccio, CMultiString& claus) const {
  return ListKeys(m_strFitxer, seccio, claus, false);
}

int CFitxerSettingsXML::GetSeccio(const wchar_t* seccio, CMultiString& linies) const {
  return ListKeys(m_strFitxer, seccio, linies, true);
}

int CFitxerSettingsXML::SetSeccio(const wchar_t* seccio, const CMultiString& linies) {
  const XMLNode root = RootOrNew(m_strFitxer);
  const XMLNode section = FindOrAdd(root, L"Section", seccio);
  // The section's keys by name, the first of each name as FindOrAdd would find it,
  // so that a long list is merged in one pass.
  std::unordered_map<std::wstring, XMLNode> keys;
  for (XMLNode key = section.FirstChild(L"Key"); !key.IsEmpty(); key = key.NextSibling(L"Key")) {
    std::wstring name;
    if (key.Attribute(L"Name", name)) keys.emplace(name, key);
  }
  for (int i = 0; i + 1 < linies.GetNumStr(); i += 2) {
    auto [it, added] = keys.try_emplace(linies[i]);
    if (added) {
      it->second = section.AddChild(L"Key");
      it->second.AddAttribute(L"Name", linies[i]);
    }
    it->second.DeleteText();
    it->second.AddText(linies[i + 1]);
  }
  return root.WriteToFile(m_strFitxer) ? 1 : 0;
}

int CFitxerSettingsXML::BorrarSeccio(const wchar_t* seccio) {
  const XMLNode root = Root(m_strFitxer);
  const XMLNode section = Section(root, seccio);
  if (section.IsEmpty()) return 0;
  section.Remove();
  return root.WriteToFile(m_strFitxer) ? 1 : 0;
}
