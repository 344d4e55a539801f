// The fault-injecting system calls behind FaultPlan; see faultplan.h.
#include "support/faultplan.h"

#include <sys/mman.h>

#include <dirent.h>

#include <cerrno>
#include <cstring>

#include <kwlib63/platform/atomicfile.h>
#include <kwlib63/platform/syscalls.h>

#include "support/tempdir.h"

namespace kwtest {
namespace {

constexpr const char* kNames[kCallKinds] = {"open", "mkstemp", "read", "write", "lseek", "ftruncate",
                                            "fallocate", "fsync", "close", "rename", "unlink", "mmap"};
constexpr int kShort = -1;

FaultPlan* g_plan = nullptr;  // the plan installed; tests run on one thread

const kwplat::Syscalls& Real() { return kwplat::RealSyscalls(); }

// The injected error for a call of `call`, or 0 to make it for real.
int Next(Call call) { return g_plan->Next(call); }

int Failed(int error) {
  errno = error;
  return -1;
}

const kwplat::Syscalls kFaulty = {
    [](const char* path, int flags, mode_t mode) {
      const int e = Next(Call::kOpen);
      return e != 0 ? Failed(e) : Real().open(path, flags, mode);
    },
    [](char* pattern) {
      const int e = Next(Call::kMkstemp);
      return e != 0 ? Failed(e) : Real().mkstemp(pattern);
    },
    [](int fd, void* buffer, std::size_t count) -> ssize_t {
      const int e = Next(Call::kRead);
      return e != 0 ? Failed(e) : Real().read(fd, buffer, count);
    },
    [](int fd, const void* buffer, std::size_t count) -> ssize_t {
      const int e = Next(Call::kWrite);
      if (e == kShort) return Real().write(fd, buffer, count > 1 ? count / 2 : count);
      return e != 0 ? Failed(e) : Real().write(fd, buffer, count);
    },
    [](int fd, off_t offset, int whence) -> off_t {
      const int e = Next(Call::kLseek);
      return e != 0 ? Failed(e) : Real().lseek(fd, offset, whence);
    },
    [](int fd, off_t length) {
      const int e = Next(Call::kFtruncate);
      return e != 0 ? Failed(e) : Real().ftruncate(fd, length);
    },
    [](int fd, off_t offset, off_t length) {
      const int e = Next(Call::kFallocate);
      return e != 0 ? e : Real().fallocate(fd, offset, length);
    },
    [](int fd) {
      const int e = Next(Call::kFsync);
      return e != 0 ? Failed(e) : Real().fsync(fd);
    },
    [](int fd) {
      // As on Linux, the descriptor is gone even when close reports an error.
      const int e = Next(Call::kClose);
      const int result = Real().close(fd);
      return e != 0 ? Failed(e) : result;
    },
    [](const char* from, const char* to) {
      const int e = Next(Call::kRename);
      return e != 0 ? Failed(e) : Real().rename(from, to);
    },
    [](const char* path) {
      const int e = Next(Call::kUnlink);
      return e != 0 ? Failed(e) : Real().unlink(path);
    },
    [](void* address, std::size_t length, int protection, int flags, int fd, off_t offset) {
      const int e = Next(Call::kMmap);
      if (e != 0) {
        errno = e;
        return MAP_FAILED;
      }
      return Real().mmap(address, length, protection, flags, fd, offset);
    },
};

}  // namespace

std::string Describe(const Fault& fault) {
  const std::string what = fault.error == 0 ? "short" : strerrorname_np(fault.error);
  return std::string(kNames[static_cast<std::size_t>(fault.call)]) + " #" + std::to_string(fault.position) + " " + what;
}

std::string Describe(const CallCounts& counts) {
  std::string text;
  for (std::size_t i = 0; i < kCallKinds; ++i) {
    if (counts[i] == 0) continue;
    text += (text.empty() ? "" : ", ") + std::string(kNames[i]) + " " + std::to_string(counts[i]);
  }
  return text;
}

FaultPlan::FaultPlan() {
  g_plan = this;
  kwplat::Sys() = kFaulty;
}

FaultPlan::FaultPlan(const Fault& fault) : FaultPlan() { m_fault = fault; }

FaultPlan::~FaultPlan() {
  kwplat::Sys() = Real();
  g_plan = nullptr;
}

int FaultPlan::Next(Call call) {
  int& count = m_counts[static_cast<std::size_t>(call)];
  ++count;
  if (m_fired || !m_fault || m_fault->call != call || m_fault->position != count) return 0;
  m_fired = true;
  m_before = m_counts;
  --m_before[static_cast<std::size_t>(call)];
  return m_fault->error == 0 ? kShort : m_fault->error;
}

std::vector<Fault> EveryFault(const CallCounts& counts) {
  std::vector<Fault> faults;
  for (std::size_t i = 0; i < kCallKinds; ++i) {
    const auto call = static_cast<Call>(i);
    for (int position = 1; position <= counts[i]; ++position) {
      faults.push_back({call, position, ENOSPC});
      faults.push_back({call, position, EIO});
      // lseek, rename, unlink and mmap never fail with EINTR on Linux.
      const bool interruptible = call != Call::kLseek && call != Call::kRename && call != Call::kUnlink &&
                                 call != Call::kMmap;
      if (interruptible) faults.push_back({call, position, EINTR});
      if (call == Call::kWrite) faults.push_back({call, position, 0});
    }
  }
  return faults;
}

void ExpectReplaced(const Fault& fault, bool ok, const FaultPlan& plan, const std::string& path,
                    const std::string& before, const std::string& after) {
  const bool transient = Transient(fault);
  const Call c = fault.call;
  const bool mustFail = !transient && (c == Call::kWrite || c == Call::kRead || c == Call::kFsync ||
                                       c == Call::kRename || c == Call::kMkstemp);
  if (transient || mustFail) EXPECT_EQ(ok, transient);
  const std::string content = ReadBytes(path);
  if (ok || plan.Before(Call::kRename) > 0) {
    EXPECT_EQ(content, after);
  } else {
    EXPECT_EQ(content, before);
  }
  const std::string folder = kwplat::FolderOf(path);
  DIR* dir = opendir(folder.c_str());
  ASSERT_NE(dir, nullptr);
  while (const dirent* entry = readdir(dir)) {
    EXPECT_NE(std::strncmp(entry->d_name, kwplat::kTemporaryPrefix, std::strlen(kwplat::kTemporaryPrefix)), 0)
        << "left behind: " << entry->d_name;
  }
  closedir(dir);
}

}  // namespace kwtest
