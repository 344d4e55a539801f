// Shared pieces of the persist fault tests: the file's bytes read with the real
// calls, and the file exception a fault must raise.
#pragma once

#include <cerrno>
#include <fstream>
#include <iterator>
#include <string>

#include <kwlib63/framework/exception.h>

#include "support/faultplan.h"

namespace kwtest {

inline std::string FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void PutBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// The cause and system error a CFileException carries for the injected error.
inline int CauseOf(const Fault& fault) { return fault.error == ENOSPC ? CFileException::diskFull : CFileException::hardIO; }
inline LONG OsErrorOf(const Fault& fault) { return fault.error == ENOSPC ? 112 : 1117; }

}  // namespace kwtest
