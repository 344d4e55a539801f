// The containers against the standard library doing the same work in the same run.
#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>
#include <benchmark/benchmark.h>

#include <kwlib63/containers/crosslist.h>
#include <kwlib63/containers/hash.h>
#include <kwlib63/containers/llista.h>
#include <kwlib63/core/valueitem.h>

namespace {

constexpr int kSortCount = 1'000'000;

int ByValue(const TItem* a, const TItem* b, __int64) {
  const int x = static_cast<const TInt*>(a)->Get(), y = static_cast<const TInt*>(b)->Get();
  return x < y ? -1 : (x > y ? 1 : 0);
}

// The same shuffled items for every sort, with many equal keys.
const std::vector<TItem*>& Shuffled() {
  static const std::vector<TItem*> items = [] {
    std::vector<TItem*> v;
    std::mt19937 rng(42);
    for (int i = 0; i < kSortCount; ++i) v.push_back(new TInt(static_cast<int>(rng() % 100000)));
    return v;
  }();
  return items;
}

void BM_LlistaOrdenar(benchmark::State& state) {
  TLlista list;
  for (TItem* item : Shuffled()) list.Afegir(item);
  for (auto _ : state) {
    state.PauseTiming();
    for (int i = 0; i < kSortCount; ++i) list.Canviar(Shuffled()[static_cast<std::size_t>(i)], i);
    state.ResumeTiming();
    benchmark::DoNotOptimize(list.Ordenar(ByValue));
  }
  list.Done(0);  // the items belong to Shuffled()
}
BENCHMARK(BM_LlistaOrdenar)->Unit(benchmark::kMillisecond)->MinTime(3.0);

// The peer sorts the same pointers with the same comparison function, called as
// Ordenar calls it: through a pointer the caller hands over.
void BM_StdStableSort(benchmark::State& state) {
  TLlista::COMPARA compare = ByValue;
  benchmark::DoNotOptimize(compare);
  std::vector<TItem*> v;
  for (auto _ : state) {
    state.PauseTiming();
    v = Shuffled();
    state.ResumeTiming();
    std::stable_sort(v.begin(), v.end(), [compare](const TItem* a, const TItem* b) { return compare(a, b, 0) < 0; });
    benchmark::DoNotOptimize(v.data());
  }
}
BENCHMARK(BM_StdStableSort)->Unit(benchmark::kMillisecond)->MinTime(3.0);

// The same with the comparison inlined into the sort, which Ordenar's callers
// cannot have: for information.
void BM_StdStableSortInlined(benchmark::State& state) {
  std::vector<TItem*> v;
  for (auto _ : state) {
    state.PauseTiming();
    v = Shuffled();
    state.ResumeTiming();
    std::stable_sort(v.begin(), v.end(), [](const TItem* a, const TItem* b) { return ByValue(a, b, 0) < 0; });
    benchmark::DoNotOptimize(v.data());
  }
}
BENCHMARK(BM_StdStableSortInlined)->Unit(benchmark::kMillisecond);

void BM_LlistaAfegir(benchmark::State& state) {
  TInt item;
  for (auto _ : state) {
    TLlista list;
    for (int i = 0; i < kSortCount; ++i) list.Afegir(&item);
    benchmark::DoNotOptimize(list.Cnt());
    list.Done(0);
  }
}
BENCHMARK(BM_LlistaAfegir)->Unit(benchmark::kMillisecond);

void BM_VectorPushBack(benchmark::State& state) {
  TInt item;
  for (auto _ : state) {
    std::vector<TItem*> v;
    for (int i = 0; i < kSortCount; ++i) v.push_back(&item);
    benchmark::DoNotOptimize(v.data());
  }
}
BENCHMARK(BM_VectorPushBack)->Unit(benchmark::kMillisecond);

constexpr int kHashKeys = 100'000;

const std::vector<std::wstring>& Keys() {
  static const std::vector<std::wstring> keys = [] {
    std::vector<std::wstring> k;
    for (int i = 0; i < kHashKeys; ++i) k.push_back(L"key-" + std::to_wstring(i * 7919));
    return k;
  }();
  return keys;
}

void BM_HashPutGet(benchmark::State& state) {
  TInt item;
  for (auto _ : state) {
    THash h;
    h.init(kHashKeys);
    for (const std::wstring& k : Keys()) h.put(&item, k.c_str());
    for (const std::wstring& k : Keys()) benchmark::DoNotOptimize(h.get(k.c_str()));
    h.Done();  // the item is not the table's
  }
}
BENCHMARK(BM_HashPutGet)->Unit(benchmark::kMillisecond);

void BM_UnorderedMapPutGet(benchmark::State& state) {
  TInt item;
  for (auto _ : state) {
    std::unordered_map<std::wstring, TItem*> m;
    m.reserve(kHashKeys);
    for (const std::wstring& k : Keys()) m[k] = &item;
    for (const std::wstring& k : Keys()) benchmark::DoNotOptimize(m.find(k));
  }
}
BENCHMARK(BM_UnorderedMapPutGet)->Unit(benchmark::kMillisecond);

constexpr int kOrdered = 5000;

void BM_CrossListAddOrdered(benchmark::State& state) {
  std::mt19937 rng(1);
  std::vector<int> values(kOrdered);
  for (int& v : values) v = static_cast<int>(rng() % 100000);
  for (auto _ : state) {
    TCrossList list;
    for (int v : values) list.AddOrderedElem(new TInt(v));
    benchmark::DoNotOptimize(list.Cnt());
  }
}
BENCHMARK(BM_CrossListAddOrdered)->Unit(benchmark::kMillisecond);

void BM_MultisetInsert(benchmark::State& state) {
  std::mt19937 rng(1);
  std::vector<int> values(kOrdered);
  for (int& v : values) v = static_cast<int>(rng() % 100000);
  for (auto _ : state) {
    std::multiset<int> s;
    for (int v : values) s.insert(v);
    benchmark::DoNotOptimize(s.size());
  }
}
BENCHMARK(BM_MultisetInsert)->Unit(benchmark::kMillisecond);

}  // namespace
