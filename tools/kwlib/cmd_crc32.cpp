// kwlib crc32: the CRC-32 of files, streamed.
#include <cstdio>
#include <iomanip>
#include <iostream>

#include <kwlib63/json.h>
#include <kwlib63/persist/crc32.h>

#include "command.h"
#include "dispatch.h"
#include "fileio.h"

namespace {

int Sums(const std::vector<std::string>& files, const kwlib::Call& call) {
  const bool json = call.arguments.Has("--json");
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
      call.err << "kwlib crc32: " << file << ": " << error << "\n";
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
      call.out << hex << "  " << file << "\n";
    }
  }
  if (json) call.out << kwlib::JsonText(list) << "\n";
  return status;
}

const kwlib::SubCommand<> kTable[] = {{{"", 1, kwlib::kNoLimit, "kwlib crc32 [--json] FILE..."}, &Sums}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--json"}}, out, err);
}

}  // namespace

KWLIB_COMMAND(kCrc32, "crc32", "print the CRC-32 of files", kwlib::SyntaxOf(kTable),
              "\n"
              "Prints the CRC-32 (IEEE 802.3, as zlib computes it) of each file as eight\n"
              "hex digits followed by the file name. \"-\" reads standard input.\n"
              "Exit status: 0, or 1 when a file could not be read (the others are still printed).\n",
              &Run);
