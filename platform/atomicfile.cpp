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

bool ReplaceFile(const std::string& target, const std::string& bytes, const struct stat* old) {
  const std::string folder = FolderOf(target);
  std::string temp;
  int fd;
  do {
    temp = folder + "/" + kTemporaryPrefix + "XXXXXX";  // an interrupted try may have filled in the X's
    fd = Sys().mkstemp(temp.data());
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return false;
  bool ok = WriteAll(fd, bytes.data(), bytes.size());
  int failure = errno;  // the metadata calls below may change errno
  if (old != nullptr) {
    if (fchown(fd, old->st_uid, old->st_gid) != 0) {
      // Only the owner's own files can be given back their owner; the data matter more.
    }
    fchmod(fd, old->st_mode & 07777);
    std::vector<char> acl(4096);
    const ssize_t n = getxattr(target.c_str(), "system.posix_acl_access", acl.data(), acl.size());
    if (n > 0) fsetxattr(fd, "system.posix_acl_access", acl.data(), static_cast<std::size_t>(n), 0);
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
  }
  // The data reach the disk before the rename makes them the file's, so that a
  // crash or a full disk never leaves a renamed file with missing blocks.
  if (ok && Retried(Sys().fsync, fd) != 0) {
    ok = false;
    failure = errno;
  }
  if (CloseFd(fd) != 0 && ok) {
    ok = false;
    failure = errno;
  }
  if (ok && Sys().rename(temp.c_str(), target.c_str()) != 0) {
    ok = false;
    failure = errno;
  }
  if (!ok) {
    Sys().unlink(temp.c_str());
    errno = failure;
    return false;
  }
  // The folder's flush makes the rename last. When the flush fails the new content
  // is in place but may not survive a crash, and the caller is told; a folder that
  // cannot be opened, or a file system that cannot flush folders (EINVAL), is left as is.
  const int dir = Retried(Sys().open, folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (dir < 0) return true;
  ok = Retried(Sys().fsync, dir) == 0 || errno == EINVAL;
  failure = errno;
  Sys().close(dir);
  errno = failure;
  return ok;
}

}  // namespace kwplat
