// zbase tests: ZLock and ZResourceLock.
#include <gtest/gtest.h>

#include <atomic>

#include "Z/ZLock.h"
#include "ZLockTestSupport.h"

namespace {

TEST(ZLockTest, RecursiveLockIsReleasedByTheLastOfAsManyUnlocks) {
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
}

TEST(ZLockTest, UnlockByAnotherThreadIsRefusedAndLeavesTheOwnerHolding) {
  ZLock l;
  expectThrowSite<ZUnlockResourceException>([&] { l.unlock(); }, "src/Z/ZLock", 100, 6, 0);
  l.lock();
  BoundedThread other([&] {
    expectThrowSite<ZUnlockResourceException>([&] { l.unlock(); }, "src/Z/ZLock", 100, 6, 0);
  });
  other.join();
  l.unlock();  // still ours
}

TEST(ZLockTest, ResourceLockReportsAFailedUnlockInsteadOfThrowing) {
  RecordingMessageService service;
  ZLock l;
  {
    ZResourceLock g(l);
    l.unlock();  // the guard's own unlock then fails
  }
  auto dumped = service.exceptions();
  ASSERT_EQ(1u, dumped.size());
  EXPECT_EQ("ZResourceException", dumped[0].name);
  EXPECT_EQ("src/Z/ZLock", dumped[0].file);
  EXPECT_EQ(100, dumped[0].line);
  EXPECT_EQ(6u, dumped[0].number);
}

TEST(ZLockTest, DestroyingAHeldLockReportsTheReturnCode) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "destroying a held mutex is itself reported by the thread sanitizer";
#else
  RecordingMessageService service;
  ZLock* l = new ZLock;
  l->lock();
  delete l;
  auto messages = service.messages();
  ASSERT_EQ(1u, messages.size());
  EXPECT_EQ("src/Z/ZLock", messages[0].file);
  EXPECT_EQ(43, messages[0].line);
  EXPECT_EQ(4, messages[0].number);
  EXPECT_EQ(std::vector<std::string>{"16"}, messages[0].inserts);  // EBUSY
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
