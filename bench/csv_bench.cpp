// The CSV reader against libcsv and Python's csv module on one generated file of
// about 100 MB whose fields are all quoted, and the reader on the same file with
// CR line ends. Every reader counts rows, fields and field bytes, and the counts
// must agree. Python's time is its reading loop as it measures it itself, without
// the interpreter's start.
#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <benchmark/benchmark.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/csv_parser.h>

#include "libcsv_peer.h"

namespace {

using kwbench::CsvCounts;

const char* const kCsvFile = "/tmp/kwlib-bench-100M.csv";
const char* const kCsvCrFile = "/tmp/kwlib-bench-100M-cr.csv";

bool WriteFile(const char* path, const std::string& text) {
  std::FILE* f = std::fopen(path, "wb");
  return f != nullptr && std::fwrite(text.data(), 1, text.size(), f) == text.size() && std::fclose(f) == 0;
}

// Writes the files once per run: rows of eight quoted fields of 1 to 16 characters,
// ended by LF, and the same rows ended by CR. Returns the size of each.
std::size_t CsvFile() {
  static const std::size_t size = [] {
    std::mt19937 rng(7);
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .-";
    std::string text;
    text.reserve(101u << 20);
    while (text.size() < 100'000'000) {
      for (int f = 0; f < 8; ++f) {
        if (f > 0) text += ',';
        text += '"';
        for (unsigned k = 1 + rng() % 16; k > 0; --k) text += alphabet[rng() % (sizeof alphabet - 1)];
        text += '"';
      }
      text += '\n';
    }
    if (!WriteFile(kCsvFile, text)) return std::size_t{0};
    std::replace(text.begin(), text.end(), '\n', '\r');
    return WriteFile(kCsvCrFile, text) ? text.size() : std::size_t{0};
  }();
  return size;
}

CsvCounts ParserCount(const char* path) {
  CsvCounts c;
  csv_parser parser;
  parser.set_enclosed_char('"', ENCLOSURE_REQUIRED);
  if (!parser.init(kwfw::Utf8ToWide(path).c_str())) return c;
  while (parser.has_more_rows()) {
    const std::vector<std::string> row = parser.get_row();
    if (row.empty()) continue;
    ++c.rows;
    c.fields += row.size();
    for (const std::string& field : row) c.bytes += field.size();
  }
  return c;
}

const CsvCounts& Expected() {
  static const CsvCounts counts = ParserCount(kCsvFile);
  return counts;
}

void Finish(benchmark::State& state, const CsvCounts& got) {
  if (!(got == Expected())) state.SkipWithError("the readers disagree on the rows");
  state.counters["rows"] = static_cast<double>(got.rows);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(CsvFile()));
}

void BM_CsvParser(benchmark::State& state) {
  if (CsvFile() == 0) state.SkipWithError("cannot write the file");
  CsvCounts got;
  for (auto _ : state) got = ParserCount(kCsvFile);
  Finish(state, got);
}
BENCHMARK(BM_CsvParser)->UseRealTime()->Unit(benchmark::kMillisecond);

// The same rows with CR line ends: the same counts, at the same cost.
void BM_CsvParserCrOnly(benchmark::State& state) {
  if (CsvFile() == 0) state.SkipWithError("cannot write the file");
  CsvCounts got;
  for (auto _ : state) got = ParserCount(kCsvCrFile);
  Finish(state, got);
}
BENCHMARK(BM_CsvParserCrOnly)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_Libcsv(benchmark::State& state) {
  if (CsvFile() == 0) state.SkipWithError("cannot write the file");
  CsvCounts got;
  for (auto _ : state) {
    if (!kwbench::LibcsvCount(kCsvFile, got)) state.SkipWithError("libcsv failed");
  }
  Finish(state, got);
}
BENCHMARK(BM_Libcsv)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_PythonCsv(benchmark::State& state) {
  if (CsvFile() == 0) state.SkipWithError("cannot write the file");
  const std::string command = std::string("python3 -c '") +
                              "import csv, sys, time\n"
                              "r = f = b = 0\n"
                              "t = time.perf_counter()\n"
                              "with open(sys.argv[1], newline=\"\", encoding=\"latin-1\") as fp:\n"
                              "    for row in csv.reader(fp):\n"
                              "        r += 1; f += len(row); b += sum(map(len, row))\n"
                              "print(time.perf_counter() - t, r, f, b)\n' " +
                              kCsvFile;
  CsvCounts got;
  for (auto _ : state) {
    std::FILE* p = popen(command.c_str(), "r");
    double seconds = 0;
    if (p == nullptr || std::fscanf(p, "%lf %zu %zu %zu", &seconds, &got.rows, &got.fields, &got.bytes) != 4) {
      state.SkipWithError("python3 did not answer");
    }
    if (p != nullptr) pclose(p);
    state.SetIterationTime(seconds);
  }
  Finish(state, got);
}
BENCHMARK(BM_PythonCsv)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);

}  // namespace
