// The calling thread's message queue: the GLib main context the thread pumps and
// its quit request. The main thread pumps the process's default context; another
// thread pumps the context it has made its thread default, or else one of its own.
#pragma once

#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// Posts a quit request with `exitCode` to the calling thread's queue.
void PostQuitMessage(int exitCode);

// Whether something is waiting: a quit request, or a source of the thread's
// context ready to dispatch.
BOOL HasPendingMessage();

// Pumps one message and returns TRUE: one iteration of the thread's context,
// waiting for a source when none is ready. When no source is ready and a quit
// request is waiting, removes it instead, stores its exit code in `exitCode`
// (when not null) and returns FALSE.
BOOL PumpOneMessage(int* exitCode);

// The calling thread's main context, as a GMainContext* (not referenced).
void* GetThreadMainContext();

}  // namespace kwplat
