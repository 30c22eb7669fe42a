// zbase tests: ZArrayList, its iterators, sorting, shuffling and ZArrayStack.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <random>
#include <vector>

#include "Z/ZArrayList.h"
#include "ZCollectionTestObjects.h"
#include "ZLockTestSupport.h"

namespace {

void fill(ZList& l, const std::vector<int>& vs) {
  for (int v : vs) {
    Val x(v);
    l.add(&x);
  }
}

TEST(ZArrayListTest, GrowsByHalfAndIgnoresIndexesOutOfRange) {
  ZArrayList l(0, 0);
  Val v(0);
  std::vector<unsigned int> caps{l.capacity()};
  for (int i = 0; i < 20; ++i) {
    l.add(&v);
    if (l.capacity() != caps.back()) caps.push_back(l.capacity());
  }
  EXPECT_EQ(caps, (std::vector<unsigned int>{1, 2, 3, 4, 6, 9, 13, 19, 28}));
  l.removeAll();
  EXPECT_EQ(l.capacity(), 28u);  // never shrinks

  int before = Val::live;
  ZArrayList m(5, 1);
  fill(m, {0, 1, 2});
  Val three(3), front(9);
  m.add(5, &three);  // beyond the end: ignored, nothing cloned
  m.add(3, &three);  // at the end: appended
  m.add(0, &front);
  m.remove(5u);
  m.swap(0, 5);
  m.set(5, &three);
  EXPECT_EQ(m.get(5), nullptr);
  EXPECT_EQ(values(m), (std::vector<int>{9, 0, 1, 2, 3}));
  m.swap(0, 4);
  m.remove(1u);
  EXPECT_EQ(values(m), (std::vector<int>{3, 1, 2, 9}));
  EXPECT_EQ(Val::live, before + 2 + 4);  // no clone for the ignored insertion
}

TEST(ZArrayListTest, OwnershipDecidesCloningAndDeletion) {
  int before = Val::live;
  {
    ZArrayList owning(2, 1);
    Val c(1), b(2);
    owning.add(&c);
    EXPECT_NE(owning.get(0), &c);
    owning.addNoCopy(new Val(3));
    owning.set(0, &b);  // deletes the clone of c
    owning.remove(&b);
    EXPECT_EQ(values(owning), (std::vector<int>{3}));
    EXPECT_EQ(Val::live, before + 3);

    ZArrayList copy(owning);  // an owning copy clones
    EXPECT_NE(copy.get(0), owning.get(0));
    ZArrayList plain(1, 0);
    plain = owning;  // a non-owning target copies the pointers
    EXPECT_EQ(plain.get(0), owning.get(0));
    owning.addList(owning);  // adding a list to itself doubles it once
    EXPECT_EQ(values(owning), (std::vector<int>{3, 3}));
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZArrayListTest, SearchesPassOverNullMembersAndNullProbesAndSubListTakesBothEnds) {
  ZArrayList l(4, 0);
  Val x(1), y(2), probe(1), a(7);
  for (const ZObject* o : std::vector<const ZObject*>{nullptr, &x, &y, nullptr, &x}) l.add(o);
  Val::resetCounts();
  EXPECT_EQ(l.indexOf(&probe), 1u);
  EXPECT_EQ(l.lastIndexOf(&probe), 4u);
  EXPECT_EQ(Val::equalsCalls, 2);
  EXPECT_EQ(l.indexOf(nullptr), ~0u);
  EXPECT_EQ(l.lastIndexOf(&a), ~0u);

  // subList takes both ends and adds to the target.
  ZArrayList five(5, 1), target(1, 0);
  fill(five, {10, 11, 12, 13, 14});
  five.subList(target, 1, 3);
  five.subList(target, 2, 5);
  five.subList(target, 3, 2);
  EXPECT_EQ(values(target), (std::vector<int>{11, 12, 13}));
}

TEST(ZArrayListTest, IteratorsWalkRemoveAndFind) {
  ZArrayList l(3, 1);
  fill(l, {0, 1, 2, 3, 4, 5});
  // Removing the even members while walking still visits each member once.
  std::vector<int> seen;
  ZListIterator it(l);
  while (it.hasMore()) {
    ZObject* o = it.getNext();
    seen.push_back(valOf(o));
    if (valOf(o) % 2 == 0) l.remove(it);
  }
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(values(l), (std::vector<int>{1, 3, 5}));

  it.reset();
  EXPECT_EQ(valOf(it.findNext(Val(3))), 3);
  EXPECT_EQ(l.indexOf(it), 1u);
  EXPECT_EQ(it.findNext(Val(3)), nullptr);
  l.backUp(it);
  EXPECT_EQ(valOf(it.getNext()), 5);

  // Assignment copies the position only; each iterator keeps its own list.
  ZArrayList other(2, 1);
  fill(other, {7, 8});
  ZListIterator walker(other);
  it.reset();
  it.getNext();
  walker = it;
  EXPECT_EQ(valOf(walker.getNext()), 8);
}

// Fails the test when sorting hands it a null member.
class CheckedCompare : public ZSortCompare {
 public:
  int sortCompare(const ZObject* a, const ZObject* b) const override {
    ++calls;
    if (a == nullptr || b == nullptr) {
      ADD_FAILURE() << "null member compared";
      return 0;
    }
    return a->compare(*b);
  }
  mutable int calls = 0;
};

TEST(ZArrayListTest, SortOrdersByCompareAndLeavesNullsInPlace) {
  const ZSortCompare& dflt = ZSortCompare::defaultSortCompare();
  ZArrayList l(8, 1);
  fill(l, {5, 3, 9, 1, 3, 7, 0});
  l.sort(dflt, ZSortCompare::ascending);
  EXPECT_EQ(values(l), (std::vector<int>{0, 1, 3, 3, 5, 7, 9}));
  l.sort(dflt, static_cast<ZSortCompare::sortorder>(7));  // anything but ascending
  EXPECT_EQ(values(l), (std::vector<int>{9, 7, 5, 3, 3, 1, 0}));

  // The middle member, where the pivot is taken, is null.
  CheckedCompare checked;
  ZArrayList holes(5, 0);
  Val v3(3), v1(1);
  for (const ZObject* o : std::vector<const ZObject*>{&v3, nullptr, &v1}) holes.add(o);
  holes.sort(checked, ZSortCompare::ascending);
  EXPECT_EQ(values(holes), (std::vector<int>{1, -1, 3}));
  EXPECT_EQ(checked.calls, 2);

  // Randomised: the non-null members come out sorted around fixed nulls.
  std::mt19937 rng(12345);
  std::vector<Val> pool;
  for (int i = 0; i < 400; ++i) pool.emplace_back(static_cast<int>(rng() % 50));
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    ZArrayList r(1, 0);
    for (unsigned int i = 0, n = rng() % 60; i < n; ++i)
      r.add(rng() % 4 == 0 ? nullptr : &pool[rng() % 400]);
    std::vector<int> before = values(r), nonNull, expected;
    bool up = round % 2 == 0;
    r.sort(checked, up ? ZSortCompare::ascending : ZSortCompare::descending);
    for (int x : before)
      if (x >= 0) nonNull.push_back(x);
    std::sort(nonNull.begin(), nonNull.end());
    if (!up) std::reverse(nonNull.begin(), nonNull.end());
    size_t k = 0;
    for (int x : before) expected.push_back(x < 0 ? -1 : nonNull[k++]);
    EXPECT_EQ(values(r), expected);
  }
}

// Threads that ask for the shared comparison at the same moment all get the
// one object, made once (a race here shows under the thread sanitizer).
TEST(ZArrayListTest, DefaultSortCompareIsMadeOnceWhenFirstUsesRace) {
  const int kThreads = 8;
  std::atomic<bool> go{false};
  std::vector<const ZSortCompare*> seen(kThreads, nullptr);
  {
    std::vector<std::unique_ptr<BoundedThread>> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back(new BoundedThread([&go, &seen, i] {
        while (!go) std::this_thread::yield();
        seen[i] = &ZSortCompare::defaultSortCompare();
      }));
    }
    go = true;
  }  // joined within a time bound
  EXPECT_EQ(std::vector<const ZSortCompare*>(kThreads, seen[0]), seen);
}

// Counts swaps, to see the shuffle work through swap().
class CountingList : public ZArrayList {
 public:
  using ZArrayList::ZArrayList;
  void swap(unsigned int i, unsigned int j) override {
    ++swaps;
    ZArrayList::swap(i, j);
  }
  int swaps = 0;
};

TEST(ZArrayListTest, ShufflesWithinOneSecondAgree) {
  std::vector<Val> pool;
  for (int i = 0; i < 20; ++i) pool.emplace_back(i);
  std::vector<int> a, b;
  for (int attempt = 0; attempt < 5 && a.empty(); ++attempt) {
    CountingList x(20, 0), y(20, 0);
    for (Val& v : pool) x.add(&v), y.add(&v);
    std::time_t t0 = std::time(nullptr);
    x.shuffle();
    y.shuffle();
    if (std::time(nullptr) != t0) continue;  // crossed a second boundary
    EXPECT_EQ(x.swaps, 19);
    a = values(x);
    b = values(y);
  }
  ASSERT_EQ(a.size(), 20u);
  EXPECT_EQ(a, b);
  std::sort(a.begin(), a.end());
  for (int i = 0; i < 20; ++i) EXPECT_EQ(a[i], i);  // a permutation
}

TEST(ZArrayListTest, StackPopsFromTheTopAndPopallStopsAtNull) {
  ZArrayStack s(0);
  EXPECT_EQ(s.pop(), nullptr);
  Val a(1), b(2);
  s.push(&a);
  s.push(nullptr);
  s.push(&b);
  EXPECT_EQ(s.get(2), &b);  // never cloned
  ZObject* cl = s.clone();
  s.popall();  // pops b, then stops at the null
  EXPECT_EQ(s.size(), 1u);
  ZArrayStack* cs = static_cast<ZArrayStack*>(cl);
  EXPECT_EQ(std::vector<ZObject*>({&b, nullptr, &a}),  // with the null member
            std::vector<ZObject*>({cs->pop(), cs->pop(), cs->pop()}));
  EXPECT_TRUE(cs->isEmpty());
  delete cl;
}

}  // namespace
