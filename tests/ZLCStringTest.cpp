// Tests of the local-code-set string classes and conversion between kinds.
#include "Z/ZLCString.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Z/ZUTF8String.h"

namespace {

TEST(ZLCStringTest, ConversionHappensOnceAtConstructionOrAssignment) {
  ZLCString lc("plain ascii");
  ZUTF8String u(lc);
  EXPECT_STREQ("plain ascii", u.getChars());
  EXPECT_EQ(11u, u.getLength());
  lc = "changed";
  EXPECT_STREQ("plain ascii", u.getChars());
  EXPECT_EQ(ZAbstractString::utf8_handle_, u.getCodesetHandle());
  EXPECT_EQ(ZAbstractString::lcs_handle_, lc.getCodesetHandle());

  ZLCString back(u);
  EXPECT_STREQ("plain ascii", back.getChars());
  ZUTF8ConstString uview("from a view");
  ZLCString fromView(uview);
  EXPECT_STREQ("from a view", fromView.getChars());

  // Assigning an empty string of the other kind empties the target, while
  // converting an empty source keeps the old text.
  ZLCString target("not empty");
  target = ZUTF8String();
  EXPECT_STREQ("", target.getChars());
  EXPECT_EQ(0u, target.getLength());
  target = "kept";
  target.convertFromCodeSet(ZUTF8String());
  EXPECT_STREQ("kept", target.getChars());
  target = ZUTF8ConstString("via const");
  EXPECT_STREQ("via const", target.getChars());

  // Long texts convert into a buffer sized for the worst case.
  std::string longText(500, 'k');
  ZUTF8String bigU(ZLCString(longText.c_str()));
  EXPECT_EQ(500u, bigU.getLength());
  EXPECT_GE(bigU.getCapacity(), 1501u);
}

TEST(ZLCStringTest, SubStringsAreByteRanges) {
  ZLCString s("abcde");
  EXPECT_STREQ("", s.subString(10).getChars());
  EXPECT_STREQ("cde", s.subString(2, 10).getChars());
  EXPECT_STREQ("bc", s.subString(1, 2).getChars());
  EXPECT_STREQ("", s.subString(5, 3).getChars());
  EXPECT_STREQ("abcde", s.subString(0).getChars());
  EXPECT_STREQ("e", s.subString(4, 0xFFFFFFFFu).getChars());
}

TEST(ZLCStringTest, OperatorsKeepTheirKind) {
  ZLCString a("ab");
  ZLCConstString c("cd");
  ZLCString sum = a + "-" + c + a;
  EXPECT_STREQ("ab-cdab", sum.getChars());
  a += 'x';
  a += c;
  a += ZLCString("!");
  EXPECT_STREQ("abxcd!", a.getChars());
  EXPECT_TRUE(ZLCString("cd") == c);
  EXPECT_TRUE(c == ZLCString("cd"));
  EXPECT_TRUE(ZLCString("cd") != ZLCString("ce"));
  EXPECT_EQ(0, c.compare(ZLCString("cd")));
  EXPECT_EQ(0, ZLCString("CD").compareignorecase(c));

  std::unique_ptr<ZObject> clone(sum.clone());
  ZLCString* cs = dynamic_cast<ZLCString*>(clone.get());
  ASSERT_NE(nullptr, cs);
  EXPECT_STREQ("ab-cdab", cs->getChars());
  EXPECT_NE(sum.getChars(), cs->getChars());

  ZLCConstString view(sum);
  EXPECT_EQ(sum.getChars(), view.getChars());
  view = "other";
  EXPECT_STREQ("other", view.getChars());
  view = sum;
  EXPECT_EQ(sum.getChars(), view.getChars());
  ZLCString copyOfView(view);
  EXPECT_STREQ("ab-cdab", copyOfView.getChars());
}

}  // namespace
