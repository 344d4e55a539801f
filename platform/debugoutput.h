// The debugger output (OutputDebugStringW). Text goes to a replaceable sink; the
// default sink writes it to standard error, and only while a debugger is attached
// to the process, so that a program run normally prints none of it.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

// Receives each piece of debugger output as it is written. May be called from
// any thread; calls are not serialised.
using AFX_DEBUG_OUTPUT_SINK = void (*)(const wchar_t* text, void* context);

// Installs `sink` (null restores the default) and returns the previous one, whose
// context is stored in `previousContext` when that is not null.
KW_API AFX_DEBUG_OUTPUT_SINK AfxSetDebugOutputSink(AFX_DEBUG_OUTPUT_SINK sink, void* context,
                                                   void** previousContext = nullptr);

namespace kwplat {

KW_API void OutputDebugStringW(LPCWSTR text);
KW_API void OutputDebugStringA(LPCSTR text);

// Whether a tracer (a debugger) is attached to this process.
KW_API bool IsDebuggerPresent();

}  // namespace kwplat
