#include <kwlib63/system/osversioninfo.h>

#include <kwlib63/platform/module.h>
#include <kwlib63/platform/osversion.h>

namespace {

// Whether the system is at least major.minor with service pack `servicePack`,
// compared as one version.
bool AlMenys(unsigned major, unsigned minor, unsigned servicePack) {
  OSVERSIONINFOEXW versio{};
  versio.dwOSVersionInfoSize = sizeof versio;
  versio.dwMajorVersion = major;
  versio.dwMinorVersion = minor;
  versio.wServicePackMajor = static_cast<WORD>(servicePack);
  DWORDLONG condicions = kwplat::VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
  condicions = kwplat::VerSetConditionMask(condicions, VER_MINORVERSION, VER_GREATER_EQUAL);
  condicions = kwplat::VerSetConditionMask(condicions, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
  return kwplat::VerifyVersionInfoW(&versio, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR,
                                    condicions) != FALSE;
}

bool EsEstacioDeTreball() {
  OSVERSIONINFOEXW versio{};
  versio.dwOSVersionInfoSize = sizeof versio;
  versio.wProductType = VER_NT_WORKSTATION;
  return kwplat::VerifyVersionInfoW(&versio, VER_PRODUCT_TYPE,
                                    kwplat::VerSetConditionMask(0, VER_PRODUCT_TYPE, VER_EQUAL)) != FALSE;
}

const COSVersionInfo g_osVersionInfo;

}  // namespace

COSVersionInfo::COSVersionInfo() {
  for (unsigned short major = 1; major <= 10; ++major) {
    for (unsigned short minor = 0; minor <= 4; ++minor) {
      for (unsigned short servicePack = 0; servicePack <= 9; ++servicePack) {
        if (AlMenys(major, minor, servicePack)) {
          m_wMajor = major;
          m_wMinor = minor;
          m_wServicePack = servicePack;
        }
      }
    }
  }
}

int COSVersionInfo::GetVersio(CString& versio) const {
  if (m_wServicePack == 0) versio.Format(L"%d.%d", m_wMajor, m_wMinor);
  else versio.Format(L"%d.%d SP%d", m_wMajor, m_wMinor, m_wServicePack);
  return 1;
}

CString COSVersionInfo::GetNom() const {
  // Each passing test replaces the name; the last one wins, so a server of 6.0 or
  // later ends with a client's name, as the rule has always had it.
  struct Prova {
    unsigned major, minor, servicePack;
    const wchar_t* nom;
  };
  constexpr Prova kAbansDelServidor[] = {
      {5, 1, 0, L"Microsoft Windows XP "},
      {5, 1, 1, L"Microsoft Windows XP SP1"},
      {5, 1, 2, L"Microsoft Windows XP SP2"},
      {5, 1, 3, L"Microsoft Windows XP SP3"},
  };
  constexpr Prova kDespresDelServidor[] = {
      {6, 0, 0, L"Microsoft Windows Vista"},  {6, 0, 1, L"Microsoft Windows Vista SP1"},
      {6, 0, 2, L"Microsoft Windows Vista SP1"}, {6, 1, 0, L"Microsoft Windows 7"},
      {6, 1, 1, L"Microsoft Windows 7 SP1"},  {6, 2, 0, L"Microsoft Windows 8"},
      {6, 3, 0, L"Microsoft Windows 8.1"},    {10, 0, 0, L"Microsoft Windows 10"},
  };
  CString nom;
  for (const Prova& prova : kAbansDelServidor) {
    if (AlMenys(prova.major, prova.minor, prova.servicePack)) nom = prova.nom;
  }
  if (!EsEstacioDeTreball()) nom = L"Microsoft Windows Server";
  for (const Prova& prova : kDespresDelServidor) {
    if (AlMenys(prova.major, prova.minor, prova.servicePack)) nom = prova.nom;
  }
  return nom;
}

int COSVersionInfo::TestVersio(unsigned short major, unsigned short minor, int) const {
  return AlMenys(major, minor, 0) ? 1 : 0;
}

const COSVersionInfo* AfxGetOSVersionInfo() { return &g_osVersionInfo; }

unsigned long AfxGetShellDllVersion(const wchar_t* dllPath) {
  HMODULE biblioteca = kwplat::LoadLibraryW(dllPath);
  if (biblioteca == nullptr) return 0;
  unsigned long versio = 0;
  using GetVersion = HRESULT (*)(DLLVERSIONINFO*);
  if (auto getVersion = reinterpret_cast<GetVersion>(kwplat::GetProcAddress(biblioteca, "DllGetVersion"))) {
    DLLVERSIONINFO info{};
    info.cbSize = sizeof info;
    if (getVersion(&info) >= 0) versio = (info.dwMajorVersion << 16) + (info.dwMinorVersion & 0xFFFF);
  }
  kwplat::FreeLibrary(biblioteca);
  return versio;
}

int AfxTestShellDllVersion(const wchar_t* dllPath, unsigned short major, unsigned short minor) {
  return AfxTestShellDllVersion(dllPath, (static_cast<unsigned long>(major) << 16) + minor);
}

int AfxTestShellDllVersion(const wchar_t* dllPath, unsigned long packed) {
  return AfxGetShellDllVersion(dllPath) >= packed ? 1 : 0;
}

extern "C" HRESULT DllGetVersion(DLLVERSIONINFO* info) {
  if (info == nullptr || info->cbSize != sizeof(DLLVERSIONINFO)) return E_INVALIDARG;
  info->dwMajorVersion = KW_VERSION_MAJOR;
  info->dwMinorVersion = KW_VERSION_MINOR;
  info->dwBuildNumber = KW_VERSION_PATCH;
  info->dwPlatformID = DLLVER_PLATFORM_NT;
  return 0;
}
