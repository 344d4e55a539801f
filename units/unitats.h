// Lengths in the user's display unit. The library keeps every length in points
// (1/72 inch, "eps"); these functions show, parse, step and pick lengths in the
// unit the user chose, which is kept per user in the registry (".\Settings",
// value "Unitats") and cached for the process. The functions are meant for the
// user-interface thread.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>

class CMenu;
class CDataExchange;

enum TipusUnitats : int {
  UNITATS_ACTIVES = -1,  // the active unit (when parsing: the one in the text, else the caller's)
  UNITATS_REP = -2,      // a number already in points ("rep" or "rp" in a text)
  UNITATS_MM = 0,
  UNITATS_CM = 1,
  UNITATS_POLZADES = 2,
  UNITATS_PEUS = 3,
  UNITATS_METRES = 4,
  UNITATS_PUNTS = 5,
  UNITATS_IARDES = 6,
};

// A spin step's size level, from the finest (0) to the coarsest (7).
enum TipusIncrement : int {
  INCREMENT_0 = 0,
  INCREMENT_1,
  INCREMENT_2,
  INCREMENT_3,
  INCREMENT_4,
  INCREMENT_5,
  INCREMENT_6,
  INCREMENT_7,
};

// The active unit: the cached one, else the stored one, else inch for a user
// whose locale measures in the US system and centimetre otherwise (not stored).
KW_API TipusUnitats AfxGetUnitatsActives();
// Caches and stores `unitats` (nothing is written when it is the cached value);
// returns the value cached before (-1 when none was read yet).
KW_API TipusUnitats AfxSetUnitatsActives(TipusUnitats unitats);

// The unit's name and abbreviation in the current language; -1 is the active
// unit (an invalid one counting as millimetres). Empty for any other value.
KW_API CString unitNom(TipusUnitats unitats);
KW_API CString unitNomAbr(TipusUnitats unitats);

// The unit written in `text` (plain substring tests, in a fixed order: any "m"
// left after "mm" and "cm" means metres), -2 for "rep" or "rp", -1 for none.
KW_API TipusUnitats miraUnitats(const wchar_t* text);
// Points for a user text: "W N/D", "N/D" or a decimal number (read in single
// precision), in the unit written in the text, else `unitats`, else the active
// unit. A text that does not start with a number is 0.
KW_API double unit2eps(const wchar_t* text, TipusUnitats unitats);
// Points converted to the unit (-1: the active one), with the unit's decimal
// count in `decimals`; a value too large to show, or a unit outside 0..6,
// comes back unchanged and leaves `decimals` alone.
KW_API double eps2unit(double eps, int& decimals, TipusUnitats unitats);
// Points as text in the unit, with the unit's decimals plus `extraDecimals`, and
// the abbreviation after a blank when `bAfegirUnitat`. "#1.INF" or "-#1.INF" for
// a value too large to show.
KW_API CString eps2unit(double eps, TipusUnitats unitats, int bAfegirUnitat, int extraDecimals);
// Points as a whole number and a fraction of `denominador` (reduced), as
// "W N/D", "N/D" or "W". A fraction that rounds up to a whole one shows as 1/1.
KW_API CString eps2fraccio(double eps, int denominador, TipusUnitats unitats, int bAfegirUnitat);
// The whole part and the reduced fraction of `valor`, unconverted; the sign goes
// on the whole part, or on the numerator when the whole part is 0. With
// `denominador` at most 1 the numerator is 0 and `denomOut` is not touched.
KW_API void unitCalcularFraccio(double valor, int denominador, int& enter, int& numerador, int& denomOut);
// 1 for the units shown with fractions (inch, foot, yard).
KW_API int unitUsarFraccions(TipusUnitats unitats);
// `valor` one spin step up or down; the step depends on the unit and on the level
// `increment - nivellBase` (clamped to 0..7). A unit outside 0..6 does not step.
KW_API double spinUnit(double valor, int bUp, TipusUnitats unitats, TipusIncrement increment, int nivellBase);

// Appends the seven units to `menu` (a new popup menu, the caller's to delete,
// when null): Millimètres, Centimètres, Mètres, Pouces, Pieds, &Yards, Points,
// with commands 11310 + the unit; with `bCheckActive`, the active unit checked.
KW_API CMenu* unitsMenu(CMenu* menu, int bCheckActive);
// Exchanges a length in points with the edit control `controlId`: saving reads
// its text in the unit written in it, else the active one; loading shows the
// value in the active unit with its abbreviation. Nothing is ever refused.
KW_API void DDX_Unitats(CDataExchange* pDX, int controlId, double& value);

