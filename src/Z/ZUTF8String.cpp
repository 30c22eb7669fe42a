// zbase: ZUTF8String and ZUTF8ConstString, strings in UTF-8.
#include "Z/ZUTF8String.h"

#include <cstdint>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZStringIterator.h"
#include "Z/zkelutil.h"

ZUTF8String::ZUTF8String() {}
ZUTF8String::ZUTF8String(const char* s) : ZAbstractMutableString(s) {}
ZUTF8String::ZUTF8String(const char* s, unsigned int n) : ZAbstractMutableString(s, n) {}
ZUTF8String::ZUTF8String(char c) : ZAbstractMutableString(c) {}
ZUTF8String::ZUTF8String(int n) : ZAbstractMutableString(n) {}
ZUTF8String::ZUTF8String(unsigned int n) : ZAbstractMutableString(n) {}
ZUTF8String::ZUTF8String(long n) : ZAbstractMutableString(n) {}
ZUTF8String::ZUTF8String(unsigned long n) : ZAbstractMutableString(n) {}
ZUTF8String::ZUTF8String(const ZUTF8String& other) : ZAbstractMutableString(other) {}
ZUTF8String::ZUTF8String(const ZUTF8ConstString& other)
    : ZAbstractMutableString(other.getChars(), other.getLength()) {}
ZUTF8String::ZUTF8String(const ZLCString& other) { convertFromCodeSet(other); }
ZUTF8String::ZUTF8String(const ZLCConstString& other) { convertFromCodeSet(other); }
ZUTF8String::~ZUTF8String() {}

ZUTF8String& ZUTF8String::operator=(const char* s) {
  setChars(s);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(char c) {
  ZAbstractMutableString::operator=(c);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(int n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(unsigned int n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(long n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(unsigned long n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(const ZUTF8String& other) {
  ZAbstractMutableString::operator=(other);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(const ZUTF8ConstString& other) {
  ZAbstractMutableString::setChars(other);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(const ZLCString& other) {
  clear();
  convertFromCodeSet(other);
  return *this;
}
ZUTF8String& ZUTF8String::operator=(const ZLCConstString& other) {
  clear();
  convertFromCodeSet(other);
  return *this;
}

ZUTF8String& ZUTF8String::operator+=(char c) {
  append(c);
  return *this;
}
ZUTF8String& ZUTF8String::operator+=(const char* s) {
  append(s);
  return *this;
}
ZUTF8String& ZUTF8String::operator+=(const ZUTF8String& s) {
  append(s.getChars(), s.getLength());
  return *this;
}
ZUTF8String& ZUTF8String::operator+=(const ZUTF8ConstString& s) {
  append(s.getChars(), s.getLength());
  return *this;
}
ZUTF8String ZUTF8String::operator+(const char* s) const {
  ZUTF8String r(*this);
  r.append(s);
  return r;
}
ZUTF8String ZUTF8String::operator+(const ZUTF8String& s) const {
  ZUTF8String r(*this);
  r.append(s.getChars(), s.getLength());
  return r;
}
ZUTF8String ZUTF8String::operator+(const ZUTF8ConstString& s) const {
  ZUTF8String r(*this);
  r.append(s.getChars(), s.getLength());
  return r;
}

ZObject* ZUTF8String::clone() const { return new ZUTF8String(*this); }

ZCodesetHandle ZUTF8String::getCodesetHandle() const { return utf8_handle_; }

ZUTF8String& ZUTF8String::replaceAll(const char* set, char with) {
  ZAbstractMutableString::replaceAll(set, static_cast<signed char>(with));
  return *this;
}

// Each character of set (multibyte characters whole) has its occurrences
// replaced in turn, so text put in by one may be replaced by a later one.
// set and with are copied first: either may point into this string's text,
// which the replacements change.
ZUTF8String& ZUTF8String::replaceAll(const char* set, const char* with) {
  const ZUTF8String chars(set), text(with);
  ZUTF8String element;
  ZStringIterator it(chars, element);
  replaceAllOf(it, text.getChars());
  return *this;
}

// Walks a copy of the text, since the replacements change the text itself;
// set and with are copied for the same reason.
ZUTF8String& ZUTF8String::replaceOther(const char* set, const char* with) {
  const ZUTF8String chars(*this), keep(set), text(with);
  ZUTF8String element;
  ZStringIterator it(chars, element);
  replaceNoneOf(it, set != nullptr ? keep.getChars() : nullptr, text.getChars());
  return *this;
}

int ZUTF8String::compare(const ZUTF8String& s) const {
  return ZAbstractString::compare(s.getChars());
}
int ZUTF8String::compare(const ZUTF8ConstString& s) const {
  return ZAbstractString::compare(s.getChars());
}
int ZUTF8String::compareignorecase(const ZUTF8String& s) const {
  return compareignorecase(s.getChars());
}
int ZUTF8String::compareignorecase(const ZUTF8ConstString& s) const {
  return compareignorecase(s.getChars());
}

int ZUTF8String::operator==(const ZUTF8String& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZUTF8String::operator!=(const ZUTF8String& s) const {
  return !equals(static_cast<const ZObject&>(s));
}
int ZUTF8String::operator==(const ZUTF8ConstString& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZUTF8String::operator!=(const ZUTF8ConstString& s) const {
  return !equals(static_cast<const ZObject&>(s));
}

ZUTF8String ZUTF8String::subString(unsigned int start) const {
  unsigned int n = getLength();
  unsigned int s = start < n ? start : n;
  return ZUTF8String(getChars() + s, n - s);
}

ZUTF8String ZUTF8String::subString(unsigned int start, unsigned int count) const {
  unsigned int n = getLength();
  unsigned int s = start < n ? start : n;
  unsigned int c = static_cast<std::uint64_t>(s) + count > n ? n - s : count;
  return ZUTF8String(getChars() + s, c);
}

ZUTF8ConstString::ZUTF8ConstString() {}
ZUTF8ConstString::ZUTF8ConstString(const char* s) : ZAbstractConstString(s) {}
ZUTF8ConstString::ZUTF8ConstString(const ZUTF8ConstString& other) : ZAbstractConstString(other) {}
ZUTF8ConstString::ZUTF8ConstString(const ZUTF8String& other)
    : ZAbstractConstString(other.getChars()) {}
ZUTF8ConstString::~ZUTF8ConstString() {}

ZUTF8ConstString& ZUTF8ConstString::operator=(const char* s) {
  ZAbstractConstString::operator=(s);
  return *this;
}
ZUTF8ConstString& ZUTF8ConstString::operator=(const ZUTF8ConstString& other) {
  ZAbstractConstString::operator=(other);
  return *this;
}
ZUTF8ConstString& ZUTF8ConstString::operator=(const ZUTF8String& other) {
  ZAbstractConstString::operator=(other.getChars());
  return *this;
}

ZObject* ZUTF8ConstString::clone() const { return new ZUTF8ConstString(*this); }

ZCodesetHandle ZUTF8ConstString::getCodesetHandle() const { return utf8_handle_; }

int ZUTF8ConstString::compare(const ZUTF8String& s) const {
  return ZAbstractString::compare(s.getChars());
}
int ZUTF8ConstString::compare(const ZUTF8ConstString& s) const {
  return ZAbstractString::compare(s.getChars());
}
int ZUTF8ConstString::compareignorecase(const ZUTF8String& s) const {
  return compareignorecase(s.getChars());
}
int ZUTF8ConstString::compareignorecase(const ZUTF8ConstString& s) const {
  return compareignorecase(s.getChars());
}

int ZUTF8ConstString::operator==(const ZUTF8String& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZUTF8ConstString::operator!=(const ZUTF8String& s) const {
  return !equals(static_cast<const ZObject&>(s));
}
int ZUTF8ConstString::operator==(const ZUTF8ConstString& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZUTF8ConstString::operator!=(const ZUTF8ConstString& s) const {
  return !equals(static_cast<const ZObject&>(s));
}

ZUTF8String& ZUTF8String::replace(char from, char to) {
  if (static_cast<unsigned char>(from) & 0x80) {
    ZInvalidParameterException().throwException("src/Z/ZUTF8String", 299);
  }
  // Bytes are overwritten in place; a terminator as to leaves the length as
  // it was. Kept that way on purpose.
  char* p = mutableChars();
  for (unsigned int i = 0, n = getLength(); i < n; ++i) {
    if (p[i] == from) p[i] = to;
  }
  return *this;
}

ZUTF8String& ZUTF8String::replace(const char* from, const char* to) {
  ZAbstractMutableString::replace(from, to);
  return *this;
}

namespace {

// ASCII letters are mapped here; the code-set services only see the text
// from the first non-ASCII byte on.
template <char kFirst, char kLast, int kShift>
char* mapAscii(char* p) {
  for (; *p != '\0' && !(static_cast<unsigned char>(*p) & 0x80); ++p) {
    if (*p >= kFirst && *p <= kLast) *p = static_cast<char>(*p + kShift);
  }
  return p;
}

}  // namespace

ZUTF8String& ZUTF8String::lower() {
  if (getLength() == 0) return *this;
  char* rest = mapAscii<'A', 'Z', 'a' - 'A'>(mutableChars());
  if (*rest != '\0') zstrlower(utf8_handle_, rest);
  return *this;
}

ZUTF8String& ZUTF8String::upper() {
  if (getLength() == 0) return *this;
  char* rest = mapAscii<'a', 'z', 'A' - 'a'>(mutableChars());
  if (*rest != '\0') zstrupper(utf8_handle_, rest);
  return *this;
}
