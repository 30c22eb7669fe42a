// zbase: fixed-size arrays of object pointers, owning or not.
#include "Z/ZArray.h"

#include "Z/ZException.h"
#include "Z/zslots.inc"

namespace {

ZObject** newSlots(unsigned int n) {
  ZObject** slots = new ZObject*[n];
  for (unsigned int i = 0; i < n; ++i) slots[i] = nullptr;
  return slots;
}

}  // namespace

ZArray::ZArray(unsigned int size, int ownsMembers)
    : members_(nullptr), ownsMembers_(ownsMembers), size_(size == 0 ? 1 : size) {
  members_ = newSlots(size_);
}

ZArray::ZArray(const ZArray& other)
    : ZAbstractArray(), members_(nullptr), ownsMembers_(other.ownsMembers_), size_(other.size_) {
  members_ = newSlots(size_);
  for (unsigned int i = 0; i < size_; ++i) set(i, other.get(i));
}

ZArray& ZArray::operator=(const ZArray& other) {
  if (this == &other) return *this;
  removeAll();
  if (size_ != other.size_) {
    ZObject** slots = newSlots(other.size_);
    delete[] members_;
    members_ = slots;
    size_ = other.size_;
  }
  for (unsigned int i = 0; i < size_; ++i) set(i, other.get(i));
  return *this;
}

ZArray::~ZArray() {
  removeAll();
  delete[] members_;
}

unsigned int ZArray::size() const { return size_; }

int ZArray::ownsMembers() const { return ownsMembers_; }

int ZArray::contains(const ZObject* obj) const {
  if (obj == nullptr) return 0;
  return indexOf(obj) != kNotFound;
}

void ZArray::remove(unsigned int index) {
  if (index >= size_) ZInvalidParameterException().throwException("src/Z/ZArray", 119);
  ZObject* old = members_[index];
  members_[index] = nullptr;
  if (ownsMembers_ && old != nullptr) delete old;
}

void ZArray::removeAll() {
  for (unsigned int i = 0; i < size_; ++i) remove(i);
}

ZObject* ZArray::get(unsigned int index) const {
  if (index >= size_) ZInvalidParameterException().throwException("src/Z/ZArray", 139);
  return members_[index];
}

void ZArray::set(unsigned int index, const ZObject* obj) {
  if (index >= size_) ZInvalidParameterException().throwException("src/Z/ZArray", 161);
  ZObject* stored = const_cast<ZObject*>(obj);
  if (obj != nullptr && ownsMembers_) stored = obj->clone();
  setNoCopy(index, stored);
}

void ZArray::setNoCopy(unsigned int index, ZObject* obj) {
  if (index >= size_) ZInvalidParameterException().throwException("src/Z/ZArray", 181);
  ZObject* old = members_[index];
  members_[index] = obj;
  if (ownsMembers_ && old != nullptr) delete old;
}

unsigned int ZArray::indexOf(const ZObject* obj) const {
  return firstEqualSlot(members_, size_, obj);
}

unsigned int ZArray::lastIndexOf(const ZObject* obj) const {
  return lastEqualSlot(members_, size_, obj);
}

void ZArray::swap(unsigned int i, unsigned int j) {
  if (i >= size_ || j >= size_) ZInvalidParameterException().throwException("src/Z/ZArray", 223);
  if (i == j) return;
  ZObject* t = members_[i];
  members_[i] = members_[j];
  members_[j] = t;
}
