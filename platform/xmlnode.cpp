#include <kwlib63/platform/xmlnode.h>

#include <cerrno>
#include <fstream>
#include <sstream>

#include <pugixml.hpp>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/atomicfile.h>

namespace kwplat {

struct XMLNodeData {
  std::shared_ptr<pugi::xml_document> document;
  pugi::xml_node node;
};

namespace {

std::string U8(const wchar_t* s) { return kwfw::WideToUtf8(s != nullptr ? s : L""); }

}  // namespace

XMLNode XMLNode::ParseString(const std::string& text, const wchar_t* tag, bool* ok) {
  auto document = std::make_shared<pugi::xml_document>();
  // Text made only of blanks is a value like any other (a setting of " ").
  const bool parsed =
      static_cast<bool>(document->load_buffer(text.data(), text.size(), pugi::parse_default | pugi::parse_ws_pcdata_single));
  if (ok != nullptr) *ok = parsed;
  XMLNode result;
  const pugi::xml_node top =
      !parsed ? pugi::xml_node() : tag == nullptr ? document->document_element() : document->child(U8(tag).c_str());
  if (top) result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{document, top});
  return result;
}

XMLNode XMLNode::ParseFile(const wchar_t* path, const wchar_t* tag, bool* ok) {
  std::ifstream in(U8(path), std::ios::binary);
  if (!in) {
    if (ok != nullptr) *ok = false;
    return XMLNode();
  }
  std::ostringstream text;
  text << in.rdbuf();
  return ParseString(text.str(), tag, ok);
}

XMLNode XMLNode::CreateTopNode(const wchar_t* tag) {
  auto document = std::make_shared<pugi::xml_document>();
  XMLNode result;
  result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{document, document->append_child(U8(tag).c_str())});
  return result;
}

bool XMLNode::IsEmpty() const { return m_data == nullptr || !m_data->node; }

std::wstring XMLNode::Name() const { return IsEmpty() ? std::wstring() : kwfw::Utf8ToWide(m_data->node.name()); }

XMLNode XMLNode::ChildWithAttribute(const wchar_t* tag, const wchar_t* attribute, const wchar_t* value) const {
  if (IsEmpty()) return XMLNode();
  // The range keeps a pointer to the tag: the string must outlive the loop.
  const std::string t = U8(tag), a = U8(attribute), v = U8(value);
  for (pugi::xml_node child : m_data->node.children(t.c_str())) {
    const pugi::xml_attribute found = child.attribute(a.c_str());
    if (found && v == found.value()) {
      XMLNode result;
      result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{m_data->document, child});
      return result;
    }
  }
  return XMLNode();
}

int XMLNode::CountChildren(const wchar_t* tag) const {
  if (IsEmpty()) return 0;
  int n = 0;
  const std::string t = U8(tag);
  for (pugi::xml_node child : m_data->node.children(t.c_str())) {
    (void)child;
    ++n;
  }
  return n;
}

XMLNode XMLNode::Child(const wchar_t* tag, int i) const {
  if (IsEmpty() || i < 0) return XMLNode();
  const std::string t = U8(tag);
  for (pugi::xml_node child : m_data->node.children(t.c_str())) {
    if (i-- == 0) {
      XMLNode result;
      result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{m_data->document, child});
      return result;
    }
  }
  return XMLNode();
}

int XMLNode::CountElements() const {
  if (IsEmpty()) return 0;
  int n = 0;
  for (pugi::xml_node child = m_data->node.first_child(); child; child = child.next_sibling()) {
    if (child.type() == pugi::node_element) ++n;
  }
  return n;
}

XMLNode XMLNode::Element(int i) const {
  if (IsEmpty() || i < 0) return XMLNode();
  for (pugi::xml_node child = m_data->node.first_child(); child; child = child.next_sibling()) {
    if (child.type() != pugi::node_element || i-- != 0) continue;
    XMLNode result;
    result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{m_data->document, child});
    return result;
  }
  return XMLNode();
}

XMLNode XMLNode::FirstChild(const wchar_t* tag) const {
  if (IsEmpty()) return XMLNode();
  pugi::xml_node child = tag != nullptr ? m_data->node.child(U8(tag).c_str()) : m_data->node.first_child();
  while (tag == nullptr && child && child.type() != pugi::node_element) child = child.next_sibling();
  XMLNode result;
  if (child) result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{m_data->document, child});
  return result;
}

XMLNode XMLNode::NextSibling(const wchar_t* tag) const {
  if (IsEmpty()) return XMLNode();
  pugi::xml_node next = tag != nullptr ? m_data->node.next_sibling(U8(tag).c_str()) : m_data->node.next_sibling();
  while (tag == nullptr && next && next.type() != pugi::node_element) next = next.next_sibling();
  XMLNode result;
  if (next) result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{m_data->document, next});
  return result;
}

XMLNode XMLNode::AddChild(const wchar_t* tag) const {
  if (IsEmpty()) return XMLNode();
  XMLNode result;
  result.m_data = std::make_shared<XMLNodeData>(XMLNodeData{m_data->document, m_data->node.append_child(U8(tag).c_str())});
  return result;
}

void XMLNode::AddAttribute(const wchar_t* name, const wchar_t* value) const {
  if (!IsEmpty()) m_data->node.append_attribute(U8(name).c_str()).set_value(U8(value).c_str());
}

bool XMLNode::Attribute(const wchar_t* name, std::wstring& value) const {
  if (IsEmpty()) return false;
  const pugi::xml_attribute a = m_data->node.attribute(U8(name).c_str());
  if (!a) return false;
  value = kwfw::Utf8ToWide(a.value());
  return true;
}

std::wstring XMLNode::Text() const { return IsEmpty() ? std::wstring() : kwfw::Utf8ToWide(m_data->node.text().get()); }

void XMLNode::DeleteText() const {
  if (IsEmpty()) return;
  for (pugi::xml_node child = m_data->node.first_child(); child;) {
    const pugi::xml_node next = child.next_sibling();
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) m_data->node.remove_child(child);
    child = next;
  }
}

void XMLNode::AddText(const wchar_t* text) const {
  if (!IsEmpty()) m_data->node.append_child(pugi::node_pcdata).set_value(U8(text).c_str());
}

void XMLNode::AddCData(const char* text) const {
  if (!IsEmpty()) m_data->node.append_child(pugi::node_cdata).set_value(text != nullptr ? text : "");
}

void XMLNode::Remove() const {
  if (!IsEmpty() && m_data->node.parent()) {
    m_data->node.parent().remove_child(m_data->node);
    m_data->node = pugi::xml_node();
  }
}

std::string XMLNode::ToString() const {
  if (IsEmpty()) return std::string();
  std::ostringstream out;
  m_data->document->save(out, "\t", pugi::format_default, pugi::encoding_utf8);
  return out.str();
}

bool XMLNode::WriteToFile(const wchar_t* path) const {
  if (IsEmpty()) {
    errno = EINVAL;
    return false;
  }
  const std::string target = WriteTarget(U8(path));
  struct stat st {};
  const bool exists = stat(target.c_str(), &st) == 0;
  return ReplaceFile(target, ToString(), exists ? &st : nullptr);
}

}  // namespace kwplat
