// zbase: key maps (key object to value object) and their entries.
#ifndef Z_ZHASHKEYMAP_H_
#define Z_ZHASHKEYMAP_H_

#include "Z/zversion.h"
#include "Z/ZArrayList.h"
#include "Z/ZHashMap.h"
#include "Z/ZObject.h"

// The operations of a map from key objects to value objects; keys are the
// same when their hash() values match and they call each other equal.
class ZKeyMap {
 public:
  virtual unsigned int size() const = 0;
  virtual int isEmpty() const = 0;
  virtual int contains(const ZObject* key) const = 0;
  // The value stored under `key`, or null (also for a stored null value).
  virtual ZObject* getEntry(const ZObject* key) const = 0;
  virtual void putEntry(const ZObject* key, const ZObject* value) = 0;
  virtual void putAll(const ZKeyMap& other) = 0;
  virtual void removeEntry(const ZObject* key) = 0;
  virtual void removeAll() = 0;
  virtual void listKeys(ZList& target) const = 0;
  virtual void listObjects(ZList& target) const = 0;

 protected:
  ~ZKeyMap() = default;
};

// Base of the key maps: an object with a key map's operations, which
// answers isEmpty() from its size. Like all collections it takes no lock.
class ZAbstractKeyMap : public ZObject, public ZKeyMap {
 public:
  int isEmpty() const override;
};

// One key and its value. It hashes, compares and equals by its key; equals()
// first compares the key hashes cached by the last hash() of either entry, so
// both must have been hashed. An owning entry deletes key and value when it
// dies and clones them when it is cloned.
class ZKeyEntry : public ZObject {
 public:
  // Takes the pointers as they are given; an owning entry now owns them.
  ZKeyEntry(const ZObject* key, const ZObject* value, int ownsMembers);
  // As clone(): an owning entry copies clones of key and value.
  ZKeyEntry(const ZKeyEntry& other);
  ZKeyEntry& operator=(const ZKeyEntry&) = delete;
  ~ZKeyEntry() override;

  // The key's hash, cached in the entry.
  unsigned int hash() const override;
  int compare(const ZObject& other) const override;
  ZObject* clone() const override;
  int equals(const ZObject& other) const override;

  ZObject* getKey() const { return key_; }
  ZObject* getValue() const { return value_; }

 private:
  ZObject* key_;
  ZObject* value_;
  int ownsMembers_;
  mutable int hashValue_;
};

// A key map on a ZHashMap of ZKeyEntry pairs, with the hash map's fixed
// bucket count and iteration order. An owning key map keeps clones of keys
// and values and deletes them when they are removed or replaced; each put
// clones key and value twice and keeps the second clones (the entry is
// built, then cloned into the map). A null key is ignored (getEntry answers
// null). Not locked: callers serialise access.
class ZHashKeyMap : public ZAbstractKeyMap {
 public:
  explicit ZHashKeyMap(unsigned int size = 10, int ownsMembers = 0);
  ZHashKeyMap(const ZHashKeyMap& other);
  // Takes the other's ownership flag, then its entries.
  ZHashKeyMap& operator=(const ZHashKeyMap& other);
  ~ZHashKeyMap() override;
  ZObject* clone() const override;

  unsigned int size() const override;
  // True for a stored key also when its value is null.
  int contains(const ZObject* key) const override;
  ZObject* getEntry(const ZObject* key) const override;
  // Stores `value` under `key`, replacing (and, when owning, deleting) the
  // entry of an equal key already present.
  void putEntry(const ZObject* key, const ZObject* value) override;
  void putAll(const ZKeyMap& other) override;
  void removeEntry(const ZObject* key) override;
  void removeAll() override;
  void listKeys(ZList& target) const override;
  void listObjects(ZList& target) const override;

  // Stores `value` under a key that the caller knows is absent, taking both
  // over as they are: no clone and no search (see ZHashMap::putAbsent). For
  // builders that have just made key and value; putEntry keeps its clones
  // for every other caller. Returns `value`.
  ZObject* putAbsent(ZObject* key, ZObject* value);

 private:
  ZHashMap map_;
  int ownsMembers_;
};

#endif  // Z_ZHASHKEYMAP_H_
