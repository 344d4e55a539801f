// The time counter and its 32-bit split.
#include <gtest/gtest.h>

#include <kwlib63/progress/comptatemps.h>

#include "support/fakeclock.h"

namespace {

TEST(ComptaTemps, SplitKeepsThe32BitWrap) {
  struct {
    unsigned long long ms;
    int h, m, s;
  } cases[] = {{3723999, 1, 2, 3},
               {59999, 0, 0, 59},
               {2149199000ULL, 596, 59, 59},
               // From 597 hours on the 32-bit products wrap: kept on purpose.
               {2149200000ULL, 597, 71582, 4295014}};
  for (const auto& c : cases) {
    int h = -1, m = -1, s = -1;
    EXPECT_EQ(TComptaTemps::FormatTemps(c.ms, h, m, s), 0);
    EXPECT_EQ(h, c.h) << c.ms;
    EXPECT_EQ(m, c.m) << c.ms;
    EXPECT_EQ(s, c.s) << c.ms;
  }
}

TEST(ComptaTemps, ElapsedSinceTheStart) {
  kwtest::FakeClock clock(1000, 1'600'000'000);
  TComptaTemps t;
  EXPECT_EQ(t.GetTempsActual(), 0u);
  clock.Advance(3723999);
  int h, m, s;
  EXPECT_EQ(t.GetTempsActual(h, m, s), 0);
  EXPECT_EQ(h * 10000 + m * 100 + s, 10203);
  EXPECT_EQ(t.GetTempsInici().GetTime(), 1'600'000'000);
  EXPECT_EQ(t.Reset(), 0);
  EXPECT_EQ(t.GetTempsActual(), 0u);
}

TEST(ComptaTemps, RealClockRuns) {
  TComptaTemps t;
  EXPECT_LT(t.GetTempsActual(), 5000u);
}

}  // namespace
