// kwlib units as a real child process, on a registry moved to a temporary folder
// (where it keeps the active unit): lengths in points and units.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "kwlibrun.h"
#include "support/tempdir.h"

namespace {

using kwtest::Result;

class KwlibUnitsTest : public ::testing::Test {
 protected:
  Result Run(const std::string& args) {
    return kwtest::Shell("KWLIB63_REGISTRY_DIR=" + m_dir.Path() + " " + KWLIB_EXE + " " + args + " </dev/null");
  }
  kwtest::TempDir m_dir{"kwlib-regcmd"};
};

TEST_F(KwlibUnitsTest, Units) {
  Result r = Run("units '1 1/2\"' mm");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "108 pt\n38.1 mm\n");
  EXPECT_EQ(Run("units '12 mm' in").out, "34.01574803149606 pt\n0.472 in = 1/2 in\n");
  EXPECT_EQ(Run("units '10 rep' pt").out, "10 pt\n10.0 pt\n");
  EXPECT_EQ(Run("units --active yd").out, "yd (yards)\n");
  EXPECT_EQ(Run("units 2").out, "5184 pt\n2.00 yd = 2 yd\n");  // the active unit, kept in the registry
  EXPECT_NE(Run("reg query 'HKCU\\Software\\Tormel\\kwlib\\Settings' /v Unitats").out.find("0x6"), std::string::npos);
  EXPECT_EQ(Run("units 2 furlong").status, 2);
  // A text that holds no number is refused with the reason, not converted as 0.
  for (const char* text : {"abc", "''", "mm", "' / '"}) {
    r = Run(std::string("units ") + text + " mm");
    EXPECT_EQ(r.status, 2) << text;
    EXPECT_EQ(r.out, "") << text;
    EXPECT_NE(r.err.find("is not a length"), std::string::npos) << text << r.err;
  }
  EXPECT_EQ(Run("units ' 3/4 in' pt").out, "54 pt\n54.0 pt\n");
  EXPECT_EQ(Run("units -2 mm").status, 0);
  EXPECT_EQ(Run("units --active a b").status, 2);
}

}  // namespace
