// kwlib pack: compresses a file with one of the run-length coders, or expands it.
#include <iostream>
#include <string>
#include <vector>

#include <kwlib63/persist/compression.h>

#include "command.h"
#include "fileio.h"

namespace {

enum class Format { kNone, kRle, kRll, kPackbits };

// The exact size a stream of packets expands to (RLL is PackBits).
std::size_t ExpandedSize(const std::vector<unsigned char>& in, Format format) {
  std::size_t size = 0;
  for (std::size_t i = 0; i < in.size();) {
    if (format == Format::kRle) {
      if (i + 1 >= in.size()) break;
      size += in[i] + 1u;
      i += 2;
    } else if (in[i] < 128) {
      const std::size_t count = in[i] + 1u;
      size += std::min(count, in.size() - i - 1);
      i += 1 + count;
    } else {
      if (i + 1 >= in.size()) break;
      size += 257u - in[i];
      i += 2;
    }
  }
  return size;
}

int Run(const std::vector<std::string>& args, std::ostream&, std::ostream& err) {
  Format format = Format::kNone;
  bool expand = false;
  std::vector<std::string> files;
  for (const std::string& a : args) {
    const Format f = a == "--rle" ? Format::kRle : a == "--rll" ? Format::kRll : a == "--packbits" ? Format::kPackbits : Format::kNone;
    if (f != Format::kNone) {
      if (format != Format::kNone) throw kwlib::UsageError("give one format");
      format = f;
    } else if (a == "-d" || a == "--decompress") {
      expand = true;
    } else if (a.size() > 1 && a[0] == '-') {
      throw kwlib::UsageError("unknown option '" + a + "'");
    } else {
      files.push_back(a);
    }
  }
  if (format == Format::kNone) throw kwlib::UsageError("give a format: --rle, --rll or --packbits");
  if (files.size() != 2) throw kwlib::UsageError("give an input and an output file");
  std::vector<unsigned char> in;
  std::string error;
  if (!kwlib::ReadAll(files[0], in, error)) {
    err << "kwlib pack: " << files[0] << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  if (in.size() > 0xFFFFFFFFu / 2) {
    err << "kwlib pack: " << files[0] << ": too large\n";
    return kwlib::kExitFailure;
  }
  std::vector<unsigned char> out;
  auto n = static_cast<unsigned long>(in.size());
  if (expand) {
    const std::size_t size = ExpandedSize(in, format);
    out.resize(size + 129);  // PackBits may write a whole packet past the limit
    out.resize(format == Format::kRle
                   ? TCompression::DescomprimirRLE(in.data(), n, static_cast<unsigned long>(size), out.data())
                   : TCompression::DescomprimirPackbits(in.data(), n, static_cast<unsigned long>(size), out.data()));
  } else {
    out.resize(2 * in.size() + 2);
    const unsigned long room = static_cast<unsigned long>(out.size());
    if (format == Format::kRle) {
      TCompression::ComprimirRLE(in.data(), n, out.data(), room);
    } else if (format == Format::kRll) {
      TCompression::ComprimirRLL(in.data(), n, out.data(), room);
    } else {
      TCompression::ComprimirPackbits(in.data(), n, out.data());
    }
    out.resize(in.empty() ? 0 : n);
  }
  if (!kwlib::WriteAll(files[1], out.data(), out.size(), error)) {
    err << "kwlib pack: " << files[1] << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  return kwlib::kExitOk;
}

}  // namespace

KWLIB_COMMAND(kPack, "pack", "compress or expand with RLE, RLL or PackBits",
              "Usage: kwlib pack (--rle|--rll|--packbits) [-d|--decompress] IN OUT\n\n"
              "Compresses IN into OUT with the chosen run-length format, or with -d expands\n"
              "it (RLL data expands as PackBits). \"-\" is standard input or output.\n",
              &Run);
