// zbase: tests of the property cache.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Z/ZException.h"
#include "Z/ZStanzaFileProperties.h"
#include "ZLockTestSupport.h"
#include "ZTestSupport.h"

namespace {

// A cache filled by the stanza reader, comments kept.
struct Cache : ZSCFData {
  explicit Cache(const char* text = "") {
    setAttributes(1, nullptr);
    if (*text == '\0') return;
    FILE* f = fmemopen(const_cast<char*>(text), std::strlen(text), "r");
    be_read("app.conf", f);
    std::fclose(f);
  }
};

// The layout as "kind text" entries joined by "|": C comment, B blank,
// S stanza, K key.
std::string layout(const ZPCache& cache) {
  std::string out;
  for (unsigned int i = 0; i < cache.lines.size(); ++i) {
    const ZPropLine* line = static_cast<const ZPropLine*>(cache.lines.get(i));
    out += std::string(i != 0 ? "|" : "") + "?CB?S???K"[line->type <= LINE_KEY ? line->type : 0];
    if (!line->text.isEmpty()) out += std::string(" ") + line->text.getChars();
  }
  return out;
}

// The members of a list of strings joined by ","; "null" for no list.
std::string texts(const ZArrayList* list) {
  if (list == nullptr) return "null";
  std::string out;
  for (unsigned int i = 0; i < list->size(); ++i) {
    out += std::string(i != 0 ? "," : "") + static_cast<const ZLCString*>(list->get(i))->getChars();
  }
  return out;
}

const ZObfuscatedItem* mark(const ZPCache& c, unsigned i) {
  return static_cast<const ZObfuscatedItem*>(c.obfuscatedItems.get(i));
}

// The obfuscation marks as "stanza/key" joined by ",".
std::string marks(const ZPCache& cache) {
  std::string out;
  for (unsigned int i = 0; i < cache.obfuscatedItems.size(); ++i) {
    out += std::string(i != 0 ? "," : "") + mark(cache, i)->stanza.getChars() + "/" +
           mark(cache, i)->key.getChars();
  }
  return out;
}

const char kSample[] =
    "# Sample server configuration\n\n[server]\nhost = example\n# port = 80\n\n# The log level\n"
    "level = 3\n\n[client]\nretries = 2\nretries = 5\ntimeout = 30\n";

const char kSampleLayout[] =
    "C # Sample server configuration|B|S server|K host|C # port = 80|B|C # The log level|"
    "K level|B|S client|K retries|K timeout";

template <typename F>
void expectInvalidParameter(F f, int line) {
  expectThrowAt<ZInvalidParameterException>(f, 22, "src/Z/ZPropertiesImpl", line);
}

const ZPCache::get_type_e ANY = ZPCache::GET_ANY;

}  // namespace

TEST(ZPropertiesImplTest, LinesMarksAndCommentTemplatesCompare) {
  EXPECT_EQ(-1, ZPropLine(LINE_COMMENT, "#x").compare(ZPropLine(LINE_KEY, "a")));  // kind first
  EXPECT_FALSE(ZPropLine(LINE_KEY, "a").equals(ZPropLine(LINE_STANZA, "a")));
  ZObfuscatedItem m(ZLCString("s"), ZLCString("k"));
  EXPECT_FALSE(m.equals(ZObfuscatedItem(ZLCString("s"), ZLCString("j"))));
  EXPECT_LT(m.compare(ZObfuscatedItem(ZLCString("t"), ZLCString("a"))), 0);
  struct Case {
    const char* text;
    int match;
  } cases[] = {{"# port = 80", 1},
               {"  #  p o r t=x", 1},
               {"# port", 0},
               {"#\tport = 80", 0},
               {"# portal = 1", 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.match, isCommentWeWant("#port=", c.text));
  }
  EXPECT_EQ(1, isCommentWeWant("", "anything"));
}

TEST(ZPropertiesImplTest, FullKeyKeepsWholeTextAsStanza) {
  Cache cache;
  ZLCString stanza("old"), key("old");
  cache.validateKey("db.port.x", stanza, key);
  EXPECT_EQ("db.port.x/.port.x", std::string(stanza.getChars()) + "/" + key.getChars());
  cache.set("a", "b", "x");
  EXPECT_EQ(nullptr, cache.get("a.b", ANY));
  cache.set("a.b", "y");
  cache.add("a.b", "z", 1);
  EXPECT_EQ("y", texts(cache.get("a.b", ANY)));
  EXPECT_EQ(1u, cache.countValues("a.b"));
  cache.setObfuscated("a.b", "w");
  EXPECT_TRUE(cache.isObfuscated("a.b"));
  EXPECT_EQ("a.b/.b", marks(cache));
  ZLCString made;
  cache.makeKey(made, "a", "b");
  EXPECT_STREQ("a.b", made.getChars());
  expectInvalidParameter([&] { cache.validateKey(nullptr, stanza, key); }, 326);
  expectInvalidParameter([&] { cache.set("nodot", "v"); }, 330);
  expectInvalidParameter([&] { cache.addLine("nodot", "v", 0); }, 330);
  EXPECT_EQ(2u, cache.count());
  EXPECT_EQ("", layout(cache));
}

TEST(ZPropertiesImplTest, ValueSlotsAndMarks) {
  Cache cache;
  int obf = 7;
  EXPECT_EQ(nullptr, cache.get("s", "k", obf, ANY));
  EXPECT_EQ(0, obf);
  cache.add("s", "k", "", 0);  // an empty value makes the key, with no values
  cache.add("s", "k", nullptr, 1);
  EXPECT_EQ(0u, cache.countValues("s", "k"));
  EXPECT_EQ("", marks(cache));
  cache.add("s", "k", "o1", 1);
  cache.add("s", "k", "o2", 1);
  EXPECT_EQ("o1,o2", texts(cache.get("s", "k", obf, ANY)));
  EXPECT_EQ(1, obf);
  // Plain values beside obfuscated ones: GET_ANY sees only the plain ones.
  cache.add("s", "k", "p", 0);
  EXPECT_EQ("p", texts(cache.get("s", "k", obf, ANY)));
  EXPECT_EQ(0, obf);
  EXPECT_FALSE(cache.isObfuscated("s", "k"));
  EXPECT_EQ("o1,o2", texts(cache.get("s", "k", obf, ZPCache::GET_OBFUSCATED)));
  EXPECT_EQ(nullptr, cache.get("s", "k", obf, static_cast<ZPCache::get_type_e>(3)));
  cache.set("s", "k", "v");  // drops everything, the mark included
  EXPECT_EQ("v", texts(cache.get("s", "k", ANY)) + marks(cache));
  EXPECT_EQ("", texts(cache.get("s", "k", ZPCache::GET_OBFUSCATED)));
  // setObfuscated: one value and one mark, however often repeated.
  cache.setObfuscated("s", "k", "secret");
  cache.setObfuscated("s", "j", "other");
  cache.setObfuscated("s", "k", "secret2");
  EXPECT_EQ("s/j,s/k", marks(cache));
  EXPECT_EQ("secret2",
            texts(cache.get("s", "k", ANY)) + texts(cache.get("s", "k", ZPCache::GET_PLAIN)));
  cache.setObfuscated("s", "k", "");
  cache.set("s", "j", "");
  EXPECT_EQ("", marks(cache));
  EXPECT_TRUE(cache.contains("s", "j"));
  EXPECT_EQ("k,j", texts(cache.getNames("s")));  // insertion order
  cache.set("empty", nullptr, "ignored");
  EXPECT_TRUE(cache.contains("empty"));
  EXPECT_EQ(0u, cache.keyCount("empty"));
  EXPECT_EQ(nullptr, cache.getNames("missing"));
}

TEST(ZPropertiesImplTest, NamesAndValuesOfTheCacheItselfCanBePassedIn) {
  Cache cache;
  cache.add("s", "m", "same", 0);
  cache.set("s", "m", static_cast<const ZLCString*>(cache.get("s", "m", ANY)->get(0))->getChars());
  EXPECT_EQ("same", texts(cache.get("s", "m", ANY)));
  for (const char* k : {"a", "b", "c"}) cache.setObfuscated("s", k, "1");
  // Each call frees the mark whose names it was given.
  cache.setObfuscated(mark(cache, 0)->stanza.getChars(), mark(cache, 0)->key.getChars(), "2");
  EXPECT_EQ("s/b,s/c,s/a", marks(cache));
  EXPECT_EQ("2", texts(cache.get("s", "a", ANY)));
  cache.remove(mark(cache, 0)->stanza.getChars(), mark(cache, 0)->key.getChars());
  EXPECT_EQ("s/c,s/a", marks(cache));
  // A key name held by the key list, which the removal frees.
  cache.remove("s", static_cast<const ZLCString*>(cache.getNames("s")->get(0))->getChars());
  EXPECT_EQ("a,c", texts(cache.getNames("s")));
  // A mark left behind by a stanza removal names a key that is gone.
  cache.remove("s");
  EXPECT_EQ("s/a", marks(cache));
  cache.addLine(mark(cache, 0)->stanza.getChars(), mark(cache, 0)->key.getChars(), "v", 0);
  EXPECT_EQ("", marks(cache));
  EXPECT_EQ("B|S s|K a", layout(cache));
}

TEST(ZPropertiesImplTest, RemovalLeavesLayoutAndHalfTheStanzaMarks) {
  Cache cache(kSample);
  for (const char* k : {"a", "b", "c"}) cache.setObfuscated("server", k, "1");
  cache.setObfuscated("client", "x", "4");
  cache.setObfuscated("server", "d", "5");
  // The mark that slides into a freed place is not looked at.
  cache.remove("server");
  EXPECT_FALSE(cache.contains("server"));
  EXPECT_EQ("server/b,client/x", marks(cache));
  EXPECT_EQ(kSampleLayout, layout(cache));
  cache.remove("client", "x");
  cache.remove("client", "missing");
  cache.remove("missing", "x");
  cache.remove("missing");
  EXPECT_EQ("server/b", marks(cache));
  ZArrayList names(10, 0);
  names.add(ZPCache::empty_);
  cache.getNames("client", names);   // emptied first
  cache.getNames("missing", names);  // untouched
  EXPECT_EQ("retries,timeout", texts(&names));
  cache.setAttributes(4, &cache);
  cache.setAttributes(1, nullptr);  // flags add up, the data is replaced
  cache.name = "/tmp/side.obf";
  cache.clear();
  EXPECT_EQ(0u, cache.count());
  EXPECT_EQ("", layout(cache) + marks(cache) + cache.name.getChars());
  EXPECT_EQ(5UL, cache.attributes);
  EXPECT_EQ(nullptr, cache.attributeData);
}

TEST(ZPropertiesImplTest, CopyDropsMarksButKeepsValues) {
  Cache cache(kSample);
  cache.setObfuscated("server", "password", "pw");
  cache.name = "/etc/x.obf";
  ZPCache* copy = cache.clone();
  EXPECT_EQ("", marks(*copy) + copy->name.getChars());
  EXPECT_FALSE(copy->obfuscatedItems.ownsMembers());
  EXPECT_TRUE(copy->isObfuscated("server", "password"));
  EXPECT_EQ(kSampleLayout, layout(*copy));
  // Marks made in the copy are its own (and freed with it, although its
  // list does not own them).
  copy->set("client", "retries", "9");
  copy->setObfuscated("client", "token", "t");
  copy->setObfuscated("client", "token2", "t");
  copy->set("client", "token", "plain");
  EXPECT_EQ("client/token2", marks(*copy));
  EXPECT_EQ("2,5", texts(cache.get("client", "retries", ANY)));
  delete copy;
  EXPECT_EQ("server/password", marks(cache));
}

TEST(ZPropertiesImplTest, ListDumpsDataInMapOrder) {
  Cache cache("# not listed\n[alpha]\nk = 1\nk = 2\n[beta]\nempty =\n[delta]\n[log]\nz = last\n");
  cache.setObfuscated("beta", "hidden", "secret");
  cache.add("log", "z", "more", 1);  // obfuscated beside plain: not shown
  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  cache.list(stream);
  std::fclose(stream);
  // Map order (hash buckets), not file order; keys in insertion order.
  EXPECT_STREQ(
      "\n[delta]\n\n[beta]\nempty =\nhidden =\n\n[log]\nz = last\n\n[alpha]\nk = 1\nk = 2\n",
      buffer);
  std::free(buffer);
}

TEST(ZPropertiesImplTest, AddLineFollowsTemplateOrLastKey) {
  Cache cache(kSample);
  cache.addLine("server", "port", "8080", 0);   // at the end of the template's block
  cache.addLine("client", "proxy", "none", 0);  // after the stanza's last key
  cache.addLine("client", "retries", "7", 0);   // values replaced, no new line
  cache.addLine("extra", "on", "yes", 1);       // blank, header and key at the end
  cache.addLine("extra", nullptr, nullptr, 0);
  cache.addLine("extra", "blank", "", 0);
  cache.addLine("extra.blank", "v", 0);  // full key: stanza "extra.blank"
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|C # port = 80|K port|B|"
      "C # The log level|K level|B|S client|K retries|K timeout|K proxy|B|S extra|K on|"
      "K blank|B|S extra.blank|K .blank",
      layout(cache));
  EXPECT_EQ("7/8080/extra/on", texts(cache.get("client", "retries", ANY)) + "/" +
                                   texts(cache.get("server", "port", ANY)) + "/" + marks(cache));
  // A template hidden by a tab, one without a blank line after it.
  Cache other("[s]\n#\tport = 1\n# port=2\na = 1\n");
  other.addLine("s", "port", "3", 0);
  EXPECT_EQ("S s|C #\tport = 1|C # port=2|K a|K port", layout(other));
  // A key read from the side data alone has no line: a plain value gives it
  // one, under a header made for a stanza that had none.
  Cache side("[s]\na = 1\n");
  side.add("s", "hidden", "x", 1);
  side.add("t", "hidden", "y", 1);
  side.addLine("s", "hidden", "", 0);  // emptied: still no line
  side.addLine("s", "hidden", "plain", 0);
  side.addLine("s", "hidden", "again", 0);
  side.addLine("t", "hidden", "plain", 0);
  EXPECT_EQ("S s|K a|K hidden|B|S t|K hidden", layout(side));
}

TEST(ZPropertiesImplTest, LineCommentsStackAndGoAsABlock) {
  Cache cache(kSample);
  cache.addLineComment("client", "timeout", "# seconds");  // a blank line first
  cache.addLineComment("client", "timeout", "# at most 60");
  cache.addLineComment("client.retries", "# full key");
  cache.addLineComment("client", "fresh", "# new");  // made with its line
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|C # port = 80|B|C # The log level|"
      "K level|B|S client|K retries|B|C # seconds|C # at most 60|K timeout|B|C # new|K fresh|"
      "B|S client.retries|B|C # full key|K .retries",
      layout(cache));
  // getLineComment joins in file order, skips blanks, keeps what out held.
  ZLCString out("x");
  cache.getLineComment("client", "timeout", out);
  EXPECT_STREQ("# seconds\n# at most 60\nx", out.getChars());
  out = "";
  cache.getLineComment("server", "level", out);
  EXPECT_STREQ("# port = 80\n# The log level", out.getChars());
  out = "kept";
  cache.getLineComment("server", "host", out);
  cache.getLineComment("server", "missing", out);
  EXPECT_STREQ("kept", out.getChars());
  // setLineComment replaces the block with the blank lines around it.
  cache.setLineComment("client", "timeout", "# replaced");
  cache.setLineComment("server", "level", nullptr);
  cache.setLineComment("server", "absent", nullptr);  // nothing made
  cache.setLineComment("server", "made", "# made");
  cache.setLineComment("client", "fresh",  // the text of its own line
                       static_cast<const ZPropLine*>(cache.lines.get(15))->text.getChars());
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|K level|B|C # made|K made|B|S client|"
      "K retries|B|C # replaced|K timeout|B|C # new|K fresh|B|S client.retries|B|C # full key|"
      "K .retries",
      layout(cache));
  EXPECT_FALSE(cache.contains("server", "absent"));
}

TEST(ZPropertiesImplTest, DeletingKeysAndStanzas) {
  Cache cache(kSample);
  cache.lines.addNoCopy(new ZPropLine(LINE_KEY, "level"));  // in stanza client
  // Comments above the key stay; the same key in another stanza is kept.
  cache.delLine("server", "level");
  cache.delLine("client.timeout");  // stanza "client.timeout": nothing there
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|C # port = 80|B|C # The log level|B|"
      "S client|K retries|K timeout|K level",
      layout(cache));
  // A stanza goes with everything up to the next header.
  cache.delStanzaLine("server");
  EXPECT_FALSE(cache.contains("server"));
  EXPECT_EQ("C # Sample server configuration|B|S client|K retries|K timeout|K level",
            layout(cache));
  cache.delStanzaLine("client");
  cache.delStanzaLine("client");
  EXPECT_EQ("C # Sample server configuration|B", layout(cache));
}

TEST(ZPropertiesImplTest, FileAndStanzaComments) {
  Cache empty;
  empty.addFileComment("# c1");
  empty.addFileComment("# c2");
  EXPECT_EQ("C # c1|C # c2|B", layout(empty));
  Cache bare("[s]\na = 1\n\n# later\n");  // a new block in front of the stanza
  bare.addFileComment("# top");
  EXPECT_EQ("C # top|B|S s|K a|B|C # later", layout(bare));
  Cache cache(kSample);
  cache.addFileComment("# Edited");
  cache.addStanzaComment("client", "# first");  // after the header's comments
  cache.addStanzaComment("client", "# second");
  cache.addStanzaComment("server", "# srv");
  cache.addStanzaComment("tail", "# tail");  // a new stanza at the end
  EXPECT_EQ(
      "C # Sample server configuration|C # Edited|B|S server|C # srv|B|K host|C # port = 80|B|"
      "C # The log level|K level|B|S client|C # first|C # second|B|K retries|K timeout|B|"
      "S tail|C # tail|B",
      layout(cache));
}

TEST(ZPropertiesImplTest, RegistryGuardSerialisesThreads) {
  std::atomic<int> inside{0};
  BoundedThread holder([&] {
    ZPropRegistry guard;
    ZPropRegistry nested;  // re-entrant for its owner
    inside = 1;
    pause(100);  // the waiter is blocked meanwhile
    inside = 2;
  });
  waitUntil([&] { return inside == 1; });
  int seen = 0;
  BoundedThread waiter([&] {
    ZPropRegistry guard;
    seen = inside;
  });
  waiter.join();
  EXPECT_EQ(2, seen);  // got the lock only after the holder's last write
}
