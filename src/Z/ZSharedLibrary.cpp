// zbase: loading shared libraries and resolving their symbols.
#include "Z/ZSharedLibrary.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Z/ZException.h"

namespace {

const int kDefaultMode = RTLD_NOW | RTLD_GLOBAL;

// The error number for a missing name or handle.
const int kNoSuchEntry = 2;

// Drops the loader's pending error text, so that zdlerror after a failed
// call reports that call and nothing older.
void clearLoaderError() { (void)dlerror(); }

}  // namespace

void* zdlopen(const char* name, int mode, int* error) {
  if (error != nullptr) *error = 0;
  if (name == nullptr) {
    if (error != nullptr) *error = kNoSuchEntry;
    return nullptr;
  }
  clearLoaderError();
  // The loader does not always set errno: start from 0 rather than report
  // a stale number.
  errno = 0;
  void* handle = dlopen(name, mode == 0 ? kDefaultMode : mode);
  if (handle == nullptr && error != nullptr) *error = errno;
  return handle;
}

void* zdlsym(void* handle, const char* symbol, int* error) {
  if (error != nullptr) *error = 0;
  if (handle == nullptr || symbol == nullptr) {
    if (error != nullptr) *error = errno;
    return nullptr;
  }
  clearLoaderError();
  void* address = dlsym(handle, symbol);
  if (address == nullptr && error != nullptr) *error = errno;
  return address;
}

int zdlclose(void* handle, int* error) {
  if (error != nullptr) *error = 0;
  clearLoaderError();
  if (handle == nullptr) {
    if (error != nullptr) *error = kNoSuchEntry;
    return -1;
  }
  if (dlclose(handle) != 0) {
    if (error != nullptr) *error = errno;
    return -1;
  }
  return 0;
}

char* zdlerror(int* error) {
  if (error != nullptr) *error = 0;
  const char* text = dlerror();
  if (text == nullptr) return nullptr;
  char* copy = strdup(text);
  if (copy == nullptr && error != nullptr) *error = ENOMEM;
  return copy;
}

ZAbstractSharedLibrary::ZAbstractSharedLibrary(const char* name, int flags)
    : libraryName_(name),
      librarySuffix_(".so"),
      alternateLibrarySuffix_(".so"),
      flags_(flags),
      lastErrorMessage_(),
      lastErrorNumber_(0) {}

ZAbstractSharedLibrary::~ZAbstractSharedLibrary() {}

const ZLCString& ZAbstractSharedLibrary::getLibraryName() const { return libraryName_; }

int ZAbstractSharedLibrary::getFlags() const { return flags_; }

void ZAbstractSharedLibrary::setFlags(int flags) { flags_ = flags; }

const ZLCString& ZAbstractSharedLibrary::getLastErrorMessage() const { return lastErrorMessage_; }

int ZAbstractSharedLibrary::getLastErrorNumber() const { return lastErrorNumber_; }

int ZAbstractSharedLibrary::getLocalScope() const { return 0; }

void ZAbstractSharedLibrary::setLocalScope(int local) {
  int flags = flags_ == 0 ? kDefaultMode : flags_;
  flags_ = local != 0 ? (flags & ~RTLD_GLOBAL) : (flags | RTLD_GLOBAL);
}

int ZAbstractSharedLibrary::getLazyResolution() const { return flags_ & RTLD_LAZY; }

void ZAbstractSharedLibrary::setLazyResolution(int lazy) {
  int flags = flags_ == 0 ? kDefaultMode : flags_;
  flags_ = lazy != 0 ? ((flags & ~RTLD_NOW) | RTLD_LAZY) : ((flags & ~RTLD_LAZY) | RTLD_NOW);
}

void ZAbstractSharedLibrary::setLastErrorMessage(const char* text) {
  lastErrorMessage_ = text != nullptr ? text : "";
}

void ZAbstractSharedLibrary::setLastErrorNumber(int number) { lastErrorNumber_ = number; }

void ZAbstractSharedLibrary::setLastError(int number) {
  setLastErrorNumber(number);
  int ignored;
  char* text = zdlerror(&ignored);
  setLastErrorMessage(text != nullptr ? text : "");
  std::free(text);
}

ZSharedLibrary::ZSharedLibrary(const char* name, int flags)
    : ZAbstractSharedLibrary(name, flags), ZObject(), handle_(nullptr) {}

ZSharedLibrary::~ZSharedLibrary() {
  if (handle_ != nullptr) {
    int error;
    zdlclose(handle_, &error);
  }
}

void ZSharedLibrary::loadLibrary() {
  int error;
  void* handle = zdlopen(libraryName_.getChars(), flags_, &error);
  if (handle == nullptr) {
    setLastError(error);
    const ZLCString* suffixes[] = {&librarySuffix_, &alternateLibrarySuffix_};
    for (const ZLCString* suffix : suffixes) {
      ZLCString name(libraryName_);
      if (name.endsWith(suffix->getChars())) {
        // A name that ends with the suffix has its last occurrence there.
        name.trunc(name.getLength() - suffix->getLength());
      } else {
        name += *suffix;
      }
      handle = zdlopen(name.getChars(), flags_, &error);
      if (handle != nullptr) break;
      setLastError(error);
    }
  }
  if (handle == nullptr) {
    ZSharedLibraryLoadException e(libraryName_.getChars(), lastErrorMessage_.getChars(),
                                  lastErrorNumber_);
    e.throwException("src/Z/ZSharedLibrary", 155);
  }
  // Loading again only adds a reference to the same handle: drop the old one.
  if (handle_ != nullptr) zdlclose(handle_, &error);
  handle_ = handle;
  if (initialize() != 0) {
    ZSharedLibraryLoadException e(libraryName_.getChars(), "initialize", lastErrorNumber_);
    e.throwException("src/Z/ZSharedLibrary", 162);
  }
}

void ZSharedLibrary::unloadLibrary() {
  int error;
  if (zdlclose(handle_, &error) != 0) {
    setLastError(error);
    ZSharedLibraryLoadException e(libraryName_.getChars(), lastErrorMessage_.getChars(),
                                  lastErrorNumber_);
    e.throwException("src/Z/ZSharedLibrary", 172);
  }
  handle_ = nullptr;
}

void* ZSharedLibrary::resolveSymbol(const char* symbol) {
  int error;
  void* address = zdlsym(handle_, symbol, &error);
  if (address == nullptr) {
    setLastError(error);
    ZSharedLibraryResolveException e(libraryName_.getChars(), symbol != nullptr ? symbol : "",
                                     lastErrorMessage_.getChars(), lastErrorNumber_);
    e.throwException("src/Z/ZSharedLibrary", 184);
  }
  return address;
}

int ZSharedLibrary::compare(const ZObject& other) const {
  const ZSharedLibrary* library = dynamic_cast<const ZSharedLibrary*>(&other);
  if (library == nullptr) return ZObject::compare(other);
  int rc = std::strcmp(libraryName_.getChars(), library->libraryName_.getChars());
  return rc < 0 ? -1 : rc > 0 ? 1 : 0;
}

ZObject* ZSharedLibrary::clone() const {
  return new ZSharedLibrary(libraryName_.getChars(), flags_);
}

unsigned int ZSharedLibrary::hash() const { return libraryName_.hash(); }

void* ZSharedLibrary::getHandle() const { return handle_; }

int ZSharedLibrary::initialize() { return 0; }
