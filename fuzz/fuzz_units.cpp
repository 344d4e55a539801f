// Length texts as a user types them: the unit found in the text and the value in
// points. A unit written in the text wins over the caller's; without one, the
// caller's unit scales the number, so two units give values in their ratio.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/units/unitats.h>

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

bool Close(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  if (std::isinf(a) || std::isinf(b)) return a == b;
  return std::fabs(a - b) <= 1e-9 * std::fmax(std::fabs(a), std::fabs(b));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::wstring text = kwfw::Utf8ToWide(std::string(reinterpret_cast<const char*>(data), size));
  text = text.substr(0, text.find(L'\0'));
  const TipusUnitats found = miraUnitats(text.c_str());
  Check(found >= UNITATS_REP && found <= UNITATS_IARDES);
  const double mm = unit2eps(text.c_str(), UNITATS_MM), cm = unit2eps(text.c_str(), UNITATS_CM);
  const double pt = unit2eps(text.c_str(), UNITATS_PUNTS), inch = unit2eps(text.c_str(), UNITATS_POLZADES);
  if (found != UNITATS_ACTIVES) {
    Check(Close(mm, cm) && Close(pt, inch));  // the text's own unit, whatever the caller's
  } else {
    Check(Close(cm, 10 * mm) && Close(inch, 72 * pt));
  }
  // Points shown in a unit parse back to about the same points.
  if (std::isfinite(pt) && std::fabs(pt) < 1e9) {
    const CString shown = eps2unit(pt, UNITATS_PUNTS, 1, 6);
    const double back = unit2eps(shown, UNITATS_PUNTS);
    Check(std::fabs(back - pt) <= 1e-3 * std::fmax(1.0, std::fabs(pt)));
  }
  return 0;
}
