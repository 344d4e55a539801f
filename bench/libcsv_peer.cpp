#include "libcsv_peer.h"

#include <cstdio>
#include <memory>
#include <vector>
#include <csv.h>

namespace kwbench {
namespace {

void OnField(void*, std::size_t length, void* data) {
  auto* c = static_cast<CsvCounts*>(data);
  ++c->fields;
  c->bytes += length;
}

void OnRow(int, void* data) { ++static_cast<CsvCounts*>(data)->rows; }

}  // namespace

bool LibcsvCount(const char* path, CsvCounts& counts) {
  counts = CsvCounts{};
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path, "rb"), &std::fclose);
  struct csv_parser parser;
  if (!f || csv_init(&parser, 0) != 0) return false;
  std::vector<char> block(1 << 20);
  bool ok = true;
  for (std::size_t n; (n = std::fread(block.data(), 1, block.size(), f.get())) > 0;) {
    if (csv_parse(&parser, block.data(), n, OnField, OnRow, &counts) != n) ok = false;
  }
  csv_fini(&parser, OnField, OnRow, &counts);
  csv_free(&parser);
  return ok;
}

}  // namespace kwbench
