// zbase: ZLCString and ZLCConstString, strings in the local code set of the process.
#ifndef Z_ZLCSTRING_H_
#define Z_ZLCSTRING_H_

#include "Z/zversion.h"

#include "Z/ZAbstractMutableString.h"

class ZLCConstString;
class ZUTF8String;
class ZUTF8ConstString;

// Owning string whose bytes are in the local code set of the process. Built or assigned from a
// ZUTF8String (or its const view), it converts at once; it never keeps an
// unconverted source. Not safe to share between threads.
class ZLCString : public ZAbstractMutableString {
 public:
  ZLCString();
  ZLCString(const char* s);
  ZLCString(const char* s, unsigned int n);
  ZLCString(char c);
  ZLCString(int n);
  ZLCString(unsigned int n);
  ZLCString(long n);
  ZLCString(unsigned long n);
  ZLCString(const ZLCString& other);
  ZLCString(const ZLCConstString& other);
  ZLCString(const ZUTF8String& other);
  ZLCString(const ZUTF8ConstString& other);
  ~ZLCString() override;

  ZLCString& operator=(const char* s);
  ZLCString& operator=(char c);
  ZLCString& operator=(int n);
  ZLCString& operator=(unsigned int n);
  ZLCString& operator=(long n);
  ZLCString& operator=(unsigned long n);
  ZLCString& operator=(const ZLCString& other);
  ZLCString& operator=(const ZLCConstString& other);
  // Empties this string, then converts other into it.
  ZLCString& operator=(const ZUTF8String& other);
  ZLCString& operator=(const ZUTF8ConstString& other);

  ZLCString& operator+=(char c);
  ZLCString& operator+=(const char* s);
  ZLCString& operator+=(const ZLCString& s);
  ZLCString& operator+=(const ZLCConstString& s);
  ZLCString operator+(const char* s) const;
  ZLCString operator+(const ZLCString& s) const;
  ZLCString operator+(const ZLCConstString& s) const;

  ZObject* clone() const override;
  ZCodesetHandle getCodesetHandle() const override;

  // Every character of this string found in set becomes the text with.
  ZLCString& replaceAll(const char* set, const char* with) override;
  // Every character of this string not found in set becomes the text with.
  ZLCString& replaceOther(const char* set, const char* with) override;
  // The base operation; with is passed on as a signed byte.
  ZLCString& replaceAll(const char* set, char with) override;

  using ZAbstractString::compare;
  using ZAbstractString::compareignorecase;
  int compare(const ZLCString& s) const;
  int compare(const ZLCConstString& s) const;
  int compareignorecase(const ZLCString& s) const;
  int compareignorecase(const ZLCConstString& s) const;

  using ZObject::operator==;
  using ZObject::operator!=;
  int operator==(const char* s) const { return equals(s); }
  int operator!=(const char* s) const { return !equals(s); }
  int operator==(const ZLCString& s) const;
  int operator!=(const ZLCString& s) const;
  int operator==(const ZLCConstString& s) const;
  int operator!=(const ZLCConstString& s) const;

  // Bytes from min(start, length) to the end.
  ZLCString subString(unsigned int start) const;
  // At most count bytes from min(start, length). Positions are bytes.
  ZLCString subString(unsigned int start, unsigned int count) const;
};

// Non-owning view of bytes in the local code set of the process; the bytes must outlive the view.
// Never built from the other code set's strings.
class ZLCConstString : public ZAbstractConstString {
 public:
  ZLCConstString();
  ZLCConstString(const char* s);
  ZLCConstString(const ZLCConstString& other);
  // Views other's bytes; other must outlive the view and stay unchanged.
  ZLCConstString(const ZLCString& other);
  ~ZLCConstString() override;

  ZLCConstString& operator=(const char* s);
  ZLCConstString& operator=(const ZLCConstString& other);
  ZLCConstString& operator=(const ZLCString& other);

  // A new view of the same bytes.
  ZObject* clone() const override;
  ZCodesetHandle getCodesetHandle() const override;

  using ZAbstractString::compare;
  using ZAbstractString::compareignorecase;
  int compare(const ZLCString& s) const;
  int compare(const ZLCConstString& s) const;
  int compareignorecase(const ZLCString& s) const;
  int compareignorecase(const ZLCConstString& s) const;

  using ZObject::operator==;
  using ZObject::operator!=;
  int operator==(const char* s) const { return equals(s); }
  int operator!=(const char* s) const { return !equals(s); }
  int operator==(const ZLCString& s) const;
  int operator!=(const ZLCString& s) const;
  int operator==(const ZLCConstString& s) const;
  int operator!=(const ZLCConstString& s) const;
};

#endif  // Z_ZLCSTRING_H_
