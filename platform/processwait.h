// What the waits need of process handles (used by the wait functions only).
#pragma once

#include <kwlib63/platform/handletable.h>

namespace kwplat::detail {

// The descriptor of a process object that becomes readable when it ends, or -1
// when none could be made for it (the descriptors had run out): a wait then looks
// at the process now and then.
int ProcessPollFd(const HandleObject& process);
// Whether the process has ended (its end is recorded when it has).
bool ProcessEnded(HandleObject& process);

}  // namespace kwplat::detail
