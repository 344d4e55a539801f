#include "dispatch.h"

namespace kwlib {
namespace {

std::string Counted(std::size_t n) { return std::to_string(n) + (n == 1 ? " argument" : " arguments"); }

// "no arguments", "2 arguments", "1 to 3 arguments", "at least 1 argument", "at most 1 argument".
std::string Expected(std::size_t least, std::size_t most) {
  if (most == 0) return "no arguments";
  if (least == most) return Counted(least);
  if (most == kNoLimit) return "at least " + Counted(least);
  if (least == 0) return "at most " + Counted(most);
  return std::to_string(least) + " to " + Counted(most);
}

}  // namespace

const Syntax& Named(const std::vector<Syntax>& rows, const std::string& name) {
  for (const Syntax& row : rows) {
    if (name == row.name) return row;
  }
  throw UsageError("unknown sub-command '" + name + "'");
}

std::size_t Choose(const std::vector<Syntax>& rows, const std::vector<std::string>& words) {
  const bool named = !(rows.size() == 1 && *rows[0].name == '\0');
  if (named && words.empty()) {
    std::string names;
    for (const Syntax& row : rows) names += (names.empty() ? "" : ", ") + std::string(row.name);
    throw UsageError("no sub-command given (" + names + ")", UsageText(rows));
  }
  const Syntax& row = named ? Named(rows, words[0]) : rows[0];
  const std::size_t given = words.size() - (named ? 1 : 0);
  if (given < row.least || given > row.most) throw CountError(row, row.least, row.most, given);
  return static_cast<std::size_t>(&row - rows.data());
}

UsageError CountError(const Syntax& row, std::size_t least, std::size_t most, std::size_t given) {
  const std::string who = *row.name != '\0' ? std::string(row.name) + ": " : "";
  return UsageError(who + Expected(least, most) + " expected, " + std::to_string(given) + " given", UsageText({row}));
}

}  // namespace kwlib
