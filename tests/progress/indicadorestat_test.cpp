// The status indicator on one thread: nested ranges, the null indicator, cancel,
// the timer, messages and reports.
#include <vector>
#include <limits>
#include <gtest/gtest.h>

#include <kwlib63/core/frame.h>
#include <kwlib63/framework/nullsafe.h>
#include <kwlib63/progress/indicadorestat.h>

#include "support/fakeclock.h"
#include "support/recorders.h"

namespace {

// Records every position the indicator shows.
class Recording : public TIndicadorEstat {
 public:
  int MostrarEstat(double pos) override {
    shown.push_back(pos);
    return TIndicadorEstat::MostrarEstat(pos);
  }
  std::vector<double> shown;
  using TIndicadorEstat::getMax;
  using TIndicadorEstat::getMin;
};

TEST(Indicador, NestedRangesGiveTheFiguresOfTheExample) {
  Recording ie;
  EXPECT_EQ(ie.SetSubRangRel(0.0, 0.5), 1);
  EXPECT_EQ(ie.PopRangRel(), 1);
  EXPECT_EQ(ie.SetSubRangRel(0.5, 0.8), 1);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(ie.SetRangPosicioRel(i, 10), 1);
    EXPECT_DOUBLE_EQ(ie.GetEstat(), 0.5 + 0.03 * i);
    if (i == 4) {
      EXPECT_EQ(ie.MostrarEstatRel(0.5), 1);
      EXPECT_DOUBLE_EQ(ie.GetEstat(), 0.635);
    }
    EXPECT_EQ(ie.PopRangRel(), 1);
    EXPECT_DOUBLE_EQ(ie.GetEstat(), 0.5 + 0.03 * (i + 1));  // leaving an item shows its end
  }
  EXPECT_EQ(ie.PopRangRel(), 1);
  EXPECT_DOUBLE_EQ(ie.GetEstat(), 0.8);
  double lo, hi;
  ie.GetRang(lo, hi);
  EXPECT_EQ(lo, 0.0);
  EXPECT_EQ(hi, 1.0);
  // Every push and pop is shown: 3 phase moves, 2 per item, 1 inside item 4, 1 last pop.
  EXPECT_EQ(ie.shown.size(), 3u + 20u + 1u + 1u);
}

TEST(Indicador, StepOfEqualSteps) {
  TIndicadorEstat ie;
  EXPECT_EQ(ie.SetRangPosicioRel(3, 4), 1);
  double lo, hi;
  ie.GetRang(lo, hi);
  EXPECT_EQ(lo, 0.75);
  EXPECT_EQ(hi, 1.0);
  EXPECT_EQ(ie.GetEstat(), 0.75);
  EXPECT_EQ(ie.PopRangRel(), 1);
  EXPECT_EQ(ie.GetEstat(), 1.0);
  EXPECT_EQ(ie.MostrarEstatRel(1.5), 1);  // not clamped
  EXPECT_EQ(ie.GetEstat(), 1.5);
}

// Calls through a null indicator, as client code of the original interface does.
KW_NULL_TOLERANT void NullCalls(TIndicadorEstat* ie) {
  EXPECT_EQ(ie->MostrarEstatRel(0.5), 1);
  EXPECT_EQ(ie->SetSubRangRel(0.1, 0.2), 1);
  EXPECT_EQ(ie->SetRangPosicioRel(1, 2), 1);
  EXPECT_EQ(ie->PopRangRel(), 1);
  EXPECT_EQ(ie->GetEstat(), 0.0);
  double lo = -1, hi = -1;
  ie->GetRang(lo, hi);
  EXPECT_EQ(lo, 0.0);
  EXPECT_EQ(hi, 1.0);
  ie->SetRang(0.2, 0.4);
}

TEST(Indicador, NullIndicatorAnswers) {
  NullCalls(nullptr);
  CSetSubRangIE a(nullptr, 0.0, 0.5);
  CSetSubRangIE b(nullptr, 1, 4);
  EXPECT_EQ(a.TestCancel(), 0);
  b.Restore();
}

TEST(Indicador, EmptyRangeStack) {
  Recording ie;
  EXPECT_EQ(ie.PopRangRel(), 1);  // the base range can be popped
  EXPECT_EQ(ie.GetEstat(), 1.0);
  double lo = -1, hi = -1;
  ie.GetRang(lo, hi);
  EXPECT_EQ(lo, 0.0);
  EXPECT_EQ(hi, 0.0);
  EXPECT_EQ(ie.getMin(), 0.0);
  EXPECT_EQ(ie.getMax(), 0.0);  // 1.0 only for a null indicator
  const std::size_t shown = ie.shown.size();
  EXPECT_EQ(ie.MostrarEstatRel(0.7), 1);
  EXPECT_EQ(ie.SetSubRangRel(0.1, 0.2), 1);
  EXPECT_EQ(ie.SetRangPosicioRel(1, 2), 1);
  EXPECT_EQ(ie.PopRangRel(), 1);
  EXPECT_EQ(ie.shown.size(), shown);  // nothing moved
  EXPECT_EQ(ie.GetEstat(), 1.0);
  ie.Cancelar();
  EXPECT_EQ(ie.MostrarEstatRel(0.7), 0);
  ie.SetRang(0.2, 0.4);  // an empty stack gets the range pushed
  ie.GetRang(lo, hi);
  EXPECT_EQ(lo, 0.2);
  EXPECT_EQ(hi, 0.4);
}

TEST(Indicador, CancelHoldsUntilInit) {
  int calls = 0;
  TIndicadorEstat ie([](TIndicadorEstat*, __int64 user) { ++*reinterpret_cast<int*>(user); },
                     reinterpret_cast<__int64>(&calls));
  ie.SetMissatge(L"copiant");
  ie.SetSubRangRel(0.2, 0.4);
  ie.Cancelar();
  EXPECT_EQ(ie.TestCancel(), 1);
  EXPECT_EQ(ie.MostrarEstat(0.3), 0);
  EXPECT_EQ(ie.MostrarEstatRel(0.3), 0);
  EXPECT_EQ(ie.SetSubRangRel(0.1, 0.2), 0);
  EXPECT_EQ(ie.SetRangPosicioRel(0, 2), 0);
  EXPECT_EQ(ie.PopRangRel(), 0);
  EXPECT_EQ(ie.PopRangRel(), 0);
  calls = 0;
  ie.Init();
  EXPECT_EQ(calls, 1);  // Init shows position 0
  EXPECT_EQ(ie.TestCancel(), 0);
  EXPECT_EQ(ie.GetMissatge(), L"");
  EXPECT_EQ(ie.GetEstat(), 0.0);
  double lo, hi;
  ie.GetRang(lo, hi);
  EXPECT_EQ(hi - lo, 1.0);
  EXPECT_EQ(ie.MostrarEstatRel(0.5), 1);
}

TEST(Indicador, SubRangeGuard) {
  TIndicadorEstat ie;
  {
    CSetSubRangIE phase(&ie, 0.5, 0.8);
    EXPECT_EQ(ie.GetEstat(), 0.5);
    phase.SetSubRang(0.0, 0.5);  // pops first: the new range is inside (0, 1), not (0.5, 0.8)
    EXPECT_EQ(ie.GetEstat(), 0.0);
    double lo, hi;
    ie.GetRang(lo, hi);
    EXPECT_EQ(lo, 0.0);
    EXPECT_EQ(hi, 0.5);
    {
      CSetSubRangIE item(&ie, 1, 4);
      EXPECT_EQ(ie.GetEstat(), 0.125);
    }
    EXPECT_EQ(ie.GetEstat(), 0.25);
    EXPECT_EQ(phase.TestCancel(), 0);
  }
  EXPECT_EQ(ie.GetEstat(), 0.5);
  double lo, hi;
  ie.GetRang(lo, hi);
  EXPECT_EQ(hi - lo, 1.0);
}

TEST(Indicador, TimerAndEtaWithAFakeClock) {
  kwtest::FakeClock clock(5000, 1'700'000'000);
  TIndicadorEstat ie;
  EXPECT_EQ(ie.GetTempsTimer(), 0u);
  EXPECT_EQ(ie.GetETA().GetTime(), 1'700'000'000);  // no timer: now
  ie.ActivarTimer();
  clock.Advance(10'000);
  ie.MostrarEstat(0.25);
  EXPECT_EQ(ie.GetTempsTimer(), 10'000u);
  EXPECT_EQ(ie.GetStartTime().GetTime(), 1'700'000'000);
  EXPECT_EQ(ie.GetETA().GetTime(), 1'700'000'040);
  ie.MostrarEstat(0.3);  // 33.33 s: truncated
  EXPECT_EQ(ie.GetETA().GetTime(), 1'700'000'033);
  ie.MostrarEstat(0.0);
  EXPECT_EQ(ie.GetETA().GetTime(), 1'700'000'010);  // no progress: now
  // A tiny position puts the end past what a time can hold: the last time there is.
  for (double tiny : {1e-300, 4.9e-324, 1e-12}) {
    ie.MostrarEstat(tiny);
    EXPECT_EQ(ie.GetETA().GetTime(), 32'535'215'999LL) << tiny;
  }
  ie.MostrarEstat(std::numeric_limits<double>::infinity());
  EXPECT_EQ(ie.GetETA().GetTime(), 1'700'000'000);  // all done at once: the start
  ie.MostrarEstat(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(ie.GetETA().GetTime(), 1'700'000'010);
  clock.Advance(2000);
  ie.Init();  // restarts the enabled timer
  EXPECT_EQ(ie.GetStartTime().GetTime(), 1'700'000'012);
  ie.DesactivarTimer();
  EXPECT_EQ(ie.GetTempsTimer(), 0u);
  ie.Init();
  EXPECT_EQ(ie.GetTempsTimer(), 0u);
}

TEST(Indicador, MessagesFollowOrIgnoreTheLanguage) {
  TIndicadorEstat ie;
  const unsigned short before = AfxSetLanguage(LANG_EN_US);
  ie.SetMissatge(22058u);
  EXPECT_EQ(ie.GetMissatge(), L"Yes");
  ie.FormatMissatge(22058u);
  EXPECT_EQ(ie.GetMissatge(), L"Oui");  // the formatting form keeps the default language
  AfxSetLanguage(before);
  ie.FormatMissatge(L"%d de %d", 3, 10);
  EXPECT_EQ(ie.GetMissatge(), L"3 de 10");
}

TEST(Indicador, ReportsUseTheLibrarysBox) {
  kwtest::MessageBoxRecorder boxes(IDNO);
  TIndicadorEstat ie;
  EXPECT_EQ(ie.ReportInfo(L"i"), IDNO);
  ie.ReportAvis(L"w", MB_YESNO);
  ie.ReportError(22059u);
  ie.Report(L"plain", 7, MB_OKCANCEL);
  ASSERT_EQ(boxes.boxes.size(), 4u);
  EXPECT_EQ(boxes.boxes[0].type, MB_ICONINFORMATION);
  EXPECT_EQ(boxes.boxes[1].type, MB_ICONWARNING | MB_YESNO);
  EXPECT_EQ(boxes.boxes[2].type, MB_ICONERROR);
  EXPECT_EQ(boxes.boxes[2].text, L"Non");
  EXPECT_EQ(boxes.boxes[3].type, MB_OKCANCEL);
}

}  // namespace
