#include "command.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <ostream>
#include <string_view>

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

bool Arguments::Has(const std::string& flag) const {
  return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

Arguments SplitFlags(const std::vector<std::string>& args, const std::vector<std::string>& known) {
  Arguments result;
  for (const std::string& a : args) {
    if (std::find(known.begin(), known.end(), a) != known.end()) {
      result.flags.push_back(a);
    } else if (a.size() > 2 && a.rfind("--", 0) == 0) {
      throw UsageError("unknown option '" + a + "'");
    } else {
      result.words.push_back(a);
    }
  }
  return result;
}

int SystemFailure(std::ostream& err, const std::string& what, unsigned long code) {
  wchar_t text[256] = {};
  kwplat::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(code), 0, text, 256, nullptr);
  std::string reason = kwfw::WideToUtf8(text);
  while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\r')) reason.pop_back();
  err << "kwlib " << what << ": " << reason << "\n";
  return kExitFailure;
}

unsigned long ParseNumber(const std::string& text, unsigned long max, const char* what) {
  if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ') {
    throw UsageError(std::string("invalid ") + what + " '" + text + "'");
  }
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  // Digits only: strtoul alone would also take blanks, a sign and a second "0x".
  const auto digits = std::string_view(text).substr(hex ? 2 : 0);
  const bool onlyDigits = std::all_of(digits.begin(), digits.end(), [hex](char c) {
    return hex ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c >= '0' && c <= '9';
  });
  errno = 0;
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str() + (hex ? 2 : 0), &end, hex ? 16 : 10);
  if (!onlyDigits || errno != 0 || end == nullptr || *end != 0 || end == text.c_str() + (hex ? 2 : 0)) {
    throw UsageError(std::string("invalid ") + what + " '" + text + "'");
  }
  if (value > max) throw UsageError(std::string(what) + " '" + text + "' is out of range");
  return value;
}

}  // namespace kwlib
