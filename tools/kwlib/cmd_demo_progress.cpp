// kwlib demo-progress: a job of nested phases and items driving the terminal
// indicator, the way the library's long operations drive one.
#include <chrono>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <kwlib63/progress/indicadorestat.h>

#include "command.h"
#include "dispatch.h"
#include "terminalindicator.h"

namespace {

int Demo(const std::vector<std::string>&, const kwlib::Call& call) {
  const std::optional<std::string> count = call.arguments.Value("--items"), delay = call.arguments.Value("--delay");
  const unsigned long items = count ? kwlib::ParseNumber(*count, 100000, "item count") : 10;
  const unsigned long delayMs = delay ? kwlib::ParseNumber(*delay, 10000, "delay") : 30;
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

const kwlib::SubCommand<> kTable[] = {{{"", 0, 0, "kwlib demo-progress [--items N] [--delay MS]"}, &Demo}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.valued = {"--items", "--delay"}, .dashWords = false}, out, err);
}

}  // namespace

KWLIB_COMMAND(kDemoProgress, "demo-progress", "show nested progress ranges on the terminal", kwlib::SyntaxOf(kTable),
              "\n"
              "Runs a job of three phases (reading 0-50%, sorting 50-80%, writing 80-100%),\n"
              "each of N items (default 10) taking MS milliseconds (default 30), and\n"
              "draws its progress: a bar, the percentage, the message, the elapsed time\n"
              "and the estimated end. On a terminal the line is redrawn at most ten\n"
              "times a second; otherwise a plain line is written whenever the progress\n"
              "passes a tenth, and when the message changes at most once a second.\n",
              &Run);
