// zbase: maps of entry objects: hash maps, array maps and their iterators.
#ifndef Z_ZHASHMAP_H_
#define Z_ZHASHMAP_H_

#include "Z/zversion.h"
#include "Z/ZArray.h"
#include "Z/ZArrayList.h"
#include "Z/ZObject.h"

// A set of entry objects in which an entry's own hash() and equals() say
// which entries are the same: putting an entry equal to a stored one replaces
// it. Probes are entries (or objects that hash and compare like them).
class ZMap {
 public:
  virtual unsigned int size() const = 0;
  virtual int isEmpty() const = 0;
  virtual int contains(const ZObject* probe) const = 0;
  // The stored entry equal to `probe`, or null.
  virtual ZObject* getEntry(const ZObject* probe) const = 0;
  virtual void putEntry(ZObject* entry) = 0;
  virtual void putAll(ZMap& other) = 0;
  virtual void removeEntry(ZObject* probe) = 0;
  virtual void removeAll() = 0;
  // Adds every entry to `target` with its add(), in iteration order.
  virtual void list(ZList& target) const = 0;

 protected:
  ~ZMap() = default;
};

// Base of the maps that are objects: answers isEmpty() from the map's size.
// Like all collections it takes no lock.
class ZAbstractMap : public ZObject, public ZMap {
 public:
  int isEmpty() const override;
};

// A map kept as a list, searched from the front with the probe's equals().
// Serves as the bucket of ZHashMap and stands on its own. An owning map
// stores clones and deletes what it removes or replaces. Not locked.
class ZArrayMap : public ZArrayList, public ZMap {
 public:
  explicit ZArrayMap(unsigned int capacity = 10, int ownsMembers = 0);
  ZArrayMap(const ZArrayMap& other);
  ZArrayMap& operator=(const ZArrayMap& other);
  ~ZArrayMap() override;
  ZObject* clone() const override;

  int isEmpty() const override;
  unsigned int size() const override;
  int contains(const ZObject* probe) const override;
  void removeAll() override;

  ZObject* getEntry(const ZObject* probe) const override;
  // Replaces an equal entry in its place, or appends.
  void putEntry(ZObject* entry) override;
  // Appends every entry of `other` without looking for equal ones already
  // here, so duplicates can arise (deliberate; ZHashMap::putAll replaces).
  void putAll(ZMap& other) override;
  void removeEntry(ZObject* probe) override;
  void list(ZList& target) const override;
  // The lowest index of an entry that `probe` calls equal; all bits set when
  // none does.
  virtual unsigned int getIndex(const ZObject* probe) const;
};

// A hash map with a bucket count fixed at construction: no load factor and no
// rehashing, a small map simply grows longer buckets. A bucket is made when
// it is first put into, so a sparse map costs one pointer per bucket.
// Iteration runs by ascending bucket, then in the bucket's order (insertion
// order; a replacement keeps the place of the entry it replaces). An owning
// map stores clones of what it is given and deletes what it removes or
// replaces. Null entries and probes are ignored (getEntry answers null).
// Not locked: callers serialise access.
class ZHashMap : public ZAbstractMap {
 public:
  // The map has max(size, 2) * 3 / 2 buckets: 2 gives 3, 10 gives 15.
  explicit ZHashMap(unsigned int size = 10, int ownsMembers = 0);
  // Copies the buckets (an owning map clones every entry).
  ZHashMap(const ZHashMap& other);
  // Takes over the other's buckets (cloned), bucket count and ownership.
  ZHashMap& operator=(const ZHashMap& other);
  ~ZHashMap() override;
  ZObject* clone() const override;

  // Counts the entries of every bucket at each call.
  unsigned int size() const override;
  int contains(const ZObject* probe) const override;
  ZObject* getEntry(const ZObject* probe) const override;
  void putEntry(ZObject* entry) override;
  // Puts every entry of `other`, so equal entries are replaced.
  void putAll(ZMap& other) override;
  void removeEntry(ZObject* probe) override;
  // Empties the buckets and keeps them.
  void removeAll() override;
  void list(ZList& target) const override;

  // Stores an entry that the caller knows has no equal here, at the end of
  // its bucket as putEntry would, but without looking for one and without
  // cloning: an owning map takes `entry` over as it is. For builders that
  // have just made a new entry; an equal entry already here would stay and
  // hide the new one.
  void putAbsent(ZObject* entry);

 private:
  ZArrayMap* bucketFor(const ZObject* probe) const;
  // The entry's bucket, made when it is first needed.
  ZArrayMap* bucketToPut(const ZObject* entry);

  ZArray buckets_;
  int ownsMembers_;
};

// Walks a snapshot of a map's entries taken when the iterator is made. The
// snapshot holds the entries' pointers, so the map must not change while the
// iterator is in use. A copy keeps walking the snapshot of the iterator it was
// copied from (deliberate) and must not outlive it.
class ZMapIterator : public ZAbstractIterator {
 public:
  explicit ZMapIterator(const ZMap& map);
  ZMapIterator(const ZMapIterator& other);
  ZMapIterator& operator=(const ZMapIterator& other);
  ~ZMapIterator() override;

  int hasMore() override;
  ZObject* getNext() override;
  virtual void reset();

 private:
  ZArrayList* snapshot_;
  ZListIterator* cursor_;
};

// Walks an array map in place, as a list.
class ZArrayMapIterator : public ZListIterator {
 public:
  explicit ZArrayMapIterator(ZArrayMap& map);
};

#endif  // Z_ZHASHMAP_H_
