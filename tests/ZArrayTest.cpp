// zbase tests: ZArray.
#include "Z/ZArray.h"

#include <new>

#include <gtest/gtest.h>

#include "ZCollectionTestObjects.h"

namespace {

constexpr unsigned int kNone = ~0u;

TEST(ZArrayTest, OutOfRangeIndexesThrowFromTheirOwnSites) {
  ZArray a(0, 1);
  EXPECT_EQ(a.size(), 1u);  // an array always has a slot
  ZArray b(3, 0);
  Val v(1);
  expectThrowAt<ZInvalidParameterException>([&] { b.remove(3); }, 22, "src/Z/ZArray", 119);
  expectThrowAt<ZInvalidParameterException>([&] { b.get(3); }, 22, "src/Z/ZArray", 139);
  expectThrowAt<ZInvalidParameterException>([&] { b.set(3, &v); }, 22, "src/Z/ZArray", 161);
  expectThrowAt<ZInvalidParameterException>([&] { b.setNoCopy(7, &v); }, 22, "src/Z/ZArray", 181);
  expectThrowAt<ZInvalidParameterException>([&] { b.swap(0, 3); }, 22, "src/Z/ZArray", 223);
  expectThrowAt<ZInvalidParameterException>([&] { b.swap(3, 0); }, 22, "src/Z/ZArray", 223);
  expectThrowAt<ZInvalidParameterException>([&] { a.get(1); }, 22, "src/Z/ZArray", 139);
  // In range: removing an empty slot and swapping a slot with itself do nothing.
  b.set(2, &v);
  b.remove(0);
  b.swap(2, 2);
  EXPECT_EQ(b.get(2), &v);
  b.swap(0, 2);
  EXPECT_EQ(b.get(0), &v);
  EXPECT_EQ(b.get(2), nullptr);
}

TEST(ZArrayTest, OwningArrayClonesOnSetAndDeletesWhatItLetsGo) {
  int before = Val::live;
  {
    ZArray a(4, 1);
    Val mine(7);
    a.set(0, &mine);  // a clone is stored, the caller keeps its object
    ASSERT_NE(a.get(0), &mine);
    EXPECT_EQ(valOf(a.get(0)), 7);
    Val* given = new Val(8);
    a.setNoCopy(1, given);  // stored as it is, deleted by the array later
    EXPECT_EQ(a.get(1), given);
    EXPECT_EQ(Val::live, before + 3);
    a.set(1, &mine);  // replaces and deletes `given`
    EXPECT_EQ(Val::live, before + 3);
    a.set(2, nullptr);
    EXPECT_EQ(a.get(2), nullptr);
    a.remove(0);
    EXPECT_EQ(Val::live, before + 2);
    a.set(3, &mine);
  }
  EXPECT_EQ(Val::live, before);
}

// Storing the occupant itself into its own slot deletes it while it stays
// stored. The object below lives in static storage and can be rebuilt in place,
// so that the array's later deletion meets a live object.
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

TEST(ZArrayTest, SetNoCopyOfTheOccupantDeletesIt) {
  static_assert(sizeof(Phoenix) <= sizeof(Phoenix::storage), "storage too small");
  Phoenix::deaths = 0;
  {
    ZArray a(2, 1);
    Phoenix* p = new Phoenix();
    a.setNoCopy(0, p);
    a.setNoCopy(0, a.get(0));
    EXPECT_EQ(Phoenix::deaths, 1);
    EXPECT_EQ(a.get(0), p);
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
    EXPECT_EQ(copy.size(), 3u);
    EXPECT_TRUE(copy.ownsMembers());
    EXPECT_NE(copy.get(0), owning.get(0));
    EXPECT_EQ(valOf(copy.get(0)), 1);
    EXPECT_EQ(copy.get(1), nullptr);
    EXPECT_EQ(valOf(copy.get(2)), 3);

    // A 5-slot owning target: its members go first, then it takes 3 slots.
    ZArray target(5, 1);
    for (unsigned int i = 0; i < 5; ++i) target.set(i, &one);
    EXPECT_EQ(Val::live, before + 2 + 2 + 2 + 5);
    target = owning;
    EXPECT_EQ(target.size(), 3u);
    EXPECT_EQ(Val::live, before + 2 + 2 + 2 + 2);
    EXPECT_NE(target.get(2), owning.get(2));

    // A non-owning target stays non-owning and copies the pointers.
    ZArray plain(1, 0);
    plain = owning;
    EXPECT_FALSE(plain.ownsMembers());
    EXPECT_EQ(plain.size(), 3u);
    EXPECT_EQ(plain.get(2), owning.get(2));
    plain = plain;
    EXPECT_EQ(plain.get(2), owning.get(2));
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZArrayTest, SearchesSkipEmptySlotsAndNullProbes) {
  ZArray a(6, 0);
  Val x(5), y(6), probe(5);
  a.set(1, &x);
  a.set(3, &y);
  a.set(4, &x);
  EXPECT_EQ(a.indexOf(&probe), 1u);
  EXPECT_EQ(a.lastIndexOf(&probe), 4u);
  EXPECT_TRUE(a.contains(&probe));
  Val absent(9);
  EXPECT_EQ(a.indexOf(&absent), kNone);
  EXPECT_EQ(a.lastIndexOf(&absent), kNone);
  EXPECT_FALSE(a.contains(&absent));
  EXPECT_EQ(a.indexOf(nullptr), kNone);
  EXPECT_EQ(a.lastIndexOf(nullptr), kNone);
  EXPECT_FALSE(a.contains(nullptr));
  // Only the three occupied slots were asked about, for each full search.
  Val::resetCounts();
  a.indexOf(&absent);
  EXPECT_EQ(Val::equalsCalls, 3);
}

}  // namespace
