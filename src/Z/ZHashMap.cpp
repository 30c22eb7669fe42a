// zbase: maps of entry objects: hash maps, array maps and their iterators.
#include "Z/ZHashMap.h"

namespace {

constexpr unsigned int kNotFound = ~0u;

// Half as many buckets again as the requested size, at least 3.
unsigned int bucketCount(unsigned int size) {
  unsigned long long n = size < 2 ? 2ull : size;
  n = n * 3 / 2;
  return n > ~0u ? ~0u : static_cast<unsigned int>(n);
}

}  // namespace

int ZAbstractMap::isEmpty() const { return size() == 0; }

// ---- ZArrayMap ---------------------------------------------------------

ZArrayMap::ZArrayMap(unsigned int capacity, int ownsMembers) : ZArrayList(capacity, ownsMembers) {}

ZArrayMap::ZArrayMap(const ZArrayMap& other) : ZArrayList(other), ZMap() {}

ZArrayMap& ZArrayMap::operator=(const ZArrayMap& other) {
  ZArrayList::operator=(other);
  return *this;
}

ZArrayMap::~ZArrayMap() {}

ZObject* ZArrayMap::clone() const { return new ZArrayMap(*this); }

int ZArrayMap::isEmpty() const { return ZArrayList::isEmpty(); }

unsigned int ZArrayMap::size() const { return ZArrayList::size(); }

int ZArrayMap::contains(const ZObject* probe) const { return getIndex(probe) != kNotFound; }

void ZArrayMap::removeAll() { ZArrayList::removeAll(); }

ZObject* ZArrayMap::getEntry(const ZObject* probe) const {
  unsigned int index = getIndex(probe);
  return index == kNotFound ? nullptr : get(index);
}

void ZArrayMap::putEntry(ZObject* entry) {
  unsigned int index = getIndex(entry);
  if (index != kNotFound) {
    set(index, entry);
  } else {
    add(entry);
  }
}

void ZArrayMap::putAll(ZMap& other) { other.list(*this); }

void ZArrayMap::removeEntry(ZObject* probe) {
  unsigned int index = getIndex(probe);
  if (index != kNotFound) remove(index);
}

void ZArrayMap::list(ZList& target) const { target.addList(*this); }

// The list's own search: the probe's equals() from the front, nulls passed
// over, without a virtual get() per member.
unsigned int ZArrayMap::getIndex(const ZObject* probe) const { return ZArrayList::indexOf(probe); }

// ---- ZHashMap ----------------------------------------------------------

ZHashMap::ZHashMap(unsigned int size, int ownsMembers)
    : buckets_(bucketCount(size), 1), ownsMembers_(ownsMembers) {}

ZHashMap::ZHashMap(const ZHashMap& other)
    : ZAbstractMap(), buckets_(other.buckets_), ownsMembers_(other.ownsMembers_) {}

ZHashMap& ZHashMap::operator=(const ZHashMap& other) {
  if (this != &other) {
    buckets_ = other.buckets_;
    ownsMembers_ = other.ownsMembers_;
  }
  return *this;
}

ZHashMap::~ZHashMap() {}

ZObject* ZHashMap::clone() const { return new ZHashMap(*this); }

// The bucket `probe` hashes to, or null when that bucket was never made. For
// a key entry, hashing also caches the key's hash in the probe.
ZArrayMap* ZHashMap::bucketFor(const ZObject* probe) const {
  unsigned int h = probe->hash();
  return static_cast<ZArrayMap*>(buckets_.get(h % buckets_.size()));
}

unsigned int ZHashMap::size() const {
  unsigned int n = 0;
  for (unsigned int i = 0; i < buckets_.size(); ++i) {
    const ZArrayMap* bucket = static_cast<const ZArrayMap*>(buckets_.get(i));
    if (bucket != nullptr) n += bucket->size();
  }
  return n;
}

int ZHashMap::contains(const ZObject* probe) const { return getEntry(probe) != nullptr; }

ZObject* ZHashMap::getEntry(const ZObject* probe) const {
  if (probe == nullptr) return nullptr;
  ZArrayMap* bucket = bucketFor(probe);
  return bucket == nullptr ? nullptr : bucket->getEntry(probe);
}

ZArrayMap* ZHashMap::bucketToPut(const ZObject* entry) {
  unsigned int index = entry->hash() % buckets_.size();
  ZArrayMap* bucket = static_cast<ZArrayMap*>(buckets_.get(index));
  if (bucket == nullptr) {
    bucket = new ZArrayMap(5, ownsMembers_);
    buckets_.setNoCopy(index, bucket);
  }
  return bucket;
}

void ZHashMap::putEntry(ZObject* entry) {
  if (entry == nullptr) return;
  bucketToPut(entry)->putEntry(entry);
}

void ZHashMap::putAbsent(ZObject* entry) {
  if (entry == nullptr) return;
  bucketToPut(entry)->addNoCopy(entry);
}

void ZHashMap::putAll(ZMap& other) {
  ZArrayList entries(10, 0);
  other.list(entries);
  for (unsigned int i = 0; i < entries.size(); ++i) putEntry(entries.get(i));
}

void ZHashMap::removeEntry(ZObject* probe) {
  if (probe == nullptr) return;
  ZArrayMap* bucket = bucketFor(probe);
  if (bucket != nullptr) bucket->removeEntry(probe);
}

void ZHashMap::removeAll() {
  for (unsigned int i = 0; i < buckets_.size(); ++i) {
    ZArrayMap* bucket = static_cast<ZArrayMap*>(buckets_.get(i));
    if (bucket != nullptr) bucket->removeAll();
  }
}

void ZHashMap::list(ZList& target) const {
  for (unsigned int i = 0; i < buckets_.size(); ++i) {
    const ZArrayMap* bucket = static_cast<const ZArrayMap*>(buckets_.get(i));
    if (bucket == nullptr) continue;
    for (unsigned int j = 0, n = bucket->size(); j < n; ++j) target.add(bucket->get(j));
  }
}

// ---- iterators ---------------------------------------------------------

ZMapIterator::ZMapIterator(const ZMap& map) : snapshot_(nullptr), cursor_(nullptr) {
  snapshot_ = new ZArrayList(map.size(), 0);
  map.list(*snapshot_);
  cursor_ = new ZListIterator(*snapshot_);
}

ZMapIterator::ZMapIterator(const ZMapIterator& other)
    : ZAbstractIterator(),
      snapshot_(new ZArrayList(*other.snapshot_)),
      cursor_(new ZListIterator(*other.cursor_)) {}

ZMapIterator& ZMapIterator::operator=(const ZMapIterator& other) {
  if (this != &other) {
    ZArrayList* snapshot = static_cast<ZArrayList*>(other.snapshot_->clone());
    ZListIterator* cursor = static_cast<ZListIterator*>(other.cursor_->clone());
    delete cursor_;
    delete snapshot_;
    snapshot_ = snapshot;
    cursor_ = cursor;
  }
  return *this;
}

ZMapIterator::~ZMapIterator() {
  delete cursor_;
  delete snapshot_;
}

int ZMapIterator::hasMore() { return cursor_->hasMore(); }

ZObject* ZMapIterator::getNext() { return cursor_->getNext(); }

void ZMapIterator::reset() { cursor_->reset(); }

ZArrayMapIterator::ZArrayMapIterator(ZArrayMap& map) : ZListIterator(map) {}
