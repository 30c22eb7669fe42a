// zbase: ZAbstractMutableString, the owning, growable string core.
#ifndef Z_ZABSTRACTMUTABLESTRING_H_
#define Z_ZABSTRACTMUTABLESTRING_H_

#include "Z/zversion.h"

#include <iosfwd>

#include "Z/ZAbstractString.h"

class ZStringIterator;

// Owns its bytes: a built-in buffer of 95 characters and the terminator, and
// a heap block once the text outgrows it. Growth to a length beyond the
// capacity adds a fifth of the need (see bump). Every editing operation
// returns the string itself. Not safe to share between threads.
class ZAbstractMutableString : public ZAbstractString {
 public:
  ZAbstractMutableString();
  ZAbstractMutableString(const char* s);
  // Copies exactly n bytes and terminates.
  ZAbstractMutableString(const char* s, unsigned int n);
  ZAbstractMutableString(char c);
  ZAbstractMutableString(int n);
  ZAbstractMutableString(unsigned int n);
  ZAbstractMutableString(long n);
  ZAbstractMutableString(unsigned long n);
  ZAbstractMutableString(const ZAbstractMutableString& other);
  ~ZAbstractMutableString() override;

  ZAbstractMutableString& operator=(const ZAbstractMutableString& other);
  ZAbstractMutableString& operator=(const char* s);
  ZAbstractMutableString& operator=(char c);
  ZAbstractMutableString& operator=(int n);
  ZAbstractMutableString& operator=(unsigned int n);
  ZAbstractMutableString& operator=(long n);
  ZAbstractMutableString& operator=(unsigned long n);

  const char* getChars() const override;
  // Replaces the text by the other string's bytes (no conversion).
  ZAbstractMutableString& setChars(const ZAbstractString& other) override;
  unsigned int getLength() const override;

  // Each byte of the text found in set becomes with; a terminator byte as
  // with drops the byte. A null set changes nothing.
  virtual ZAbstractMutableString& replaceAll(const char* set, char with);
  // Each from becomes to; a terminator byte as to removes the byte.
  virtual ZAbstractMutableString& replace(char from, char to);
  // Every non-overlapping occurrence of from (not empty) becomes to (not null).
  virtual ZAbstractMutableString& replace(const char* from, const char* to);
  virtual ZAbstractMutableString& replaceAll(const char* set, const char* with) = 0;
  virtual ZAbstractMutableString& replaceOther(const char* set, const char* with) = 0;
  virtual ZAbstractMutableString& stripLeading();
  virtual ZAbstractMutableString& stripLeading(char c);
  // In byte mode the first byte is never examined, so a one-byte text never
  // changes and an all-white text keeps its first byte. Deliberate.
  virtual ZAbstractMutableString& stripTrailing();
  virtual ZAbstractMutableString& stripTrailing(char c);
  // Converts source (of the other code set) into this string's code set. An
  // empty source leaves the old text; a failed conversion leaves it empty.
  virtual ZAbstractMutableString& convertFromCodeSet(const ZAbstractString& source);

  // Capacity of the built-in buffer.
  static unsigned int getDefaultLength() { return 95; }

  ZAbstractMutableString& clear();
  unsigned int getCapacity() const { return capacity_; }
  // Exact growth to at least n; returns the capacity.
  unsigned int setCapacity(unsigned int n);
  ZAbstractMutableString& setChars(const char* s);

  ZAbstractMutableString& append(const char* s);
  ZAbstractMutableString& append(const char* s, unsigned int n);
  ZAbstractMutableString& append(char c);
  ZAbstractMutableString& operator+=(const char* s) { return append(s); }
  ZAbstractMutableString& operator+=(char c) { return append(c); }
  ZAbstractMutableString& operator+=(const ZAbstractString& s);
  ZAbstractMutableString& prepend(const char* s);
  ZAbstractMutableString& prepend(const char* s, unsigned int n);
  // pos must not exceed the length; pos equal to the length appends.
  ZAbstractMutableString& insert(unsigned int pos, const char* s);
  // A count of 0 cuts the text at pos; a range beyond the end does nothing.
  ZAbstractMutableString& remove(unsigned int pos, unsigned int count);
  ZAbstractMutableString& trunc(unsigned int n);
  ZAbstractMutableString& lower();
  ZAbstractMutableString& upper();
  ZAbstractMutableString& stripWhiteSpace();

  // Replacements driven by a string iterator: each element's occurrences
  // are replaced in turn (replaceNoneOf: only elements not found in set).
  ZAbstractMutableString& replaceAllOf(ZStringIterator& it, const char* with);
  ZAbstractMutableString& replaceNoneOf(ZStringIterator& it, const char* set, const char* with);

  // Replaces the text by fmt formatted with the library's own engine
  // (positional arguments, "%S" wide strings; see zsnprintf.h). When the
  // engine fails (bad format, "%n", ...) the text is left as it was.
  ZAbstractMutableString& format(const char* fmt, ...);

  // Reads one line: up to a line feed, carriage return or zero byte, which
  // is consumed and not stored. With skipWhite the stream's skip-white-space
  // flag is set and stays set afterwards.
  std::istream& readLine(std::istream& in, int skipWhite);

  using ZAbstractString::equals;
  int operator==(const char* s) const { return equals(s); }
  int operator!=(const char* s) const { return !equals(s); }
  using ZObject::operator==;
  using ZObject::operator!=;

 protected:
  void init();
  // The buffer itself, for subclasses that edit bytes in place.
  char* mutableChars() { return chars_; }
  // Makes room for need bytes (see the growth rule in the .cpp).
  void bump(unsigned int need, int exact);
  // True when s points into this string's own buffer.
  bool ownsBytes(const char* s) const;

 private:
  char* chars_;
  unsigned int length_;
  unsigned int capacity_;
  char buffer_[96];
};

#endif  // Z_ZABSTRACTMUTABLESTRING_H_
