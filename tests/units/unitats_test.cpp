// The unit functions: parsing user texts, the two formatters and their edge
// values, the fraction rule, the spin steps, and the active unit kept in a
// private registry hive with its locale default.
#include <cmath>
#include <climits>
#include <cstdlib>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/dataexchange.h>
#include <kwlib63/framework/menu.h>
#include <kwlib63/settings/carpetaregistry.h>
#include <kwlib63/units/unitats.h>

#include "support/locales.h"
#include "support/privatehive.h"

namespace {

constexpr double kMm = 2.8346456692913384;

class UnitatsTest : public ::testing::Test {
 protected:
  // Every test starts from centimetres, cached and stored in its own hive.
  void SetUp() override {
    AfxSetUnitatsActives(UNITATS_ACTIVES);
    AfxSetUnitatsActives(UNITATS_CM);
  }
  void TearDown() override { AfxSetUnitatsActives(UNITATS_ACTIVES); }
  kwtest::PrivateHive m_hive;
};

TEST_F(UnitatsTest, ParsingUserTexts) {
  for (TipusUnitats unitats : {UNITATS_ACTIVES, UNITATS_POLZADES, UNITATS_REP}) {
    EXPECT_EQ(unit2eps(L"12 mm", unitats), 34.01574803149606);
  }
  EXPECT_EQ(unit2eps(L"1/2 in", UNITATS_ACTIVES), 36);
  EXPECT_EQ(unit2eps(L"1 1/2\"", UNITATS_MM), 108);
  EXPECT_EQ(unit2eps(L"10 rep", UNITATS_ACTIVES), 10);
  EXPECT_EQ(unit2eps(L"rep 10", UNITATS_ACTIVES), 0);
  EXPECT_EQ(unit2eps(L"5 xyz", UNITATS_ACTIVES), 5 * kMm * 10);  // the active unit, centimetres
  EXPECT_EQ(unit2eps(L"5", UNITATS_PEUS), 5 * 864.0);
  EXPECT_EQ(unit2eps(L"-1 1/2", UNITATS_POLZADES), -36);  // the fraction is added whatever the sign
  EXPECT_EQ(unit2eps(L"0x10 pt", UNITATS_ACTIVES), 16);   // %i reads hexadecimal
  EXPECT_EQ(unit2eps(L"1.1 mm", UNITATS_ACTIVES), static_cast<double>(1.1f) * kMm);  // single precision
  EXPECT_EQ(unit2eps(L"1/0 in", UNITATS_ACTIVES), 72);  // no fraction: the number before it
  EXPECT_EQ(unit2eps(L"", UNITATS_MM), 0);
  EXPECT_EQ(unit2eps(nullptr, UNITATS_MM), 0);

  EXPECT_EQ(miraUnitats(L"2 Mm"), UNITATS_MM);
  EXPECT_EQ(miraUnitats(L"3 CM"), UNITATS_CM);
  EXPECT_EQ(miraUnitats(L"1 yd"), UNITATS_IARDES);
  EXPECT_EQ(miraUnitats(L"a name"), UNITATS_METRES);  // any other "m" means metres
  EXPECT_EQ(miraUnitats(L"4 RP"), UNITATS_REP);
  EXPECT_EQ(miraUnitats(L"7"), UNITATS_ACTIVES);
}

// The marks are found without regard to case by the library's fold, so a Turkish
// locale does not turn "IN" into a dotless "ın".
TEST_F(UnitatsTest, MarksMatchTheSameInEveryLocale) {
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    EXPECT_EQ(miraUnitats(L"2 IN"), UNITATS_POLZADES) << locale;
    EXPECT_EQ(miraUnitats(L"2 \u0130N"), UNITATS_ACTIVES) << locale;
    EXPECT_EQ(miraUnitats(L"4 REP"), UNITATS_REP) << locale;
    EXPECT_EQ(unit2eps(L"1/2 IN", UNITATS_ACTIVES), 36) << locale;
  }
}

TEST_F(UnitatsTest, Formatting) {
  EXPECT_EQ(eps2unit(kMm, UNITATS_MM, TRUE, 0), CString(L"1.0 mm"));
  EXPECT_EQ(eps2unit(72, UNITATS_ACTIVES, TRUE, 1), CString(L"2.540 cm"));
  EXPECT_EQ(eps2unit(72, UNITATS_POLZADES, FALSE, -9), CString(L"1"));
  EXPECT_EQ(eps2unit(1e60, UNITATS_MM, FALSE, 0), CString(L"#1.INF"));
  EXPECT_EQ(eps2unit(-1e60, UNITATS_MM, TRUE, 0), CString(L"-#1.INF mm"));
  EXPECT_EQ(eps2unit(std::nan(""), UNITATS_MM, FALSE, 0), CString(L"-#1.INF"));
  EXPECT_EQ(eps2unit(1, UNITATS_PUNTS, FALSE, INT_MAX).GetLength(), 1102);  // bounded, not 2^31 digits

  int decimals = 99;
  EXPECT_EQ(eps2unit(72, decimals, UNITATS_POLZADES), 1);
  EXPECT_EQ(decimals, 3);
  decimals = 99;
  EXPECT_EQ(eps2unit(1e60, decimals, UNITATS_POLZADES), 1e60);
  EXPECT_EQ(eps2unit(5, decimals, UNITATS_REP), 5);
  EXPECT_EQ(decimals, 99);

  EXPECT_EQ(eps2fraccio(72, 16, UNITATS_POLZADES, FALSE), CString(L"1"));
  EXPECT_EQ(eps2fraccio(108, 16, UNITATS_POLZADES, TRUE), CString(L"1 1/2 in"));
  EXPECT_EQ(eps2fraccio(-36, 16, UNITATS_POLZADES, FALSE), CString(L"-1/2"));
  EXPECT_EQ(eps2fraccio(-108, 16, UNITATS_POLZADES, FALSE), CString(L"-1 1/2"));
  EXPECT_EQ(eps2fraccio(2.999 * 72, 8, UNITATS_POLZADES, FALSE), CString(L"2 1/1"));  // no carry, by design
  EXPECT_EQ(eps2fraccio(1e60, 16, UNITATS_POLZADES, FALSE), CString(L"#1.INF"));
  // Past the range of int, both parts truncate as the processor does.
  EXPECT_EQ(std::wstring(eps2fraccio(1e40, 16, UNITATS_PUNTS, FALSE)), L"-2147483648 -2147483648/16");
}

TEST_F(UnitatsTest, FractionsAndSteps) {
  int enter = 0, numerador = 0, denominador = -5;
  unitCalcularFraccio(-0.75, 1, enter, numerador, denominador);
  EXPECT_EQ(denominador, -5);  // left alone without a denominator above 1
  EXPECT_EQ(numerador, 0);
  unitCalcularFraccio(-2.75, 8, enter, numerador, denominador);
  EXPECT_EQ(enter, -2);
  EXPECT_EQ(numerador, 3);
  EXPECT_EQ(denominador, 4);

  EXPECT_EQ(unitUsarFraccions(UNITATS_PEUS), 1);
  EXPECT_EQ(unitUsarFraccions(UNITATS_METRES), 0);
  EXPECT_EQ(unitUsarFraccions(static_cast<TipusUnitats>(7)), 0);

  EXPECT_EQ(spinUnit(0, TRUE, UNITATS_MM, INCREMENT_0, 0), 0.028346456692913385);
  EXPECT_EQ(spinUnit(100, FALSE, UNITATS_POLZADES, INCREMENT_4, 0), 100 - 7.2);
  EXPECT_EQ(spinUnit(0, TRUE, UNITATS_IARDES, INCREMENT_2, 0), 0.01 * 2592);  // out of the rising order
  EXPECT_EQ(spinUnit(0, TRUE, UNITATS_IARDES, INCREMENT_7, 0), 5 * 2592.0);
  EXPECT_EQ(spinUnit(0, TRUE, UNITATS_METRES, INCREMENT_7, -20), 50 * kMm * 1000);  // clamped to 7
  EXPECT_EQ(spinUnit(0, TRUE, UNITATS_PUNTS, INCREMENT_0, INT_MIN), 100 * kMm);
  EXPECT_EQ(spinUnit(3, TRUE, UNITATS_ACTIVES, INCREMENT_3, 0), 3);
  EXPECT_EQ(spinUnit(3, TRUE, static_cast<TipusUnitats>(9), INCREMENT_3, 0), 3);
}

TEST_F(UnitatsTest, ActiveUnitKeptPerUser) {
  TCarpetaRegistry settings(L".\\Settings");
  EXPECT_EQ(settings.TornaValorInt(L"Unitats", -9), UNITATS_CM);
  EXPECT_EQ(AfxSetUnitatsActives(UNITATS_PUNTS), UNITATS_CM);
  EXPECT_EQ(settings.TornaValorInt(L"Unitats", -9), UNITATS_PUNTS);
  EXPECT_EQ(unitNom(UNITATS_ACTIVES), CString(L"points"));
  EXPECT_EQ(unitNomAbr(UNITATS_IARDES), CString(L"yd"));
  EXPECT_TRUE(unitNom(UNITATS_REP).IsEmpty());

  // The cached value again writes nothing.
  ASSERT_EQ(settings.BorrarValor(L"Unitats"), 0);
  EXPECT_EQ(AfxSetUnitatsActives(UNITATS_PUNTS), UNITATS_PUNTS);
  EXPECT_EQ(settings.TornaValorInt(L"Unitats", -9), -9);

  // With nothing stored, the user's locale decides, and nothing is written.
  AfxSetUnitatsActives(UNITATS_ACTIVES);
  settings.BorrarValor(L"Unitats");
  setenv("LC_ALL", "en_US.UTF-8", 1);
  EXPECT_EQ(AfxGetUnitatsActives(), UNITATS_POLZADES);
  AfxSetUnitatsActives(UNITATS_ACTIVES);
  setenv("LC_ALL", "fr_FR.UTF-8", 1);
  EXPECT_EQ(AfxGetUnitatsActives(), UNITATS_CM);
  unsetenv("LC_ALL");
  EXPECT_EQ(settings.TornaValorInt(L"Unitats", -9), UNITATS_ACTIVES);
}

TEST_F(UnitatsTest, MenuOfUnitsAndDialogExchange) {
  CMenu* menu = unitsMenu(nullptr, 1);
  ASSERT_EQ(menu->GetMenuItemCount(), 7);
  const wchar_t* labels[] = {L"Millimètres", L"Centimètres", L"Mètres", L"Pouces", L"Pieds", L"&Yards", L"Points"};
  const UINT commands[] = {11310, 11311, 11314, 11312, 11313, 11316, 11315};
  for (int i = 0; i < 7; ++i) {
    CString label;
    menu->GetMenuStringW(i, label, MF_BYPOSITION);
    EXPECT_EQ(label, labels[i]);
    EXPECT_EQ(menu->GetMenuItemID(i), commands[i]);
    // Centimetres are active.
    EXPECT_EQ(menu->GetMenuState(i, MF_BYPOSITION) & MF_CHECKED, i == 1 ? MF_CHECKED : 0u) << i;
  }
  delete menu;
  CMenu mine;
  mine.CreatePopupMenu();
  EXPECT_EQ(unitsMenu(&mine, 0), &mine);
  EXPECT_EQ(mine.GetMenuState(11311, MF_BYCOMMAND) & MF_CHECKED, 0u);

  CWnd dialog, edit;
  edit.CreateControl(&dialog, 1001);
  double value = 72;  // one inch
  CDataExchange load(&dialog, FALSE);
  DDX_Unitats(&load, 1001, value);
  CString text;
  edit.GetWindowTextW(text);
  EXPECT_EQ(text, L"2.54 cm");
  edit.SetWindowTextW(L"10 mm");
  CDataExchange save(&dialog, TRUE);
  DDX_Unitats(&save, 1001, value);
  EXPECT_EQ(value, 10 * kMm);
  edit.SetWindowTextW(L"3");
  DDX_Unitats(&save, 1001, value);
  EXPECT_EQ(value, 3 * kMm * 10);  // the active unit
  DDX_Unitats(&save, 9999, value);  // no such control: nothing changes
  EXPECT_EQ(value, 3 * kMm * 10);
}

}  // namespace
