// Tests of libkel, the code-set library, on its own.
#include <errno.h>
#include <gtest/gtest.h>
#include <langinfo.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ZLockTestSupport.h"
#include "kel/kel.h"

namespace {

const char kShare[] = ZBASE_SOURCE_DIR "/share/kel";
typedef std::vector<std::string> Strings;

struct Cs {
  explicit Cs(const char* name) : h(kel_cs_new(name)) {}
  ~Cs() { kel_cs_free(h); }
  kel_cs_handle h;
};

class KelTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dirSet_); }
  bool dirSet_ = kel_set_dir(kShare) == 0;  // before the handles are made
  Cs u{"UTF8"}, l1{"ISO-8859-1"}, l9{"ISO-8859-15"}, ascii{"ANSI_X3.4-1968"}, euc{"EUC-JP"},
      sj{"SHIFT_JIS"};
};

// Converts to (to == true) or from UTF-8; "<fail>" on failure.
std::string conv(kel_cs_handle h, bool to, const std::string& in) {
  char out[256];
  int n = to ? kel_to_utf8(h, in.data(), in.size(), out, sizeof out)
             : kel_from_utf8(h, in.data(), in.size(), out, sizeof out);
  return n < 0 ? "<fail>" : std::string(out, n);
}

// The tokens of `text`: with a save pointer, and for UTF-8 without one.
Strings tokens(kel_cs_handle h, std::string text, const char* delims) {
  char* save = nullptr;
  char** where = kel_cs_mb_max(h) == 4 ? nullptr : &save;
  Strings out;
  for (char* t = kel_strtok(h, &text[0], delims, where); t;
       t = kel_strtok(h, nullptr, delims, where))
    out.push_back(t);
  return out;
}

TEST_F(KelTest, OpensKnownNamesAndAliasesAndRefusesOthers) {
  struct {
    const char* name;
    const char* resolved;  // null: no handle
    int mbMax;
  } cases[] = {{"utf_8", "UTF-8", 4},     {"ISO-8859-1", "ISO-8859-1", 1},
               {"IBM-1252", "CP1252", 1}, {"ibm_eucjp", "EUC-JP", 3},
               {"PCK", "SHIFT_JIS", 2},   {"no-such-codeset", nullptr, 0},
               {"", nullptr, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Cs cs(c.name);
    EXPECT_STREQ(c.resolved, cs.h ? kel_cs_name(cs.h) : nullptr);
    EXPECT_EQ(c.mbMax, cs.h ? kel_cs_mb_max(cs.h) : 0);
  }
  EXPECT_EQ(nullptr, kel_cs_new(nullptr));
  EXPECT_EQ(-1, kel_set_dir(nullptr));

  // Another directory's table chains aliases, and is read afresh.
  TempDir dir;
  FILE* f = fopen(dir.file("codeset.alias").c_str(), "w");
  fputs(
      "# test\n  my-set\tmiddle  # comment\nMIDDLE ISO-8859-15\nloop1 loop2\nloop2 loop1\nbroken\n",
      f);
  fclose(f);
  ASSERT_EQ(0, kel_set_dir(dir.path.c_str()));
  {
    Cs mine("My_Set"), loop("loop1"), gone("IBM-1252");  // the last only in the shipped table
    EXPECT_STREQ("ISO-8859-15", mine.h ? kel_cs_name(mine.h) : "");
    EXPECT_EQ(nullptr, loop.h);
    EXPECT_EQ(nullptr, gone.h);
  }
  ASSERT_EQ(0, kel_set_dir(kShare));
  EXPECT_NE(nullptr, Cs("IBM-1252").h);
}

TEST_F(KelTest, Utf8IsMeasuredWhateverTheProcessLocale) {
  struct {
    const char* text;
    size_t n;
    int len;
    wchar_t wc;
  } cases[] = {
      {"A", 4, 1, L'A'},
      {"\xC3\xA9", 4, 2, 0xE9},
      {"\xE2\x82\xAC", 4, 3, 0x20AC},
      {"\xF0\x9F\x98\x80", 4, 4, 0x1F600},
      {"\xC0\x80", 4, -1, 0},  // overlong
      {"\xFF", 4, -1, 0},
      {"\xF0\x9F\x98\x80", 3, -1, 0},  // truncated by n
      {"\xC3", 4, -1, 0},              // truncated by the terminator
      {"\xC3(", 4, -1, 0},             // bad continuation
      {"\xE0\x9F\xBF", 4, -1, 0},      // overlong
      {"\xED\xA0\x80", 4, -1, 0},      // surrogate
      {"\xF4\x90\x80\x80", 4, -1, 0},  // above U+10FFFF
      {"\x80", 4, -1, 0},
      {"", 4, 0, 0},
      {"A", 0, -1, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.len, kel_mblen(u.h, c.text, c.n));
    wchar_t wc = 0x7777;
    EXPECT_EQ(c.len, kel_mbtowc(u.h, &wc, c.text, c.n));
    if (c.len >= 0) {
      EXPECT_EQ(c.wc, wc);
    }
  }
  EXPECT_EQ(0, kel_mblen(u.h, nullptr, 4));
  char buf[KEL_MB_LEN_MAX];
  EXPECT_EQ(3, kel_wctomb(u.h, buf, 0x20AC));
  EXPECT_EQ(4, kel_wctomb(u.h, buf, 0x10FFFF));
  EXPECT_EQ(0, memcmp(buf, "\xF4\x8F\xBF\xBF", 4));
  for (wchar_t bad : {0xD800, 0x110000, -5}) EXPECT_EQ(-1, kel_wctomb(u.h, buf, bad)) << bad;
  EXPECT_EQ(0, kel_wctomb(u.h, nullptr, L'A'));
}

TEST_F(KelTest, SingleByteCodeSetsUseTheirOwnTables) {
  wchar_t wc = 0;
  EXPECT_EQ(1, kel_mbtowc(l9.h, &wc, "\xA4", 1));
  EXPECT_EQ(0x20AC, wc);  // the euro sign
  char b[KEL_MB_LEN_MAX];
  EXPECT_EQ(1, kel_wctomb(l9.h, b, 0x20AC));
  EXPECT_EQ('\xA4', b[0]);
  EXPECT_EQ(-1, kel_wctomb(l9.h, b, 0xA4));  // the currency sign it replaced
  EXPECT_EQ(1, kel_mblen(ascii.h, "A", 1));
  EXPECT_EQ(-1, kel_mblen(ascii.h, "\xE9", 1));
  EXPECT_EQ(-1, kel_wctomb(ascii.h, b, 0xE9));
  EXPECT_EQ("caf\xC3\xA9 \xE2\x82\xAC", conv(l9.h, true, "caf\xE9 \xA4"));
  EXPECT_EQ("caf\xE9 \xA4", conv(l9.h, false, "caf\xC3\xA9 \xE2\x82\xAC"));
  EXPECT_EQ(std::string("a\0", 2), conv(l9.h, true, std::string("a\0", 2)));  // NULs convert
  // The currency sign Latin-9 replaced, Latin in ASCII, truncated and overlong UTF-8.
  for (std::string r : {conv(l9.h, false, "\xC2\xA4"), conv(ascii.h, true, "caf\xE9"),
                        conv(ascii.h, false, "caf\xC3\xA9"), conv(l9.h, false, "caf\xC3"),
                        conv(u.h, true, "ok\xC0\x80")})
    EXPECT_EQ("<fail>", r);
}

TEST_F(KelTest, ConversionsNeverWritePastTheirBound) {
  const std::string latin = "\xE9\xE9\xE9";      // 6 bytes in UTF-8
  const std::string nihon = "\xC6\xFC\xCB\xDC";  // two characters in EUC-JP
  const std::string nihonU = "\xE6\x97\xA5\xE6\x9C\xAC";
  struct {
    kel_cs_handle h;
    bool to;
    std::string src;
    size_t room;
    int result;
  } cases[] = {
      {l1.h, true, latin, 6, 6},
      {l1.h, true, latin, 5, -1},
      {u.h, true, nihonU, 5, -1},
      {u.h, false, nihonU, 6, 6},
      {euc.h, true, nihon, 6, 6},
      {euc.h, true, nihon, 5, -1},
      {euc.h, false, nihonU, 4, 4},
      {euc.h, false, nihonU, 3, -1},
      {l1.h, false, "\xC3\xA9\xC3\xA9", 1, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.room);
    char buf[32];
    memset(buf, '#', sizeof buf);
    int n = c.to ? kel_to_utf8(c.h, c.src.data(), c.src.size(), buf, c.room)
                 : kel_from_utf8(c.h, c.src.data(), c.src.size(), buf, c.room);
    EXPECT_EQ(c.result, n);
    EXPECT_EQ(n < 0 ? E2BIG : errno, errno);
    EXPECT_EQ(std::string(sizeof buf - c.room, '#'),
              std::string(buf + c.room, sizeof buf - c.room));
  }
  EXPECT_EQ(nihonU, conv(euc.h, true, nihon));
  char buf[4];
  EXPECT_EQ(0, kel_to_utf8(l1.h, "x", 0, buf, sizeof buf));
  EXPECT_EQ(-1, kel_to_utf8(nullptr, "x", 1, buf, sizeof buf));
  EXPECT_EQ(-1, kel_from_utf8(l1.h, nullptr, 1, buf, sizeof buf));
}

// In Shift_JIS the second byte of a character may be an ASCII byte: 0x95 0x5C
// is one ideograph whose trail byte is the backslash.
TEST_F(KelTest, StringFunctionsKeepToCharacterBoundaries) {
  const char* text = "\x95\x5C\\b\x95\x5C";
  for (const char* p : {kel_strchr(sj.h, text, '\\'), kel_strrchr(sj.h, text, '\\'),
                        kel_strstr(sj.h, text, "\\b"), kel_strpbrk(sj.h, text, "\\")})
    EXPECT_EQ(text + 2, p);
  EXPECT_EQ(text + 6, kel_strchr(sj.h, text, '\0'));
  EXPECT_EQ(nullptr, kel_strchr(sj.h, "\x95\x5C", '\\'));
  EXPECT_EQ(nullptr, kel_strstr(sj.h, "\x95\\b", "\\b"));
  EXPECT_EQ(2u, kel_strcspn(sj.h, text, "\\"));
  EXPECT_EQ(2u, kel_strspn(sj.h, text, "\x95\x5C"));
  EXPECT_EQ((Strings{"\x95\x5C", "b", "\x95\x5C"}), tokens(sj.h, "\x95\x5C\\b\\\\\x95\x5C", "\\"));
  // UTF-8 sets compare whole characters: e-acute and e-grave share a lead byte.
  EXPECT_EQ(4u, kel_strspn(u.h, "\u00E9\u00E9a", "\xC3\xA9"));
  EXPECT_EQ(0u, kel_strspn(u.h, "\xC3\xA8", "\xC3\xA9"));
  EXPECT_EQ(2u, kel_strcspn(u.h, "ab\xC3\xA8", "\xC3\xA8"));
  const char* mixed = "a\xC3\xA9-b";
  EXPECT_EQ(mixed + 3, kel_strpbrk(u.h, mixed, "-\xC3\xA8"));
  EXPECT_EQ((Strings{"a", "b", "c"}), tokens(u.h, "a\u00A0b\u00A0\u00A0c", "\xC2\xA0"));
  // Copies take whole characters only.
  char dst[8];
  memset(dst, '#', sizeof dst);
  kel_strncpy(u.h, dst, "a\xE2\x82\xAC", 3);
  EXPECT_EQ(0, memcmp(dst, "a\0\0#", 4));
  memset(dst, '#', sizeof dst);
  kel_strncpy(u.h, dst, "a\xC3\xA9", 3);
  EXPECT_EQ(0, memcmp(dst, "a\xC3\xA9#", 4));  // filled exactly: no terminator
  strcpy(dst, "x");
  EXPECT_STREQ("x\xC3\xA9", kel_strncat(u.h, dst, "\xC3\xA9\xE2\x82\xAC", 4));
}

TEST_F(KelTest, CaseMappingFollowsUnicodeInEveryCodeSet) {
  struct {
    kel_cs_handle h;
    bool upper;
    const char* in;
    const char* out;
  } maps[] = {
      // Dotless i would become a one-byte I: different length, left alone.
      {u.h, true, "stra\u00DFe \u00E9 \u0131 \u03B1", "STRA\u00DFE \u00C9 \u0131 \u0391"},
      {u.h, false, "\u00C9COLE \u0130", "\u00E9cole \u0130"},
      {l1.h, true, "\xE9t\xE9 \xFF", "\xC9T\xC9 \xFF"},  // no capital y-diaeresis in Latin-1
      {l9.h, true, "\xE9t\xE9 \xFF", "\xC9T\xC9 \xBE"},  // but there is one in Latin-9
      {euc.h, true, "\xA3\xE1z", "\xA3\xC1Z"},           // full-width a in EUC-JP
      {u.h, true, "a\377b", "A\377B"},                   // malformed bytes are kept
  };
  for (const auto& m : maps) {
    SCOPED_TRACE(m.out);
    std::string buf(m.in);
    EXPECT_STREQ(m.out, m.upper ? kel_strupper(m.h, &buf[0]) : kel_strlower(m.h, &buf[0]));
  }
  EXPECT_EQ(0, kel_stricmp(u.h, "\u00C9cole", "\u00E9COLE"));
  EXPECT_GT(0, kel_stricmp(u.h, "abc", "ABD"));
  EXPECT_LT(0, kel_stricmp(u.h, "abcd", "ABC"));
  EXPECT_GT(0, kel_stricmp(u.h, nullptr, ""));
  EXPECT_EQ(0, kel_strnicmp(u.h, "\u00C9COLEx", "\u00E9coley", 6));
  EXPECT_NE(0, kel_strnicmp(u.h, "\u00C9COLEx", "\u00E9coley", 7));
  EXPECT_EQ(0, kel_stricmp(l1.h, "\xC9T\xC9", "\xE9t\xE9"));
  EXPECT_TRUE(kel_iswalpha(u.h, 0xE9) && kel_iswlower(u.h, 0xE9) && kel_iswupper(u.h, 0xC9) &&
              kel_iswspace(u.h, 0x3000) && kel_iswdigit(u.h, '7') && kel_iswalnum(u.h, 0x4E00));
  EXPECT_FALSE(kel_iswupper(u.h, 0xE9) || kel_iswspace(u.h, 'x') || kel_iswalnum(u.h, '-') ||
               kel_iswalpha(u.h, -1));
}

TEST_F(KelTest, LocaleNames) {
  char buf[64];
  const std::pair<const char*, const char*> cases[] = {{"en_us.utf8", "en_US.UTF-8"},
                                                       {"POSIX", "C"},
                                                       {"", "C"},
                                                       {"de_DE@euro", "de_DE@euro"},
                                                       {"ja_JP.eucJP", "ja_JP.EUCJP"}};
  for (const auto& c : cases) {
    EXPECT_EQ(0, kel_canonical_loc(c.first, buf, sizeof buf));
    EXPECT_STREQ(c.second, buf);
  }
  EXPECT_EQ(-1, kel_canonical_loc("en_US.UTF-8", buf, 11));
  EXPECT_EQ(-1, kel_canonical_loc("LC_CTYPE=C;LC_NUMERIC=C", buf, sizeof buf));
  EXPECT_EQ(-1, kel_canonical_loc(nullptr, buf, sizeof buf));
  ASSERT_EQ(0, kel_os_cs_name(buf, sizeof buf));
  EXPECT_STREQ(nl_langinfo(CODESET), buf);
  EXPECT_EQ(-1, kel_os_cs_name(buf, 1));
  ASSERT_EQ(0, kel_os_lang_name(buf, sizeof buf));
  kel_loc_handle loc = kel_loc_new("C");
  EXPECT_STREQ("C", kel_loc_name(loc));
  kel_loc_free(loc);
  EXPECT_EQ(nullptr, kel_loc_new("xx_NOWHERE.UTF-8"));
}

TEST_F(KelTest, OneHandleServesManyThreads) {
  const std::string nihonU = "\xE6\x97\xA5\xE6\x9C\xAC";
  auto work = [&](int* bad) {
    for (int i = 0; i < 400; ++i) {
      *bad += conv(euc.h, true, conv(euc.h, false, nihonU)) != nihonU;
      *bad += kel_mblen(sj.h, "\x95\x5C", 2) != 2;
    }
  };
  int bad[3] = {0, 0, 0};
  {
    BoundedThread a([&] { work(&bad[0]); }), b([&] { work(&bad[1]); }), c([&] { work(&bad[2]); });
  }  // joined within a time bound
  EXPECT_EQ(0, bad[0] + bad[1] + bad[2]);
}

}  // namespace
