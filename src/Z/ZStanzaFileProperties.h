// zbase: stanza configuration files: their reader and writer, the side data of
// obfuscated values, and the key/value lists and batch requests built on them.
#ifndef Z_ZSTANZAFILEPROPERTIES_H_
#define Z_ZSTANZAFILEPROPERTIES_H_

#include "Z/zversion.h"

#include <cstdio>

#include "Z/ZArrayList.h"
#include "Z/ZBuffer.h"
#include "Z/ZLCString.h"
#include "Z/ZObject.h"
#include "Z/ZProperties.h"
#include "Z/ZPropertiesImpl.h"
#include "Z/ZUTF8String.h"

// The property cache of a stanza file. A stanza file is text in the local
// code set, one entry a line:
//
//   # comment                 (only where "#" is the first non-blank character)
//   [stanza name]             (blanks inside the brackets belong to the name;
//                              text after "]" is dropped when written back)
//   key = value               (key up to the first "=", blanks around both
//                              trimmed; the value may hold "=" and "#")
//
// A key given several times gets several values, written back together where
// its first line stood. A stanza name may occur only once, and entries need a
// stanza. Lines may be of any length. There is no quoting and no escape.
//
// In the stanza "configuration-database", the key "file" names the side file
// that holds the obfuscated values (relative names are taken from the
// directory of the configuration file).
//
// With attribute bit 0 (keep comments) set, comment and blank lines are kept
// in the layout and written back; otherwise they are dropped on reading.
//
// Like every cache, not safe to share between threads; the properties object
// that owns it serialises its use.
class ZSCFData : public ZPCategoryBasedCache {
 public:
  ZSCFData();
  ZSCFData(const ZSCFData& other);
  ~ZSCFData() override;

  // A new ZSCFData holding a copy of this cache (without obfuscation marks,
  // as every cache copy).
  ZPCache* clone() const override;

  // Adds the stream's stanzas, keys, values and lines to the cache. `name`
  // is the file's name, used in messages and to resolve a relative side-file
  // name. Throws ZPropertiesInvalidDataException (name, line text, line
  // number counted from 1) at the first line that cannot be read: "[" with
  // no "]", a stanza given twice, an entry before any stanza (or after "[]"),
  // an entry that starts with "=" or holds none, a line holding a zero byte.
  // What was read before the bad line stays in the cache. A stream that
  // fails to read throws ZPropertiesIOException(name, "fgets()", errno).
  void be_read(const char* name, FILE* stream) override;
  // Writes the layout to the stream in file order, with every key's plain
  // values at the place of its line. Lines of deleted stanzas and keys are
  // left out, and so are keys whose values are all obfuscated (they live in
  // the side file). A failed write throws ZPropertiesIOException(name,
  // "fwrite()", errno) so that the caller can give up before it touches the
  // file; the stream may be an in-memory one.
  void be_write(const char* name, FILE* stream) override;
  // Adds the records of a side file's bytes to the cache as obfuscated
  // values. Data that does not unpack into whole records throws
  // ZPropertiesInvalidDataException (side-file name, empty data, line 0).
  void be_read_obfuscated(ZBuffer& buffer) override;
  // Packs every obfuscated value into the buffer; leaves the buffer as it
  // was when there are none.
  void be_write_obfuscated(ZBuffer& buffer) override;

 private:
  ZSCFData& operator=(const ZSCFData&) = delete;
};

// One key and its value, both strings of the owning list's type.
class ZKVEntry : public ZObject {
 public:
  // Takes ownership of both strings.
  ZKVEntry(ZAbstractMutableString* key, ZAbstractMutableString* value);
  ZKVEntry(const ZKVEntry& other);
  ~ZKVEntry() override;
  ZObject* clone() const override;

  ZAbstractMutableString* key;
  ZAbstractMutableString* value;

 private:
  ZKVEntry& operator=(const ZKVEntry&) = delete;
};

// An ordered list of key/value pairs, the keys of one stanza with their first
// values. Strings are ZLCString for string type 0 and ZUTF8String for 8; with
// any other type the entries' strings are left unset (null). Not locked.
class ZPropertiesKVList : public ZObject {
 public:
  explicit ZPropertiesKVList(ZPropertyStringType type = ZPROP_STRING_LOCAL);
  ZPropertiesKVList(const ZPropertiesKVList& other);
  ZPropertiesKVList& operator=(const ZPropertiesKVList& other);
  ~ZPropertiesKVList() override;
  ZObject* clone() const override;

  void clear();
  // Appends copies of key and value in the list's string type (converted
  // when they are of the other code set).
  void addItem(const ZAbstractString& key, const ZAbstractString& value);
  unsigned int getItemCount() const;
  // The strings of entry `index`; an index out of range throws
  // ZInvalidParameterException.
  ZAbstractMutableString* getItemKey(unsigned int index) const;
  ZAbstractMutableString* getItemValue(unsigned int index) const;
  ZPropertyStringType getStringType() const { return stringType; }

 private:
  const ZKVEntry& entryAt(unsigned int index) const;

  ZPropertyStringType stringType;
  ZArrayList entries;
};

// One request of a batch read (ZStanzaFileProperties::getItems).
//
//   type  getter            result points to     defaultValue holds
//   1     getBooleanValue   int                  a boolean
//   2     getIntegerValue   unsigned int         an unsigned 32-bit number
//   3     getValue          ZAbstractMutableString  a const char* (or 0)
//   4     getValues (LC)    ZArrayList (owning)  -
//   5     getValues (UTF-8) ZArrayList (owning)  -
//   6     getStanza         ZPropertiesKVList    -
//   7     getLongLongValue  long long            a signed 64-bit number
struct ZStzFileItem {
  int type;
  const char* stanza;
  const char* key;
  int mustExist;  // non-zero: the value must exist (the default must then be 0)
  void* result;
  long long defaultValue;
};

// A properties object over one stanza file (its cache is a ZSCFData). Adds
// to the operations of every properties object: stanzas as a whole, merging
// and appending values, stanza listings and batch reads.
//
// Safe to share between threads: every operation holds the object's
// resource lock while it uses the cache, and change notices go out after the
// lock is released. Required arguments must be non-null and non-empty, else
// ZInvalidParameterException.
class ZStanzaFileProperties : public ZProperties {
 public:
  // Makes stanza-file objects (with keep-comments on) for the registry of
  // shared objects (ZProperties::getPropertiesFor).
  class ZStanzaFilePropertiesFactory : public ZAbstractPropertiesFactory {
   public:
    ZStanzaFilePropertiesFactory();
    ~ZStanzaFilePropertiesFactory() override;
    ZProperties* makePropertiesInstance() override;
  };

  // Loads the file; keepComments non-zero keeps its comments and blank lines
  // for writing back. Load failures are thrown as by load().
  ZStanzaFileProperties(const char* fileName, int keepComments);
  // An empty object, to be filled and stored, or loaded later.
  explicit ZStanzaFileProperties(int keepComments);
  ~ZStanzaFileProperties() override;

  void addEntryComment(const char* stanza, const char* key, const char* comment) override;
  // Puts "#" in front of every line of the comment that does not begin with
  // one, so that the comment always reads back as comment lines.
  void checkComment(ZLCString& comment) override;

  // Adds the value to the key's values unless it is already there (see
  // addValues). A null or empty value does nothing at all, deliberately
  // without an error. obfuscated non-zero works on the key's obfuscated
  // values, zero on its plain ones; asking for the other kind than the key
  // holds throws ZInvalidParameterException.
  virtual void addValue(const char* stanza, const char* key, const char* value, int obfuscated);
  virtual void addValue(const char* stanza, const char* key, const ZLCString& value,
                        int obfuscated);
  virtual void addValue(const char* stanza, const char* key, const ZUTF8String& value,
                        int obfuscated);
  virtual void addValue(const char* stanza, const char* key, const ZLCConstString& value,
                        int obfuscated);
  virtual void addValue(const char* stanza, const char* key, const ZUTF8ConstString& value,
                        int obfuscated);
  // Merges strings (ZLCString or ZUTF8String, ...) into the key's values:
  // each is looked for only after the place where the one before it was
  // found, and appended once the end has been reached. So on a key holding
  // a, b the list b, a gives a, b, a: the asymmetry is deliberate. Empty
  // strings are skipped. An empty list throws ZInvalidParameterException.
  virtual void addValues(const char* stanza, const char* key, const ZArrayList& values,
                         int obfuscated);
  // Empties the list, then adds each key of the stanza in order with its
  // first value (an empty text for a key without values).
  virtual void getStanza(const char* stanza, ZPropertiesKVList& list);

  // Adds an empty stanza with its header line (nothing for an existing
  // one); notice PROPERTY_ADDED.
  void addStanza(const char* stanza);
  // Removes the stanza with all its lines; notice PROPERTY_DELETED.
  void deleteStanza(const char* stanza);
  // Adds a comment after the comments that follow the stanza's header,
  // creating the stanza as needed (the comment passes checkComment).
  void addStanzaComment(const char* stanza, const char* comment);
  // Adds the value after the key's last value, even when it is already
  // there. On a key without values it sets the key, with the change notice
  // of setValue (after the lock is let go).
  void appendValue(const char* stanza, const char* key, const char* value, int obfuscated);
  // Serves count requests in order under the object's lock (see
  // ZStzFileItem). A null array or a count of 0 throws
  // ZInvalidParameterException, a negative count does nothing. A request of
  // an unknown type stops the batch with ZInvalidParameterException; the
  // results of the requests before it stay written.
  void getItems(ZStzFileItem* items, int count);
  // Fills an owning list with the stanza's key names in order.
  void getKeys(const char* stanza, ZArrayList& list) const;

  // The one factory of the process, made on first use.
  static ZStanzaFilePropertiesFactory& getFactory();
  // Makes the factory; run once through getFactory.
  static void init();

 private:
  ZStanzaFileProperties(const ZStanzaFileProperties&) = delete;
  ZStanzaFileProperties& operator=(const ZStanzaFileProperties&) = delete;
  ZSCFData& data() const;
};

// Walks the keys of one stanza of a stanza file (see ZPropertiesIterator:
// holds the object's lock for its whole life).
class ZStanzaIterator : public ZPropertiesIterator {
 public:
  ZStanzaIterator(ZStanzaFileProperties& properties, const char* stanza);
  ~ZStanzaIterator() override;
};

// Walks, and changes in place, the values of one key of a stanza file (see
// ZAbstractPropertyValuesIterator).
class ZStanzaValueIterator : public ZAbstractPropertyValuesIterator {
 public:
  ZStanzaValueIterator(ZStanzaFileProperties& properties, const char* stanza, const char* key,
                       ZPropertyStringType stringType, int selector);
  ~ZStanzaValueIterator() override;
};

#endif  // Z_ZSTANZAFILEPROPERTIES_H_
