// CDC on a Cairo image whose pixels are read back: the state a new context starts
// with, one context per object, selection by kind, the sixteen raster operations
// against their bitwise definitions, and the pixels rectangles and lines cover.
#include <cairo.h>

#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/dc.h>
#include <kwlib63/framework/nullsafe.h>

#include "support/canvas.h"

namespace {

using kwtest::Canvas;

// Through a possibly null object, as owner-draw code calls it.
KW_NULL_TOLERANT HDC HandleOf(const CDC* dc) { return dc->GetSafeHdc(); }

TEST(DC, ANewContextStartsWithTheDocumentedState) {
  CDC dc;
  EXPECT_EQ(dc.GetROP2(), R2_COPYPEN);
  EXPECT_EQ(dc.GetPolyFillMode(), ALTERNATE);
  EXPECT_EQ(dc.GetTextColor(), RGB(0, 0, 0));
  EXPECT_EQ(dc.GetBkColor(), RGB(255, 255, 255));
  EXPECT_EQ(dc.GetBkMode(), OPAQUE);
  EXPECT_EQ(dc.GetTextAlign(), static_cast<UINT>(TA_LEFT | TA_TOP));
  CPen pen(PS_SOLID, 1, RGB(1, 2, 3));
  CBrush brush(RGB(4, 5, 6));
  CFont font;
  ASSERT_TRUE(font.CreatePointFont(100, L"Arial"));
  EXPECT_EQ(dc.SelectObject(&pen), CGdiObject::FromStock(BLACK_PEN));
  EXPECT_EQ(dc.SelectObject(&brush), CGdiObject::FromStock(WHITE_BRUSH));
  EXPECT_EQ(dc.SelectObject(&font), CGdiObject::FromStock(SYSTEM_FONT));
}

TEST(DC, SettersReturnTheValueTheyReplace) {
  CDC dc;
  EXPECT_EQ(dc.SetROP2(R2_XORPEN), R2_COPYPEN);
  EXPECT_EQ(dc.SetROP2(R2_NOP), R2_XORPEN);
  EXPECT_EQ(dc.SetPolyFillMode(WINDING), ALTERNATE);
  EXPECT_EQ(dc.SetTextColor(RGB(9, 8, 7)), RGB(0, 0, 0));
  EXPECT_EQ(dc.SetTextColor(RGB(0, 0, 0)), RGB(9, 8, 7));
  EXPECT_EQ(dc.SetBkColor(RGB(1, 1, 1)), RGB(255, 255, 255));
  EXPECT_EQ(dc.SetBkMode(TRANSPARENT), OPAQUE);
  EXPECT_EQ(dc.SetTextAlign(TA_RIGHT | TA_BASELINE), static_cast<UINT>(TA_LEFT | TA_TOP));
  EXPECT_EQ(dc.GetTextAlign(), static_cast<UINT>(TA_RIGHT | TA_BASELINE));
}

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

// A selection swaps only the object of its own kind; an object that is nothing
// (null, or never created) selects nothing.
TEST(DC, SelectingSwapsOnlyTheObjectOfItsKind) {
  CDC dc;
  CPen red(PS_SOLID, 1, RGB(255, 0, 0)), unmade;
  CBrush blue(RGB(0, 0, 255));
  EXPECT_EQ(dc.SelectObject(&red), CGdiObject::FromStock(BLACK_PEN));
  EXPECT_EQ(dc.SelectObject(&blue), CGdiObject::FromStock(WHITE_BRUSH));
  EXPECT_EQ(dc.SelectObject(static_cast<CGdiObject*>(nullptr)), nullptr);
  EXPECT_EQ(dc.SelectObject(&unmade), nullptr);
  EXPECT_EQ(dc.SelectStockObject(NULL_PEN), &red);
  EXPECT_EQ(dc.SelectStockObject(NULL_BRUSH), &blue);
}

// One context per object and one object per context; the handle leads back to the
// object until it lets the context go, or is destroyed.
TEST(DC, AContextIsAttachedToOneObjectAtATime) {
  Canvas canvas(4, 4), other(4, 4);
  CDC& dc = canvas.dc;
  EXPECT_EQ(CDC::FromHandle(dc.GetSafeHdc()), &dc);
  EXPECT_FALSE(dc.Attach(other.Cairo()));
  EXPECT_FALSE(dc.Attach(nullptr));
  CDC second;
  EXPECT_FALSE(second.Attach(canvas.Cairo()));
  EXPECT_EQ(second.GetCairo(), nullptr);
  {
    CDC reused;
    cairo_t* cr = other.dc.Detach();
    EXPECT_EQ(cr, other.Cairo());
    EXPECT_EQ(CDC::FromHandle(reinterpret_cast<HDC>(cr)), nullptr);
    EXPECT_TRUE(reused.Attach(cr));
    EXPECT_EQ(CDC::FromHandle(reused.GetSafeHdc()), &reused);
  }
  EXPECT_EQ(CDC::FromHandle(reinterpret_cast<HDC>(other.Cairo())), nullptr) << "a destroyed object is still found";
  EXPECT_EQ(HandleOf(nullptr), nullptr);
}

TEST(DC, WithoutAContextNothingIsDrawn) {
  CDC dc;
  const POINT triangle[] = {{0, 0}, {4, 0}, {0, 4}};
  RECT box{0, 0, 10, 10};
  EXPECT_FALSE(dc.LineTo(3, 3));
  EXPECT_FALSE(dc.Rectangle(0, 0, 3, 3));
  EXPECT_FALSE(dc.Polygon(triangle, 3));
  EXPECT_FALSE(dc.TextOutW(0, 0, L"x", 1));
  EXPECT_EQ(dc.DrawTextW(L"x", 1, &box, 0), 0);
  const SIZE extent = dc.GetTextExtent(L"x", 1);
  EXPECT_EQ(extent.cx, 0);
  EXPECT_EQ(extent.cy, 0);
}

// Each raster operation as Windows defines it on the pen's bits P and the screen's
// bits D, for pens whose channels are 0 or 255, drawn with a line and with a brush.
TEST(DC, RasterOperationsAreTheirBitwiseDefinitions) {
  using Op = unsigned (*)(unsigned p, unsigned d);
  const struct {
    int rop;
    Op op;
  } cases[] = {
      {R2_BLACK, [](unsigned, unsigned) { return 0u; }},
      {R2_NOTMERGEPEN, [](unsigned p, unsigned d) { return ~(p | d); }},
      {R2_MASKNOTPEN, [](unsigned p, unsigned d) { return ~p & d; }},
      {R2_NOTCOPYPEN, [](unsigned p, unsigned) { return ~p; }},
      {R2_MASKPENNOT, [](unsigned p, unsigned d) { return p & ~d; }},
      {R2_NOT, [](unsigned, unsigned d) { return ~d; }},
      {R2_XORPEN, [](unsigned p, unsigned d) { return p ^ d; }},
      {R2_NOTMASKPEN, [](unsigned p, unsigned d) { return ~(p & d); }},
      {R2_MASKPEN, [](unsigned p, unsigned d) { return p & d; }},
      {R2_NOTXORPEN, [](unsigned p, unsigned d) { return ~(p ^ d); }},
      {R2_NOP, [](unsigned, unsigned d) { return d; }},
      {R2_MERGENOTPEN, [](unsigned p, unsigned d) { return ~p | d; }},
      {R2_COPYPEN, [](unsigned p, unsigned) { return p; }},
      {R2_MERGEPENNOT, [](unsigned p, unsigned d) { return p | ~d; }},
      {R2_MERGEPEN, [](unsigned p, unsigned d) { return p | d; }},
      {R2_WHITE, [](unsigned, unsigned) { return 0xFFFFFFu; }},
  };
  const COLORREF screen = RGB(0x35, 0xCA, 0x0F);
  const RECT all{0, 0, 8, 8};
  for (const COLORREF pen : {RGB(255, 0, 255), RGB(0, 255, 0)}) {
    for (const auto& c : cases) {
      const COLORREF expected = c.op(pen, screen) & 0xFFFFFF;
      Canvas canvas(8, 8);
      canvas.dc.FillSolidRect(&all, screen);
      CPen line(PS_SOLID, 1, pen);
      CBrush fill(pen);
      canvas.dc.SelectObject(&line);
      canvas.dc.SetROP2(c.rop);
      canvas.dc.MoveTo(0, 1);
      canvas.dc.LineTo(8, 1);
      canvas.dc.SelectStockObject(NULL_PEN);
      canvas.dc.SelectObject(&fill);
      canvas.dc.Rectangle(0, 4, 8, 8);
      EXPECT_EQ(canvas.Pixel(4, 1), expected) << "pen " << std::hex << pen << ", R2 " << std::dec << c.rop;
      EXPECT_EQ(canvas.Pixel(4, 6), expected) << "brush " << std::hex << pen << ", R2 " << std::dec << c.rop;
      EXPECT_EQ(canvas.Pixel(4, 2), screen) << "R2 " << c.rop << " drew off the line";
      canvas.dc.SelectStockObject(BLACK_PEN);
      canvas.dc.SelectStockObject(WHITE_BRUSH);
    }
  }
}

// The outline takes the pen's pixels inside the bounds, the brush the rest; right
// and bottom are outside, and an empty rectangle draws nothing.
TEST(DC, ARectangleCoversItsBoundsLessTheRightAndBottomEdges) {
  Canvas canvas(10, 8);
  CPen red(PS_SOLID, 1, RGB(255, 0, 0));
  CBrush blue(RGB(0, 0, 255));
  canvas.dc.SelectObject(&red);
  canvas.dc.SelectObject(&blue);
  EXPECT_TRUE(canvas.dc.Rectangle(2, 2, 8, 6));
  EXPECT_EQ(canvas.Count(RGB(255, 0, 0)), 2 * 6 + 2 * 2);
  EXPECT_EQ(canvas.Count(RGB(0, 0, 255)), 4 * 2);
  for (const POINT corner : {POINT{2, 2}, POINT{7, 2}, POINT{2, 5}, POINT{7, 5}}) {
    EXPECT_EQ(canvas.Pixel(corner.x, corner.y), RGB(255, 0, 0)) << corner.x << "," << corner.y;
  }
  EXPECT_EQ(canvas.Pixel(3, 3), RGB(0, 0, 255));
  const std::vector<COLORREF> before = canvas.Pixels();
  EXPECT_FALSE(canvas.dc.Rectangle(5, 1, 5, 7));
  EXPECT_FALSE(canvas.dc.Rectangle(1, 5, 9, 4));
  EXPECT_EQ(canvas.Pixels(), before);
  canvas.dc.SelectStockObject(NULL_PEN);
  canvas.dc.SelectStockObject(NULL_BRUSH);
  EXPECT_TRUE(canvas.dc.Rectangle(0, 0, 10, 8));
  EXPECT_EQ(canvas.Pixels(), before) << "a null pen and brush drew";
  canvas.dc.SelectStockObject(BLACK_PEN);
  canvas.dc.SelectStockObject(WHITE_BRUSH);
}

// Through the pixels' centres from the current position, the last pixel left out;
// the line's end becomes the current position.
TEST(DC, ALineLeavesItsLastPixelOut) {
  Canvas canvas(8, 8);
  EXPECT_EQ(canvas.dc.MoveTo(1, 1).x, 0);
  EXPECT_TRUE(canvas.dc.LineTo(6, 1));
  EXPECT_TRUE(canvas.dc.LineTo(6, 5));
  for (int x = 1; x <= 6; ++x) EXPECT_EQ(canvas.Pixel(x, 1), RGB(0, 0, 0)) << x;
  for (int y = 2; y <= 4; ++y) EXPECT_EQ(canvas.Pixel(6, y), RGB(0, 0, 0)) << y;
  EXPECT_EQ(canvas.Pixel(6, 5), RGB(255, 255, 255));
  EXPECT_EQ(canvas.Pixel(0, 1), RGB(255, 255, 255));
  EXPECT_EQ(canvas.Count(RGB(0, 0, 0)), 6 + 3);
  const POINT at = canvas.dc.MoveTo(0, 0);
  EXPECT_EQ(at.x, 6);
  EXPECT_EQ(at.y, 5);
}

}  // namespace
