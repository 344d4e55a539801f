// Event objects and waits (CreateEventW, SetEvent, WaitForMultipleObjects, ...),
// and the wait that also wakes for the calling thread's message queue
// (MsgWaitForMultipleObjects). An event is an eventfd that is readable while the
// event is signalled, so that it can be polled beside the descriptors of a GLib
// main context.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/handle.h>

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;
inline constexpr DWORD QS_ALLINPUT = 0x04FF;

namespace kwplat {

// A new event, signalled when `initialState` is set; a manual-reset event stays
// signalled until reset, an auto-reset one is reset by the wait it releases.
// Null with the last error set when the system refuses a descriptor.
KW_API HANDLE CreateEventW(void* security, BOOL manualReset, BOOL initialState, LPCWSTR name);
KW_API BOOL SetEvent(HANDLE event);
KW_API BOOL ResetEvent(HANDLE event);
// CloseHandle (handle.h) closes an event.

// Waits until one (or, with `waitAll`, every) event is signalled (a process
// handle counts as signalled once the process has ended), or the time-out
// in milliseconds passes. WAIT_OBJECT_0 + i names the event that released the wait
// (the first one with `waitAll`), WAIT_TIMEOUT the time-out, WAIT_FAILED a bad
// argument (last error ERROR_INVALID_PARAMETER or ERROR_INVALID_HANDLE).
KW_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
KW_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds);
// The same, and WAIT_OBJECT_0 + count when the calling thread's message queue has
// something to pump (a source ready in its main context, or a quit request) and
// `wakeMask` is not 0. Nothing is dispatched.
KW_API DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds,
                                       DWORD wakeMask);

}  // namespace kwplat
