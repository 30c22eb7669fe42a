// Strings: short texts stay in the built-in buffer; long appends grow by a
// fifth. Compared with std::string doing the same work.
#include <benchmark/benchmark.h>
#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"

namespace {

// The code-set services need their tables before the first string: unless
// QXKELDIR is set, use the share/kel found above the program.
const bool kelDirSet = [] {
  if (std::getenv("QXKELDIR") != nullptr) return true;
  char exe[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  std::string dir(exe, n > 0 ? static_cast<size_t>(n) : 0);
  for (std::string::size_type slash; (slash = dir.rfind('/')) != std::string::npos;) {
    dir.erase(slash);
    if (access((dir + "/share/kel").c_str(), R_OK) == 0) {
      setenv("QXKELDIR", (dir + "/share/kel").c_str(), 1);
      break;
    }
  }
  return true;
}();

void BM_ZLCStringShortBuild(benchmark::State& state) {
  for (auto _ : state) {
    ZLCString s("key");
    s += '=';
    s += "a short value of some forty characters..";
    benchmark::DoNotOptimize(s.getChars());
  }
}
BENCHMARK(BM_ZLCStringShortBuild);

void BM_StdStringShortBuild(benchmark::State& state) {
  for (auto _ : state) {
    std::string s("key");
    s += '=';
    s += "a short value of some forty characters..";
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_StdStringShortBuild);

void BM_ZLCStringAppendChars(benchmark::State& state) {
  for (auto _ : state) {
    ZLCString s;
    for (int64_t i = 0; i < state.range(0); ++i) s.append('x');
    benchmark::DoNotOptimize(s.getChars());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ZLCStringAppendChars)->Range(64, 1 << 16);

void BM_StdStringAppendChars(benchmark::State& state) {
  for (auto _ : state) {
    std::string s;
    for (int64_t i = 0; i < state.range(0); ++i) s.push_back('x');
    benchmark::DoNotOptimize(s.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StdStringAppendChars)->Range(64, 1 << 16);

void BM_ZUTF8StringFromLocal(benchmark::State& state) {
  ZLCString local(std::string(static_cast<size_t>(state.range(0)), 'a').c_str());
  for (auto _ : state) {
    ZUTF8String u(local);
    benchmark::DoNotOptimize(u.getChars());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ZUTF8StringFromLocal)->Range(16, 1 << 14);

void BM_ZLCStringReplace(benchmark::State& state) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "name=value; ";
  for (auto _ : state) {
    ZLCString s(text.c_str());
    s.replace("value", "another value");
    benchmark::DoNotOptimize(s.getChars());
  }
}
BENCHMARK(BM_ZLCStringReplace);

// Assignment between strings copies the bytes straight into the target's
// buffer; a heap-held target of the same size is reused.
void BM_ZLCStringAssign(benchmark::State& state) {
  const ZLCString source(std::string(static_cast<size_t>(state.range(0)), 'v').c_str());
  ZLCString target;
  for (auto _ : state) {
    target = source;
    benchmark::DoNotOptimize(target.getChars());
  }
}
BENCHMARK(BM_ZLCStringAssign)->Range(16, 1 << 12);

}  // namespace
