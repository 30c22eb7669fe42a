// zsnprintf against the C library's snprintf on a mix of everyday formats,
// positional and not. The ratio of the two "Mix" results is the figure to
// watch; the single-format cases show where the time goes.
#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdio>

#include "Z/zsnprintf.h"

namespace {

typedef int (*Formatter)(char*, size_t, const char*, ...);

template <Formatter F>
int formatMix(char* buf, size_t size, int i) {
  int n = 0;
  n += F(buf, size, "%s=%d", "count", i);
  n += F(buf, size, "[%08x] %-12s|%5u", static_cast<unsigned>(i) * 2654435761u, "worker", 77u);
  n += F(buf, size, "%s: line %ld, column %d: %s", "config.stz", 1234L + i, 17, "bad value");
  n += F(buf, size, "%.3f ms (%5.1f%%)", 12.3456 + i, 45.6);
  n += F(buf, size, "%2$s %1$s, %3$d times", "world", "hello", i);
  n += F(buf, size, "%1$s/%2$s.%3$s", "/var/lib/zbase", "properties", "obf");
  n += F(buf, size, "%c%c%s%lld", 'i', 'd', "=", 9000000000LL + i);
  return n;
}

template <Formatter F>
void BM_Mix(benchmark::State& state) {
  char buf[256];
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(formatMix<F>(buf, sizeof buf, i++));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * 7);
}

template <Formatter F>
void BM_Integers(benchmark::State& state) {
  char buf[128];
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(F(buf, sizeof buf, "%d %u %x %ld", i, 3u * i, i, 100000L * i));
    ++i;
  }
}

template <Formatter F>
void BM_Strings(benchmark::State& state) {
  char buf[128];
  for (auto _ : state) {
    benchmark::DoNotOptimize(F(buf, sizeof buf, "%s: %-10s|%.4s", "name", "value", "truncated"));
  }
}

template <Formatter F>
void BM_Positional(benchmark::State& state) {
  char buf[128];
  for (auto _ : state) {
    benchmark::DoNotOptimize(F(buf, sizeof buf, "%3$s %1$s %2$d", "a", 42, "c"));
  }
}

template <Formatter F>
void BM_Double(benchmark::State& state) {
  char buf[128];
  double v = 1.25;
  for (auto _ : state) {
    benchmark::DoNotOptimize(F(buf, sizeof buf, "%.2f %g", v, v * 3));
    v += 0.5;
  }
}

int systemSnprintf(char* buf, size_t size, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = std::vsnprintf(buf, size, fmt, ap);
  va_end(ap);
  return n;
}

}  // namespace

BENCHMARK_TEMPLATE(BM_Mix, zsnprintf)->Name("Mix/zsnprintf");
BENCHMARK_TEMPLATE(BM_Mix, systemSnprintf)->Name("Mix/snprintf");
BENCHMARK_TEMPLATE(BM_Integers, zsnprintf)->Name("Integers/zsnprintf");
BENCHMARK_TEMPLATE(BM_Integers, systemSnprintf)->Name("Integers/snprintf");
BENCHMARK_TEMPLATE(BM_Strings, zsnprintf)->Name("Strings/zsnprintf");
BENCHMARK_TEMPLATE(BM_Strings, systemSnprintf)->Name("Strings/snprintf");
BENCHMARK_TEMPLATE(BM_Positional, zsnprintf)->Name("Positional/zsnprintf");
BENCHMARK_TEMPLATE(BM_Positional, systemSnprintf)->Name("Positional/snprintf");
BENCHMARK_TEMPLATE(BM_Double, zsnprintf)->Name("Double/zsnprintf");
BENCHMARK_TEMPLATE(BM_Double, systemSnprintf)->Name("Double/snprintf");
