// zbase tests: small value objects for the collection suites.
#ifndef Z_TESTS_ZCOLLECTIONTESTOBJECTS_H_
#define Z_TESTS_ZCOLLECTIONTESTOBJECTS_H_

#include <gtest/gtest.h>

#include <vector>

#include "Z/ZArrayList.h"
#include "Z/ZException.h"
#include "Z/ZObject.h"
#include "ZTestSupport.h"

// An int value with a chosen hash. Counts live objects, clones and equals
// calls so that tests can see what a collection copies, deletes and asks.
class Val : public ZObject {
 public:
  static int live;
  static int clones;
  static int equalsCalls;
  static void resetCounts() { clones = equalsCalls = 0; }

  explicit Val(int v, unsigned int h = 0) : v_(v), h_(h) { ++live; }
  Val(const Val& o) : ZObject(), v_(o.v_), h_(o.h_) { ++live; }
  ~Val() override { --live; }

  unsigned int hash() const override { return h_; }
  int compare(const ZObject& other) const override {
    const Val* o = dynamic_cast<const Val*>(&other);
    if (o == nullptr) return ZObject::compare(other);
    return v_ < o->v_ ? -1 : (v_ > o->v_ ? 1 : 0);
  }
  ZObject* clone() const override {
    ++clones;
    return new Val(*this);
  }
  int equals(const ZObject& other) const override {
    ++equalsCalls;
    return ZObject::equals(other);
  }
  int v() const { return v_; }

 private:
  int v_;
  unsigned int h_;
};

inline int Val::live = 0;
inline int Val::clones = 0;
inline int Val::equalsCalls = 0;

// The value of a Val member, -1 for null.
inline int valOf(const ZObject* o) { return o == nullptr ? -1 : static_cast<const Val*>(o)->v(); }

// The values of a list's members, in order.
inline std::vector<int> values(const ZList& l) {
  std::vector<int> out;
  for (unsigned int i = 0; i < l.size(); ++i) out.push_back(valOf(l.get(i)));
  return out;
}

#endif  // Z_TESTS_ZCOLLECTIONTESTOBJECTS_H_
