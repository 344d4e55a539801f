// A status indicator that draws on a terminal: one line with a bar, the
// percentage, the message, the elapsed time and the estimated end, redrawn at
// most ten times a second. On a stream that is not a terminal it writes plain
// lines instead: one when the message changes or the progress passes a tenth.
// Nothing is drawn before `delayMs` have passed since it was made.
#pragma once

#include <cstdio>
#include <string>

#include <kwlib63/progress/indicadorestat.h>

namespace kwlib {

class TerminalIndicator : public TIndicadorEstat {
 public:
  explicit TerminalIndicator(std::FILE* out, unsigned long long delayMs = 0);

  void SetMissatge(const wchar_t* text) override;
  int MostrarEstat(double pos) override;
  // Draws the final state and ends the line, when anything was drawn.
  void Finish();
  // Takes the bar off the terminal's line; the next report draws it again.
  void Wipe();

  // The line for a position, message and times, fitted to `width` columns.
  static std::string Render(double pos, const std::string& message, unsigned long long elapsedMs,
                            const std::string& eta, int width);

 private:
  void Draw(bool force);

  std::FILE* m_out;
  bool m_bTerminal;
  unsigned long long m_nDelayMs;
  bool m_bEverDrawn = false;
  unsigned long long m_nLastDraw = 0;
  bool m_bDrawn = false;
  int m_nLastTenth = -1;
  std::string m_sLastMessage;
};

}  // namespace kwlib
