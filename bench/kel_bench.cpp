// Benchmarks of libkel: character measuring and conversion per kind of code
// set (hand-decoded UTF-8, byte tables, pooled iconv descriptors).
#include <string>

#include <benchmark/benchmark.h>

#include "kel/kel.h"

namespace {

// Measures a text character by character, as the string scans do.
void measure(benchmark::State& state, const char* codeset, const std::string& text) {
  kel_cs_handle cs = kel_cs_new(codeset);
  if (cs == nullptr) {
    state.SkipWithError("code set not available");
    return;
  }
  for (auto _ : state) {
    int chars = 0;
    for (const char* p = text.c_str(); *p != '\0';) {
      int n = kel_mblen(cs, p, 4);
      if (n <= 0) break;
      p += n;
      ++chars;
    }
    benchmark::DoNotOptimize(chars);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.size());
  kel_cs_free(cs);
}

void convert(benchmark::State& state, const char* codeset, const std::string& text) {
  kel_cs_handle cs = kel_cs_new(codeset);
  if (cs == nullptr) {
    state.SkipWithError("code set not available");
    return;
  }
  std::string out(text.size() * 3 + 1, '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(kel_to_utf8(cs, text.data(), text.size(), &out[0], out.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.size());
  kel_cs_free(cs);
}

std::string repeat(const std::string& s, int n) {
  std::string r;
  for (int i = 0; i < n; ++i) r += s;
  return r;
}

const std::string kUtf8Text = repeat("caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC ", 100);
const std::string kLatinText = repeat("caf\xE9 na\xEFve ", 100);
const std::string kEucText = repeat("\xC6\xFC\xCB\xDC abc ", 100);

void BM_MeasureUtf8(benchmark::State& s) { measure(s, "UTF8", kUtf8Text); }
void BM_MeasureLatin1(benchmark::State& s) { measure(s, "ISO-8859-1", kLatinText); }
void BM_MeasureEucJp(benchmark::State& s) { measure(s, "EUC-JP", kEucText); }
void BM_ConvertUtf8(benchmark::State& s) { convert(s, "UTF8", kUtf8Text); }
void BM_ConvertLatin1(benchmark::State& s) { convert(s, "ISO-8859-1", kLatinText); }
void BM_ConvertEucJp(benchmark::State& s) { convert(s, "EUC-JP", kEucText); }

BENCHMARK(BM_MeasureUtf8);
BENCHMARK(BM_MeasureLatin1);
BENCHMARK(BM_MeasureEucJp);
BENCHMARK(BM_ConvertUtf8);
BENCHMARK(BM_ConvertLatin1);
BENCHMARK(BM_ConvertEucJp);
BENCHMARK(BM_ConvertEucJp)->Threads(2);

}  // namespace
