#include <kwlib63/platform/atomicfile.h>

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include <kwlib63/platform/syscalls.h>

namespace kwplat {

std::string WriteTarget(const std::string& path) {
  struct stat st {};
  if (lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved != nullptr) {
    std::string target = resolved;
    std::free(resolved);
    return target;
  }
  // A link to a file not yet there: the file is made where the link points.
  std::string link(PATH_MAX, '\0');
  const ssize_t n = readlink(path.c_str(), link.data(), link.size());
  if (n <= 0) return path;
  link.resize(static_cast<std::size_t>(n));
  if (link[0] == '/') return link;
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? link : path.substr(0, slash + 1) + link;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

AtomicFile::AtomicFile(const std::string& target, const struct stat* old) : m_target(target) {
  const std::string folder = FolderOf(target);
  do {
    m_temp = folder + "/" + kTemporaryPrefix + "XXXXXX";  // an interrupted try may have filled in the X's
    m_fd = Sys().mkstemp(m_temp.data());
  } while (m_fd < 0 && errno == EINTR);
  if (m_fd < 0) {
    m_temp.clear();
    Fail();
    return;
  }
  const int saved = errno;  // the metadata calls below may change errno
  if (old != nullptr) {
    if (fchown(m_fd, old->st_uid, old->st_gid) != 0) {
      // Only the owner's own files can be given back their owner; the data matter more.
    }
    fchmod(m_fd, old->st_mode & 07777);
    std::vector<char> acl(4096);
    const ssize_t n = getxattr(target.c_str(), "system.posix_acl_access", acl.data(), acl.size());
    if (n > 0) fsetxattr(m_fd, "system.posix_acl_access", acl.data(), static_cast<std::size_t>(n), 0);
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(m_fd, 0666 & ~mask);
  }
  errno = saved;
}

AtomicFile::~AtomicFile() {
  if (m_fd >= 0) CloseFd(m_fd);
  if (!m_temp.empty()) Sys().unlink(m_temp.c_str());
}

bool AtomicFile::Fail() {
  if (m_failure == 0) m_failure = errno != 0 ? errno : EIO;
  errno = m_failure;
  return false;
}

bool AtomicFile::Write(const void* data, std::size_t size) {
  if (m_failure != 0) return Fail();
  return WriteAll(m_fd, data, size) || Fail();
}

bool AtomicFile::Commit() {
  if (m_failure != 0) return Fail();
  // The data reach the disk before the rename makes them the file's, so that a
  // crash or a full disk never leaves a renamed file with missing blocks.
  if (Retried(Sys().fsync, m_fd) != 0) return Fail();
  const int fd = m_fd;
  m_fd = -1;
  if (CloseFd(fd) != 0) return Fail();
  if (Sys().rename(m_temp.c_str(), m_target.c_str()) != 0) return Fail();
  m_temp.clear();
  // The folder's flush makes the rename last. When the flush fails the new content
  // is in place but may not survive a crash, and the caller is told; a folder that
  // cannot be opened, or a file system that cannot flush folders (EINVAL), is left as is.
  const int dir = Retried(Sys().open, FolderOf(m_target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (dir < 0) return true;
  const bool ok = Retried(Sys().fsync, dir) == 0 || errno == EINVAL;
  const int failure = errno;
  Sys().close(dir);
  errno = failure;
  return ok;
}

bool ReplaceFile(const std::string& target, const std::string& bytes, const struct stat* old) {
  AtomicFile file(target, old);
  return file.Write(bytes.data(), bytes.size()) && file.Commit();
}

}  // namespace kwplat
