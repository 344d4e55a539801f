// kwlib units: a length as a user would type it, in points and in another unit;
// and the active unit of the user.
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string_view>

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

constexpr std::string_view kDigits = "0123456789", kBlanks = " \t", kSigns = "+-";
constexpr std::size_t kNone = std::string::npos;

// `at` moved past the characters of `set`.
std::size_t Past(const std::string& text, std::size_t at, std::string_view set) {
  while (at < text.size() && set.find(text[at]) != std::string_view::npos) ++at;
  return at;
}

kwlib::UsageError NotALength(const std::string& text, const std::string& why) {
  return kwlib::UsageError("'" + text + "' is not a length: " + why);
}

// An integer of a fraction from `at`, read as the library reads it (into an int,
// a sign allowed): its end, or kNone for no digits, for a leading 0 (the library
// would read the number as octal) or for a number an int cannot hold.
std::size_t FractionInteger(const std::string& text, std::size_t at, int& value) {
  if (at < text.size() && text[at] == '+') ++at;
  const std::size_t digits = at < text.size() && text[at] == '-' ? at + 1 : at;
  const std::size_t end = Past(text, digits, kDigits);
  if (end == digits || (end - digits > 1 && text[digits] == '0')) return kNone;
  return std::from_chars(text.data() + at, text.data() + end, value).ec == std::errc() ? end : kNone;
}

// The end of "N/D" or "W N/D" from `at`, the forms the library tries first, or
// kNone. The library would pass over a fraction whose denominator is not above 0.
std::size_t FractionEnd(const std::string& text, std::size_t at) {
  int whole = 0, numerator = 0, denominator = 0;
  std::size_t end = FractionInteger(text, at, whole);
  if (end == kNone) return kNone;
  if (end >= text.size() || text[end] != '/') {
    end = FractionInteger(text, Past(text, end, kBlanks), numerator);
    if (end == kNone || end >= text.size() || text[end] != '/') return kNone;
  }
  end = FractionInteger(text, Past(text, end + 1, kBlanks), denominator);
  if (end != kNone && denominator <= 0) throw NotALength(text, "a fraction's denominator must be above 0");
  return end;
}

// The end of a decimal number from `at` ("12", "-1.5", ".5", "1e3"), the form the
// library reads last, or kNone.
std::size_t DecimalEnd(const std::string& text, std::size_t at) {
  if (at < text.size() && kSigns.find(text[at]) != std::string_view::npos) ++at;
  const std::size_t whole = Past(text, at, kDigits);
  std::size_t end = whole < text.size() && text[whole] == '.' ? Past(text, whole + 1, kDigits) : whole;
  if (end - at == (end > whole ? 1u : 0u)) return kNone;  // not one digit
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    const std::size_t exponent = end + 1 < text.size() && kSigns.find(text[end + 1]) != std::string_view::npos ? end + 2 : end + 1;
    if (const std::size_t last = Past(text, exponent, kDigits); last > exponent) end = last;
  }
  return end;
}

// A length as the library reads it: a number, a fraction or both, then at most a
// unit. A text the library would read as something else is refused rather than
// converted: no number (read as 0), words after it that name no unit (passed
// over), a number beyond what the library reads it into.
std::wstring ParseLength(const std::string& text) {
  const std::size_t start = Past(text, 0, kBlanks);
  std::size_t end = FractionEnd(text, start);
  if (end == kNone) {
    end = DecimalEnd(text, start);
    if (end == kNone) throw NotALength(text, "give a number, a fraction or both (12, 3/4, 1 1/2), with a unit or without");
    errno = 0;
    const float number = std::strtof(text.substr(start, end - start).c_str(), nullptr);
    if (errno == ERANGE || !std::isfinite(number)) throw NotALength(text, "the number is out of range");
  }
  const std::string unit = text.substr(Past(text, end, kBlanks));
  if (!unit.empty() && miraUnitats(Utf8ToWide(unit).c_str()) == UNITATS_ACTIVES) {
    throw NotALength(text, "'" + unit + "' is not a unit (mm, cm, m, in, ft, yd, pt or rep)");
  }
  return Utf8ToWide(text);
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
