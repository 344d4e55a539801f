// The real system calls behind Sys(); see syscalls.h.
#include <kwlib63/platform/syscalls.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace kwplat {
namespace {

constexpr Syscalls kReal = {
    [](const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); },
    ::mkstemp,
    ::read,
    ::write,
    ::lseek,
    ::ftruncate,
    ::posix_fallocate,
    ::fsync,
    ::close,
    std::rename,
    ::unlink,
    ::mmap,
};

Syscalls g_sys = kReal;

}  // namespace

Syscalls& Sys() { return g_sys; }

const Syscalls& RealSyscalls() { return kReal; }

bool WriteAll(int fd, const void* buffer, std::size_t count) {
  const auto* bytes = static_cast<const char*>(buffer);
  for (std::size_t done = 0; done < count;) {
    const ssize_t n = Sys().write(fd, bytes + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

int CloseFd(int fd) {
  if (Sys().close(fd) == 0 || errno == EINTR) return 0;
  return -1;
}

}  // namespace kwplat
