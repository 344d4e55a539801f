#include <kwlib63/platform/clock.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

namespace {
std::atomic<const KW_CLOCK*> g_clock{nullptr};
}  // namespace

void AfxSetClock(const KW_CLOCK* clock) { g_clock.store(clock); }

namespace kwplat {

unsigned long long GetTickCount64() {
  if (const KW_CLOCK* c = g_clock.load()) return c->tickCount64(c->context);
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<unsigned long long>(ts.tv_sec) * 1000ULL + static_cast<unsigned long long>(ts.tv_nsec) / 1000000ULL;
}

long long Time64() {
  if (const KW_CLOCK* c = g_clock.load()) return c->time64(c->context);
  return static_cast<long long>(std::time(nullptr));
}

void Sleep(DWORD milliseconds) {
  if (const KW_CLOCK* c = g_clock.load(); c != nullptr && c->sleep != nullptr) return c->sleep(milliseconds, c->context);
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace kwplat
