// File reads and writes for the commands, whole or in blocks, with the error as
// text (the reason only: the caller names the file).
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <kwlib63/platform/atomicfile.h>

namespace kwlib {

// Reads `path` ("-" for standard input) whole. False with `error` set on failure.
bool ReadAll(const std::string& path, std::vector<unsigned char>& data, std::string& error);
// Writes `data` to `path` ("-" for standard output). False with `error` set on failure.
bool WriteAll(const std::string& path, const unsigned char* data, std::size_t size, std::string& error);

// Reads `path` ("-" for standard input) in blocks of at most `size` bytes, handing
// each to `block`, so that memory stays bounded whatever the file's size. False
// with `error` set when reading fails.
bool ReadBlocks(const std::string& path, std::size_t size,
                const std::function<void(const unsigned char*, std::size_t)>& block, std::string& error);

// Output written as it is made: standard output for "-"; a regular file (or a new
// one) is replaced whole and atomically by Finish, and left as it was when anything
// fails; a device, a pipe or a socket is written to as it is.
class Output {
 public:
  explicit Output(const std::string& path);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  void Write(const void* data, std::size_t size);
  // False with `error` set when a write or the replacement failed.
  bool Finish(std::string& error);

 private:
  std::unique_ptr<kwplat::AtomicFile> m_file;  // a regular file, replaced whole
  std::FILE* m_stream = nullptr;  // else standard output, or a device or pipe written to
  bool m_owned = false;
  bool m_ok = true;
  int m_errno = 0;
};

// Whether `path` is a file this process can read; false with `error` set when it is
// missing, a folder or unreadable.
bool ReadableFile(const std::string& path, std::string& error);

}  // namespace kwlib
