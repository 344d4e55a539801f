// kwlib units: a length as a user would type it, in points and in another unit;
// and the active unit of the user.
#include <charconv>
#include <cwchar>
#include <iostream>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/units/unitats.h>

#include "command.h"

namespace {

using kwfw::Utf8ToWide;
using kwfw::WideToUtf8;

// A unit named by its abbreviation (mm, cm, in, ft, m, pt, yd), read the way a
// user's text is.
TipusUnitats ParseUnit(const std::string& text) {
  const TipusUnitats unit = miraUnitats(Utf8ToWide(text).c_str());
  if (unit < UNITATS_MM || unit > UNITATS_IARDES) {
    throw kwlib::UsageError("'" + text + "' is not a unit (mm, cm, m, in, ft, yd or pt)");
  }
  return unit;
}

// A length as the library reads it; a text it would read as nothing (0) is
// refused rather than converted as 0.
std::wstring ParseLength(const std::string& text) {
  std::wstring wide = Utf8ToWide(text);
  float number = 0;
  if (std::swscanf(wide.c_str(), L" %f", &number) != 1) {
    throw kwlib::UsageError("'" + text + "' is not a length: give a number, a fraction or both (12, 3/4, 1 1/2), with a unit or without");
  }
  return wide;
}

std::string Describe(TipusUnitats unit) {
  return WideToUtf8(unitNomAbr(unit).GetString()) + " (" + WideToUtf8(unitNom(unit).GetString()) + ")";
}

std::string Shortest(double value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream&) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--active"});
  const std::vector<std::string>& words = arguments.words;
  if (arguments.Has("--active")) {
    if (words.size() > 1) throw kwlib::UsageError("give at most one unit to make active");
    if (words.size() == 1) AfxSetUnitatsActives(ParseUnit(words[0]));
    const TipusUnitats active = AfxGetUnitatsActives();
    if (active < UNITATS_MM || active > UNITATS_IARDES) {
      out << "none (the locale gives no measurement system)\n";
    } else {
      out << Describe(active) << "\n";
    }
    return kwlib::kExitOk;
  }
  if (words.empty() || words.size() > 2) throw kwlib::UsageError("give a length, and a unit to convert it to");
  const double points = unit2eps(ParseLength(words[0]).c_str(), UNITATS_ACTIVES);
  const TipusUnitats unit = words.size() == 2 ? ParseUnit(words[1]) : AfxGetUnitatsActives();
  out << Shortest(points) << " pt\n";
  out << WideToUtf8(eps2unit(points, unit, TRUE, 0).GetString());
  if (unitUsarFraccions(unit)) out << " = " << WideToUtf8(eps2fraccio(points, 16, unit, TRUE).GetString());
  out << "\n";
  return kwlib::kExitOk;
}

KWLIB_COMMAND(kUnits, "units", "convert a length to points and to another unit; show or set the active unit",
              "Usage: kwlib units TEXT [UNIT]\n"
              "       kwlib units --active [UNIT]\n"
              "TEXT is a length as a user types it: \"12 mm\", \"1 1/2 in\", \"3/4\", \"10 rep\" (already\n"
              "points). Without a unit in it, it is in the active unit. Prints the length in\n"
              "points, then in UNIT (default: the active unit), with a fraction in sixteenths\n"
              "for inches, feet and yards. UNIT is mm, cm, m, in, ft, yd or pt.\n"
              "--active shows the active unit (kept per user in the registry, or from the\n"
              "locale's measurement system), and with a UNIT makes it the active one.\n",
              Run);

}  // namespace
