// Tests of ZStringTokenizer: delimiter runs, multibyte delimiters and text,
// code-set checks, list() and copies.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"
#include "Z/ZStringTokenizer.h"
#include "Z/ZUTF8String.h"
#include "ZCollectionTestObjects.h"

namespace {

std::vector<std::string> words(ZStringTokenizer& t) {
  std::vector<std::string> out;
  while (t.hasMore()) out.push_back(t.getNext()->getChars());
  return out;
}

typedef std::vector<std::string> Words;

}  // namespace

TEST(ZStringTokenizerTest, DefaultDelimitersAndRunsOfDelimiters) {
  {
    ZLCString source("  alpha\tbeta\r\n"), token;
    ZStringTokenizer t(source, token);
    EXPECT_EQ((Words{"alpha", "beta"}), words(t));
    // At the end getNext() still answers the token, now empty.
    EXPECT_EQ(&token, t.getNext());
    EXPECT_STREQ("", token.getChars());
    t.reset();
    EXPECT_EQ((Words{"alpha", "beta"}), words(t));
  }
  {
    ZUTF8String empty, token("old");
    ZStringTokenizer t(empty, token);
    EXPECT_TRUE(!t.hasMore() && t.getNext()->isEmpty());
  }
  {
    ZUTF8String source(",a,,b,"), token;
    ZStringTokenizer t(source, token, ZUTF8String(","));
    EXPECT_EQ((Words{"a", "b"}), words(t));
  }
  {
    // Delimiters given per call; the tokenizer's own ones stay for the rest.
    ZLCString source("key=value; other\tlast"), token;
    ZStringTokenizer t(source, token);
    EXPECT_STREQ("key", t.getNext(ZLCString("="))->getChars());
    EXPECT_TRUE(t.hasMore(ZLCString("=")));
    EXPECT_STREQ("value", t.getNext(ZLCString("; "))->getChars());
    EXPECT_TRUE(t.hasMore(ZLCString(";")));  // passes the ";" the default set lacks
    EXPECT_EQ((Words{"other", "last"}), words(t));
  }
}

TEST(ZStringTokenizerTest, MultibyteDelimitersMatchWholeCharacters) {
  // e acute is C3 A9; the copyright sign is C2 A9. Comparing single bytes
  // would find A9 in the delimiter and split the copyright sign.
  ZUTF8String source("x\xc2\xa9y\xc3\xa9z\xc3\xa9\xc3\xa9\xe2\x82\xac"), token;
  ZStringTokenizer t(source, token, ZUTF8String("\xc3\xa9"));
  EXPECT_EQ((Words{"x\xc2\xa9y", "z", "\xe2\x82\xac"}), words(t));

  // A delimiter set mixing one- and two-byte characters.
  ZUTF8String mixed("\xc3\xa9 x\xc3\xa9y z"), token2;
  ZStringTokenizer t2(mixed, token2, ZUTF8String(" \xc3\xa9"));
  EXPECT_EQ((Words{"x", "y", "z"}), words(t2));

  // Local code set: whole characters when it is multibyte, bytes otherwise.
  ZLCString lc("x\xc3\xa9y"), lcToken;
  ZStringTokenizer t3(lc, lcToken, ZLCString("\xa9"));
  EXPECT_EQ((MB_CUR_MAX > 1 ? Words{"x\xc3\xa9y"} : Words{"x\xc3", "y"}), words(t3));
}

TEST(ZStringTokenizerTest, RejectsMixedCodeSetsAndUnmeasurableText) {
  ZLCString lc("a b");
  ZUTF8String utf8Token;
  expectThrowAt<ZUnsupportedException>([&] { ZStringTokenizer t(lc, utf8Token); }, kZMsgUnsupported,
                                       "src/Z/ZStringTokenizer", 97);
  expectThrowAt<ZUnsupportedException>([&] { ZStringTokenizer t(lc, utf8Token, ZLCString(",")); },
                                       kZMsgUnsupported, "src/Z/ZStringTokenizer", 72);

  // A malformed byte among delimiters, then inside a word.
  ZUTF8String bad("ok \xff"), token;
  ZStringTokenizer t(bad, token);
  EXPECT_STREQ("ok", t.getNext()->getChars());
  expectThrowAt<ZKELMBLenException>([&] { t.hasMore(); }, kZMsgKELMBLen, "src/Z/ZStringTokenizer",
                                    269);
  ZUTF8String truncated("ab\xe2\x82"), token2;
  ZStringTokenizer t2(truncated, token2);
  EXPECT_TRUE(t2.hasMore());
  expectThrowAt<ZKELMBLenException>([&] { t2.getNext(); }, kZMsgKELMBLen, "src/Z/ZStringTokenizer",
                                    331);
}

TEST(ZStringTokenizerTest, ListAndCopiesAreIndependentOfTheTokenizer) {
  ZArrayList loose(4, 0), owned(4, 1);
  {
    ZUTF8String source("one two  three"), token;
    ZStringTokenizer t(source, token);
    EXPECT_STREQ("one", t.getNext()->getChars());
    t.list(loose);  // from the current position on
    t.reset();
    t.list(owned);
  }
  auto text = [](ZArrayList& l) {
    std::string out;
    for (unsigned int i = 0; i < l.size(); ++i)
      out += static_cast<ZUTF8String*>(l.get(i))->getChars() + std::string("|");
    return out;
  };
  EXPECT_EQ("two|three|", text(loose));
  EXPECT_EQ("one|two|three|", text(owned));
  for (unsigned int i = 0; i < loose.size(); ++i) delete loose.get(i);

  // A clone keeps position, source and token, and its own delimiters.
  ZLCString source("a;b;c;d"), token;
  ZStringTokenizer* original = new ZStringTokenizer(source, token, ZLCString(";"));
  EXPECT_STREQ("a", original->getNext()->getChars());
  ZStringTokenizer* copy = static_cast<ZStringTokenizer*>(original->clone());
  EXPECT_STREQ("b", original->getNext()->getChars());
  delete original;
  EXPECT_EQ(&token, copy->getNext());
  EXPECT_STREQ("b", token.getChars());
  EXPECT_EQ((Words{"c", "d"}), words(*copy));
  ZStringTokenizer second(*copy);
  delete copy;
  second.reset();
  EXPECT_EQ((Words{"a", "b", "c", "d"}), words(second));
}
