// The operating system's version in Windows' terms: the running kernel's release
// (uname) read as major.minor with its patch level as the service pack, on a
// workstation product. A release "6.1.0-18-amd64" is version 6.1, service pack 0.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

using DWORDLONG = unsigned long long;
using USHORT = unsigned short;

struct KW_API OSVERSIONINFOEXW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  WCHAR szCSDVersion[128];
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  WORD wSuiteMask;
  BYTE wProductType;
  BYTE wReserved;
};

// Which fields VerifyVersionInfoW compares.
inline constexpr DWORD VER_MINORVERSION = 0x01;
inline constexpr DWORD VER_MAJORVERSION = 0x02;
inline constexpr DWORD VER_BUILDNUMBER = 0x04;
inline constexpr DWORD VER_PLATFORMID = 0x08;
inline constexpr DWORD VER_SERVICEPACKMINOR = 0x10;
inline constexpr DWORD VER_SERVICEPACKMAJOR = 0x20;
inline constexpr DWORD VER_PRODUCT_TYPE = 0x80;
// How.
inline constexpr BYTE VER_EQUAL = 1;
inline constexpr BYTE VER_GREATER = 2;
inline constexpr BYTE VER_GREATER_EQUAL = 3;
inline constexpr BYTE VER_LESS = 4;
inline constexpr BYTE VER_LESS_EQUAL = 5;

inline constexpr BYTE VER_NT_WORKSTATION = 1;
inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;
inline constexpr DWORD ERROR_OLD_WIN_VERSION = 1150;

namespace kwplat {

// Adds the comparison `condition` for the field `typeBit` to `mask`.
KW_API DWORDLONG VerSetConditionMask(DWORDLONG mask, DWORD typeBit, BYTE condition);
// TRUE when the system passes every comparison of `typeMask`; FALSE with
// ERROR_OLD_WIN_VERSION when it fails one, ERROR_INVALID_PARAMETER for an empty
// mask or a field without a condition. Major, minor and service pack (major, then
// minor) are compared as one version, with the first one's condition.
KW_API BOOL VerifyVersionInfoW(const OSVERSIONINFOEXW* wanted, DWORD typeMask, DWORDLONG conditionMask);
// The system's version record.
KW_API BOOL GetVersionExW(OSVERSIONINFOEXW* info);

}  // namespace kwplat
