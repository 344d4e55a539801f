#include <kwlib63/platform/atomicfile.h>

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

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
  std::string temp = folder + "/" + kTemporaryPrefix + "XXXXXX";
  const int fd = mkstemp(temp.data());
  if (fd < 0) return false;
  bool ok = true;
  for (std::size_t done = 0; ok && done < bytes.size();) {
    const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0) {
      ok = errno == EINTR;
    } else {
      done += static_cast<std::size_t>(n);
    }
  }
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
  ok = ok && fsync(fd) == 0;
  const int error = errno;
  ok = close(fd) == 0 && ok;
  if (ok && rename(temp.c_str(), target.c_str()) == 0) {
    const int dir = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
      fsync(dir);
      close(dir);
    }
    return true;
  }
  const int failure = ok ? errno : error;
  unlink(temp.c_str());
  errno = failure;
  return false;
}

}  // namespace kwplat
