// zbase: the local host name and small platform helpers.
#ifndef Z_ZLOCALHOSTNAME_H_
#define Z_ZLOCALHOSTNAME_H_

#include "Z/zversion.h"

#ifdef __cplusplus
extern "C" {
#endif

// Results of zconvert_UTF16_to_UTF8.
#define ZCONVERT_OK 0
#define ZCONVERT_TARGET_EXHAUSTED 2

// Converts the UTF-16 code units from *sourceStart up to sourceEnd into UTF-8
// from *targetStart, never writing at or beyond targetEnd. A surrogate pair
// becomes one four-byte character; an unpaired surrogate is encoded as if it
// were an ordinary code point (three bytes), without error. Returns
// ZCONVERT_OK when all input was converted and ZCONVERT_TARGET_EXHAUSTED when
// the next character did not fit; in both cases *sourceStart and *targetStart
// are left where the conversion stopped (at the first unit that did not fit).
int zconvert_UTF16_to_UTF8(const unsigned short** sourceStart, const unsigned short* sourceEnd,
                           unsigned char** targetStart, unsigned char* targetEnd);

// Sets the descriptor's close-on-exec flag: cleared when inherit is non-zero,
// set when it is 0. Returns 1 on success and 0 on failure. The two names are
// one operation (sockets are descriptors here).
int zsetfileinheritance(int descriptor, int inherit);
int zsetfileinheritancesocket(int descriptor, int inherit);

// inet_pton and inet_ntop, results unchanged.
int zinet_pton(int family, const char* text, void* buffer);
const char* zinet_ntop(int family, const void* address, char* buffer, unsigned int length);

#ifdef __cplusplus
}  // extern "C"

#include "Z/ZLCString.h"

// The name of the local host.
class ZLocalHostName {
 public:
  // The host's official name, looked up afresh on every call (nothing is
  // cached, so a renamed host is seen at once). A failed lookup is reported
  // through the message service (messages 25 and 26, with errno as insert)
  // and yields an empty string; only a failed allocation throws
  // (ZOutOfMemoryException). Safe to call from several threads.
  static ZLCString getLocalHostName();
};

#endif  // __cplusplus

#endif  // Z_ZLOCALHOSTNAME_H_
