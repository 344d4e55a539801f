#include <kwlib63/platform/syscolor.h>

#include <array>
#include <mutex>

namespace kwplat {
namespace {

// The classic scheme, by index from COLOR_SCROLLBAR to COLOR_MENUBAR.
constexpr std::array<COLORREF, kSysColorCount> kClassic = {
    RGB(212, 208, 200), RGB(58, 110, 165),  RGB(10, 36, 106),   RGB(128, 128, 128), RGB(212, 208, 200),
    RGB(255, 255, 255), RGB(0, 0, 0),       RGB(0, 0, 0),       RGB(0, 0, 0),       RGB(255, 255, 255),
    RGB(212, 208, 200), RGB(212, 208, 200), RGB(128, 128, 128), RGB(10, 36, 106),   RGB(255, 255, 255),
    RGB(212, 208, 200), RGB(128, 128, 128), RGB(128, 128, 128), RGB(0, 0, 0),       RGB(212, 208, 200),
    RGB(255, 255, 255), RGB(64, 64, 64),    RGB(212, 208, 200), RGB(0, 0, 0),       RGB(255, 255, 225),
    RGB(181, 181, 181), RGB(0, 0, 128),     RGB(166, 202, 240), RGB(192, 192, 192), RGB(10, 36, 106),
    RGB(212, 208, 200),
};

std::mutex g_lock;  // guards g_colors
std::array<COLORREF, kSysColorCount> g_colors = kClassic;

}  // namespace

COLORREF GetSysColor(int index) {
  if (index < 0 || index >= kSysColorCount) return 0;
  std::lock_guard guard(g_lock);
  return g_colors[index];
}

BOOL SetSysColors(int count, const int* indexes, const COLORREF* colors) {
  if (count < 0 || (count > 0 && (indexes == nullptr || colors == nullptr))) return FALSE;
  for (int i = 0; i < count; ++i) {
    if (indexes[i] < 0 || indexes[i] >= kSysColorCount) return FALSE;
  }
  std::lock_guard guard(g_lock);
  for (int i = 0; i < count; ++i) g_colors[indexes[i]] = colors[i];
  return TRUE;
}

void ResetSysColors() {
  std::lock_guard guard(g_lock);
  g_colors = kClassic;
}

}  // namespace kwplat
