// CFitxerSettingsXML on real files: the element layout, merging sections, the key
// listings that come back empty by design, and damaged files.
#include <unistd.h>
#include <cstdlib>
#include <fstream>
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/xmlnode.h>
#include <kwlib63/settings/fitxersettingsxml.h>

#include "support/locales.h"
#include "support/tempdir.h"
#include "support/stopwatch.h"

namespace {

class FitxerXmlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_path = m_dir + "/s.xml";
    m_xml.SetFitxer(kwfw::Utf8ToWide(m_path).c_str());
  }
  kwplat::XMLNode Root() const { return kwplat::XMLNode::ParseFile(kwfw::Utf8ToWide(m_path).c_str(), L"Sections"); }
  kwtest::TempDir m_tmp{"kwlib-xml"};
  std::string m_dir = m_tmp.Path(), m_path;
  CFitxerSettingsXML m_xml{L"unused"};
};

TEST_F(FitxerXmlTest, LayoutAndValues) {
  EXPECT_EQ(m_xml.GetString(L"S", L"k", L"d"), CString(L"d"));
  EXPECT_EQ(m_xml.SetString(L"S", L"k", L"v1"), 1);
  const kwplat::XMLNode root = Root();
  ASSERT_FALSE(root.IsEmpty());
  EXPECT_EQ(root.CountChildren(L"Section"), 1);
  const kwplat::XMLNode section = root.Child(L"Section", 0);
  std::wstring name;
  ASSERT_TRUE(section.Attribute(L"Name", name));
  EXPECT_EQ(name, L"S");
  EXPECT_EQ(section.CountChildren(L"Key"), 1);
  EXPECT_EQ(section.Child(L"Key", 0).Text(), L"v1");
  EXPECT_EQ(m_xml.TestFitxer(), 0);  // looks for "Settings", which this file lacks

  EXPECT_EQ(m_xml.SetString(L"S", L"k", L"<v2 & \u00E9>"), 1);  // replaced, escaped in the file
  EXPECT_EQ(m_xml.GetString(L"S", L"k", L""), CString(L"<v2 & \u00E9>"));
  EXPECT_EQ(m_xml.SetString(L"S", L"blank", L" "), 1);  // a value of blanks stays one
  EXPECT_EQ(m_xml.GetString(L"S", L"blank", L"d"), CString(L" "));
  EXPECT_EQ(m_xml.GetString(L"s", L"k", L"d"), CString(L"d"));  // names match exactly here
  m_xml.SetInt(L"S", L"n", -255, 16, L"h", 1);
  EXPECT_EQ(m_xml.GetString(L"S", L"n", L""), CString(L"-ffh"));
  EXPECT_EQ(m_xml.BorrarValor(L"S", L"n"), 1);
  EXPECT_EQ(m_xml.BorrarValor(L"S", L"n"), 0);
  m_xml.SetString(L"T", L"x", L"1");
  CMultiString sections;
  EXPECT_EQ(m_xml.GetSeccions(sections), 1);
  ASSERT_EQ(sections.GetNumStr(), 2);
  EXPECT_STREQ(sections[1], L"T");
  EXPECT_EQ(m_xml.BorrarSeccio(L"T"), 1);
  EXPECT_EQ(m_xml.BorrarSeccio(L"T"), 0);
}

TEST_F(FitxerXmlTest, SectionsMergeAndKeyListsComeBackEmpty) {
  m_xml.SetString(L"S", L"c", L"3");
  CMultiString pairs;
  for (const wchar_t* item : {L"a", L"1", L"b", L"2", L"odd"}) pairs += item;
  EXPECT_EQ(m_xml.SetSeccio(L"S", pairs), 1);
  EXPECT_EQ(m_xml.GetString(L"S", L"c", L""), CString(L"3"));  // kept: a merge, not a replacement
  EXPECT_EQ(m_xml.GetString(L"S", L"a", L""), CString(L"1"));
  EXPECT_EQ(m_xml.GetString(L"S", L"b", L""), CString(L"2"));
  EXPECT_EQ(m_xml.GetString(L"S", L"odd", L"none"), CString(L"none"));

  CMultiString keys, lines;
  EXPECT_EQ(m_xml.GetClausSeccio(L"s", keys), 1);  // the section found without regard to case
  ASSERT_EQ(keys.GetNumStr(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_STREQ(keys[i], L"");
  EXPECT_EQ(m_xml.GetSeccio(L"S", lines), 1);
  EXPECT_EQ(lines.GetNumStr(), 6);
  CMultiString none;
  EXPECT_EQ(m_xml.GetClausSeccio(L"missing", none), 1);
  EXPECT_EQ(none.GetNumStr(), 0);
}

TEST_F(FitxerXmlTest, DamagedAndForeignFiles) {
  std::ofstream(m_path) << "<Sections><Section Name=\"S\"><Key Name=\"k\">v";  // cut short
  EXPECT_EQ(m_xml.GetString(L"S", L"k", L"d"), CString(L"d"));
  CMultiString sections;
  EXPECT_EQ(m_xml.GetSeccions(sections), 0);
  EXPECT_EQ(m_xml.SetString(L"N", L"k", L"v"), 1);  // a new document replaces the damaged one
  EXPECT_EQ(m_xml.GetString(L"N", L"k", L""), CString(L"v"));
  std::ofstream(m_path) << "<Settings><x/></Settings>";
  EXPECT_EQ(m_xml.TestFitxer(), 1);
  EXPECT_EQ(m_xml.GetSeccions(sections), 0);
  EXPECT_EQ(CFitxerSettingsXML().GetFitxer().Right(4), CString(L".xml"));
}

// The keys are fetched from the root at the section's position: a root that does
// hold "Key" elements gives the name of the one at that position, once per key.
TEST_F(FitxerXmlTest, KeyListsFetchFromTheRootAtTheSectionsPosition) {
  std::ofstream(m_path) << "<Sections><Key Name=\"r0\">t0</Key><Section Name=\"A\"><Key Name=\"a\"/></Section>"
                           "<Key Name=\"r1\">t1</Key><Section Name=\"B\"><Key Name=\"b1\"/><Key Name=\"b2\"/></Section>"
                           "<Section Name=\"C\"><Key Name=\"c\"/></Section></Sections>";
  for (const char* locale : kwtest::kTextLocales) {
    const kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale << " is not generated (scripts/install-deps)";
    CMultiString keys, lines, none;
    EXPECT_EQ(m_xml.GetClausSeccio(L"b", keys), 1) << locale;
    ASSERT_EQ(keys.GetNumStr(), 2) << locale;
    EXPECT_STREQ(keys[0], L"r1") << locale;
    EXPECT_STREQ(keys[1], L"r1") << locale;
    EXPECT_EQ(m_xml.GetSeccio(L"A", lines), 1) << locale;
    ASSERT_EQ(lines.GetNumStr(), 2) << locale;
    EXPECT_STREQ(lines[0], L"r0") << locale;
    EXPECT_STREQ(lines[1], L"t0") << locale;
    EXPECT_EQ(m_xml.GetClausSeccio(L"C", none), 1) << locale;  // no third "Key" in the root
    ASSERT_EQ(none.GetNumStr(), 1) << locale;
    EXPECT_STREQ(none[0], L"") << locale;
  }
}

// 20000 sections, and a section of 20000 keys: listing and merging walk each list
// once. Counting the children again on every step takes many seconds here.
TEST_F(FitxerXmlTest, ManySectionsAndKeysCostLinearTime) {
  constexpr int kCount = 20000;
  {
    std::ofstream out(m_path);
    out << "<Sections>";
    for (int i = 0; i < kCount; ++i) out << "<Section Name=\"s" << i << "\"><Key Name=\"k\">" << i << "</Key></Section>";
    out << "</Sections>";
  }
  CMultiString sections, keys, lines, pairs;
  for (int i = 0; i < kCount; ++i) {
    pairs += (L"k" + std::to_wstring(i)).c_str();
    pairs += L"v";
  }
  int listed = 0, merged = 0;
  const double seconds = kwtest::SecondsTaken([&] {
    listed = m_xml.GetSeccions(sections) + m_xml.GetClausSeccio(L"S19999", keys) + m_xml.GetSeccio(L"s19998", lines);
    merged = m_xml.SetSeccio(L"s19999", pairs);
  });
  EXPECT_LT(seconds, 20.0);
  EXPECT_EQ(listed, 3);
  EXPECT_EQ(merged, 1);
  ASSERT_EQ(sections.GetNumStr(), kCount);
  EXPECT_STREQ(sections[kCount - 1], L"s19999");
  EXPECT_EQ(keys.GetNumStr(), 1);
  EXPECT_EQ(lines.GetNumStr(), 2);
  EXPECT_EQ(m_xml.GetString(L"s19999", L"k", L""), CString(L"19999"));
  EXPECT_EQ(m_xml.GetString(L"s19999", L"k19999", L""), CString(L"v"));
}

}  // namespace
