// THash case by case, beside the model walks: buckets, chains, counted and long
// keys, Done, copies that share the table, and the cost of keys that share a chain.
#include <cstdint>
#include <cwchar>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/hash.h>

#include "counted.h"
#include "support/stopwatch.h"

namespace {

using kwtest::Counted;

int Value(const TItem* item) { return item != nullptr ? static_cast<const TInt*>(item)->Get() : -1; }

TEST(Hash, BucketsAndGrowth) {
  THash h;
  TInt one(1);
  EXPECT_EQ(h.put(&one, L"x"), -1);  // unusable before init; the item stays the caller's
  EXPECT_EQ(h.init(10), 0);
  EXPECT_EQ(h.GetNumBuckets(), 4u);
  EXPECT_EQ(h.init(2), 0);
  EXPECT_EQ(h.GetNumBuckets(), 1u);
  EXPECT_EQ(h.init(3), 0);
  for (const wchar_t* k : {L"a", L"b", L"c", L"d"}) EXPECT_EQ(h.put(new TInt(k[0]), k), 0);
  EXPECT_EQ(h.GetCapacitat(), 23u);  // 3 + max(3 / 3, 20)
  EXPECT_EQ(h.length(), 4u);
  EXPECT_EQ(Value(h.get(L"c")), L'c');
}

TEST(Hash, SameSumSameBucketBothFound) {
  THash h;
  h.init(10);
  h.put(new TInt(1), L"ab");
  h.put(new TInt(2), L"ba");
  EXPECT_EQ(Value(h.get(L"ab")), 1);
  EXPECT_EQ(Value(h.get(L"ba")), 2);
  int pos = static_cast<int>((L'a' + L'b') % 4);
  const int before = h.BuscarClau(L"ba", pos);
  EXPECT_NE(pos, -1);
  EXPECT_NE(before, -1);  // "ab" came first in the chain
  EXPECT_EQ(h.get(L"zz"), nullptr);
}

TEST(Hash, CountedKeysAreStoredOnePositionLater) {
  THash h;
  h.init(10);
  EXPECT_EQ(h.put(new TInt(1), L"abcdef", 3), 0);
  EXPECT_EQ(h.get(L"abc", 3), nullptr);  // stored as ?abc, read as abc
  EXPECT_EQ(h.put(new TInt(2), L"abc", 3), 0);
  EXPECT_EQ(h.length(), 2u);  // so a second put adds a second entry
}

TEST(Hash, RemovalComparesWholeKeysWhateverTheLength) {
  THash h;
  h.init(10);
  ASSERT_EQ(h.put(new TInt(1), L"abc"), 0);
  // The counted length picks the bucket; the comparison is of the whole text.
  EXPECT_EQ(h.del(L"abcdef", 3), -1402);
  EXPECT_EQ(h.length(), 1u);
  EXPECT_EQ(Value(h.get(L"abc")), 1);
  EXPECT_EQ(h.del(L"abc", 3), 0);
  EXPECT_EQ(h.length(), 0u);
}

TEST(Hash, LongKeysAreFoundByTheirStoredText) {
  Counted::live = 0;
  {
    THash h;
    h.init(10);
    const std::wstring key(300, L'q'), cut(263, L'q'), other = std::wstring(262, L'q') + L'r';
    ASSERT_EQ(h.put(new Counted(7), key.c_str()), 0);
    EXPECT_EQ(Value(h.get(key.c_str())), 7);
    EXPECT_EQ(Value(h.get(cut.c_str())), 7);  // the same stored text
    EXPECT_EQ(h.get(other.c_str()), nullptr);
    ASSERT_EQ(h.put(new Counted(8), key.c_str()), 0);  // replaces
    EXPECT_EQ(h.length(), 1u);
    EXPECT_EQ(Counted::live, 1);
    EXPECT_EQ(h.del(key.c_str()), 0);
    EXPECT_EQ(h.length(), 0u);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(Hash, BucketsSumUtf16CodeUnits) {
  // A character outside the basic plane counts as its two surrogates.
  struct { const wchar_t* key; std::uint32_t sum; } cases[] = {
      {L"\U0001F600", 0xD83Du + 0xDE00u}, {L"a\U00010000b", 'a' + 0xD800u + 0xDC00u + 'b'}, {L"\u00E9t\u00E9", 0xE9u + 't' + 0xE9u},
      {L"\xD800x", 0xD800u + 'x'}, {L"\xDFFF", 0xDFFFu}};  // a lone surrogate counts as itself
  for (const auto& c : cases) {
    THash h;
    h.init(10);  // 4 buckets
    ASSERT_EQ(h.put(new TInt(7), c.key), 0);
    int pos = static_cast<int>(c.sum % h.GetNumBuckets());
    h.BuscarClau(c.key, pos);
    EXPECT_NE(pos, -1) << "bucket " << c.sum % h.GetNumBuckets();
    // A counted key picks its bucket from the same units.
    EXPECT_EQ(h.del(c.key, static_cast<int>(std::wcslen(c.key))), 0);
  }
}

TEST(Hash, DoneForgetsButKeepsTheCount) {
  THash h;
  h.init(4);
  TInt kept(5);
  h.put(&kept, L"k");
  h.Done();
  EXPECT_EQ(h.get(L"k"), nullptr);
  EXPECT_EQ(h.length(), 1u);
  EXPECT_EQ(kept.Get(), 5);  // not deleted
  EXPECT_EQ(h.init(4), 0);
  EXPECT_EQ(h.length(), 0u);
}

TEST(Hash, CopiesFromAReferenceShareTheTable) {
  Counted::live = 0;
  {
    THash a;
    a.init(4);
    a.put(new Counted(1), L"k");
    THash b(a);
    EXPECT_EQ(b.get(L"k"), a.get(L"k"));
    b.put(new Counted(2), L"j");
    EXPECT_EQ(Value(a.get(L"j")), 2);
  }
  EXPECT_EQ(Counted::live, 0);  // deleted once
}

TEST(Hash, KeysThatShareOneChainStayCheap) {
  // "key-", a number and its complement to 999999: the digits always sum to 54, so
  // 100 000 keys fall into one chain. Walking it for every key took about five
  // minutes under the sanitizers; the table needs about 0.75 s, and the bound is a
  // hundred times that.
  constexpr int kKeys = 100000;
  const auto six = [](int n) {
    const std::wstring digits = std::to_wstring(n);
    return std::wstring(6 - digits.size(), L'0') + digits;
  };
  std::vector<std::wstring> keys;
  for (int i = 0; i < kKeys; ++i) keys.push_back(L"key-" + six(i) + L"-" + six(999999 - i));
  Counted::live = 0;
  {
    THash h;
    ASSERT_EQ(h.init(1000), 0);  // grows on the way
    int wrong = 0;
    const double seconds = kwtest::SecondsTaken([&] {
      for (int i = 0; i < kKeys; ++i) wrong += h.put(new Counted(i), keys[static_cast<std::size_t>(i)].c_str()) != 0;
      for (int i = 0; i < kKeys; ++i) wrong += Value(h.get(keys[static_cast<std::size_t>(i)].c_str())) != i;
      for (int i = 0; i < kKeys; i += 2) wrong += h.del(keys[static_cast<std::size_t>(i)].c_str()) != 0;
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(h.length(), static_cast<unsigned>(kKeys / 2));
    EXPECT_LT(seconds, 75.0);
  }
  EXPECT_EQ(Counted::live, 0);
}

}  // namespace
