// zbase: throughput of the compression facade and of Adler-32, with zlib's
// own checksum as the peer.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <random>
#include <vector>

#include "Z/ZSqueeze.h"

namespace {

std::vector<unsigned char> sample(size_t n) {
  std::mt19937 gen(1);
  std::vector<unsigned char> v(n);
  // Half-predictable bytes: neither trivial nor incompressible.
  for (auto& b : v)
    b = static_cast<unsigned char>("stanza key = value\n"[gen() % 19] ^ (gen() & 1));
  return v;
}

void BM_Adler32(benchmark::State& state) {
  std::vector<unsigned char> data = sample(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(ZAdler32::adler32(1, data.data(), data.size()));
  }
  state.SetBytesProcessed(state.iterations() * data.size());
}
BENCHMARK(BM_Adler32)->Arg(64)->Arg(4096)->Arg(1 << 20);

void BM_ZlibAdler32(benchmark::State& state) {
  std::vector<unsigned char> data = sample(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(adler32(1, data.data(), data.size()));
  }
  state.SetBytesProcessed(state.iterations() * data.size());
}
BENCHMARK(BM_ZlibAdler32)->Arg(64)->Arg(4096)->Arg(1 << 20);

void BM_SqueezeUnsqueeze(benchmark::State& state) {
  std::vector<unsigned char> data = sample(state.range(0));
  std::vector<unsigned char> packed(data.size() * 2 + 64);
  std::vector<unsigned char> out(data.size());
  ZSqueeze z;
  for (auto _ : state) {
    z.setSource(data.data(), data.size());
    long n = z.squeeze(packed.data(), packed.size());
    z.setSource(packed.data(), n);
    benchmark::DoNotOptimize(z.unsqueeze(out.data(), out.size()));
  }
  state.SetBytesProcessed(state.iterations() * data.size());
}
BENCHMARK(BM_SqueezeUnsqueeze)->Arg(1024)->Arg(64 * 1024);

}  // namespace
