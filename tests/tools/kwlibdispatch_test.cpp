// kwlib's dispatcher, driven by the commands' own tables: every command and
// sub-command the tool dispatches to refuses a wrong count of words with its usage,
// and every command with sub-commands refuses an unknown one with the same phrase
// as an unknown command. The tool runs as a real child process.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "command.h"
#include "kwlibrun.h"

namespace {

using kwtest::KwlibIn;
using kwtest::Result;

// `n` words that name no file, key or service a handler could act on.
std::string Words(std::size_t n) {
  std::string words;
  for (std::size_t i = 0; i < n; ++i) words += " w" + std::to_string(i);
  return words;
}

std::string FirstLine(const char* usage) {
  const std::string text = usage;
  return text.substr(0, text.find('\n'));
}

// The command, then "--" where the command has kwlib's own syntax (the words
// after it are words, whatever they look like), then the sub-command.
std::string Call(const kwlib::Command& command, const kwlib::Syntax& row) {
  return std::string(command.name) + (command.ownHelp ? "" : " --") + (*row.name != '\0' ? " " + std::string(row.name) : "");
}

bool HasSubCommands(const kwlib::Command& command) { return *command.syntax.front().name != '\0'; }

TEST(KwlibDispatch, EveryRowRefusesAWrongCountWithItsUsage) {
  kwtest::TempDir dir("kwlib-dispatch");
  ASSERT_FALSE(kwlib::Commands().empty());
  for (const kwlib::Command* command : kwlib::Commands()) {
    ASSERT_FALSE(command->syntax.empty()) << command->name;
    for (const kwlib::Syntax& row : command->syntax) {
      std::vector<std::size_t> counts;
      if (row.least > 0) counts.push_back(row.least - 1);
      if (row.most != kwlib::kNoLimit) counts.push_back(row.most + 1);
      ASSERT_FALSE(counts.empty()) << Call(*command, row) << " takes any count";
      for (const std::size_t n : counts) {
        const std::string args = Call(*command, row) + Words(n);
        const Result r = KwlibIn(dir, args);
        EXPECT_EQ(r.status, 2) << args;
        EXPECT_TRUE(r.out.empty()) << args << "\n" << r.out;
        EXPECT_EQ(r.err.rfind("Usage: " + FirstLine(row.usage) + "\n", 0), 0u) << args << "\n" << r.err;
        EXPECT_NE(r.err.find(" given\nTry 'kwlib " + std::string(command->name) + " --help'.\n"), std::string::npos)
            << args << "\n" << r.err;
      }
    }
  }
}

// Counts within a row's bounds that a flag makes wrong: told as any wrong count.
TEST(KwlibDispatch, CountsThatAFlagNarrowsAreCheckedToo) {
  kwtest::TempDir dir("kwlib-dispatch");
  const struct {
    const char* args;
    const char* usage;
  } cases[] = {
      {"acl add w0 w1", "Usage: kwlib acl add FILE ACCOUNT MASK\n"},
      {"acl add --everyone w0 w1 w2", "Usage: kwlib acl add FILE ACCOUNT MASK\n"},
      {"units", "Usage: kwlib units TEXT [UNIT]\n"},
      {"units --active w0 w1", "Usage: kwlib units TEXT [UNIT]\n"},
  };
  for (const auto& c : cases) {
    const Result r = KwlibIn(dir, c.args);
    EXPECT_EQ(r.status, 2) << c.args;
    EXPECT_EQ(r.err.rfind(c.usage, 0), 0u) << c.args << "\n" << r.err;
    EXPECT_NE(r.err.find(" given\n"), std::string::npos) << c.args << "\n" << r.err;
  }
}

TEST(KwlibDispatch, NoSubCommandShowsEveryUsage) {
  kwtest::TempDir dir("kwlib-dispatch");
  for (const kwlib::Command* command : kwlib::Commands()) {
    if (!HasSubCommands(*command)) continue;
    const Result r = KwlibIn(dir, command->name);
    EXPECT_EQ(r.status, 2) << command->name;
    EXPECT_EQ(r.err.rfind("Usage: kwlib " + std::string(command->name) + " ", 0), 0u) << r.err;
    for (const kwlib::Syntax& row : command->syntax) {
      EXPECT_NE(r.err.find(FirstLine(row.usage) + "\n"), std::string::npos) << command->name << " " << row.name << "\n" << r.err;
    }
    EXPECT_NE(r.err.find("kwlib " + std::string(command->name) + ": no sub-command given ("), std::string::npos) << r.err;
  }
}

TEST(KwlibDispatch, UnknownSubCommandIsOnePhraseEverywhere) {
  kwtest::TempDir dir("kwlib-dispatch");
  Result r = KwlibIn(dir, "frob");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "kwlib: unknown command 'frob'\nTry 'kwlib --help'.\n");
  int commands = 0;
  for (const kwlib::Command* command : kwlib::Commands()) {
    if (!HasSubCommands(*command)) continue;
    ++commands;
    const std::string name = command->name;
    // A word that is no sub-command, with and without words after it.
    for (const std::string& args : {name + " frob", name + " frob w0 w1"}) {
      r = KwlibIn(dir, args);
      EXPECT_EQ(r.status, 2) << args;
      EXPECT_TRUE(r.out.empty()) << args;
      EXPECT_EQ(r.err, "kwlib " + name + ": unknown sub-command 'frob'\nTry 'kwlib " + name + " --help'.\n") << args;
    }
  }
  EXPECT_GT(commands, 0);
  // The registry's switches are checked against the operation: for no operation,
  // that is what is told.
  r = KwlibIn(dir, "reg frob /v x");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "kwlib reg: unknown sub-command 'frob'\nTry 'kwlib reg --help'.\n");
}

}  // namespace
