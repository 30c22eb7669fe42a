// zbase: fixed-size arrays of object pointers, owning or not.
#ifndef Z_ZARRAY_H_
#define Z_ZARRAY_H_

#include "Z/zversion.h"
#include "Z/ZObject.h"

// The operations of a fixed-size array of object pointers.
class ZArrayInterface {
 public:
  virtual unsigned int size() const = 0;
  virtual int contains(const ZObject* obj) const = 0;
  virtual void remove(unsigned int index) = 0;
  virtual void removeAll() = 0;
  virtual ZObject* get(unsigned int index) const = 0;
  virtual void set(unsigned int index, const ZObject* obj) = 0;
  virtual unsigned int indexOf(const ZObject* obj) const = 0;
  virtual unsigned int lastIndexOf(const ZObject* obj) const = 0;
  virtual void swap(unsigned int i, unsigned int j) = 0;

 protected:
  ~ZArrayInterface() = default;
};

// Joins the array operations to the object root; no data of its own.
class ZAbstractArray : public ZObject, public ZArrayInterface {};

// A fixed number of slots (at least one), each holding an object pointer or
// null. An owning array stores clones of what it is given through set() and
// deletes its members when they are removed, replaced or the array dies; a
// non-owning array only keeps the pointers. Out-of-range indexes throw
// ZInvalidParameterException. Not locked: callers serialise access.
class ZArray : public ZAbstractArray {
 public:
  // A size of 0 is raised to 1, deliberately: an array always has a slot.
  explicit ZArray(unsigned int size, int ownsMembers = 0);
  // Same size and ownership; an owning copy holds clones of the members.
  ZArray(const ZArray& other);
  // Empties this array (deleting members it owns), takes over the other's
  // size and copies its members as set() does. The ownership flag of this
  // array is kept, not copied.
  ZArray& operator=(const ZArray& other);
  ~ZArray() override;

  unsigned int size() const override;
  virtual int ownsMembers() const;
  // False for null; otherwise whether indexOf() finds an equal member.
  int contains(const ZObject* obj) const override;
  // Empties slot `index`, deleting the occupant when owning. Never shifts.
  void remove(unsigned int index) override;
  void removeAll() override;
  ZObject* get(unsigned int index) const override;
  // Stores a clone of `obj` when owning (null stays null), through setNoCopy().
  void set(unsigned int index, const ZObject* obj) override;
  // Stores `obj` itself; when owning, the previous occupant is deleted. That
  // holds even when `obj` is the previous occupant, which is then deleted while
  // still stored: deliberate, callers hand over a different object.
  virtual void setNoCopy(unsigned int index, ZObject* obj);
  // The lowest index whose member `obj` calls equal; all bits set when `obj`
  // is null or nothing matches. Empty slots never match.
  unsigned int indexOf(const ZObject* obj) const override;
  unsigned int lastIndexOf(const ZObject* obj) const override;
  // Exchanges two slot pointers; no cloning and no deletion.
  void swap(unsigned int i, unsigned int j) override;

 private:
  ZObject** members_;
  int ownsMembers_;
  unsigned int size_;
};

#endif  // Z_ZARRAY_H_
