#include <kwlib63/platform/debugoutput.h>

#include <cstdio>
#include <fstream>
#include <mutex>
#include <string>

#include <kwlib63/framework/textconv.h>

namespace {

void DefaultSink(const wchar_t* text, void*) {
  if (!kwplat::IsDebuggerPresent()) return;
  const std::string utf8 = kwfw::WideToUtf8(text);
  std::fwrite(utf8.data(), 1, utf8.size(), stderr);
}

std::mutex g_sinkLock;  // guards g_sink, g_sinkContext
AFX_DEBUG_OUTPUT_SINK g_sink = DefaultSink;
void* g_sinkContext = nullptr;

}  // namespace

AFX_DEBUG_OUTPUT_SINK AfxSetDebugOutputSink(AFX_DEBUG_OUTPUT_SINK sink, void* context, void** previousContext) {
  std::lock_guard lock(g_sinkLock);
  AFX_DEBUG_OUTPUT_SINK previous = g_sink;
  if (previousContext != nullptr) *previousContext = g_sinkContext;
  g_sink = sink != nullptr ? sink : DefaultSink;
  g_sinkContext = sink != nullptr ? context : nullptr;
  return previous;
}

namespace kwplat {

void OutputDebugStringW(LPCWSTR text) {
  if (text == nullptr) return;
  AFX_DEBUG_OUTPUT_SINK sink;
  void* context;
  {
    std::lock_guard lock(g_sinkLock);
    sink = g_sink;
    context = g_sinkContext;
  }
  sink(text, context);
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
