#include <kwlib63/settings/carpetaregistry.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <type_traits>
#include <vector>

#include <kwlib63/framework/winapp.h>
#include <kwlib63/framework/wnd.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/resource.h>

namespace {

constexpr int kErrorObrir = -2500;
constexpr int kErrorEscriure = -2503;
constexpr int kErrorBorrarValor = -2504;
constexpr int kErrorBorrarCarpeta = -2505;
constexpr int kValorPerDefecte = 2500;
// The application title in the executable's string table.
constexpr UINT kIdTitolAplicacio = 57344;

// Keeps a folder open for the length of one operation.
class ObertDurant {
 public:
  ObertDurant(TCarpetaRegistry& carpeta, unsigned long mode) : m_carpeta(carpeta), m_obert(carpeta.Obrir(mode) != 0) {}
  ~ObertDurant() {
    if (m_obert) m_carpeta.Tancar();
  }
  ObertDurant(const ObertDurant&) = delete;
  ObertDurant& operator=(const ObertDurant&) = delete;
  explicit operator bool() const { return m_obert; }
  // Leaves the folder open after the operation.
  void Deixar() { m_obert = false; }

 private:
  TCarpetaRegistry& m_carpeta;
  bool m_obert;
};

LONG Fallada(LONG error) {
  kwplat::SetLastError(static_cast<DWORD>(error));
  return error;
}

// The name at `index` among a key's sub-keys or values, the buffer grown until
// the name fits: a long name is never passed over nor ends a walk.
LONG NomEnumerat(HKEY clau, bool carpetes, DWORD index, std::wstring& nom, DWORD* tipus = nullptr) {
  // A value name has at most 16383 characters; the terminator makes the room.
  std::vector<wchar_t> buffer(256);
  for (;;) {
    DWORD llargada = static_cast<DWORD>(buffer.size());
    const LONG error = carpetes
                           ? kwplat::RegEnumKeyExW(clau, index, buffer.data(), &llargada, nullptr, nullptr, nullptr, nullptr)
                           : kwplat::RegEnumValueW(clau, index, buffer.data(), &llargada, nullptr, tipus, nullptr, nullptr);
    if (error == ERROR_MORE_DATA && buffer.size() < 16384) {
      buffer.resize(std::min<std::size_t>(buffer.size() * 4, 16384));
      continue;
    }
    if (error == ERROR_SUCCESS) nom.assign(buffer.data(), llargada);
    return error;
  }
}

}  // namespace

CString TCarpetaRegistry::g_sCarpetaBaseApp;

TCarpetaRegistry::TCarpetaRegistry(const wchar_t* carpeta, HKEY arrel, int flag) : m_hArrel(arrel), m_nFlag(flag) {
  if (carpeta == nullptr) m_sCarpeta = ConstruirCarpetaApp(nullptr);
  else if (carpeta[0] == L'.') m_sCarpeta = ConstruirCarpetaApp(carpeta + 1);
  else m_sCarpeta = carpeta;
}

TCarpetaRegistry::TCarpetaRegistry(const TCarpetaRegistry* pare, const wchar_t* nom)
    : m_hArrel(pare->m_hArrel), m_sCarpeta(pare->m_sCarpeta + L"\\" + (nom != nullptr ? nom : L"")), m_nFlag(0) {}

TCarpetaRegistry::TCarpetaRegistry(const TCarpetaRegistry& other)
    : m_hArrel(other.m_hArrel), m_sCarpeta(other.m_sCarpeta), m_nFlag(0) {}

TCarpetaRegistry& TCarpetaRegistry::operator=(const TCarpetaRegistry& other) {
  if (this != &other) {
    TancarDelTot();
    m_hArrel = other.m_hArrel;
    m_sCarpeta = other.m_sCarpeta;
  }
  return *this;
}

TCarpetaRegistry::~TCarpetaRegistry() { TancarDelTot(); }

void TCarpetaRegistry::TancarDelTot() {
  if (m_hClau != nullptr) kwplat::RegCloseKey(m_hClau);
  m_hClau = nullptr;
  m_nObert = 0;
}

int TCarpetaRegistry::Obrir(unsigned long nMode) {
  if (m_nObert >= 1) {
    ++m_nObert;
    return 1;
  }
  const REGSAM access = (nMode & kNomesLectura) != 0 ? KEY_READ : KEY_ALL_ACCESS;
  LONG error = kwplat::RegOpenKeyExW(m_hArrel, m_sCarpeta, 0, access, &m_hClau);
  if (error == ERROR_FILE_NOT_FOUND && (nMode & kCrear) != 0) {
    wchar_t classe[] = L"";
    DWORD disposicio = 0;
    error = kwplat::RegCreateKeyExW(m_hArrel, m_sCarpeta, 0, classe, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, &m_sa,
                                    &m_hClau, &disposicio);
  }
  if (error != ERROR_SUCCESS) {
    m_hClau = nullptr;
    Fallada(error);
    return 0;
  }
  m_nObert = 1;
  return 1;
}

int TCarpetaRegistry::Tancar() {
  if (m_hClau == nullptr) return 1;
  if (--m_nObert <= 0) TancarDelTot();
  return 1;
}

int TCarpetaRegistry::SetClauBase(HKEY arrel) {
  m_hArrel = arrel;
  return 0;
}

TCarpetaRegistry* TCarpetaRegistry::GetSubcarpeta(const wchar_t* nom) const {
  CString cami = m_sCarpeta + L"\\" + (nom != nullptr ? nom : L"");
  return new TCarpetaRegistry(static_cast<const wchar_t*>(cami), m_hArrel, m_nFlag);
}

CString TCarpetaRegistry::ConstruirCarpetaApp(const wchar_t* sub) {
  CString carpeta = g_sCarpetaBaseApp;
  if (carpeta.IsEmpty()) {
    const CWinApp* app = AfxGetApp();
    const wchar_t* empresa = app != nullptr ? app->m_pszRegistryKey : nullptr;
    CString producte = app != nullptr && app->m_pszProfileName != nullptr ? app->m_pszProfileName : L"";
    if (producte.IsEmpty()) {
      wchar_t titol[256];
      producte = CString(titol, kwplat::LoadStringW(nullptr, kIdTitolAplicacio, titol, 256));
    }
    carpeta.Format(L"Software\\%s\\%s", empresa != nullptr && *empresa != L'\0' ? empresa : L"Tormel",
                   static_cast<const wchar_t*>(producte));
  }
  if (sub != nullptr && *sub != L'\0') {
    if (*sub != L'\\') carpeta += L'\\';
    carpeta += sub;
  }
  return carpeta;
}

void TCarpetaRegistry::SetCarpetaBaseApp(const wchar_t* base) { g_sCarpetaBaseApp = base != nullptr ? base : L""; }

CString TCarpetaRegistry::GetCarpetaBaseApp() { return g_sCarpetaBaseApp; }

// Writing.

int TCarpetaRegistry::Escriure(const wchar_t* nom, DWORD tipus, const void* dades, unsigned long mida) {
  ObertDurant obert(*this, kCrear);
  if (!obert) return kErrorObrir;
  LONG error = kwplat::RegSetValueExW(m_hClau, nom, 0, tipus, static_cast<const BYTE*>(dades), static_cast<DWORD>(mida));
  if (error != ERROR_SUCCESS) {
    Fallada(error);
    return kErrorEscriure;
  }
  return 0;
}

int TCarpetaRegistry::EntraValor(const wchar_t* nom, const wchar_t* valor) {
  if (valor == nullptr) valor = L"";
  return Escriure(nom, REG_SZ, valor, (std::wcslen(valor) + 1) * sizeof(wchar_t));
}

int TCarpetaRegistry::EntraValor(const wchar_t* nom, unsigned long valor) {
  const DWORD dword = static_cast<DWORD>(valor);
  return Escriure(nom, REG_DWORD, &dword, sizeof dword);
}

int TCarpetaRegistry::EntraValor(const wchar_t* nom, long valor) { return EntraValor(nom, static_cast<unsigned long>(valor)); }
int TCarpetaRegistry::EntraValor(const wchar_t* nom, int valor) { return EntraValor(nom, static_cast<unsigned long>(valor)); }
int TCarpetaRegistry::EntraValor(const wchar_t* nom, short valor) { return EntraValor(nom, static_cast<unsigned long>(valor)); }
int TCarpetaRegistry::EntraValor(const wchar_t* nom, unsigned short valor) {
  return EntraValor(nom, static_cast<unsigned long>(valor));
}

int TCarpetaRegistry::EntraValor(const wchar_t* nom, double valor) {
  CString text;
  text.Format(L"%f", valor);
  return EntraValor(nom, static_cast<const wchar_t*>(text));
}

int TCarpetaRegistry::EntraValor(const wchar_t* nom, float valor) { return EntraValor(nom, static_cast<double>(valor)); }

int TCarpetaRegistry::EntraValor(const wchar_t* nom, const CMultiString& valor) {
  return Escriure(nom, REG_MULTI_SZ, static_cast<const wchar_t*>(valor), valor.GetMidaBuffer() * sizeof(wchar_t));
}

int TCarpetaRegistry::EntraValor(const wchar_t* nom, void* dades, unsigned long mida) {
  return Escriure(nom, REG_BINARY, dades, mida);
}

// Reading.

bool TCarpetaRegistry::Llegir(const wchar_t* nom, std::string& dades) {
  ObertDurant obert(*this, kNomesLectura);
  if (!obert) return false;
  DWORD mida = 0;
  LONG error = kwplat::RegQueryValueExW(m_hClau, nom, nullptr, nullptr, nullptr, &mida);
  // Another process may change the value between the two calls: read until it fits.
  while (error == ERROR_SUCCESS || error == ERROR_MORE_DATA) {
    dades.resize(mida);
    error = kwplat::RegQueryValueExW(m_hClau, nom, nullptr, nullptr, reinterpret_cast<BYTE*>(dades.data()), &mida);
    if (error == ERROR_SUCCESS) {
      dades.resize(mida);
      return true;
    }
  }
  Fallada(error);
  return false;
}

int TCarpetaRegistry::LlegirDWORD(const wchar_t* nom, DWORD& valor) {
  ObertDurant obert(*this, kNomesLectura);
  if (!obert) return kValorPerDefecte;
  DWORD mida = sizeof valor;
  LONG error = kwplat::RegQueryValueExW(m_hClau, nom, nullptr, nullptr, reinterpret_cast<BYTE*>(&valor), &mida);
  if (error != ERROR_SUCCESS) {
    Fallada(error);
    return kValorPerDefecte;
  }
  return 0;
}

// The narrower and wider 32-bit reads keep the stored value's low part, signed or
// unsigned as their type is.
template <typename T>
int TCarpetaRegistry::TornaEnter(const wchar_t* nom, T& valor, T perDefecte) {
  DWORD dword = 0;
  const int resultat = LlegirDWORD(nom, dword);
  using Base = std::conditional_t<std::is_signed_v<T>, std::int32_t, DWORD>;
  valor = resultat == 0 ? static_cast<T>(static_cast<Base>(dword)) : perDefecte;
  return resultat;
}

int TCarpetaRegistry::TornaValor(const wchar_t* nom, int& valor, int perDefecte) {
  return TornaEnter(nom, valor, perDefecte);
}
int TCarpetaRegistry::TornaValor(const wchar_t* nom, long& valor, long perDefecte) {
  return TornaEnter(nom, valor, perDefecte);
}
int TCarpetaRegistry::TornaValor(const wchar_t* nom, unsigned long& valor, unsigned long perDefecte) {
  return TornaEnter(nom, valor, perDefecte);
}
int TCarpetaRegistry::TornaValor(const wchar_t* nom, short& valor, short perDefecte) {
  return TornaEnter(nom, valor, perDefecte);
}
int TCarpetaRegistry::TornaValor(const wchar_t* nom, unsigned short& valor, unsigned short perDefecte) {
  return TornaEnter(nom, valor, perDefecte);
}

int TCarpetaRegistry::TornaValor(const wchar_t* nom, double& valor, double perDefecte) {
  CString text;
  const int resultat = TornaValor(nom, text, nullptr);
  valor = resultat == 0 ? std::wcstod(text, nullptr) : perDefecte;
  return resultat;
}

int TCarpetaRegistry::TornaValor(const wchar_t* nom, float& valor, float perDefecte) {
  double real = 0;
  const int resultat = TornaValor(nom, real, 0.0);
  valor = resultat == 0 ? static_cast<float>(real) : perDefecte;
  return resultat;
}

int TCarpetaRegistry::TornaValor(const wchar_t* nom, CString& valor, const wchar_t* perDefecte) {
  std::string dades;
  if (!Llegir(nom, dades)) {
    valor = perDefecte != nullptr ? perDefecte : L"";
    return kValorPerDefecte;
  }
  // The text ends at its terminator, or at the end of a value stored without one.
  std::wstring text(dades.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), dades.data(), text.size() * sizeof(wchar_t));
  valor = text.c_str();
  return 0;
}

int TCarpetaRegistry::TornaValor(const wchar_t* nom, CMultiString& valor, const wchar_t* perDefecte) {
  std::string dades;
  if (!Llegir(nom, dades)) {
    valor = perDefecte != nullptr ? perDefecte : L"\0";
    return kValorPerDefecte;
  }
  // Two terminators more than stored, so that a list stored without its end is closed.
  const int caracters = static_cast<int>(dades.size() / sizeof(wchar_t));
  wchar_t* buffer = valor.GetBuffer(caracters + 2);
  std::memcpy(buffer, dades.data(), caracters * sizeof(wchar_t));
  buffer[caracters] = L'\0';
  buffer[caracters + 1] = L'\0';
  valor.ReleaseBuffer();
  return 0;
}

int TCarpetaRegistry::TornaValor(const wchar_t* nom, void* dades, unsigned long& mida, void* perDefecte) {
  ObertDurant obert(*this, kNomesLectura);
  DWORD llegits = static_cast<DWORD>(mida);
  LONG error = obert ? kwplat::RegQueryValueExW(m_hClau, nom, nullptr, nullptr, static_cast<BYTE*>(dades), &llegits)
                     : static_cast<LONG>(kwplat::GetLastError());
  if (error == ERROR_SUCCESS) {
    mida = llegits;
    return 0;
  }
  Fallada(error);
  if (dades != nullptr && perDefecte != nullptr) std::memcpy(dades, perDefecte, mida);
  return kValorPerDefecte;
}

int TCarpetaRegistry::TornaValorInt(const wchar_t* nom, int perDefecte) {
  int valor = 0;
  TornaValor(nom, valor, perDefecte);
  return valor;
}

int TCarpetaRegistry::TornaValorBool(const wchar_t* nom, int perDefecte) { return TornaValorInt(nom, perDefecte); }

double TCarpetaRegistry::TornaValorReal(const wchar_t* nom, double perDefecte) {
  double valor = 0;
  TornaValor(nom, valor, perDefecte);
  return valor;
}

CString TCarpetaRegistry::TornaValorString(const wchar_t* nom, const wchar_t* perDefecte) {
  CString valor;
  TornaValor(nom, valor, perDefecte);
  return valor;
}

void* TCarpetaRegistry::TornaValorBin(const wchar_t* nom, unsigned long& mida) {
  std::string dades;
  if (!Llegir(nom, dades)) {
    mida = 0;
    return nullptr;
  }
  // An empty value is still a block of its own for the caller to free.
  void* copia = std::malloc(dades.empty() ? 1 : dades.size());
  if (copia == nullptr) {
    mida = 0;
    return nullptr;
  }
  mida = dades.size();
  std::memcpy(copia, dades.data(), dades.size());
  return copia;
}

// Deleting.

int TCarpetaRegistry::BorrarValor(const wchar_t* nom) {
  ObertDurant obert(*this, kCrear);
  if (!obert) return kErrorObrir;
  if (nom == kTotsElsValors) {
    std::vector<std::wstring> noms;
    for (std::wstring valor; NomEnumerat(m_hClau, false, static_cast<DWORD>(noms.size()), valor) == ERROR_SUCCESS;) {
      noms.push_back(valor);
    }
    for (const std::wstring& valor : noms) {
      if (LONG error = kwplat::RegDeleteValueW(m_hClau, valor.c_str()); error != ERROR_SUCCESS) Fallada(error);
    }
    return 0;
  }
  if (LONG error = kwplat::RegDeleteValueW(m_hClau, nom); error != ERROR_SUCCESS) {
    Fallada(error);
    obert.Deixar();
    return kErrorBorrarValor;
  }
  return 0;
}

int TCarpetaRegistry::BorrarCarpeta(const wchar_t* nom) {
  if (nom != nullptr) {
    TCarpetaRegistry carpeta(this, nom);
    return carpeta.BorrarCarpeta(nullptr);
  }
  {
    ObertDurant obert(*this, 0);
    if (!obert) return kErrorObrir;
    std::wstring primer;
    while (NomEnumerat(m_hClau, false, 0, primer) == ERROR_SUCCESS) {
      if (int resultat = BorrarValor(primer.c_str()); resultat < 0) return resultat;
    }
    while (NomEnumerat(m_hClau, true, 0, primer) == ERROR_SUCCESS) {
      TCarpetaRegistry subcarpeta(this, primer.c_str());
      if (int resultat = subcarpeta.BorrarCarpeta(nullptr); resultat < 0) return resultat;
    }
  }
  if (LONG error = kwplat::RegDeleteKeyW(m_hArrel, m_sCarpeta); error != ERROR_SUCCESS) {
    Fallada(error);
    return kErrorBorrarCarpeta;
  }
  return 0;
}

// Enumeration.

int TCarpetaRegistry::NomIndex(bool carpetes, unsigned long i, CString& nom) {
  ObertDurant obert(*this, kNomesLectura);
  if (!obert) return 0;
  std::wstring text;
  if (NomEnumerat(m_hClau, carpetes, static_cast<DWORD>(i), text) != ERROR_SUCCESS) return 0;
  nom = text.c_str();
  return 1;
}

int TCarpetaRegistry::GetNomValorIndex(unsigned long i, CString& nom) { return NomIndex(false, i, nom); }

int TCarpetaRegistry::GetNomCarpetaIndex(unsigned long i, CString& nom) { return NomIndex(true, i, nom); }

int TCarpetaRegistry::EnumValors(int (*pfn)(TCarpetaRegistry*, const wchar_t*, unsigned long, __int64), __int64 lParam,
                                 unsigned long nMode) {
  ObertDurant obert(*this, nMode);
  if (!obert || pfn == nullptr) return 0;
  int resultat = 0;
  DWORD tipus = 0;
  std::wstring nom;
  for (DWORD i = 0; NomEnumerat(m_hClau, false, i, nom, &tipus) == ERROR_SUCCESS; ++i) {
    resultat = pfn(this, nom.c_str(), tipus, lParam);
    if (resultat < 0) break;
  }
  return resultat;
}

int TCarpetaRegistry::EnumSubcarpetes(int (*pfn)(TCarpetaRegistry*, const wchar_t*, __int64), __int64 lParam,
                                      unsigned long nMode) {
  ObertDurant obert(*this, nMode);
  if (!obert || pfn == nullptr) return 0;
  int resultat = 0;
  std::wstring nom;
  for (DWORD i = 0; NomEnumerat(m_hClau, true, i, nom) == ERROR_SUCCESS; ++i) {
    resultat = pfn(this, nom.c_str(), lParam);
    if (resultat < 0) break;
  }
  return resultat;
}

// Window state.

int TCarpetaRegistry::SaveWndState(const CWnd* pWnd, const wchar_t* nom) {
  WINDOWPLACEMENT wp{};
  wp.length = sizeof wp;
  if (pWnd == nullptr || !pWnd->GetWindowPlacement(&wp)) return 0;
  if (pWnd->IsZoomed()) wp.flags |= WPF_RESTORETOMAXIMIZED;
  CString text;
  text.Format(L"%u,%u,%d,%d,%d,%d,%d,%d,%d,%d", wp.flags, wp.showCmd, wp.ptMinPosition.x, wp.ptMinPosition.y,
              wp.ptMaxPosition.x, wp.ptMaxPosition.y, wp.rcNormalPosition.left, wp.rcNormalPosition.top,
              wp.rcNormalPosition.right, wp.rcNormalPosition.bottom);
  return EntraValor(nom, static_cast<const wchar_t*>(text)) == 0;
}

int TCarpetaRegistry::LoadWndState(CWnd* pWnd, const wchar_t* nom, int bMinimitzat) {
  CString text = TornaValorString(nom, L"");
  WINDOWPLACEMENT wp{};
  wp.length = sizeof wp;
  if (pWnd == nullptr ||
      std::swscanf(text, L"%u,%u,%d,%d,%d,%d,%d,%d,%d,%d", &wp.flags, &wp.showCmd, &wp.ptMinPosition.x,
                   &wp.ptMinPosition.y, &wp.ptMaxPosition.x, &wp.ptMaxPosition.y, &wp.rcNormalPosition.left,
                   &wp.rcNormalPosition.top, &wp.rcNormalPosition.right, &wp.rcNormalPosition.bottom) != 10) {
    return 0;
  }
  if (!bMinimitzat && (wp.showCmd == SW_SHOWMINIMIZED || wp.showCmd == SW_MINIMIZE || wp.showCmd == SW_SHOWMINNOACTIVE)) {
    wp.showCmd = SW_SHOWNORMAL;
  }
  return pWnd->SetWindowPlacement(&wp);
}

namespace {

// The window and value name the application shortcuts use by default.
CWnd* FinestraOPrincipal(CWnd* wnd) { return wnd != nullptr ? wnd : AfxGetMainWnd(); }
const wchar_t* NomOPerDefecte(const wchar_t* name) { return name != nullptr && *name != L'\0' ? name : L"MainWnd"; }

}  // namespace

BOOL AfxSaveWndState(CWnd* wnd, const wchar_t* name) {
  TCarpetaRegistry carpeta;
  return carpeta.SaveWndState(FinestraOPrincipal(wnd), NomOPerDefecte(name));
}

BOOL AfxLoadWndState(CWnd* wnd, const wchar_t* name, int bMinimitzat) {
  TCarpetaRegistry carpeta;
  return carpeta.LoadWndState(FinestraOPrincipal(wnd), NomOPerDefecte(name), bMinimitzat);
}
