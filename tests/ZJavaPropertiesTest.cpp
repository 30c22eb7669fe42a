// zbase: tests of flat property files: the reader's states, the writer's bytes,
// the file locks and failures, and realistic files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "Z/ZArrayList.h"
#include "Z/ZException.h"
#include "Z/ZJavaProperties.h"
#include "ZChildProcess.h"
#include "ZTestSupport.h"

namespace {

// Throw sites of src/Z/ZJavaProperties.
const int kClone = 113;
const int kLoadOpen = 122;
const int kLoadLock = 127;
const int kReadFailed = 154;
const int kEmptyKey = 340;
const int kEmptyPath = 351;
const int kStoreOpen = 355;
const int kStoreLock = 362;
const int kWriteFailed = 380;

// The whole map, one "key=value" line per entry, sorted by key.
std::string entries(const ZJavaProperties& p) {
  ZArrayList keys(10, 0);
  p.getEntries().listKeys(keys);
  std::map<std::string, std::string> sorted;
  for (unsigned int i = 0; i < keys.size(); ++i) {
    const ZUTF8String* k = static_cast<const ZUTF8String*>(keys.get(i));
    const ZUTF8String* v = static_cast<const ZUTF8String*>(p.getEntries().getEntry(k));
    sorted[std::string(k->getChars(), k->getLength())] = std::string(v->getChars(), v->getLength());
  }
  std::string out;
  for (const auto& e : sorted) out += e.first + "=" + e.second + "\n";
  return out;
}

template <class E, class F, class C = std::nullptr_t>
void expectThrowHere(F body, unsigned long number, int line, C more = nullptr) {
  expectThrowAt<E>(body, number, "src/Z/ZJavaProperties", line, more);
}

// Runs `call`, expecting ZPropertiesIOException(file, api, err) thrown at `line`.
template <typename Call>
void expectIOFailure(Call call, const std::string& file, const char* api, int err, int line) {
  expectThrowHere<ZPropertiesIOException>(call, 43, line, [&](ZPropertiesIOException& e) {
    EXPECT_EQ(file + " " + api + " " + std::to_string(err),
              std::string(e.file()) + " " + e.api() + " " + std::to_string(e.excerrno()));
  });
}

class ZJavaPropertiesTest : public ::testing::Test {
 protected:
  std::string load(const std::string& text, const char* key = nullptr) {
    std::ofstream(file_, std::ios::binary) << text;
    ZJavaProperties p;
    EXPECT_EQ(1, key ? p.load(file_.c_str(), key) : p.load(file_.c_str()));
    return entries(p);
  }

  TempDir dir_;
  const std::string file_ = dir_.file("app.properties");
};

TEST_F(ZJavaPropertiesTest, ReadingFollowsTheTransitionTable) {
  const struct {
    const char *text, *want;
  } cases[] = {
      // 1 StartLine; ":", "=" and "\" begin the key there.
      {"a=1\nb : 2\nc 3\nd=\n", "a=1\nb=2\nc=3\nd=\n"},
      {"\n\n#a=1\n!b=2\nc=3\n", "c=3\n"},
      {"=x y\n:k=1\n\\k=2\n=w\nskipped=1\n", ":k=1\n=x=y\n\\k=2\n"},
      // 2 StartLineBlanks: a separator is an error there, "\" is a key character.
      {"  a=1\n \t\f\v\nb=2\n", "a=1\nb=2\n"},
      {"  =x\n  :y\n  # c\n \\k=1\n", "\\k=1\n"},
      // 3 CommentLine ends at the line end only, backslash or not.
      {"# a \\\nb=2\n", "b=2\n"},
      // 4 KeyChars: "#" and "!" belong to the key; a bare key also loses the next line.
      {"a#b!=1\ne\nf=1\ng=2\n", "a#b!=1\ng=2\n"},
      // 5 KeyCharEscape: "\", blanks, "=" and ":" only.
      {"a\\\\b\\ c\\\td\\=e\\:f=1\n", "a\\b c\td=e:f=1\n"},
      {"a\\nb=1\nc=2\na\\\nb=1\nd=3\n", "c=2\nd=3\n"},
      // 6 KeyEndBlanksFirst.
      {"c #x\nd \\ y\ne \t= 5\nf \ng=1\nh=2\n", "c=#x\nd= y\ne=5\nh=2\n"},
      // 7 KeyEndBlanksFinal and 8 ValChars; the last value of a key wins.
      {"a==1\nb=:1\nc= #1\nd=x =y:z !# \ne=1\ne=2\n", "a==1\nb=:1\nc=#1\nd=x =y:z !# \ne=2\n"},
      // 9 ValEscape: blank, quotes, ":" and "\"; no "\n", "\t" or "\=".
      {"a=\\ x\\\"\\'\\:\\\\\n", "a= x\"':\\\n"},
      {"a=1\\n\nb=1\\t\nc=a\\=b\nd=4\n", "d=4\n"},
      // 10 MultiLineVal: leading blanks skipped; an empty line ends the value.
      {"v = x\\\n   y\nu = x\\\n\nw=1\n", "u=x\nv=xy\nw=1\n"},
      {"v=x\\\n#y\\\n\\ z\\\n=:\n", "v=x#y z=:\n"},
      // 11-14: "\u" escapes, one code unit each; surrogates are not combined.
      {"w = a\\u00e9b\nx=\\U20AC\\u0041\n",
       "w=a\xC3\xA9"
       "b\nx=\xE2\x82\xAC"
       "A\n"},
      {"s=\\ud83d\\ude00\n", "s=\xED\xA0\xBD\xED\xB8\x80\n"},
      {"a=\\u00g1\nb=2\nc=\\u00\nd=1\ne=2\n", "b=2\ne=2\n"},
      // Line ends: CR LF, lone CR, LF CR; each pair is one line end.
      {"a=1\r\nb=x\\\r\n  y\r\n", "a=1\nb=xy\n"},
      {"a=1\rb=2\rc=3\n\rd=4\n\r", "a=1\nb=2\nc=3\nd=4\n"},
      {"e\r\n\r\nf=1\r\n", "f=1\n"},
      {"e\r\n\nf=1\n", "f=1\n"},
      // A last line without a line end is dropped.
      {"a=1\nb=2", "a=1\n"},
      // A realistic file: CR LF ends, a value over three lines, escapes.
      {"# Security policy\r\n"
       "tls.disabled = SSLv3, RC4, \\\r\n"
       "    DH keySize < 1024, \\\r\n"
       "    3DES_EDE_CBC\r\n"
       "policy.url = file:${home}/lib/security/app.policy\r\n"
       "policy.owner = Ren\\u00e9e Dupr\\u00e9\r\n"
       "policy.banner = \\u00a9 2026 Example\\u2122\r\n"
       "policy.motd = Line one\\nLine two\r\n",
       "policy.banner=\xC2\xA9 2026 Example\xE2\x84\xA2\npolicy.owner=Ren\xC3\xA9"
       "e Dupr\xC3\xA9\npolicy.url=file:${home}/lib/security/app.policy\n"
       "tls.disabled=SSLv3, RC4, DH keySize < 1024, 3DES_EDE_CBC\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.want, load(c.text));
  }
}

TEST_F(ZJavaPropertiesTest, LoadWithAKeyStopsRightAfterIt) {
  const struct {
    const char *text, *key, *want;
  } cases[] = {
      {"a=1\nk=2\nz=3\n", "k", "a=1\nk=2\n"},
      {"a=1\nk=2\nz=3\n", "absent", "a=1\nk=2\nz=3\n"},
      // A last line without a line end is kept when it holds the searched key.
      {"a=1\nk=2", "k", "a=1\nk=2\n"},
      {"a=1\nk=2", "a", "a=1\n"},
      {"a=1\nk = a\\=b", "k", "a=1\n"},  // a bad line stays dropped
      // A value ended by an empty continuation line is stored only when no
      // other key is searched, and then reading goes on.
      {"k = x\\\n\nz=3\n", "z", "z=3\n"},
      {"k = x\\\n\nz=3\n", "k", "k=x\nz=3\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.want, load(c.text, c.key));
  }
  // Loads add to the entries and replace values key by key.
  ZJavaProperties p;
  p.setValue("a", "old");
  p.setValue("b", "kept");
  std::ofstream(file_) << "a=new\nc=3\n";
  p.load(file_.c_str());
  EXPECT_EQ("a=new\nb=kept\nc=3\n", entries(p));
  EXPECT_EQ(1, p.load(""));
  ZUTF8String out("stale");
  p.getValue("a", out);
  EXPECT_STREQ("new", out.getChars());
  p.getValue("none", out);
  EXPECT_EQ(0u, out.getLength());
}

TEST_F(ZJavaPropertiesTest, StoreWritesTheseBytes) {
  const struct {
    const char *value, *line;
  } cases[] = {
      {"a:b\\c=d #e!f", "a\\:b\\\\c=d #e!f"},
      {" lead\ttab\"'", " lead\ttab\"'"},
      {"\xC3\xA9\xE2\x82\xAC", "\\u00e9\\u20ac"},
      {"\xF0\x9F\x98\x80|\x7F|\x80x", "\\u\\u\\u\\u|\\u|\\ux"},
      {"\xC3", "\\u00c0"},  // continuation bytes are never read past the value
      {"\xE2\x82", "\\u2080"},
      {"", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    ZJavaProperties p;
    p.setValue("my key", c.value);
    p.store(file_.c_str());
    EXPECT_EQ(std::string("#\nmy key = ") + c.line + "\n", readFile(file_));
  }
  ZJavaProperties empty;
  empty.store(file_.c_str());
  EXPECT_EQ("#\n", readFile(file_));
}

TEST_F(ZJavaPropertiesTest, RoundTripKeepsSomeValuesAndChangesOthers) {
  // Key, value, and what a store and a load make of them.
  const struct {
    const char *key, *value, *want;
  } cases[] = {
      {"k", "hello world", "k=hello world\n"},
      {"k", "C:\\dir\\file", "k=C:\\dir\\file\n"},
      {"k", "=#!x \"q\" 'q'  ", "k==#!x \"q\" 'q'  \n"},
      {"k", "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC", "k=\xC3\xA9t\xC3\xA9 \xE2\x82\xAC\n"},
      {"k", "", "k=\n"},
      {"k", " lead", "k=lead\n"},
      {"k", "two\nlines", "k=two\n"},
      {"k", "one\nx=y", "k=one\nx=y\n"},
      {"k", "\xF0\x9F\x98\x80", ""},
      {"a b", "1", "a=b = 1\n"},
      {"#k", "1", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    ZJavaProperties one;
    one.setValue(c.key, c.value);
    one.store(file_.c_str());
    EXPECT_EQ(c.want, load(readFile(file_)));
  }
}

TEST_F(ZJavaPropertiesTest, FailuresNameTheFileTheCallAndTheError) {
  ZJavaProperties p;
  std::string missing = dir_.file("missing"), dir = dir_.path;
  expectIOFailure([&] { p.load(missing.c_str()); }, missing, "fopen(r)", ENOENT, kLoadOpen);
  expectIOFailure([&] { p.store(dir.c_str()); }, dir, "fopen(wt)", EISDIR, kStoreOpen);
  expectThrowHere<ZUnexpectedEndOfFile>([&] { p.load(dir_.path.c_str()); }, 53, kReadFailed);
  expectThrowHere<ZInvalidParameterException>([&] { p.store(""); }, 22, kEmptyPath);
  expectThrowHere<ZInvalidParameterException>([&] { p.store(nullptr); }, 22, kEmptyPath);
  expectThrowHere<ZInvalidParameterException>([&] { p.setValue("", "v"); }, 22, kEmptyKey);
  expectThrowHere<ZAbstractNotImplementedException>([&] { p.clone(); }, 31, kClone);
  EXPECT_TRUE(p.getEntries().isEmpty());
}

TEST_F(ZJavaPropertiesTest, AFailedWriteRemovesTheFile) {
  int rc = inChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {64, 64};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ZJavaProperties p;
    p.setValue("k", std::string(8192, 'x').c_str());
    expectIOFailure([&] { p.store(file_.c_str()); }, file_, "fwrite()", EFBIG, kWriteFailed);
    EXPECT_FALSE(std::filesystem::exists(file_));
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(0, rc);
}

TEST_F(ZJavaPropertiesTest, LocksHeldByAnotherProcessFailAtOnce) {
  for (short type : {F_RDLCK, F_WRLCK}) {
    SCOPED_TRACE(type == F_RDLCK ? "read lock" : "write lock");
    std::ofstream(file_) << "a=1\n";
    int fd = ::open(file_.c_str(), O_RDWR);
    struct flock whole = {};
    whole.l_type = type;
    ASSERT_EQ(0, ::fcntl(fd, F_SETLK, &whole));  // this process holds it, a child tries
    EXPECT_EQ(
        0, inChild([&] {
          ZJavaProperties p;
          if (type == F_RDLCK) {
            p.load(file_.c_str());  // readers share
            EXPECT_EQ("a=1\n", entries(p));
          } else {
            expectIOFailure([&] { p.load(file_.c_str()); }, file_, "fcntl()", EAGAIN, kLoadLock);
          }
          expectIOFailure([&] { p.store(file_.c_str()); }, file_, "fcntl()", EAGAIN, kStoreLock);
          return testing::Test::HasFailure() ? 1 : 0;
        }));
    EXPECT_EQ("", readFile(file_));  // emptied before the lock was tried
    ::close(fd);
  }
}

}  // namespace
