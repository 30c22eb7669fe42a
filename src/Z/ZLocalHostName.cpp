// zbase: the local host name and small platform helpers.
#include "Z/ZLocalHostName.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "Z/ZException.h"
#include "Z/ZMessage.h"

namespace {

const size_t kHostNameSize = 256;

// A block from the C allocator, freed on every way out.
typedef std::unique_ptr<char, void (*)(void*)> Block;

// Reports a failed lookup through the message service, errno in decimal as
// the one insert.
void report(int line, int number, int error) {
  ZLCString rc(error);
  ZMessageService::messageService()->outputMessage("src/Z/ZLocalHostName", line, number, 1, &rc,
                                                   nullptr, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace

ZLCString ZLocalHostName::getLocalHostName() {
  Block name(static_cast<char*>(std::malloc(kHostNameSize)), &std::free);
  if (name == nullptr) {
    ZOutOfMemoryException().throwException("src/Z/ZLocalHostName", 36);
  }
  ZLCString result;
  if (gethostname(name.get(), kHostNameSize) != 0) {
    report(40, kZMsgGetHostName, errno);
    return result;
  }
  name.get()[kHostNameSize - 1] = '\0';
  // The reentrant lookup, so that threads do not share the resolver's
  // static result; its work area grows until the answer fits.
  Block work(nullptr, &std::free);
  struct hostent entry;
  struct hostent* found = nullptr;
  int lookupError = 0;
  for (size_t size = 1024;; size *= 2) {
    char* bigger = static_cast<char*>(std::realloc(work.get(), size));
    if (bigger == nullptr) {
      ZOutOfMemoryException().throwException("src/Z/ZLocalHostName", 53);
    }
    work.release();
    work.reset(bigger);
    errno = 0;
    if (gethostbyname_r(name.get(), &entry, work.get(), size, &found, &lookupError) != ERANGE) {
      break;
    }
  }
  if (found == nullptr) {
    report(63, kZMsgGetHostByName, errno);
    return result;
  }
  result = found->h_name;
  return result;
}

int zconvert_UTF16_to_UTF8(const unsigned short** sourceStart, const unsigned short* sourceEnd,
                           unsigned char** targetStart, unsigned char* targetEnd) {
  const unsigned short* source = *sourceStart;
  unsigned char* target = *targetStart;
  int result = ZCONVERT_OK;
  while (source < sourceEnd) {
    unsigned long ch = *source;
    const unsigned short* next = source + 1;
    if (ch >= 0xD800 && ch <= 0xDBFF && next < sourceEnd && *next >= 0xDC00 && *next <= 0xDFFF) {
      ch = ((ch - 0xD800) << 10) + (*next - 0xDC00) + 0x10000;
      ++next;
    }
    long bytes = ch < 0x80 ? 1 : ch < 0x800 ? 2 : ch < 0x10000 ? 3 : 4;
    if (targetEnd - target < bytes) {
      result = ZCONVERT_TARGET_EXHAUSTED;
      break;
    }
    static const unsigned char kFirstMark[] = {0x00, 0x00, 0xC0, 0xE0, 0xF0};
    for (long i = bytes - 1; i > 0; --i) {
      target[i] = static_cast<unsigned char>(0x80 | (ch & 0x3F));
      ch >>= 6;
    }
    target[0] = static_cast<unsigned char>(kFirstMark[bytes] | ch);
    target += bytes;
    source = next;
  }
  *sourceStart = source;
  *targetStart = target;
  return result;
}

int zsetfileinheritance(int descriptor, int inherit) {
  return zsetfileinheritancesocket(descriptor, inherit);
}

int zsetfileinheritancesocket(int descriptor, int inherit) {
  int flags = fcntl(descriptor, F_GETFD);
  if (flags == -1) return 0;
  flags = inherit != 0 ? (flags & ~FD_CLOEXEC) : (flags | FD_CLOEXEC);
  return fcntl(descriptor, F_SETFD, flags) == -1 ? 0 : 1;
}

int zinet_pton(int family, const char* text, void* buffer) {
  return inet_pton(family, text, buffer);
}

const char* zinet_ntop(int family, const void* address, char* buffer, unsigned int length) {
  return inet_ntop(family, address, buffer, length);
}
