// XMLNode: a small value class over an element of an XML document (pugixml). Copies
// share the document, which lives as long as any node of it. An empty node stands
// for an element that is not there; every operation on it does nothing.
#pragma once

#include <memory>
#include <string>

#include <kwlib63/framework/export.h>

namespace kwplat {

struct XMLNodeData;

class KW_API XMLNode {
 public:
  XMLNode() = default;

  // The top element named `tag` of the file, or an empty node; `ok` (when given)
  // tells whether the file could be read and parsed at all.
  static XMLNode ParseFile(const wchar_t* path, const wchar_t* tag, bool* ok = nullptr);
  // The top element named `tag` of the text (whatever its name for a null `tag`).
  static XMLNode ParseString(const std::string& text, const wchar_t* tag, bool* ok = nullptr);
  // A new document holding only the top element `tag`.
  static XMLNode CreateTopNode(const wchar_t* tag);

  bool IsEmpty() const;
  std::wstring Name() const;
  // The first child `tag` whose attribute `attribute` is `value` (exactly), or empty.
  XMLNode ChildWithAttribute(const wchar_t* tag, const wchar_t* attribute, const wchar_t* value) const;
  int CountChildren(const wchar_t* tag) const;
  // The i-th child `tag`, or an empty node.
  XMLNode Child(const wchar_t* tag, int i) const;
  // Element children of any tag, in document order.
  int CountElements() const;
  XMLNode Element(int i) const;
  // Walking children one step at a time (the counted forms above walk from the
  // first child on every call): the first child element `tag`, and the next
  // sibling element `tag` after this one, with any tag for a null `tag`; an empty
  // node when there is none.
  XMLNode FirstChild(const wchar_t* tag) const;
  XMLNode NextSibling(const wchar_t* tag) const;
  XMLNode AddChild(const wchar_t* tag) const;
  void AddAttribute(const wchar_t* name, const wchar_t* value) const;
  // The attribute's value; false when the element has no such attribute.
  bool Attribute(const wchar_t* name, std::wstring& value) const;
  std::wstring Text() const;
  void DeleteText() const;
  void AddText(const wchar_t* text) const;
  void AddCData(const char* text) const;
  // Removes the element and everything in it from its document.
  void Remove() const;
  // The whole document, indented, replacing the file atomically; false with errno
  // set when it cannot be written.
  bool WriteToFile(const wchar_t* path) const;
  std::string ToString() const;

 private:
  std::shared_ptr<XMLNodeData> m_data;
};

}  // namespace kwplat
