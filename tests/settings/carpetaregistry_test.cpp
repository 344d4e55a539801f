// TCarpetaRegistry on a private hive: the application folder rules, the open
// count, typed values as stored, defaults, a root that cannot be written, deletes,
// enumeration and window placements.
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/winapp.h>
#include <kwlib63/framework/wnd.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/settings/carpetaregistry.h>

#include "exestrings.h"
#include "support/privatehive.h"

namespace {

// Shows the open count and key, which the class keeps to itself.
class Carpeta : public TCarpetaRegistry {
 public:
  using TCarpetaRegistry::TCarpetaRegistry;
  int Obertures() const { return m_nObert; }
  bool Oberta() const { return m_hClau != nullptr; }
};

class CarpetaRegistryTest : public ::testing::Test {
 protected:
  kwtest::PrivateHive m_hive;
};

TEST_F(CarpetaRegistryTest, ApplicationFolderRules) {
  // No application object: the company is Tormel and the product the title string.
  const CString app = CString(L"Software\\Tormel\\") + kwtest::kTitle;
  EXPECT_EQ(TCarpetaRegistry().GetNom(), app);
  EXPECT_EQ(TCarpetaRegistry(L".\\Settings").GetNom(), app + L"\\Settings");
  EXPECT_EQ(TCarpetaRegistry(L".Settings").GetNom(), app + L"\\Settings");
  EXPECT_EQ(TCarpetaRegistry(L"Software\\Other").GetNom(), CString(L"Software\\Other"));
  TCarpetaRegistry pare(L"A");
  EXPECT_EQ(TCarpetaRegistry(&pare, L"B").GetNom(), CString(L"A\\B"));
  {
    CWinApp application(L"Editor");
    application.SetRegistryKey(L"Acme");
    EXPECT_EQ(TCarpetaRegistry(L".\\X").GetNom(), CString(L"Software\\Acme\\Editor\\X"));
    TCarpetaRegistry::SetCarpetaBaseApp(L"Base\\App");
    EXPECT_EQ(TCarpetaRegistry(L".\\X").GetNom(), CString(L"Base\\App\\X"));
    TCarpetaRegistry::SetCarpetaBaseApp(nullptr);
  }
  // A folder of the default application is really written there.
  ASSERT_EQ(TCarpetaRegistry().EntraValor(L"n", 7), 0);
  EXPECT_EQ(TCarpetaRegistry(app).TornaValorInt(L"n", 0), 7);
}

TEST_F(CarpetaRegistryTest, NestedOpensNeedAsManyCloses) {
  Carpeta carpeta(L"Software\\Nest");
  EXPECT_EQ(carpeta.Obrir(TCarpetaRegistry::kNomesLectura), 0);  // missing, and not to be made
  EXPECT_EQ(kwplat::GetLastError(), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(carpeta.Obrir(TCarpetaRegistry::kCrear), 1);
  ASSERT_EQ(carpeta.Obrir(0), 1);
  EXPECT_EQ(carpeta.EntraValor(L"v", 1), 0);  // an operation inside keeps the count
  EXPECT_EQ(carpeta.Obertures(), 2);
  carpeta.Tancar();
  EXPECT_TRUE(carpeta.Oberta());
  carpeta.Tancar();
  EXPECT_FALSE(carpeta.Oberta());
  EXPECT_EQ(carpeta.Tancar(), 1);
}

TEST_F(CarpetaRegistryTest, TypedValuesAndDefaults) {
  TCarpetaRegistry carpeta(L"Software\\Typed");
  int enter = 0;
  EXPECT_EQ(carpeta.TornaValor(L"missing", enter, 42), 2500);
  EXPECT_EQ(enter, 42);
  EXPECT_EQ(carpeta.TornaValorString(L"missing", L"def"), CString(L"def"));

  ASSERT_EQ(carpeta.EntraValor(L"real", 0.1), 0);
  EXPECT_EQ(carpeta.TornaValorString(L"real", nullptr), CString(L"0.100000"));
  EXPECT_EQ(carpeta.TornaValorReal(L"real", 0), 0.1);

  ASSERT_EQ(carpeta.EntraValor(L"short", static_cast<short>(-1)), 0);  // widened to 0xFFFFFFFF
  unsigned long llarg = 0;
  unsigned short curt = 0;
  EXPECT_EQ(carpeta.TornaValor(L"short", llarg, 0ul), 0);
  EXPECT_EQ(llarg, 0xFFFFFFFFul);
  EXPECT_EQ(carpeta.TornaValor(L"short", curt, static_cast<unsigned short>(0)), 0);
  EXPECT_EQ(curt, 0xFFFF);

  ASSERT_EQ(carpeta.EntraValor(L"text", L"héllo"), 0);
  EXPECT_EQ(carpeta.TornaValorString(L"text", nullptr), CString(L"héllo"));

  CMultiString llista;
  llista += L"one";
  llista += L"two";
  ASSERT_EQ(carpeta.EntraValor(L"multi", llista), 0);
  CMultiString llegida;
  ASSERT_EQ(carpeta.TornaValor(L"multi", llegida, nullptr), 0);
  ASSERT_EQ(llegida.GetNumStr(), 2);
  EXPECT_STREQ(llegida[1], L"two");

  unsigned char bytes[] = {1, 0, 2, 0xFF};
  ASSERT_EQ(carpeta.EntraValor(L"bin", bytes, 4ul), 0);
  unsigned long mida = 0;
  auto* copia = static_cast<unsigned char*>(carpeta.TornaValorBin(L"bin", mida));
  ASSERT_NE(copia, nullptr);
  EXPECT_EQ(std::vector<unsigned char>(copia, copia + mida), std::vector<unsigned char>(bytes, bytes + 4));
  std::free(copia);  // blocks handed out come from malloc
  ASSERT_EQ(carpeta.EntraValor(L"buit", bytes, 0ul), 0);
  mida = 9;
  void* buit = carpeta.TornaValorBin(L"buit", mida);
  EXPECT_NE(buit, nullptr);  // an empty value is still a block to free
  EXPECT_EQ(mida, 0u);
  std::free(buit);
  unsigned char llegits[4] = {}, perDefecte[4] = {9, 9, 9, 9};
  mida = 4;
  EXPECT_EQ(carpeta.TornaValor(L"nobin", llegits, mida, perDefecte), 2500);
  EXPECT_EQ(llegits[3], 9);
}

TEST_F(CarpetaRegistryTest, RootThatCannotBeWrittenGivesMinus2500) {
  // The hive would need a folder inside a regular file.
  kwplat::RegSetHiveFile(HKEY_LOCAL_MACHINE, kwfw::Utf8ToWide(m_hive.File() + "/no/HKLM.db").c_str());
  ASSERT_EQ(TCarpetaRegistry(L"Software\\Typed").EntraValor(L"x", 1), 0);  // makes the HKCU file
  TCarpetaRegistry maquina(L"Software\\Tormel", HKEY_LOCAL_MACHINE);
  EXPECT_EQ(maquina.EntraValor(L"x", 1), -2500);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(maquina.TornaValorInt(L"x", -3), -3);
  kwplat::RegSetHiveFile(HKEY_LOCAL_MACHINE, nullptr);
}

int Recollir(TCarpetaRegistry*, const wchar_t* nom, unsigned long tipus, __int64 lParam) {
  auto* noms = reinterpret_cast<std::vector<std::wstring>*>(lParam);
  noms->push_back(std::wstring(nom) + L":" + std::to_wstring(tipus));
  return noms->size() == 2 ? -7 : 1;
}

TEST_F(CarpetaRegistryTest, EnumerationAndDeletes) {
  Carpeta carpeta(L"Software\\Del");
  carpeta.EntraValor(L"a", 1);
  carpeta.EntraValor(L"b", L"x");
  carpeta.EntraValor(L"c", 2);
  std::unique_ptr<TCarpetaRegistry> sub(carpeta.GetSubcarpeta(L"Sub"));
  sub->EntraValor(L"s", 1);
  TCarpetaRegistry(sub.get(), L"Deep").EntraValor(L"d", 1);

  std::vector<std::wstring> noms;
  EXPECT_EQ(carpeta.EnumValors(Recollir, reinterpret_cast<__int64>(&noms), TCarpetaRegistry::kNomesLectura), -7);
  EXPECT_EQ(noms, (std::vector<std::wstring>{L"a:4", L"b:1"}));
  CString nom;
  EXPECT_EQ(carpeta.GetNomValorIndex(2, nom), 1);
  EXPECT_EQ(nom, CString(L"c"));
  EXPECT_EQ(carpeta.GetNomCarpetaIndex(0, nom), 1);
  EXPECT_EQ(nom, CString(L"Sub"));
  EXPECT_EQ(carpeta.GetNomCarpetaIndex(1, nom), 0);

  EXPECT_EQ(carpeta.BorrarValor(L"A"), 0);
  EXPECT_EQ(carpeta.BorrarValor(L"a"), -2504);
  EXPECT_EQ(carpeta.Obertures(), 1);  // left open on purpose
  carpeta.Tancar();
  EXPECT_EQ(carpeta.BorrarValor(TCarpetaRegistry::kTotsElsValors), 0);
  EXPECT_EQ(carpeta.GetNomValorIndex(0, nom), 0);

  EXPECT_EQ(carpeta.BorrarCarpeta(nullptr), 0);  // the sub-folders go with it
  EXPECT_EQ(carpeta.Obrir(TCarpetaRegistry::kNomesLectura), 0);
  EXPECT_EQ(TCarpetaRegistry(L"Software").GetNomCarpetaIndex(0, nom), 0);
}

int Comptar(TCarpetaRegistry*, const wchar_t* nom, unsigned long, __int64 lParam) {
  reinterpret_cast<std::vector<std::size_t>*>(lParam)->push_back(std::wcslen(nom));
  return 0;
}

int ComptarCarpetes(TCarpetaRegistry* carpeta, const wchar_t* nom, __int64 lParam) {
  return Comptar(carpeta, nom, 0, lParam);
}

TEST_F(CarpetaRegistryTest, LongNamesAreNeitherPassedOverNorTheEnd) {
  // Names longer than any fixed buffer of the enumerations, with short ones after.
  Carpeta carpeta(L"Software\\Long");
  const std::wstring value(16383, L'v'), key(255, L'k');
  carpeta.EntraValor(value.c_str(), 1);
  carpeta.EntraValor(L"after", 2);
  TCarpetaRegistry(&carpeta, key.c_str()).EntraValor(L"x", 1);
  TCarpetaRegistry(&carpeta, L"z").EntraValor(L"x", 1);
  std::vector<std::size_t> lengths;
  carpeta.EnumValors(Comptar, reinterpret_cast<__int64>(&lengths), TCarpetaRegistry::kNomesLectura);
  EXPECT_EQ(lengths, (std::vector<std::size_t>{16383, 5}));
  lengths.clear();
  carpeta.EnumSubcarpetes(ComptarCarpetes, reinterpret_cast<__int64>(&lengths), TCarpetaRegistry::kNomesLectura);
  EXPECT_EQ(lengths, (std::vector<std::size_t>{255, 1}));
  CString nom;
  ASSERT_EQ(carpeta.GetNomValorIndex(0, nom), 1);
  EXPECT_EQ(nom.GetLength(), 16383);
  EXPECT_EQ(carpeta.BorrarValor(TCarpetaRegistry::kTotsElsValors), 0);
  EXPECT_EQ(carpeta.GetNomValorIndex(0, nom), 0);
  EXPECT_EQ(carpeta.BorrarCarpeta(nullptr), 0);
  EXPECT_EQ(TCarpetaRegistry(L"Software").GetNomCarpetaIndex(0, nom), 0);
}

TEST_F(CarpetaRegistryTest, WindowPlacementsRoundTrip) {
  CWnd finestra;
  WINDOWPLACEMENT wp{sizeof wp, 0, SW_SHOWMINIMIZED, {-32000, -32000}, {-1, -1}, {10, 20, 630, 470}};
  ASSERT_TRUE(finestra.SetWindowPlacement(&wp));
  TCarpetaRegistry carpeta(L".\\Windows");
  ASSERT_TRUE(carpeta.SaveWndState(&finestra, L"Main"));
  EXPECT_EQ(carpeta.TornaValorString(L"Main", nullptr), CString(L"0,2,-32000,-32000,-1,-1,10,20,630,470"));

  CWnd restaurada;
  ASSERT_TRUE(carpeta.LoadWndState(&restaurada, L"Main", FALSE));
  WINDOWPLACEMENT llegit{};
  llegit.length = sizeof llegit;
  restaurada.GetWindowPlacement(&llegit);
  EXPECT_EQ(llegit.showCmd, SW_SHOWNORMAL);  // a minimised window comes back normal
  EXPECT_EQ(llegit.rcNormalPosition.right, 630);
  ASSERT_TRUE(carpeta.LoadWndState(&restaurada, L"Main", TRUE));
  restaurada.GetWindowPlacement(&llegit);
  EXPECT_EQ(llegit.showCmd, SW_SHOWMINIMIZED);
  EXPECT_FALSE(carpeta.LoadWndState(&restaurada, L"Absent", FALSE));

  // The application shortcuts: the main window and "MainWnd" by default; a
  // maximised window is saved to come back maximised.
  CWinApp application(L"Editor");
  CWnd principal;
  application.m_pMainWnd = &principal;
  wp.showCmd = SW_SHOWMAXIMIZED;
  principal.SetWindowPlacement(&wp);
  ASSERT_TRUE(AfxSaveWndState(nullptr, nullptr));
  EXPECT_EQ(TCarpetaRegistry().TornaValorString(L"MainWnd", nullptr), CString(L"2,3,-32000,-32000,-1,-1,10,20,630,470"));
  CWnd altra;
  ASSERT_TRUE(AfxLoadWndState(&altra, L"", FALSE));
  EXPECT_TRUE(altra.IsZoomed());
  application.m_pMainWnd = nullptr;
}

}  // namespace
