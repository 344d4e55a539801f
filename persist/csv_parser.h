// csv_parser: reads a delimited text file row by row; each row is a vector of byte
// strings (no character-set conversion). Lines are read in byte terms through one
// growing block, never a seek per line; a CR LF pair counts as one line end, so
// files with either line end give the same rows, and a line costs its own length
// whichever byte ends it. Diagnostics go to standard error; nothing is thrown.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <kwlib63/framework/export.h>

enum enclosure_type_t {
  ENCLOSURE_NONE = 1,
  ENCLOSURE_REQUIRED = 2,
  ENCLOSURE_OPTIONAL = 3,
};

class KW_API csv_parser {
 public:
  csv_parser() = default;
  ~csv_parser();
  csv_parser(const csv_parser&) = delete;
  csv_parser& operator=(const csv_parser&) = delete;

  // Opens `path` (UTF-8 on disk) and skips the configured lines.
  bool init(const wchar_t* path);
  // Reads a stream the caller keeps: rewinds it and skips the configured lines.
  bool init(std::FILE* input);

  // A 0 character leaves the setting as it was.
  void set_enclosed_char(char c, enclosure_type_t type);
  void set_field_term_char(char c);
  void set_line_term_char(char c);
  void set_skip_lines(unsigned int n) { lines_to_skip = n; }

  bool has_more_rows() const { return more_rows; }
  void reset_record_count() { record_count = 0; }
  // The next non-blank line split by the enclosure mode; empty when none is left.
  std::vector<std::string> get_row();

 private:
  void _skip_lines();
  // The next line as the splitters want it (content, then the line terminator in
  // place of its first line-end byte, or after the content when it had none, then
  // its other line-end bytes); false when no line was left.
  bool _read_single_line(const char** buffer, unsigned int* length);
  // Makes at least one more byte available after `block_end`; false at the end
  // of the stream.
  bool _fill_block();
  void _get_fields_without_enclosure(std::vector<std::string>& row, const char* line, unsigned int length) const;
  void _get_fields_with_enclosure(std::vector<std::string>& row, const char* line, unsigned int length) const;
  void _get_fields_with_optional_enclosure(std::vector<std::string>& row, const char* line,
                                           unsigned int length) const;
  void _close_input();

  char enclosure_char = 0;
  char escape_char = '\\';
  char field_term_char = ',';
  char line_term_char = '\n';
  int enclosure_char_defined = 0;
  int escape_char_defined = 1;
  int field_term_char_defined = 1;
  int line_term_char_defined = 1;
  unsigned int lines_to_skip = 0;
  unsigned int record_count = 0;
  std::FILE* input_fp = nullptr;
  bool owns_input = false;
  unsigned long long current_offset = 0;  // file offset of the next unread line
  std::string input_filename;
  enclosure_type_t enclosure_type = ENCLOSURE_NONE;
  bool more_rows = false;

  // Bytes read from the stream and not yet consumed: block[block_pos, block_end).
  std::vector<char> block;
  std::size_t block_pos = 0;
  std::size_t block_end = 0;
  std::vector<char> reserved;  // unused: keeps the object's size for programs built against 6.3
  std::size_t last_row_size = 0;
};
