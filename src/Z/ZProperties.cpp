// zbase: the properties object, its values, change notices, registry and iterators.
#include "Z/ZProperties.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "Z/ZBuffer.h"
#include "Z/ZException.h"
#include "Z/ZFileLock.h"
#include "Z/ZFileUse.h"
#include "Z/ZMessage.h"
#include "Z/zkelutil.h"

namespace {

const char kDatabaseStanza[] = "configuration-database";
const char kSideFileKey[] = "file";
const char kSideFileSuffix[] = ".obf";
// Buffer sizes for the working directory: the access check of a bare file
// name, and the absolute name of a side file.
const size_t kAccessCwdSize = 1024;
const size_t kSideFileCwdSize = 4096;

int isBlank(const char* s) { return s == nullptr || *s == '\0'; }

// The modified and loading flags are read without the object's lock (by
// isModified and on the way to a notice), so they are written atomically.
void setFlag(int& flag, int value) { __atomic_store_n(&flag, value, __ATOMIC_RELAXED); }

// For calls whose failure changes nothing for the caller.
void ignoreResult(int) {}

// Closes a stream on every path out of a scope, unless released.
class StreamCloser {
 public:
  explicit StreamCloser(FILE* f) : f_(f) {}
  ~StreamCloser() {
    if (f_ != nullptr) std::fclose(f_);
  }
  StreamCloser(const StreamCloser&) = delete;
  StreamCloser& operator=(const StreamCloser&) = delete;
  int close() {
    FILE* f = f_;
    f_ = nullptr;
    return std::fclose(f);
  }

 private:
  FILE* f_;
};

// Closes a descriptor on every path out of a scope, unless released.
class FdCloser {
 public:
  explicit FdCloser(int fd) : fd_(fd) {}
  ~FdCloser() {
    if (fd_ >= 0) ::close(fd_);
  }
  FdCloser(const FdCloser&) = delete;
  FdCloser& operator=(const FdCloser&) = delete;
  int close() {
    int fd = fd_;
    fd_ = -1;
    return ::close(fd);
  }

 private:
  int fd_;
};

// Writes all of `data` at offset 0 onwards; 0 or the errno of the failure.
int writeAll(int fd, const char* data, size_t length) {
  size_t done = 0;
  while (done < length) {
    ssize_t n = ::pwrite(fd, data + done, length - done, static_cast<off_t>(done));
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (n == 0) return EIO;
    done += static_cast<size_t>(n);
  }
  return 0;
}

// Cuts a file back to the size it had before a reservation grew it; only
// zero bytes past the old end go.
void restoreSize(int fd, off_t oldSize) {
  struct stat st;
  if (::fstat(fd, &st) == 0 && st.st_size > oldSize) {
    ignoreResult(::ftruncate(fd, oldSize));
  }
}

// Reserves room for `length` bytes from the start of the file, so that the
// overwriting that follows cannot run out of space or past a size limit.
// The file may grow (with zero bytes) to that length; `oldSize` receives the
// size before, so that a failure can put it back, and a failed reservation
// puts it back itself. 0 or an error number.
int reserve(int fd, size_t length, off_t& oldSize) {
  struct stat st;
  if (::fstat(fd, &st) != 0) return errno;
  oldSize = st.st_size;
  if (length == 0) return 0;
  int rc;
  do {
    rc = ::posix_fallocate(fd, 0, static_cast<off_t>(length));
  } while (rc == EINTR);
  if (rc != 0) restoreSize(fd, oldSize);
  return rc;
}

// The text that a writer produces into an in-memory stream.
class MemoryText {
 public:
  MemoryText() : data_(nullptr), size_(0) {}
  ~MemoryText() { std::free(data_); }
  MemoryText(const MemoryText&) = delete;
  MemoryText& operator=(const MemoryText&) = delete;

  char* data_;
  size_t size_;
};

// The side file's bytes are written owner-only first, then given the
// configuration file's owner, group and mode before a value is written, so
// that the hidden values are never readable by anyone the configuration
// file does not admit. An existing side file keeps its old bytes until the
// room for the new ones is reserved.
void writeSideFile(const char* sideFile, const ZBuffer& data, const struct stat& config) {
  int fd = ::open(sideFile, O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (fd < 0) {
    ZPropertiesIOException(sideFile, "fopen(w)", errno).throwException("src/Z/ZProperties", 150);
  }
  FdCloser closer(fd);
  // Results ignored: only the owner may give a file away, and the mode
  // below still closes it to others.
  ignoreResult(::fchown(fd, config.st_uid, config.st_gid));
  ignoreResult(::fchmod(fd, config.st_mode & 07777));
  size_t length = data.getLength();
  off_t oldSize = 0;
  int rc = reserve(fd, length, oldSize);
  if (rc != 0) {
    ZPropertiesIOException(sideFile, "posix_fallocate()", rc)
        .throwException("src/Z/ZProperties", 162);
  }
  rc = writeAll(fd, static_cast<const char*>(data.getBuffer()), length);
  if (rc != 0) {
    ZPropertiesIOException(sideFile, "write()", rc).throwException("src/Z/ZProperties", 166);
  }
  if (::ftruncate(fd, static_cast<off_t>(length)) != 0) {
    ZPropertiesIOException(sideFile, "ftruncate()", errno).throwException("src/Z/ZProperties", 169);
  }
  if (closer.close() != 0) {
    ZPropertiesIOException(sideFile, "close()", errno).throwException("src/Z/ZProperties", 172);
  }
}

// The working directory into a buffer of `size` bytes; an empty text when
// it does not fit. ZOutOfMemoryException when the buffer cannot be had.
ZLCString workingDirectory(size_t size) {
  char* buffer = static_cast<char*>(std::malloc(size));
  if (buffer == nullptr) ZOutOfMemoryException().throwException("src/Z/ZProperties", 180);
  ZLCString dir;
  if (::getcwd(buffer, size) != nullptr) dir = buffer;
  std::free(buffer);
  return dir;
}

}  // namespace

// ---------------------------------------------------------------- ZPropertyChanged

ZPropertyChanged::ZPropertyChanged(PropertyStyle s, PropertyChangeType t, const char* st,
                                   const char* k)
    : stanza(st), key(k), style(s), type(t) {}

ZPropertyChanged::~ZPropertyChanged() {}

// ---------------------------------------------------------------- ZAbstractProperties

ZAbstractProperties::ZPropResourceLock::ZPropResourceLock(ZLockInterface& lock) : lock_(lock) {
  lock_.lock();
}

ZAbstractProperties::ZPropResourceLock::~ZPropResourceLock() {
  try {
    lock_.unlock();
  } catch (ZException& e) {
    ZMessageService::messageService()->outputException(e);
  }
}

ZAbstractProperties::ZAbstractProperties() {}

ZAbstractProperties::ZAbstractProperties(const ZAbstractProperties& other)
    : ZObject(other), ZPropertiesInterface(other) {}

ZAbstractProperties::~ZAbstractProperties() {}

// ---------------------------------------------------------------- checks of files

void checkFileAccess(const char* path) {
  if (::access(path, F_OK) == 0) {
    if (::access(path, R_OK | W_OK) != 0) {
      ZPropertiesIOException(path, "access()", errno).throwException("src/Z/ZProperties", 223);
    }
    return;
  }
  ZLCString dir;
  const char* slash = zstrrchr(zgetLCSHandle(), path, '/');
  if (slash == path) {
    dir = "/";
  } else if (slash != nullptr) {
    dir = ZLCString(path, static_cast<unsigned int>(slash - path));
  } else {
    dir = workingDirectory(kAccessCwdSize);
    if (dir.isEmpty()) dir = ".";
  }
  if (::access(dir.getChars(), R_OK | W_OK) != 0) {
    ZPropertiesIOException(dir.getChars(), "access()", errno)
        .throwException("src/Z/ZProperties", 239);
  }
}

int checkAndSetTimeStamp(const char* path, long& timeStamp) {
  struct stat st;
  if (::access(path, F_OK) != 0 || ::stat(path, &st) != 0) return 0;
  long mtime = static_cast<long>(st.st_mtime);
  if (mtime == timeStamp) return 0;
  timeStamp = mtime;
  return 1;
}

// ---------------------------------------------------------------- ZProperties: life

ZProperties::ZProperties(ZPCache* c) : cache(c), modified(0), loading(0), timeStamp(0) {}

namespace {
ZPCache* cloneUnderLock(const ZProperties& other) {
  ZAbstractProperties::ZPropResourceLock guard(other.getResourceLock());
  return other.getCache() != nullptr ? other.getCache()->clone() : nullptr;
}
}  // namespace

ZProperties::ZProperties(const ZProperties& other)
    : ZAbstractProperties(other),
      ZAbstractObservable(),
      ZPropertiesMutableInterface(other),
      cache(cloneUnderLock(other)),
      modified(0),
      loading(0),
      timeStamp(0) {}

ZProperties::~ZProperties() { delete cache; }

const char* ZProperties::choosePath(const char* name) const {
  if (!isBlank(name)) return name;
  if (!fileName.isEmpty()) return fileName.getChars();
  ZInvalidParameterException().throwException("src/Z/ZProperties", 277);
}

// ---------------------------------------------------------------- ZProperties: files

void ZProperties::load(const char* name) {
  ZLCString path(choosePath(name));
  ZPropResourceLock guard(resourceLock);
  if (fileName.isEmpty()) fileName = path;

  ZFileUse closer;  // shared with the other loads of the file
  FILE* f = closer.open(path.getChars(), 0);
  if (f == nullptr && !closer.refused()) {
    ZPropertiesIOException(path.getChars(), "fopen(r)", closer.error())
        .throwException("src/Z/ZProperties", 290);
  }
  if (f == nullptr) {  // a store of this or another process has the file
    ZPropertiesIOException(path.getChars(), "fcntl()", closer.error())
        .throwException("src/Z/ZProperties", 297);
  }
  setFlag(loading, 1);
  cache->be_read(path.getChars(), f);

  // The file stays locked (against stores of this process and of others)
  // until the side file is read: a store rewrites the side file only while
  // it has the file alone, so the mapped bytes cannot shrink beneath us.

  if (!cache->name.isEmpty()) {
    ZLCString sideFile(cache->name);
    ZUnixFileMap map(sideFile.getChars(), ZAbstractFileMap::readOnly, 1);
    int error = 0;
    void* address = map.mapfile(&error, 0);
    if (error != 0 || address == nullptr) {
      ZPropertiesIOException(sideFile.getChars(), "mapFile()", error != 0 ? error : EINVAL)
          .throwException("src/Z/ZProperties", 313);
    }
    // The buffer only borrows the mapped bytes; it is emptied before it goes,
    // and the map unmaps when it goes.
    ZBuffer buffer;
    buffer.setBufferNoCopy(map.getLength(), address);
    unsigned long takenLength = 0;
    void* taken = nullptr;
    try {
      cache->be_read_obfuscated(buffer);
    } catch (...) {
      buffer.takeBuffer(takenLength, taken);
      throw;
    }
    buffer.takeBuffer(takenLength, taken);
    map.unmapfile(&error);
  }
  closer.close();

  postLoad(path.getChars());
  setFlag(modified, 0);
  setFlag(loading, 0);
  checkAndSetTimeStamp(path.getChars(), timeStamp);
}

void ZProperties::reload(const char* name) {
  ZPropResourceLock guard(resourceLock);
  if (fileName.isEmpty() && isBlank(name)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 341);
  }
  cache->clear();
  load(name);
}

void ZProperties::store(const char* name) {
  ZLCString path(choosePath(name));
  checkFileAccess(path.getChars());
  ZPropResourceLock guard(resourceLock);
  if (fileName.isEmpty()) fileName = path;

  // Settle the side file. A side file that is no longer wanted goes only
  // after the new text is in place, so that the file on disk never points
  // at a side file that is gone.
  int hasMarks = cache->obfuscatedItems.size() > 0;
  ZLCString dropSideFile;
  if (hasMarks) {
    if (cache->name.isEmpty()) {
      ZLCString side;
      if (path.getChars()[0] != '/') {
        side = workingDirectory(kSideFileCwdSize);
        side += "/";
      }
      side += path;
      side += kSideFileSuffix;
      cache->name = side;
    }
    checkFileAccess(cache->name.getChars());
  } else {
    if (!cache->name.isEmpty()) dropSideFile = cache->name;
    cache->delLine(kDatabaseStanza, kSideFileKey);
  }

  ZBuffer side;
  if (hasMarks) {
    cache->be_write_obfuscated(side);
    if (side.getLength() > 0) {
      // An empty "file =" names no side file: it must be filled in too.
      if (cache->countValues(kDatabaseStanza, kSideFileKey) == 0) {
        cache->addLine(kDatabaseStanza, kSideFileKey, cache->name.getChars(), 0);
      }
    } else {
      dropSideFile = cache->name;
      cache->delLine(kDatabaseStanza, kSideFileKey);
    }
  }

  // The new text is made while an existing file is held, so that what it
  // is made from cannot change under it; a missing file is created only
  // after its text is made. Either way a text that the writer refuses leaves
  // the file system as it was.
  MemoryText text;
  auto makeText = [&] {
    FILE* memory = ::open_memstream(&text.data_, &text.size_);
    if (memory == nullptr) {
      ZPropertiesIOException(path.getChars(), "open_memstream()", errno)
          .throwException("src/Z/ZProperties", 420);
    }
    {
      StreamCloser memoryCloser(memory);
      cache->be_write(path.getChars(), memory);
      if (std::ferror(memory) || std::fflush(memory) != 0) {
        int err = errno != 0 ? errno : EIO;
        ZPropertiesIOException(path.getChars(), "be_write()", err)
            .throwException("src/Z/ZProperties", 428);
      }
      if (memoryCloser.close() != 0) {
        ZPropertiesIOException(path.getChars(), "be_write()", errno)
            .throwException("src/Z/ZProperties", 432);
      }
    }
  };
  struct stat existing;
  bool exists = ::stat(path.getChars(), &existing) == 0;
  if (!exists) makeText();

  // Update in place. The file has this store alone: no load or store of another
  // object or process runs meanwhile, so the side file is never rewritten
  // under a load that maps it.
  ZFileUse closer;
  FILE* f = closer.open(path.getChars(), 1);
  if (f == nullptr && !closer.refused()) {
    ZPropertiesIOException(path.getChars(), "fopen(r+)", closer.error())
        .throwException("src/Z/ZProperties", 391);
  }
  if (f == nullptr) {  // busy: refused at once, never waited for
    ZPropertiesIOException(path.getChars(), "fcntl()", closer.error())
        .throwException("src/Z/ZProperties", 399);
  }
  if (exists) makeText();
  int fd = fileno(f);

  off_t oldSize = 0;
  int rc = reserve(fd, text.size_, oldSize);
  if (rc != 0) {
    ZPropertiesIOException(path.getChars(), "posix_fallocate()", rc)
        .throwException("src/Z/ZProperties", 440);
  }
  if (side.getLength() > 0) {
    // Until the side file is written the old text is untouched; a failure
    // takes back the room reserved for the new one.
    try {
      struct stat config;
      if (::fstat(fd, &config) != 0) {
        ZPropertiesIOException(path.getChars(), "fstat()", errno)
            .throwException("src/Z/ZProperties", 449);
      }
      writeSideFile(cache->name.getChars(), side, config);
    } catch (...) {
      restoreSize(fd, oldSize);
      throw;
    }
  }
  rc = writeAll(fd, text.data_, text.size_);
  if (rc != 0) {
    ZPropertiesIOException(path.getChars(), "write()", rc).throwException("src/Z/ZProperties", 459);
  }
  if (::ftruncate(fd, static_cast<off_t>(text.size_)) != 0) {
    ZPropertiesIOException(path.getChars(), "ftruncate()", errno)
        .throwException("src/Z/ZProperties", 463);
  }
  // Nothing was written through the stream, so closing it only drops the
  // lock.
  closer.close();

  if (!dropSideFile.isEmpty()) ::unlink(dropSideFile.getChars());
  setFlag(modified, 0);
  setFlag(loading, 0);
  checkAndSetTimeStamp(path.getChars(), timeStamp);
}

void ZProperties::list() {
  ZPropResourceLock guard(resourceLock);
  cache->list(stdout);
}

namespace {
// The object registered for `name`, else for another name of the same file
// (same device and inode; `name` is then registered for it too), else null.
// The caller holds the registry lock.
ZProperties* registered(ZHashKeyMap& registry, const char* name) {
  ZLCString key(name);
  ZObject* found = registry.getEntry(&key);
  struct stat wanted;
  if (found != nullptr || ::stat(name, &wanted) != 0) return static_cast<ZProperties*>(found);
  ZArrayList names(10, 0);
  registry.listKeys(names);
  for (unsigned int i = 0; i < names.size() && found == nullptr; ++i) {
    struct stat st;
    if (::stat(static_cast<ZLCString*>(names.get(i))->getChars(), &st) == 0 &&
        st.st_dev == wanted.st_dev && st.st_ino == wanted.st_ino) {
      found = registry.getEntry(names.get(i));
      registry.putEntry(new ZLCString(name), found);
    }
  }
  return static_cast<ZProperties*>(found);
}
}  // namespace

ZProperties* ZProperties::getPropertiesFor(const char* name, ZAbstractPropertiesFactory& factory,
                                           int forceReload) {
  if (isBlank(name)) ZInvalidParameterException().throwException("src/Z/ZProperties", 482);
  // No object's lock is taken under the registry lock: a thread holding an
  // object's lock (an iterator, say) may be waiting for the registry.
  ZProperties* found;
  {
    ZPropRegistry registryGuard;
    found = registered(factory.registry, name);
  }
  if (found == nullptr) {
    ZProperties* made = factory.makePropertiesInstance();
    try {
      made->load(name);
    } catch (...) {
      delete made;
      throw;
    }
    {
      ZPropRegistry registryGuard;
      found = registered(factory.registry, name);
      if (found == nullptr) {
        factory.registry.putEntry(new ZLCString(name), made);
        return made;
      }
    }
    delete made;  // another thread registered the file meanwhile
  }
  ZPropResourceLock guard(found->resourceLock);
  int reloadIt = forceReload != 0;
  if (!reloadIt && !found->isModified()) reloadIt = checkAndSetTimeStamp(name, found->timeStamp);
  if (reloadIt) found->reload(name);
  return found;
}

// ---------------------------------------------------------------- ZProperties: reading

int ZProperties::exists(const char* stanza, const char* key) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 508);
  }
  ZPropResourceLock guard(resourceLock);
  return cache->contains(stanza, key);
}

int ZProperties::exists(const char* stanza) {
  if (isBlank(stanza)) ZInvalidParameterException().throwException("src/Z/ZProperties", 515);
  ZPropResourceLock guard(resourceLock);
  return cache->contains(stanza);
}

int ZProperties::isObfuscated(const char* stanza, const char* key) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 522);
  }
  ZPropResourceLock guard(resourceLock);
  if (!exists(stanza, key)) ZInvalidParameterException().throwException("src/Z/ZProperties", 525);
  return cache->isObfuscated(stanza, key);
}

int ZProperties::isObfuscated(const char* fullKey) {
  if (isBlank(fullKey)) ZInvalidParameterException().throwException("src/Z/ZProperties", 530);
  ZPropResourceLock guard(resourceLock);
  if (!exists(fullKey)) ZInvalidParameterException().throwException("src/Z/ZProperties", 532);
  return cache->isObfuscated(fullKey);
}

unsigned int ZProperties::count() {
  ZPropResourceLock guard(resourceLock);
  return cache->count();
}

unsigned int ZProperties::count(const char* stanza) {
  if (isBlank(stanza)) ZInvalidParameterException().throwException("src/Z/ZProperties", 542);
  ZPropResourceLock guard(resourceLock);
  return cache->keyCount(stanza);
}

unsigned int ZProperties::numValues(const char* stanza, const char* key) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 549);
  }
  ZPropResourceLock guard(resourceLock);
  ZArrayList* values = cache->get(stanza, key, ZPCache::GET_ANY);
  return values != nullptr ? values->size() : 0;
}

unsigned int ZProperties::numValues(const char* fullKey) {
  if (isBlank(fullKey)) ZInvalidParameterException().throwException("src/Z/ZProperties", 557);
  ZPropResourceLock guard(resourceLock);
  ZArrayList* values = cache->get(fullKey, ZPCache::GET_ANY);
  return values != nullptr ? values->size() : 0;
}

ZArrayList* ZProperties::get(const char* stanza, const char* key) const {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 565);
  }
  return cache->get(stanza, key, ZPCache::GET_ANY);
}

void ZProperties::keyNames(const char* stanza, ZArrayList& list) const {
  if (!list.ownsMembers()) ZInvalidParameterException().throwException("src/Z/ZProperties", 571);
  list.removeAll();  // a missing stanza leaves nothing behind
  cache->getNames(stanza, list);
}
void ZProperties::keyNames(ZArrayList& list) const {
  if (!list.ownsMembers()) ZInvalidParameterException().throwException("src/Z/ZProperties", 576);
  list.removeAll();
  cache->getNames(list);
}

ZLCString* ZProperties::extractValue(ZPCache* from, const char* stanza, const char* key,
                                     int mustExist) const {
  ZArrayList* values = (stanza != nullptr && key != nullptr)
                           ? from->get(stanza, key, ZPCache::GET_ANY)
                           : from->get(stanza, ZPCache::GET_ANY);
  if (values == nullptr || values->size() == 0) {
    if (mustExist) {
      ZPropertiesMissingPropertyException(fileName.getChars(), stanza, key)
          .throwException("src/Z/ZProperties", 589);
    }
    return nullptr;
  }
  return static_cast<ZLCString*>(values->get(values->size() - 1));
}

namespace {
// Puts a local-code-set text into `out`, converting it when `out` is of the
// other code set.
void assignText(ZAbstractMutableString& out, const ZLCString& text) {
  if (out.getCodesetHandle() == text.getCodesetHandle()) {
    out.setChars(text);
  } else {
    out.clear();
    out.convertFromCodeSet(text);
  }
}
}  // namespace

void ZProperties::getValue(const char* stanza, const char* key, ZAbstractMutableString& out,
                           int mustExist, const char* defaultValue) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 612);
  }
  if (mustExist && defaultValue != nullptr) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 615);
  }
  ZPropResourceLock guard(resourceLock);
  ZLCString* value = extractValue(cache, stanza, key, mustExist);
  if (value != nullptr) {
    assignText(out, *value);
  } else if (defaultValue != nullptr) {
    assignText(out, ZLCString(defaultValue));
  } else {
    assignText(out, ZPCache::empty_ != nullptr ? *ZPCache::empty_ : ZLCString());
  }
}

int ZProperties::convertToInt(const char* text, unsigned int& out) {
  out = 0;
  if (isBlank(text)) return 1;
  char* end = nullptr;
  unsigned long value = std::strtoul(text, &end, 0);
  if (end == text || *end != '\0') return 0;
  out = static_cast<unsigned int>(value);
  return 1;
}

int ZProperties::convertToBoolean(const char* text, int& out) {
  out = 0;
  if (isBlank(text)) return 1;
  static const char* const kTrue[] = {"yes", "y", "true", "t", "1"};
  static const char* const kFalse[] = {"no", "n", "false", "f", "0"};
  for (const char* word : kTrue) {
    if (::strcasecmp(text, word) == 0) {
      out = 1;
      return 1;
    }
  }
  for (const char* word : kFalse) {
    if (::strcasecmp(text, word) == 0) return 1;
  }
  return 0;
}

unsigned int ZProperties::getIntegerValue(const char* stanza, const char* key, int mustExist,
                                          unsigned int defaultValue) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 658);
  }
  if (mustExist && defaultValue != 0) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 661);
  }
  ZPropResourceLock guard(resourceLock);
  ZLCString* value = extractValue(cache, stanza, key, mustExist);
  if (value == nullptr) return defaultValue;
  unsigned int result = 0;
  if (!convertToInt(value->getChars(), result)) {
    ZPropertiesInvalidNumValueException(fileName.getChars(), stanza, key, value->getChars())
        .throwException("src/Z/ZProperties", 669);
  }
  return result;
}

long long ZProperties::getLongLongValue(const char* stanza, const char* key, int mustExist,
                                        long long defaultValue) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 677);
  }
  if (mustExist && defaultValue != 0) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 680);
  }
  ZPropResourceLock guard(resourceLock);
  ZLCString* value = extractValue(cache, stanza, key, mustExist);
  if (value == nullptr) return defaultValue;
  long long result = 0;
  char rest[2];
  if (std::sscanf(value->getChars(), "%lld%1s", &result, rest) != 1) {
    ZPropertiesInvalidNumValueException(fileName.getChars(), stanza, key, value->getChars())
        .throwException("src/Z/ZProperties", 689);
  }
  return result;
}

int ZProperties::getBooleanValue(const char* stanza, const char* key, int mustExist,
                                 int defaultValue) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 697);
  }
  if (mustExist && defaultValue != 0) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 700);
  }
  ZPropResourceLock guard(resourceLock);
  ZLCString* value = extractValue(cache, stanza, key, mustExist);
  if (value == nullptr) return defaultValue;
  int result = 0;
  if (!convertToBoolean(value->getChars(), result)) {
    ZPropertiesInvalidBoolValueException(fileName.getChars(), stanza, key, value->getChars())
        .throwException("src/Z/ZProperties", 708);
  }
  return result;
}

void ZProperties::getValues(const char* stanza, const char* key, ZArrayList& list,
                            ZPropertyStringType type) {
  int isObfuscated = 0;
  getValues(stanza, key, list, isObfuscated, type);
}

void ZProperties::getValues(const char* stanza, const char* key, ZArrayList& list,
                            int& isObfuscated, ZPropertyStringType type) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 722);
  }
  if (!list.ownsMembers()) ZInvalidParameterException().throwException("src/Z/ZProperties", 724);
  if (type != ZPROP_STRING_LOCAL && type != ZPROP_STRING_UTF8) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 726);
  }
  list.removeAll();
  ZPropResourceLock guard(resourceLock);
  ZArrayList* values = cache->get(stanza, key, isObfuscated, ZPCache::GET_ANY);
  if (values == nullptr) return;
  if (type == ZPROP_STRING_LOCAL) {
    list = *values;
  } else {
    for (unsigned int i = 0; i < values->size(); ++i) {
      list.addNoCopy(new ZUTF8String(*static_cast<ZLCString*>(values->get(i))));
    }
  }
}

void ZProperties::getEntryComment(const char* stanza, const char* key,
                                  ZAbstractMutableString& out) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 744);
  }
  ZLCString comment;
  {
    ZPropResourceLock guard(resourceLock);
    cache->getLineComment(stanza, key, comment);
  }
  assignText(out, comment);
}

// ---------------------------------------------------------------- ZProperties: changing

void ZProperties::checkAccess(const char* stanza, const char* key, int obfuscated) const {
  if (cache->countValues(stanza, key) == 0 || !cache->contains(stanza, key)) return;
  int held = cache->isObfuscated(stanza, key);
  if (obfuscated ? !held : held) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 760);
  }
}

void ZProperties::setValue(const char* stanza, const char* key, const char* value, int obfuscated) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 766);
  }
  {
    ZPropResourceLock guard(resourceLock);
    if (!isBlank(value)) checkAccess(stanza, key, obfuscated);
    cache->addLine(stanza, key, value, obfuscated);
    setModified();
  }
  sendChangeNotice(ZPropertyChanged::PROPERTY_STYLE_DEFAULT, ZPropertyChanged::PROPERTY_CHANGED,
                   stanza, key);
}

void ZProperties::setValue(const char* stanza, const char* key, const char* value) {
  setValue(stanza, key, value, 0);
}

void ZProperties::setValue(const char* stanza, const char* key, const ZLCString& value,
                           int obfuscated) {
  setValue(stanza, key, value.getChars(), obfuscated);
}

void ZProperties::setValue(const char* stanza, const char* key, const ZUTF8String& value,
                           int obfuscated) {
  ZLCString local(value);
  setValue(stanza, key, local.getChars(), obfuscated);
}

void ZProperties::setValue(const char* stanza, const char* key, const ZLCConstString& value,
                           int obfuscated) {
  setValue(stanza, key, value.getChars(), obfuscated);
}

void ZProperties::setValue(const char* stanza, const char* key, const ZUTF8ConstString& value,
                           int obfuscated) {
  ZLCString local(value);
  setValue(stanza, key, local.getChars(), obfuscated);
}

namespace {
// Sets one plain value through the same steps as setValue.
void setPlain(ZProperties& p, const char* stanza, const char* key, const char* text) {
  {
    ZAbstractProperties::ZPropResourceLock guard(p.getResourceLock());
    p.checkAccess(stanza, key, 0);
    p.getCache()->addLine(stanza, key, text, 0);
    p.setModified();
  }
  p.sendChangeNotice(ZPropertyChanged::PROPERTY_STYLE_DEFAULT, ZPropertyChanged::PROPERTY_CHANGED,
                     stanza, key);
}
}  // namespace

void ZProperties::setIntegerValue(const char* stanza, const char* key, unsigned int value) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 820);
  }
  ZLCString text(value);
  setPlain(*this, stanza, key, text.getChars());
}

void ZProperties::setLongLongValue(const char* stanza, const char* key, long long value) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 828);
  }
  char text[32];
  std::snprintf(text, sizeof text, "%lld", value);
  setPlain(*this, stanza, key, text);
}

void ZProperties::setBooleanValue(const char* stanza, const char* key, int value) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 837);
  }
  setPlain(*this, stanza, key, value ? "yes" : "no");
}

void ZProperties::deleteKey(const char* stanza, const char* key) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 844);
  }
  {
    ZPropResourceLock guard(resourceLock);
    cache->delLine(stanza, key);
    setModified();
  }
  sendChangeNotice(ZPropertyChanged::PROPERTY_STYLE_DEFAULT, ZPropertyChanged::PROPERTY_DELETED,
                   stanza, key);
}

void ZProperties::addFileComment(const char* comment) {
  if (isBlank(comment)) ZInvalidParameterException().throwException("src/Z/ZProperties", 856);
  ZLCString text(comment);
  checkComment(text);
  ZPropResourceLock guard(resourceLock);
  cache->addFileComment(text.getChars());
  setModified();
}

void ZProperties::addEntryComment(const char* stanza, const char* key, const char* comment) {
  if (isBlank(stanza) || isBlank(key) || isBlank(comment)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 866);
  }
  ZLCString text(comment);
  checkComment(text);
  ZPropResourceLock guard(resourceLock);
  cache->addLineComment(stanza, key, text.getChars());
  setModified();
}

void ZProperties::setEntryComment(const char* stanza, const char* key, const char* comment) {
  if (isBlank(stanza) || isBlank(key)) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 877);
  }
  ZLCString text(comment);
  if (comment != nullptr) checkComment(text);
  ZPropResourceLock guard(resourceLock);
  cache->setLineComment(stanza, key, comment != nullptr ? text.getChars() : nullptr);
  setModified();
}

void ZProperties::postLoad(const char*) {}

void ZProperties::checkComment(ZLCString&) {}

void ZProperties::setAttributes(unsigned long flags, void* data) {
  ZPropResourceLock guard(resourceLock);
  cache->setAttributes(flags, data);
}

void ZProperties::sendChangeNotice(int style, int type, const char* stanza, const char* key) {
  // Read without the lock: the notice goes out after it was released.
  if (__atomic_load_n(&loading, __ATOMIC_RELAXED)) return;
  ZPropertyChanged notice(static_cast<ZPropertyChanged::PropertyStyle>(style),
                          static_cast<ZPropertyChanged::PropertyChangeType>(type), stanza, key);
  notifyObservers(notice);
}

// ---------------------------------------------------------------- ZAbstractPropertiesFactory

ZAbstractPropertiesFactory::ZAbstractPropertiesFactory() : registry(10, 0) {}

ZAbstractPropertiesFactory::~ZAbstractPropertiesFactory() {
  ZArrayList names(10, 0);
  registry.listKeys(names);
  std::set<ZObject*> objects;  // one object may be registered under several names
  for (unsigned int i = 0; i < names.size(); ++i) objects.insert(registry.getEntry(names.get(i)));
  registry.removeAll();
  for (unsigned int i = 0; i < names.size(); ++i) delete names.get(i);
  for (ZObject* object : objects) delete object;
}

// ---------------------------------------------------------------- ZPropertiesIterator

ZAbstractPropertiesIterator::~ZAbstractPropertiesIterator() {}

ZPropertiesIterator::ZPropertiesIterator(ZProperties& p)
    : properties(p),
      lock(p.getResourceLock()),
      keys(nullptr),
      values(nullptr),
      index(-1),
      currentKey(nullptr) {}

ZPropertiesIterator::ZPropertiesIterator(ZProperties& p, const char* s)
    : stanza(s),
      properties(p),
      lock(p.getResourceLock()),
      keys(nullptr),
      values(nullptr),
      index(-1),
      currentKey(nullptr) {
  if (s == nullptr) ZInvalidParameterException().throwException("src/Z/ZProperties", 939);
  keys = properties.getCache()->getNames(s);
}

ZPropertiesIterator::~ZPropertiesIterator() {}

void ZPropertiesIterator::follow() const {
  if (stanza.isEmpty()) return;  // no stanza: the keys are the subclass's
  keys = properties.getCache()->getNames(stanza.getChars());
  if (currentKey == nullptr) return;
  // Compared by address only: the old key may be freed.
  if (keys == nullptr || index < 0 || static_cast<unsigned int>(index) >= keys->size() ||
      keys->get(static_cast<unsigned int>(index)) != currentKey) {
    currentKey = nullptr;
    values = nullptr;
  } else {
    values = const_cast<ZPropertiesIterator*>(this)->getValues(currentKey->getChars());
  }
}

int ZPropertiesIterator::hasMore() const {
  follow();
  if (keys == nullptr) return 0;
  if (index < -1) return 1;
  return static_cast<unsigned int>(index + 1) < keys->size();
}

void ZPropertiesIterator::nextEntry() {
  if (!hasMore()) {
    ZPropertiesIteratorException(properties.getFileName().getChars())
        .throwException("src/Z/ZProperties", 954);
  }
  values = nullptr;
  ++index;
  currentKey = (index >= 0 && static_cast<unsigned int>(index) < keys->size())
                   ? static_cast<ZLCString*>(keys->get(static_cast<unsigned int>(index)))
                   : nullptr;
  if (currentKey != nullptr) values = getValues(currentKey->getChars());
}

ZArrayList* ZPropertiesIterator::getValues(const char* k) {
  if (!stanza.isEmpty()) return properties.getCache()->get(stanza.getChars(), k, ZPCache::GET_ANY);
  return properties.getCache()->get(k, ZPCache::GET_ANY);
}

const char* ZPropertiesIterator::entryName() const {
  follow();
  if (currentKey == nullptr) {
    ZPropertiesIteratorException(properties.getFileName().getChars())
        .throwException("src/Z/ZProperties", 972);
  }
  return currentKey->getChars();
}

const char* ZPropertiesIterator::entryValue(int i) const {
  follow();
  if (index == -1) {
    ZPropertiesIteratorException(properties.getFileName().getChars())
        .throwException("src/Z/ZProperties", 980);
  }
  if (values == nullptr) return nullptr;
  if (i >= 0 && static_cast<unsigned int>(i) >= values->size()) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 984);
  }
  if (i < 0) return nullptr;
  ZLCString* value = static_cast<ZLCString*>(values->get(static_cast<unsigned int>(i)));
  return value != nullptr ? value->getChars() : nullptr;
}

unsigned int ZPropertiesIterator::keyCount() const {
  follow();
  return keys != nullptr ? keys->size() : 0;
}

unsigned int ZPropertiesIterator::valueCount() const {
  follow();
  if (index == -1) {
    ZPropertiesIteratorException(properties.getFileName().getChars())
        .throwException("src/Z/ZProperties", 996);
  }
  return values != nullptr ? values->size() : 0;
}

// ---------------------------------------------------------------- ZAbstractPropertyValuesIterator

ZPropertyValuesIteratorInterface::~ZPropertyValuesIteratorInterface() {}

ZAbstractPropertyValuesIterator::ZAbstractPropertyValuesIterator(ZProperties& p, const char* s,
                                                                 const char* k,
                                                                 ZPropertyStringType type, int sel)
    : values(nullptr),
      index(-1),
      properties(p),
      lock(p.getResourceLock()),
      stanza(s),
      key(k),
      stringType(type),
      holder(nullptr),
      selector(sel) {
  if (s == nullptr || k == nullptr || (type != ZPROP_STRING_LOCAL && type != ZPROP_STRING_UTF8) ||
      sel < 0 || sel > 2) {
    ZInvalidParameterException().throwException("src/Z/ZProperties", 1019);
  }
  if (sel != 0) properties.checkAccess(s, k, sel == 2);
  ZPCache* cache = properties.getCache();
  ZPCache::get_type_e slot;
  if (sel == 0) {
    slot = cache->isObfuscated(s, k) ? ZPCache::GET_OBFUSCATED : ZPCache::GET_PLAIN;
  } else {
    slot = sel == 2 ? ZPCache::GET_OBFUSCATED : ZPCache::GET_PLAIN;
  }
  if (type == ZPROP_STRING_UTF8) {
    holder = new ZUTF8String();
  } else {
    holder = new ZLCConstString();
  }
  values = cache->get(s, k, slot);
}

ZAbstractPropertyValuesIterator::~ZAbstractPropertyValuesIterator() { delete holder; }

void ZAbstractPropertyValuesIterator::follow() const {
  if (values == nullptr) return;
  // Compared by address only: the old list may be freed.
  ZPCache* cache = properties.getCache();
  if (values != cache->get(stanza.getChars(), key.getChars(), ZPCache::GET_PLAIN) &&
      values != cache->get(stanza.getChars(), key.getChars(), ZPCache::GET_OBFUSCATED)) {
    values = nullptr;
  }
}

int ZAbstractPropertyValuesIterator::hasMore() const {
  follow();
  if (values == nullptr) return 0;
  if (index < -1) return 1;
  return static_cast<unsigned int>(index + 1) < values->size();
}

int ZAbstractPropertyValuesIterator::isValid() const {
  follow();
  return values != nullptr && index >= 0 && static_cast<unsigned int>(index) < values->size();
}

unsigned int ZAbstractPropertyValuesIterator::valueCount() const {
  follow();
  return values != nullptr ? values->size() : 0;
}

ZLCString* ZAbstractPropertyValuesIterator::nextValue() {
  if (!hasMore()) {
    ZPropertiesIteratorException(properties.getFileName().getChars())
        .throwException("src/Z/ZProperties", 1056);
  }
  ++index;
  if (index < 0) return nullptr;
  return static_cast<ZLCString*>(values->get(static_cast<unsigned int>(index)));
}

const char* ZAbstractPropertyValuesIterator::nextValue(const char*& out) {
  ZLCString* value = nextValue();
  if (stringType == ZPROP_STRING_UTF8) {
    ZUTF8String* text = static_cast<ZUTF8String*>(holder);
    if (value != nullptr) {
      *text = *value;
    } else {
      text->clear();
    }
  } else {
    *static_cast<ZLCConstString*>(holder) = value != nullptr ? value->getChars() : "";
  }
  out = holder->getChars();
  return out;
}

ZLCString ZAbstractPropertyValuesIterator::localText(const char* text) const {
  if (stringType == ZPROP_STRING_UTF8) return ZLCString(ZUTF8ConstString(text));
  return ZLCString(text);
}

void ZAbstractPropertyValuesIterator::changeValue(const char* text) {
  if (!isValid()) {
    ZPropertiesIteratorException(properties.getFileName().getChars())
        .throwException("src/Z/ZProperties", 1087);
  }
  ZLCString replacement(localText(text));
  values->set(static_cast<unsigned int>(index), &replacement);
  properties.setModified();
}

void ZAbstractPropertyValuesIterator::addValue(const char* text) {
  ZLCString value(localText(text));
  follow();
  if (values != nullptr && values->size() > 0) {
    values->add(static_cast<unsigned int>(index + 1), &value);
    ++index;
  } else {
    properties.setValue(stanza.getChars(), key.getChars(), value.getChars(), selector == 2);
    ++index;
    if (values == nullptr) {
      values =
          properties.getCache()->get(stanza.getChars(), key.getChars(),
                                     selector == 2 ? ZPCache::GET_OBFUSCATED : ZPCache::GET_PLAIN);
    }
  }
  properties.setModified();
}

void ZAbstractPropertyValuesIterator::removeValue() {
  if (!isValid()) {
    ZPropertiesIteratorException(properties.getFileName().getChars())
        .throwException("src/Z/ZProperties", 1114);
  }
  if (index == 0 && selector == 2) {
    properties.setValue(stanza.getChars(), key.getChars(), "");
  } else {
    values->remove(static_cast<unsigned int>(index));
  }
  --index;
  properties.setModified();
}
