#include "terminalindicator.h"

#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <cwchar>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/clock.h>

namespace kwlib {
namespace {

constexpr unsigned long long kRedrawMs = 100;
// Lines on a stream that is not a terminal: one a second for a changing message
// or amount.
constexpr unsigned long long kChangeLineMs = 1000;
constexpr int kBar = 20;

int TerminalWidth(std::FILE* out) {
  winsize ws{};
  if (ioctl(fileno(out), TIOCGWINSZ, &ws) == 0 && ws.ws_col > 0) return ws.ws_col;
  return 80;
}

std::string Clock(unsigned long long seconds) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%02llu:%02llu:%02llu", seconds / 3600, seconds / 60 % 60, seconds % 60);
  return buf;
}

// The next code point of UTF-8 text at `i`, moving `i` past it; a byte that starts
// no valid sequence stands for itself.
char32_t NextCodePoint(const std::string& text, std::size_t& i) {
  const auto lead = static_cast<unsigned char>(text[i]);
  const int length = lead < 0x80 ? 1 : (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
  if (length <= 1 || i + static_cast<std::size_t>(length) > text.size()) return static_cast<char32_t>(text[i++] & 0xFF);
  char32_t c = lead & (0x7F >> length);
  for (int k = 1; k < length; ++k) {
    const auto next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
    if ((next & 0xC0) != 0x80) return static_cast<char32_t>(text[i++] & 0xFF);
    c = c << 6 | (next & 0x3F);
  }
  i += static_cast<std::size_t>(length);
  return c;
}

// Column widths come from the C library's Unicode tables, whatever the process's
// own locale is: the terminal draws UTF-8.
class WidthTable {
 public:
  WidthTable() : m_locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {}
  ~WidthTable() {
    if (m_locale != nullptr) freelocale(m_locale);
  }
  WidthTable(const WidthTable&) = delete;
  WidthTable& operator=(const WidthTable&) = delete;

  // Columns of each code point of `text`, handed to `each` with its end in bytes;
  // `each` returns false to stop.
  template <typename Each>
  void Walk(const std::string& text, Each&& each) const {
    const locale_t previous = m_locale != nullptr ? uselocale(m_locale) : nullptr;
    for (std::size_t i = 0; i < text.size();) {
      const char32_t c = NextCodePoint(text, i);
      const int w = m_locale != nullptr ? wcwidth(static_cast<wchar_t>(c)) : 1;
      if (!each(static_cast<std::size_t>(w >= 0 ? w : 1), i)) break;  // unknown ones as one
    }
    if (previous != nullptr) uselocale(previous);
  }

 private:
  locale_t m_locale;
};

const WidthTable& Widths() {
  static const WidthTable table;
  return table;
}

// Cuts UTF-8 text to at most `columns` columns, never inside a character.
std::string Fit(const std::string& text, std::size_t columns) {
  std::size_t used = 0, end = 0;
  Widths().Walk(text, [&](std::size_t w, std::size_t next) {
    if (used + w > columns) return false;
    used += w;
    end = next;
    return true;
  });
  return text.substr(0, end);
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

// "12.5 MiB" and the like.
std::string Bytes(std::uint64_t n) {
  static const char* const kUnits[] = {"KiB", "MiB", "GiB", "TiB"};
  if (n < 1024) return std::to_string(n) + (n == 1 ? " byte" : " bytes");
  double value = static_cast<double>(n) / 1024.0;
  int unit = 0;
  // By what is shown: 1048575 bytes are "1.0 MiB", not "1024.0 KiB".
  for (; value >= 1023.95 && unit < 3; ++unit) value /= 1024.0;
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.1f %s", value, kUnits[unit]);
  return buf;
}

}  // namespace

TerminalIndicator::TerminalIndicator(std::FILE* out, unsigned long long delayMs)
    : m_out(out), m_bTerminal(isatty(fileno(out)) != 0), m_nDelayMs(delayMs), m_nMade(kwplat::GetTickCount64()) {
  ActivarTimer();
}

std::size_t TerminalIndicator::Columns(const std::string& text) {
  std::size_t used = 0;
  Widths().Walk(text, [&](std::size_t w, std::size_t) {
    used += w;
    return true;
  });
  return used;
}

std::string TerminalIndicator::Render(double pos, const std::string& amount, const std::string& message,
                                      unsigned long long elapsedMs, const std::string& eta, int width) {
  const std::size_t room = width > 1 ? static_cast<std::size_t>(width - 1) : 0;
  std::string percent, bar;
  if (amount.empty()) {
    const double fraction = std::isfinite(pos) ? std::clamp(pos, 0.0, 1.0) : 0.0;
    char pct[8];
    std::snprintf(pct, sizeof pct, "%3d%% ", static_cast<int>(fraction * 100.0));
    percent = pct;
    // The bar shortens to what is left beside the percentage ("[" and "] ").
    const std::size_t length = room >= percent.size() + 3 ? std::min<std::size_t>(kBar, room - percent.size() - 3) : 0;
    if (length > 0) {
      const auto filled = static_cast<std::size_t>(fraction * static_cast<double>(length));
      bar = "[" + std::string(filled, '#') + std::string(length - filled, '.') + "] ";
    }
  } else {
    percent = amount + " ";
  }
  const std::string gauge = bar + percent;
  if (gauge.size() > room) return std::string();
  std::string times = "  " + Clock(elapsedMs / 1000);
  if (!eta.empty() && gauge.size() + times.size() + 5 + eta.size() <= room) times += " ETA " + eta;
  if (gauge.size() + times.size() > room) times.clear();
  return gauge + Fit(Printable(message), room - gauge.size() - times.size()) + times;
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

void TerminalIndicator::Restart(const wchar_t* message) {
  m_bAmount = false;
  m_nAmount = 0;
  ActivarTimer();
  TIndicadorEstat::SetMissatge(message);
  MostrarEstat(0.0);
}

void TerminalIndicator::SetAmount(std::uint64_t bytes) {
  m_bAmount = true;
  m_nAmount = bytes;
  Draw(false);
}

void TerminalIndicator::SetLineOpen(bool open) { m_bLineOpen = open; }

void TerminalIndicator::Finish() {
  if (!m_bEverDrawn) return;
  // Below a line left open, not over it.
  if (m_bTerminal && m_bLineOpen) std::fputc('\n', m_out);
  m_bLineOpen = false;
  Draw(true);
  if (m_bTerminal && m_bOnLine) std::fputc('\n', m_out);
  m_bOnLine = false;
  std::fflush(m_out);
}

void TerminalIndicator::Wipe() {
  if (!m_bTerminal || !m_bOnLine) return;
  std::fputs("\r\x1b[K", m_out);
  std::fflush(m_out);
  m_bOnLine = false;
}

void TerminalIndicator::Draw(bool force) {
  const unsigned long long now = kwplat::GetTickCount64();
  if (!force && now - m_nMade < m_nDelayMs) return;
  // Reports come far more often than the line may change; also after a wipe,
  // output between reports must not make it redraw at their rate.
  if (m_bTerminal && !force && m_bEverDrawn && now - m_nLastDraw < kRedrawMs) return;
  if (m_bTerminal && m_bLineOpen) return;
  const double pos = GetEstat();
  const std::string message = kwfw::WideToUtf8(GetMissatge().GetString());
  const std::string amount = m_bAmount ? Bytes(m_nAmount) : std::string();
  std::string eta;
  if (!m_bAmount && pos > 0.0) {
    const time_t end = static_cast<time_t>(GetETA().GetTime());
    struct tm local;
    char buf[16];
    if (localtime_r(&end, &local) != nullptr && std::strftime(buf, sizeof buf, "%H:%M:%S", &local) > 0) eta = buf;
  }
  if (m_bTerminal) {
    const std::string line = Render(pos, amount, message, GetTempsTimer(), eta, TerminalWidth(m_out));
    if (line.empty()) {
      Wipe();
      return;
    }
    m_bOnLine = true;  // before the bar: a signal in between finds it to wipe
    std::fprintf(m_out, "\r%s\x1b[K", line.c_str());
  } else {
    const int tenth = m_bAmount || !std::isfinite(pos) ? 0 : static_cast<int>(std::clamp(pos, 0.0, 1.0) * 10.0);
    const std::string shown = message + '\n' + amount;
    const bool changeDue = shown != m_sLastShown && (force || now - m_nLastDraw >= kChangeLineMs);
    if (m_bEverDrawn && tenth == m_nLastTenth && !changeDue) return;
    m_nLastTenth = tenth;
    m_sLastShown = shown;
    std::fprintf(m_out, "%s\n", Render(pos, amount, message, GetTempsTimer(), eta, 200).c_str());
  }
  std::fflush(m_out);
  m_bEverDrawn = true;
  m_nLastDraw = now;
}

}  // namespace kwlib
