#include "csv_parser.h"

#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <kwlib63/framework/textconv.h>

namespace {

constexpr std::size_t kFirstBlock = 256 * 1024;

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

// The length of the first run of content in [s, s + n): up to the first CR or LF.
// One scan stops at whichever comes first, so that a line costs its own length
// with either line end (a search for one of them alone would run on over the
// rest of the block at every line that ends with the other).
std::size_t ContentLength(const char* s, std::size_t n) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i cr = _mm_set1_epi8('\r'), lf = _mm_set1_epi8('\n');
  for (; i + 16 <= n; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
    const int ends = _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(v, cr), _mm_cmpeq_epi8(v, lf)));
    if (ends != 0) return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(ends)));
  }
#endif
  while (i < n && !IsLineEnd(s[i])) ++i;
  return i;
}

}  // namespace

csv_parser::~csv_parser() { _close_input(); }

void csv_parser::_close_input() {
  if (input_fp != nullptr && owns_input) std::fclose(input_fp);
  input_fp = nullptr;
  owns_input = false;
  block_pos = block_end = 0;
}

bool csv_parser::init(const wchar_t* path) {
  const std::string name = path != nullptr ? kwfw::WideToUtf8(path) : std::string();
  if (name.empty()) {
    std::fprintf(stderr, "Fatal error : invalid input file %s\n", name.c_str());
    return false;
  }
  try {
    input_filename = name;
  } catch (const std::bad_alloc&) {
    input_filename.clear();
    std::fprintf(stderr, "Fatal error : unable to allocate memory for file name buffer %s\n", name.c_str());
    return false;
  }
  _close_input();
  input_fp = std::fopen(input_filename.c_str(), "r");
  if (input_fp == nullptr) {
    std::fprintf(stderr, "Fatal error : unable to open input file %s\n", input_filename.c_str());
    input_filename.clear();
    return false;
  }
  owns_input = true;
  more_rows = true;
  current_offset = 0;
  _skip_lines();
  return true;
}

bool csv_parser::init(std::FILE* input) {
  if (input == nullptr) {
    std::fprintf(stderr, "Fatal error : unable to open input file from file pointer\n");
    return false;
  }
  _close_input();
  input_fp = input;
  std::rewind(input_fp);
  more_rows = true;
  current_offset = 0;
  _skip_lines();
  return true;
}

void csv_parser::set_enclosed_char(char c, enclosure_type_t type) {
  if (c == 0) return;
  enclosure_char = c;
  enclosure_char_defined = 1;
  enclosure_type = type;
}

void csv_parser::set_field_term_char(char c) {
  if (c == 0) return;
  field_term_char = c;
  field_term_char_defined = 1;
}

void csv_parser::set_line_term_char(char c) {
  if (c == 0) return;
  line_term_char = c;
  line_term_char_defined = 1;
}

std::vector<std::string> csv_parser::get_row() {
  std::vector<std::string> row;
  row.reserve(last_row_size);  // rows of a file tend to have one shape
  const char* buffer = nullptr;
  unsigned int length = 0;
  if (_read_single_line(&buffer, &length)) {
    switch (enclosure_type) {
      case ENCLOSURE_REQUIRED: _get_fields_with_enclosure(row, buffer, length); break;
      case ENCLOSURE_OPTIONAL: _get_fields_with_optional_enclosure(row, buffer, length); break;
      default: _get_fields_without_enclosure(row, buffer, length); break;
    }
  }
  ++record_count;
  last_row_size = row.size();
  return row;
}

void csv_parser::_skip_lines() {
  // The count is stored unsigned but was always meant as a magnitude: a negative
  // number passed in skips as many lines as its absolute value.
  const long long signed_count = static_cast<int>(lines_to_skip);
  for (long long n = signed_count < 0 ? -signed_count : signed_count; n > 0 && more_rows; --n) {
    const char* buffer = nullptr;
    unsigned int length = 0;
    _read_single_line(&buffer, &length);
  }
  record_count = 0;
}

// On an open stream a false leaves room after `block_end`: the read that found
// nothing asked for at least one byte.
bool csv_parser::_fill_block() {
  if (input_fp == nullptr) return false;
  if (block_pos > 0) {
    std::memmove(block.data(), block.data() + block_pos, block_end - block_pos);
    block_end -= block_pos;
    block_pos = 0;
  }
  if (block_end == block.size()) block.resize(block.empty() ? kFirstBlock : block.size() * 2);
  const std::size_t got = std::fread(block.data() + block_end, 1, block.size() - block_end, input_fp);
  block_end += got;
  return got > 0;
}

bool csv_parser::_read_single_line(const char** buffer, unsigned int* length) {
  *buffer = nullptr;
  *length = 0;
  // Line ends before any other byte are blank lines: consumed, never a row.
  for (;;) {
    if (block_pos == block_end && !_fill_block()) {
      more_rows = false;
      return false;
    }
    if (!IsLineEnd(block[block_pos])) break;
    ++block_pos;
    ++current_offset;
  }
  // Offsets below are relative to block_pos, which stays at the line's start
  // while the block is refilled.
  std::size_t content = 0;
  bool at_end = false;
  for (;;) {
    const std::size_t available = block_end - block_pos - content;
    const std::size_t n = ContentLength(block.data() + block_pos + content, available);
    content += n;
    if (n < available) break;
    if (!_fill_block()) {
      at_end = true;
      break;
    }
  }
  std::size_t consumed = content;
  while (!at_end) {
    if (block_pos + consumed == block_end && !_fill_block()) {
      at_end = true;
      break;
    }
    if (!IsLineEnd(block[block_pos + consumed])) break;
    ++consumed;
  }
  more_rows = !at_end;

  // The line as a text-mode stream delivers it (CR LF read as LF), its first
  // line-end byte replaced by the line terminator. Its bytes are spent, so it is
  // made in place. A last line without a line end gets the terminator after it:
  // the refill that found the end left the block room for it.
  char* text = block.data() + block_pos;
  std::size_t out = content;
  for (std::size_t i = content; i < consumed; ++i) {
    if (text[i] == '\r' && i + 1 < consumed && text[i + 1] == '\n') continue;
    text[out++] = text[i];
  }
  if (consumed == content) ++out;
  text[content] = line_term_char;
  *buffer = text;
  *length = static_cast<unsigned int>(out);
  block_pos += consumed;
  current_offset += consumed;
  return true;
}

void csv_parser::_get_fields_without_enclosure(std::vector<std::string>& row, const char* text,
                                               unsigned int length) const {
  std::size_t start = 0;
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] == field_term_char) {
      row.emplace_back(text + start, i - start);
      start = i + 1;
    } else if (text[i] == line_term_char) {
      row.emplace_back(text + start, i - start);
    }
  }
}

void csv_parser::_get_fields_with_enclosure(std::vector<std::string>& row, const char* text,
                                            unsigned int length) const {
  bool open = false;
  std::size_t start = 0;
  const auto quote = [&](std::size_t i) {
    if (i > 0 && text[i - 1] == escape_char) return;
    if (!open) {
      start = i + 1;
    } else {
      row.emplace_back(text + start, i - start);
    }
    open = !open;
  };
  // Fields are short: the quotes are found 64 bytes at a time, by a mask of their
  // places, rather than by a search call per field. Walking a whole line's mask in
  // one or two goes mispredicts the end of the walk less often than 16 bytes would.
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i wanted = _mm_set1_epi8(enclosure_char);
  const auto places = [&](std::size_t at) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
    return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, wanted))));
  };
  for (; i + 64 <= length; i += 64) {
    for (std::uint64_t mask = places(i) | places(i + 16) << 16 | places(i + 32) << 32 | places(i + 48) << 48; mask != 0;
         mask &= mask - 1) {
      quote(i + static_cast<std::size_t>(__builtin_ctzll(mask)));
    }
  }
  for (; i + 16 <= length; i += 16) {
    for (std::uint64_t mask = places(i); mask != 0; mask &= mask - 1) quote(i + static_cast<std::size_t>(__builtin_ctzll(mask)));
  }
#endif
  for (; i < length; ++i) {
    if (text[i] == enclosure_char) quote(i);
  }
  if (open) row.emplace_back(text + start, strnlen(text + start, length - start));
  if (row.empty()) row.emplace_back(text, strnlen(text, length));
}

void csv_parser::_get_fields_with_optional_enclosure(std::vector<std::string>& row, const char* text,
                                                     unsigned int length) const {
  std::size_t start = 0;
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] != field_term_char && text[i] != line_term_char) continue;
    const std::size_t n = i - start;
    const std::size_t skip = n > 0 && text[start] == enclosure_char ? 1 : 0;
    const std::size_t kept = n >= 3 && text[i - 1] == enclosure_char ? n - 2 : n - skip;
    row.emplace_back(text + start + skip, kept);
    start = i + 1;
  }
}
