// Tests of the observer mechanism.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "Z/ZObservable.h"

namespace {

class Parm : public ZObservedParm {};

class Observable : public ZAbstractObservable {};

// Records every call in a log shared by all recorders.
struct Call {
  int who;
  ZObservableInterface* source;
  const ZObservedParm* parm;
};

class Recorder : public ZObserverInterface {
 public:
  Recorder(int id, std::vector<Call>* log) : id_(id), log_(log) {}
  void update(ZObservableInterface* source, const ZObservedParm& parm) override {
    log_->push_back({id_, source, &parm});
  }

 private:
  int id_;
  std::vector<Call>* log_;
};

TEST(ZObservableTest, RegistrationIsByPointerAndKeepsOneEntryPerObserver) {
  std::vector<Call> log;
  Recorder a(1, &log), b(2, &log);
  Observable o;
  EXPECT_EQ(0, o.countObservers());
  o.addObserver(&a);
  o.addObserver(&a);
  EXPECT_EQ(1, o.countObservers());
  o.deleteObserver(&b);  // never added: ignored
  EXPECT_EQ(1, o.countObservers());
  o.deleteObserver(&a);
  EXPECT_EQ(0, o.countObservers());
  o.addObserver(&a);
  o.addObserver(&b);
  o.addObserver(nullptr);
  EXPECT_EQ(3, o.countObservers());
  Parm p;
  o.notifyObservers(p);  // the null entry is skipped
  EXPECT_EQ(2u, log.size());
  o.deleteObservers();
  EXPECT_EQ(0, o.countObservers());
}

TEST(ZObservableTest, NotifiesInOrderOfRegistrationWithSourceAndParm) {
  std::vector<Call> log;
  Recorder r1(1, &log), r2(2, &log), r3(3, &log);
  Observable o;
  o.addObserver(&r2);
  o.addObserver(&r1);
  o.addObserver(&r3);
  o.deleteObserver(&r1);
  o.addObserver(&r1);
  Parm p;
  o.notifyObservers(p);
  ASSERT_EQ(3u, log.size());
  const int order[] = {2, 3, 1};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(order[i], log[i].who);
    EXPECT_EQ(static_cast<ZObservableInterface*>(&o), log[i].source);
    EXPECT_EQ(&p, log[i].parm);
  }
}

// Deregisters itself from inside update: the lock admits the same thread.
class Leaver : public ZObserverInterface {
 public:
  void update(ZObservableInterface* source, const ZObservedParm&) override {
    ++calls;
    source->deleteObserver(this);
  }
  int calls = 0;
};

class Thrower : public ZObserverInterface {
 public:
  void update(ZObservableInterface*, const ZObservedParm&) override { throw 42; }
};

TEST(ZObservableTest, ReentryFromUpdateAndExceptionsReleaseTheLock) {
  Observable o;
  Leaver leaver;
  o.addObserver(&leaver);
  Parm p;
  o.notifyObservers(p);
  EXPECT_EQ(1, leaver.calls);
  EXPECT_EQ(0, o.countObservers());

  Thrower thrower;
  o.addObserver(&thrower);
  EXPECT_THROW(o.notifyObservers(p), int);
  // Another thread can take the lock afterwards.
  auto other = std::async(std::launch::async, [&o] { return o.countObservers(); });
  ASSERT_EQ(std::future_status::ready, other.wait_for(std::chrono::seconds(10)));
  EXPECT_EQ(1, other.get());
}

TEST(ZObservableTest, VoyeurComparesObserverPointers) {
  std::vector<Call> log;
  Recorder rs[2] = {Recorder(1, &log), Recorder(2, &log)};
  Voyeur a(&rs[0]), a2(&rs[0]), b(&rs[1]);
  EXPECT_EQ(0, a.compare(a2));
  EXPECT_TRUE(a.equals(a2));
  EXPECT_EQ(-1, a.compare(b));
  EXPECT_EQ(1, b.compare(a));
  EXPECT_EQ(a.hash(), a2.hash());
  std::unique_ptr<ZObject> c(b.clone());
  EXPECT_TRUE(c->equals(b));
  EXPECT_EQ(&rs[1], static_cast<Voyeur*>(c.get())->observer());
}

}  // namespace
