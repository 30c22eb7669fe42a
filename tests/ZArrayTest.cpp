// zbase tests: ZArray.
#include "Z/ZArray.h"

#include <new>

#include <gtest/gtest.h>

#include "ZCollectionTestObjects.h"

namespace {

TEST(ZArrayTest, OutOfRangeIndexesThrowFromTheirOwnSites) {
  EXPECT_EQ(ZArray(0, 1).size(), 1u);  // an array always has a slot
  ZArray b(3, 0);
  Val v(1);
  expectThrowAt<ZInvalidParameterException>([&] { b.remove(3); }, 22, "src/Z/ZArray", 119);
  expectThrowAt<ZInvalidParameterException>([&] { b.get(3); }, 22, "src/Z/ZArray", 139);
  expectThrowAt<ZInvalidParameterException>([&] { b.set(3, &v); }, 22, "src/Z/ZArray", 161);
  expectThrowAt<ZInvalidParameterException>([&] { b.setNoCopy(7, &v); }, 22, "src/Z/ZArray", 181);
  expectThrowAt<ZInvalidParameterException>([&] { b.swap(0, 3); }, 22, "src/Z/ZArray", 223);
  // In range: removing an empty slot and swapping a slot with itself do nothing.
  b.set(2, &v);
  b.remove(0);
  b.swap(2, 2);
  b.swap(0, 2);
  EXPECT_EQ(b.get(0), &v);
  EXPECT_EQ(b.get(2), nullptr);
}

// Lives in static storage and can be rebuilt in place, so that an array may
// delete it twice.
class Phoenix : public ZObject {
 public:
  static int deaths;
  ~Phoenix() override { ++deaths; }
  static void* operator new(std::size_t) { return storage; }
  static void operator delete(void*) {}
  alignas(std::max_align_t) static unsigned char storage[64];
};
int Phoenix::deaths = 0;
alignas(std::max_align_t) unsigned char Phoenix::storage[64];

TEST(ZArrayTest, OwningArrayClonesOnSetAndDeletesWhatItLetsGo) {
  int before = Val::live;
  {
    ZArray a(4, 1);
    Val mine(7);
    a.set(0, &mine);  // a clone; the caller keeps its object
    EXPECT_NE(a.get(0), &mine);
    EXPECT_EQ(valOf(a.get(0)), 7);
    a.setNoCopy(1, new Val(8));
    a.set(1, &mine);  // deletes the adopted object
    a.remove(0);
    EXPECT_EQ(Val::live, before + 2);
  }
  EXPECT_EQ(Val::live, before);

  // Storing the occupant into its own slot deletes it while it stays stored.
  Phoenix::deaths = 0;
  {
    ZArray a(1, 1);
    a.setNoCopy(0, new Phoenix());
    a.setNoCopy(0, a.get(0));
    EXPECT_EQ(Phoenix::deaths, 1);
    ::new (Phoenix::storage) Phoenix();
  }
  EXPECT_EQ(Phoenix::deaths, 2);
}

TEST(ZArrayTest, CopyAndAssignment) {
  int before = Val::live;
  {
    ZArray owning(3, 1);
    Val one(1), three(3);
    owning.set(0, &one);
    owning.set(2, &three);
    ZArray copy(owning);  // clones the members, keeps the empty slot
    EXPECT_NE(copy.get(0), owning.get(0));
    EXPECT_EQ(valOf(copy.get(2)), 3);
    EXPECT_EQ(copy.get(1), nullptr);

    // A 5-slot owning target deletes its members, then takes 3 slots of clones.
    ZArray target(5, 1);
    for (unsigned int i = 0; i < 5; ++i) target.set(i, &one);
    target = owning;
    EXPECT_EQ(target.size(), 3u);
    EXPECT_EQ(Val::live, before + 2 + 2 + 2 + 2);
    // A non-owning target stays non-owning and copies the pointers.
    ZArray plain(1, 0);
    plain = owning;
    EXPECT_FALSE(plain.ownsMembers());
    EXPECT_EQ(plain.get(2), owning.get(2));
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZArrayTest, SearchesSkipEmptySlotsAndNullProbes) {
  ZArray a(6, 0);
  Val x(5), y(6), probe(5), absent(9);
  a.set(1, &x);
  a.set(3, &y);
  a.set(4, &x);
  EXPECT_EQ(a.indexOf(&probe), 1u);
  EXPECT_EQ(a.lastIndexOf(&probe), 4u);
  EXPECT_TRUE(a.contains(&probe));
  EXPECT_EQ(a.indexOf(&absent), ~0u);
  EXPECT_EQ(a.lastIndexOf(nullptr), ~0u);
  EXPECT_FALSE(a.contains(nullptr));
  Val::resetCounts();
  a.lastIndexOf(&absent);
  EXPECT_EQ(Val::equalsCalls, 3);  // the occupied slots only
}

}  // namespace
