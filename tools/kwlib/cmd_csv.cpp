// kwlib csv: the rows of a delimited file as csv_parser reads them.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>

#include <kwlib63/json.h>
#include <kwlib63/persist/csv_parser.h>

#include "command.h"

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

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  csv_parser parser;
  std::string file, mode;
  char quote = 0;
  bool json = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    const auto value = [&]() -> const std::string& {
      if (i + 1 >= args.size()) throw kwlib::UsageError(a + " needs a value");
      return args[++i];
    };
    if (a == "--sep") {
      parser.set_field_term_char(ParseChar(value(), "--sep"));
    } else if (a == "--quote") {
      quote = ParseChar(value(), "--quote");
    } else if (a == "--mode") {
      mode = value();
      if (mode != "required" && mode != "optional") throw kwlib::UsageError("--mode is required or optional");
    } else if (a == "--skip") {
      parser.set_skip_lines(static_cast<unsigned int>(kwlib::ParseNumber(value(), 0xFFFFFFFFul, "--skip")));
    } else if (a == "--json") {
      json = true;
    } else if (a.size() > 1 && a[0] == '-') {
      throw kwlib::UsageError("unknown option '" + a + "'");
    } else if (file.empty()) {
      file = a;
    } else {
      throw kwlib::UsageError("give one file");
    }
  }
  if (file.empty()) throw kwlib::UsageError("no file given");
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
  Json::Value rows(Json::arrayValue);
  while (parser.has_more_rows()) {
    const std::vector<std::string> row = parser.get_row();
    if (row.empty() && !parser.has_more_rows()) break;  // nothing but blank lines were left
    if (json) {
      Json::Value fields(Json::arrayValue);
      for (const std::string& field : row) fields.append(field);
      rows.append(fields);
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
  if (json) out << Json::writeString(Json::StreamWriterBuilder(), rows) << "\n";
  return kwlib::kExitOk;
}

}  // namespace

KWLIB_COMMAND(kCsv, "csv", "print the rows of a delimited file",
              "Usage: kwlib csv [--sep C] [--quote C --mode required|optional] [--skip N] [--json] FILE\n\n"
              "Reads FILE (\"-\" for standard input) row by row and prints each row on one\n"
              "line, fields separated by tabs; tabs, line ends, backslashes and other control\n"
              "bytes inside fields are written as \\t, \\n, \\\\, \\xHH. --json prints an array\n"
              "of rows instead. --sep sets the field separator (default ','; \"tab\" or \\t\n"
              "for a tab), --quote the enclosure with its mode: required (only quoted text\n"
              "counts) or optional (one quote is stripped from each end of a field). --skip\n"
              "skips the first N lines. Blank lines never make rows.\n"
              "Exit status: 0, or 1 when the file cannot be read.\n",
              &Run);
