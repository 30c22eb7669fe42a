// zbase tests: read-write locks between processes over lock files, and file maps.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "Z/ZException.h"
#include "Z/ZFileLock.h"

namespace {

typedef ZReadWriteLockInterface::zlockstate zlockstate;
const zlockstate kUnset = static_cast<zlockstate>(0);
const zlockstate kRead = static_cast<zlockstate>(1);
const zlockstate kWrite = static_cast<zlockstate>(3);

struct TempDir {
  std::string path;
  TempDir() {
    char templ[] = "/tmp/zplXXXXXX";
    path = mkdtemp(templ);
  }
  ~TempDir() { std::filesystem::remove_all(path); }
  std::string file(const char* name) const { return path + "/" + name; }
};

// Runs `body` in a forked process; reap() gives its exit status, or -1 when
// it dies or outlives the bound (it is killed then).
template <typename Body>
pid_t spawn(Body body) {
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) _exit(body());
  return pid;
}

int reap(pid_t pid, int seconds = 60) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  int st = 0;
  while (waitpid(pid, &st, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &st, 0);
      return -1;
    }
    usleep(2000);
  }
  return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

std::string fmt(const char* f, long a = 0, long b = 0, long c = 0) {
  char buf[128];
  snprintf(buf, sizeof buf, f, a, b, c);
  return buf;
}

// What another process sees of a lock file: the holder of the data range and
// of the gate ("-" when free), then the sequence and pid stored. Looked at
// from a child, because closing any descriptor of the file here would drop
// this process's record locks on it.
std::string probe(const std::string& path) {
  int fds[2];
  if (pipe(fds) != 0) return "pipe";
  pid_t pid = spawn([&] {
    int fd = open(path.c_str(), O_RDWR);
    std::string out = "none";
    if (fd >= 0) {
      out.clear();
      for (off_t start : {0, 8}) {
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fl.l_start = start;
        fl.l_len = start == 0 ? 8 : 4;
        fcntl(fd, F_GETLK, &fl);
        out += fl.l_type == F_UNLCK ? "- " : fmt(fl.l_type == F_RDLCK ? "R%ld " : "W%ld ", fl.l_pid);
      }
      unsigned long seq = 0;
      int32_t pidInFile = 0;
      ssize_t n = pread(fd, &seq, 8, 0) + pread(fd, &pidInFile, 4, 8);
      out += n == 12 ? fmt("seq=%lu pid=%ld", static_cast<long>(seq), pidInFile) : fmt("short %ld", n);
    }
    return write(fds[1], out.data(), out.size()) == static_cast<ssize_t>(out.size()) ? 0 : 1;
  });
  close(fds[1]);
  reap(pid);
  char buf[128];
  ssize_t n = read(fds[0], buf, sizeof buf);
  close(fds[0]);
  return std::string(buf, n > 0 ? n : 0);
}

void writeRaw(const std::string& path, const void* data, size_t length) {
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  ASSERT_EQ(static_cast<ssize_t>(length), write(fd, data, length));
  close(fd);
}

class Recorder : public ZObserverInterface {
 public:
  void update(ZObservableInterface* source, const ZObservedParm& parm) override {
    const ZSequenceUpdate& u = dynamic_cast<const ZSequenceUpdate&>(parm);
    seen += std::string(source == expected ? "lock " : "other ") + std::to_string(u.getSequence()) +
            "<-" + std::to_string(u.getLastSequence()) + ";";
  }
  ZObservableInterface* expected = nullptr;
  std::string seen;
};

}  // namespace

TEST(ZFileLockTest, LockFileNameIsPrefixedAndJoinedToTheDirectory) {
  TempDir d;
  ZUnixProcessReadWriteFileLock a("app", d.path.c_str());
  EXPECT_EQ(d.path + "/._zplapp", a.getLockFileName().getChars());
  ZUnixProcessReadWriteFileLock b("app");
  EXPECT_STREQ("._zplapp", b.getLockFileName().getChars());
  EXPECT_FALSE(a == b);
  b.setLockDirName(d.path.c_str());
  EXPECT_TRUE(a == b);  // identity is the lock file name
  EXPECT_EQ(ZLCString((d.path + "/._zplapp").c_str()).hash(), b.hash());
  b.setLockDirName(nullptr);
  EXPECT_STREQ("._zplapp", b.getLockFileName().getChars());
  EXPECT_STREQ("._zpl", ZStubProcessReadWriteFileLock().getLockFileName().getChars());
  EXPECT_TRUE(ZUnixProcessReadWriteFileLock(a) == a);
}

TEST(ZFileLockTest, LockFileHoldsSequenceAndPidAndWritersRaiseTheSequence) {
  mode_t oldMask = umask(022);
  TempDir d;
  const std::string path = d.file("._zplseq");
  const long me = getpid();
  ZUnixProcessReadWriteFileLock lock("seq", d.path.c_str());
  EXPECT_EQ("none", probe(path));

  lock.writeLock();
  struct stat st;
  ASSERT_EQ(0, stat(path.c_str(), &st));
  umask(oldMask);
  EXPECT_EQ(02600u, st.st_mode & 07777u);
  EXPECT_EQ(0u, lock.getSequence());  // a new file counts as sequence 0
  EXPECT_EQ(fmt("W%ld W%ld seq=0 pid=%ld", me, me, me), probe(path));
  lock.unlock();
  EXPECT_EQ(fmt("- - seq=1 pid=%ld", me), probe(path));
  EXPECT_EQ(1u, lock.getLastSequence());

  lock.readLock();  // a reader lets go of the gate at once
  EXPECT_EQ(fmt("R%ld - seq=1 pid=%ld", me, me), probe(path));
  lock.unlock(1);  // only a write lock raises the sequence
  lock.readWithIntentToWriteLock();  // protect is taken as write
  EXPECT_EQ(kWrite, lock.getLockState());
  EXPECT_EQ(fmt("W%ld W%ld seq=1 pid=%ld", me, me, me), probe(path));
  lock.unlock();
  lock.writeLock();
  lock.unlock(0);  // a writer that changed nothing
  EXPECT_EQ(fmt("- - seq=2 pid=%ld", me), probe(path));

  // After the last sequence below all-ones comes 0.
  const unsigned long nearEnd = ZAbstractProcessReadWriteLock::invalidSequence - 1;
  writeRaw(path, &nearEnd, sizeof nearEnd);
  lock.writeLock();
  EXPECT_EQ(nearEnd, lock.getSequence());
  lock.unlock();
  EXPECT_EQ(fmt("- - seq=0 pid=%ld", me), probe(path));

  // incSequence writes at once, and only under a write lock.
  lock.readLock();
  try {
    lock.incSequence();
    ADD_FAILURE() << "incSequence under a read lock";
  } catch (ZInvalidResourceStateException& e) {
    EXPECT_EQ(32u, e.getErrorNumber());
    EXPECT_STREQ("read", e.value());
    EXPECT_STREQ("src/Z/ZFileLock", e.who());
    EXPECT_EQ(115, e.where());
  }
  lock.unlock();
  lock.writeLock();
  lock.incSequence();
  EXPECT_EQ(fmt("W%ld W%ld seq=1 pid=%ld", me, me, me), probe(path));
  lock.unlock();
  EXPECT_EQ(2u, lock.getSequence());
}

// Counts the times the file itself is locked and released.
class CountingLock : public ZUnixProcessReadWriteFileLock {
 public:
  using ZUnixProcessReadWriteFileLock::ZUnixProcessReadWriteFileLock;
  void lockFile(zlockstate state) override {
    ++locks;
    ZUnixProcessReadWriteFileLock::lockFile(state);
  }
  void unlockFile() override {
    ++unlocks;
    ZUnixProcessReadWriteFileLock::unlockFile();
  }
  std::atomic<int> locks{0}, unlocks{0};
};

TEST(ZFileLockTest, ThreadsOfOneProcessShareOneFileLock) {
  TempDir d;
  CountingLock lock("share", d.path.c_str());
  lock.readLock();
  std::atomic<int> stage(0);
  std::thread second([&] {
    lock.readLock();  // the file is not touched again
    stage = 1;
    while (stage != 2) usleep(1000);
    lock.unlock();  // the last reader lets go of the file
    stage = 3;
  });
  for (int i = 0; i < 20000 && stage != 1; ++i) usleep(1000);
  ASSERT_EQ(1, stage.load());
  EXPECT_EQ(1, lock.locks.load());
  lock.unlock();  // another thread still reads: the file lock stays
  EXPECT_EQ(0, lock.unlocks.load());
  EXPECT_EQ(fmt("R%ld - seq=0 pid=%ld", getpid(), getpid()), probe(d.file("._zplshare")));
  stage = 2;
  for (int i = 0; i < 20000 && stage != 3; ++i) usleep(1000);
  ASSERT_EQ(3, stage.load()) << "the second reader is stuck";
  second.join();
  EXPECT_EQ(1, lock.unlocks.load());
  EXPECT_EQ(kUnset, lock.getLockState());
}

TEST(ZFileLockTest, ReadersShareAndAWaitingWriterHoldsTheGate) {
  TempDir d;
  const std::string dir = d.path;
  ZUnixProcessReadWriteFileLock lock("x", dir.c_str());
  lock.readLock();
  EXPECT_EQ(0, reap(spawn([&] {
              ZUnixProcessReadWriteFileLock l("x", dir.c_str());
              l.readLock();  // readers share
              l.unlock();
              return 0;
            })));
  pid_t writer = spawn([&] {
    ZUnixProcessReadWriteFileLock l("x", dir.c_str());
    l.writeLock();
    l.unlock();
    return l.getSequence() == 1 ? 0 : 1;
  });
  // The writer passes the gate and waits there for the data range, so that
  // readers coming after it queue behind it.
  const std::string waiting = fmt("R%ld W%ld ", getpid(), writer);
  std::string seen;
  for (int i = 0; i < 2000 && seen.compare(0, waiting.size(), waiting) != 0; ++i) {
    seen = probe(d.file("._zplx"));
  }
  EXPECT_EQ(0u, seen.rfind(waiting, 0)) << seen;
  EXPECT_EQ(0, waitpid(writer, nullptr, WNOHANG));
  lock.unlock();
  EXPECT_EQ(0, reap(writer));
}

TEST(ZFileLockTest, AnotherProcessWriteIsReportedOnceAndTheReaderEndsHoldingWrite) {
  TempDir d;
  const std::string dir = d.path;
  ZUnixProcessReadWriteFileLock lock("obs", dir.c_str());
  Recorder rec;
  rec.expected = &lock;
  lock.addObserver(&rec);
  lock.readLock();  // the first lock never reports
  lock.unlock();
  EXPECT_EQ(0u, lock.getLastSequence());

  ASSERT_EQ(0, reap(spawn([&] {
              ZUnixProcessReadWriteFileLock l("obs", dir.c_str());
              l.writeLock();
              l.unlock();
              return 0;
            })));
  lock.readLock();
  EXPECT_EQ("lock 1<-0;", rec.seen);
  EXPECT_TRUE(lock.ownWriteLock());
  EXPECT_EQ(fmt("W%ld W%ld seq=1 pid=%ld", getpid(), getpid(), getpid()), probe(d.file("._zplobs")));
  lock.unlock();  // the refresh is not a change
  EXPECT_EQ(1u, lock.getSequence());
  EXPECT_EQ(1u, lock.getLastSequence());
  lock.readLock();
  EXPECT_EQ(kRead, lock.getLockState());
  lock.unlock();
  EXPECT_EQ("lock 1<-0;", rec.seen);
}

// Writers never overlap, readers never see half an update, no update is lost,
// and every write raised the file's sequence once.
TEST(ZFileLockTest, ManyProcessesLoseNoUpdate) {
  TempDir d;
  const std::string dir = d.path, counter = d.file("counter"), inside = d.file("inside");
  const long zero[2] = {0, 0};
  writeRaw(counter, zero, sizeof zero);
  const int kProcs = 4, kCycles = 40;
  std::vector<pid_t> pids;
  for (int p = 0; p < kProcs; ++p) {
    pids.push_back(spawn([&] {
      ZUnixProcessReadWriteFileLock l("stress", dir.c_str());
      int fd = open(counter.c_str(), O_RDWR);
      int bad = fd < 0;
      for (int i = 0; i < kCycles; ++i) {
        long v[2];
        l.readLock();
        bad += pread(fd, v, sizeof v, 0) != sizeof v || v[0] != v[1];
        l.unlock();
        l.writeLock();
        int mark = open(inside.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
        bad += mark < 0;  // another writer is inside
        bad += pread(fd, v, sizeof v, 0) != sizeof v || v[0] != v[1];
        long next = v[0] + 1;
        bad += pwrite(fd, &next, sizeof next, 0) != sizeof next;
        usleep(100);
        bad += pwrite(fd, &next, sizeof next, sizeof next) != sizeof next;
        close(mark);
        unlink(inside.c_str());
        l.unlock();
      }
      return bad == 0 ? 0 : 3;
    }));
  }
  for (pid_t pid : pids) EXPECT_EQ(0, reap(pid));
  long v[2] = {-1, -1};
  int fd = open(counter.c_str(), O_RDONLY);
  ASSERT_EQ(static_cast<ssize_t>(sizeof v), read(fd, v, sizeof v));
  close(fd);
  EXPECT_EQ(kProcs * kCycles, v[0]);
  EXPECT_EQ(v[0], v[1]);
  EXPECT_EQ(0u, probe(d.file("._zplstress")).rfind(fmt("- - seq=%ld pid=", kProcs * kCycles), 0));
}

TEST(ZFileLockTest, SetLockDirNameWantsAWritableSearchableDirectory) {
  TempDir d;
  const std::string plain = d.file("plain"), good = d.file("good"), other = d.file("other");
  writeRaw(plain, "x", 1);
  ASSERT_EQ(0, mkdir(d.file("ro").c_str(), 0500));
  ASSERT_EQ(0, mkdir(d.file("nosearch").c_str(), 0600));
  ASSERT_EQ(0, mkdir(good.c_str(), 0700));
  ASSERT_EQ(0, mkdir(other.c_str(), 0700));
  ZUnixProcessReadWriteFileLock lock("dir", good.c_str());
  for (const std::string& bad : {plain, d.file("ro"), d.file("nosearch"), d.file("missing")}) {
    try {
      lock.setLockDirName(bad.c_str());
      ADD_FAILURE() << bad;
    } catch (ZInvalidParameterException& e) {
      EXPECT_EQ(22u, e.getErrorNumber());
      EXPECT_STREQ("src/Z/ZFileLock", e.who());
      EXPECT_EQ(130, e.where());
    }
  }
  EXPECT_EQ(good, lock.getLockDirName().getChars());
  for (zlockstate held : {kRead, kWrite}) {
    lock.lock(held);
    lock.setLockDirName(good.c_str());  // the same directory is no change
    try {
      lock.setLockDirName(other.c_str());
      ADD_FAILURE() << "changed while locked";
    } catch (ZInvalidResourceStateException& e) {
      EXPECT_STREQ(held == kRead ? "read" : "write", e.value());
      EXPECT_EQ(138, e.where());
    }
    lock.unlock();
  }
  lock.setLockDirName(other.c_str());
  EXPECT_EQ(other + "/._zpldir", lock.getLockFileName().getChars());
}

TEST(ZFileLockTest, FailuresCarryErrnoAndReleaseWhatWasTaken) {
  TempDir d;
  const std::string sub = d.file("sub");
  ASSERT_EQ(0, mkdir(sub.c_str(), 0700));
  ZUnixProcessReadWriteFileLock lock("f", sub.c_str());
  ASSERT_EQ(0, rmdir(sub.c_str()));
  try {
    lock.writeLock();  // the lock file cannot be opened: fcntl reports it
    ADD_FAILURE() << "locked without a lock file";
  } catch (ZLockResourceException& e) {
    EXPECT_EQ(33u, e.getErrorNumber());
    EXPECT_EQ(EBADF, e.rc());
    EXPECT_EQ(335, e.where());
  }
  EXPECT_EQ(kUnset, lock.getLockState());
  ASSERT_EQ(0, mkdir(sub.c_str(), 0700));
  lock.writeLock();  // nothing was left held
  lock.unlock();

  // An empty lock file reads as sequence 0, a short one is an error.
  const std::string path = sub + "/._zplf";
  writeRaw(path, "abcde", 5);
  lock.lockFileRange(kRead, 0, 8);
  unsigned long v = 7;
  try {
    lock.readBytes(&v, 0, 8);
    ADD_FAILURE() << "short read accepted";
  } catch (ZReadResourceException& e) {
    EXPECT_EQ(35u, e.getErrorNumber());
    EXPECT_EQ(-1, e.rc());
    EXPECT_EQ(378, e.where());
  }
  ASSERT_EQ(0, truncate(path.c_str(), 0));
  v = 7;
  lock.readBytes(&v, 0, 8);
  EXPECT_EQ(7u, v);
  EXPECT_THROW(lock.lockFileRange(static_cast<zlockstate>(7), 0, 8), ZInvalidResourceStateException);
  lock.unlockFileRange(0, 8);

  // A write that fails (past the file size limit) zeroes the kept sequence
  // and gives back the gate and the in-process lock.
  EXPECT_EQ(0, reap(spawn([&] {
              signal(SIGXFSZ, SIG_IGN);
              struct rlimit small = {8, RLIM_INFINITY};
              setrlimit(RLIMIT_FSIZE, &small);
              ZUnixProcessReadWriteFileLock l("f", sub.c_str());
              int rc = 1;
              try {
                l.writeLock();
              } catch (ZWriteResourceException& e) {
                rc = e.getErrorNumber() == 33 && e.rc() == EFBIG && e.where() == 356 &&
                             l.getLockState() == kUnset && l.getSequence() == 0
                         ? 0
                         : 2;
              }
              struct rlimit big = {RLIM_INFINITY, RLIM_INFINITY};
              setrlimit(RLIMIT_FSIZE, &big);
              l.writeLock();
              l.unlock();
              return rc;
            })));
}

TEST(ZFileLockTest, FileMapMapsCreatesExtendsAndReportsErrors) {
  TempDir d;
  const std::string empty = d.file("empty"), made = d.file("made");
  writeRaw(empty, "", 0);
  int rc = -5;
  ZUnixFileMap none(empty.c_str(), ZAbstractFileMap::readOnly, 1);
  EXPECT_EQ(nullptr, none.mapfile(&rc, 0));
  EXPECT_EQ(22, rc);
  ZUnixFileMap missing(d.file("missing").c_str(), ZAbstractFileMap::readOnly, 0);
  EXPECT_EQ(nullptr, missing.mapfile(&rc, 16));
  EXPECT_EQ(ENOENT, rc);

  ZUnixFileMap create(made.c_str(), ZAbstractFileMap::readWriteCreate, 0);
  char* p = static_cast<char*>(create.mapfile(&rc, 100));  // created and extended
  ASSERT_NE(nullptr, p);
  memcpy(p, "hello", 5);
  create.unmapfile(&rc);
  EXPECT_EQ(0, rc);
  EXPECT_EQ(nullptr, create.getAddress());
  struct stat st;
  ASSERT_EQ(0, stat(made.c_str(), &st));
  EXPECT_EQ(100, st.st_size);

  ZUnixFileMap whole(made.c_str(), ZAbstractFileMap::readOnly, 0);
  const char* q = static_cast<const char*>(whole.mapfile(&rc, 0));
  ASSERT_NE(nullptr, q);
  EXPECT_EQ(100u, whole.getLength());
  EXPECT_EQ(0, memcmp(q, "hello\0", 6));
  // Any mode but 0 and 1 maps read-write without extending.
  ZUnixFileMap other(made.c_str(), static_cast<ZAbstractFileMap::zmapmode>(7), 0);
  p = static_cast<char*>(other.mapfile(&rc, 100));
  ASSERT_NE(nullptr, p);
  p[0] = 'J';
  EXPECT_EQ('J', q[0]);  // both map the same file
  ZUnixFileMap grow(made.c_str(), static_cast<ZAbstractFileMap::zmapmode>(7), 0);
  EXPECT_NE(nullptr, grow.mapfile(&rc, 200));
  ASSERT_EQ(0, stat(made.c_str(), &st));
  EXPECT_EQ(100, st.st_size);
}
