// kwlib: the command-line face of kwlib63. `kwlib --help` lists the commands.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"
#include "longwork.h"

namespace {

void PrintUsage(std::ostream& out) {
  out << "Usage: kwlib COMMAND [ARGS...]\n"
         "       kwlib COMMAND --help\n"
         "       kwlib --version\n\n"
         "Commands:\n";
  // The summaries line up two columns after the longest name.
  std::size_t width = 0;
  for (const kwlib::Command* c : kwlib::Commands()) width = std::max(width, std::strlen(c->name));
  for (const kwlib::Command* c : kwlib::Commands()) {
    out << "  " << c->name << std::string(width + 2 - std::strlen(c->name), ' ') << c->summary << "\n";
  }
  out << "\nLong work (csv, records, pack, crc32, base64, find, reg import and export, run) shows a\n"
         "progress bar on standard error when it is a terminal; --progress shows it\n"
         "whatever standard error is, --no-progress never.\n"
         "\nExit status: 0 success, 1 failure, 2 wrong usage.\n";
}

const kwlib::Command* Find(const std::string& name) {
  for (const kwlib::Command* c : kwlib::Commands()) {
    if (name == c->name) return c;
  }
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  kwlib::ProgressMode progress = kwlib::ProgressMode::kAuto;
  kwlib::TakeProgressOption(args, true, progress);
  if (args.empty()) {
    PrintUsage(std::cerr);
    return kwlib::kExitUsage;
  }
  if (args[0] == "--help" || args[0] == "-h") {
    PrintUsage(std::cout);
    return kwlib::kExitOk;
  }
  if (args[0] == "--version") {
    std::cout << "kwlib " KWLIB_VERSION "\n";
    return kwlib::kExitOk;
  }
  const kwlib::Command* command = Find(args[0]);
  if (command == nullptr) {
    std::cerr << "kwlib: unknown command '" << args[0] << "'\nTry 'kwlib --help'.\n";
    return kwlib::kExitUsage;
  }
  args.erase(args.begin());
  // After the name, only a command in kwlib's own syntax has them among its words:
  // reg's data is taken as given.
  if (!command->ownHelp) kwlib::TakeProgressOption(args, false, progress);
  for (const std::string& a : args) {
    if (a == "--" || command->ownHelp) break;
    if (a == "--help" || a == "-h") {
      std::cout << kwlib::HelpText(*command);
      return kwlib::kExitOk;
    }
  }
  try {
    int status = kwlib::kExitOk;
    {
      const kwlib::LongWork work(progress);
      status = command->run(args, std::cout, std::cerr);
    }
    // Output that did not reach standard output (a full disk, a closed pipe) is
    // lost data: never a success.
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
      std::cerr << "kwlib " << command->name << ": standard output: "
                << (errno != 0 ? std::strerror(errno) : "write error") << "\n";
      return kwlib::kExitFailure;
    }
    return status;
  } catch (const kwlib::UsageError& e) {
    std::cerr << e.Usage() << "kwlib " << command->name << ": " << e.what() << "\nTry 'kwlib " << command->name << " --help'.\n";
    return kwlib::kExitUsage;
  }
}
