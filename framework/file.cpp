// CFile on open(2), read(2), write(2) and lseek(2); share modes as open file
// description locks (F_OFD_SETLK), which belong to the open file and not to the
// process, so two CFile objects in one process also exclude each other.
#include <kwlib63/framework/file.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cwchar>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/syscalls.h>

IMPLEMENT_DYNAMIC(CFile, CObject)

namespace {

using kwplat::Retried;
using kwplat::Sys;

// The bytes that stand for the readers and the writers of a file.
constexpr off_t kReadersByte = 0x7FFFFFFFFFFFFFF0LL;
constexpr off_t kWritersByte = 0x7FFFFFFFFFFFFFF1LL;

// Takes, changes or drops (F_UNLCK) an open file description lock; false with errno set.
bool SetLock(int fd, off_t start, off_t length, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

// False only when another open file holds a conflicting lock. A lock the
// descriptor's access does not allow (a shared lock needs read access, an
// exclusive one write access) cannot be kept and is passed over.
bool LockByte(int fd, off_t at, short type) { return SetLock(fd, at, 1, type) || errno == EBADF; }

// Takes the locks of an access and a share mode: shared for what the file is
// opened for, exclusive for what it denies to others.
bool TakeShareLocks(int fd, UINT flags) {
  const UINT access = flags & 3;
  const UINT share = flags & 0x70;
  const bool reads = access == CFile::modeRead || access == CFile::modeReadWrite;
  const bool writes = access == CFile::modeWrite || access == CFile::modeReadWrite;
  const bool denyRead = share == CFile::shareDenyRead || share == CFile::shareExclusive;
  const bool denyWrite = share == CFile::shareDenyWrite || share == CFile::shareExclusive;
  if ((denyRead || reads) && !LockByte(fd, kReadersByte, denyRead ? F_WRLCK : F_RDLCK)) return false;
  if ((denyWrite || writes) && !LockByte(fd, kWritersByte, denyWrite ? F_WRLCK : F_RDLCK)) return false;
  return true;
}

std::string Narrow(LPCTSTR path) { return kwfw::WideToUtf8(path != nullptr ? path : L""); }

// A CFileException for the failure in errno, naming `path`.
[[noreturn]] void ThrowErrnoFor(LPCTSTR path) {
  const int err = errno;
  AfxThrowFileException(CFileException::ErrnoToException(err), static_cast<LONG>(kwplat::Win32ErrorFromErrno(err)), path);
}

void FillStatus(const struct stat& st, const std::string& path, CFileStatus& status) {
  status.m_ctime = CTime(static_cast<long long>(st.st_ctime));
  status.m_mtime = CTime(static_cast<long long>(st.st_mtime));
  status.m_atime = CTime(static_cast<long long>(st.st_atime));
  status.m_size = static_cast<unsigned long long>(st.st_size);
  status.m_attribute = S_ISDIR(st.st_mode) ? CFile::directory : CFile::normal;
  if ((st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) status.m_attribute |= CFile::readOnly;
  const std::string name = path.substr(path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1);
  if (!name.empty() && name[0] == '.') status.m_attribute |= CFile::hidden;
  char full[4096];
  const std::wstring wide = kwfw::Utf8ToWide(realpath(path.c_str(), full) != nullptr ? full : path.c_str());
  std::wcsncpy(status.m_szFullName, wide.c_str(), MAX_PATH - 1);
  status.m_szFullName[MAX_PATH - 1] = 0;
}

}  // namespace

CFile::CFile(LPCTSTR path, UINT openFlags) {
  CFileException error;
  if (!Open(path, openFlags, &error)) AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
}

CFile::~CFile() {
  if (m_hFile != hFileNull) Abort();
}

BOOL CFile::Open(LPCTSTR path, UINT openFlags, CFileException* error) {
  if (m_hFile != hFileNull) Abort();
  m_strFileName = path;
  const UINT access = openFlags & 3;
  int flags = O_CLOEXEC;
  flags |= access == modeWrite ? O_WRONLY : access == modeReadWrite ? O_RDWR : O_RDONLY;
  if (openFlags & modeCreate) flags |= O_CREAT | ((openFlags & modeNoTruncate) ? 0 : O_TRUNC);
  if (openFlags & osWriteThrough) flags |= O_DSYNC;
  const auto fail = [&](int err) {
    if (error != nullptr) {
      error->m_lOsError = static_cast<LONG>(kwplat::Win32ErrorFromErrno(err));
      error->m_cause = CFileException::OsErrorToException(error->m_lOsError);
      error->m_strFileName = path;
    }
    kwplat::SetLastError(kwplat::Win32ErrorFromErrno(err));
    return FALSE;
  };
  if (path == nullptr || *path == 0 || access == 3) return fail(EINVAL);
  const std::string narrow = Narrow(path);
  // Share modes are checked before anything is truncated.
  const int fd = Retried(Sys().open, narrow.c_str(), flags & ~O_TRUNC, 0666);
  if (fd < 0) return fail(errno);
  struct stat st;
  const bool stated = fstat(fd, &st) == 0;
  if (stated && S_ISDIR(st.st_mode)) {
    Sys().close(fd);
    return fail(EISDIR);
  }
  // The locks live on a descriptor of their own, opened for reading and writing
  // where that is allowed, so that both kinds of lock can be taken whatever the
  // file is opened for. Not for a pipe or FIFO: opened for writing, it would make
  // this process one of its writers, and reading would never reach the end.
  int lockFd = stated && S_ISFIFO(st.st_mode) ? -1 : Retried(Sys().open, narrow.c_str(), O_RDWR | O_CLOEXEC, 0);
  if (lockFd < 0) lockFd = fcntl(fd, F_DUPFD_CLOEXEC, 0);
  if (lockFd < 0 || !TakeShareLocks(lockFd, openFlags)) {
    if (lockFd >= 0) Sys().close(lockFd);
    Sys().close(fd);
    return fail(ETXTBSY);  // the sharing violation
  }
  if ((flags & O_TRUNC) && Retried(Sys().ftruncate, fd, 0) != 0) {
    const int err = errno;
    Sys().close(lockFd);
    Sys().close(fd);
    return fail(err);
  }
  m_hFile = fd;
  m_hLock = lockFd;
  return TRUE;
}

void CFile::ThrowErrno(int error) const {
  errno = error;
  ThrowErrnoFor(m_strFileName);
}

UINT CFile::Read(void* buffer, UINT count) {
  if (count == 0) return 0;
  if (buffer == nullptr) AfxThrowInvalidArgException();
  UINT done = 0;
  while (done < count) {
    const ssize_t n = Sys().read(m_hFile, static_cast<char*>(buffer) + done, count - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) ThrowErrno(errno);
    if (n == 0) break;
    done += static_cast<UINT>(n);
  }
  return done;
}

void CFile::Write(const void* buffer, UINT count) {
  if (count == 0) return;
  if (buffer == nullptr) AfxThrowInvalidArgException();
  if (!kwplat::WriteAll(m_hFile, buffer, count)) ThrowErrno(errno);
}

unsigned long long CFile::Seek(long long offset, UINT from) {
  const int whence = from == begin ? SEEK_SET : from == current ? SEEK_CUR : from == end ? SEEK_END : -1;
  if (whence < 0) AfxThrowInvalidArgException();
  const off_t at = Sys().lseek(m_hFile, static_cast<off_t>(offset), whence);
  if (at < 0) {
    // A position before the start of the file is a bad seek.
    if (errno == EINVAL) AfxThrowFileException(CFileException::badSeek, static_cast<LONG>(ERROR_NEGATIVE_SEEK), m_strFileName);
    ThrowErrno(errno);
  }
  return static_cast<unsigned long long>(at);
}

unsigned long long CFile::GetPosition() const {
  const off_t at = Sys().lseek(m_hFile, 0, SEEK_CUR);
  if (at < 0) ThrowErrno(errno);
  return static_cast<unsigned long long>(at);
}

unsigned long long CFile::GetLength() const {
  struct stat st;
  if (fstat(m_hFile, &st) != 0) ThrowErrno(errno);
  return static_cast<unsigned long long>(st.st_size);
}

void CFile::SetLength(unsigned long long length) {
  if (Retried(Sys().ftruncate, m_hFile, static_cast<off_t>(length)) != 0) ThrowErrno(errno);
}

void CFile::LockRange(unsigned long long position, unsigned long long count) {
  if (!SetLock(m_hFile, static_cast<off_t>(position), static_cast<off_t>(count), F_WRLCK)) {
    AfxThrowFileException(CFileException::lockViolation, static_cast<LONG>(ERROR_LOCK_VIOLATION), m_strFileName);
  }
}

void CFile::UnlockRange(unsigned long long position, unsigned long long count) {
  if (!SetLock(m_hFile, static_cast<off_t>(position), static_cast<off_t>(count), F_UNLCK)) ThrowErrno(errno);
}

void CFile::Flush() {
  if (m_hFile != hFileNull && Retried(Sys().fsync, m_hFile) != 0 && errno != EINVAL) ThrowErrno(errno);
}

void CFile::Close() {
  if (m_hFile == hFileNull) return;
  const int fd = m_hFile;
  m_hFile = hFileNull;
  ReleaseLocks();
  if (kwplat::CloseFd(fd) != 0) ThrowErrno(errno);
}

void CFile::Abort() {
  if (m_hFile != hFileNull) Sys().close(m_hFile);
  m_hFile = hFileNull;
  ReleaseLocks();
}

void CFile::ReleaseLocks() {
  if (m_hLock != hFileNull) Sys().close(m_hLock);
  m_hLock = hFileNull;
}

BOOL CFile::GetStatus(CFileStatus& status) const {
  struct stat st;
  if (m_hFile == hFileNull || fstat(m_hFile, &st) != 0) return FALSE;
  FillStatus(st, Narrow(m_strFileName), status);
  return TRUE;
}

CFile::operator HANDLE() const { return kwplat::HandleFromFd(m_hFile); }

CString CFile::GetFileName() const {
  const int slash = m_strFileName.ReverseFind(L'/');
  return m_strFileName.Mid(slash + 1);
}

BOOL CFile::GetStatus(LPCTSTR path, CFileStatus& status) {
  const std::string narrow = Narrow(path);
  struct stat st;
  if (narrow.empty() || stat(narrow.c_str(), &st) != 0) return FALSE;
  FillStatus(st, narrow, status);
  return TRUE;
}

void CFile::Rename(LPCTSTR oldName, LPCTSTR newName) {
  if (Sys().rename(Narrow(oldName).c_str(), Narrow(newName).c_str()) != 0) ThrowErrnoFor(oldName);
}

void CFile::Remove(LPCTSTR path) {
  if (Sys().unlink(Narrow(path).c_str()) != 0) ThrowErrnoFor(path);
}
