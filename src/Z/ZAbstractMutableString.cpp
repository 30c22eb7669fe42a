// zbase: ZAbstractMutableString, the owning, growable string core.
#include "Z/ZAbstractMutableString.h"

#include <cctype>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <string>

#include "Z/ZException.h"
#include "Z/ZStringIterator.h"
#include "Z/zkelutil.h"
#include "Z/zsnprintf.h"

namespace {

const unsigned int kBuiltInCapacity = 95;
const std::uint64_t kMaxCapacity = 0xFFFFFFFEu;

[[noreturn]] void outOfMemory() {
  ZOutOfMemoryException().throwException("src/Z/ZAbstractMutableString", 436);
}

// A length that no longer fits the 32-bit fields cannot be allocated.
unsigned int checkedSum(std::uint64_t a, std::uint64_t b) {
  std::uint64_t sum = a + b;
  if (sum > kMaxCapacity) outOfMemory();
  return static_cast<unsigned int>(sum);
}

// The text of a number as the printf conversion fmt writes it.
template <typename T>
ZAbstractMutableString& setNumber(ZAbstractMutableString& s, const char* fmt, T n) {
  char text[32];
  std::snprintf(text, sizeof text, fmt, n);
  return s.setChars(text);
}

}  // namespace

void ZAbstractMutableString::init() {
  chars_ = buffer_;
  buffer_[0] = '\0';
  length_ = 0;
  capacity_ = kBuiltInCapacity;
}

// Growth rule: a non-exact bump adds a fifth of the need (plus a little)
// even when the need is below the capacity. append only bumps when the
// length exceeds the capacity, insert bumps every time; that asymmetry is
// deliberate.
void ZAbstractMutableString::bump(unsigned int need, int exact) {
  std::uint64_t wanted = need > capacity_ ? need : capacity_;
  if (wanted <= kBuiltInCapacity) return;
  if (!exact) wanted += (static_cast<std::uint64_t>(need) + 7) / 5;
  if (wanted <= capacity_) return;
  if (wanted > kMaxCapacity) outOfMemory();
  char* block;
  if (chars_ == buffer_) {
    block = static_cast<char*>(std::malloc(wanted + 1));
    if (block == nullptr) outOfMemory();
    std::memcpy(block, buffer_, length_ + 1);
  } else {
    block = static_cast<char*>(std::realloc(chars_, wanted + 1));
    if (block == nullptr) outOfMemory();
  }
  chars_ = block;
  capacity_ = static_cast<unsigned int>(wanted);
}

ZAbstractMutableString::ZAbstractMutableString() { init(); }

ZAbstractMutableString::ZAbstractMutableString(const char* s) {
  init();
  append(s);
}

ZAbstractMutableString::ZAbstractMutableString(const char* s, unsigned int n) {
  init();
  append(s, n);
}

ZAbstractMutableString::ZAbstractMutableString(char c) {
  init();
  append(c);
}

ZAbstractMutableString::ZAbstractMutableString(int n) {
  init();
  *this = n;
}

ZAbstractMutableString::ZAbstractMutableString(unsigned int n) {
  init();
  *this = n;
}

ZAbstractMutableString::ZAbstractMutableString(long n) {
  init();
  *this = n;
}

ZAbstractMutableString::ZAbstractMutableString(unsigned long n) {
  init();
  *this = n;
}

ZAbstractMutableString::ZAbstractMutableString(const ZAbstractMutableString& other)
    : ZAbstractString(other) {
  init();
  append(other.chars_, other.length_);
}

ZAbstractMutableString::~ZAbstractMutableString() {
  if (chars_ != buffer_) std::free(chars_);
}

ZAbstractMutableString& ZAbstractMutableString::operator=(const ZAbstractMutableString& other) {
  if (&other != this) setChars(other);
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::operator=(const char* s) { return setChars(s); }

ZAbstractMutableString& ZAbstractMutableString::operator=(char c) {
  clear();
  return append(c);
}

ZAbstractMutableString& ZAbstractMutableString::operator=(int n) {
  return setNumber(*this, "%d", n);
}

ZAbstractMutableString& ZAbstractMutableString::operator=(unsigned int n) {
  return setNumber(*this, "%u", n);
}

ZAbstractMutableString& ZAbstractMutableString::operator=(long n) {
  return setNumber(*this, "%ld", n);
}

ZAbstractMutableString& ZAbstractMutableString::operator=(unsigned long n) {
  return setNumber(*this, "%lu", n);
}

const char* ZAbstractMutableString::getChars() const { return chars_; }

bool ZAbstractMutableString::ownsBytes(const char* s) const {
  std::uintptr_t p = reinterpret_cast<std::uintptr_t>(s);
  std::uintptr_t b = reinterpret_cast<std::uintptr_t>(chars_);
  return s != nullptr && p >= b && p <= b + capacity_;
}

unsigned int ZAbstractMutableString::getLength() const { return length_; }

ZAbstractMutableString& ZAbstractMutableString::setChars(const ZAbstractString& other) {
  if (&other == this) return *this;
  const char* s = other.getChars();
  unsigned int n = other.getLength();
  if (ownsBytes(s)) {
    // A view of (part of) this string's own bytes: no room is needed.
    std::memmove(chars_, s, n);
    chars_[n] = '\0';
    length_ = n;
    return *this;
  }
  clear();
  return append(s, n);
}

ZAbstractMutableString& ZAbstractMutableString::setChars(const char* s) {
  if (ownsBytes(s)) {
    // A tail of our own text.
    std::size_t n = std::strlen(s);
    std::memmove(chars_, s, n + 1);
    length_ = static_cast<unsigned int>(n);
    return *this;
  }
  clear();
  return append(s);
}

ZAbstractMutableString& ZAbstractMutableString::clear() {
  chars_[0] = '\0';
  length_ = 0;
  return *this;
}

unsigned int ZAbstractMutableString::setCapacity(unsigned int n) {
  bump(n, 1);
  return capacity_;
}

ZAbstractMutableString& ZAbstractMutableString::append(const char* s) {
  if (s == nullptr) return *this;
  return append(s, static_cast<unsigned int>(std::strlen(s)));
}

ZAbstractMutableString& ZAbstractMutableString::append(const char* s, unsigned int n) {
  if (s == nullptr || n == 0) return *this;
  unsigned int need = checkedSum(length_, n);
  if (need > capacity_) {
    // s may point into our own buffer, which growing moves.
    bool own = ownsBytes(s);
    std::size_t offset = own ? static_cast<std::size_t>(s - chars_) : 0;
    bump(need, 0);
    if (own) s = chars_ + offset;
  }
  std::memmove(chars_ + length_, s, n);
  length_ = need;
  chars_[length_] = '\0';
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::append(char c) {
  if (length_ >= capacity_) bump(checkedSum(length_, 1), 0);
  chars_[length_++] = c;
  chars_[length_] = '\0';
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::operator+=(const ZAbstractString& s) {
  return append(s.getChars(), s.getLength());
}

ZAbstractMutableString& ZAbstractMutableString::prepend(const char* s) {
  if (s == nullptr) return *this;
  return prepend(s, static_cast<unsigned int>(std::strlen(s)));
}

ZAbstractMutableString& ZAbstractMutableString::prepend(const char* s, unsigned int n) {
  if (s == nullptr || n == 0) return *this;
  std::string copy;
  if (ownsBytes(s)) s = copy.assign(s, n).data();  // moved by what follows
  unsigned int need = checkedSum(length_, n);
  if (need > capacity_) bump(need, 0);
  std::memmove(chars_ + n, chars_, length_ + 1);
  std::memcpy(chars_, s, n);
  length_ = need;
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::insert(unsigned int pos, const char* s) {
  if (s == nullptr) return *this;
  // A position beyond the end would write outside the text: append there.
  if (pos > length_) pos = length_;
  std::string copy;
  if (ownsBytes(s)) s = copy.assign(s).data();  // moved by what follows
  unsigned int n = static_cast<unsigned int>(std::strlen(s));
  bump(checkedSum(checkedSum(length_, n), 1), 0);
  std::memmove(chars_ + pos + n, chars_ + pos, length_ - pos + 1);
  std::memcpy(chars_ + pos, s, n);
  length_ = static_cast<unsigned int>(std::strlen(chars_));
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::remove(unsigned int pos, unsigned int count) {
  if (count == 0) return trunc(pos);
  if (static_cast<std::uint64_t>(pos) + count > length_) return *this;
  std::memmove(chars_ + pos, chars_ + pos + count, length_ - pos - count + 1);
  length_ -= count;
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::trunc(unsigned int n) {
  if (n < length_) {
    chars_[n] = '\0';
    length_ = n;
  }
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::lower() {
  zstrlower(getCodesetHandle(), chars_);
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::upper() {
  zstrupper(getCodesetHandle(), chars_);
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::replaceAll(const char* set, char with) {
  if (set == nullptr) return *this;
  ZCodesetHandle h = getCodesetHandle();
  unsigned int out = 0;
  for (unsigned int in = 0; in < length_; ++in) {
    char b = chars_[in];
    if (b != '\0' && zstrchr(h, set, static_cast<unsigned char>(b)) != nullptr) {
      if (with == '\0') continue;
      b = with;
    }
    chars_[out++] = b;
  }
  chars_[out] = '\0';
  length_ = out;
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::replace(char from, char to) {
  if (from == '\0' || from == to) return *this;
  ZCodesetHandle h = getCodesetHandle();
  char* p = chars_;
  while ((p = zstrchr(h, p, static_cast<unsigned char>(from))) != nullptr && *p != '\0') {
    if (to != '\0') {
      *p++ = to;
    } else {
      std::memmove(p, p + 1, length_ - static_cast<unsigned int>(p - chars_));
      --length_;
    }
  }
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::replace(const char* from, const char* to) {
  if (from == nullptr || *from == '\0') return *this;
  if (to == nullptr) to = "";
  ZCodesetHandle h = getCodesetHandle();
  bool bytes = h == utf8_handle_;
  std::size_t fromLen = std::strlen(from);
  const char* p = chars_;
  const char* hit = bytes ? std::strstr(p, from) : zstrstr(h, p, from);
  if (hit == nullptr) return *this;
  std::string work;
  while (hit != nullptr) {
    work.append(p, static_cast<std::size_t>(hit - p));
    work.append(to);
    p = hit + fromLen;
    hit = bytes ? std::strstr(p, from) : zstrstr(h, p, from);
  }
  work.append(p);
  clear();
  return append(work.data(), checkedSum(work.size(), 0));
}

ZAbstractMutableString& ZAbstractMutableString::stripLeading() {
  unsigned int skip = 0;
  if (byteMode()) {
    while (skip < length_ && std::isspace(static_cast<unsigned char>(chars_[skip]))) ++skip;
  } else {
    ZCodesetHandle h = getCodesetHandle();
    while (skip < length_) {
      int n = zmblen(h, chars_ + skip, length_ - skip);
      if (n != 1 || !std::isspace(static_cast<unsigned char>(chars_[skip]))) break;
      ++skip;
    }
  }
  if (skip > 0) {
    std::memmove(chars_, chars_ + skip, length_ - skip + 1);
    length_ -= skip;
  }
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::stripLeading(char c) {
  unsigned int run = 0;
  while (run < length_ && chars_[run] == c) ++run;
  if (run == length_) return clear();
  if (run > 0) remove(0, run);
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::stripTrailing() {
  if (length_ == 0) return *this;
  if (byteMode()) {
    // The first byte is never examined (see the header).
    unsigned int i = length_ - 1;
    while (i > 0 && std::isspace(static_cast<unsigned char>(chars_[i]))) --i;
    return trunc(i + 1);
  }
  ZCodesetHandle h = getCodesetHandle();
  unsigned int pos = 0;
  unsigned int runStart = length_;
  while (pos < length_) {
    int n = zmblen(h, chars_ + pos, length_ - pos);
    bool white = n == 1 && std::isspace(static_cast<unsigned char>(chars_[pos]));
    if (n < 1) n = 1;  // an unmeasurable byte is kept as ordinary text
    if (white) {
      if (runStart == length_) runStart = pos;
    } else {
      runStart = length_;
    }
    pos += static_cast<unsigned int>(n);
  }
  return trunc(runStart);
}

ZAbstractMutableString& ZAbstractMutableString::stripTrailing(char c) {
  unsigned int keep = length_;
  while (keep > 0 && chars_[keep - 1] == c) --keep;
  return trunc(keep);
}

ZAbstractMutableString& ZAbstractMutableString::stripWhiteSpace() {
  stripLeading();
  return stripTrailing();
}

ZAbstractMutableString& ZAbstractMutableString::convertFromCodeSet(const ZAbstractString& source) {
  unsigned int n = source.getLength();
  if (n == 0) return *this;
  std::string copy;
  const char* src = source.getChars();
  if (ownsBytes(src)) src = copy.assign(src, n).data();  // overwritten by the result
  const bool toUtf8 = getCodesetHandle() == utf8_handle_;
  unsigned int room = checkedSum((toUtf8 ? 3ull : 2ull) * n, 1);
  setCapacity(room);
  int r = toUtf8 ? zlcs_to_utf8(src, n, chars_, room) : zlcs_from_utf8(src, n, chars_, room);
  length_ = r > 0 ? static_cast<unsigned int>(r) : 0;
  chars_[length_] = '\0';
  return *this;
}

std::istream& ZAbstractMutableString::readLine(std::istream& in, int skipWhite) {
  std::ios_base::fmtflags saved = in.flags();
  if (skipWhite) in.setf(std::ios_base::skipws);
  clear();
  while (in.peek() != std::istream::traits_type::eof()) {
    char c;
    in.get(c);
    if (c == '\n' || c == '\r' || c == '\0') break;
    append(c);
  }
  if (skipWhite) in.flags(in.flags() | saved);
  return in;
}

ZAbstractMutableString& ZAbstractMutableString::replaceAllOf(ZStringIterator& it,
                                                             const char* with) {
  while (it.hasMore()) {
    const ZAbstractMutableString* element = it.getNext();
    replace(element->getChars(), with);
  }
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::replaceNoneOf(ZStringIterator& it, const char* set,
                                                              const char* with) {
  const int utf8 = getCodesetHandle() == utf8_handle_;
  while (it.hasMore()) {
    const char* element = it.getNext()->getChars();
    const char* found = nullptr;
    if (set != nullptr) {
      found = utf8 ? std::strstr(set, element) : zstrstr(getCodesetHandle(), set, element);
    }
    if (found == nullptr) replace(element, with);
  }
  return *this;
}

ZAbstractMutableString& ZAbstractMutableString::format(const char* fmt, ...) {
  char* result = nullptr;
  va_list args;
  va_start(args, fmt);
  int n = zvasprintf(&result, fmt, args);
  va_end(args);
  if (n >= 0 && result != nullptr) {
    clear();
    append(result, static_cast<unsigned int>(n));
  }
  zasprintf_free(result);
  return *this;
}
