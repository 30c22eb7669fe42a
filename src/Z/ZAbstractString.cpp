// zbase: ZAbstractString and ZAbstractConstString, the read-only string core.
#include "Z/ZAbstractString.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "Z/ZException.h"
#include "Z/zkelutil.h"

const unsigned int ZAbstractString::notFound;
ZCodesetHandle ZAbstractString::utf8_handle_ = nullptr;
ZCodesetHandle ZAbstractString::lcs_handle_ = nullptr;
const char ZAbstractConstString::zemptyString[1] = {'\0'};

namespace {

std::once_flag handles_once;
std::atomic<bool> handles_fetched(false);

void fetchHandles() {
  if (handles_fetched.load(std::memory_order_acquire)) return;
  ZCodesetHandle utf8 = zgetUTF8Handle();
  ZCodesetHandle lcs = zgetLCSHandle();
  // Null only for a string built while a failed set-up is being reported
  // (the exception's own strings); that string works byte by byte, and the
  // handles stay unfetched.
  if (utf8 == nullptr || lcs == nullptr) return;
  std::call_once(handles_once, [utf8, lcs] {
    ZAbstractString::utf8_handle_ = utf8;
    ZAbstractString::lcs_handle_ = lcs;
    handles_fetched.store(true, std::memory_order_release);
  });
}

}  // namespace

ZAbstractString::ZAbstractString() { fetchHandles(); }

ZAbstractString::ZAbstractString(const ZAbstractString& other) : ZObject(other) {}

ZAbstractString::~ZAbstractString() {}

int ZAbstractString::byteMode() const {
  ZCodesetHandle h = getCodesetHandle();
  if (h == utf8_handle_) return 1;
  return h == lcs_handle_ && MB_CUR_MAX == 1;
}

unsigned int ZAbstractString::hash() const {
  unsigned int h = 5381;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(getChars()); *p; ++p) {
    h = (h * 33) ^ *p;
  }
  return h;
}

int ZAbstractString::compare(const ZObject& other) const {
  const ZAbstractString* s = dynamic_cast<const ZAbstractString*>(&other);
  if (s == nullptr || s->getCodesetHandle() != getCodesetHandle()) {
    ZUnsupportedException().throwException("src/Z/ZAbstractString", 68);
  }
  return compare(s->getChars());
}

int ZAbstractString::equals(const ZObject& other) const {
  const ZAbstractString* s = dynamic_cast<const ZAbstractString*>(&other);
  if (s == nullptr) return 0;
  unsigned int n = getLength();
  return n == s->getLength() && std::memcmp(getChars(), s->getChars(), n) == 0;
}

int ZAbstractString::compare(const char* s) const {
  return std::strcoll(getChars(), s != nullptr ? s : "");
}

int ZAbstractString::compareignorecase(const char* s) const {
  return zstricmp(getCodesetHandle(), getChars(), s != nullptr ? s : "");
}

unsigned int ZAbstractString::getCharCount() const {
  return static_cast<unsigned int>(zstrcount(getCodesetHandle(), getChars()));
}

int ZAbstractString::contains(int ch) const { return indexOf(ch, 0) != notFound; }

int ZAbstractString::contains(const char* s) const {
  return s != nullptr && indexOf(s, 0) != notFound;
}

unsigned int ZAbstractString::indexOf(int ch, unsigned int from) const {
  unsigned int n = getLength();
  if (from > n) from = n;
  const char* text = getChars();
  const char* p = std::strchr(text + from, ch);
  return p == nullptr ? notFound : static_cast<unsigned int>(p - text);
}

unsigned int ZAbstractString::indexOf(const char* s, unsigned int from) const {
  if (s == nullptr) return notFound;
  unsigned int n = getLength();
  if (from > n) from = n;
  const char* text = getChars();
  const char* p =
      byteMode() ? std::strstr(text + from, s) : zstrstr(getCodesetHandle(), text + from, s);
  return p == nullptr ? notFound : static_cast<unsigned int>(p - text);
}

unsigned int ZAbstractString::indexOneOf(const char* set, unsigned int from) const {
  if (set == nullptr) return notFound;
  unsigned int n = getLength();
  if (from > n) from = n;
  const char* text = getChars();
  const char* p = std::strpbrk(text + from, set);
  return p == nullptr ? notFound : static_cast<unsigned int>(p - text);
}

unsigned int ZAbstractString::lastIndexOf(int ch) const {
  char needle[2] = {static_cast<char>(ch), '\0'};
  if (needle[0] == '\0') return getLength();
  return lastIndexOf(needle);
}

unsigned int ZAbstractString::lastIndexOf(const char* s) const {
  if (s == nullptr) return notFound;
  const char* text = getChars();
  unsigned int n = getLength();
  std::size_t m = std::strlen(s);
  if (m > n) return notFound;
  if (byteMode()) {
    for (unsigned int i = static_cast<unsigned int>(n - m) + 1; i-- > 0;) {
      if (std::memcmp(text + i, s, m) == 0) return i;
    }
    return notFound;
  }
  // Multibyte local code set: only character boundaries may start a match.
  ZCodesetHandle h = getCodesetHandle();
  unsigned int found = m == 0 ? n : notFound;
  unsigned int pos = 0;
  while (pos < n) {
    if (m != 0 && n - pos >= m && std::memcmp(text + pos, s, m) == 0) found = pos;
    int len = zmblen(h, text + pos, n - pos);
    if (len < 1) ZKELMBLenException().throwException("src/Z/ZAbstractString", 303);
    pos += static_cast<unsigned int>(len);
  }
  return found;
}

int ZAbstractString::beginsWith(const char* s) const {
  if (s == nullptr) return 1;
  if (getLength() == 0) return 0;
  return std::strncmp(getChars(), s, std::strlen(s)) == 0;
}

int ZAbstractString::endsWith(const char* s) const {
  if (s == nullptr) return 1;
  std::size_t m = std::strlen(s);
  unsigned int n = getLength();
  if (m == 0 || m > n) return 0;
  return std::memcmp(getChars() + (n - m), s, m) == 0;
}

int ZAbstractString::equals(const char* s) const {
  return s != nullptr && std::strcmp(getChars(), s) == 0;
}

int ZAbstractString::isEmpty() const { return getLength() == 0; }

ZAbstractString::operator const char*() const { return getChars(); }

const char* ZAbstractString::data() const { return getChars(); }

int ZAbstractString::beginsWith(const ZAbstractString& s) const { return beginsWith(s.getChars()); }

int ZAbstractString::endsWith(const ZAbstractString& s) const { return endsWith(s.getChars()); }

int ZAbstractString::beginsWithCaseIgnored(const ZAbstractString& s) const {
  unsigned int m = s.getLength();
  if (getLength() == 0 || m == 0) return 0;
  return zstrnicmp(getCodesetHandle(), getChars(), s.getChars(), m) == 0;
}

int ZAbstractString::endsWithCaseIgnored(const ZAbstractString& s) const {
  unsigned int n = getLength();
  unsigned int m = s.getLength();
  if (n == 0 || m == 0 || m > n) return 0;
  return zstrnicmp(getCodesetHandle(), getChars() + (n - m), s.getChars(), m) == 0;
}

ZAbstractConstString::ZAbstractConstString() : chars_(zemptyString), length_(0) {}

ZAbstractConstString::ZAbstractConstString(const char* s)
    : chars_(s != nullptr ? s : zemptyString), length_(0) {}

ZAbstractConstString::ZAbstractConstString(const ZAbstractConstString& other)
    : ZAbstractString(other), chars_(other.chars_), length_(other.length_) {}

ZAbstractConstString& ZAbstractConstString::operator=(const ZAbstractConstString& other) {
  chars_ = other.chars_;
  length_ = other.length_;
  return *this;
}

ZAbstractConstString& ZAbstractConstString::operator=(const char* s) {
  chars_ = s != nullptr ? s : zemptyString;
  length_ = 0;
  return *this;
}

ZAbstractConstString::~ZAbstractConstString() {}

const char* ZAbstractConstString::getChars() const { return chars_; }

ZAbstractConstString& ZAbstractConstString::setChars(const ZAbstractString& other) {
  if (other.getCodesetHandle() == getCodesetHandle()) {
    chars_ = other.getChars();
    length_ = 0;
  }
  return *this;
}

unsigned int ZAbstractConstString::getLength() const {
  if (length_ == 0) length_ = static_cast<unsigned int>(std::strlen(chars_));
  return length_;
}
