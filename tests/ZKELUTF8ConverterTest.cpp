// Tests of the UTF-8 converter with its own code-set handle, and of the registry stubs.
#include <gtest/gtest.h>
#include <langinfo.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "Z/ZException.h"
#include "Z/ZKELUTF8Converter.h"
#include "Z/ZWinRegistry.h"
#include "Z/zkelutil.h"
#include "ZTestSupport.h"

namespace {

const char kShare[] = ZBASE_SOURCE_DIR "/share/kel";

std::string bytes(const ZBuffer& b) {
  return std::string(static_cast<const char*>(b.getBuffer()), b.getLength());
}

TEST(ZKELUTF8ConverterTest, ConvertsWithTheTerminatorIntoTheBuffer) {
  ZKELUTF8Converter latin("ISO-8859-1", kShare);
  EXPECT_STREQ("ISO-8859-1", latin.getLocalCodeSet());
  ZBuffer out;
  EXPECT_EQ(6, latin.convertToUTF8("caf\xE9", out));
  EXPECT_EQ(std::string("caf\xC3\xA9", 6), bytes(out));
  EXPECT_EQ(5, latin.convertToLocal("caf\xC3\xA9", out));
  EXPECT_EQ(std::string("caf\xE9", 5), bytes(out));
  EXPECT_EQ(1, latin.convertToUTF8("", out));
  EXPECT_EQ(1u, out.getLength());

  // A failure leaves the buffer at the size it was given for the conversion.
  EXPECT_GT(0, latin.convertToLocal("\xE2\x82\xAC", out));
  EXPECT_EQ(7u, out.getLength());
  EXPECT_GT(0, latin.convertToLocal("ab\xC3", out));
  EXPECT_EQ(7u, out.getLength());

  ZKELUTF8Converter alias("IBM-1252", nullptr);  // through the alias table
  EXPECT_EQ(4, alias.convertToUTF8("\x80", out));
  EXPECT_EQ(std::string("\xE2\x82\xAC", 4), bytes(out));

  ZKELUTF8Converter unknown("no-such-codeset", nullptr);
  EXPECT_STREQ("no-such-codeset", unknown.getLocalCodeSet());
  EXPECT_GT(0, unknown.convertToUTF8("abcd", out));
  EXPECT_EQ(13u, out.getLength());
}

TEST(ZKELUTF8ConverterTest, DefaultsToTheLocalCodeSet) {
  zgetLCSHandle();
  ZKELUTF8Converter local;
  EXPECT_STREQ(nl_langinfo(CODESET), local.getLocalCodeSet());
  ZBuffer out;
  EXPECT_EQ(4, local.convertToUTF8("abc", out));
  EXPECT_EQ(std::string("abc", 4), bytes(out));
  bool utf8 = strcmp(local.getLocalCodeSet(), "UTF-8") == 0;
  EXPECT_EQ(utf8 ? 3 : -1, local.convertToLocal("\xC3\xA9", out));
}

TEST(ZKELUTF8ConverterTest, NeedsQxkeldirUnlessGivenADirectory) {
  zgetLCSHandle();  // the strings are set up while QXKELDIR is still there
  std::string saved = getenv("QXKELDIR") != nullptr ? getenv("QXKELDIR") : kShare;
  unsetenv("QXKELDIR");
  expectThrowAt<ZNoKELEnvironmentException>([] { ZKELUTF8Converter c; }, 45,
                                            "src/Z/ZKELUTF8Converter", 60);
  EXPECT_NO_THROW(ZKELUTF8Converter("UTF8", kShare));
  setenv("QXKELDIR", saved.c_str(), 1);
}

TEST(ZKELUTF8ConverterTest, RegistryIsNotAvailableOnThisPlatform) {
  ZLCString value;
  expectThrowAt<ZInvalidPlatformException>([] { ZWinRegistry::exists("HKLM\\Software", "x"); }, 11,
                                           "src/Z/ZWinRegistry", 30);
  expectThrowAt<ZInvalidPlatformException>(
      [&] { ZWinRegistry::getValue("HKLM\\Software", "x", value); }, 11, "src/Z/ZWinRegistry", 88);
}

}  // namespace
