// zbase tests: ZArrayList, its iterators, sorting, shuffling and ZArrayStack.
#include "Z/ZArrayList.h"

#include <algorithm>
#include <ctime>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ZCollectionTestObjects.h"

namespace {

constexpr unsigned int kNone = ~0u;

// The members' values, -1 for null.
std::vector<int> values(const ZList& l) {
  std::vector<int> out;
  for (unsigned int i = 0; i < l.size(); ++i) out.push_back(valOf(l.get(i)));
  return out;
}

// An owning list of the given values.
void fill(ZArrayList& l, const std::vector<int>& vs) {
  for (int v : vs) {
    Val x(v);
    l.add(&x);
  }
}

TEST(ZArrayListTest, GrowsByHalfAndIgnoresIndexesOutOfRange) {
  ZArrayList l(0, 0);
  Val v(0);
  std::vector<unsigned int> caps;
  caps.push_back(l.capacity());
  for (int i = 0; i < 20; ++i) {
    l.add(&v);
    if (l.capacity() != caps.back()) caps.push_back(l.capacity());
  }
  EXPECT_EQ(caps, (std::vector<unsigned int>{1, 2, 3, 4, 6, 9, 13, 19, 28}));
  l.removeAll();
  EXPECT_EQ(l.capacity(), 28u);  // never shrinks
  EXPECT_TRUE(l.isEmpty());

  ZArrayList m(5, 1);
  fill(m, {0, 1, 2});
  Val five(5), three(3), front(9);
  m.add(5, &five);  // beyond the end: ignored
  m.add(3, &three);  // at the end: appended
  m.add(0, &front);
  EXPECT_EQ(values(m), (std::vector<int>{9, 0, 1, 2, 3}));
  EXPECT_EQ(m.get(5), nullptr);
  m.remove(5u);
  m.swap(0, 5);
  m.set(5, &five);
  m.addNoCopy(6, nullptr);
  EXPECT_EQ(values(m), (std::vector<int>{9, 0, 1, 2, 3}));
  m.swap(0, 4);
  m.remove(1u);
  EXPECT_EQ(values(m), (std::vector<int>{3, 1, 2, 9}));
}

TEST(ZArrayListTest, OwnershipDecidesCloningAndDeletion) {
  int before = Val::live;
  {
    ZArrayList owning(2, 1);
    Val a(1), b(2);
    owning.add(&a);
    EXPECT_NE(owning.get(0), &a);
    owning.addNoCopy(new Val(3));
    owning.set(0, &b);  // replaces, deleting the clone of a
    EXPECT_EQ(values(owning), (std::vector<int>{2, 3}));
    EXPECT_EQ(Val::live, before + 4);
    owning.remove(&b);  // the first equal member
    EXPECT_EQ(values(owning), (std::vector<int>{3}));
    EXPECT_EQ(Val::live, before + 3);

    // A copy of an owning list clones; an assignment to a non-owning list
    // copies pointers and leaves the target non-owning.
    ZArrayList copy(owning);
    EXPECT_TRUE(copy.ownsMembers());
    EXPECT_NE(copy.get(0), owning.get(0));
    ZArrayList plain(1, 0);
    plain = owning;
    EXPECT_FALSE(plain.ownsMembers());
    EXPECT_EQ(plain.get(0), owning.get(0));
    ZObject* cl = owning.clone();
    EXPECT_EQ(values(*static_cast<ZArrayList*>(cl)), (std::vector<int>{3}));
    delete cl;
    EXPECT_EQ(Val::live, before + 4);

    // Adding a list to itself doubles it once.
    owning.addList(owning);
    EXPECT_EQ(values(owning), (std::vector<int>{3, 3}));
    owning.removeAll();
    EXPECT_EQ(Val::live, before + 3);
    owning.add(&a);
  }
  EXPECT_EQ(Val::live, before);
}

TEST(ZArrayListTest, SearchesPassOverNullMembers) {
  ZArrayList l(4, 0);
  Val x(1), y(2), probe(1);
  l.addNoCopy(nullptr);
  l.add(&x);
  l.add(&y);
  l.add(nullptr);
  l.add(&x);
  Val::resetCounts();
  EXPECT_EQ(l.indexOf(&probe), 1u);
  EXPECT_EQ(l.lastIndexOf(&probe), 4u);
  EXPECT_EQ(Val::equalsCalls, 2);
  EXPECT_EQ(l.indexOf(nullptr), kNone);
  EXPECT_FALSE(l.contains(nullptr));
  Val absent(7);
  EXPECT_EQ(l.indexOf(&absent), kNone);
  EXPECT_EQ(l.lastIndexOf(&absent), kNone);
  EXPECT_TRUE(l.contains(&probe));

  ZArrayList target(1, 0);
  ZArrayList five(5, 1);
  fill(five, {10, 11, 12, 13, 14});
  five.subList(target, 1, 3);
  EXPECT_EQ(values(target), (std::vector<int>{11, 12, 13}));
  five.subList(target, 2, 5);
  five.subList(target, 3, 2);
  EXPECT_EQ(target.size(), 3u);
  five.subList(target, 4, 4);
  EXPECT_EQ(values(target), (std::vector<int>{11, 12, 13, 14}));
}

TEST(ZArrayListTest, IteratorsWalkRemoveAndFind) {
  ZArrayList l(3, 1);
  fill(l, {0, 1, 2, 3, 4, 5});
  // Removing every even member while walking still visits each member once.
  std::vector<int> seen;
  ZListIterator it(l);
  while (it.hasMore()) {
    ZObject* o = it.getNext();
    seen.push_back(valOf(o));
    if (valOf(o) % 2 == 0) l.remove(it);
  }
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(values(l), (std::vector<int>{1, 3, 5}));
  EXPECT_EQ(it.getNext(), nullptr);

  it.reset();
  Val three(3);
  EXPECT_EQ(valOf(it.findNext(three)), 3);
  EXPECT_EQ(it.indexOf(), 1u);
  EXPECT_EQ(l.indexOf(it), 1u);
  EXPECT_EQ(it.findNext(three), nullptr);
  EXPECT_FALSE(it.hasMore());
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
  ZListIterator copy(it);
  EXPECT_EQ(valOf(copy.getNext()), 3);

  // A null member reads like the end, but the walk goes on after it.
  ZArrayList holes(3, 0);
  Val v(9);
  holes.add(nullptr);
  holes.add(&v);
  ZListIterator h(holes);
  EXPECT_EQ(h.getNext(), nullptr);
  EXPECT_TRUE(h.hasMore());
  EXPECT_EQ(h.getNext(), &v);
  h.reset();
  EXPECT_EQ(h.findNext(Val(9)), &v);
}

// Fails the test when sorting hands it a null member.
class CheckedCompare : public ZSortCompare {
 public:
  int sortCompare(const ZObject* a, const ZObject* b) const override {
    EXPECT_NE(a, nullptr);
    EXPECT_NE(b, nullptr);
    ++calls;
    if (a == nullptr || b == nullptr) return 0;
    return a->compare(*b);
  }
  mutable int calls = 0;
};

TEST(ZArrayListTest, SortOrdersByCompareAndLeavesNullsInPlace) {
  const ZSortCompare& dflt = ZSortCompare::defaultSortCompare();
  EXPECT_EQ(&dflt, &ZSortCompare::defaultSortCompare());
  ZArrayList l(8, 1);
  fill(l, {5, 3, 9, 1, 3, 7, 0});
  l.sort(dflt, ZSortCompare::ascending);
  EXPECT_EQ(values(l), (std::vector<int>{0, 1, 3, 3, 5, 7, 9}));
  l.sort(dflt, ZSortCompare::descending);
  EXPECT_EQ(values(l), (std::vector<int>{9, 7, 5, 3, 3, 1, 0}));
  l.sort(dflt, ZSortCompare::ascending);
  l.sort(dflt, static_cast<ZSortCompare::sortorder>(7));  // anything but ascending
  EXPECT_EQ(values(l), (std::vector<int>{9, 7, 5, 3, 3, 1, 0}));
  ZArrayList empty(1, 0);
  empty.sort(dflt, ZSortCompare::ascending);

  // Null members, also where the pivot is taken, never reach the comparison.
  Val v2(2), v1(1), v3(3);
  CheckedCompare checked;
  ZArrayList holes(5, 0);
  holes.add(&v3);
  holes.add(nullptr);
  holes.add(&v1);
  holes.sort(checked, ZSortCompare::ascending);
  EXPECT_EQ(values(holes), (std::vector<int>{1, -1, 3}));
  EXPECT_EQ(checked.calls, 2);
  holes.removeAll();
  for (const ZObject* o : {(const ZObject*)nullptr, (const ZObject*)nullptr,
                           (const ZObject*)nullptr})
    holes.add(o);
  holes.sort(checked, ZSortCompare::ascending);
  EXPECT_EQ(checked.calls, 2);  // a list of nulls compares nothing

  // Randomised: the non-null members come out sorted around fixed nulls.
  std::mt19937 rng(12345);
  std::vector<Val> pool;
  pool.reserve(400);
  for (int i = 0; i < 400; ++i) pool.emplace_back(static_cast<int>(rng() % 50));
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    ZArrayList r(1, 0);
    unsigned int n = rng() % 60;
    for (unsigned int i = 0; i < n; ++i) r.add(rng() % 4 == 0 ? nullptr : &pool[rng() % 400]);
    std::vector<int> before = values(r);
    bool up = round % 2 == 0;
    r.sort(checked, up ? ZSortCompare::ascending : ZSortCompare::descending);
    std::vector<int> expected, nonNull;
    for (int x : before) if (x >= 0) nonNull.push_back(x);
    std::sort(nonNull.begin(), nonNull.end());
    if (!up) std::reverse(nonNull.begin(), nonNull.end());
    size_t k = 0;
    for (int x : before) expected.push_back(x < 0 ? -1 : nonNull[k++]);
    EXPECT_EQ(values(r), expected);
  }
}

// Counts swaps so that a shuffle can be seen working through swap().
class CountingList : public ZArrayList {
 public:
  using ZArrayList::ZArrayList;
  void swap(unsigned int i, unsigned int j) override {
    ++swaps;
    ZArrayList::swap(i, j);
  }
  int swaps = 0;
};

TEST(ZArrayListTest, ShuffleIsSeededByTheSecond) {
  std::vector<Val> pool;
  for (int i = 0; i < 20; ++i) pool.emplace_back(i);
  std::vector<int> a, b;
  for (int attempt = 0; attempt < 5; ++attempt) {
    CountingList x(20, 0), y(20, 0);
    for (Val& v : pool) {
      x.add(&v);
      y.add(&v);
    }
    std::time_t t0 = std::time(nullptr);
    x.shuffle();
    y.shuffle();
    if (std::time(nullptr) != t0) continue;  // crossed a second boundary
    EXPECT_EQ(x.swaps, 19);
    a = values(x);
    b = values(y);
    break;
  }
  ASSERT_EQ(a.size(), 20u);
  EXPECT_EQ(a, b);
  std::vector<int> sorted = a;
  std::sort(sorted.begin(), sorted.end());
  for (int i = 0; i < 20; ++i) EXPECT_EQ(sorted[i], i);

  CountingList one(1, 0);
  one.add(&pool[0]);
  one.shuffle();
  EXPECT_EQ(one.swaps, 0);
}

TEST(ZArrayListTest, StackPopsFromTheTopAndPopallStopsAtNull) {
  int before = Val::live;
  ZArrayStack s(0);
  EXPECT_FALSE(s.ownsMembers());
  EXPECT_EQ(s.pop(), nullptr);
  Val a(1), b(2), c(3);
  s.push(&a);
  s.push(nullptr);
  s.push(&b);
  s.push(&c);
  EXPECT_EQ(Val::live, before + 3);  // pushing never clones
  EXPECT_EQ(s.pop(), &c);
  ZArrayStack copy(s);
  EXPECT_EQ(copy.size(), 3u);
  s.popall();  // pops b, then stops at the null
  EXPECT_EQ(s.size(), 1u);
  EXPECT_EQ(s.get(0), &a);
  ZObject* cl = copy.clone();
  ZArrayStack* cs = static_cast<ZArrayStack*>(cl);
  EXPECT_EQ(cs->pop(), &b);
  EXPECT_EQ(cs->pop(), nullptr);  // the null member
  EXPECT_EQ(cs->pop(), &a);
  EXPECT_EQ(cs->pop(), nullptr);  // empty
  delete cl;
}

}  // namespace
