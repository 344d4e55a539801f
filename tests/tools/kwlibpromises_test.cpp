// kwlib keeping the promises its help and manual make: no match is no error, no
// text silently lost or invented, the same output on every run, one form for
// errors and help, "--" ending the options, and bounded memory on large inputs.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/json.h>

#include "kwlibrun.h"

namespace {

using kwtest::Kwlib;
using kwtest::Result;

class KwlibPromisesTest : public ::testing::Test {
 protected:
  std::string At(const std::string& name) const { return m_dir.At(name); }
  kwtest::TempDir m_dir{"kwlib-promises"};
};

TEST_F(KwlibPromisesTest, FindWithNoMatchIsNoError) {
  std::filesystem::create_directories(At("tree/sub"));
  kwtest::WriteBytes(At("tree/sub/a.h"), "");
  // Nothing matches in the top folder itself: still found below, exit 0.
  Result r = Kwlib("find -r '*.h' " + At("tree"));
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, At("tree/sub/a.h") + "\n");
  r = Kwlib("find '*.h' " + At("tree"));
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "");
  r = Kwlib("find '*.h' " + At("missing"));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "kwlib find: " + At("missing") + ": The system cannot find the path specified.\n");
}

TEST_F(KwlibPromisesTest, IniRefusesTextItsEncodingWouldLose) {
  const std::string ansi = At("t.ini"), utf16 = At("u.ini");
  kwtest::WriteBytes(ansi, "[S]\r\nk=v\r\n");
  for (const char* words : {"'Ελληνικά' k v", "S '名前' v", "S k 'Ωμέγα'"}) {
    const Result r = Kwlib("ini set " + ansi + " " + std::string(words));
    EXPECT_EQ(r.status, 1) << words;
    EXPECT_NE(r.err.find("cannot be written in a Windows-1252 file"), std::string::npos) << r.err;
    EXPECT_EQ(kwtest::ReadBytes(ansi), "[S]\r\nk=v\r\n") << words;
  }
  EXPECT_EQ(Kwlib("ini set " + ansi + " S k 'été'").status, 0);  // Windows-1252 has these
  EXPECT_EQ(Kwlib("ini get " + ansi + " s K").out, "été\n");
  // A file started as UTF-16 holds any text (the way docs/kwlib.md gives).
  kwtest::WriteBytes(utf16, "\xFF\xFE");
  ASSERT_EQ(Kwlib("ini set " + utf16 + " 'Ελληνικά' '名前' 'Ωμέγα'").status, 0);
  EXPECT_EQ(Kwlib("ini get " + utf16 + " 'Ελληνικά' '名前'").out, "Ωμέγα\n");
}

TEST_F(KwlibPromisesTest, OptionsBinaryValueHasADefinedTail) {
  // "AQI=" holds 2 bytes; the block keeps the decoder's size of 4, the rest zero.
  kwtest::WriteBytes(At("b.xml"), "<Options><x Type=\"binary\"><![CDATA[AQI=]]></x></Options>");
  ASSERT_EQ(Kwlib("options from-xml " + At("b.xml") + " " + At("b.bin")).status, 0);
  const Result r = Kwlib("options dump " + At("b.bin"));
  EXPECT_NE(r.out.find("<x Type=\"binary\" Encoding=\"base64\" ByteSize=\"4\"><![CDATA[AQIAAA==]]></x>"),
            std::string::npos)
      << r.out;
}

TEST_F(KwlibPromisesTest, CsvJsonNeverReplacesBytesSilently) {
  kwtest::WriteBytes(At("l.csv"), "ok,fine\ncaf\xE9,x\n");
  Result r = Kwlib("csv --json " + At("l.csv"));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "kwlib csv: " + At("l.csv") + ": row 2, field 1: not UTF-8 text (give --encoding with the file's code page)\n");
  Json::Value rows;
  ASSERT_TRUE(Json::Reader().parse(r.out, rows)) << r.out;  // the rows before it, closed
  EXPECT_EQ(rows.size(), 1u);
  r = Kwlib("csv --json --encoding windows-1252 " + At("l.csv"));
  EXPECT_EQ(r.status, 0) << r.err;
  ASSERT_TRUE(Json::Reader().parse(r.out, rows)) << r.out;
  EXPECT_EQ(rows[1][0].asString(), "café");
  EXPECT_EQ(Kwlib("csv --json --encoding ebcdic " + At("l.csv")).status, 2);
}

TEST_F(KwlibPromisesTest, ErrorsHelpAndOptionsInOneForm) {
  // "kwlib CMD: FILE: reason", the reason being the system's.
  kwtest::WriteBytes(At("text.txt"), "hello\n");
  const std::string missing = At("missing");
  for (const auto& [args, err] : {
           std::pair{"version " + missing, "kwlib version: " + missing + ": No such file or directory\n"},
           std::pair{"records dump " + missing, "kwlib records: " + missing + ": No such file or directory\n"},
           std::pair{"options dump " + missing, "kwlib options: " + missing + ": No such file or directory\n"},
           std::pair{"ini --xml get " + At("text.txt") + " s k",
                     "kwlib ini: " + At("text.txt") + ": not an XML settings file (well-formed XML with a root Sections)\n"},
       }) {
    const Result r = Kwlib(args);
    EXPECT_EQ(r.status, 1) << args;
    EXPECT_EQ(r.err, err) << args;
  }
  // Every help text is whole lines, and its first line is the usage.
  const Result list = Kwlib("--help");
  std::istringstream lines(list.out.substr(list.out.find("Commands:\n") + 10));
  std::size_t column = 0;
  for (std::string line; std::getline(lines, line) && !line.empty();) {
    const std::string name = line.substr(2, line.find(' ', 2) - 2);
    const std::size_t summary = line.find_first_not_of(' ', 2 + name.size());
    if (column == 0) column = summary;
    EXPECT_EQ(summary, column) << "the summaries line up: " << line;
    const Result help = Kwlib(name + " --help");
    EXPECT_EQ(help.out.rfind("Usage: kwlib " + name, 0), 0u) << name;
    EXPECT_EQ(help.out.back(), '\n') << name;
  }
  // "--" ends the options: a file named like one is a file.
  kwtest::WriteBytes(At("-x"), "abc");
  const Result r = kwtest::Shell("cd " + m_dir.Path() + " && " + KWLIB_EXE + " crc32 -- -x");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "352441c2  -x\n");
  EXPECT_EQ(kwtest::Shell("cd " + m_dir.Path() + " && " + KWLIB_EXE + " base64 -- -x").out, "YWJj\n");
}

TEST_F(KwlibPromisesTest, OutputGoesWhereItIsSentOrTheRunFails) {
  kwtest::WriteBytes(At("in"), std::string(5000, 'a') + "bcd");
  // A pipe (or a device) named as the output is written to, not replaced by a file.
  const Result piped = kwtest::Shell("cd " + m_dir.Path() + " && mkfifo f && { cat f > got & } && " + KWLIB_EXE +
                                     " pack --rle in f && wait && " + KWLIB_EXE + " pack --rle -d got back && test -p f");
  EXPECT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(kwtest::ReadBytes(At("back")), kwtest::ReadBytes(At("in")));
  // Standard output that cannot be written is a failure, named.
  const Result full = kwtest::Shell(std::string(KWLIB_EXE) + " base64 " + At("in") + " > /dev/full");
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.err, "kwlib base64: standard output: No space left on device\n");
  // What can be read once only is read once.
  EXPECT_EQ(kwtest::Shell("echo QUJD | " + std::string(KWLIB_EXE) + " base64 -d /dev/stdin").out, "ABC");
  // A first row that is not UTF-8 still leaves JSON: an empty array.
  kwtest::WriteBytes(At("c.csv"), "\xFF\n");
  EXPECT_EQ(Kwlib("csv --json " + At("c.csv")).out, "[]\n");
  // An end that holds no whole byte, or too much padding, is an error, not bytes
  // silently dropped; so is compressed data that stops inside a packet.
  for (const char* text : {"Q", "QUJDQ", "Q===", "=", "QQ=", "QQ====="}) {
    kwtest::WriteBytes(At("t.b64"), text);
    const Result r = Kwlib("base64 -d " + At("t.b64"));
    EXPECT_EQ(r.status, 1) << text;
    EXPECT_EQ(r.out, "") << text;
  }
  for (const char* text : {"QQ==", "QQ", "QUI=", ""}) {
    kwtest::WriteBytes(At("t.b64"), text);
    EXPECT_EQ(Kwlib("base64 -d " + At("t.b64")).status, 0) << text;
  }
  kwtest::WriteBytes(At("cut.pk"), "\x05" "AB");  // a literal packet of six bytes holding two
  const Result cut = Kwlib("pack --packbits -d " + At("cut.pk") + " " + At("cut.out"));
  EXPECT_EQ(cut.status, 1);
  EXPECT_EQ(kwtest::ReadBytes(At("cut.out")), "AB");
  EXPECT_EQ(Kwlib("records get -- " + At("missing") + " 1").err,
            "kwlib records: " + At("missing") + ": No such file or directory\n");
}

// The peak resident memory of one run of a shell command, in KiB. AddressSanitizer
// keeps freed memory in quarantine, which would measure the sanitizer, not the
// command: the child runs without it.
long PeakKib(const std::string& command) {
  const pid_t child = fork();
  if (child == 0) {
    const char* options = std::getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS", (std::string(options != nullptr ? options : "") + ":quarantine_size_mb=0").c_str(), 1);
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  struct rusage usage {};
  if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
  return usage.ru_maxrss;
}

TEST_F(KwlibPromisesTest, LargeInputsStreamInBoundedMemory) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "under ThreadSanitizer the child's memory is mostly the sanitizer's own";
#endif
  // 200 MB of CSV text with long fields (a reader holding it whole would need
  // several times that), against the same commands on a tiny file.
  const std::string row = std::string(4000, 'a') + ",\"b," + std::string(4000, 'b') + "\"," + std::string(4000, 'c') + "\n";
  {
    std::ofstream big(At("big.csv"), std::ios::binary);
    for (std::size_t written = 0; written < 200u << 20; written += row.size()) big << row;
  }
  kwtest::WriteBytes(At("small.csv"), row);
  const std::string kwlib = KWLIB_EXE;
  for (const std::string& args : {std::string("base64 IN > IN.b64"), std::string("base64 -d IN.b64 > /dev/null"),
                                  std::string("pack --packbits IN IN.pk"), std::string("pack --packbits -d IN.pk /dev/null"),
                                  std::string("csv --json IN > /dev/null")}) {
    const auto run = [&](const std::string& in) {
      std::string command = kwlib + " " + args;
      for (std::size_t at; (at = command.find("IN")) != std::string::npos;) command.replace(at, 2, in);
      return PeakKib(command);
    };
    const long small = run(At("small.csv"));
    const long big = run(At("big.csv"));
    ASSERT_GT(small, 0) << args;
    ASSERT_GT(big, 0) << args;
    EXPECT_LT(big - small, 64 << 10) << args << ": " << big << " KiB against " << small << " KiB";
  }
}

}  // namespace
