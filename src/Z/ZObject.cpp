// zbase: ZObject, the root class of the library's objects.
#include "Z/ZObject.h"

#include <cstdint>
#include <new>

#include "Z/ZException.h"

ZObject::~ZObject() {}

unsigned int ZObject::hash() const {
  return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(this));
}

int ZObject::compare(const ZObject& other) const {
  std::uintptr_t me = reinterpret_cast<std::uintptr_t>(this);
  std::uintptr_t them = reinterpret_cast<std::uintptr_t>(&other);
  if (me == them) return 0;
  return me < them ? -1 : 1;
}

ZObject* ZObject::clone() const { return nullptr; }

int ZObject::equals(const ZObject& other) const { return compare(other) == 0; }

void* ZObject::operator new(std::size_t size) {
  void* p = ::operator new(size, std::nothrow);
  if (p == nullptr) ZOutOfMemoryException().throwException("src/Z/ZObject", 65);
  return p;
}

void* ZObject::operator new[](std::size_t size) {
  void* p = ::operator new[](size, std::nothrow);
  if (p == nullptr) ZOutOfMemoryException().throwException("src/Z/ZObject", 75);
  return p;
}

void ZObject::operator delete(void* p) { ::operator delete(p); }

void ZObject::operator delete[](void* p) { ::operator delete[](p); }
