#include <kwlib63/platform/osversion.h>

#include <sys/utsname.h>

#include <array>
#include <cstdio>

#include <kwlib63/platform/lasterror.h>

namespace kwplat {
namespace {

// Each field's condition takes three bits of the mask, in the order of the bits.
constexpr DWORD kFields[] = {VER_MINORVERSION,     VER_MAJORVERSION,     VER_BUILDNUMBER, VER_PLATFORMID,
                             VER_SERVICEPACKMINOR, VER_SERVICEPACKMAJOR, 0x40,            VER_PRODUCT_TYPE};

int Shift(DWORD typeBit) {
  for (int i = 0; i < 8; ++i) {
    if (kFields[i] == typeBit) return 3 * i;
  }
  return -1;
}

BYTE ConditionOf(DWORDLONG mask, DWORD typeBit) {
  const int shift = Shift(typeBit);
  return shift < 0 ? 0 : static_cast<BYTE>((mask >> shift) & 7);
}

template <typename T>
bool Holds(const T& system, const T& wanted, BYTE condition) {
  switch (condition) {
    case VER_EQUAL: return system == wanted;
    case VER_GREATER: return system > wanted;
    case VER_GREATER_EQUAL: return system >= wanted;
    case VER_LESS: return system < wanted;
    case VER_LESS_EQUAL: return system <= wanted;
    default: return false;
  }
}

// The running kernel's release cannot change under a process, so it is read once:
// the version probe made when the library loads asks hundreds of times.
OSVERSIONINFOEXW SystemVersion() {
  static const OSVERSIONINFOEXW system = [] {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    info.dwPlatformId = VER_PLATFORM_WIN32_NT;
    info.wProductType = VER_NT_WORKSTATION;
    utsname name{};
    unsigned major = 0, minor = 0, patch = 0;
    if (uname(&name) == 0) std::sscanf(name.release, "%u.%u.%u", &major, &minor, &patch);
    info.dwMajorVersion = major;
    info.dwMinorVersion = minor;
    info.wServicePackMajor = static_cast<WORD>(patch > 0xFFFF ? 0xFFFF : patch);
    return info;
  }();
  return system;
}

}  // namespace

DWORDLONG VerSetConditionMask(DWORDLONG mask, DWORD typeBit, BYTE condition) {
  const int shift = Shift(typeBit);
  if (shift < 0) return mask;
  return (mask & ~(DWORDLONG{7} << shift)) | (DWORDLONG{condition & 7u} << shift);
}

BOOL VerifyVersionInfoW(const OSVERSIONINFOEXW* wanted, DWORD typeMask, DWORDLONG conditionMask) {
  if (wanted == nullptr || typeMask == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  for (DWORD field : kFields) {
    if ((typeMask & field) != 0 && ConditionOf(conditionMask, field) == 0) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
    }
  }
  const OSVERSIONINFOEXW system = SystemVersion();
  bool passes = true;
  // The version fields asked for, compared as one number from the most significant.
  constexpr DWORD kVersionFields[] = {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR, VER_SERVICEPACKMINOR};
  const DWORD systemParts[] = {system.dwMajorVersion, system.dwMinorVersion, system.wServicePackMajor,
                               system.wServicePackMinor};
  const DWORD wantedParts[] = {wanted->dwMajorVersion, wanted->dwMinorVersion, wanted->wServicePackMajor,
                               wanted->wServicePackMinor};
  BYTE condition = 0;
  std::array<DWORD, 4> ours{}, theirs{};
  for (int i = 0; i < 4; ++i) {
    if ((typeMask & kVersionFields[i]) == 0) continue;
    if (condition == 0) condition = ConditionOf(conditionMask, kVersionFields[i]);
    ours[i] = systemParts[i];
    theirs[i] = wantedParts[i];
  }
  if (condition != 0) passes = Holds(ours, theirs, condition);
  if ((typeMask & VER_BUILDNUMBER) != 0) {
    passes = passes && Holds(system.dwBuildNumber, wanted->dwBuildNumber, ConditionOf(conditionMask, VER_BUILDNUMBER));
  }
  if ((typeMask & VER_PLATFORMID) != 0) {
    passes = passes && Holds(system.dwPlatformId, wanted->dwPlatformId, ConditionOf(conditionMask, VER_PLATFORMID));
  }
  if ((typeMask & VER_PRODUCT_TYPE) != 0) {
    passes = passes && Holds(system.wProductType, wanted->wProductType, ConditionOf(conditionMask, VER_PRODUCT_TYPE));
  }
  if (!passes) SetLastError(ERROR_OLD_WIN_VERSION);
  return passes ? TRUE : FALSE;
}

BOOL GetVersionExW(OSVERSIONINFOEXW* info) {
  if (info == nullptr || info->dwOSVersionInfoSize != sizeof(OSVERSIONINFOEXW)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  *info = SystemVersion();
  return TRUE;
}

}  // namespace kwplat
