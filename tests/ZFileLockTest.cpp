// zbase tests: read-write locks between processes over lock files, and file maps.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>

#include "Z/ZException.h"
#include "Z/ZFileLock.h"
#include "ZProcessLockTestSupport.h"

using zproctest::Child;
using zproctest::kQuietMs;
using zproctest::Recorder;
using zproctest::TempDir;

namespace {

typedef ZReadWriteLockInterface::zlockstate zlockstate;
const zlockstate kUnset = static_cast<zlockstate>(0);
const zlockstate kRead = static_cast<zlockstate>(1);
const zlockstate kWrite = static_cast<zlockstate>(3);
const unsigned long kInvalid = ZAbstractProcessReadWriteLock::invalidSequence;

std::string str(const char* fmt, long a = 0, long b = 0, long c = 0, long d = 0) {
  char buf[256];
  snprintf(buf, sizeof buf, fmt, a, b, c, d);
  return buf;
}

// What another process sees of a lock file: the lock on the data range and
// on the gate ("U", or "R"/"W" and the holder's pid), the sequence number
// and the pid stored in it, and its size. Looked at from a process of its
// own, because closing any descriptor of the file in this process would
// drop this process's record locks on it.
std::string inspect(const std::string& path) {
  int fd = open(path.c_str(), O_RDWR);
  if (fd < 0) return "none";
  std::string out;
  const off_t ranges[2][2] = {{0, 8}, {8, 4}};
  for (const auto& r : ranges) {
    struct flock fl = {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = r[0];
    fl.l_len = r[1];
    if (fcntl(fd, F_GETLK, &fl) != 0) return "getlk failed";
    if (fl.l_type == F_UNLCK) {
      out += "U ";
    } else {
      out += str(fl.l_type == F_RDLCK ? "R:%ld " : "W:%ld ", fl.l_pid);
    }
  }
  unsigned char bytes[12] = {};
  ssize_t n = pread(fd, bytes, sizeof bytes, 0);
  struct stat st;
  fstat(fd, &st);
  close(fd);
  uint64_t seq;
  int32_t pid;
  memcpy(&seq, bytes, 8);
  memcpy(&pid, bytes + 8, 4);
  if (n < 12) return out + str("size=%ld", st.st_size);
  return out + str("seq=%lu pid=%ld size=%ld", static_cast<long>(seq), pid, st.st_size);
}

// A helper process that inspects a lock file on request.
class Prober {
 public:
  explicit Prober(const std::string& path)
      : child_([path](Child& c) {
          while (c.receive() == "probe") c.send(inspect(path));
          return 0;
        }) {}
  ~Prober() {
    child_.send("quit");
    child_.wait();
  }
  std::string operator()() {
    child_.send("probe");
    return child_.receive();
  }
  // Probes until the answer starts with `prefix` or the bound passes.
  std::string waitFor(const std::string& prefix) {
    std::string seen;
    for (int i = 0; i < 2000; ++i) {
      seen = (*this)();
      if (seen.compare(0, prefix.size(), prefix) == 0) break;
      usleep(5000);
    }
    return seen;
  }

 private:
  Child child_;
};

void writeRaw(const std::string& path, const void* data, size_t length) {
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(static_cast<ssize_t>(length), write(fd, data, length));
  close(fd);
}

// Counts the times the file itself is locked and released.
class CountingLock : public ZUnixProcessReadWriteFileLock {
 public:
  CountingLock(const char* name, const char* dir) : ZUnixProcessReadWriteFileLock(name, dir) {}
  void lockFile(zlockstate state) override {
    ++locks;
    ZUnixProcessReadWriteFileLock::lockFile(state);
  }
  void unlockFile() override {
    ++unlocks;
    ZUnixProcessReadWriteFileLock::unlockFile();
  }
  std::atomic<int> locks{0};
  std::atomic<int> unlocks{0};
};

class UmaskScope {
 public:
  UmaskScope() : old_(umask(022)) {}
  ~UmaskScope() { umask(old_); }

 private:
  mode_t old_;
};

}  // namespace

TEST(ZFileLockTest, LockFileNameIsPrefixedAndJoinedToTheDirectory) {
  TempDir d;
  const std::string dir = d.path();
  ZUnixProcessReadWriteFileLock a("app", dir.c_str());
  EXPECT_EQ(dir + "/._zplapp", a.getLockFileName().getChars());
  EXPECT_EQ(dir, a.getLockDirName().getChars());
  EXPECT_STREQ("app", a.getLockName().getChars());

  ZUnixProcessReadWriteFileLock b("app");
  EXPECT_STREQ("._zplapp", b.getLockFileName().getChars());
  EXPECT_STREQ("", b.getLockDirName().getChars());
  EXPECT_FALSE(a == b);
  b.setLockDirName(dir.c_str());
  EXPECT_EQ(dir + "/._zplapp", b.getLockFileName().getChars());
  EXPECT_TRUE(a == b);  // identity is the lock file name
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_EQ(ZLCString((dir + "/._zplapp").c_str()).hash(), a.hash());
  b.setLockDirName(nullptr);
  EXPECT_STREQ("._zplapp", b.getLockFileName().getChars());

  ZUnixProcessReadWriteFileLock copy(a);
  EXPECT_TRUE(copy == a);
  EXPECT_STREQ("._zpl", ZStubProcessReadWriteFileLock().getLockFileName().getChars());

  // Without a directory the file lives in the current directory.
  char cwd[4096];
  ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
  ASSERT_EQ(0, chdir(dir.c_str()));
  b.writeLock();
  b.unlock();
  ASSERT_EQ(0, chdir(cwd));
  struct stat st;
  EXPECT_EQ(0, stat(d.file("._zplapp").c_str(), &st));
}

TEST(ZFileLockTest, LockFileHoldsSequenceAndPidAndWritersRaiseTheSequence) {
  UmaskScope mask;
  TempDir d;
  const std::string path = d.file("._zplseq");
  const long me = getpid();
  Prober probe(path);
  ZUnixProcessReadWriteFileLock lock("seq", d.path().c_str());
  EXPECT_EQ("none", probe());

  lock.writeLock();
  struct stat st;
  ASSERT_EQ(0, stat(path.c_str(), &st));
  EXPECT_EQ(02600u, st.st_mode & 07777u);
  EXPECT_EQ(0u, lock.getSequence());  // a new file counts as sequence 0
  EXPECT_EQ(str("W:%ld W:%ld seq=0 pid=%ld size=12", me, me, me), probe());
  lock.unlock();
  EXPECT_EQ(str("U U seq=1 pid=%ld size=12", me), probe());
  EXPECT_EQ(1u, lock.getSequence());
  EXPECT_EQ(1u, lock.getLastSequence());

  lock.readLock();  // a reader lets go of the gate at once
  EXPECT_EQ(str("R:%ld U seq=1 pid=%ld size=12", me, me), probe());
  lock.unlock(1);  // only a write lock raises the sequence
  EXPECT_EQ(str("U U seq=1 pid=%ld size=12", me), probe());

  lock.readWithIntentToWriteLock();  // protect is taken as write
  EXPECT_EQ(kWrite, lock.getLockState());
  EXPECT_EQ(str("W:%ld W:%ld seq=1 pid=%ld size=12", me, me, me), probe());
  lock.unlock();
  EXPECT_EQ(2u, lock.getSequence());

  lock.writeLock();
  lock.unlock(0);  // a writer that changed nothing
  lock.writeLock();
  lock.setUpdate(0);
  lock.unlock();
  EXPECT_EQ(str("U U seq=2 pid=%ld size=12", me), probe());

  // After the last sequence below all-ones comes 0.
  const unsigned long nearEnd = kInvalid - 1;
  writeRaw(path, &nearEnd, sizeof nearEnd);
  lock.writeLock();
  EXPECT_EQ(nearEnd, lock.getSequence());
  lock.unlock();
  EXPECT_EQ(0u, lock.getSequence());
  EXPECT_EQ(str("U U seq=0 pid=%ld size=12", me), probe());

  // incSequence writes at once, and only under a write lock.
  for (int held = 0; held < 2; ++held) {
    if (held) lock.readLock();
    try {
      lock.incSequence();
      ADD_FAILURE() << "incSequence without a write lock";
    } catch (ZInvalidResourceStateException& e) {
      EXPECT_EQ(32u, e.getErrorNumber());
      EXPECT_EQ(-1, e.rc());
      EXPECT_STREQ(held ? "read" : "unset", e.value());
      EXPECT_STREQ("src/Z/ZFileLock", e.who());
      EXPECT_EQ(115, e.where());
    }
    if (held) lock.unlock();
  }
  lock.writeLock();
  lock.incSequence();
  EXPECT_EQ(str("W:%ld W:%ld seq=1 pid=%ld size=12", me, me, me), probe());
  lock.unlock();
  EXPECT_EQ(str("U U seq=2 pid=%ld size=12", me), probe());
}

TEST(ZFileLockTest, ThreadsOfOneProcessShareOneFileLock) {
  TempDir d;
  const std::string path = d.file("._zplshare");
  const long me = getpid();
  Prober probe(path);
  CountingLock lock("share", d.path().c_str());

  lock.readLock();
  std::promise<void> holding, release;
  std::thread second([&] {
    lock.readLock();  // the file is not touched again
    holding.set_value();
    release.get_future().wait();
    lock.unlock();  // the last reader lets go of the file
  });
  holding.get_future().wait();
  EXPECT_EQ(1, lock.locks.load());
  EXPECT_EQ(2, lock.getReaderCount());
  lock.unlock();  // another thread still reads: the file lock stays
  EXPECT_EQ(0, lock.unlocks.load());
  EXPECT_EQ(str("R:%ld U seq=0 pid=%ld size=12", me, me), probe());
  release.set_value();
  zproctest::runThreads({[&] { second.join(); }});
  EXPECT_EQ(1, lock.unlocks.load());
  EXPECT_EQ(kUnset, lock.getLockState());
  EXPECT_EQ(str("U U seq=0 pid=%ld size=12", me), probe());

  // Readers and writers on several threads: no lost update, and each write
  // raised the file's sequence once.
  const int kThreads = 3, kCycles = 20;
  long counter = 0;
  std::atomic<int> wrong(0);
  std::vector<std::function<void()>> bodies;
  for (int t = 0; t < kThreads; ++t) {
    bodies.push_back([&, t] {
      for (int i = 0; i < kCycles; ++i) {
        if ((i + t) % 2) {
          lock.readLock();
          if (lock.getLockState() != kRead) ++wrong;
          lock.unlock();
        } else {
          lock.writeLock();
          long v = counter;
          counter = v + 1;
          lock.unlock();
        }
      }
    });
  }
  zproctest::runThreads(bodies);
  EXPECT_EQ(0, wrong.load());
  EXPECT_EQ(30, counter);
  EXPECT_EQ(str("U U seq=30 pid=%ld size=12", me), probe());
}

TEST(ZFileLockTest, ReadersShareWritersExcludeAndLaterReadersQueueBehindAWaitingWriter) {
  TempDir d;
  const std::string dir = d.path();
  // A process that takes the lock in `state`, says so, and holds it until
  // told to release.
  auto holder = [dir](zlockstate state) {
    return [dir, state](Child& c) {
      ZUnixProcessReadWriteFileLock l("x", dir.c_str());
      c.send("trying");
      l.lock(state);
      c.send("got");
      if (c.receive() != "release") return 1;
      l.unlock();
      return 0;
    };
  };
  Prober probe(d.file("._zplx"));
  ZUnixProcessReadWriteFileLock lock("x", dir.c_str());
  lock.readLock();
  Child reader(holder(kRead));
  EXPECT_EQ("trying", reader.receive());
  EXPECT_EQ("got", reader.receive());  // readers share

  Child writer(holder(kWrite));
  EXPECT_EQ("trying", writer.receive());
  // The writer has passed the gate and waits for the data range...
  const std::string expected = str("R:%ld W:%ld ", getpid(), writer.pid());
  EXPECT_EQ(0u, probe.waitFor(expected).rfind(expected, 0));
  // ...so a reader coming after it queues at the gate.
  Child lateReader(holder(kRead));
  EXPECT_EQ("trying", lateReader.receive());
  EXPECT_EQ("<timeout>", lateReader.receive(kQuietMs));

  lock.unlock();
  EXPECT_EQ("<timeout>", writer.receive(kQuietMs));  // the other reader remains
  reader.send("release");
  EXPECT_EQ("got", writer.receive());
  EXPECT_EQ("<timeout>", lateReader.receive(kQuietMs));
  writer.send("release");
  EXPECT_EQ("got", lateReader.receive());
  lateReader.send("release");
  EXPECT_EQ(0, reader.wait());
  EXPECT_EQ(0, writer.wait());
  EXPECT_EQ(0, lateReader.wait());
}

TEST(ZFileLockTest, AnotherProcessWriteIsReportedOnceAndTheReaderEndsHoldingWrite) {
  TempDir d;
  const std::string dir = d.path();
  const long me = getpid();
  ZUnixProcessReadWriteFileLock lock("obs", dir.c_str());
  Recorder rec;
  lock.addObserver(&rec);
  lock.readLock();  // the first lock never reports
  lock.unlock();
  EXPECT_TRUE(rec.notices.empty());
  EXPECT_EQ(0u, lock.getLastSequence());

  Child writer([dir](Child&) {
    ZUnixProcessReadWriteFileLock l("obs", dir.c_str());
    l.writeLock();
    l.unlock();
    return l.getSequence() == 1 ? 0 : 1;
  });
  ASSERT_EQ(0, writer.wait());

  Prober probe(d.file("._zplobs"));
  lock.readLock();
  ASSERT_EQ(1u, rec.notices.size());
  EXPECT_EQ(&lock, dynamic_cast<ZUnixProcessReadWriteFileLock*>(rec.notices[0].source));
  EXPECT_EQ(1u, rec.notices[0].sequence);
  EXPECT_EQ(0u, rec.notices[0].last);
  EXPECT_EQ(kWrite, lock.getLockState());
  EXPECT_TRUE(lock.ownWriteLock());
  EXPECT_EQ(0, lock.getUpdate());
  EXPECT_EQ(str("W:%ld W:%ld seq=1 pid=%ld size=12", me, me, me), probe());
  lock.unlock();  // the refresh is not a change: the sequence stays
  EXPECT_EQ(str("U U seq=1 pid=%ld size=12", me), probe());
  EXPECT_EQ(1u, lock.getLastSequence());

  lock.readLock();
  EXPECT_EQ(1u, rec.notices.size());
  EXPECT_EQ(kRead, lock.getLockState());
  lock.unlock();
}

TEST(ZFileLockTest, ManyProcessesLoseNoUpdate) {
  TempDir d;
  const std::string dir = d.path();
  const std::string counterPath = d.file("counter");
  const long zero[2] = {0, 0};
  writeRaw(counterPath, zero, sizeof zero);
  const int kProcs = 4, kCycles = 40;

  auto start = std::chrono::steady_clock::now();
  std::vector<std::unique_ptr<Child>> children;
  for (int p = 0; p < kProcs; ++p) {
    children.emplace_back(new Child([&](Child&) {
      ZUnixProcessReadWriteFileLock l("stress", dir.c_str());
      int fd = open(counterPath.c_str(), O_RDWR);
      if (fd < 0) return 2;
      int bad = 0;
      for (int i = 0; i < kCycles; ++i) {
        long v[2];
        // A reader must never see a half-done update.
        l.readLock();
        if (pread(fd, v, sizeof v, 0) != sizeof v || v[0] != v[1]) ++bad;
        l.unlock();
        l.writeLock();
        if (pread(fd, v, sizeof v, 0) != sizeof v || v[0] != v[1]) ++bad;
        long next = v[0] + 1;
        if (pwrite(fd, &next, sizeof next, 0) != sizeof next) ++bad;
        if (pwrite(fd, &next, sizeof next, sizeof next) != sizeof next) ++bad;
        l.unlock();
      }
      close(fd);
      return bad == 0 ? 0 : 3;
    }));
  }
  for (auto& c : children) EXPECT_EQ(0, c->wait(60000));
  long elapsedMs = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                         std::chrono::steady_clock::now() - start)
                                         .count());

  long v[2] = {-1, -1};
  std::ifstream in(counterPath, std::ios::binary);
  in.read(reinterpret_cast<char*>(v), sizeof v);
  EXPECT_EQ(kProcs * kCycles, v[0]);
  EXPECT_EQ(v[0], v[1]);
  unsigned long seq = 0;
  std::ifstream lf(d.file("._zplstress"), std::ios::binary);
  lf.read(reinterpret_cast<char*>(&seq), sizeof seq);
  EXPECT_EQ(static_cast<unsigned long>(kProcs * kCycles), seq);
  printf("[ stress   ] %d processes x %d cycles: %ld updates lost, %ld ms\n", kProcs, kCycles,
         kProcs * kCycles - v[0], elapsedMs);
}

TEST(ZFileLockTest, SetLockDirNameWantsAWritableSearchableDirectory) {
  TempDir d;
  const std::string plain = d.file("plain"), readOnly = d.file("ro"), noSearch = d.file("nosearch"),
                    good = d.file("good"), other = d.file("other");
  writeRaw(plain, "x", 1);
  ASSERT_EQ(0, mkdir(readOnly.c_str(), 0500));
  ASSERT_EQ(0, mkdir(noSearch.c_str(), 0600));
  ASSERT_EQ(0, mkdir(good.c_str(), 0700));
  ASSERT_EQ(0, mkdir(other.c_str(), 0700));

  ZUnixProcessReadWriteFileLock lock("dir", good.c_str());
  for (const std::string& bad : {plain, readOnly, noSearch, d.file("missing"), std::string()}) {
    SCOPED_TRACE(bad);
    try {
      lock.setLockDirName(bad.c_str());
      ADD_FAILURE() << "accepted";
    } catch (ZInvalidParameterException& e) {
      EXPECT_EQ(22u, e.getErrorNumber());
      EXPECT_STREQ("src/Z/ZFileLock", e.who());
      EXPECT_EQ(130, e.where());
    }
    EXPECT_EQ(good, lock.getLockDirName().getChars());
  }
  EXPECT_THROW(ZUnixProcessReadWriteFileLock("dir", plain.c_str()), ZInvalidParameterException);

  for (zlockstate held : {kRead, kWrite}) {
    lock.lock(held);
    lock.setLockDirName(good.c_str());  // the same directory is no change
    try {
      lock.setLockDirName(other.c_str());
      ADD_FAILURE() << "changed while locked";
    } catch (ZInvalidResourceStateException& e) {
      EXPECT_EQ(32u, e.getErrorNumber());
      EXPECT_STREQ(held == kRead ? "read" : "write", e.value());
      EXPECT_STREQ("src/Z/ZFileLock", e.who());
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
    lock.writeLock();  // the lock file cannot be opened
    ADD_FAILURE() << "locked without a lock file";
  } catch (ZLockResourceException& e) {
    EXPECT_EQ(33u, e.getErrorNumber());
    EXPECT_EQ(EBADF, e.rc());
    EXPECT_STREQ("ZResourceException", e.getName());
    EXPECT_STREQ("src/Z/ZFileLock", e.who());
    EXPECT_EQ(335, e.where());
  }
  EXPECT_EQ(kUnset, lock.getLockState());
  ASSERT_EQ(0, mkdir(sub.c_str(), 0700));
  lock.writeLock();  // nothing was left held in this process
  lock.unlock();

  try {
    lock.lock(static_cast<zlockstate>(9));
    ADD_FAILURE() << "state 9 accepted";
  } catch (ZInvalidResourceStateException& e) {
    EXPECT_STREQ("", e.value());
    EXPECT_EQ(173, e.where());
  }

  // Reading the sequence: an empty file is sequence 0, a short one an error.
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
  try {
    lock.lockFileRange(static_cast<zlockstate>(7), 0, 8);
    ADD_FAILURE() << "state 7 accepted";
  } catch (ZInvalidResourceStateException& e) {
    EXPECT_EQ(321, e.where());
  }
  lock.unlockFileRange(0, 8);

  // A write that fails (here: beyond the file size limit) zeroes the kept
  // sequence; the gate and the in-process lock are given back.
  Child limited([sub](Child& c) {
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = {8, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &small);
    ZUnixProcessReadWriteFileLock l("f", sub.c_str());
    try {
      l.writeLock();
      c.send("locked");
    } catch (ZWriteResourceException& e) {
      c.send(str("%ld %ld %ld %ld", static_cast<long>(e.getErrorNumber()), e.rc(), e.where(),
                 static_cast<long>(l.getLockState())) +
             str(" %ld", static_cast<long>(l.getSequence())));
    }
    struct rlimit big = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &big);
    l.writeLock();
    l.unlock();
    c.send("ok");
    return 0;
  });
  EXPECT_EQ(str("33 %ld 356 0 0", EFBIG), limited.receive());
  EXPECT_EQ("ok", limited.receive());
  EXPECT_EQ(0, limited.wait());
}

TEST(ZFileLockTest, FileMapMapsCreatesExtendsAndReportsErrors) {
  UmaskScope mask;
  TempDir d;
  const std::string empty = d.file("empty"), made = d.file("made");
  writeRaw(empty, "", 0);
  int rc = -5;
  ZUnixFileMap none(empty.c_str(), ZAbstractFileMap::readOnly, 1);
  EXPECT_EQ(nullptr, none.mapfile(&rc, 0));  // nothing to map
  EXPECT_EQ(22, rc);
  EXPECT_EQ(1, none.getFlag());
  ZUnixFileMap missing(d.file("missing").c_str(), ZAbstractFileMap::readOnly, 0);
  EXPECT_EQ(nullptr, missing.mapfile(&rc, 16));
  EXPECT_EQ(ENOENT, rc);

  ZUnixFileMap create(made.c_str(), ZAbstractFileMap::readWriteCreate, 0);
  char* p = static_cast<char*>(create.mapfile(&rc, 100));  // created and extended
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(0, rc);
  memcpy(p, "hello", 5);
  create.unmapfile(&rc);
  EXPECT_EQ(0, rc);
  EXPECT_EQ(nullptr, create.getAddress());
  struct stat st;
  ASSERT_EQ(0, stat(made.c_str(), &st));
  EXPECT_EQ(100, st.st_size);
  EXPECT_EQ(0600u, st.st_mode & 0777u);

  ZUnixFileMap whole(made.c_str(), ZAbstractFileMap::readOnly, 0);
  const char* q = static_cast<const char*>(whole.mapfile(&rc, 0));
  ASSERT_NE(nullptr, q);
  EXPECT_EQ(100u, whole.getLength());
  EXPECT_EQ(0, memcmp(q, "hello\0", 6));
  // Any mode but 0 and 1 maps read-write without extending.
  ZUnixFileMap other(made.c_str(), static_cast<ZAbstractFileMap::zmapmode>(7), 0);
  p = static_cast<char*>(other.mapfile(&rc, 150));
  ASSERT_NE(nullptr, p);
  p[0] = 'J';
  EXPECT_EQ('J', q[0]);  // both map the same file
  ASSERT_EQ(0, stat(made.c_str(), &st));
  EXPECT_EQ(100, st.st_size);
  ZUnixFileMap grow(made.c_str(), ZAbstractFileMap::readWriteCreate, 0);
  ASSERT_NE(nullptr, grow.mapfile(&rc, 200));
  ASSERT_EQ(0, stat(made.c_str(), &st));
  EXPECT_EQ(200, st.st_size);
}

// Throw sites record their own source line; keep the literals honest.
TEST(ZFileLockTest, ThrowSitesRecordTheLineTheyStandOn) {
  int sites = 0;
  for (const char* module : {"ZFileLock", "ZProcessLock"}) {
    std::ifstream in(std::string(ZBASE_SOURCE_DIR) + "/src/Z/" + module + ".cpp");
    ASSERT_TRUE(in.good()) << module;
    std::string line;
    std::regex site("throwException\\(\"src/Z/(\\w+)\", (\\d+)\\)");
    for (int number = 1; std::getline(in, line); ++number) {
      std::smatch m;
      if (!std::regex_search(line, m, site)) continue;
      ++sites;
      EXPECT_EQ(module, m[1].str()) << "line " << number;
      EXPECT_EQ(number, std::stoi(m[2].str())) << module << " line " << number;
    }
  }
  EXPECT_EQ(13, sites);
}
