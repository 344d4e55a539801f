#include "fileio.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <kwlib63/platform/atomicfile.h>

namespace kwlib {

bool ReadAll(const std::string& path, std::vector<unsigned char>& data, std::string& error) {
  std::FILE* f = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (f == nullptr) {
    error = std::strerror(errno);
    return false;
  }
  data.clear();
  unsigned char chunk[1 << 16];
  for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, f)) > 0;) data.insert(data.end(), chunk, chunk + n);
  const bool failed = std::ferror(f) != 0;
  if (failed) error = std::strerror(errno);
  if (f != stdin) std::fclose(f);
  return !failed;
}

bool WriteAll(const std::string& path, const unsigned char* data, std::size_t size, std::string& error) {
  bool ok = false;
  if (path == "-") {
    ok = std::fwrite(data, 1, size, stdout) == size && std::fflush(stdout) == 0;
  } else {
    // Replaced whole, so that a failed write leaves the file as it was.
    const std::string target = kwplat::WriteTarget(path);
    struct stat old {};
    const bool exists = stat(target.c_str(), &old) == 0;
    ok = kwplat::ReplaceFile(target, std::string(reinterpret_cast<const char*>(data), size), exists ? &old : nullptr);
  }
  if (!ok) error = std::strerror(errno);
  return ok;
}

bool ReadableFile(const std::string& path, std::string& error) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0 || access(path.c_str(), R_OK) != 0) {
    error = std::strerror(errno);
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    error = std::strerror(EISDIR);
    return false;
  }
  return true;
}

}  // namespace kwlib
