// zbase: converters between a code set and UTF-8 that fill byte buffers.
#include "Z/ZKELUTF8Converter.h"

#include <stdlib.h>
#include <string.h>

#include "Z/ZException.h"

ZAbstractUTF8Converter::ZAbstractUTF8Converter() {}

ZAbstractUTF8Converter::~ZAbstractUTF8Converter() {}

ZKELUTF8Converter::ZKELUTF8Converter() : handle_(nullptr) { init(nullptr, nullptr); }

ZKELUTF8Converter::ZKELUTF8Converter(const char* codeset, const char* dir) : handle_(nullptr) {
  init(codeset, dir);
}

void ZKELUTF8Converter::init(const char* codeset, const char* dir) {
  if (dir != nullptr) {
    kel_set_dir(dir);
  } else if (getenv("QXKELDIR") == nullptr) {
    ZNoKELEnvironmentException().throwException("src/Z/ZKELUTF8Converter", 60);
  }
  char platform[32];
  const char* name = codeset;
  if (codeset == nullptr && kel_os_cs_name(platform, sizeof platform) == 0) name = platform;
  localCodeSet_ = name;
  if (!localCodeSet_.isEmpty()) handle_ = kel_cs_new(localCodeSet_.getChars());
}

ZKELUTF8Converter::~ZKELUTF8Converter() {
  if (handle_ != nullptr) kel_cs_free(handle_);
}

const char* ZKELUTF8Converter::getLocalCodeSet() const { return localCodeSet_.getChars(); }

namespace {

// Sizes out to factor x strlen(src) + 1, converts src with its terminator
// into it and, on success, cuts out to the bytes written.
int convertInto(int (*convert)(kel_cs_handle, const char*, size_t, char*, size_t),
                kel_cs_handle handle, const char* src, unsigned long factor, ZBuffer& out) {
  if (src == nullptr) src = "";
  unsigned long len = strlen(src);
  unsigned long room = factor * len + 1;
  out.setLength(room);
  int n = convert(handle, src, len + 1, static_cast<char*>(out.getBuffer()), room);
  if (n >= 0) out.setBuffer(static_cast<unsigned long>(n), out.getBuffer());
  return n;
}

}  // namespace

int ZKELUTF8Converter::convertToUTF8(const char* src, ZBuffer& out) {
  return convertInto(kel_to_utf8, handle_, src, 3, out);
}

int ZKELUTF8Converter::convertToLocal(const char* src, ZBuffer& out) {
  return convertInto(kel_from_utf8, handle_, src, 2, out);
}
