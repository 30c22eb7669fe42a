// zbase: growable lists of object pointers, their iterators, sorting and stacks.
#include "Z/ZArrayList.h"

#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Z/zslots.inc"

namespace {

pthread_once_t defaultSortCompareOnce = PTHREAD_ONCE_INIT;
const ZSortCompare* defaultSortCompareInstance = nullptr;

void makeDefaultSortCompare() { defaultSortCompareInstance = new ZDefaultSortCompare(); }

// The capacity a full list of `size` members grows to.
unsigned int grownCapacity(unsigned int size) {
  unsigned long long grown = size <= 3 ? size + 1ull : size + size / 2ull;
  return grown > ~0u ? ~0u : static_cast<unsigned int>(grown);
}

}  // namespace

// ---- sorting -----------------------------------------------------------

const ZSortCompare& ZSortCompare::defaultSortCompare() {
  pthread_once(&defaultSortCompareOnce, makeDefaultSortCompare);
  return *defaultSortCompareInstance;
}

int ZDefaultSortCompare::sortCompare(const ZObject* a, const ZObject* b) const {
  return a->compare(*b);
}

void ZList::backUp(ZListIterator& iterator) { iterator.backUp(); }

unsigned int ZList::indexOf(ZListIterator& iterator) { return iterator.indexOf(); }

int ZAbstractList::isEmpty() const { return size() == 0; }

void ZAbstractList::sort(const ZSortCompare& cmp, const ZSortCompare::sortorder& order) {
  quickSort(cmp, order, 0, static_cast<int>(size()) - 1);
}

// Hoare partition around the middle member, always comparing member first and
// pivot second. Null members are passed over by both scans, so they are never
// swapped and never reach the comparison. When the middle member is null the
// nearest non-null member serves as pivot; a range of nulls only is left alone.
// Only the smaller part is sorted by recursion and the larger one by the loop,
// which bounds the depth of the stack; the parts are disjoint, so the result
// is that of any other order.
void ZAbstractList::quickSort(const ZSortCompare& cmp, const ZSortCompare::sortorder& order,
                              int lo, int hi) {
  const bool up = order == ZSortCompare::ascending;
  while (lo < hi) {
    int mid = (lo + hi) / 2;
    const ZObject* pivot = get(mid);
    for (int k = 1; pivot == nullptr; ++k) {
      if (mid + k > hi && mid - k < lo) return;
      if (mid + k <= hi) pivot = get(mid + k);
      if (pivot == nullptr && mid - k >= lo) pivot = get(mid - k);
    }
    int i = lo;
    int j = hi;
    do {
      while (i < hi) {
        const ZObject* m = get(i);
        if (m != nullptr) {
          int c = cmp.sortCompare(m, pivot);
          if (up ? c >= 0 : c <= 0) break;
        }
        ++i;
      }
      while (j > lo) {
        const ZObject* m = get(j);
        if (m != nullptr) {
          int c = cmp.sortCompare(m, pivot);
          if (up ? c <= 0 : c >= 0) break;
        }
        --j;
      }
      if (i <= j) {
        swap(i, j);
        ++i;
        --j;
      }
    } while (j >= i);
    if (j - lo < hi - i) {
      if (j > lo) quickSort(cmp, order, lo, j);
      lo = i;
    } else {
      if (i < hi) quickSort(cmp, order, i, hi);
      hi = j;
    }
  }
}

// ---- ZArrayList --------------------------------------------------------

ZArrayList::ZArrayList(unsigned int capacity, int ownsMembers)
    : capacity_(capacity == 0 ? 1 : capacity),
      members_(nullptr),
      size_(0),
      ownsMembers_(ownsMembers) {
  members_ = new ZObject*[capacity_];
}

ZArrayList::ZArrayList(const ZArrayList& other)
    : ZAbstractList(),
      capacity_(other.capacity_),
      members_(nullptr),
      size_(0),
      ownsMembers_(other.ownsMembers_) {
  members_ = new ZObject*[capacity_];
  addList(other);
}

ZArrayList& ZArrayList::operator=(const ZArrayList& other) {
  if (this != &other) {
    removeAll();
    addList(other);
  }
  return *this;
}

ZArrayList::~ZArrayList() {
  removeAll();
  delete[] members_;
}

ZObject* ZArrayList::clone() const { return new ZArrayList(*this); }

unsigned int ZArrayList::size() const { return size_; }

int ZArrayList::ownsMembers() const { return ownsMembers_; }

int ZArrayList::contains(const ZObject* obj) const { return indexOf(obj) != kNotFound; }

void ZArrayList::add(const ZObject* obj) { add(size_, obj); }

void ZArrayList::add(unsigned int index, const ZObject* obj) {
  if (index > size_) return;  // a clone would have nowhere to go
  ZObject* stored = const_cast<ZObject*>(obj);
  if (ownsMembers_ && obj != nullptr) stored = obj->clone();
  addNoCopy(index, stored);
}

void ZArrayList::addList(const ZList& other) {
  // Adding a list to itself takes the members it had at the start; re-reading
  // the count would never end.
  if (&other == static_cast<const ZList*>(this)) {
    for (unsigned int i = 0, n = size_; i < n; ++i) add(members_[i]);
    return;
  }
  for (unsigned int i = 0; i < other.size(); ++i) add(other.get(i));
}

void ZArrayList::addNoCopy(ZObject* obj) { addNoCopy(size_, obj); }

void ZArrayList::addNoCopy(unsigned int index, ZObject* obj) {
  if (index > size_) return;
  if (size_ == capacity_) {
    unsigned int grown = grownCapacity(size_);
    if (grown == size_) return;  // the index space is exhausted
    ZObject** block = new ZObject*[grown];
    if (size_ != 0) std::memcpy(block, members_, size_ * sizeof(ZObject*));
    delete[] members_;
    members_ = block;
    capacity_ = grown;
  }
  if (index < size_) {
    std::memmove(members_ + index + 1, members_ + index, (size_ - index) * sizeof(ZObject*));
  }
  members_[index] = obj;
  ++size_;
}

void ZArrayList::remove(const ZObject* obj) {
  unsigned int index = indexOf(obj);
  if (index != kNotFound) remove(index);
}

void ZArrayList::remove(unsigned int index) {
  if (index >= size_) return;
  ZObject* old = members_[index];
  std::memmove(members_ + index, members_ + index + 1, (size_ - index - 1) * sizeof(ZObject*));
  --size_;
  if (ownsMembers_ && old != nullptr) delete old;
}

void ZArrayList::remove(ZListIterator& iterator) {
  remove(indexOf(iterator));
  backUp(iterator);
}

void ZArrayList::removeAll() {
  if (ownsMembers_) {
    for (unsigned int i = 0; i < size_; ++i) {
      if (members_[i] != nullptr) delete members_[i];
    }
  }
  size_ = 0;
}

ZObject* ZArrayList::get(unsigned int index) const {
  return index < size_ ? members_[index] : nullptr;
}

void ZArrayList::set(unsigned int index, const ZObject* obj) {
  if (index >= size_) return;
  if (ownsMembers_) {
    ZObject* old = members_[index];
    members_[index] = obj != nullptr ? obj->clone() : nullptr;
    if (old != nullptr) delete old;
  } else {
    members_[index] = const_cast<ZObject*>(obj);
  }
}

unsigned int ZArrayList::indexOf(const ZObject* obj) const {
  return firstEqualSlot(members_, size_, obj);
}

unsigned int ZArrayList::lastIndexOf(const ZObject* obj) const {
  return lastEqualSlot(members_, size_, obj);
}

void ZArrayList::subList(ZList& target, unsigned int from, unsigned int to) const {
  if (from > to || to >= size_) return;
  for (unsigned int i = from; i <= to; ++i) target.add(get(i));
}

void ZArrayList::swap(unsigned int i, unsigned int j) {
  if (i >= size_ || j >= size_ || i == j) return;
  ZObject* t = members_[i];
  members_[i] = members_[j];
  members_[j] = t;
}

unsigned int ZArrayList::capacity() const { return capacity_; }

void ZArrayList::shuffle() {
  std::srand(static_cast<unsigned int>(std::time(nullptr)));
  unsigned int n = size();
  if (n <= 1) return;
  for (unsigned int i = n; i >= 2; --i) {
    unsigned int j = static_cast<unsigned int>(std::rand()) % i;
    swap(i - 1, j);
  }
}

unsigned int ZArrayList::indexOf(ZListIterator& iterator) { return iterator.indexOf(); }

// ---- iterators ---------------------------------------------------------

ZObject* ZAbstractIterator::findNext(const ZObject& obj) {
  while (hasMore()) {
    ZObject* member = getNext();
    if (member != nullptr && obj.equals(*member)) return member;
  }
  return nullptr;
}

ZListIterator::ZListIterator(const ZList& list) : position_(0), list_(&list) {}

ZListIterator::ZListIterator(const ZListIterator& other)
    : ZAbstractIterator(), position_(other.position_), list_(other.list_) {}

ZListIterator& ZListIterator::operator=(const ZListIterator& other) {
  position_ = other.position_;
  return *this;
}

ZListIterator::~ZListIterator() {}

ZObject* ZListIterator::clone() const { return new ZListIterator(*this); }

int ZListIterator::hasMore() { return position_ < list_->size(); }

ZObject* ZListIterator::getNext() {
  if (position_ >= list_->size()) return nullptr;
  return list_->get(position_++);
}

void ZListIterator::reset() { position_ = 0; }

void ZListIterator::backUp() { --position_; }

unsigned int ZListIterator::indexOf() { return position_ - 1; }

// ---- stacks ------------------------------------------------------------

void ZAbstractStack::popall() {
  while (pop() != nullptr) {
  }
}

ZArrayStack::ZArrayStack(unsigned int capacity) : ZArrayList(capacity, 0) {}

ZArrayStack::ZArrayStack(const ZArrayStack& other) : ZArrayList(other), ZAbstractStack() {}

ZArrayStack& ZArrayStack::operator=(const ZArrayStack& other) {
  ZArrayList::operator=(other);
  return *this;
}

ZArrayStack::~ZArrayStack() {}

ZObject* ZArrayStack::clone() const { return new ZArrayStack(*this); }

void ZArrayStack::push(ZObject* obj) { add(obj); }

ZObject* ZArrayStack::pop() {
  if (isEmpty()) return nullptr;
  unsigned int last = size() - 1;
  ZObject* top = get(last);
  remove(last);
  return top;
}
