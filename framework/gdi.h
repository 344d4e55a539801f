// Drawing types and constants as the Windows graphics interface has them: colours,
// logical pens, brushes and fonts, stock objects, raster operations, text
// alignment and the owner-draw request. CDC draws them on Cairo.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

using COLORREF = DWORD;
constexpr COLORREF RGB(BYTE r, BYTE g, BYTE b) {
  return static_cast<COLORREF>(r) | (static_cast<COLORREF>(g) << 8) | (static_cast<COLORREF>(b) << 16);
}
constexpr BYTE GetRValue(COLORREF c) { return static_cast<BYTE>(c & 0xFF); }
constexpr BYTE GetGValue(COLORREF c) { return static_cast<BYTE>((c >> 8) & 0xFF); }
constexpr BYTE GetBValue(COLORREF c) { return static_cast<BYTE>((c >> 16) & 0xFF); }
inline constexpr COLORREF CLR_INVALID = 0xFFFFFFFF;

KW_DECLARE_HANDLE(HGDIOBJ);
KW_DECLARE_HANDLE(HDC);
KW_DECLARE_HANDLE(HMENU);

struct KW_API SIZE {
  LONG cx;
  LONG cy;
};

inline constexpr int LF_FACESIZE = 32;
struct KW_API LOGFONTW {
  LONG lfHeight;  // negative: the character height in pixels; positive: the cell height
  LONG lfWidth;
  LONG lfEscapement;
  LONG lfOrientation;
  LONG lfWeight;
  BYTE lfItalic;
  BYTE lfUnderline;
  BYTE lfStrikeOut;
  BYTE lfCharSet;
  BYTE lfOutPrecision;
  BYTE lfClipPrecision;
  BYTE lfQuality;
  BYTE lfPitchAndFamily;
  wchar_t lfFaceName[LF_FACESIZE];
};
inline constexpr LONG FW_NORMAL = 400;
inline constexpr LONG FW_BOLD = 700;
inline constexpr BYTE DEFAULT_QUALITY = 0;
inline constexpr BYTE NONANTIALIASED_QUALITY = 3;
inline constexpr BYTE ANTIALIASED_QUALITY = 4;
inline constexpr BYTE CLEARTYPE_QUALITY = 5;
inline constexpr BYTE FIXED_PITCH = 1;

struct KW_API LOGPEN {
  UINT lopnStyle;
  POINT lopnWidth;
  COLORREF lopnColor;
};
inline constexpr int PS_SOLID = 0;
inline constexpr int PS_DASH = 1;
inline constexpr int PS_DOT = 2;
inline constexpr int PS_NULL = 5;

struct KW_API LOGBRUSH {
  UINT lbStyle;
  COLORREF lbColor;
  ULONG_PTR lbHatch;
};
inline constexpr UINT BS_SOLID = 0;
inline constexpr UINT BS_NULL = 1;

// Stock objects.
inline constexpr int WHITE_BRUSH = 0;
inline constexpr int LTGRAY_BRUSH = 1;
inline constexpr int GRAY_BRUSH = 2;
inline constexpr int DKGRAY_BRUSH = 3;
inline constexpr int BLACK_BRUSH = 4;
inline constexpr int NULL_BRUSH = 5;
inline constexpr int WHITE_PEN = 6;
inline constexpr int BLACK_PEN = 7;
inline constexpr int NULL_PEN = 8;
inline constexpr int OEM_FIXED_FONT = 10;
inline constexpr int ANSI_FIXED_FONT = 11;
inline constexpr int ANSI_VAR_FONT = 12;
inline constexpr int SYSTEM_FONT = 13;
inline constexpr int DEVICE_DEFAULT_FONT = 14;
inline constexpr int SYSTEM_FIXED_FONT = 16;
inline constexpr int DEFAULT_GUI_FONT = 17;

// Raster operations of lines and fills.
inline constexpr int R2_BLACK = 1;
inline constexpr int R2_NOTMERGEPEN = 2;
inline constexpr int R2_MASKNOTPEN = 3;
inline constexpr int R2_NOTCOPYPEN = 4;
inline constexpr int R2_MASKPENNOT = 5;
inline constexpr int R2_NOT = 6;
inline constexpr int R2_XORPEN = 7;
inline constexpr int R2_NOTMASKPEN = 8;
inline constexpr int R2_MASKPEN = 9;
inline constexpr int R2_NOTXORPEN = 10;
inline constexpr int R2_NOP = 11;
inline constexpr int R2_MERGENOTPEN = 12;
inline constexpr int R2_COPYPEN = 13;
inline constexpr int R2_MERGEPENNOT = 14;
inline constexpr int R2_MERGEPEN = 15;
inline constexpr int R2_WHITE = 16;

inline constexpr int ALTERNATE = 1;
inline constexpr int WINDING = 2;
inline constexpr int TRANSPARENT = 1;
inline constexpr int OPAQUE = 2;

inline constexpr UINT TA_LEFT = 0;
inline constexpr UINT TA_RIGHT = 2;
inline constexpr UINT TA_CENTER = 6;
inline constexpr UINT TA_TOP = 0;
inline constexpr UINT TA_BOTTOM = 8;
inline constexpr UINT TA_BASELINE = 24;

inline constexpr UINT ETO_OPAQUE = 0x0002;
inline constexpr UINT ETO_CLIPPED = 0x0004;

inline constexpr UINT DT_LEFT = 0x0000;
inline constexpr UINT DT_CENTER = 0x0001;
inline constexpr UINT DT_RIGHT = 0x0002;
inline constexpr UINT DT_VCENTER = 0x0004;
inline constexpr UINT DT_BOTTOM = 0x0008;
inline constexpr UINT DT_WORDBREAK = 0x0010;
inline constexpr UINT DT_SINGLELINE = 0x0020;
inline constexpr UINT DT_EXPANDTABS = 0x0040;
inline constexpr UINT DT_NOCLIP = 0x0100;
inline constexpr UINT DT_CALCRECT = 0x0400;
inline constexpr UINT DT_NOPREFIX = 0x0800;
inline constexpr UINT DT_END_ELLIPSIS = 0x8000;

// System colours (GetSysColor).
inline constexpr int COLOR_WINDOW = 5;
inline constexpr int COLOR_WINDOWTEXT = 8;
inline constexpr int COLOR_HIGHLIGHT = 13;
inline constexpr int COLOR_HIGHLIGHTTEXT = 14;
inline constexpr int COLOR_BTNFACE = 15;
inline constexpr int COLOR_GRAYTEXT = 17;

// Owner-draw requests.
inline constexpr UINT ODT_MENU = 1;
inline constexpr UINT ODT_LISTBOX = 2;
inline constexpr UINT ODT_COMBOBOX = 3;
inline constexpr UINT ODT_BUTTON = 4;
inline constexpr UINT ODT_STATIC = 5;
inline constexpr UINT ODT_TAB = 101;
inline constexpr UINT ODT_LISTVIEW = 102;
inline constexpr UINT ODA_DRAWENTIRE = 0x1;
inline constexpr UINT ODA_SELECT = 0x2;
inline constexpr UINT ODA_FOCUS = 0x4;
inline constexpr UINT ODS_SELECTED = 0x1;
inline constexpr UINT ODS_GRAYED = 0x2;
inline constexpr UINT ODS_DISABLED = 0x4;
inline constexpr UINT ODS_CHECKED = 0x8;
inline constexpr UINT ODS_FOCUS = 0x10;

struct KW_API DRAWITEMSTRUCT {
  UINT CtlType;
  UINT CtlID;
  UINT itemID;
  UINT itemAction;
  UINT itemState;
  HWND hwndItem;  // the control, or for a menu its HMENU
  HDC hDC;
  RECT rcItem;
  ULONG_PTR itemData;
};
