// The two clocks the library reads: a monotonic tick count in milliseconds
// (GetTickCount64) and the wall-clock time in seconds since 1970 (_time64). Both
// can be replaced for the whole process, so that timing rules are tested without
// waiting.
#pragma once

#include <kwlib63/framework/wintypes.h>

struct KW_CLOCK {
  unsigned long long (*tickCount64)(void* context);
  long long (*time64)(void* context);
  void* context;
};

// Installs `clock` (null restores the system's clocks). The structure must outlive
// its use.
void AfxSetClock(const KW_CLOCK* clock);

namespace kwplat {
unsigned long long GetTickCount64();
long long Time64();
}  // namespace kwplat
