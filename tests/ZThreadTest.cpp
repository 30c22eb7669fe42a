// zbase tests: ZThread, ZSleeperThread and ZThreadPool.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>

#include "Z/ZThread.h"
#include "ZLockTestSupport.h"

namespace {

// Records the order of its hooks; run() waits for release() when asked to.
class Probe : public ZThread {
 public:
  Probe(int detached = 0, int deleteOnExit = 0, int init = 0)
      : ZThread(detached, deleteOnExit), init_(init) {}
  int runInitialize() override {
    trace("init");
    if (init_ == -99) ZInvalidParameterException().throwException("tests/Probe", 1);
    return init_;
  }
  void run() override {
    trace("run");
    if (block) waitUntil([this] { return released.load(); });
    if (throwLibrary) ZInvalidParameterException().throwException("tests/Probe", 2);
    if (throwOther) throw std::runtime_error("not ours");
  }
  void exit() override { trace("exit"); }
  void release() { released = true; }
  std::string events() {
    std::lock_guard<std::mutex> g(mu_);
    return events_;
  }
  void setId(pthread_t id) { *threadId_ = id; }

  bool block = false;
  bool throwLibrary = false;
  bool throwOther = false;
  std::atomic<bool> released{false};

 private:
  void trace(const char* e) {
    std::lock_guard<std::mutex> g(mu_);
    events_ += events_.empty() ? e : std::string(" ") + e;
  }
  int init_;
  std::mutex mu_;
  std::string events_;
};

TEST(ZThreadTest, InitialisationResultReachesTheStarterAndExceptionsStayInTheThread) {
  RecordingMessageService service;
  Probe ok;
  EXPECT_EQ(0, ok.startWithResults());
  ok.waitForExit();
  EXPECT_EQ("init run exit", ok.events());

  Probe refusing(0, 0, 7);
  EXPECT_EQ(7, refusing.startWithResults());
  refusing.waitForExit();
  EXPECT_EQ("init exit", refusing.events());

  // A throwing runInitialize() must neither hang the starter nor pass for
  // success.
  Probe throwing(0, 0, -99);
  EXPECT_EQ(-1, throwing.startWithResults());
  throwing.waitForExit();
  EXPECT_EQ("init exit", throwing.events());

  Probe library;
  library.throwLibrary = true;
  library.start();
  library.waitForExit();
  Probe other;
  other.throwOther = true;
  other.start();
  other.waitForExit();
  EXPECT_EQ("init run exit", other.events());

  auto dumped = service.exceptions();
  ASSERT_EQ(2u, dumped.size());
  EXPECT_EQ(1, dumped[0].line);
  EXPECT_EQ("tests/Probe", dumped[1].file);
  EXPECT_EQ(2, dumped[1].line);
  service.expectOneMessage("src/Z/ZThread", 202, 19, {});
}

std::atomic<int> gDestroyed{0};

TEST(ZThreadTest, DetachedThreadsDeleteThemselvesAfterExit) {
  struct SelfDeleting : Probe {
    SelfDeleting() : Probe(1, 1) {}
    ~SelfDeleting() override { ++gDestroyed; }
  };
  struct SelfDeletingSleeper : ZSleeperThread {
    SelfDeletingSleeper() : ZSleeperThread(1, 1) {}
    ~SelfDeletingSleeper() override { ++gDestroyed; }
    void doWork() override {}
  };
  gDestroyed = 0;
  SelfDeleting* t = new SelfDeleting;
  t->block = true;
  t->start();
  t->waitForExit();  // detached: returns at once, the thread still runs
  EXPECT_EQ(0, gDestroyed);
  t->release();
  waitUntil([] { return gDestroyed == 1; });
  // The sleeper may be gone as soon as its waitForExit() lets the wake lock
  // go: nothing of the object is read after that.
  SelfDeletingSleeper* s = new SelfDeletingSleeper;
  s->start();
  s->waitForExit();
  waitUntil([] { return gDestroyed == 2; });
  // Started with startWithResults(), it waits for its starter to let go of
  // the start condition before it deletes itself.
  BoundedThread starter([] {
    for (int i = 0; i < 200; ++i) EXPECT_EQ(0, (new SelfDeleting)->startWithResults());
  });
  starter.join();
  waitUntil([] { return gDestroyed == 202; });
}

TEST(ZThreadTest, ThreadObjectsBelongToTheirThread) {
  struct Tracked : ZObject {
    ~Tracked() override { ++gDestroyed; }
  };
  gDestroyed = 0;
  unsigned int key = 0;
  ZThread::createThreadKey(key);
  EXPECT_EQ(nullptr, ZThread::getThreadObject(key));
  std::atomic<bool> same{false};
  BoundedThread worker([&] {
    Tracked* obj = new Tracked;
    ZThread::setThreadObject(key, obj);
    same = ZThread::getThreadObject(key) == obj;
  });
  worker.join();
  EXPECT_TRUE(same);
  EXPECT_EQ(1, gDestroyed);
  EXPECT_EQ(nullptr, ZThread::getThreadObject(key));
  unsigned int bad = 0xFFFFFFF0u;  // never a key of this process
  expectThrowSite<ZThreadException>([&] { ZThread::setThreadObject(bad, nullptr); },
                                    "src/Z/ZThread", 248, 30, 22);
}

TEST(ZThreadTest, IdentityComparesTheLowWordOfTheIdentifier) {
  Probe a, b, c;
  a.setId(static_cast<pthread_t>(0x100000005ul));
  b.setId(static_cast<pthread_t>(0x200000005ul));
  c.setId(static_cast<pthread_t>(0x7ul));
  EXPECT_EQ(0, a.compare(b));
  EXPECT_EQ(5u, a.hash());
  EXPECT_EQ(-1, a.compare(c));
  EXPECT_EQ(1, c.compare(a));
  EXPECT_EQ(static_cast<pthread_t>(0x200000005ul), b.getPThreadID());
  expectThrowAt<ZNotClonableException>([&] { a.clone(); }, 14, "src/Z/ZThread", 54);
}

// A sleeper on the test's own lock, counting its units of work.
class Counter : public ZSleeperThread {
 public:
  explicit Counter(ZLock& l) : ZSleeperThread(l), lock_(l) {}
  Counter(int detached, unsigned long seconds, ZLock& l)
      : ZSleeperThread(detached, 0, seconds), lock_(l) {}
  void doWork() override {
    ZCondition probe(lock_);
    heldDuringWork = true;
    try {
      probe.validateLock();
    } catch (ZException&) {
      heldDuringWork = false;
    }
    ZResourceLock g(lock_);
    ++units;
  }
  int count() {
    ZResourceLock g(lock_);
    return units;
  }

  std::atomic<bool> heldDuringWork{false};

 private:
  ZLock& lock_;
  int units = 0;
};

TEST(ZThreadTest, SleeperWorksOncePerWakeUpAndCanBeStartedAgain) {
  ZLock l;
  Counter s(l);
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    s.start();
    s.wakeUp();
    waitUntil([&] { return s.count() == 2 * round + 1; });
    s.wakeUp();
    waitUntil([&] { return s.count() == 2 * round + 2; });
    s.waitForExit();
  }
  EXPECT_TRUE(s.heldDuringWork);
  EXPECT_EQ(4, s.count());
}

TEST(ZThreadTest, SleeperWithASleepTimeWorksOnEveryTimeOut) {
  ZLock own;
  Counter s(0, 1, own);
  auto start = std::chrono::steady_clock::now();
  s.start();
  waitUntil([&] { return s.count() >= 2; });
  double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  s.waitForExit();
  // The second time-out falls one whole second after the first.
  EXPECT_GT(elapsed, 0.99);
  EXPECT_FALSE(s.heldDuringWork);  // its wake lock is its own, not `own`
}

TEST(ZThreadTest, PoolBoundsTheRunningThreadsAndAdmitsStartersBesideWaitForExit) {
  ZThreadPool pool(2, 0);
  Probe a, b, c;
  a.block = b.block = c.block = true;
  pool.start(a);
  pool.start(b);
  EXPECT_EQ(2, pool.getActiveCount());
  BoundedThread exiter([&] { pool.waitForExit(); });
  pause(50);  // waitForExit() waits first, then the starter
  std::atomic<bool> thirdStarted{false};
  BoundedThread starter([&] {
    pool.start(c);
    thirdStarted = true;
  });
  pause(100);
  EXPECT_FALSE(thirdStarted);
  // The end of `b` must reach the starter although waitForExit() waits on
  // the same condition.
  b.release();
  starter.join();
  EXPECT_EQ(2, pool.getActiveCount());
  EXPECT_FALSE(exiter.finished());
  a.release();
  c.release();
  exiter.join();
  EXPECT_EQ(0, pool.getActiveCount());
  for (Probe* p : {&a, &b, &c}) p->waitForExit();
  EXPECT_EQ("init run exit", c.events());
}

TEST(ZThreadTest, PoolReportsAThreadThatCannotStartAndDoesNotCountIt) {
  RecordingMessageService service;
  struct Unstartable : Probe {
    bool library = true;
    void start() override {
      if (library) ZInvalidParameterException().throwException("tests/Unstartable", 3);
      throw std::logic_error("no");
    }
  } t;
  ZThreadPool pool(1, 1);
  pool.start(t);
  t.library = false;
  pool.start(t);
  EXPECT_EQ(0, pool.getActiveCount());
  service.expectOneException("tests/Unstartable", 3, 22);
  service.expectOneMessage("src/Z/ZThread", 354, 19, {});
  // The pool still admits a thread: nothing was left counted.
  Probe ok;
  pool.start(ok);
  pool.waitForExit();
  ok.waitForExit();
  EXPECT_EQ("init run exit", ok.events());
  expectThrowAt<ZNotClonableException>([&] { pool.clone(); }, 14, "src/Z/ZThread", 594);
}

class CounterPool : public ZThreadPool {
 public:
  CounterPool(unsigned int a, unsigned int b, ZLock& l) : ZThreadPool(a, b), lock_(l) {}
  ~CounterPool() override {
    for (auto* t : made) delete t;
  }
  ZThread* createThread() override {
    made.push_back(new Counter(1, 0, lock_));
    return made.back();
  }
  std::vector<Counter*> made;

 private:
  ZLock& lock_;
};

TEST(ZThreadTest, PoolParksFinishedSleepersUpToItsLimit) {
  ZLock l;
  CounterPool pool(1, 4, l);
  EXPECT_EQ(4u, pool.getMaxThreads());
  EXPECT_EQ(1u, pool.getMaxIdle());
  ZThread* t1 = nullptr;
  ZThread* t2 = nullptr;
  pool.getAvailableIdleThread(t1);  // nobody parked: a new, started sleeper
  pool.getAvailableIdleThread(t2);
  ASSERT_EQ(2u, pool.made.size());
  EXPECT_EQ(2, pool.getActiveCount());
  static_cast<Counter*>(t1)->wakeUp();
  waitUntil([&] { return pool.getIdleCount() == 1; });
  static_cast<Counter*>(t2)->wakeUp();  // the second finds the place taken: it ends
  waitUntil([&] { return pool.getActiveCount() == 1; });
  EXPECT_EQ(1u, pool.getIdleCount());

  ZThread* again = nullptr;
  pool.getAvailableIdleThread(again);
  EXPECT_EQ(t1, again);
  EXPECT_EQ(0u, pool.getIdleCount());
  static_cast<Counter*>(again)->wakeUp();
  waitUntil([&] { return pool.getIdleCount() == 1; });
  EXPECT_EQ(2, pool.made[0]->count());
  EXPECT_EQ(1, pool.made[1]->count());

  pool.waitForExit();  // stops the parked sleeper too
  EXPECT_EQ(0, pool.getActiveCount());
}

TEST(ZThreadTest, PoolWithoutParkingHandsOutUnstartedThreads) {
  ZLock l;
  CounterPool plain(2, 0, l);
  ZThread* t = nullptr;
  plain.getAvailableIdleThread(t);
  ASSERT_NE(nullptr, t);
  EXPECT_EQ(0, plain.getActiveCount());
  plain.start(*t);
  static_cast<Counter*>(t)->wakeUp();
  plain.waitForExit();  // the sleeper ends after its unit of work
  EXPECT_EQ(1, static_cast<Counter*>(t)->count());
  EXPECT_EQ(0u, plain.getIdleCount());
}

}  // namespace
