// zbase: read-write locks with a "protect" mode, and their scope holder.
#ifndef Z_ZREADWRITELOCK_H_
#define Z_ZREADWRITELOCK_H_

#include "Z/zversion.h"

#include <pthread.h>

#include <cstdint>

#include "Z/ZCondition.h"
#include "Z/ZLock.h"
#include "Z/ZObject.h"
#include "Z/ZObservable.h"

// A lock with shared (read) and exclusive (write) modes, and between them
// "protect": read with intent to write, held by one thread beside any number
// of readers and promotable to write without letting another writer in.
class ZReadWriteLockInterface : public ZLockInterface {
 public:
  // The underlying type is fixed so that any int is a value of the type:
  // lock() and getLockStateName() accept values outside the four states.
  enum zlockstate : int {
    kUnset = 0,    // no lock held
    kRead = 1,     // one or more readers
    kProtect = 2,  // read with intent to write: one holder, readers allowed
    kWrite = 3     // one holder, no readers
  };

  virtual void lock(zlockstate s) = 0;
  virtual void readLock() = 0;
  virtual void writeLock() = 0;
  virtual void readWithIntentToWriteLock() = 0;
  virtual void promoteReadToWriteLock() = 0;

 protected:
  ~ZReadWriteLockInterface() = default;
};

// Common base of the in-process and the process read-write locks. The
// update hooks (isCurrent, unlock(int), getUpdate, setUpdate) do nothing
// here; locks shared between processes give them a meaning.
class ZAbstractReadWriteLock : public ZObject,
                               public ZReadWriteLockInterface,
                               public ZAbstractObservable {
 public:
  ZAbstractReadWriteLock();
  ZAbstractReadWriteLock(const ZAbstractReadWriteLock& other);
  ~ZAbstractReadWriteLock() override;

  // A write lock.
  void lock() override;
  void lock(zlockstate s) override = 0;
  // "unset", "read", "protect", "write"; null for any other value.
  virtual const char* getLockStateName(zlockstate s) const;
  // Always 1.
  virtual int isCurrent() const;
  // unlock(getUpdate()).
  void unlock() override;
  virtual void unlock(int update) = 0;
  virtual int haveLock(zlockstate s) const = 0;
  virtual int ownWriteLock() const = 0;
  // Always 0.
  virtual int getUpdate() const;
  // Does nothing.
  virtual void setUpdate(int update);
};

// The read-write lock for the threads of one process.
//
// Readers are admitted whenever no write lock is held, also beside a protect
// holder and while writers wait: a steady stream of readers can hold writers
// off indefinitely (reader preference, deliberate). Only a promotion shuts
// new readers out while it drains the current ones.
//
// A thread may take several read locks, each released by its own unlock();
// a thread holding protect or write may take no further lock of any kind
// (ZLockResourceException). A lone reader asking for a write lock waits for
// itself forever; this is not detected.
//
// Safe to share between threads. Refusals throw ZLockResourceException
// (message 5) or ZUnlockResourceException (message 6) with return code 0.
class ZReadWriteLock : public ZAbstractReadWriteLock {
 public:
  ZReadWriteLock();
  // A new, unlocked lock; only the observers are copied.
  ZReadWriteLock(const ZReadWriteLock& other);
  ZReadWriteLock& operator=(const ZReadWriteLock&) = delete;
  ~ZReadWriteLock() override;

  ZObject* clone() const override;

  void lock() override;
  // 1 read, 2 protect, 3 write; 0 releases (deliberately: locking to
  // "unset" is an unlock); other values do nothing.
  void lock(zlockstate s) override;
  void unlock() override;
  // unlock(); the argument is ignored.
  void unlock(int update) override;
  // Whether the lock is in that mode, whoever holds it.
  int haveLock(zlockstate s) const override;
  // Whether the caller is the last thread that took protect or write. The
  // mode is not consulted, so this stays true after that thread released
  // its lock (kept as it is).
  int ownWriteLock() const override;

  void readLock() override;
  void writeLock() override;
  void readWithIntentToWriteLock() override;
  // Only the protect holder may promote. New readers are refused entry at
  // once; the call returns when the earlier readers have left.
  void promoteReadToWriteLock() override;
  virtual int getReaderCount() const;

 private:
  // Blocks on the condition, releasing the guard lock meanwhile.
  void waitForChange();
  int callerIsOwner() const;

  int32_t readerCount_;
  zlockstate state_;
  pthread_t owner_;
  int32_t waiters_;
  mutable ZCondition condition_;
};

// Releases a read-write lock when the scope ends. It does not lock: take
// exactly one lock through it (readLock, writeLock, ...) before the scope
// ends, because the destructor unlocks unconditionally.
class ZStackReadWriteLock : public ZObject {
 public:
  // Passes `update` to the lock's setUpdate().
  ZStackReadWriteLock(ZAbstractReadWriteLock& l, int update);
  // A failing unlock is reported through the message service, not thrown.
  ~ZStackReadWriteLock() override;

  ZStackReadWriteLock(const ZStackReadWriteLock&) = delete;
  ZStackReadWriteLock& operator=(const ZStackReadWriteLock&) = delete;

  void readLock();
  void writeLock();
  void readWithIntentToWriteLock();
  void promoteReadToWriteLock();
  void unlock(int update);
  int getUpdate() const;
  void setUpdate(int update);
  ZAbstractReadWriteLock& getReadWriteLock() const;

 private:
  ZAbstractReadWriteLock& lock_;
};

#endif  // Z_ZREADWRITELOCK_H_
