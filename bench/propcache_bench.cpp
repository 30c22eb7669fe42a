// zbase: property cache benchmarks: filling a cache as the stanza file reader
// does, and editing a large one.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Z/ZPropertiesImpl.h"

namespace {

const int kStanzas = 2000;
const int kKeys = 15;

class BenchCache : public ZPCategoryBasedCache {
 public:
  ZPCache* clone() const override { return nullptr; }
  void be_read(const char*, FILE*) override {}
  void be_write(const char*, FILE*) override {}
  void be_read_obfuscated(ZBuffer&) override {}
  void be_write_obfuscated(ZBuffer&) override {}
};

struct Names {
  std::vector<std::string> stanzas, keys, values;
  Names() {
    for (int s = 0; s < kStanzas; ++s) stanzas.push_back("stanza-" + std::to_string(s));
    for (int k = 0; k < kKeys; ++k) keys.push_back("key_number_" + std::to_string(k));
    for (int k = 0; k < kKeys; ++k)
      values.push_back("/some/value/of/medium/length/" + std::to_string(k));
  }
};

const Names& names() {
  static Names n;
  return n;
}

// The reader's sequence of cache calls for one file: a blank line and a
// header per stanza, then per entry a containment test, the value and, for a
// new key, its key line.
void fill(ZPCategoryBasedCache& cache) {
  const Names& n = names();
  for (int s = 0; s < kStanzas; ++s) {
    const char* stanza = n.stanzas[s].c_str();
    cache.lines.addNoCopy(new ZPropLine(LINE_BLANK, ""));
    benchmark::DoNotOptimize(cache.contains(stanza));
    cache.set(stanza, nullptr, nullptr);
    cache.lines.addNoCopy(new ZPropLine(LINE_STANZA, stanza));
    for (int k = 0; k < kKeys; ++k) {
      const char* key = n.keys[k].c_str();
      int existed = cache.contains(stanza, key);
      cache.add(stanza, key, n.values[k].c_str(), 0);
      if (!existed) cache.lines.addNoCopy(new ZPropLine(LINE_KEY, key));
    }
  }
}

void BM_LoadStanzas(benchmark::State& state) {
  names();
  BenchCache cache;
  for (auto _ : state) {
    fill(cache);
    benchmark::DoNotOptimize(cache.lines.size());
    state.PauseTiming();
    cache.clear();
    state.ResumeTiming();
  }
  state.counters["entries"] = kStanzas * kKeys;
  state.counters["entries/s"] = benchmark::Counter(
      static_cast<double>(kStanzas * kKeys) * state.iterations(), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_LoadStanzas)->Unit(benchmark::kMillisecond);

// Emptying the loaded cache, as a reload does before reading again.
void BM_Clear(benchmark::State& state) {
  BenchCache cache;
  for (auto _ : state) {
    state.PauseTiming();
    fill(cache);
    state.ResumeTiming();
    cache.clear();
  }
}
BENCHMARK(BM_Clear)->Unit(benchmark::kMillisecond);

// Reading every value of the loaded cache once.
void BM_GetAll(benchmark::State& state) {
  BenchCache cache;
  fill(cache);
  const Names& n = names();
  for (auto _ : state) {
    for (int s = 0; s < kStanzas; ++s) {
      for (int k = 0; k < kKeys; ++k) {
        benchmark::DoNotOptimize(
            cache.get(n.stanzas[s].c_str(), n.keys[k].c_str(), ZPCache::GET_ANY));
      }
    }
  }
  state.counters["gets/s"] = benchmark::Counter(
      static_cast<double>(kStanzas * kKeys) * state.iterations(), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_GetAll)->Unit(benchmark::kMillisecond);

// Adding a key to the last stanza of the loaded cache and deleting it again:
// the layout edits a setValue and deleteKey make.
void BM_AddAndDeleteLine(benchmark::State& state) {
  BenchCache cache;
  fill(cache);
  const char* stanza = names().stanzas.back().c_str();
  for (auto _ : state) {
    cache.addLine(stanza, "added", "value", 0);
    cache.delLine(stanza, "added");
  }
}
BENCHMARK(BM_AddAndDeleteLine)->Unit(benchmark::kMicrosecond);

}  // namespace
