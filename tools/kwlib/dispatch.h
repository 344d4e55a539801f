// kwlib's one dispatcher: a command's table of sub-commands, each with the count of
// words it takes, its handler and its usage. The sub-command is chosen and its count
// checked here, the same way for every command, before any handler runs.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "command.h"

namespace kwlib {

// What a handler is given besides its words: the command line's options and the
// streams. A command that reads its words in another syntax has its own context.
struct Call {
  const Arguments& arguments;
  std::ostream& out;
  std::ostream& err;
};

// A row of a table: its syntax and the handler that gets the words after the name.
template <class Context = Call>
struct SubCommand {
  Syntax syntax;
  int (*run)(const std::vector<std::string>& words, const Context& context);
};

// Thrown by a handler whose count depends on a flag (acl add --everyone), with the
// count that flag asks for; the dispatcher tells it as any wrong count.
struct WrongCount {
  std::size_t least;
  std::size_t most;
};

// The row named `name`; a UsageError "unknown sub-command 'NAME'" when none is.
const Syntax& Named(const std::vector<Syntax>& rows, const std::string& name);

// The index of the row that `words` ask for: the first word names it, unless the
// table's one row has no name. A UsageError carrying the usage lines when no
// sub-command is given or the count of words after it is outside the row's.
std::size_t Choose(const std::vector<Syntax>& rows, const std::vector<std::string>& words);

// The UsageError for `given` words where `row` takes `least` to `most`.
UsageError CountError(const Syntax& row, std::size_t least, std::size_t most, std::size_t given);

template <class Context, std::size_t N>
std::vector<Syntax> SyntaxOf(const SubCommand<Context> (&table)[N]) {
  std::vector<Syntax> rows;
  for (const SubCommand<Context>& row : table) rows.push_back(row.syntax);
  return rows;
}

// Runs the handler of the row `words` ask for, with the words after its name.
// Throws UsageError as Choose() does, and for a handler's WrongCount.
template <class Context, std::size_t N>
int Dispatch(const SubCommand<Context> (&table)[N], const std::vector<std::string>& words, const Context& context) {
  const std::vector<Syntax> rows = SyntaxOf(table);
  const SubCommand<Context>& row = table[Choose(rows, words)];
  const std::vector<std::string> rest(words.begin() + (*row.syntax.name != '\0' ? 1 : 0), words.end());
  try {
    return row.run(rest, context);
  } catch (const WrongCount& count) {
    throw CountError(row.syntax, count.least, count.most, rest.size());
  }
}

// The same for a command in kwlib's own syntax: its options taken out of `args` by
// SplitFlags() first.
template <std::size_t N>
int Dispatch(const SubCommand<Call> (&table)[N], const std::vector<std::string>& args, const Options& options,
             std::ostream& out, std::ostream& err) {
  const Arguments arguments = SplitFlags(args, options);
  return Dispatch(table, arguments.words, Call{arguments, out, err});
}

}  // namespace kwlib
