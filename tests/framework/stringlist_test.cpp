// CStringList: positions that survive other elements' removal, both ends,
// insertion around a place, search, and misuse that raises instead of crashing.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/stringlist.h>

#include "support/throws.h"

namespace {

std::vector<std::wstring> Items(const CStringList& list) {
  std::vector<std::wstring> items;
  for (POSITION pos = list.GetHeadPosition(); pos != nullptr;) items.emplace_back(list.GetNext(pos).GetString());
  return items;
}

TEST(StringList, PlacesEndsAndSearch) {
  CStringList list;
  POSITION b = list.AddTail(L"b");
  list.AddHead(L"a");
  POSITION d = list.AddTail(L"d");
  list.InsertBefore(d, L"c");
  list.InsertAfter(d, L"e");
  EXPECT_EQ(Items(list), (std::vector<std::wstring>{L"a", L"b", L"c", L"d", L"e"}));
  list.RemoveAt(list.Find(L"c"));
  EXPECT_EQ(list.GetAt(b), CString(L"b"));  // other places stay good
  EXPECT_EQ(list.GetAt(list.FindIndex(2)), CString(L"d"));
  EXPECT_EQ(list.FindIndex(4), nullptr);
  EXPECT_EQ(list.Find(L"b", b), nullptr);
  EXPECT_EQ(list.RemoveHead(), CString(L"a"));
  EXPECT_EQ(list.RemoveTail(), CString(L"e"));
  POSITION back = list.GetTailPosition();
  EXPECT_EQ(list.GetPrev(back), CString(L"d"));
  EXPECT_EQ(list.GetAt(back), CString(L"b"));

  CStringList other;
  other.AddTail(L"x");
  other.AddTail(L"y");
  list.AddHead(&other);
  list.AddTail(&other);
  EXPECT_EQ(Items(list), (std::vector<std::wstring>{L"x", L"y", L"b", L"d", L"x", L"y"}));
  list.RemoveAll();
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_TRUE(kwtest::Throws<CInvalidArgException>([&] { list.GetHead(); }));
  EXPECT_TRUE(kwtest::Throws<CInvalidArgException>([&] { list.RemoveTail(); }));
  EXPECT_TRUE(kwtest::Throws<CInvalidArgException>([&] { list.AddTail(&list); }));
}

}  // namespace
