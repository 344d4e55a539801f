// Whole-file reads and writes for the commands, with the error as text.
#pragma once

#include <string>
#include <vector>

namespace kwlib {

// Reads `path` ("-" for standard input) whole. False with `error` set on failure.
bool ReadAll(const std::string& path, std::vector<unsigned char>& data, std::string& error);
// Writes `data` to `path` ("-" for standard output). False with `error` set on failure.
bool WriteAll(const std::string& path, const unsigned char* data, std::size_t size, std::string& error);

}  // namespace kwlib
