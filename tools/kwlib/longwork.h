// The progress bar of kwlib's long commands. main() starts one LongWork around
// every command, and the commands' long loops report to Progress(). The bar goes
// to standard error when it is a terminal and the work has lasted half a second,
// and is wiped when the work ends, or when a signal ends it; nothing is drawn when
// standard error is not a terminal, so scripts and pipes see exactly what they saw
// before. --progress draws it at once whatever standard error is (lines on a
// pipe), --no-progress never.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "terminalindicator.h"

namespace kwlib {

enum class ProgressMode { kAuto, kOn, kOff };

// Takes --progress and --no-progress out of `args` into `mode` (the last one given
// wins), up to a "--", or with `leadingOnly` up to the first other word.
void TakeProgressOption(std::vector<std::string>& args, bool leadingOnly, ProgressMode& mode);

class LongWork {
 public:
  explicit LongWork(ProgressMode mode);
  ~LongWork();
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

 private:
  // Wipes the bar before text goes to a stream that shares its terminal.
  class WipingBuffer : public std::streambuf {
   public:
    WipingBuffer(std::streambuf* to, std::FILE* stream) : m_to(to), m_stream(stream) {}
    std::streambuf* Target() const { return m_to; }

   protected:
    int overflow(int c) override;
    std::streamsize xsputn(const char* text, std::streamsize n) override;
    int sync() override { return m_to->pubsync(); }

   private:
    std::streambuf* m_to;
    std::FILE* m_stream;  // the C stream m_to writes through
  };

  std::unique_ptr<TerminalIndicator> m_indicator;
  bool m_forced = false;
  std::vector<std::unique_ptr<WipingBuffer>> m_wiping;
};

// The indicator of the work under way, or null when no bar is shown: every call
// of the library takes null as no indicator.
TIndicadorEstat* Progress();

// Text written to standard output or error past the C++ streams (C stdio): the
// bar is wiped before it, and while it leaves a line open on the bar's terminal
// the bar stays off. Nothing when no bar is drawn.
void BeforeOutput();
void AfterOutput(std::FILE* stream, std::string_view text);

// Reports the bytes of a file read so far against its size, named by its path,
// from 0 for each file; a pipe or a terminal has no size, and its bytes are shown
// as an amount.
class FileProgress {
 public:
  FileProgress(const std::string& path, int fd);
  void Read(std::size_t bytes);

 private:
  std::uint64_t m_size = 0;
  std::uint64_t m_done = 0;
};

}  // namespace kwlib
