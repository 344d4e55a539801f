#include <kwlib63/ui/drawitemhelper.h>

#include <cwchar>

#include <kwlib63/framework/controls.h>
#include <kwlib63/platform/syscolor.h>
#include <kwlib63/ui/dcattribselector.h>

namespace {
// What a missing request reads as: nothing to draw on, no control.
const DRAWITEMSTRUCT* OrEmpty(const DRAWITEMSTRUCT* item) {
  static const DRAWITEMSTRUCT kEmpty{};
  return item != nullptr ? item : &kEmpty;
}
}  // namespace

CDrawItemHelper::CDrawItemHelper(const DRAWITEMSTRUCT* request)
    : CDrawItemHelper(*OrEmpty(request)) {}

CDrawItemHelper::CDrawItemHelper(const DRAWITEMSTRUCT& request)
    : m_pDC(CDC::FromHandle(request.hDC)),
      m_rcItem(request.rcItem),
      m_nItemID(request.itemID),
      m_dwItemData(request.itemData),
      m_nCtlType(request.CtlType),
      m_nCtlID(request.CtlID),
      m_pWnd(request.CtlType == ODT_MENU ? nullptr : CWnd::FromHandle(request.hwndItem)),
      m_pMenu(request.CtlType == ODT_MENU ? CMenu::FromHandle(reinterpret_cast<HMENU>(request.hwndItem)) : nullptr),
      m_nItemAction(request.itemAction),
      m_nItemState(request.itemState) {
  m_crFons = kwplat::GetSysColor(IsSel() ? COLOR_HIGHLIGHT : COLOR_WINDOW);
  m_crText = kwplat::GetSysColor(IsGrayed() || IsDisabled() ? COLOR_GRAYTEXT
                                 : IsSel()                  ? COLOR_HIGHLIGHTTEXT
                                                            : COLOR_WINDOWTEXT);
}

CString CDrawItemHelper::GetTextItem() const {
  CString text;
  const int item = static_cast<int>(m_nItemID);
  switch (m_nCtlType) {
    case ODT_MENU:
      if (m_pMenu != nullptr) m_pMenu->GetMenuStringW(m_nItemID, text, MF_BYCOMMAND);
      break;
    case ODT_LISTBOX:
      if (auto* list = dynamic_cast<CListBox*>(m_pWnd)) list->GetText(item, text);
      break;
    case ODT_COMBOBOX:
      if (auto* combo = dynamic_cast<CComboBox*>(m_pWnd)) {
        if (item < 0) {
          combo->GetWindowTextW(text);
        } else {
          combo->GetLBText(item, text);
        }
      }
      break;
    case ODT_BUTTON:
    case ODT_STATIC:
      if (m_pWnd != nullptr) m_pWnd->GetWindowTextW(text);
      break;
    case ODT_TAB:
      if (m_pWnd != nullptr) {
        wchar_t buffer[128] = {};
        TCITEMW tab{};
        tab.mask = TCIF_TEXT;
        tab.pszText = buffer;
        tab.cchTextMax = 128;
        m_pWnd->SendMessage(TCM_GETITEMW, m_nItemID, reinterpret_cast<LPARAM>(&tab));
        text = buffer;
      }
      break;
    case ODT_LISTVIEW:
      if (auto* view = dynamic_cast<CListCtrl*>(m_pWnd)) text = view->GetItemText(item, 0);
      break;
    default:
      break;
  }
  return text;
}

void CDrawItemHelper::PintarFons(const RECT* rect) {
  if (m_pDC == nullptr) return;
  const RECT* area = rect != nullptr ? rect : &m_rcItem;
  CDCSetTextAlign align(m_pDC, TA_LEFT);
  CDCSetTextColor color(m_pDC, m_crText);
  CDCSetBkColor background(m_pDC, m_crFons);
  m_pDC->ExtTextOutW(area->left, area->top, ETO_OPAQUE, area, L"", 0, nullptr);
}

void CDrawItemHelper::PintarText(const wchar_t* text, const RECT* rect, UINT format, UINT stockFont) {
  if (m_pDC == nullptr || text == nullptr) return;
  RECT area = m_rcItem;
  if (rect != nullptr) {
    area = *rect;
  } else {
    ++area.left;
    --area.right;
  }
  CDCSelectStockObject font(m_pDC, static_cast<int>(stockFont));
  CDCSetTextAlign align(m_pDC, TA_LEFT);
  CDCSetTextColor color(m_pDC, m_crText);
  CDCSetBkMode mode(m_pDC, TRANSPARENT);
  m_pDC->DrawTextW(text, static_cast<int>(std::wcslen(text)), &area, format);
}

void CDrawItemHelper::PintarFocus(int bOnlyIfFocus, const RECT* rect) {
  if (m_pDC == nullptr) return;
  if (bOnlyIfFocus && !IsFocus() && (m_nItemAction & ODA_FOCUS) == 0) return;
  m_pDC->DrawFocusRect(rect != nullptr ? rect : &m_rcItem);
}
