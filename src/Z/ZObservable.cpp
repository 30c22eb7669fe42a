// zbase: the observer mechanism: observables, observers and their arguments.
#include "Z/ZObservable.h"

#include <cstdint>

unsigned int Voyeur::hash() const {
  return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(observer_));
}

int Voyeur::compare(const ZObject& other) const {
  const Voyeur* v = dynamic_cast<const Voyeur*>(&other);
  if (v == nullptr) return ZObject::compare(other);
  std::uintptr_t me = reinterpret_cast<std::uintptr_t>(observer_);
  std::uintptr_t them = reinterpret_cast<std::uintptr_t>(v->observer_);
  if (me == them) return 0;
  return me < them ? -1 : 1;
}

ZObject* Voyeur::clone() const { return new Voyeur(observer_); }

ZAbstractObservable::ZAbstractObservable() : observers_(2, 1) {}

ZAbstractObservable::~ZAbstractObservable() {}

void ZAbstractObservable::addObserver(ZObserverInterface* o) {
  ZResourceLock hold(guard_);
  Voyeur v(o);
  if (!observers_.contains(&v)) observers_.add(&v);
}

void ZAbstractObservable::deleteObserver(ZObserverInterface* o) {
  ZResourceLock hold(guard_);
  Voyeur v(o);
  observers_.remove(&v);
}

void ZAbstractObservable::deleteObservers() {
  ZResourceLock hold(guard_);
  observers_.removeAll();
}

int ZAbstractObservable::countObservers() {
  ZResourceLock hold(guard_);
  return static_cast<int>(observers_.size());
}

void ZAbstractObservable::notifyObservers(const ZObservedParm& parm) {
  ZResourceLock hold(guard_);
  unsigned int n = observers_.size();
  for (unsigned int i = 0; i < n; ++i) {
    Voyeur* v = static_cast<Voyeur*>(observers_.get(i));
    // A null observer may be registered; there is nobody to call.
    if (v != nullptr && v->observer() != nullptr) v->observer()->update(this, parm);
  }
}
