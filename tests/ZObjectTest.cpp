// Tests of the root object: identity semantics and allocation failure.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "Z/ZException.h"
#include "Z/ZObject.h"
#include "ZTestSupport.h"

// Let the sanitizers' allocators answer an impossible request with null, as
// the system allocator does, instead of stopping the program.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace {

TEST(ZObjectTest, IdentitySemantics) {
  ZObject objects[2];
  ZObject& a = objects[0];
  ZObject& b = objects[1];
  EXPECT_EQ(0, a.compare(a));
  EXPECT_EQ(-1, a.compare(b));  // a has the lower address
  EXPECT_EQ(1, b.compare(a));
  EXPECT_TRUE(a.equals(a) && !a.equals(b));
  EXPECT_EQ(nullptr, a.clone());
  EXPECT_EQ(static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(&b)), b.hash());
}

// A value class: the operators follow its compare, not its equals or hash.
class Number : public ZObject {
 public:
  explicit Number(int v) : v_(v) {}
  int compare(const ZObject& o) const override {
    int w = static_cast<const Number&>(o).v_;
    return v_ < w ? -1 : (v_ > w ? 1 : 0);
  }
  int equals(const ZObject&) const override { return 0; }  // never consulted
  ZObject* clone() const override { return new Number(v_); }

 private:
  int v_;
};

TEST(ZObjectTest, OperatorsGoThroughCompare) {
  Number one(1), other_one(1), two(2);
  // Each operator against its opposite outcome.
  EXPECT_TRUE(one == other_one && !(one != other_one) && one <= other_one && one >= other_one);
  EXPECT_TRUE(one < two && !(two < one) && two > one && !(one > two) && !(two <= one) &&
              !(one >= two) && one != two && !(one == two));
  std::unique_ptr<ZObject> copy(two.clone());
  EXPECT_TRUE(*copy == two);
}

TEST(ZObjectTest, FailedAllocationThrowsOutOfMemory) {
  const std::size_t impossible = std::size_t(1) << 62;
  expectThrowAt<ZOutOfMemoryException>([&] { ZObject::operator new(impossible); }, 1,
                                       "src/Z/ZObject", 65);
  expectThrowAt<ZOutOfMemoryException>([&] { ZObject::operator new[](impossible); }, 1,
                                       "src/Z/ZObject", 75);
  ZObject* many = new ZObject[3];
  delete[] many;
}

}  // namespace
