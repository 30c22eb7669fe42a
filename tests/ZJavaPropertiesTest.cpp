// zbase: tests of flat property files: the reader's states, the writer's bytes,
// the file locks and failures, and realistic files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
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

namespace {

typedef std::map<std::string, std::string> Entries;

// Throw sites of src/Z/ZJavaProperties.
const int kClone = 130;
const int kLoadOpen = 139;
const int kLoadLock = 144;
const int kReadFailed = 171;
const int kEmptyKey = 355;
const int kEmptyPath = 365;
const int kStoreOpen = 368;
const int kStoreLock = 375;
const int kWriteFailed = 393;

Entries entries(const ZJavaProperties& p) {
  ZArrayList keys(10, 0);
  p.getEntries().listKeys(keys);
  Entries out;
  for (unsigned int i = 0; i < keys.size(); ++i) {
    const ZUTF8String* k = static_cast<const ZUTF8String*>(keys.get(i));
    const ZUTF8String* v = static_cast<const ZUTF8String*>(p.getEntries().getEntry(k));
    out[std::string(k->getChars(), k->getLength())] = std::string(v->getChars(), v->getLength());
  }
  return out;
}

Entries parse(const std::string& text) {
  ZJavaProperties p;
  FILE* f = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
  p.loadProperties(f, "mem");
  std::fclose(f);
  return entries(p);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Runs `statement`, expecting `type` thrown at line `line` with message `number`.
#define EXPECT_THROW_AT(statement, type, number, line) \
  try {                                                \
    statement;                                         \
    ADD_FAILURE() << "no exception";                   \
  } catch (type & e) {                                 \
    EXPECT_EQ(number, e.getErrorNumber());             \
    EXPECT_STREQ("src/Z/ZJavaProperties", e.who());    \
    EXPECT_EQ(line, e.where());                        \
  }

class ZJavaPropertiesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/zjavaXXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(tmpl));
    dir_ = tmpl;
    file_ = dir_ + "/app.properties";
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  Entries load(const std::string& text, const char* key = nullptr) {
    writeFile(file_, text);
    ZJavaProperties p;
    EXPECT_EQ(1, key ? p.load(file_.c_str(), key) : p.load(file_.c_str()));
    return entries(p);
  }

  std::string dir_, file_;
};

TEST(ZJavaPropertiesReader, FollowsTheTransitionTable) {
  const struct {
    const char* text;
    Entries want;
  } cases[] = {
      // 1 StartLine; ":", "=" and "\" begin the key there.
      {"a=1\nb : 2\nc 3\nd=\n", {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", ""}}},
      {"\n\n#a=1\n!b=2\nc=3\n", {{"c", "3"}}},
      {"=x y\n:k=1\n\\k=2\n", {{"=x", "y"}, {":k", "1"}, {"\\k", "2"}}},
      {"=x\nskipped=1\nz=2\n", {{"z", "2"}}},
      // 2 StartLineBlanks: a separator is an error there, "\" is a key character.
      {"  a=1\n \t\f\v\nb=2\n", {{"a", "1"}, {"b", "2"}}},
      {"  =x\n  :y\n  # c\n \\k=1\n", {{"\\k", "1"}}},
      // 3 CommentLine ends at the line end only, backslash or not.
      {"# a \\\nb=2\n", {{"b", "2"}}},
      // 4 KeyChars: "#" and "!" belong to the key; a bare key also loses the next line.
      {"a#b!=1\n", {{"a#b!", "1"}}},
      {"e\nf=1\ng=2\n", {{"g", "2"}}},
      // 5 KeyCharEscape: "\", blanks, "=" and ":" only.
      {"a\\\\b\\ c\\\td\\=e\\:f=1\n", {{"a\\b c\td=e:f", "1"}}},
      {"a\\nb=1\nc=2\n", {{"c", "2"}}},
      {"a\\\nb=1\nc=2\n", {{"c", "2"}}},
      // 6 KeyEndBlanksFirst.
      {"c #x\nd \\ y\ne \t= 5\n", {{"c", "#x"}, {"d", " y"}, {"e", "5"}}},
      {"e \nf=1\ng=2\n", {{"g", "2"}}},
      // 7 KeyEndBlanksFinal and 8 ValChars.
      {"a==1\nb=:1\nc= #1\nd=x =y:z !# \n",
       {{"a", "=1"}, {"b", ":1"}, {"c", "#1"}, {"d", "x =y:z !# "}}},
      {"a=1\na=2\n", {{"a", "2"}}},
      // 9 ValEscape: blank, quotes, ":" and "\"; no "\n", "\t" or "\=".
      {"a=\\ x\\\"\\'\\:\\\\\n", {{"a", " x\"':\\"}}},
      {"a=1\\n\nb=1\\t\nc=a\\=b\nd=4\n", {{"d", "4"}}},
      // 10 MultiLineVal: leading blanks skipped; an empty line ends the value.
      {"v = x\\\n   y\n", {{"v", "xy"}}},
      {"v = x\\\n\nw=1\n", {{"v", "x"}, {"w", "1"}}},
      {"v=x\\\n#y\\\n\\ z\\\n=:\n", {{"v", "x#y z=:"}}},
      // 11-14: "\u" escapes, one code unit each; surrogates are not combined.
      {"w = a\\u00e9b\nx=\\U20AC\\u0041\n",
       {{"w",
         "a\xC3\xA9"
         "b"},
        {"x",
         "\xE2\x82\xAC"
         "A"}}},
      {"s=\\ud83d\\ude00\n", {{"s", "\xED\xA0\xBD\xED\xB8\x80"}}},
      {"a=\\u00g1\nb=2\n", {{"b", "2"}}},
      {"a=\\u00\nb=1\nc=2\n", {{"c", "2"}}},
      // Line ends: CR LF, lone CR, LF CR; each pair is one line end.
      {"a=1\r\nb=x\\\r\n  y\r\n", {{"a", "1"}, {"b", "xy"}}},
      {"a=1\rb=2\r", {{"a", "1"}, {"b", "2"}}},
      {"a=1\n\rb=2\n\r", {{"a", "1"}, {"b", "2"}}},
      {"e\r\n\r\nf=1\r\n", {{"f", "1"}}},
      {"e\r\n\nf=1\n", {{"f", "1"}}},
      // A last line without a line end is dropped.
      {"a=1\nb=2", {{"a", "1"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.want, parse(c.text));
  }
}

TEST_F(ZJavaPropertiesTest, LoadWithAKeyStopsRightAfterIt) {
  const char* text = "a=1\nk=2\nz=3\n";
  EXPECT_EQ((Entries{{"a", "1"}, {"k", "2"}}), load(text, "k"));
  EXPECT_EQ((Entries{{"a", "1"}, {"k", "2"}, {"z", "3"}}), load(text, "absent"));
  // A last line without a line end is kept when it holds the searched key.
  EXPECT_EQ((Entries{{"a", "1"}, {"k", "2"}}), load("a=1\nk=2", "k"));
  EXPECT_EQ((Entries{{"a", "1"}}), load("a=1\nk=2", "a"));
  EXPECT_EQ((Entries{{"a", "1"}}), load("a=1\nk = a\\=b", "k"));  // a bad line stays dropped
  // A value ended by an empty continuation line is stored only when no other
  // key is searched, and then reading goes on.
  EXPECT_EQ((Entries{{"z", "3"}}), load("k = x\\\n\nz=3\n", "z"));
  EXPECT_EQ((Entries{{"k", "x"}, {"z", "3"}}), load("k = x\\\n\nz=3\n", "k"));
  // Loads add to the entries and replace values key by key.
  ZJavaProperties p;
  p.setValue("a", "old");
  p.setValue("b", "kept");
  writeFile(file_, "a=new\nc=3\n");
  p.load(file_.c_str());
  EXPECT_EQ((Entries{{"a", "new"}, {"b", "kept"}, {"c", "3"}}), entries(p));
  EXPECT_EQ(1, p.load(""));
  EXPECT_EQ(1, p.load(nullptr));
  ZUTF8String out("stale");
  p.getValue("a", out);
  EXPECT_STREQ("new", out.getChars());
  p.getValue("none", out);
  EXPECT_STREQ("", out.getChars());
}

TEST_F(ZJavaPropertiesTest, StoreWritesTheseBytes) {
  const struct {
    const char* value;
    const char* line;
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
  ZJavaProperties p;
  Entries same = {{"plain", "hello world"},
                  {"escapes", "C:\\dir\\file"},
                  {"marks", "=#!x \"q\" 'q'"},
                  {"trailing", "x  "},
                  {"empty", ""},
                  {"utf8",
                   "Ren\xC3\xA9"
                   "e \xE2\x82\xAC"}};
  for (const auto& e : same) p.setValue(e.first.c_str(), e.second.c_str());
  p.store(file_.c_str());
  ZJavaProperties back;
  back.load(file_.c_str());
  EXPECT_EQ(same, entries(back));
  const struct {
    const char *key, *value;
    Entries want;
  } changed[] = {
      {"k", " lead", {{"k", "lead"}}},
      {"k", "two\nlines", {{"k", "two"}}},
      {"k", "one\nx=y", {{"k", "one"}, {"x", "y"}}},
      {"k", "\xF0\x9F\x98\x80", {}},
      {"a b", "1", {{"a", "b = 1"}}},
      {"#k", "1", {}},
  };
  for (const auto& c : changed) {
    SCOPED_TRACE(c.value);
    ZJavaProperties one;
    one.setValue(c.key, c.value);
    one.store(file_.c_str());
    ZJavaProperties reread;
    reread.load(file_.c_str());
    EXPECT_EQ(c.want, entries(reread));
  }
}

TEST_F(ZJavaPropertiesTest, FailuresNameTheFileTheCallAndTheError) {
  ZJavaProperties p;
  std::string missing = dir_ + "/missing";
  try {
    p.load(missing.c_str());
    ADD_FAILURE() << "no exception";
  } catch (ZPropertiesIOException& e) {
    EXPECT_EQ(43u, e.getErrorNumber());
    EXPECT_STREQ(missing.c_str(), e.file());
    EXPECT_STREQ("fopen(r)", e.api());
    EXPECT_EQ(ENOENT, e.excerrno());
    EXPECT_EQ(kLoadOpen, e.where());
  }
  EXPECT_THROW_AT(p.load(dir_.c_str()), ZUnexpectedEndOfFile, 53u, kReadFailed);
  try {
    p.store(dir_.c_str());
    ADD_FAILURE() << "no exception";
  } catch (ZPropertiesIOException& e) {
    EXPECT_STREQ("fopen(wt)", e.api());
    EXPECT_EQ(EISDIR, e.excerrno());
    EXPECT_EQ(kStoreOpen, e.where());
  }
  EXPECT_THROW_AT(p.store(""), ZInvalidParameterException, 22u, kEmptyPath);
  EXPECT_THROW_AT(p.store(nullptr), ZInvalidParameterException, 22u, kEmptyPath);
  EXPECT_THROW_AT(p.setValue("", "v"), ZInvalidParameterException, 22u, kEmptyKey);
  EXPECT_THROW_AT(p.clone(), ZAbstractNotImplementedException, 31u, kClone);
  EXPECT_TRUE(p.getEntries().isEmpty());
}

TEST_F(ZJavaPropertiesTest, AFailedWriteRemovesTheFile) {
  int rc = inChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {64, 64};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ZJavaProperties p;
    p.setValue("k", std::string(8192, 'x').c_str());
    try {
      p.store(file_.c_str());
      ADD_FAILURE() << "no exception";
    } catch (ZPropertiesIOException& e) {
      EXPECT_STREQ("fwrite()", e.api());
      EXPECT_EQ(EFBIG, e.excerrno());
      EXPECT_EQ(kWriteFailed, e.where());
    }
    EXPECT_FALSE(std::filesystem::exists(file_));
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(0, rc);
}

TEST_F(ZJavaPropertiesTest, LocksHeldByAnotherProcessFailAtOnce) {
  for (short type : {F_RDLCK, F_WRLCK}) {
    SCOPED_TRACE(type == F_RDLCK ? "read lock" : "write lock");
    writeFile(file_, "a=1\n");
    int ready[2], done[2];
    ASSERT_EQ(0, ::pipe(ready));
    ASSERT_EQ(0, ::pipe(done));
    pid_t holder = ::fork();
    if (holder == 0) {
      ::alarm(30);  // never outlives a parent that failed
      struct flock whole = {};
      whole.l_type = type;
      char c = ::fcntl(::open(file_.c_str(), O_RDWR), F_SETLK, &whole) == 0 ? 'y' : 'n';
      if (::write(ready[1], &c, 1) != 1 || ::read(done[0], &c, 1) < 0) std::_Exit(1);
      std::_Exit(0);
    }
    char c = 0;
    ASSERT_EQ(1, ::read(ready[0], &c, 1));
    ASSERT_EQ('y', c);
    ZJavaProperties p;
    if (type == F_RDLCK) {
      p.load(file_.c_str());  // readers share
      EXPECT_EQ((Entries{{"a", "1"}}), entries(p));
    } else {
      EXPECT_THROW_AT(p.load(file_.c_str()), ZPropertiesIOException, 43u, kLoadLock);
    }
    try {
      p.store(file_.c_str());
      ADD_FAILURE() << "no exception";
    } catch (ZPropertiesIOException& e) {
      EXPECT_STREQ("fcntl()", e.api());
      EXPECT_TRUE(e.excerrno() == EAGAIN || e.excerrno() == EACCES) << e.excerrno();
      EXPECT_EQ(kStoreLock, e.where());
    }
    EXPECT_EQ("", readFile(file_));  // emptied before the lock was tried
    EXPECT_EQ(1, ::write(done[1], "x", 1));
    ASSERT_EQ(holder, ::waitpid(holder, nullptr, 0));
    for (int fd : {ready[0], ready[1], done[0], done[1]}) ::close(fd);
  }
}

TEST_F(ZJavaPropertiesTest, RealisticFiles) {
  const struct {
    const char* name;
    const char* text;
    Entries want;
  } files[] = {
      {"logging",
       "# Logging configuration\n"
       "handlers = file, console\n"
       ".level = INFO\n"
       "file.pattern = /var/log/app/app-%u-%g.log\n"
       "file.limit = 50000\n"
       "console.format = [%1$tF %1$tT] %4$s: %5$s %n\n"
       "com.example.db.level = FINE\n"
       "# trailing comment without a line end",
       {{"handlers", "file, console"},
        {".level", "INFO"},
        {"file.pattern", "/var/log/app/app-%u-%g.log"},
        {"file.limit", "50000"},
        {"console.format", "[%1$tF %1$tT] %4$s: %5$s %n"},
        {"com.example.db.level", "FINE"}}},
      {"security policy",
       "# Security policy\r\n"
       "security.provider.1 = org.example.crypto.Provider\r\n"
       "tls.disabledAlgorithms = SSLv3, TLSv1, RC4, DES, MD5withRSA, \\\r\n"
       "    DH keySize < 1024, EC keySize < 224, \\\r\n"
       "    3DES_EDE_CBC, anon, NULL\r\n"
       "policy.url.1 = file:${home}/lib/security/app.policy\r\n"
       "policy.owner = Ren\\u00e9e Dupr\\u00e9\r\n"
       "policy.banner = \\u00a9 2026 Example\\u2122\r\n"
       "policy.motd = Line one\\nLine two\r\n",
       {{"security.provider.1", "org.example.crypto.Provider"},
        {"tls.disabledAlgorithms",
         "SSLv3, TLSv1, RC4, DES, MD5withRSA, DH keySize < 1024, EC keySize < 224, "
         "3DES_EDE_CBC, anon, NULL"},
        {"policy.url.1", "file:${home}/lib/security/app.policy"},
        {"policy.owner",
         "Ren\xC3\xA9"
         "e Dupr\xC3\xA9"},
        {"policy.banner", "\xC2\xA9 2026 Example\xE2\x84\xA2"}}},
      {"messages",
       "! Messages, bang comments and colon separators\n"
       "greeting: Hello, World\n"
       "farewell : Goodbye!\n"
       "   indented:yes\n"
       "key\\ with\\ spaces : spaced\n"
       "path:C\\:\\\\Program Files\\\\App\n"
       "!greeting: overridden\n"
       "   :orphan\n"
       "greeting2 :\n",
       {{"greeting", "Hello, World"},
        {"farewell", "Goodbye!"},
        {"indented", "yes"},
        {"key with spaces", "spaced"},
        {"path", "C:\\Program Files\\App"},
        {"greeting2", ""}}},
  };
  for (const auto& f : files) {
    SCOPED_TRACE(f.name);
    EXPECT_EQ(f.want, load(f.text));
  }
}

}  // namespace
