// zbase tests: read-write locks between processes over lock files, and file maps.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "Z/ZFileLock.h"
#include "ZChildProcess.h"
#include "ZLockTestSupport.h"

namespace {

using RW = ZReadWriteLockInterface;
using Lock = ZUnixProcessReadWriteFileLock;

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
  pid_t pid = spawnChild([&] {
    int fd = open(path.c_str(), O_RDWR);
    std::string out = fd < 0 ? "none" : "";
    for (off_t start : {0, 8}) {
      struct flock fl = {};
      fl.l_type = F_WRLCK, fl.l_start = start, fl.l_len = start == 0 ? 8 : 4;
      if (fd < 0 || fcntl(fd, F_GETLK, &fl) != 0) break;
      out += fl.l_type == F_UNLCK ? "- " : fmt(fl.l_type == F_RDLCK ? "R%ld " : "W%ld ", fl.l_pid);
    }
    unsigned long seq = 0;
    int32_t pidInFile = 0;
    if (fd >= 0 && pread(fd, &seq, 8, 0) + pread(fd, &pidInFile, 4, 8) == 12)
      out += fmt("seq=%lu pid=%ld", static_cast<long>(seq), pidInFile);
    return write(fds[1], out.data(), out.size()) == static_cast<ssize_t>(out.size()) ? 0 : 1;
  });
  close(fds[1]);
  reapChild(pid);
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

int lockInChild(const std::string& dir, const char* name, RW::zlockstate state) {
  return inChild([&] {
    Lock l(name, dir.c_str());
    l.lock(state);
    l.unlock();
    return 0;
  });
}

// Counts the times the file itself is locked and released.
class CountingLock : public Lock {
 public:
  using Lock::Lock;
  void lockFile(zlockstate state) override { ++locks, Lock::lockFile(state); }
  void unlockFile() override { ++unlocks, Lock::unlockFile(); }
  std::atomic<int> locks{0}, unlocks{0};
};

}  // namespace

TEST(ZFileLockTest, LockFileNameIsPrefixedAndJoinedToTheDirectory) {
  TempDir d;
  Lock a("app", d.path.c_str()), b("app");
  EXPECT_EQ(d.file("._zplapp"), a.getLockFileName().getChars());
  EXPECT_STREQ("._zplapp", b.getLockFileName().getChars());
  EXPECT_FALSE(a == b);
  b.setLockDirName(d.path.c_str());
  EXPECT_TRUE(a == b);  // identity is the lock file name
  EXPECT_EQ(ZLCString(d.file("._zplapp").c_str()).hash(), b.hash());
  b.setLockDirName(nullptr);
  EXPECT_TRUE(Lock(a) == a && b.getLockFileName() == "._zplapp");
  EXPECT_STREQ("._zpl", ZStubProcessReadWriteFileLock().getLockFileName().getChars());
}

TEST(ZFileLockTest, LockFileHoldsSequenceAndPidAndWritersRaiseTheSequence) {
  mode_t oldMask = umask(022);
  TempDir d;
  const std::string path = d.file("._zplseq");
  const long me = getpid();
  const std::string writing = fmt("W%ld W%ld seq=%%ld pid=%ld", me, me, me);
  Lock lock("seq", d.path.c_str());
  EXPECT_EQ("none", probe(path));
  lock.writeLock();
  struct stat st;
  ASSERT_EQ(0, stat(path.c_str(), &st));
  umask(oldMask);
  EXPECT_EQ(02600u, st.st_mode & 07777u);
  EXPECT_EQ(0u, lock.getSequence());  // a new file counts as sequence 0
  EXPECT_EQ(fmt(writing.c_str(), 0), probe(path));
  lock.unlock();
  EXPECT_EQ(fmt("- - seq=1 pid=%ld", me), probe(path));
  EXPECT_EQ(1u, lock.getLastSequence());

  lock.readLock();  // a reader lets go of the gate at once
  EXPECT_EQ(fmt("R%ld - seq=1 pid=%ld", me, me), probe(path));
  lock.unlock(1);                    // only a write lock raises the sequence
  lock.readWithIntentToWriteLock();  // protect is taken as write
  EXPECT_EQ(RW::kWrite, lock.getLockState());
  EXPECT_EQ(fmt(writing.c_str(), 1), probe(path));
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
  expectThrowAt<ZInvalidResourceStateException>(
      [&] { lock.incSequence(); }, 32, "src/Z/ZFileLock", 115,
      [](ZInvalidResourceStateException& e) { EXPECT_STREQ("read", e.value()); });
  lock.unlock();
  lock.writeLock();
  lock.incSequence();
  EXPECT_EQ(fmt(writing.c_str(), 1), probe(path));
  lock.unlock();
  EXPECT_EQ(2u, lock.getSequence());
}

TEST(ZFileLockTest, ThreadsOfOneProcessShareOneFileLock) {
  TempDir d;
  CountingLock lock("share", d.path.c_str());
  lock.readLock();
  std::atomic<int> stage(0);
  BoundedThread second([&] {
    lock.readLock();  // the file is not touched again
    stage = 1;
    waitUntil([&] { return stage == 2; });
    lock.unlock();  // the last reader lets go of the file
  });
  waitUntil([&] { return stage == 1; });
  EXPECT_EQ(1, lock.locks.load());
  lock.unlock();  // another thread still reads: the file lock stays
  EXPECT_EQ(0, lock.unlocks.load());
  EXPECT_EQ(fmt("R%ld - seq=0 pid=%ld", getpid(), getpid()), probe(d.file("._zplshare")));
  stage = 2;
  second.join();
  EXPECT_EQ(1, lock.unlocks.load());
  EXPECT_EQ(RW::kUnset, lock.getLockState());
}

TEST(ZFileLockTest, ReadersShareAndAWaitingWriterHoldsTheGate) {
  TempDir d;
  Lock lock("x", d.path.c_str());
  lock.readLock();
  EXPECT_EQ(0, lockInChild(d.path, "x", RW::kRead));  // readers share
  pid_t writer = spawnChild([&] {
    Lock l("x", d.path.c_str());
    l.writeLock();
    l.unlock();
    return l.getSequence() == 1 ? 0 : 1;
  });
  // The writer passes the gate and waits there for the data range, so that
  // readers coming after it queue behind it.
  const std::string waiting = fmt("R%ld W%ld ", getpid(), writer);
  std::string seen;
  for (int i = 0; i < 2000 && seen.compare(0, waiting.size(), waiting) != 0; ++i)
    seen = probe(d.file("._zplx"));
  EXPECT_EQ(0u, seen.rfind(waiting, 0)) << seen;
  EXPECT_EQ(0, waitpid(writer, nullptr, WNOHANG));
  lock.unlock();
  EXPECT_EQ(0, reapChild(writer));
}

TEST(ZFileLockTest, AnotherProcessWriteIsReportedOnceAndTheReaderEndsHoldingWrite) {
  TempDir d;
  Lock lock("obs", d.path.c_str());
  SequenceRecorder rec;
  lock.addObserver(&rec);
  lock.readLock();  // the first lock never reports
  lock.unlock();
  EXPECT_EQ(0u, lock.getLastSequence());
  ASSERT_EQ(0, lockInChild(d.path, "obs", RW::kWrite));
  lock.readLock();
  EXPECT_EQ("1<-0;", rec.seen);
  EXPECT_TRUE(lock.ownWriteLock());
  EXPECT_EQ(fmt("W%ld W%ld seq=1 pid=%ld", getpid(), getpid(), getpid()),
            probe(d.file("._zplobs")));
  lock.unlock();  // the refresh is not a change
  EXPECT_EQ(1u, lock.getSequence());
  lock.readLock();
  EXPECT_EQ(RW::kRead, lock.getLockState());
  lock.unlock();
  EXPECT_EQ("1<-0;", rec.seen);
}

// Writers never overlap, readers never see half an update, no update is lost,
// and every write raised the file's sequence once.
TEST(ZFileLockTest, ManyProcessesLoseNoUpdate) {
  TempDir d;
  const std::string counter = d.file("counter"), inside = d.file("inside");
  const long zero[2] = {0, 0};
  writeRaw(counter, zero, sizeof zero);
  const int kProcs = 4, kCycles = 40;
  std::vector<pid_t> pids;
  for (int p = 0; p < kProcs; ++p) {
    pids.push_back(spawnChild([&] {
      Lock l("stress", d.path.c_str());
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
  for (pid_t pid : pids) EXPECT_EQ(0, reapChild(pid));
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
  const std::string good = d.file("good"), other = d.file("other");
  writeRaw(d.file("plain"), "x", 1);
  ASSERT_EQ(0, mkdir(d.file("ro").c_str(), 0500) | mkdir(d.file("nosearch").c_str(), 0600) |
                   mkdir(good.c_str(), 0700) | mkdir(other.c_str(), 0700));
  Lock lock("dir", good.c_str());
  for (const char* bad : {"plain", "ro", "nosearch", "missing"}) {
    SCOPED_TRACE(bad);
    expectThrowAt<ZInvalidParameterException>([&] { lock.setLockDirName(d.file(bad).c_str()); }, 22,
                                              "src/Z/ZFileLock", 130);
  }
  EXPECT_EQ(good, lock.getLockDirName().getChars());
  for (RW::zlockstate state : {RW::kRead, RW::kWrite}) {
    lock.lock(state);
    lock.setLockDirName(good.c_str());  // the same directory is no change
    expectThrowAt<ZInvalidResourceStateException>(
        [&] { lock.setLockDirName(other.c_str()); }, 32, "src/Z/ZFileLock", 138,
        [&](ZInvalidResourceStateException& e) {
          EXPECT_STREQ(state == RW::kRead ? "read" : "write", e.value());
        });
    lock.unlock();
  }
  lock.setLockDirName(other.c_str());
  EXPECT_EQ(other + "/._zpldir", lock.getLockFileName().getChars());
}

TEST(ZFileLockTest, FailuresCarryErrnoAndReleaseWhatWasTaken) {
  TempDir d;
  const std::string sub = d.file("sub");
  ASSERT_EQ(0, mkdir(sub.c_str(), 0700));
  Lock lock("f", sub.c_str());
  ASSERT_EQ(0, rmdir(sub.c_str()));
  // The lock file cannot be opened: fcntl reports it.
  expectThrowSite<ZLockResourceException>([&] { lock.writeLock(); }, "src/Z/ZFileLock", 335, 33,
                                          EBADF);
  EXPECT_EQ(RW::kUnset, lock.getLockState());
  ASSERT_EQ(0, mkdir(sub.c_str(), 0700));
  lock.writeLock();  // nothing was left held
  lock.unlock();

  // An empty lock file reads as sequence 0, a short one is an error.
  const std::string path = sub + "/._zplf";
  writeRaw(path, "abcde", 5);
  lock.lockFileRange(RW::kRead, 0, 8);
  unsigned long v = 7;
  expectThrowSite<ZReadResourceException>([&] { lock.readBytes(&v, 0, 8); }, "src/Z/ZFileLock", 378,
                                          35, -1);
  ASSERT_EQ(0, truncate(path.c_str(), 0));
  v = 7;
  lock.readBytes(&v, 0, 8);
  EXPECT_EQ(7u, v);
  EXPECT_THROW(lock.lockFileRange(static_cast<RW::zlockstate>(7), 0, 8),
               ZInvalidResourceStateException);
  lock.unlockFileRange(0, 8);

  // A write that fails (past the file size limit) zeroes the kept sequence
  // and gives back the gate and the in-process lock.
  EXPECT_EQ(0, inChild([&] {
              signal(SIGXFSZ, SIG_IGN);
              struct rlimit small = {8, RLIM_INFINITY}, big = {RLIM_INFINITY, RLIM_INFINITY};
              setrlimit(RLIMIT_FSIZE, &small);
              Lock l("f", sub.c_str());
              expectThrowSite<ZWriteResourceException>([&] { l.writeLock(); }, "src/Z/ZFileLock",
                                                       356, 33, EFBIG);
              EXPECT_EQ(RW::kUnset, l.getLockState());
              EXPECT_EQ(0u, l.getSequence());
              setrlimit(RLIMIT_FSIZE, &big);
              l.writeLock();
              l.unlock();
              return testing::Test::HasFailure() ? 1 : 0;
            }));
}

TEST(ZFileLockTest, FileMapMapsCreatesExtendsAndReportsErrors) {
  TempDir d;
  const std::string made = d.file("made");
  writeRaw(d.file("empty"), "", 0);
  int rc = -5;
  EXPECT_EQ(nullptr,
            ZUnixFileMap(d.file("empty").c_str(), ZAbstractFileMap::readOnly, 1).mapfile(&rc, 0));
  EXPECT_EQ(22, rc);
  EXPECT_EQ(
      nullptr,
      ZUnixFileMap(d.file("missing").c_str(), ZAbstractFileMap::readOnly, 0).mapfile(&rc, 16));
  EXPECT_EQ(ENOENT, rc);

  ZUnixFileMap create(made.c_str(), ZAbstractFileMap::readWriteCreate, 0);
  char* p = static_cast<char*>(create.mapfile(&rc, 100));  // created and extended
  ASSERT_NE(nullptr, p);
  memcpy(p, "hello", 5);
  create.unmapfile(&rc);
  EXPECT_TRUE(rc == 0 && create.getAddress() == nullptr);
  struct stat st;
  ASSERT_EQ(0, stat(made.c_str(), &st));
  EXPECT_EQ(100, st.st_size);

  ZUnixFileMap whole(made.c_str(), ZAbstractFileMap::readOnly, 0);
  const char* q = static_cast<const char*>(whole.mapfile(&rc, 0));
  ASSERT_NE(nullptr, q);
  EXPECT_EQ(100u, whole.getLength());
  EXPECT_STREQ("hello", q);
  // Any mode but 0 and 1 maps read-write without extending.
  ZUnixFileMap other(made.c_str(), static_cast<ZAbstractFileMap::zmapmode>(7), 0);
  p = static_cast<char*>(other.mapfile(&rc, 200));
  ASSERT_NE(nullptr, p);
  p[0] = 'J';
  EXPECT_EQ('J', q[0]);  // both map the same file
  ASSERT_EQ(0, stat(made.c_str(), &st));
  EXPECT_EQ(100, st.st_size);
}
