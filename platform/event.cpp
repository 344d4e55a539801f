// Events as eventfds: the descriptor is readable exactly while the event is
// signalled, and every change of state happens under the event's mutex, so a
// wait polls the descriptors and then takes the event under its lock. Waits also
// take process handles, polled through their pidfd (looked at every 10 ms when
// the child was made with no descriptor left for one).
#include <kwlib63/platform/event.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <memory>
#include <optional>
#include <vector>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/processwait.h>
#include <kwlib63/platform/queuepoll.h>
#include <kwlib63/platform/uniquefd.h>

namespace kwplat {
namespace {

// How often a wait looks at a process that has no descriptor to poll.
constexpr int kUnwatchedProcessMs = 10;

struct Event : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kEvent;
  bool manualReset;
  UniqueFd fd;
  std::mutex lock;               // guards the state changes below and the descriptor's count
  std::atomic<bool> signalled;   // written under the lock; read without it where nothing changes

  Event(bool manual, UniqueFd eventFd)
      : HandleObject(kKind),
        manualReset(manual),
        fd(std::move(eventFd)),
        signalled(false) {}

  void SetLocked() {
    if (signalled) return;
    signalled = true;
    const std::uint64_t one = 1;
    (void)!write(fd.Get(), &one, sizeof one);
  }
  void ResetLocked() {
    if (!signalled) return;
    signalled = false;
    std::uint64_t count;
    (void)!read(fd.Get(), &count, sizeof count);
  }
  // Takes the event for a released wait: an auto-reset event is reset.
  void TakeLocked() {
    if (!manualReset) ResetLocked();
  }
};

// Takes every event at once, or none: locks them in address order.
bool TakeAll(std::vector<Event*> events) {
  std::sort(events.begin(), events.end());
  events.erase(std::unique(events.begin(), events.end()), events.end());
  for (Event* e : events) e->lock.lock();
  const bool all = std::all_of(events.begin(), events.end(), [](Event* e) { return e->signalled.load(); });
  if (all) {
    for (Event* e : events) e->TakeLocked();
  }
  for (Event* e : events) e->lock.unlock();
  return all;
}

// One object a wait watches: an event, or a process, which is signalled once it
// has ended and stays so (taking it changes nothing). The wait holds the object,
// so a handle closed during the wait leaves it waiting on a live object.
struct Waitable {
  std::shared_ptr<Event> event;
  std::shared_ptr<HandleObject> process;
  bool Ended() const { return detail::ProcessEnded(*process); }
  int Fd() const { return event != nullptr ? event->fd.Get() : detail::ProcessPollFd(*process); }
  bool Signalled() const { return event != nullptr ? event->signalled.load() : Ended(); }
};

// Takes the first signalled object, in order; -1 when none is.
int TakeAny(const Waitable* items, DWORD count) {
  for (DWORD i = 0; i < count; ++i) {
    Event* e = items[i].event.get();
    if (e == nullptr) {
      if (items[i].Ended()) return static_cast<int>(i);
      continue;
    }
    // Taking a manual-reset event changes nothing, so its state is read without the lock.
    if (e->manualReset) {
      if (e->signalled.load(std::memory_order_acquire)) return static_cast<int>(i);
      continue;
    }
    std::lock_guard guard(e->lock);
    if (e->signalled) {
      e->TakeLocked();
      return static_cast<int>(i);
    }
  }
  return -1;
}

// Every process has ended and every event is taken at once, or nothing is taken.
bool TakeAll(const Waitable* items, DWORD count) {
  std::vector<Event*> events;
  for (DWORD i = 0; i < count; ++i) {
    if (items[i].event != nullptr) events.push_back(items[i].event.get());
    else if (!items[i].Ended()) return false;
  }
  return TakeAll(std::move(events));
}

DWORD Wait(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds, bool withQueue) {
  if (count > MAXIMUM_WAIT_OBJECTS || (count > 0 && handles == nullptr) || (count == 0 && !withQueue)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  Waitable items[MAXIMUM_WAIT_OBJECTS];
  for (DWORD i = 0; i < count; ++i) {
    items[i].event = FindHandle<Event>(handles[i]);
    if (items[i].event != nullptr) continue;
    items[i].process = CheckedHandle(handles[i], HandleKind::kProcess);
    if (items[i].process == nullptr) return WAIT_FAILED;
  }
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> deadline;
  bool polledOnce = false;
  std::vector<pollfd> fds;
  for (;;) {
    if (waitAll) {
      if (count > 0 && TakeAll(items, count)) return WAIT_OBJECT_0;
    } else if (const int i = TakeAny(items, count); i >= 0) {
      return WAIT_OBJECT_0 + static_cast<DWORD>(i);
    }
    std::optional<detail::QueuePoll> queue;
    if (withQueue) {
      queue.emplace();
      if (queue->Ready()) return WAIT_OBJECT_0 + count;
    }
    int timeout = -1;
    if (milliseconds == 0) {
      // One look at the descriptors without waiting, then the time-out.
      if (polledOnce) return WAIT_TIMEOUT;
      polledOnce = true;
      timeout = 0;
    } else if (milliseconds != INFINITE) {
      if (!deadline) deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
      // Rounded up: truncating would turn the last fraction of a millisecond, and
      // so a whole 1 ms wait, into no wait at all.
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
      if (left <= 0) return WAIT_TIMEOUT;
      timeout = static_cast<int>(std::min<long long>(left, 1 << 30));
    }
    fds.clear();
    // With waitAll, an object already signalled is not polled: it would wake every time.
    bool unwatched = false;
    for (DWORD i = 0; i < count; ++i) {
      if (waitAll && items[i].Signalled()) continue;
      const int fd = items[i].Fd();
      if (fd >= 0) fds.push_back({fd, POLLIN, 0});
      else unwatched = true;
    }
    // A process without a descriptor is looked at again after a while instead.
    if (unwatched && (timeout < 0 || timeout > kUnwatchedProcessMs)) timeout = kUnwatchedProcessMs;
    if (queue) queue->Query(fds, timeout);
    const int n = poll(fds.data(), fds.size(), timeout);
    if (n < 0 && errno != EINTR) {
      SetLastErrorFromErrno();
      return WAIT_FAILED;
    }
    if (queue && queue->Check(fds)) return WAIT_OBJECT_0 + count;
  }
}

}  // namespace

HANDLE CreateEventW(void*, BOOL manualReset, BOOL initialState, LPCWSTR) {
  UniqueFd fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!fd) {
    SetLastErrorFromErrno();
    return nullptr;
  }
  auto e = std::make_shared<Event>(manualReset != FALSE, std::move(fd));
  if (initialState) e->SetLocked();
  return OpenHandle(std::move(e));
}

BOOL SetEvent(HANDLE event) {
  const std::shared_ptr<Event> e = CheckedHandle<Event>(event);
  if (e == nullptr) return FALSE;
  std::lock_guard guard(e->lock);
  e->SetLocked();
  return TRUE;
}

BOOL ResetEvent(HANDLE event) {
  const std::shared_ptr<Event> e = CheckedHandle<Event>(event);
  if (e == nullptr) return FALSE;
  std::lock_guard guard(e->lock);
  e->ResetLocked();
  return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  // The common case first: a signalled event, taken without the general wait.
  if (std::shared_ptr<Event> e = FindHandle<Event>(handle); e != nullptr && TakeAny(std::array{Waitable{e, nullptr}}.data(), 1) == 0) {
    return WAIT_OBJECT_0;
  }
  return Wait(1, &handle, FALSE, milliseconds, false);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds) {
  return Wait(count, handles, waitAll, milliseconds, false);
}

DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds, DWORD wakeMask) {
  return Wait(count, handles, waitAll, milliseconds, wakeMask != 0);
}

}  // namespace kwplat
