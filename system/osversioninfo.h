// COSVersionInfo: the running system's version (major, minor, service pack) as the
// library has always probed it, its display name and version text, and tests
// against given versions; one constant instance for the process. The shell
// library version functions read the version a shared library reports through
// its "DllGetVersion" entry, which libkwlib63 itself exports.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class KW_API COSVersionInfo {
 public:
  // Probes majors 1 to 10, minors 0 to 4 and service packs 0 to 9: the result is the
  // highest of those not above the system's version.
  COSVersionInfo();

  unsigned short GetMajorVersion() const { return m_wMajor; }
  unsigned short GetMinorVersion() const { return m_wMinor; }
  // "major.minor", with " SPn" after it for a service pack. Always 1.
  int GetVersio(CString& versio) const;
  // The system's name by the library's long-standing naming rule (see the table
  // in docs/platform.md).
  CString GetNom() const;
  // 1 when the system is at least major.minor; the service pack is not tested.
  int TestVersio(unsigned short major, unsigned short minor, int servicePack) const;

  int EsWindowsNT351(int servicePack) const { return TestVersio(3, 51, servicePack); }
  int EsWindowsNT4(int servicePack) const { return TestVersio(4, 0, servicePack); }
  int EsWindows2000(int servicePack) const { return TestVersio(5, 0, servicePack); }
  int EsWindowsXP(int servicePack) const { return TestVersio(5, 1, servicePack); }
  int EsWindows95(int) const { return 0; }
  int EsWindows98(int) const { return 0; }
  int EsWindowsMe(int) const { return 0; }
  int EsWindows9x() const { return 0; }
  int EsWindowsNT() const { return 1; }

  unsigned short m_wMajor = 0;
  unsigned short m_wMinor = 0;
  unsigned short m_wServicePack = 0;
};

KW_API const COSVersionInfo* AfxGetOSVersionInfo();

// The version record of "DllGetVersion".
struct KW_API DLLVERSIONINFO {
  DWORD cbSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformID;
};
inline constexpr DWORD DLLVER_PLATFORM_NT = 2;

// The version of the library at `dllPath` packed as major << 16 | minor, 0 when it
// cannot be loaded or has no "DllGetVersion".
KW_API unsigned long AfxGetShellDllVersion(const wchar_t* dllPath);
KW_API int AfxTestShellDllVersion(const wchar_t* dllPath, unsigned short major, unsigned short minor);
KW_API int AfxTestShellDllVersion(const wchar_t* dllPath, unsigned long packed);

// libkwlib63's own version (the project's major, minor and patch as the build).
extern "C" KW_API HRESULT DllGetVersion(DLLVERSIONINFO* info);
