// zbase tests: the process read-write lock state machine and sequence updates.
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZFileLock.h"
#include "Z/ZProcessLock.h"
#include "ZProcessLockTestSupport.h"

using zproctest::Recorder;

namespace {

typedef ZReadWriteLockInterface::zlockstate zlockstate;
const zlockstate kUnset = static_cast<zlockstate>(0);
const zlockstate kRead = static_cast<zlockstate>(1);
const zlockstate kProtect = static_cast<zlockstate>(2);
const zlockstate kWrite = static_cast<zlockstate>(3);
const unsigned long kInvalid = ZAbstractProcessReadWriteLock::invalidSequence;

// Lets a test put the in-memory sequence where it wants it.
class SettableStub : public ZStubProcessReadWriteLock {
 public:
  explicit SettableStub(const char* name) : ZStubProcessReadWriteLock(name) {}
  using ZStubProcessReadWriteLock::setSequence;
};

}  // namespace

TEST(ZProcessLockTest, SequenceUpdateOrdersBySequenceThenLastSequence) {
  ZSequenceUpdate fresh;
  EXPECT_EQ(kInvalid, fresh.getSequence());
  EXPECT_EQ(kInvalid, fresh.getLastSequence());

  ZSequenceUpdate a(5, 3), b(2, 9), c(5, 1), d(5, 3);
  EXPECT_EQ(3, a.compare(b));
  EXPECT_EQ(-3, b.compare(a));
  EXPECT_EQ(2, a.compare(c));
  EXPECT_EQ(0, a.compare(d));
  EXPECT_TRUE(a == d);
  EXPECT_FALSE(a == c);
  EXPECT_EQ(a.hash(), d.hash());
  // Differences are signed: the next sequence after 0 wraps below it.
  EXPECT_EQ(-1, ZSequenceUpdate(0, 0).compare(ZSequenceUpdate(1, 0)));
  EXPECT_EQ(1, ZSequenceUpdate(0, 0).compare(ZSequenceUpdate(kInvalid, 0)));

  ZObject* copy = a.clone();
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(static_cast<ZObject*>(&a), copy);
  EXPECT_EQ(0, copy->compare(a));
  EXPECT_EQ(5u, dynamic_cast<ZSequenceUpdate*>(copy)->getSequence());
  EXPECT_EQ(3u, dynamic_cast<ZSequenceUpdate*>(copy)->getLastSequence());
  delete copy;
}

TEST(ZProcessLockTest, StubRecordsStatesAsAskedAndOnlyWriteRaisesTheSequence) {
  ZStubProcessReadWriteLock lock("stub");
  EXPECT_EQ(kUnset, lock.getLockState());
  EXPECT_EQ(0u, lock.getSequence());
  EXPECT_EQ(kInvalid, lock.getLastSequence());
  EXPECT_EQ(1, lock.getUpdate());

  lock.readWithIntentToWriteLock();  // protect stays protect in the stub
  EXPECT_EQ(kProtect, lock.getLockState());
  EXPECT_TRUE(lock.haveLock(kProtect));
  EXPECT_FALSE(lock.ownWriteLock());
  EXPECT_EQ(1, lock.getUpdate());
  lock.unlock();  // only a held write raises the sequence
  EXPECT_EQ(kUnset, lock.getLockState());
  EXPECT_EQ(0u, lock.getSequence());
  EXPECT_EQ(0u, lock.getLastSequence());
  EXPECT_EQ(0, lock.getUpdate());

  lock.lock();  // a write lock
  EXPECT_TRUE(lock.ownWriteLock());
  EXPECT_EQ(1, lock.getUpdate());
  lock.unlock();
  EXPECT_EQ(1u, lock.getSequence());
  EXPECT_EQ(1u, lock.getLastSequence());
  EXPECT_TRUE(lock.isCurrent());

  lock.readLock();
  EXPECT_EQ(0, lock.getUpdate());
  lock.promoteReadToWriteLock();  // deliberately does nothing
  EXPECT_EQ(kRead, lock.getLockState());
  lock.unlock(1);  // not raised: a read lock is held
  EXPECT_EQ(1u, lock.getSequence());

  lock.writeLock();
  lock.unlock(0);  // a writer that changed nothing
  EXPECT_EQ(1u, lock.getSequence());
  lock.writeLock();
  lock.setUpdate(0);
  lock.unlock();
  EXPECT_EQ(1u, lock.getSequence());

  // sync on an unlocked object records nothing.
  lock.setLastSequence(40);
  lock.sync(1);
  EXPECT_EQ(40u, lock.getLastSequence());
  EXPECT_FALSE(lock.isCurrent());
  lock.setLastSequence();
  EXPECT_TRUE(lock.isCurrent());
}

TEST(ZProcessLockTest, SequenceSkipsTheInvalidValue) {
  SettableStub lock("wrap");
  lock.setSequence(kInvalid - 2);
  lock.incSequence();
  EXPECT_EQ(kInvalid - 1, lock.getSequence());
  lock.incSequence();
  EXPECT_EQ(0u, lock.getSequence());

  lock.setSequence(kInvalid - 1);
  lock.writeLock();
  lock.unlock();
  EXPECT_EQ(0u, lock.getSequence());
  EXPECT_EQ(0u, lock.getLastSequence());
}

TEST(ZProcessLockTest, SetLockNameOnlyActsWhileLocked) {
  ZStubProcessReadWriteLock lock("old");
  lock.setLockName(ZLCString("new"));  // unlocked: deliberately ignored
  EXPECT_STREQ("old", lock.getLockName().getChars());

  lock.writeLock();
  lock.setLockName(ZLCString("old"));  // same name: nothing happens
  EXPECT_EQ(kWrite, lock.getLockState());

  lock.setLockName(ZLCString("new"));  // releases (raising the sequence), then renames
  EXPECT_STREQ("new", lock.getLockName().getChars());
  EXPECT_EQ(kUnset, lock.getLockState());
  EXPECT_EQ(1u, lock.getSequence());
  lock.writeLock();  // the in-process lock was really released
  lock.unlock();
}

TEST(ZProcessLockTest, IdentityIsTheLockNameAndOnlyTheStubClones) {
  ZStubProcessReadWriteLock a("alpha"), a2("alpha"), b("beta");
  EXPECT_EQ(0, a.compare(a2));
  EXPECT_TRUE(a == a2);
  EXPECT_LT(a.compare(b), 0);
  EXPECT_GT(b.compare(a), 0);
  EXPECT_EQ(ZLCString("alpha").hash(), a.hash());
  EXPECT_EQ(a.hash(), a2.hash());

  a.writeLock();
  a.unlock();
  ZObject* copy = a.clone();
  ASSERT_NE(nullptr, copy);
  ZStubProcessReadWriteLock* c = dynamic_cast<ZStubProcessReadWriteLock*>(copy);
  ASSERT_NE(nullptr, c);
  EXPECT_TRUE(*c == a);
  EXPECT_EQ(1u, c->getSequence());
  EXPECT_EQ(kUnset, c->getLockState());
  c->writeLock();  // its own in-process lock
  a.writeLock();
  c->unlock();
  a.unlock();
  delete copy;

  ZStubProcessReadWriteFileLock fileLock("alpha");
  try {
    fileLock.clone();
    FAIL() << "clone of a file lock must not succeed";
  } catch (ZAbstractNotImplementedException& e) {
    EXPECT_EQ(31u, e.getErrorNumber());
    EXPECT_STREQ("ZAbstractProcessReadWriteLock::clone", e.value());
    EXPECT_STREQ("src/Z/ZProcessLock", e.who());
    EXPECT_EQ(105, e.where());
  }
}

// The lock-file algorithm over the in-memory stub: writeSequenceNumber plays
// another process that changed the data.
TEST(ZProcessLockTest, ChangedSequenceUpgradesToWriteAndNotifiesOnce) {
  ZStubProcessReadWriteFileLock lock("data");
  Recorder rec;
  lock.addObserver(&rec);

  lock.writeSequenceNumber(7);
  lock.readLock();  // the first lock only learns where the sequence stands
  EXPECT_TRUE(rec.notices.empty());
  EXPECT_EQ(7u, lock.getSequence());
  EXPECT_EQ(7u, lock.getLastSequence());
  EXPECT_EQ(kRead, lock.getLockState());
  lock.unlock();

  lock.writeSequenceNumber(9);
  lock.readLock();
  ASSERT_EQ(1u, rec.notices.size());
  EXPECT_EQ(&lock, dynamic_cast<ZStubProcessReadWriteFileLock*>(rec.notices[0].source));
  EXPECT_EQ(9u, rec.notices[0].sequence);
  EXPECT_EQ(7u, rec.notices[0].last);
  EXPECT_EQ(kWrite, lock.getLockState());  // asked for read, holds write
  EXPECT_EQ(0, lock.getUpdate());
  lock.unlock();  // the refresh does not count as a change
  unsigned long stored = 0;
  lock.readSequenceNumber(&stored);
  EXPECT_EQ(9u, stored);
  EXPECT_EQ(9u, lock.getLastSequence());

  lock.readLock();  // current now: nothing more
  EXPECT_EQ(1u, rec.notices.size());
  EXPECT_EQ(kRead, lock.getLockState());
  lock.unlock();

  // A writer that finds a change is told too, and still raises on release.
  lock.writeSequenceNumber(12);
  lock.writeLock();
  ASSERT_EQ(2u, rec.notices.size());
  EXPECT_EQ(12u, rec.notices[1].sequence);
  EXPECT_EQ(9u, rec.notices[1].last);
  EXPECT_EQ(1, lock.getUpdate());
  lock.unlock();
  lock.readSequenceNumber(&stored);
  EXPECT_EQ(13u, stored);

  // Nobody observing: the lock is taken as asked; the release records the
  // new sequence as seen, so a later observer hears nothing of it.
  lock.deleteObserver(&rec);
  lock.writeSequenceNumber(20);
  lock.readLock();
  EXPECT_EQ(kRead, lock.getLockState());
  EXPECT_FALSE(lock.isCurrent());
  lock.addObserver(&rec);
  lock.unlock();
  EXPECT_EQ(20u, lock.getLastSequence());
  lock.readLock();
  lock.unlock();
  EXPECT_EQ(2u, rec.notices.size());
}

TEST(ZProcessLockTest, NotifyLockObserversTakesTheInProcessLockForWriting) {
  ZStubProcessReadWriteLock lock("n");
  Recorder rec;
  lock.notifyLockObservers();  // nobody observes: nothing, not even a lock
  lock.addObserver(&rec);

  lock.readLock();
  lock.unlock();
  EXPECT_TRUE(lock.isCurrent());
  lock.readLock();
  lock.notifyLockObservers();  // current: nothing
  EXPECT_TRUE(rec.notices.empty());
  lock.setLastSequence(3);
  lock.notifyLockObservers();
  ASSERT_EQ(1u, rec.notices.size());
  EXPECT_EQ(0u, rec.notices[0].sequence);
  EXPECT_EQ(3u, rec.notices[0].last);

  // The read hold became a write hold: another thread cannot read now.
  std::atomic<int> gotIt(0);
  std::thread reader([&] {
    lock.readLock();
    gotIt = 1;
    lock.unlock();
  });
  usleep(zproctest::kQuietMs * 1000);
  EXPECT_EQ(0, gotIt.load());
  lock.unlock();
  zproctest::runThreads({[&] { reader.join(); }});
  EXPECT_EQ(1, gotIt.load());
}

// Many threads sharing one stub lock: readers overlap, writers exclude, and
// only the last reader out records the unlocked state.
TEST(ZProcessLockTest, ThreadsShareTheStubLock) {
  ZStubProcessReadWriteLock lock("threads");
  const int kThreads = 4, kCycles = 300;
  long counter = 0;
  std::atomic<int> torn(0);
  std::vector<std::function<void()>> bodies;
  for (int t = 0; t < kThreads; ++t) {
    bodies.push_back([&, t] {
      for (int i = 0; i < kCycles; ++i) {
        if ((i + t) % 3 == 0) {
          lock.readLock();
          long seen = counter;
          if (lock.getLockState() != kRead || seen != counter) ++torn;
          lock.unlock();
        } else {
          lock.writeLock();
          if (!lock.ownWriteLock()) ++torn;
          ++counter;
          lock.unlock();
        }
      }
    });
  }
  zproctest::runThreads(bodies);
  EXPECT_EQ(0, torn.load());
  EXPECT_EQ(kUnset, lock.getLockState());
  long writes = 0;
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kCycles; ++i) writes += (i + t) % 3 != 0;
  EXPECT_EQ(writes, counter);
  EXPECT_EQ(static_cast<unsigned long>(writes), lock.getSequence());
}
