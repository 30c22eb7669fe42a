// zbase: the properties object, its values, change notices, registry and iterators.
#ifndef Z_ZPROPERTIES_H_
#define Z_ZPROPERTIES_H_

#include "Z/zversion.h"

#include "Z/ZArrayList.h"
#include "Z/ZHashKeyMap.h"
#include "Z/ZLCString.h"
#include "Z/ZLock.h"
#include "Z/ZObject.h"
#include "Z/ZObservable.h"
#include "Z/ZPropertiesImpl.h"
#include "Z/ZUTF8String.h"

class ZProperties;
class ZAbstractPropertiesFactory;

// The kind of string objects that values are handed out as (and, for the
// value iterators, taken in as). No other value is accepted.
enum ZPropertyStringType : int {
  ZPROP_STRING_LOCAL = 0,  // ZLCString, the local code set of the process
  ZPROP_STRING_UTF8 = 8    // ZUTF8String
};

// The notice that a properties object passes to its observers after a change.
// The stanza and key are the caller's own pointers, valid only while the
// notice is being delivered; key is null for whole-stanza changes.
class ZPropertyChanged : public ZObservedParm {
 public:
  enum PropertyStyle : int { PROPERTY_STYLE_DEFAULT = 0 };
  enum PropertyChangeType : int {
    PROPERTY_ADDED = 0,    // a stanza was added
    PROPERTY_DELETED = 1,  // a key or a stanza was deleted
    PROPERTY_CHANGED = 2   // a key's values were set
  };

  ZPropertyChanged(PropertyStyle style, PropertyChangeType type, const char* stanza,
                   const char* key);
  ~ZPropertyChanged() override;

  const char* getStanza() const { return stanza; }
  const char* getKey() const { return key; }
  PropertyStyle getStyle() const { return style; }
  PropertyChangeType getType() const { return type; }

  const char* stanza;
  const char* key;
  PropertyStyle style;
  PropertyChangeType type;
};

// Reading a configuration: whether stanzas and keys exist, their values as
// text, lists, numbers and booleans, and loading, reloading and storing the
// file.
class ZPropertiesInterface {
 public:
  virtual int exists(const char* stanza, const char* key) = 0;
  virtual int exists(const char* stanza) = 0;
  virtual int isObfuscated(const char* stanza, const char* key) = 0;
  virtual int isObfuscated(const char* fullKey) = 0;
  virtual void getValue(const char* stanza, const char* key, ZAbstractMutableString& out,
                        int mustExist, const char* defaultValue) = 0;
  virtual unsigned int getIntegerValue(const char* stanza, const char* key, int mustExist,
                                       unsigned int defaultValue) = 0;
  virtual long long getLongLongValue(const char* stanza, const char* key, int mustExist,
                                     long long defaultValue) = 0;
  virtual int getBooleanValue(const char* stanza, const char* key, int mustExist,
                              int defaultValue) = 0;
  virtual void getValues(const char* stanza, const char* key, ZArrayList& list,
                         ZPropertyStringType type) = 0;
  virtual void getValues(const char* stanza, const char* key, ZArrayList& list, int& isObfuscated,
                         ZPropertyStringType type) = 0;
  virtual unsigned int numValues(const char* fullKey) = 0;
  virtual unsigned int numValues(const char* stanza, const char* key) = 0;
  virtual unsigned int count() = 0;
  virtual unsigned int count(const char* stanza) = 0;
  virtual void load(const char* name) = 0;
  virtual void reload(const char* name) = 0;
  virtual void store(const char* name) = 0;
  virtual void list() = 0;

 protected:
  ~ZPropertiesInterface() = default;
};

// Changing a configuration: values, deletions and comments.
class ZPropertiesMutableInterface {
 public:
  virtual void setValue(const char* stanza, const char* key, const char* value, int obfuscated) = 0;
  virtual void setValue(const char* stanza, const char* key, const char* value) = 0;
  virtual void setValue(const char* stanza, const char* key, const ZLCString& value,
                        int obfuscated) = 0;
  virtual void setValue(const char* stanza, const char* key, const ZUTF8String& value,
                        int obfuscated) = 0;
  virtual void setValue(const char* stanza, const char* key, const ZLCConstString& value,
                        int obfuscated) = 0;
  virtual void setValue(const char* stanza, const char* key, const ZUTF8ConstString& value,
                        int obfuscated) = 0;
  virtual void setIntegerValue(const char* stanza, const char* key, unsigned int value) = 0;
  virtual void setLongLongValue(const char* stanza, const char* key, long long value) = 0;
  virtual void setBooleanValue(const char* stanza, const char* key, int value) = 0;
  virtual void deleteKey(const char* stanza, const char* key) = 0;
  virtual void addFileComment(const char* comment) = 0;
  virtual void addEntryComment(const char* stanza, const char* key, const char* comment) = 0;
  virtual void setEntryComment(const char* stanza, const char* key, const char* comment) = 0;

 protected:
  ~ZPropertiesMutableInterface() = default;
};

// Makes properties objects of one flavour for the registry of shared objects.
class ZPropertiesFactoryInterface {
 public:
  // A new, unloaded properties object, owned by the caller.
  virtual ZProperties* makePropertiesInstance() = 0;

 protected:
  ~ZPropertiesFactoryInterface() = default;
};

// The root of the properties objects: it holds the re-entrant resource lock
// that serialises every use of one object.
class ZAbstractProperties : public ZObject, public ZPropertiesInterface {
 public:
  // Holds a lock for the lifetime of the scope. A failing unlock is reported
  // through the message service, never thrown.
  class ZPropResourceLock {
   public:
    explicit ZPropResourceLock(ZLockInterface& lock);
    ~ZPropResourceLock();
    ZPropResourceLock(const ZPropResourceLock&) = delete;
    ZPropResourceLock& operator=(const ZPropResourceLock&) = delete;

   private:
    ZLockInterface& lock_;
  };

  ZAbstractProperties();
  // The copy gets a lock of its own.
  ZAbstractProperties(const ZAbstractProperties& other);
  ~ZAbstractProperties() override;

  // The object's resource lock. The owning thread may lock it again; other
  // threads wait.
  ZLock& getResourceLock() const { return resourceLock; }

 protected:
  mutable ZLock resourceLock;

 private:
  ZAbstractProperties& operator=(const ZAbstractProperties&) = delete;
};

// A configuration file bound to its property cache: load, reload and store
// with whole-file record locks, the side file of obfuscated values, typed
// values, comments and change notices.
//
// Every operation holds the object's resource lock while it uses the cache;
// change notices go out after the lock is released, in the calling thread, so
// that observers may call back into the object (the iterators are the
// exception: see there). Safe to share between threads. The object owns its
// cache and deletes it when destroyed (a subclass that deletes the cache
// itself sets `cache` to null). Destroying the object does not store it.
//
// Loads and stores of one file (one device and inode) exclude each other
// between the objects of one process just as between processes: loads
// share the file, a store has it alone (with its side file), and one that
// would have to wait fails at once with "fcntl()" (EAGAIN) instead. The
// record locks that other processes see are the same as with one object.
// Caveat: record locks belong to the process. The library keeps them for as
// long as any of its objects loads or stores the file, but a descriptor of
// the file that the program opens and closes itself meanwhile drops them
// for the whole process (the process locks' lock files say the same).
//
// Required arguments (stanza, key, text, comment) must be non-null and
// non-empty, else ZInvalidParameterException is thrown before the cache is
// touched.
class ZProperties : public ZAbstractProperties,
                    public ZAbstractObservable,
                    public ZPropertiesMutableInterface {
 public:
  // Takes ownership of `cache`.
  explicit ZProperties(ZPCache* cache);
  // A copy of the data under a new lock, with no observers, no file name and
  // a cache cloned from the source's (so without obfuscation marks): it must
  // be given a name before it can be stored or reloaded.
  ZProperties(const ZProperties& other);
  ~ZProperties() override;

  int exists(const char* stanza, const char* key) override;
  int exists(const char* stanza) override;
  // The key must exist (ZInvalidParameterException otherwise). True when its
  // values are held obfuscated.
  int isObfuscated(const char* stanza, const char* key) override;
  // The full key must exist taken as a stanza name (ZInvalidParameterException
  // otherwise); then the cache's full-key answer.
  int isObfuscated(const char* fullKey) override;
  // `out` receives the key's last value, or, when there is none, the default
  // (only when mustExist is 0) or an empty text. A must-exist value that is
  // missing or empty throws ZPropertiesMissingPropertyException; mustExist
  // with a default throws ZInvalidParameterException. A UTF-8 `out` receives
  // the value converted.
  void getValue(const char* stanza, const char* key, ZAbstractMutableString& out, int mustExist,
                const char* defaultValue) override;
  // The key's last value parsed as a C number (0x hexadecimal, leading 0
  // octal), low 32 bits; an empty value is 0. Invalid text throws (what is
  // caught is a ZPropertiesInvalidValueException with number 40). With
  // mustExist the default must be 0.
  unsigned int getIntegerValue(const char* stanza, const char* key, int mustExist,
                               unsigned int defaultValue) override;
  // One signed decimal number; unlike getIntegerValue an empty value is
  // invalid (kept so deliberately).
  long long getLongLongValue(const char* stanza, const char* key, int mustExist,
                             long long defaultValue) override;
  // yes/y/true/t/1 and no/n/false/f/0 in any case; empty is 0; anything else
  // throws (a ZPropertiesInvalidValueException with number 41).
  int getBooleanValue(const char* stanza, const char* key, int mustExist,
                      int defaultValue) override;
  // Replaces the list's members by copies of the key's values (the plain
  // ones if any, else the obfuscated ones). The list must own its members
  // and the type be 0 or 8, else ZInvalidParameterException.
  void getValues(const char* stanza, const char* key, ZArrayList& list,
                 ZPropertyStringType type) override;
  // As above; isObfuscated tells whether the values came from the obfuscated
  // slot.
  void getValues(const char* stanza, const char* key, ZArrayList& list, int& isObfuscated,
                 ZPropertyStringType type) override;
  unsigned int numValues(const char* fullKey) override;
  unsigned int numValues(const char* stanza, const char* key) override;
  unsigned int count() override;
  unsigned int count(const char* stanza) override;
  // Reads the file (null or empty name: the recorded one) into the cache
  // under a shared, non-waiting record lock, then the side file, if the file
  // names one. The side file's bytes reach the cache's be_read_obfuscated in
  // a buffer that borrows the mapped file: the cache reads it and must not
  // resize or keep it. Sends no change notices while it reads. A parse failure
  // leaves what was read in the cache, and notices stay off until a later
  // load or store completes (kept so deliberately).
  void load(const char* name) override;
  // Empties the cache, then loads.
  void reload(const char* name) override;
  // Rewrites the file in place (same file, same inode) under an exclusive,
  // non-waiting record lock, with the side file written first. The new text
  // is made in memory and its room reserved in the file before a byte of the
  // old text is overwritten, so a failure (disk full, size limit, I/O error)
  // leaves the old file as it was and throws ZPropertiesIOException naming
  // the function that failed. The cache's be_write writes to an in-memory
  // stream; an error flagged on that stream fails the store ("be_write()").
  void store(const char* name) override;
  // Prints the cache's data to standard output.
  void list() override;

  // Replaces the key's values by `value`, creating stanza, header and key
  // line as needed; a null or empty value empties the key. A key that holds
  // values keeps its kind: a plain value over obfuscated ones, or the
  // reverse, throws ZInvalidParameterException.
  void setValue(const char* stanza, const char* key, const char* value, int obfuscated) override;
  void setValue(const char* stanza, const char* key, const char* value) override;
  void setValue(const char* stanza, const char* key, const ZLCString& value,
                int obfuscated) override;
  // Converts the value to the local code set first.
  void setValue(const char* stanza, const char* key, const ZUTF8String& value,
                int obfuscated) override;
  void setValue(const char* stanza, const char* key, const ZLCConstString& value,
                int obfuscated) override;
  void setValue(const char* stanza, const char* key, const ZUTF8ConstString& value,
                int obfuscated) override;
  void setIntegerValue(const char* stanza, const char* key, unsigned int value) override;
  void setLongLongValue(const char* stanza, const char* key, long long value) override;
  // Stores "yes" or "no".
  void setBooleanValue(const char* stanza, const char* key, int value) override;
  // Removes the key with its key lines; comments above it stay.
  void deleteKey(const char* stanza, const char* key) override;
  void addFileComment(const char* comment) override;
  void addEntryComment(const char* stanza, const char* key, const char* comment) override;
  // Replaces the comment above the key; a null comment removes it.
  void setEntryComment(const char* stanza, const char* key, const char* comment) override;
  // `out` receives the comment lines above the key, joined with "\n".
  virtual void getEntryComment(const char* stanza, const char* key, ZAbstractMutableString& out);
  // Called at the end of every successful parse; does nothing here.
  virtual void postLoad(const char* name);
  // Turns a comment text into the form the file keeps; does nothing here.
  virtual void checkComment(ZLCString& comment);
  virtual void setAttributes(unsigned long flags, void* data);
  // Throws ZInvalidParameterException when a key that holds values would
  // change its kind (plain to obfuscated or the reverse).
  virtual void checkAccess(const char* stanza, const char* key, int obfuscated) const;

  int isModified() const { return __atomic_load_n(&modified, __ATOMIC_RELAXED); }
  void setModified() { __atomic_store_n(&modified, 1, __ATOMIC_RELAXED); }
  // Tells the observers, unless the object is loading.
  void sendChangeNotice(int style, int type, const char* stanza, const char* key);
  // The key's value list itself, without locking (valid until the key is
  // next changed); null when absent.
  ZArrayList* get(const char* stanza, const char* key) const;
  // Fills an owning list with the stanza's keys in insertion order. Takes no
  // lock.
  void keyNames(const char* stanza, ZArrayList& list) const;
  // Fills an owning list with the stanza names. Takes no lock.
  void keyNames(ZArrayList& list) const;

  // The key's last value, or null; with mustExist a missing or empty key
  // throws ZPropertiesMissingPropertyException. With a null key, `stanza`
  // is taken as a full key.
  ZLCString* extractValue(ZPCache* from, const char* stanza, const char* key, int mustExist) const;
  // Parse rules of the typed getters; 1 on success, 0 on invalid text.
  static int convertToBoolean(const char* text, int& out);
  static int convertToInt(const char* text, unsigned int& out);

  // The shared object for the file `name`, made and loaded by `factory` on
  // first use and kept in its registry. It is reloaded when forced, or when
  // the file's modification time changed and it holds no unsaved changes.
  // One file has one object: a name not seen before that names a
  // registered file (same device and inode: "a.conf" and "./a.conf", a
  // hard or symbolic link) gets that file's object, and is registered for
  // it too. No object's lock is taken while the registry lock is held, so a
  // thread holding an iterator may call this: a new object is loaded
  // before it is registered (when two threads load one new file at once,
  // the first to register wins and the other's copy is deleted).
  static ZProperties* getPropertiesFor(const char* name, ZAbstractPropertiesFactory& factory,
                                       int forceReload);

  ZPCache* getCache() const { return cache; }
  const ZLCString& getFileName() const { return fileName; }
  long getTimeStamp() const { return timeStamp; }

 protected:
  ZPCache* cache;
  ZLCString fileName;
  int modified;
  int loading;
  long timeStamp;

 private:
  ZProperties& operator=(const ZProperties&) = delete;
  // The name given, else the recorded one; ZInvalidParameterException when
  // both are empty.
  const char* choosePath(const char* name) const;
};

// Hands out one shared properties object per file name. The registry does
// not own its objects, and they live as long as the factory, which deletes
// them when it is destroyed (factories normally live as long as the
// process). Callers never delete the objects they are given.
class ZAbstractPropertiesFactory : public ZPropertiesFactoryInterface, public ZObject {
 public:
  ZAbstractPropertiesFactory();
  ~ZAbstractPropertiesFactory() override;

  ZProperties* makePropertiesInstance() override = 0;

 protected:
  friend class ZProperties;
  ZLock factoryLock;
  // File name (ZLCString) to its shared ZProperties.
  ZHashKeyMap registry;

 private:
  ZAbstractPropertiesFactory(const ZAbstractPropertiesFactory&) = delete;
  ZAbstractPropertiesFactory& operator=(const ZAbstractPropertiesFactory&) = delete;
};

// Throws ZPropertiesIOException("access()") unless the file, or, when it does
// not exist, the directory that would hold it, is readable and writable.
void checkFileAccess(const char* path);
// The file's modification time in seconds, when it differs from `timeStamp`,
// is stored there and 1 is returned; 0 when it is the same or the file
// cannot be examined.
int checkAndSetTimeStamp(const char* path, long& timeStamp);

// Walks the keys of one stanza of a properties object.
class ZAbstractPropertiesIterator {
 public:
  virtual int hasMore() const = 0;
  virtual void nextEntry() = 0;
  virtual const char* entryName() const = 0;
  virtual const char* entryValue(int index) const = 0;
  virtual unsigned int keyCount() const = 0;
  virtual unsigned int valueCount() const = 0;
  virtual ~ZAbstractPropertiesIterator();
};

// Steps through the keys of one stanza in insertion order and shows each
// key's values. Holds the object's resource lock from construction to
// destruction: other threads wait meanwhile, while the owning thread may go
// on using the object (the key and value lists are live views into the
// cache; when that thread deletes the stanza, the iterator ends, and when
// it deletes the current key, there is no current key until the next
// step). Not to be shared between threads; destroy it promptly.
class ZPropertiesIterator : public ZAbstractPropertiesIterator {
 public:
  // No stanza: empty unless a subclass supplies keys.
  explicit ZPropertiesIterator(ZProperties& properties);
  // A null stanza throws ZInvalidParameterException; a missing one gives an
  // empty iterator.
  ZPropertiesIterator(ZProperties& properties, const char* stanza);
  ZPropertiesIterator(const ZPropertiesIterator&) = delete;
  ZPropertiesIterator& operator=(const ZPropertiesIterator&) = delete;

  int hasMore() const override;
  // Steps to the next key; past the end, ZPropertiesIteratorException.
  void nextEntry() override;
  // The current key; before the first step, ZPropertiesIteratorException.
  const char* entryName() const override;
  // Value `index` of the current key, null when the key has no values.
  // Before the first step ZPropertiesIteratorException; an index not below
  // the number of values ZInvalidParameterException.
  const char* entryValue(int index) const override;
  unsigned int keyCount() const override;
  // Before the first step, ZPropertiesIteratorException.
  unsigned int valueCount() const override;
  ~ZPropertiesIterator() override;
  // The value list of `key` in the walked stanza (with no stanza, `key` is a
  // full key).
  virtual ZArrayList* getValues(const char* key);

 protected:
  ZLCString stanza;
  ZProperties& properties;
  ZResourceLock lock;
  // Views into the cache, looked up again at every step (see follow()).
  mutable ZArrayList* keys;
  mutable ZArrayList* values;
  int index;
  mutable ZLCString* currentKey;

 private:
  // Looks the walked stanza's key list up again, and drops the current key
  // when it is no longer at its place: the owning thread may have deleted
  // the stanza or the key meanwhile, freeing what the views pointed at.
  void follow() const;
};

// Steps through the values of one key, and changes, adds and removes values
// in place.
class ZPropertyValuesIteratorInterface {
 public:
  virtual int hasMore() const = 0;
  virtual ZLCString* nextValue() = 0;
  virtual const char* nextValue(const char*& out) = 0;
  virtual void changeValue(const char* text) = 0;
  virtual void addValue(const char* text) = 0;
  virtual void removeValue() = 0;
  virtual unsigned int valueCount() const = 0;
  virtual ~ZPropertyValuesIteratorInterface();
};

// Walks the values of one key. Holds the object's resource lock for its
// whole life (see ZPropertiesIterator). Values are handed in and out in the
// local code set (string type 0) or in UTF-8 (8). The selector picks the
// values walked: 0 whichever kind the key holds, 1 the plain values, 2 the
// obfuscated ones.
//
// changeValue, addValue into existing values and removeValue of a list
// element work on the cache directly and send no change notice; the paths
// that go through setValue (adding to a key with no values, removing the
// first obfuscated value) do, and, unlike the object's own operations, they
// send it while the iterator holds the object's lock: an observer called
// from an iterator must not wait for another thread that uses the object.
//
// The views follow the cache: when the owning thread deletes the key or its
// stanza meanwhile, the iterator has no values left (it never reads what
// was freed).
class ZAbstractPropertyValuesIterator : public ZPropertyValuesIteratorInterface {
 public:
  // ZInvalidParameterException for a null stanza or key, a string type
  // other than 0 or 8, a selector other than 0, 1 or 2, or a selector that
  // asks for the other kind of values than the key holds.
  ZAbstractPropertyValuesIterator(ZProperties& properties, const char* stanza, const char* key,
                                  ZPropertyStringType stringType, int selector);
  ZAbstractPropertyValuesIterator(const ZAbstractPropertyValuesIterator&) = delete;
  ZAbstractPropertyValuesIterator& operator=(const ZAbstractPropertyValuesIterator&) = delete;

  int hasMore() const override;
  // Steps to the next value and returns it (owned by the cache); past the
  // end, ZPropertiesIteratorException.
  ZLCString* nextValue() override;
  // The same step; `out` (also returned) shows the value in the iterator's
  // string type, valid until the next step or change.
  const char* nextValue(const char*& out) override;
  // Replaces the current value; with none, ZPropertiesIteratorException.
  void changeValue(const char* text) override;
  // Inserts after the current value and steps to it; on a key without values
  // sets the key through the properties object.
  void addValue(const char* text) override;
  // Removes the current value and steps back, so that the next step yields
  // the value after it. Removing the first value while walking obfuscated
  // values (selector 2) empties the whole key instead (kept deliberately).
  void removeValue() override;
  unsigned int valueCount() const override;
  ~ZAbstractPropertyValuesIterator() override;

  // Whether there is a current value.
  int isValid() const;

 protected:
  // A view into the cache, dropped when the key's values are gone (see
  // follow()).
  mutable ZArrayList* values;
  int index;
  ZProperties& properties;
  ZResourceLock lock;
  ZLCString stanza;
  ZLCString key;
  ZPropertyStringType stringType;
  ZAbstractString* holder;
  int selector;

 private:
  // The text in the local code set, read from UTF-8 for string type 8.
  ZLCString localText(const char* text) const;
  // Drops `values` when the key (or its stanza) was deleted or emptied of
  // this kind since the last step, so that a freed list is never read.
  void follow() const;
};

#endif  // Z_ZPROPERTIES_H_
