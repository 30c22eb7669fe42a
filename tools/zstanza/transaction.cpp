// zbase: zstanza, loading files and editing them as transactions.
//
// An edit holds, in this order (the same order everywhere, so two editors
// never wait for each other crosswise):
//  1. the library's process write lock for the file: lock name = the file's
//     base name, lock directory = the file's directory (or --lock-dir), so
//     the lock file is "._zpl" + name beside the file. Programs built on the
//     library that order their updates with that lock are ordered with us,
//     and releasing it after a change raises the lock's sequence number, which
//     tells them to reload. When the lock file can neither be opened nor
//     created (a read-only directory), this layer is skipped;
//  2. an flock(2) on the configuration file itself. flock locks are
//     independent of the record locks that the library's load and store
//     take, and unlike a record lock on the file they survive the library
//     closing its own descriptor of it. It orders zstanza processes even
//     where no lock file can be made, and creates no file;
//  3. a compare-before-store check: the file's bytes read before the load
//     must still be there just before the store, else the whole edit starts
//     again on the new contents. This catches writers that take neither lock.
// The library's load and store lock the file itself without waiting; a
// refusal there (a reader or writer busy that moment) is retried too. All
// waiting ends at the --wait deadline with exit code 6, and nothing is
// written before every lock is held.
#include "Z/zversion.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "Z/ZException.h"
#include "Z/ZFileLock.h"
#include "zstanza.h"

namespace zstanza {
namespace {

using Clock = std::chrono::steady_clock;

std::string secondsText(double wait) {
  char text[32];
  std::snprintf(text, sizeof text, "%g second%s", wait, wait == 1 ? "" : "s");
  return text;
}

Failure busy(const std::string& file, double wait) {
  return Failure{kBusy, file + ": still locked by another process after " + secondsText(wait)};
}

Clock::time_point deadlineFor(double wait) {
  return Clock::now() + std::chrono::microseconds(static_cast<long long>(wait * 1e6));
}

// Ends the process with the busy message and exit code 6 when the deadline
// passes while it waits for a lock. The library's process lock waits without
// a time limit (and resumes after a signal), so a thread of its own bounds
// the wait from outside; nothing has been changed while a lock is awaited, so
// ending there is safe. Once the destructor has run, it never ends anything.
class Watchdog {
 public:
  Watchdog(Clock::time_point deadline, const std::string& message)
      : text_("zstanza: " + escapeControls(message) + "\n"), thread_([this, deadline] {
          std::unique_lock<std::mutex> hold(mutex_);
          if (!woken_.wait_until(hold, deadline, [this] { return done_; })) {
            std::fputs(text_.c_str(), stderr);
            std::fflush(stderr);
            ::_exit(kBusy);
          }
        }) {}
  ~Watchdog() {
    {
      std::lock_guard<std::mutex> hold(mutex_);
      done_ = true;
    }
    woken_.notify_one();
    thread_.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  const std::string text_;
  std::mutex mutex_;
  std::condition_variable woken_;
  bool done_ = false;
  std::thread thread_;
};

std::string directoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Whether another process holds a lock that a write request on the range
// would wait for.
bool rangeTaken(int fd, off_t start, off_t length) {
  struct flock probe;
  std::memset(&probe, 0, sizeof probe);
  probe.l_type = F_WRLCK;
  probe.l_whence = SEEK_SET;
  probe.l_start = start;
  probe.l_len = length;
  return fcntl(fd, F_GETLK, &probe) == 0 && probe.l_type != F_UNLCK;
}

// Layer 1: the library's process write lock, held for the object's life.
class ProcessLock {
 public:
  ProcessLock(const std::string& file, const EditSettings& settings) {
    const std::string dir = settings.lockDir.empty() ? directoryOf(file) : settings.lockDir;
    const std::string name = file.substr(file.rfind('/') + 1);
    const std::string lockFile = dir + "/._zpl" + name;
    if (::access(lockFile.c_str(), R_OK | W_OK) != 0 &&
        (errno != ENOENT || ::access(dir.c_str(), W_OK | X_OK) != 0)) {
      if (!settings.lockDir.empty()) {
        throw Failure{kIOFailed, lockFile + ": " + std::strerror(errno)};
      }
      return;  // a read-only directory: the flock layer alone orders editors
    }
    if (settings.wait <= 0) {
      // Waiting 0 seconds: fail at once when the lock is taken (gate or data).
      int fd = ::open(lockFile.c_str(), O_RDONLY | O_CLOEXEC);
      if (fd >= 0) {
        const bool taken = rangeTaken(fd, 8, 4) || rangeTaken(fd, 0, 8);
        ::close(fd);  // this process holds no lock on it yet
        if (taken) throw busy(file, settings.wait);
      }
    }
    try {
      lock_.reset(new ZUnixProcessReadWriteFileLock(name.c_str(), dir.c_str()));
    } catch (ZInvalidParameterException&) {
      // Not a directory with owner write and search bits.
      if (!settings.lockDir.empty()) throw Failure{kUsage, dir + ": not a usable lock directory"};
      return;
    }
    try {
      lock_->writeLock();
    } catch (ZLockResourceException& e) {
      // The object may be half locked: leave it to the end of the process,
      // which drops every record lock.
      lock_.release();
      throw Failure{kIOFailed, lockFile + ": " + std::strerror(e.rc())};
    }
  }
  ~ProcessLock() {
    try {
      if (lock_ && lock_->getLockState() != 0) lock_->unlock(0);
    } catch (...) {
      // Ending the process drops the record locks all the same.
    }
  }
  // Releases the lock; a change raises the lock's sequence number.
  void release(bool changed) {
    if (lock_) lock_->unlock(changed ? 1 : 0);
  }

 private:
  std::unique_ptr<ZUnixProcessReadWriteFileLock> lock_;
};

// Layer 2: an flock on the configuration file, when it exists.
class FileLock {
 public:
  FileLock(const std::string& file, double wait) {
    fd_ = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) return;  // absent (layer 1 orders its creation) or unreadable (load says why)
    if (wait <= 0) {
      if (::flock(fd_, LOCK_EX | LOCK_NB) != 0) throw busy(file, wait);
      return;
    }
    while (::flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) throw Failure{kIOFailed, file + ": " + std::strerror(errno)};
    }
  }
  // Closing this descriptor drops no record lock of the library: it holds
  // none between its load and store calls.
  ~FileLock() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int fd_ = -1;
};

// The file's bytes, or absent.
struct Snapshot {
  bool exists = false;
  std::string bytes;
  bool operator!=(const Snapshot& o) const { return exists != o.exists || bytes != o.bytes; }
};

Snapshot snapshot(const std::string& file) {
  Snapshot s;
  FILE* f = std::fopen(file.c_str(), "rb");
  if (f == nullptr) {
    s.exists = errno != ENOENT;  // unreadable: let the load report it
    return s;
  }
  s.exists = true;
  char buffer[65536];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) s.bytes.append(buffer, n);
  std::fclose(f);
  return s;
}

// Runs a load or store, retrying while the library's own record lock on
// the file is refused because another process reads or writes it.
template <typename Step>
void retryBusy(const std::string& file, double wait, Clock::time_point deadline, Step step) {
  for (;;) {
    try {
      step();
      return;
    } catch (ZPropertiesIOException& e) {
      const bool refused = e.excerrno() == EAGAIN || e.excerrno() == EACCES;
      if (!refused || std::strcmp(e.api(), "fcntl()") != 0) throw;
      if (Clock::now() >= deadline) throw busy(file, wait);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
}

// The text the library would write for the object, and its hidden values
// as packed for the side file: together they tell whether an edit changed
// anything.
std::string image(ZStanzaFileProperties& p) {
  char* text = nullptr;
  size_t length = 0;
  FILE* stream = open_memstream(&text, &length);
  if (stream == nullptr) throw Failure{kFailed, "out of memory"};
  p.getCache()->be_write("", stream);
  std::fclose(stream);
  std::string result(text, length);
  std::free(text);
  ZBuffer hidden;
  p.getCache()->be_write_obfuscated(hidden);
  if (hidden.getLength() != 0) {
    result += '\0';
    result.append(static_cast<const char*>(hidden.getBuffer()), hidden.getLength());
  }
  return result;
}

void readStandardInput(ZStanzaFileProperties& p) {
  std::string text = readStream(stdin, "standard input");
  if (text.empty()) return;
  FILE* stream = fmemopen(&text[0], text.size(), "r");
  if (stream == nullptr) throw Failure{kFailed, "out of memory"};
  try {
    p.getCache()->be_read("standard input", stream);
  } catch (...) {
    std::fclose(stream);
    throw;
  }
  std::fclose(stream);
}

}  // namespace

void loadForReading(ZStanzaFileProperties& p, const std::string& file, double wait) {
  if (file == "-") return readStandardInput(p);
  retryBusy(file, wait, deadlineFor(wait), [&] { p.load(file.c_str()); });
}

bool transact(const std::string& file, const EditSettings& settings,
              const std::function<void(ZStanzaFileProperties&)>& edit) {
  if (file == "-") {
    ZStanzaFileProperties p(1);
    readStandardInput(p);
    const std::string before = image(p);
    edit(p);
    p.getCache()->be_write("", stdout);
    if (std::fflush(stdout) != 0) throw Failure{kIOFailed, "cannot write to standard output"};
    return image(p) != before;
  }
  const Clock::time_point deadline = deadlineFor(settings.wait);
  std::unique_ptr<ProcessLock> processLock;
  std::unique_ptr<FileLock> fileLock;
  {
    // With --wait 0 a lock found free is taken at once; the watchdog only
    // bounds a race for it.
    Watchdog watchdog(settings.wait <= 0 ? Clock::now() + std::chrono::seconds(1) : deadline,
                      busy(file, settings.wait).message);
    processLock.reset(new ProcessLock(file, settings));
    fileLock.reset(new FileLock(file, settings.wait));
  }
  for (;;) {
    const Snapshot before = snapshot(file);
    ZStanzaFileProperties p(1);
    if (before.exists) {
      retryBusy(file, settings.wait, deadline, [&] { p.load(file.c_str()); });
    }
    // Changed under us (by a writer that takes neither lock): start again.
    if (!(snapshot(file) != before)) {
      const std::string loaded = image(p);
      edit(p);
      if (image(p) == loaded) {
        processLock->release(false);
        return false;
      }
      if (!(snapshot(file) != before)) {
        retryBusy(file, settings.wait, deadline, [&] { p.store(file.c_str()); });
        processLock->release(true);
        return true;
      }
    }
    if (Clock::now() >= deadline) throw busy(file, settings.wait);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace zstanza
