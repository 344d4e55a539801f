// Whole-file reads and writes for the commands, with the error as text (the
// reason only: the caller names the file).
#pragma once

#include <string>
#include <vector>

namespace kwlib {

// Reads `path` ("-" for standard input) whole. False with `error` set on failure.
bool ReadAll(const std::string& path, std::vector<unsigned char>& data, std::string& error);
// Writes `data` to `path` ("-" for standard output). False with `error` set on failure.
bool WriteAll(const std::string& path, const unsigned char* data, std::size_t size, std::string& error);

// Whether `path` is a file this process can read; false with `error` set when it is
// missing, a folder or unreadable.
bool ReadableFile(const std::string& path, std::string& error);

}  // namespace kwlib
