// zbase benchmarks: splitting and walking texts with ZStringTokenizer and
// ZStringIterator. Each step reuses the caller's output string, so the time
// per byte should stay flat as the text grows.
#include <benchmark/benchmark.h>

#include <string>

#include "Z/ZStringIterator.h"
#include "Z/ZStringTokenizer.h"
#include "Z/ZUTF8String.h"

namespace {

// Words of 3 to 9 letters, some with two-byte characters, between runs of
// blanks, tabs and line ends.
std::string text(int bytes) {
  static const char* const kWords[] = {
      "alpha", "b\xc3\xa9ta", "gam", "delta\xc3\xa9", "epsilon", "z\xc3\xa9ta\xc3\xa9t\xc3\xa9"};
  static const char* const kGaps[] = {" ", "  ", "\t", "\r\n"};
  std::string out;
  for (unsigned int i = 0; static_cast<int>(out.size()) < bytes; ++i) {
    out += kWords[i % 6];
    out += kGaps[(i * 7) % 4];
  }
  return out;
}

void BM_TokenizeUTF8(benchmark::State& state) {
  ZUTF8String source(text(static_cast<int>(state.range(0))).c_str()), token;
  for (auto _ : state) {
    ZStringTokenizer t(source, token);
    int words = 0;
    while (t.hasMore()) {
      benchmark::DoNotOptimize(t.getNext());
      ++words;
    }
    benchmark::DoNotOptimize(words);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_TokenizeUTF8)->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 20);

void BM_IterateUTF8(benchmark::State& state) {
  ZUTF8String source(text(static_cast<int>(state.range(0))).c_str()), out;
  for (auto _ : state) {
    ZStringIterator it(source, out);
    while (it.hasMore()) benchmark::DoNotOptimize(it.getNext());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_IterateUTF8)->Arg(1 << 10)->Arg(1 << 16);

}  // namespace
