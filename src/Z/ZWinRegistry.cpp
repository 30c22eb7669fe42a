// zbase: access to the Windows registry, which this platform does not have.
#include "Z/ZWinRegistry.h"

#include "Z/ZException.h"

ZWinRegistry::ZWinRegistry() {}

ZWinRegistry::~ZWinRegistry() {}

bool ZWinRegistry::exists(const char*, const char*) {
  ZInvalidPlatformException().throwException("src/Z/ZWinRegistry", 30);
}

int ZWinRegistry::getValue(const char*, const char*, ZAbstractMutableString&) {
  ZInvalidPlatformException().throwException("src/Z/ZWinRegistry", 88);
}
