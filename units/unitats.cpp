#include <kwlib63/units/unitats.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <climits>
#include <cwchar>
#include <numeric>
#include <string>

#include <kwlib63/core/loadstring.h>
#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/dataexchange.h>
#include <kwlib63/framework/menu.h>
#include <kwlib63/platform/locale.h>
#include <kwlib63/res/resource.h>
#include <kwlib63/settings/carpetaregistry.h>

namespace {

constexpr int kNombreUnitats = 7;
// 72 / 25.4 as the table has always held it (the quotient itself differs in the last bit).
constexpr double kPuntsPerMm = 2.8346456692913384;
constexpr double kPuntsPerPolzada = 72;
constexpr double kPuntsPerPeu = 864;

struct Unitat {
  UINT nom;
  UINT abreviatura;
  int decimals;
  UINT menu;
};

constexpr Unitat kUnitats[kNombreUnitats] = {
    {IDS_UNITAT_MM, IDS_UNITAT_MM_ABREV, 1, IDS_UNITAT_MM_MENU}, {IDS_UNITAT_CM, IDS_UNITAT_CM_ABREV, 2, IDS_UNITAT_CM_MENU},
    {IDS_UNITAT_IN, IDS_UNITAT_IN_ABREV, 3, IDS_UNITAT_IN_MENU}, {IDS_UNITAT_FT, IDS_UNITAT_FT_ABREV, 3, IDS_UNITAT_FT_MENU},
    {IDS_UNITAT_M, IDS_UNITAT_M_ABREV, 2, IDS_UNITAT_M_MENU},    {IDS_UNITAT_PT, IDS_UNITAT_PT_ABREV, 1, IDS_UNITAT_PT_MENU},
    {IDS_UNITAT_YD, IDS_UNITAT_YD_ABREV, 2, IDS_UNITAT_YD_MENU},
};

// A unit's menu command is this plus the unit.
constexpr UINT kPrimeraOrdreUnitats = 11310;

bool EsUnitat(int unitats) { return static_cast<unsigned>(unitats) < kNombreUnitats; }

// The products are written in the order that gives the published values bit for bit.
double APunts(double valor, int unitats) {
  switch (unitats) {
    case UNITATS_MM: return valor * kPuntsPerMm;
    case UNITATS_CM: return valor * kPuntsPerMm * 10;
    case UNITATS_POLZADES: return valor * kPuntsPerPolzada;
    case UNITATS_PEUS: return valor * kPuntsPerPeu;
    case UNITATS_METRES: return valor * kPuntsPerMm * 1000;
    case UNITATS_IARDES: return valor * kPuntsPerPeu * 3;
    default: return valor;
  }
}

double DePunts(double eps, int unitats) {
  switch (unitats) {
    case UNITATS_MM: return eps * 0.35277777777777775;
    case UNITATS_CM: return eps * 0.35277777777777775 / 10;
    case UNITATS_POLZADES: return eps * 0.013888888888888888;
    case UNITATS_PEUS: return eps * 0.0011574074074074073;
    case UNITATS_METRES: return eps * 0.35277777777777775 / 1000;
    case UNITATS_IARDES: return eps * 0.0011574074074074073 * 0.3333333333333333;
    default: return eps;
  }
}

// Every finite value below 1e51 can be shown; larger ones, infinities and NaN cannot.
bool EsNormal(double valor) {
  const double magnitud = std::fabs(valor);
  return magnitud <= 1e-7 || (magnitud > 1e-49 && magnitud < 1e51);
}

const wchar_t* Infinit(double valor) { return valor > 0 ? L"#1.INF" : L"-#1.INF"; }

// A truncation to int as the processor does it: a value out of range (or NaN)
// becomes INT_MIN rather than undefined behaviour.
int Truncar(double valor) {
  if (!(valor > static_cast<double>(INT_MIN) - 1 && valor < static_cast<double>(INT_MAX) + 1)) return INT_MIN;
  return static_cast<int>(valor);
}

// Negation that wraps, as the processor's, instead of overflowing at INT_MIN.
int Negar(int valor) { return static_cast<int>(0u - static_cast<unsigned>(valor)); }

// The active unit, an invalid one counting as millimetres.
int UnitatPerNom(TipusUnitats unitats) {
  if (unitats != UNITATS_ACTIVES) return unitats;
  const int activa = AfxGetUnitatsActives();
  return EsUnitat(activa) ? activa : UNITATS_MM;
}

void AfegirAbreviatura(CString& text, TipusUnitats unitats) {
  text += L' ';
  text += unitNomAbr(static_cast<TipusUnitats>(UnitatPerNom(unitats)));
}

// The cache of the active unit; -1 (or any invalid value) means "read it again".
std::atomic<int> g_unitatsActives{UNITATS_ACTIVES};

constexpr wchar_t kCarpetaSettings[] = L".\\Settings";
constexpr wchar_t kValorUnitats[] = L"Unitats";

// Spin steps in points, by level (rows) and unit (columns): the centimetre and
// point columns repeat the millimetre steps, and the yard column's levels 2 and 7
// fall out of the rising order, as the steps have always been.
constexpr double kMm = kPuntsPerMm, kIn = kPuntsPerPolzada, kFt = kPuntsPerPeu, kYd = kPuntsPerPeu * 3;
constexpr double kCm = kMm * 10, kM = kMm * 1000;
constexpr double kPassos[8][kNombreUnitats] = {
    {0.01 * kMm, 0.01 * kMm, 0.001 * kIn, 0.01 * kFt, 1 * kCm, 0.01 * kMm, 0.01 * kYd},
    {0.1 * kMm, 0.1 * kMm, 0.005 * kIn, 0.05 * kFt, 5 * kCm, 0.1 * kMm, 0.05 * kYd},
    {0.5 * kMm, 0.5 * kMm, 0.01 * kIn, 0.1 * kFt, 10 * kCm, 0.5 * kMm, 0.01 * kYd},
    {1 * kMm, 1 * kMm, 0.05 * kIn, 0.5 * kFt, 50 * kCm, 1 * kMm, 0.5 * kYd},
    {5 * kMm, 5 * kMm, 0.1 * kIn, 1 * kFt, 1 * kM, 5 * kMm, 1 * kYd},
    {10 * kMm, 10 * kMm, 0.5 * kIn, 5 * kFt, 5 * kM, 10 * kMm, 5 * kYd},
    {50 * kMm, 50 * kMm, 1 * kIn, 10 * kFt, 10 * kM, 50 * kMm, 10 * kYd},
    {100 * kMm, 100 * kMm, 5 * kIn, 50 * kFt, 50 * kM, 100 * kMm, 5 * kYd},
};

}  // namespace

TipusUnitats AfxGetUnitatsActives() {
  int unitats = g_unitatsActives;
  if (EsUnitat(unitats)) return static_cast<TipusUnitats>(unitats);
  TCarpetaRegistry(kCarpetaSettings, HKEY_CURRENT_USER).TornaValor(kValorUnitats, unitats, -1);
  if (!EsUnitat(unitats)) {
    wchar_t mesura[10];
    const int llargada = kwplat::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IMEASURE, mesura, 10);
    if (llargada == 1 || llargada == 2) unitats = std::wcstol(mesura, nullptr, 10) == 1 ? UNITATS_POLZADES : UNITATS_CM;
  }
  g_unitatsActives = unitats;
  return static_cast<TipusUnitats>(unitats);
}

TipusUnitats AfxSetUnitatsActives(TipusUnitats unitats) {
  const int anterior = g_unitatsActives;
  if (unitats == anterior) return unitats;
  g_unitatsActives = unitats;
  TCarpetaRegistry(kCarpetaSettings, HKEY_CURRENT_USER).EntraValor(kValorUnitats, static_cast<int>(unitats));
  return static_cast<TipusUnitats>(anterior);
}

CString unitNom(TipusUnitats unitats) {
  const int unitat = UnitatPerNom(unitats);
  return EsUnitat(unitat) ? AfxLoadString(kUnitats[unitat].nom) : CString();
}

CString unitNomAbr(TipusUnitats unitats) {
  const int unitat = UnitatPerNom(unitats);
  return EsUnitat(unitat) ? AfxLoadString(kUnitats[unitat].abreviatura) : CString();
}

TipusUnitats miraUnitats(const wchar_t* text) {
  if (text == nullptr) return UNITATS_ACTIVES;
  const std::wstring minuscules = kwfw::FoldCase(std::wstring_view(text));
  auto conte = [&minuscules](const wchar_t* fragment) { return minuscules.find(fragment) != std::wstring::npos; };
  auto abreviatura = [text](TipusUnitats unitats) {
    CString abr = unitNomAbr(unitats);
    return !abr.IsEmpty() && std::wcsstr(text, abr) != nullptr;
  };
  // "mm" and "cm" before "m"; inch last, because "in" and '"' are the weakest marks.
  constexpr struct {
    TipusUnitats unitats;
    const wchar_t* marca;
  } kProves[] = {{UNITATS_MM, L"mm"}, {UNITATS_CM, L"cm"},    {UNITATS_PEUS, L"ft"},
                 {UNITATS_METRES, L"m"}, {UNITATS_PUNTS, L"pt"}, {UNITATS_IARDES, L"yd"}};
  for (const auto& prova : kProves) {
    if (abreviatura(prova.unitats) || conte(prova.marca)) return prova.unitats;
  }
  if (conte(L"rep") || conte(L"rp")) return UNITATS_REP;
  if (abreviatura(UNITATS_POLZADES) || conte(L"\"") || conte(L"in")) return UNITATS_POLZADES;
  return UNITATS_ACTIVES;
}

double unit2eps(const wchar_t* text, TipusUnitats unitats) {
  if (text == nullptr) return 0;
  int unitat = miraUnitats(text);
  if (unitat == UNITATS_ACTIVES) unitat = unitats == UNITATS_ACTIVES ? AfxGetUnitatsActives() : unitats;
  double valor = 0;
  int enter = 0, numerador = 0, denominador = 0;
  float decimal = 0;
  if (std::swscanf(text, L" %i %i/%i ", &enter, &numerador, &denominador) == 3 && denominador > 0) {
    valor = static_cast<double>(numerador) / denominador + enter;
  } else if (std::swscanf(text, L" %i/%i ", &numerador, &denominador) == 2 && denominador > 0) {
    valor = static_cast<double>(numerador) / denominador;
  } else if (std::swscanf(text, L" %f ", &decimal) == 1) {
    valor = decimal;
  }
  return APunts(valor, unitat);
}

double eps2unit(double eps, int& decimals, TipusUnitats unitats) {
  const int unitat = unitats == UNITATS_ACTIVES ? AfxGetUnitatsActives() : unitats;
  if (!EsNormal(eps) || !EsUnitat(unitat)) return eps;
  decimals = kUnitats[unitat].decimals;
  return DePunts(eps, unitat);
}

CString eps2unit(double eps, TipusUnitats unitats, int bAfegirUnitat, int extraDecimals) {
  CString text;
  if (EsNormal(eps)) {
    int decimals = 0;
    const double valor = eps2unit(eps, decimals, unitats);
    // No double has more than 1074 decimals; a larger precision only adds zeros.
    const long long precisio = std::clamp(static_cast<long long>(decimals) + extraDecimals, 0LL, 1100LL);
    text.Format(L"%.*f", static_cast<int>(precisio), valor);
  } else {
    text = Infinit(eps);
  }
  if (bAfegirUnitat) AfegirAbreviatura(text, unitats);
  return text;
}

void unitCalcularFraccio(double valor, int denominador, int& enter, int& numerador, int& denomOut) {
  const double magnitud = std::fabs(valor);
  enter = Truncar(magnitud);
  if (denominador > 1) {
    numerador = Truncar(std::round((magnitud - enter) / (1.0 / denominador)));
    int reduit = denominador;
    if (numerador > 0) {
      const int divisor = std::gcd(numerador, reduit);
      numerador /= divisor;
      reduit /= divisor;
    }
    denomOut = reduit;
  } else {
    numerador = 0;
  }
  if (valor < 0) {
    if (enter >= 1) enter = Negar(enter);
    else numerador = Negar(numerador);
  }
}

CString eps2fraccio(double eps, int denominador, TipusUnitats unitats, int bAfegirUnitat) {
  const TipusUnitats unitat = unitats == UNITATS_ACTIVES ? AfxGetUnitatsActives() : unitats;
  CString text;
  if (EsNormal(eps)) {
    int decimals = 0, enter = 0, numerador = 0, denom = denominador;
    unitCalcularFraccio(eps2unit(eps, decimals, unitat), denominador, enter, numerador, denom);
    if (denom == 0 || numerador == 0) text.Format(L"%i", enter);
    else if (enter != 0) text.Format(L"%i %i/%i", enter, numerador, denom);
    else text.Format(L"%i/%i", numerador, denom);
  } else {
    text = Infinit(eps);
  }
  if (bAfegirUnitat) AfegirAbreviatura(text, unitat);
  return text;
}

int unitUsarFraccions(TipusUnitats unitats) {
  return unitats == UNITATS_POLZADES || unitats == UNITATS_PEUS || unitats == UNITATS_IARDES ? 1 : 0;
}

double spinUnit(double valor, int bUp, TipusUnitats unitats, TipusIncrement increment, int nivellBase) {
  if (!EsUnitat(unitats)) return valor;
  const long long fila = std::clamp(static_cast<long long>(increment) - nivellBase, 0LL, 7LL);
  const double pas = kPassos[fila][unitats];
  return bUp ? valor + pas : valor - pas;
}

CMenu* unitsMenu(CMenu* menu, int bCheckActive) {
  if (menu == nullptr) {
    menu = new CMenu;
    menu->CreatePopupMenu();
  }
  // The metric units, then the imperial ones, then points.
  for (int unitat : {UNITATS_MM, UNITATS_CM, UNITATS_METRES, UNITATS_POLZADES, UNITATS_PEUS, UNITATS_IARDES,
                     UNITATS_PUNTS}) {
    menu->AppendMenuW(MF_STRING, kPrimeraOrdreUnitats + unitat, AfxLoadString(kUnitats[unitat].menu));
  }
  const TipusUnitats actives = AfxGetUnitatsActives();
  if (bCheckActive && EsUnitat(actives)) menu->CheckMenuItem(kPrimeraOrdreUnitats + actives, MF_BYCOMMAND | MF_CHECKED);
  return menu;
}

void DDX_Unitats(CDataExchange* pDX, int controlId, double& value) {
  CWnd* edit = CWnd::FromHandle(pDX->PrepareEditCtrl(controlId));
  if (edit == nullptr) return;
  if (pDX->m_bSaveAndValidate) {
    CString text;
    edit->GetWindowTextW(text);
    value = unit2eps(text, UNITATS_ACTIVES);
  } else {
    edit->SetWindowTextW(eps2unit(value, UNITATS_ACTIVES, 1, 0));
  }
}
