// Tests of the local-code-set string classes and conversion between kinds.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"
#include "ZTestSupport.h"

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
  EXPECT_TRUE(target.isEmpty() && target.getChars()[0] == '\0');
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
  EXPECT_EQ("|cde|bc||abcde|e",
            std::string(s.subString(10).getChars()) + "|" + s.subString(2, 10).getChars() + "|" +
                s.subString(1, 2).getChars() + "|" + s.subString(5, 3).getChars() + "|" +
                s.subString(0).getChars() + "|" + s.subString(4, 0xFFFFFFFFu).getChars());
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
  EXPECT_TRUE(ZLCString("cd") == c && c == ZLCString("cd") && ZLCString("cd") != ZLCString("ce"));
  EXPECT_EQ(0, c.compare(ZLCString("cd")) + ZLCString("CD").compareignorecase(c));
  std::unique_ptr<ZObject> clone(sum.clone());
  ZLCString& cs = dynamic_cast<ZLCString&>(*clone);
  EXPECT_STREQ("ab-cdab", cs.getChars());
  EXPECT_NE(sum.getChars(), cs.getChars());

  ZLCConstString view(sum);
  EXPECT_EQ(sum.getChars(), view.getChars());
  view = "other";
  EXPECT_STREQ("other", view.getChars());
  view = sum;
  EXPECT_EQ(sum.getChars(), view.getChars());
  ZLCString copyOfView(view);
  EXPECT_STREQ("ab-cdab", copyOfView.getChars());
}

// The local code set is that of the environment: single-byte under LANG=C,
// UTF-8 under LANG=C.UTF-8. Both are checked by the suite.
TEST(ZLCStringTest, ScanningFollowsTheLocalCodeset) {
  ZLCString blanks("   ");
  bool multibyte = MB_CUR_MAX > 1;
  blanks.stripTrailing();
  // Character mode cuts a white tail entirely; byte mode keeps the first byte.
  EXPECT_STREQ(multibyte ? "" : " ", blanks.getChars());

  ZLCString mixed("a \xC3\xA9 \t");
  mixed.stripTrailing();
  EXPECT_STREQ("a \xC3\xA9", mixed.getChars());
  mixed = " \t\xC3\xA9 x";
  mixed.stripLeading();
  EXPECT_STREQ("\xC3\xA9 x", mixed.getChars());

  ZLCString bad("a\xFF a");
  if (multibyte) {
    expectThrowAt<ZKELMBLenException>([&] { bad.lastIndexOf("a"); }, 46, "src/Z/ZAbstractString",
                                      303);
    // Only character boundaries start a match: the tail byte of a
    // two-byte character is not found on its own.
    EXPECT_EQ(ZAbstractString::notFound, ZLCString("\xC3\xA9x").lastIndexOf("\xA9"));
  } else {
    EXPECT_EQ(3u, bad.lastIndexOf("a"));
    EXPECT_EQ(1u, ZLCString("\xC3\xA9x").lastIndexOf("\xA9"));
  }
  EXPECT_EQ(ZAbstractString::notFound, ZLCString("abc").lastIndexOf('z'));
  EXPECT_EQ(3u, ZLCString("abc").lastIndexOf('\0'));
}

TEST(ZLCStringTest, TextOutsideTheLocalCodesetDoesNotConvert) {
  ZUTF8String accented("caf\xC3\xA9");
  ZLCString local("old");
  local = accented;
  // An ASCII local code set has no e-acute: a failed conversion is empty.
  EXPECT_STREQ(MB_CUR_MAX > 1 ? "caf\xC3\xA9" : "", local.getChars());
  EXPECT_EQ(strlen(local.getChars()), local.getLength());
  // Malformed UTF-8 never converts.
  ZLCString broken(ZUTF8String("ab\xC3"));
  EXPECT_STREQ("", broken.getChars());
  // getCharCount is the byte count of the leading well-formed run.
  EXPECT_EQ(3u, ZUTF8String("a\xC3\xA9\xFFz").getCharCount());
}

}  // namespace
