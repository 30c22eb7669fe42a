// Tests of the observer mechanism.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Z/ZObservable.h"
#include "ZLockTestSupport.h"

namespace {

class Parm : public ZObservedParm {};
class Observable : public ZAbstractObservable {};

// Appends its name to a log shared by all recorders, after checking the
// source and the parameter it is given.
class Recorder : public ZObserverInterface {
 public:
  Recorder(char name, std::string* log, ZObservableInterface* source, const ZObservedParm* parm)
      : name_(name), log_(log), source_(source), parm_(parm) {}
  void update(ZObservableInterface* source, const ZObservedParm& parm) override {
    EXPECT_EQ(source_, source);
    EXPECT_EQ(parm_, &parm);
    *log_ += name_;
  }

 private:
  char name_;
  std::string* log_;
  ZObservableInterface* source_;
  const ZObservedParm* parm_;
};

TEST(ZObservableTest, NotifiesEachObserverOnceInOrderOfRegistration) {
  std::string log;
  Observable o;
  Parm p;
  Recorder a('a', &log, &o, &p), b('b', &log, &o, &p), c('c', &log, &o, &p);
  o.addObserver(&b);
  o.addObserver(&a);
  o.addObserver(&a);  // registered once: by pointer
  o.addObserver(&c);
  o.deleteObserver(&a);
  o.addObserver(&a);
  o.addObserver(nullptr);
  Recorder never('x', &log, &o, &p);
  o.deleteObserver(&never);  // never added: ignored
  EXPECT_EQ(4, o.countObservers());
  o.notifyObservers(p);  // the null entry is skipped
  EXPECT_EQ("bca", log);
  o.deleteObservers();
  EXPECT_EQ(0, o.countObservers());
}

// Deregisters itself from inside update: the lock admits the same thread.
class Leaver : public ZObserverInterface {
 public:
  void update(ZObservableInterface* source, const ZObservedParm&) override {
    source->deleteObserver(this);
  }
};

class Thrower : public ZObserverInterface {
 public:
  void update(ZObservableInterface*, const ZObservedParm&) override { throw 42; }
};

TEST(ZObservableTest, ReentryFromUpdateAndExceptionsReleaseTheLock) {
  Observable o;
  Leaver leaver;
  Thrower thrower;
  Parm p;
  o.addObserver(&leaver);
  o.notifyObservers(p);
  EXPECT_EQ(0, o.countObservers());
  o.addObserver(&thrower);
  EXPECT_THROW(o.notifyObservers(p), int);
  int seen = -1;
  BoundedThread other([&] { seen = o.countObservers(); });  // the lock is free again
  other.join();
  EXPECT_EQ(1, seen);
}

TEST(ZObservableTest, VoyeurComparesObserverPointers) {
  Leaver rs[2];
  Voyeur a(&rs[0]), a2(&rs[0]), b(&rs[1]);
  EXPECT_TRUE(a.equals(a2) && a.hash() == a2.hash());
  EXPECT_EQ(-1, a.compare(b));
  std::unique_ptr<ZObject> c(b.clone());
  EXPECT_EQ(&rs[1], static_cast<Voyeur*>(c.get())->observer());
}

}  // namespace
