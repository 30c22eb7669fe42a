// Tests of the string core: growth, editing, stripping, searching, hashing.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "Z/ZAbstractMutableString.h"
#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"
#include "ZTestSupport.h"

namespace {

TEST(ZAbstractMutableStringTest, GrowthRule) {
  ZLCString s;
  EXPECT_EQ(95u, s.getCapacity());
  EXPECT_EQ(95u, s.setCapacity(50));
  EXPECT_EQ(200u, s.setCapacity(200));
  EXPECT_EQ(200u, s.setCapacity(150));

  ZLCString a;
  a.append(std::string(95, 'x').c_str());
  EXPECT_EQ(95u, a.getCapacity());  // still the built-in buffer
  a.append('y');
  EXPECT_EQ(96u + (96 + 7) / 5, a.getCapacity());

  ZLCString b;
  b.append(std::string(96, 'x').c_str());
  EXPECT_EQ(116u, b.getCapacity());
  b.append(std::string(20, 'z').c_str());  // within the capacity: no growth
  EXPECT_EQ(116u, b.getCapacity());
  // But insert grows on every call, even an empty insert.
  ZLCString c;
  c.setCapacity(100);
  c = "abc";
  c.insert(1, "");
  EXPECT_EQ(100u + (4 + 7) / 5, c.getCapacity());
  EXPECT_STREQ("abc", c.getChars());
  c.clear();  // keeps the capacity
  EXPECT_EQ(102u, c.getCapacity());
}

TEST(ZAbstractMutableStringTest, ConstructorsAndNumericAssignment) {
  EXPECT_STREQ("abc", ZLCString("abcdef", 3).getChars());
  EXPECT_STREQ("q", ZLCString('q').getChars());
  EXPECT_STREQ("-2147483648", ZLCString(-2147483647 - 1).getChars());
  EXPECT_STREQ("4294967295", ZLCString(4294967295u).getChars());
  EXPECT_STREQ("-9223372036854775807", ZLCString(-9223372036854775807L).getChars());
  EXPECT_STREQ("18446744073709551615", ZLCString(18446744073709551615UL).getChars());
  ZLCString s("long text that goes away");
  s = 42;
  EXPECT_EQ("42", std::string(s.getChars(), s.getLength()));
  s = 'z';
  EXPECT_STREQ("z", s.getChars());
  s = static_cast<const char*>(nullptr);
  EXPECT_TRUE(s.isEmpty() && ZLCString(static_cast<const char*>(nullptr)).isEmpty());
}

TEST(ZAbstractMutableStringTest, EditsWithTextOfTheStringItself) {
  // Also when the buffer moves.
  ZLCString self("0123456789");
  for (int i = 0; i < 5; ++i) self.append(self.getChars());
  EXPECT_EQ(320u, self.getLength());
  EXPECT_EQ(310u, self.lastIndexOf("0123456789"));
  self.setChars(self.getChars() + 315);
  EXPECT_STREQ("56789", self.getChars());
  self += self;
  EXPECT_STREQ("5678956789", self.getChars());
  self = ZLCConstString(self.getChars() + 6);
  EXPECT_STREQ("6789", self.getChars());
  self.prepend(self.getChars() + 2).insert(2, self.getChars());
  EXPECT_STREQ("898967896789", self.getChars());
}

// Each edit applied to a fresh string, and the text and length it leaves.
template <typename S>
void expectEdits(
    const std::vector<std::tuple<const char*, std::function<void(S&)>, const char*>>& cases) {
  for (const auto& c : cases) {
    SCOPED_TRACE(std::get<0>(c));
    S s(std::get<0>(c));
    std::get<1>(c)(s);
    EXPECT_STREQ(std::get<2>(c), s.getChars());
    EXPECT_EQ(strlen(std::get<2>(c)), s.getLength());
  }
}

TEST(ZAbstractMutableStringTest, EditingStrippingAndReplacing) {
  using U = ZUTF8String;
  using L = ZLCString;
  expectEdits<U>({
      {"   ", [](U& s) { s.stripTrailing(); }, " "},  // the first byte is never examined
      {" ", [](U& s) { s.stripTrailing(); }, " "},
      {" \t a b \n", [](U& s) { s.stripTrailing(); }, " \t a b"},
      {" \t a b \n", [](U& s) { s.stripLeading(); }, "a b \n"},
      {"\r\n x \t", [](U& s) { s.stripWhiteSpace(); }, "x"},
  });
  expectEdits<L>({
      {"abcdef", [](L& s) { s.remove(3, 0); }, "abc"},
      {"abcdef", [](L& s) { s.remove(4, 5); }, "abcdef"},
      {"abcdef", [](L& s) { s.remove(1, 2); }, "adef"},
      {"adef", [](L& s) { s.trunc(10); }, "adef"},
      {"adef", [](L& s) { s.trunc(2); }, "ad"},
      {"ad", [](L& s) { s.insert(1, "bc").insert(4, "!").insert(0, nullptr); }, "abcd!"},
      {"abcd!", [](L& s) { s.prepend(">> ").prepend("xyz", 1); }, "x>> abcd!"},
      {"x", [](L& s) { s.append("1234", 2).append(static_cast<const char*>(nullptr)); }, "x12"},
      {"xxxx", [](L& s) { s.stripLeading('x'); }, ""},
      {"xxabxx", [](L& s) { s.stripLeading('x'); }, "abxx"},
      {"xxabxx", [](L& s) { s.stripTrailing('x'); }, "xxab"},
      {"yyy", [](L& s) { s.stripTrailing('y'); }, ""},
      {"a,b;c", [](L& s) { s.replaceAll(",;", '\0'); }, "abc"},
      {"a,b;c", [](L& s) { s.replaceAll(",;", '-'); }, "a-b-c"},
      {"a,b;c", [](L& s) { s.replaceAll(static_cast<const char*>(nullptr), '+'); }, "a,b;c"},
      {"banana", [](L& s) { s.replace('a', 'o'); }, "bonono"},
      {"banana", [](L& s) { s.replace('a', '\0'); }, "bnn"},
      {"aaaa", [](L& s) { s.replace("aa", "b"); }, "bb"},
      {"one two one", [](L& s) { s.replace("one", "three"); }, "three two three"},
      {"one two", [](L& s) { s.replace("missing", "x"); }, "one two"},
      {"one two one", [](L& s) { s.replace(" ", ""); }, "onetwoone"},
  });
  ZLCString big(std::string(100, 'a').c_str());
  big.replace("a", "xyz");
  EXPECT_EQ(300u, big.getLength());
}

TEST(ZAbstractMutableStringTest, SearchingAndComparing) {
  ZLCString s("path/to/file.txt");
  EXPECT_EQ(4u, s.indexOf('/'));
  EXPECT_EQ(7u, s.indexOf('/', 5));
  EXPECT_EQ(16u, s.indexOf('\0'));
  EXPECT_EQ(ZAbstractString::notFound, s.indexOf('/', 100));
  EXPECT_EQ(5u, s.indexOf("to"));
  EXPECT_EQ(ZAbstractString::notFound, s.indexOf(static_cast<const char*>(nullptr)));
  EXPECT_EQ(16u, s.indexOf("", 200));  // from is clamped to the length
  EXPECT_EQ(4u, s.indexOneOf("./"));
  EXPECT_EQ(12u, s.indexOneOf(".", 8));
  EXPECT_EQ(ZAbstractString::notFound, s.indexOneOf(nullptr));
  EXPECT_EQ(7u, s.lastIndexOf('/'));
  EXPECT_EQ(15u, s.lastIndexOf("t"));
  EXPECT_EQ(ZAbstractString::notFound, s.lastIndexOf("zz"));
  EXPECT_TRUE(s.contains("file"));
  EXPECT_FALSE(s.contains(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(s.contains('.'));

  const char* const null = nullptr;
  // An empty text begins any non-empty string but ends none; null does both.
  EXPECT_TRUE(s.beginsWith("") && s.beginsWith(null) && s.endsWith(null) && s.beginsWith("path/") &&
              s.endsWith(".txt") && s.beginsWithCaseIgnored(ZLCString("PATH")) &&
              s.endsWithCaseIgnored(ZLCString(".TXT")));
  EXPECT_FALSE(s.endsWith("") || s.endsWith("a longer text than the string itself") ||
               ZLCString().beginsWith("") || s.endsWithCaseIgnored(ZLCString()) ||
               ZLCString().beginsWithCaseIgnored(ZLCString("p")));
  EXPECT_TRUE(s.equals("path/to/file.txt") && !s.equals(null) && s == "path/to/file.txt" &&
              s != "path");
  EXPECT_EQ(0, ZLCString("Mixed").compareignorecase("mIXED"));
  EXPECT_LT(ZLCString("abc").compare("abd"), 0);
  EXPECT_GT(ZLCString("b").compare(ZLCString("a")), 0);
}

TEST(ZAbstractMutableStringTest, HashIsDjb2WithExclusiveOrAndObjectComparisonNeedsOneCodeset) {
  EXPECT_EQ(5381u, ZLCString().hash());
  EXPECT_EQ((5381u * 33) ^ 'a', ZLCString("a").hash());
  EXPECT_EQ((((5381u * 33) ^ 'a') * 33) ^ 0xE9u, ZLCString("a\xE9").hash());
  // Equal texts of both code sets hash alike; the hash ignores the code set.
  EXPECT_EQ(ZLCString("key").hash(), ZUTF8String("key").hash());
  EXPECT_EQ(ZLCString("key").hash(), ZLCConstString("key").hash());

  // Comparison as objects needs the same code set; equality is bytes only.
  ZLCString lc("text");
  ZUTF8String u("text");
  ZLCConstString view("text");
  EXPECT_EQ(0, lc.compare(static_cast<const ZObject&>(view)));
  EXPECT_TRUE(lc.equals(static_cast<const ZObject&>(u)));
  expectThrowAt<ZUnsupportedException>([&] { lc.compare(static_cast<const ZObject&>(u)); }, 48,
                                       "src/Z/ZAbstractString", 68);
  ZObject plain;
  EXPECT_THROW(lc.compare(plain), ZUnsupportedException);
  EXPECT_FALSE(lc.equals(plain));
}

TEST(ZAbstractMutableStringTest, ReadLineSplitsAtEveryLineEnd) {
  std::istringstream in(std::string("ab\r\ncd\0ef\n\nlast", 16));
  ZLCString line("old");
  const char* expected[] = {"ab", "", "cd", "ef", "", "last"};
  for (const char* e : expected) {
    ASSERT_TRUE(in.peek() != EOF) << e;
    line.readLine(in, 0);
    EXPECT_STREQ(e, line.getChars());
  }
  EXPECT_EQ(EOF, in.peek());
  line.readLine(in, 0);
  EXPECT_STREQ("", line.getChars());

  std::istringstream in2("  x\n");
  in2.unsetf(std::ios_base::skipws);
  line.readLine(in2, 1);
  EXPECT_STREQ("  x", line.getChars());              // leading blanks are kept
  EXPECT_TRUE(in2.flags() & std::ios_base::skipws);  // and the flag stays set
}

TEST(ZAbstractMutableStringTest, ConstStringViews) {
  char buf[] = "viewed";
  ZLCConstString v(buf);
  EXPECT_EQ(buf, v.getChars());
  EXPECT_EQ(ZAbstractConstString::zemptyString,
            ZLCConstString(static_cast<const char*>(nullptr)).getChars());

  ZLCString owner("owner");
  v.setChars(owner);
  EXPECT_EQ(owner.getChars(), v.getChars());
  EXPECT_EQ(5u, v.getLength());
  ZUTF8String other("other code set");
  v.setChars(other);  // silently ignored
  EXPECT_EQ(owner.getChars(), v.getChars());

  std::unique_ptr<ZObject> cl(v.clone());
  EXPECT_EQ(v.getChars(), dynamic_cast<ZLCConstString&>(*cl).getChars());
  EXPECT_TRUE(v == "owner" && v == owner);
}

}  // namespace
