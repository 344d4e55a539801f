// A child process for the redirection and process tests, run as
//   kw_child ACTION [ARG] ACTION [ARG] ...
// out TEXT, err TEXT: write TEXT to standard output or error; raw TEXT: write it
// without a line end; sleep MS; echo-stdin: copy one line of standard input to
// standard output; wait: read one line of standard input and go on; args: print each argument after "args" in brackets; cwd: print
// the current folder; fds: print the open descriptors; blocking: print, for
// descriptors 0, 1 and 2, b when it blocks and n when it does not; split-e: write the two bytes
// of "é" in two writes, the second once a line has come on standard input; fill N: write N
// bytes, byte i being i % 251; signal N: raise signal N; exit N. Every write is flushed at once
// so that the parent sees it as a chunk of its own.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

void Write(FILE* stream, const std::string& text) {
  std::fputs(text.c_str(), stream);
  std::fflush(stream);
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string action = argv[i];
    const char* arg = i + 1 < argc ? argv[i + 1] : "";
    if (action == "out") {
      Write(stdout, std::string(arg) + "\n");
      ++i;
    } else if (action == "err") {
      Write(stderr, std::string(arg) + "\n");
      ++i;
    } else if (action == "raw") {
      Write(stdout, arg);
      ++i;
    } else if (action == "sleep") {
      std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(arg)));
      ++i;
    } else if (action == "echo-stdin") {
      char line[256] = {};
      if (std::fgets(line, sizeof line, stdin) != nullptr) Write(stdout, line);
    } else if (action == "wait") {
      char line[256];
      if (std::fgets(line, sizeof line, stdin) == nullptr) return 1;
    } else if (action == "args") {
      std::string all;
      for (++i; i < argc; ++i) all += std::string("[") + argv[i] + "]";
      Write(stdout, all + "\n");
    } else if (action == "cwd") {
      char folder[4096];
      Write(stdout, std::string(getcwd(folder, sizeof folder) != nullptr ? folder : "?") + "\n");
    } else if (action == "fds") {
      std::string fds;
      DIR* dir = opendir("/proc/self/fd");
      while (dirent* entry = dir != nullptr ? readdir(dir) : nullptr) {
        if (entry->d_name[0] != '.' && std::atoi(entry->d_name) != dirfd(dir)) fds += std::string(entry->d_name) + " ";
      }
      if (dir != nullptr) closedir(dir);
      Write(stdout, fds + "\n");
    } else if (action == "blocking") {
      std::string modes;
      for (int fd = 0; fd < 3; ++fd) modes += (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0 ? "n" : "b";
      Write(stdout, modes + "\n");
    } else if (action == "split-e") {
      Write(stdout, "\xC3");
      char line[256];
      if (std::fgets(line, sizeof line, stdin) == nullptr) return 1;
      Write(stdout, "\xA9");
    } else if (action == "fill") {
      std::string bytes(std::strtoul(arg, nullptr, 10), '\0');
      for (std::size_t b = 0; b < bytes.size(); ++b) bytes[b] = static_cast<char>(b % 251);
      std::fwrite(bytes.data(), 1, bytes.size(), stdout);
      std::fflush(stdout);
      ++i;
    } else if (action == "signal") {
      std::raise(std::atoi(arg));
      ++i;
    } else if (action == "exit") {
      return std::atoi(arg);
    }
  }
  return 0;
}
