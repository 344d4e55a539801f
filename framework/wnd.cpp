#include <kwlib63/framework/wnd.h>

#include <map>
#include <mutex>

#include <kwlib63/framework/nullsafe.h>

IMPLEMENT_DYNAMIC(CWnd, CObject)
IMPLEMENT_DYNAMIC(CFrameWnd, CWnd)

namespace {
std::mutex g_mapLock;            // guards g_permanentMap
std::map<HWND, CWnd*> g_permanentMap;
}  // namespace

CWnd::~CWnd() {
  if (m_parent != nullptr) std::erase(m_parent->m_controls, this);
  for (CWnd* control : m_controls) control->m_parent = nullptr;
  Detach();
}

BOOL CWnd::CreateControl(CWnd* parent, int id) {
  if (m_parent != nullptr || m_id != 0) return FALSE;
  if (m_hWnd == nullptr && !Attach(reinterpret_cast<HWND>(this))) return FALSE;
  m_id = id;
  m_parent = parent;
  if (parent != nullptr) parent->m_controls.push_back(this);
  return TRUE;
}

CWnd* CWnd::GetDlgItem(int id) const {
  for (CWnd* control : m_controls) {
    if (control->m_id == id) return control;
  }
  return nullptr;
}

void CWnd::SetWindowTextW(const wchar_t* text) { m_text = text != nullptr ? text : L""; }

void CWnd::GetWindowTextW(CString& text) const { text = m_text; }

LRESULT CWnd::SendMessage(UINT, WPARAM, LPARAM) { return 0; }

KW_NULL_TOLERANT HWND CWnd::GetSafeHwnd() const { return kwfw::IsNullObject(this) ? nullptr : m_hWnd; }

BOOL CWnd::Attach(HWND hwnd) {
  if (hwnd == nullptr || m_hWnd != nullptr) return FALSE;
  std::lock_guard lock(g_mapLock);
  if (!g_permanentMap.emplace(hwnd, this).second) return FALSE;
  m_hWnd = hwnd;
  return TRUE;
}

HWND CWnd::Detach() {
  const HWND hwnd = m_hWnd;
  if (hwnd != nullptr) {
    std::lock_guard lock(g_mapLock);
    g_permanentMap.erase(hwnd);
    m_hWnd = nullptr;
  }
  return hwnd;
}

CWnd* CWnd::FromHandle(HWND hwnd) {
  std::lock_guard lock(g_mapLock);
  const auto it = g_permanentMap.find(hwnd);
  return it != g_permanentMap.end() ? it->second : nullptr;
}

BOOL CWnd::GetWindowPlacement(WINDOWPLACEMENT* placement) const {
  if (placement == nullptr || placement->length != sizeof(WINDOWPLACEMENT)) return FALSE;
  *placement = m_placement;
  return TRUE;
}

BOOL CWnd::SetWindowPlacement(const WINDOWPLACEMENT* placement) {
  if (placement == nullptr || placement->length != sizeof(WINDOWPLACEMENT)) return FALSE;
  m_placement = *placement;
  return TRUE;
}

BOOL CWnd::IsZoomed() const { return m_placement.showCmd == SW_SHOWMAXIMIZED; }

BOOL CWnd::IsIconic() const {
  const UINT show = m_placement.showCmd;
  return show == SW_SHOWMINIMIZED || show == SW_MINIMIZE || show == SW_SHOWMINNOACTIVE;
}
