// Pens, brushes and fonts: each object holds its logical description, which a CDC
// reads when it draws with the object selected. Stock objects are permanent and
// cannot be deleted.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/gdi.h>
#include <kwlib63/framework/object.h>

class KW_API CGdiObject : public CObject {
  DECLARE_DYNAMIC(CGdiObject)
 public:
  CGdiObject() = default;
  ~CGdiObject() override;
  CGdiObject(const CGdiObject&) = delete;
  CGdiObject& operator=(const CGdiObject&) = delete;

  // The handle, or null; may be called through a null object.
  HGDIOBJ GetSafeHandle() const;
  // Frees the description; FALSE for none or a stock object.
  BOOL DeleteObject();
  // The permanent object of a stock id (WHITE_BRUSH, BLACK_PEN, DEFAULT_GUI_FONT...),
  // or null for an id that has none.
  static CGdiObject* FromStock(int stockId);

  HGDIOBJ m_hObject = nullptr;

 protected:
  // Takes a new description; FALSE when the object has one already.
  BOOL Create(HGDIOBJ made);
};

class KW_API CPen : public CGdiObject {
  DECLARE_DYNAMIC(CPen)
 public:
  CPen() = default;
  CPen(int style, int width, COLORREF color) { CreatePen(style, width, color); }
  BOOL CreatePen(int style, int width, COLORREF color);
  BOOL GetLogPen(LOGPEN* pen) const;
};

class KW_API CBrush : public CGdiObject {
  DECLARE_DYNAMIC(CBrush)
 public:
  CBrush() = default;
  explicit CBrush(COLORREF color) { CreateSolidBrush(color); }
  BOOL CreateSolidBrush(COLORREF color);
  BOOL GetLogBrush(LOGBRUSH* brush) const;
};

class KW_API CFont : public CGdiObject {
  DECLARE_DYNAMIC(CFont)
 public:
  CFont() = default;
  BOOL CreateFontIndirectW(const LOGFONTW* font);
  // A font of `tenthsOfPoint` (at 96 pixels per inch) of the face `face`.
  BOOL CreatePointFont(int tenthsOfPoint, const wchar_t* face);
  BOOL GetLogFont(LOGFONTW* font) const;
};
