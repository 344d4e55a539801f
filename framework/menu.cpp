#include <kwlib63/framework/menu.h>

#include <map>
#include <mutex>

#include <kwlib63/framework/nullsafe.h>

IMPLEMENT_DYNAMIC(CMenu, CObject)

namespace {
std::mutex g_mapLock;  // guards g_menus
std::map<HMENU, CMenu*> g_menus;
}  // namespace

CMenu::~CMenu() { DestroyMenu(); }

BOOL CMenu::CreateMenu() {
  if (m_hMenu != nullptr) return FALSE;
  std::lock_guard lock(g_mapLock);
  m_hMenu = reinterpret_cast<HMENU>(this);
  g_menus[m_hMenu] = this;
  return TRUE;
}

BOOL CMenu::CreatePopupMenu() { return CreateMenu(); }

BOOL CMenu::DestroyMenu() {
  if (m_hMenu == nullptr) return FALSE;
  std::lock_guard lock(g_mapLock);
  g_menus.erase(m_hMenu);
  m_hMenu = nullptr;
  m_items.clear();
  return TRUE;
}

KW_NULL_TOLERANT HMENU CMenu::GetSafeHmenu() const { return kwfw::IsNullObject(this) ? nullptr : m_hMenu; }

CMenu* CMenu::FromHandle(HMENU menu) {
  std::lock_guard lock(g_mapLock);
  const auto found = g_menus.find(menu);
  return found != g_menus.end() ? found->second : nullptr;
}

BOOL CMenu::AppendMenuW(UINT flags, UINT_PTR id, const wchar_t* text) {
  if (m_hMenu == nullptr) return FALSE;
  m_items.push_back({flags, id, text != nullptr ? text : L""});
  return TRUE;
}

const CMenu::Item* CMenu::Find(UINT item, UINT flags) const {
  if ((flags & MF_BYPOSITION) != 0) return item < m_items.size() ? &m_items[item] : nullptr;
  for (const Item& entry : m_items) {
    if ((entry.flags & (MF_POPUP | MF_SEPARATOR)) == 0 && entry.id == item) return &entry;
  }
  // A command may sit in a submenu.
  for (const Item& entry : m_items) {
    if ((entry.flags & MF_POPUP) == 0) continue;
    if (const CMenu* sub = FromHandle(reinterpret_cast<HMENU>(entry.id))) {
      if (const Item* found = sub->Find(item, flags)) return found;
    }
  }
  return nullptr;
}

UINT CMenu::CheckMenuItem(UINT item, UINT check) {
  Item* entry = Find(item, check);
  if (entry == nullptr) return static_cast<UINT>(-1);
  const UINT previous = entry->flags & MF_CHECKED;
  entry->flags = (entry->flags & ~MF_CHECKED) | (check & MF_CHECKED);
  return previous;
}

UINT CMenu::EnableMenuItem(UINT item, UINT enable) {
  Item* entry = Find(item, enable);
  if (entry == nullptr) return static_cast<UINT>(-1);
  const UINT previous = entry->flags & (MF_GRAYED | MF_DISABLED);
  entry->flags = (entry->flags & ~(MF_GRAYED | MF_DISABLED)) | (enable & (MF_GRAYED | MF_DISABLED));
  return previous;
}

UINT CMenu::GetMenuState(UINT item, UINT flags) const {
  const Item* entry = Find(item, flags);
  return entry != nullptr ? entry->flags : static_cast<UINT>(-1);
}

int CMenu::GetMenuStringW(UINT item, CString& text, UINT flags) const {
  const Item* entry = Find(item, flags);
  text = entry != nullptr ? entry->text : CString();
  return text.GetLength();
}

int CMenu::GetMenuItemCount() const { return m_hMenu != nullptr ? static_cast<int>(m_items.size()) : -1; }

UINT CMenu::GetMenuItemID(int position) const {
  if (position < 0 || position >= static_cast<int>(m_items.size())) return static_cast<UINT>(-1);
  const Item& entry = m_items[position];
  if ((entry.flags & MF_POPUP) != 0) return static_cast<UINT>(-1);
  return (entry.flags & MF_SEPARATOR) != 0 ? 0 : static_cast<UINT>(entry.id);
}
