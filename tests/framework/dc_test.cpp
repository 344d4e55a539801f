// CDC and the objects it selects.
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/dc.h>

namespace {

// A displaced stock object comes back through the typed SelectObject as what it
// is, so a caller may keep it as a CPen, CBrush or CFont and select it again.
TEST(DC, StockObjectsAreOfTheirOwnKind) {
  const struct {
    int id;
    const CRuntimeClass* kind;
  } cases[] = {{BLACK_PEN, RUNTIME_CLASS(CPen)},       {WHITE_PEN, RUNTIME_CLASS(CPen)},
               {NULL_PEN, RUNTIME_CLASS(CPen)},        {WHITE_BRUSH, RUNTIME_CLASS(CBrush)},
               {BLACK_BRUSH, RUNTIME_CLASS(CBrush)},   {NULL_BRUSH, RUNTIME_CLASS(CBrush)},
               {SYSTEM_FONT, RUNTIME_CLASS(CFont)},    {DEFAULT_GUI_FONT, RUNTIME_CLASS(CFont)}};
  for (const auto& c : cases) {
    const CGdiObject* stock = CGdiObject::FromStock(c.id);
    ASSERT_NE(stock, nullptr) << c.id;
    EXPECT_TRUE(stock->IsKindOf(c.kind)) << c.id << " is a " << stock->GetRuntimeClass()->m_lpszClassName;
  }
  CDC dc;
  CPen pen(PS_SOLID, 1, RGB(1, 2, 3));
  CPen* old = dc.SelectObject(&pen);
  LOGPEN description{};
  ASSERT_TRUE(old->GetLogPen(&description));
  EXPECT_EQ(description.lopnColor, RGB(0, 0, 0));
  EXPECT_EQ(dc.SelectObject(old), &pen);
}

}  // namespace
