// zbase: the loads and stores of one file between the objects of one process.
#ifndef Z_ZFILEUSE_H_
#define Z_ZFILEUSE_H_

#include <sys/types.h>

#include <cstdio>

// The use of one configuration file (one device and inode) by a load or a
// store of a properties object, excluding the other loads and stores of this
// process as a whole-file record lock excludes those of other processes:
// loads share the file, a store has it alone, and a use that would have to
// wait is refused at once, as F_SETLK refuses it. Record locks belong to the
// process, so they neither exclude two objects of one process nor survive
// the closing of any descriptor of the file; this guard does both: it
// decides between the objects of the process before the record lock is
// asked for, and a user that ends while others still use the file leaves
// its stream open for the last of them to close. Internal to the library.
// One guard serves one use, in one thread.
class ZFileUse {
 public:
  ZFileUse();
  // Ends the use (see close).
  ~ZFileUse();
  ZFileUse(const ZFileUse&) = delete;
  ZFileUse& operator=(const ZFileUse&) = delete;

  // Opens `path` for reading (write 0) or for update in place, creating a
  // missing file (write 1), and locks the whole file, shared or exclusive,
  // without waiting. Returns the stream, or null: then refused() tells
  // whether the file was opened but is busy (in this process or another),
  // and error() gives the error number of the failing call (errno of the
  // open, or of the record lock; EAGAIN when an object of this process
  // holds the file).
  FILE* open(const char* path, int write);
  int refused() const { return refused_; }
  int error() const { return error_; }
  // Ends the use: closes the stream (dropping the record lock) when no other
  // use of the file is open in the process, else hands it to the last one.
  void close();

 private:
  FILE* stream_;
  dev_t device_;
  ino_t inode_;
  int write_;
  int refused_;
  int error_;
};

#endif  // Z_ZFILEUSE_H_
