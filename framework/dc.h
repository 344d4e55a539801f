// CDC: a drawing context on a Cairo context, in pixels, with the Windows drawing
// state: the selected pen, brush and font, the raster operation and fill mode of
// lines and shapes, and the text colour, alignment, background colour and mode of
// text output. Shapes are drawn without antialiasing, as the Windows interface
// draws them; text goes through Pango. docs/platform.md maps raster operations,
// fill modes and fonts.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/gdi.h>
#include <kwlib63/framework/gdiobject.h>
#include <kwlib63/framework/object.h>

typedef struct _cairo cairo_t;
typedef struct _PangoLayout PangoLayout;

class KW_API CDC : public CObject {
  DECLARE_DYNAMIC(CDC)
 public:
  CDC() = default;
  // Draws on `cr`, which must outlive the attachment.
  explicit CDC(cairo_t* cr) { Attach(cr); }
  ~CDC() override;
  CDC(const CDC&) = delete;
  CDC& operator=(const CDC&) = delete;

  // FALSE when the object has a context already or `cr` is null.
  BOOL Attach(cairo_t* cr);
  cairo_t* Detach();
  cairo_t* GetCairo() const { return m_cr; }
  // The handle owner-draw requests carry; may be called through a null object.
  HDC GetSafeHdc() const;
  // The object of a handle, or null.
  static CDC* FromHandle(HDC hdc);

  // Selects `object` in place of the one of its kind and returns that one; a null
  // object (or one without a description) selects nothing and returns null.
  CGdiObject* SelectObject(CGdiObject* object);
  CPen* SelectObject(CPen* pen) { return static_cast<CPen*>(SelectObject(static_cast<CGdiObject*>(pen))); }
  CBrush* SelectObject(CBrush* brush) { return static_cast<CBrush*>(SelectObject(static_cast<CGdiObject*>(brush))); }
  CFont* SelectObject(CFont* font) { return static_cast<CFont*>(SelectObject(static_cast<CGdiObject*>(font))); }
  CGdiObject* SelectStockObject(int stockId) { return SelectObject(CGdiObject::FromStock(stockId)); }

  int SetROP2(int mode);
  int GetROP2() const { return m_rop2; }
  int SetPolyFillMode(int mode);
  int GetPolyFillMode() const { return m_fillMode; }
  COLORREF SetTextColor(COLORREF color);
  COLORREF GetTextColor() const { return m_textColor; }
  UINT SetTextAlign(UINT align);
  UINT GetTextAlign() const { return m_textAlign; }
  COLORREF SetBkColor(COLORREF color);
  COLORREF GetBkColor() const { return m_bkColor; }
  int SetBkMode(int mode);
  int GetBkMode() const { return m_bkMode; }

  POINT MoveTo(int x, int y);
  BOOL LineTo(int x, int y);
  // Filled with the brush, outlined with the pen.
  BOOL Rectangle(int left, int top, int right, int bottom);
  BOOL Polygon(const POINT* points, int count);
  void FillSolidRect(const RECT* rect, COLORREF color);
  void FillRect(const RECT* rect, CBrush* brush);

  // Text at a point placed by the text alignment; the background mode says
  // whether its box is filled with the background colour first.
  BOOL TextOutW(int x, int y, const wchar_t* text, int count);
  // ETO_OPAQUE fills `rect` with the background colour first; ETO_CLIPPED keeps
  // the text inside it. Character spacings (`dx`) are not honoured.
  BOOL ExtTextOutW(int x, int y, UINT options, const RECT* rect, const wchar_t* text, UINT count, const int* dx);
  // Text in a rectangle with DT_ flags (alignment, DT_VCENTER and DT_BOTTOM for a
  // single line, DT_WORDBREAK, DT_SINGLELINE, DT_NOCLIP, DT_CALCRECT, DT_NOPREFIX,
  // DT_END_ELLIPSIS); the height of the text. `count` -1: up to the terminator.
  int DrawTextW(const wchar_t* text, int count, RECT* rect, UINT format);
  // A dotted frame drawn by inverting pixels: drawing it twice removes it.
  void DrawFocusRect(const RECT* rect);
  SIZE GetTextExtent(const wchar_t* text, int count) const;

 private:
  // A layout of the text in the selected font (the caller unrefs it); with
  // `prefixes`, "&x" underlines x and "&&" is "&".
  PangoLayout* MakeLayout(const wchar_t* text, int count, bool prefixes) const;
  // Shows the layout at (left, top) in the text colour, on the background colour
  // over `box` when the mode is opaque, inside `clip` when not null; unrefs it.
  void ShowLayout(PangoLayout* layout, int left, int top, const RECT& box, const RECT* clip);
  // Paints the current path with the brush (fill) or the pen (stroke) under the
  // raster operation; keeps the path.
  void PaintPath(bool fill);

  cairo_t* m_cr = nullptr;
  CGdiObject* m_pen = CGdiObject::FromStock(BLACK_PEN);
  CGdiObject* m_brush = CGdiObject::FromStock(WHITE_BRUSH);
  CGdiObject* m_font = CGdiObject::FromStock(SYSTEM_FONT);
  int m_rop2 = R2_COPYPEN;
  int m_fillMode = ALTERNATE;
  COLORREF m_textColor = RGB(0, 0, 0);
  UINT m_textAlign = TA_LEFT | TA_TOP;
  COLORREF m_bkColor = RGB(255, 255, 255);
  int m_bkMode = OPAQUE;
  POINT m_position{0, 0};
};
