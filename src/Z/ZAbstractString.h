// zbase: ZAbstractString and ZAbstractConstString, the read-only string core.
#ifndef Z_ZABSTRACTSTRING_H_
#define Z_ZABSTRACTSTRING_H_

#include "Z/zversion.h"

#include "Z/ZObject.h"

// A code-set handle of the code-set services (the code-set library's own
// handle type).
typedef struct kel_cs_rec* ZCodesetHandle;

// Read-only interface of every library string: a terminated byte sequence in
// one code set (the local code set or UTF-8), with searching, comparison and
// hashing. Lengths and positions are byte counts; a failed search yields
// notFound. Not safe to share between threads while any thread changes it.
class ZAbstractString : public ZObject {
 public:
  static const unsigned int notFound = 0xFFFFFFFFu;

  ZAbstractString();
  ZAbstractString(const ZAbstractString& other);
  ZAbstractString& operator=(const ZAbstractString&) { return *this; }
  ~ZAbstractString() override;

  // djb2 with exclusive-or over the bytes; 5381 for an empty text.
  unsigned int hash() const override;
  // Only strings of the same code set compare; any other object throws
  // ZUnsupportedException.
  int compare(const ZObject& other) const override;
  // Same length and same bytes; the code set is not looked at.
  int equals(const ZObject& other) const override;

  // Locale collation (strcoll) of the text against s.
  virtual int compare(const char* s) const;
  virtual int compareignorecase(const char* s) const;
  virtual const char* getChars() const = 0;
  virtual ZAbstractString& setChars(const ZAbstractString& other) = 0;
  virtual unsigned int getLength() const = 0;
  // Bytes in the leading run of well-formed characters (not a character count).
  virtual unsigned int getCharCount() const;
  virtual int contains(int ch) const;
  virtual int contains(const char* s) const;
  virtual unsigned int indexOf(int ch, unsigned int from = 0) const;
  virtual unsigned int indexOf(const char* s, unsigned int from = 0) const;
  virtual unsigned int indexOneOf(const char* set, unsigned int from = 0) const;
  virtual unsigned int lastIndexOf(int ch) const;
  virtual unsigned int lastIndexOf(const char* s) const;
  // A null needle gives true; an empty needle on a non-empty string gives
  // true. endsWith deliberately differs: an empty needle gives false.
  virtual int beginsWith(const char* s) const;
  virtual int endsWith(const char* s) const;
  // Plain byte equality; false for null.
  virtual int equals(const char* s) const;
  virtual int isEmpty() const;
  virtual operator const char*() const;
  virtual const char* data() const;
  virtual ZCodesetHandle getCodesetHandle() const = 0;

  int beginsWith(const ZAbstractString& s) const;
  int endsWith(const ZAbstractString& s) const;
  int beginsWithCaseIgnored(const ZAbstractString& s) const;
  int endsWithCaseIgnored(const ZAbstractString& s) const;

  // Handles of the two code sets, fetched when the first string is built.
  static ZCodesetHandle utf8_handle_;
  static ZCodesetHandle lcs_handle_;

 protected:
  // True when the text is scanned byte by byte (UTF-8, or a local code set
  // whose largest character is one byte).
  int byteMode() const;
};

// Non-owning view of a terminated byte string. The viewed bytes must outlive
// the view. A null text is viewed as the shared empty text.
class ZAbstractConstString : public ZAbstractString {
 public:
  ZAbstractConstString();
  explicit ZAbstractConstString(const char* s);
  ZAbstractConstString(const ZAbstractConstString& other);
  ZAbstractConstString& operator=(const ZAbstractConstString& other);
  ZAbstractConstString& operator=(const char* s);
  ~ZAbstractConstString() override;

  const char* getChars() const override;
  // Views the other string's bytes, but only when both are of the same code
  // set; otherwise nothing happens.
  ZAbstractConstString& setChars(const ZAbstractString& other) override;
  // Measured on first use and cached.
  unsigned int getLength() const override;

  using ZAbstractString::equals;
  int operator==(const char* s) const { return equals(s); }
  int operator!=(const char* s) const { return !equals(s); }
  using ZObject::operator==;
  using ZObject::operator!=;

  static const char zemptyString[1];

 private:
  const char* chars_;
  mutable unsigned int length_;
};

#endif  // Z_ZABSTRACTSTRING_H_
