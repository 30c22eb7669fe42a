/* zbase: the C interface to stanza configuration files: handles and status codes. */
#ifndef Z_ZPROPERTIES_C_H_
#define Z_ZPROPERTIES_C_H_

#include "Z/zversion.h"

/*
 * A C program opens a stanza file and gets a file handle, reads and changes
 * values through it, walks the keys of a stanza and the values of a key with
 * iterator handles, stores the file and closes the handles. Functions whose
 * result is a value report their status through an `int* rc`; the others
 * return it. Changes reach the file only through zstzPropStore; closing
 * discards unsaved changes. Comments and blank lines of the file are always
 * kept when it is stored.
 *
 * Only the failures each function names become codes: an unexpected C++
 * exception (for instance for an empty, not null, stanza name given to a
 * counting or reading function) leaves the function as it is. This narrow
 * catching is deliberate.
 *
 * One file handle may be used from several threads (its properties object
 * serialises the calls). An iterator handle locks the file's object for its
 * whole life: use it from one thread, close it promptly, and before the file
 * handle.
 */

/* Status codes (56 is not used). */
enum {
  ZPROP_OK = 0,
  ZPROP_ERR_FILE = 51,          /* opening (parsing included) or storing failed */
  ZPROP_ERR_CHANGE = 52,        /* a change (set, remove, comment) failed */
  ZPROP_ERR_INVALID_VALUE = 53, /* the value is not a valid number or boolean */
  ZPROP_ERR_MISSING = 54,       /* a value that must exist is missing */
  ZPROP_ERR_INVALID_ARG = 55,   /* invalid handle or invalid argument */
  ZPROP_ERR_ITERATOR = 57       /* iterator error, or a value operation on a key iterator */
};

/* How a file is opened: recorded in the handle, not otherwise consulted (a
 * handle opened for reading may still be stored). */
typedef enum ZPROPOpenMode { ZPROP_OPEN_READ = 1, ZPROP_OPEN_READWRITE = 2 } ZPROPOpenMode;

/* Request types of zstzPropGetValues and what `result` points to. */
enum {
  ZPROP_TYPE_BOOLEAN = 1,    /* int */
  ZPROP_TYPE_INTEGER = 2,    /* unsigned int */
  ZPROP_TYPE_STRING = 3,     /* char*: a malloc'd copy, null for an empty or missing value */
  ZPROP_TYPE_STRING_LIST = 4 /* char**: a malloc'd array of malloc'd copies, ended by null */
};

/* One request of zstzPropGetValues. */
typedef struct ZPROPValueRequest {
  int type;
  const char* stanza;
  const char* key;
  int optional; /* 1: the value may be missing; anything else: it must exist */
  void* result;
} ZPROPValueRequest;

/* Opaque handles: a stanza file, and an iterator over it. */
typedef struct ZPROP_handle ZPROP_handle;
typedef struct ZPROP_iter_handle ZPROP_iter_handle;

#ifdef __cplusplus
extern "C" {
#endif

/* Opens and reads the file. 0: *handle is the new handle, to be closed with
 * zstzPropClose. 55: null handle pointer or file, or a mode other than 1 or
 * 2. 51: the file could not be read or parsed; *handle is null. */
int zstzPropOpen(ZPROP_handle** handle, const char* file, ZPROPOpenMode mode);
/* Destroys the handle without storing; an invalid handle is ignored. */
void zstzPropClose(ZPROP_handle* handle);
/* Writes the file back (null or empty name: the file it was read from).
 * 0, 55 invalid handle, 51 failure. Obfuscated values go to the side file
 * the configuration names, also when it is stored under another name. */
int zstzPropStore(ZPROP_handle* handle, const char* file);

/* Whether the stanza (key null) or the key exists. A null stanza or rc
 * returns 0 with rc untouched; *rc 55 for an invalid handle. */
int zstzPropExists(ZPROP_handle* handle, const char* stanza, const char* key, int* rc);
/* Counts of stanzas, of a stanza's keys, of a key's values; 0 with rc
 * untouched for a null argument, 0 with *rc 55 for an invalid handle. */
unsigned int zstzPropNumStanzas(ZPROP_handle* handle, int* rc);
unsigned int zstzPropNumKeys(ZPROP_handle* handle, const char* stanza, int* rc);
unsigned int zstzPropNumValues(ZPROP_handle* handle, const char* stanza, const char* key, int* rc);

/* The key's last value as a new string that the caller releases with
 * zstzPropFree; null with *rc 0 for an empty value (or a missing one that
 * need not exist), null with *rc 54 for a missing one that must, null with rc
 * untouched for a null stanza, key or rc. */
char* zstzPropGetStringValue(ZPROP_handle* handle, const char* stanza, const char* key,
                             int mustExist, int* rc);
/* The key's last value as a boolean or number: *rc 0, 53 not a valid value,
 * 54 missing (these return 0), 55 invalid handle. A null stanza, key or rc
 * returns 55 as the value and leaves rc untouched: deliberate. */
int zstzPropGetBooleanValue(ZPROP_handle* handle, const char* stanza, const char* key,
                            int mustExist, int* rc);
unsigned int zstzPropGetIntegerValue(ZPROP_handle* handle, const char* stanza, const char* key,
                                     int mustExist, int* rc);
long long zstzPropGetLongLongValue(ZPROP_handle* handle, const char* stanza, const char* key,
                                   int mustExist, int* rc);
/* Serves the requests in order: 0 when all are served; 54 or 53 at the first
 * missing or invalid value (the results already stored stay), 55 for an
 * invalid handle, a null array with a non-zero count or a request with a
 * null result. Release the strings with zstzPropFreeValuesList. */
int zstzPropGetValues(ZPROP_handle* handle, ZPROPValueRequest* requests, int count);
/* Frees the strings and lists that zstzPropGetValues stored and sets them to
 * null. */
void zstzPropFreeValuesList(ZPROP_handle* handle, ZPROPValueRequest* requests, int count);
/* Releases a string from zstzPropGetStringValue; null, or a pointer that
 * did not come from there, is ignored. */
void zstzPropFree(char* value);

/* Changes: 0, 55 invalid handle or null name, 52 the change failed (for
 * instance a plain value over a key that holds obfuscated values). A null
 * value empties the key. Values are always plain. */
int zstzPropSetStringValue(ZPROP_handle* handle, const char* stanza, const char* key,
                           const char* value);
int zstzPropSetIntegerValue(ZPROP_handle* handle, const char* stanza, const char* key,
                            unsigned int value);
int zstzPropSetLongLongValue(ZPROP_handle* handle, const char* stanza, const char* key,
                             long long value);
/* Stores "yes" or "no". */
int zstzPropSetBooleanValue(ZPROP_handle* handle, const char* stanza, const char* key, int value);
int zstzPropRemoveKey(ZPROP_handle* handle, const char* stanza, const char* key);
int zstzPropRemoveStanza(ZPROP_handle* handle, const char* stanza);
/* Comment lines: at the top of the file, after a stanza's header comments,
 * above a key. A line not starting with "#" gets one. */
int zstzPropAddFileComment(ZPROP_handle* handle, const char* comment);
int zstzPropAddStanzaComment(ZPROP_handle* handle, const char* stanza, const char* comment);
int zstzPropAddLineComment(ZPROP_handle* handle, const char* stanza, const char* key,
                           const char* comment);

/* An iterator over the stanza's keys (key null) or over the key's values,
 * into *iterator (null on failure): 0, or 55 for an invalid handle or a null
 * stanza or iterator pointer. Close it with zstzPropIter_close. */
int zstzPropIter_init(ZPROP_handle* handle, const char* stanza, const char* key,
                      ZPROP_iter_handle** iterator);
/* Destroys the iterator, even one that fails the validity check (then 55);
 * 55 for null, else 0. */
int zstzPropIter_close(ZPROP_iter_handle* iterator);
/* Steps to the next key or value: 1, or 0 at the end. *rc 0, 55 invalid. */
int zstzPropIter_next(ZPROP_iter_handle* iterator, int* rc);
/* The current key (a value iterator: its key) and the current value (a key
 * iterator: the key's first value). The text belongs to the iterator, valid
 * until its next step or change. Null with *rc 57 before the first step, 55
 * for an invalid iterator. `unused` is ignored. Deliberate: on a key iterator
 * standing on a key without values ("key ="), getValue throws the C++
 * ZInvalidParameterException; ask zstzPropNumValues first. */
const char* zstzPropIter_getKey(ZPROP_iter_handle* iterator, int* rc);
const char* zstzPropIter_getValue(ZPROP_iter_handle* iterator, void* unused, int* rc);
/* Keys of a key iterator (a value iterator: 1), values of a value iterator
 * (a key iterator: *rc 57). */
unsigned int zstzPropIter_numKeys(ZPROP_iter_handle* iterator, int* rc);
unsigned int zstzPropIter_numValues(ZPROP_iter_handle* iterator, int* rc);
/* Change the values of a value iterator in place: add after the current
 * value, change it, remove it. 0; 57 on a key iterator or with no current
 * value. Deliberate: an iterator with a broken mark but a value iterator's
 * kind is still changed, and 55 is returned; a null iterator is not
 * checked. */
int zstzPropIter_addValue(ZPROP_iter_handle* iterator, const char* value);
int zstzPropIter_chgValue(ZPROP_iter_handle* iterator, const char* value);
int zstzPropIter_rmvValue(ZPROP_iter_handle* iterator);

#ifdef __cplusplus
}  // extern "C"

#include <cstdint>

#include "Z/ZLCString.h"
#include "Z/ZStanzaFileProperties.h"

// The handle classes behind the C interface. Callers built against earlier
// releases rely on their layout: a virtual destructor, then the validity
// marks. The destructors wipe the marks so that a closed handle fails the
// check; the wipe is a volatile store, which the compiler may not drop as a
// store to an object whose life is ending.

// A file handle: valid while non-null with both marks in place.
struct ZPROP_handle {
  static constexpr uint32_t kMagic1 = 0xBEEFF00D;
  static constexpr uint32_t kMagic2 = 0xD00FFEEB;

  explicit ZPROP_handle(ZPROPOpenMode mode);
  virtual ~ZPROP_handle();
  ZPROP_handle(const ZPROP_handle&) = delete;
  ZPROP_handle& operator=(const ZPROP_handle&) = delete;

  uint32_t magic1;
  ZPROPOpenMode mode;
  uint32_t magic2;
};

// The handle that zstzPropOpen hands out: owns the file's properties object
// (keep-comments on).
struct ZPROP_stz_handle : ZPROP_handle {
  explicit ZPROP_stz_handle(ZPROPOpenMode mode);
  ~ZPROP_stz_handle() override;

  ZStanzaFileProperties properties;
};

// An iterator handle: valid with both marks and a kind of 1 (keys of a
// stanza) or 2 (values of a key).
struct ZPROP_iter_handle {
  static constexpr int kKeys = 1;
  static constexpr int kValues = 2;

  explicit ZPROP_iter_handle(int kind);
  virtual ~ZPROP_iter_handle();
  ZPROP_iter_handle(const ZPROP_iter_handle&) = delete;
  ZPROP_iter_handle& operator=(const ZPROP_iter_handle&) = delete;

  int kind;
  uint32_t magic1;
  uint32_t magic2;
};

// Kind 1: the keys of one stanza.
struct ZPROP_stz_iter_handle : ZPROP_iter_handle {
  ZPROP_stz_iter_handle(ZStanzaFileProperties& properties, const char* stanza);
  ~ZPROP_stz_iter_handle() override;

  ZStanzaIterator iterator;
};

// Kind 2: the values of one key, in the local code set, from whichever slot
// (plain or obfuscated) the key uses.
struct ZPROP_stzvalue_iter_handle : ZPROP_iter_handle {
  ZPROP_stzvalue_iter_handle(ZStanzaFileProperties& properties, const char* stanza,
                             const char* key);
  ~ZPROP_stzvalue_iter_handle() override;

  ZStanzaValueIterator iterator;
  ZLCString currentValue;  // the value most recently stepped to
  ZLCString key;
};
#endif  // __cplusplus

#endif /* Z_ZPROPERTIES_C_H_ */
