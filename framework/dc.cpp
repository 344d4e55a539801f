#include <kwlib63/framework/dc.h>

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cwchar>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <kwlib63/framework/nullsafe.h>
#include <kwlib63/framework/textconv.h>

#include "gdidata.h"

IMPLEMENT_DYNAMIC(CDC, CObject)

using kwfw::GdiData;
using kwfw::GdiKind;

namespace {

std::mutex g_mapLock;  // guards g_contexts
std::map<HDC, CDC*> g_contexts;

HDC HandleOf(cairo_t* cr) { return reinterpret_cast<HDC>(cr); }

void SetColor(cairo_t* cr, COLORREF color) {
  cairo_set_source_rgb(cr, GetRValue(color) / 255.0, GetGValue(color) / 255.0, GetBValue(color) / 255.0);
}

void Fill(cairo_t* cr, const RECT& rect, COLORREF color) {
  cairo_save(cr);
  cairo_rectangle(cr, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
  SetColor(cr, color);
  cairo_fill(cr);
  cairo_restore(cr);
}

// A raster operation as Cairo steps: an operator with the pen's colour, its
// inverse, black or white. Inverting is a difference with white, so the bitwise
// operations are exact where the pen's channels are 0 or 255.
enum class Source { kPen, kNotPen, kBlack, kWhite };
struct Pass {
  cairo_operator_t op;
  Source source;
};

std::vector<Pass> PassesOf(int rop2) {
  constexpr Pass kInvert{CAIRO_OPERATOR_DIFFERENCE, Source::kWhite};
  switch (rop2) {
    case R2_BLACK: return {{CAIRO_OPERATOR_OVER, Source::kBlack}};
    case R2_WHITE: return {{CAIRO_OPERATOR_OVER, Source::kWhite}};
    case R2_NOP: return {};
    case R2_NOT: return {kInvert};
    case R2_NOTCOPYPEN: return {{CAIRO_OPERATOR_OVER, Source::kNotPen}};
    case R2_XORPEN: return {{CAIRO_OPERATOR_DIFFERENCE, Source::kPen}};
    case R2_NOTXORPEN: return {{CAIRO_OPERATOR_DIFFERENCE, Source::kPen}, kInvert};
    case R2_MASKPEN: return {{CAIRO_OPERATOR_MULTIPLY, Source::kPen}};
    case R2_NOTMASKPEN: return {{CAIRO_OPERATOR_MULTIPLY, Source::kPen}, kInvert};
    case R2_MASKNOTPEN: return {{CAIRO_OPERATOR_MULTIPLY, Source::kNotPen}};
    case R2_MASKPENNOT: return {kInvert, {CAIRO_OPERATOR_MULTIPLY, Source::kPen}};
    case R2_MERGEPEN: return {{CAIRO_OPERATOR_LIGHTEN, Source::kPen}};
    case R2_NOTMERGEPEN: return {{CAIRO_OPERATOR_LIGHTEN, Source::kPen}, kInvert};
    case R2_MERGENOTPEN: return {{CAIRO_OPERATOR_LIGHTEN, Source::kNotPen}};
    case R2_MERGEPENNOT: return {kInvert, {CAIRO_OPERATOR_LIGHTEN, Source::kPen}};
    default: return {{CAIRO_OPERATOR_OVER, Source::kPen}};  // R2_COPYPEN
  }
}

// The Pango family for a Windows face name.
const char* FamilyOf(const LOGFONTW& font, std::string& face) {
  face = kwfw::WideToUtf8(font.lfFaceName);
  static constexpr const char* kSans[] = {"", "System", "MS Shell Dlg", "MS Shell Dlg 2", "MS Sans Serif", "Tahoma",
                                          "Segoe UI", "Arial", "Helvetica", "Verdana"};
  static constexpr const char* kMono[] = {"Courier New", "Courier", "Terminal", "Fixedsys", "Consolas", "Lucida Console"};
  if ((font.lfPitchAndFamily & 3) == FIXED_PITCH) return "Monospace";
  for (const char* name : kMono) {
    if (face == name) return "Monospace";
  }
  for (const char* name : kSans) {
    if (face == name) return "Sans";
  }
  if (face == "Times New Roman" || face == "Times") return "Serif";
  return face.c_str();
}

}  // namespace

CDC::~CDC() { Detach(); }

BOOL CDC::Attach(cairo_t* cr) {
  if (cr == nullptr || m_cr != nullptr) return FALSE;
  std::lock_guard lock(g_mapLock);
  if (!g_contexts.emplace(HandleOf(cr), this).second) return FALSE;
  m_cr = cr;
  return TRUE;
}

cairo_t* CDC::Detach() {
  cairo_t* cr = m_cr;
  if (cr != nullptr) {
    std::lock_guard lock(g_mapLock);
    g_contexts.erase(HandleOf(cr));
    m_cr = nullptr;
  }
  return cr;
}

KW_NULL_TOLERANT HDC CDC::GetSafeHdc() const { return kwfw::IsNullObject(this) ? nullptr : HandleOf(m_cr); }

CDC* CDC::FromHandle(HDC hdc) {
  std::lock_guard lock(g_mapLock);
  const auto found = g_contexts.find(hdc);
  return found != g_contexts.end() ? found->second : nullptr;
}

CGdiObject* CDC::SelectObject(CGdiObject* object) {
  if (object == nullptr || object->m_hObject == nullptr) return nullptr;
  CGdiObject** slot = nullptr;
  switch (kwfw::GdiDataOf(object->m_hObject)->kind) {
    case GdiKind::kPen: slot = &m_pen; break;
    case GdiKind::kBrush: slot = &m_brush; break;
    case GdiKind::kFont: slot = &m_font; break;
  }
  CGdiObject* previous = *slot;
  *slot = object;
  return previous;
}

int CDC::SetROP2(int mode) { return std::exchange(m_rop2, mode); }
int CDC::SetPolyFillMode(int mode) { return std::exchange(m_fillMode, mode); }
COLORREF CDC::SetTextColor(COLORREF color) { return std::exchange(m_textColor, color); }
UINT CDC::SetTextAlign(UINT align) { return std::exchange(m_textAlign, align); }
COLORREF CDC::SetBkColor(COLORREF color) { return std::exchange(m_bkColor, color); }
int CDC::SetBkMode(int mode) { return std::exchange(m_bkMode, mode); }

void CDC::PaintPath(bool fill) {
  const GdiData* data = kwfw::GdiDataOf((fill ? m_brush : m_pen)->m_hObject);
  if (fill ? data->brush.lbStyle == BS_NULL : data->pen.lopnStyle == PS_NULL) return;
  const COLORREF color = fill ? data->brush.lbColor : data->pen.lopnColor;
  cairo_save(m_cr);
  cairo_set_antialias(m_cr, CAIRO_ANTIALIAS_NONE);
  cairo_set_fill_rule(m_cr, m_fillMode == WINDING ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
  if (!fill) {
    cairo_set_line_width(m_cr, std::max<LONG>(1, data->pen.lopnWidth.x));
    static constexpr double kDash[] = {6, 2};
    static constexpr double kDot[] = {1, 1};
    if (data->pen.lopnStyle == PS_DASH) cairo_set_dash(m_cr, kDash, 2, 0);
    if (data->pen.lopnStyle == PS_DOT) cairo_set_dash(m_cr, kDot, 2, 0);
  }
  for (const Pass& pass : PassesOf(m_rop2)) {
    switch (pass.source) {
      case Source::kPen: SetColor(m_cr, color); break;
      case Source::kNotPen: SetColor(m_cr, ~color & 0xFFFFFF); break;
      case Source::kBlack: SetColor(m_cr, RGB(0, 0, 0)); break;
      case Source::kWhite: SetColor(m_cr, RGB(255, 255, 255)); break;
    }
    cairo_set_operator(m_cr, pass.op);
    if (fill) {
      cairo_fill_preserve(m_cr);
    } else {
      cairo_stroke_preserve(m_cr);
    }
  }
  cairo_restore(m_cr);
}

POINT CDC::MoveTo(int x, int y) { return std::exchange(m_position, POINT{x, y}); }

BOOL CDC::LineTo(int x, int y) {
  if (m_cr == nullptr) return FALSE;
  // Through the pixels' centres, the last pixel left out.
  cairo_move_to(m_cr, m_position.x + 0.5, m_position.y + 0.5);
  cairo_line_to(m_cr, x + 0.5, y + 0.5);
  PaintPath(false);
  cairo_new_path(m_cr);
  m_position = {x, y};
  return TRUE;
}

BOOL CDC::Rectangle(int left, int top, int right, int bottom) {
  if (m_cr == nullptr || right <= left || bottom <= top) return FALSE;
  cairo_rectangle(m_cr, left, top, right - left, bottom - top);
  PaintPath(true);
  cairo_new_path(m_cr);
  cairo_rectangle(m_cr, left + 0.5, top + 0.5, right - left - 1, bottom - top - 1);
  PaintPath(false);
  cairo_new_path(m_cr);
  return TRUE;
}

BOOL CDC::Polygon(const POINT* points, int count) {
  if (m_cr == nullptr || points == nullptr || count < 2) return FALSE;
  for (const double offset : {0.0, 0.5}) {
    for (int i = 0; i < count; ++i) cairo_line_to(m_cr, points[i].x + offset, points[i].y + offset);
    cairo_close_path(m_cr);
    PaintPath(offset == 0.0);
    cairo_new_path(m_cr);
  }
  return TRUE;
}

void CDC::FillSolidRect(const RECT* rect, COLORREF color) {
  // As the framework does it: the background colour is left at `color`.
  SetBkColor(color);
  ExtTextOutW(0, 0, ETO_OPAQUE, rect, nullptr, 0, nullptr);
}

void CDC::FillRect(const RECT* rect, CBrush* brush) {
  if (m_cr == nullptr || rect == nullptr || brush == nullptr || brush->m_hObject == nullptr) return;
  const LOGBRUSH& data = kwfw::GdiDataOf(brush->m_hObject)->brush;
  if (data.lbStyle != BS_NULL) Fill(m_cr, *rect, data.lbColor);
}

PangoLayout* CDC::MakeLayout(const wchar_t* text, int count, bool prefixes) const {
  PangoLayout* layout = pango_cairo_create_layout(m_cr);
  const LOGFONTW& font = kwfw::GdiDataOf(m_font->m_hObject)->font;
  std::string face;
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family(description, FamilyOf(font, face));
  const LONG height = font.lfHeight < 0 ? -font.lfHeight : font.lfHeight > 0 ? (font.lfHeight * 4 + 2) / 5 : 13;
  pango_font_description_set_absolute_size(description, static_cast<double>(height) * PANGO_SCALE);
  if (font.lfWeight != 0) {
    pango_font_description_set_weight(description, static_cast<PangoWeight>(std::clamp<LONG>(font.lfWeight, 100, 1000)));
  }
  if (font.lfItalic) pango_font_description_set_style(description, PANGO_STYLE_ITALIC);
  pango_layout_set_font_description(layout, description);
  pango_font_description_free(description);
  // Windows draws text without antialiasing unless the font asks for it.
  cairo_font_options_t* options = cairo_font_options_create();
  const bool smooth = font.lfQuality == ANTIALIASED_QUALITY || font.lfQuality == CLEARTYPE_QUALITY;
  cairo_font_options_set_antialias(options, smooth ? CAIRO_ANTIALIAS_GRAY : CAIRO_ANTIALIAS_NONE);
  pango_cairo_context_set_font_options(pango_layout_get_context(layout), options);
  cairo_font_options_destroy(options);
  pango_layout_context_changed(layout);

  PangoAttrList* attributes = pango_attr_list_new();
  std::wstring shown;
  std::vector<std::size_t> underlined;  // indexes into `shown`
  for (int i = 0; i < count; ++i) {
    if (prefixes && text[i] == L'&' && i + 1 < count) {
      ++i;
      if (text[i] != L'&') underlined.push_back(shown.size());
    }
    shown += text[i];
  }
  for (std::size_t at : underlined) {
    PangoAttribute* line = pango_attr_underline_new(PANGO_UNDERLINE_SINGLE);
    line->start_index = static_cast<guint>(kwfw::WideToUtf8(shown.substr(0, at)).size());
    line->end_index = static_cast<guint>(kwfw::WideToUtf8(shown.substr(0, at + 1)).size());
    pango_attr_list_insert(attributes, line);
  }
  if (font.lfUnderline) pango_attr_list_insert(attributes, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
  if (font.lfStrikeOut) pango_attr_list_insert(attributes, pango_attr_strikethrough_new(TRUE));
  const std::string utf8 = kwfw::WideToUtf8(shown);
  pango_layout_set_text(layout, utf8.c_str(), static_cast<int>(utf8.size()));
  pango_layout_set_attributes(layout, attributes);
  pango_attr_list_unref(attributes);
  return layout;
}

BOOL CDC::ExtTextOutW(int x, int y, UINT options, const RECT* rect, const wchar_t* text, UINT count, const int*) {
  if (m_cr == nullptr) return FALSE;
  if ((options & ETO_OPAQUE) != 0 && rect != nullptr) Fill(m_cr, *rect, m_bkColor);
  if (text == nullptr || count == 0) return TRUE;
  PangoLayout* layout = MakeLayout(text, static_cast<int>(count), false);
  int width = 0, height = 0;
  pango_layout_get_pixel_size(layout, &width, &height);
  const int baseline = pango_layout_get_baseline(layout) / PANGO_SCALE;
  int left = x, top = y;
  if ((m_textAlign & TA_CENTER) == TA_CENTER) {
    left = x - width / 2;
  } else if ((m_textAlign & TA_RIGHT) != 0) {
    left = x - width;
  }
  if ((m_textAlign & TA_BASELINE) == TA_BASELINE) {
    top = y - baseline;
  } else if ((m_textAlign & TA_BOTTOM) != 0) {
    top = y - height;
  }
  ShowLayout(layout, left, top, {left, top, left + width, top + height},
             (options & ETO_CLIPPED) != 0 ? rect : nullptr);
  return TRUE;
}

BOOL CDC::TextOutW(int x, int y, const wchar_t* text, int count) {
  return ExtTextOutW(x, y, 0, nullptr, text, count < 0 ? 0u : static_cast<UINT>(count), nullptr);
}

int CDC::DrawTextW(const wchar_t* text, int count, RECT* rect, UINT format) {
  if (m_cr == nullptr || text == nullptr || rect == nullptr) return 0;
  std::wstring shown(text, count < 0 ? std::wcslen(text) : static_cast<std::size_t>(count));
  const bool single = (format & DT_SINGLELINE) != 0;
  if (single) std::replace_if(shown.begin(), shown.end(), [](wchar_t c) { return c == L'\r' || c == L'\n'; }, L' ');
  PangoLayout* layout = MakeLayout(shown.c_str(), static_cast<int>(shown.size()), (format & DT_NOPREFIX) == 0);
  const int boxWidth = rect->right - rect->left, boxHeight = rect->bottom - rect->top;
  const bool wraps = (format & DT_WORDBREAK) != 0 && !single;
  const bool ellipsis = (format & DT_END_ELLIPSIS) != 0;
  const bool bounded = (wraps || ellipsis) && boxWidth > 0;
  if (bounded) {
    pango_layout_set_width(layout, boxWidth * PANGO_SCALE);
    if (wraps) pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    if (ellipsis) pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    if ((format & DT_CENTER) != 0) pango_layout_set_alignment(layout, PANGO_ALIGN_CENTER);
    if ((format & DT_RIGHT) != 0) pango_layout_set_alignment(layout, PANGO_ALIGN_RIGHT);
  }
  PangoRectangle logical{};
  pango_layout_get_pixel_extents(layout, nullptr, &logical);
  if ((format & DT_CALCRECT) != 0) {
    rect->right = rect->left + logical.x + logical.width;
    rect->bottom = rect->top + logical.height;
    g_object_unref(layout);
    return logical.height;
  }
  int left = rect->left, top = rect->top;
  if (!bounded && (format & DT_CENTER) != 0) left += (boxWidth - logical.width) / 2;
  if (!bounded && (format & DT_RIGHT) != 0 && (format & DT_CENTER) == 0) left = rect->right - logical.width;
  if (single && (format & DT_VCENTER) != 0) top += (boxHeight - logical.height) / 2;
  if (single && (format & DT_BOTTOM) != 0) top = rect->bottom - logical.height;
  const RECT box{left + logical.x, top + logical.y, left + logical.x + logical.width, top + logical.y + logical.height};
  ShowLayout(layout, left, top, box, (format & DT_NOCLIP) == 0 ? rect : nullptr);
  return logical.height;
}

void CDC::ShowLayout(PangoLayout* layout, int left, int top, const RECT& box, const RECT* clip) {
  cairo_save(m_cr);
  if (clip != nullptr) {
    cairo_rectangle(m_cr, clip->left, clip->top, clip->right - clip->left, clip->bottom - clip->top);
    cairo_clip(m_cr);
  }
  if (m_bkMode == OPAQUE) Fill(m_cr, box, m_bkColor);
  SetColor(m_cr, m_textColor);
  cairo_move_to(m_cr, left, top);
  pango_cairo_show_layout(m_cr, layout);
  cairo_restore(m_cr);
  g_object_unref(layout);
}

void CDC::DrawFocusRect(const RECT* rect) {
  if (m_cr == nullptr || rect == nullptr || rect->right <= rect->left || rect->bottom <= rect->top) return;
  // Every other pixel of the frame, each once, inverted.
  const LONG l = rect->left, t = rect->top, r = rect->right - 1, b = rect->bottom - 1;
  const auto dot = [this](LONG x, LONG y) {
    if (((x + y) & 1) == 0) cairo_rectangle(m_cr, x, y, 1, 1);
  };
  for (LONG x = l; x <= r; ++x) {
    dot(x, t);
    if (b != t) dot(x, b);
  }
  for (LONG y = t + 1; y < b; ++y) {
    dot(l, y);
    if (r != l) dot(r, y);
  }
  cairo_save(m_cr);
  cairo_set_antialias(m_cr, CAIRO_ANTIALIAS_NONE);
  cairo_set_operator(m_cr, CAIRO_OPERATOR_DIFFERENCE);
  SetColor(m_cr, RGB(255, 255, 255));
  cairo_fill(m_cr);
  cairo_restore(m_cr);
}

SIZE CDC::GetTextExtent(const wchar_t* text, int count) const {
  if (m_cr == nullptr || text == nullptr) return {0, 0};
  PangoLayout* layout = MakeLayout(text, count < 0 ? static_cast<int>(std::wcslen(text)) : count, false);
  int width = 0, height = 0;
  pango_layout_get_pixel_size(layout, &width, &height);
  g_object_unref(layout);
  return {width, height};
}
