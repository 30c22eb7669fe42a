// Tests of ZStringIterator and of the string replacements it drives.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"
#include "Z/ZStringIterator.h"
#include "Z/ZUTF8String.h"
#include "ZCollectionTestObjects.h"

namespace {

std::vector<std::string> chars(ZStringIterator& it) {
  std::vector<std::string> out;
  while (it.hasMore()) out.push_back(it.getNext()->getChars());
  return out;
}

typedef std::vector<std::string> Chars;

}  // namespace

TEST(ZStringIteratorTest, StepsWholeCharacters) {
  // UTF-8 is measured character by character whatever the locale.
  ZUTF8String text("a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80z"), out;
  ZStringIterator it(text, out);
  EXPECT_TRUE(it.hasMore());
  EXPECT_EQ(&out, it.getNext());
  EXPECT_STREQ("a", out.getChars());
  ZStringIterator* copy = static_cast<ZStringIterator*>(it.clone());
  EXPECT_EQ((Chars{"\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "z"}), chars(it));
  EXPECT_FALSE(it.hasMore());
  // The clone went on from where the original stood.
  EXPECT_STREQ("\xc3\xa9", copy->getNext()->getChars());
  delete copy;
  it.reset();
  EXPECT_EQ(5u, chars(it).size());

  ZUTF8ConstString view("\xc3\xa9!");
  ZStringIterator viewIt(view, out);
  EXPECT_EQ((Chars{"\xc3\xa9", "!"}), chars(viewIt));

  // The local code set: characters of its own width.
  ZLCString lc("x\xc3\xa9"), lcOut;
  ZStringIterator lcIt(lc, lcOut);
  EXPECT_EQ((MB_CUR_MAX > 1 ? Chars{"x", "\xc3\xa9"} : Chars{"x", "\xc3", "\xa9"}), chars(lcIt));
  // Past the end the output is empty and the iterator stays at the end.
  EXPECT_EQ(0u, lcIt.getNext()->getLength());
  EXPECT_EQ(0u, lcIt.getNext()->getLength());
  EXPECT_FALSE(lcIt.hasMore());
  ZLCConstString empty;
  ZStringIterator emptyIt(empty, lcOut);
  EXPECT_FALSE(emptyIt.hasMore());
}

TEST(ZStringIteratorTest, UnmeasurableCharacterThrows) {
  for (const char* bad : {"a\xff", "a\xe2\x82x"}) {
    SCOPED_TRACE(bad);
    ZUTF8String text(bad), out;
    ZStringIterator it(text, out);
    EXPECT_STREQ("a", it.getNext()->getChars());
    expectThrowAt<ZKELMBLenException>([&] { it.getNext(); }, kZMsgKELMBLen, "src/Z/ZStringIterator",
                                      113);
  }
}

TEST(ZStringIteratorTest, ReplaceAllAndReplaceOtherWorkOnWholeCharacters) {
  // e acute (C3 A9) and the copyright sign (C2 A9) share their last byte.
  ZUTF8String s("\xc2\xa9 caf\xc3\xa9, \xc3\xa9t\xc3\xa9;");
  EXPECT_EQ(&s, &s.replaceAll("\xc3\xa9,;", "e"));
  EXPECT_STREQ("\xc2\xa9 cafee etee", s.getChars());

  // Each character of the set in turn: text put in for "a" is then subject
  // to the replacement of "b".
  ZLCString cascade("a-b");
  cascade.replaceAll("ab", "bc");
  EXPECT_STREQ("bcc-bc", cascade.getChars());

  // A null replacement text removes; a null set changes nothing.
  ZLCString csv("a,b;c");
  csv.replaceAll(",;", static_cast<const char*>(nullptr));
  EXPECT_STREQ("abc", csv.getChars());
  csv.replaceAll(static_cast<const char*>(nullptr), "x");
  EXPECT_STREQ("abc", csv.getChars());

  ZUTF8String price("\xe2\x82\xac 12,50 net");
  price.replaceOther("0123456789,", "");
  EXPECT_STREQ("12,50", price.getChars());
  ZUTF8String masked("p\xc3\xa9x1");
  masked.replaceOther("x1", "*");
  EXPECT_STREQ("**x1", masked.getChars());
  ZLCString keep("x=1; y=2");
  keep.replaceOther("xy12", "_");
  EXPECT_STREQ("x_1__y_2", keep.getChars());
  ZLCString all("abc");
  all.replaceOther(nullptr, "-");
  EXPECT_STREQ("---", all.getChars());

  // The set may be the string's own text: it is read as it was on entry.
  ZUTF8String self("ab");
  self.replaceAll(self.getChars(), "xy");
  EXPECT_STREQ("xyxy", self.getChars());
  ZLCString own("ab,c");
  own.replaceOther(own.getChars() + 2, "##");
  EXPECT_STREQ("####,c", own.getChars());
}
