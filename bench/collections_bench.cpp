// zbase benchmarks: lists, sorting and key maps.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "Z/ZArrayList.h"
#include "Z/ZHashKeyMap.h"

namespace {

// An int with value semantics, hashed by a multiplicative spread.
class Num : public ZObject {
 public:
  explicit Num(int v) : v_(v) {}
  unsigned int hash() const override { return static_cast<unsigned int>(v_) * 2654435761u; }
  int compare(const ZObject& o) const override {
    int w = static_cast<const Num&>(o).v_;
    return v_ < w ? -1 : (v_ > w ? 1 : 0);
  }
  ZObject* clone() const override { return new Num(v_); }

 private:
  int v_;
};

std::vector<Num> numbers(int n) {
  std::mt19937 rng(42);
  std::vector<Num> out;
  out.reserve(n);
  for (int i = 0; i < n; ++i) out.emplace_back(static_cast<int>(rng()));
  return out;
}

void BM_ListAppend(benchmark::State& state) {
  std::vector<Num> nums = numbers(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    ZArrayList l(1, 0);
    for (Num& n : nums) l.add(&n);
    benchmark::DoNotOptimize(l.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ListAppend)->Arg(1000)->Arg(100000);

void BM_ListInsertFront(benchmark::State& state) {
  std::vector<Num> nums = numbers(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    ZArrayList l(1, 0);
    for (Num& n : nums) l.add(0u, &n);
    benchmark::DoNotOptimize(l.size());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ListInsertFront)->Arg(1000)->Arg(10000);

void BM_ListSort(benchmark::State& state) {
  std::vector<Num> nums = numbers(static_cast<int>(state.range(0)));
  ZArrayList l(static_cast<unsigned int>(nums.size()), 0);
  for (auto _ : state) {
    state.PauseTiming();
    l.removeAll();
    for (Num& n : nums) l.add(&n);
    state.ResumeTiming();
    l.sort(ZSortCompare::defaultSortCompare(), ZSortCompare::ascending);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ListSort)->Arg(1000)->Arg(100000);

// An owning key map the size the property cache uses, filled and read back.
void BM_KeyMapPutGet(benchmark::State& state) {
  std::vector<Num> nums = numbers(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    ZHashKeyMap m(static_cast<unsigned int>(nums.size()), 1);
    for (Num& n : nums) m.putEntry(&n, &n);
    for (Num& n : nums) benchmark::DoNotOptimize(m.getEntry(&n));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_KeyMapPutGet)->Arg(15)->Arg(2000)->Arg(100000);

}  // namespace
