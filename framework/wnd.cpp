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

CWnd::~CWnd() { Detach(); }

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
