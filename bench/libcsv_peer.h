// libcsv's reader behind a function of its own: its `struct csv_parser` has the
// same name as the library's class, so the two never meet in one file.
#pragma once

#include <cstddef>

namespace kwbench {

struct CsvCounts {
  std::size_t rows = 0, fields = 0, bytes = 0;
  bool operator==(const CsvCounts&) const = default;
};

// Reads `path` with libcsv in 1 MiB blocks; false when it cannot.
bool LibcsvCount(const char* path, CsvCounts& counts);

}  // namespace kwbench
