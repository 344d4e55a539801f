#include <kwlib63/framework/controls.h>

#include <algorithm>
#include <cwchar>

IMPLEMENT_DYNAMIC(CListBox, CWnd)
IMPLEMENT_DYNAMIC(CComboBox, CWnd)
IMPLEMENT_DYNAMIC(CButton, CWnd)
IMPLEMENT_DYNAMIC(CStatic, CWnd)
IMPLEMENT_DYNAMIC(CTabCtrl, CWnd)
IMPLEMENT_DYNAMIC(CListCtrl, CWnd)

namespace {

bool InRange(int index, std::size_t size) { return index >= 0 && static_cast<std::size_t>(index) < size; }

int TextAt(const std::vector<CString>& items, int index, CString& text) {
  if (!InRange(index, items.size())) return LB_ERR;
  text = items[index];
  return text.GetLength();
}

}  // namespace

int CListBox::AddString(const wchar_t* text) {
  m_items.emplace_back(text != nullptr ? text : L"");
  return GetCount() - 1;
}

int CListBox::GetText(int index, CString& text) const { return TextAt(m_items, index, text); }

int CListBox::SetCurSel(int index) {
  m_selected = InRange(index, m_items.size()) ? index : LB_ERR;
  return m_selected;
}

int CComboBox::AddString(const wchar_t* text) {
  m_items.emplace_back(text != nullptr ? text : L"");
  return GetCount() - 1;
}

int CComboBox::GetLBText(int index, CString& text) const { return TextAt(m_items, index, text); }

int CComboBox::SetCurSel(int index) {
  m_selected = InRange(index, m_items.size()) ? index : CB_ERR;
  SetWindowTextW(m_selected != CB_ERR ? m_items[m_selected].GetString() : L"");
  return m_selected;
}

int CTabCtrl::InsertItem(int index, const wchar_t* text) {
  if (index < 0 || static_cast<std::size_t>(index) > m_tabs.size()) return -1;
  m_tabs.insert(m_tabs.begin() + index, CString(text != nullptr ? text : L""));
  return index;
}

BOOL CTabCtrl::GetItem(int index, TCITEMW* item) const {
  if (item == nullptr || !InRange(index, m_tabs.size())) return FALSE;
  if ((item->mask & TCIF_TEXT) != 0 && item->pszText != nullptr && item->cchTextMax > 0) {
    const CString& text = m_tabs[index];
    const int n = std::min(text.GetLength(), item->cchTextMax - 1);
    std::wmemcpy(item->pszText, text.GetString(), static_cast<std::size_t>(n));
    item->pszText[n] = L'\0';
  }
  return TRUE;
}

LRESULT CTabCtrl::SendMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  if (message != TCM_GETITEMW) return CWnd::SendMessage(message, wParam, lParam);
  return GetItem(static_cast<int>(wParam), reinterpret_cast<TCITEMW*>(lParam));
}

int CListCtrl::InsertItem(int index, const wchar_t* text) {
  if (index < 0 || static_cast<std::size_t>(index) > m_rows.size()) return -1;
  m_rows.insert(m_rows.begin() + index, {CString(text != nullptr ? text : L"")});
  return index;
}

BOOL CListCtrl::SetItemText(int item, int column, const wchar_t* text) {
  if (!InRange(item, m_rows.size()) || column < 0) return FALSE;
  std::vector<CString>& row = m_rows[item];
  if (static_cast<std::size_t>(column) >= row.size()) row.resize(static_cast<std::size_t>(column) + 1);
  row[column] = text != nullptr ? text : L"";
  return TRUE;
}

CString CListCtrl::GetItemText(int item, int column) const {
  if (!InRange(item, m_rows.size()) || !InRange(column, m_rows[item].size())) return CString();
  return m_rows[item][column];
}
