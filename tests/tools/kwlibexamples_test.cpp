// Every kwlib example the README and docs/kwlib.md show, read from the files
// themselves (so a new example is tried as soon as it is written) and run as a
// user runs it, in a home of its own with what the example names made there.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/platform/registry.h>

#include "kwlibrun.h"
#include "support/privatehive.h"
#include "support/privatesamba.h"

namespace {

struct Example {
  std::string source;   // "README.md:82"
  std::string command;  // from "kwlib" on
  std::string output;   // what the text shows it printing, when it shows it
};

std::vector<std::string> Lines(const std::string& file) {
  std::ifstream in(std::string(KWLIB_SOURCE_DIR) + "/" + file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// A command line in the text's own form is an example; a synopsis (with words in
// capitals standing for what the reader gives, or [options]) is not.
bool IsSynopsis(const std::string& command) {
  static const std::regex placeholder(R"((^|[\s\[|=])([A-Z]{2,}[A-Z0-9_-]*|N)(\.\.\.)?([\s\]|:,.]|$))");
  std::smatch m;
  for (auto at = command.cbegin(); std::regex_search(at, command.cend(), m, placeholder); at = m[2].second) {
    const std::string word = m[2];
    if (word != "HKCU" && word != "HKLM") return true;
  }
  return command.find('[') != std::string::npos;
}

std::vector<Example> Examples() {
  std::vector<Example> examples;
  // README: the lines of its code blocks that start with "kwlib", their comments
  // taken off.
  const std::vector<std::string> readme = Lines("README.md");
  bool block = false;
  for (std::size_t i = 0; i < readme.size(); ++i) {
    if (readme[i].rfind("```", 0) == 0) block = !block;
    if (!block || readme[i].rfind("kwlib ", 0) != 0) continue;
    std::string command = readme[i].substr(0, readme[i].find(" #"));
    command.erase(command.find_last_not_of(' ') + 1);
    if (!IsSynopsis(command)) examples.push_back({"README.md:" + std::to_string(i + 1), command, ""});
  }
  // docs/kwlib.md: "$ kwlib ..." with the output below it, and `kwlib ...` in the text.
  const std::vector<std::string> docs = Lines("docs/kwlib.md");
  for (std::size_t i = 0; i < docs.size(); ++i) {
    const std::string source = "docs/kwlib.md:" + std::to_string(i + 1);
    if (docs[i].rfind("$ kwlib ", 0) == 0) {
      Example e{source, docs[i].substr(2), ""};
      for (std::size_t j = i + 1; j < docs.size() && docs[j].rfind("```", 0) != 0 && !docs[j].empty(); ++j) {
        e.output += docs[j] + "\n";
      }
      examples.push_back(e);
      continue;
    }
    static const std::regex inline_(R"(`(kwlib [^`]+)`)");
    for (std::sregex_iterator m(docs[i].begin(), docs[i].end(), inline_), end; m != end; ++m) {
      if (!IsSynopsis((*m)[1])) examples.push_back({source, (*m)[1], ""});
    }
  }
  return examples;
}

TEST(KwlibExamples, EveryDocumentedExampleRunsAsDocumented) {
  if (geteuid() != 0) GTEST_SKIP() << "the share example needs Samba's user shares, which the tests set up as root";
  const std::vector<Example> examples = Examples();
  ASSERT_GE(examples.size(), 10u) << "the examples were not found";
  // What the examples name: the tree's include folder, a key, a folder to share, a
  // file to give an entry, one named like an option, a build whose output shows
  // percentages.
  kwtest::TempDir home("kwlib-examples");
  kwtest::PrivateHive hive;
  kwtest::PrivateSamba samba;
  std::filesystem::create_symlink(std::string(KWLIB_SOURCE_DIR) + "/include", home.At("include"));
  std::filesystem::create_directory(home.At("Hot"));
  kwtest::WriteBytes(home.At("report.pdf"), "%PDF-1.4\n");
  kwtest::WriteBytes(home.At("-x"), "a file named like an option\n");
  kwtest::WriteBytes(home.At("Makefile"), "all:\n\t@echo 'compiling 50%'\n\t@echo 'linking 100%'\n");
  HKEY key = nullptr;
  ASSERT_EQ(kwplat::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Tormel\\App", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    &key, nullptr),
            ERROR_SUCCESS);
  kwplat::RegCloseKey(key);
  // Exported first, so that the shell expands "~" to the example's home.
  const std::string environment = "cd " + home.Path() + " && export HOME=" + home.Path() +
                                  " KWLIB63_REGISTRY_DIR=" + hive.Dir().Path() +
                                  " KWLIB63_SMB_CONF=" + samba.Dir().At("smb.conf") + " PATH=" +
                                  std::filesystem::path(KWLIB_EXE).parent_path().string() + ":$PATH && ";
  for (const Example& e : examples) {
    const kwtest::Result r = kwtest::Shell(environment + e.command + " </dev/null");
    EXPECT_EQ(r.status, 0) << e.source << ": " << e.command << "\n" << r.err;
    if (!e.output.empty()) {
      EXPECT_EQ(r.out, e.output) << e.source << ": " << e.command;
    }
  }
}

}  // namespace
