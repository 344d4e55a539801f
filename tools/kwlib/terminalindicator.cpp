#include "terminalindicator.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ctime>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/clock.h>

namespace kwlib {
namespace {

constexpr unsigned long long kRedrawMs = 100;

int TerminalWidth(std::FILE* out) {
  winsize ws{};
  if (ioctl(fileno(out), TIOCGWINSZ, &ws) == 0 && ws.ws_col >= 20) return ws.ws_col;
  return 80;
}

std::string Clock(unsigned long long seconds) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%02llu:%02llu:%02llu", seconds / 3600, seconds / 60 % 60, seconds % 60);
  return buf;
}

// Cuts UTF-8 text to at most `columns` characters.
std::string Fit(const std::string& text, std::size_t columns) {
  std::size_t chars = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80 && chars++ == columns) return text.substr(0, i);
  }
  return text;
}

// A name (a folder's, a key's) may hold any character: a control character or an
// escape sequence must reach the terminal as a '?', not act on it.
std::string Printable(const std::string& text) {
  std::string shown;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const bool c1 = c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                    static_cast<unsigned char>(text[i + 1]) <= 0x9F;
    if (c < 0x20 || c == 0x7F || c1) {
      shown += '?';
      i += c1 ? 1 : 0;
    } else {
      shown += text[i];
    }
  }
  return shown;
}

}  // namespace

TerminalIndicator::TerminalIndicator(std::FILE* out, unsigned long long delayMs)
    : m_out(out), m_bTerminal(isatty(fileno(out)) != 0), m_nDelayMs(delayMs) {
  ActivarTimer();
}

std::string TerminalIndicator::Render(double pos, const std::string& message, unsigned long long elapsedMs,
                                      const std::string& eta, int width) {
  const double fraction = std::isfinite(pos) ? std::clamp(pos, 0.0, 1.0) : 0.0;
  const int percent = static_cast<int>(fraction * 100.0);
  std::string times = "  " + Clock(elapsedMs / 1000);
  if (!eta.empty()) times += " ETA " + eta;
  constexpr int kBar = 20;
  const int filled = static_cast<int>(fraction * kBar);
  std::string line = "[" + std::string(static_cast<std::size_t>(filled), '#') +
                     std::string(static_cast<std::size_t>(kBar - filled), '.') + "] ";
  char pct[8];
  std::snprintf(pct, sizeof pct, "%3d%% ", percent);
  line += pct;
  const int room = width - 1 - static_cast<int>(line.size() + times.size());
  if (room > 0) line += Fit(Printable(message), static_cast<std::size_t>(room));
  return line + times;
}

void TerminalIndicator::SetMissatge(const wchar_t* text) {
  TIndicadorEstat::SetMissatge(text);
  Draw(false);
}

int TerminalIndicator::MostrarEstat(double pos) {
  const int result = TIndicadorEstat::MostrarEstat(pos);
  Draw(false);
  return result;
}

void TerminalIndicator::Finish() {
  if (!m_bEverDrawn) return;
  Draw(true);
  if (m_bTerminal) std::fputc('\n', m_out);
  std::fflush(m_out);
}

void TerminalIndicator::Wipe() {
  if (!m_bTerminal || !m_bDrawn) return;
  std::fputs("\r\x1b[K", m_out);
  std::fflush(m_out);
  m_bDrawn = false;
}

void TerminalIndicator::Draw(bool force) {
  if (!force && GetTempsTimer() < m_nDelayMs) return;
  // Reports come far more often than the line may change.
  const unsigned long long now = kwplat::GetTickCount64();
  // Also after a wipe: output between reports must not make it redraw at their rate.
  if (m_bTerminal && !force && m_bEverDrawn && now - m_nLastDraw < kRedrawMs) return;
  const double pos = GetEstat();
  const std::string message = kwfw::WideToUtf8(GetMissatge().GetString());
  std::string eta;
  if (pos > 0.0) {
    const time_t end = static_cast<time_t>(GetETA().GetTime());
    struct tm local;
    char buf[16];
    if (localtime_r(&end, &local) != nullptr && std::strftime(buf, sizeof buf, "%H:%M:%S", &local) > 0) eta = buf;
  }
  if (m_bTerminal) {
    const std::string line = Render(pos, message, GetTempsTimer(), eta, TerminalWidth(m_out));
    std::fprintf(m_out, "\r%s\x1b[K", line.c_str());
  } else {
    const int tenth = std::isfinite(pos) ? static_cast<int>(std::clamp(pos, 0.0, 1.0) * 10.0) : 0;
    if (m_bDrawn && tenth == m_nLastTenth && message == m_sLastMessage) return;
    m_nLastTenth = tenth;
    m_sLastMessage = message;
    std::fprintf(m_out, "%s\n", Render(pos, message, GetTempsTimer(), eta, 200).c_str());
  }
  std::fflush(m_out);
  m_bDrawn = true;
  m_bEverDrawn = true;
  m_nLastDraw = now;
}

}  // namespace kwlib
