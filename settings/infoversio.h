// CInfoVersio: the numbers of a file's version: major, minor, release, build, and
// the debug and pre-release flags.
#pragma once

#include <kwlib63/framework/export.h>

struct KW_API CInfoVersio {
  unsigned int nMajor = 0;
  unsigned int nMinor = 0;
  unsigned int nRelease = 0;
  unsigned int nBuild = 0;
  unsigned int bDebug = 0;
  unsigned int bPreRelease = 0;
};
