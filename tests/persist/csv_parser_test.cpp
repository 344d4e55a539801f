// csv_parser on real files: the three enclosure modes, blank lines and the three
// line ends, skipped lines, lines longer than the read block, the diagnostics, and
// time guards on CR-only lines and on large counts of lines and fields.
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/csv_parser.h>

#include "support/stopwatch.h"
#include "support/tempdir.h"

namespace {

using Row = std::vector<std::string>;

class CsvParserTest : public ::testing::Test {
 protected:

  std::wstring Write(const std::string& text) {
    const std::string path = m_dir + "/in.csv";
    std::FILE* f = std::fopen(path.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
    return kwfw::Utf8ToWide(path);
  }
  // Every row of `text` read by `parser`.
  std::vector<Row> Rows(csv_parser& parser, const std::string& text) {
    std::vector<Row> rows;
    EXPECT_TRUE(parser.init(Write(text).c_str()));
    while (parser.has_more_rows()) rows.push_back(parser.get_row());
    return rows;
  }
  std::vector<Row> Rows(const std::string& text) {
    csv_parser parser;
    return Rows(parser, text);
  }

  kwtest::TempDir m_tmp{"kwlib-csv"};
  std::string m_dir = m_tmp.Path();
};

TEST_F(CsvParserTest, NoEnclosureSplitsAtEveryTerminator) {
  EXPECT_EQ(Rows("a,,b\n"), (std::vector<Row>{{"a", "", "b"}}));
  EXPECT_EQ(Rows("a,b,\n,\n"), (std::vector<Row>{{"a", "b", ""}, {"", ""}}));
  csv_parser parser;
  parser.set_field_term_char(0);  // ignored: the comma stays
  parser.set_line_term_char(0);
  EXPECT_EQ(Rows(parser, "x,y"), (std::vector<Row>{{"x", "y"}}));
  csv_parser tabs;
  tabs.set_field_term_char('\t');
  EXPECT_EQ(Rows(tabs, "a,b\tc\n"), (std::vector<Row>{{"a,b", "c"}}));
}

TEST_F(CsvParserTest, BlankLinesNeverMakeRowsAndBothLineEndsAgree) {
  EXPECT_EQ(Rows("\n\r\n\na,b\nc\n"), (std::vector<Row>{{"a", "b"}, {"c"}}));
  EXPECT_EQ(Rows("a,b\r\nc,d\r\n"), Rows("a,b\nc,d\n"));
  EXPECT_EQ(Rows("a,b\r\nc,d\r\n"), (std::vector<Row>{{"a", "b"}, {"c", "d"}}));
  // A bare CR ends a line too.
  EXPECT_EQ(Rows("a\rb\r"), (std::vector<Row>{{"a"}, {"b"}}));
  // Line ends after the content stay in the line handed to the splitter: a blank
  // line after a row shows up as the row's last field repeated up to it.
  EXPECT_EQ(Rows("a,b\n\nc\n"), (std::vector<Row>{{"a", "b", "b\n"}, {"c"}}));
  EXPECT_EQ(Rows("\n\n\n"), std::vector<Row>(1));  // one empty row: there was no line
}

// Each LF of the texts below becomes a CR, then a CR LF pair: the rows stay the
// same in every mode. (No blank line follows a row here: line ends after a row's
// content reach the splitter, where only LF is the line terminator.)
TEST_F(CsvParserTest, CrOnlyAndCrLfFilesGiveTheRowsOfLfFiles) {
  std::string everyLength;  // line ends at every place of a 16-byte stretch
  for (int k = 1; k <= 40; ++k) everyLength += std::string(static_cast<std::size_t>(k), static_cast<char>('a' + k % 26)) + ",z\n";
  const std::string texts[] = {
      everyLength,
      "a,b\nc,d\n",
      "\n\nafter,blank\nlast,without,end",
      "\"q\",\"r\\\"s\"\nplain\n\"open,\n",
      "x",
      "\"ab\",c,\"\"\n\"a,b\"\nabc\"\n",
  };
  const enclosure_type_t modes[] = {ENCLOSURE_NONE, ENCLOSURE_REQUIRED, ENCLOSURE_OPTIONAL};
  for (const enclosure_type_t mode : modes) {
    for (const std::string& lf : texts) {
      std::string cr = lf, crlf;
      std::replace(cr.begin(), cr.end(), '\n', '\r');
      for (const char c : lf) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
      csv_parser byLf, byCr, byCrLf;
      for (csv_parser* p : {&byLf, &byCr, &byCrLf}) p->set_enclosed_char('"', mode);
      const std::vector<Row> expected = Rows(byLf, lf);
      EXPECT_FALSE(expected.empty()) << lf;
      EXPECT_EQ(Rows(byCr, cr), expected) << "mode " << mode << ": " << lf;
      EXPECT_EQ(Rows(byCrLf, crlf), expected) << "mode " << mode << ": " << lf;
    }
  }
}

// A line end is found in one scan whichever byte it is. A first line longer than
// the read block grows it, so that the millions of short lines after it share one
// block: looking for an LF over the rest of the block at every CR-ended line
// would take many minutes here.
TEST_F(CsvParserTest, CrOnlyLinesCostWhatLfLinesCost) {
  constexpr unsigned kShortLines = 3'500'000;
  for (const char end : {'\n', '\r'}) {
    std::string text(9u << 20, 'x');
    text += end;
    for (unsigned i = 0; i < kShortLines; ++i) text += {static_cast<char>('0' + i % 10), end};
    text += "last";
    text += end;
    const std::wstring path = Write(text);
    csv_parser parser;
    parser.set_skip_lines(1 + kShortLines);
    const double seconds = kwtest::SecondsTaken([&] { ASSERT_TRUE(parser.init(path.c_str())); });
    EXPECT_LT(seconds, 100.0) << int{end};
    EXPECT_EQ(parser.get_row(), Row{"last"}) << int{end};
    EXPECT_FALSE(parser.has_more_rows()) << int{end};
  }
}

// Field counts and blank lines come from the file: a million blank lines, then a
// row of a million quoted fields, split in time proportional to its length in
// every mode (going back over the fields already split would take many minutes).
TEST_F(CsvParserTest, AMillionFieldsAfterAMillionBlankLines) {
  constexpr std::size_t kFields = 1'000'000;
  std::string text;
  for (std::size_t i = 0; i < kFields; ++i) text += "\r\n";
  for (std::size_t i = 0; i < kFields; ++i) text += i == 0 ? "\"a\"" : ",\"a\"";
  text += '\n';
  const std::wstring path = Write(text);
  const std::pair<enclosure_type_t, std::string> modes[] = {
      {ENCLOSURE_NONE, "\"a\""}, {ENCLOSURE_REQUIRED, "a"}, {ENCLOSURE_OPTIONAL, "a"}};
  for (const auto& [mode, field] : modes) {
    csv_parser parser;
    parser.set_enclosed_char('"', mode);
    Row row;
    const double seconds = kwtest::SecondsTaken([&] {
      if (parser.init(path.c_str())) row = parser.get_row();
    });
    EXPECT_EQ(row.size(), kFields) << mode;
    EXPECT_EQ(std::count(row.begin(), row.end(), field), static_cast<long>(kFields)) << mode;
    EXPECT_FALSE(parser.has_more_rows()) << mode;
    EXPECT_LT(seconds, 60.0) << mode;
  }
}

TEST_F(CsvParserTest, MoreRowsAndReadingPastTheEnd) {
  csv_parser parser;
  ASSERT_TRUE(parser.init(Write("a\nb").c_str()));
  EXPECT_TRUE(parser.has_more_rows());
  EXPECT_EQ(parser.get_row(), Row{"a"});
  EXPECT_TRUE(parser.has_more_rows());
  EXPECT_EQ(parser.get_row(), Row{"b"});  // the terminator is supplied at the end of the file
  EXPECT_FALSE(parser.has_more_rows());
  EXPECT_TRUE(parser.get_row().empty());
  EXPECT_TRUE(parser.get_row().empty());
}

TEST_F(CsvParserTest, RequiredEnclosureTakesOnlyQuotedText) {
  csv_parser parser;
  parser.set_enclosed_char('"', ENCLOSURE_REQUIRED);
  EXPECT_EQ(Rows(parser, "\"x\",\"y\"\n"), (std::vector<Row>{{"x", "y"}}));
  // No enclosure at all: the whole line with its terminator.
  EXPECT_EQ(Rows(parser, "plain,text\n"), (std::vector<Row>{{"plain,text\n"}}));
  // Bytes outside quotes are dropped; escaped quotes stay as written.
  EXPECT_EQ(Rows(parser, "junk\"a,b\" more \"c\\\"d\"\n"), (std::vector<Row>{{"a,b", "c\\\"d"}}));
  // A quote left open runs to the end of the line, terminator included.
  EXPECT_EQ(Rows(parser, "\"a\",\"open\n"), (std::vector<Row>{{"a", "open\n"}}));
  EXPECT_EQ(Rows(parser, "\"\",\"\"\n"), (std::vector<Row>{{"", ""}}));
}

TEST_F(CsvParserTest, OptionalEnclosureStripsOneQuoteEachSide) {
  csv_parser parser;
  parser.set_enclosed_char('"', ENCLOSURE_OPTIONAL);
  EXPECT_EQ(Rows(parser, "\"ab\",c,\"\"\n"), (std::vector<Row>{{"ab", "c", "\""}}));
  // Terminators inside quotes still split.
  EXPECT_EQ(Rows(parser, "\"a,b\"\n"), (std::vector<Row>{{"a", "b\""}}));
  // A closing quote without an opening one takes two bytes off the end.
  EXPECT_EQ(Rows(parser, "abc\"\n"), (std::vector<Row>{{"ab"}}));
  EXPECT_EQ(Rows(parser, "\"abc\n"), (std::vector<Row>{{"abc"}}));
  // Field starts move past the line terminator too.
  EXPECT_EQ(Rows(parser, "a\n\nb\n"), (std::vector<Row>{{"a", ""}, {"b"}}));
}

TEST_F(CsvParserTest, SkippedLinesAndCallersStream) {
  csv_parser parser;
  parser.set_skip_lines(2);
  EXPECT_EQ(Rows(parser, "h1\n\nh2\nr1\nr2\n"), (std::vector<Row>{{"r1"}, {"r2"}}));
  csv_parser all_skipped;
  all_skipped.set_skip_lines(10);
  EXPECT_EQ(Rows(all_skipped, "a\nb\n"), std::vector<Row>{});

  // A caller's stream is rewound, read, and left open for the caller.
  std::FILE* f = std::tmpfile();
  ASSERT_NE(f, nullptr);
  std::fputs("skip\n1,2\n", f);
  {
    csv_parser from_stream;
    from_stream.set_skip_lines(1);
    ASSERT_TRUE(from_stream.init(f));
    EXPECT_EQ(from_stream.get_row(), (Row{"1", "2"}));
    EXPECT_FALSE(from_stream.has_more_rows());
  }
  EXPECT_EQ(std::fseek(f, 0, SEEK_SET), 0);  // still open after the parser is gone
  std::fclose(f);
}

TEST_F(CsvParserTest, LinesAcrossAndBeyondTheReadBlock) {
  std::string text;
  std::vector<Row> expected;
  std::string big(600 * 1024, 'x');  // longer than the first read block
  text += big + ",tail\n";
  expected.push_back({big, "tail"});
  for (int i = 0; i < 40000; ++i) {
    const std::string a = std::to_string(i), b = std::string(i % 37, 'q');
    text += a + "," + b + (i % 3 == 0 ? "\r\n" : "\n");
    expected.push_back({a, b});
  }
  EXPECT_EQ(Rows(text), expected);
}

TEST_F(CsvParserTest, Diagnostics) {
  csv_parser parser;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(parser.init(L""));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Fatal error : invalid input file \n");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(parser.init(kwfw::Utf8ToWide(m_dir + "/missing.csv").c_str()));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Fatal error : unable to open input file " + m_dir + "/missing.csv\n");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(parser.init(static_cast<std::FILE*>(nullptr)));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Fatal error : unable to open input file from file pointer\n");
  EXPECT_FALSE(parser.has_more_rows());
  EXPECT_TRUE(parser.get_row().empty());
}


// The rows of `text` by the reader's rules, one line at a time: leading line ends
// skipped, the line's content, then its line ends (CR LF read as LF) with the
// first one replaced by the terminator, or the terminator alone when it had none.
std::vector<Row> ModelRows(const std::string& text, enclosure_type_t mode) {
  const auto isEnd = [](char c) { return c == '\r' || c == '\n'; };
  std::vector<Row> rows;
  std::size_t p = 0;
  for (;;) {
    while (p < text.size() && isEnd(text[p])) ++p;
    if (p == text.size()) return rows;
    const std::size_t lineEnd = std::min(text.find_first_of("\r\n", p), text.size());
    std::string line = text.substr(p, lineEnd - p);
    p = lineEnd;
    std::string ends;
    for (; p < text.size() && isEnd(text[p]); ++p) {
      if (!(text[p] == '\r' && p + 1 < text.size() && text[p + 1] == '\n')) ends += text[p];
    }
    line += '\n';
    if (!ends.empty()) line += ends.substr(1);
    Row row;
    std::size_t start = 0;
    if (mode == ENCLOSURE_REQUIRED) {
      bool open = false;
      for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '"' || (i > 0 && line[i - 1] == '\\')) continue;
        if (open) row.push_back(line.substr(start, i - start));
        start = i + 1;
        open = !open;
      }
      const auto upToZero = [&](std::size_t from) { return line.substr(from, line.find('\0', from) - from); };
      if (open) row.push_back(upToZero(start));
      if (row.empty()) row.push_back(upToZero(0));
    } else {
      for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != ',' && line[i] != '\n') continue;
        std::string field = line.substr(start, i - start);
        if (mode == ENCLOSURE_OPTIONAL) {
          const bool front = !field.empty() && field[0] == '"';
          field = field.size() >= 3 && field.back() == '"' ? field.substr(front ? 1 : 0, field.size() - 2)
                                                            : field.substr(front ? 1 : 0);
        }
        row.push_back(field);
        // Without enclosure, a line end after the terminator ends a field begun
        // at the last separator.
        if (line[i] == ',' || mode == ENCLOSURE_OPTIONAL) start = i + 1;
      }
    }
    rows.push_back(row);
  }
}

TEST_F(CsvParserTest, RandomFilesAroundTheBlockSizesMatchTheModel) {
  // Lengths at and beside the first read block and its doubling, where a line is
  // cut by a refill or the file ends with the block full.
  const std::size_t kBlock = 256 * 1024;
  const char alphabet[] = {'a', 'b', 'c', ',', ',', '"', '"', '\\', '\r', '\n', '\0'};
  for (const unsigned seed : {1u, 2u}) {
    std::srand(seed);
    for (const std::size_t size : {std::size_t{1}, std::size_t{97}, kBlock - 1, kBlock, kBlock + 1,
                                   2 * kBlock + 3}) {
      std::string text(size, 'a');
      for (char& c : text) c = alphabet[static_cast<unsigned>(std::rand()) % sizeof alphabet];
      // Long lines too: sometimes no line end for thousands of bytes.
      if (seed % 2 == 0) std::replace_if(text.begin(), text.end() - 1, [](char c) { return c == '\n' || c == '\r'; }, 'b');
      for (const enclosure_type_t mode : {ENCLOSURE_NONE, ENCLOSURE_REQUIRED, ENCLOSURE_OPTIONAL}) {
        csv_parser parser;
        if (mode != ENCLOSURE_NONE) parser.set_enclosed_char('"', mode);
        std::vector<Row> got = Rows(parser, text);
        std::erase_if(got, [](const Row& r) { return r.empty(); });
        ASSERT_EQ(got, ModelRows(text, mode)) << "seed " << seed << ", " << size << " bytes, mode " << mode;
      }
    }
  }
}

}  // namespace
