// What a GDI object handle stands for: the logical pen, brush or font.
#pragma once

#include <kwlib63/framework/gdi.h>

namespace kwfw {

enum class GdiKind { kPen, kBrush, kFont };

struct GdiData {
  GdiKind kind;
  bool stock;
  LOGPEN pen;
  LOGBRUSH brush;
  LOGFONTW font;
};

inline const GdiData* GdiDataOf(HGDIOBJ handle) { return reinterpret_cast<const GdiData*>(handle); }
inline HGDIOBJ HandleOf(GdiData* data) { return reinterpret_cast<HGDIOBJ>(data); }

}  // namespace kwfw
