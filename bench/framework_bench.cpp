// The formatter against the C library's own swprintf on the same formats.
#include <cwchar>
#include <benchmark/benchmark.h>

#include <kwlib63/framework/cstring.h>

namespace {

void BM_CStringFormat(benchmark::State& state) {
  CString s;
  for (auto _ : state) {
    s.Format(L"%s: %d of %d (%.1f%%) %S", L"copying", 42, 1000, 4.2, "file.dat");
    benchmark::DoNotOptimize(s.GetString());
  }
}
BENCHMARK(BM_CStringFormat);

void BM_Swprintf(benchmark::State& state) {
  wchar_t buf[256];
  for (auto _ : state) {
    std::swprintf(buf, 256, L"%ls: %d of %d (%.1f%%) %s", L"copying", 42, 1000, 4.2, "file.dat");
    benchmark::DoNotOptimize(buf);
  }
}
BENCHMARK(BM_Swprintf);

}  // namespace

