// zbase: condition variables bound to a ZLock.
#include "Z/ZCondition.h"

#include <errno.h>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"

namespace {

// The start of the current second plus `seconds`, read from the clock that
// timed waits measure against. Not time(): it may read a coarser copy of
// that clock, which can still show the previous second, so that a wait
// would end a whole second early.
timespec deadlineIn(long seconds) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  timespec deadline;
  deadline.tv_sec = now.tv_sec + seconds;
  deadline.tv_nsec = 0;
  return deadline;
}

}  // namespace

ZAbstractCondition::~ZAbstractCondition() {}

ZCondition::ZCondition() : lock_(new ZLock), ownsLock_(1), cond_(new pthread_cond_t) {
  int rc = pthread_cond_init(cond_, nullptr);
  if (rc != 0) {
    delete cond_;
    delete lock_;
    ZConditionException(kZMsgCondInit, rc).throwException("src/Z/ZCondition", 33);
  }
}

ZCondition::ZCondition(ZLock& l) : lock_(&l), ownsLock_(0), cond_(new pthread_cond_t) {
  int rc = pthread_cond_init(cond_, nullptr);
  if (rc != 0) {
    delete cond_;
    ZConditionException(kZMsgCondInit, rc).throwException("src/Z/ZCondition", 50);
  }
}

ZCondition::~ZCondition() {
  int rc = pthread_cond_destroy(cond_);
  if (rc != 0) zreportReturnCode("src/Z/ZCondition", 62, kZMsgCondDestroy, rc);
  delete cond_;
  if (ownsLock_) delete lock_;
}

int ZCondition::wait() {
  timespec forever = {0, 0};
  int timedOut = 0;
  return wait(forever, timedOut);
}

int ZCondition::wait(long seconds, int& timedOut) {
  timespec deadline = deadlineIn(seconds);
  return wait(deadline, timedOut);
}

int ZCondition::wait(timespec& deadline, int& timedOut) {
  validateLock();
  timedOut = 0;
  // Clear the ownership record for the time the mutex is released, so that
  // the next holder finds a clean lock; our depth comes back afterwards.
  int32_t count = lock_->loadCount();
  lock_->storeCount(0);
  lock_->storeOwner(static_cast<pthread_t>(-1));
  int rc;
  if (deadline.tv_sec != 0 || deadline.tv_nsec != 0) {
    rc = pthread_cond_timedwait(cond_, lock_->mutex_, &deadline);
  } else {
    rc = pthread_cond_wait(cond_, lock_->mutex_);
  }
  lock_->storeOwner(pthread_self());
  lock_->storeCount(count);
  if (rc == ETIMEDOUT) {
    // The record is back first: the hook may use the lock (validateLock).
    waitTimedOut();
    timedOut = 1;
    return 0;
  }
  if (rc != 0) {
    // Number 9 also for the timed wait, deliberately: 21 is never used here.
    zreportReturnCode("src/Z/ZCondition", 159, kZMsgCondWait, rc);
    ZConditionException(kZMsgCondWait, rc).throwException("src/Z/ZCondition", 160);
  }
  return 1;
}

void ZCondition::broadcast() {
  int rc = pthread_cond_broadcast(cond_);
  if (rc != 0) {
    zreportReturnCode("src/Z/ZCondition", 213, kZMsgCondBroadcast, rc);
    ZConditionException(kZMsgCondBroadcast, rc).throwException("src/Z/ZCondition", 214);
  }
}

void ZCondition::signal() {
  int rc = pthread_cond_signal(cond_);
  if (rc != 0) {
    zreportReturnCode("src/Z/ZCondition", 227, kZMsgCondSignal, rc);
    ZConditionException(kZMsgCondSignal, rc).throwException("src/Z/ZCondition", 228);
  }
}

void ZCondition::lock() { lock_->lock(); }

void ZCondition::unlock() { lock_->unlock(); }

ZLock& ZCondition::getResource() const { return *lock_; }

void ZCondition::waitTimedOut() {}

void ZCondition::validateLock() {
  if (lock_->loadCount() <= 0 || !lock_->ownedByCaller()) {
    ZLockResourceException(kZMsgMutexLock, 0).throwException("src/Z/ZCondition", 239);
  }
}

ZBooleanCondition::ZBooleanCondition() : ZCondition(), condition_(0) {}

ZBooleanCondition::ZBooleanCondition(ZLock& l) : ZCondition(l), condition_(0) {}

// Both build their deadline as ZCondition does; its versions end in the
// virtual wait(deadline, timedOut), which is the flag loop below.
int ZBooleanCondition::wait() { return ZCondition::wait(); }

int ZBooleanCondition::wait(long seconds, int& timedOut) {
  return ZCondition::wait(seconds, timedOut);
}

int ZBooleanCondition::wait(timespec& deadline, int& timedOut) {
  timedOut = 0;
  while (testCondition() == 0) ZCondition::wait(deadline, timedOut);
  return condition_;
}

void ZBooleanCondition::waitTimedOut() { setCondition(1); }

void ZBooleanCondition::initCondition() {
  validateLock();
  condition_ = 0;
}

int ZBooleanCondition::testCondition() {
  validateLock();
  return condition_;
}

int ZBooleanCondition::setCondition(int v) {
  validateLock();
  condition_ = v;
  return 1;
}
