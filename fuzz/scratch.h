// The folder the fuzz targets write their input files into: a fresh one in memory
// (/dev/shm) when the machine has it, else under /tmp, removed when the run ends.
// A disk file system turns every rewrite of a file into block work that slows a
// target down a hundredfold; memory does not.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace kwfuzz {

inline const std::string& ScratchDir() {
  static const std::string dir = [] {
    std::string pattern = access("/dev/shm", W_OK) == 0 ? "/dev/shm/kwlib-fuzz-XXXXXX" : "/tmp/kwlib-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    static std::string removed;
    removed = pattern;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(removed, ignored);
    });
    return pattern;
  }();
  return dir;
}

}  // namespace kwfuzz
