// Tests of the formatted output engine against the C library's snprintf and
// of the places where the two differ on purpose.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"
#include "Z/zkelutil.h"
#include "Z/zsnprintf.h"

namespace {

// Formats through the engine into a string; "<-1>" on failure.
template <typename... A>
std::string zfmt(const char* fmt, A... args) {
  char buf[4096];
  int n = zsnprintf(buf, sizeof buf, fmt, args...);
  if (n < 0) return "<-1>";
  EXPECT_LT(n, static_cast<int>(sizeof buf)) << fmt;
  return std::string(buf, static_cast<size_t>(n));
}

// Collects disagreements with snprintf so a table reports a few of them
// instead of thousands of lines.
struct Agreement {
  int checked = 0;
  int failed = 0;
  std::string report;

  template <typename... A>
  void check(const std::string& fmt, A... args) {
    ++checked;
    char want[8192], got[8192];
    int wn = std::snprintf(want, sizeof want, fmt.c_str(), args...);
    int gn = zsnprintf(got, sizeof got, fmt.c_str(), args...);
    size_t shown = wn < 0 ? 0 : std::min(static_cast<size_t>(wn), sizeof want - 1);
    if (wn != gn || std::memcmp(want, got, shown + 1) != 0) {
      if (++failed <= 10) {
        report += "\"" + fmt + "\": want " + std::to_string(wn) + " [" + std::string(want, shown) +
                  "] got " + std::to_string(gn) + " [" + std::string(got, gn > 0 ? shown : 0) +
                  "]\n";
      }
    }
  }
};

// Every buffer size from 0 to past the end: the same bytes, terminator and
// return value as snprintf.
template <typename... A>
void checkTruncation(const char* fmt, A... args) {
  SCOPED_TRACE(fmt);
  const int full = std::snprintf(nullptr, 0, fmt, args...);
  ASSERT_GE(full, 0);
  EXPECT_EQ(full, zsnprintf(nullptr, 0, fmt, args...));
  for (int size = 0; size <= full + 2; ++size) {
    std::vector<char> want(static_cast<size_t>(full) + 3, 'Z'), got(want);
    int wn = std::snprintf(want.data(), static_cast<size_t>(size), fmt, args...);
    int gn = zsnprintf(got.data(), static_cast<size_t>(size), fmt, args...);
    EXPECT_EQ(wn, gn) << "size " << size;
    EXPECT_EQ(want, got) << "size " << size;
  }
}

// Renders through an explicit UTF-8 handle, so that wide conversions do not
// depend on the process locale: "<return value>:<buffer>".
std::string renderUtf8(const char* fmt, size_t size, ...) {
  zvsnprintf_context ctx;
  va_list ap;
  va_start(ap, size);
  int rc = zvsnprintf_parse(&ctx, zgetUTF8Handle(), fmt, ap);
  va_end(ap);
  std::vector<char> buf(size + 1, 'Z');
  std::string out;
  if (rc == 0) {
    rc = zvsnprintf_render(&ctx, size ? buf.data() : nullptr, size);
    if (size) out = buf.data();
  }
  zvsnprintf_done(&ctx);
  return std::to_string(rc) + ":" + out;
}

const char* const kFlagSets[] = {"",   "-",  "0",  "+",  " ",  "#",  "-0",    "+0", " 0",
                                 "#0", "-+", "- ", "-#", "+ ", "#+", "-0+ #", "0#+"};

}  // namespace

TEST(zsnprintfTest, IntegersAgreeWithSystemPrintf) {
  const char* const widths[] = {"", "1", "7", "25"};
  const char* const precisions[] = {"", ".", ".0", ".1", ".4", ".22"};
  const long long values[] = {0,      1,       -1,      7,       42,        -42,
                              255,    4096,    INT_MAX, INT_MIN, LLONG_MAX, LLONG_MIN,
                              0x7fff, -0x8000, 0x1ffff, 01234567};
  Agreement a;
  for (const char* f : kFlagSets) {
    for (const char* w : widths) {
      for (const char* p : precisions) {
        for (const char* conv : {"d", "i", "u", "o", "x", "X"}) {
          std::string base = std::string("[%") + f + w + p;
          for (long long v : values) {
            a.check(base + conv + "]", static_cast<int>(v));
            a.check(base + "h" + conv + "]", static_cast<int>(v));
            a.check(base + "l" + conv + "]", static_cast<long>(v));
            a.check(base + "ll" + conv + "]", v);
          }
        }
      }
    }
  }
  EXPECT_EQ(0, a.failed) << a.checked << " checked, first failures:\n" << a.report;
}

TEST(zsnprintfTest, StringsCharsAndStarsAgreeWithSystemPrintf) {
  Agreement a;
  for (const char* f : {"", "-", "0-"}) {
    for (const char* w : {"", "3", "9"}) {
      for (const char* p : {"", ".", ".0", ".2", ".5", ".40"}) {
        std::string spec = std::string("%") + f + w + p;
        a.check("<" + spec + "s>", "hello");
        a.check("<" + spec + "s>", "");
        a.check("<" + spec + "s|" + spec + "s>", "ab", "\xc3\xa9t\xc3\xa9");
        if (p[0] == '\0') a.check("<" + spec + "c>", 'x');
      }
    }
  }
  // Widths and precisions from non-negative arguments, and "%%".
  for (int w = 0; w < 12; w += 3) {
    for (int p = 0; p < 6; p += 2) {
      a.check("%*.*d|%*s|%.*s|%%|%-*x", w, p, -17, w, "ab", p, "abcdef", w, 0xbeefu);
      a.check("%*.*e|%.*f|%*g", w, p, 31.25, p, -0.5, w, 1e-5);
    }
  }
  EXPECT_EQ(0, a.failed) << a.checked << " checked, first failures:\n" << a.report;
}

TEST(zsnprintfTest, FloatingPointAgreesWithSystemPrintfAtAnyLength) {
  const double values[] = {0.0,       -0.0,       1.0,      -2.5,    3.14159265358979,
                           1e-300,    1e300,      DBL_MAX,  DBL_MIN, 123456789.125,
                           1.0 / 0.0, -1.0 / 0.0, 0.0 / 0.0};
  Agreement a;
  // Each flag once and all together: the engine passes them on to the C library.
  for (const char* f : {"", "-", "0", "+", " ", "#", "'", "-0+ #", "0#+"}) {
    for (const char* w : {"", "12", "130"}) {
      for (const char* p : {"", ".", ".0", ".3", ".17", ".120"}) {
        for (const char* conv : {"e", "E", "f", "g", "G"}) {
          std::string spec = std::string("%") + f + w + p;
          for (double v : values) a.check(spec + conv, v);
          a.check(spec + "L" + conv, 2.5e-4000L);
          a.check(spec + "L" + conv, -LDBL_MAX);
        }
      }
    }
  }
  EXPECT_EQ(0, a.failed) << a.checked << " checked, first failures:\n" << a.report;

  // Results far beyond any scratch buffer: "%f" of 1e300 and huge precisions.
  char* s = nullptr;
  char want[400];
  ASSERT_EQ(301 + 7, std::snprintf(want, sizeof want, "%f", 1e300));
  ASSERT_EQ(301 + 7, zasprintf(&s, "%f", 1e300));
  EXPECT_STREQ(want, s);
  zasprintf_free(s);
  ASSERT_EQ(2 + 1000, zasprintf(&s, "%.1000f", 0.5));
  EXPECT_EQ(0, std::strncmp(s, "0.5000", 6));
  EXPECT_EQ('0', s[1001]);
  zasprintf_free(s);
  ASSERT_EQ(4933 + 7, zasprintf(&s, "%Lf", LDBL_MAX));
  zasprintf_free(s);
}

TEST(zsnprintfTest, TruncatesLikeSystemPrintfAtEveryBufferSize) {
  checkTruncation("%s=%-6d|%#010x|%.3f", "key", -42, 0xbeefu, 2.0 / 3.0);
  checkTruncation("%e and %20.10g end", 6.02e23, -1.5e-7);
  checkTruncation("%.2f|%f|%-120.3e|", 1.5, 1e300, -2.0);  // beyond the scratch buffer
  checkTruncation("no conversions at all");
  checkTruncation("%c%c%c", 'a', '\0', 'b');  // the NUL byte is output and counted
  checkTruncation("%%%5s%%", "x");

  // The documented example: five bytes of room for a ten-byte result.
  char buf[8];
  std::memset(buf, 'Z', sizeof buf);
  EXPECT_EQ(10, zsnprintf(buf, 5, "%s", "0123456789"));
  EXPECT_STREQ("0123", buf);
  EXPECT_EQ('Z', buf[5]);
}

TEST(zsnprintfTest, DocumentedResultsAndPositionalArguments) {
  EXPECT_EQ("42   |", zfmt("%-5d|", 42));
  EXPECT_EQ("00042", zfmt("%05d", 42));
  EXPECT_EQ("0xff", zfmt("%#x", 255));
  EXPECT_EQ("b a", zfmt("%2$s %1$s", "a", "b"));
  EXPECT_EQ("b a b", zfmt("%2$s %1$s %2$s", "a", "b"));
  // Positional widths and precisions; mixed types by number.
  EXPECT_EQ("[   42] [2.50]", zfmt("[%2$*1$d] [%3$.*4$f]", 5, 42, 2.5, 2));
  EXPECT_EQ("x=  -7 y=100", zfmt("x=%3$*2$d y=%1$g", 100.0, 4, -7));
  // A positional conversion may use a plain "*": it takes the next number,
  // before the value's own.
  EXPECT_EQ("[  abc]", zfmt("[%2$*s]", 5, "abc"));
  EXPECT_EQ("<-1>", zfmt("[%1$*s]", "abc", 5));
  // Numbering carries on after a positional number.
  EXPECT_EQ("a b", zfmt("%1$s %s", "a", "b"));
  EXPECT_EQ("<-1>", zfmt("%2$s %s", "a", "b", "c"));  // 2, then 3: 1 is never used
  // One argument shown twice in different ways.
  EXPECT_EQ("255 ff 0377 FF", zfmt("%1$d %1$x %1$#o %1$X", 255));
  EXPECT_EQ("-1 4294967295 65535 -1", zfmt("%1$d %1$u %1$hu %1$hd", -1));

  // Many conversions and arguments: the tables grow beyond their built-in room.
  EXPECT_EQ("l k j i h g f e d c b a",
            zfmt("%12$s %11$s %10$s %9$s %8$s %7$s %6$s %5$s %4$s %3$s %2$s %1$s", "a", "b", "c",
                 "d", "e", "f", "g", "h", "i", "j", "k", "l"));
  std::string want, fmt;
  for (int i = 0; i < 35; ++i) {
    fmt += "%d,";
    want += std::to_string(i * 3) + ",";
  }
  EXPECT_EQ(want, zfmt(fmt.c_str(), 0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 33, 36, 39, 42, 45, 48,
                       51, 54, 57, 60, 63, 66, 69, 72, 75, 78, 81, 84, 87, 90, 93, 96, 99, 102));
}

TEST(zsnprintfTest, DiffersFromSystemPrintfOnPurpose) {
  // Conversions and lengths the engine does not know make the format invalid.
  for (const char* bad :
       {"%lf",       "%hf",     "%le",           "%lg",           "%n",   "%F",    "%a",
        "%A",        "%jd",     "%zd",           "%td",           "%hhd", "%hld",  "%lhd",
        "%lld%llld", "%Lld",    "%qhd",          "%Ll",           "%hls", "%w",    "abc%",
        "%5",        "%-",      "%0$d",          "%5*d",          "%*5d", "%*1$d", "%.*1$d",
        "%1$*1d",    "%1$.*2d", "%99999999999d", "%.99999999999d"}) {
    SCOPED_TRACE(bad);
    char buf[16] = "untouched";
    EXPECT_EQ(-1, zsnprintf(buf, sizeof buf, bad, 1, 2));
  }
  // Gaps in the argument numbers, and one number fetched as two types.
  EXPECT_EQ("<-1>", zfmt("%1$s %3$s", "a", "b", "c"));
  EXPECT_EQ("<-1>", zfmt("%2$d", 1, 2));
  EXPECT_EQ("<-1>", zfmt("%1$d %1$s", 1));
  EXPECT_EQ("<-1>", zfmt("%1$d %1$ld", 1L));
  EXPECT_EQ("<-1>", zfmt("%1$f %1$Lf", 1.0));
  EXPECT_EQ("<-1>", zfmt("%1000000$d", 1));

  // A length on c, C, s, S or p changes nothing: "%ls" is "%s", not a wide string.
  EXPECT_EQ("[x][y][0x10][  z]",
            zfmt("[%ls][%hc][%lp][%3Ls]", "x", 'y', reinterpret_cast<void*>(0x10), "z"));
  // "L", "ll" and "q" select long double and long long.
  EXPECT_EQ("1.500000 2.50e+00 3", zfmt("%Lf %.2qe %llg", 1.5L, 2.5L, 3.0L));
  EXPECT_EQ("-9223372036854775808 18446744073709551615 -5",
            zfmt("%Ld %Lu %qi", LLONG_MIN, ULLONG_MAX, -5LL));
  // A null string writes nothing.
  EXPECT_EQ("[]", zfmt("[%s]", static_cast<const char*>(nullptr)));
  EXPECT_EQ("[   ]", zfmt("[%3.2s]", static_cast<const char*>(nullptr)));
  // A negative width from an argument pads nothing and does not left-justify.
  EXPECT_EQ("[42][x][1.5]", zfmt("[%*d][%*s][%*.1f]", -5, 42, -3, "x", -8, 1.5));
  // A negative precision from an argument counts as none.
  EXPECT_EQ("[abcdef][0042]", zfmt("[%.*s][%04.*d]", -1, "abcdef", -2, 42));
  // "p" is hexadecimal with "#" and "0" forced; null is 0x0.
  EXPECT_EQ("0x1234 0x0 0x00001234 0x1234    ",
            zfmt("%p %p %10p %-10p", reinterpret_cast<void*>(0x1234), static_cast<void*>(nullptr),
                 reinterpret_cast<void*>(0x1234), reinterpret_cast<void*>(0x1234)));
  // The grouping flag is accepted.
  EXPECT_EQ("1234567 1234.50", zfmt("%'d %'.2f", 1234567, 1234.5));
}

TEST(zsnprintfTest, WideCharactersGoThroughTheCodeSet) {
  const auto render = renderUtf8;
  static const char16_t kText[] = u"a\u20ac\u00e9b";  // a, euro (3 bytes), e acute (2 bytes), b
  const unsigned short* text = reinterpret_cast<const unsigned short*>(kText);
  EXPECT_EQ(
      "7:a\xe2\x82\xac\xc3\xa9"
      "b",
      render("%S", 64, text));
  EXPECT_EQ("7:", render("%S", 0, text));
  // Precisions count bytes but never split a character.
  EXPECT_EQ("1:a", render("%.3S", 64, text));
  EXPECT_EQ("4:a\xe2\x82\xac", render("%.5S", 64, text));
  // Padding counts bytes too.
  EXPECT_EQ(
      "10:a\xe2\x82\xac\xc3\xa9"
      "b  |",
      render("%-9S|", 64, text));
  EXPECT_EQ("6:[\xe2\x82\xac ]", render("[%-4C]", 64, 0x20ac));
  EXPECT_EQ("4:a\xe2\x82\xac", render("%.5lS", 64, text));  // a length changes nothing
  EXPECT_EQ("2:[]", render("[%S]", 64, static_cast<const unsigned short*>(nullptr)));
  // Out of room inside a character: the cut is made before it.
  EXPECT_EQ("7:a", render("%S", 4, text));
  EXPECT_EQ("7:a\xe2\x82\xac", render("%S", 5, text));
  EXPECT_EQ("10:x", render("x%C%S", 3, 0xe9, text));
  // A lone surrogate has no encoding.
  static const char16_t kBad[] = u"ok\xd800";
  EXPECT_EQ("-1:", render("%S", 0, reinterpret_cast<const unsigned short*>(kBad)));
  EXPECT_EQ("-1:", render("%C", 0, 0xdc00));
}

TEST(zsnprintfTest, ParseRecordsConversionsAndRendersRepeatedly) {
  const char* fmt = "v=%-+08.3ld|%3$*2$.*5$X|%%|%#Lg";
  zvsnprintf_context ctx;
  auto parse = [&](const char* f, ...) {
    va_list ap;
    va_start(ap, f);
    int rc = zvsnprintf_parse(&ctx, zgetLCSHandle(), f, ap);
    va_end(ap);
    return rc;
  };
  // Non-positional numbering after positional conversions continues from
  // the last number used: "%#Lg" takes argument 4.
  ASSERT_EQ(0, parse(fmt, 6L, 8, 0xabu, 2.0L, 6));
  ASSERT_EQ(4, ctx.recordCount);
  const zvsnprintf_record& r1 = ctx.records[1];
  EXPECT_TRUE(r1.start == fmt + 12 && r1.end == fmt + 23 && r1.type == ZFMT_T_UINT);
  EXPECT_EQ(0x1U | 0x100 | 0x200 | 0x800 | 0x1000 | 0x20000 | 0x40000, r1.flags);
  // Argument numbers of value, width, precision; of the last value; the highest.
  EXPECT_EQ((std::vector<int>{3, 2, 5, 4, 5}),
            (std::vector<int>{r1.value, r1.width, r1.precision, ctx.records[3].value, ctx.argCount}));
  EXPECT_EQ(ZFMT_T_LDOUBLE_G, ctx.records[3].type);

  // One parse serves a measuring render and any number of real ones.
  const std::string want = "v=+006    |  0000AB|%|2.00000";
  EXPECT_EQ(static_cast<int>(want.size()), zvsnprintf_render(&ctx, nullptr, 0));
  for (int i = 0; i < 2; ++i) {
    char buf[64];
    EXPECT_EQ(static_cast<int>(want.size()), zvsnprintf_render(&ctx, buf, sizeof buf));
    EXPECT_EQ(want, buf);
  }
  zvsnprintf_done(&ctx);

  // A failed parse, after the tables grew beyond their built-in room, still
  // leaves a context that done() can release.
  std::string many;
  for (int i = 0; i < 25; ++i) many += "%d";
  EXPECT_EQ(-1, parse((many + "%n").c_str(), 0));
  char buf[8];
  EXPECT_EQ(-1, zvsnprintf_render(&ctx, buf, sizeof buf));
  zvsnprintf_done(&ctx);
  EXPECT_EQ(-1, parse(nullptr));
  zvsnprintf_done(&ctx);
}

TEST(zsnprintfTest, AllocatingFormsReportFailuresAndOwnTheirResult) {
  char* s = reinterpret_cast<char*>(0x1);
  EXPECT_EQ(9, zasprintf(&s, "%s-%05.1f", "abc", 2.25));
  EXPECT_STREQ("abc-002.2", s) << "rounding goes through the C library";
  zasprintf_free(s);
  EXPECT_EQ(0, zsprintf(&s, "%s", ""));
  EXPECT_STREQ("", s);
  zasprintf_free(s);
  EXPECT_EQ(-1, zasprintf(&s, "%n", nullptr));
  EXPECT_EQ(nullptr, s);
  EXPECT_EQ(-4, zsprintf(&s, nullptr) + zsprintf(nullptr, "x") + zasprintf(nullptr, "x") +
                    zasprintf(&s, "%F", 1.0));
  zasprintf_free(nullptr);

  std::string big(5000, 'q');
  EXPECT_EQ(5002, zasprintf(&s, "<%s>", big.c_str()));
  EXPECT_EQ("<" + big + ">", s);
  zasprintf_free(s);
}

TEST(zsnprintfTest, MutableStringFormatReplacesTheTextOnlyOnSuccess) {
  ZUTF8String s("old text");
  EXPECT_EQ(&s, &s.format("%2$s-%1$05d", 42, "id"));
  s.format("%lf", 1.0).format("%n", nullptr);  // both invalid
  EXPECT_EQ("id-00042", std::string(s.getChars(), s.getLength()));
  std::string wide(300, 'w');
  ZLCString l;
  l.format("[%s|%*d]", wide.c_str(), 10, -3);
  EXPECT_EQ("[" + wide + "|        -3]", std::string(l.getChars(), l.getLength()));
  EXPECT_EQ(0u, l.format("%s", "").getLength());
}
