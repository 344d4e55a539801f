// What the waits need of process handles (used by the wait functions only).
#pragma once

#include <kwlib63/platform/handle.h>

namespace kwplat::detail {

// The descriptor of a process object that becomes readable when it ends, or -1.
int ProcessPollFd(const HandleObject& process);
// Whether the process has ended (its end is recorded when it has).
bool ProcessEnded(HandleObject& process);

}  // namespace kwplat::detail
