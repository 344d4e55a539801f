// kwlib crc32: the CRC-32 of files, streamed.
#include <cstdio>
#include <iomanip>
#include <iostream>

#include <kwlib63/json.h>
#include <kwlib63/persist/crc32.h>

#include "command.h"
#include "fileio.h"

namespace {

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--json"});
  const bool json = arguments.Has("--json");
  const std::vector<std::string>& files = arguments.words;
  if (files.empty()) throw kwlib::UsageError("no file given");
  int status = kwlib::kExitOk;
  Json::Value list(Json::arrayValue);
  for (const std::string& file : files) {
    std::uint32_t crc = 0xFFFFFFFFu;
    std::string error;
    const bool read = kwlib::ReadBlocks(
        file, 1 << 20, [&](const unsigned char* bytes, std::size_t n) { crc = kwpersist::Crc32Update(crc, bytes, n); },
        error);
    crc = ~crc;
    if (!read) {
      err << "kwlib crc32: " << file << ": " << error << "\n";
      status = kwlib::kExitFailure;
      continue;
    }
    char hex[9];
    std::snprintf(hex, sizeof hex, "%08x", crc);
    if (json) {
      Json::Value entry;
      entry["file"] = file;
      entry["crc32"] = hex;
      list.append(entry);
    } else {
      out << hex << "  " << file << "\n";
    }
  }
  if (json) out << kwlib::JsonText(list) << "\n";
  return status;
}

}  // namespace

KWLIB_COMMAND(kCrc32, "crc32", "print the CRC-32 of files",
              "Usage: kwlib crc32 [--json] FILE...\n\n"
              "Prints the CRC-32 (IEEE 802.3, as zlib computes it) of each file as eight\n"
              "hex digits followed by the file name. \"-\" reads standard input.\n"
              "Exit status: 0, or 1 when a file could not be read (the others are still printed).\n",
              &Run);
