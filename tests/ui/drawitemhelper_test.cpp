// The drawing guards and the owner-draw helper, drawing into a Cairo image surface
// whose pixels are then read.
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/controls.h>
#include <kwlib63/framework/menu.h>
#include <kwlib63/platform/syscolor.h>
#include <kwlib63/ui/dcattribselector.h>
#include <kwlib63/ui/drawitemhelper.h>

#include "support/canvas.h"
#include "support/recorders.h"

namespace {

using kwtest::Canvas;

DRAWITEMSTRUCT Request(UINT type, CWnd* control, CDC& dc, UINT item, UINT state, RECT rect = {0, 0, 160, 30}) {
  return {type, 1, item, ODA_DRAWENTIRE, state, control->GetSafeHwnd(), dc.GetSafeHdc(), rect, 0};
}

TEST(DrawItemHelper, AGrayedSelectedItemIsGreyTextOnTheHighlight) {
  Canvas canvas(160, 30);
  CListBox list;
  list.CreateControl(nullptr, 1);
  list.AddString(L"Llibre de registres");
  const DRAWITEMSTRUCT request = Request(ODT_LISTBOX, &list, canvas.dc, 0, ODS_SELECTED | ODS_GRAYED);
  CDrawItemHelper helper(&request);
  EXPECT_EQ(helper.IsSel(), 1);
  EXPECT_EQ(helper.IsGrayed(), 1);
  EXPECT_EQ(helper.IsFocus(), 0);
  helper.PintarFons();
  helper.PintarText(helper.GetTextItem(), nullptr, DT_SINGLELINE | DT_VCENTER, DEFAULT_GUI_FONT);

  const COLORREF highlight = kwplat::GetSysColor(COLOR_HIGHLIGHT), grey = kwplat::GetSysColor(COLOR_GRAYTEXT);
  EXPECT_EQ(canvas.Pixel(0, 0), highlight);
  EXPECT_EQ(canvas.Pixel(159, 29), highlight);
  EXPECT_GT(canvas.Count(grey), 40);
  EXPECT_EQ(canvas.Count(grey) + canvas.Count(highlight), 160 * 30);  // nothing else
  // Every attribute the helper changed is back.
  EXPECT_EQ(canvas.dc.GetTextColor(), RGB(0, 0, 0));
  EXPECT_EQ(canvas.dc.GetBkColor(), RGB(255, 255, 255));
  EXPECT_EQ(canvas.dc.GetBkMode(), OPAQUE);

  // A plain item: window text on the window colour.
  const DRAWITEMSTRUCT plain = Request(ODT_LISTBOX, &list, canvas.dc, 0, 0);
  CDrawItemHelper normal(&plain);
  EXPECT_EQ(normal.m_crFons, kwplat::GetSysColor(COLOR_WINDOW));
  EXPECT_EQ(normal.m_crText, kwplat::GetSysColor(COLOR_WINDOWTEXT));
}

TEST(DrawItemHelper, TextOfEachKindOfControl) {
  Canvas canvas(10, 10);
  CComboBox combo;
  combo.CreateControl(nullptr, 2);
  combo.AddString(L"primer");
  combo.AddString(L"segon");
  combo.SetWindowTextW(L"escrit");
  CTabCtrl tabs;
  tabs.CreateControl(nullptr, 3);
  tabs.InsertItem(0, L"General");
  tabs.InsertItem(1, std::wstring(200, L'x').c_str());
  CListCtrl view;
  view.CreateControl(nullptr, 4);
  view.InsertItem(0, L"fila");
  view.SetItemText(0, 1, L"segona columna");
  CButton button;
  button.CreateControl(nullptr, 5);
  button.SetWindowTextW(L"D'acord");
  CMenu menu;
  menu.CreatePopupMenu();
  menu.AppendMenuW(MF_STRING, 11312, L"Pouces");

  const auto text = [&canvas](UINT type, HWND handle, UINT item) {
    DRAWITEMSTRUCT request{type, 1, item, ODA_DRAWENTIRE, 0, handle, canvas.dc.GetSafeHdc(), {0, 0, 10, 10}, 0};
    return CDrawItemHelper(&request).GetTextItem();
  };
  EXPECT_EQ(text(ODT_COMBOBOX, combo.GetSafeHwnd(), static_cast<UINT>(-1)), L"escrit");
  EXPECT_EQ(text(ODT_COMBOBOX, combo.GetSafeHwnd(), 1), L"segon");
  EXPECT_EQ(text(ODT_TAB, tabs.GetSafeHwnd(), 0), L"General");
  EXPECT_EQ(text(ODT_TAB, tabs.GetSafeHwnd(), 1).GetLength(), 127);  // the 128-character buffer
  EXPECT_EQ(text(ODT_LISTVIEW, view.GetSafeHwnd(), 0), L"fila");
  EXPECT_EQ(text(ODT_BUTTON, button.GetSafeHwnd(), 0), L"D'acord");
  EXPECT_EQ(text(ODT_MENU, reinterpret_cast<HWND>(menu.GetSafeHmenu()), 11312), L"Pouces");
  EXPECT_EQ(text(ODT_LISTBOX, combo.GetSafeHwnd(), 0), L"");  // not a list box
  EXPECT_EQ(text(99, button.GetSafeHwnd(), 0), L"");
  CDrawItemHelper none(nullptr);
  EXPECT_EQ(none.GetTextItem(), L"");
  none.PintarFons();  // nothing to draw on
  none.PintarFocus(0);
}

TEST(DCGuards, NestedGuardsRestoreTheOuterValueFirst) {
  Canvas canvas(4, 4);
  CDC& dc = canvas.dc;
  {
    CDCSetTextColor outer(&dc, RGB(255, 0, 0));
    {
      CDCSetTextColor inner(&dc, RGB(0, 0, 255));
      EXPECT_EQ(dc.GetTextColor(), RGB(0, 0, 255));
    }
    EXPECT_EQ(dc.GetTextColor(), RGB(255, 0, 0));
  }
  EXPECT_EQ(dc.GetTextColor(), RGB(0, 0, 0));
  {
    CDCSetBkMode mode(&dc, TRANSPARENT);
    CDCSetTextAlign align(&dc, TA_CENTER);
    CDCSetPolyFillMode fill(&dc, WINDING);
    EXPECT_EQ(dc.GetBkMode(), TRANSPARENT);
    EXPECT_EQ(dc.GetTextAlign(), TA_CENTER);
    EXPECT_EQ(dc.GetPolyFillMode(), WINDING);
  }
  EXPECT_EQ(dc.GetBkMode(), OPAQUE);
  EXPECT_EQ(dc.GetTextAlign(), TA_LEFT);
  EXPECT_EQ(dc.GetPolyFillMode(), ALTERNATE);
}

TEST(DCGuards, SelectingObjects) {
  Canvas canvas(20, 20);
  CDC& dc = canvas.dc;
  CGdiObject* before = dc.SelectStockObject(BLACK_PEN);
  {
    CDCSelectObject nothing(&dc, nullptr, 1);
    EXPECT_EQ(nothing.m_pOldObject, nullptr);
  }
  EXPECT_EQ(dc.SelectStockObject(BLACK_PEN), before);  // still the one selected before
  auto* pen = new CPen(PS_SOLID, 1, RGB(255, 0, 0));
  {
    CDCSelectObject red(&dc, pen, 1);
    dc.MoveTo(0, 5);
    dc.LineTo(20, 5);
  }
  EXPECT_EQ(canvas.Pixel(10, 5), RGB(255, 0, 0));
  EXPECT_EQ(pen->m_hObject, nullptr);  // deleted once displaced
  delete pen;
  EXPECT_EQ(dc.SelectStockObject(BLACK_PEN), CGdiObject::FromStock(BLACK_PEN));
  EXPECT_FALSE(CGdiObject::FromStock(BLACK_PEN)->DeleteObject());  // stock objects stay
}

TEST(DCGuards, FocusFramesAndXorLinesUndoThemselves) {
  Canvas canvas(40, 20);
  CDC& dc = canvas.dc;
  CBrush blue(RGB(30, 60, 200));
  const RECT left{0, 0, 20, 20};
  dc.FillRect(&left, &blue);
  const std::vector<COLORREF> original = canvas.Pixels();
  const RECT frame{2, 2, 38, 18};
  dc.DrawFocusRect(&frame);
  EXPECT_NE(canvas.Pixels(), original);
  EXPECT_EQ(canvas.Pixel(2, 2), RGB(225, 195, 55));  // inverted blue
  EXPECT_EQ(canvas.Pixel(3, 2), RGB(30, 60, 200));  // the dot's gap
  dc.DrawFocusRect(&frame);
  EXPECT_EQ(canvas.Pixels(), original);

  CPen white(PS_SOLID, 1, RGB(255, 255, 255));
  CDCSelectObject pen(&dc, &white, 0);
  CDCSetROP2 xorMode(&dc, R2_XORPEN);
  for (int pass = 0; pass < 2; ++pass) {
    dc.MoveTo(0, 10);
    dc.LineTo(40, 10);
  }
  EXPECT_EQ(canvas.Pixels(), original);
}

TEST(DCGuards, FillModesDecideTheInsideOfAStar) {
  const POINT star[] = {{50, 5}, {80, 95}, {5, 35}, {95, 35}, {20, 95}};
  for (int mode : {ALTERNATE, WINDING}) {
    Canvas canvas(100, 100);
    CDCSelectStockObject brush(&canvas.dc, BLACK_BRUSH);
    CDCSetPolyFillMode fill(&canvas.dc, mode);
    canvas.dc.Polygon(star, 5);
    EXPECT_EQ(canvas.Pixel(50, 55), mode == WINDING ? RGB(0, 0, 0) : RGB(255, 255, 255)) << mode;
    EXPECT_EQ(canvas.Pixel(50, 20), RGB(0, 0, 0));  // a point of the star
  }
}

}  // namespace
