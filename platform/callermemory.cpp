#include <kwlib63/platform/callermemory.h>

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kwplat {
namespace {

// The kernel copies within the process and reports EFAULT for a bad address
// instead of raising SIGSEGV. Where a sandbox forbids the call, the pointer is
// trusted, as a plain copy would.
bool Copy(void* to, const void* from, std::size_t size, bool intoCaller) {
  if (size == 0) return true;
  if (from == nullptr || to == nullptr) return false;
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
