// zbase tests: ZReadWriteLock and ZStackReadWriteLock.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "Z/ZReadWriteLock.h"
#include "ZLockTestSupport.h"

namespace {

using RW = ZReadWriteLockInterface;

// A thread that takes a lock with `take`, holds it until release(), then
// unlocks it.
class Holder {
 public:
  Holder(ZReadWriteLock& l, std::function<void()> take)
      : thread_([this, &l, take] {
          take();
          held_ = true;
          waitUntil([this] { return release_.load(); });
          l.unlock();
        }) {}
  bool held() const { return held_; }
  void waitHeld() {
    waitUntil([this] { return held_.load(); });
  }
  void release() {
    release_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> held_{false};
  std::atomic<bool> release_{false};
  BoundedThread thread_;
};

TEST(ZReadWriteLockTest, WriterWaitsUntilEveryReaderHasLeft) {
  ZReadWriteLock l;
  Holder r1(l, [&] { l.readLock(); });
  Holder r2(l, [&] { l.readLock(); });
  r1.waitHeld();
  r2.waitHeld();
  EXPECT_EQ(2, l.getReaderCount());
  Holder w(l, [&] { l.writeLock(); });
  pause(50);
  EXPECT_FALSE(w.held());
  r1.release();
  pause(50);
  EXPECT_FALSE(w.held());
  EXPECT_TRUE(l.haveLock(RW::kRead));
  r2.release();
  w.waitHeld();
  EXPECT_TRUE(l.haveLock(RW::kWrite));
  EXPECT_EQ(0, l.getReaderCount());
  // Readers wait for the writer in turn.
  Holder r3(l, [&] { l.readLock(); });
  pause(50);
  EXPECT_FALSE(r3.held());
  w.release();
  r3.waitHeld();
  r3.release();
  EXPECT_TRUE(l.haveLock(RW::kUnset));
}

TEST(ZReadWriteLockTest, PromotionShutsOutNewReadersAndDrainsEarlierOnes) {
  ZReadWriteLock l;
  std::atomic<bool> promote{false};
  std::atomic<bool> promoted{false};
  std::atomic<bool> done{false};
  BoundedThread protector([&] {
    l.readWithIntentToWriteLock();
    waitUntil([&] { return promote.load(); });
    l.promoteReadToWriteLock();
    promoted = true;
    EXPECT_TRUE(l.ownWriteLock());
    waitUntil([&] { return done.load(); });
    l.unlock();
  });
  waitUntil([&] { return l.haveLock(RW::kProtect) != 0; });
  // Readers are admitted beside the protect holder, which keeps its mode.
  Holder early(l, [&] { l.readLock(); });
  early.waitHeld();
  EXPECT_TRUE(l.haveLock(RW::kProtect));
  EXPECT_EQ(1, l.getReaderCount());
  // A second protect request waits for the first.
  Holder rival(l, [&] { l.readWithIntentToWriteLock(); });

  promote = true;
  waitUntil([&] { return l.haveLock(RW::kWrite) != 0; });  // write at once
  Holder late(l, [&] { l.readLock(); });
  pause(50);
  EXPECT_FALSE(promoted);
  EXPECT_FALSE(late.held());
  EXPECT_FALSE(rival.held());
  early.release();
  waitUntil([&] { return promoted.load(); });
  EXPECT_EQ(0, l.getReaderCount());
  pause(20);
  EXPECT_FALSE(late.held());
  done = true;
  protector.join();
  late.waitHeld();
  rival.waitHeld();
  EXPECT_TRUE(l.haveLock(RW::kProtect));
  late.release();
  rival.release();
  EXPECT_TRUE(l.haveLock(RW::kUnset));
}

TEST(ZReadWriteLockTest, ProtectHolderLeavingBeforeItsReadersLeavesReadMode) {
  ZReadWriteLock l;
  l.readWithIntentToWriteLock();
  Holder reader(l, [&] { l.readLock(); });
  reader.waitHeld();
  l.unlock();
  EXPECT_TRUE(l.haveLock(RW::kRead));
  EXPECT_EQ(1, l.getReaderCount());
  EXPECT_TRUE(l.ownWriteLock());  // the last protect holder, kept as it is
  reader.release();
  EXPECT_TRUE(l.haveLock(RW::kUnset));
}

TEST(ZReadWriteLockTest, RefusalsCarryTheirLinesAndChangeNothing) {
  const char* f = "src/Z/ZReadWriteLock";
  ZReadWriteLock l;
  expectThrowSite<ZUnlockResourceException>([&] { l.unlock(); }, f, 412, 6, 0);
  l.readLock();
  expectThrowSite<ZLockResourceException>([&] { l.promoteReadToWriteLock(); }, f, 290, 5, 0);
  l.unlock();

  l.writeLock();
  expectThrowSite<ZLockResourceException>([&] { l.writeLock(); }, f, 344, 5, 0);
  expectThrowSite<ZLockResourceException>([&] { l.readLock(); }, f, 183, 5, 0);
  expectThrowSite<ZLockResourceException>([&] { l.readWithIntentToWriteLock(); }, f, 238, 5, 0);
  EXPECT_TRUE(l.haveLock(RW::kWrite));
  l.unlock();
  // The writer still "owns" the lock after releasing it, kept as it is.
  EXPECT_TRUE(l.ownWriteLock());

  l.lock(RW::kProtect);
  expectThrowSite<ZLockResourceException>([&] { l.readLock(); }, f, 183, 5, 0);
  BoundedThread other([&] {
    EXPECT_FALSE(l.ownWriteLock());
    expectThrowSite<ZLockResourceException>([&] { l.promoteReadToWriteLock(); }, f, 283, 5, 0);
    // A thread that is not the holder leaves as a reader, and there is none.
    expectThrowSite<ZUnlockResourceException>([&] { l.unlock(); }, f, 468, 6, 0);
  });
  other.join();
  EXPECT_TRUE(l.haveLock(RW::kProtect));
  EXPECT_EQ(0, l.getReaderCount());
  l.promoteReadToWriteLock();  // no readers: at once
  EXPECT_TRUE(l.haveLock(RW::kWrite));
  l.unlock(12345);  // the argument is ignored
  EXPECT_TRUE(l.haveLock(RW::kUnset));
}

TEST(ZReadWriteLockTest, LockByStateNamesAndRecursiveReading) {
  ZReadWriteLock l;
  std::string names;
  for (int s : {0, 1, 2, 3, 7}) {  // unset, read, protect, write, none of them
    const char* name = l.getLockStateName(static_cast<RW::zlockstate>(s));
    names += name ? name : "(null)";
  }
  EXPECT_EQ("unsetreadprotectwrite(null)", names);
  EXPECT_EQ(1, l.isCurrent());
  EXPECT_EQ(0, l.getUpdate());

  l.lock(RW::kRead);
  l.readLock();
  EXPECT_EQ(2, l.getReaderCount());
  l.lock(RW::kUnset);  // locking to "unset" releases one read lock
  EXPECT_TRUE(l.haveLock(RW::kRead));
  EXPECT_EQ(1, l.getReaderCount());
  l.lock(static_cast<RW::zlockstate>(9));  // ignored
  EXPECT_EQ(1, l.getReaderCount());
  l.unlock();
  EXPECT_TRUE(l.haveLock(RW::kUnset));
  l.lock();  // write
  EXPECT_TRUE(l.haveLock(RW::kWrite));
  // A copy is a new, unlocked lock with the same observers.
  SequenceRecorder watcher;
  l.addObserver(&watcher);
  std::unique_ptr<ZObject> copy(l.clone());
  ZReadWriteLock& c = dynamic_cast<ZReadWriteLock&>(*copy);
  EXPECT_EQ(1, c.countObservers());
  c.writeLock();  // not locked with the original
  c.unlock();
  l.unlock();
}

TEST(ZReadWriteLockTest, StackLockReleasesItsOneLockAtScopeEnd) {
  RecordingMessageService service;
  ZReadWriteLock l;
  {
    ZStackReadWriteLock s(l, 1);
    EXPECT_EQ(&l, &s.getReadWriteLock());
    EXPECT_EQ(0, s.getUpdate());  // the in-process lock keeps no update flag
    s.readWithIntentToWriteLock();
    s.promoteReadToWriteLock();
    EXPECT_TRUE(l.haveLock(RW::kWrite));
  }
  EXPECT_TRUE(l.haveLock(RW::kUnset));
  {
    ZStackReadWriteLock s(l, 0);
    s.readLock();
    l.readLock();
  }
  EXPECT_EQ(1, l.getReaderCount());
  l.unlock();
  EXPECT_TRUE(service.exceptions().empty());
  {
    ZStackReadWriteLock s(l, 0);  // nothing taken: the unlock is refused
  }
  service.expectOneException("src/Z/ZReadWriteLock", 412, 6);
}

TEST(ZReadWriteLockTest, WritersExcludeEveryoneUnderContention) {
  ZReadWriteLock l;
  long a = 0;
  long b = 0;
  std::atomic<int> badReads{0};
  std::vector<std::unique_ptr<BoundedThread>> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back(new BoundedThread([&, t] {
      for (int i = 0; i < 3000; ++i) {
        ZStackReadWriteLock s(l, 0);
        int kind = (t + i) % 3;
        if (kind == 1) {
          s.readLock();
          if (a != b) ++badReads;
          continue;
        }
        if (kind == 0) {
          s.writeLock();
        } else {
          s.readWithIntentToWriteLock();
          if (a != b) ++badReads;
          s.promoteReadToWriteLock();
        }
        ++a;
        ++b;
      }
    }));
  }
  for (auto& t : threads) t->join(60);
  EXPECT_EQ(0, badReads);
  EXPECT_EQ(12000, a);
  EXPECT_TRUE(l.haveLock(RW::kUnset));
}

}  // namespace
