// zbase: ZJavaProperties, flat property files of keys and values in UTF-8.
#ifndef Z_ZJAVAPROPERTIES_H_
#define Z_ZJAVAPROPERTIES_H_

#include "Z/zversion.h"

#include <cstdio>

#include "Z/ZHashKeyMap.h"
#include "Z/ZObject.h"
#include "Z/ZUTF8String.h"

// The entries of a flat property file: one "key = value" a line, "#" and "!"
// comment lines, backslash and "\uXXXX" escapes, values continued over lines
// ending in a backslash. Keys and values are kept as UTF-8 strings in a hash
// key map; comments and the order of the file are not kept.
//
// The reader is a character-driven state machine, one member operation per
// state, held in a table. What it accepts is this library's own dialect and
// differs from the platform the format comes from in several deliberate ways
// (see the .cpp). Syntax errors are never reported: a bad line is skipped.
//
// The object owns its entries and has no lock: one object must not be used by
// two threads at a time. File access takes advisory whole-file record locks
// without waiting; they belong to the process, so two objects of one process
// do not exclude each other.
class ZJavaProperties : public ZObject {
 public:
  ZJavaProperties();
  ~ZJavaProperties() override;
  ZJavaProperties(const ZJavaProperties&) = delete;
  ZJavaProperties& operator=(const ZJavaProperties&) = delete;

  // Not supported: throws ZAbstractNotImplementedException.
  ZObject* clone() const override;

  // Adds the file's entries, replacing values of keys already present. A null
  // or empty path does nothing. Throws ZPropertiesIOException with "fopen(r)"
  // or, when another process write-locks the file, "fcntl()" (at once, not
  // waiting); ZUnexpectedEndOfFile when reading fails (a directory). Returns 1.
  int load(const char* path);
  // As load(path), but stops right after the entry of `key` (the entries
  // before it are kept too).
  int load(const char* path, const char* key);
  // Reads entries from an open stream; `fileName` names it in exceptions.
  void loadProperties(FILE* stream, const char* fileName);

  // Empties `result`, then copies the value of `key` into it if there is one.
  void getValue(const char* key, ZUTF8String& result) const;
  // Stores `value` (null: empty) under `key`, replacing an earlier value. A
  // null or empty key throws ZInvalidParameterException.
  void setValue(const char* key, const char* value);
  // The entries, key to value, both ZUTF8String.
  const ZHashKeyMap& getEntries() const { return entries_; }

  // Writes all entries in the key map's listing order, replacing the file.
  // Keys are written as they are; values escape "\" and ":" and write bytes
  // from 127 up as "\u" escapes, so leading blanks, line ends and characters
  // beyond U+FFFF do not read back the same. Throws ZInvalidParameterException
  // for a null or empty path, ZPropertiesIOException with "fopen(wt)",
  // "fcntl()" (another process holds a lock: the file is already emptied
  // then, deliberately) or, after which the file is removed, "fwrite()" or
  // "fclose()".
  void store(const char* path);

 private:
  typedef int (ZJavaProperties::*StateHandler)(int c);

  // One handler per state: each takes one input character and returns the
  // next state.
  int doStartLineState(int c);
  int doStartLineBlanksState(int c);
  int doCommentLineState(int c);
  int doKeyCharsState(int c);
  int doKeyCharEscapeState(int c);
  int doKeyEndBlanksFirstState(int c);
  int doKeyEndBlanksFinalState(int c);
  int doValCharsState(int c);
  int doValEscapeState(int c);
  int doMultiLineValState(int c);
  int doUU0State(int c);
  int doUU1State(int c);
  int doUU2State(int c);
  int doUU3State(int c);
  // The value of a hex digit, or -1.
  static int hexConv(int c);

  // Puts the current entry into the map; the state after it.
  int storeEntry();
  // Whether a search key is set and the current key is it.
  bool isSearchKey() const;

  StateHandler stateTable_[16];
  ZHashKeyMap entries_;
  ZUTF8String key_;
  ZUTF8String value_;
  ZUTF8String* searchKey_;
  unsigned short unicodeChar_;
};

#endif  // Z_ZJAVAPROPERTIES_H_
