// zbase: tests of stanza files: reader, writer, side data and the properties
// objects built on them.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Z/ZException.h"
#include "Z/ZSqueeze.h"
#include "Z/ZStanzaFileProperties.h"

namespace {

const char kModule[] = "src/Z/ZStanzaFileProperties";
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

ZBuffer packed(const std::string& records) {
  ZSqueeze squeeze;
  squeeze.setSource(records.data(), records.size());
  ZBuffer out;
  out.setLength(records.size() * 2 + 64);
  long n = squeeze.squeeze(out.getBuffer(), out.getLength());
  EXPECT_GT(n, 0);
  out.setLength(n);
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
  EXPECT_EQ("a = b # not a comment", texts(cache.get("server", "formula", ANY)));
  EXPECT_EQ("spaced value", texts(cache.get("server", "tabbed key", ANY)));
  EXPECT_EQ("v", texts(cache.get(" spaced name ", "k", ANY)));
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

  // The three k lines stand together where the first one stood.
  ZSCFData multi;
  read(multi, "[a]\nk = 1\nk = 2\nx=y\nk=3\n");
  EXPECT_EQ("[a]\nk = 1\nk = 2\nk = 3\nx = y\n", written(multi));

  ZSCFData empty;
  read(empty, "");
  EXPECT_EQ("", written(empty));
  EXPECT_EQ(0u, empty.count());
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
  EXPECT_EQ(0u, copy->obfuscatedItems.size());
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
      {"[a]\nk = v\n  [b  \n", 3, "  [b", 143},               // no "]"
      {"# c\n[a]\n\n[b]\n[a] again\n", 5, "[a] again", 149},  // stanza twice
      {"k = v\n", 1, "k = v", 158},                           // entry before any stanza
      {"[]\nk = v\n", 2, "k = v", 158},                       // the empty stanza takes no entries
      {"[a]\n\n  key value  \n", 3, "  key value", 158},      // no "="
      {"[a]\n = value\n", 2, " = value", 158},                // starts with "="
      {bytes("[a]\nk = v\0w\n"), 2, "k = v", 128},            // a zero byte
      {"[]\n[]\n", 2, "[]", 149},
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
  EXPECT_EQ(59, w.where());

  FILE* dir = std::fopen("/", "r");  // opens, but reading fails
  ASSERT_NE(nullptr, dir);
  auto r = caught<ZPropertiesIOException>([&] { cache.be_read("/", dir); });
  std::fclose(dir);
  EXPECT_STREQ("fgets()", r.api());
  EXPECT_EQ(EISDIR, r.excerrno());
  EXPECT_EQ(91, r.where());
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

  // Records far larger than one growth step of the packing buffer.
  ZSCFData large;
  std::string huge(30000, 'h');
  for (int i = 0; i < 40; ++i) {
    large.add("big", ("k" + std::to_string(i)).c_str(), std::string(700 + i, 'a' + i % 26).c_str(),
              1);
  }
  large.add("big", "huge", huge.c_str(), 1);
  ZBuffer bigOut;
  large.be_write_obfuscated(bigOut);
  ZSCFData bigBack;
  bigBack.be_read_obfuscated(bigOut);
  EXPECT_EQ(huge, texts(bigBack.get("big", "huge", ANY)));
  EXPECT_EQ(std::string(739, 'a' + 39 % 26), texts(bigBack.get("big", "k39", ANY)));
  EXPECT_EQ(41u, bigBack.keyCount("big"));
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
    EXPECT_EQ(256, e.where());
    EXPECT_EQ(0u, cache.count());
  }
}
