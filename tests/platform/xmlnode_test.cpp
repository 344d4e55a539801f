// XMLNode on real text and files: values with markup characters and text beyond
// ASCII written and read back, elements and attributes that are not there, a
// document nested ten thousand levels deep, and documents that are not XML.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/xmlnode.h>

#include "support/tempdir.h"

namespace {

using kwplat::XMLNode;

// Values that need escaping in an attribute, in text, or both; a control
// character; text beyond ASCII and outside the basic plane.
const std::wstring kValues[] = {L"&<>\"'",
                                L"a & b < c > d \"e\" 'f'",
                                L"&amp; &#60; ]]> <!-- x -->",
                                L"x\ty\nz",
                                L"bell\x01here",
                                L"Gr\u00FC\u00DFe \u20AC \u65E5\u672C \U0001F600",
                                L"  inner  blanks  ",
                                L" ",
                                L"\t \t"};

TEST(XMLNode, AttributesAndTextComeBackAsWritten) {
  for (const std::wstring& value : kValues) {
    const XMLNode top = XMLNode::CreateTopNode(L"Top");
    const XMLNode key = top.AddChild(L"Key");
    key.AddAttribute(L"Name", value.c_str());
    key.AddText(value.c_str());
    bool ok = false;
    const XMLNode back = XMLNode::ParseString(top.ToString(), L"Top", &ok);
    ASSERT_TRUE(ok) << kwfw::WideToUtf8(value) << "\n" << top.ToString();
    const XMLNode found = back.ChildWithAttribute(L"Key", L"Name", value.c_str());
    ASSERT_FALSE(found.IsEmpty()) << kwfw::WideToUtf8(value) << "\n" << top.ToString();
    EXPECT_EQ(found.Text(), value) << top.ToString();
  }
}

TEST(XMLNode, AFileComesBackAsWritten) {
  kwtest::TempDir dir("kwlib-xml");
  const std::wstring path = kwfw::Utf8ToWide(dir.At("f\u00E9.xml"));
  const XMLNode top = XMLNode::CreateTopNode(L"Top");
  for (const std::wstring& value : kValues) top.AddChild(L"Key").AddAttribute(L"Name", value.c_str());
  ASSERT_TRUE(top.WriteToFile(path.c_str()));
  bool ok = false;
  const XMLNode back = XMLNode::ParseFile(path.c_str(), L"Top", &ok);
  ASSERT_TRUE(ok);
  ASSERT_EQ(back.CountChildren(L"Key"), static_cast<int>(std::size(kValues)));
  for (int i = 0; i < back.CountChildren(L"Key"); ++i) {
    std::wstring name = L"junk";
    EXPECT_TRUE(back.Child(L"Key", i).Attribute(L"Name", name));
    EXPECT_EQ(name, kValues[i]);
  }
}

// An absent element is an empty node, and every call on it answers "nothing".
TEST(XMLNode, AMissingElementIsAnEmptyNodeThatDoesNothing) {
  const XMLNode top = XMLNode::ParseString("<Top><Key Name='a'>t</Key></Top>", L"Top");
  const XMLNode missing[] = {top.Child(L"Key", 1),
                             top.Child(L"Key", -1),
                             top.Child(L"Nope", 0),
                             top.FirstChild(L"Nope"),
                             top.Child(L"Key", 0).NextSibling(nullptr),
                             top.ChildWithAttribute(L"Key", L"Name", L"A"),  // values match exactly
                             top.ChildWithAttribute(L"Key", L"Other", L"a"),
                             XMLNode::ParseString("<Top/>", L"Other"),
                             XMLNode()};
  for (const XMLNode& node : missing) {
    const int at = static_cast<int>(&node - missing);
    EXPECT_TRUE(node.IsEmpty()) << at;
    EXPECT_EQ(node.Name(), L"") << at;
    EXPECT_EQ(node.Text(), L"") << at;
    EXPECT_EQ(node.CountElements(), 0) << at;
    std::wstring value;
    EXPECT_FALSE(node.Attribute(L"Name", value)) << at;
    EXPECT_TRUE(node.AddChild(L"New").IsEmpty()) << at;
    node.AddAttribute(L"Name", L"b");
    node.AddText(L"text");
    node.Remove();
    EXPECT_EQ(node.ToString(), "") << at;
  }
  EXPECT_EQ(top.ToString(), XMLNode::ParseString("<Top><Key Name='a'>t</Key></Top>", L"Top").ToString())
      << "a call on an empty node changed the document";
}

TEST(XMLNode, AMissingAttributeIsNotThere) {
  const XMLNode key = XMLNode::ParseString("<Key Name='a' Empty=''/>", L"Key");
  std::wstring value = L"junk";
  EXPECT_FALSE(key.Attribute(L"Other", value));
  EXPECT_FALSE(key.Attribute(L"name", value));  // names match exactly
  EXPECT_TRUE(key.Attribute(L"Empty", value));  // present, though empty
  EXPECT_EQ(value, L"");
}

// The parser and the writer keep no stack per level: ten thousand levels read,
// walk, write and read again.
TEST(XMLNode, TenThousandLevelsReadWalkAndWrite) {
  constexpr int kDepth = 10000;
  std::string text;
  for (int i = 0; i < kDepth; ++i) text += "<d>";
  text += "bottom";
  for (int i = 0; i < kDepth; ++i) text += "</d>";
  bool ok = false;
  const XMLNode top = XMLNode::ParseString(text, L"d", &ok);
  ASSERT_TRUE(ok);
  const auto depthOf = [](XMLNode node, std::wstring& bottom) {
    int depth = 0;
    for (; !node.IsEmpty(); node = node.FirstChild(L"d")) {
      ++depth;
      bottom = node.Text();
    }
    return depth;
  };
  std::wstring bottom;
  EXPECT_EQ(depthOf(top, bottom), kDepth);
  EXPECT_EQ(bottom, L"bottom");
  const XMLNode again = XMLNode::ParseString(top.ToString(), L"d", &ok);
  ASSERT_TRUE(ok);
  bottom.clear();
  EXPECT_EQ(depthOf(again, bottom), kDepth);
  EXPECT_EQ(bottom, L"bottom");
  top.FirstChild(L"d").Remove();  // the whole branch under the top goes at once
  EXPECT_EQ(top.CountElements(), 0);
}

// Text that is not XML is refused with `ok` false and an empty node: every cut of a
// valid document short of its end, and documents broken in one place.
TEST(XMLNode, TextThatIsNotXmlIsRefused) {
  const std::string valid = "<?xml version=\"1.0\"?><r a='1'><c>t&amp;</c><!--k--><![CDATA[z]]></r>";
  std::vector<std::string> broken = {"",      "   ",      "plain text", "<a></b>", "<a b=1/>",
                                     "<1a/>", "<a b='1'", "<a><b></a>", "</a>",    "<?xml version='1.0'?>"};
  for (std::size_t cut = 0; cut < valid.size(); ++cut) broken.push_back(valid.substr(0, cut));
  for (const std::string& text : broken) {
    bool ok = true;
    EXPECT_TRUE(XMLNode::ParseString(text, nullptr, &ok).IsEmpty()) << text;
    EXPECT_FALSE(ok) << text;
  }
  bool ok = false;
  EXPECT_FALSE(XMLNode::ParseString(valid, nullptr, &ok).IsEmpty());
  EXPECT_TRUE(ok);
}

TEST(XMLNode, AFileThatCannotBeReadIsRefused) {
  kwtest::TempDir dir("kwlib-xml");
  kwtest::WriteBytes(dir.At("broken.xml"), "<Top><Key></Top>");
  for (const std::string& path : {dir.At("missing.xml"), dir.Path(), dir.At("broken.xml")}) {
    bool ok = true;
    EXPECT_TRUE(XMLNode::ParseFile(kwfw::Utf8ToWide(path).c_str(), L"Top", &ok).IsEmpty()) << path;
    EXPECT_FALSE(ok) << path;
  }
}

}  // namespace
