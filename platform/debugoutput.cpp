#include <kwlib63/platform/debugoutput.h>

#include <cstdio>
#include <fstream>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/hookslot.h>

namespace {

void DefaultSink(const wchar_t* text, void*) {
  if (!kwplat::IsDebuggerPresent()) return;
  const std::string utf8 = kwfw::WideToUtf8(text);
  std::fwrite(utf8.data(), 1, utf8.size(), stderr);
}

kwplat::HookSlot<AFX_DEBUG_OUTPUT_SINK> g_sink(DefaultSink);

}  // namespace

AFX_DEBUG_OUTPUT_SINK AfxSetDebugOutputSink(AFX_DEBUG_OUTPUT_SINK sink, void* context, void** previousContext) {
  return g_sink.Set(sink, context, previousContext);
}

namespace kwplat {

void OutputDebugStringW(LPCWSTR text) {
  if (text != nullptr) g_sink.Call(text);
}

void OutputDebugStringA(LPCSTR text) {
  if (text == nullptr) return;
  OutputDebugStringW(kwfw::Utf8ToWide(text).c_str());
}

bool IsDebuggerPresent() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("TracerPid:", 0) == 0) return std::stol(line.substr(10)) != 0;
  }
  return false;
}

}  // namespace kwplat
