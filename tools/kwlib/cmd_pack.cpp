// kwlib pack: compresses a file with one of the run-length coders, or expands it.
#include <iostream>
#include <string>
#include <vector>

#include <kwlib63/persist/compression.h>

#include "command.h"
#include "dispatch.h"
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

// The length of the packets at the start of `in` that are whole and expand to at
// most `limit` bytes (the first whole one whatever its size), so that a block of
// highly compressed input never expands all at once.
std::size_t NextPackets(const std::vector<unsigned char>& in, Format format, std::size_t limit) {
  std::size_t i = 0, expanded = 0;
  while (i < in.size()) {
    const bool run = format == Format::kRle || in[i] >= 128;
    const std::size_t length = run ? 2 : in[i] + 2u;
    const std::size_t size = format == Format::kRle ? in[i] + 1u : run ? 257u - in[i] : in[i] + 1u;
    if (i + length > in.size() || (i > 0 && expanded + size > limit)) break;
    expanded += size;
    i += length;
  }
  return i;
}

constexpr std::size_t kBlock = 1 << 20;

// The one format the flags name.
Format FormatOf(const kwlib::Arguments& arguments) {
  Format format = Format::kNone;
  for (const std::string& flag : arguments.flags) {
    const Format f = flag == "--rle"        ? Format::kRle
                     : flag == "--rll"      ? Format::kRll
                     : flag == "--packbits" ? Format::kPackbits
                                            : Format::kNone;
    if (f == Format::kNone) continue;
    if (format != Format::kNone) throw kwlib::UsageError("give one format");
    format = f;
  }
  if (format == Format::kNone) throw kwlib::UsageError("give a format: --rle, --rll or --packbits");
  return format;
}

// IN OUT
int Code(const std::vector<std::string>& files, const kwlib::Call& call) {
  const Format format = FormatOf(call.arguments);
  const bool expand = call.arguments.Has("-d") || call.arguments.Has("--decompress");
  std::ostream& err = call.err;
  kwlib::Output output(files[1]);
  std::string error;
  std::vector<unsigned char> pending, coded;
  // Codes the first `n` bytes waiting.
  const auto code = [&](std::size_t n) {
    if (expand) {
      const std::vector<unsigned char> part(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(n));
      const std::size_t size = ExpandedSize(part, format);
      coded.resize(size + 129);  // PackBits may write a whole packet past the limit
      const auto in = static_cast<unsigned long>(n);
      coded.resize(format == Format::kRle
                       ? TCompression::DescomprimirRLE(pending.data(), in, static_cast<unsigned long>(size), coded.data())
                       : TCompression::DescomprimirPackbits(pending.data(), in, static_cast<unsigned long>(size), coded.data()));
    } else {
      coded.resize(2 * n + 2);
      auto size = static_cast<unsigned long>(n);
      const auto room = static_cast<unsigned long>(coded.size());
      if (format == Format::kRle) {
        TCompression::ComprimirRLE(pending.data(), size, coded.data(), room);
      } else if (format == Format::kRll) {
        TCompression::ComprimirRLL(pending.data(), size, coded.data(), room);
      } else {
        TCompression::ComprimirPackbits(pending.data(), size, coded.data());
      }
      coded.resize(n == 0 ? 0 : size);
    }
    output.Write(coded.data(), coded.size());
    pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(n));
  };
  // Expanding: whole packets as they come, a megabyte of output at a time; at the
  // end a packet the input cuts short, as the library expands it. Compressing: a
  // block at a time (a run does not go on across a block's end, which costs only a
  // packet).
  const auto codeReady = [&](bool last) {
    if (expand) {
      for (std::size_t n; (n = NextPackets(pending, format, kBlock)) > 0;) code(n);
      if (last && !pending.empty()) code(pending.size());
    } else {
      while (pending.size() >= kBlock) code(kBlock);
      if (last) code(pending.size());
    }
  };
  const bool read = kwlib::ReadBlocks(files[0], kBlock, [&](const unsigned char* bytes, std::size_t n) {
    pending.insert(pending.end(), bytes, bytes + n);
    codeReady(false);
  }, error);
  if (!read) {
    err << "kwlib pack: " << files[0] << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  // Expanding, bytes left after the whole packets are a packet the input cuts
  // short: expanded as far as it goes, and an error, since the rest is lost.
  const bool cut = expand && !pending.empty();
  codeReady(true);
  if (!output.Finish(error)) {
    err << "kwlib pack: " << files[1] << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  if (cut) {
    err << "kwlib pack: " << files[0] << ": the data ends inside a packet (written as far as it goes)\n";
    return kwlib::kExitFailure;
  }
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {{{"", 2, 2, "kwlib pack (--rle|--rll|--packbits) [-d|--decompress] IN OUT"}, &Code}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--rle", "--rll", "--packbits", "-d", "--decompress"}, .dashWords = false},
                         out, err);
}

}  // namespace

KWLIB_COMMAND(kPack, "pack", "compress or expand with RLE, RLL or PackBits", kwlib::SyntaxOf(kTable),
              "\n"
              "Compresses IN into OUT with the chosen run-length format, or with -d expands\n"
              "it (RLL data expands as PackBits). \"-\" is standard input or output. Both\n"
              "work in blocks of 1 MiB: a run is not carried across a block's end, so a larger\n"
              "input may code to a few bytes more than coded whole; it expands the same.\n"
              "Input that ends inside a packet is expanded as far as it goes, with exit\n"
              "status 1.\n",
              &Run);
