// Files replaced whole and atomically: the new content goes to a temporary file in
// the same folder, is flushed to disk and renamed over the old file, so a reader
// or a crash sees the old file or the new one, never a torn one.
#pragma once

#include <sys/stat.h>

#include <string>

#include <kwlib63/framework/export.h>

namespace kwplat {

// The temporary files start with this; a writer killed before its rename leaves one.
inline constexpr char kTemporaryPrefix[] = ".kwtmp-";

// The file a write of `path` replaces: a symbolic link's target rather than the
// link (where the link points, for a link to a file not yet there).
KW_API std::string WriteTarget(const std::string& path);
// The folder part of `path` ("." without one).
KW_API std::string FolderOf(const std::string& path);
// Replaces `target` by `bytes`, keeping the old file's mode, owner (when permitted)
// and access list (`old` its status), or for a new file (`old` null) mode 0666 less
// the umask. False with errno set on failure (ENOSPC, EIO, ...): `target` is then
// unchanged, except when only the folder's flush after the rename failed, which
// leaves the new content in place. Short writes and EINTR are retried.
KW_API bool ReplaceFile(const std::string& target, const std::string& bytes, const struct stat* old);

// The same replacement written in pieces, for content too large to hold at once:
// Write as often as needed, then Commit. Until the commit `target` is unchanged;
// an object that goes uncommitted removes its temporary file. Each call returns
// false with errno set once anything has failed.
class KW_API AtomicFile {
 public:
  AtomicFile(const std::string& target, const struct stat* old);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  bool Write(const void* data, std::size_t size);
  bool Commit();

 private:
  bool Fail();

  std::string m_target;
  std::string m_temp;
  int m_fd = -1;
  int m_failure = 0;  // the first errno that failed the replacement
};

}  // namespace kwplat
