// zbase: read-write locks between processes, with sequence-update notices.
#include "Z/ZProcessLock.h"

#include "Z/ZException.h"

namespace {

const std::memory_order kRelaxed = std::memory_order_relaxed;

}  // namespace

// ---------------------------------------------------------------- ZSequenceUpdate

ZSequenceUpdate::ZSequenceUpdate()
    : sequence_(ZAbstractProcessReadWriteLock::invalidSequence),
      lastSequence_(ZAbstractProcessReadWriteLock::invalidSequence) {}

ZSequenceUpdate::ZSequenceUpdate(unsigned long sequence, unsigned long lastSequence)
    : sequence_(sequence), lastSequence_(lastSequence) {}

ZSequenceUpdate::ZSequenceUpdate(const ZSequenceUpdate& other)
    : ZObservedParm(other), sequence_(other.sequence_), lastSequence_(other.lastSequence_) {}

ZSequenceUpdate& ZSequenceUpdate::operator=(const ZSequenceUpdate& other) {
  sequence_ = other.sequence_;
  lastSequence_ = other.lastSequence_;
  return *this;
}

ZSequenceUpdate::~ZSequenceUpdate() {}

unsigned long ZSequenceUpdate::getSequence() const { return sequence_; }

unsigned long ZSequenceUpdate::getLastSequence() const { return lastSequence_; }

unsigned int ZSequenceUpdate::hash() const {
  return static_cast<unsigned int>(sequence_ ^ (sequence_ >> 32) ^ (lastSequence_ * 31u));
}

int ZSequenceUpdate::compare(const ZObject& other) const {
  const ZSequenceUpdate* o = dynamic_cast<const ZSequenceUpdate*>(&other);
  if (o == nullptr) return ZObject::compare(other);
  // Differences are taken modulo 2^64 and cut to 32 bits, as callers that
  // only look at the sign of small differences expect.
  if (sequence_ != o->sequence_) return static_cast<int32_t>(sequence_ - o->sequence_);
  return static_cast<int32_t>(lastSequence_ - o->lastSequence_);
}

ZObject* ZSequenceUpdate::clone() const { return new ZSequenceUpdate(*this); }

// ---------------------------------------------------------------- ZAbstractProcessReadWriteLock

constexpr unsigned long ZAbstractProcessReadWriteLock::invalidSequence;

ZAbstractProcessReadWriteLock::ZAbstractProcessReadWriteLock()
    : lockState_(kUnset), sequence_(0), lastSequence_(invalidSequence), update_(1) {}

ZAbstractProcessReadWriteLock::ZAbstractProcessReadWriteLock(const char* lockName)
    : lockState_(kUnset),
      lockName_(lockName),
      sequence_(0),
      lastSequence_(invalidSequence),
      update_(1) {}

ZAbstractProcessReadWriteLock::ZAbstractProcessReadWriteLock(
    const ZAbstractProcessReadWriteLock& other)
    : ZAbstractReadWriteLock(other),
      lockState_(kUnset),
      lockName_(other.lockName_),
      sequence_(other.sequence_.load(kRelaxed)),
      lastSequence_(other.lastSequence_.load(kRelaxed)),
      update_(other.update_.load(kRelaxed)) {}

ZAbstractProcessReadWriteLock& ZAbstractProcessReadWriteLock::operator=(
    const ZAbstractProcessReadWriteLock& other) {
  if (this != &other) {
    lockName_ = other.lockName_;
    sequence_.store(other.sequence_.load(kRelaxed), kRelaxed);
    lastSequence_.store(other.lastSequence_.load(kRelaxed), kRelaxed);
    update_.store(other.update_.load(kRelaxed), kRelaxed);
  }
  return *this;
}

ZAbstractProcessReadWriteLock::~ZAbstractProcessReadWriteLock() {}

unsigned int ZAbstractProcessReadWriteLock::hash() const { return lockName_.hash(); }

int ZAbstractProcessReadWriteLock::compare(const ZObject& other) const {
  const ZAbstractProcessReadWriteLock* o =
      dynamic_cast<const ZAbstractProcessReadWriteLock*>(&other);
  if (o == nullptr) return ZObject::compare(other);
  return lockName_.compare(o->lockName_.getChars());
}

ZObject* ZAbstractProcessReadWriteLock::clone() const {
  ZAbstractNotImplementedException("ZAbstractProcessReadWriteLock::clone")
      .throwException("src/Z/ZProcessLock", 105);
}

void ZAbstractProcessReadWriteLock::lock() { writeLock(); }

void ZAbstractProcessReadWriteLock::lock(zlockstate state) {
  if (state == kProtect) state = kWrite;
  if (state == kUnset) {
    // Cleared before the release: afterwards another thread may own it.
    update_.store(0, kRelaxed);
    rwlock_.lock(kUnset);
    return;
  }
  rwlock_.lock(state);
  update_.store(state == kWrite ? 1 : 0, kRelaxed);
}

int ZAbstractProcessReadWriteLock::isCurrent() const {
  return lastSequence_.load(kRelaxed) == getSequence();
}

void ZAbstractProcessReadWriteLock::unlock() { unlock(getUpdate()); }

void ZAbstractProcessReadWriteLock::unlock(int update) {
  try {
    sync(update);
  } catch (...) {
    // A failed update of the shared sequence must not leave the lock held.
    lock(kUnset);
    throw;
  }
  lock(kUnset);
}

int ZAbstractProcessReadWriteLock::haveLock(zlockstate state) const {
  return lockState_.load(kRelaxed) == state;
}

int ZAbstractProcessReadWriteLock::ownWriteLock() const {
  return lockState_.load(kRelaxed) == kWrite;
}

int ZAbstractProcessReadWriteLock::getUpdate() const { return update_.load(kRelaxed); }

void ZAbstractProcessReadWriteLock::setUpdate(int update) { update_.store(update, kRelaxed); }

void ZAbstractProcessReadWriteLock::readLock() { lock(kRead); }

void ZAbstractProcessReadWriteLock::writeLock() { lock(kWrite); }

void ZAbstractProcessReadWriteLock::readWithIntentToWriteLock() { lock(kProtect); }

void ZAbstractProcessReadWriteLock::promoteReadToWriteLock() {}

ZReadWriteLockInterface::zlockstate ZAbstractProcessReadWriteLock::getLockState() const {
  return lockState_.load(kRelaxed);
}

const ZLCString& ZAbstractProcessReadWriteLock::getLockName() const { return lockName_; }

void ZAbstractProcessReadWriteLock::setLockName(const ZLCString& name) {
  if (lockName_.equals(name.getChars())) return;
  if (lockState_.load(kRelaxed) == kUnset) return;
  unlock();
  lockName_ = name;
}

int ZAbstractProcessReadWriteLock::getReaderCount() { return rwlock_.getReaderCount(); }

unsigned long ZAbstractProcessReadWriteLock::getSequence() const {
  return sequence_.load(kRelaxed);
}

void ZAbstractProcessReadWriteLock::incSequence() {
  unsigned long next = sequence_.load(kRelaxed) + 1;
  if (next == invalidSequence) next = 0;
  sequence_.store(next, kRelaxed);
}

unsigned long ZAbstractProcessReadWriteLock::getLastSequence() const {
  return lastSequence_.load(kRelaxed);
}

void ZAbstractProcessReadWriteLock::setLastSequence(unsigned long value) {
  lastSequence_.store(value, kRelaxed);
}

void ZAbstractProcessReadWriteLock::setLastSequence() { setLastSequence(getSequence()); }

void ZAbstractProcessReadWriteLock::sync(int update) {
  zlockstate held = lockState_.load(kRelaxed);
  if (held == kWrite && update != 0) incSequence();
  if (held != kUnset) setLastSequence();
}

void ZAbstractProcessReadWriteLock::notifyLockObservers() {
  if (isCurrent() || countObservers() == 0) return;
  // The in-process lock remembers its last writer even after a release, so
  // its state is asked as well.
  if (!(rwlock_.haveLock(kWrite) && rwlock_.ownWriteLock())) {
    rwlock_.unlock();
    rwlock_.writeLock();
  }
  if (isCurrent()) return;
  ZSequenceUpdate update(getSequence(), getLastSequence());
  notifyObservers(update);
}

// ---------------------------------------------------------------- ZStubProcessReadWriteLock

ZStubProcessReadWriteLock::ZStubProcessReadWriteLock() {}

ZStubProcessReadWriteLock::ZStubProcessReadWriteLock(const char* lockName)
    : ZAbstractProcessReadWriteLock(lockName) {}

ZStubProcessReadWriteLock::ZStubProcessReadWriteLock(const ZStubProcessReadWriteLock& other)
    : ZAbstractProcessReadWriteLock(other), stateGuard_() {}

ZStubProcessReadWriteLock& ZStubProcessReadWriteLock::operator=(
    const ZStubProcessReadWriteLock& other) {
  ZAbstractProcessReadWriteLock::operator=(other);
  return *this;
}

ZStubProcessReadWriteLock::~ZStubProcessReadWriteLock() {}

void ZStubProcessReadWriteLock::lock(zlockstate state) {
  if (state == kUnset) {
    // Decided and recorded while this thread still holds the lock: other
    // readers may remain, and afterwards another thread may own it.
    ZResourceLock guard(stateGuard_);
    if (getLockState() != kRead || getReaderCount() <= 1) setLockState(kUnset);
    ZAbstractProcessReadWriteLock::lock(state);
    return;
  }
  ZAbstractProcessReadWriteLock::lock(state);
  ZResourceLock guard(stateGuard_);
  setLockState(state);
}

ZObject* ZStubProcessReadWriteLock::clone() const { return new ZStubProcessReadWriteLock(*this); }
