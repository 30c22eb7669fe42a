// zbase tests: ZHashMap, ZArrayMap and their iterators.
#include "Z/ZHashMap.h"

#include <vector>

#include <gtest/gtest.h>

#include "ZCollectionTestObjects.h"

namespace {

constexpr unsigned int kNone = ~0u;

std::vector<int> listed(const ZMap& m) {
  ZArrayList l(1, 0);
  m.list(l);
  std::vector<int> out;
  for (unsigned int i = 0; i < l.size(); ++i) out.push_back(valOf(l.get(i)));
  return out;
}

// Puts Val(v, hash v) for each v.
void put(ZMap& m, const std::vector<int>& vs) {
  for (int v : vs) {
    Val x(v, static_cast<unsigned int>(v));
    m.putEntry(&x);
  }
}

TEST(ZHashMapTest, BucketCountShowsInTheIterationOrder) {
  // 3 buckets for sizes 0, 1 and 2: by bucket, then by insertion.
  for (unsigned int size : {0u, 1u, 2u}) {
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
  EXPECT_EQ(seventeen.size(), 4u);
}

TEST(ZHashMapTest, EqualEntryReplacesInPlaceAndRemovalClosesTheGap) {
  int before = Val::live;
  {
    ZHashMap m(2, 1);
    put(m, {0, 3, 6, 1});
    Val three(3, 3);
    ZObject* old = m.getEntry(&three);
    ASSERT_NE(old, nullptr);
    EXPECT_NE(old, &three);  // an owning map holds its own clones
    m.putEntry(&three);
    EXPECT_EQ(m.size(), 4u);
    EXPECT_NE(m.getEntry(&three), old);
    EXPECT_EQ(Val::live, before + 4 + 1);  // the replaced clone is gone
    EXPECT_EQ(listed(m), (std::vector<int>{0, 3, 6, 1}));
    m.removeEntry(&three);
    EXPECT_EQ(listed(m), (std::vector<int>{0, 6, 1}));
    EXPECT_EQ(Val::live, before + 3 + 1);

    // Same value with another hash lands elsewhere and is not found.
    Val otherHash(6, 7);
    EXPECT_EQ(m.getEntry(&otherHash), nullptr);
    EXPECT_FALSE(m.contains(&otherHash));
    Val neverBucket(2, 2);
    EXPECT_EQ(m.getEntry(&neverBucket), nullptr);
    m.removeEntry(&neverBucket);
    EXPECT_EQ(m.getEntry(nullptr), nullptr);
    m.putEntry(nullptr);
    EXPECT_EQ(m.size(), 3u);

    m.removeAll();
    EXPECT_EQ(m.size(), 0u);
    EXPECT_TRUE(m.isEmpty());
    EXPECT_EQ(Val::live, before + 3);  // the probes only
    put(m, {4, 2});
    EXPECT_EQ(listed(m), (std::vector<int>{4, 2}));
  }
  EXPECT_EQ(Val::live, before);

  ZHashMap plain(2, 0);
  Val a(1, 1);
  plain.putEntry(&a);
  EXPECT_EQ(plain.getEntry(&a), &a);
}

TEST(ZHashMapTest, CopiesCloneAndAssignmentTakesBucketsAndOwnership) {
  int before = Val::live;
  {
    ZHashMap owning(2, 1);
    put(owning, {1, 4, 2});
    ZHashMap copy(owning);
    Val four(4, 4);
    EXPECT_NE(copy.getEntry(&four), owning.getEntry(&four));
    EXPECT_EQ(listed(copy), (std::vector<int>{1, 4, 2}));
    ZObject* cl = owning.clone();
    EXPECT_EQ(listed(*static_cast<ZHashMap*>(cl)), (std::vector<int>{1, 4, 2}));
    delete cl;

    // A non-owning map with 15 buckets becomes an owning one with 3.
    ZHashMap target(10, 0);
    target = owning;
    EXPECT_EQ(listed(target), (std::vector<int>{1, 4, 2}));
    EXPECT_NE(target.getEntry(&four), owning.getEntry(&four));
    Val seven(7, 7);
    target.putEntry(&seven);
    EXPECT_NE(target.getEntry(&seven), &seven);
    EXPECT_EQ(listed(target), (std::vector<int>{1, 4, 7, 2}));
    target = target;
    EXPECT_EQ(target.size(), 4u);
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZHashMapTest, PutAllReplacesInHashMapsButDuplicatesInArrayMaps) {
  ZHashMap a(2, 1), b(2, 1);
  put(a, {1, 2});
  put(b, {2, 3});
  EXPECT_EQ(listed(b), (std::vector<int>{3, 2}));
  a.putAll(b);
  EXPECT_EQ(listed(a), (std::vector<int>{3, 1, 2}));
  a.putAll(a);
  EXPECT_EQ(a.size(), 3u);

  ZArrayMap am(1, 1);
  put(am, {2, 5});
  am.putAll(b);
  EXPECT_EQ(listed(am), (std::vector<int>{2, 5, 3, 2}));
  Val two(2, 2), absent(9, 9);
  EXPECT_EQ(am.getIndex(&two), 0u);
  EXPECT_EQ(am.getIndex(&absent), kNone);
  EXPECT_EQ(am.getIndex(nullptr), kNone);
  am.putEntry(&two);  // replaces the first equal entry in place
  EXPECT_EQ(listed(am), (std::vector<int>{2, 5, 3, 2}));
  am.removeEntry(&two);
  EXPECT_EQ(listed(am), (std::vector<int>{5, 3, 2}));
  EXPECT_TRUE(am.contains(&two));
  EXPECT_EQ(valOf(am.getEntry(&two)), 2);
  EXPECT_EQ(am.getEntry(&absent), nullptr);
  am.putAll(am);
  EXPECT_EQ(am.size(), 6u);

  ZArrayMapIterator it(am);
  std::vector<int> walked;
  while (it.hasMore()) walked.push_back(valOf(it.getNext()));
  EXPECT_EQ(walked, (std::vector<int>{5, 3, 2, 5, 3, 2}));
  am.removeAll();
  EXPECT_TRUE(am.isEmpty());
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
  std::vector<const ZObject*> rest;
  while (copy.hasMore()) rest.push_back(copy.getNext());
  EXPECT_EQ(rest, (std::vector<const ZObject*>{&e3, &e1}));
  EXPECT_EQ(copy.getNext(), nullptr);
  EXPECT_EQ(it.getNext(), &e3);

  ZHashMap empty(0, 0);
  ZMapIterator none(empty);
  EXPECT_FALSE(none.hasMore());
  none = it;
  EXPECT_EQ(none.getNext(), &e1);
  none.reset();
  Val probe(3, 3);
  EXPECT_EQ(none.findNext(probe), &e3);
  EXPECT_EQ(none.getNext(), &e1);
}

}  // namespace
