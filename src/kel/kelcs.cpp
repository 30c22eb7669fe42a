// zbase: libkel code-set handles, names, locales and conversions, built on
// the platform's iconv and locale services.
#include <errno.h>
#include <langinfo.h>
#include <locale.h>
#include <string.h>
#include <wctype.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

#include "kel/kel.h"
#include "kel/kelimpl.h"

namespace kel {

namespace {

// Wide characters travel through iconv as little-endian UCS-4, decoded by
// hand so that the host's byte order does not matter.
const char kWide[] = "UCS-4LE";
const char kUtf8[] = "UTF-8";
const char kAliasFile[] = "codeset.alias";
const size_t kKeepFree = 4;  // descriptors kept per pool

// ---- Names -----------------------------------------------------------------

// The key names are compared by: upper case, without '-', '_', '.' and blanks,
// so "utf8", "UTF-8" and "utf_8" are one name.
std::string nameKey(const std::string& name) {
  std::string key;
  for (char c : name) {
    if (c == '-' || c == '_' || c == '.' || c == ' ' || c == '\t') continue;
    key += (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return key;
}

// The alias table of the table directory, read on first use after the
// directory is set (or, by default, taken from QXKELDIR).
struct Tables {
  std::mutex mu;
  bool dirSet = false;
  std::string dir;
  bool loaded = false;
  std::unordered_map<std::string, std::string> aliases;
};

Tables& tables() {
  static Tables* t = new Tables;  // lives until the process ends
  return *t;
}

void loadAliases(Tables& t) {
  t.loaded = true;
  t.aliases.clear();
  if (!t.dirSet) {
    const char* env = getenv("QXKELDIR");
    if (env == nullptr) return;
    t.dir = env;
    t.dirSet = true;
  }
  std::ifstream in(t.dir + "/" + kAliasFile);
  std::string line;
  while (std::getline(in, line)) {
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    const char* ws = " \t\r";
    size_t a = line.find_first_not_of(ws);
    if (a == std::string::npos) continue;
    size_t ae = line.find_first_of(ws, a);
    if (ae == std::string::npos) continue;
    size_t b = line.find_first_not_of(ws, ae);
    if (b == std::string::npos) continue;
    size_t be = line.find_first_of(ws, b);
    std::string alias = line.substr(a, ae - a);
    std::string target = line.substr(b, be == std::string::npos ? std::string::npos : be - b);
    t.aliases.emplace(nameKey(alias), target);  // the first line for a name wins
  }
}

// Follows the alias table (a few steps, so that aliases may chain).
std::string resolveAlias(const std::string& name) {
  Tables& t = tables();
  std::lock_guard<std::mutex> hold(t.mu);
  if (!t.loaded) loadAliases(t);
  std::string cur = name;
  for (int step = 0; step < 8; ++step) {
    auto it = t.aliases.find(nameKey(cur));
    if (it == t.aliases.end() || nameKey(it->second) == nameKey(cur)) break;
    cur = it->second;
  }
  return cur;
}

bool iconvKnows(const char* to, const char* from) {
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  iconv_close(cd);
  return true;
}

uint32_t readWide(const unsigned char* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void writeWide(uint32_t cp, unsigned char* p) {
  p[0] = static_cast<unsigned char>(cp);
  p[1] = static_cast<unsigned char>(cp >> 8);
  p[2] = static_cast<unsigned char>(cp >> 16);
  p[3] = static_cast<unsigned char>(cp >> 24);
}

// ---- Case mapping and classes ----------------------------------------------

// A UTF-8 locale object answers the Unicode questions whatever locale the
// process has switched to. Without one, ASCII and Latin-1 rules apply.
locale_t unicodeLocale() {
  static locale_t loc = [] {
    const char* names[] = {"C.UTF-8", "C.utf8", "en_US.UTF-8"};
    for (const char* n : names) {
      locale_t l = newlocale(LC_CTYPE_MASK, n, static_cast<locale_t>(0));
      if (l != static_cast<locale_t>(0)) return l;
    }
    return static_cast<locale_t>(0);
  }();
  return loc;
}

bool latin1Upper(uint32_t cp) {
  return (cp >= 'A' && cp <= 'Z') || (cp >= 0xC0 && cp <= 0xDE && cp != 0xD7);
}
bool latin1Lower(uint32_t cp) {
  return (cp >= 'a' && cp <= 'z') || (cp >= 0xDF && cp <= 0xFF && cp != 0xF7);
}

}  // namespace

uint32_t toUpper(uint32_t cp) {
  if (cp < 0x80) return (cp >= 'a' && cp <= 'z') ? cp - 32 : cp;
  if (locale_t l = unicodeLocale()) return static_cast<uint32_t>(towupper_l(cp, l));
  return (latin1Lower(cp) && cp != 0xDF && cp != 0xFF) ? cp - 32 : cp;
}

uint32_t toLower(uint32_t cp) {
  if (cp < 0x80) return (cp >= 'A' && cp <= 'Z') ? cp + 32 : cp;
  if (locale_t l = unicodeLocale()) return static_cast<uint32_t>(towlower_l(cp, l));
  return latin1Upper(cp) ? cp + 32 : cp;
}

bool isClass(uint32_t cp, Class c) {
  if (cp > 0x10FFFF) return false;
  if (locale_t l = unicodeLocale()) {
    switch (c) {
      case Class::kUpper:
        return iswupper_l(cp, l) != 0;
      case Class::kLower:
        return iswlower_l(cp, l) != 0;
      case Class::kSpace:
        return iswspace_l(cp, l) != 0;
      case Class::kDigit:
        return iswdigit_l(cp, l) != 0;
      case Class::kAlpha:
        return iswalpha_l(cp, l) != 0;
      case Class::kAlnum:
        return iswalnum_l(cp, l) != 0;
    }
    return false;
  }
  bool digit = cp >= '0' && cp <= '9';
  bool alpha = latin1Upper(cp) || latin1Lower(cp) || cp == 0xAA || cp == 0xB5 || cp == 0xBA;
  switch (c) {
    case Class::kUpper:
      return latin1Upper(cp);
    case Class::kLower:
      return latin1Lower(cp);
    case Class::kSpace:
      return cp == ' ' || (cp >= '\t' && cp <= '\r');
    case Class::kDigit:
      return digit;
    case Class::kAlpha:
      return alpha;
    case Class::kAlnum:
      return alpha || digit;
  }
  return false;
}

// ---- iconv -----------------------------------------------------------------

IconvPool::IconvPool(std::string to, std::string from)
    : to_(std::move(to)), from_(std::move(from)) {}

IconvPool::~IconvPool() {
  for (iconv_t cd : free_) iconv_close(cd);
}

iconv_t IconvPool::acquire() {
  {
    std::lock_guard<std::mutex> hold(mu_);
    if (!free_.empty()) {
      iconv_t cd = free_.back();
      free_.pop_back();
      return cd;
    }
  }
  return iconv_open(to_.c_str(), from_.c_str());
}

void IconvPool::release(iconv_t cd) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);  // back to the initial state
  std::lock_guard<std::mutex> hold(mu_);
  if (free_.size() < kKeepFree) {
    free_.push_back(cd);
  } else {
    iconv_close(cd);
  }
}

int runIconv(iconv_t cd, const char* src, size_t srclen, char* dst, size_t dstlen) {
  char* in = const_cast<char*>(src);
  size_t inLeft = srclen;
  char* out = dst;
  size_t outLeft = dstlen;
  if (iconv(cd, &in, &inLeft, &out, &outLeft) == static_cast<size_t>(-1)) return -1;
  if (iconv(cd, nullptr, nullptr, &out, &outLeft) == static_cast<size_t>(-1)) return -1;
  size_t written = dstlen - outLeft;
  if (written > 0x7FFFFFFF) {
    errno = E2BIG;
    return -1;
  }
  return static_cast<int>(written);
}

// ---- UTF-8 -----------------------------------------------------------------

int utf8Decode(const unsigned char* s, size_t n, uint32_t* cp) {
  if (n == 0) return -1;
  unsigned char b = s[0];
  if (b < 0x80) {
    *cp = b;
    return 1;
  }
  int len;
  uint32_t v;
  uint32_t min;
  if (b >= 0xC2 && b <= 0xDF) {
    len = 2, v = b & 0x1F, min = 0x80;
  } else if (b >= 0xE0 && b <= 0xEF) {
    len = 3, v = b & 0x0F, min = 0x800;
  } else if (b >= 0xF0 && b <= 0xF4) {
    len = 4, v = b & 0x07, min = 0x10000;
  } else {
    return -1;
  }
  for (int i = 1; i < len; ++i) {
    if (static_cast<size_t>(i) >= n || (s[i] & 0xC0) != 0x80) return -1;
    v = v << 6 | (s[i] & 0x3F);
  }
  if (v < min || v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) return -1;
  *cp = v;
  return len;
}

int utf8Encode(uint32_t cp, char* out) {
  unsigned char* o = reinterpret_cast<unsigned char*>(out);
  if (cp < 0x80) {
    o[0] = static_cast<unsigned char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    o[0] = static_cast<unsigned char>(0xC0 | cp >> 6);
    o[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp >= 0xD800 && cp <= 0xDFFF) return -1;
  if (cp < 0x10000) {
    o[0] = static_cast<unsigned char>(0xE0 | cp >> 12);
    o[1] = static_cast<unsigned char>(0x80 | (cp >> 6 & 0x3F));
    o[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
    return 3;
  }
  if (cp > 0x10FFFF) return -1;
  o[0] = static_cast<unsigned char>(0xF0 | cp >> 18);
  o[1] = static_cast<unsigned char>(0x80 | (cp >> 12 & 0x3F));
  o[2] = static_cast<unsigned char>(0x80 | (cp >> 6 & 0x3F));
  o[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
  return 4;
}

// ---- Characters of any code set --------------------------------------------

int decodeChar(const kel_cs_rec* cs, const char* s, size_t n, uint32_t* cp) {
  if (n == 0) return -1;
  const unsigned char* u = reinterpret_cast<const unsigned char*>(s);
  if (cs == nullptr) {
    *cp = u[0];
    return 1;
  }
  switch (cs->kind) {
    case Kind::kUtf8:
      return utf8Decode(u, n, cp);
    case Kind::kSingle:
      if (cs->toUcs[u[0]] < 0) return -1;
      *cp = static_cast<uint32_t>(cs->toUcs[u[0]]);
      return 1;
    case Kind::kMulti:
      break;
  }
  if (u[0] == 0) {
    *cp = 0;
    return 1;
  }
  // Try ever longer prefixes until one makes a whole character. A prefix
  // that converts to nothing (a shift sequence) belongs to the character
  // after it.
  IconvLease cd(const_cast<kel_cs_rec*>(cs)->toWide);
  if (!cd.ok()) return -1;
  // The terminator byte ends a text: no character reaches over it.
  size_t limit = strnlen(s, n < KEL_MB_LEN_MAX ? n : KEL_MB_LEN_MAX);
  for (size_t k = 1; k <= limit; ++k) {
    iconv(cd.get(), nullptr, nullptr, nullptr, nullptr);
    unsigned char wide[16];
    char* in = const_cast<char*>(s);
    size_t inLeft = k;
    char* out = reinterpret_cast<char*>(wide);
    size_t outLeft = sizeof wide;
    size_t rc = iconv(cd.get(), &in, &inLeft, &out, &outLeft);
    size_t produced = sizeof wide - outLeft;
    if (rc == static_cast<size_t>(-1)) {
      if (errno == EINVAL && produced == 0) continue;  // incomplete so far
      if (errno != E2BIG || produced < 4) return -1;   // invalid
    }
    if (produced >= 4) {
      *cp = readWide(wide);
      return static_cast<int>(k - inLeft);
    }
  }
  return -1;
}

int encodeChar(const kel_cs_rec* cs, uint32_t cp, char* out) {
  if (cs == nullptr) {
    if (cp > 0xFF) return -1;
    out[0] = static_cast<char>(cp);
    return 1;
  }
  switch (cs->kind) {
    case Kind::kUtf8:
      return utf8Encode(cp, out);
    case Kind::kSingle: {
      auto it = cs->fromUcs.find(cp);
      if (it == cs->fromUcs.end()) return -1;
      out[0] = static_cast<char>(it->second);
      return 1;
    }
    case Kind::kMulti:
      break;
  }
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return -1;
  IconvLease cd(const_cast<kel_cs_rec*>(cs)->fromWide);
  if (!cd.ok()) return -1;
  unsigned char wide[4];
  writeWide(cp, wide);
  return runIconv(cd.get(), reinterpret_cast<char*>(wide), 4, out, KEL_MB_LEN_MAX);
}

}  // namespace kel

using kel::Kind;

kel_cs_rec::kel_cs_rec(const std::string& iconv_name, Kind k)
    : name(iconv_name),
      kind(k),
      toUtf8(kel::kUtf8, iconv_name),
      fromUtf8(iconv_name, kel::kUtf8),
      toWide(kel::kWide, iconv_name),
      fromWide(iconv_name, kel::kWide) {
  for (int b = 0; b < 256; ++b) {
    toUcs[b] = -1;
    upper[b] = lower[b] = static_cast<unsigned char>(b);
  }
}

namespace {

// Builds the byte tables of a code set whose characters are all one byte
// long; false when some byte only starts a longer character.
bool buildSingleByteTables(kel_cs_rec* cs) {
  iconv_t cd = iconv_open(kel::kWide, cs->name.c_str());
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  bool single = true;
  cs->toUcs[0] = 0;
  for (int b = 1; b < 256 && single; ++b) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char byte = static_cast<char>(b);
    unsigned char wide[16];
    char* in = &byte;
    size_t inLeft = 1;
    char* out = reinterpret_cast<char*>(wide);
    size_t outLeft = sizeof wide;
    size_t rc = iconv(cd, &in, &inLeft, &out, &outLeft);
    size_t produced = sizeof wide - outLeft;
    if (rc == static_cast<size_t>(-1) && errno == EILSEQ) continue;  // not a character
    if (rc == static_cast<size_t>(-1) || produced != 4) {
      single = false;  // a lead byte, a shift byte or a wide code set
    } else {
      cs->toUcs[b] = static_cast<int32_t>(kel::readWide(wide));
    }
  }
  iconv_close(cd);
  if (!single) return false;
  for (int b = 255; b >= 0; --b) {  // the lowest byte wins for a duplicate
    if (cs->toUcs[b] >= 0)
      cs->fromUcs[static_cast<uint32_t>(cs->toUcs[b])] = static_cast<unsigned char>(b);
  }
  for (int b = 0; b < 256; ++b) {
    if (cs->toUcs[b] < 0) continue;
    uint32_t cp = static_cast<uint32_t>(cs->toUcs[b]);
    auto up = cs->fromUcs.find(kel::toUpper(cp));
    if (up != cs->fromUcs.end()) cs->upper[b] = up->second;
    auto low = cs->fromUcs.find(kel::toLower(cp));
    if (low != cs->fromUcs.end()) cs->lower[b] = low->second;
  }
  return true;
}

// The most bytes any of a few probe characters takes in a multibyte code set.
int probeMbMax(const kel_cs_rec* cs) {
  static const uint32_t probes[] = {0xE9, 0x3042, 0x4E00, 0xAC00, 0x20AC, 0x20000, 0x10400};
  int most = 2;
  for (uint32_t cp : probes) {
    char buf[KEL_MB_LEN_MAX];
    int n = kel::encodeChar(cs, cp, buf);
    if (n > most) most = n;
  }
  return most;
}

bool copyOut(const std::string& text, char* buf, size_t size) {
  if (buf == nullptr || text.size() + 1 > size) return false;
  memcpy(buf, text.c_str(), text.size() + 1);
  return true;
}

// The checks both conversions start with. False (errno EINVAL) when an
// argument is missing; otherwise srclen is cut to what an int result counts.
bool conversionArgs(kel_cs_handle cs, const char* src, size_t& srclen, const char* dst) {
  if (cs == nullptr || src == nullptr || dst == nullptr) {
    errno = EINVAL;
    return false;
  }
  if (srclen > 0x7FFFFFFF) srclen = 0x7FFFFFFF;
  return true;
}

// Appends n bytes at dst + out and advances out; false (errno E2BIG) when
// they do not fit in dstlen.
bool put(char* dst, size_t dstlen, size_t& out, const void* bytes, int n) {
  if (out + n > dstlen) {
    errno = E2BIG;
    return false;
  }
  memcpy(dst + out, bytes, n);
  out += n;
  return true;
}

}  // namespace

extern "C" {

int varnel_initialize(void) { return 0; }

int kel_set_dir(const char* dir) {
  if (dir == nullptr) return -1;
  kel::Tables& t = kel::tables();
  std::lock_guard<std::mutex> hold(t.mu);
  t.dir = dir;
  t.dirSet = true;
  t.loaded = false;
  return 0;
}

int kel_os_lang_name(char* buf, size_t size) {
  const char* name = setlocale(LC_CTYPE, nullptr);
  return copyOut(name != nullptr ? name : "C", buf, size) ? 0 : -1;
}

int kel_canonical_loc(const char* name, char* buf, size_t size) {
  if (name == nullptr) return -1;
  std::string in = name;
  if (in.find_first_of(";=/") != std::string::npos) return -1;
  if (in.empty() || in == "POSIX") in = "C";
  // language[_territory][.codeset][@modifier]
  std::string modifier;
  size_t at = in.find('@');
  if (at != std::string::npos) {
    modifier = in.substr(at);
    in.erase(at);
  }
  std::string codeset;
  size_t dot = in.find('.');
  if (dot != std::string::npos) {
    codeset = in.substr(dot + 1);
    in.erase(dot);
  }
  std::string language = in;
  std::string territory;
  size_t us = in.find('_');
  if (us != std::string::npos) {
    language = in.substr(0, us);
    territory = in.substr(us + 1);
  }
  if (language.empty()) return -1;
  if (language != "C" && language != "POSIX") {
    for (char& c : language) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  } else {
    language = "C";
  }
  for (char& c : territory) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  std::string out = language;
  if (!territory.empty()) out += "_" + territory;
  if (!codeset.empty()) {
    std::string key = kel::nameKey(codeset);
    if (key == "UTF8") {
      codeset = "UTF-8";
    } else {
      for (char& c : codeset) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    }
    out += "." + codeset;
  }
  out += modifier;
  return copyOut(out, buf, size) ? 0 : -1;
}

int kel_os_cs_name(char* buf, size_t size) {
  const char* name = nl_langinfo(CODESET);
  if (name == nullptr || *name == '\0') return -1;
  return copyOut(name, buf, size) ? 0 : -1;
}

kel_loc_handle kel_loc_new(const char* name) {
  if (name == nullptr) return nullptr;
  locale_t l = newlocale(LC_ALL_MASK, name, static_cast<locale_t>(0));
  if (l == static_cast<locale_t>(0)) return nullptr;
  kel_loc_rec* rec = new (std::nothrow) kel_loc_rec{name, l};
  if (rec == nullptr) freelocale(l);
  return rec;
}

const char* kel_loc_name(kel_loc_handle loc) {
  return loc != nullptr ? loc->name.c_str() : nullptr;
}

void kel_loc_free(kel_loc_handle loc) {
  if (loc == nullptr) return;
  freelocale(loc->loc);
  delete loc;
}

kel_cs_handle kel_cs_new(const char* name) {
  if (name == nullptr || *name == '\0') return nullptr;
  try {
    std::string resolved = kel::resolveAlias(name);
    if (kel::nameKey(resolved) == "UTF8") {
      kel_cs_rec* cs = new kel_cs_rec(kel::kUtf8, Kind::kUtf8);
      cs->mbMax = 4;
      return cs;
    }
    const char* rn = resolved.c_str();
    if (!kel::iconvKnows(kel::kUtf8, rn) || !kel::iconvKnows(rn, kel::kUtf8) ||
        !kel::iconvKnows(kel::kWide, rn) || !kel::iconvKnows(rn, kel::kWide)) {
      return nullptr;
    }
    kel_cs_rec* cs = new kel_cs_rec(resolved, Kind::kSingle);
    if (!buildSingleByteTables(cs)) {
      cs->kind = Kind::kMulti;
      cs->mbMax = probeMbMax(cs);
    }
    return cs;
  } catch (...) {  // out of memory: no handle
    return nullptr;
  }
}

void kel_cs_free(kel_cs_handle cs) { delete cs; }

const char* kel_cs_name(kel_cs_handle cs) { return cs != nullptr ? cs->name.c_str() : nullptr; }

int kel_cs_mb_max(kel_cs_handle cs) { return cs != nullptr ? cs->mbMax : 1; }

int kel_to_utf8(kel_cs_handle cs, const char* src, size_t srclen, char* dst, size_t dstlen) {
  if (srclen == 0) return 0;
  if (!conversionArgs(cs, src, srclen, dst)) return -1;
  const unsigned char* in = reinterpret_cast<const unsigned char*>(src);
  size_t out = 0;
  switch (cs->kind) {
    case Kind::kUtf8:
      for (size_t i = 0; i < srclen;) {
        uint32_t cp;
        int n = kel::utf8Decode(in + i, srclen - i, &cp);
        if (n < 0) {
          errno = EILSEQ;
          return -1;
        }
        if (!put(dst, dstlen, out, in + i, n)) return -1;
        i += n;
      }
      return static_cast<int>(out);
    case Kind::kSingle:
      for (size_t i = 0; i < srclen; ++i) {
        char buf[4];
        int n = cs->toUcs[in[i]] < 0
                    ? -1
                    : kel::utf8Encode(static_cast<uint32_t>(cs->toUcs[in[i]]), buf);
        if (n < 0) {
          errno = EILSEQ;
          return -1;
        }
        if (!put(dst, dstlen, out, buf, n)) return -1;
      }
      return static_cast<int>(out);
    case Kind::kMulti:
      break;
  }
  kel::IconvLease cd(cs->toUtf8);
  if (!cd.ok()) return -1;
  return kel::runIconv(cd.get(), src, srclen, dst, dstlen);
}

int kel_from_utf8(kel_cs_handle cs, const char* src, size_t srclen, char* dst, size_t dstlen) {
  if (srclen == 0) return 0;
  if (!conversionArgs(cs, src, srclen, dst)) return -1;
  if (cs->kind == Kind::kMulti) {
    kel::IconvLease cd(cs->fromUtf8);
    if (!cd.ok()) return -1;
    return kel::runIconv(cd.get(), src, srclen, dst, dstlen);
  }
  const unsigned char* in = reinterpret_cast<const unsigned char*>(src);
  size_t out = 0;
  for (size_t i = 0; i < srclen;) {
    uint32_t cp;
    int n = kel::utf8Decode(in + i, srclen - i, &cp);
    if (n < 0) {
      errno = EILSEQ;
      return -1;
    }
    char buf[4];
    int m = kel::encodeChar(cs, cp, buf);
    if (m < 0) {
      errno = EILSEQ;
      return -1;
    }
    if (!put(dst, dstlen, out, buf, m)) return -1;
    i += n;
  }
  return static_cast<int>(out);
}

}  // extern "C"
