#include <kwlib63/platform/callermemory.h>

#include <pthread.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace kwplat {
namespace {

// The calling thread's stack, [low, top), or an empty range when it cannot be told.
struct Stack {
  std::uintptr_t low = 0, top = 0;
};

Stack ThreadStack() {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return {};
  void* low = nullptr;
  std::size_t size = 0;
  const bool known = pthread_attr_getstack(&attributes, &low, &size) == 0;
  pthread_attr_destroy(&attributes);
  if (!known) return {};
  const auto base = reinterpret_cast<std::uintptr_t>(low);
  return {base, base + size};
}

// Whether [p, p + size) lies in the calling thread's stack between this frame and
// the stack's top: the live frames of the callers, mapped and writable. The usual
// caller's buffer, a local variable, is then written without the system call.
// Only while running on that stack: on another one (a signal's alternate stack, a
// coroutine's) the addresses above the frame are anything.
[[gnu::noinline]] bool InCallersFrames(const void* p, std::size_t size) {
  thread_local const Stack stack = ThreadStack();
  // The frame's own address, not a local's: a sanitizer may keep locals elsewhere.
  const auto frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  const auto begin = reinterpret_cast<std::uintptr_t>(p);
  return frame >= stack.low && frame < stack.top && begin > frame && begin < stack.top && size <= stack.top - begin;
}

// The kernel copies within the process and reports EFAULT for a bad address
// instead of raising SIGSEGV. Where a sandbox forbids the call, the pointer is
// trusted, as a plain copy would.
bool Copy(void* to, const void* from, std::size_t size, bool intoCaller) {
  if (size == 0) return true;
  if (from == nullptr || to == nullptr) return false;
  // Only writes: a read may look past the caller's object on purpose (for a
  // terminator the stated size left out), which the kernel's copy allows.
  if (intoCaller && InCallersFrames(to, size)) {
    std::memcpy(to, from, size);
    return true;
  }
  auto* target = static_cast<char*>(to);
  auto* source = static_cast<const char*>(from);
  while (size > 0) {
    iovec local{intoCaller ? const_cast<char*>(source) : target, size};
    iovec remote{intoCaller ? target : const_cast<char*>(source), size};
    const ssize_t n = intoCaller ? process_vm_writev(getpid(), &local, 1, &remote, 1, 0)
                                 : process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    if (n < 0 && (errno == ENOSYS || errno == EPERM)) {
      std::memcpy(target, source, size);
      return true;
    }
    if (n <= 0) return false;
    target += n;
    source += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

bool ReadCallerMemory(void* to, const void* from, std::size_t size) { return Copy(to, from, size, false); }

bool WriteCallerMemory(void* to, const void* from, std::size_t size) {
  if (!Copy(to, from, size, true)) return false;
  // A copy by the kernel is invisible to memory checkers (valgrind, MemorySanitizer),
  // which would take the bytes for unset; the same copy again, now known to be
  // safe, shows them.
  if (size > 0) std::memcpy(to, from, size);
  return true;
}

}  // namespace kwplat
