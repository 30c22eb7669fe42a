// zbase tests: ZHashKeyMap and ZKeyEntry.
#include "Z/ZHashKeyMap.h"

#include <vector>

#include <gtest/gtest.h>

#include "ZCollectionTestObjects.h"

namespace {

std::vector<int> keys(const ZKeyMap& m) {
  ZArrayList l(1, 0);
  m.listKeys(l);
  std::vector<int> out;
  for (unsigned int i = 0; i < l.size(); ++i) out.push_back(valOf(l.get(i)));
  return out;
}

std::vector<int> objects(const ZKeyMap& m) {
  ZArrayList l(1, 0);
  m.listObjects(l);
  std::vector<int> out;
  for (unsigned int i = 0; i < l.size(); ++i) out.push_back(valOf(l.get(i)));
  return out;
}

TEST(ZHashKeyMapTest, OwningPutClonesTwiceAndReplacesTheOldPair) {
  int before = Val::live;
  {
    ZHashKeyMap m(2, 1);
    Val k(1, 4), a(10), b(20);
    Val::resetCounts();
    m.putEntry(&k, &a);
    EXPECT_EQ(Val::clones, 4);              // key and value, twice each
    EXPECT_EQ(Val::live, before + 3 + 2);   // only the second clones remain
    m.putEntry(&k, &b);
    EXPECT_EQ(Val::live, before + 3 + 2);   // the old key and value are gone
    EXPECT_EQ(m.size(), 1u);
    EXPECT_EQ(keys(m), (std::vector<int>{1}));
    ZObject* v = m.getEntry(&k);
    EXPECT_NE(v, &b);
    EXPECT_EQ(valOf(v), 20);

    Val k2(2, 5);
    m.putEntry(&k2, &a);
    ZHashKeyMap copy(m);
    EXPECT_NE(copy.getEntry(&k2), m.getEntry(&k2));
    EXPECT_EQ(valOf(copy.getEntry(&k2)), 10);
    m.removeEntry(&k);
    EXPECT_FALSE(m.contains(&k));
    EXPECT_EQ(m.size(), 1u);
    EXPECT_EQ(Val::live, before + 4 + 2 + 4);  // locals, m's pair, copy's pairs
    ZObject* cl = copy.clone();
    static_cast<ZHashKeyMap*>(cl)->removeAll();
    EXPECT_TRUE(static_cast<ZHashKeyMap*>(cl)->isEmpty());
    delete cl;
    EXPECT_EQ(copy.size(), 2u);
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
  EXPECT_FALSE(m.contains(&absent));
  ZArrayList l(1, 0);
  m.listKeys(l);
  EXPECT_EQ(l.get(0), &k);
  // A null key is ignored.
  m.putEntry(nullptr, &v);
  EXPECT_EQ(m.getEntry(nullptr), nullptr);
  EXPECT_FALSE(m.contains(nullptr));
  m.removeEntry(nullptr);
  EXPECT_EQ(m.size(), 1u);

  // Assignment takes the other's ownership: the target now clones.
  ZHashKeyMap owning(2, 1);
  m = owning;
  m.putEntry(&k, &v);
  EXPECT_NE(m.getEntry(&k), &v);
}

TEST(ZHashKeyMapTest, HashesSeparateKeysBeforeEqualsDoes) {
  ZHashKeyMap m(2, 1);  // 3 buckets
  Val sameValueA(7, 0), sameValueB(7, 3), collideA(1, 4), collideB(2, 4), v(0);
  Val::resetCounts();
  m.putEntry(&sameValueA, &v);
  m.putEntry(&sameValueB, &v);  // same bucket, different hash: never compared
  EXPECT_EQ(Val::equalsCalls, 0);
  EXPECT_EQ(m.size(), 2u);
  m.putEntry(&collideA, &sameValueA);
  m.putEntry(&collideB, &sameValueB);  // same hash: told apart by equals
  EXPECT_EQ(Val::equalsCalls, 1);
  EXPECT_EQ(m.size(), 4u);
  EXPECT_EQ(keys(m), (std::vector<int>{7, 7, 1, 2}));
  EXPECT_EQ(objects(m), (std::vector<int>{0, 0, 7, 7}));
  EXPECT_EQ(valOf(m.getEntry(&collideB)), 7);

  ZHashKeyMap other(2, 0);
  Val k9(9, 2), v9(99), newValue(70);
  other.putEntry(&k9, &v9);
  other.putEntry(&collideA, &newValue);
  m.putAll(other);
  EXPECT_EQ(keys(m), (std::vector<int>{7, 7, 1, 2, 9}));
  EXPECT_EQ(objects(m), (std::vector<int>{0, 0, 70, 7, 99}));
  m.putAll(m);
  EXPECT_EQ(m.size(), 5u);
}

TEST(ZHashKeyMapTest, EntryEqualityTrustsTheCachedHashes) {
  Val k(1, 5), same(1, 5);
  ZKeyEntry a(&k, nullptr, 0), b(&same, nullptr, 0);
  EXPECT_TRUE(a.equals(b));  // both hashes still 0
  EXPECT_EQ(a.hash(), 5u);
  EXPECT_FALSE(a.equals(b));  // only one of them hashed
  EXPECT_EQ(b.hash(), 5u);
  EXPECT_TRUE(a.equals(b));
  ZObject* c = a.clone();  // carries the cached hash and the same key
  EXPECT_TRUE(c->equals(b));
  EXPECT_EQ(static_cast<ZKeyEntry*>(c)->getKey(), &k);
  delete c;
  Val bigger(2, 5);
  ZKeyEntry d(&bigger, nullptr, 0);
  EXPECT_EQ(a.compare(d), -1);
  EXPECT_EQ(d.compare(a), 1);
  EXPECT_FALSE(a.equals(k));
}

}  // namespace
