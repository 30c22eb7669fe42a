// zbase: ZObject, the root class of the library's objects.
#ifndef Z_ZOBJECT_H_
#define Z_ZOBJECT_H_

#include "Z/zversion.h"

#include <cstddef>

// Root of nearly every library class. Collections hold ZObject pointers and
// rely on the virtual hash, compare, clone and equals. A plain ZObject has
// identity semantics: it equals only itself and orders by address. The
// class-level allocation operators turn a failed allocation into
// ZOutOfMemoryException. Holds no state, so it needs no locking.
class ZObject {
 public:
  ZObject() {}
  ZObject(const ZObject&) = default;
  ZObject& operator=(const ZObject&) = default;
  virtual ~ZObject();

  // Low 32 bits of the object's address.
  virtual unsigned int hash() const;
  // 0 for this very object, otherwise -1 or +1 by unsigned address order.
  virtual int compare(const ZObject& other) const;
  // A copy allocated with operator new, or null when the object cannot be
  // cloned. Never throws for a plain ZObject.
  virtual ZObject* clone() const;
  // True exactly when compare(other) is 0.
  virtual int equals(const ZObject& other) const;

  // All comparison operators go through the virtual compare.
  int operator==(const ZObject& o) const { return compare(o) == 0; }
  int operator!=(const ZObject& o) const { return compare(o) != 0; }
  int operator<(const ZObject& o) const { return compare(o) < 0; }
  int operator>(const ZObject& o) const { return compare(o) > 0; }
  int operator<=(const ZObject& o) const { return compare(o) < 1; }
  int operator>=(const ZObject& o) const { return compare(o) > -1; }

  // Throw ZOutOfMemoryException when the global allocator yields nothing.
  static void* operator new(std::size_t size);
  static void* operator new[](std::size_t size);
  static void operator delete(void* p);
  static void operator delete[](void* p);
};

#endif  // Z_ZOBJECT_H_
