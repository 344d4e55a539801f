// CDrawItemHelper: an owner-draw request unpacked, with its colours chosen from
// the system colours by the item's state, and the background, text and focus
// frame painted through CDC guards.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/dc.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/menu.h>
#include <kwlib63/framework/wnd.h>

class KW_API CDrawItemHelper {
 public:
  // A null request draws nothing and reads no control.
  explicit CDrawItemHelper(const DRAWITEMSTRUCT* request);

  // The item's text, read from its control by the control's kind.
  CString GetTextItem() const;
  // Fills `rect` (the item's when null) with the background colour.
  void PintarFons(const RECT* rect = nullptr);
  // Draws `text` in the text colour, transparently, with the stock font and the
  // DT_ flags, in `rect` or in the item's rectangle less one unit on each side.
  void PintarText(const wchar_t* text, const RECT* rect, UINT format, UINT stockFont);
  // The focus frame (an inversion: twice removes it); with `bOnlyIfFocus`, only
  // when the item has the focus or the request is about the focus.
  void PintarFocus(int bOnlyIfFocus, const RECT* rect = nullptr);

  int IsSel() const { return (m_nItemState & ODS_SELECTED) != 0 ? 1 : 0; }
  int IsGrayed() const { return (m_nItemState & ODS_GRAYED) != 0 ? 1 : 0; }
  int IsDisabled() const { return (m_nItemState & ODS_DISABLED) != 0 ? 1 : 0; }
  int IsFocus() const { return (m_nItemState & ODS_FOCUS) != 0 ? 1 : 0; }

  CDC* m_pDC;
  RECT m_rcItem;
  UINT m_nItemID;
  ULONG_PTR m_dwItemData;
  UINT m_nCtlType;
  UINT m_nCtlID;
  CWnd* m_pWnd;
  CMenu* m_pMenu;
  UINT m_nItemAction;
  UINT m_nItemState;
  COLORREF m_crText;
  COLORREF m_crFons;

 private:
  explicit CDrawItemHelper(const DRAWITEMSTRUCT& request);
};
