// Whether another thread of this process is asleep in a given system call, read
// from /proc: a test waits for that before it acts on what the thread waits for.
#pragma once

#include <sys/syscall.h>
#include <sys/types.h>

#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <string>

namespace kwtest {

// Whether thread `tid` of this process sleeps in one of the system calls `calls`.
inline bool SleepsIn(pid_t tid, std::initializer_list<long> calls) {
  std::ifstream file("/proc/self/task/" + std::to_string(tid) + "/syscall");
  long call = -1;
  return file >> call && std::find(calls.begin(), calls.end(), call) != calls.end();
}

inline constexpr std::initializer_list<long> kReadWaits = {SYS_read, SYS_poll, SYS_ppoll};
inline constexpr std::initializer_list<long> kWriteWaits = {SYS_write, SYS_poll, SYS_ppoll};
inline constexpr std::initializer_list<long> kPollWaits = {SYS_poll, SYS_ppoll};

}  // namespace kwtest
