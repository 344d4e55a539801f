#include "command.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ostream>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/sysmessage.h>

namespace kwlib {
namespace {
std::vector<const Command*>& Registry() {
  static std::vector<const Command*> commands;
  return commands;
}
}  // namespace

const std::vector<const Command*>& Commands() { return Registry(); }

CommandRegistrar::CommandRegistrar(const Command& command) {
  auto& commands = Registry();
  const auto at = std::lower_bound(commands.begin(), commands.end(), &command,
                                   [](const Command* a, const Command* b) { return std::string(a->name) < b->name; });
  commands.insert(at, &command);
}

std::string UsageText(const std::vector<Syntax>& rows) {
  std::string text;
  for (const Syntax& row : rows) {
    for (const char* line = row.usage; *line != '\0';) {
      const char* end = line;
      while (*end != '\0' && *end != '\n') ++end;
      text.append(text.empty() ? "Usage: " : "       ").append(line, end).append("\n");
      line = *end == '\n' ? end + 1 : end;
    }
  }
  return text;
}

std::string HelpText(const Command& command) { return UsageText(command.syntax) + command.help; }

bool Arguments::Has(const std::string& flag) const {
  return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

std::optional<std::string> Arguments::Value(const std::string& option) const {
  std::optional<std::string> value;
  for (const auto& [name, given] : values) {
    if (name == option) value = given;
  }
  return value;
}

Arguments SplitFlags(const std::vector<std::string>& args, const Options& known) {
  const auto knows = [](const std::vector<std::string>& list, const std::string& a) {
    return std::find(list.begin(), list.end(), a) != list.end();
  };
  Arguments result;
  bool options = true;  // "--" ends them: a word after it may start with '-'
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    const std::size_t equals = a.rfind("--", 0) == 0 ? a.find('=') : std::string::npos;
    if (!options) {
      result.words.push_back(a);
    } else if (a == "--") {
      options = false;
    } else if (knows(known.flags, a)) {
      result.flags.push_back(a);
    } else if (knows(known.valued, a)) {
      result.values.emplace_back(a, ValueOf(args, i));
    } else if (equals != std::string::npos && knows(known.valued, a.substr(0, equals))) {
      result.values.emplace_back(a.substr(0, equals), a.substr(equals + 1));
    } else if ((a.size() > 2 && a.rfind("--", 0) == 0) || (!known.dashWords && a.size() > 1 && a[0] == '-')) {
      throw UsageError("unknown option '" + a + "'");
    } else {
      result.words.push_back(a);
    }
  }
  return result;
}

const std::string& ValueOf(const std::vector<std::string>& args, std::size_t& i) {
  if (i + 1 >= args.size()) throw UsageError(args[i] + " needs a value");
  return args[++i];
}

std::string JsonText(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

int SystemFailure(std::ostream& err, const std::string& what, unsigned long code) {
  wchar_t text[256] = {};
  kwplat::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(code), 0, text, 256, nullptr);
  std::string reason = kwfw::WideToUtf8(text);
  while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\r')) reason.pop_back();
  // A code the system's table has no text for is still named.
  if (reason.empty()) reason = "system error " + std::to_string(code);
  err << "kwlib " << what << ": " << reason << "\n";
  return kExitFailure;
}

unsigned long ParseNumber(const std::string& text, unsigned long max, const char* what) {
  // Digits only after the prefix: strtoul alone would take blanks and a sign there
  // ("0x 5", "0x-1").
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::size_t first = hex ? 2 : 0;
  if (text.size() == first || text.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789", first) != std::string::npos) {
    throw UsageError(std::string("invalid ") + what + " '" + text + "'");
  }
  errno = 0;
  const unsigned long value = std::strtoul(text.c_str() + first, nullptr, hex ? 16 : 10);
  if (errno == ERANGE || value > max) throw UsageError(std::string(what) + " '" + text + "' is out of range");
  return value;
}

}  // namespace kwlib
