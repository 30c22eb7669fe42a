// zbase: ZUTF8String and ZUTF8ConstString, strings in UTF-8.
#ifndef Z_ZUTF8STRING_H_
#define Z_ZUTF8STRING_H_

#include "Z/zversion.h"

#include "Z/ZAbstractMutableString.h"

class ZUTF8ConstString;
class ZLCString;
class ZLCConstString;

// Owning string whose bytes are in UTF-8. Built or assigned from a
// ZLCString (or its const view), it converts at once; it never keeps an
// unconverted source. Not safe to share between threads.
class ZUTF8String : public ZAbstractMutableString {
 public:
  ZUTF8String();
  ZUTF8String(const char* s);
  ZUTF8String(const char* s, unsigned int n);
  ZUTF8String(char c);
  ZUTF8String(int n);
  ZUTF8String(unsigned int n);
  ZUTF8String(long n);
  ZUTF8String(unsigned long n);
  ZUTF8String(const ZUTF8String& other);
  ZUTF8String(const ZUTF8ConstString& other);
  ZUTF8String(const ZLCString& other);
  ZUTF8String(const ZLCConstString& other);
  ~ZUTF8String() override;

  ZUTF8String& operator=(const char* s);
  ZUTF8String& operator=(char c);
  ZUTF8String& operator=(int n);
  ZUTF8String& operator=(unsigned int n);
  ZUTF8String& operator=(long n);
  ZUTF8String& operator=(unsigned long n);
  ZUTF8String& operator=(const ZUTF8String& other);
  ZUTF8String& operator=(const ZUTF8ConstString& other);
  // Empties this string, then converts other into it.
  ZUTF8String& operator=(const ZLCString& other);
  ZUTF8String& operator=(const ZLCConstString& other);

  ZUTF8String& operator+=(char c);
  ZUTF8String& operator+=(const char* s);
  ZUTF8String& operator+=(const ZUTF8String& s);
  ZUTF8String& operator+=(const ZUTF8ConstString& s);
  ZUTF8String operator+(const char* s) const;
  ZUTF8String operator+(const ZUTF8String& s) const;
  ZUTF8String operator+(const ZUTF8ConstString& s) const;

  ZObject* clone() const override;
  ZCodesetHandle getCodesetHandle() const override;

  // Rejects a non-ASCII from with ZInvalidParameterException. Overwrites
  // bytes in place: a terminator as to does not shorten the length (kept).
  ZUTF8String& replace(char from, char to) override;
  ZUTF8String& replace(const char* from, const char* to) override;

  // Every character of this string found in set becomes the text with.
  ZUTF8String& replaceAll(const char* set, const char* with) override;
  // Every character of this string not found in set becomes the text with.
  ZUTF8String& replaceOther(const char* set, const char* with) override;
  // The base operation; with is passed on as a signed byte.
  ZUTF8String& replaceAll(const char* set, char with) override;

  // ASCII letters byte by byte up to the first non-ASCII byte; the rest
  // goes through the code-set services.
  ZUTF8String& lower();
  ZUTF8String& upper();

  using ZAbstractString::compare;
  using ZAbstractString::compareignorecase;
  int compare(const ZUTF8String& s) const;
  int compare(const ZUTF8ConstString& s) const;
  int compareignorecase(const ZUTF8String& s) const;
  int compareignorecase(const ZUTF8ConstString& s) const;

  using ZObject::operator==;
  using ZObject::operator!=;
  int operator==(const char* s) const { return equals(s); }
  int operator!=(const char* s) const { return !equals(s); }
  int operator==(const ZUTF8String& s) const;
  int operator!=(const ZUTF8String& s) const;
  int operator==(const ZUTF8ConstString& s) const;
  int operator!=(const ZUTF8ConstString& s) const;

  // Bytes from min(start, length) to the end.
  ZUTF8String subString(unsigned int start) const;
  // At most count bytes from min(start, length). Positions are bytes.
  ZUTF8String subString(unsigned int start, unsigned int count) const;
};

// Non-owning view of bytes in UTF-8; the bytes must outlive the view.
// Never built from the other code set's strings.
class ZUTF8ConstString : public ZAbstractConstString {
 public:
  ZUTF8ConstString();
  ZUTF8ConstString(const char* s);
  ZUTF8ConstString(const ZUTF8ConstString& other);
  // Views other's bytes; other must outlive the view and stay unchanged.
  ZUTF8ConstString(const ZUTF8String& other);
  ~ZUTF8ConstString() override;

  ZUTF8ConstString& operator=(const char* s);
  ZUTF8ConstString& operator=(const ZUTF8ConstString& other);
  ZUTF8ConstString& operator=(const ZUTF8String& other);

  // A new view of the same bytes.
  ZObject* clone() const override;
  ZCodesetHandle getCodesetHandle() const override;

  using ZAbstractString::compare;
  using ZAbstractString::compareignorecase;
  int compare(const ZUTF8String& s) const;
  int compare(const ZUTF8ConstString& s) const;
  int compareignorecase(const ZUTF8String& s) const;
  int compareignorecase(const ZUTF8ConstString& s) const;

  using ZObject::operator==;
  using ZObject::operator!=;
  int operator==(const char* s) const { return equals(s); }
  int operator!=(const char* s) const { return !equals(s); }
  int operator==(const ZUTF8String& s) const;
  int operator!=(const ZUTF8String& s) const;
  int operator==(const ZUTF8ConstString& s) const;
  int operator!=(const ZUTF8ConstString& s) const;
};

#endif  // Z_ZUTF8STRING_H_
