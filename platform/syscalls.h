// The system calls that write files, read them back for a rewrite and map them,
// reached through one table so that tests can make the disk fail at any call.
// Every file write path of the library (atomic replacement, CFile, mappings) uses
// Sys(); nothing else is changed by replacing an entry.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>

#include <kwlib63/framework/export.h>

namespace kwplat {

// Each entry has the contract of the call it is named after (-1 or MAP_FAILED with
// errno set on failure); fallocate has posix_fallocate's (the error number returned).
struct KW_API Syscalls {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*mkstemp)(char* pattern);
  ssize_t (*read)(int fd, void* buffer, std::size_t count);
  ssize_t (*write)(int fd, const void* buffer, std::size_t count);
  off_t (*lseek)(int fd, off_t offset, int whence);
  int (*ftruncate)(int fd, off_t length);
  int (*fallocate)(int fd, off_t offset, off_t length);
  int (*fsync)(int fd);
  int (*close)(int fd);
  int (*rename)(const char* from, const char* to);
  int (*unlink)(const char* path);
  void* (*mmap)(void* address, std::size_t length, int protection, int flags, int fd, off_t offset);
};

// The table in use, the real calls until a test replaces entries. Replace entries
// only while no other thread is using files.
KW_API Syscalls& Sys();
// The real calls, for putting the table back.
KW_API const Syscalls& RealSyscalls();

// Writes all `count` bytes at the descriptor's position, writing again after a
// short write and retrying after EINTR. False with errno set on failure.
KW_API bool WriteAll(int fd, const void* buffer, std::size_t count);

// `call(args...)` made again for as long as a signal interrupts it (-1 with
// EINTR): an interrupted open, truncate or flush did nothing, so repeating it is
// the call itself. Not for close, which has CloseFd.
template <typename Result, typename... Params, typename... Args>
Result Retried(Result (*call)(Params...), Args... args) {
  for (;;) {
    const Result result = call(args...);
    if (result != -1 || errno != EINTR) return result;
  }
}

// Closes `fd`: 0, or -1 with errno set. On Linux the descriptor is released even
// when a signal interrupts the close, so EINTR is no failure and is never retried
// (a retry could close a descriptor another thread has just been given).
KW_API int CloseFd(int fd);

}  // namespace kwplat
