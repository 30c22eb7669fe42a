// zbase: stanza file benchmarks: loading and storing a 2 MB configuration
// file through ZStanzaFileProperties, and the reader and writer alone.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Z/ZStanzaFileProperties.h"

namespace {

const size_t kTarget = 2 * 1024 * 1024;

// A realistic 2 MB file: a comment block per stanza, commented-out templates,
// multi-value keys and some hidden values in a side file.
std::string sampleText() {
  std::string text = "# Generated configuration for the stanza benchmarks.\n\n";
  for (int s = 0; text.size() < kTarget; ++s) {
    text +=
        "# Settings of service " + std::to_string(s) + "\n[service-" + std::to_string(s) + "]\n";
    text += "host = host-" + std::to_string(s) + ".example.com\n";
    text += "# port = 8080\n\n";
    for (int k = 0; k < 12; ++k) {
      text += "option_" + std::to_string(k) + " = /some/value/of/medium/length/" +
              std::to_string(s * 31 + k) + "\n";
    }
    for (int m = 0; m < 3; ++m) {
      text += "mirror = https://m" + std::to_string(m) + ".example.com/" + std::to_string(s) + "\n";
    }
    text += "empty =\n\n";
  }
  return text;
}

// The sample written to a fresh directory, with a side file of hidden values.
struct Sample {
  std::string dir, path;
  size_t bytes = 0;
  Sample() {
    char tmpl[] = "/tmp/zstanza-bench-XXXXXX";
    dir = mkdtemp(tmpl);
    path = dir + "/bench.conf";
    std::string text = sampleText();
    bytes = text.size();
    FILE* f = std::fopen(path.c_str(), "w");
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
    ZStanzaFileProperties p(path.c_str(), 1);
    for (int s = 0; s < 200; ++s) {
      p.setValue(("service-" + std::to_string(s)).c_str(), "secret", "hidden-value", 1);
    }
    p.store(nullptr);
  }
  ~Sample() { std::filesystem::remove_all(dir); }
};

const Sample& sample() {
  static Sample s;
  return s;
}

void BM_Load2MB(benchmark::State& state) {
  const Sample& s = sample();
  for (auto _ : state) {
    ZStanzaFileProperties p(s.path.c_str(), 1);
    benchmark::DoNotOptimize(p.count());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * s.bytes);
}
BENCHMARK(BM_Load2MB)->Unit(benchmark::kMillisecond);

void BM_Store2MB(benchmark::State& state) {
  const Sample& s = sample();
  ZStanzaFileProperties p(s.path.c_str(), 1);
  for (auto _ : state) {
    p.setValue("service-7", "option_3", "changed");
    p.store(nullptr);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * s.bytes);
}
BENCHMARK(BM_Store2MB)->Unit(benchmark::kMillisecond);

// The reader alone, from a stream already in memory.
void BM_ReadOnly2MB(benchmark::State& state) {
  const std::string text = sampleText();
  for (auto _ : state) {
    FILE* f = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
    ZSCFData cache;
    cache.setAttributes(1, nullptr);
    cache.be_read("bench.conf", f);
    std::fclose(f);
    benchmark::DoNotOptimize(cache.count());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.size());
}
BENCHMARK(BM_ReadOnly2MB)->Unit(benchmark::kMillisecond);

// The writer alone, into memory.
void BM_WriteOnly2MB(benchmark::State& state) {
  const std::string text = sampleText();
  FILE* f = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
  ZSCFData cache;
  cache.setAttributes(1, nullptr);
  cache.be_read("bench.conf", f);
  std::fclose(f);
  for (auto _ : state) {
    char* data = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&data, &size);
    cache.be_write("bench.conf", out);
    std::fclose(out);
    std::free(data);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.size());
}
BENCHMARK(BM_WriteOnly2MB)->Unit(benchmark::kMillisecond);

}  // namespace
