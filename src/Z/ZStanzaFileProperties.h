// zbase: stanza configuration files: their reader and writer, the side data of
// obfuscated values, and the key/value lists and batch requests built on them.
#ifndef Z_ZSTANZAFILEPROPERTIES_H_
#define Z_ZSTANZAFILEPROPERTIES_H_

#include <cstdio>

#include "Z/ZArrayList.h"
#include "Z/ZBuffer.h"
#include "Z/ZLCString.h"
#include "Z/ZObject.h"
#include "Z/ZPropertiesImpl.h"
#include "Z/ZUTF8String.h"
#include "Z/zversion.h"

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

#endif  // Z_ZSTANZAFILEPROPERTIES_H_
