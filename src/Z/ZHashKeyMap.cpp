// zbase: key maps (key object to value object) and their entries.
#include "Z/ZHashKeyMap.h"

#include <memory>
#include <typeinfo>

int ZAbstractKeyMap::isEmpty() const { return size() == 0; }

// ---- ZKeyEntry ---------------------------------------------------------

ZKeyEntry::ZKeyEntry(const ZObject* key, const ZObject* value, int ownsMembers)
    : key_(const_cast<ZObject*>(key)),
      value_(const_cast<ZObject*>(value)),
      ownsMembers_(ownsMembers),
      hashValue_(0) {}

ZKeyEntry::ZKeyEntry(const ZKeyEntry& other)
    : ZObject(),
      key_(other.key_),
      value_(other.value_),
      ownsMembers_(other.ownsMembers_),
      hashValue_(other.hashValue_) {
  if (ownsMembers_) {
    key_ = key_ != nullptr ? key_->clone() : nullptr;
    try {
      value_ = value_ != nullptr ? value_->clone() : nullptr;
    } catch (...) {
      delete key_;
      throw;
    }
  }
}

ZKeyEntry::~ZKeyEntry() {
  if (ownsMembers_) {
    if (key_ != nullptr) delete key_;
    if (value_ != nullptr) delete value_;
  }
}

unsigned int ZKeyEntry::hash() const {
  unsigned int h = key_ != nullptr ? key_->hash() : 0;
  hashValue_ = static_cast<int>(h);
  return h;
}

// Keys decide; a missing key sorts first and equals only a missing key.
int ZKeyEntry::compare(const ZObject& other) const {
  const ZKeyEntry* that = dynamic_cast<const ZKeyEntry*>(&other);
  if (that == nullptr) return ZObject::compare(other);
  if (key_ == nullptr || that->key_ == nullptr) {
    return (key_ != nullptr) - (that->key_ != nullptr);
  }
  return key_->compare(*that->key_);
}

ZObject* ZKeyEntry::clone() const { return new ZKeyEntry(*this); }

int ZKeyEntry::equals(const ZObject& other) const {
  // Buckets hold only entries: the exact-type test spares the far dearer
  // cast through the class tree on every probe of a lookup.
  const ZKeyEntry* that = typeid(other) == typeid(ZKeyEntry)
                              ? static_cast<const ZKeyEntry*>(&other)
                              : dynamic_cast<const ZKeyEntry*>(&other);
  if (that == nullptr) return 0;
  if (hashValue_ != that->hashValue_) return 0;
  if (key_ == nullptr || that->key_ == nullptr) return key_ == that->key_;
  return key_->equals(*that->key_);
}

// ---- ZHashKeyMap -------------------------------------------------------

ZHashKeyMap::ZHashKeyMap(unsigned int size, int ownsMembers)
    : map_(size, 1), ownsMembers_(ownsMembers) {}

ZHashKeyMap::ZHashKeyMap(const ZHashKeyMap& other)
    : ZAbstractKeyMap(), map_(other.map_), ownsMembers_(other.ownsMembers_) {}

ZHashKeyMap& ZHashKeyMap::operator=(const ZHashKeyMap& other) {
  if (this != &other) {
    ownsMembers_ = other.ownsMembers_;
    map_ = other.map_;
  }
  return *this;
}

ZHashKeyMap::~ZHashKeyMap() {}

ZObject* ZHashKeyMap::clone() const { return new ZHashKeyMap(*this); }

unsigned int ZHashKeyMap::size() const { return map_.size(); }

int ZHashKeyMap::contains(const ZObject* key) const {
  if (key == nullptr) return 0;
  ZKeyEntry probe(key, nullptr, 0);
  return map_.getEntry(&probe) != nullptr;
}

ZObject* ZHashKeyMap::getEntry(const ZObject* key) const {
  if (key == nullptr) return nullptr;
  ZKeyEntry probe(key, nullptr, 0);
  const ZKeyEntry* found = static_cast<const ZKeyEntry*>(map_.getEntry(&probe));
  return found == nullptr ? nullptr : found->getValue();
}

// The transient entry holds the first clones; the map keeps clones of those
// (cloning the entry clones key and value again) and the transient entry
// deletes its own when it goes.
void ZHashKeyMap::putEntry(const ZObject* key, const ZObject* value) {
  if (key == nullptr) return;
  if (ownsMembers_) {
    ZObject* k = key->clone();
    ZObject* v = nullptr;
    try {
      v = value != nullptr ? value->clone() : nullptr;
    } catch (...) {
      delete k;
      throw;
    }
    ZKeyEntry entry(k, v, 1);
    map_.putEntry(&entry);
  } else {
    ZKeyEntry entry(key, value, 0);
    map_.putEntry(&entry);
  }
}

void ZHashKeyMap::putAll(const ZKeyMap& other) {
  ZArrayList keys(10, 0);
  other.listKeys(keys);
  for (unsigned int i = 0; i < keys.size(); ++i) {
    const ZObject* key = keys.get(i);
    putEntry(key, other.getEntry(key));
  }
}

void ZHashKeyMap::removeEntry(const ZObject* key) {
  if (key == nullptr) return;
  ZKeyEntry probe(key, nullptr, 0);
  map_.removeEntry(&probe);
}

void ZHashKeyMap::removeAll() { map_.removeAll(); }

ZObject* ZHashKeyMap::putAbsent(ZObject* key, ZObject* value) {
  std::unique_ptr<ZKeyEntry> entry;
  try {
    entry.reset(new ZKeyEntry(key, value, ownsMembers_));
  } catch (...) {
    if (ownsMembers_) {
      delete key;
      delete value;
    }
    throw;
  }
  map_.putAbsent(entry.get());
  entry.release();
  return value;
}

void ZHashKeyMap::listKeys(ZList& target) const {
  ZArrayList entries(10, 0);
  map_.list(entries);
  for (unsigned int i = 0; i < entries.size(); ++i) {
    target.add(static_cast<const ZKeyEntry*>(entries.get(i))->getKey());
  }
}

void ZHashKeyMap::listObjects(ZList& target) const {
  ZArrayList entries(10, 0);
  map_.list(entries);
  for (unsigned int i = 0; i < entries.size(); ++i) {
    target.add(static_cast<const ZKeyEntry*>(entries.get(i))->getValue());
  }
}
