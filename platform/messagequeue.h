// The calling thread's message queue: the GLib main context the thread pumps and
// its quit request. The main thread pumps the process's default context; another
// thread pumps the context it has made its thread default, or else one of its own.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// Posts a quit request with `exitCode` to the calling thread's queue.
KW_API void PostQuitMessage(int exitCode);

// Whether something is waiting: a quit request, or a source of the thread's
// context ready to dispatch.
KW_API BOOL HasPendingMessage();

// Pumps one message and returns TRUE: one iteration of the thread's context,
// waiting for a source when none is ready. When no source is ready and a quit
// request is waiting, removes it instead, stores its exit code in `exitCode`
// (when not null) and returns FALSE.
KW_API BOOL PumpOneMessage(int* exitCode);

// The calling thread's main context, as a GMainContext* (not referenced).
KW_API void* GetThreadMainContext();

}  // namespace kwplat
