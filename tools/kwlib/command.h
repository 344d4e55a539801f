// The sub-commands of kwlib. Each command lives in its own file and registers
// itself with a static KWLIB_COMMAND object; main() dispatches by name.
#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

#include <kwlib63/json.h>

namespace kwlib {

// Exit codes of every command.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// Thrown by a command for bad arguments; main() prints it with a hint and exits 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Command {
  const char* name;
  const char* summary;  // one line for `kwlib --help`
  const char* help;     // the full text for `kwlib NAME --help`
  int (*run)(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
  // The command reads its words in another tool's syntax and finds a request for
  // help itself (main() would take "-h" given as data for one).
  bool ownHelp = false;
};

const std::vector<const Command*>& Commands();

struct CommandRegistrar {
  explicit CommandRegistrar(const Command& command);
};

// A command line split into its flags and its other words.
struct Arguments {
  std::vector<std::string> words;
  std::vector<std::string> flags;  // those given, of the ones the command knows
  bool Has(const std::string& flag) const;
};

// Takes out the flags in `known` ("--json", ...); any other word starting with
// "--" is a UsageError. Words starting with a single '-' stay words: "-" names
// standard input and a value may be negative. "--" ends the flags: every word
// after it is a word.
Arguments SplitFlags(const std::vector<std::string>& args, const std::vector<std::string>& known);

// The one JSON form of every command: indented with tabs, text as UTF-8.
std::string JsonText(const Json::Value& value);

// Prints "kwlib WHAT: " and the system's text for error `code`; returns kExitFailure.
int SystemFailure(std::ostream& err, const std::string& what, unsigned long code);

// Parses an unsigned number, decimal or 0x-prefixed hex, no larger than `max`.
// Throws UsageError naming `what` when `text` is not one.
unsigned long ParseNumber(const std::string& text, unsigned long max, const char* what);

}  // namespace kwlib

#define KWLIB_COMMAND(var, ...) \
  static const ::kwlib::Command var{__VA_ARGS__}; \
  static const ::kwlib::CommandRegistrar var##Registrar(var)
