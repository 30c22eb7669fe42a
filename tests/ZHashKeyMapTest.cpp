// zbase tests: ZHashKeyMap and ZKeyEntry.
#include <gtest/gtest.h>

#include <vector>

#include "Z/ZHashKeyMap.h"
#include "ZCollectionTestObjects.h"

namespace {

// The keys (or values) as listed, -1 for null.
std::vector<int> listed(const ZKeyMap& m, bool objects) {
  ZArrayList l(1, 0);
  objects ? m.listObjects(l) : m.listKeys(l);
  return values(l);
}

TEST(ZHashKeyMapTest, OwningPutClonesTwiceAndReplacesTheOldPair) {
  int before = Val::live;
  {
    ZHashKeyMap m(2, 1);
    Val k(1, 4), a(10), b(20), k2(2, 5);
    Val::resetCounts();
    m.putEntry(&k, &a);
    EXPECT_EQ(Val::clones, 4);  // key and value, twice each
    m.putEntry(&k, &b);
    EXPECT_EQ(Val::live, before + 4 + 2);  // only the last pair's second clones
    EXPECT_EQ(listed(m, false), (std::vector<int>{1}));
    EXPECT_NE(m.getEntry(&k), &b);
    EXPECT_EQ(valOf(m.getEntry(&k)), 20);

    m.putEntry(&k2, &a);
    ZHashKeyMap copy(m);
    EXPECT_NE(copy.getEntry(&k2), m.getEntry(&k2));
    m.removeEntry(&k);
    EXPECT_FALSE(m.contains(&k));
    EXPECT_EQ(Val::live, before + 4 + 2 + 4);
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZHashKeyMapTest, NonOwningMapKeepsPointersAndNullValues) {
  ZHashKeyMap m(2, 0);
  Val k(1, 1), v(2), absent(3, 3);
  m.putEntry(&k, nullptr);
  EXPECT_TRUE(m.contains(&k));
  EXPECT_EQ(m.getEntry(&k), nullptr);
  m.putEntry(&k, &v);
  EXPECT_EQ(m.getEntry(&k), &v);
  EXPECT_EQ(m.getEntry(&absent), nullptr);
  m.putEntry(nullptr, &v);  // ignored
  EXPECT_FALSE(m.contains(nullptr));
  EXPECT_EQ(m.size(), 1u);
  // Assignment takes the other's ownership: the target now clones.
  ZHashKeyMap owning(2, 1);
  m = owning;
  m.putEntry(&k, &v);
  EXPECT_NE(m.getEntry(&k), &v);
}

TEST(ZHashKeyMapTest, HashesSeparateKeysBeforeEqualsDoes) {
  ZHashKeyMap m(2, 1);  // 3 buckets
  Val sameA(7, 0), sameB(7, 3), collideA(1, 4), collideB(2, 4), v(0);
  Val::resetCounts();
  m.putEntry(&sameA, &v);
  m.putEntry(&sameB, &v);  // same bucket, other hash: never compared
  EXPECT_EQ(Val::equalsCalls, 0);
  m.putEntry(&collideA, &sameA);
  m.putEntry(&collideB, &sameB);  // same hash: told apart by equals
  EXPECT_EQ(Val::equalsCalls, 1);
  EXPECT_EQ(listed(m, false), (std::vector<int>{7, 7, 1, 2}));
  EXPECT_EQ(listed(m, true), (std::vector<int>{0, 0, 7, 7}));

  ZHashKeyMap other(2, 0);
  Val k9(9, 2), v9(99), replaced(70);
  other.putEntry(&k9, &v9);
  other.putEntry(&collideA, &replaced);
  m.putAll(other);
  EXPECT_EQ(listed(m, false), (std::vector<int>{7, 7, 1, 2, 9}));
  EXPECT_EQ(listed(m, true), (std::vector<int>{0, 0, 70, 7, 99}));
}

TEST(ZHashKeyMapTest, EntryEqualityTrustsTheCachedHashes) {
  Val k(1, 5), same(1, 5);
  ZKeyEntry a(&k, nullptr, 0), b(&same, nullptr, 0);
  EXPECT_TRUE(a.equals(b));  // both hashes still 0
  EXPECT_EQ(a.hash(), 5u);
  EXPECT_FALSE(a.equals(b));  // only one of them hashed
  b.hash();
  ZObject* c = a.clone();  // carries the cached hash
  EXPECT_TRUE(c->equals(b));
  delete c;
}

}  // namespace
