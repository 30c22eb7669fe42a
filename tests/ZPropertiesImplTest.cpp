// zbase: tests of the property cache.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <sstream>
#include <string>
#include <thread>

#include "Z/ZException.h"
#include "Z/ZPropertiesImpl.h"

namespace {

// The concrete cache as the stanza file class makes it, minus the file hooks.
class TestCache : public ZPCategoryBasedCache {
 public:
  TestCache() {}
  TestCache(const TestCache& other) : ZPCategoryBasedCache(other) {}
  ZPCache* clone() const override { return new TestCache(*this); }
  void be_read(const char*, FILE*) override {}
  void be_write(const char*, FILE*) override {}
  void be_read_obfuscated(ZBuffer&) override {}
  void be_write_obfuscated(ZBuffer&) override {}
};

// Fills the cache the way the stanza reader does: lines appended in file
// order, a key line only for a key's first occurrence, values added plain.
// Lines are taken as they are: no blanks around names.
void load(ZPCategoryBasedCache& cache, const char* text) {
  std::istringstream in(text);
  std::string t, stanza;
  while (std::getline(in, t)) {
    if (t.empty()) {
      cache.lines.addNoCopy(new ZPropLine(LINE_BLANK, ""));
    } else if (t[0] == '#') {
      cache.lines.addNoCopy(new ZPropLine(LINE_COMMENT, t.c_str()));
    } else if (t[0] == '[') {
      stanza = t.substr(1, t.size() - 2);
      cache.set(stanza.c_str(), nullptr, nullptr);
      cache.lines.addNoCopy(new ZPropLine(LINE_STANZA, stanza.c_str()));
    } else {
      size_t eq = t.find(" =");
      std::string key = t.substr(0, eq), value = t.substr(std::min(eq + 3, t.size()));
      if (!cache.contains(stanza.c_str(), key.c_str()))
        cache.lines.addNoCopy(new ZPropLine(LINE_KEY, key.c_str()));
      cache.add(stanza.c_str(), key.c_str(), value.c_str(), 0);
    }
  }
}

// The layout as "kind text" entries joined by "|": C comment, B blank,
// S stanza, K key.
std::string layout(const ZPCache& cache) {
  std::string out;
  for (unsigned int i = 0; i < cache.lines.size(); ++i) {
    const ZPropLine* line = static_cast<const ZPropLine*>(cache.lines.get(i));
    if (i != 0) out += "|";
    out += "?CB?S???K"[line->type <= LINE_KEY ? line->type : 0];
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

const ZObfuscatedItem* mark(const ZPCache& cache, unsigned int i) {
  return static_cast<const ZObfuscatedItem*>(cache.obfuscatedItems.get(i));
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
    "# Sample server configuration\n"
    "\n"
    "[server]\n"
    "host = example\n"
    "# port = 80\n"
    "\n"
    "# The log level\n"
    "level = 3\n"
    "\n"
    "[client]\n"
    "retries = 2\n"
    "retries = 5\n"
    "timeout = 30\n";

const char kSampleLayout[] =
    "C # Sample server configuration|B|S server|K host|C # port = 80|B|C # The log level|"
    "K level|B|S client|K retries|K timeout";

template <typename F>
void expectInvalidParameter(F f, int line) {
  try {
    f();
    ADD_FAILURE() << "no exception";
  } catch (ZInvalidParameterException& e) {
    EXPECT_EQ(22UL, e.getErrorNumber());
    EXPECT_STREQ("src/Z/ZPropertiesImpl", e.who());
    EXPECT_EQ(line, e.where());
  }
}

const ZPCache::get_type_e ANY = ZPCache::GET_ANY;

}  // namespace

TEST(ZPropertiesImplTest, LinesAndMarksCompare) {
  ZPropLine comment(LINE_COMMENT, "#x"), key(LINE_KEY, "a");
  EXPECT_EQ(-1, comment.compare(key));  // kind first, whatever the texts
  EXPECT_EQ(1, key.compare(comment));
  EXPECT_TRUE(key.equals(ZPropLine(LINE_KEY, "a")));
  EXPECT_FALSE(key.equals(ZPropLine(LINE_STANZA, "a")));

  ZObfuscatedItem m(ZLCString("s"), ZLCString("k"));
  EXPECT_FALSE(m.equals(ZObfuscatedItem(ZLCString("s"), ZLCString("j"))));
  EXPECT_GT(m.compare(ZObfuscatedItem(ZLCString("s"), ZLCString("j"))), 0);
  EXPECT_LT(m.compare(ZObfuscatedItem(ZLCString("t"), ZLCString("a"))), 0);

  struct Case {
    const char* pattern;
    const char* text;
    int match;
  } cases[] = {{"#port=", "# port = 80", 1},  {"#port=", "  #  p o r t=x", 1},
               {"#port=", "# port", 0},       {"#port=", "#\tport = 80", 0},
               {"#port=", "# portal = 1", 0}, {"", "anything", 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.pattern) + " / " + c.text);
    EXPECT_EQ(c.match, isCommentWeWant(c.pattern, c.text));
  }
}

TEST(ZPropertiesImplTest, FullKeyKeepsWholeTextAsStanza) {
  TestCache cache;
  ZLCString stanza("old"), key("old");
  cache.validateKey("db.port.x", stanza, key);
  EXPECT_STREQ("db.port.x", stanza.getChars());
  EXPECT_STREQ(".port.x", key.getChars());

  cache.set("a", "b", "x");
  EXPECT_EQ(nullptr, cache.get("a.b", ANY));
  EXPECT_FALSE(cache.isObfuscated("a.b"));
  cache.set("a.b", "y");
  EXPECT_TRUE(cache.contains("a.b", ".b"));
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
  EXPECT_STREQ("db.port.x", stanza.getChars());
  EXPECT_EQ(2u, cache.count());
  EXPECT_EQ("", layout(cache));
}

TEST(ZPropertiesImplTest, ValueSlotsAndMarks) {
  TestCache cache;
  int obf = 7;
  EXPECT_EQ(nullptr, cache.get("s", "k", obf, ANY));
  EXPECT_EQ(0, obf);

  // An empty value creates the key with no values.
  cache.add("s", "k", "", 0);
  cache.add("s", "k", nullptr, 1);
  EXPECT_TRUE(cache.contains("s", "k"));
  EXPECT_EQ(0u, cache.countValues("s", "k"));
  EXPECT_EQ("", marks(cache));

  cache.add("s", "k", "o1", 1);
  cache.add("s", "k", "o2", 1);
  EXPECT_EQ("s/k", marks(cache));
  EXPECT_TRUE(cache.isObfuscated("s", "k"));
  EXPECT_EQ("o1,o2", texts(cache.get("s", "k", obf, ANY)));
  EXPECT_EQ(1, obf);

  // Plain values beside obfuscated ones: GET_ANY sees only the plain ones.
  cache.add("s", "k", "p", 0);
  EXPECT_EQ("p", texts(cache.get("s", "k", obf, ANY)));
  EXPECT_EQ(0, obf);
  EXPECT_FALSE(cache.isObfuscated("s", "k"));
  EXPECT_EQ("o1,o2", texts(cache.get("s", "k", obf, ZPCache::GET_OBFUSCATED)));
  EXPECT_EQ(1, obf);
  EXPECT_EQ("p", texts(cache.get("s", "k", obf, ZPCache::GET_PLAIN)));
  EXPECT_EQ(0, obf);
  EXPECT_EQ(nullptr, cache.get("s", "k", obf, static_cast<ZPCache::get_type_e>(3)));
  EXPECT_EQ(1u, cache.countValues("s", "k"));

  // set drops everything, the mark included.
  cache.set("s", "k", "v");
  EXPECT_EQ("v", texts(cache.get("s", "k", ANY)));
  EXPECT_EQ("", texts(cache.get("s", "k", ZPCache::GET_OBFUSCATED)));
  EXPECT_EQ("", marks(cache));

  // setObfuscated: one value and one mark, however often repeated.
  cache.setObfuscated("s", "k", "secret");
  cache.setObfuscated("s", "j", "other");
  cache.setObfuscated("s", "k", "secret2");
  EXPECT_EQ("s/j,s/k", marks(cache));
  EXPECT_EQ("", texts(cache.get("s", "k", ZPCache::GET_PLAIN)));
  EXPECT_EQ("secret2", texts(cache.get("s", "k", ANY)));
  cache.setObfuscated("s", "k", "");
  EXPECT_EQ("s/j", marks(cache));
  EXPECT_FALSE(cache.isObfuscated("s", "k"));
  cache.set("s", "j", "");
  EXPECT_EQ("", marks(cache));
  EXPECT_TRUE(cache.contains("s", "j"));
  EXPECT_EQ(0u, cache.countValues("s", "j"));

  // Keys keep insertion order; the stanza-only set creates an empty stanza.
  EXPECT_EQ("k,j", texts(cache.getNames("s")));
  cache.set("empty", nullptr, "ignored");
  EXPECT_TRUE(cache.contains("empty"));
  EXPECT_EQ(0u, cache.keyCount("empty"));
  EXPECT_EQ(nullptr, cache.getNames("missing"));
}

TEST(ZPropertiesImplTest, NamesAndValuesOfTheCacheItselfCanBePassedIn) {
  TestCache cache;
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
  EXPECT_EQ("m,a,c", texts(cache.getNames("s")));
  // A key name held by the key list, which the removal frees.
  cache.remove("s", static_cast<const ZLCString*>(cache.getNames("s")->get(0))->getChars());
  EXPECT_EQ("a,c", texts(cache.getNames("s")));

  // A mark left behind by a stanza removal names a key that is gone.
  cache.remove("s");
  EXPECT_EQ("s/a", marks(cache));
  cache.addLine(mark(cache, 0)->stanza.getChars(), mark(cache, 0)->key.getChars(), "v", 0);
  EXPECT_EQ("", marks(cache));
  EXPECT_EQ("B|S s|K a", layout(cache));
  EXPECT_EQ("v", texts(cache.get("s", "a", ANY)));
}

TEST(ZPropertiesImplTest, RemovalLeavesLayoutAndHalfTheStanzaMarks) {
  TestCache cache;
  load(cache, kSample);
  for (const char* k : {"a", "b", "c"}) cache.setObfuscated("server", k, "1");
  cache.setObfuscated("client", "x", "4");
  cache.setObfuscated("server", "d", "5");

  // The mark that slides into a freed place is not looked at.
  cache.remove("server");
  EXPECT_FALSE(cache.contains("server"));
  EXPECT_EQ("server/b,client/x", marks(cache));
  EXPECT_EQ(kSampleLayout, layout(cache));

  cache.remove("client", "x");
  EXPECT_EQ("retries,timeout", texts(cache.getNames("client")));
  EXPECT_EQ("server/b", marks(cache));
  cache.remove("client", "missing");
  cache.remove("missing", "x");
  cache.remove("missing");
  EXPECT_EQ(1u, cache.count());

  ZArrayList names(10, 0);
  names.add(ZPCache::empty_);
  cache.getNames("client", names);  // emptied first
  EXPECT_EQ("retries,timeout", texts(&names));
  cache.getNames("missing", names);  // untouched
  EXPECT_EQ("retries,timeout", texts(&names));

  cache.setAttributes(4, &cache);
  cache.setAttributes(1, nullptr);
  cache.name = "/tmp/side.obf";
  cache.clear();
  EXPECT_EQ(0u, cache.count());
  EXPECT_EQ("", layout(cache) + marks(cache) + cache.name.getChars());
  EXPECT_EQ(5UL, cache.attributes);
  EXPECT_EQ(nullptr, cache.attributeData);
}

TEST(ZPropertiesImplTest, CopyDropsMarksButKeepsValues) {
  TestCache cache;
  load(cache, kSample);
  cache.setObfuscated("server", "password", "pw");
  cache.name = "/etc/x.obf";
  cache.setAttributes(1, &cache);

  ZPCache* copy = cache.clone();
  EXPECT_EQ("", marks(*copy));
  EXPECT_FALSE(copy->obfuscatedItems.ownsMembers());
  EXPECT_TRUE(copy->isObfuscated("server", "password"));
  EXPECT_TRUE(copy->name.isEmpty());
  EXPECT_EQ(layout(cache), layout(*copy));
  EXPECT_EQ("retries,timeout", texts(copy->getNames("client")));

  // The copy is independent, and marks made in it are its own (and freed
  // with it, although its list does not own them).
  copy->set("client", "retries", "9");
  copy->setObfuscated("client", "token", "t");
  copy->setObfuscated("client", "token2", "t");
  copy->set("client", "token", "plain");
  EXPECT_EQ("client/token2", marks(*copy));
  EXPECT_EQ("2,5", texts(cache.get("client", "retries", ANY)));
  EXPECT_FALSE(cache.contains("client", "token2"));
  delete copy;
  EXPECT_EQ("server/password", marks(cache));
}

TEST(ZPropertiesImplTest, ListDumpsDataInMapOrder) {
  TestCache cache;
  load(cache, "# not listed\n[alpha]\nk = 1\nk = 2\n[beta]\nempty =\n[delta]\n[log]\nz = last\n");
  cache.setObfuscated("beta", "hidden", "secret");
  cache.add("log", "z", "more", 1);  // obfuscated beside plain: not shown

  char* buffer = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&buffer, &size);
  ASSERT_NE(nullptr, stream);
  cache.list(stream);
  std::fclose(stream);
  // Map order (hash buckets), not file order; keys in insertion order.
  EXPECT_STREQ("\n[delta]\n\n[beta]\nempty =\nhidden =\n\n[log]\nz = last\n\n[alpha]\nk = 1\nk = 2\n",
               buffer);
  std::free(buffer);
}

TEST(ZPropertiesImplTest, AddLineFollowsTemplateOrLastKey) {
  TestCache cache;
  load(cache, kSample);
  // A commented template: the key goes at the end of the template's block.
  cache.addLine("server", "port", "8080", 0);
  // No template: after the last key line of the stanza.
  cache.addLine("client", "proxy", "none", 0);
  // An existing key: values replaced, no new line.
  cache.addLine("client", "retries", "7", 0);
  // A new stanza: a blank line, its header and the key at the end.
  cache.addLine("extra", "on", "yes", 1);
  cache.addLine("extra", nullptr, nullptr, 0);
  cache.addLine("extra", "blank", "", 0);
  cache.addLine("extra.blank", "v", 0);  // full key: stanza "extra.blank"
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|C # port = 80|K port|B|"
      "C # The log level|K level|B|S client|K retries|K timeout|K proxy|B|S extra|K on|"
      "K blank|B|S extra.blank|K .blank",
      layout(cache));
  EXPECT_EQ("7", texts(cache.get("client", "retries", ANY)));
  EXPECT_EQ("8080", texts(cache.get("server", "port", ANY)));
  EXPECT_EQ("extra/on", marks(cache));
  EXPECT_EQ("", texts(cache.get("extra", "blank", ANY)));

  // A template hidden by a tab, one without a blank line after it.
  TestCache other;
  load(other, "[s]\n#\tport = 1\n# port=2\na = 1\n");
  other.addLine("s", "port", "3", 0);
  EXPECT_EQ("S s|C #\tport = 1|C # port=2|K a|K port", layout(other));
}

TEST(ZPropertiesImplTest, LineCommentsStackAndGoAsABlock) {
  TestCache cache;
  load(cache, kSample);
  // Above a key that follows another key: a blank line first.
  cache.addLineComment("client", "timeout", "# seconds");
  cache.addLineComment("client", "timeout", "# at most 60");
  // Directly under the header: a blank line too.
  cache.addLineComment("client.retries", "# full key");
  // A key that did not exist: created with its line, then commented.
  cache.addLineComment("client", "fresh", "# new");
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|C # port = 80|B|C # The log level|"
      "K level|B|S client|K retries|B|C # seconds|C # at most 60|K timeout|B|C # new|K fresh|"
      "B|S client.retries|B|C # full key|K .retries",
      layout(cache));
  EXPECT_EQ(0u, cache.countValues("client", "fresh"));

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
  // Replacing a comment by the text of its own line.
  cache.setLineComment("client", "fresh",
                       static_cast<const ZPropLine*>(cache.lines.get(15))->text.getChars());
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|K level|B|C # made|K made|B|S client|"
      "K retries|B|C # replaced|K timeout|B|C # new|K fresh|B|S client.retries|B|C # full key|"
      "K .retries",
      layout(cache));
  EXPECT_FALSE(cache.contains("server", "absent"));
}

TEST(ZPropertiesImplTest, DeletingKeysAndStanzas) {
  TestCache cache;
  load(cache, kSample);
  cache.lines.addNoCopy(new ZPropLine(LINE_KEY, "level"));  // in stanza client

  // Comments above the key stay; the same key in another stanza is kept.
  cache.delLine("server", "level");
  EXPECT_FALSE(cache.contains("server", "level"));
  EXPECT_EQ(
      "C # Sample server configuration|B|S server|K host|C # port = 80|B|C # The log level|B|"
      "S client|K retries|K timeout|K level",
      layout(cache));
  cache.delLine("client.timeout");  // stanza "client.timeout": nothing there
  EXPECT_TRUE(cache.contains("client", "timeout"));

  // A stanza goes with everything up to the next header, the blank line
  // before it stays.
  cache.delStanzaLine("server");
  EXPECT_FALSE(cache.contains("server"));
  EXPECT_EQ("C # Sample server configuration|B|S client|K retries|K timeout|K level",
            layout(cache));
  cache.delStanzaLine("client");
  cache.delStanzaLine("client");
  EXPECT_EQ("C # Sample server configuration|B", layout(cache));
}

TEST(ZPropertiesImplTest, FileAndStanzaComments) {
  TestCache empty;
  empty.addFileComment("# c1");
  empty.addFileComment("# c2");
  EXPECT_EQ("C # c1|C # c2|B", layout(empty));

  // A file that starts with a stanza gets a new block in front of it.
  TestCache bare;
  load(bare, "[s]\na = 1\n\n# later\n");
  bare.addFileComment("# top");
  EXPECT_EQ("C # top|B|S s|K a|B|C # later", layout(bare));

  TestCache cache;
  load(cache, kSample);
  cache.addFileComment("# Edited");
  // After the header's comments, with a blank line where none follows.
  cache.addStanzaComment("client", "# first");
  cache.addStanzaComment("client", "# second");
  cache.addStanzaComment("server", "# srv");
  // A new stanza: created at the end; the comment ends the file.
  cache.addStanzaComment("tail", "# tail");
  EXPECT_EQ(
      "C # Sample server configuration|C # Edited|B|S server|C # srv|B|K host|C # port = 80|B|"
      "C # The log level|K level|B|S client|C # first|C # second|B|K retries|K timeout|B|"
      "S tail|C # tail|B",
      layout(cache));
}

TEST(ZPropertiesImplTest, RegistryGuardSerialisesThreads) {
  std::promise<void> entered, release;
  std::shared_future<void> released = release.get_future().share();
  int inside = 0;
  std::thread holder([&] {
    ZPropRegistry guard;
    ZPropRegistry nested;  // re-entrant for its owner
    inside = 1;
    entered.set_value();
    released.wait_for(std::chrono::seconds(10));
    inside = 2;
  });
  entered.get_future().wait();
  std::future<int> waiter = std::async(std::launch::async, [&] {
    ZPropRegistry guard;
    return inside;
  });
  EXPECT_EQ(std::future_status::timeout, waiter.wait_for(std::chrono::milliseconds(100)));
  release.set_value();
  ASSERT_EQ(std::future_status::ready, waiter.wait_for(std::chrono::seconds(10)));
  EXPECT_EQ(2, waiter.get());  // got the lock only after the holder's last write
  holder.join();
}
