// The status indicator's report against a bare uncontended std::mutex lock/unlock.
#include <mutex>
#include <benchmark/benchmark.h>

#include <kwlib63/progress/indicadorestat.h>

namespace {

void BM_MutexLockUnlock(benchmark::State& state) {
  std::mutex m;
  for (auto _ : state) {
    m.lock();
    m.unlock();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MutexLockUnlock);

void BM_MostrarEstat(benchmark::State& state) {
  TIndicadorEstat ie;
  double pos = 0.0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ie.MostrarEstat(pos));
    pos += 1e-9;
  }
}
BENCHMARK(BM_MostrarEstat);

// One item of a loop: its sub-range pushed and popped (two reports).
void BM_SetRangPosicioRelPop(benchmark::State& state) {
  TIndicadorEstat ie;
  unsigned long long i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ie.SetRangPosicioRel(i++ % 1000, 1000));
    benchmark::DoNotOptimize(ie.PopRangRel());
  }
}
BENCHMARK(BM_SetRangPosicioRelPop);

}  // namespace
