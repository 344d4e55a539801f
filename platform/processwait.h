// What the waits need of process handles (used by the wait functions only).
#pragma once

#include <kwlib63/framework/wintypes.h>

namespace kwplat::detail {

// The descriptor that becomes readable when the process ends, or -1.
int ProcessPollFd(HANDLE process);
// Whether the process has ended (its end is recorded when it has).
bool ProcessEnded(HANDLE process);

}  // namespace kwplat::detail
