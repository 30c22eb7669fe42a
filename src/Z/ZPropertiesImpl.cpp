// zbase: the property cache, the in-memory model of one configuration file.
#include "Z/ZPropertiesImpl.h"

#include <pthread.h>

#include <cstring>
#include <memory>

#include "Z/ZException.h"

namespace {

// The two slots of a key's value record.
const unsigned int kPlainSlot = 0;
const unsigned int kObfuscatedSlot = 1;

// findMark's answer when there is no such mark.
const unsigned int kNoMark = ~0u;

pthread_once_t emptyOnce = PTHREAD_ONCE_INIT;
pthread_once_t registryOnce = PTHREAD_ONCE_INIT;
ZLock* registryLock = nullptr;

// Empty stanza and value record that new entries are cloned from: the maps
// store clones of what they are given, so one shared, never changed original
// saves building and freeing a fresh one per new stanza or key.
const ZPKVList* emptyKeys = nullptr;
const ZArrayList* emptyRecord = nullptr;

ZArrayList* newRecord();

void ZPCache_c_init() {
  ZPCache::empty_ = new ZLCString();
  emptyKeys = new ZPKVList();
  emptyRecord = newRecord();
}

void ZPropRegistry_c_init() { registryLock = new ZLock(); }

inline const char* orEmpty(const char* text) { return text ? text : ""; }

inline ZArrayList* slotOf(const ZArrayList* record, unsigned int slot) {
  return static_cast<ZArrayList*>(record->get(slot));
}

// Exact, byte-wise name comparison; the cache never folds case or collates.
inline bool sameText(const ZLCString& s, const char* text, size_t length) {
  return s.getLength() == length && std::memcmp(s.getChars(), text, length) == 0;
}

// A line text as a key of the header index, every byte of it, as sameText
// compares.
inline std::string keyOf(const ZLCString& s) { return std::string(s.getChars(), s.getLength()); }

// Appends a copy of `value` to a value slot.
void appendValue(ZArrayList* slot, const char* value) {
  std::unique_ptr<ZLCString> copy(new ZLCString(value));
  slot->addNoCopy(copy.get());
  copy.release();
}

// A new, empty value record: an owning list of two owning value lists.
ZArrayList* newRecord() {
  std::unique_ptr<ZArrayList> record(new ZArrayList(2, 1));
  for (int i = 0; i < 2; ++i) {
    std::unique_ptr<ZArrayList> slot(new ZArrayList(1, 1));
    record->addNoCopy(slot.get());
    slot.release();
  }
  return record.release();
}

}  // namespace

// ---------------------------------------------------------------- ZPropLine

ZPropLine::ZPropLine(unsigned int t, const char* s) : type(t), text(orEmpty(s)) {}

ZPropLine::ZPropLine(const ZPropLine& other) : ZObject(), type(other.type), text(other.text) {}

ZPropLine& ZPropLine::operator=(const ZPropLine& other) {
  if (this != &other) {
    type = other.type;
    text = other.text;
  }
  return *this;
}

ZPropLine::~ZPropLine() {}

int ZPropLine::compare(const ZObject& other) const {
  const ZPropLine* line = dynamic_cast<const ZPropLine*>(&other);
  if (line == nullptr) return ZObject::compare(other);
  if (type != line->type) return type < line->type ? -1 : 1;
  return text.compare(line->text.getChars());
}

ZObject* ZPropLine::clone() const { return new ZPropLine(*this); }

// ---------------------------------------------------------- ZObfuscatedItem

ZObfuscatedItem::ZObfuscatedItem(const ZLCString& s, const ZLCString& k) : stanza(s), key(k) {}

ZObfuscatedItem::ZObfuscatedItem(const ZObfuscatedItem& other)
    : ZObject(), stanza(other.stanza), key(other.key) {}

ZObfuscatedItem& ZObfuscatedItem::operator=(const ZObfuscatedItem& other) {
  if (this != &other) {
    stanza = other.stanza;
    key = other.key;
  }
  return *this;
}

ZObfuscatedItem::~ZObfuscatedItem() {}

int ZObfuscatedItem::compare(const ZObject& other) const {
  const ZObfuscatedItem* item = dynamic_cast<const ZObfuscatedItem*>(&other);
  if (item == nullptr) return ZObject::compare(other);
  int result = stanza.compare(item->stanza);
  return result != 0 ? result : key.compare(item->key);
}

ZObject* ZObfuscatedItem::clone() const { return new ZObfuscatedItem(*this); }

int ZObfuscatedItem::equals(const ZObject& other) const {
  const ZObfuscatedItem* item = dynamic_cast<const ZObfuscatedItem*>(&other);
  if (item == nullptr) return 0;
  return stanza.equals(item->stanza) && key.equals(item->key);
}

// ----------------------------------------------------------------- ZPKVList

ZPKVList::ZPKVList() : ZHashKeyMap(10, 1), keyOrder(10, 1) {}

ZPKVList::ZPKVList(const ZPKVList& other) : ZHashKeyMap(other), keyOrder(other.keyOrder) {}

ZPKVList::~ZPKVList() {}

ZObject* ZPKVList::clone() const { return new ZPKVList(*this); }

void ZPKVList::putEntry(const ZObject* key, const ZObject* value) {
  keyOrder.add(key);
  try {
    ZHashKeyMap::putEntry(key, value);
  } catch (...) {
    keyOrder.remove(keyOrder.size() - 1);
    throw;
  }
}

ZArrayList* ZPKVList::addAbsentKey(const char* key) {
  std::unique_ptr<ZLCString> ordered(new ZLCString(key));
  keyOrder.addNoCopy(ordered.get());
  ordered.release();
  try {
    std::unique_ptr<ZLCString> name(new ZLCString(key));
    ZArrayList* record = newRecord();
    return static_cast<ZArrayList*>(putAbsent(name.release(), record));
  } catch (...) {
    keyOrder.remove(keyOrder.size() - 1);
    throw;
  }
}

void ZPKVList::removeEntry(const ZObject* key) {
  // Find the order entry first: `key` may be the map's own copy, which the
  // removal from the map deletes.
  unsigned int index = keyOrder.indexOf(key);
  ZHashKeyMap::removeEntry(key);
  keyOrder.remove(index);  // ignored when the key was not in the list
}

void ZPKVList::removeAll() {
  ZHashKeyMap::removeAll();
  keyOrder.removeAll();
}

void ZPKVList::listKeys(ZList& list) const {
  list.removeAll();
  list.addList(keyOrder);
}

// ------------------------------------------------------------------ ZPCache

ZLCString* ZPCache::empty_ = nullptr;

ZPCache::ZPCache()
    : name(),
      categories(10, 1),
      lines(100, 1),
      obfuscatedItems(10, 1),
      attributes(0),
      attributeData(nullptr) {
  pthread_once(&emptyOnce, ZPCache_c_init);
}

ZPCache::ZPCache(const ZPCache& other)
    : name(),
      categories(other.categories),
      lines(other.lines),
      obfuscatedItems(10, 0),
      attributes(other.attributes),
      attributeData(other.attributeData) {
  pthread_once(&emptyOnce, ZPCache_c_init);
}

ZPCache::~ZPCache() { removeAllMarks(); }

ZArrayList* ZPCache::get(const char*, const char*, int& isObfuscated, get_type_e) const {
  isObfuscated = 0;
  return nullptr;
}

ZArrayList* ZPCache::get(const char*, const char*, get_type_e) const { return nullptr; }

ZArrayList* ZPCache::get(const char*, get_type_e) const { return nullptr; }

void ZPCache::add(const char*, const char*, const char*, int) {}

void ZPCache::add(const char*, const char*, int) {}

void ZPCache::set(const char*, const char*, const char*) {}

void ZPCache::set(const char*, const char*) {}

void ZPCache::setObfuscated(const char*, const char*, const char*) {}

void ZPCache::setObfuscated(const char*, const char*) {}

void ZPCache::remove(const char*, const char*) {}

void ZPCache::remove(const char*) {}

unsigned int ZPCache::keyCount(const char* stanza) const {
  ZPKVList* keys = findStanza(stanza);
  return keys ? keys->keyOrder.size() : 0;
}

int ZPCache::contains(const char* stanza) const { return findStanza(stanza) != nullptr; }

int ZPCache::contains(const char*, const char*) const { return 0; }

int ZPCache::isObfuscated(const char*) const { return 0; }

int ZPCache::isObfuscated(const char*, const char*) const { return 0; }

unsigned int ZPCache::count() const { return categories.size(); }

void ZPCache::getNames(ZArrayList& list) const { categories.listKeys(list); }

void ZPCache::getNames(const char*, ZArrayList&) const {}

ZArrayList* ZPCache::getNames(const char*) const { return nullptr; }

void ZPCache::clear() {
  categories.removeAll();
  lines.removeAll();
  removeAllMarks();
  name.clear();
}

void ZPCache::setAttributes(unsigned long flags, void* data) {
  attributes |= flags;
  attributeData = data;
}

void ZPCache::makeKey(ZLCString& out, const char* a, const char* b) const {
  out = orEmpty(a);
  out += ".";
  out += orEmpty(b);
}

ZPKVList* ZPCache::findStanza(const char* stanza) const {
  // A view is enough to probe the map: it hashes and compares like the
  // stored ZLCString, without copying the name.
  ZLCConstString probe(stanza);
  return static_cast<ZPKVList*>(categories.getEntry(&probe));
}

ZArrayList* ZPCache::findRecord(const char* stanza, const char* key) const {
  if (key == nullptr) return nullptr;
  ZPKVList* keys = findStanza(stanza);
  if (keys == nullptr) return nullptr;
  ZLCConstString probe(key);
  return static_cast<ZArrayList*>(keys->getEntry(&probe));
}

void ZPCache::addMark(const char* stanza, const char* key) {
  std::unique_ptr<ZObfuscatedItem> item(
      new ZObfuscatedItem(ZLCString(orEmpty(stanza)), ZLCString(orEmpty(key))));
  obfuscatedItems.addNoCopy(item.get());
  item.release();
}

unsigned int ZPCache::findMark(const char* stanza, const char* key) const {
  unsigned int n = obfuscatedItems.size();
  if (n == 0) return kNoMark;  // the common case: nothing obfuscated
  const char* s = orEmpty(stanza);
  const char* k = orEmpty(key);
  size_t sLength = std::strlen(s);
  size_t kLength = std::strlen(k);
  for (unsigned int i = 0; i < n; ++i) {
    const ZObfuscatedItem* item = static_cast<const ZObfuscatedItem*>(obfuscatedItems.get(i));
    if (sameText(item->stanza, s, sLength) && sameText(item->key, k, kLength)) return i;
  }
  return kNoMark;
}

void ZPCache::removeMark(const char* stanza, const char* key) {
  unsigned int index = findMark(stanza, key);
  if (index != kNoMark) removeMarkAt(index);
}

void ZPCache::removeMarkAt(unsigned int index) {
  if (obfuscatedItems.ownsMembers()) {
    obfuscatedItems.remove(index);
  } else {
    ZObject* item = obfuscatedItems.get(index);
    obfuscatedItems.remove(index);
    delete item;
  }
}

void ZPCache::removeAllMarks() {
  if (!obfuscatedItems.ownsMembers()) {
    unsigned int n = obfuscatedItems.size();
    for (unsigned int i = 0; i < n; ++i) delete obfuscatedItems.get(i);
  }
  obfuscatedItems.removeAll();
}

// ----------------------------------------------------- ZPCategoryBasedCache

ZPCategoryBasedCache::ZPCategoryBasedCache() : ZPCache() {}

ZPCategoryBasedCache::ZPCategoryBasedCache(const ZPCategoryBasedCache& other) : ZPCache(other) {}

ZPCategoryBasedCache::~ZPCategoryBasedCache() {}

void ZPCategoryBasedCache::validateKey(const char* fullKey, ZLCString& stanza,
                                       ZLCString& key) const {
  if (fullKey == nullptr) {
    ZInvalidParameterException().throwException("src/Z/ZPropertiesImpl", 326);
  }
  const char* dot = std::strchr(fullKey, '.');
  if (dot == nullptr) {
    ZInvalidParameterException().throwException("src/Z/ZPropertiesImpl", 330);
  }
  // The whole text names the stanza; the key keeps its leading dot.
  stanza = fullKey;
  key = dot;
}

ZPKVList* ZPCategoryBasedCache::addAbsentStanza(const char* stanza) {
  std::unique_ptr<ZLCString> name(new ZLCString(orEmpty(stanza)));
  ZPKVList* keys = new ZPKVList();
  return static_cast<ZPKVList*>(categories.putAbsent(name.release(), keys));
}

ZArrayList* ZPCategoryBasedCache::createAndGet(ZHashKeyMap& map, const char* stanza,
                                               const char* key) const {
  ZLCConstString stanzaProbe(stanza);
  ZPKVList* keys = static_cast<ZPKVList*>(map.getEntry(&stanzaProbe));
  if (keys == nullptr) {
    ZLCString stanzaName(orEmpty(stanza));
    map.putEntry(&stanzaName, emptyKeys);
    keys = static_cast<ZPKVList*>(map.getEntry(&stanzaProbe));
  }
  if (key == nullptr) return nullptr;
  ZLCConstString keyProbe(key);
  ZArrayList* record = static_cast<ZArrayList*>(keys->getEntry(&keyProbe));
  if (record == nullptr) {
    ZLCString keyName(key);
    keys->putEntry(&keyName, emptyRecord);
    record = static_cast<ZArrayList*>(keys->getEntry(&keyProbe));
  }
  return record;
}

ZArrayList* ZPCategoryBasedCache::get(const char* stanza, const char* key, int& isObfuscated,
                                      get_type_e type) const {
  isObfuscated = 0;
  ZArrayList* record = findRecord(stanza, key);
  if (record == nullptr) return nullptr;
  ZArrayList* plain = slotOf(record, kPlainSlot);
  ZArrayList* obfuscated = slotOf(record, kObfuscatedSlot);
  switch (type) {
    case GET_PLAIN:
      return plain;
    case GET_OBFUSCATED:
      isObfuscated = 1;
      return obfuscated;
    case GET_ANY:
      if (plain->size() != 0) return plain;
      if (obfuscated->size() != 0) {
        isObfuscated = 1;
        return obfuscated;
      }
      return plain;
    default:
      return nullptr;
  }
}

ZArrayList* ZPCategoryBasedCache::get(const char* stanza, const char* key, get_type_e type) const {
  int isObfuscated = 0;
  return get(stanza, key, isObfuscated, type);
}

ZArrayList* ZPCategoryBasedCache::get(const char* fullKey, get_type_e type) const {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  return get(stanza.getChars(), key.getChars(), type);
}

void ZPCategoryBasedCache::add(const char* stanza, const char* key, const char* value,
                               int obfuscated) {
  ZArrayList* record = createAndGet(categories, stanza, key);
  if (record == nullptr || value == nullptr || *value == '\0') return;
  if (obfuscated) {
    ZArrayList* slot = slotOf(record, kObfuscatedSlot);
    if (slot->size() == 0) addMark(stanza, key);
    appendValue(slot, value);
  } else {
    appendValue(slotOf(record, kPlainSlot), value);
  }
}

void ZPCategoryBasedCache::add(const char* fullKey, const char* value, int obfuscated) {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  add(stanza.getChars(), key.getChars(), value, obfuscated);
}

void ZPCategoryBasedCache::set(const char* stanza, const char* key, const char* value) {
  ZArrayList* record = createAndGet(categories, stanza, key);
  if (record == nullptr) return;
  // Copy first: `value` may be one of the values about to be freed.
  std::unique_ptr<ZLCString> copy;
  if (value != nullptr && *value != '\0') copy.reset(new ZLCString(value));
  slotOf(record, kObfuscatedSlot)->removeAll();
  removeMark(stanza, key);
  ZArrayList* plain = slotOf(record, kPlainSlot);
  plain->removeAll();
  if (copy) {
    plain->addNoCopy(copy.get());
    copy.release();
  }
}

void ZPCategoryBasedCache::set(const char* fullKey, const char* value) {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  set(stanza.getChars(), key.getChars(), value);
}

void ZPCategoryBasedCache::setObfuscated(const char* stanza, const char* key, const char* value) {
  ZArrayList* record = createAndGet(categories, stanza, key);
  if (record == nullptr) return;
  // Value and new mark are made first: `value` may be a value about to be
  // freed, and the names may be those of the mark about to be removed.
  std::unique_ptr<ZLCString> copy;
  std::unique_ptr<ZObfuscatedItem> mark;
  if (value != nullptr && *value != '\0') {
    copy.reset(new ZLCString(value));
    mark.reset(new ZObfuscatedItem(ZLCString(orEmpty(stanza)), ZLCString(key)));
  }
  slotOf(record, kPlainSlot)->removeAll();
  ZArrayList* obfuscated = slotOf(record, kObfuscatedSlot);
  obfuscated->removeAll();
  removeMark(stanza, key);
  if (copy) {
    obfuscated->addNoCopy(copy.get());
    copy.release();
    obfuscatedItems.addNoCopy(mark.get());
    mark.release();
  }
}

void ZPCategoryBasedCache::setObfuscated(const char* fullKey, const char* value) {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  setObfuscated(stanza.getChars(), key.getChars(), value);
}

void ZPCategoryBasedCache::remove(const char* stanza, const char* key) {
  if (key == nullptr) return;
  // The names may be the cache's own, held by the key list or by the mark:
  // find the mark while they are intact, and remove it by its place.
  unsigned int mark = findMark(stanza, key);
  ZPKVList* keys = findStanza(stanza);
  if (keys != nullptr) {
    ZLCConstString probe(key);
    keys->removeEntry(&probe);  // nothing happens for an absent key
  }
  if (mark != kNoMark) removeMarkAt(mark);
}

void ZPCategoryBasedCache::remove(const char* stanza) {
  ZLCString name(orEmpty(stanza));
  // The index advances after a removal too, so the mark that slides into the
  // freed place is skipped: consecutive marks of the stanza are only half
  // removed. Deliberate: callers rely on it.
  size_t length = name.getLength();
  unsigned int size = obfuscatedItems.size();
  for (unsigned int i = 0; i < size; ++i) {
    const ZObfuscatedItem* item = static_cast<const ZObfuscatedItem*>(obfuscatedItems.get(i));
    if (sameText(item->stanza, name.getChars(), length)) {
      removeMarkAt(i);
      --size;
    }
  }
  ZLCConstString probe(name.getChars());
  categories.removeEntry(&probe);  // nothing happens for an absent stanza
}

unsigned int ZPCategoryBasedCache::countValues(const char* fullKey) {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  return countValues(stanza.getChars(), key.getChars());
}

unsigned int ZPCategoryBasedCache::countValues(const char* stanza, const char* key) {
  ZArrayList* values = get(stanza, key, GET_ANY);
  return values ? values->size() : 0;
}

int ZPCategoryBasedCache::contains(const char* stanza, const char* key) const {
  return findRecord(stanza, key) != nullptr;
}

int ZPCategoryBasedCache::isObfuscated(const char* fullKey) const {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  return isObfuscated(stanza.getChars(), key.getChars());
}

int ZPCategoryBasedCache::isObfuscated(const char* stanza, const char* key) const {
  ZArrayList* record = findRecord(stanza, key);
  if (record == nullptr) return 0;
  return slotOf(record, kPlainSlot)->size() == 0 && slotOf(record, kObfuscatedSlot)->size() != 0;
}

void ZPCategoryBasedCache::getNames(const char* stanza, ZArrayList& list) const {
  ZPKVList* keys = findStanza(stanza);
  if (keys != nullptr) keys->listKeys(list);
}

ZArrayList* ZPCategoryBasedCache::getNames(const char* stanza) const {
  ZPKVList* keys = findStanza(stanza);
  return keys ? keys->getKeys() : nullptr;
}

void ZPCategoryBasedCache::list(FILE* stream) const {
  ZArrayList stanzas(10, 0);
  ZArrayList keys(10, 0);
  getNames(stanzas);
  for (unsigned int i = 0; i < stanzas.size(); ++i) {
    const char* stanza = static_cast<const ZLCString*>(stanzas.get(i))->getChars();
    std::fprintf(stream, "\n[%s]\n", stanza);
    getNames(stanza, keys);
    for (unsigned int j = 0; j < keys.size(); ++j) {
      const char* key = static_cast<const ZLCString*>(keys.get(j))->getChars();
      ZArrayList* values = get(stanza, key, GET_PLAIN);
      if (values != nullptr && values->size() != 0) {
        for (unsigned int v = 0; v < values->size(); ++v) {
          std::fprintf(stream, "%s = %s\n", key,
                       static_cast<const ZLCString*>(values->get(v))->getChars());
        }
      } else {
        std::fprintf(stream, "%s =\n", key);
      }
    }
  }
}

// ------------------------------------------------------------------- layout

ZPropLine* ZPCategoryBasedCache::lineAt(unsigned int index) const {
  return static_cast<ZPropLine*>(lines.get(index));
}

void ZPCategoryBasedCache::insertLine(unsigned int index, unsigned int type, const char* text) {
  std::unique_ptr<ZPropLine> line(new ZPropLine(type, text));
  const ZPropLine* added = line.get();
  bool atEnd = index == lines.size();
  lines.addNoCopy(index, line.get());
  line.release();
  if (type == LINE_STANZA && headersBuilt_) {
    // A header appended is the first of its name only when none stands
    // before it (emplace keeps an existing one); one put elsewhere could
    // come before the first: start over.
    if (atEnd) {
      headers_.emplace(keyOf(added->text), HeaderPlace{added, index});
    } else {
      forgetHeaders();
    }
  }
}

void ZPCategoryBasedCache::clear() {
  ZPCache::clear();
  forgetHeaders();
}

void ZPCategoryBasedCache::forgetHeaders() const {
  headers_.clear();
  headersBuilt_ = false;
}

int ZPCategoryBasedCache::headerIndex(const char* stanza) const {
  const char* name = orEmpty(stanza);
  unsigned int n = lines.size();
  if (!headersBuilt_) {
    for (unsigned int i = 0; i < n; ++i) {
      const ZPropLine* line = lineAt(i);
      if (line->type == LINE_STANZA) headers_.emplace(keyOf(line->text), HeaderPlace{line, i});
    }
    headersBuilt_ = true;
  }
  auto found = headers_.find(name);
  // A stanza without a header is rare: the scan gives the exact answer.
  if (found == headers_.end()) return scanForHeader(name);
  HeaderPlace& place = found->second;
  // Lines are only ever inserted while the index stands, so the header is
  // where it was or further on.
  for (unsigned int i = place.index; i < n; ++i) {
    if (lines.get(i) == place.line) {
      place.index = i;
      return static_cast<int>(i);
    }
  }
  // The layout changed behind the cache's back: trust only a scan.
  forgetHeaders();
  return scanForHeader(name);
}

int ZPCategoryBasedCache::scanForHeader(const char* name) const {
  size_t length = std::strlen(name);
  unsigned int n = lines.size();
  for (unsigned int i = 0; i < n; ++i) {
    const ZPropLine* line = lineAt(i);
    if (line->type == LINE_STANZA && sameText(line->text, name, length)) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

int ZPCategoryBasedCache::keyLineIndex(int header, const char* key) const {
  if (key == nullptr) return -1;
  size_t length = std::strlen(key);
  unsigned int n = lines.size();
  for (unsigned int i = static_cast<unsigned int>(header + 1); i < n; ++i) {
    const ZPropLine* line = lineAt(i);
    if (line->type == LINE_STANZA) return -1;
    if (line->type == LINE_KEY && sameText(line->text, key, length)) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

void ZPCategoryBasedCache::addStanzaLine(const char* stanza) {
  if (contains(stanza)) return;
  set(stanza, nullptr, nullptr);
  insertLine(lines.size(), LINE_BLANK, nullptr);
  insertLine(lines.size(), LINE_STANZA, stanza);
}

void ZPCategoryBasedCache::addLine(const char* stanza, const char* key, const char* value,
                                   int obfuscated) {
  addStanzaLine(stanza);
  if (key == nullptr) return;
  int existed = contains(stanza, key);
  bool needsLine = !existed;
  if (existed && (!obfuscated || value == nullptr || *value == '\0') &&
      get(stanza, key, GET_PLAIN)->size() == 0) {
    // A key read from the side file alone has no line (nor, in a file edited
    // by hand, a header): a plain value given to it must still be written,
    // and so must the key when it is emptied ("key =").
    int at = headerIndex(stanza);
    needsLine = at < 0 || keyLineIndex(at, key) < 0;
  }
  // A key that needs its line: find the header and take a copy of the name
  // now, as setting the value may free a mark whose names were passed in.
  int header = needsLine ? headerIndex(stanza) : -1;
  if (needsLine && header < 0) {
    insertLine(lines.size(), LINE_BLANK, nullptr);
    insertLine(lines.size(), LINE_STANZA, stanza);
    header = static_cast<int>(lines.size()) - 1;
  }
  ZLCString name(needsLine ? key : nullptr);
  if (obfuscated) {
    setObfuscated(stanza, key, value);
  } else {
    set(stanza, key, value);
  }
  if (!needsLine) return;

  // After the stanza's last key line, unless a commented template of the key
  // ("# key = ...") comes first: then at the end of the template's block.
  unsigned int pos = static_cast<unsigned int>(header + 1);
  ZLCString pattern("#");
  pattern += name;
  pattern += "=";
  bool templateSeen = false;
  unsigned int n = lines.size();
  for (unsigned int i = pos; i < n; ++i) {
    const ZPropLine* line = lineAt(i);
    if (line->type == LINE_STANZA) break;
    if (line->type == LINE_KEY) {
      pos = i + 1;
    } else if (line->type == LINE_COMMENT) {
      if (isCommentWeWant(pattern.getChars(), line->text.getChars())) templateSeen = true;
    } else if (line->type == LINE_BLANK && templateSeen) {
      pos = i;
      break;
    }
  }
  insertLine(pos, LINE_KEY, name.getChars());
}

void ZPCategoryBasedCache::addLine(const char* fullKey, const char* value, int obfuscated) {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  addLine(stanza.getChars(), key.getChars(), value, obfuscated);
}

void ZPCategoryBasedCache::delLine(const char* fullKey) {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  delLine(stanza.getChars(), key.getChars());
}

void ZPCategoryBasedCache::delLine(const char* stanza, const char* key) {
  if (key == nullptr) return;
  // Own copies: the names passed in may be the cache's, freed by remove().
  ZLCString s(orEmpty(stanza));
  ZLCString k(key);
  remove(s.getChars(), k.getChars());
  int header = headerIndex(s.getChars());
  size_t length = k.getLength();
  unsigned int i = static_cast<unsigned int>(header + 1);
  while (i < lines.size()) {
    const ZPropLine* line = lineAt(i);
    if (line->type == LINE_STANZA) break;
    if (line->type == LINE_KEY && sameText(line->text, k.getChars(), length)) {
      lines.remove(i);
      forgetHeaders();
    } else {
      ++i;
    }
  }
}

void ZPCategoryBasedCache::delStanzaLine(const char* stanza) {
  ZLCString s(orEmpty(stanza));
  remove(s.getChars());
  int header = headerIndex(s.getChars());
  if (header < 0) return;
  unsigned int at = static_cast<unsigned int>(header);
  // The header, then everything up to the next header. The blank line that
  // stood before the header stays.
  forgetHeaders();
  do {
    lines.remove(at);
  } while (at < lines.size() && lineAt(at)->type != LINE_STANZA);
}

void ZPCategoryBasedCache::addFileComment(const char* comment) {
  unsigned int n = lines.size();
  for (unsigned int i = 0; i < n; ++i) {
    unsigned int type = lineAt(i)->type;
    if (type == LINE_STANZA) break;
    if (type == LINE_BLANK) {
      insertLine(i, LINE_COMMENT, comment);
      return;
    }
  }
  insertLine(0, LINE_COMMENT, comment);
  insertLine(1, LINE_BLANK, nullptr);
}

void ZPCategoryBasedCache::addStanzaComment(const char* stanza, const char* comment) {
  if (!contains(stanza)) addStanzaLine(stanza);
  unsigned int at = static_cast<unsigned int>(headerIndex(stanza) + 1);
  unsigned int n = lines.size();
  while (at < n && lineAt(at)->type == LINE_COMMENT) ++at;
  // A blank line separates the stanza's comments from what follows; one is
  // appended when the comment ends the file, too.
  bool blankFollows = at < n && lineAt(at)->type == LINE_BLANK;
  insertLine(at, LINE_COMMENT, comment);
  if (!blankFollows) insertLine(at + 1, LINE_BLANK, nullptr);
}

void ZPCategoryBasedCache::addLineComment(const char* fullKey, const char* comment) {
  ZLCString stanza, key;
  validateKey(fullKey, stanza, key);
  addLineComment(stanza.getChars(), key.getChars(), comment);
}

void ZPCategoryBasedCache::addLineComment(const char* stanza, const char* key,
                                          const char* comment) {
  if (!contains(stanza, key)) addLine(stanza, key, nullptr, 0);
  int at = keyLineIndex(headerIndex(stanza), key);
  if (at < 0) return;
  unsigned int above = at > 0 ? lineAt(static_cast<unsigned int>(at - 1))->type : 0;
  if (above == LINE_STANZA || above == LINE_KEY) {
    insertLine(static_cast<unsigned int>(at), LINE_BLANK, nullptr);
    ++at;
  }
  insertLine(static_cast<unsigned int>(at), LINE_COMMENT, comment);
}

void ZPCategoryBasedCache::setLineComment(const char* stanza, const char* key, const char* text) {
  // Own copy: the new comment may be the text of a line about to go.
  ZLCString copy(orEmpty(text));
  const char* comment = text ? copy.getChars() : nullptr;
  if (!contains(stanza, key)) {
    if (comment != nullptr) addLineComment(stanza, key, comment);
    return;
  }
  int header = headerIndex(stanza);
  int at = keyLineIndex(header, key);
  if (at >= 0) {
    // The comment block above the key, with the blank lines around it.
    for (int i = at - 1; i > header; --i) {
      unsigned int type = lineAt(static_cast<unsigned int>(i))->type;
      if (type != LINE_COMMENT && type != LINE_BLANK) break;
      lines.remove(static_cast<unsigned int>(i));
      forgetHeaders();
    }
  }
  if (comment != nullptr) addLineComment(stanza, key, comment);
}

void ZPCategoryBasedCache::getLineComment(const char* stanza, const char* key, ZLCString& out) {
  if (!contains(stanza, key)) return;
  int at = keyLineIndex(headerIndex(stanza), key);
  if (at < 0) return;
  for (int i = at - 1; i >= 0; --i) {
    const ZPropLine* line = lineAt(static_cast<unsigned int>(i));
    if (line->type == LINE_BLANK) continue;
    if (line->type != LINE_COMMENT) break;
    if (!out.isEmpty()) out.prepend("\n");
    out.prepend(line->text.getChars());
  }
}

int isCommentWeWant(const char* pattern, const char* text) {
  if (pattern == nullptr || *pattern == '\0') return 1;
  if (text == nullptr) return 0;
  const char* p = pattern;
  for (const char* t = text; *t != '\0'; ++t) {
    if (*t == ' ') continue;
    if (*t != *p) return 0;
    if (*++p == '\0') return 1;
  }
  return 0;
}

// ------------------------------------------------------------- ZPropRegistry

ZPropRegistry::ZPropRegistry() {
  pthread_once(&registryOnce, ZPropRegistry_c_init);
  registryLock->lock();
}

ZPropRegistry::~ZPropRegistry() {
  try {
    registryLock->unlock();
  } catch (ZException& e) {
    e.dumpException();
  }
}
