// The two clocks the library reads: a monotonic tick count in milliseconds
// (GetTickCount64) and the wall-clock time in seconds since 1970 (_time64), and
// the library's pauses (Sleep). All can be replaced for the whole process, so that
// timing rules are tested without waiting.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

struct KW_API KW_CLOCK {
  unsigned long long (*tickCount64)(void* context);
  long long (*time64)(void* context);
  void* context;
  // Pauses for `milliseconds`; null pauses the thread for real.
  void (*sleep)(unsigned long milliseconds, void* context);
};

// Installs `clock` (null restores the system's clocks). The structure must outlive
// its use.
KW_API void AfxSetClock(const KW_CLOCK* clock);

namespace kwplat {
KW_API unsigned long long GetTickCount64();
KW_API long long Time64();
KW_API void Sleep(DWORD milliseconds);
// The tick count's low 32 bits, which wrap after 49.7 days.
inline DWORD GetTickCount() { return static_cast<DWORD>(GetTickCount64()); }
}  // namespace kwplat
