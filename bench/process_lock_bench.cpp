// zbase benchmarks: the cost of process read-write lock round trips, and a
// many-process read-modify-write run over one counter file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "Z/ZFileLock.h"
#include "Z/ZProcessLock.h"

namespace {

// A fresh directory for lock files; argument 0 puts it under $TMPDIR (or
// /tmp), argument 1 under /dev/shm, to show what the file system costs.
class BenchDir {
 public:
  explicit BenchDir(int onShm) {
    const char* base = getenv("TMPDIR");
    std::string root = onShm ? "/dev/shm" : (base != nullptr && *base ? base : "/tmp");
    std::string templ = root + "/zplbenchXXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    if (mkdtemp(buf.data()) != nullptr) path_ = buf.data();
  }
  ~BenchDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

void label(benchmark::State& state) { state.SetLabel(state.range(0) ? "/dev/shm" : "tmp"); }

// First reader: gate, pid write, data range, gate release, sequence read;
// the release unlocks the data range and closes the file.
void BM_UnixReadLockRoundTrip(benchmark::State& state) {
  BenchDir dir(static_cast<int>(state.range(0)));
  ZUnixProcessReadWriteFileLock lock("bench", dir.path().c_str());
  for (auto _ : state) {
    lock.readLock();
    lock.unlock();
  }
  label(state);
}
BENCHMARK(BM_UnixReadLockRoundTrip)->Arg(0)->Arg(1);

// A writer that raises the sequence on release.
void BM_UnixWriteLockRoundTrip(benchmark::State& state) {
  BenchDir dir(static_cast<int>(state.range(0)));
  ZUnixProcessReadWriteFileLock lock("bench", dir.path().c_str());
  for (auto _ : state) {
    lock.writeLock();
    lock.unlock();
  }
  label(state);
}
BENCHMARK(BM_UnixWriteLockRoundTrip)->Arg(0)->Arg(1);

// A writer that changed nothing: no sequence write.
void BM_UnixWriteLockNoUpdate(benchmark::State& state) {
  BenchDir dir(static_cast<int>(state.range(0)));
  ZUnixProcessReadWriteFileLock lock("bench", dir.path().c_str());
  for (auto _ : state) {
    lock.writeLock();
    lock.unlock(0);
  }
  label(state);
}
BENCHMARK(BM_UnixWriteLockNoUpdate)->Arg(0)->Arg(1);

// A further reader while the file lock is held already: in-process only.
void BM_UnixNestedReadLockRoundTrip(benchmark::State& state) {
  BenchDir dir(0);
  ZUnixProcessReadWriteFileLock lock("bench", dir.path().c_str());
  lock.readLock();
  for (auto _ : state) {
    lock.readLock();
    lock.unlock();
  }
  lock.unlock();
}
BENCHMARK(BM_UnixNestedReadLockRoundTrip);

void BM_StubFileLockReadRoundTrip(benchmark::State& state) {
  ZStubProcessReadWriteFileLock lock("bench");
  for (auto _ : state) {
    lock.readLock();
    lock.unlock();
  }
}
BENCHMARK(BM_StubFileLockReadRoundTrip);

// range(0) processes each do range(1) cycles of: read lock and check the
// counter file's two copies agree, then write lock and raise both copies.
// Reports the updates lost (must be 0) and the torn reads seen (must be 0).
void BM_ProcessCounterStress(benchmark::State& state) {
  const int procs = static_cast<int>(state.range(0));
  const int cycles = static_cast<int>(state.range(1));
  long lost = 0, torn = 0;
  for (auto _ : state) {
    BenchDir dir(0);
    const std::string counter = dir.path() + "/counter";
    int fd = open(counter.c_str(), O_RDWR | O_CREAT, 0600);
    long zero[2] = {0, 0};
    if (fd < 0 || pwrite(fd, zero, sizeof zero, 0) != sizeof zero) {
      state.SkipWithError("cannot make the counter file");
      return;
    }
    close(fd);
    std::vector<pid_t> children;
    for (int p = 0; p < procs; ++p) {
      pid_t pid = fork();
      if (pid == 0) {
        ZUnixProcessReadWriteFileLock l("stress", dir.path().c_str());
        int cfd = open(counter.c_str(), O_RDWR);
        int bad = 0;
        for (int i = 0; i < cycles; ++i) {
          long v[2];
          l.readLock();
          if (pread(cfd, v, sizeof v, 0) != sizeof v || v[0] != v[1]) ++bad;
          l.unlock();
          l.writeLock();
          if (pread(cfd, v, sizeof v, 0) != sizeof v || v[0] != v[1]) ++bad;
          long next = v[0] + 1;
          if (pwrite(cfd, &next, sizeof next, 0) != sizeof next) ++bad;
          if (pwrite(cfd, &next, sizeof next, sizeof next) != sizeof next) ++bad;
          l.unlock();
        }
        _exit(bad > 250 ? 250 : bad);
      }
      children.push_back(pid);
    }
    for (pid_t pid : children) {
      int st = 0;
      waitpid(pid, &st, 0);
      torn += WIFEXITED(st) ? WEXITSTATUS(st) : 1;
    }
    long v[2] = {0, 0};
    fd = open(counter.c_str(), O_RDONLY);
    if (fd >= 0) {
      if (pread(fd, v, sizeof v, 0) != sizeof v) v[0] = 0;
      close(fd);
    }
    lost += static_cast<long>(procs) * cycles - v[0];
  }
  state.counters["processes"] = procs;
  state.counters["cycles"] = cycles;
  state.counters["lost"] = static_cast<double>(lost);
  state.counters["torn"] = static_cast<double>(torn);
  state.counters["cycles/s"] = benchmark::Counter(
      static_cast<double>(procs) * cycles * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate);
}
BENCHMARK(BM_ProcessCounterStress)
    ->Args({4, 200})
    ->Args({8, 100})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
