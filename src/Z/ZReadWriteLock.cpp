// zbase: read-write locks with a "protect" mode, and their scope holder.
#include "Z/ZReadWriteLock.h"

#include "Z/ZException.h"
#include "Z/ZMessage.h"

namespace {

const char* const kStateNames[] = {"unset", "read", "protect", "write"};

bool isProtectOrWrite(ZReadWriteLockInterface::zlockstate s) {
  return s == ZReadWriteLockInterface::kProtect || s == ZReadWriteLockInterface::kWrite;
}

}  // namespace

ZAbstractReadWriteLock::ZAbstractReadWriteLock() {}

ZAbstractReadWriteLock::ZAbstractReadWriteLock(const ZAbstractReadWriteLock& other)
    : ZObject(other), ZReadWriteLockInterface(), ZAbstractObservable(other) {}

ZAbstractReadWriteLock::~ZAbstractReadWriteLock() {}

void ZAbstractReadWriteLock::lock() { lock(kWrite); }

const char* ZAbstractReadWriteLock::getLockStateName(zlockstate s) const {
  if (s < kUnset || s > kWrite) return nullptr;
  return kStateNames[s];
}

int ZAbstractReadWriteLock::isCurrent() const { return 1; }

void ZAbstractReadWriteLock::unlock() { unlock(getUpdate()); }

void ZAbstractReadWriteLock::unlock(int) {}

int ZAbstractReadWriteLock::getUpdate() const { return 0; }

void ZAbstractReadWriteLock::setUpdate(int) {}

ZReadWriteLock::ZReadWriteLock()
    : readerCount_(0), state_(kUnset), owner_(static_cast<pthread_t>(-1)), waiters_(0) {}

ZReadWriteLock::ZReadWriteLock(const ZReadWriteLock& other)
    : ZAbstractReadWriteLock(other),
      readerCount_(0),
      state_(kUnset),
      owner_(static_cast<pthread_t>(-1)),
      waiters_(0) {}

ZReadWriteLock::~ZReadWriteLock() {}

ZObject* ZReadWriteLock::clone() const { return new ZReadWriteLock(*this); }

void ZReadWriteLock::lock() { lock(kWrite); }

void ZReadWriteLock::lock(zlockstate s) {
  switch (s) {
    case kRead:
      readLock();
      break;
    case kProtect:
      readWithIntentToWriteLock();
      break;
    case kWrite:
      writeLock();
      break;
    case kUnset:
      unlock();
      break;
    default:
      break;
  }
}

void ZReadWriteLock::unlock(int) { unlock(); }

int ZReadWriteLock::haveLock(zlockstate s) const {
  ZResourceLock guard(condition_.getResource());
  return state_ == s;
}

int ZReadWriteLock::ownWriteLock() const {
  ZResourceLock guard(condition_.getResource());
  return callerIsOwner();
}

int ZReadWriteLock::getReaderCount() const {
  ZResourceLock guard(condition_.getResource());
  return readerCount_;
}

int ZReadWriteLock::callerIsOwner() const { return pthread_equal(owner_, pthread_self()) != 0; }

void ZReadWriteLock::waitForChange() {
  ++waiters_;
  try {
    condition_.wait();
  } catch (...) {
    --waiters_;
    throw;
  }
  --waiters_;
}

void ZReadWriteLock::readLock() {
  ZResourceLock guard(condition_.getResource());
  if (isProtectOrWrite(state_) && callerIsOwner()) {
    ZLockResourceException(kZMsgMutexLock, 0).throwException("src/Z/ZReadWriteLock", 183);
  }
  while (state_ == kWrite) waitForChange();
  ++readerCount_;
  // A protect holder's mode stays.
  if (state_ == kUnset) state_ = kRead;
}

void ZReadWriteLock::readWithIntentToWriteLock() {
  ZResourceLock guard(condition_.getResource());
  if (isProtectOrWrite(state_) && callerIsOwner()) {
    ZLockResourceException(kZMsgMutexLock, 0).throwException("src/Z/ZReadWriteLock", 238);
  }
  while (isProtectOrWrite(state_)) waitForChange();
  // The current readers stay; the protect holder is not counted as one.
  owner_ = pthread_self();
  state_ = kProtect;
}

void ZReadWriteLock::promoteReadToWriteLock() {
  ZResourceLock guard(condition_.getResource());
  if (state_ != kProtect) {
    ZLockResourceException(kZMsgMutexLock, 0).throwException("src/Z/ZReadWriteLock", 290);
  }
  if (!callerIsOwner()) {
    ZLockResourceException(kZMsgMutexLock, 0).throwException("src/Z/ZReadWriteLock", 283);
  }
  // Write at once, so that new readers block while the earlier ones drain.
  state_ = kWrite;
  while (readerCount_ > 0) waitForChange();
}

void ZReadWriteLock::writeLock() {
  ZResourceLock guard(condition_.getResource());
  if (isProtectOrWrite(state_) && callerIsOwner()) {
    ZLockResourceException(kZMsgMutexLock, 0).throwException("src/Z/ZReadWriteLock", 344);
  }
  // No readers, no protect holder and no writer.
  while (state_ != kUnset) waitForChange();
  state_ = kWrite;
  owner_ = pthread_self();
  while (readerCount_ > 0) waitForChange();
}

void ZReadWriteLock::unlock() {
  ZResourceLock guard(condition_.getResource());
  switch (state_) {
    case kRead:
      if (readerCount_ < 1) {
        ZUnlockResourceException(kZMsgMutexUnlock, 0).throwException("src/Z/ZReadWriteLock", 439);
      }
      if (--readerCount_ == 0) state_ = kUnset;
      break;
    case kProtect:
    case kWrite:
      if (!callerIsOwner()) {
        // A reader leaving beside the protect holder, or while a promotion
        // drains the readers.
        if (readerCount_ < 1) {
          ZUnlockResourceException(kZMsgMutexUnlock, 0).throwException("src/Z/ZReadWriteLock", 468);
        }
        --readerCount_;
      } else {
        state_ = kRead;
      }
      if (readerCount_ == 0 && state_ == kRead) state_ = kUnset;
      break;
    default:
      ZUnlockResourceException(kZMsgMutexUnlock, 0).throwException("src/Z/ZReadWriteLock", 412);
  }
  if (waiters_ > 0) {
    // Nobody blocked could proceed beside a protect holder, nor beside a
    // writer that still waits for readers.
    if (state_ == kProtect) return;
    if (state_ == kWrite && readerCount_ > 0) return;
    condition_.broadcast();
  }
}

ZStackReadWriteLock::ZStackReadWriteLock(ZAbstractReadWriteLock& l, int update) : lock_(l) {
  lock_.setUpdate(update);
}

ZStackReadWriteLock::~ZStackReadWriteLock() {
  try {
    lock_.unlock();
  } catch (ZException& e) {
    ZMessageService::messageService()->outputException(e);
  }
}

void ZStackReadWriteLock::readLock() { lock_.readLock(); }

void ZStackReadWriteLock::writeLock() { lock_.writeLock(); }

void ZStackReadWriteLock::readWithIntentToWriteLock() { lock_.readWithIntentToWriteLock(); }

void ZStackReadWriteLock::promoteReadToWriteLock() { lock_.promoteReadToWriteLock(); }

void ZStackReadWriteLock::unlock(int update) { lock_.unlock(update); }

int ZStackReadWriteLock::getUpdate() const { return lock_.getUpdate(); }

void ZStackReadWriteLock::setUpdate(int update) { lock_.setUpdate(update); }

ZAbstractReadWriteLock& ZStackReadWriteLock::getReadWriteLock() const { return lock_; }
