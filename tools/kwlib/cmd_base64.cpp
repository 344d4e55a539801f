// kwlib base64: encodes a file as Base64 text, or decodes such text.
#include <iostream>
#include <string>
#include <vector>

#include <kwlib63/persist/base64.h>

#include "command.h"
#include "fileio.h"

namespace {

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  bool decode = false;
  std::string file = "-";
  int files = 0;
  for (const std::string& a : args) {
    if (a == "-d" || a == "--decode") {
      decode = true;
    } else if (a.size() > 1 && a[0] == '-') {
      throw kwlib::UsageError("unknown option '" + a + "'");
    } else if (++files > 1) {
      throw kwlib::UsageError("only one file may be given");
    } else {
      file = a;
    }
  }
  std::vector<unsigned char> data;
  std::string error;
  if (!kwlib::ReadAll(file, data, error)) {
    err << "kwlib base64: " << file << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  if (!decode) {
    if (data.size() > 0x5FFFFFFF) {
      err << "kwlib base64: " << file << ": too large to encode at once\n";
      return kwlib::kExitFailure;
    }
    std::string text(static_cast<std::size_t>(Base64encode_len(static_cast<int>(data.size()))), '\0');
    const int n = Base64encode(text.data(), reinterpret_cast<const char*>(data.data()), static_cast<int>(data.size()));
    out.write(text.data(), n - 1) << "\n";
    return kwlib::kExitOk;
  }
  // Line breaks and spaces are dropped before decoding: the decoder stops at the first.
  std::string coded;
  for (unsigned char c : data) {
    if (c != '\n' && c != '\r' && c != ' ' && c != '\t') coded += static_cast<char>(c);
  }
  // The decoder ends at the first byte outside the alphabet; only padding may follow.
  const std::size_t valid = coded.find_first_not_of(
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
  if (valid != std::string::npos && coded.find_first_not_of('=', valid) != std::string::npos) {
    err << "kwlib base64: " << file << ": not Base64 text (character " << valid + 1 << ")\n";
    return kwlib::kExitFailure;
  }
  std::string bytes(static_cast<std::size_t>(Base64decode_len(coded.c_str())), '\0');
  const int n = Base64decode(bytes.data(), coded.c_str());
  out.write(bytes.data(), n);
  return kwlib::kExitOk;
}

}  // namespace

KWLIB_COMMAND(kBase64, "base64", "encode or decode Base64",
              "Usage: kwlib base64 [-d|--decode] [FILE]\n\n"
              "Encodes FILE (default: standard input) as Base64 text on one line, or with\n"
              "-d decodes Base64 text (line breaks, tabs and spaces are ignored; any other\n"
              "character outside the alphabet, other than the closing padding '=', is an\n"
              "error: nothing is written and the exit status is 1).\n",
              &Run);
