// Running kwlib as a real child process for the command-line tests, and the
// temporary files they hand it.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "support/tempdir.h"

namespace kwtest {

struct Result {
  int status;
  std::string out;
  std::string err;
};

// Runs a shell command line, capturing its standard output and error apart.
inline Result Shell(const std::string& commandLine) {
  char errPath[] = "/tmp/kwlib-test-err-XXXXXX";
  const int fd = mkstemp(errPath);
  EXPECT_GE(fd, 0);
  close(fd);
  const std::string command = commandLine + " 2>" + errPath;
  FILE* pipe = popen(command.c_str(), "r");
  Result r{-1, {}, {}};
  if (pipe == nullptr) return r;
  char buf[4096];
  for (std::size_t n; (n = fread(buf, 1, sizeof buf, pipe)) > 0;) r.out.append(buf, n);
  const int status = pclose(pipe);
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  r.err = ReadBytes(errPath);
  std::remove(errPath);
  return r;
}

inline Result Kwlib(const std::string& args) { return Shell(std::string(KWLIB_EXE) + " " + args); }

// Runs kwlib in `dir`, with its registry there too and no input, so that whatever
// a command writes stays in the folder.
inline Result KwlibIn(const TempDir& dir, const std::string& args) {
  return Shell("cd '" + dir.Path() + "' && KWLIB63_REGISTRY_DIR='" + dir.Path() + "' " + KWLIB_EXE + " " + args + " </dev/null");
}

inline std::string TempFile(const std::string& content) {
  char path[] = "/tmp/kwlib-test-XXXXXX";
  const int fd = mkstemp(path);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
  close(fd);
  return path;
}


}  // namespace kwtest
