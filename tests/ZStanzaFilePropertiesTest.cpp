// zbase: tests of stanza files: reader, writer, side data and the properties
// objects built on them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZSqueeze.h"
#include "Z/ZStanzaFileProperties.h"
#include "ZLockTestSupport.h"
#include "ZTestSupport.h"

namespace {

const char kModule[] = "src/Z/ZStanzaFileProperties";
const ZPCache::get_type_e ANY = ZPCache::GET_ANY;

// Reads `text` into the cache through a real stream.
void read(ZSCFData& cache, const std::string& text, const char* name = "/etc/app/app.conf") {
  FILE* f = std::tmpfile();
  std::fwrite(text.data(), 1, text.size(), f);
  std::rewind(f);
  std::unique_ptr<FILE, int (*)(FILE*)> closer(f, std::fclose);
  cache.be_read(name, f);
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

// Strings of a list joined by ","; "null" for no list.
std::string texts(const ZArrayList* list) {
  if (list == nullptr) return "null";
  std::string out;
  for (unsigned int i = 0; i < list->size(); ++i) {
    out += std::string(i != 0 ? "," : "") + static_cast<const ZLCString*>(list->get(i))->getChars();
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

template <typename F>
void expectInvalidParameter(F f, int line) {
  expectThrowAt<ZInvalidParameterException>(f, 22, kModule, line);
}

// A literal's bytes, zero bytes included.
template <size_t N>
std::string bytes(const char (&s)[N]) {
  return std::string(s, N - 1);
}

// Packs records as the side file holds them, or unpacks them (`pack` false).
std::string squeezed(const std::string& in, bool pack) {
  ZSqueeze squeeze;
  squeeze.setSource(in.data(), in.size());
  std::string out(pack ? in.size() * 2 + 64 : 1 << 20, '\0');
  long n = pack ? squeeze.squeeze(&out[0], out.size()) : squeeze.unsqueeze(&out[0], out.size());
  EXPECT_GE(n, 0);
  out.resize(n < 0 ? 0 : n);
  return out;
}

std::string str(const ZBuffer& b) {
  return std::string(static_cast<const char*>(b.getBuffer()), b.getLength());
}

std::string value(ZStanzaFileProperties& p, const char* stanza, const char* key) {
  ZLCString out;
  p.getValue(stanza, key, out, 0, "<none>");
  return out.getChars();
}

std::string kvText(const ZPropertiesKVList& list) {
  std::string out;
  for (unsigned int i = 0; i < list.getItemCount(); ++i) {
    out += std::string(i != 0 ? "," : "") + list.getItemKey(i)->getChars() + "=" +
           list.getItemValue(i)->getChars();
  }
  return out;
}

// Records every notice as "type stanza key".
struct Recorder : ZObserverInterface {
  void update(ZObservableInterface*, const ZObservedParm& parm) override {
    const ZPropertyChanged& c = static_cast<const ZPropertyChanged&>(parm);
    seen.push_back(std::to_string(c.type) + " " + c.stanza + " " + (c.key ? c.key : "-"));
  }
  std::vector<std::string> seen;
};

const char kTricky[] =
    "# Application settings\n#   second line   \n\n[server]\nhost = example.org\nport=8080\n"
    "  # indented comment\nalias = a\nalias = b\nempty =\nalias=c\n"
    "formula = a = b # not a comment\n\ttabbed key   =   spaced value   \r\n   \t\n"
    "[ spaced name ] trailing words\n k = v\n[db]\nuser = scott";  // no newline at the end

}  // namespace

TEST(ZStanzaFilePropertiesTest, RoundTripKeepsLayoutAndMergesMultipleValues) {
  ZSCFData cache, bare;
  cache.setAttributes(1, nullptr);
  read(cache, kTricky);
  read(bare, kTricky);
  const std::string entries =
      "[server]\nhost = example.org\nport = 8080\n# indented comment\nalias = a\nalias = b\n"
      "alias = c\nempty =\nformula = a = b # not a comment\ntabbed key = spaced value\n\n"
      "[ spaced name ]\nk = v\n[db]\nuser = scott\n";
  EXPECT_EQ("# Application settings\n#   second line\n\n" + entries, written(cache));
  EXPECT_EQ("a,b,c", texts(cache.get("server", "alias", ANY)));
  EXPECT_TRUE(cache.contains("server", "empty"));  // with no value at all
  EXPECT_EQ(0u, cache.countValues("server", "empty"));
  // Without keep-comments only headers and entries survive.
  std::string noComments = entries;
  noComments.erase(noComments.find("# indented comment\n"), 19);
  noComments.erase(noComments.find("\n\n[ spaced") + 1, 1);
  EXPECT_EQ(noComments, written(bare));
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
  std::unique_ptr<ZPCache> copy(cache.clone());  // no marks, hidden values still left out
  EXPECT_EQ("[a]\n# about x\ny = 2\n\n[b]\nw =\n", written(*static_cast<ZSCFData*>(copy.get())));
  cache.add("b", "w", "p", 0);  // plain and hidden values: only the plain ones
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
      {"[a]\nk = v\n  [b  \n", 3, "  [b", 195},               // no "]"
      {"# c\n[a]\n\n[b]\n[a] again\n", 5, "[a] again", 201},  // stanza twice
      {"[]\n[]\n", 2, "[]", 201},
      {"k = v\n", 1, "k = v", 211},                       // entry before any stanza
      {"[]\nk = v\n", 2, "k = v", 211},                   // the empty stanza takes no entries
      {"[a]\n\n  key value  \n", 3, "  key value", 211},  // no "="
      {"[a]\n = value\n", 2, " = value", 211},            // starts with "="
      {bytes("[a]\nk = v\0w\n"), 2, "k = v", 180},        // a zero byte
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
    EXPECT_EQ(c.line == 5, cache.contains("b"));  // what came before stays
  }
}

TEST(ZStanzaFilePropertiesTest, LongLinesAndSideFileNames) {
  const std::string big(3 * 8192 + 17, 'x');  // several buffer steps
  const std::string text =
      "[a]\nbig = " + big + "\nafter = 1\n[configuration-database]\nfile = b\n";
  ZSCFData cache;
  read(cache, text);
  EXPECT_EQ(big, texts(cache.get("a", "big", ANY)));
  EXPECT_EQ(text, written(cache));
  struct Case {
    const char* file;
    const char* text;
    const char* side;
  } cases[] = {
      {"/etc/x/app.conf", "file = sub/a.obf\n", "/etc/x/sub/a.obf"},
      {"/etc/x/app.conf", "file = /var/a.obf\n", "/var/a.obf"},
      {"app.conf", "file = sub/a.obf\n", "sub/a.obf"},
      {"rel/app.conf", "file = a.obf\n", "rel/a.obf"},
      {"/x/app.conf", "file = 1\nfile = /2\n", "/2"},  // the last wins
      {"/x/app.conf", "file = 1\nfile =\n", ""},       // none named
      {"/x/app.conf", "[other]\nfile = a.obf\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ZSCFData data;
    read(data, std::string("[configuration-database]\n") + c.text, c.file);
    EXPECT_STREQ(c.side, data.name.getChars());
  }
}

TEST(ZStanzaFilePropertiesTest, StreamFailuresThrowIOExceptions) {
  ZSCFData cache;
  read(cache, "[a]\nk = v\n");
  FILE* full = std::fopen("/dev/full", "w");
  std::setvbuf(full, nullptr, _IONBF, 0);
  auto w = caught<ZPropertiesIOException>([&] { cache.be_write("app.conf", full); });
  std::fclose(full);
  EXPECT_EQ(43UL, w.getErrorNumber());
  EXPECT_EQ("app.conf fwrite() 81",
            std::string(w.file()) + " " + w.api() + " " + std::to_string(w.where()));
  EXPECT_EQ(ENOSPC, w.excerrno());
  FILE* dir = std::fopen("/", "r");  // opens, but reading fails
  auto r = caught<ZPropertiesIOException>([&] { cache.be_read("/", dir); });
  std::fclose(dir);
  EXPECT_EQ("fgets() 142", std::string(r.api()) + " " + std::to_string(r.where()));
  EXPECT_EQ(EISDIR, r.excerrno());
}

TEST(ZStanzaFilePropertiesTest, SideDataRecordsRoundTrip) {
  ZSCFData cache;
  ZBuffer untouched("keep");
  cache.be_write_obfuscated(untouched);
  EXPECT_EQ(bytes("keep\0"), str(untouched));
  const std::string huge(30000, 'h');  // far larger than a growth step
  cache.add("s1", "k1", "v1", 1);
  cache.add("s2", "k2", huge.c_str(), 1);
  cache.add("s1", "k1", "v2", 1);
  cache.set("s3", "plain", "p");
  ZBuffer out;
  cache.be_write_obfuscated(out);
  // Records follow the marks, values in order; the last zero byte is not stored.
  EXPECT_EQ(bytes("s1\0k1\0v1\0\0s1\0k1\0v2\0\0s2\0k2\0") + huge + '\0', squeezed(str(out), false));
  ZSCFData back;
  back.set("s1", "k1", "old");  // side values join what the file gave
  back.be_read_obfuscated(out);
  EXPECT_EQ("v1,v2", texts(back.get("s1", "k1", ZPCache::GET_OBFUSCATED)));
  EXPECT_EQ("old", texts(back.get("s1", "k1", ANY)));
  EXPECT_EQ(huge, texts(back.get("s2", "k2", ANY)));
  EXPECT_EQ(2u, back.obfuscatedItems.size());
}

TEST(ZStanzaFilePropertiesTest, CorruptSideDataIsRejectedWhole) {
  const std::string cut = squeezed(bytes("s\0k\0a value long enough to be cut in the middle\0"), 1);
  const std::string cases[] = {
      "definitely not zlib data",
      "",
      squeezed(bytes("s\0k\0v\0\0s\0k\0v"), true),   // value not ended
      squeezed(bytes("\0k\0v\0"), true),             // empty stanza
      squeezed(bytes("s\0\0v\0"), true),             // empty key
      squeezed(bytes("s\0k\0v\0Xs\0k\0w\0"), true),  // record not closed
      squeezed("just text", true),
      cut.substr(0, cut.size() / 2),
  };
  for (const std::string& c : cases) {
    SCOPED_TRACE(c.size());
    ZSCFData cache;
    cache.name = "/etc/app.conf.obf";
    ZBuffer buffer(c.size(), const_cast<char*>(c.data()));
    auto e = caught<ZPropertiesInvalidDataException>([&] { cache.be_read_obfuscated(buffer); });
    EXPECT_EQ("/etc/app.conf.obf 0  351", std::string(e.file()) + " " +
                                              std::to_string(e.badline()) + " " + e.baddata() +
                                              " " + std::to_string(e.where()));
    EXPECT_EQ(0u, cache.count());
  }
  // A load names the side file.
  TempDir dir;
  writeFile(dir.file("db.conf.obf"), "not a side file");
  writeFile(dir.file("db.conf"), "[configuration-database]\nfile = db.conf.obf\n");
  auto e = caught<ZPropertiesInvalidDataException>(
      [&] { ZStanzaFileProperties broken((dir.file("db.conf")).c_str(), 1); });
  EXPECT_EQ(dir.file("db.conf.obf"), e.file());
}

TEST(ZStanzaFilePropertiesTest, EditAndStoreInPlaceKeepsCommentsAndTruncates) {
  TempDir dir;
  const std::string path = dir.file("app.conf");
  writeFile(path,
            "# Main configuration\n\n[server]\nhost = old.example.org   \n# port = 80\n\n"
            "# The log level\nlevel = 3\n\n[obsolete]\n# a long block that goes away with its "
            "stanza, so the new text is shorter\nx = 1\n\n[client]\nretry = 2 ; twice\n");
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
      "# Main configuration\n\n[server]\nhost = new.example.org\n# port = 80\nport = 8080\n\n"
      "# The log level\nlevel = 3\n\n[client]\n\n#how often\nretry = 2 ; twice\ntag = a\n\n"
      "[extra]\n#added later\n# already marked\n\n",
      readFile(path));
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
  p.addValue("s", "k", "", 0);          // nothing at all
  p.addValue(nullptr, nullptr, "", 0);  // not even a parameter check
  ZArrayList ba(2, 1), values(4, 1);
  ZLCString b("b");
  ZUTF8String a("a");
  ba.add(&b);
  ba.add(&a);
  p.addValues("s", "k", ba, 0);               // b is found, a is looked for after it
  p.addValue("s", "k", ZUTF8String("b"), 0);  // found: no change
  p.appendValue("s", "k", "b", 0);            // appended even so
  p.getValues("s", "k", values, ZPROP_STRING_LOCAL);
  EXPECT_EQ("a,b,a,b", texts(&values));
  // Hidden values merge among hidden values only.
  p.addValue("s", "secret", ZLCConstString("x"), 1);
  p.addValue("s", "secret", ZUTF8ConstString("y"), 1);
  EXPECT_TRUE(p.isObfuscated("s", "secret"));
  EXPECT_THROW(p.addValue("s", "secret", "plain", 0), ZInvalidParameterException);
  EXPECT_THROW(p.appendValue("s", "k", "hidden", 1), ZInvalidParameterException);
  p.setValue("s", "empty", "");
  ZPropertiesKVList list(ZPROP_STRING_UTF8), assigned, odd(static_cast<ZPropertyStringType>(3));
  p.getStanza("s", list);
  EXPECT_TRUE(dynamic_cast<ZUTF8String*>(list.getItemKey(0)) != nullptr);
  ZPropertiesKVList copy(list);
  list.clear();
  assigned = copy;
  copy.clear();
  EXPECT_EQ("k=a,secret=x,empty=", kvText(assigned));
  expectInvalidParameter([&] { assigned.getItemValue(3); }, 486);
  odd.addItem(ZLCString("k"), ZLCString("v"));
  EXPECT_EQ(nullptr, odd.getItemKey(0));
  p.getKeys("s", values);
  EXPECT_EQ("k,secret,empty", texts(&values));
}

TEST(ZStanzaFilePropertiesTest, BatchReadsServeEveryType) {
  ZStanzaFileProperties p(1);
  for (const char* kv : {"flag=yes", "n=0x1F", "text=hello", "multi=1", "big=-9000000000"}) {
    std::string s(kv);
    p.setValue("s", s.substr(0, s.find('=')).c_str(), s.substr(s.find('=') + 1).c_str());
  }
  p.appendValue("s", "multi", "2", 0);
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
  EXPECT_EQ("1 1 31 hello dflt 1,2 -9000000000",
            std::to_string(flag) + " " + std::to_string(missingFlag) + " " + std::to_string(n) +
                " " + text.getChars() + " " + fallback.getChars() + " " + texts(&lc) + " " +
                std::to_string(big));
  EXPECT_TRUE(dynamic_cast<ZUTF8String*>(utf8.get(1)) != nullptr);
  EXPECT_EQ("flag=yes,n=0x1F,text=hello,multi=1,big=-9000000000", kvText(stanza));
  // An unknown type stops the batch; what came before it stays.
  n = 0;
  ZStzFileItem bad[] = {{2, "s", "n", 0, &n, 0}, {8, "s", "n", 0, &n, 0}, {2, "s", "x", 0, &n, 7}};
  expectInvalidParameter([&] { p.getItems(bad, 3); }, 715);
  EXPECT_EQ(31u, n);
  expectInvalidParameter([&] { p.getItems(nullptr, 1); }, 680);
  expectInvalidParameter([&] { p.getItems(bad, 0); }, 680);
  p.getItems(bad, -1);
  ZStzFileItem must[] = {{3, "s", "none", 1, &text, 0}};
  EXPECT_THROW(p.getItems(must, 1), ZPropertiesMissingPropertyException);
}

TEST(ZStanzaFilePropertiesTest, BadArgumentsAreRefused) {
  ZStanzaFileProperties p(0);
  ZArrayList none(1, 1), notStrings(1, 1), inner;
  notStrings.add(&inner);
  ZPropertiesKVList list;
  expectInvalidParameter([&] { p.addStanza(""); }, 635);
  expectInvalidParameter([&] { p.deleteStanza(nullptr); }, 647);
  expectInvalidParameter([&] { p.addStanzaComment("a", ""); }, 659);
  expectInvalidParameter([&] { p.addStanzaComment(nullptr, "c"); }, 659);
  expectInvalidParameter([&] { p.addValue("", "k", "v", 0); }, 574);
  expectInvalidParameter([&] { p.addValues("s", "k", none, 0); }, 607);
  expectInvalidParameter([&] { p.appendValue("s", "k", "", 0); }, 671);
  expectInvalidParameter([&] { p.getStanza("", list); }, 622);
  expectInvalidParameter([&] { p.addValues("s", "k", notStrings, 0); }, 511);
  EXPECT_EQ(0u, p.count());
  EXPECT_FALSE(p.isModified());
}

// Every edit the object accepts reads back after store and reload, or the
// store is refused and changes no file.
TEST(ZStanzaFilePropertiesTest, StoreRefusesTextsThatWouldNotReadBack) {
  TempDir dir;
  const std::string path = dir.file("app.conf"), fresh = dir.file("new.conf");
  const std::string original = "[a]\nk = v\n";
  writeFile(path, original);
  using Edit = std::function<void(ZStanzaFileProperties&)>;
  auto set = [](const char* s, const char* k, const char* v) {
    return Edit([=](ZStanzaFileProperties& p) { p.setValue(s, k, v); });
  };
  auto iterate = [](int selector, const char* v, bool add) {
    return Edit([=](ZStanzaFileProperties& p) {
      if (selector == 2) p.setValue("a", "pw", "x", 1);
      ZStanzaValueIterator it(p, "a", selector == 2 ? "pw" : "k", ZPROP_STRING_LOCAL, selector);
      it.nextValue();
      add ? it.addValue(v) : it.changeValue(v);
    });
  };
  struct Case {
    const char* what;
    Edit edit;
    int line;
    const char* data;
    int site;
  } cases[] = {
      {"newline in a value", set("a", "k", "v\n[b]"), 2, "v\n[b]", 314},
      {"= in a key", set("a", "x=y", "v"), 3, "x=y", 314},
      {"key read as comment", set("a", "#k", "v"), 3, "#k", 314},
      {"blanks around a key", set("a", "k ", "v"), 3, "k ", 314},
      {"] in a stanza", set("b]c", "k", "v"), 4, "b]c", 314},
      {"blank before a value", set("a", "k", " v"), 2, " v", 314},
      {"tab after a value", iterate(1, "v\t", false), 2, "v\t", 314},
      {"empty value among others", iterate(1, "", true), 3, "", 314},
      {"empty hidden value", iterate(2, "", true), 0, "pw", 387},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ZStanzaFileProperties p(path.c_str(), 1);
    c.edit(p);
    auto e = caught<ZPropertiesInvalidDataException>([&] { p.store(nullptr); });
    EXPECT_EQ(c.line, e.badline());
    EXPECT_STREQ(c.data, e.baddata());
    EXPECT_EQ(c.site, e.where());
    EXPECT_EQ(original, readFile(path));
    EXPECT_NE(0, ::access((path + ".obf").c_str(), F_OK));
  }
  // Lines are counted as written, a comment of two lines as two.
  ZStanzaFileProperties p(path.c_str(), 1);
  p.addFileComment("two\nlines");
  p.setValue("a", "k", "\n");
  EXPECT_EQ(5, caught<ZPropertiesInvalidDataException>([&] { p.store(nullptr); }).badline());
  // Nor is a file that did not exist made, nor its side file.
  p.setValue("s", "pw", "x", 1);
  EXPECT_THROW(p.store(fresh.c_str()), ZPropertiesInvalidDataException);
  EXPECT_NE(0, ::access(fresh.c_str(), F_OK));
  EXPECT_NE(0, ::access((fresh + ".obf").c_str(), F_OK));
}

TEST(ZStanzaFilePropertiesTest, HiddenKeysCommentsAndSidePointersReadBack) {
  TempDir dir;
  const std::string path = dir.file("a.conf");
  writeFile(path, "[s]\nk = a\n");
  // Comments lose the blanks around their lines when added, as a reload
  // would; so the second store repeats the first.
  {
    ZStanzaFileProperties p(path.c_str(), 1);
    p.addStanzaComment("s", " x \n  # y\t");
    p.setValue("s", "pw", "secret", 1);
    p.store(nullptr);
  }
  const std::string stored = readFile(path);
  EXPECT_EQ("[s]\n#x\n# y\n\nk = a\n\n[configuration-database]\nfile = " + path + ".obf\n", stored);
  ZStanzaFileProperties(path.c_str(), 1).store(nullptr);
  EXPECT_EQ(stored, readFile(path));
  // A key held only in the side file, emptied and given a plain value, gets
  // its line.
  {
    ZStanzaFileProperties p(path.c_str(), 1);
    p.setValue("s", "pw", "");
    p.setValue("s", "pw", "plain");
    p.store(nullptr);
  }
  ZStanzaFileProperties plain(path.c_str(), 1);
  EXPECT_EQ("plain", value(plain, "s", "pw"));
  EXPECT_NE(0, ::access((path + ".obf").c_str(), F_OK));
  // An empty "file =" is filled in when a side file is written.
  writeFile(path, "[configuration-database]\nfile =\n[s]\n");
  {
    ZStanzaFileProperties p(path.c_str(), 1);
    p.setValue("s", "pw", "hidden", 1);
    p.store(nullptr);
  }
  EXPECT_EQ("[configuration-database]\nfile = " + path + ".obf\n[s]\n", readFile(path));
  ZStanzaFileProperties hidden(path.c_str(), 1);
  EXPECT_EQ("hidden", value(hidden, "s", "pw"));
}

TEST(ZStanzaFilePropertiesTest, FactoryMakesSharedObjectsThatKeepComments) {
  TempDir dir;
  const std::string path = dir.file("f.conf");
  writeFile(path, "# kept\n[s]\na = 1\n");
  ZProperties* p =
      ZProperties::getPropertiesFor(path.c_str(), ZStanzaFileProperties::getFactory(), 0);
  ASSERT_TRUE(dynamic_cast<ZStanzaFileProperties*>(p) != nullptr);
  p->setValue("s", "a", "one");
  p->store(nullptr);
  EXPECT_EQ("# kept\n[s]\na = one\n", readFile(path));
}

TEST(ZStanzaFilePropertiesTest, SharedBetweenThreads) {
  ZStanzaFileProperties p(1);
  std::vector<std::unique_ptr<BoundedThread>> threads;
  for (int id = 0; id < 4; ++id) {
    threads.push_back(std::make_unique<BoundedThread>([&p, id] {
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
    }));
  }
  for (auto& t : threads) t->join(60);
  EXPECT_EQ("400 400",
            std::to_string(p.numValues("s0", "k")) + " " + std::to_string(p.numValues("s1", "k")));
}
