// zbase tests: ZCondition and ZBooleanCondition.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "Z/ZCondition.h"
#include "ZLockTestSupport.h"

namespace {

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(ZConditionTest, WaitReleasesADeepLockCompletelyAndRestoresItsDepth) {
  ZLock l;
  ZCondition c(l);
  int flag = 0;
  l.lock();
  c.lock();  // the condition locks the caller's lock: depth 2
  BoundedThread other([&] {
    ZResourceLock g(l);  // only possible while the waiter is inside wait()
    flag = 1;
    c.signal();
  });
  while (!flag) EXPECT_EQ(1, c.wait());
  other.join();
  c.unlock();
  l.unlock();
  expectThrowSite<ZUnlockResourceException>([&] { l.unlock(); }, "src/Z/ZLock", 100, 6, 0);
}

TEST(ZConditionTest, TimedWaitEndsAtAWholeSecondAndCallsTheHook) {
  struct Hooked : ZCondition {
    int hooks = 0;
    void waitTimedOut() override {
      ++hooks;
      validateLock();  // the caller's ownership is back before the hook runs
    }
  } c;
  c.lock();
  c.lock();
  int timedOut = 7;
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0, c.wait(2, timedOut));
  double elapsed = secondsSince(start);
  EXPECT_EQ(1, timedOut);
  EXPECT_EQ(1, c.hooks);
  // The deadline is the start of the current second plus 2.
  EXPECT_GT(elapsed, 0.99);
  EXPECT_LT(elapsed, 3.5);
  c.unlock();
  c.unlock();
  expectThrowSite<ZUnlockResourceException>([&] { c.unlock(); }, "src/Z/ZLock", 100, 6, 0);
}

TEST(ZConditionTest, FailingWaitIsReportedThrownAndLeavesTheLockHeld) {
  RecordingMessageService service;
  ZCondition c;
  c.lock();
  c.lock();
  timespec bad = {0, 2000000000};  // nanoseconds out of range
  int timedOut = 5;
  expectThrowSite<ZConditionException>([&] { c.wait(bad, timedOut); }, "src/Z/ZCondition", 160, 9,
                                       22);
  EXPECT_EQ(0, timedOut);
  service.expectOneMessage("src/Z/ZCondition", 159, 9, {"22"});
  c.unlock();
  c.unlock();
}

TEST(ZConditionTest, UsingTheConditionWithoutItsLockIsRefused) {
  ZBooleanCondition c;
  expectThrowSite<ZLockResourceException>([&] { c.testCondition(); }, "src/Z/ZCondition", 239, 5,
                                          0);
  expectThrowSite<ZLockResourceException>([&] { c.wait(); }, "src/Z/ZCondition", 239, 5, 0);
  c.lock();
  BoundedThread other([&] {
    // Held, but by another thread.
    expectThrowSite<ZLockResourceException>([&] { c.setCondition(1); }, "src/Z/ZCondition", 239, 5,
                                            0);
  });
  other.join();
  EXPECT_EQ(0, c.testCondition());
  c.unlock();
  // signal and broadcast need no lock.
  c.signal();
  c.broadcast();
}

TEST(ZConditionTest, BooleanTimedWaitEndsWithTheFlagSet) {
  ZBooleanCondition c;
  ZResourceLock g(c.getResource());
  int timedOut = 0;
  EXPECT_EQ(1, c.wait(1, timedOut));
  EXPECT_EQ(1, timedOut);
  EXPECT_EQ(1, c.testCondition());
  // Already set: returns at once without a time-out.
  EXPECT_EQ(1, c.wait(1, timedOut));
  EXPECT_EQ(0, timedOut);
  c.initCondition();
  EXPECT_EQ(0, c.testCondition());
  EXPECT_EQ(1, c.setCondition(42));
  EXPECT_EQ(42, c.wait());
}

TEST(ZConditionTest, SetConditionAloneWakesNobodyAndBroadcastWakesAll) {
  ZLock l;
  ZBooleanCondition c(l);
  int waiting = 0;
  std::atomic<int> released{0};
  std::vector<std::unique_ptr<BoundedThread>> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back(new BoundedThread([&] {
      ZResourceLock g(l);
      ++waiting;
      EXPECT_EQ(1, c.wait());
      ++released;
    }));
  }
  // Once the lock shows three waiters, all three are inside wait().
  waitUntil([&] {
    ZResourceLock g(l);
    return waiting == 3;
  });
  {
    ZResourceLock g(l);
    c.setCondition(1);
  }
  pause(100);
  EXPECT_EQ(0, released);
  {
    ZResourceLock g(l);
    c.broadcast();
  }
  for (auto& t : threads) t->join();
  EXPECT_EQ(3, released);
}

}  // namespace
