// A status indicator that draws on a terminal: one line with a bar, the
// percentage, the message, the elapsed time and the estimated end, fitted to the
// terminal's width and redrawn at most ten times a second. On a stream that is
// not a terminal it writes plain lines instead: one when the progress passes a
// tenth, and one when the message or the amount changes, at most one a second
// for those.
// Nothing is drawn before `delayMs` have passed since it was made.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include <kwlib63/progress/indicadorestat.h>

namespace kwlib {

class TerminalIndicator : public TIndicadorEstat {
 public:
  explicit TerminalIndicator(std::FILE* out, unsigned long long delayMs = 0);

  void SetMissatge(const wchar_t* text) override;
  int MostrarEstat(double pos) override;
  // Work of its own (the next file): from 0 again, with its own times.
  void Restart(const wchar_t* message);
  // Work whose total is unknown: the bytes done so far take the bar's place.
  void SetAmount(std::uint64_t bytes);
  // Whether text written to the same terminal left its line open: the bar would
  // draw over that line and its wipe erase it, so it waits for the line's end.
  void SetLineOpen(bool open);
  // Draws the final state and ends the line, when anything was drawn.
  void Finish();
  // Takes the bar off the terminal's line; the next report draws it again.
  void Wipe();
  // Whether the bar is on the terminal's line now. Safe in a signal handler.
  bool OnTerminalLine() const { return m_bOnLine.load(std::memory_order_relaxed); }

  // The line, fitted to `width` columns less one: the bar and percentage of `pos`
  // (or `amount` in their place when not empty), the message and the times. The
  // estimated end gives way first, the message is cut to what the times leave,
  // then the times go and the bar shortens. Empty when not even the percentage
  // fits.
  static std::string Render(double pos, const std::string& amount, const std::string& message,
                            unsigned long long elapsedMs, const std::string& eta, int width);
  // The columns `text` (UTF-8) takes on a terminal.
  static std::size_t Columns(const std::string& text);

 private:
  void Draw(bool force);

  std::FILE* m_out;
  bool m_bTerminal;
  unsigned long long m_nDelayMs;
  unsigned long long m_nMade;  // tick of its making: the delay counts from there
  bool m_bEverDrawn = false;
  unsigned long long m_nLastDraw = 0;
  std::atomic<bool> m_bOnLine{false};
  bool m_bLineOpen = false;
  bool m_bAmount = false;
  std::uint64_t m_nAmount = 0;
  int m_nLastTenth = -1;
  std::string m_sLastShown;  // message and amount of the last plain line
};

}  // namespace kwlib
