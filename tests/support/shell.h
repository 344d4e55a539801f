// What a shell command line prints on standard output, for tests that check a
// system tool's view (getfacl, smbclient) or run a helper.
#pragma once

#include <cstdio>
#include <string>

namespace kwtest {

inline std::string Output(const std::string& command) {
  std::string out;
  if (std::FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
    pclose(pipe);
  }
  return out;
}

// A file's POSIX ACL as getfacl prints it, without comments, or its error.
inline std::string Facl(const std::string& path) { return Output("getfacl -cp '" + path + "' 2>&1"); }

}  // namespace kwtest
