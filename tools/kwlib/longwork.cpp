#include "longwork.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include <kwlib63/framework/textconv.h>

namespace kwlib {
namespace {

// Short work shows nothing.
constexpr unsigned long long kDelayMs = 500;

TerminalIndicator* g_indicator = nullptr;

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
  std::cerr.flush();
  m_wiping.push_back(std::make_unique<WipingBuffer>(std::cerr.rdbuf()));
  std::cerr.rdbuf(m_wiping.back().get());
  if (isatty(STDOUT_FILENO) != 0) {
    std::cout.flush();
    m_wiping.push_back(std::make_unique<WipingBuffer>(std::cout.rdbuf()));
    std::cout.rdbuf(m_wiping.back().get());
  }
}

LongWork::~LongWork() {
  if (m_indicator == nullptr) return;
  if (!m_wiping.empty()) std::cerr.rdbuf(m_wiping[0]->Target());
  if (m_wiping.size() > 1) std::cout.rdbuf(m_wiping[1]->Target());
  // A bar asked for stays with its last state; one shown by itself goes.
  if (m_forced) {
    m_indicator->Finish();
  } else {
    m_indicator->Wipe();
  }
  g_indicator = nullptr;
}

int LongWork::WipingBuffer::overflow(int c) {
  BeforeOutput();
  return c == traits_type::eof() ? traits_type::not_eof(c) : m_to->sputc(static_cast<char>(c));
}

std::streamsize LongWork::WipingBuffer::xsputn(const char* text, std::streamsize n) {
  BeforeOutput();
  return m_to->sputn(text, n);
}

TIndicadorEstat* Progress() { return g_indicator; }

void BeforeOutput() {
  if (g_indicator != nullptr) g_indicator->Wipe();
}

FileProgress::FileProgress(const std::string& path, int fd) {
  if (g_indicator == nullptr) return;
  struct stat info {};
  if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) m_size = static_cast<std::uint64_t>(info.st_size);
  g_indicator->SetMissatge(kwfw::Utf8ToWide(path == "-" ? "standard input" : path).c_str());
}

void FileProgress::Read(std::size_t bytes) {
  m_done += bytes;
  if (g_indicator != nullptr && m_size > 0) g_indicator->MostrarEstat(static_cast<double>(m_done) / static_cast<double>(m_size));
}

}  // namespace kwlib
