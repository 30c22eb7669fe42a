// zbase: loading shared libraries and resolving their symbols.
#ifndef Z_ZSHAREDLIBRARY_H_
#define Z_ZSHAREDLIBRARY_H_

#include "Z/zversion.h"

#ifdef __cplusplus
extern "C" {
#endif

// Thin wrappers of the dynamic loader that report an error number instead
// of failing silently. Each sets *error (when error is not null) to 0 on
// success. None of them throws.

// dlopen. A mode of 0 means RTLD_NOW | RTLD_GLOBAL. A null name gives
// *error = 2 (ENOENT) and null; a failed dlopen gives *error = errno.
void* zdlopen(const char* name, int mode, int* error);

// dlsym. A null handle or symbol, or a symbol that resolves to null, gives
// *error = errno and null.
void* zdlsym(void* handle, const char* symbol, int* error);

// dlclose. Returns 0 on success and -1 on failure; a null handle gives
// *error = 2, a failing dlclose *error = errno.
int zdlclose(void* handle, int* error);

// A copy of the loader's last error text, allocated with malloc: the caller
// frees it. Null when the loader has no error to report (and *error = 0), or
// when the copy cannot be made (*error = ENOMEM).
char* zdlerror(int* error);

#ifdef __cplusplus
}  // extern "C"

#include "Z/ZLCString.h"
#include "Z/ZObject.h"

// What every shared library offers: its name, the loader's mode bits, the
// last error, and loading, unloading and symbol resolution. Not a ZObject.
// Not safe to share between threads without the caller's own lock.
class ZAbstractSharedLibrary {
 public:
  // flags are dlopen mode bits; 0 means the default, RTLD_NOW | RTLD_GLOBAL.
  explicit ZAbstractSharedLibrary(const char* name, int flags = 0);
  virtual ~ZAbstractSharedLibrary();

  // The name given to the constructor (the suffix retries do not change it).
  virtual const ZLCString& getLibraryName() const;
  virtual int getFlags() const;
  virtual void setFlags(int flags);
  virtual const ZLCString& getLastErrorMessage() const;
  virtual int getLastErrorNumber() const;
  // Always 0, whatever the flags say: deliberately not derived from them.
  virtual int getLocalScope() const;
  // Non-zero clears RTLD_GLOBAL in the flags, zero sets it. Flags of 0 stand
  // for the default mode, which is spelled out before the bit is changed.
  virtual void setLocalScope(int local);
  // The RTLD_LAZY bit of the flags.
  virtual int getLazyResolution() const;
  // Non-zero replaces RTLD_NOW by RTLD_LAZY in the flags, zero the reverse;
  // flags of 0 are spelled out first, as for setLocalScope.
  virtual void setLazyResolution(int lazy);
  virtual void loadLibrary() = 0;
  virtual void unloadLibrary() = 0;
  virtual void* resolveSymbol(const char* symbol) = 0;
  // A null text is taken as empty.
  virtual void setLastErrorMessage(const char* text);
  virtual void setLastErrorNumber(int number);

 protected:
  // Records the number and the loader's current error text, or "" when the
  // loader has none.
  void setLastError(int number);

  ZLCString libraryName_;
  ZLCString librarySuffix_;
  ZLCString alternateLibrarySuffix_;
  int flags_;
  ZLCString lastErrorMessage_;
  int lastErrorNumber_;

 private:
  ZAbstractSharedLibrary(const ZAbstractSharedLibrary&) = delete;
  ZAbstractSharedLibrary& operator=(const ZAbstractSharedLibrary&) = delete;
};

// A shared library loaded with the dynamic loader. loadLibrary() tries the
// name as given, then with the suffix ".so" added (or cut off when the name
// already ends with it), and then runs the initialize() hook. Failures throw
// ZSharedLibraryLoadException or ZSharedLibraryResolveException carrying the
// loader's text; the last error stays readable afterwards. The destructor
// unloads a library that is still loaded. Not safe to share between threads
// without the caller's own lock.
class ZSharedLibrary : public ZAbstractSharedLibrary, public ZObject {
 public:
  explicit ZSharedLibrary(const char* name, int flags = 0);
  ~ZSharedLibrary() override;

  // Throws ZSharedLibraryLoadException when no name can be loaded, or when
  // initialize() refuses; in that case the library stays loaded.
  void loadLibrary() override;
  // Throws ZSharedLibraryLoadException when the library is not loaded or the
  // loader refuses to unload it.
  void unloadLibrary() override;
  // Throws ZSharedLibraryResolveException when the symbol is not found.
  void* resolveSymbol(const char* symbol) override;

  // Libraries compare, and hash, by their names.
  int compare(const ZObject& other) const override;
  // A library of the same name and flags, not loaded.
  ZObject* clone() const override;
  unsigned int hash() const override;
  // The loader's handle, or null when the library is not loaded.
  virtual void* getHandle() const;
  // Runs after every successful load; a non-zero result fails the load.
  // Subclasses override it to set up what they need; this one returns 0.
  virtual int initialize();

 private:
  void* handle_;
};

#endif  // __cplusplus

#endif  // Z_ZSHAREDLIBRARY_H_
