// kwlib csv: the rows of a delimited file as csv_parser reads them.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/platform/codepage.h>
#include <kwlib63/persist/csv_parser.h>

#include "command.h"
#include "dispatch.h"
#include "longwork.h"

namespace {

// One byte from an option value: a single character, or "\t" / "tab" for a tab.
char ParseChar(const std::string& text, const char* what) {
  if (text == "\\t" || text == "tab") return '\t';
  if (text.size() != 1 || text[0] == '\0') throw kwlib::UsageError(std::string(what) + " must be one character");
  return text[0];
}

// A field on one line: control bytes and the backslash escaped, tabs between fields.
void PrintField(std::ostream& out, const std::string& field) {
  for (const unsigned char c : field) {
    switch (c) {
      case '\\': out << "\\\\"; break;
      case '\t': out << "\\t"; break;
      case '\n': out << "\\n"; break;
      case '\r': out << "\\r"; break;
      default:
        if (c < 0x20 || c == 0x7F) {
          char hex[5];
          std::snprintf(hex, sizeof hex, "\\x%02x", c);
          out << hex;
        } else {
          out << static_cast<char>(c);
        }
    }
  }
}

// The encodings --encoding takes, by the code page that reads them.
struct Encoding {
  const char* name;
  UINT codePage;
};
constexpr Encoding kEncodings[] = {{"utf-8", CP_UTF8},        {"windows-1252", 1252}, {"cp1252", 1252},
                                   {"iso-8859-1", 28591},     {"latin1", 28591},      {"cp437", 437},
                                   {"cp850", 850},            {"macroman", 10000}};

UINT ParseEncoding(const std::string& name) {
  for (const Encoding& e : kEncodings) {
    if (kwfw::EqualNoCase(std::string_view(name), e.name)) return e.codePage;
  }
  throw kwlib::UsageError("unknown encoding '" + name + "' (utf-8, windows-1252, iso-8859-1, cp437, cp850, macroman)");
}

bool IsUtf8(const std::string& text) {
  char32_t cp = 0;
  for (std::size_t at = 0, n; at < text.size(); at += n) {
    if ((n = kwfw::DecodeUtf8(text, at, cp)) == 0) return false;
  }
  return true;
}

// A field as UTF-8 for JSON: read in `codePage`; false when it is UTF-8 that is not.
bool ToUtf8(std::string& field, UINT codePage) {
  if (codePage == CP_UTF8) return IsUtf8(field);
  if (field.empty()) return true;
  std::wstring wide(field.size(), L'\0');
  wide.resize(static_cast<std::size_t>(kwplat::MultiByteToWideChar(codePage, 0, field.data(), static_cast<int>(field.size()),
                                                                   wide.data(), static_cast<int>(wide.size()))));
  field = kwfw::WideToUtf8(wide);
  return true;
}

// A row of the JSON array, as the JSON writer lays out an array inside an array.
void PrintJsonRow(std::ostream& out, const std::vector<std::string>& row, bool first) {
  Json::Value fields(Json::arrayValue);
  for (const std::string& field : row) fields.append(field);
  std::string text = kwlib::JsonText(fields);
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) text.insert(at + 1, 1, '\t');
  out << (first ? "[\n\t" : ",\n\t") << text;
}

// FILE
int Rows(const std::vector<std::string>& words, const kwlib::Call& call) {
  const std::string& file = words[0];
  const bool json = call.arguments.Has("--json");
  std::ostream& out = call.out;
  std::ostream& err = call.err;
  // The parser keeps its own defaults for the options not given.
  csv_parser parser;
  char quote = 0;
  std::string mode;
  UINT codePage = CP_UTF8;
  for (const auto& [option, value] : call.arguments.values) {
    if (option == "--sep") {
      parser.set_field_term_char(ParseChar(value, "--sep"));
    } else if (option == "--quote") {
      quote = ParseChar(value, "--quote");
    } else if (option == "--mode") {
      mode = value;
      if (mode != "required" && mode != "optional") throw kwlib::UsageError("--mode is required or optional");
    } else if (option == "--skip") {
      parser.set_skip_lines(static_cast<unsigned int>(kwlib::ParseNumber(value, 0xFFFFFFFFul, "--skip")));
    } else {
      codePage = ParseEncoding(value);
    }
  }
  if ((quote != 0) != !mode.empty()) throw kwlib::UsageError("--quote and --mode go together");
  if (quote != 0) parser.set_enclosed_char(quote, mode == "required" ? ENCLOSURE_REQUIRED : ENCLOSURE_OPTIONAL);

  // Opened here rather than by the parser so that a failure reads as the system's reason.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> input(file == "-" ? stdin : std::fopen(file.c_str(), "rb"),
                                                       [](std::FILE* f) { return f == stdin ? 0 : std::fclose(f); });
  if (!input) {
    err << "kwlib csv: " << file << ": " << std::strerror(errno) << "\n";
    return kwlib::kExitFailure;
  }
  parser.init(input.get());
  kwlib::FileProgress progress(file, fileno(input.get()));
  // JSON is written a row at a time, as the rows are read.
  std::size_t rows = 0;
  long reported = 0;
  while (parser.has_more_rows()) {
    // The parser reads ahead in blocks: the stream's place tells how far it got
    // (asked now and then: it costs a system call).
    if (kwlib::Progress() != nullptr && rows % 4096 == 0) {
      if (const long at = std::ftell(input.get()); at > reported) {
        progress.Read(static_cast<std::size_t>(at - reported));
        reported = at;
      }
    }
    std::vector<std::string> row = parser.get_row();
    if (row.empty() && !parser.has_more_rows()) break;  // nothing but blank lines were left
    ++rows;
    if (json) {
      for (std::size_t f = 0; f < row.size(); ++f) {
        if (!ToUtf8(row[f], codePage)) {
          out << (rows > 1 ? "\n]\n" : "[]\n");
          err << "kwlib csv: " << file << ": row " << rows << ", field " << f + 1
              << ": not UTF-8 text (give --encoding with the file's code page)\n";
          return kwlib::kExitFailure;
        }
      }
      PrintJsonRow(out, row, rows == 1);
      continue;
    }
    for (std::size_t f = 0; f < row.size(); ++f) {
      if (f > 0) out << '\t';
      PrintField(out, row[f]);
    }
    out << '\n';
  }
  if (std::ferror(input.get()) != 0) {
    err << "kwlib csv: " << file << ": read error\n";
    return kwlib::kExitFailure;
  }
  if (json) out << (rows == 0 ? "[]\n" : "\n]\n");
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {
    {{"", 1, 1,
      // The continuation line lines up under the options of the first.
      "kwlib csv [--sep C] [--quote C --mode required|optional] [--skip N]\n"
      "          [--json [--encoding ENC]] FILE"},
     &Rows}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args,
                         {.flags = {"--json"}, .valued = {"--sep", "--quote", "--mode", "--skip", "--encoding"}, .dashWords = false},
                         out, err);
}

}  // namespace

KWLIB_COMMAND(kCsv, "csv", "print the rows of a delimited file", kwlib::SyntaxOf(kTable),
              "\n"
              "Reads FILE (\"-\" for standard input) row by row and prints each row on one\n"
              "line, fields separated by tabs; tabs, line ends, backslashes and other control\n"
              "bytes inside fields are written as \\t, \\n, \\\\, \\xHH. --json prints an array\n"
              "of rows instead, written as the rows are read; its text must be UTF-8, or\n"
              "read in the code page --encoding names (windows-1252, iso-8859-1, cp437,\n"
              "cp850, macroman): a field that is not stops the output with exit status 1.\n"
              "--sep sets the field separator (default ','; \"tab\" or \\t\n"
              "for a tab), --quote the enclosure with its mode: required (only quoted text\n"
              "counts) or optional (a field enclosed in quotes loses them). --skip\n"
              "skips the first N lines. Blank lines never make rows.\n"
              "Exit status: 0, or 1 when the file cannot be read or is not text of the\n"
              "encoding.\n",
              &Run);
