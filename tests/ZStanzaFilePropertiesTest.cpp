// zbase: tests of stanza files: reader, writer, side data and the properties
// objects built on them.
#include <gtest/gtest.h>

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
#include <thread>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZSqueeze.h"
#include "Z/ZStanzaFileProperties.h"

namespace {

const char kModule[] = "src/Z/ZStanzaFileProperties";
// Throw sites of the stanza file module.
const int kWriteFailed = 81;
const int kReadFailed = 142;
const int kZeroByte = 180;
const int kNoBracket = 195;
const int kStanzaTwice = 201;
const int kBadEntry = 211;
const int kRefusedText = 314;
const int kItemIndex = 486;
const int kNotAString = 511;
const int kAddValue = 574;
const int kAddValues = 607;
const int kGetStanza = 622;
const int kAddStanza = 635;
const int kDeleteStanza = 647;
const int kStanzaComment = 659;
const int kAppendValue = 671;
const int kNoItems = 680;
const int kBadItemType = 715;
const int kBadSideData = 351;
const ZPCache::get_type_e ANY = ZPCache::GET_ANY;

// Reads `text` into the cache through a real stream.
void read(ZSCFData& cache, const std::string& text, const char* name = "/etc/app/app.conf") {
  FILE* f = std::tmpfile();
  ASSERT_NE(nullptr, f);
  std::fwrite(text.data(), 1, text.size(), f);
  std::rewind(f);
  try {
    cache.be_read(name, f);
  } catch (...) {
    std::fclose(f);
    throw;
  }
  std::fclose(f);
}

// What the writer makes of the cache.
std::string written(ZSCFData& cache) {
  char* data = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&data, &size);
  cache.be_write("mem", f);
  std::fclose(f);
  std::string out(data, size);
  std::free(data);
  return out;
}

// Values joined by ","; "null" for no list.
std::string texts(const ZArrayList* list) {
  if (list == nullptr) return "null";
  std::string out;
  for (unsigned int i = 0; i < list->size(); ++i) {
    if (i != 0) out += ",";
    out += static_cast<const ZLCString*>(list->get(i))->getChars();
  }
  return out;
}

template <typename E, typename F>
E caught(F f) {
  try {
    f();
  } catch (const E& e) {
    return e;
  }
  ADD_FAILURE() << "no exception";
  throw std::runtime_error("no exception");
}

// A literal's bytes, zero bytes included (not its terminator).
template <size_t N>
std::string bytes(const char (&s)[N]) {
  return std::string(s, N - 1);
}

// The bytes a packed buffer unpacks to.
std::string unpacked(ZBuffer& packed) {
  ZSqueeze squeeze;
  squeeze.setSource(packed.getBuffer(), packed.getLength());
  std::string out(1 << 20, '\0');
  long n = squeeze.unsqueeze(&out[0], out.size());
  EXPECT_GE(n, 0);
  out.resize(n < 0 ? 0 : n);
  return out;
}

// Packed records, cut in half when `cut` is set.
ZBuffer packed(const std::string& records, bool cut = false) {
  ZSqueeze squeeze;
  squeeze.setSource(records.data(), records.size());
  ZBuffer out;
  out.setLength(records.size() * 2 + 64);
  long n = squeeze.squeeze(out.getBuffer(), out.getLength());
  EXPECT_GT(n, 0);
  out.setLength(cut ? n / 2 : n);
  return out;
}

const char kTricky[] =
    "# Application settings\n"
    "#   second line   \n"
    "\n"
    "[server]\n"
    "host = example.org\n"
    "port=8080\n"
    "  # indented comment\n"
    "alias = a\n"
    "alias = b\n"
    "empty =\n"
    "alias=c\n"
    "formula = a = b # not a comment\n"
    "\ttabbed key   =   spaced value   \r\n"
    "   \t\n"
    "[ spaced name ] trailing words\n"
    " k = v\n"
    "[db]\n"
    "user = scott";  // no newline at the end

// A fresh directory per test, removed afterwards.
class TempDir {
 public:
  TempDir() {
    char tmpl[] = "/tmp/zstanza-test-XXXXXX";
    path_ = mkdtemp(tmpl);
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void spit(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

template <typename F>
void expectInvalidParameter(F f, int line) {
  auto e = caught<ZInvalidParameterException>(f);
  EXPECT_EQ(22UL, e.getErrorNumber());
  EXPECT_STREQ(kModule, e.who());
  EXPECT_EQ(line, e.where());
}

// Records every notice as "type stanza key".
class Recorder : public ZObserverInterface {
 public:
  void update(ZObservableInterface*, const ZObservedParm& parm) override {
    const ZPropertyChanged& c = static_cast<const ZPropertyChanged&>(parm);
    seen.push_back(std::to_string(c.type) + " " + c.stanza + " " + (c.key ? c.key : "-"));
  }
  std::vector<std::string> seen;
};

std::string kvText(const ZPropertiesKVList& list) {
  std::string out;
  for (unsigned int i = 0; i < list.getItemCount(); ++i) {
    if (i != 0) out += ",";
    out += std::string(list.getItemKey(i)->getChars()) + "=" + list.getItemValue(i)->getChars();
  }
  return out;
}

}  // namespace

TEST(ZStanzaFilePropertiesTest, RoundTripKeepsLayoutAndMergesMultipleValues) {
  ZSCFData cache;
  cache.setAttributes(1, nullptr);
  read(cache, kTricky);
  EXPECT_EQ(
      "# Application settings\n"
      "#   second line\n"
      "\n"
      "[server]\n"
      "host = example.org\n"
      "port = 8080\n"
      "# indented comment\n"
      "alias = a\n"
      "alias = b\n"
      "alias = c\n"
      "empty =\n"
      "formula = a = b # not a comment\n"
      "tabbed key = spaced value\n"
      "\n"
      "[ spaced name ]\n"
      "k = v\n"
      "[db]\n"
      "user = scott\n",
      written(cache));
  EXPECT_EQ("a,b,c", texts(cache.get("server", "alias", ANY)));
  // "empty =" holds the key with no value at all.
  EXPECT_TRUE(cache.contains("server", "empty"));
  EXPECT_EQ(0u, cache.countValues("server", "empty"));
  EXPECT_EQ(3u, cache.count());

  // Without keep-comments only headers and entries survive.
  ZSCFData bare;
  read(bare, kTricky);
  EXPECT_EQ(
      "[server]\nhost = example.org\nport = 8080\nalias = a\nalias = b\nalias = c\nempty =\n"
      "formula = a = b # not a comment\ntabbed key = spaced value\n[ spaced name ]\nk = v\n"
      "[db]\nuser = scott\n",
      written(bare));
}

TEST(ZStanzaFilePropertiesTest, WriterLeavesOutDeletedAndObfuscatedEntries) {
  ZSCFData cache;
  cache.setAttributes(1, nullptr);
  read(cache,
       "[a]\n# about x\nx = 1\ny = 2\n\n[gone]\n# its comment\nz = 3\n\n[b]\nsecret = s\nw =\n");
  cache.remove("gone");    // data only: its lines stay in the layout
  cache.remove("a", "x");  // likewise for a key
  cache.setObfuscated("b", "secret", "hidden");
  cache.set("b", "w", "");
  EXPECT_EQ("[a]\n# about x\ny = 2\n\n[b]\nw =\n", written(cache));

  // A copy has no marks, but its hidden values still stay out of the file.
  ZPCache* copy = cache.clone();
  EXPECT_EQ("[a]\n# about x\ny = 2\n\n[b]\nw =\n", written(*static_cast<ZSCFData*>(copy)));
  delete copy;

  // A key with plain and obfuscated values writes only the plain ones.
  cache.add("b", "w", "p", 0);
  cache.add("b", "w", "o", 1);
  EXPECT_EQ("[a]\n# about x\ny = 2\n\n[b]\nw = p\n", written(cache));
}

TEST(ZStanzaFilePropertiesTest, InvalidDataNamesFileLineAndText) {
  struct Case {
    std::string text;
    int line;
    const char* data;
    int site;
  } cases[] = {
      {"[a]\nk = v\n  [b  \n", 3, "  [b", kNoBracket},                 // no "]"
      {"# c\n[a]\n\n[b]\n[a] again\n", 5, "[a] again", kStanzaTwice},  // stanza twice
      {"k = v\n", 1, "k = v", kBadEntry},                              // entry before any stanza
      {"[]\nk = v\n", 2, "k = v", kBadEntry},                   // the empty stanza takes no entries
      {"[a]\n\n  key value  \n", 3, "  key value", kBadEntry},  // no "="
      {"[a]\n = value\n", 2, " = value", kBadEntry},            // starts with "="
      {bytes("[a]\nk = v\0w\n"), 2, "k = v", kZeroByte},        // a zero byte
      {"[]\n[]\n", 2, "[]", kStanzaTwice},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ZSCFData cache;
    auto e = caught<ZPropertiesInvalidDataException>([&] { read(cache, c.text, "cfg/app.conf"); });
    EXPECT_EQ(44UL, e.getErrorNumber());
    EXPECT_STREQ("cfg/app.conf", e.file());
    EXPECT_EQ(c.line, e.badline());
    EXPECT_STREQ(c.data, e.baddata());
    EXPECT_STREQ(kModule, e.who());
    EXPECT_EQ(c.site, e.where());
  }
  // What came before the bad line stays.
  ZSCFData cache;
  EXPECT_THROW(read(cache, "[a]\nk = v\n[a]\n"), ZPropertiesInvalidDataException);
  EXPECT_EQ("v", texts(cache.get("a", "k", ANY)));
}

TEST(ZStanzaFilePropertiesTest, LongLinesAndSideFileNames) {
  // A line spanning several buffer steps is read whole.
  std::string big(3 * 8192 + 17, 'x');
  ZSCFData cache;
  read(cache, "[a]\nbig = " + big + "\nafter = 1\n[configuration-database]\nfile = app.obf\n");
  EXPECT_EQ(big, texts(cache.get("a", "big", ANY)));
  EXPECT_EQ("1", texts(cache.get("a", "after", ANY)));
  EXPECT_STREQ("/etc/app/app.obf", cache.name.getChars());
  EXPECT_EQ("[a]\nbig = " + big + "\nafter = 1\n[configuration-database]\nfile = app.obf\n",
            written(cache));

  struct Case {
    const char* file;
    const char* text;
    const char* side;
  } cases[] = {
      {"/etc/x/app.conf", "[configuration-database]\nfile = sub/a.obf\n", "/etc/x/sub/a.obf"},
      {"/etc/x/app.conf", "[configuration-database]\nfile = /var/a.obf\n", "/var/a.obf"},
      {"app.conf", "[configuration-database]\nfile = sub/a.obf\n", "sub/a.obf"},
      {"rel/app.conf", "[configuration-database]\nfile = a.obf\n", "rel/a.obf"},
      {"/x/app.conf", "[configuration-database]\nfile = 1\nfile = /2\n", "/2"},  // last wins
      {"/x/app.conf", "[configuration-database]\nfile = 1\nfile =\n", ""},       // none named
      {"/x/app.conf", "[other]\nfile = a.obf\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ZSCFData data;
    read(data, c.text, c.file);
    EXPECT_STREQ(c.side, data.name.getChars());
  }
}

TEST(ZStanzaFilePropertiesTest, StreamFailuresThrowIOExceptions) {
  ZSCFData cache;
  read(cache, "[a]\nk = v\n");
  FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(nullptr, full);
  std::setvbuf(full, nullptr, _IONBF, 0);
  auto w = caught<ZPropertiesIOException>([&] { cache.be_write("app.conf", full); });
  std::fclose(full);
  EXPECT_EQ(43UL, w.getErrorNumber());
  EXPECT_STREQ("app.conf", w.file());
  EXPECT_STREQ("fwrite()", w.api());
  EXPECT_EQ(ENOSPC, w.excerrno());
  EXPECT_STREQ(kModule, w.who());
  EXPECT_EQ(kWriteFailed, w.where());

  FILE* dir = std::fopen("/", "r");  // opens, but reading fails
  ASSERT_NE(nullptr, dir);
  auto r = caught<ZPropertiesIOException>([&] { cache.be_read("/", dir); });
  std::fclose(dir);
  EXPECT_STREQ("fgets()", r.api());
  EXPECT_EQ(EISDIR, r.excerrno());
  EXPECT_EQ(kReadFailed, r.where());
}

TEST(ZStanzaFilePropertiesTest, SideDataRecordsRoundTrip) {
  ZSCFData cache;
  ZBuffer untouched("keep");
  cache.be_write_obfuscated(untouched);
  EXPECT_STREQ("keep", static_cast<const char*>(untouched.getBuffer()));

  cache.add("s1", "k1", "v1", 1);
  cache.add("s2", "k2", "w", 1);
  cache.add("s1", "k1", "v2", 1);
  cache.set("s3", "plain", "p");
  ZBuffer out;
  cache.be_write_obfuscated(out);
  // Records follow the marks, values in order; the very last zero byte is
  // not stored.
  EXPECT_EQ(bytes("s1\0k1\0v1\0\0s1\0k1\0v2\0\0s2\0k2\0w\0"), unpacked(out));

  ZSCFData back;
  back.set("s1", "k1", "old");  // side values join what the file gave
  back.be_read_obfuscated(out);
  EXPECT_EQ("v1,v2", texts(back.get("s1", "k1", ZPCache::GET_OBFUSCATED)));
  EXPECT_EQ("old", texts(back.get("s1", "k1", ANY)));
  EXPECT_TRUE(back.isObfuscated("s2", "k2"));
  EXPECT_EQ(2u, back.obfuscatedItems.size());

  // A record far larger than one growth step of the packing buffer.
  ZSCFData large;
  const std::string huge(30000, 'h');
  large.add("big", "small", "s", 1);
  large.add("big", "huge", huge.c_str(), 1);
  ZBuffer bigOut;
  large.be_write_obfuscated(bigOut);
  ZSCFData bigBack;
  bigBack.be_read_obfuscated(bigOut);
  EXPECT_EQ(huge, texts(bigBack.get("big", "huge", ANY)));
  EXPECT_EQ("s", texts(bigBack.get("big", "small", ANY)));
}

TEST(ZStanzaFilePropertiesTest, CorruptSideDataIsRejectedWhole) {
  struct Case {
    const char* what;
    ZBuffer buffer;
  } cases[] = {
      {"not compressed", ZBuffer("definitely not zlib data")},
      {"empty", ZBuffer()},
      {"value not ended", packed(bytes("s\0k\0v\0\0s\0k\0v"))},
      {"empty stanza", packed(bytes("\0k\0v\0"))},
      {"empty key", packed(bytes("s\0\0v\0"))},
      {"record not closed", packed(bytes("s\0k\0v\0Xs\0k\0w\0"))},
      {"no fields", packed("just text")},
      {"truncated", packed(bytes("s\0k\0a value long enough to be cut in the middle\0"), true)},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.what);
    ZSCFData cache;
    cache.name = "/etc/app.conf.obf";
    auto e = caught<ZPropertiesInvalidDataException>([&] { cache.be_read_obfuscated(c.buffer); });
    EXPECT_EQ(44UL, e.getErrorNumber());
    EXPECT_STREQ("/etc/app.conf.obf", e.file());
    EXPECT_EQ(0, e.badline());
    EXPECT_STREQ("", e.baddata());
    EXPECT_EQ(kBadSideData, e.where());
    EXPECT_EQ(0u, cache.count());
  }
}

TEST(ZStanzaFilePropertiesTest, EditAndStoreInPlaceKeepsCommentsAndTruncates) {
  TempDir dir;
  const std::string path = dir / "app.conf";
  spit(path,
       "# Main configuration\n"
       "\n"
       "[server]\n"
       "host = old.example.org   \n"
       "# port = 80\n"
       "\n"
       "# The log level\n"
       "level = 3\n"
       "\n"
       "[obsolete]\n"
       "# a long block that goes away with its stanza, so the new text is shorter\n"
       "x = 1\n"
       "\n"
       "[client]\n"
       "retry = 2 ; twice\n");
  ZStanzaFileProperties p(path.c_str(), 1);
  Recorder recorder;
  p.addObserver(&recorder);
  p.setValue("server", "port", "8080");  // into the commented-out template
  p.setValue("server", "host", "new.example.org");
  ZArrayList tags(1, 1);
  ZLCString a("a");
  tags.add(&a);
  p.addValues("client", "tag", tags, 0);
  p.deleteStanza("obsolete");
  p.addStanza("extra");
  p.addStanzaComment("extra", "added later\n# already marked");
  p.addEntryComment("client", "retry", "how often");
  p.store(nullptr);
  EXPECT_EQ(
      "# Main configuration\n"
      "\n"
      "[server]\n"
      "host = new.example.org\n"
      "# port = 80\n"
      "port = 8080\n"
      "\n"
      "# The log level\n"
      "level = 3\n"
      "\n"
      "[client]\n"
      "\n"
      "#how often\n"
      "retry = 2 ; twice\n"
      "tag = a\n"
      "\n"
      "[extra]\n"
      "#added later\n"
      "# already marked\n"
      "\n",
      slurp(path));
  EXPECT_EQ((std::vector<std::string>{"2 server port", "2 server host", "2 client tag",
                                      "1 obsolete -", "0 extra -"}),
            recorder.seen);
  EXPECT_FALSE(p.isModified());
  p.deleteObserver(&recorder);
}

TEST(ZStanzaFilePropertiesTest, ValuesMergeAppendAndStanzaListings) {
  ZStanzaFileProperties p(1);
  p.setValue("s", "k", "a");
  p.addValue("s", "k", "b", 0);
  p.addValue("s", "k", "", 0);  // nothing at all
  p.addValue("s", "k", nullptr, 0);
  p.addValue(nullptr, nullptr, "", 0);  // not even a parameter check
  ZArrayList ba(2, 1);
  ZLCString b("b");
  ZUTF8String a("a");
  ba.add(&b);
  ba.add(&a);
  p.addValues("s", "k", ba, 0);  // b is found, a is looked for after it
  ZArrayList values(4, 1);
  p.getValues("s", "k", values, ZPROP_STRING_LOCAL);
  EXPECT_EQ("a,b,a", texts(&values));
  p.addValue("s", "k", ZUTF8String("b"), 0);  // found: no change
  p.appendValue("s", "k", "b", 0);            // appended even so
  p.getValues("s", "k", values, ZPROP_STRING_LOCAL);
  EXPECT_EQ("a,b,a,b", texts(&values));

  // Hidden values merge among hidden values only.
  p.addValue("s", "secret", ZLCConstString("x"), 1);
  p.addValue("s", "secret", ZLCString("y"), 1);
  EXPECT_TRUE(p.isObfuscated("s", "secret"));
  EXPECT_THROW(p.addValue("s", "secret", "plain", 0), ZInvalidParameterException);
  EXPECT_THROW(p.appendValue("s", "k", "hidden", 1), ZInvalidParameterException);

  p.setValue("s", "empty", "");
  ZPropertiesKVList list(ZPROP_STRING_UTF8);
  p.getStanza("s", list);
  EXPECT_EQ("k=a,secret=x,empty=", kvText(list));
  EXPECT_TRUE(dynamic_cast<ZUTF8String*>(list.getItemKey(0)) != nullptr);
  ZPropertiesKVList copy(list);
  list.clear();
  EXPECT_EQ("k=a,secret=x,empty=", kvText(copy));
  expectInvalidParameter([&] { copy.getItemValue(3); }, kItemIndex);
  ZPropertiesKVList assigned;
  assigned = copy;
  copy.clear();
  EXPECT_EQ("k=a,secret=x,empty=", kvText(assigned));
  ZPropertiesKVList odd(static_cast<ZPropertyStringType>(3));
  odd.addItem(ZLCString("k"), ZLCString("v"));
  EXPECT_EQ(nullptr, odd.getItemKey(0));
  ZArrayList keys(4, 1);
  p.getKeys("s", keys);
  EXPECT_EQ("k,secret,empty", texts(&keys));
}

TEST(ZStanzaFilePropertiesTest, BatchReadsServeEveryType) {
  ZStanzaFileProperties p(1);
  p.setValue("s", "flag", "yes");
  p.setValue("s", "n", "0x1F");
  p.setValue("s", "text", "hello");
  p.addValue("s", "multi", "1", 0);
  p.addValue("s", "multi", "2", 0);
  p.setValue("s", "big", "-9000000000");
  int flag = -1, missingFlag = -1;
  unsigned int n = 0;
  long long big = 0;
  ZLCString text, fallback;
  ZArrayList lc(2, 1), utf8(2, 1);
  ZPropertiesKVList stanza;
  ZStzFileItem items[] = {
      {1, "s", "flag", 0, &flag, 0},
      {1, "s", "none", 0, &missingFlag, 1},
      {2, "s", "n", 5, &n, 0},
      {3, "s", "text", 1, &text, 0},
      {3, "s", "none", 0, &fallback, reinterpret_cast<intptr_t>("dflt")},
      {4, "s", "multi", 0, &lc, 0},
      {5, "s", "multi", 0, &utf8, 0},
      {6, "s", nullptr, 0, &stanza, 0},
      {7, "s", "big", 0, &big, 0},
  };
  p.getItems(items, 9);
  EXPECT_EQ(1, flag);
  EXPECT_EQ(1, missingFlag);
  EXPECT_EQ(31u, n);
  EXPECT_STREQ("hello", text.getChars());
  EXPECT_STREQ("dflt", fallback.getChars());
  EXPECT_EQ("1,2", texts(&lc));
  ASSERT_EQ(2u, utf8.size());
  EXPECT_TRUE(dynamic_cast<ZUTF8String*>(utf8.get(1)) != nullptr);
  EXPECT_EQ("flag=yes,n=0x1F,text=hello,multi=1,big=-9000000000", kvText(stanza));
  EXPECT_EQ(-9000000000LL, big);

  // An unknown type stops the batch; what came before it stays.
  n = 0;
  ZStzFileItem bad[] = {{2, "s", "n", 0, &n, 0}, {8, "s", "n", 0, &n, 0}, {2, "s", "x", 0, &n, 7}};
  expectInvalidParameter([&] { p.getItems(bad, 3); }, kBadItemType);
  EXPECT_EQ(31u, n);
  expectInvalidParameter([&] { p.getItems(nullptr, 1); }, kNoItems);
  expectInvalidParameter([&] { p.getItems(bad, 0); }, kNoItems);
  p.getItems(bad, -1);
  ZStzFileItem must[] = {{3, "s", "none", 1, &text, 0}};
  EXPECT_THROW(p.getItems(must, 1), ZPropertiesMissingPropertyException);
}

TEST(ZStanzaFilePropertiesTest, BadArgumentsAreRefused) {
  ZStanzaFileProperties p(0);
  ZArrayList none(1, 1);
  ZPropertiesKVList list;
  expectInvalidParameter([&] { p.addStanza(""); }, kAddStanza);
  expectInvalidParameter([&] { p.deleteStanza(nullptr); }, kDeleteStanza);
  expectInvalidParameter([&] { p.addStanzaComment("a", ""); }, kStanzaComment);
  expectInvalidParameter([&] { p.addStanzaComment(nullptr, "c"); }, kStanzaComment);
  expectInvalidParameter([&] { p.addValue("", "k", "v", 0); }, kAddValue);
  expectInvalidParameter([&] { p.addValues("s", "k", none, 0); }, kAddValues);
  expectInvalidParameter([&] { p.appendValue("s", "k", "", 0); }, kAppendValue);
  expectInvalidParameter([&] { p.getStanza("", list); }, kGetStanza);
  ZArrayList notStrings(1, 1);
  ZArrayList inner;
  notStrings.add(&inner);
  expectInvalidParameter([&] { p.addValues("s", "k", notStrings, 0); }, kNotAString);
  EXPECT_EQ(0u, p.count());
  EXPECT_FALSE(p.isModified());
}

TEST(ZStanzaFilePropertiesTest, ADamagedSideFileFailsTheLoadWithItsOwnName) {
  TempDir dir;
  const std::string path = dir / "db.conf", side = path + ".obf";
  spit(side, "not a side file");
  spit(path, "[configuration-database]\nfile = db.conf.obf\n");
  auto e = caught<ZPropertiesInvalidDataException>(
      [&] { ZStanzaFileProperties broken(path.c_str(), 1); });
  EXPECT_STREQ(side.c_str(), e.file());
  EXPECT_EQ(0, e.badline());
  EXPECT_EQ(kBadSideData, e.where());
}

TEST(ZStanzaFilePropertiesTest, StoreRefusesTextsThatWouldNotReadBack) {
  TempDir dir;
  const std::string path = dir / "app.conf";
  const std::string original = "[a]\nk = v\n";
  spit(path, original);
  struct Case {
    const char* what;
    const char* stanza;
    const char* key;
    const char* value;
    int line;
    const char* data;
  } cases[] = {
      {"newline in a value", "a", "k", "v\n[b]", 2, "v\n[b]"},
      {"= in a key", "a", "x=y", "v", 3, "x=y"},
      {"key read as comment", "a", "#k", "v", 3, "#k"},
      {"blanks around a key", "a", "k ", "v", 3, "k "},
      {"] in a stanza", "b]c", "k", "v", 4, "b]c"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ZStanzaFileProperties p(path.c_str(), 1);
    p.setValue(c.stanza, c.key, c.value);
    auto e = caught<ZPropertiesInvalidDataException>([&] { p.store(nullptr); });
    EXPECT_EQ(c.line, e.badline());
    EXPECT_STREQ(c.data, e.baddata());
    EXPECT_EQ(kRefusedText, e.where());
    EXPECT_EQ(original, slurp(path));
  }
  // Lines are counted as written, a comment of two lines as two.
  ZStanzaFileProperties p(path.c_str(), 1);
  p.addFileComment("two\nlines");
  p.setValue("a", "k", "\n");
  auto e = caught<ZPropertiesInvalidDataException>([&] { p.store(nullptr); });
  EXPECT_EQ(5, e.badline());
}

TEST(ZStanzaFilePropertiesTest, FactoryMakesSharedObjectsThatKeepComments) {
  TempDir dir;
  const std::string path = dir / "f.conf";
  spit(path, "# kept\n[s]\na = 1\na = 2\nb = 3\n");
  ZStanzaFileProperties::ZStanzaFilePropertiesFactory& factory =
      ZStanzaFileProperties::getFactory();
  ZProperties* shared = ZProperties::getPropertiesFor(path.c_str(), factory, 0);
  ASSERT_TRUE(dynamic_cast<ZStanzaFileProperties*>(shared) != nullptr);
  ZStanzaFileProperties& p = *static_cast<ZStanzaFileProperties*>(shared);
  {
    ZStanzaValueIterator values(p, "s", "a", ZPROP_STRING_LOCAL, 0);
    values.nextValue();
    values.changeValue("one");
    values.addValue("one and a half");
  }
  p.store(nullptr);
  EXPECT_EQ("# kept\n[s]\na = one\na = one and a half\na = 2\nb = 3\n", slurp(path));
}

TEST(ZStanzaFilePropertiesTest, SharedBetweenThreads) {
  ZStanzaFileProperties p(1);
  auto worker = [&p](int id) {
    const std::string stanza = "s" + std::to_string(id % 2);
    for (int i = 0; i < 200; ++i) {
      p.addStanza(stanza.c_str());
      p.appendValue(stanza.c_str(), "k", std::to_string(i).c_str(), 0);
      ZPropertiesKVList list;
      p.getStanza(stanza.c_str(), list);
      unsigned int n = 0;
      ZStzFileItem item = {2, stanza.c_str(), "k", 0, &n, 0};
      p.getItems(&item, 1);
    }
  };
  std::vector<std::promise<void>> finished(4);
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&, id] {
      worker(id);
      finished[id].set_value();
    });
  }
  for (auto& f : finished) {
    if (f.get_future().wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      ADD_FAILURE() << "threads did not finish: deadlock?";
      std::_Exit(1);  // the threads still use objects on this stack
    }
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(400u, p.numValues("s0", "k"));
  EXPECT_EQ(400u, p.numValues("s1", "k"));
}

TEST(ZStanzaFilePropertiesTest, AcceptedEditsReadBackOrTheStoreChangesNothing) {
  TempDir dir;
  const std::string path = dir / "a.conf", fresh = dir / "new.conf";
  const std::string original = "[s]\nk = a\n";
  spit(path, original);
  auto value = [](ZStanzaFileProperties& p, const char* key) {
    ZLCString out;
    p.getValue("s", key, out, 0, "<none>");
    return std::string(out.getChars());
  };
  // No quoting: blanks around a value, or an empty value among others,
  // would not read back; the store is refused and the file is left alone.
  struct Case {
    const char* value;
    int line;
  } refused[] = {{" v", 2}, {"v\t", 2}, {"", 3}};
  for (const Case& c : refused) {
    SCOPED_TRACE(c.line);
    ZStanzaFileProperties p(path.c_str(), 1);
    ZStanzaValueIterator it(p, "s", "k", ZPROP_STRING_LOCAL, 1);
    it.nextValue();
    c.line == 2 ? it.changeValue(c.value) : it.addValue(c.value);
    auto e = caught<ZPropertiesInvalidDataException>([&] { p.store(nullptr); });
    EXPECT_EQ(c.line, e.badline());
    EXPECT_STREQ(c.value, e.baddata());
    EXPECT_EQ(kRefusedText, e.where());
    EXPECT_EQ(original, slurp(path));
  }
  // Nor is a file that did not exist made, nor its side file.
  ZStanzaFileProperties none(1);
  none.setValue("s", "pw", "x", 1);
  none.setValue("s", "k", "a\nb");
  EXPECT_THROW(none.store(fresh.c_str()), ZPropertiesInvalidDataException);
  EXPECT_NE(0, ::access(fresh.c_str(), F_OK));
  EXPECT_NE(0, ::access((fresh + ".obf").c_str(), F_OK));

  // Comments lose the blanks around their lines when added, as a reload
  // would; so the second store repeats the first.
  {
    ZStanzaFileProperties p(path.c_str(), 1);
    p.addStanzaComment("s", " x \n  # y\t");
    p.store(nullptr);
  }
  const std::string commented = "[s]\n#x\n# y\n\nk = a\n";
  EXPECT_EQ(commented, slurp(path));
  ZStanzaFileProperties(path.c_str(), 1).store(nullptr);
  EXPECT_EQ(commented, slurp(path));

  // A key held only in the side file, emptied and given a plain value,
  // gets its line.
  {
    ZStanzaFileProperties p(path.c_str(), 1);
    p.setValue("s", "pw", "secret", 1);
    p.store(nullptr);
  }
  {
    ZStanzaFileProperties p(path.c_str(), 1);
    p.setValue("s", "pw", "");
    p.setValue("s", "pw", "plain");
    p.store(nullptr);
  }
  ZStanzaFileProperties plain(path.c_str(), 1);
  EXPECT_EQ("plain", value(plain, "pw"));
  EXPECT_NE(0, ::access((path + ".obf").c_str(), F_OK));

  // An empty "file =" is filled in when a side file is written.
  spit(path, "[configuration-database]\nfile =\n[s]\n");
  {
    ZStanzaFileProperties p(path.c_str(), 1);
    p.setValue("s", "pw", "hidden", 1);
    p.store(nullptr);
  }
  EXPECT_EQ("[configuration-database]\nfile = " + path + ".obf\n[s]\n", slurp(path));
  ZStanzaFileProperties hidden(path.c_str(), 1);
  EXPECT_EQ("hidden", value(hidden, "pw"));
}
