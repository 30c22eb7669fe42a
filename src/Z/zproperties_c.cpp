// zbase: the C interface to stanza configuration files.
#include "Z/zproperties_c.h"

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "Z/ZArrayList.h"
#include "Z/ZException.h"

namespace {

const uint32_t kStringMark = 0xC0FFEEEE;

// Stores that must outlive the destructor they are made in.
template <typename T>
void wipe(T& field) {
  *static_cast<volatile T*>(&field) = static_cast<T>(0);
}

template <typename T>
T load(const T& field) {
  return *static_cast<const volatile T*>(&field);
}

ZStanzaFileProperties* propertiesOf(ZPROP_handle* handle) {
  if (handle == nullptr || load(handle->magic1) != ZPROP_handle::kMagic1 ||
      load(handle->magic2) != ZPROP_handle::kMagic2) {
    return nullptr;
  }
  return &static_cast<ZPROP_stz_handle*>(handle)->properties;
}

// The iterator's kind when it passes the validity check, else 0.
int validKind(const ZPROP_iter_handle* it) {
  if (it == nullptr || load(it->magic1) != ZPROP_handle::kMagic1 ||
      load(it->magic2) != ZPROP_handle::kMagic2) {
    return 0;
  }
  const int kind = load(it->kind);
  return kind == ZPROP_iter_handle::kKeys || kind == ZPROP_iter_handle::kValues ? kind : 0;
}

ZStanzaIterator& keysOf(ZPROP_iter_handle* it) {
  return static_cast<ZPROP_stz_iter_handle*>(it)->iterator;
}

ZPROP_stzvalue_iter_handle& valuesOf(ZPROP_iter_handle* it) {
  return *static_cast<ZPROP_stzvalue_iter_handle*>(it);
}

// The code of a change or of a store: every exception counts as failure,
// except the unwinding of a cancelled thread, which must go on.
template <typename Change>
int guarded(int failure, Change change) {
  try {
    change();
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return failure;
  }
  return ZPROP_OK;
}

bool allGiven(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (name == nullptr) return false;
  }
  return true;
}

// The shape of the changes: a valid handle and every name given, else 55;
// any failure of the change gives 52.
template <typename Change>
int changed(ZPROP_handle* handle, std::initializer_list<const char*> names, Change change) {
  ZStanzaFileProperties* p = propertiesOf(handle);
  if (p == nullptr || !allGiven(names)) return ZPROP_ERR_INVALID_ARG;
  return guarded(ZPROP_ERR_CHANGE, [&] { change(*p); });
}

// The shape of the counting queries: a missing name or rc gives 0 with rc
// untouched, an invalid handle 0 with rc 55.
template <typename T, typename Query>
T queried(ZPROP_handle* handle, std::initializer_list<const char*> names, int* rc, Query query) {
  if (rc == nullptr || !allGiven(names)) return 0;
  ZStanzaFileProperties* p = propertiesOf(handle);
  *rc = p == nullptr ? ZPROP_ERR_INVALID_ARG : ZPROP_OK;
  return p == nullptr ? 0 : query(*p);
}

// The shape of the three value getters: argument checks, then the getter,
// with missing and invalid values turned into codes.
template <typename T, typename Get>
T getTyped(ZPROP_handle* handle, const char* stanza, const char* key, int* rc, Get get) {
  if (stanza == nullptr || key == nullptr || rc == nullptr) return static_cast<T>(55);
  ZStanzaFileProperties* p = propertiesOf(handle);
  if (p == nullptr) {
    *rc = ZPROP_ERR_INVALID_ARG;
    return 0;
  }
  try {
    T value = get(*p);
    *rc = ZPROP_OK;
    return value;
  } catch (ZPropertiesMissingPropertyException&) {
    *rc = ZPROP_ERR_MISSING;
  } catch (ZPropertiesInvalidValueException&) {
    *rc = ZPROP_ERR_INVALID_VALUE;
  }
  return 0;
}

char* copyOf(const ZLCString& text) {
  char* copy = strdup(text.getChars());
  if (copy == nullptr) ZOutOfMemoryException().throwException("src/Z/zproperties_c", 118);
  return copy;
}

// A heap array of copies of the key's values, ended by a null entry.
char** listOf(ZStanzaFileProperties& p, const char* stanza, const char* key) {
  ZArrayList values(5, 1);
  p.getValues(stanza, key, values, ZPROP_STRING_LOCAL);
  const unsigned int n = values.size();
  char** list = static_cast<char**>(std::calloc(n + 1, sizeof(char*)));
  if (list == nullptr) ZOutOfMemoryException().throwException("src/Z/zproperties_c", 128);
  try {
    for (unsigned int i = 0; i < n; ++i) list[i] = copyOf(*static_cast<ZLCString*>(values.get(i)));
  } catch (...) {
    for (unsigned int i = 0; list[i] != nullptr; ++i) std::free(list[i]);
    std::free(list);
    throw;
  }
  return list;
}

// The value iterator functions that change values share one shape, quirks
// included (see the header).
template <typename Change>
int changeThroughIterator(ZPROP_iter_handle* it, Change change) {
  int result = validKind(it) != 0 ? ZPROP_OK : ZPROP_ERR_INVALID_ARG;
  try {
    const int kind = load(it->kind);
    if (kind == ZPROP_iter_handle::kKeys) return ZPROP_ERR_ITERATOR;
    if (kind == ZPROP_iter_handle::kValues) change(valuesOf(it).iterator);
  } catch (ZPropertiesIteratorException&) {
    result = ZPROP_ERR_ITERATOR;
  }
  return result;
}

void setRc(int* rc, int code) {
  if (rc != nullptr) *rc = code;
}

}  // namespace

// ---------------------------------------------------------------------------
// Handles

ZPROP_handle::ZPROP_handle(ZPROPOpenMode mode) : magic1(kMagic1), mode(mode), magic2(kMagic2) {}

ZPROP_handle::~ZPROP_handle() {
  wipe(magic1);
  wipe(mode);
  wipe(magic2);
}

ZPROP_stz_handle::ZPROP_stz_handle(ZPROPOpenMode mode) : ZPROP_handle(mode), properties(1) {}

ZPROP_stz_handle::~ZPROP_stz_handle() {}

ZPROP_iter_handle::ZPROP_iter_handle(int kind)
    : kind(kind), magic1(ZPROP_handle::kMagic1), magic2(ZPROP_handle::kMagic2) {}

ZPROP_iter_handle::~ZPROP_iter_handle() {
  wipe(kind);
  wipe(magic1);
  wipe(magic2);
}

ZPROP_stz_iter_handle::ZPROP_stz_iter_handle(ZStanzaFileProperties& properties, const char* stanza)
    : ZPROP_iter_handle(kKeys), iterator(properties, stanza) {}

ZPROP_stz_iter_handle::~ZPROP_stz_iter_handle() {}

ZPROP_stzvalue_iter_handle::ZPROP_stzvalue_iter_handle(ZStanzaFileProperties& properties,
                                                       const char* stanza, const char* key)
    : ZPROP_iter_handle(kValues),
      iterator(properties, stanza, key, ZPROP_STRING_LOCAL, 0),
      key(key) {}

ZPROP_stzvalue_iter_handle::~ZPROP_stzvalue_iter_handle() {}

// ---------------------------------------------------------------------------
// Files

int zstzPropOpen(ZPROP_handle** handle, const char* file, ZPROPOpenMode mode) {
  int m;  // read as a number: callers may pass any value
  std::memcpy(&m, &mode, sizeof m);
  if (handle == nullptr || file == nullptr || (m != 1 && m != 2)) return ZPROP_ERR_INVALID_ARG;
  *handle = nullptr;
  ZPROP_stz_handle* opened = nullptr;
  const int rc = guarded(ZPROP_ERR_FILE, [&] {
    opened = new ZPROP_stz_handle(mode);
    opened->properties.load(file);
  });
  if (rc != ZPROP_OK) {
    delete opened;
    return rc;
  }
  *handle = opened;
  return ZPROP_OK;
}

void zstzPropClose(ZPROP_handle* handle) {
  if (propertiesOf(handle) != nullptr) delete handle;
}

int zstzPropStore(ZPROP_handle* handle, const char* file) {
  ZStanzaFileProperties* p = propertiesOf(handle);
  if (p == nullptr) return ZPROP_ERR_INVALID_ARG;
  return guarded(ZPROP_ERR_FILE, [&] { p->store(file); });
}

// ---------------------------------------------------------------------------
// Reading

int zstzPropExists(ZPROP_handle* handle, const char* stanza, const char* key, int* rc) {
  return queried<int>(handle, {stanza}, rc, [&](ZStanzaFileProperties& p) {
    return key == nullptr ? p.exists(stanza) : p.exists(stanza, key);
  });
}

unsigned int zstzPropNumStanzas(ZPROP_handle* handle, int* rc) {
  return queried<unsigned int>(handle, {}, rc, [](ZStanzaFileProperties& p) { return p.count(); });
}

unsigned int zstzPropNumKeys(ZPROP_handle* handle, const char* stanza, int* rc) {
  return queried<unsigned int>(handle, {stanza}, rc,
                               [&](ZStanzaFileProperties& p) { return p.count(stanza); });
}

unsigned int zstzPropNumValues(ZPROP_handle* handle, const char* stanza, const char* key, int* rc) {
  return queried<unsigned int>(handle, {stanza, key}, rc,
                               [&](ZStanzaFileProperties& p) { return p.numValues(stanza, key); });
}

char* zstzPropGetStringValue(ZPROP_handle* handle, const char* stanza, const char* key,
                             int mustExist, int* rc) {
  if (stanza == nullptr || key == nullptr || rc == nullptr) return nullptr;
  ZStanzaFileProperties* p = propertiesOf(handle);
  if (p == nullptr) {
    *rc = ZPROP_ERR_INVALID_ARG;
    return nullptr;
  }
  ZLCString text;
  try {
    p->getValue(stanza, key, text, mustExist, nullptr);
  } catch (ZPropertiesMissingPropertyException&) {
    *rc = ZPROP_ERR_MISSING;
    return nullptr;
  }
  *rc = ZPROP_OK;
  if (text.getLength() == 0) return nullptr;
  // The mark in front of the characters tells zstzPropFree the block is ours.
  char* block = static_cast<char*>(std::malloc(sizeof kStringMark + text.getLength() + 1));
  if (block == nullptr) ZOutOfMemoryException().throwException("src/Z/zproperties_c", 270);
  std::memcpy(block, &kStringMark, sizeof kStringMark);
  std::memcpy(block + sizeof kStringMark, text.getChars(), text.getLength() + 1);
  return block + sizeof kStringMark;
}

int zstzPropGetBooleanValue(ZPROP_handle* handle, const char* stanza, const char* key,
                            int mustExist, int* rc) {
  return getTyped<int>(handle, stanza, key, rc, [&](ZStanzaFileProperties& p) {
    return p.getBooleanValue(stanza, key, mustExist, 0);
  });
}

unsigned int zstzPropGetIntegerValue(ZPROP_handle* handle, const char* stanza, const char* key,
                                     int mustExist, int* rc) {
  return getTyped<unsigned int>(handle, stanza, key, rc, [&](ZStanzaFileProperties& p) {
    return p.getIntegerValue(stanza, key, mustExist, 0);
  });
}

long long zstzPropGetLongLongValue(ZPROP_handle* handle, const char* stanza, const char* key,
                                   int mustExist, int* rc) {
  return getTyped<long long>(handle, stanza, key, rc, [&](ZStanzaFileProperties& p) {
    return p.getLongLongValue(stanza, key, mustExist, 0);
  });
}

int zstzPropGetValues(ZPROP_handle* handle, ZPROPValueRequest* requests, int count) {
  ZStanzaFileProperties* p = propertiesOf(handle);
  if (p == nullptr) return ZPROP_ERR_INVALID_ARG;
  if (requests == nullptr) return count != 0 ? ZPROP_ERR_INVALID_ARG : ZPROP_OK;
  try {
    for (int i = 0; i < count; ++i) {
      ZPROPValueRequest& r = requests[i];
      const int mustExist = r.optional != 1;
      if (r.result == nullptr) return ZPROP_ERR_INVALID_ARG;
      switch (r.type) {
        case ZPROP_TYPE_INTEGER:
          *static_cast<unsigned int*>(r.result) = p->getIntegerValue(r.stanza, r.key, mustExist, 0);
          break;
        case ZPROP_TYPE_BOOLEAN:
          *static_cast<int*>(r.result) = p->getBooleanValue(r.stanza, r.key, mustExist, 0);
          break;
        case ZPROP_TYPE_STRING_LIST:
          *static_cast<char***>(r.result) = listOf(*p, r.stanza, r.key);
          break;
        case ZPROP_TYPE_STRING: {
          ZLCString text;
          p->getValue(r.stanza, r.key, text, mustExist, nullptr);
          *static_cast<char**>(r.result) = text.getLength() != 0 ? copyOf(text) : nullptr;
          break;
        }
        default:
          ZInvalidParameterException().throwException("src/Z/zproperties_c", 323);
      }
    }
  } catch (ZPropertiesMissingPropertyException&) {
    return ZPROP_ERR_MISSING;
  } catch (ZPropertiesInvalidValueException&) {
    return ZPROP_ERR_INVALID_VALUE;
  }
  return ZPROP_OK;
}

void zstzPropFreeValuesList(ZPROP_handle* handle, ZPROPValueRequest* requests, int count) {
  if (propertiesOf(handle) == nullptr || requests == nullptr) return;
  for (int i = 0; i < count; ++i) {
    const ZPROPValueRequest& r = requests[i];
    if (r.result == nullptr) continue;
    if (r.type == ZPROP_TYPE_STRING) {
      char*& text = *static_cast<char**>(r.result);
      std::free(text);
      text = nullptr;
    } else if (r.type == ZPROP_TYPE_STRING_LIST) {
      char**& list = *static_cast<char***>(r.result);
      for (char** entry = list; entry != nullptr && *entry != nullptr; ++entry) std::free(*entry);
      std::free(list);
      list = nullptr;
    }
  }
}

void zstzPropFree(char* value) {
  if (value == nullptr) return;
  char* block = value - sizeof kStringMark;
  uint32_t mark;
  std::memcpy(&mark, block, sizeof mark);
  if (mark != kStringMark) return;
  std::memset(block, 0, sizeof mark);
  std::free(block);
}

// ---------------------------------------------------------------------------
// Changes

int zstzPropSetStringValue(ZPROP_handle* handle, const char* stanza, const char* key,
                           const char* value) {
  return changed(handle, {stanza, key},
                 [&](ZStanzaFileProperties& p) { p.setValue(stanza, key, value); });
}

int zstzPropSetIntegerValue(ZPROP_handle* handle, const char* stanza, const char* key,
                            unsigned int value) {
  return changed(handle, {stanza, key},
                 [&](ZStanzaFileProperties& p) { p.setIntegerValue(stanza, key, value); });
}

int zstzPropSetLongLongValue(ZPROP_handle* handle, const char* stanza, const char* key,
                             long long value) {
  return changed(handle, {stanza, key},
                 [&](ZStanzaFileProperties& p) { p.setLongLongValue(stanza, key, value); });
}

int zstzPropSetBooleanValue(ZPROP_handle* handle, const char* stanza, const char* key, int value) {
  return changed(handle, {stanza, key},
                 [&](ZStanzaFileProperties& p) { p.setBooleanValue(stanza, key, value); });
}

int zstzPropRemoveKey(ZPROP_handle* handle, const char* stanza, const char* key) {
  return changed(handle, {stanza, key},
                 [&](ZStanzaFileProperties& p) { p.deleteKey(stanza, key); });
}

int zstzPropRemoveStanza(ZPROP_handle* handle, const char* stanza) {
  return changed(handle, {stanza}, [&](ZStanzaFileProperties& p) { p.deleteStanza(stanza); });
}

int zstzPropAddFileComment(ZPROP_handle* handle, const char* comment) {
  return changed(handle, {comment}, [&](ZStanzaFileProperties& p) { p.addFileComment(comment); });
}

int zstzPropAddStanzaComment(ZPROP_handle* handle, const char* stanza, const char* comment) {
  return changed(handle, {stanza, comment},
                 [&](ZStanzaFileProperties& p) { p.addStanzaComment(stanza, comment); });
}

int zstzPropAddLineComment(ZPROP_handle* handle, const char* stanza, const char* key,
                           const char* comment) {
  return changed(handle, {stanza, key, comment},
                 [&](ZStanzaFileProperties& p) { p.addEntryComment(stanza, key, comment); });
}

// ---------------------------------------------------------------------------
// Iterators

int zstzPropIter_init(ZPROP_handle* handle, const char* stanza, const char* key,
                      ZPROP_iter_handle** iterator) {
  if (iterator != nullptr) *iterator = nullptr;
  ZStanzaFileProperties* p = propertiesOf(handle);
  if (p == nullptr || stanza == nullptr || iterator == nullptr) return ZPROP_ERR_INVALID_ARG;
  if (key == nullptr) {
    *iterator = new ZPROP_stz_iter_handle(*p, stanza);
  } else {
    *iterator = new ZPROP_stzvalue_iter_handle(*p, stanza, key);
  }
  return ZPROP_OK;
}

int zstzPropIter_close(ZPROP_iter_handle* iterator) {
  if (iterator == nullptr) return ZPROP_ERR_INVALID_ARG;
  const int result = validKind(iterator) != 0 ? ZPROP_OK : ZPROP_ERR_INVALID_ARG;
  delete iterator;
  return result;
}

int zstzPropIter_next(ZPROP_iter_handle* iterator, int* rc) {
  const int kind = validKind(iterator);
  setRc(rc, kind != 0 ? ZPROP_OK : ZPROP_ERR_INVALID_ARG);
  try {
    if (kind == ZPROP_iter_handle::kKeys) {
      ZStanzaIterator& keys = keysOf(iterator);
      if (!keys.hasMore()) return 0;
      keys.nextEntry();
      return 1;
    }
    if (kind == ZPROP_iter_handle::kValues) {
      ZPROP_stzvalue_iter_handle& h = valuesOf(iterator);
      if (!h.iterator.hasMore()) return 0;
      h.currentValue = *h.iterator.nextValue();
      return 1;
    }
  } catch (ZPropertiesIteratorException&) {
    setRc(rc, ZPROP_ERR_ITERATOR);
  }
  return 0;
}

const char* zstzPropIter_getKey(ZPROP_iter_handle* iterator, int* rc) {
  const int kind = validKind(iterator);
  setRc(rc, kind != 0 ? ZPROP_OK : ZPROP_ERR_INVALID_ARG);
  try {
    if (kind == ZPROP_iter_handle::kKeys) return keysOf(iterator).entryName();
    if (kind == ZPROP_iter_handle::kValues) return valuesOf(iterator).key.getChars();
  } catch (ZPropertiesIteratorException&) {
    setRc(rc, ZPROP_ERR_ITERATOR);
  }
  return nullptr;
}

const char* zstzPropIter_getValue(ZPROP_iter_handle* iterator, void* /*unused*/, int* rc) {
  const int kind = validKind(iterator);
  setRc(rc, kind != 0 ? ZPROP_OK : ZPROP_ERR_INVALID_ARG);
  try {
    if (kind == ZPROP_iter_handle::kKeys) return keysOf(iterator).entryValue(0);
    if (kind == ZPROP_iter_handle::kValues) return valuesOf(iterator).currentValue.getChars();
  } catch (ZPropertiesIteratorException&) {
    setRc(rc, ZPROP_ERR_ITERATOR);
  }
  return nullptr;
}

unsigned int zstzPropIter_numKeys(ZPROP_iter_handle* iterator, int* rc) {
  const int kind = validKind(iterator);
  setRc(rc, kind != 0 ? ZPROP_OK : ZPROP_ERR_INVALID_ARG);
  try {
    if (kind == ZPROP_iter_handle::kKeys) return keysOf(iterator).keyCount();
    if (kind == ZPROP_iter_handle::kValues) return 1;
  } catch (ZPropertiesIteratorException&) {
    setRc(rc, ZPROP_ERR_ITERATOR);
  }
  return 0;
}

unsigned int zstzPropIter_numValues(ZPROP_iter_handle* iterator, int* rc) {
  const int kind = validKind(iterator);
  setRc(rc, kind != 0 ? ZPROP_OK : ZPROP_ERR_INVALID_ARG);
  try {
    if (kind == ZPROP_iter_handle::kKeys) setRc(rc, ZPROP_ERR_ITERATOR);
    if (kind == ZPROP_iter_handle::kValues) return valuesOf(iterator).iterator.valueCount();
  } catch (ZPropertiesIteratorException&) {
    setRc(rc, ZPROP_ERR_ITERATOR);
  }
  return 0;
}

int zstzPropIter_addValue(ZPROP_iter_handle* iterator, const char* value) {
  return changeThroughIterator(iterator, [&](ZStanzaValueIterator& it) { it.addValue(value); });
}

int zstzPropIter_chgValue(ZPROP_iter_handle* iterator, const char* value) {
  return changeThroughIterator(iterator, [&](ZStanzaValueIterator& it) { it.changeValue(value); });
}

int zstzPropIter_rmvValue(ZPROP_iter_handle* iterator) {
  return changeThroughIterator(iterator, [](ZStanzaValueIterator& it) { it.removeValue(); });
}
