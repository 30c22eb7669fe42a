// zbase: condition variables bound to a ZLock.
#ifndef Z_ZCONDITION_H_
#define Z_ZCONDITION_H_

#include "Z/zversion.h"

#include <pthread.h>
#include <time.h>

#include <cstdint>

#include "Z/ZLock.h"
#include "Z/ZObject.h"

// Waiting and waking on a condition.
class ZConditionInterface {
 public:
  virtual int wait() = 0;
  virtual int wait(long seconds, int& timedOut) = 0;
  virtual int wait(timespec& deadline, int& timedOut) = 0;
  virtual void signal() = 0;
  virtual void broadcast() = 0;
  virtual void waitTimedOut() = 0;

 protected:
  ~ZConditionInterface() = default;
};

// Base of conditions that are themselves usable as locks.
class ZAbstractCondition : public ZObject, public ZConditionInterface, public ZLockInterface {
 public:
  ~ZAbstractCondition() override;
};

// A POSIX condition variable bound to a ZLock, either one it makes and owns
// or one the caller gives it (and keeps alive). The condition is itself a
// lock: lock() and unlock() are those of its ZLock.
//
// Waits, and the flag of ZBooleanCondition, require the caller to hold the
// lock; signal() and broadcast() may be called with or without it. Safe to
// share between threads on those terms. Not copyable.
class ZCondition : public ZAbstractCondition {
 public:
  // Both throw ZConditionException (message 7) when the condition variable
  // cannot be initialised.
  ZCondition();
  explicit ZCondition(ZLock& l);
  ~ZCondition() override;

  ZCondition(const ZCondition&) = delete;
  ZCondition& operator=(const ZCondition&) = delete;

  // Waits without a time limit. Returns 1 (0 only after a time-out).
  int wait() override;

  // Waits until the start of the current second plus `seconds`: time-outs
  // have a granularity of one second.
  int wait(long seconds, int& timedOut) override;

  // Waits until the absolute time `deadline` (realtime clock); a deadline of
  // zero seconds and zero nanoseconds means no limit. The caller must hold
  // the lock, at any depth: it is released completely during the wait and
  // held at the same depth again afterwards, also on a time-out and on a
  // failure. On a time-out, waitTimedOut() is called (with the lock held)
  // and timedOut set to 1; the return value is then 0, otherwise 1.
  // Spurious wake-ups are not filtered.
  // Throws ZLockResourceException (message 5) when the caller does not hold
  // the lock, ZConditionException (message 9) when the wait fails.
  int wait(timespec& deadline, int& timedOut) override;

  // Wake one or all waiters. Throw ZConditionException (10 or 27).
  void signal() override;
  void broadcast() override;

  void lock() override;
  void unlock() override;
  virtual ZLock& getResource() const;

  // Called by a timed wait that expired, with the lock held. Empty here.
  void waitTimedOut() override;

  // Throws ZLockResourceException (message 5) unless the calling thread
  // holds the lock.
  virtual void validateLock();

 private:
  ZLock* lock_;
  int32_t ownsLock_;
  pthread_cond_t* cond_;
};

// A condition with a flag: wait() returns once the flag is set. The flag is
// read and written only while holding the lock.
class ZBooleanCondition : public ZCondition {
 public:
  ZBooleanCondition();
  explicit ZBooleanCondition(ZLock& l);

  // Wait while the flag is 0 and return the flag. A time-out sets the flag
  // (see waitTimedOut), so the caller tells a time-out from a real signal by
  // `timedOut`.
  int wait() override;
  int wait(long seconds, int& timedOut) override;
  int wait(timespec& deadline, int& timedOut) override;

  // Deliberately sets the flag, so that the waiting loop ends on a time-out.
  void waitTimedOut() override;

  // All three require the caller to hold the lock (ZLockResourceException).
  virtual void initCondition();
  virtual int testCondition();
  // Stores the flag and returns 1. Does not signal: the caller signals or
  // broadcasts afterwards, still holding the lock.
  virtual int setCondition(int v);

 private:
  int32_t condition_;
};

#endif  // Z_ZCONDITION_H_
