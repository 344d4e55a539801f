// kwlib units: a length as a user would type it, in points and in another unit;
// and the active unit of the user.
#include <charconv>
#include <cwchar>
#include <iostream>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/units/unitats.h>

#include "command.h"
#include "dispatch.h"

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

// TEXT [UNIT], or [UNIT] with --active.
int Convert(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (call.arguments.Has("--active")) {
    if (words.size() > 1) throw kwlib::WrongCount{0, 1};
    if (words.size() == 1) AfxSetUnitatsActives(ParseUnit(words[0]));
    const TipusUnitats active = AfxGetUnitatsActives();
    if (active < UNITATS_MM || active > UNITATS_IARDES) {
      call.out << "none (the locale gives no measurement system)\n";
    } else {
      call.out << Describe(active) << "\n";
    }
    return kwlib::kExitOk;
  }
  if (words.empty()) throw kwlib::WrongCount{1, 2};
  const double points = unit2eps(ParseLength(words[0]).c_str(), UNITATS_ACTIVES);
  const TipusUnitats unit = words.size() == 2 ? ParseUnit(words[1]) : AfxGetUnitatsActives();
  call.out << Shortest(points) << " pt\n";
  call.out << WideToUtf8(eps2unit(points, unit, TRUE, 0).GetString());
  if (unitUsarFraccions(unit)) call.out << " = " << WideToUtf8(eps2fraccio(points, 16, unit, TRUE).GetString());
  call.out << "\n";
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {{{"", 0, 2, "kwlib units TEXT [UNIT]\nkwlib units --active [UNIT]"}, &Convert}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--active"}}, out, err);
}

KWLIB_COMMAND(kUnits, "units", "convert a length to points and to another unit; show or set the active unit",
              kwlib::SyntaxOf(kTable),
              "TEXT is a length as a user types it: \"12 mm\", \"1 1/2 in\", \"3/4\", \"10 rep\" (already\n"
              "points). Without a unit in it, it is in the active unit. Prints the length in\n"
              "points, then in UNIT (default: the active unit), with a fraction in sixteenths\n"
              "for inches, feet and yards. UNIT is mm, cm, m, in, ft, yd or pt.\n"
              "--active shows the active unit (kept per user in the registry, or from the\n"
              "locale's measurement system), and with a UNIT makes it the active one.\n",
              Run);

}  // namespace
