// Whether the mapping that holds an address was marked for large pages: "hg"
// among its VmFlags in /proc/self/smaps.
#pragma once

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace kwtest {

// False, too, when no mapping holds the address.
inline bool MarkedForLargePages(const void* address) {
  const auto at = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream smaps("/proc/self/smaps");
  std::string line;
  bool inside = false;
  while (std::getline(smaps, line)) {
    unsigned long lo = 0, hi = 0;
    char dash = 0;
    std::istringstream head(line);
    if (line.find('-') < line.find(' ') && head >> std::hex >> lo >> dash >> hi && dash == '-') {
      inside = lo <= at && at < hi;
      continue;
    }
    if (inside && line.rfind("VmFlags:", 0) == 0) return (line + " ").find(" hg ") != std::string::npos;
  }
  return false;
}

}  // namespace kwtest
