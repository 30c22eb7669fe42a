// zbase: stanza configuration files: their reader and writer, the side data of
// obfuscated values, and the key/value lists and batch requests built on them.
#include "Z/ZStanzaFileProperties.h"

#include <pthread.h>

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "Z/ZException.h"
#include "Z/ZSqueeze.h"

namespace {

const char kConfigStanza[] = "configuration-database";
const char kSideFileKey[] = "file";
const unsigned long kKeepComments = 1;  // attribute bit 0
const size_t kLineStep = 8192;          // line buffer: first size and growth step
const size_t kPackStart = 8192;         // packing buffer: first size
const size_t kPackStep = 4096;          // packing buffer: least growth step
// Unpacking starts at this many times the packed size, and at least at
// kUnpackLeast bytes, so that even an empty side file is judged by the facade.
const unsigned long kUnpackFactor = 8;
const unsigned long kUnpackLeast = 64;

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};
using CBlock = std::unique_ptr<char, FreeDeleter>;

inline bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Holds the stream's lock so that the reader can use the unlocked getc.
class StreamLock {
 public:
  explicit StreamLock(FILE* stream) : stream_(stream) { flockfile(stream_); }
  ~StreamLock() { funlockfile(stream_); }
  StreamLock(const StreamLock&) = delete;
  StreamLock& operator=(const StreamLock&) = delete;

 private:
  FILE* stream_;
};

// Appends a layout line; the line is freed if the list cannot take it.
void appendLine(ZArrayList& lines, unsigned int type, const char* text) {
  std::unique_ptr<ZPropLine> line(new ZPropLine(type, text));
  lines.addNoCopy(line.get());
  line.release();
}

void appendPlain(ZArrayList& slot, const char* value) {
  std::unique_ptr<ZLCString> copy(new ZLCString(value));
  slot.addNoCopy(copy.get());
  copy.release();
}

inline int errnoOr(int fallback) { return errno != 0 ? errno : fallback; }

// Writes n bytes; a short write throws, naming the configuration file.
void put(FILE* stream, const char* fileName, const char* text, size_t n) {
  if (n != 0 && std::fwrite(text, 1, n, stream) != n) {
    ZPropertiesIOException(fileName, "fwrite()", errnoOr(EIO))
        .throwException("src/Z/ZStanzaFileProperties", 81);
  }
}

inline void put(FILE* stream, const char* fileName, const ZAbstractString& text) {
  put(stream, fileName, text.getChars(), text.getLength());
}

// Whether the writer can put these texts into the file so that they read
// back as the same line; a text that cannot would read back as other lines
// (or not at all), so the writer refuses it rather than damage the file.
bool hasNewline(const ZAbstractString& s) {
  return std::memchr(s.getChars(), '\n', s.getLength()) != nullptr;
}

// The reader trims the blanks around a value and has no quoting, so a value
// with blanks at either end would read back shorter, and an empty one (which
// only an iterator can put among the values) not at all.
bool fitsValue(const ZAbstractString& s) {
  const char* p = s.getChars();
  return !s.isEmpty() && !isSpace(*p) && !isSpace(p[s.getLength() - 1]) && !hasNewline(s);
}

bool fitsStanza(const ZAbstractString& s) {
  return !hasNewline(s) && std::memchr(s.getChars(), ']', s.getLength()) == nullptr;
}

bool fitsKey(const ZAbstractString& s) {  // the reader trims the blanks around a key
  const char* p = s.getChars();
  if (s.isEmpty() || isSpace(*p) || isSpace(p[s.getLength() - 1])) return false;
  return *p != '#' && *p != '[' && std::strpbrk(p, "=\n") == nullptr;
}

// Every line of a comment must begin, after blanks, with "#".
bool fitsComment(const ZAbstractString& s) {
  for (const char* p = s.getChars();; ++p) {
    while (*p != '\n' && isSpace(*p)) ++p;
    if (*p != '#') return false;
    p = std::strchr(p, '\n');
    if (p == nullptr) return true;
  }
}

bool isBlank(const char* s) { return s == nullptr || *s == '\0'; }

// Grows a malloc block to `capacity` bytes; failure throws (the block stays
// valid and is freed by its owner).
void growBlock(CBlock& block, size_t capacity) {
  void* grown = std::realloc(block.get(), capacity);
  if (grown == nullptr) ZOutOfMemoryException().throwException("src/Z/ZStanzaFileProperties", 122);
  block.release();
  block.reset(static_cast<char*>(grown));
}

// Reads the next line, newline included, into the buffer, growing it as
// needed, and terminates it. Returns the number of bytes read, 0 at the end.
size_t readLine(FILE* stream, const char* fileName, CBlock& buffer, size_t& capacity) {
  size_t length = 0;
  int c;
  while ((c = getc_unlocked(stream)) != EOF) {
    if (length + 1 >= capacity) {
      growBlock(buffer, capacity + kLineStep);
      capacity += kLineStep;
    }
    buffer.get()[length++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (c == EOF && ferror(stream)) {
    ZPropertiesIOException(fileName, "fgets()", errnoOr(EIO))
        .throwException("src/Z/ZStanzaFileProperties", 142);
  }
  buffer.get()[length] = '\0';
  return length;
}

}  // namespace

// ---------------------------------------------------------------------------
// ZSCFData

ZSCFData::ZSCFData() {}

ZSCFData::ZSCFData(const ZSCFData& other) : ZPCategoryBasedCache(other) {}

ZSCFData::~ZSCFData() {}

ZPCache* ZSCFData::clone() const { return new ZSCFData(*this); }

void ZSCFData::be_read(const char* fileName, FILE* stream) {
  if (fileName == nullptr) fileName = "";
  const bool keepComments = (attributes & kKeepComments) != 0;
  size_t capacity = kLineStep;
  CBlock buffer(static_cast<char*>(std::malloc(capacity)));
  if (!buffer) ZOutOfMemoryException().throwException("src/Z/ZStanzaFileProperties", 166);
  ZLCString stanza;          // the current stanza; empty before the first header
  ZPKVList* keys = nullptr;  // its keys
  int lineNumber = 0;
  StreamLock streamLock(stream);
  forgetHeaders();  // the header lines appended below are not indexed
  // The stanza names in the cache, to refuse a name given twice without
  // searching the fixed-bucket stanza map once per header.
  std::unordered_set<std::string> known;
  {
    ZArrayList names(10, 0);
    categories.listKeys(names);
    for (unsigned int i = 0; i < names.size(); ++i) {
      known.insert(static_cast<const ZAbstractString*>(names.get(i))->getChars());
    }
  }

  for (;;) {
    size_t length = readLine(stream, fileName, buffer, capacity);
    if (length == 0) break;
    ++lineNumber;
    char* line = buffer.get();
    // A zero byte would silently cut the line short: refuse the file.
    if (std::strlen(line) != length) {
      ZPropertiesInvalidDataException(fileName, line, lineNumber)
          .throwException("src/Z/ZStanzaFileProperties", 180);
    }
    while (length > 0 && isSpace(line[length - 1])) --length;
    line[length] = '\0';
    char* p = line;
    while (isSpace(*p)) ++p;

    if (*p == '\0') {
      if (keepComments) appendLine(lines, LINE_BLANK, "");
    } else if (*p == '#') {
      if (keepComments) appendLine(lines, LINE_COMMENT, p);
    } else if (*p == '[') {
      char* close = std::strchr(p + 1, ']');
      if (close == nullptr) {
        ZPropertiesInvalidDataException(fileName, line, lineNumber)
            .throwException("src/Z/ZStanzaFileProperties", 195);
      }
      *close = '\0';
      if (!known.insert(p + 1).second) {
        *close = ']';
        ZPropertiesInvalidDataException(fileName, line, lineNumber)
            .throwException("src/Z/ZStanzaFileProperties", 201);
      }
      stanza = p + 1;
      keys = addAbsentStanza(p + 1);
      appendLine(lines, LINE_STANZA, p + 1);
    } else {
      char* eq = std::strchr(p, '=');
      if (stanza.isEmpty() || *p == '=' || eq == nullptr) {
        ZPropertiesInvalidDataException(fileName, line, lineNumber)
            .throwException("src/Z/ZStanzaFileProperties", 211);
      }
      char* keyEnd = eq;
      while (keyEnd > p && isSpace(keyEnd[-1])) --keyEnd;
      char* value = eq + 1;
      while (isSpace(*value)) ++value;
      *keyEnd = '\0';
      // Work on the current stanza's keys directly: looking the stanza up
      // again for every entry would cost more than all the rest.
      ZLCConstString keyProbe(p);
      ZArrayList* record = static_cast<ZArrayList*>(keys->getEntry(&keyProbe));
      if (record == nullptr) {
        record = keys->addAbsentKey(p);
        appendLine(lines, LINE_KEY, p);
      }
      if (*value != '\0') appendPlain(*static_cast<ZArrayList*>(record->get(0)), value);
      if (stanza.equals(kConfigStanza) && std::strcmp(p, kSideFileKey) == 0) {
        const char* slash = std::strrchr(fileName, '/');
        if (*value == '\0') {
          name.clear();  // "file =" names no side file
        } else if (*value == '/' || slash == nullptr) {
          name = value;
        } else {
          name = ZLCString(fileName, static_cast<unsigned int>(slash - fileName + 1));
          name += value;
        }
      }
    }
  }
}

void ZSCFData::be_write(const char* fileName, FILE* stream) {
  if (fileName == nullptr) fileName = "";
  // The stanzas by name, so that each header costs one hash probe instead of
  // a search of the fixed-bucket stanza map, and key lines go to the current
  // stanza's keys directly.
  std::unordered_map<std::string, const ZPKVList*> stanzas;
  {
    ZArrayList names(10, 0), lists(10, 0);
    categories.listKeys(names);
    categories.listObjects(lists);  // in the same order as the names
    for (unsigned int i = 0; i < names.size(); ++i) {
      stanzas.emplace(static_cast<const ZAbstractString*>(names.get(i))->getChars(),
                      static_cast<const ZPKVList*>(lists.get(i)));
    }
  }
  // The current stanza's keys; before the first header, those of the
  // stanza with the empty name (which the check below then refuses).
  auto unnamed = stanzas.find("");
  const ZPKVList* keys = unnamed != stanzas.end() ? unnamed->second : nullptr;
  ZLCString stanza;
  bool skip = false;
  int lineNumber = 0;  // of the last line written
  const ZAbstractString* refused = nullptr;
  for (unsigned int i = 0; i < lines.size() && refused == nullptr; ++i) {
    const ZPropLine* line = static_cast<const ZPropLine*>(lines.get(i));
    if (line->type == LINE_STANZA) {
      stanza = line->text;
      // A stanza deleted from the data takes all its lines with it.
      auto found = stanzas.find(stanza.getChars());
      keys = found != stanzas.end() ? found->second : nullptr;
      skip = keys == nullptr;
      if (skip) continue;
      if (!fitsStanza(stanza)) {
        refused = &line->text;
        ++lineNumber;
        break;
      }
      put(stream, fileName, "[", 1);
      put(stream, fileName, stanza);
      put(stream, fileName, "]\n", 2);
      ++lineNumber;
      continue;
    }
    if (skip) continue;
    if (line->type == LINE_BLANK || line->type == LINE_COMMENT) {
      if (line->type == LINE_COMMENT && !fitsComment(line->text)) {
        refused = &line->text;
        ++lineNumber;
        break;
      }
      put(stream, fileName, line->text);
      put(stream, fileName, "\n", 1);
      ++lineNumber;
      for (const char* p = line->text.getChars(); (p = std::strchr(p, '\n')) != nullptr; ++p) {
        ++lineNumber;
      }
    } else if (line->type == LINE_KEY) {
      if (keys == nullptr) continue;
      ZLCConstString keyProbe(line->text.getChars());
      const ZArrayList* record = static_cast<const ZArrayList*>(keys->getEntry(&keyProbe));
      if (record == nullptr) continue;
      ++lineNumber;
      // Entries need a stanza header that reads back.
      if (stanza.isEmpty() || !fitsKey(line->text)) {
        refused = &line->text;
        break;
      }
      const ZArrayList* values = static_cast<const ZArrayList*>(record->get(0));
      if (values->size() != 0) {
        for (unsigned int v = 0; v < values->size(); ++v) {
          const ZLCString* value = static_cast<const ZLCString*>(values->get(v));
          if (v != 0) ++lineNumber;
          if (!fitsValue(*value)) {
            refused = value;
            break;
          }
          put(stream, fileName, line->text);
          put(stream, fileName, " = ", 3);
          put(stream, fileName, *value);
          put(stream, fileName, "\n", 1);
        }
      } else if (static_cast<const ZArrayList*>(record->get(1))->size() == 0) {
        put(stream, fileName, line->text);
        put(stream, fileName, " =\n", 3);
      } else {
        --lineNumber;  // its values live in the side file
      }
    }
  }
  if (refused != nullptr) {
    ZPropertiesInvalidDataException(fileName, refused->getChars(), lineNumber)
        .throwException("src/Z/ZStanzaFileProperties", 314);
  }
}

void ZSCFData::be_read_obfuscated(ZBuffer& buffer) {
  const unsigned long packedLength = buffer.getLength();
  ZSqueeze squeeze;
  squeeze.setSource(buffer.getBuffer(), packedLength);
  unsigned long capacity = packedLength * kUnpackFactor;
  if (capacity < kUnpackLeast || capacity / kUnpackFactor != packedLength) {
    capacity = packedLength > kUnpackLeast ? packedLength : kUnpackLeast;
  }
  ZBuffer records;
  long length;
  for (;;) {
    records.setLength(capacity + 1);  // one byte more, to terminate the last text
    length = squeeze.unsqueeze(records.getBuffer(), capacity);
    if (length != -5 && length != -4) break;
    capacity *= 2;
  }
  const char* data = static_cast<const char*>(records.getBuffer());
  const size_t end = length < 0 ? 0 : static_cast<size_t>(length);

  // Check every record before the first is added, so that a damaged side
  // file adds nothing: each is stanza, key and value, each ended by a zero
  // byte, then one more zero byte (left off after the last record).
  bool whole = length >= 0;
  for (size_t pos = 0; whole && pos < end;) {
    for (int field = 0; field < 3 && whole; ++field) {
      const void* zero = std::memchr(data + pos, '\0', end - pos);
      whole = zero != nullptr && (field == 2 || zero != data + pos);
      if (whole) pos = static_cast<const char*>(zero) - data + 1;
    }
    if (whole && pos < end) whole = data[pos++] == '\0';
  }
  if (!whole) {
    ZPropertiesInvalidDataException(name.getChars(), "", 0)
        .throwException("src/Z/ZStanzaFileProperties", 351);
  }
  for (size_t pos = 0; pos < end;) {
    const char* stanza = data + pos;
    const char* key = stanza + std::strlen(stanza) + 1;
    const char* value = key + std::strlen(key) + 1;
    add(stanza, key, value, 1);
    pos = (value - data) + std::strlen(value) + 2;
  }
}

void ZSCFData::be_write_obfuscated(ZBuffer& buffer) {
  size_t capacity = kPackStart;
  CBlock work(static_cast<char*>(std::malloc(capacity)));
  if (!work) ZOutOfMemoryException().throwException("src/Z/ZStanzaFileProperties", 365);
  size_t filled = 0;
  for (unsigned int i = 0; i < obfuscatedItems.size(); ++i) {
    const ZObfuscatedItem* item = static_cast<const ZObfuscatedItem*>(obfuscatedItems.get(i));
    const ZArrayList* values = get(item->stanza.getChars(), item->key.getChars(), GET_OBFUSCATED);
    if (values == nullptr) continue;
    const size_t stanzaLength = item->stanza.getLength();
    const size_t keyLength = item->key.getLength();
    for (unsigned int v = 0; v < values->size(); ++v) {
      const ZLCString* value = static_cast<const ZLCString*>(values->get(v));
      const size_t valueLength = value->getLength();
      // The reader of the side data adds no empty value: refuse it here.
      if (valueLength == 0) {
        ZPropertiesInvalidDataException(name.getChars(), item->key.getChars(), 0)
            .throwException("src/Z/ZStanzaFileProperties", 387);
      }
      const size_t record = stanzaLength + keyLength + valueLength + 4;
      // Grow by at least the record: one fixed step may not be enough.
      while (capacity - filled <= record) {
        const size_t grown = capacity + (record > kPackStep ? record : kPackStep);
        growBlock(work, grown);
        capacity = grown;
      }
      char* out = work.get() + filled;
      std::memcpy(out, item->stanza.getChars(), stanzaLength + 1);
      out += stanzaLength + 1;
      std::memcpy(out, item->key.getChars(), keyLength + 1);
      out += keyLength + 1;
      std::memcpy(out, value->getChars(), valueLength + 1);
      out[valueLength + 1] = '\0';
      filled += record;
    }
  }
  if (filled == 0) return;

  // The last record's closing zero byte is not stored.
  const unsigned long sourceLength = filled - 1;
  ZSqueeze squeeze;
  squeeze.setSource(work.get(), sourceLength);
  unsigned long outLength = 2 * sourceLength;
  buffer.setLength(outLength);
  long result = squeeze.squeeze(buffer.getBuffer(), outLength);
  while (result < 0) {
    outLength *= 2;
    buffer.setLength(outLength);
    result = squeeze.squeeze(buffer.getBuffer(), outLength);
  }
  buffer.setLength(static_cast<unsigned long>(result));
}

// ---------------------------------------------------------------------------
// ZKVEntry and ZPropertiesKVList

ZKVEntry::ZKVEntry(ZAbstractMutableString* k, ZAbstractMutableString* v) : key(k), value(v) {}

ZKVEntry::ZKVEntry(const ZKVEntry& other) : ZObject(other), key(nullptr), value(nullptr) {
  std::unique_ptr<ZObject> k(other.key ? other.key->clone() : nullptr);
  std::unique_ptr<ZObject> v(other.value ? other.value->clone() : nullptr);
  key = static_cast<ZAbstractMutableString*>(k.release());
  value = static_cast<ZAbstractMutableString*>(v.release());
}

ZKVEntry::~ZKVEntry() {
  delete key;
  delete value;
}

ZObject* ZKVEntry::clone() const { return new ZKVEntry(*this); }

namespace {

// A new string of the list's type holding `text` (converted when it is of
// the other code set); null for a type that is not 0 or 8.
ZAbstractMutableString* newString(ZPropertyStringType type, const ZAbstractString& text) {
  std::unique_ptr<ZAbstractMutableString> s;
  if (type == ZPROP_STRING_LOCAL) {
    s.reset(new ZLCString());
  } else if (type == ZPROP_STRING_UTF8) {
    s.reset(new ZUTF8String());
  } else {
    return nullptr;
  }
  if (s->getCodesetHandle() == text.getCodesetHandle()) {
    s->setChars(text);
  } else {
    s->convertFromCodeSet(text);
  }
  return s.release();
}

}  // namespace

ZPropertiesKVList::ZPropertiesKVList(ZPropertyStringType type) : stringType(type), entries(10, 1) {}

ZPropertiesKVList::ZPropertiesKVList(const ZPropertiesKVList& other)
    : ZObject(other), stringType(other.stringType), entries(other.entries) {}

ZPropertiesKVList& ZPropertiesKVList::operator=(const ZPropertiesKVList& other) {
  if (this != &other) {
    stringType = other.stringType;
    entries = other.entries;
  }
  return *this;
}

ZPropertiesKVList::~ZPropertiesKVList() {}

ZObject* ZPropertiesKVList::clone() const { return new ZPropertiesKVList(*this); }

void ZPropertiesKVList::clear() { entries.removeAll(); }

void ZPropertiesKVList::addItem(const ZAbstractString& key, const ZAbstractString& value) {
  std::unique_ptr<ZAbstractMutableString> k(newString(stringType, key));
  std::unique_ptr<ZAbstractMutableString> v(newString(stringType, value));
  std::unique_ptr<ZKVEntry> entry(new ZKVEntry(k.get(), v.get()));
  k.release();
  v.release();
  entries.addNoCopy(entry.get());
  entry.release();
}

unsigned int ZPropertiesKVList::getItemCount() const { return entries.size(); }

const ZKVEntry& ZPropertiesKVList::entryAt(unsigned int index) const {
  const ZKVEntry* entry = static_cast<const ZKVEntry*>(entries.get(index));
  if (entry == nullptr)
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 486);
  return *entry;
}

ZAbstractMutableString* ZPropertiesKVList::getItemKey(unsigned int index) const {
  return entryAt(index).key;
}

ZAbstractMutableString* ZPropertiesKVList::getItemValue(unsigned int index) const {
  return entryAt(index).value;
}

// ---------------------------------------------------------------------------
// ZStanzaFileProperties

namespace {

pthread_once_t factoryOnce = PTHREAD_ONCE_INIT;
ZStanzaFileProperties::ZStanzaFilePropertiesFactory* factory = nullptr;

void makeFactory() { ZStanzaFileProperties::init(); }

// The string as local-code-set text.
ZLCString localText(const ZObject* member) {
  const ZAbstractString* s = dynamic_cast<const ZAbstractString*>(member);
  if (s == nullptr) ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 511);
  ZLCString text;
  if (text.getCodesetHandle() == s->getCodesetHandle()) {
    text.setChars(*s);
  } else {
    text.convertFromCodeSet(*s);
  }
  return text;
}

// The locked part of setValue, for a caller that holds the object's lock
// and sends the change notice itself once it has let the lock go.
void setHoldingLock(ZProperties& p, const char* stanza, const char* key, const char* value,
                    int obfuscated) {
  p.checkAccess(stanza, key, obfuscated);
  p.getCache()->addLine(stanza, key, value, obfuscated);
  p.setModified();
}

}  // namespace

ZStanzaFileProperties::ZStanzaFilePropertiesFactory::ZStanzaFilePropertiesFactory() {}

ZStanzaFileProperties::ZStanzaFilePropertiesFactory::~ZStanzaFilePropertiesFactory() {}

ZProperties* ZStanzaFileProperties::ZStanzaFilePropertiesFactory::makePropertiesInstance() {
  return new ZStanzaFileProperties(1);
}

ZStanzaFileProperties::ZStanzaFileProperties(const char* fileName, int keepComments)
    : ZProperties(new ZSCFData()) {
  getFactory();
  if (keepComments) setAttributes(1, nullptr);
  load(fileName);
}

ZStanzaFileProperties::ZStanzaFileProperties(int keepComments) : ZProperties(new ZSCFData()) {
  getFactory();
  if (keepComments) setAttributes(1, nullptr);
}

ZStanzaFileProperties::~ZStanzaFileProperties() {}

ZSCFData& ZStanzaFileProperties::data() const { return *static_cast<ZSCFData*>(cache); }

void ZStanzaFileProperties::addEntryComment(const char* stanza, const char* key,
                                            const char* comment) {
  ZProperties::addEntryComment(stanza, key, comment);
}

// Each line of the comment loses the blanks around it, as the reader drops
// them, so that the comment reads back as it was given; a line that does not
// begin with "#" gets one.
void ZStanzaFileProperties::checkComment(ZLCString& comment) {
  ZLCString out;
  const char* p = comment.getChars();
  for (;;) {
    const char* end = std::strchr(p, '\n');
    const char* last = end != nullptr ? end : p + std::strlen(p);
    while (p != last && isSpace(*p)) ++p;
    while (last != p && isSpace(last[-1])) --last;
    if (*p != '#') out += '#';
    out.append(p, static_cast<unsigned int>(last - p));
    if (end == nullptr) break;
    out += '\n';
    p = end + 1;
  }
  comment = out;
}

void ZStanzaFileProperties::addValue(const char* stanza, const char* key, const char* value,
                                     int obfuscated) {
  if (isBlank(value)) return;
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 574);
  }
  ZArrayList values(1, 1);
  ZLCString text(value);
  values.add(&text);
  addValues(stanza, key, values, obfuscated);
}

void ZStanzaFileProperties::addValue(const char* stanza, const char* key, const ZLCString& value,
                                     int obfuscated) {
  addValue(stanza, key, value.getChars(), obfuscated);
}

void ZStanzaFileProperties::addValue(const char* stanza, const char* key, const ZUTF8String& value,
                                     int obfuscated) {
  ZLCString text(value);
  addValue(stanza, key, text.getChars(), obfuscated);
}

void ZStanzaFileProperties::addValue(const char* stanza, const char* key,
                                     const ZLCConstString& value, int obfuscated) {
  addValue(stanza, key, value.getChars(), obfuscated);
}

void ZStanzaFileProperties::addValue(const char* stanza, const char* key,
                                     const ZUTF8ConstString& value, int obfuscated) {
  ZLCString text(value);
  addValue(stanza, key, text.getChars(), obfuscated);
}

void ZStanzaFileProperties::addValues(const char* stanza, const char* key, const ZArrayList& values,
                                      int obfuscated) {
  if (isBlank(stanza) || isBlank(key) || values.size() == 0) {
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 607);
  }
  // A key without values is set as by setValue, whose notice goes out once
  // the lock is let go.
  int notify = 0;
  {
    ZPropResourceLock guard(resourceLock);
    const int selector = obfuscated ? 2 : 1;
    unsigned int i = 0;
    if (ZStanzaValueIterator(*this, stanza, key, ZPROP_STRING_LOCAL, selector).valueCount() == 0) {
      while (i < values.size() && localText(values.get(i)).isEmpty()) ++i;
      if (i == values.size()) return;
      setHoldingLock(*this, stanza, key, localText(values.get(i++)).getChars(), obfuscated);
      notify = 1;
    }
    ZStanzaValueIterator it(*this, stanza, key, ZPROP_STRING_LOCAL, selector);
    if (notify) it.nextValue();
    for (; i < values.size(); ++i) {
      ZLCString value = localText(values.get(i));
      if (value.isEmpty()) continue;
      // Never rewound: each value is looked for after the last one found.
      bool found = false;
      while (!found && it.hasMore()) found = it.nextValue()->equals(value.getChars());
      if (!found) it.addValue(value.getChars());
    }
  }
  if (notify) {
    sendChangeNotice(ZPropertyChanged::PROPERTY_STYLE_DEFAULT, ZPropertyChanged::PROPERTY_CHANGED,
                     stanza, key);
  }
}

void ZStanzaFileProperties::getStanza(const char* stanza, ZPropertiesKVList& list) {
  if (isBlank(stanza))
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 622);
  list.clear();
  ZPropResourceLock guard(resourceLock);
  ZStanzaIterator it(*this, stanza);
  while (it.hasMore()) {
    it.nextEntry();
    const char* value = it.valueCount() != 0 ? it.entryValue(0) : nullptr;
    list.addItem(ZLCConstString(it.entryName()), ZLCConstString(value ? value : ""));
  }
}

void ZStanzaFileProperties::addStanza(const char* stanza) {
  if (isBlank(stanza))
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 635);
  {
    ZPropResourceLock guard(resourceLock);
    data().addStanzaLine(stanza);
    setModified();
  }
  sendChangeNotice(ZPropertyChanged::PROPERTY_STYLE_DEFAULT, ZPropertyChanged::PROPERTY_ADDED,
                   stanza, nullptr);
}

void ZStanzaFileProperties::deleteStanza(const char* stanza) {
  if (isBlank(stanza))
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 647);
  {
    ZPropResourceLock guard(resourceLock);
    data().delStanzaLine(stanza);
    setModified();
  }
  sendChangeNotice(ZPropertyChanged::PROPERTY_STYLE_DEFAULT, ZPropertyChanged::PROPERTY_DELETED,
                   stanza, nullptr);
}

void ZStanzaFileProperties::addStanzaComment(const char* stanza, const char* comment) {
  if (isBlank(stanza) || isBlank(comment)) {
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 659);
  }
  ZLCString text(comment);
  checkComment(text);
  ZPropResourceLock guard(resourceLock);
  data().addStanzaComment(stanza, text.getChars());
  setModified();
}

void ZStanzaFileProperties::appendValue(const char* stanza, const char* key, const char* value,
                                        int obfuscated) {
  if (isBlank(stanza) || isBlank(key) || isBlank(value)) {
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 671);
  }
  int notify = 0;
  {
    ZStanzaValueIterator it(*this, stanza, key, ZPROP_STRING_LOCAL, obfuscated ? 2 : 1);
    if (it.valueCount() == 0) {
      setHoldingLock(*this, stanza, key, value, obfuscated);  // notice below, unlocked
      notify = 1;
    } else {
      while (it.hasMore()) it.nextValue();
      it.addValue(value);
    }
  }
  if (notify) {
    sendChangeNotice(ZPropertyChanged::PROPERTY_STYLE_DEFAULT, ZPropertyChanged::PROPERTY_CHANGED,
                     stanza, key);
  }
}

void ZStanzaFileProperties::getItems(ZStzFileItem* items, int count) {
  if (items == nullptr || count == 0) {
    ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 680);
  }
  ZPropResourceLock guard(resourceLock);
  for (int i = 0; i < count; ++i) {
    ZStzFileItem& item = items[i];
    const int mustExist = item.mustExist != 0;
    switch (item.type) {
      case 1:
        *static_cast<int*>(item.result) =
            getBooleanValue(item.stanza, item.key, mustExist, static_cast<int>(item.defaultValue));
        break;
      case 2:
        *static_cast<unsigned int*>(item.result) = getIntegerValue(
            item.stanza, item.key, mustExist, static_cast<unsigned int>(item.defaultValue));
        break;
      case 3:
        getValue(item.stanza, item.key, *static_cast<ZAbstractMutableString*>(item.result),
                 mustExist,
                 reinterpret_cast<const char*>(static_cast<intptr_t>(item.defaultValue)));
        break;
      case 4:
        getValues(item.stanza, item.key, *static_cast<ZArrayList*>(item.result),
                  ZPROP_STRING_LOCAL);
        break;
      case 5:
        getValues(item.stanza, item.key, *static_cast<ZArrayList*>(item.result), ZPROP_STRING_UTF8);
        break;
      case 6:
        getStanza(item.stanza, *static_cast<ZPropertiesKVList*>(item.result));
        break;
      case 7:
        *static_cast<long long*>(item.result) =
            getLongLongValue(item.stanza, item.key, mustExist, item.defaultValue);
        break;
      default:
        ZInvalidParameterException().throwException("src/Z/ZStanzaFileProperties", 715);
    }
  }
}

void ZStanzaFileProperties::getKeys(const char* stanza, ZArrayList& list) const {
  keyNames(stanza, list);
}

ZStanzaFileProperties::ZStanzaFilePropertiesFactory& ZStanzaFileProperties::getFactory() {
  pthread_once(&factoryOnce, makeFactory);
  return *factory;
}

void ZStanzaFileProperties::init() {
  if (factory == nullptr) factory = new ZStanzaFilePropertiesFactory();
}

// ---------------------------------------------------------------------------
// Iterators

ZStanzaIterator::ZStanzaIterator(ZStanzaFileProperties& properties, const char* stanza)
    : ZPropertiesIterator(properties, stanza) {}

ZStanzaIterator::~ZStanzaIterator() {}

ZStanzaValueIterator::ZStanzaValueIterator(ZStanzaFileProperties& properties, const char* stanza,
                                           const char* key, ZPropertyStringType stringType,
                                           int selector)
    : ZAbstractPropertyValuesIterator(properties, stanza, key, stringType, selector) {}

ZStanzaValueIterator::~ZStanzaValueIterator() {}
