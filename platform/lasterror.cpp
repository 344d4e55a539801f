#include <kwlib63/platform/lasterror.h>

#include <cerrno>

namespace kwplat {
namespace {
thread_local DWORD t_lastError = 0;
}  // namespace

DWORD GetLastError() { return t_lastError; }
void SetLastError(DWORD code) { t_lastError = code; }

DWORD Win32ErrorFromErrno(int error) {
  switch (error) {
    case 0: return ERROR_SUCCESS;
    case ENOENT: return ERROR_FILE_NOT_FOUND;
    case ENOTDIR: return ERROR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE: return ERROR_TOO_MANY_OPEN_FILES;
    case EACCES:
    case EPERM:
    case EISDIR: return ERROR_ACCESS_DENIED;
    case EBADF: return ERROR_INVALID_HANDLE;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    case EXDEV: return ERROR_NOT_SAME_DEVICE;
    case EROFS: return ERROR_WRITE_PROTECT;
    case ETXTBSY: return ERROR_SHARING_VIOLATION;
    case EAGAIN: return ERROR_LOCK_VIOLATION;
    case ENOSYS:
    case EOPNOTSUPP: return ERROR_NOT_SUPPORTED;
    case EEXIST: return ERROR_FILE_EXISTS;
    case EINVAL: return ERROR_INVALID_PARAMETER;
    case EPIPE: return ERROR_BROKEN_PIPE;
    case ENOSPC:
    case EDQUOT: return ERROR_DISK_FULL;
    case ENAMETOOLONG: return ERROR_FILENAME_EXCED_RANGE;
    case ESPIPE: return ERROR_NEGATIVE_SEEK;
    case ENOTEMPTY: return ERROR_DIR_NOT_EMPTY;
    case EBUSY: return ERROR_BUSY;
    case ENOEXEC: return ERROR_BAD_EXE_FORMAT;
    case EFBIG: return ERROR_FILE_TOO_LARGE;
    case EIO: return ERROR_IO_DEVICE;
    case ETIMEDOUT: return ERROR_TIMEOUT;
    default: return APPLICATION_ERROR_MASK | static_cast<DWORD>(error);
  }
}

DWORD SetLastErrorFromErrno() {
  const DWORD code = Win32ErrorFromErrno(errno);
  SetLastError(code);
  return code;
}

}  // namespace kwplat
