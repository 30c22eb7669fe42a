// zbase: the property cache, the in-memory model of one configuration file.
#ifndef Z_ZPROPERTIESIMPL_H_
#define Z_ZPROPERTIESIMPL_H_

#include "Z/zversion.h"

#include <cstdio>
#include <string>
#include <unordered_map>

#include "Z/ZArrayList.h"
#include "Z/ZHashKeyMap.h"
#include "Z/ZLCString.h"
#include "Z/ZLock.h"
#include "Z/ZObject.h"

class ZBuffer;

// Kinds of layout line. The values are shared with the stanza file reader and
// writer, which store and test them as bits.
enum ZPropLineKind {
  LINE_COMMENT = 1,  // text: the comment exactly as given, comment sign included
  LINE_BLANK = 2,    // text: empty
  LINE_STANZA = 4,   // text: the stanza name
  LINE_KEY = 8       // text: the key name
};

// One line of a configuration file's layout: its kind and its text. Two lines
// are equal exactly when kind and text are equal, which is how the layout is
// searched.
class ZPropLine : public ZObject {
 public:
  ZPropLine(unsigned int type, const char* text);  // null text: empty
  ZPropLine(const ZPropLine& other);
  ZPropLine& operator=(const ZPropLine& other);
  virtual ~ZPropLine();

  // Orders by kind first (as unsigned numbers, -1 or 1), then by text.
  virtual int compare(const ZObject& other) const;
  virtual ZObject* clone() const;

  unsigned int type;
  ZLCString text;
};

// The mark that one (stanza, key) holds obfuscated values. The stanza file
// writer walks the cache's marks in order to build the side data.
class ZObfuscatedItem : public ZObject {
 public:
  ZObfuscatedItem(const ZLCString& stanza, const ZLCString& key);
  ZObfuscatedItem(const ZObfuscatedItem& other);
  ZObfuscatedItem& operator=(const ZObfuscatedItem& other);
  virtual ~ZObfuscatedItem();

  virtual int compare(const ZObject& other) const;
  virtual ZObject* clone() const;
  virtual int equals(const ZObject& other) const;

  ZLCString stanza;
  ZLCString key;
};

// The keys of one stanza: a key map (owning, hashed for lookup) that also
// keeps its keys in the order in which they were first put.
//
// putEntry does not look for a key already present: callers put only absent
// keys, or the order list would hold the key twice.
class ZPKVList : public ZHashKeyMap {
 public:
  ZPKVList();
  ZPKVList(const ZPKVList& other);
  virtual ~ZPKVList();

  virtual ZObject* clone() const;
  virtual void putEntry(const ZObject* key, const ZObject* value);
  virtual void removeEntry(const ZObject* key);
  virtual void removeAll();
  // Empties `list`, then adds the keys in insertion order.
  virtual void listKeys(ZList& list) const;

  // Adds a key that the caller knows is absent, with an empty value record,
  // and returns the record: one copy of the name for the order list and one
  // for the map, and no search. For the file reader, which has just looked
  // the key up; putEntry keeps its clones for every other caller.
  ZArrayList* addAbsentKey(const char* key);

  // The insertion-order list itself, owned by this object.
  ZArrayList* getKeys() const { return const_cast<ZArrayList*>(&keyOrder); }

  ZArrayList keyOrder;

 private:
  ZPKVList& operator=(const ZPKVList&) = delete;
};

// The abstract property cache: stanzas, their keys in insertion order, each
// key's plain and obfuscated values, and the file's layout lines.
//
// Each key's values live in a record of two slots (owning lists of ZLCString):
// slot 0 holds the plain values, slot 1 the obfuscated ones. Values passed in
// are copied; get() returns a slot of the cache itself, valid until the key
// is next changed or removed. Names and values handed out by the cache (values,
// key and stanza names, the marks' names, line texts) may be passed back in,
// also to the operations that free them.
//
// A cache is not safe to share between threads: the properties object that
// owns it serialises every access.
class ZPCache {
 public:
  enum get_type_e { GET_ANY = 0, GET_PLAIN = 1, GET_OBFUSCATED = 2 };

  ZPCache();
  // Copies data, layout and attributes. The side-file name is not copied, and
  // the copy starts with no obfuscation marks, in a list that does not own its
  // members: the values stay in their slots, so isObfuscated answers as in the
  // source, but nothing is stored as obfuscated until marked again.
  ZPCache(const ZPCache& other);
  virtual ~ZPCache();

  virtual ZPCache* clone() const = 0;
  virtual ZArrayList* get(const char* stanza, const char* key, int& isObfuscated,
                          get_type_e type) const;
  virtual ZArrayList* get(const char* stanza, const char* key, get_type_e type) const;
  virtual ZArrayList* get(const char* fullKey, get_type_e type) const;
  virtual void add(const char* stanza, const char* key, const char* value, int obfuscated);
  virtual void add(const char* fullKey, const char* value, int obfuscated);
  virtual void set(const char* stanza, const char* key, const char* value);
  virtual void set(const char* fullKey, const char* value);
  virtual void setObfuscated(const char* stanza, const char* key, const char* value);
  virtual void setObfuscated(const char* fullKey, const char* value);
  virtual void remove(const char* stanza, const char* key);
  virtual void remove(const char* stanza);
  virtual unsigned int countValues(const char* fullKey) = 0;
  virtual unsigned int countValues(const char* stanza, const char* key) = 0;
  virtual unsigned int keyCount(const char* stanza) const;
  virtual int contains(const char* stanza) const;
  virtual int contains(const char* stanza, const char* key) const;
  virtual int isObfuscated(const char* fullKey) const;
  virtual int isObfuscated(const char* stanza, const char* key) const;
  virtual unsigned int count() const;
  // Adds the stanza names in map order; the list is not emptied first.
  virtual void getNames(ZArrayList& list) const;
  virtual void getNames(const char* stanza, ZArrayList& list) const;
  virtual ZArrayList* getNames(const char* stanza) const;
  virtual void list(FILE* stream) const = 0;
  virtual void be_read(const char* name, FILE* stream) = 0;
  virtual void be_write(const char* name, FILE* stream) = 0;
  virtual void be_read_obfuscated(ZBuffer& buffer) = 0;
  virtual void be_write_obfuscated(ZBuffer& buffer) = 0;
  virtual void delLine(const char* fullKey) = 0;
  virtual void delLine(const char* stanza, const char* key) = 0;
  virtual void addLine(const char* stanza, const char* key, const char* value, int obfuscated) = 0;
  virtual void addLine(const char* fullKey, const char* value, int obfuscated) = 0;
  virtual void addFileComment(const char* comment) = 0;
  virtual void addLineComment(const char* fullKey, const char* comment) = 0;
  virtual void addLineComment(const char* stanza, const char* key, const char* comment) = 0;
  virtual void setLineComment(const char* stanza, const char* key, const char* comment) = 0;
  virtual void getLineComment(const char* stanza, const char* key, ZLCString& out) = 0;
  // Empties data, layout, marks and the side-file name; attributes stay.
  virtual void clear();
  // Bits are only ever added; the data pointer is replaced.
  virtual void setAttributes(unsigned long flags, void* data);
  // out = a + "." + b. Not the inverse of the full-key split.
  virtual void makeKey(ZLCString& out, const char* a, const char* b) const;

  // The path of the side file that holds this cache's obfuscated values, or
  // empty.
  ZLCString name;
  // Stanza name (ZLCString) to its ZPKVList.
  ZHashKeyMap categories;
  // The layout, ZPropLine objects in file order.
  ZArrayList lines;
  // ZObfuscatedItem marks in the order they were made.
  ZArrayList obfuscatedItems;
  unsigned long attributes;
  void* attributeData;

  // One shared empty string, made by the first cache of the process; the
  // default text of a missing value.
  static ZLCString* empty_;

 protected:
  // The stanza's key list, or null.
  ZPKVList* findStanza(const char* stanza) const;
  // The key's two-slot value record, or null.
  ZArrayList* findRecord(const char* stanza, const char* key) const;
  // Appends the mark (stanza, key).
  void addMark(const char* stanza, const char* key);
  // Index of the first mark equal to (stanza, key); all bits set if none.
  unsigned int findMark(const char* stanza, const char* key) const;
  // Removes the first mark equal to (stanza, key), if any.
  void removeMark(const char* stanza, const char* key);
  // Removes the mark at `index`, deleting it also when the list does not own
  // its members (as in a copy), so that marks are never leaked.
  void removeMarkAt(unsigned int index);
  void removeAllMarks();

 private:
  ZPCache& operator=(const ZPCache&) = delete;
};

// The concrete cache, organised by category (stanza). Still abstract: the
// file format subclass supplies clone and the be_* hooks.
//
// Full-key forms split the full key with validateKey, which keeps the whole
// text as the stanza name and the part from the first "." (dot included) as
// the key: "db.port" names stanza "db.port", key ".port". Deliberate:
// callers rely on it.
//
// A private index mirrors the header lines of `lines` (each stanza name's
// first header, with the place it was last seen), so that adding a key does
// not scan the whole layout. It is checked against the layout by line
// identity at every use, forgotten whenever the cache removes lines or the
// reader appends some, and rebuilt by one scan when next needed.
class ZPCategoryBasedCache : public ZPCache {
 public:
  ZPCategoryBasedCache();
  ZPCategoryBasedCache(const ZPCategoryBasedCache& other);
  virtual ~ZPCategoryBasedCache();

  using ZPCache::contains;
  using ZPCache::getNames;

  virtual ZArrayList* get(const char* stanza, const char* key, int& isObfuscated,
                          get_type_e type) const;
  virtual ZArrayList* get(const char* stanza, const char* key, get_type_e type) const;
  virtual ZArrayList* get(const char* fullKey, get_type_e type) const;
  // Empty or null values are ignored, but the stanza and key are created.
  // Plain and obfuscated values may coexist on one key.
  virtual void add(const char* stanza, const char* key, const char* value, int obfuscated);
  virtual void add(const char* fullKey, const char* value, int obfuscated);
  // Replaces all values by one plain value and drops the key's mark; a null
  // or empty value leaves the key present with no values.
  virtual void set(const char* stanza, const char* key, const char* value);
  virtual void set(const char* fullKey, const char* value);
  // Replaces all values by one obfuscated value and marks the key.
  virtual void setObfuscated(const char* stanza, const char* key, const char* value);
  virtual void setObfuscated(const char* fullKey, const char* value);
  // Removes the key and its first mark; layout lines stay (see delLine).
  virtual void remove(const char* stanza, const char* key);
  // Removes the stanza and its marks. Of several consecutive marks of the
  // stanza only every other one goes: the mark that slides into a freed place
  // is not looked at (deliberate); layout lines stay (see delStanzaLine).
  virtual void remove(const char* stanza);
  virtual unsigned int countValues(const char* fullKey);
  virtual unsigned int countValues(const char* stanza, const char* key);
  virtual int contains(const char* stanza, const char* key) const;
  virtual int isObfuscated(const char* fullKey) const;
  // True when the key has obfuscated values and no plain ones.
  virtual int isObfuscated(const char* stanza, const char* key) const;
  // Empties `list`, then adds the stanza's keys in insertion order; an absent
  // stanza leaves the list untouched.
  virtual void getNames(const char* stanza, ZArrayList& list) const;
  virtual ZArrayList* getNames(const char* stanza) const;
  // A dump of the data (not of the layout); obfuscated values are not shown.
  virtual void list(FILE* stream) const;
  // Removes the key and every key line of it in its stanza; comments above
  // the key line stay.
  virtual void delLine(const char* fullKey);
  virtual void delLine(const char* stanza, const char* key);
  // Sets the key's value (replacing former values) and, for a new key, adds
  // its line: after the stanza's last key line, or, where the stanza holds a
  // commented template of the key ("# key = ..."), before the blank line that
  // ends the template's block. Creates the stanza and its header as needed.
  virtual void addLine(const char* stanza, const char* key, const char* value, int obfuscated);
  virtual void addLine(const char* fullKey, const char* value, int obfuscated);
  // Adds a comment at the end of the block of lines before the first blank
  // line at the top of the file, or starts such a block.
  virtual void addFileComment(const char* comment);
  virtual void addLineComment(const char* fullKey, const char* comment);
  // Adds a comment directly above the key line (comments stack in call
  // order), creating stanza, key and key line as needed.
  virtual void addLineComment(const char* stanza, const char* key, const char* comment);
  // Replaces the comment block above the key line, with the blank lines around
  // it; a null comment just removes it.
  virtual void setLineComment(const char* stanza, const char* key, const char* comment);
  // The comment lines above the key line, in file order, joined with "\n".
  // `out` is not emptied: what it held stays at the end, after a "\n".
  virtual void getLineComment(const char* stanza, const char* key, ZLCString& out);

  // Empties the cache as ZPCache::clear does, and its header index.
  virtual void clear();

  // Splits a full key (see the class comment). Throws ZInvalidParameterException
  // for a null key or one without ".".
  void validateKey(const char* fullKey, ZLCString& stanza, ZLCString& key) const;
  // Creates the stanza and, for a non-null key, the key as needed; returns
  // the key's value record, or null for a null key.
  ZArrayList* createAndGet(ZHashKeyMap& map, const char* stanza, const char* key) const;
  // Creates the stanza with a blank line and its header at the end of the
  // layout, unless the stanza exists.
  void addStanzaLine(const char* stanza);
  // Adds a comment after the comments that follow the stanza's header.
  void addStanzaComment(const char* stanza, const char* comment);
  // Removes the stanza and its lines from the header up to the next header.
  void delStanzaLine(const char* stanza);

 protected:
  // Adds a stanza that the caller knows is absent, with no keys, and returns
  // its key list: no search and no clones (see ZHashKeyMap::putAbsent).
  ZPKVList* addAbsentStanza(const char* stanza);
  // Index in `lines` of the stanza's header line, or -1.
  int headerIndex(const char* stanza) const;
  // Index of the stanza's first key line for `key`, scanning after `header`
  // up to the next header; -1 if none.
  int keyLineIndex(int header, const char* key) const;
  ZPropLine* lineAt(unsigned int index) const;
  void insertLine(unsigned int index, unsigned int type, const char* text);
  // Drops the header index; for code that removes layout lines or appends
  // header lines itself.
  void forgetHeaders() const;

 private:
  ZPCategoryBasedCache& operator=(const ZPCategoryBasedCache&) = delete;
  // The first header of `name` by a scan of the whole layout; -1 if none.
  int scanForHeader(const char* name) const;

  struct HeaderPlace {
    const ZPropLine* line;
    unsigned int index;  // where it was last seen; later inserts move it on
  };
  // The header index (see the class comment); valid while headersBuilt_.
  mutable std::unordered_map<std::string, HeaderPlace> headers_;
  mutable bool headersBuilt_ = false;
};

// Whether a comment line is a commented-out template for the key that
// `pattern` ("#" + key + "=") was built for: blanks (" " only) in `text` are
// skipped, and every other character must match the pattern until it is used
// up. An empty pattern matches.
int isCommentWeWant(const char* pattern, const char* text);

// A scope guard over the one process-wide lock that serialises the registry of
// shared properties objects. The lock is made on first use and never freed.
class ZPropRegistry {
 public:
  ZPropRegistry();
  ~ZPropRegistry();

 private:
  ZPropRegistry(const ZPropRegistry&) = delete;
  ZPropRegistry& operator=(const ZPropRegistry&) = delete;
};

#endif  // Z_ZPROPERTIESIMPL_H_
