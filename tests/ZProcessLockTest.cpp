// zbase tests: the process read-write lock state machine and sequence updates.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Z/ZFileLock.h"
#include "Z/ZProcessLock.h"
#include "ZLockTestSupport.h"

namespace {

using RW = ZReadWriteLockInterface;
const unsigned long kInvalid = ZAbstractProcessReadWriteLock::invalidSequence;

// Lets a test put the in-memory sequence where it wants it.
class SettableStub : public ZStubProcessReadWriteLock {
 public:
  explicit SettableStub(const char* name) : ZStubProcessReadWriteLock(name) {}
  using ZStubProcessReadWriteLock::setSequence;
};

}  // namespace

TEST(ZProcessLockTest, SequenceUpdateOrdersBySequenceThenLastSequence) {
  EXPECT_EQ(kInvalid, ZSequenceUpdate().getLastSequence());
  ZSequenceUpdate a(5, 3), b(2, 9), c(5, 1), d(5, 3);
  EXPECT_EQ(3, a.compare(b));
  EXPECT_EQ(-3, b.compare(a));
  EXPECT_EQ(2, a.compare(c));
  EXPECT_TRUE(a == d);
  EXPECT_FALSE(a == c);
  EXPECT_EQ(1, ZSequenceUpdate(0, 0).compare(ZSequenceUpdate(kInvalid, 0)));  // signed 32-bit
  std::unique_ptr<ZObject> copy(a.clone());
  EXPECT_EQ(3u, dynamic_cast<ZSequenceUpdate&>(*copy).getLastSequence());
}

TEST(ZProcessLockTest, StubRecordsStatesAsAskedAndOnlyWriteRaisesTheSequence) {
  SettableStub lock("stub");
  EXPECT_EQ(kInvalid, lock.getLastSequence());
  EXPECT_EQ(1, lock.getUpdate());
  lock.readWithIntentToWriteLock();  // protect stays protect in the stub
  EXPECT_TRUE(lock.haveLock(RW::kProtect));
  EXPECT_FALSE(lock.ownWriteLock());
  lock.unlock();  // only a held write raises the sequence
  EXPECT_EQ(RW::kUnset, lock.getLockState());
  EXPECT_EQ(0u, lock.getSequence());
  EXPECT_EQ(0u, lock.getLastSequence());

  lock.lock();  // a write lock
  EXPECT_TRUE(lock.ownWriteLock());
  EXPECT_EQ(1, lock.getUpdate());
  lock.unlock();
  EXPECT_EQ(1u, lock.getSequence());
  EXPECT_TRUE(lock.isCurrent());

  lock.readLock();
  EXPECT_EQ(0, lock.getUpdate());
  lock.promoteReadToWriteLock();  // deliberately does nothing
  EXPECT_EQ(RW::kRead, lock.getLockState());
  lock.unlock(1);  // not raised: a read lock is held
  lock.writeLock();
  lock.unlock(0);  // a writer that changed nothing
  lock.writeLock();
  lock.setUpdate(0);
  lock.unlock();
  EXPECT_EQ(1u, lock.getSequence());

  lock.setLastSequence(40);
  lock.sync(1);  // unlocked: records nothing
  EXPECT_EQ(40u, lock.getLastSequence());

  // The sequence skips all-ones.
  lock.setSequence(kInvalid - 2);
  lock.incSequence();
  EXPECT_EQ(kInvalid - 1, lock.getSequence());
  lock.writeLock();
  lock.unlock();
  EXPECT_EQ(0u, lock.getSequence());
}

TEST(ZProcessLockTest, SetLockNameOnlyActsWhileLocked) {
  ZStubProcessReadWriteLock lock("old");
  lock.setLockName(ZLCString("new"));  // unlocked: deliberately ignored
  EXPECT_STREQ("old", lock.getLockName().getChars());
  lock.writeLock();
  lock.setLockName(ZLCString("new"));  // releases (raising the sequence), then renames
  EXPECT_STREQ("new", lock.getLockName().getChars());
  EXPECT_EQ(RW::kUnset, lock.getLockState());
  EXPECT_EQ(1u, lock.getSequence());
}

TEST(ZProcessLockTest, IdentityIsTheLockNameAndOnlyTheStubClones) {
  ZStubProcessReadWriteLock a("alpha"), a2("alpha"), b("beta");
  EXPECT_TRUE(a == a2);
  EXPECT_LT(a.compare(b), 0);
  EXPECT_EQ(ZLCString("alpha").hash(), a.hash());
  a.writeLock();
  std::unique_ptr<ZObject> copy(a.clone());  // unlocked, with its own in-process lock
  ZStubProcessReadWriteLock& c = dynamic_cast<ZStubProcessReadWriteLock&>(*copy);
  EXPECT_TRUE(c == a);
  c.writeLock();
  c.unlock();
  a.unlock();

  expectThrowAt<ZAbstractNotImplementedException>(
      [] { ZStubProcessReadWriteFileLock("alpha").clone(); }, 31, "src/Z/ZProcessLock", 105,
      [](ZAbstractNotImplementedException& e) {
        EXPECT_STREQ("ZAbstractProcessReadWriteLock::clone", e.value());
      });
}

// The lock-file algorithm over the in-memory stub: writeSequenceNumber plays
// another process that changed the data.
TEST(ZProcessLockTest, ChangedSequenceUpgradesToWriteAndNotifiesOnce) {
  ZStubProcessReadWriteFileLock lock("data");
  SequenceRecorder rec;
  lock.addObserver(&rec);
  lock.writeSequenceNumber(7);
  lock.readLock();  // the first lock only learns where the sequence stands
  EXPECT_EQ(7u, lock.getLastSequence());
  lock.unlock();

  lock.writeSequenceNumber(9);
  lock.readLock();
  EXPECT_EQ("9<-7;", rec.seen);
  EXPECT_EQ(RW::kWrite, lock.getLockState());  // asked for read, holds write
  lock.unlock();                               // the refresh does not count as a change
  unsigned long stored = 0;
  lock.readSequenceNumber(&stored);
  EXPECT_EQ(9u, stored);

  // A writer that finds a change is told too, and still raises on release.
  lock.writeSequenceNumber(12);
  lock.writeLock();
  EXPECT_EQ("9<-7;12<-9;", rec.seen);
  lock.unlock();
  lock.readSequenceNumber(&stored);
  EXPECT_EQ(13u, stored);

  // Nobody observing: the lock is taken as asked, and the release records
  // the new sequence as seen, so a later observer hears nothing of it.
  lock.deleteObserver(&rec);
  lock.writeSequenceNumber(20);
  lock.readLock();
  EXPECT_EQ(RW::kRead, lock.getLockState());
  lock.addObserver(&rec);
  lock.unlock();
  lock.readLock();
  lock.unlock();
  EXPECT_EQ("9<-7;12<-9;", rec.seen);

  // Notifying turns this thread's read hold into a write hold.
  lock.readLock();
  lock.setLastSequence(3);
  lock.notifyLockObservers();
  EXPECT_EQ("9<-7;12<-9;20<-3;", rec.seen);
  EXPECT_EQ(0, lock.getReaderCount());
  lock.unlock();
}

// Threads sharing one stub lock: readers overlap, writers exclude, and only
// the last reader out records the unlocked state.
TEST(ZProcessLockTest, ThreadsShareTheStubLock) {
  ZStubProcessReadWriteLock lock("threads");
  long counter = 0;
  std::atomic<int> torn(0);
  std::vector<std::unique_ptr<BoundedThread>> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back(new BoundedThread([&, t] {
      for (int i = 0; i < 300; ++i) {
        bool read = (i + t) % 3 == 0;
        lock.lock(read ? RW::kRead : RW::kWrite);
        torn += read ? lock.getLockState() != RW::kRead : !lock.ownWriteLock();
        counter += !read;
        lock.unlock();
      }
    }));
  }
  for (auto& t : threads) t->join(60);
  EXPECT_EQ(0, torn.load());
  EXPECT_EQ(RW::kUnset, lock.getLockState());
  EXPECT_EQ(800, counter);
  EXPECT_EQ(800u, lock.getSequence());
}
