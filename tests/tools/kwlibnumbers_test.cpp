// Every number kwlib takes on its command line, given text that is no such number:
// a usage error (exit 2) naming the text, never a silent 0, a wrapped value or a
// number read from the front of the text. Each line is also run with a number it
// takes, so that a refusal is the number's and not the line's.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kwlibrun.h"
#include "support/tempdir.h"

namespace {

using kwtest::KwlibIn;
using kwtest::Result;

// What no unsigned count, id or mask is: a sign, blanks, trailing text, an empty
// word, a prefix without digits, a fraction, a value no integer holds.
const std::vector<std::string> kNotUnsigned = {"-5",  "+5",  " 5",  "5 ",  "5x",  "",
                                               "0x",  "0x-1", "1.5", "99999999999999999999999"};

// What no length is: no number, a word after it that names no unit, a zero or
// negative denominator, an integer or a float out of range, a hex or octal reading.
const std::vector<std::string> kNotLengths = {"",       "abc",  "12 xx", "12abc",  "nan",  "inf",
                                              "1e999", "1/0",  "3/-4",  "0x10",   "08 1/2", "99999999999 1/2",
                                              "1e",    "12 3", ". mm"};

std::string With(std::string line, const std::string& number) {
  return line.replace(line.find("{}"), 2, "'" + number + "'");
}

TEST(KwlibNumbers, TextThatIsNoNumberIsRefused) {
  kwtest::TempDir dir("kwlib-numbers");
  const std::string csv = dir.At("rows.csv");
  kwtest::WriteBytes(csv, "a,b\nc,d\n");
  struct Case {
    std::string line;  // the command line, with {} where the number goes
    std::string good;  // a number it takes
    const std::vector<std::string>& bad;
  };
  const Case cases[] = {
      {"strings {}", "18001", kNotUnsigned},
      {"strings 18001-{}", "18002", kNotUnsigned},
      {"strings --lang {} 18001", "0x409", kNotUnsigned},
      {"records get /nonexistent/file.rec {}", "5", kNotUnsigned},
      {"demo-progress --delay 0 --items {}", "1", kNotUnsigned},
      {"demo-progress --items 1 --delay {}", "0", kNotUnsigned},
      {"csv --skip {} " + csv, "1", kNotUnsigned},
      {"acl add /nonexistent/file nosuchaccount {}", "R", kNotUnsigned},
      {"reg add 'HKCU\\Software\\KwlibNumbers' /v d /t REG_DWORD /d {} /f", "5", kNotUnsigned},
      {"reg add 'HKCU\\Software\\KwlibNumbers' /v q /t REG_QWORD /d {} /f", "5", kNotUnsigned},
      {"units {} mm", "1 1/2 in", kNotLengths},
  };
  for (const Case& c : cases) {
    const Result ok = KwlibIn(dir, With(c.line, c.good));
    EXPECT_NE(ok.status, 2) << With(c.line, c.good) << "\n" << ok.err;
    for (const std::string& bad : c.bad) {
      const std::string args = With(c.line, bad);
      const Result r = KwlibIn(dir, args);
      EXPECT_EQ(r.status, 2) << args << "\n" << r.out;
      EXPECT_TRUE(r.out.empty()) << args << "\n" << r.out;
      EXPECT_NE(r.err.find("'" + bad + "'"), std::string::npos) << args << "\n" << r.err;
    }
  }
}

}  // namespace
