// zbase: ZUTF8String and ZUTF8ConstString, strings in UTF-8.
#include "Z/ZUTF8String.h"

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/zkelutil.h"

#define ZSTR ZUTF8String
#define ZSTR_CONST ZUTF8ConstString
#define ZSTR_OTHER ZLCString
#define ZSTR_OTHER_CONST ZLCConstString
#define ZSTR_HANDLE utf8_handle_
#include "Z/zstringfamily.inc"

ZUTF8String& ZUTF8String::replace(char from, char to) {
  if (static_cast<unsigned char>(from) & 0x80) {
    ZInvalidParameterException().throwException("src/Z/ZUTF8String", 299);
  }
  // Bytes are overwritten in place; a terminator as to leaves the length as
  // it was (deliberate).
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
