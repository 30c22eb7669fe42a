// zbase: the loads and stores of one file between the objects of one process.
#include "Z/ZFileUse.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "Z/ZLock.h"

namespace {

// The files that loads and stores of this process use, by device and inode.
struct FileUsers {
  int readers = 0;
  int writer = 0;
  // Streams of users that ended while others went on: closing them then
  // would have dropped the others' record locks.
  std::vector<FILE*> parked;
};

typedef std::map<std::pair<dev_t, ino_t>, FileUsers> FileTable;

// The table's lock is a leaf: nothing else is locked while it is held, and
// it is held only across calls that do not wait (open, F_SETLK, close), so
// that no new user can open the file between the last user's decision to
// close and its close.
ZLock& fileTableLock() {
  static ZLock* lock = new ZLock();  // never destroyed: threads may outlive exit
  return *lock;
}

FileTable& fileTable() {
  static FileTable* table = new FileTable();
  return *table;
}

int lockWholeFile(int fd, short type) {
  struct flock fl;
  std::memset(&fl, 0, sizeof fl);
  fl.l_type = type;
  fl.l_whence = SEEK_SET;
  fl.l_start = 0;
  fl.l_len = 0;
  return ::fcntl(fd, F_SETLK, &fl);
}

FILE* openStream(const char* path, int write) {
  if (!write) return std::fopen(path, "r");
  FILE* f = std::fopen(path, "r+");
  if (f != nullptr || errno != ENOENT) return f;
  // Created without truncating a file that another process may have made
  // meanwhile.
  int fd = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  f = ::fdopen(fd, "r+");
  if (f == nullptr) {
    int err = errno;
    ::close(fd);
    errno = err;
  }
  return f;
}

}  // namespace

ZFileUse::ZFileUse() : stream_(nullptr), device_(0), inode_(0), write_(0), refused_(0), error_(0) {}

ZFileUse::~ZFileUse() { close(); }

FILE* ZFileUse::open(const char* path, int write) {
  ZResourceLock guard(fileTableLock());
  FILE* f = openStream(path, write);
  if (f == nullptr) {
    error_ = errno;
    return nullptr;
  }
  struct stat st;
  if (::fstat(fileno(f), &st) != 0) {
    error_ = errno;
    std::fclose(f);
    return nullptr;
  }
  FileUsers& users = fileTable()[std::make_pair(st.st_dev, st.st_ino)];
  int busy = users.writer || (write && users.readers > 0);
  if (busy || lockWholeFile(fileno(f), write ? F_WRLCK : F_RDLCK) != 0) {
    refused_ = 1;
    error_ = busy ? EAGAIN : errno;
    if (users.readers > 0 || users.writer) {
      users.parked.push_back(f);  // closing it would unlock the others
    } else {
      std::fclose(f);
      fileTable().erase(std::make_pair(st.st_dev, st.st_ino));
    }
    return nullptr;
  }
  if (write) {
    users.writer = 1;
  } else {
    ++users.readers;
  }
  stream_ = f;
  device_ = st.st_dev;
  inode_ = st.st_ino;
  write_ = write;
  return f;
}

void ZFileUse::close() {
  if (stream_ == nullptr) return;
  ZResourceLock guard(fileTableLock());
  FileTable::iterator it = fileTable().find(std::make_pair(device_, inode_));
  FileUsers& users = it->second;
  if (write_) {
    users.writer = 0;
  } else {
    --users.readers;
  }
  if (users.readers > 0 || users.writer) {
    users.parked.push_back(stream_);
  } else {
    std::fclose(stream_);
    for (FILE* f : users.parked) std::fclose(f);
    fileTable().erase(it);
  }
  stream_ = nullptr;
}
