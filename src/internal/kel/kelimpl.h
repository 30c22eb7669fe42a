// zbase: internals of libkel shared by its sources (not installed).
#ifndef KEL_KELIMPL_H_
#define KEL_KELIMPL_H_

#include <iconv.h>
#include <locale.h>
#include <stdint.h>

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "kel/kel.h"

namespace kel {

// A small pool of iconv descriptors for one direction. A descriptor carries
// shift state, so it is used by one thread at a time: callers lease one, and
// it goes back reset.
class IconvPool {
 public:
  IconvPool(std::string to, std::string from);
  ~IconvPool();
  IconvPool(const IconvPool&) = delete;
  IconvPool& operator=(const IconvPool&) = delete;

  iconv_t acquire();  // (iconv_t)-1 when the converter cannot be opened
  void release(iconv_t cd);

 private:
  std::string to_;
  std::string from_;
  std::mutex mu_;
  std::vector<iconv_t> free_;
};

// Borrows one converter from a pool for a scope and gives it back at the
// end; ok() is false when none could be opened. Used by one thread.
class IconvLease {
 public:
  explicit IconvLease(IconvPool& pool) : pool_(pool), cd_(pool.acquire()) {}
  ~IconvLease() {
    if (ok()) pool_.release(cd_);
  }
  IconvLease(const IconvLease&) = delete;
  IconvLease& operator=(const IconvLease&) = delete;
  bool ok() const { return cd_ != reinterpret_cast<iconv_t>(-1); }
  iconv_t get() const { return cd_; }

 private:
  IconvPool& pool_;
  iconv_t cd_;
};

enum class Kind { kUtf8, kSingle, kMulti };

}  // namespace kel

// The code-set handle. Immutable after kel_cs_new except for the pools,
// which lock themselves.
struct kel_cs_rec {
  kel_cs_rec(const std::string& iconv_name, kel::Kind k);

  std::string name;
  kel::Kind kind;
  int mbMax = 1;

  // Single-byte code sets: byte -> code point (-1: not a character), code
  // point -> byte, and the case tables.
  int32_t toUcs[256];
  std::unordered_map<uint32_t, unsigned char> fromUcs;
  unsigned char upper[256];
  unsigned char lower[256];

  // Converters for multibyte code sets other than UTF-8.
  kel::IconvPool toUtf8;    // code set -> UTF-8
  kel::IconvPool fromUtf8;  // UTF-8 -> code set
  kel::IconvPool toWide;    // code set -> UCS-4LE
  kel::IconvPool fromWide;  // UCS-4LE -> code set
};

// The locale handle: the locale's name and the C library locale made from it,
// immutable after kel_loc_new.
struct kel_loc_rec {
  std::string name;
  locale_t loc;
};

namespace kel {

constexpr uint32_t kNoChar = 0xFFFFFFFFu;

// Strict UTF-8: no overlong forms, surrogates or values above U+10FFFF.
// Returns the length (1 to 4), or -1 for a malformed or truncated sequence.
// A zero byte decodes as U+0000 of length 1.
int utf8Decode(const unsigned char* s, size_t n, uint32_t* cp);
// Returns the length (1 to 4), or -1 when cp is not a Unicode scalar value.
int utf8Encode(uint32_t cp, char* out);

// One character of cs at s, looking at no more than n bytes: its length and
// code point. A zero byte is U+0000 of length 1. -1 if malformed or truncated.
int decodeChar(const kel_cs_rec* cs, const char* s, size_t n, uint32_t* cp);
// Encodes cp (at most KEL_MB_LEN_MAX bytes); -1 if cs has no such character.
int encodeChar(const kel_cs_rec* cs, uint32_t cp, char* out);

// Unicode case mapping and classes, independent of the process locale.
uint32_t toUpper(uint32_t cp);
uint32_t toLower(uint32_t cp);
enum class Class { kUpper, kLower, kSpace, kDigit, kAlpha, kAlnum };
bool isClass(uint32_t cp, Class c);

// Runs one whole conversion and flushes the shift state. Returns the bytes
// written or -1 with errno set.
int runIconv(iconv_t cd, const char* src, size_t srclen, char* dst, size_t dstlen);

}  // namespace kel

#endif  // KEL_KELIMPL_H_
