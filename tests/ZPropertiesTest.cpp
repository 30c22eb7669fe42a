// zbase: tests of the properties object, its values, notices, registry and iterators.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <string>
#include <vector>

#include "Z/ZBuffer.h"
#include "Z/ZException.h"
#include "Z/ZProperties.h"
#include "Z/ZStanzaFileProperties.h"
#include "ZChildProcess.h"
#include "ZLockTestSupport.h"
#include "ZTestSupport.h"

namespace {

// Throw sites of src/Z/ZProperties that the tests pin.
const int kLineLoadOpen = 290;
const int kLineLoadLock = 297;
const int kLineStoreLock = 399;
const int kLineReloadNoName = 341;
const int kLineBlankArgument = 658;
const int kLineMissing = 589;
const int kLineIntValue = 669;
const int kLineLongValue = 689;
const int kLineBoolValue = 708;
const int kLineMustExistWithDefault = 700;
const int kLineCheckAccess = 760;
const int kLineIteratorPastEnd = 954;
const int kLineEntryValueBeforeStep = 980;

// The stanza file cache, with comments kept and a writer that can be made
// to fail half way.
class TestCache : public ZSCFData {
 public:
  void be_read(const char* name, FILE* stream) override {
    ZSCFData::be_read(name, stream);
    if (during) during();
  }
  void be_write(const char* name, FILE* stream) override {
    if (during) during();
    if (!failWrite) return ZSCFData::be_write(name, stream);
    std::fputs("[half", stream);
    ZPropertiesIOException(name, "fwrite()", ENOSPC).throwException("test", 1);
  }
  int failWrite = 0;
  std::function<void()> during;  // runs while a load or store holds the file
};

class TestProperties : public ZProperties {
 public:
  TestProperties() : ZProperties(new TestCache) { setAttributes(1, nullptr); }
  explicit TestProperties(const char* file) : TestProperties() { load(file); }
  TestCache& testCache() { return *static_cast<TestCache*>(cache); }
};

class TestFactory : public ZAbstractPropertiesFactory {
 public:
  ZProperties* makePropertiesInstance() override {
    ++made;
    return new TestProperties;
  }
  int made = 0;
};

struct Notice {
  std::string stanza, key;
  int type;
};

class Recorder : public ZObserverInterface {
 public:
  void update(ZObservableInterface*, const ZObservedParm& parm) override {
    const ZPropertyChanged& c = static_cast<const ZPropertyChanged&>(parm);
    notices.push_back({c.getStanza(), c.getKey() != nullptr ? c.getKey() : "", c.getType()});
  }
  std::vector<Notice> notices;
};

std::string values(ZProperties& p, const char* stanza, const char* key) {
  ZArrayList list(5, 1);
  p.getValues(stanza, key, list, ZPROP_STRING_LOCAL);
  std::string out;
  for (unsigned int i = 0; i < list.size(); ++i) {
    out += (i ? "," : "") + std::string(static_cast<ZLCString*>(list.get(i))->getChars());
  }
  return out;
}

// "api errno line" of the ZPropertiesIOException (number 43) that `f`
// throws, with " file" when `withFile`.
template <class F>
std::string ioFailure(F f, bool withFile = false) {
  try {
    f();
  } catch (ZPropertiesIOException& e) {
    return std::string(e.getErrorNumber() == 43 ? "" : "?") + e.api() + " " +
           std::to_string(e.excerrno()) + " " + std::to_string(e.where()) +
           (withFile ? std::string(" ") + e.file() : "");
  }
  return "no exception";
}

// The record lock that another process finds on the file: F_RDLCK, F_WRLCK
// or F_UNLCK.
int lockSeenByOthers(const std::string& file) {
  return inChild([&] {
    struct flock fl = {};
    fl.l_type = F_WRLCK;
    int fd = ::open(file.c_str(), O_RDONLY);
    return fd >= 0 && ::fcntl(fd, F_GETLK, &fl) == 0 ? fl.l_type : 99;
  });
}

template <class E, class F>
void expectThrowHere(F body, int line, unsigned long number = 22) {
  expectThrowAt<E>(body, number, "src/Z/ZProperties", line);
}

class ZPropertiesTest : public ::testing::Test {
 protected:
  std::string path(const char* name) const { return dir_.file(name); }
  TempDir dir_;
};

TEST_F(ZPropertiesTest, TypedGettersParseTheLastValueByTheirOwnRules) {
  std::string file = path("t.conf");
  writeFile(file,
            "[n]\nmulti = 1\nmulti = 2\nhex = 0x1F\noct = 010\nbad = 12abc\nempty =\n"
            "neg = -5\nbig = 4294967297\nll = -9223372036854775808\nt = TRUE\nno = No\ntwo = 2\n");
  TestProperties p(file.c_str());
  {  // "empty =" leaves a key without values; an empty value needs an iterator
    ZAbstractPropertyValuesIterator it(p, "n", "blank", ZPROP_STRING_LOCAL, 0);
    it.addValue("x");
    it.changeValue("");
  }
  // The result, or "number@line key=text" of the exception.
  auto show = [&](char getter, const char* key, int mustExist, long long dflt) -> std::string {
    try {
      if (getter == 'i') return std::to_string(p.getIntegerValue("n", key, mustExist, dflt));
      if (getter == 'l') return std::to_string(p.getLongLongValue("n", key, mustExist, dflt));
      return std::to_string(p.getBooleanValue("n", key, mustExist, static_cast<int>(dflt)));
    } catch (ZPropertiesInvalidValueException& e) {
      EXPECT_STREQ(file.c_str(), e.file());
      EXPECT_STREQ("n", e.category());
      return std::to_string(e.getErrorNumber()) + "@" + std::to_string(e.where()) + " " + e.key() +
             "=" + e.value();
    } catch (ZPropertiesMissingPropertyException& e) {
      return std::to_string(e.getErrorNumber()) + "@" + std::to_string(e.where()) + " " + e.key();
    } catch (ZInvalidParameterException& e) {
      return "invalid@" + std::to_string(e.where());
    }
  };
  const std::string missing = "28@" + std::to_string(kLineMissing);
  const struct {
    char getter;
    const char* key;
    int mustExist;
    long long dflt;
    std::string want;
  } cases[] = {
      {'i', "multi", 0, 0, "2"},  // the last value
      {'i', "hex", 0, 0, "31"},
      {'i', "oct", 0, 0, "8"},
      {'l', "oct", 0, 0, "10"},  // decimal only
      {'i', "empty", 0, 7, "7"},
      {'i', "blank", 0, 7, "0"},  // empty text is 0, not the default
      {'b', "blank", 0, 1, "0"},
      {'l', "blank", 0, 0, "40@" + std::to_string(kLineLongValue) + " blank="},
      {'i', "neg", 0, 0, "4294967291"},
      {'i', "big", 0, 0, "1"},  // low 32 bits
      {'l', "ll", 0, 0, "-9223372036854775808"},
      {'l', "neg", 0, 0, "-5"},
      {'b', "t", 0, 0, "1"},
      {'b', "no", 0, 1, "0"},
      {'i', "bad", 0, 0, "40@" + std::to_string(kLineIntValue) + " bad=12abc"},
      {'b', "two", 0, 0, "41@" + std::to_string(kLineBoolValue) + " two=2"},
      // A must-exist value may not have a default, even when it exists.
      {'b', "t", 1, 1, "invalid@" + std::to_string(kLineMustExistWithDefault)},
      {'i', "absent", 1, 0, missing + " absent"},
      {'b', "empty", 1, 0, missing + " empty"},  // no values: missing
      {'i', "", 0, 0, "invalid@" + std::to_string(kLineBlankArgument)},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.want, show(c.getter, c.key, c.mustExist, c.dflt)) << c.key;
}

TEST_F(ZPropertiesTest, TextValuesListsAndTheKindOfAKey) {
  TestProperties p;
  p.setValue("s", "k", "v1");
  p.getCache()->add("s", "k", "v2", 0);
  ZLCString out("old text");
  p.getValue("s", "k", out, 0, "dflt");
  EXPECT_STREQ("v2", out.getChars());
  p.getValue("s", "none", out, 0, "dflt");
  EXPECT_STREQ("dflt", out.getChars());
  p.getValue("s", "none", out, 0, nullptr);
  EXPECT_STREQ("", out.getChars());

  ZArrayList list(5, 1);
  list.addNoCopy(new ZLCString("stale"));
  int obfuscated = 7;
  p.getValues("s", "k", list, obfuscated, ZPROP_STRING_UTF8);
  ASSERT_EQ(2u, list.size());
  EXPECT_EQ(0, obfuscated);
  EXPECT_NE(nullptr, dynamic_cast<ZUTF8String*>(list.get(1)));
  EXPECT_STREQ("v2", static_cast<ZUTF8String*>(list.get(1))->getChars());
  ZArrayList borrowed(5, 0);
  EXPECT_THROW(p.getValues("s", "k", borrowed, ZPROP_STRING_LOCAL), ZInvalidParameterException);
  EXPECT_THROW(p.getValues("s", "k", list, static_cast<ZPropertyStringType>(3)),
               ZInvalidParameterException);

  // A key keeps its kind while it holds values; an empty value passes and
  // empties the key.
  p.setValue("s", "secret", "pw", 1);
  EXPECT_EQ(0, p.isObfuscated("s", "k"));
  p.getValues("s", "secret", list, obfuscated, ZPROP_STRING_LOCAL);
  EXPECT_EQ(1, obfuscated);
  expectThrowHere<ZInvalidParameterException>([&] { p.setValue("s", "k", "x", 1); },
                                              kLineCheckAccess);
  EXPECT_THROW(p.setValue("s", "secret", "x"), ZInvalidParameterException);
  EXPECT_THROW(p.setBooleanValue("s", "secret", 1), ZInvalidParameterException);
  EXPECT_EQ("pw", values(p, "s", "secret"));  // refused sets changed nothing
  p.setValue("s", "k", "", 1);
  EXPECT_EQ(1, p.exists("s", "k"));
  EXPECT_EQ(0u, p.numValues("s", "k"));
  p.setValue("s", "k", ZUTF8String("now hidden"), 1);
  EXPECT_EQ(1, p.isObfuscated("s", "k"));
  EXPECT_THROW(p.setValue("s", "k", ZLCConstString("plain"), 0), ZInvalidParameterException);
  p.setValue("s", "k", ZUTF8ConstString("utf8 const"), 1);
  EXPECT_EQ("utf8 const", values(p, "s", "k"));
  EXPECT_THROW(p.isObfuscated("s", "absent"), ZInvalidParameterException);

  p.setBooleanValue("s", "b", 1);
  p.setIntegerValue("s", "i", 4294967295u);
  p.setLongLongValue("s", "l", -9223372036854775807LL - 1);
  EXPECT_EQ("yes", values(p, "s", "b"));
  p.setBooleanValue("s", "b", 0);
  EXPECT_EQ("no", values(p, "s", "b"));
  EXPECT_EQ("4294967295", values(p, "s", "i"));
  EXPECT_EQ("-9223372036854775808", values(p, "s", "l"));
  EXPECT_EQ(1u, p.count());
  EXPECT_EQ(5u, p.count("s"));
  ZArrayList names(5, 1);
  p.keyNames("s", names);
  ASSERT_EQ(5u, names.size());
  EXPECT_STREQ("l", static_cast<ZLCString*>(names.get(4))->getChars());  // insertion order
  p.keyNames("missing", names);
  EXPECT_EQ(0u, names.size());
  EXPECT_THROW(p.keyNames("s", borrowed), ZInvalidParameterException);
}

TEST_F(ZPropertiesTest, ObserversHearChangesAfterTheLockIsReleasedButNotWhileLoading) {
  std::string file = path("n.conf");
  writeFile(file, "[a]\nk = 1\n");
  TestProperties p(file.c_str());
  Recorder r;
  p.addObserver(&r);
  p.setValue("a", "k", "2");
  p.setIntegerValue("a", "i", 3);
  p.deleteKey("a", "k");
  p.addFileComment("no notice");
  p.addEntryComment("a", "i", "nor here");
  ASSERT_EQ(3u, r.notices.size());
  EXPECT_EQ("a", r.notices[0].stanza);
  EXPECT_EQ("k", r.notices[0].key);
  EXPECT_EQ(ZPropertyChanged::PROPERTY_CHANGED, r.notices[1].type);
  EXPECT_EQ(ZPropertyChanged::PROPERTY_DELETED, r.notices[2].type);

  // Another thread can use the object from inside the notice.
  class CallsBack : public ZObserverInterface {
   public:
    explicit CallsBack(ZProperties& p) : p_(p) {}
    void update(ZObservableInterface*, const ZObservedParm&) override {
      auto other = std::async(std::launch::async, [this] { return p_.numValues("a", "i"); });
      answered = other.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
      if (!answered) std::_Exit(3);  // the lock is still held: a deadlock
    }
    ZProperties& p_;
    bool answered = false;
  } callsBack(p);
  p.addObserver(&callsBack);
  p.setValue("a", "i", "4");
  EXPECT_TRUE(callsBack.answered);
  p.deleteObserver(&callsBack);
  // So do appending to a key without values, and adding values to one.
  ZStanzaFileProperties sf(1);
  CallsBack appended(sf);
  sf.addObserver(&appended);
  sf.appendValue("a", "i", "1", 0);
  EXPECT_TRUE(appended.answered);
  appended.answered = false;
  ZArrayList added(2, 1);
  added.addNoCopy(new ZLCString(""));
  added.addNoCopy(new ZLCString("x"));
  sf.addValues("a", "j", added, 1);
  EXPECT_TRUE(appended.answered);

  // A failed parse leaves notices off until a load succeeds (kept so).
  r.notices.clear();
  std::string bad = path("bad.conf");
  writeFile(bad, "[b]\nok = 1\nno equals sign\n");
  try {
    p.load(bad.c_str());
    ADD_FAILURE() << "no exception";
  } catch (ZPropertiesInvalidDataException& e) {
    EXPECT_EQ(3, e.badline());
  }
  EXPECT_EQ(1, p.exists("b", "ok"));  // what was read stays
  p.setValue("a", "k", "5");
  EXPECT_TRUE(r.notices.empty());
  p.reload(file.c_str());
  p.setValue("a", "k", "6");
  EXPECT_EQ(1u, r.notices.size());
}

TEST_F(ZPropertiesTest, LoadAndStoreRewriteTheFileInPlace) {
  std::string file = path("c.conf");
  EXPECT_EQ("fopen(r) 2 " + std::to_string(kLineLoadOpen) + " " + file,
            ioFailure([&] { TestProperties().load(file.c_str()); }, true));
  expectThrowHere<ZInvalidParameterException>([] { TestProperties().reload(nullptr); },
                                              kLineReloadNoName);
  EXPECT_THROW(TestProperties().store(""), ZInvalidParameterException);

  // A missing file is created; the name is recorded for later stores.
  TestProperties p;
  p.setValue("a", "k", "v");
  p.store(file.c_str());
  EXPECT_EQ("\n[a]\nk = v\n", readFile(file));
  EXPECT_EQ(0, p.isModified());

  // A longer file is cut to the new length, on the same inode.
  writeFile(file, "# head\n[a]\nk = v\nlong = " + std::string(500, 'x') + "\n");
  struct stat before;
  ASSERT_EQ(0, ::stat(file.c_str(), &before));
  TestProperties q(file.c_str());
  q.deleteKey("a", "long");
  q.setValue("a", "k", ZLCString("w"), 0);
  EXPECT_EQ(1, q.isModified());
  q.store(nullptr);
  EXPECT_EQ("# head\n[a]\nk = w\n", readFile(file));
  struct stat after;
  ASSERT_EQ(0, ::stat(file.c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);

  // A writer that fails leaves the file as it was.
  q.setValue("a", "k", "lost");
  q.testCache().failWrite = 1;
  EXPECT_THROW(q.store(nullptr), ZPropertiesIOException);
  EXPECT_EQ("# head\n[a]\nk = w\n", readFile(file));

  // A copy has the data but no name, no observers and no marks.
  q.testCache().failWrite = 0;
  q.setValue("a", "hidden", "pw", 1);
  Recorder r;
  q.addObserver(&r);
  ZProperties dup(q);
  EXPECT_EQ(0, dup.countObservers());
  EXPECT_EQ("pw", values(dup, "a", "hidden"));
  EXPECT_EQ(1, dup.isObfuscated("a", "hidden"));
  EXPECT_EQ(0u, dup.getCache()->obfuscatedItems.size());
  EXPECT_THROW(dup.store(nullptr), ZInvalidParameterException);
}

TEST_F(ZPropertiesTest, TheSideFileGetsAnAbsoluteNameAndTheFilesModeBeforeTheValues) {
  char cwd[4096];
  ASSERT_NE(nullptr, ::getcwd(cwd, sizeof cwd));
  ASSERT_EQ(0, ::chdir(dir_.path.c_str()));
  std::string file = path("app.conf");
  std::string side = file + ".obf";
  writeFile(file, "[db]\nuser = admin\n");
  ASSERT_EQ(0, ::chmod(file.c_str(), 0640));
  writeFile(side, "old bytes");
  ASSERT_EQ(0, ::chmod(side.c_str(), 0666));  // too open: must be closed
  {
    TestProperties p("app.conf");
    p.setValue("db", "password", "s3cret", 1);
    p.store(nullptr);
    EXPECT_EQ(side, p.getCache()->name.getChars());
  }
  ASSERT_EQ(0, ::chdir(cwd));
  struct stat st;
  ASSERT_EQ(0, ::stat(side.c_str(), &st));
  EXPECT_EQ(0640u, st.st_mode & 07777);
  EXPECT_EQ(std::string::npos, readFile(side).find("s3cret"));  // packed
  EXPECT_EQ("[db]\nuser = admin\n\n[configuration-database]\nfile = " + side + "\n",
            readFile(file));

  TestProperties back(file.c_str());
  EXPECT_EQ("s3cret", values(back, "db", "password"));
  EXPECT_EQ(1, back.isObfuscated("db", "password"));
  // The last hidden value gone: the side file and its pointer go too.
  back.setValue("db", "password", "");
  back.store(nullptr);
  EXPECT_NE(0, ::access(side.c_str(), F_OK));
  // The emptied key, held only in the side file so far, gets its own line.
  EXPECT_EQ("[db]\nuser = admin\npassword =\n\n[configuration-database]\n", readFile(file));
  TestProperties again(file.c_str());
  EXPECT_EQ(0, again.exists("configuration-database", "file"));
  EXPECT_EQ(1, again.exists("db", "password"));

  // A side file that cannot be mapped (here: empty) fails the load.
  writeFile(file, "[configuration-database]\nfile = " + side + "\n");
  writeFile(side, "");
  EXPECT_EQ("mapFile() 22 313 " + side, ioFailure([&] { TestProperties{file.c_str()}; }, true));
}

TEST_F(ZPropertiesTest, StoreChecksTheFileOrItsDirectoryForReadingAndWriting) {
  const std::string dir = dir_.path;
  ASSERT_EQ(0, ::chmod(dir.c_str(), 0755));
  std::string readOnly = path("ro.conf");
  writeFile(readOnly, "[a]\nk = 1\n");
  ASSERT_EQ(0, ::chmod(readOnly.c_str(), 0444));
  // Run as somebody who may read the directory but not write it; the
  // refusals come back as bits of the exit code.
  int failed = inChild([&] {
    if (::geteuid() == 0 && ::setuid(65534) != 0) return 64;
    if (::chdir(dir.c_str()) != 0) return 65;
    int bits = 0, bit = 1;
    for (auto [file, named] : {std::pair<std::string, std::string>{readOnly, readOnly},
                               {path("new.conf"), dir},
                               {"bare.conf", dir},  // the working directory
                               {"/new.conf", "/"}}) {
      TestProperties p;
      p.setValue("a", "k", "2");
      const std::string got = ioFailure([&] { p.store(file.c_str()); }, true);
      if (got.rfind("access() 13 ", 0) != 0 || got.find(" " + named) == std::string::npos)
        bits |= bit;
      bit <<= 1;
    }
    return bits;
  });
  EXPECT_EQ(0, failed);
  EXPECT_EQ("[a]\nk = 1\n", readFile(readOnly));
}

// Runs `body` in a child limited to `limit` bytes per file, with SIGXFSZ
// ignored; returns the child's exit code.
template <typename F>
int underSizeLimit(rlim_t limit, F body) {
  return inChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit rl = {limit, limit};
    ::setrlimit(RLIMIT_FSIZE, &rl);
    return body();
  });
}

TEST_F(ZPropertiesTest, AStoreThatCannotGetItsRoomLeavesBothFilesIntact) {
  std::string file = path("big.conf");
  std::string side = file + ".obf";
  {
    TestProperties p;
    p.setValue("a", "k", "small");
    p.setValue("a", "pw", "old", 1);
    p.store(file.c_str());
  }
  const std::string oldText = readFile(file), oldSide = readFile(side);

  std::string noise;  // does not compress
  for (unsigned int i = 0, x = 1; i < 5000; ++i)
    noise += static_cast<char>('!' + (x = x * 1103515245u + 12345u) % 90);
  // The configuration file would outgrow the limit; or it fits but the side
  // file does not, though the new text would have been longer.
  const struct {
    std::string k, pw, want;
  } cases[] = {{std::string(5000, 'x'), "old", "posix_fallocate() 27 440 " + file},
               {"a little longer than before", noise, "posix_fallocate() 27 162 " + side}};
  for (const auto& c : cases) {
    EXPECT_EQ(0, underSizeLimit(oldText.size() + 100, [&] {
                TestProperties p(file.c_str());
                p.setValue("a", "k", c.k.c_str());
                p.setValue("a", "pw", c.pw.c_str(), 1);
                return ioFailure([&] { p.store(nullptr); }, true) != c.want;
              }));
    EXPECT_EQ(oldText, readFile(file));
    EXPECT_EQ(oldSide, readFile(side));
  }
}

TEST_F(ZPropertiesTest, LoadAndStoreFailAtOnceWhileAnotherProcessLocksTheFile) {
  std::string file = path("shared.conf");
  writeFile(file, "[a]\nk = 1\n");
  const std::string busyLoad = "fcntl() 11 " + std::to_string(kLineLoadLock);
  const std::string busyStore = "fcntl() 11 " + std::to_string(kLineStoreLock);
  for (short type : {F_RDLCK, F_WRLCK}) {
    SCOPED_TRACE(type);
    int fd = ::open(file.c_str(), O_RDWR);
    struct flock fl = {};
    fl.l_type = type;
    ASSERT_EQ(0, ::fcntl(fd, F_SETLK, &fl));  // this process holds it; a child tries
    EXPECT_EQ(0, inChild([&] {
                TestProperties p;
                p.setValue("a", "k", "2");
                if (ioFailure([&] { p.store(file.c_str()); }) != busyStore) return 1;
                if (type == F_WRLCK)
                  return ioFailure([&] { TestProperties{file.c_str()}; }) != busyLoad ? 2 : 0;
                return values(*std::make_unique<TestProperties>(file.c_str()), "a", "k") != "1" ? 3
                                                                                                : 0;
              }));
    ::close(fd);
  }
  EXPECT_EQ("[a]\nk = 1\n", readFile(file));
}

TEST_F(ZPropertiesTest, ObjectsOfOneProcessExcludeEachOtherAsProcessesDo) {
  std::string file = path("one.conf"), alias = dir_.path + "/./one.conf";
  writeFile(file, "[a]\nk = 1\n");
  TestProperties a(file.c_str()), b(file.c_str());
  const std::string busyLoad = "fcntl() 11 " + std::to_string(kLineLoadLock);
  const std::string busyStore = "fcntl() 11 " + std::to_string(kLineStoreLock);
  // A store has the file alone, and a refused object keeps its record lock.
  a.testCache().during = [&] {
    EXPECT_EQ(busyLoad, ioFailure([&] { b.load(alias.c_str()); }));
    EXPECT_EQ(busyStore, ioFailure([&] { b.store(nullptr); }));
    EXPECT_EQ(F_WRLCK, lockSeenByOthers(file));
  };
  a.setValue("a", "k", "2");
  a.store(nullptr);
  // Loads share it; the one that ends first leaves the other's lock.
  a.testCache().during = [&] {
    EXPECT_EQ("2", values(*std::make_unique<TestProperties>(alias.c_str()), "a", "k"));
    EXPECT_EQ(F_RDLCK, lockSeenByOthers(file));
    EXPECT_EQ(busyStore, ioFailure([&] { b.store(nullptr); }));
  };
  a.reload(nullptr);
  a.testCache().during = nullptr;
  EXPECT_EQ(F_UNLCK, lockSeenByOthers(file));
  b.store(nullptr);
  EXPECT_EQ("[a]\nk = 1\n", readFile(file));
}

TEST_F(ZPropertiesTest, AThreadHoldingAnIteratorMayAskTheRegistryWhileAnotherReloads) {
  std::string fa = path("a.conf"), fb = path("b.conf");
  writeFile(fa, "[a]\nk = 1\n");
  writeFile(fb, "[b]\nk = 1\n");
  TestFactory factory;
  ZProperties* a = ZProperties::getPropertiesFor(fa.c_str(), factory, 0);
  std::atomic<bool> holding{false};
  BoundedThread walker([&] {
    ZPropertiesIterator it(*a, "a");
    holding = true;
    pause(100);  // the reloader waits for the object meanwhile
    ZProperties::getPropertiesFor(fb.c_str(), factory, 0);
  });
  waitUntil([&] { return holding.load(); });
  BoundedThread reloader([&] { ZProperties::getPropertiesFor(fa.c_str(), factory, 1); });
  walker.join();
  reloader.join();
  EXPECT_EQ(2, factory.made);
}

TEST_F(ZPropertiesTest, TheRegistryReloadsChangedFilesUnlessTheyHoldUnsavedChanges) {
  std::string file = path("r.conf");
  writeFile(file, "[a]\nk = 1\n");
  TestFactory factory;
  ZProperties* p = ZProperties::getPropertiesFor(file.c_str(), factory, 0);
  EXPECT_EQ(p, ZProperties::getPropertiesFor(file.c_str(), factory, 0));
  // One file, one object, whatever it is called.
  EXPECT_EQ(p, ZProperties::getPropertiesFor((dir_.path + "/./r.conf").c_str(), factory, 0));
  EXPECT_EQ(1, factory.made);
  auto rewrite = [&](const char* value, long shift) {
    writeFile(file, std::string("[a]\nk = ") + value + "\n");
    struct timespec times[2] = {{0, UTIME_OMIT}, {p->getTimeStamp() + shift, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, file.c_str(), times, 0));
  };
  rewrite("2", 10);
  EXPECT_EQ(p, ZProperties::getPropertiesFor(file.c_str(), factory, 0));
  EXPECT_EQ("2", values(*p, "a", "k"));

  p->setValue("a", "mine", "unsaved");
  rewrite("3", 20);
  ZProperties::getPropertiesFor(file.c_str(), factory, 0);
  EXPECT_EQ("2", values(*p, "a", "k"));
  EXPECT_EQ("unsaved", values(*p, "a", "mine"));
  ZProperties::getPropertiesFor(file.c_str(), factory, 1);  // forced: changes go
  EXPECT_EQ("3", values(*p, "a", "k"));
  EXPECT_EQ(0, p->exists("a", "mine"));
  EXPECT_EQ(1, factory.made);

  EXPECT_THROW(ZProperties::getPropertiesFor(path("none.conf").c_str(), factory, 0),
               ZPropertiesIOException);
  EXPECT_EQ(2, factory.made);

  long stamp = 0;
  EXPECT_EQ(1, checkAndSetTimeStamp(file.c_str(), stamp));
  EXPECT_EQ(p->getTimeStamp(), stamp);
  EXPECT_EQ(0, checkAndSetTimeStamp(file.c_str(), stamp));
  EXPECT_EQ(0, checkAndSetTimeStamp(path("none").c_str(), stamp));
}

TEST_F(ZPropertiesTest, ThreadsShareOneObject) {
  std::string file = path("threads.conf");
  TestProperties p;
  Recorder r;
  p.addObserver(&r);
  auto setter = std::async(std::launch::async, [&] {
    for (int i = 0; i < 200; ++i) p.setIntegerValue("s", ("k" + std::to_string(i % 20)).c_str(), i);
  });
  auto reader = std::async(std::launch::async, [&] {
    unsigned int seen = 0;
    for (int i = 0; i < 100; ++i) {
      ZPropertiesIterator it(p, "s");
      while (it.hasMore()) {
        it.nextEntry();
        seen += it.valueCount();
      }
      p.store(file.c_str());
      seen += p.isModified();
    }
    return seen;
  });
  ASSERT_EQ(std::future_status::ready, setter.wait_for(std::chrono::seconds(60)));
  ASSERT_EQ(std::future_status::ready, reader.wait_for(std::chrono::seconds(60)));
  reader.get();
  EXPECT_EQ(200u, r.notices.size());
  p.store(nullptr);
  TestProperties back(file.c_str());
  EXPECT_EQ(199u, back.getIntegerValue("s", "k19", 1, 0));
}

TEST_F(ZPropertiesTest, EntryCommentsJoinAndGo) {
  TestProperties p;
  EXPECT_THROW(p.addFileComment(""), ZInvalidParameterException);
  p.addEntryComment("s", "k", "# one");
  p.addEntryComment("s", "k", "# two");
  ZLCString out("replaced");
  p.getEntryComment("s", "k", out);
  EXPECT_STREQ("# one\n# two", out.getChars());
  p.setEntryComment("s", "k", nullptr);  // removes it
  p.getEntryComment("s", "k", out);
  EXPECT_STREQ("", out.getChars());
}

TEST_F(ZPropertiesTest, KeyIteratorsWalkOneStanzaUnderTheLock) {
  TestProperties p;
  p.setValue("s", "a", "1");
  p.setValue("s", "b", "");
  EXPECT_THROW(ZPropertiesIterator(p, nullptr), ZInvalidParameterException);
  {
    ZPropertiesIterator none(p, "missing");
    EXPECT_FALSE(none.hasMore());
    EXPECT_EQ(0u, none.keyCount());
  }
  std::future<unsigned int> other;
  {
    ZPropertiesIterator it(p, "s");
    EXPECT_EQ(2u, it.keyCount());
    expectThrowHere<ZPropertiesIteratorException>([&] { it.entryValue(0); },
                                                  kLineEntryValueBeforeStep, 42);
    EXPECT_THROW(it.entryName(), ZPropertiesIteratorException);
    it.nextEntry();
    EXPECT_STREQ("a", it.entryName());
    EXPECT_STREQ("1", it.entryValue(0));
    EXPECT_THROW(it.entryValue(1), ZInvalidParameterException);
    // The owning thread may go on using the object; others wait.
    p.setValue("s", "c", "3");
    other = std::async(std::launch::async, [&] { return p.count("s"); });
    EXPECT_EQ(std::future_status::timeout, other.wait_for(std::chrono::milliseconds(100)));
    it.nextEntry();
    EXPECT_EQ(0u, it.valueCount());
    it.nextEntry();
    EXPECT_STREQ("c", it.entryName());
    EXPECT_FALSE(it.hasMore());
    expectThrowHere<ZPropertiesIteratorException>([&] { it.nextEntry(); }, kLineIteratorPastEnd,
                                                  42);
  }
  ASSERT_EQ(std::future_status::ready, other.wait_for(std::chrono::seconds(10)));
  EXPECT_EQ(3u, other.get());

  // What an iterator walks may be deleted by its own thread: it ends.
  ZStanzaFileProperties sf(1);
  sf.setValue("s", "a", "1");
  sf.setValue("s", "b", "2");
  ZStanzaIterator keys(sf, "s");
  ZStanzaValueIterator vals(sf, "s", "a", ZPROP_STRING_LOCAL, 0);
  keys.nextEntry();
  vals.nextValue();
  sf.deleteStanza("s");
  EXPECT_FALSE(keys.hasMore());
  EXPECT_EQ(0u, keys.keyCount() + vals.valueCount());
  EXPECT_THROW(keys.entryName(), ZPropertiesIteratorException);
  EXPECT_THROW(vals.changeValue("x"), ZPropertiesIteratorException);
}

TEST_F(ZPropertiesTest, ValueIteratorsEditInPlace) {
  TestProperties p;
  Recorder r;
  p.addObserver(&r);
  p.setValue("s", "k", "a");
  p.getCache()->add("s", "k", "b", 0);
  p.getCache()->add("s", "k", "c", 0);
  r.notices.clear();
  {
    ZAbstractPropertyValuesIterator it(p, "s", "k", ZPROP_STRING_LOCAL, 0);
    EXPECT_EQ(3u, it.valueCount());
    EXPECT_THROW(it.removeValue(), ZPropertiesIteratorException);
    it.nextValue();
    EXPECT_STREQ("b", it.nextValue()->getChars());
    it.removeValue();
    EXPECT_STREQ("c", it.nextValue()->getChars());
    it.changeValue("C");
    it.addValue("d");
    EXPECT_FALSE(it.hasMore());
    EXPECT_THROW(it.nextValue(), ZPropertiesIteratorException);
  }
  EXPECT_EQ("a,C,d", values(p, "s", "k"));
  EXPECT_TRUE(r.notices.empty());

  // A key without values is set through the object, with a notice.
  {
    ZAbstractPropertyValuesIterator it(p, "s", "new", ZPROP_STRING_LOCAL, 1);
    it.addValue("x");
    it.addValue("y");
  }
  EXPECT_EQ("x,y", values(p, "s", "new"));
  ASSERT_EQ(1u, r.notices.size());
  EXPECT_EQ("new", r.notices[0].key);

  // Obfuscated values: asking for the wrong kind is refused, and removing
  // the first one empties the whole key.
  p.setValue("s", "pw", "p1", 1);
  p.getCache()->add("s", "pw", "p2", 1);
  p.getCache()->add("s", "pw", "p3", 1);
  EXPECT_THROW(ZAbstractPropertyValuesIterator(p, "s", "pw", ZPROP_STRING_LOCAL, 1),
               ZInvalidParameterException);
  EXPECT_THROW(ZAbstractPropertyValuesIterator(p, "s", "k", ZPROP_STRING_LOCAL, 3),
               ZInvalidParameterException);
  {
    ZAbstractPropertyValuesIterator it(p, "s", "pw", ZPROP_STRING_LOCAL, 2);
    const char* text = nullptr;
    it.nextValue();
    it.nextValue();
    it.removeValue();  // not the first: only this value goes
    EXPECT_STREQ("p3", it.nextValue(text));
    EXPECT_STREQ("p3", text);
    EXPECT_EQ(2u, it.valueCount());
  }
  EXPECT_EQ("p1,p3", values(p, "s", "pw"));
  {
    ZAbstractPropertyValuesIterator it(p, "s", "pw", ZPROP_STRING_LOCAL, 2);
    it.nextValue();
    it.removeValue();
    EXPECT_EQ(0u, it.valueCount());
    EXPECT_FALSE(it.hasMore());
  }
  EXPECT_EQ(1, p.exists("s", "pw"));
  EXPECT_EQ(0u, p.numValues("s", "pw"));
  EXPECT_EQ(0u, p.getCache()->obfuscatedItems.size());

  // UTF-8 in and out (non-ASCII text only where the local code set can hold it).
  const bool wide = MB_CUR_MAX > 1;
  const char* cafe = wide ? "caf\xC3\xA9" : "cafe";
  const char* the = wide ? "th\xC3\xA9" : "the";
  p.setValue("s", "u", ZUTF8String(cafe), 0);
  {
    ZAbstractPropertyValuesIterator it(p, "s", "u", ZPROP_STRING_UTF8, 0);
    const char* text = nullptr;
    EXPECT_STREQ(cafe, it.nextValue(text));
    EXPECT_STREQ(cafe, text);
    it.changeValue(the);
  }
  ZUTF8String back;
  p.getValue("s", "u", back, 1, nullptr);
  EXPECT_STREQ(the, back.getChars());
  EXPECT_STREQ(ZLCString(ZUTF8String(the)).getChars(), values(p, "s", "u").c_str());
}

}  // namespace
