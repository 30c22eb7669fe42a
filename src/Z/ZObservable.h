// zbase: the observer mechanism: observables, observers and their arguments.
#ifndef Z_ZOBSERVABLE_H_
#define Z_ZOBSERVABLE_H_

#include "Z/zversion.h"

#include "Z/ZArrayList.h"
#include "Z/ZLock.h"
#include "Z/ZObject.h"

class ZObserverInterface;
class ZObservedParm;

// Something that observers can register with. Observers are held by raw
// pointer and never owned.
class ZObservableInterface {
 public:
  virtual void addObserver(ZObserverInterface* o) = 0;
  virtual void deleteObserver(ZObserverInterface* o) = 0;
  virtual void deleteObservers() = 0;
  virtual int countObservers() = 0;
  virtual void notifyObservers(const ZObservedParm& parm) = 0;

 protected:
  ~ZObservableInterface() = default;
};

// The observer side: called once per notification with the observable and
// the notification's argument.
class ZObserverInterface {
 public:
  virtual void update(ZObservableInterface* source, const ZObservedParm& parm) = 0;
  virtual ~ZObserverInterface() {}
};

// Base class of notification arguments.
class ZObservedParm : public ZObject {};

// Observable with a registration-ordered list of observers, guarded by its
// own lock. The lock is held while observers are called back: an observer
// may change the registrations of the same observable from update() only
// because ZLock admits re-entry by the thread that holds it. Safe to share
// between threads.
class ZAbstractObservable : public ZObservableInterface {
 public:
  ZAbstractObservable();
  virtual ~ZAbstractObservable();

  // Registering an observer that is already registered changes nothing.
  void addObserver(ZObserverInterface* o) override;
  // An observer that is not registered is ignored.
  void deleteObserver(ZObserverInterface* o) override;
  void deleteObservers() override;
  int countObservers() override;
  // Calls the observers in the order of registration, with this observable
  // and parm, holding the lock throughout. The count is read once at the
  // start and the list is walked by index: observers registered from inside
  // update() are not called this time, and one that deletes a registration
  // makes those behind it move up, so that the next one is skipped. An
  // exception from an observer ends the walk.
  void notifyObservers(const ZObservedParm& parm) override;

 private:
  ZArrayList observers_;
  ZLock guard_;
};

// Wraps an observer pointer so that it can be kept in a list; equal when the
// pointers are equal.
class Voyeur : public ZObject {
 public:
  explicit Voyeur(ZObserverInterface* o) : observer_(o) {}
  unsigned int hash() const override;
  int compare(const ZObject& other) const override;
  ZObject* clone() const override;
  ZObserverInterface* observer() const { return observer_; }

 private:
  ZObserverInterface* observer_;
};

#endif  // Z_ZOBSERVABLE_H_
