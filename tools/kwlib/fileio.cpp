#include "fileio.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

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
  std::FILE* f = path == "-" ? stdout : std::fopen(path.c_str(), "wb");
  if (f == nullptr) {
    error = std::strerror(errno);
    return false;
  }
  const bool ok = std::fwrite(data, 1, size, f) == size && std::fflush(f) == 0;
  if (!ok) error = std::strerror(errno);
  if (f != stdout && std::fclose(f) != 0 && ok) {
    error = std::strerror(errno);
    return false;
  }
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
