// zbase: recursive mutual-exclusion lock and its scope holder.
#ifndef Z_ZLOCK_H_
#define Z_ZLOCK_H_

#include "Z/zversion.h"

#include <pthread.h>

#include <cstdint>

#include "Z/ZObject.h"

// Anything that can be locked and unlocked.
class ZLockInterface {
 public:
  virtual void lock() = 0;
  virtual void unlock() = 0;

 protected:
  ~ZLockInterface() = default;
};

// Base of the library's lock classes.
class ZAbstractLock : public ZLockInterface {
 public:
  virtual ~ZAbstractLock();
};

// A recursive mutex: the owning thread may lock it again any number of times
// and must unlock it as often. Recursion is kept in the owner and count
// fields on top of a plain (non-recursive) POSIX mutex, so that a condition
// can release the lock completely while it waits, however deeply its caller
// had locked it.
//
// Safe to share between threads. Copying makes an unusable object (see the
// copy constructor); the library never copies locks.
class ZLock : public ZAbstractLock, public ZObject {
 public:
  // Throws ZCreateResourceException (message 3) when the mutex cannot be
  // initialised.
  ZLock();

  // Deliberate, for callers built against earlier releases: allocates fresh
  // cells for the copy but initialises neither the mutex nor the owner. A
  // copied lock must not be used. Assignment does nothing.
  ZLock(const ZLock& other);
  ZLock& operator=(const ZLock& other);

  // Locks, or only counts once more when the caller already owns the lock.
  // Throws ZLockResourceException (message 5) when the mutex fails.
  void lock() override;

  // Undoes one lock(); the mutex is released when the count reaches 0.
  // Throws ZUnlockResourceException (message 6) when the caller does not
  // own the lock.
  void unlock() override;

  // Reports a failing mutex destroy through the message service.
  ~ZLock() override;

 private:
  friend class ZCondition;

  // The owner cell and the count are only written by the thread that holds
  // the mutex; other threads read them without the mutex, to learn that
  // they are not the owner. The accesses are atomic so that such a read
  // never sees a torn value.
  pthread_t loadOwner() const;
  void storeOwner(pthread_t t);
  int32_t loadCount() const;
  void storeCount(int32_t c);
  int ownedByCaller() const;

  pthread_mutex_t* mutex_;
  pthread_t* owner_;
  int32_t count_;
};

// Holds a ZLock for the lifetime of the scope: locks it when built and
// unlocks it when destroyed. Not to be shared between threads.
class ZResourceLock : public ZObject {
 public:
  explicit ZResourceLock(ZLock& l);
  // A failing unlock is reported through the message service, not thrown.
  ~ZResourceLock() override;

  ZResourceLock(const ZResourceLock&) = delete;
  ZResourceLock& operator=(const ZResourceLock&) = delete;

 private:
  ZLock& resource_;
};

#endif  // Z_ZLOCK_H_
