// The commands of kwlib. Each command lives in its own file and registers itself
// with a static KWLIB_COMMAND object; main() dispatches by name, and the command
// dispatches its words through its table (dispatch.h).
#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
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
  explicit UsageError(const std::string& what, std::string usage = {})
      : std::runtime_error(what), m_usage(std::move(usage)) {}
  // Usage lines as UsageText() writes them, printed before the reason; most
  // errors have none.
  const std::string& Usage() const { return m_usage; }

 private:
  std::string m_usage;
};

// One row of a command's table: a sub-command and the words it takes. A command
// without sub-commands has one row with an empty name.
struct Syntax {
  const char* name;
  std::size_t least;  // words after the name, flags left out
  std::size_t most;   // kNoLimit when any number may follow
  const char* usage;  // its synopsis, one form a line: "kwlib records get FILE ID [-o OUT]"
};

inline constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

struct Command {
  const char* name;
  const char* summary;          // one line for `kwlib --help`
  std::vector<Syntax> syntax;   // the command's table, without its handlers
  const char* help;             // what `kwlib NAME --help` prints after the usage lines
  int (*run)(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
  // The command reads its words in another tool's syntax and finds a request for
  // help itself (main() would take "-h" given as data for one).
  bool ownHelp = false;
};

const std::vector<const Command*>& Commands();

// "Usage: " and the synopses of `rows`, the lines after the first indented under it.
std::string UsageText(const std::vector<Syntax>& rows);

// All that `kwlib NAME --help` prints: the usage lines, then the help.
std::string HelpText(const Command& command);

struct CommandRegistrar {
  explicit CommandRegistrar(const Command& command);
};

// The options a command knows.
struct Options {
  std::vector<std::string> flags{};   // given or not: "--json", "-d"
  std::vector<std::string> valued{};  // with the next word as value ("--skip N", "-o OUT"), or "--skip=N"
  // Whether another word starting with a single '-' is a word ("-" names standard
  // input in any case) or an unknown option.
  bool dashWords = true;
};

// A command line split into its options and its other words.
struct Arguments {
  std::vector<std::string> words;
  std::vector<std::string> flags;                           // those given
  std::vector<std::pair<std::string, std::string>> values;  // valued options given, in order
  bool Has(const std::string& flag) const;
  // The value of the last `option` given, if one was.
  std::optional<std::string> Value(const std::string& option) const;
};

// Takes out the options in `known`; any other word starting with "--", and with
// dashWords false any other starting with '-', is a UsageError, as is a valued
// option without its value. Words starting with a single '-' otherwise stay words:
// a value may be negative. "--" ends the options: every word after it is a word.
Arguments SplitFlags(const std::vector<std::string>& args, const Options& known);

// The value of the option args[i] ("--skip N"): the next word, with `i` moved onto
// it. Throws UsageError when there is none.
const std::string& ValueOf(const std::vector<std::string>& args, std::size_t& i);

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
