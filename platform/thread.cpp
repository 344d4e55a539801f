// Thread ids and names through the kernel: gettid, and the comm of a thread, set
// with pthread_setname_np for the calling thread and through its file under
// /proc/self/task for another.
#include <kwlib63/platform/thread.h>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/uniquefd.h>

namespace kwplat {

DWORD GetCurrentThreadId() { return static_cast<DWORD>(gettid()); }

BOOL SetThreadName(DWORD threadId, const char* name) {
  if (name == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  // The kernel keeps 15 bytes and a NUL; pthread_setname_np refuses longer names.
  const std::string comm = std::string(name).substr(0, 15);
  if (threadId == GetCurrentThreadId()) {
    const int error = pthread_setname_np(pthread_self(), comm.c_str());
    if (error == 0) return TRUE;
    SetLastError(Win32ErrorFromErrno(error));
    return FALSE;
  }
  // Another thread's comm is a file of this process's task folder; a thread that
  // has ended, or belongs to another process, has none there.
  const std::string path = "/proc/self/task/" + std::to_string(threadId) + "/comm";
  const UniqueFd fd(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (!fd) {
    if (errno == ENOENT) {
      SetLastError(ERROR_INVALID_PARAMETER);
    } else {
      SetLastErrorFromErrno();
    }
    return FALSE;
  }
  if (write(fd.Get(), comm.data(), comm.size()) < 0) {
    SetLastErrorFromErrno();
    return FALSE;
  }
  return TRUE;
}

}  // namespace kwplat
