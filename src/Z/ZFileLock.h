// zbase: process read-write locks over lock files, and memory-mapped files.
#ifndef Z_ZFILELOCK_H_
#define Z_ZFILELOCK_H_

#include "Z/zversion.h"

#include <cstdint>

#include "Z/ZLCString.h"
#include "Z/ZLock.h"
#include "Z/ZProcessLock.h"

// A read-write lock between the processes of one machine, kept in a small
// lock file: "._zpl" followed by the lock name, in the lock directory (or
// the current directory when none is set). The file holds the shared
// sequence number (8 bytes at offset 0, native order) and the process id of
// the last process that asked for the lock (4 bytes at offset 8). Two byte
// ranges serve as locks: the data range (offset 0, length 8), taken shared
// for read and exclusive for write, and the gate (offset 8, length 4), which
// every request takes exclusively first and a writer keeps, so that readers
// arriving after a waiting writer queue behind it.
//
// Inside a process all threads share one file lock: the in-process lock
// decides which threads may hold it, only the first reader and the writer
// touch the file, and only the last reader releases it. Protect is taken as
// write. Taking a lock that finds the sequence moved since this process last
// looked upgrades to write and tells the observers (ZSequenceUpdate).
//
// Safe to share between threads. File waits are unbounded.
class ZAbstractProcessReadWriteFileLock : public ZAbstractProcessReadWriteLock {
 public:
  ZAbstractProcessReadWriteFileLock();
  explicit ZAbstractProcessReadWriteFileLock(const char* lockName);
  // setLockDirName(lockDir) is applied before the file name is built.
  ZAbstractProcessReadWriteFileLock(const char* lockName, const char* lockDir);
  // Copies the names; the copy is unlocked.
  ZAbstractProcessReadWriteFileLock(const ZAbstractProcessReadWriteFileLock& other);
  ZAbstractProcessReadWriteFileLock& operator=(const ZAbstractProcessReadWriteFileLock& other);
  ~ZAbstractProcessReadWriteFileLock() override;

  // By the lock file name.
  unsigned int hash() const override;
  int compare(const ZObject& other) const override;

  // writeLock().
  void lock() override;
  // Takes (or for 0 releases) the lock with change detection: when the
  // shared sequence moved since this process last synchronised and somebody
  // observes the lock, the caller ends up holding write (with the update
  // flag 0, so that the release does not raise the sequence) and the
  // observers receive one ZSequenceUpdate. The first lock of an object
  // never reports a change.
  void lock(zlockstate state) override;
  // Only with write held: the sequence plus one (skipping invalidSequence)
  // is written to the lock file and kept. Otherwise throws
  // ZInvalidResourceStateException with the name of the state held.
  void incSequence() override;

  virtual const ZLCString& getLockDirName() const;
  // A non-null directory must exist with the owner write and search bits
  // (else ZInvalidParameterException); null means none. Changing it while a
  // lock is held throws ZInvalidResourceStateException.
  virtual void setLockDirName(const char* dir);
  virtual const ZLCString& getLockFileName() const;
  // Gate (exclusive, waiting), process id, data range in the state's mode;
  // a reader lets go of the gate at once, a writer keeps it.
  virtual void lockFile(zlockstate state);
  // Data range, then the gate when write is held.
  virtual void unlockFile();
  // The in-process and the file part of taking or releasing a lock; reads
  // the shared sequence when the file lock is taken.
  virtual void dolock(zlockstate state);
  // Rebuilds the lock file name from the directory and `name`.
  virtual void setLockFileName(const char* name);
  virtual void lockFileRange(zlockstate state, unsigned int offset, unsigned int length) = 0;
  virtual void unlockFileRange(unsigned int offset, unsigned int length) = 0;
  // 0 when the lock file is empty.
  virtual void readSequenceNumber(unsigned long* sequence);
  virtual void writeSequenceNumber(unsigned long sequence);
  virtual void writePid();
  virtual void writeBytes(void* buffer, unsigned int offset, unsigned int length) = 0;
  virtual void readBytes(void* buffer, unsigned int offset, unsigned int length) = 0;

 private:
  ZLCString lockDir_;
  ZLCString lockFileName_;
  // Serialises the file operations of the threads of this process.
  ZLock fileMutex_;
};

// The lock-file flavour on POSIX record locks (fcntl, waiting). The lock
// file is created on first use (read-write, data-synchronised writes,
// permission bits 02600) and never removed; it is opened when the first
// range is locked and closed when the last file lock is released, which
// drops every record lock of this process on that file.
//
// Record locks belong to the process: two objects of one process on the
// same lock file do not exclude each other, and closing either drops both
// locks. Use one object per lock file per process.
class ZUnixProcessReadWriteFileLock : public ZAbstractProcessReadWriteFileLock {
 public:
  ZUnixProcessReadWriteFileLock();
  explicit ZUnixProcessReadWriteFileLock(const char* lockName);
  ZUnixProcessReadWriteFileLock(const char* lockName, const char* lockDir);
  // Copies the names; the copy has no open file.
  ZUnixProcessReadWriteFileLock(const ZUnixProcessReadWriteFileLock& other);
  ZUnixProcessReadWriteFileLock& operator=(const ZUnixProcessReadWriteFileLock& other);
  // Closes the lock file if it is open (which drops its record locks).
  ~ZUnixProcessReadWriteFileLock() override;

  // Then closes the lock file.
  void unlockFile() override;
  // Opens (creates) the lock file if needed. 0 releases, 1 reads, 2 and 3
  // write; any other state throws ZInvalidResourceStateException. Failures
  // throw ZLockResourceException (33) or ZUnlockResourceException (34) with
  // errno.
  void lockFileRange(zlockstate state, unsigned int offset, unsigned int length) override;
  void unlockFileRange(unsigned int offset, unsigned int length) override;
  // A short write zeroes the kept sequence and throws
  // ZWriteResourceException (33, errno).
  void writeBytes(void* buffer, unsigned int offset, unsigned int length) override;
  // An empty lock file leaves the buffer untouched; any other short read
  // throws ZReadResourceException (35).
  void readBytes(void* buffer, unsigned int offset, unsigned int length) override;

 private:
  void openFile();
  void closeFile();

  int32_t fd_;
};

// The lock-file flavour without a file: in-process locking only, with the
// sequence number kept in memory.
class ZStubProcessReadWriteFileLock : public ZAbstractProcessReadWriteFileLock {
 public:
  ZStubProcessReadWriteFileLock();
  explicit ZStubProcessReadWriteFileLock(const char* lockName);
  ZStubProcessReadWriteFileLock(const char* lockName, const char* lockDir);
  ZStubProcessReadWriteFileLock(const ZStubProcessReadWriteFileLock& other);
  ZStubProcessReadWriteFileLock& operator=(const ZStubProcessReadWriteFileLock& other);
  ~ZStubProcessReadWriteFileLock() override;

  void lockFile(zlockstate state) override;
  void unlockFile() override;
  void lockFileRange(zlockstate state, unsigned int offset, unsigned int length) override;
  void unlockFileRange(unsigned int offset, unsigned int length) override;
  void readSequenceNumber(unsigned long* sequence) override;
  void writeSequenceNumber(unsigned long sequence) override;
  void writeBytes(void* buffer, unsigned int offset, unsigned int length) override;
  void readBytes(void* buffer, unsigned int offset, unsigned int length) override;

 private:
  unsigned long sequence_;
};

// A file mapped into memory. Not a ZObject; not copyable. Not safe to share
// between threads while one of them maps or unmaps.
class ZAbstractFileMap {
 public:
  // 0 read-only; 1 read-write, creating the file and extending it to the
  // mapped length; any other value read-write.
  enum zmapmode : int { readOnly = 0, readWriteCreate = 1, readWrite = 2 };

  // `flag` is kept for the caller and has no effect on mapping.
  ZAbstractFileMap(const char* fileName, zmapmode mode, int flag);
  ZAbstractFileMap(const ZAbstractFileMap&) = delete;
  ZAbstractFileMap& operator=(const ZAbstractFileMap&) = delete;

  // Maps `length` bytes (0: the whole file) and returns the address, or
  // null with *rc set to an error number.
  virtual void* mapfile(int* rc, unsigned long length) = 0;
  // Unmaps and closes; *rc is 0 or the errno of the failing call.
  virtual void unmapfile(int* rc) = 0;
  virtual ~ZAbstractFileMap();

  const ZLCString& getFileName() const { return fileName_; }
  zmapmode getMapMode() const { return mode_; }
  int getFlag() const { return flag_; }
  // Null when not mapped.
  void* getAddress() const { return address_; }
  unsigned int getLength() const { return length_; }

 protected:
  ZLCString fileName_;
  zmapmode mode_;
  int flag_;
  void* address_;
  unsigned int length_;
};

// The file map on mmap (shared mappings). Files it creates get owner read
// and write permission.
class ZUnixFileMap : public ZAbstractFileMap {
 public:
  ZUnixFileMap(const char* fileName, zmapmode mode, int flag);
  // Unmaps and closes what is still open.
  ~ZUnixFileMap() override;

  void* mapfile(int* rc, unsigned long length) override;
  void unmapfile(int* rc) override;

 private:
  int32_t fd_;
};

#endif  // Z_ZFILELOCK_H_
