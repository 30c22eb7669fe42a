// Tests of the code-set services: handles, wrappers, conversions and the hex dump.
#include <gtest/gtest.h>
#include <langinfo.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "Z/ZLCString.h"
#include "Z/zkelutil.h"
#include "ZLockTestSupport.h"
#include "ZTestSupport.h"

namespace {

bool localIsUtf8() { return strcmp(zgetLocalCodesetName(), "UTF-8") == 0; }

std::string dump(int count, const unsigned char* data, const char* title) {
  char* text = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&text, &size);
  zhex_dump(f, count, data, title);
  fclose(f);
  std::string out(text, size);
  free(text);
  return out;
}

// Runs the helper program in the environment changed by env (arguments of
// env(1)), at most for a minute; returns its output and its status.
std::string runHelper(const std::string& env, const char* request, int* status) {
  std::string cmd =
      "env " + env + " timeout 60 " ZBASE_BINARY_DIR "/tests/zkelutil_helper " + request + " 2>&1";
  FILE* p = popen(cmd.c_str(), "r");
  if (p == nullptr) return "<no helper>";
  std::string out;
  char buf[256];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  *status = pclose(p);
  return out;
}

bool abortedBy(int status) {
  return (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) ||
         (WIFEXITED(status) && WEXITSTATUS(status) == 128 + SIGABRT);
}

// In the environment env, the name functions report the failure and go on
// with what they found; the handle functions report it and abort.
void expectReportedThenAborts(const std::string& env, const std::string& report,
                              const std::string& text, const std::string& names) {
  for (const char* request : {"name", "handle"}) {
    SCOPED_TRACE(request);
    int status = 0;
    std::string out = runHelper(env, request, &status);
    EXPECT_NE(std::string::npos, out.find(report)) << out;
    EXPECT_NE(std::string::npos, out.find(text)) << out;
    if (request[0] == 'n') {
      EXPECT_NE(std::string::npos, out.find(names)) << out;
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    } else {
      EXPECT_EQ(std::string::npos, out.find("alive")) << out;
      EXPECT_TRUE(abortedBy(status)) << status;
    }
  }
}

TEST(ZkelutilTest, WithoutQxkeldirNamesAreNullButHandlesAbort) {
  expectReportedThenAborts(
      "-u QXKELDIR",
      "Exception: ZNoKELEnvironmentException\n File: \"src/Z/zkelutil\" 131\n Error: 45\n",
      "The QXKELDIR environment variable is not set.", "name=(null) locale=(null)\n");
}

// The exception that reports the code set holds strings, which are built
// while the handles are missing: the report still comes out in full.
TEST(ZkelutilTest, AnUnopenableLocalCodeSetIsReportedThenNamesSurviveButHandlesAbort) {
  TempDir dir;
  FILE* f = fopen(dir.file("codeset.alias").c_str(), "w");
  ASSERT_NE(nullptr, f);
  fputs("ANSI_X3.4-1968 no-such-codeset\n", f);
  fclose(f);
  expectReportedThenAborts(
      "-u LC_ALL -u LC_CTYPE LANG=C QXKELDIR=" + dir.path,
      "Exception: ZCodesetException\n File: \"src/Z/zkelutil\" 135\n Error: 47\n",
      "Codeset handle create failed for codeset \"ANSI_X3.4-1968\".  QXKELDIR is \"" + dir.path +
          "\"",
      "name=ANSI_X3.4-1968 locale=C\n");
}

TEST(ZkelutilTest, ThreadsRacingToTheFirstUseShareOneSetUp) {
  int status = 0;
  EXPECT_EQ("same\n", runHelper("", "threads", &status));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(ZkelutilTest, SetUpFollowsTheEnvironmentLocale) {
  EXPECT_NO_THROW(commonInit());
  ZLCString locale("old");
  EXPECT_EQ(0, ZGetLocale(locale));
  EXPECT_STREQ(zgetlocale(), locale.getChars());
  ASSERT_NE(nullptr, zgetLCSHandle());
  EXPECT_STREQ("UTF-8", kel_cs_name(zgetUTF8Handle()));
  EXPECT_STREQ(nl_langinfo(CODESET), zgetLocalCodesetName());
  // Under LANG=C the locale is "C"; under LANG=C.UTF-8 it is "C.UTF-8".
  const char* lang = getenv("LANG");
  if (lang != nullptr && getenv("LC_ALL") == nullptr && getenv("LC_CTYPE") == nullptr &&
      (strcmp(lang, "C") == 0 || strcmp(lang, "C.UTF-8") == 0)) {
    EXPECT_STREQ(lang, zgetlocale());
    EXPECT_EQ(strcmp(lang, "C") != 0, localIsUtf8());
  }
}

TEST(ZkelutilTest, MblenAndCountMeasureBytesOfWellFormedCharacters) {
  kel_cs_handle utf8 = zgetUTF8Handle();
  kel_cs_handle lcs = zgetLCSHandle();
  EXPECT_EQ(2, zmblen(utf8, "\xC3\xA9", 4));
  EXPECT_EQ(-1, zmblen(utf8, "\xC3", 4));
  EXPECT_EQ(0, zmblen(utf8, "", 4));
  // The local handle of a single-byte locale answers 1 without looking.
  EXPECT_EQ(MB_CUR_MAX == 1 ? 1 : -1, zmblen(lcs, "\xFF", 4));
  EXPECT_EQ(MB_CUR_MAX == 1 ? 1 : 0, zmblen(lcs, "", 4));

  EXPECT_EQ(0, zstrcount(utf8, nullptr));
  EXPECT_EQ(0, zstrcount(utf8, ""));
  EXPECT_EQ(4, zstrcount(utf8, "ab\xC3\xA9\xFFzz"));  // bytes before the bad byte
  EXPECT_EQ(9, zstrcount(utf8, "\U0001F600\u20ACab"));
  EXPECT_EQ(localIsUtf8() ? 4 : 7, zstrcount(lcs, "ab\xC3\xA9\xFFzz"));
}

TEST(ZkelutilTest, CharacterClassTestsReturnTheCharacterLength) {
  kel_cs_handle utf8 = zgetUTF8Handle();
  EXPECT_EQ(3, zisspace(utf8, "\xE3\x80\x80x", 4));  // ideographic space
  EXPECT_EQ(1, zisspace(utf8, "\t", 1));
  EXPECT_EQ(2, zisalpha(utf8, "\xC3\xA9", 2));
  // Not of the class, out of room, truncated, null, empty.
  EXPECT_EQ(0, zisspace(utf8, "a", 1) + zisspace(utf8, " ", 0) + zisspace(utf8, nullptr, 4) +
                   zisalpha(utf8, "\xC3\xA9", 1) + zisalpha(utf8, "7", 1) + zisalpha(utf8, "", 1));
}

TEST(ZkelutilTest, LocalConversionsFollowTheLocalCodeSet) {
  char dst[16];
  memset(dst, '#', sizeof dst);
  EXPECT_EQ(0, zlcs_to_utf8("abc", 0, dst, sizeof dst) + zlcs_to_utf8(nullptr, 3, dst, sizeof dst) +
                   zlcs_from_utf8("abc", 3, dst, 0) + zlcs_from_utf8("abc", 3, nullptr, 3));
  EXPECT_EQ('#', dst[0]);
  EXPECT_EQ(3, zlcs_to_utf8("abc", 3, dst, sizeof dst));
  EXPECT_EQ(0, memcmp(dst, "abc#", 4));
  if (localIsUtf8()) {
    EXPECT_EQ(2, zlcs_from_utf8("\xC3\xA9", 2, dst, sizeof dst));
    EXPECT_EQ(-1, zlcs_to_utf8("\xC3", 1, dst, sizeof dst));
  } else {
    EXPECT_EQ(-1, zlcs_from_utf8("\xC3\xA9", 2, dst, sizeof dst));
    EXPECT_EQ(-1, zlcs_to_utf8("\xE9", 1, dst, sizeof dst));
  }
}

TEST(ZkelutilTest, WrappersUseTheGivenHandle) {
  kel_cs_handle utf8 = zgetUTF8Handle();
  char text[] = "\xC3\xA9t\xC3\xA9";
  EXPECT_STREQ("\xC3\x89T\xC3\x89", zstrupper(utf8, text));
  EXPECT_STREQ("\xC3\xA9t\xC3\xA9", zstrlower(utf8, text));
  EXPECT_EQ(0, zstricmp(utf8, "\xC3\x89T\xC3\x89", text) + zstrnicmp(utf8, "\xC3\x89Tx", text, 3));
  for (const char* p : {zstrchr(utf8, text, 't'), zstrrchr(utf8, text, 't'),
                        zstrstr(utf8, text, "t\xC3\xA9"), zstrpbrk(utf8, text, "xt")})
    EXPECT_EQ(text + 2, p);
  EXPECT_EQ(4u, zstrspn(utf8, text, "\xC3\xA9") + zstrcspn(utf8, text, "t"));
  wchar_t wc = 0;
  EXPECT_EQ(2, zmbtowc(utf8, &wc, text, 5));
  EXPECT_EQ(0xE9, wc);
  EXPECT_TRUE(ziswlower(utf8, wc) && ziswalpha(utf8, wc) && ziswalnum(utf8, wc));
  EXPECT_TRUE(ziswupper(utf8, 0xC9) && ziswdigit(utf8, '3') && ziswspace(utf8, ' '));
  char buf[8] = "a";
  EXPECT_STREQ("a\xC3\xA9", zstrncat(utf8, buf, "\xC3\xA9t", 2));
  EXPECT_STREQ("\xC3\xA9", zstrncpy(utf8, buf, "\xC3\xA9\xC3\xA9", 3));
  char words[] = "a b";
  char* save = nullptr;
  EXPECT_STREQ("a", zstrtok(utf8, words, " ", &save));
  EXPECT_STREQ("b", zstrtok(utf8, nullptr, " ", &save));
  struct tm tm;
  memset(&tm, 0, sizeof tm);
  ASSERT_NE(nullptr, zstrptime(utf8, "2024-02-29", "%Y-%m-%d", &tm));
  EXPECT_EQ(124, tm.tm_year);
  EXPECT_EQ(29, tm.tm_mday);
}

TEST(ZkelutilTest, HexDumpPadsTheLastLineToTheCharacterColumn) {
  const unsigned char data[] = "ABCDEFGHIJKLMNOPQRST";
  std::string expected =
      "\n\ttitle\n"
      "\n0000   41 42 43 44 45 46 47 48  49 4a 4b 4c 4d 4e 4f 50  *ABCDEFGHIJKLMNOP*"
      "\n0010   51 52 53 54" +
      std::string(37, ' ') + "  *QRST" + std::string(12, ' ') + "*\n";
  EXPECT_EQ(expected, dump(20, data, "title"));

  const unsigned char odd[] = {0x00, 0x1f, 0x20, 0x7e, 0xfd, 0xfe, 0xff, 0x41};
  EXPECT_EQ("\n0000   00 1f 20 7e fd fe ff 41" + std::string(25, ' ') + "  *.. ~\xFD..A" +
                std::string(8, ' ') + "*\n",
            dump(8, odd, nullptr));

  EXPECT_EQ("\n0000   41 42 43 44 45 46 47 48  49 4a 4b 4c 4d 4e 4f 50  *ABCDEFGHIJKLMNOP*\n",
            dump(16, data, nullptr));  // a whole line: no padding line after it
  EXPECT_EQ("\n", dump(0, data, nullptr));
  EXPECT_EQ("\n", dump(5, nullptr, nullptr));
}

TEST(ZkelutilTest, HexDumpsOfSeveralThreadsDoNotInterleave) {
  char* text = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&text, &size);
  const int kDumps = 300;
  std::vector<unsigned char> a(160, 'a'), b(160, 'b');
  const std::string one = dump(160, a.data(), "a"), other = dump(160, b.data(), "b");
  std::atomic<int> ready{0};
  auto run = [&](const std::vector<unsigned char>& data, const char* title) {
    ++ready;
    while (ready.load() < 2) std::this_thread::yield();  // start together, to overlap
    for (int i = 0; i < kDumps; ++i) zhex_dump(f, data.size(), data.data(), title);
  };
  {
    BoundedThread ta([&] { run(a, "a"); }), tb([&] { run(b, "b"); });
  }  // joined within a time bound
  fclose(f);
  std::string out(text, size);
  free(text);
  // The output is whole dumps one after the other.
  int counts[2] = {0, 0};
  for (size_t pos = 0; pos < out.size();) {
    int which = out.compare(pos, one.size(), one) == 0 ? 0 : 1;
    ASSERT_EQ(0, out.compare(pos, one.size(), which ? other : one)) << "torn dump at " << pos;
    ++counts[which];
    pos += one.size();
  }
  EXPECT_EQ(kDumps, counts[0]);
  EXPECT_EQ(kDumps, counts[1]);
}

}  // namespace
