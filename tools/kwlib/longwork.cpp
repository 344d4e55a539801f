#include "longwork.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <iterator>

#include <kwlib63/framework/textconv.h>

namespace kwlib {
namespace {

// Short work shows nothing.
constexpr unsigned long long kDelayMs = 500;

TerminalIndicator* g_indicator = nullptr;
bool g_outputShared = false;  // standard output goes to the bar's terminal

// Signals that end the process while the bar may be on the terminal's line.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
struct sigaction g_previous[std::size(kEndingSignals)];
bool g_caught[std::size(kEndingSignals)] = {};

void RestoreSignal(std::size_t i) {
  if (g_caught[i]) sigaction(kEndingSignals[i], &g_previous[i], nullptr);
  g_caught[i] = false;
}

// Takes the bar off the line, then lets the signal do what it did before.
void WipeAndResignal(int signal) {
  if (g_indicator != nullptr && g_indicator->OnTerminalLine()) {
    static const char kWipe[] = "\r\x1b[K";
    [[maybe_unused]] const ssize_t n = write(STDERR_FILENO, kWipe, sizeof kWipe - 1);
  }
  for (std::size_t i = 0; i < std::size(kEndingSignals); ++i) {
    if (kEndingSignals[i] == signal) RestoreSignal(i);
  }
  raise(signal);
}

void CatchEndingSignals() {
  for (std::size_t i = 0; i < std::size(kEndingSignals); ++i) {
    struct sigaction previous {};
    // An ignored signal (nohup, a background job) stays ignored.
    if (sigaction(kEndingSignals[i], nullptr, &previous) != 0 || previous.sa_handler == SIG_IGN) continue;
    struct sigaction wipe {};
    wipe.sa_handler = WipeAndResignal;
    sigemptyset(&wipe.sa_mask);
    g_caught[i] = sigaction(kEndingSignals[i], &wipe, &g_previous[i]) == 0;
  }
}

// Whether standard output is the terminal standard error is.
// /dev/tty is the controlling terminal under another name: taken as the same.
bool SameTerminal() {
  struct stat out {}, err {};
  if (isatty(STDOUT_FILENO) == 0 || fstat(STDOUT_FILENO, &out) != 0 || fstat(STDERR_FILENO, &err) != 0) return false;
  const dev_t controlling = makedev(5, 0);
  return out.st_rdev == err.st_rdev || out.st_rdev == controlling || err.st_rdev == controlling;
}

}  // namespace

void TakeProgressOption(std::vector<std::string>& args, bool leadingOnly, ProgressMode& mode) {
  for (auto it = args.begin(); it != args.end() && *it != "--";) {
    if (*it == "--progress" || *it == "--no-progress") {
      mode = *it == "--progress" ? ProgressMode::kOn : ProgressMode::kOff;
      it = args.erase(it);
    } else if (leadingOnly) {
      break;
    } else {
      ++it;
    }
  }
}

LongWork::LongWork(ProgressMode mode) {
  const bool terminal = isatty(STDERR_FILENO) != 0;
  if (mode == ProgressMode::kOff || (mode == ProgressMode::kAuto && !terminal)) return;
  m_forced = mode == ProgressMode::kOn;
  m_indicator = std::make_unique<TerminalIndicator>(stderr, m_forced ? 0 : kDelayMs);
  g_indicator = m_indicator.get();
  if (!terminal) return;
  CatchEndingSignals();
  std::cerr.flush();
  m_wiping.push_back(std::make_unique<WipingBuffer>(std::cerr.rdbuf(), stderr));
  std::cerr.rdbuf(m_wiping.back().get());
  if (isatty(STDOUT_FILENO) != 0) {
    g_outputShared = SameTerminal();
    std::cout.flush();
    m_wiping.push_back(std::make_unique<WipingBuffer>(std::cout.rdbuf(), stdout));
    std::cout.rdbuf(m_wiping.back().get());
  }
}

LongWork::~LongWork() {
  if (m_indicator == nullptr) return;
  if (!m_wiping.empty()) std::cerr.rdbuf(m_wiping[0]->Target());
  if (m_wiping.size() > 1) std::cout.rdbuf(m_wiping[1]->Target());
  std::cout.flush();
  // A bar asked for stays with its last state; one shown by itself goes.
  if (m_forced) {
    m_indicator->Finish();
  } else {
    m_indicator->Wipe();
  }
  for (std::size_t i = 0; i < std::size(kEndingSignals); ++i) RestoreSignal(i);
  g_indicator = nullptr;
  g_outputShared = false;
}

int LongWork::WipingBuffer::overflow(int c) {
  if (c == traits_type::eof()) return traits_type::not_eof(c);
  const char text = static_cast<char>(c);
  BeforeOutput();
  const int result = m_to->sputc(text);
  AfterOutput(m_stream, std::string_view(&text, 1));
  return result;
}

std::streamsize LongWork::WipingBuffer::xsputn(const char* text, std::streamsize n) {
  BeforeOutput();
  const std::streamsize written = m_to->sputn(text, n);
  AfterOutput(m_stream, std::string_view(text, static_cast<std::size_t>(n)));
  return written;
}

TIndicadorEstat* Progress() { return g_indicator; }

void BeforeOutput() {
  if (g_indicator != nullptr) g_indicator->Wipe();
}

void AfterOutput(std::FILE* stream, std::string_view text) {
  if (g_indicator == nullptr || text.empty() || (stream != stderr && !(stream == stdout && g_outputShared))) return;
  // Buffered text would reach the terminal after the bar, on its line.
  std::fflush(stream);
  g_indicator->SetLineOpen(text.back() != '\n');
}

FileProgress::FileProgress(const std::string& path, int fd) {
  if (g_indicator == nullptr) return;
  struct stat info {};
  const bool regular = fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  if (regular) m_size = static_cast<std::uint64_t>(info.st_size);
  g_indicator->Restart(kwfw::Utf8ToWide(path == "-" ? "standard input" : path).c_str());
  // An empty file is done before its first read.
  if (regular && m_size == 0) g_indicator->MostrarEstat(1.0);
}

void FileProgress::Read(std::size_t bytes) {
  m_done += bytes;
  if (g_indicator == nullptr) return;
  if (m_size > 0) {
    g_indicator->MostrarEstat(static_cast<double>(m_done) / static_cast<double>(m_size));
  } else {
    g_indicator->SetAmount(m_done);
  }
}

}  // namespace kwlib
