#include <kwlib63/framework/gdiobject.h>

#include <array>
#include <cwchar>

#include <kwlib63/framework/nullsafe.h>

#include "gdidata.h"

IMPLEMENT_DYNAMIC(CGdiObject, CObject)
IMPLEMENT_DYNAMIC(CPen, CGdiObject)
IMPLEMENT_DYNAMIC(CBrush, CGdiObject)
IMPLEMENT_DYNAMIC(CFont, CGdiObject)

using kwfw::GdiData;
using kwfw::GdiKind;

namespace {

GdiData* Data(HGDIOBJ handle) { return reinterpret_cast<GdiData*>(handle); }

LOGFONTW Font(LONG height, LONG weight, const wchar_t* face) {
  LOGFONTW font{};
  font.lfHeight = height;
  font.lfWeight = weight;
  std::wcsncpy(font.lfFaceName, face, LF_FACESIZE - 1);
  return font;
}

GdiData Stock(int id) {
  GdiData data{};
  data.stock = true;
  const auto brush = [&data](COLORREF color, UINT style = BS_SOLID) {
    data.kind = GdiKind::kBrush;
    data.brush = {style, color, 0};
  };
  const auto pen = [&data](COLORREF color, UINT style = PS_SOLID) {
    data.kind = GdiKind::kPen;
    data.pen = {style, {1, 0}, color};
  };
  const auto font = [&data](LONG height, LONG weight, const wchar_t* face) {
    data.kind = GdiKind::kFont;
    data.font = Font(height, weight, face);
  };
  switch (id) {
    case WHITE_BRUSH: brush(RGB(255, 255, 255)); break;
    case LTGRAY_BRUSH: brush(RGB(192, 192, 192)); break;
    case GRAY_BRUSH: brush(RGB(128, 128, 128)); break;
    case DKGRAY_BRUSH: brush(RGB(64, 64, 64)); break;
    case BLACK_BRUSH: brush(RGB(0, 0, 0)); break;
    case NULL_BRUSH: brush(0, BS_NULL); break;
    case WHITE_PEN: pen(RGB(255, 255, 255)); break;
    case BLACK_PEN: pen(RGB(0, 0, 0)); break;
    case NULL_PEN: pen(0, PS_NULL); break;
    case OEM_FIXED_FONT:
    case ANSI_FIXED_FONT:
    case SYSTEM_FIXED_FONT: font(-13, FW_NORMAL, L"Courier New"); break;
    case ANSI_VAR_FONT: font(-11, FW_NORMAL, L"MS Sans Serif"); break;
    case SYSTEM_FONT: font(-13, FW_BOLD, L"System"); break;
    case DEVICE_DEFAULT_FONT: font(-13, FW_NORMAL, L"System"); break;
    case DEFAULT_GUI_FONT: font(-11, FW_NORMAL, L"MS Shell Dlg"); break;
    default: data.stock = false; break;
  }
  return data;
}

// The stock objects, made once and never freed. Each is an object of its own kind,
// since CDC::SelectObject(CPen*) and its like hand a displaced stock object back as one.
struct StockObjects {
  std::array<GdiData, 18> data;
  CPen pens[18];
  CBrush brushes[18];
  CFont fonts[18];
  std::array<CGdiObject*, 18> objects{};
  StockObjects() {
    for (int id = 0; id < 18; ++id) {
      data[id] = Stock(id);
      if (!data[id].stock) continue;
      switch (data[id].kind) {
        case GdiKind::kPen: objects[id] = &pens[id]; break;
        case GdiKind::kBrush: objects[id] = &brushes[id]; break;
        case GdiKind::kFont: objects[id] = &fonts[id]; break;
      }
      objects[id]->m_hObject = kwfw::HandleOf(&data[id]);
    }
  }
};

}  // namespace

CGdiObject::~CGdiObject() { DeleteObject(); }

KW_NULL_TOLERANT HGDIOBJ CGdiObject::GetSafeHandle() const { return kwfw::IsNullObject(this) ? nullptr : m_hObject; }

BOOL CGdiObject::DeleteObject() {
  if (m_hObject == nullptr || Data(m_hObject)->stock) return FALSE;
  delete Data(m_hObject);
  m_hObject = nullptr;
  return TRUE;
}

CGdiObject* CGdiObject::FromStock(int stockId) {
  static StockObjects* stock = new StockObjects;  // lives as long as the process
  if (stockId < 0 || stockId >= 18 || !stock->data[stockId].stock) return nullptr;
  return stock->objects[stockId];
}

BOOL CGdiObject::Create(HGDIOBJ made) {
  if (m_hObject != nullptr) {
    delete Data(made);
    return FALSE;
  }
  m_hObject = made;
  return TRUE;
}

BOOL CPen::CreatePen(int style, int width, COLORREF color) {
  return Create(kwfw::HandleOf(new GdiData{GdiKind::kPen, false, {static_cast<UINT>(style), {width, 0}, color}, {}, {}}));
}

BOOL CPen::GetLogPen(LOGPEN* pen) const {
  if (pen == nullptr || m_hObject == nullptr || kwfw::GdiDataOf(m_hObject)->kind != GdiKind::kPen) return FALSE;
  *pen = kwfw::GdiDataOf(m_hObject)->pen;
  return TRUE;
}

BOOL CBrush::CreateSolidBrush(COLORREF color) {
  return Create(kwfw::HandleOf(new GdiData{GdiKind::kBrush, false, {}, {BS_SOLID, color, 0}, {}}));
}

BOOL CBrush::GetLogBrush(LOGBRUSH* brush) const {
  if (brush == nullptr || m_hObject == nullptr || kwfw::GdiDataOf(m_hObject)->kind != GdiKind::kBrush) return FALSE;
  *brush = kwfw::GdiDataOf(m_hObject)->brush;
  return TRUE;
}

BOOL CFont::CreateFontIndirectW(const LOGFONTW* font) {
  if (font == nullptr) return FALSE;
  GdiData* data = new GdiData{GdiKind::kFont, false, {}, {}, *font};
  data->font.lfFaceName[LF_FACESIZE - 1] = L'\0';
  return Create(kwfw::HandleOf(data));
}

BOOL CFont::CreatePointFont(int tenthsOfPoint, const wchar_t* face) {
  // Points to pixels at 96 per inch, as a character height.
  const LOGFONTW font = Font(-(tenthsOfPoint * 96 + 360) / 720, FW_NORMAL, face != nullptr ? face : L"");
  return CreateFontIndirectW(&font);
}

BOOL CFont::GetLogFont(LOGFONTW* font) const {
  if (font == nullptr || m_hObject == nullptr || kwfw::GdiDataOf(m_hObject)->kind != GdiKind::kFont) return FALSE;
  *font = kwfw::GdiDataOf(m_hObject)->font;
  return TRUE;
}
