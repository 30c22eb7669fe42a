// zbase: read-write locks between processes, with sequence-update notices.
#ifndef Z_ZPROCESSLOCK_H_
#define Z_ZPROCESSLOCK_H_

#include "Z/zversion.h"

#include <atomic>
#include <cstdint>

#include "Z/ZLCString.h"
#include "Z/ZObject.h"
#include "Z/ZReadWriteLock.h"

// The notice that a process lock sends its observers when it finds that the
// shared sequence number moved since this process last looked: another
// process changed the protected data, so cached copies must be refreshed.
class ZSequenceUpdate : public ZObservedParm {
 public:
  // Both numbers invalidSequence.
  ZSequenceUpdate();
  ZSequenceUpdate(unsigned long sequence, unsigned long lastSequence);
  ZSequenceUpdate(const ZSequenceUpdate& other);
  ZSequenceUpdate& operator=(const ZSequenceUpdate& other);
  ~ZSequenceUpdate() override;

  // The shared sequence number now.
  unsigned long getSequence() const;
  // The sequence number this process had seen before.
  unsigned long getLastSequence() const;

  // Consistent with compare: equal notices hash alike.
  unsigned int hash() const override;
  // The difference of the sequences when they differ, else the difference
  // of the last sequences, each cut to a signed 32-bit result. Any other
  // kind of object compares by address.
  int compare(const ZObject& other) const override;
  ZObject* clone() const override;

  using ZObject::operator==;
  int operator==(const ZSequenceUpdate& other) const { return compare(other) == 0; }

 private:
  unsigned long sequence_;
  unsigned long lastSequence_;
};

// Common base of the read-write locks that order processes. It combines an
// in-process read-write lock (which orders the threads of this process), the
// lock state this object holds towards other processes, and two sequence
// numbers: the shared one as last read or written, and the one this process
// last synchronised with. A writer raises the shared number when it
// releases; a process that locks and finds the number moved tells its
// observers with a ZSequenceUpdate (the lock-file flavour does the finding).
//
// Safe to share between threads. The state and sequence fields are changed
// only by a thread that holds the in-process lock; they are atomics because
// several reading threads may record the same values at once.
class ZAbstractProcessReadWriteLock : public ZAbstractReadWriteLock {
 public:
  // Never used as a sequence number: marks "not synchronised yet".
  static constexpr unsigned long invalidSequence = ~0UL;

  ZAbstractProcessReadWriteLock();
  // A null name is taken as empty.
  explicit ZAbstractProcessReadWriteLock(const char* lockName);
  // Copies the name, both sequence numbers and the update flag; the copy is
  // unlocked and has an in-process lock of its own.
  ZAbstractProcessReadWriteLock(const ZAbstractProcessReadWriteLock& other);
  ZAbstractProcessReadWriteLock& operator=(const ZAbstractProcessReadWriteLock& other);
  ~ZAbstractProcessReadWriteLock() override;

  // By the lock name.
  unsigned int hash() const override;
  int compare(const ZObject& other) const override;
  // Not supported here: throws ZAbstractNotImplementedException.
  ZObject* clone() const override;

  // writeLock().
  void lock() override;
  // Protect is taken as write in the in-process lock; 0 releases. The
  // update flag becomes 1 for write and 0 otherwise.
  void lock(zlockstate state) override;
  // Whether this process has seen the current shared sequence.
  int isCurrent() const override;
  // unlock(getUpdate()).
  void unlock() override;
  // sync(update), then lock(0).
  void unlock(int update) override;
  // Whether the state held towards other processes is `state`.
  int haveLock(zlockstate state) const override;
  // Whether the state held towards other processes is write.
  int ownWriteLock() const override;
  int getUpdate() const override;
  // Whether releasing raises the shared sequence. A writer that changed
  // nothing sets 0.
  void setUpdate(int update) override;
  void readLock() override;
  void writeLock() override;
  void readWithIntentToWriteLock() override;
  // Does nothing, deliberately: promotion is not offered between
  // processes. Release and take a write lock instead.
  void promoteReadToWriteLock() override;
  virtual zlockstate getLockState() const;
  virtual const ZLCString& getLockName() const;
  // Only while a lock is held: a different name releases the lock and is
  // then taken. On an unlocked object the call changes nothing; this
  // asymmetry is deliberate.
  virtual void setLockName(const ZLCString& name);
  // Readers of the in-process lock.
  virtual int getReaderCount();
  virtual unsigned long getSequence() const;
  // One up in memory, skipping invalidSequence (it becomes 0).
  virtual void incSequence();
  virtual unsigned long getLastSequence() const;
  virtual void setLastSequence(unsigned long value);
  // Last sequence := getSequence().
  virtual void setLastSequence();
  // Raises the sequence when write is held and `update` is non-zero; then,
  // with any lock held, records the sequence as seen.
  virtual void sync(int update);

  // Tells the observers about a sequence this process has not seen, holding
  // the in-process lock for writing while it does (taking it for writing
  // first when this thread does not hold it so). Nothing when current or
  // when nobody observes.
  void notifyLockObservers();

 protected:
  ZReadWriteLock& inProcessLock() { return rwlock_; }
  void setLockState(zlockstate state) { lockState_.store(state, std::memory_order_relaxed); }
  void setSequence(unsigned long value) { sequence_.store(value, std::memory_order_relaxed); }

 private:
  std::atomic<zlockstate> lockState_;
  ZLCString lockName_;
  std::atomic<unsigned long> sequence_;
  std::atomic<unsigned long> lastSequence_;
  ZReadWriteLock rwlock_;
  std::atomic<int32_t> update_;
};

// A process lock for a program that is alone: in-process locking only. It
// records the state exactly as asked (protect stays protect), and the
// sequence lives in memory. Safe to share between threads.
class ZStubProcessReadWriteLock : public ZAbstractProcessReadWriteLock {
 public:
  ZStubProcessReadWriteLock();
  explicit ZStubProcessReadWriteLock(const char* lockName);
  ZStubProcessReadWriteLock(const ZStubProcessReadWriteLock& other);
  ZStubProcessReadWriteLock& operator=(const ZStubProcessReadWriteLock& other);
  ~ZStubProcessReadWriteLock() override;

  using ZAbstractProcessReadWriteLock::lock;
  void lock(zlockstate state) override;
  // An unlocked copy (see the copy constructor of the base).
  ZObject* clone() const override;

 private:
  // Orders the recording of the state among the threads of this process,
  // so that only the last reader to leave records "unset".
  ZLock stateGuard_;
};

#endif  // Z_ZPROCESSLOCK_H_
