// zbase: libkel character and string functions that respect the character
// boundaries of a handle's code set.
#include <string.h>
#include <time.h>

#include "kel/kel.h"
#include "kel/kelimpl.h"

namespace {

using kel::Kind;

// Set for a malformed byte, which the string functions step over as a
// character of its own, ordered after every real character.
constexpr uint32_t kBadByte = 0x110000;

// Byte-oriented code sets: every character is one byte, or (UTF-8) no
// character's encoding appears inside another's.
bool byteSearchIsSafe(const kel_cs_rec* cs) { return cs == nullptr || cs->kind != Kind::kMulti; }
bool singleByte(const kel_cs_rec* cs) { return cs == nullptr || cs->kind == Kind::kSingle; }

// The character at p of a terminated text: its length (0 at the terminator)
// and code point. A byte that starts no character has length 1.
size_t step(const kel_cs_rec* cs, const char* p, uint32_t* cp) {
  if (*p == '\0') {
    *cp = 0;
    return 0;
  }
  if (singleByte(cs)) {
    int32_t v =
        cs == nullptr ? static_cast<unsigned char>(*p) : cs->toUcs[static_cast<unsigned char>(*p)];
    *cp = v < 0 ? kBadByte + static_cast<unsigned char>(*p) : static_cast<uint32_t>(v);
    return 1;
  }
  size_t avail = strnlen(p, cs->kind == Kind::kUtf8 ? 4 : KEL_MB_LEN_MAX);
  int n = kel::decodeChar(cs, p, avail, cp);
  if (n <= 0) {
    *cp = kBadByte + static_cast<unsigned char>(*p);
    return 1;
  }
  return static_cast<size_t>(n);
}

size_t step(const kel_cs_rec* cs, const char* p) {
  uint32_t cp;
  return step(cs, p, &cp);
}

// Whether the character [p, p+len) is one of the characters of set.
bool inSet(const kel_cs_rec* cs, const char* set, const char* p, size_t len) {
  for (const char* q = set; *q != '\0';) {
    size_t n = step(cs, q);
    if (n == len && memcmp(q, p, len) == 0) return true;
    q += n;
  }
  return false;
}

// The length of the leading run of characters that are (accept) or are not
// (!accept) in set.
size_t span(const kel_cs_rec* cs, const char* s, const char* set, bool accept) {
  if (singleByte(cs)) return accept ? strspn(s, set) : strcspn(s, set);
  const char* p = s;
  while (*p != '\0') {
    size_t n = step(cs, p);
    if (inSet(cs, set, p, n) != accept) break;
    p += n;
  }
  return static_cast<size_t>(p - s);
}

uint32_t folded(uint32_t cp) { return cp >= kBadByte ? cp : kel::toLower(kel::toUpper(cp)); }

int caseCompare(const kel_cs_rec* cs, const char* a, const char* b, size_t limit) {
  if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
  size_t used = 0;
  while (used < limit) {
    uint32_t ca, cb;
    size_t la = step(cs, a, &ca);
    size_t lb = step(cs, b, &cb);
    if (la == 0 || lb == 0) return la == lb ? 0 : (la == 0 ? -1 : 1);
    uint32_t fa = folded(ca);
    uint32_t fb = folded(cb);
    if (fa != fb) return fa < fb ? -1 : 1;
    a += la;
    b += lb;
    used += la;
  }
  return 0;
}

char* mapCase(const kel_cs_rec* cs, char* s, bool up) {
  if (s == nullptr) return s;
  if (cs != nullptr && cs->kind == Kind::kSingle) {
    const unsigned char* table = up ? cs->upper : cs->lower;
    for (unsigned char* p = reinterpret_cast<unsigned char*>(s); *p != 0; ++p) *p = table[*p];
    return s;
  }
  for (char* p = s; *p != '\0';) {
    uint32_t cp;
    size_t n = step(cs, p, &cp);
    if (cp < kBadByte) {
      uint32_t to = up ? kel::toUpper(cp) : kel::toLower(cp);
      char buf[KEL_MB_LEN_MAX];
      if (to != cp && kel::encodeChar(cs, to, buf) == static_cast<int>(n)) memcpy(p, buf, n);
    }
    p += n;
  }
  return s;
}

// Copies the whole characters of src that fit into n bytes; returns the
// bytes copied.
size_t copyWhole(const kel_cs_rec* cs, char* dst, const char* src, size_t n) {
  size_t used = 0;
  for (const char* p = src; *p != '\0';) {
    size_t len = step(cs, p);
    if (len > n - used) break;
    memcpy(dst + used, p, len);
    used += len;
    p += len;
  }
  return used;
}

thread_local char* tokenPosition = nullptr;

}  // namespace

extern "C" {

int kel_mblen(kel_cs_handle cs, const char* s, size_t n) {
  if (s == nullptr) return 0;
  if (n == 0) return -1;
  if (*s == '\0') return 0;
  uint32_t cp;
  return kel::decodeChar(cs, s, n, &cp);
}

int kel_mbtowc(kel_cs_handle cs, wchar_t* wc, const char* s, size_t n) {
  if (s == nullptr) return 0;
  if (n == 0) return -1;
  uint32_t cp = 0;
  int len = *s == '\0' ? 0 : kel::decodeChar(cs, s, n, &cp);
  if (len >= 0 && wc != nullptr) *wc = static_cast<wchar_t>(cp);
  return len;
}

int kel_wctomb(kel_cs_handle cs, char* s, wchar_t wc) {
  if (s == nullptr) return 0;
  if (wc < 0) return -1;
  return kel::encodeChar(cs, static_cast<uint32_t>(wc), s);
}

char* kel_strstr(kel_cs_handle cs, const char* s, const char* find) {
  if (s == nullptr || find == nullptr) return nullptr;
  if (byteSearchIsSafe(cs)) return const_cast<char*>(strstr(s, find));
  size_t len = strlen(find);
  for (const char* p = s;; p += step(cs, p)) {
    if (strncmp(p, find, len) == 0) return const_cast<char*>(p);
    if (*p == '\0') return nullptr;
  }
}

char* kel_strchr(kel_cs_handle cs, const char* s, int c) {
  if (s == nullptr) return nullptr;
  char ch = static_cast<char>(c);
  if (byteSearchIsSafe(cs) || ch == '\0') return const_cast<char*>(strchr(s, ch));
  for (const char* p = s; *p != '\0'; p += step(cs, p)) {
    if (*p == ch) return const_cast<char*>(p);
  }
  return nullptr;
}

char* kel_strrchr(kel_cs_handle cs, const char* s, int c) {
  if (s == nullptr) return nullptr;
  char ch = static_cast<char>(c);
  if (byteSearchIsSafe(cs) || ch == '\0') return const_cast<char*>(strrchr(s, ch));
  const char* last = nullptr;
  for (const char* p = s; *p != '\0'; p += step(cs, p)) {
    if (*p == ch) last = p;
  }
  return const_cast<char*>(last);
}

char* kel_strpbrk(kel_cs_handle cs, const char* s, const char* accept) {
  if (s == nullptr || accept == nullptr) return nullptr;
  const char* p = s + span(cs, s, accept, false);
  return *p != '\0' ? const_cast<char*>(p) : nullptr;
}

size_t kel_strspn(kel_cs_handle cs, const char* s, const char* accept) {
  if (s == nullptr || accept == nullptr) return 0;
  return span(cs, s, accept, true);
}

size_t kel_strcspn(kel_cs_handle cs, const char* s, const char* reject) {
  if (s == nullptr) return 0;
  if (reject == nullptr) return strlen(s);
  return span(cs, s, reject, false);
}

char* kel_strtok(kel_cs_handle cs, char* s, const char* delim, char** save) {
  char** pos = save != nullptr ? save : &tokenPosition;
  if (s == nullptr) s = *pos;
  if (s == nullptr || delim == nullptr) return nullptr;
  s += span(cs, s, delim, true);
  if (*s == '\0') {
    *pos = s;
    return nullptr;
  }
  char* end = s + span(cs, s, delim, false);
  if (*end == '\0') {
    *pos = end;
  } else {
    size_t n = step(cs, end);
    *pos = end + n;
    memset(end, 0, n);
  }
  return s;
}

char* kel_strncat(kel_cs_handle cs, char* dst, const char* src, size_t n) {
  if (dst == nullptr || src == nullptr) return dst;
  char* end = dst + strlen(dst);
  end[copyWhole(cs, end, src, n)] = '\0';
  return dst;
}

char* kel_strncpy(kel_cs_handle cs, char* dst, const char* src, size_t n) {
  if (dst == nullptr) return dst;
  size_t used = src != nullptr ? copyWhole(cs, dst, src, n) : 0;
  if (used < n) memset(dst + used, 0, n - used);
  return dst;
}

int kel_stricmp(kel_cs_handle cs, const char* s1, const char* s2) {
  return caseCompare(cs, s1, s2, static_cast<size_t>(-1));
}

int kel_strnicmp(kel_cs_handle cs, const char* s1, const char* s2, size_t n) {
  return caseCompare(cs, s1, s2, n);
}

char* kel_strupper(kel_cs_handle cs, char* s) { return mapCase(cs, s, true); }

char* kel_strlower(kel_cs_handle cs, char* s) { return mapCase(cs, s, false); }

char* kel_strptime(kel_cs_handle, const char* s, const char* format, struct tm* tm) {
  if (s == nullptr || format == nullptr || tm == nullptr) return nullptr;
  return strptime(s, format, tm);
}

int kel_iswupper(kel_cs_handle, wchar_t wc) {
  return wc >= 0 && kel::isClass(static_cast<uint32_t>(wc), kel::Class::kUpper);
}
int kel_iswlower(kel_cs_handle, wchar_t wc) {
  return wc >= 0 && kel::isClass(static_cast<uint32_t>(wc), kel::Class::kLower);
}
int kel_iswspace(kel_cs_handle, wchar_t wc) {
  return wc >= 0 && kel::isClass(static_cast<uint32_t>(wc), kel::Class::kSpace);
}
int kel_iswdigit(kel_cs_handle, wchar_t wc) {
  return wc >= 0 && kel::isClass(static_cast<uint32_t>(wc), kel::Class::kDigit);
}
int kel_iswalpha(kel_cs_handle, wchar_t wc) {
  return wc >= 0 && kel::isClass(static_cast<uint32_t>(wc), kel::Class::kAlpha);
}
int kel_iswalnum(kel_cs_handle, wchar_t wc) {
  return wc >= 0 && kel::isClass(static_cast<uint32_t>(wc), kel::Class::kAlnum);
}

}  // extern "C"
