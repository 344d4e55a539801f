// The controls owner drawing and data exchange read, as models a toolkit adapter
// mirrors: list box, combo box (its window text is the edit field), button,
// static, tab control and list view. Indexes outside a control give LB_ERR, an
// empty text or FALSE, never a fault.
#pragma once

#include <vector>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wnd.h>

inline constexpr int LB_ERR = -1;
inline constexpr int CB_ERR = -1;

inline constexpr UINT TCIF_TEXT = 0x0001;
inline constexpr UINT TCM_GETITEMW = 4924;

struct KW_API TCITEMW {
  UINT mask;
  DWORD dwState;
  DWORD dwStateMask;
  LPWSTR pszText;
  int cchTextMax;
  int iImage;
  LPARAM lParam;
};

class KW_API CListBox : public CWnd {
  DECLARE_DYNAMIC(CListBox)
 public:
  // The new item's index.
  int AddString(const wchar_t* text);
  int GetCount() const { return static_cast<int>(m_items.size()); }
  // The text's length, or LB_ERR.
  int GetText(int index, CString& text) const;
  int GetCurSel() const { return m_selected; }
  int SetCurSel(int index);

 private:
  std::vector<CString> m_items;
  int m_selected = LB_ERR;
};

class KW_API CComboBox : public CWnd {
  DECLARE_DYNAMIC(CComboBox)
 public:
  int AddString(const wchar_t* text);
  int GetCount() const { return static_cast<int>(m_items.size()); }
  int GetLBText(int index, CString& text) const;
  int GetCurSel() const { return m_selected; }
  // Selects the item and shows its text in the edit field.
  int SetCurSel(int index);

 private:
  std::vector<CString> m_items;
  int m_selected = CB_ERR;
};

class KW_API CButton : public CWnd {
  DECLARE_DYNAMIC(CButton)
};

class KW_API CStatic : public CWnd {
  DECLARE_DYNAMIC(CStatic)
};

class KW_API CTabCtrl : public CWnd {
  DECLARE_DYNAMIC(CTabCtrl)
 public:
  // The new tab's index, or -1.
  int InsertItem(int index, const wchar_t* text);
  int GetItemCount() const { return static_cast<int>(m_tabs.size()); }
  // With TCIF_TEXT, copies at most cchTextMax - 1 characters and a terminator.
  BOOL GetItem(int index, TCITEMW* item) const;
  // Answers TCM_GETITEMW (wParam: the index, lParam: the TCITEMW).
  LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) override;

 private:
  std::vector<CString> m_tabs;
};

class KW_API CListCtrl : public CWnd {
  DECLARE_DYNAMIC(CListCtrl)
 public:
  // The new item's index, its first column `text`; -1 for an index out of range.
  int InsertItem(int index, const wchar_t* text);
  BOOL SetItemText(int item, int column, const wchar_t* text);
  CString GetItemText(int item, int column) const;
  int GetItemCount() const { return static_cast<int>(m_rows.size()); }

 private:
  std::vector<std::vector<CString>> m_rows;
};
