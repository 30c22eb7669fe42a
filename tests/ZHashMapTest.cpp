// zbase tests: ZHashMap, ZArrayMap and their iterators.
#include <gtest/gtest.h>

#include <vector>

#include "Z/ZHashMap.h"
#include "ZCollectionTestObjects.h"

namespace {

std::vector<int> listed(const ZMap& m) {
  ZArrayList l(1, 0);
  m.list(l);
  return values(l);
}

// Puts Val(v) hashed to v for each v.
void put(ZMap& m, const std::vector<int>& vs) {
  for (int v : vs) {
    Val x(v, static_cast<unsigned int>(v));
    m.putEntry(&x);
  }
}

TEST(ZHashMapTest, BucketCountShowsInTheIterationOrder) {
  for (unsigned int size : {0u, 1u, 2u}) {  // 3 buckets
    SCOPED_TRACE(size);
    ZHashMap m(size, 1);
    put(m, {5, 3, 4, 6, 0});
    EXPECT_EQ(listed(m), (std::vector<int>{3, 6, 0, 4, 5}));
  }
  ZHashMap hundred(100, 1);  // 150 buckets
  put(hundred, {149, 150, 0, 1, 301});
  EXPECT_EQ(listed(hundred), (std::vector<int>{150, 0, 1, 301, 149}));
  ZHashMap seventeen(17, 1);  // 25 buckets
  put(seventeen, {24, 25, 49, 50});
  EXPECT_EQ(listed(seventeen), (std::vector<int>{25, 50, 24, 49}));
}

TEST(ZHashMapTest, EqualEntryReplacesInPlaceAndRemovalClosesTheGap) {
  int before = Val::live;
  {
    ZHashMap m(2, 1);
    put(m, {0, 3, 6, 1});
    Val three(3, 3), otherHash(6, 7), neverBucket(2, 2);
    ZObject* old = m.getEntry(&three);
    EXPECT_NE(old, &three);  // an owning map holds clones
    m.putEntry(&three);
    EXPECT_NE(m.getEntry(&three), old);
    EXPECT_EQ(Val::live, before + 3 + 4);  // the replaced clone is gone
    EXPECT_EQ(listed(m), (std::vector<int>{0, 3, 6, 1}));
    m.removeEntry(&three);
    EXPECT_EQ(listed(m), (std::vector<int>{0, 6, 1}));

    // Equal value, other hash: another bucket, not found.
    EXPECT_FALSE(m.contains(&otherHash));
    EXPECT_EQ(m.getEntry(&neverBucket), nullptr);
    m.removeEntry(&neverBucket);
    m.putEntry(nullptr);
    EXPECT_EQ(m.getEntry(nullptr), nullptr);
    EXPECT_EQ(m.size(), 3u);
    m.removeAll();
    EXPECT_TRUE(m.isEmpty());
    EXPECT_EQ(Val::live, before + 3);
    put(m, {4, 2});
    EXPECT_EQ(listed(m), (std::vector<int>{4, 2}));
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZHashMapTest, CopiesCloneAndAssignmentTakesBucketsAndOwnership) {
  int before = Val::live;
  {
    ZHashMap owning(2, 1);
    put(owning, {1, 4, 2});
    Val four(4, 4), seven(7, 7);
    ZHashMap copy(owning);
    EXPECT_NE(copy.getEntry(&four), owning.getEntry(&four));
    // A non-owning map of 15 buckets becomes an owning one of 3.
    ZHashMap target(10, 0);
    target = owning;
    EXPECT_NE(target.getEntry(&four), owning.getEntry(&four));
    target.putEntry(&seven);
    EXPECT_NE(target.getEntry(&seven), &seven);
    EXPECT_EQ(listed(target), (std::vector<int>{1, 4, 7, 2}));
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZHashMapTest, PutAllReplacesInHashMapsButDuplicatesInArrayMaps) {
  ZHashMap a(2, 1), b(2, 1);
  put(a, {1, 2});
  put(b, {2, 3});
  a.putAll(b);
  EXPECT_EQ(listed(a), (std::vector<int>{3, 1, 2}));

  ZArrayMap am(1, 1);
  put(am, {2, 5});
  am.putAll(b);
  EXPECT_EQ(listed(am), (std::vector<int>{2, 5, 3, 2}));
  Val two(2, 2), absent(9, 9);
  EXPECT_EQ(am.getIndex(&absent), ~0u);
  am.removeEntry(&two);  // the first equal entry
  EXPECT_EQ(listed(am), (std::vector<int>{5, 3, 2}));
  EXPECT_EQ(am.getIndex(&two), 2u);
  ZArrayMapIterator it(am);
  EXPECT_EQ(it.findNext(two), am.get(2));
}

TEST(ZHashMapTest, IteratorWalksASnapshot) {
  ZHashMap m(2, 0);
  Val e0(0, 0), e1(1, 1), e3(3, 3), e2(2, 2);
  m.putEntry(&e1);
  m.putEntry(&e0);
  m.putEntry(&e3);
  ZMapIterator it(m);
  m.putEntry(&e2);  // not seen by the iterator made before
  EXPECT_EQ(it.getNext(), &e0);
  ZMapIterator copy(it);  // walks on from the same place
  EXPECT_EQ(copy.getNext(), &e3);
  EXPECT_EQ(copy.getNext(), &e1);
  EXPECT_FALSE(copy.hasMore());
  EXPECT_EQ(it.getNext(), &e3);
  it.reset();
  EXPECT_EQ(it.findNext(e3), &e3);
}

}  // namespace
