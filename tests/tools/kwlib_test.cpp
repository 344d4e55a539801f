// The kwlib command line, run as a real child process: output, JSON and exit codes.
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/json.h>

namespace {

struct Result {
  int status;
  std::string out;
  std::string err;
};

Result Kwlib(const std::string& args) {
  char errPath[] = "/tmp/kwlib-test-err-XXXXXX";
  const int fd = mkstemp(errPath);
  EXPECT_GE(fd, 0);
  close(fd);
  const std::string command = std::string(KWLIB_EXE) + " " + args + " 2>" + errPath;
  FILE* pipe = popen(command.c_str(), "r");
  Result r{-1, {}, {}};
  if (pipe == nullptr) return r;
  char buf[4096];
  for (std::size_t n; (n = fread(buf, 1, sizeof buf, pipe)) > 0;) r.out.append(buf, n);
  const int status = pclose(pipe);
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream err(errPath);
  r.err.assign(std::istreambuf_iterator<char>(err), {});
  std::remove(errPath);
  return r;
}

TEST(KwlibStrings, PrintsIdsAndTextsInTheChosenLanguage) {
  Result r = Kwlib("strings 18001 22062-22063");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "18001\tL'opération non supportée.\n22062\t&Suivant\n22063\t&Précédent\n");
  r = Kwlib("strings --lang en 0x4F7E");  // ids may be hex
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "20350\tmillimetres\n");
  r = Kwlib("strings --lang=en 20353 20370");
  EXPECT_EQ(r.out, "20353\tfeet\n20370\t&Yards\n");
  r = Kwlib("strings --lang 0x040C 20353");
  EXPECT_EQ(r.out, "20353\tfeet\n");
}

TEST(KwlibStrings, JsonOutputMarksMissingStrings) {
  const Result r = Kwlib("strings --json --lang en 22058 12");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no string 12 in language 0x0409"), std::string::npos) << r.err;
  Json::Value v;
  std::istringstream in(r.out);
  ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &v, nullptr)) << r.out;
  ASSERT_EQ(v.size(), 2u);
  EXPECT_EQ(v[0]["id"].asUInt(), 22058u);
  EXPECT_EQ(v[0]["text"].asString(), "Yes");
  EXPECT_TRUE(v[1]["text"].isNull());
}

TEST(Kwlib, UsageErrorsExitWithTwo) {
  for (const char* args : {"", "nosuch", "strings", "strings --lang", "strings --lang xx 1", "strings 5-3",
                           "strings 70000", "strings -1", "strings --frob 1", "strings 12abc"}) {
    const Result r = Kwlib(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_FALSE(r.err.empty()) << args;
    EXPECT_TRUE(r.out.empty()) << args;
  }
}

TEST(Kwlib, HelpAndVersion) {
  Result r = Kwlib("--help");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("strings"), std::string::npos);
  r = Kwlib("strings --help");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("Usage: kwlib strings", 0), 0u);
  r = Kwlib("--version");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("kwlib 6.3.0", 0), 0u);
}

}  // namespace
