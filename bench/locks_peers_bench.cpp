// zbase: the library's locks beside the standard ones they are built like:
// ZLock against std::recursive_mutex, a ZReadWriteLock read lock against
// pthread_rwlock_rdlock; one thread alone, and two threads on one lock.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <mutex>

#include "Z/ZLock.h"
#include "Z/ZReadWriteLock.h"

namespace {

// Shared by the threads of one run: one lock of each kind.
ZLock zLock;
std::recursive_mutex stdLock;
ZReadWriteLock zRwLock;
pthread_rwlock_t rwLock = PTHREAD_RWLOCK_INITIALIZER;

void BM_ZLock(benchmark::State& state) {
  for (auto _ : state) {
    zLock.lock();
    zLock.unlock();
  }
}

void BM_RecursiveMutex(benchmark::State& state) {
  for (auto _ : state) {
    stdLock.lock();
    stdLock.unlock();
  }
}

void BM_ZReadWriteLockRead(benchmark::State& state) {
  for (auto _ : state) {
    zRwLock.readLock();
    zRwLock.unlock();
  }
}

void BM_PthreadRwlockRead(benchmark::State& state) {
  for (auto _ : state) {
    pthread_rwlock_rdlock(&rwLock);
    pthread_rwlock_unlock(&rwLock);
  }
}

BENCHMARK(BM_ZLock)->Threads(1)->Threads(2);
BENCHMARK(BM_RecursiveMutex)->Threads(1)->Threads(2);
BENCHMARK(BM_ZReadWriteLockRead)->Threads(1)->Threads(2);
BENCHMARK(BM_PthreadRwlockRead)->Threads(1)->Threads(2);

}  // namespace
