// zbase: threads, sleeper threads and the thread pool.
#include "Z/ZThread.h"

#include <cxxabi.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <unordered_set>

#include "Z/ZArrayList.h"
#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"

namespace {

void reportUnknown(int line) {
  ZMessageService::messageService()->outputMessage("src/Z/ZThread", line, kZMsgUnknownException, 0,
                                                   nullptr, nullptr, nullptr, nullptr, nullptr,
                                                   nullptr);
}

void reportException(ZException& e) { ZMessageService::messageService()->outputException(e); }

void* threadStart(void* arg);

// Threads whose startWithResults() has not yet let go of their start
// condition. A thread that deletes itself waits until it is not among them;
// kept beside the objects, not in them, so that the layout of ZThread and of
// the classes callers derive from it stays as it was. Never destroyed: a
// detached thread may still look at it while the process exits.
class StarterMark {
 public:
  explicit StarterMark(const ZThread* t) : t_(t) {
    std::lock_guard<std::mutex> hold(table().mutex);
    table().starters.insert(t_);
  }
  ~StarterMark() {
    std::lock_guard<std::mutex> hold(table().mutex);
    table().starters.erase(table().starters.find(t_));
    table().done.notify_all();
  }
  StarterMark(const StarterMark&) = delete;
  StarterMark& operator=(const StarterMark&) = delete;

  static void awaitStarters(const ZThread* t) {
    std::unique_lock<std::mutex> hold(table().mutex);
    table().done.wait(hold, [t] { return table().starters.count(t) == 0; });
  }

 private:
  struct Table {
    std::mutex mutex;
    std::condition_variable done;
    std::unordered_multiset<const ZThread*> starters;
  };
  static Table& table() {
    static Table* t = new Table;
    return *t;
  }
  const ZThread* t_;
};

void deleteThreadObject(void* obj) { delete static_cast<ZObject*>(obj); }

// Runs `step`; an exception it throws is reported, never passed on (the
// unwinding of a cancelled thread excepted).
template <class F>
void reportingExceptions(F step) {
  try {
    step();
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (ZException& e) {
    reportException(e);
  } catch (...) {
    reportUnknown(202);
  }
}

}  // namespace

// ---------------------------------------------------------------- ZThread

ZThread::ZThread(int detached, int deleteOnExit)
    : threadId_(new pthread_t()),
      detached_(detached),
      deleteOnExit_(deleteOnExit),
      pool_(nullptr),
      initResult_(0) {}

ZThread::ZThread(unsigned int id)
    : threadId_(new pthread_t(static_cast<pthread_t>(id))),
      detached_(0),
      deleteOnExit_(0),
      pool_(nullptr),
      initResult_(0) {}

ZThread::~ZThread() { delete threadId_; }

unsigned int ZThread::hash() const { return static_cast<unsigned int>(*threadId_); }

int ZThread::compare(const ZObject& other) const {
  const ZThread* t = dynamic_cast<const ZThread*>(&other);
  if (t == nullptr) return ZObject::compare(other);
  unsigned int mine = static_cast<unsigned int>(*threadId_);
  unsigned int theirs = static_cast<unsigned int>(*t->threadId_);
  if (mine == theirs) return 0;
  return mine < theirs ? -1 : 1;
}

ZObject* ZThread::clone() const { ZNotClonableException().throwException("src/Z/ZThread", 54); }

void ZThread::start() {
  pthread_attr_t attr;
  int rc = pthread_attr_init(&attr);
  if (rc != 0) ZThreadException(kZMsgThreadAttrInit, rc).throwException("src/Z/ZThread", 106);
  rc = pthread_attr_setdetachstate(&attr,
                                   detached_ ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE);
  if (rc != 0) {
    pthread_attr_destroy(&attr);
    ZThreadException(kZMsgThreadAttrSetDetachState, rc).throwException("src/Z/ZThread", 118);
  }
  rc = pthread_create(threadId_, &attr, threadStart, this);
  if (rc != 0) {
    pthread_attr_destroy(&attr);
    ZThreadException(kZMsgThreadCreate, rc).throwException("src/Z/ZThread", 129);
  }
  rc = pthread_attr_destroy(&attr);
  if (rc != 0) zreportReturnCode("src/Z/ZThread", 138, kZMsgThreadAttrDestroy, rc);
}

int ZThread::startWithResults() {
  // Declared before the guard, so released after it: a thread that deletes
  // itself waits for this mark, and the guard's unlock is the last touch of
  // the object.
  StarterMark mark(this);
  // Holding the lock before the thread exists: its signal cannot be lost.
  ZResourceLock guard(startCondition_.getResource());
  start();
  startCondition_.wait();
  return initResult_;
}

void ZThread::threadMain(ZThread* t) {
  reportingExceptions([t] {
    {
      ZResourceLock guard(t->startCondition_.getResource());
      try {
        t->initResult_ = t->runInitialize();
      } catch (...) {
        // The starter must not wait forever, nor take a failure for success.
        t->initResult_ = -1;
        t->startCondition_.signal();
        throw;
      }
      t->startCondition_.signal();
    }
    if (t->initResult_ == 0) t->run();
  });
  reportingExceptions([t] { t->exit(); });
  // Once the pool has been told, whoever waits for the pool may destroy the
  // object: nothing of it is read afterwards.
  bool deleteSelf = t->detached_ && t->deleteOnExit_;
  ZThreadPool* pool = t->pool_;
  if (pool != nullptr) reportingExceptions([t, pool] { pool->threadDeathNotification(*t); });
  if (deleteSelf) {
    StarterMark::awaitStarters(t);
    delete t;
  }
}

void ZThread::waitForExit() {
  if (detached_) return;
  int rc = pthread_join(*threadId_, nullptr);
  if (rc != 0) ZThreadException(kZMsgThreadJoin, rc).throwException("src/Z/ZThread", 215);
}

int ZThread::runInitialize() { return 0; }

void ZThread::exit() {}

pthread_t ZThread::getPThreadID() const { return *threadId_; }

void ZThread::createThreadKey(unsigned int& key) {
  pthread_key_t k;
  int rc = pthread_key_create(&k, deleteThreadObject);
  if (rc != 0) ZThreadException(kZMsgThreadKeyCreate, rc).throwException("src/Z/ZThread", 232);
  key = k;
}

void ZThread::setThreadObject(unsigned int& key, ZObject* obj) {
  int rc = pthread_setspecific(key, obj);
  if (rc != 0) ZThreadException(kZMsgThreadSetSpecific, rc).throwException("src/Z/ZThread", 248);
}

ZObject* ZThread::getThreadObject(unsigned int& key) {
  return static_cast<ZObject*>(pthread_getspecific(key));
}

namespace {

void* threadStart(void* arg) {
  struct Access : ZThread {
    using ZThread::threadMain;
  };
  Access::threadMain(static_cast<ZThread*>(arg));
  return nullptr;
}

}  // namespace

// --------------------------------------------------------- ZSleeperThread

ZSleeperThread::ZSleeperThread() : ZSleeperThread(0, 0, 0) {}

ZSleeperThread::ZSleeperThread(unsigned long sleepSeconds) : ZSleeperThread(0, 0, sleepSeconds) {}

ZSleeperThread::ZSleeperThread(int detached, int deleteOnExit)
    : ZSleeperThread(detached, deleteOnExit, 0) {}

ZSleeperThread::ZSleeperThread(int detached, int deleteOnExit, unsigned long sleepSeconds)
    : ZThread(detached, deleteOnExit),
      exitRequested_(0),
      wakeRequested_(0),
      started_(0),
      sleepSeconds_(sleepSeconds) {}

ZSleeperThread::ZSleeperThread(ZLock& l)
    : ZThread(0, 0),
      exitRequested_(0),
      wakeRequested_(0),
      started_(0),
      sleepSeconds_(0),
      wakeCondition_(l) {}

ZSleeperThread::~ZSleeperThread() {}

void ZSleeperThread::start() {
  ZResourceLock guard(readyCondition_.getResource());
  ZThread::start();
  while (!started_) readyCondition_.wait();
}

void ZSleeperThread::run() {
  ZLock& wakeLock = wakeCondition_.getResource();
  ZResourceLock wake(wakeLock);
  {
    ZResourceLock ready(readyCondition_.getResource());
    started_ = 1;
    readyCondition_.signal();
  }
  while (!exitRequested_) {
    // Sleep only when no request is pending. The lock is let go while the
    // pool is told of a finished unit (below); a wakeUp() in that window, or
    // before the loop first ran, signalled nobody and would otherwise be
    // lost until the next time-out, or for ever.
    if (!wakeRequested_) {
      if (sleepSeconds_ != 0) {
        int timedOut = 0;
        wakeCondition_.wait(static_cast<long>(sleepSeconds_), timedOut);
        if (timedOut) wakeRequested_ = 1;
      } else {
        wakeCondition_.wait();
      }
    }
    if (exitRequested_ || !wakeRequested_) continue;
    doWork();
    wakeRequested_ = 0;
    ZThreadPool* pool = pool_;
    if (pool != nullptr) {
      // The pool is told without the wake lock: the pool's waitForExit()
      // takes the wake locks of parked threads while holding its own mutex,
      // so holding ours while taking the pool's would be the opposite lock
      // order and can deadlock.
      int keep = 0;
      wakeLock.unlock();
      try {
        pool->threadDoneNotification(*this, keep);
      } catch (...) {
        wakeLock.lock();
        throw;
      }
      wakeLock.lock();
      if (!keep) {
        exitRequested_ = 1;
        break;
      }
    }
  }
}

void ZSleeperThread::wakeUp() {
  ZResourceLock guard(wakeCondition_.getResource());
  wakeRequested_ = 1;
  wakeCondition_.signal();
}

void ZSleeperThread::waitForExit() {
  int detached;
  int deleteOnExit;
  {
    ZResourceLock guard(wakeCondition_.getResource());
    exitRequested_ = 1;
    wakeCondition_.signal();
    // Read now: once the lock is released, a thread that deletes itself may
    // already have done so.
    detached = detached_;
    deleteOnExit = deleteOnExit_;
  }
  // A detached thread cannot be joined, and it may still be reading
  // exitRequested: it is not reset.
  if (detached) return;
  ZThread::waitForExit();
  if (!deleteOnExit) reset();
}

void ZSleeperThread::reset() {
  exitRequested_ = 0;
  started_ = 0;
}

// ------------------------------------------------------------ ZThreadPool

ZThreadPool::ZThreadPool(unsigned int a, unsigned int b)
    : idleThreads_(std::max(a, b), 0),
      activeCount_(0),
      mutex_(new pthread_mutex_t),
      cond_(new pthread_cond_t),
      maxThreads_(std::max(a, b)),
      maxIdle_(std::min(a, b)),
      idleCount_(0) {
  int rc = pthread_mutex_init(mutex_, nullptr);
  if (rc != 0) {
    delete mutex_;
    delete cond_;
    ZThreadException(kZMsgMutexInit, rc).throwException("src/Z/ZThread", 276);
  }
  rc = pthread_cond_init(cond_, nullptr);
  if (rc != 0) {
    pthread_mutex_destroy(mutex_);
    delete mutex_;
    delete cond_;
    ZThreadException(kZMsgCondInit, rc).throwException("src/Z/ZThread", 283);
  }
}

ZThreadPool::~ZThreadPool() {
  int rc = pthread_cond_destroy(cond_);
  if (rc != 0) zreportReturnCode("src/Z/ZThread", 294, kZMsgCondDestroy, rc);
  rc = pthread_mutex_destroy(mutex_);
  if (rc != 0) zreportReturnCode("src/Z/ZThread", 301, kZMsgMutexDestroy, rc);
  delete cond_;
  delete mutex_;
}

ZObject* ZThreadPool::clone() const {
  ZNotClonableException().throwException("src/Z/ZThread", 594);
}

ZThread* ZThreadPool::createThread() { return nullptr; }

void ZThreadPool::lockMutex(int line) const {
  int rc = pthread_mutex_lock(mutex_);
  if (rc != 0) ZThreadException(kZMsgMutexLock, rc).throwException("src/Z/ZThread", line);
}

void ZThreadPool::unlockMutex(int line) const {
  int rc = pthread_mutex_unlock(mutex_);
  if (rc != 0) ZThreadException(kZMsgMutexUnlock, rc).throwException("src/Z/ZThread", line);
}

void ZThreadPool::start(ZThread& t) {
  lockMutex(317);
  while (activeCount_ >= 0 && static_cast<uint32_t>(activeCount_) >= maxThreads_) {
    int rc = pthread_cond_wait(cond_, mutex_);
    if (rc != 0) zreportReturnCode("src/Z/ZThread", 330, kZMsgCondWait, rc);
  }
  // Counted and told its pool before it runs: a thread that ends at once
  // reports its death to this pool (which waits for our mutex), and never
  // finds its pool unset. Both are undone when the start fails.
  ++activeCount_;
  t.pool_ = this;
  int line = 0;
  try {
    t.start();
  } catch (ZException& e) {
    reportException(e);
    line = 348;
  } catch (...) {
    reportUnknown(354);
    line = 361;
  }
  if (line != 0) {
    --activeCount_;
    t.pool_ = nullptr;
    int rc = pthread_mutex_unlock(mutex_);
    if (rc != 0) zreportReturnCode("src/Z/ZThread", line, kZMsgMutexUnlock, rc);
    return;
  }
  unlockMutex(376);
}

void ZThreadPool::threadDeathNotification(ZThread&) {
  lockMutex(387);
  --activeCount_;
  // Wakes every waiter, not one: starters waiting for room and waitForExit()
  // share the condition, and a single wake-up taken by waitForExit() would
  // leave a starter blocked although there is room. Each re-tests its own
  // condition. A failure keeps the number of a failed signal.
  int rc = pthread_cond_broadcast(cond_);
  if (rc != 0) {
    pthread_mutex_unlock(mutex_);
    ZThreadException(kZMsgCondSignal, rc).throwException("src/Z/ZThread", 398);
  }
  unlockMutex(408);
}

void ZThreadPool::waitForExit() {
  lockMutex(419);
  uint32_t maxIdle = maxIdle_;
  // Threads finishing from now on end instead of parking.
  __atomic_store_n(&maxIdle_, 0u, __ATOMIC_RELAXED);
  if (maxIdle != 0) {
    ZArrayList parked(10, 0);
    idleThreads_.list(parked);
    for (unsigned int i = 0; i < parked.size(); ++i) {
      ZThread* t = static_cast<ZThread*>(const_cast<ZObject*>(parked.get(i)));
      t->waitForExit();
    }
  }
  while (activeCount_ != 0) {
    int rc = pthread_cond_wait(cond_, mutex_);
    if (rc != 0) zreportReturnCode("src/Z/ZThread", 457, kZMsgCondWait, rc);
  }
  __atomic_store_n(&maxIdle_, maxIdle, __ATOMIC_RELAXED);
  unlockMutex(468);
}

void ZThreadPool::getAvailableIdleThread(ZThread*& t) {
  t = nullptr;
  if (__atomic_load_n(&maxIdle_, __ATOMIC_RELAXED) == 0) {
    t = createThread();
    return;
  }
  lockMutex(525);
  {
    ZArrayList parked(10, 0);
    idleThreads_.list(parked);
    if (parked.size() > 0) {
      t = static_cast<ZThread*>(const_cast<ZObject*>(parked.get(0)));
      idleThreads_.removeEntry(t);
      --idleCount_;
    }
  }
  unlockMutex(545);
  if (t == nullptr) {
    t = createThread();
    if (t != nullptr) start(*t);
  }
}

void ZThreadPool::threadDoneNotification(ZThread& t, int& keep) {
  keep = 0;
  if (__atomic_load_n(&maxIdle_, __ATOMIC_RELAXED) == 0) return;
  lockMutex(571);
  if (idleCount_ < maxIdle_) {
    ++idleCount_;
    idleThreads_.putEntry(&t);
    keep = 1;
  }
  unlockMutex(586);
}

int ZThreadPool::getActiveCount() const {
  pthread_mutex_lock(mutex_);
  int n = activeCount_;
  pthread_mutex_unlock(mutex_);
  return n;
}

unsigned int ZThreadPool::getIdleCount() const {
  pthread_mutex_lock(mutex_);
  unsigned int n = idleCount_;
  pthread_mutex_unlock(mutex_);
  return n;
}

unsigned int ZThreadPool::getMaxThreads() const { return maxThreads_; }

unsigned int ZThreadPool::getMaxIdle() const {
  return __atomic_load_n(&maxIdle_, __ATOMIC_RELAXED);
}
