// The file iterator on real folders: the recursive order with its repeats, stops,
// missing folders, masks, the depth count, and a link that points back up.
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/system/iteradorfitxers.h>

#include "support/tempdir.h"

namespace {

class IteradorFitxersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // root/A/B with one file in each folder.
    ASSERT_EQ(mkdir(m_dir.At("A").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(m_dir.At("A/B").c_str(), 0755), 0);
    for (const char* file : {"root.txt", "A/a.txt", "A/B/b.TXT"}) std::ofstream(m_dir.At(file)) << "x";
  }
  std::vector<std::string> List(const wchar_t* mask, int recursive, const std::string& folder = "") {
    CStringList list;
    m_result = m_iterador.GetLlistaFitxers(list, mask, kwfw::Utf8ToWide(folder.empty() ? m_dir.Path() : folder).c_str(),
                                           recursive);
    EXPECT_EQ(m_iterador.m_nNivell, 0);
    std::vector<std::string> paths;
    for (POSITION pos = list.GetHeadPosition(); pos != nullptr;) {
      paths.push_back(kwfw::WideToUtf8(list.GetNext(pos).GetString()).substr(m_dir.Path().size()));
    }
    return paths;
  }

  kwtest::TempDir m_dir{"kwlib-iter"};
  TIteradorFitxers m_iterador;
  int m_result = -1;
};

TEST_F(IteradorFitxersTest, RecursiveOrderKeepsItsRepeats) {
  EXPECT_EQ(List(L"*.*", TRUE), (std::vector<std::string>{"/A/B/b.TXT", "/A/a.txt", "/A/B/b.TXT", "/root.txt"}));
  EXPECT_EQ(m_result, 0);
  EXPECT_EQ(List(L"*.txt", FALSE), (std::vector<std::string>{"/root.txt"}));
  EXPECT_EQ(List(L"b.*", TRUE), (std::vector<std::string>{"/A/B/b.TXT", "/A/B/b.TXT"}));  // without regard to case
  // Without subfolders, recursion changes nothing.
  EXPECT_EQ(List(L"*", TRUE, m_dir.At("A/B")), List(L"*", FALSE, m_dir.At("A/B")));
}

TEST_F(IteradorFitxersTest, MissingFoldersAndLinksBackUp) {
  EXPECT_TRUE(List(L"*.*", TRUE, m_dir.At("nothing")).empty());
  EXPECT_EQ(m_result, 1);
  // A link to an ancestor would make the walk endless: it is not followed.
  ASSERT_EQ(symlink(m_dir.Path().c_str(), m_dir.At("A/B/up").c_str()), 0);
  EXPECT_EQ(List(L"*.*", TRUE).size(), 4u);
}

struct Calls {
  std::vector<std::wstring> names;
  bool stopped = false;
  const wchar_t* stopAt;
};

int Record(const wchar_t*, const wchar_t* nom, int, __int64 param) {
  auto* calls = reinterpret_cast<Calls*>(param);
  calls->names.emplace_back(nom);
  calls->stopped = calls->stopped || std::wstring(nom) == calls->stopAt;
  return calls->stopped ? 0 : 1;
}

TEST_F(IteradorFitxersTest, StoppingTheWalks) {
  const std::wstring root = kwfw::Utf8ToWide(m_dir.Path());
  Calls files{{}, false, L"b.TXT"};
  EXPECT_EQ(m_iterador.IteraFitxers(Record, reinterpret_cast<__int64>(&files), L"*.*", root.c_str(), TRUE), -5);
  EXPECT_EQ(files.names, (std::vector<std::wstring>{L"b.TXT"}));
  EXPECT_EQ(m_iterador.m_nNivell, 0);

  // A deeper stop shows the same folder to the callback again, which must keep
  // answering 0.
  Calls folders{{}, false, L"B"};
  EXPECT_EQ(m_iterador.IteraCarpetes(Record, reinterpret_cast<__int64>(&folders), root.c_str(), TRUE), -5);
  EXPECT_EQ(folders.names, (std::vector<std::wstring>{L"A", L"B", L"A"}));
  EXPECT_EQ(m_iterador.m_nNivell, 0);

  Calls none{{}, false, L""};
  EXPECT_EQ(m_iterador.IteraCarpetes(Record, reinterpret_cast<__int64>(&none), (root + L"/nothing").c_str(), TRUE), 1);
  EXPECT_TRUE(none.names.empty());
}

}  // namespace
