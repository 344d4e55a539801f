// CMenu: a menu as a model a toolkit adapter mirrors: items with ids, labels,
// check marks and submenus, addressed by command id or by position.
#pragma once

#include <vector>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/gdi.h>
#include <kwlib63/framework/object.h>

inline constexpr UINT MF_STRING = 0x0000;
inline constexpr UINT MF_BYCOMMAND = 0x0000;
inline constexpr UINT MF_UNCHECKED = 0x0000;
inline constexpr UINT MF_ENABLED = 0x0000;
inline constexpr UINT MF_GRAYED = 0x0001;
inline constexpr UINT MF_DISABLED = 0x0002;
inline constexpr UINT MF_CHECKED = 0x0008;
inline constexpr UINT MF_POPUP = 0x0010;
inline constexpr UINT MF_BYPOSITION = 0x0400;
inline constexpr UINT MF_SEPARATOR = 0x0800;

class KW_API CMenu : public CObject {
  DECLARE_DYNAMIC(CMenu)
 public:
  CMenu() = default;
  ~CMenu() override;
  CMenu(const CMenu&) = delete;
  CMenu& operator=(const CMenu&) = delete;

  BOOL CreateMenu();
  BOOL CreatePopupMenu();
  BOOL DestroyMenu();
  // The handle, or null; may be called through a null object.
  HMENU GetSafeHmenu() const;
  static CMenu* FromHandle(HMENU menu);

  // With MF_POPUP, `id` is the submenu's HMENU.
  BOOL AppendMenuW(UINT flags, UINT_PTR id = 0, const wchar_t* text = nullptr);
  // The item's previous check state (MF_CHECKED or MF_UNCHECKED), or (UINT)-1
  // when there is no such item.
  UINT CheckMenuItem(UINT item, UINT check);
  UINT EnableMenuItem(UINT item, UINT enable);
  // The item's flags, or (UINT)-1.
  UINT GetMenuState(UINT item, UINT flags) const;
  // The label's length, 0 when there is no such item.
  int GetMenuStringW(UINT item, CString& text, UINT flags) const;
  int GetMenuItemCount() const;
  // The command id at `position` (0 for a separator, (UINT)-1 for a submenu or
  // none).
  UINT GetMenuItemID(int position) const;

  HMENU m_hMenu = nullptr;

 private:
  struct Item {
    UINT flags;
    UINT_PTR id;
    CString text;
  };
  const Item* Find(UINT item, UINT flags) const;
  Item* Find(UINT item, UINT flags) { return const_cast<Item*>(static_cast<const CMenu*>(this)->Find(item, flags)); }

  std::vector<Item> m_items;
};
