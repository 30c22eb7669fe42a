// zbase: recursive mutual-exclusion lock and its scope holder.
#include "Z/ZLock.h"

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"

namespace {

// Nobody owns the lock: all bits set.
const pthread_t kNoOwner = static_cast<pthread_t>(-1);

}  // namespace

ZAbstractLock::~ZAbstractLock() {}

ZLock::ZLock() : mutex_(new pthread_mutex_t), owner_(new pthread_t(kNoOwner)), count_(0) {
  int rc = pthread_mutex_init(mutex_, nullptr);
  if (rc != 0) {
    delete mutex_;
    delete owner_;
    ZCreateResourceException(kZMsgMutexInit, rc).throwException("src/Z/ZLock", 33);
  }
}

// The cells are zero-filled rather than left indeterminate, so that the
// destructor of a copy never reads uninitialised memory.
ZLock::ZLock(const ZLock&)
    : ZAbstractLock(),
      ZObject(),
      mutex_(new pthread_mutex_t()),
      owner_(new pthread_t()),
      count_(0) {}

ZLock& ZLock::operator=(const ZLock&) { return *this; }

ZLock::~ZLock() {
  int rc = pthread_mutex_destroy(mutex_);
  if (rc != 0) zreportReturnCode("src/Z/ZLock", 43, kZMsgMutexDestroy, rc);
  delete mutex_;
  delete owner_;
}

pthread_t ZLock::loadOwner() const { return __atomic_load_n(owner_, __ATOMIC_RELAXED); }

void ZLock::storeOwner(pthread_t t) { __atomic_store_n(owner_, t, __ATOMIC_RELAXED); }

int32_t ZLock::loadCount() const { return __atomic_load_n(&count_, __ATOMIC_RELAXED); }

void ZLock::storeCount(int32_t c) { __atomic_store_n(&count_, c, __ATOMIC_RELAXED); }

int ZLock::ownedByCaller() const { return pthread_equal(loadOwner(), pthread_self()) != 0; }

void ZLock::lock() {
  if (ownedByCaller()) {
    storeCount(loadCount() + 1);
    return;
  }
  int rc = pthread_mutex_lock(mutex_);
  if (rc != 0) {
    ZLockResourceException(kZMsgMutexLock, rc).throwException("src/Z/ZLock", 83);
  }
  storeOwner(pthread_self());
  storeCount(1);
}

void ZLock::unlock() {
  if (!ownedByCaller()) {
    ZUnlockResourceException(kZMsgMutexUnlock, 0).throwException("src/Z/ZLock", 100);
  }
  int32_t count = loadCount();
  if (count <= 0) {
    ZUnlockResourceException(kZMsgMutexUnlock, 0).throwException("src/Z/ZLock", 106);
  }
  if (count > 1) {
    storeCount(count - 1);
    return;
  }
  // Clear the record before the mutex goes, so that the next owner never
  // sees ours.
  storeCount(0);
  storeOwner(kNoOwner);
  int rc = pthread_mutex_unlock(mutex_);
  if (rc != 0) {
    storeCount(1);
    storeOwner(pthread_self());
    ZUnlockResourceException(kZMsgMutexUnlock, rc).throwException("src/Z/ZLock", 122);
  }
}

ZResourceLock::ZResourceLock(ZLock& l) : resource_(l) { resource_.lock(); }

ZResourceLock::~ZResourceLock() {
  try {
    resource_.unlock();
  } catch (ZException& e) {
    ZMessageService::messageService()->outputException(e);
  }
}
