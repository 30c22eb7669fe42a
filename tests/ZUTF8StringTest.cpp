// Tests of the UTF-8 string classes.
#include <gtest/gtest.h>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"
#include "ZTestSupport.h"

namespace {

TEST(ZUTF8StringTest, CaseMappingOfAsciiTextIsDoneInPlace) {
  ZUTF8String s("Hello, World 42!");
  s.lower();
  EXPECT_STREQ("hello, world 42!", s.getChars());
  s.upper();
  EXPECT_STREQ("HELLO, WORLD 42!", s.getChars());
  ZUTF8String empty;
  empty.upper();
  EXPECT_STREQ("", empty.getChars());
  // The ASCII head is mapped even when the rest holds other characters.
  // From the first non-ASCII byte on the code-set services map the text.
  ZUTF8String mixed("ABC\xC3\x80Z");
  mixed.lower();
  EXPECT_STREQ("abc\xC3\xA0z", mixed.getChars());
  mixed.upper();
  EXPECT_STREQ("ABC\xC3\x80Z", mixed.getChars());
}

TEST(ZUTF8StringTest, ReplaceCharacterRejectsNonAsciiAndKeepsTheLength) {
  ZUTF8String s("a-b-c");
  s.replace('-', '+');
  EXPECT_STREQ("a+b+c", s.getChars());
  s.replace('+', '\0');
  EXPECT_EQ(5u, s.getLength());  // bytes overwritten, length unchanged
  EXPECT_STREQ("a", s.getChars());
  for (char bad : {'\x80', '\xC3', '\xFF'}) {
    SCOPED_TRACE(static_cast<int>(static_cast<unsigned char>(bad)));
    expectThrowAt<ZInvalidParameterException>([&] { s.replace(bad, 'x'); }, 22, "src/Z/ZUTF8String",
                                              299);
  }
  // Through the base class the UTF-8 override is still used.
  ZUTF8String t("x.y");
  ZAbstractMutableString& base = t;
  EXPECT_THROW(base.replace('\xE2', 'x'), ZInvalidParameterException);
}

TEST(ZUTF8StringTest, ReplaceTextUsesByteSearch) {
  ZUTF8String s("\xC3\xA9t\xC3\xA9 \xC3\xA9t\xC3\xA9");
  s.replace("\xC3\xA9", "e");
  EXPECT_STREQ("ete ete", s.getChars());
  s.replace("ete", "summer");
  EXPECT_STREQ("summer summer", s.getChars());
}

TEST(ZUTF8StringTest, ConstViewsCompareAndSubStringsAreByteRanges) {
  ZUTF8String u("same");
  EXPECT_EQ(0, u.compare(ZUTF8ConstString("same")));
  EXPECT_TRUE(u == ZUTF8ConstString("same"));
  EXPECT_STREQ("am", u.subString(1, 2).getChars());
}

}  // namespace
