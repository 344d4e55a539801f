// The CSV reader on arbitrary files in each enclosure mode; the first byte picks
// the mode and the skip count, the second the field separator.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <kwlib63/persist/csv_parser.h>

#include "scratch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  static const std::string path = kwfuzz::ScratchDir() + "/f.csv";
  std::FILE* f = std::fopen(path.c_str(), "w+b");
  if (f == nullptr) std::abort();
  std::fwrite(data + 2, 1, size - 2, f);
  csv_parser parser;
  const int mode = data[0] % 3;
  if (mode > 0) parser.set_enclosed_char('"', mode == 1 ? ENCLOSURE_REQUIRED : ENCLOSURE_OPTIONAL);
  parser.set_field_term_char(static_cast<char>(data[1]));
  parser.set_skip_lines(data[0] >> 6);
  parser.init(f);
  size_t rows = 0;
  while (parser.has_more_rows()) {
    for (const std::string& field : parser.get_row()) rows += field.size() > size ? 1 : 0;
  }
  if (rows != 0) std::abort();  // no field can be longer than the file
  std::fclose(f);
  return 0;
}
