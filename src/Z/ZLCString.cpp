// zbase: ZLCString and ZLCConstString, strings in the local code set of the process.
#include "Z/ZLCString.h"

#include <cstdint>

#include "Z/ZException.h"
#include "Z/ZStringIterator.h"
#include "Z/ZUTF8String.h"
#include "Z/zkelutil.h"

ZLCString::ZLCString() {}
ZLCString::ZLCString(const char* s) : ZAbstractMutableString(s) {}
ZLCString::ZLCString(const char* s, unsigned int n) : ZAbstractMutableString(s, n) {}
ZLCString::ZLCString(char c) : ZAbstractMutableString(c) {}
ZLCString::ZLCString(int n) : ZAbstractMutableString(n) {}
ZLCString::ZLCString(unsigned int n) : ZAbstractMutableString(n) {}
ZLCString::ZLCString(long n) : ZAbstractMutableString(n) {}
ZLCString::ZLCString(unsigned long n) : ZAbstractMutableString(n) {}
ZLCString::ZLCString(const ZLCString& other) : ZAbstractMutableString(other) {}
ZLCString::ZLCString(const ZLCConstString& other)
    : ZAbstractMutableString(other.getChars(), other.getLength()) {}
ZLCString::ZLCString(const ZUTF8String& other) { convertFromCodeSet(other); }
ZLCString::ZLCString(const ZUTF8ConstString& other) { convertFromCodeSet(other); }
ZLCString::~ZLCString() {}

ZLCString& ZLCString::operator=(const char* s) {
  setChars(s);
  return *this;
}
ZLCString& ZLCString::operator=(char c) {
  ZAbstractMutableString::operator=(c);
  return *this;
}
ZLCString& ZLCString::operator=(int n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZLCString& ZLCString::operator=(unsigned int n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZLCString& ZLCString::operator=(long n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZLCString& ZLCString::operator=(unsigned long n) {
  ZAbstractMutableString::operator=(n);
  return *this;
}
ZLCString& ZLCString::operator=(const ZLCString& other) {
  ZAbstractMutableString::operator=(other);
  return *this;
}
ZLCString& ZLCString::operator=(const ZLCConstString& other) {
  ZAbstractMutableString::setChars(other);
  return *this;
}
ZLCString& ZLCString::operator=(const ZUTF8String& other) {
  clear();
  convertFromCodeSet(other);
  return *this;
}
ZLCString& ZLCString::operator=(const ZUTF8ConstString& other) {
  clear();
  convertFromCodeSet(other);
  return *this;
}

ZLCString& ZLCString::operator+=(char c) {
  append(c);
  return *this;
}
ZLCString& ZLCString::operator+=(const char* s) {
  append(s);
  return *this;
}
ZLCString& ZLCString::operator+=(const ZLCString& s) {
  append(s.getChars(), s.getLength());
  return *this;
}
ZLCString& ZLCString::operator+=(const ZLCConstString& s) {
  append(s.getChars(), s.getLength());
  return *this;
}
ZLCString ZLCString::operator+(const char* s) const {
  ZLCString r(*this);
  r.append(s);
  return r;
}
ZLCString ZLCString::operator+(const ZLCString& s) const {
  ZLCString r(*this);
  r.append(s.getChars(), s.getLength());
  return r;
}
ZLCString ZLCString::operator+(const ZLCConstString& s) const {
  ZLCString r(*this);
  r.append(s.getChars(), s.getLength());
  return r;
}

ZObject* ZLCString::clone() const { return new ZLCString(*this); }

ZCodesetHandle ZLCString::getCodesetHandle() const { return lcs_handle_; }

ZLCString& ZLCString::replaceAll(const char* set, char with) {
  ZAbstractMutableString::replaceAll(set, static_cast<signed char>(with));
  return *this;
}

// Each character of set (multibyte characters whole) has its occurrences
// replaced in turn, so text put in by one may be replaced by a later one.
// set and with are copied first: either may point into this string's text,
// which the replacements change.
ZLCString& ZLCString::replaceAll(const char* set, const char* with) {
  const ZLCString chars(set), text(with);
  ZLCString element;
  ZStringIterator it(chars, element);
  replaceAllOf(it, text.getChars());
  return *this;
}

// Walks a copy of the text, since the replacements change the text itself;
// set and with are copied for the same reason.
ZLCString& ZLCString::replaceOther(const char* set, const char* with) {
  const ZLCString chars(*this), keep(set), text(with);
  ZLCString element;
  ZStringIterator it(chars, element);
  replaceNoneOf(it, set != nullptr ? keep.getChars() : nullptr, text.getChars());
  return *this;
}

int ZLCString::compare(const ZLCString& s) const { return ZAbstractString::compare(s.getChars()); }
int ZLCString::compare(const ZLCConstString& s) const {
  return ZAbstractString::compare(s.getChars());
}
int ZLCString::compareignorecase(const ZLCString& s) const {
  return compareignorecase(s.getChars());
}
int ZLCString::compareignorecase(const ZLCConstString& s) const {
  return compareignorecase(s.getChars());
}

int ZLCString::operator==(const ZLCString& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZLCString::operator!=(const ZLCString& s) const {
  return !equals(static_cast<const ZObject&>(s));
}
int ZLCString::operator==(const ZLCConstString& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZLCString::operator!=(const ZLCConstString& s) const {
  return !equals(static_cast<const ZObject&>(s));
}

ZLCString ZLCString::subString(unsigned int start) const {
  unsigned int n = getLength();
  unsigned int s = start < n ? start : n;
  return ZLCString(getChars() + s, n - s);
}

ZLCString ZLCString::subString(unsigned int start, unsigned int count) const {
  unsigned int n = getLength();
  unsigned int s = start < n ? start : n;
  unsigned int c = static_cast<std::uint64_t>(s) + count > n ? n - s : count;
  return ZLCString(getChars() + s, c);
}

ZLCConstString::ZLCConstString() {}
ZLCConstString::ZLCConstString(const char* s) : ZAbstractConstString(s) {}
ZLCConstString::ZLCConstString(const ZLCConstString& other) : ZAbstractConstString(other) {}
ZLCConstString::ZLCConstString(const ZLCString& other) : ZAbstractConstString(other.getChars()) {}
ZLCConstString::~ZLCConstString() {}

ZLCConstString& ZLCConstString::operator=(const char* s) {
  ZAbstractConstString::operator=(s);
  return *this;
}
ZLCConstString& ZLCConstString::operator=(const ZLCConstString& other) {
  ZAbstractConstString::operator=(other);
  return *this;
}
ZLCConstString& ZLCConstString::operator=(const ZLCString& other) {
  ZAbstractConstString::operator=(other.getChars());
  return *this;
}

ZObject* ZLCConstString::clone() const { return new ZLCConstString(*this); }

ZCodesetHandle ZLCConstString::getCodesetHandle() const { return lcs_handle_; }

int ZLCConstString::compare(const ZLCString& s) const {
  return ZAbstractString::compare(s.getChars());
}
int ZLCConstString::compare(const ZLCConstString& s) const {
  return ZAbstractString::compare(s.getChars());
}
int ZLCConstString::compareignorecase(const ZLCString& s) const {
  return compareignorecase(s.getChars());
}
int ZLCConstString::compareignorecase(const ZLCConstString& s) const {
  return compareignorecase(s.getChars());
}

int ZLCConstString::operator==(const ZLCString& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZLCConstString::operator!=(const ZLCString& s) const {
  return !equals(static_cast<const ZObject&>(s));
}
int ZLCConstString::operator==(const ZLCConstString& s) const {
  return equals(static_cast<const ZObject&>(s));
}
int ZLCConstString::operator!=(const ZLCConstString& s) const {
  return !equals(static_cast<const ZObject&>(s));
}
