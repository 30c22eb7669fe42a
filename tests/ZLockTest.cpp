// zbase tests: ZLock and ZResourceLock.
#include <gtest/gtest.h>

#include <atomic>

#include "Z/ZLock.h"
#include "ZLockTestSupport.h"

namespace {

TEST(ZLockTest, RecursiveLockIsReleasedByTheLastOfAsManyUnlocksOfItsOwner) {
  ZLock l;
  l.lock();
  l.lock();
  l.lock();
  std::atomic<bool> acquired{false};
  BoundedThread other([&] {
    l.lock();
    acquired = true;
    l.unlock();
  });
  l.unlock();
  l.unlock();
  pause(50);
  EXPECT_FALSE(acquired) << "released before the third unlock";
  l.unlock();
  other.join();
  EXPECT_TRUE(acquired);
  // The owner was cleared by the third unlock: a fourth is not the owner's.
  expectThrowSite<ZUnlockResourceException>([&] { l.unlock(); }, "src/Z/ZLock", 100, 6, 0);
  // Another thread's unlock is refused and leaves the owner holding.
  l.lock();
  BoundedThread refused([&] {
    expectThrowSite<ZUnlockResourceException>([&] { l.unlock(); }, "src/Z/ZLock", 100, 6, 0);
  });
  refused.join();
  l.unlock();  // still ours
}

TEST(ZLockTest, ResourceLockReportsAFailedUnlockInsteadOfThrowing) {
  RecordingMessageService service;
  ZLock l;
  {
    ZResourceLock g(l);
    l.unlock();  // the guard's own unlock then fails
  }
  service.expectOneException("src/Z/ZLock", 100, 6);
  EXPECT_EQ("ZResourceException", service.exceptions()[0].name);
}

TEST(ZLockTest, DestroyingAHeldLockReportsTheReturnCode) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "destroying a held mutex is itself reported by the thread sanitizer";
#else
  RecordingMessageService service;
  ZLock* l = new ZLock;
  l->lock();
  delete l;
  service.expectOneMessage("src/Z/ZLock", 43, 4, {"16"});  // EBUSY
#endif
}

TEST(ZLockTest, NestedResourceLocksExcludeOtherThreads) {
  ZLock l;
  long counter = 0;
  std::vector<std::unique_ptr<BoundedThread>> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back(new BoundedThread([&] {
      for (int i = 0; i < 5000; ++i) {
        ZResourceLock outer(l);
        ZResourceLock inner(l);
        long seen = counter;
        counter = seen + 1;
      }
    }));
  }
  for (auto& t : threads) t->join();
  EXPECT_EQ(20000, counter);
}

}  // namespace
