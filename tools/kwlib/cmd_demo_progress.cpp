// kwlib demo-progress: a job of nested phases and items driving the terminal
// indicator, the way the library's long operations drive one.
#include <chrono>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <kwlib63/progress/indicadorestat.h>

#include "command.h"
#include "terminalindicator.h"

namespace {

int Run(const std::vector<std::string>& args, std::ostream&, std::ostream&) {
  unsigned long items = 10;
  unsigned long delayMs = 30;
  // "--" ends the options; the command takes no other words.
  for (std::size_t i = 0; i < args.size() && args[i] != "--"; ++i) {
    if (args[i] == "--items" && i + 1 < args.size()) {
      items = kwlib::ParseNumber(args[++i], 100000, "item count");
    } else if (args[i] == "--delay" && i + 1 < args.size()) {
      delayMs = kwlib::ParseNumber(args[++i], 10000, "delay");
    } else {
      throw kwlib::UsageError("unexpected argument '" + args[i] + "'");
    }
  }
  if (items == 0) throw kwlib::UsageError("the item count must be at least 1");

  std::cout.flush();
  kwlib::TerminalIndicator ie(stdout);
  struct Phase {
    const wchar_t* name;
    double from, to;
  };
  const Phase phases[] = {{L"reading", 0.0, 0.5}, {L"sorting", 0.5, 0.8}, {L"writing", 0.8, 1.0}};
  for (const Phase& phase : phases) {
    CSetSubRangIE inPhase(&ie, phase.from, phase.to);
    for (unsigned long i = 0; i < items; ++i) {
      CSetSubRangIE inItem(&ie, static_cast<int>(i), static_cast<int>(items));
      ie.FormatMissatge(L"%s item %lu of %lu", phase.name, i + 1, items);
      for (int step = 1; step <= 4; ++step) {
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs / 4));
        if (!ie.MostrarEstatRel(step / 4.0)) return kwlib::kExitFailure;
      }
    }
  }
  ie.SetMissatge(L"done");
  ie.Finish();
  return kwlib::kExitOk;
}

}  // namespace

KWLIB_COMMAND(kDemoProgress, "demo-progress", "show nested progress ranges on the terminal",
              "Usage: kwlib demo-progress [--items N] [--delay MS]\n\n"
              "Runs a job of three phases (reading 0-50%, sorting 50-80%, writing 80-100%),\n"
              "each of N items (default 10) taking MS milliseconds (default 30), and\n"
              "draws its progress: a bar, the percentage, the message, the elapsed time\n"
              "and the estimated end. On a terminal the line is redrawn at most ten\n"
              "times a second; otherwise a plain line is written whenever the message\n"
              "changes or the progress passes a tenth.\n",
              &Run);
