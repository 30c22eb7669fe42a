// Tests of libkel, the code-set library, on its own.
#include <errno.h>
#include <gtest/gtest.h>
#include <langinfo.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "ZLockTestSupport.h"
#include "kel/kel.h"

namespace {

const char kShare[] = ZBASE_SOURCE_DIR "/share/kel";

void writeFile(const std::string& path, const char* text) {
  FILE* f = fopen(path.c_str(), "w");
  ASSERT_NE(nullptr, f);
  fputs(text, f);
  fclose(f);
}

struct Cs {
  explicit Cs(const char* name) : h(kel_cs_new(name)) {}
  ~Cs() { kel_cs_free(h); }
  kel_cs_handle h;
};

class KelTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, kel_set_dir(kShare)); }
};

std::string toUtf8(kel_cs_handle h, const std::string& in) {
  char out[256];
  int n = kel_to_utf8(h, in.data(), in.size(), out, sizeof out);
  return n < 0 ? "<fail>" : std::string(out, n);
}

std::string fromUtf8(kel_cs_handle h, const std::string& in) {
  char out[256];
  int n = kel_from_utf8(h, in.data(), in.size(), out, sizeof out);
  return n < 0 ? "<fail>" : std::string(out, n);
}

TEST_F(KelTest, OpensKnownNamesAndAliasesAndRefusesOthers) {
  struct {
    const char* name;
    const char* resolved;  // null: no handle
    int mbMax;
  } cases[] = {
      {"UTF8", "UTF-8", 4},
      {"utf_8", "UTF-8", 4},
      {"ISO-8859-1", "ISO-8859-1", 1},
      {"ANSI_X3.4-1968", "ANSI_X3.4-1968", 1},
      {"IBM-1252", "CP1252", 1},
      {"ibm_eucjp", "EUC-JP", 3},
      {"PCK", "SHIFT_JIS", 2},
      {"no-such-codeset", nullptr, 0},
      {"", nullptr, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Cs cs(c.name);
    if (c.resolved == nullptr) {
      EXPECT_EQ(nullptr, cs.h);
      continue;
    }
    ASSERT_NE(nullptr, cs.h);
    EXPECT_STREQ(c.resolved, kel_cs_name(cs.h));
    EXPECT_EQ(c.mbMax, kel_cs_mb_max(cs.h));
  }
  EXPECT_EQ(nullptr, kel_cs_new(nullptr));
  EXPECT_EQ(-1, kel_set_dir(nullptr));
}

TEST_F(KelTest, AliasTableOfAnotherDirectoryChainsAndIsReadAfresh) {
  TempDir dir;
  writeFile(dir.file("codeset.alias"),
            "# test table\n  my-set\tmiddle  # trailing comment\nMIDDLE ISO-8859-15\nloop1 loop2\n"
            "loop2 loop1\nbroken\n");
  ASSERT_EQ(0, kel_set_dir(dir.path.c_str()));
  {
    Cs mine("My_Set"), loop("loop1"), gone("IBM-1252");  // the last only in the shipped table
    ASSERT_NE(nullptr, mine.h);
    EXPECT_STREQ("ISO-8859-15", kel_cs_name(mine.h));
    EXPECT_EQ(nullptr, loop.h);
    EXPECT_EQ(nullptr, gone.h);
  }
  ASSERT_EQ(0, kel_set_dir(kShare));
  EXPECT_NE(nullptr, Cs("IBM-1252").h);
}

TEST_F(KelTest, Utf8IsMeasuredWhateverTheProcessLocale) {
  Cs u("UTF8");
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
      {"\xF0\x9F\x98\x80", 3, -1, 0},  // truncated by n
      {"\xC3", 4, -1, 0},              // truncated by the terminator
      {"\xC3(", 4, -1, 0},             // bad continuation
      {"\xC0\x80", 4, -1, 0},          // overlong
      {"\xE0\x9F\xBF", 4, -1, 0},      // overlong
      {"\xED\xA0\x80", 4, -1, 0},      // surrogate
      {"\xF4\x90\x80\x80", 4, -1, 0},  // above U+10FFFF
      {"\x80", 4, -1, 0},
      {"\xFF", 4, -1, 0},
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
  EXPECT_EQ(0, memcmp(buf, "\xE2\x82\xAC", 3));
  EXPECT_EQ(4, kel_wctomb(u.h, buf, 0x10FFFF));
  for (wchar_t bad : {0xD800, 0x110000, -5}) EXPECT_EQ(-1, kel_wctomb(u.h, buf, bad)) << bad;
  EXPECT_EQ(0, kel_wctomb(u.h, nullptr, L'A'));
}

TEST_F(KelTest, SingleByteCodeSetsUseTheirOwnTables) {
  Cs l9("ISO-8859-15");
  Cs ascii("ANSI_X3.4-1968");
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

  EXPECT_EQ("caf\xC3\xA9 \xE2\x82\xAC", toUtf8(l9.h, "caf\xE9 \xA4"));
  EXPECT_EQ("caf\xE9 \xA4", fromUtf8(l9.h, "caf\xC3\xA9 \xE2\x82\xAC"));
  // The currency sign Latin-9 replaced, Latin in ASCII, truncated UTF-8.
  for (std::string r : {fromUtf8(l9.h, "\xC2\xA4"), toUtf8(ascii.h, "caf\xE9"),
                        fromUtf8(ascii.h, "caf\xC3\xA9"), fromUtf8(l9.h, "caf\xC3")})
    EXPECT_EQ("<fail>", r);
  // Terminators inside the range are converted like any character.
  EXPECT_EQ(std::string("a\0", 2), toUtf8(l9.h, std::string("a\0", 2)));
}

TEST_F(KelTest, ConversionsNeverWritePastTheirBound) {
  Cs l1("ISO-8859-1");
  Cs u("UTF8");
  Cs euc("EUC-JP");
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
    if (n < 0) {
      EXPECT_EQ(E2BIG, errno);
    }
    for (size_t i = c.room; i < sizeof buf; ++i) ASSERT_EQ('#', buf[i]) << i;
  }
  EXPECT_EQ(nihonU, toUtf8(euc.h, nihon));
  EXPECT_EQ(nihon, fromUtf8(euc.h, nihonU));
  EXPECT_EQ("<fail>", toUtf8(u.h, "ok\xC0\x80"));
  char buf[4];
  EXPECT_EQ(0, kel_to_utf8(l1.h, "x", 0, buf, sizeof buf));
  EXPECT_EQ(-1, kel_to_utf8(nullptr, "x", 1, buf, sizeof buf));
  EXPECT_EQ(-1, kel_from_utf8(l1.h, nullptr, 1, buf, sizeof buf));
}

// In Shift_JIS the second byte of a character may be an ASCII byte: 0x95 0x5C
// is one ideograph whose trail byte is the backslash.
TEST_F(KelTest, StringFunctionsKeepToCharacterBoundaries) {
  Cs sj("SHIFT_JIS");
  const char* text = "\x95\x5C\\b\x95\x5C";
  EXPECT_EQ(2, kel_mblen(sj.h, text, 4));
  EXPECT_EQ(text + 2, kel_strchr(sj.h, text, '\\'));
  EXPECT_EQ(text + 2, kel_strrchr(sj.h, text, '\\'));
  EXPECT_EQ(text + 6, kel_strchr(sj.h, text, '\0'));
  EXPECT_EQ(nullptr, kel_strchr(sj.h, "\x95\x5C", '\\'));
  EXPECT_EQ(text + 2, kel_strstr(sj.h, text, "\\b"));
  EXPECT_EQ(nullptr, kel_strstr(sj.h, "\x95\\b", "\\b"));
  EXPECT_EQ(text + 2, kel_strpbrk(sj.h, text, "\\"));
  EXPECT_EQ(2u, kel_strcspn(sj.h, text, "\\"));
  EXPECT_EQ(2u, kel_strspn(sj.h, text, "\x95\x5C"));

  char buf[] = "\x95\x5C\\b\\\\\x95\x5C";
  char* save = nullptr;
  std::vector<std::string> tokens;
  for (char* t = kel_strtok(sj.h, buf, "\\", &save); t != nullptr;
       t = kel_strtok(sj.h, nullptr, "\\", &save)) {
    tokens.push_back(t);
  }
  EXPECT_EQ((std::vector<std::string>{"\x95\x5C", "b", "\x95\x5C"}), tokens);

  // UTF-8 sets compare whole characters: e-acute and e-grave share a lead byte.
  Cs u("UTF8");
  EXPECT_EQ(4u, kel_strspn(u.h, "\u00E9\u00E9a", "\xC3\xA9"));
  EXPECT_EQ(0u, kel_strspn(u.h, "\xC3\xA8", "\xC3\xA9"));
  EXPECT_EQ(2u, kel_strcspn(u.h, "ab\xC3\xA8", "\xC3\xA8"));
  const char* mixed = "a\xC3\xA9-b";
  EXPECT_EQ(mixed + 3, kel_strpbrk(u.h, mixed, "-\xC3\xA8"));
  char multi[] = "a\u00A0b\u00A0\u00A0c";
  EXPECT_STREQ("a", kel_strtok(u.h, multi, "\xC2\xA0", nullptr));
  EXPECT_STREQ("b", kel_strtok(u.h, nullptr, "\xC2\xA0", nullptr));
  EXPECT_STREQ("c", kel_strtok(u.h, nullptr, "\xC2\xA0", nullptr));
  EXPECT_EQ(nullptr, kel_strtok(u.h, nullptr, "\xC2\xA0", nullptr));

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
  Cs u("UTF8");
  Cs l1("ISO-8859-1");
  Cs l9("ISO-8859-15");
  Cs euc("EUC-JP");
  struct {
    kel_cs_handle h;
    bool upper;
    const char* in;
    const char* out;
  } maps[] = {
      // Dotless i would become a one-byte I: different length, left alone.
      {u.h, true, "stra\u00DFe \u00E9\u00E0\u00FC abc \u0131 \u03B1",
       "STRA\u00DFE \u00C9\u00C0\u00DC ABC \u0131 \u0391"},
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
  struct {
    const char* in;
    const char* out;
  } cases[] = {
      {"en_us.utf8", "en_US.UTF-8"}, {"C.utf8", "C.UTF-8"},          {"POSIX", "C"}, {"", "C"},
      {"de_DE@euro", "de_DE@euro"},  {"ja_JP.eucJP", "ja_JP.EUCJP"},
  };
  char buf[64];
  for (const auto& c : cases) {
    SCOPED_TRACE(c.in);
    ASSERT_EQ(0, kel_canonical_loc(c.in, buf, sizeof buf));
    EXPECT_STREQ(c.out, buf);
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
  Cs euc("EUC-JP");
  Cs sj("SHIFT_JIS");
  const std::string nihonU = "\xE6\x97\xA5\xE6\x9C\xAC";
  auto work = [&](int seed) {
    int bad = 0;
    for (int i = 0; i < 400; ++i) {
      std::string e = fromUtf8(euc.h, nihonU);
      if (toUtf8(euc.h, e) != nihonU) ++bad;
      if (kel_mblen(sj.h, "\x95\x5C", 2) != 2) ++bad;
      char w[KEL_MB_LEN_MAX];
      if (kel_wctomb(euc.h, w, 0x65E5 + (seed & 1)) != 2) ++bad;
    }
    return bad;
  };
  std::vector<int> bad(4, -1);
  {
    BoundedThread a([&] { bad[0] = work(0); }), b([&] { bad[1] = work(1); }),
        c([&] { bad[2] = work(2); }), d([&] { bad[3] = work(3); });
  }  // joined within a time bound
  EXPECT_EQ(std::vector<int>(4, 0), bad);
}

}  // namespace
