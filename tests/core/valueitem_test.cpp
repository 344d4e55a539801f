// Value items: their values, the deliberate comparison rules, and the copy rules
// of TItemString.
#include <climits>
#include <gtest/gtest.h>

#include <kwlib63/core/valueitem.h>

namespace {

TEST(ValueItems, DefaultsAndSetters) {
  EXPECT_EQ(TBool().Get(), 1);
  TBool b(5);
  EXPECT_EQ(b.Get(), 5);  // not reduced to 0 or 1
  b.Swap();
  EXPECT_EQ(b.Get(), 0);
  b.Swap();
  EXPECT_EQ(b.Get(), 1);
  EXPECT_EQ(TInt().Get(), 0);
  EXPECT_EQ(TChar().Get(), L'\0');
  EXPECT_EQ(TFloat().Get(), 0.0f);
  EXPECT_EQ(TDouble().Get(), 0.0);
  TInt i(INT_MAX);
  i.Inc();
  EXPECT_EQ(i.Get(), INT_MIN);
  i.Dec();
  EXPECT_EQ(i.Get(), INT_MAX);
}

TEST(ValueItems, TIntComparesByWrappingDifference) {
  const TInt three(3), seven(7), max(INT_MAX), minusOne(-1);
  EXPECT_EQ(three.Comparar(&seven), -4);
  EXPECT_LT(max.Comparar(&minusOne), 0);  // wraps: the sign is wrong on purpose
  EXPECT_EQ(TInt(INT_MIN).Comparar(&max), 1);
  EXPECT_EQ(three.Iguals(&seven), 0);
  EXPECT_EQ(seven.Iguals(&seven), 1);
}

TEST(ValueItems, OthersAreAlwaysEqual) {
  const TDouble one(1.0), two(2.0);
  EXPECT_EQ(one.Comparar(&two), 0);
  EXPECT_EQ(one.Iguals(&two), 1);
  const TBool no(0), yes(1);
  EXPECT_EQ(no.Iguals(&yes), 1);
  const TChar x(L'x'), y(L'y');
  EXPECT_EQ(x.Comparar(&y), 0);
}

TEST(ValueItems, DuplicatesAreDeepAndOfTheSameClass) {
  const TFloat f(2.5f);
  TItem* copy = f.Duplicar();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->QueSoc(), 12);
  EXPECT_EQ(static_cast<TFloat*>(copy)->Get(), 2.5f);
  delete copy;
}

TEST(TItemString, TextIsCopiedDeeplyFromTextAndPointers) {
  const wchar_t text[] = L"hola";
  TItemString a(text);
  EXPECT_NE(a.Agafar(), text);
  EXPECT_STREQ(a.Agafar(), L"hola");
  EXPECT_EQ(TItemString().Agafar(), nullptr);
  TItemString b(&a);
  EXPECT_NE(b.Agafar(), a.Agafar());
  EXPECT_STREQ(b, L"hola");
  TItem* dup = a.Duplicar();
  a.Insertar(L"adeu");
  EXPECT_STREQ(static_cast<TItemString*>(dup)->Agafar(), L"hola");  // the duplicate owns its array
  EXPECT_EQ(dup->QueSoc(), 200);
  delete dup;
  a = static_cast<const wchar_t*>(nullptr);
  EXPECT_EQ(a.Agafar(), nullptr);
}

TEST(TItemString, CopiesByReferenceShareOneArray) {
  auto* a = new TItemString(L"shared");
  TItemString b(*a);
  EXPECT_EQ(b.Agafar(), a->Agafar());  // the same array, not a copy
  TItemString c;
  c = b;
  EXPECT_EQ(c.Agafar(), a->Agafar());
  c.Agafar()[0] = L'S';
  EXPECT_STREQ(a->Agafar(), L"Shared");  // a change through one shows in all
  // Both free "it": the last one to let go frees the array, once.
  delete a;
  EXPECT_STREQ(b.Agafar(), L"Shared");
  b.Insertar(L"other");
  EXPECT_STREQ(c.Agafar(), L"Shared");
  const TItemString& self = c;
  c = self;  // assigning an item to itself keeps its array
  EXPECT_STREQ(c.Agafar(), L"Shared");
}

TEST(TItemString, ComparisonIsCaseSensitiveCodeUnitOrder) {
  const TItemString upperB(L"B"), lowerA(L"a"), other(L"B"), none;
  EXPECT_LT(upperB.Comparar(&lowerA), 0);
  EXPECT_EQ(upperB == other, 1);
  EXPECT_EQ(upperB == lowerA, 0);
  EXPECT_EQ(upperB.Iguals(&other), 1);
  EXPECT_LT(none.Comparar(&lowerA), 0);  // a null string compares as empty
}

}  // namespace
