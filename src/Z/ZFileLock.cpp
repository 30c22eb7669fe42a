// zbase: process read-write locks over lock files, and memory-mapped files.
#include "Z/ZFileLock.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Z/ZException.h"
#include "Z/ZMessage.h"

namespace {

// The layout of a lock file: the sequence number, then the process id of
// the last requester. The same byte ranges serve as the data lock and the
// gate.
const unsigned int kDataOffset = 0;
const unsigned int kDataLength = 8;
const unsigned int kGateOffset = 8;
const unsigned int kGateLength = 4;

const char kLockFilePrefix[] = "._zpl";
// Set-group-id without group execute marks the file for mandatory locking
// where the system offers it (deliberate).
const mode_t kLockFileMode = 02600;
const mode_t kMappedFileMode = 0600;

}  // namespace

// ----------------------------------------------------------------
// ZAbstractProcessReadWriteFileLock

ZAbstractProcessReadWriteFileLock::ZAbstractProcessReadWriteFileLock() { setLockFileName(""); }

ZAbstractProcessReadWriteFileLock::ZAbstractProcessReadWriteFileLock(const char* lockName)
    : ZAbstractProcessReadWriteLock(lockName) {
  setLockFileName(lockName);
}

ZAbstractProcessReadWriteFileLock::ZAbstractProcessReadWriteFileLock(const char* lockName,
                                                                     const char* lockDir)
    : ZAbstractProcessReadWriteLock(lockName) {
  setLockDirName(lockDir);
  setLockFileName(lockName);
}

ZAbstractProcessReadWriteFileLock::ZAbstractProcessReadWriteFileLock(
    const ZAbstractProcessReadWriteFileLock& other)
    : ZAbstractProcessReadWriteLock(other),
      lockDir_(other.lockDir_),
      lockFileName_(other.lockFileName_),
      fileMutex_() {}

ZAbstractProcessReadWriteFileLock& ZAbstractProcessReadWriteFileLock::operator=(
    const ZAbstractProcessReadWriteFileLock& other) {
  if (this != &other) {
    ZAbstractProcessReadWriteLock::operator=(other);
    lockDir_ = other.lockDir_;
    lockFileName_ = other.lockFileName_;
  }
  return *this;
}

ZAbstractProcessReadWriteFileLock::~ZAbstractProcessReadWriteFileLock() {}

unsigned int ZAbstractProcessReadWriteFileLock::hash() const { return lockFileName_.hash(); }

int ZAbstractProcessReadWriteFileLock::compare(const ZObject& other) const {
  const ZAbstractProcessReadWriteFileLock* o =
      dynamic_cast<const ZAbstractProcessReadWriteFileLock*>(&other);
  if (o == nullptr) return ZObject::compare(other);
  return lockFileName_.compare(o->lockFileName_.getChars());
}

void ZAbstractProcessReadWriteFileLock::lock() { writeLock(); }

void ZAbstractProcessReadWriteFileLock::lock(zlockstate state) {
  if (state == kUnset) {
    dolock(kUnset);
    return;
  }
  zlockstate wanted = state == kProtect ? kWrite : state;
  dolock(wanted);
  setUpdate(wanted == kWrite ? 1 : 0);
  // The first lock of an object only learns where the sequence stands.
  if (getLastSequence() == invalidSequence) setLastSequence();
  if (isCurrent()) return;
  // Without observers the difference stays, to be reported by a later lock
  // once somebody observes (unless a release records it as seen first).
  if (countObservers() == 0) return;
  if (wanted != kWrite) {
    // Observers refresh shared state, so they get the lock exclusively; the
    // release must not raise the sequence for that.
    dolock(kUnset);
    dolock(kWrite);
    setUpdate(0);
  }
  notifyLockObservers();
}

void ZAbstractProcessReadWriteFileLock::incSequence() {
  zlockstate held = getLockState();
  if (held != kWrite) {
    ZInvalidResourceStateException(getLockStateName(held)).throwException("src/Z/ZFileLock", 115);
  }
  unsigned long next = getSequence() + 1;
  if (next == invalidSequence) next = 0;
  writeSequenceNumber(next);
  setSequence(next);
}

const ZLCString& ZAbstractProcessReadWriteFileLock::getLockDirName() const { return lockDir_; }

void ZAbstractProcessReadWriteFileLock::setLockDirName(const char* dir) {
  if (dir != nullptr) {
    const mode_t needed = S_IFDIR | S_IWUSR | S_IXUSR;
    struct stat st;
    if (stat(dir, &st) != 0 || (st.st_mode & needed) != needed) {
      ZInvalidParameterException().throwException("src/Z/ZFileLock", 130);
    }
  }
  const char* text = dir != nullptr ? dir : "";
  ZResourceLock guard(fileMutex_);
  if (lockDir_.equals(text)) return;
  zlockstate held = getLockState();
  if (held != kUnset) {
    ZInvalidResourceStateException(getLockStateName(held)).throwException("src/Z/ZFileLock", 138);
  }
  lockDir_ = text;
  setLockFileName(getLockName().getChars());
}

const ZLCString& ZAbstractProcessReadWriteFileLock::getLockFileName() const {
  return lockFileName_;
}

void ZAbstractProcessReadWriteFileLock::lockFile(zlockstate state) {
  lockFileRange(kWrite, kGateOffset, kGateLength);
  try {
    writePid();
    lockFileRange(state, kDataOffset, kDataLength);
  } catch (...) {
    try {
      unlockFileRange(kGateOffset, kGateLength);
    } catch (...) {
      // The first failure is the one worth reporting.
    }
    throw;
  }
  // A writer keeps the gate, so that readers coming after it queue there
  // instead of starving it.
  if (state == kRead) unlockFileRange(kGateOffset, kGateLength);
}

void ZAbstractProcessReadWriteFileLock::unlockFile() {
  unlockFileRange(kDataOffset, kDataLength);
  if (getLockState() == kWrite) unlockFileRange(kGateOffset, kGateLength);
}

void ZAbstractProcessReadWriteFileLock::dolock(zlockstate state) {
  if (static_cast<int>(state) < 0 || static_cast<int>(state) > 3) {
    ZInvalidResourceStateException(getLockStateName(state)).throwException("src/Z/ZFileLock", 173);
  }
  ZReadWriteLock& inProcess = inProcessLock();
  if (state == kUnset) {
    ZResourceLock guard(fileMutex_);
    zlockstate held = getLockState();
    if (held != kWrite && getReaderCount() > 1) {
      // Other threads of this process still read under the file lock.
      inProcess.unlock();
      return;
    }
    setUpdate(0);
    if (held != kUnset) {
      try {
        unlockFile();
      } catch (...) {
        setLockState(kUnset);
        inProcess.unlock();
        throw;
      }
      setLockState(kUnset);
    }
    inProcess.unlock();
    return;
  }

  if (state == kProtect) state = kWrite;
  // Outside the file mutex: this may wait for other threads of the process.
  inProcess.lock(state);
  ZResourceLock guard(fileMutex_);
  zlockstate held = getLockState();
  if (state == kWrite && held != kUnset) {
    inProcess.unlock();
    ZInvalidResourceStateException(getLockStateName(held)).throwException("src/Z/ZFileLock", 206);
  }
  if (held != kUnset) return;  // another thread of this process reads already
  try {
    lockFile(state);
  } catch (...) {
    inProcess.unlock();
    throw;
  }
  setLockState(state);
  unsigned long sequence = 0;
  try {
    readSequenceNumber(&sequence);
  } catch (...) {
    try {
      unlockFile();
    } catch (...) {
      // The read failure is the one worth reporting.
    }
    setLockState(kUnset);
    inProcess.unlock();
    throw;
  }
  setSequence(sequence);
}

void ZAbstractProcessReadWriteFileLock::setLockFileName(const char* name) {
  ZLCString path;
  if (!lockDir_.isEmpty()) {
    path += lockDir_;
    path += "/";
  }
  path += kLockFilePrefix;
  path += name;
  lockFileName_ = path;
}

void ZAbstractProcessReadWriteFileLock::readSequenceNumber(unsigned long* sequence) {
  *sequence = 0;
  readBytes(sequence, kDataOffset, kDataLength);
}

void ZAbstractProcessReadWriteFileLock::writeSequenceNumber(unsigned long sequence) {
  writeBytes(&sequence, kDataOffset, kDataLength);
}

void ZAbstractProcessReadWriteFileLock::writePid() {
  int32_t pid = static_cast<int32_t>(getpid());
  writeBytes(&pid, kGateOffset, kGateLength);
}

// ---------------------------------------------------------------- ZUnixProcessReadWriteFileLock

ZUnixProcessReadWriteFileLock::ZUnixProcessReadWriteFileLock() : fd_(-1) {}

ZUnixProcessReadWriteFileLock::ZUnixProcessReadWriteFileLock(const char* lockName)
    : ZAbstractProcessReadWriteFileLock(lockName), fd_(-1) {}

ZUnixProcessReadWriteFileLock::ZUnixProcessReadWriteFileLock(const char* lockName,
                                                             const char* lockDir)
    : ZAbstractProcessReadWriteFileLock(lockName, lockDir), fd_(-1) {}

ZUnixProcessReadWriteFileLock::ZUnixProcessReadWriteFileLock(
    const ZUnixProcessReadWriteFileLock& other)
    : ZAbstractProcessReadWriteFileLock(other), fd_(-1) {}

ZUnixProcessReadWriteFileLock& ZUnixProcessReadWriteFileLock::operator=(
    const ZUnixProcessReadWriteFileLock& other) {
  ZAbstractProcessReadWriteFileLock::operator=(other);
  return *this;
}

ZUnixProcessReadWriteFileLock::~ZUnixProcessReadWriteFileLock() { closeFile(); }

void ZUnixProcessReadWriteFileLock::openFile() {
  // A failed open is not reported here: the fcntl that follows fails on the
  // closed descriptor and reports it.
  fd_ = open(getLockFileName().getChars(), O_RDWR | O_CREAT | O_DSYNC, kLockFileMode);
}

void ZUnixProcessReadWriteFileLock::closeFile() {
  if (fd_ >= 0) {
    close(fd_);
    fd_ = -1;
  }
}

void ZUnixProcessReadWriteFileLock::unlockFile() {
  try {
    ZAbstractProcessReadWriteFileLock::unlockFile();
  } catch (...) {
    closeFile();
    throw;
  }
  closeFile();
}

void ZUnixProcessReadWriteFileLock::lockFileRange(zlockstate state, unsigned int offset,
                                                  unsigned int length) {
  if (fd_ < 0) openFile();
  errno = 0;
  struct flock fl = {};
  switch (static_cast<int>(state)) {
    case 0:
      fl.l_type = F_UNLCK;
      break;
    case 1:
      fl.l_type = F_RDLCK;
      break;
    case 2:
    case 3:
      fl.l_type = F_WRLCK;
      break;
    default:
      ZInvalidResourceStateException(getLockStateName(state))
          .throwException("src/Z/ZFileLock", 321);
  }
  fl.l_whence = SEEK_SET;
  fl.l_start = offset;
  fl.l_len = length;
  int rc;
  do {
    rc = fcntl(fd_, F_SETLKW, &fl);
  } while (rc == -1 && errno == EINTR);
  if (rc == -1) {
    int err = errno;
    if (state == kUnset) {
      ZUnlockResourceException(kZMsgProcessLockRelease, err).throwException("src/Z/ZFileLock", 333);
    }
    ZLockResourceException(kZMsgProcessLockObtain, err).throwException("src/Z/ZFileLock", 335);
  }
}

void ZUnixProcessReadWriteFileLock::unlockFileRange(unsigned int offset, unsigned int length) {
  lockFileRange(kUnset, offset, length);
}

void ZUnixProcessReadWriteFileLock::writeBytes(void* buffer, unsigned int offset,
                                               unsigned int length) {
  errno = 0;
  ssize_t written = -1;
  if (lseek(fd_, offset, SEEK_SET) != -1) {
    do {
      written = write(fd_, buffer, length);
    } while (written == -1 && errno == EINTR);
  }
  if (written != static_cast<ssize_t>(length)) {
    int err = errno;
    setSequence(0);
    // Reported under the lock-failure message number (33), deliberately:
    // callers look for that number.
    ZWriteResourceException(kZMsgProcessLockObtain, err).throwException("src/Z/ZFileLock", 356);
  }
}

void ZUnixProcessReadWriteFileLock::readBytes(void* buffer, unsigned int offset,
                                              unsigned int length) {
  errno = 0;
  ssize_t got = -1;
  if (lseek(fd_, offset, SEEK_SET) != -1) {
    do {
      got = read(fd_, buffer, length);
    } while (got == -1 && errno == EINTR);
  }
  if (got == static_cast<ssize_t>(length)) return;
  if (errno != 0) {
    ZReadResourceException(kZMsgProcessLockRead, errno).throwException("src/Z/ZFileLock", 371);
  }
  struct stat st;
  if (stat(getLockFileName().getChars(), &st) != 0) {
    ZReadResourceException(kZMsgProcessLockRead, errno).throwException("src/Z/ZFileLock", 375);
  }
  if (st.st_size == 0) return;  // a new lock file: sequence 0
  ZReadResourceException(kZMsgProcessLockRead, -1).throwException("src/Z/ZFileLock", 378);
}

// ---------------------------------------------------------------- ZStubProcessReadWriteFileLock

ZStubProcessReadWriteFileLock::ZStubProcessReadWriteFileLock() : sequence_(0) {}

ZStubProcessReadWriteFileLock::ZStubProcessReadWriteFileLock(const char* lockName)
    : ZAbstractProcessReadWriteFileLock(lockName), sequence_(0) {}

ZStubProcessReadWriteFileLock::ZStubProcessReadWriteFileLock(const char* lockName,
                                                             const char* lockDir)
    : ZAbstractProcessReadWriteFileLock(lockName, lockDir), sequence_(0) {}

ZStubProcessReadWriteFileLock::ZStubProcessReadWriteFileLock(
    const ZStubProcessReadWriteFileLock& other)
    : ZAbstractProcessReadWriteFileLock(other), sequence_(other.sequence_) {}

ZStubProcessReadWriteFileLock& ZStubProcessReadWriteFileLock::operator=(
    const ZStubProcessReadWriteFileLock& other) {
  ZAbstractProcessReadWriteFileLock::operator=(other);
  sequence_ = other.sequence_;
  return *this;
}

ZStubProcessReadWriteFileLock::~ZStubProcessReadWriteFileLock() {}

void ZStubProcessReadWriteFileLock::lockFile(zlockstate) {}

void ZStubProcessReadWriteFileLock::unlockFile() {}

void ZStubProcessReadWriteFileLock::lockFileRange(zlockstate, unsigned int, unsigned int) {}

void ZStubProcessReadWriteFileLock::unlockFileRange(unsigned int, unsigned int) {}

void ZStubProcessReadWriteFileLock::readSequenceNumber(unsigned long* sequence) {
  *sequence = sequence_;
}

void ZStubProcessReadWriteFileLock::writeSequenceNumber(unsigned long sequence) {
  sequence_ = sequence;
}

void ZStubProcessReadWriteFileLock::writeBytes(void*, unsigned int, unsigned int) {}

void ZStubProcessReadWriteFileLock::readBytes(void*, unsigned int, unsigned int) {}

// ---------------------------------------------------------------- ZAbstractFileMap

ZAbstractFileMap::ZAbstractFileMap(const char* fileName, zmapmode mode, int flag)
    : fileName_(fileName), mode_(mode), flag_(flag), address_(nullptr), length_(0) {}

ZAbstractFileMap::~ZAbstractFileMap() {}

// ---------------------------------------------------------------- ZUnixFileMap

ZUnixFileMap::ZUnixFileMap(const char* fileName, zmapmode mode, int flag)
    : ZAbstractFileMap(fileName, mode, flag), fd_(0) {}

ZUnixFileMap::~ZUnixFileMap() {
  int rc;
  unmapfile(&rc);
}

void* ZUnixFileMap::mapfile(int* rc, unsigned long length) {
  int ignored;
  if (address_ != nullptr || fd_ > 0) unmapfile(&ignored);

  *rc = 0;
  const char* name = fileName_.getChars();
  unsigned long size = 0;
  struct stat st;
  if (stat(name, &st) != 0) {
    *rc = errno;
  } else {
    size = static_cast<unsigned long>(st.st_size);
  }
  // A missing or empty file is reported as missing unless a later step
  // succeeds; mode 1 creates it.
  int missing = size == 0;
  if (missing) *rc = ENOENT;

  if (length == 0) length = size;
  if (length == 0 || length > UINT32_MAX) {
    *rc = EINVAL;
    return nullptr;
  }

  int isReadOnly = mode_ == readOnly;
  int flags = (isReadOnly ? O_RDONLY : O_RDWR) | O_NONBLOCK;
  if (missing && mode_ == readWriteCreate) flags |= O_CREAT;
  int fd = open(name, flags, kMappedFileMode);
  if (fd < 0) {
    *rc = errno;
    return nullptr;
  }
  if (fd == 0) {
    // Descriptor 0 counts as a failed open; do not leak it.
    close(fd);
    if (*rc == 0) *rc = EBADF;
    return nullptr;
  }
  fd_ = fd;

  if (mode_ == readWriteCreate) {
    struct stat now;
    if (fstat(fd, &now) != 0) {
      *rc = errno;
      unmapfile(&ignored);
      return nullptr;
    }
    if (static_cast<unsigned long>(now.st_size) < length) {
      const char zero = 0;
      if (lseek(fd, static_cast<off_t>(length - 1), SEEK_SET) == -1 || write(fd, &zero, 1) != 1 ||
          lseek(fd, 0, SEEK_SET) == -1) {
        *rc = errno;
        unmapfile(&ignored);
        return nullptr;
      }
    }
  }

  *rc = 0;
  length_ = static_cast<unsigned int>(length);
  void* address =
      mmap(nullptr, length, isReadOnly ? PROT_READ : PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (address == MAP_FAILED) {
    *rc = errno;
    unmapfile(&ignored);
    return nullptr;
  }
  address_ = address;
  return address;
}

void ZUnixFileMap::unmapfile(int* rc) {
  *rc = 0;
  if (address_ != nullptr) {
    if (munmap(address_, length_) != 0) *rc = errno;
    address_ = nullptr;
  }
  if (fd_ > 0) {
    if (close(fd_) != 0) *rc = errno;
    fd_ = 0;
  }
  length_ = 0;
}
