// zbase: tests of the local host name and the small platform helpers.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sched.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Z/ZLocalHostName.h"
#include "ZChildProcess.h"
#include "ZLockTestSupport.h"

namespace {

typedef std::vector<unsigned short> Units;
typedef std::vector<unsigned char> Bytes;

struct Conversion {
  int result;
  size_t consumed;  // code units
  Bytes written;
};

// Converts into a target of exactly `room` bytes, inside a larger buffer whose
// remaining bytes must stay untouched.
Conversion convert(const Units& in, size_t room) {
  Bytes buf(room + 8, 0xA5);
  const unsigned short* src = in.data();
  unsigned char* dst = buf.data();
  int rc = zconvert_UTF16_to_UTF8(&src, in.data() + in.size(), &dst, buf.data() + room);
  for (size_t i = room; i < buf.size(); ++i) EXPECT_EQ(0xA5, buf[i]) << "byte " << i;
  return {rc, static_cast<size_t>(src - in.data()), Bytes(buf.data(), dst)};
}

}  // namespace

TEST(ZLocalHostNameTest, ReturnsTheOfficialNameOrReportsTheFailure) {
  {
    RecordingMessageService service;
    ZLCString name = ZLocalHostName::getLocalHostName();
    char host[256];
    ASSERT_EQ(0, gethostname(host, sizeof host));
    struct hostent* entry = gethostbyname(host);
    EXPECT_STREQ(entry != nullptr ? entry->h_name : "", name.getChars());
    EXPECT_EQ(entry == nullptr, !service.messages().empty());
  }

  // A name the resolver rejects outright, set in a host-name namespace of a
  // child process of its own (so no network lookup is made).
  int status = inChild([] {
    const char kName[] = "no such host!";
    if (unshare(CLONE_NEWUTS) != 0 || sethostname(kName, sizeof kName - 1) != 0) return 77;
    RecordingMessageService service;
    EXPECT_STREQ("", ZLocalHostName::getLocalHostName().getChars());
    // The one insert is errno in decimal, whatever the resolver left there.
    auto m = service.messages();
    std::vector<std::string> in = m.size() == 1 ? m[0].inserts : std::vector<std::string>{};
    service.expectOneMessage("src/Z/ZLocalHostName", 63, 26, in);
    EXPECT_TRUE(in.size() == 1 && !in[0].empty() &&
                in[0].find_first_not_of("0123456789") == std::string::npos);
    return testing::Test::HasFailure() ? 1 : 0;
  });
  if (status == 77) GTEST_SKIP() << "cannot change the host name here";
  EXPECT_EQ(0, status);
}

TEST(ZLocalHostNameTest, ConvertsUTF16ToUTF8) {
  struct Case {
    Units in;
    Bytes out;
  } cases[] = {
      {{0x007F, 0x0080}, {0x7F, 0xC2, 0x80}},
      {{0x07FF, 0x0800}, {0xDF, 0xBF, 0xE0, 0xA0, 0x80}},
      {{0xFFFF}, {0xEF, 0xBF, 0xBF}},
      {{0xD83D, 0xDE00}, {0xF0, 0x9F, 0x98, 0x80}},
      {{0xDBFF, 0xDFFF}, {0xF4, 0x8F, 0xBF, 0xBF}},
      // Unpaired surrogates are encoded like ordinary code points.
      {{0xDC00}, {0xED, 0xB0, 0x80}},
      {{0xD83D, 0x0041}, {0xED, 0xA0, 0xBD, 0x41}},
      {{0xDC00, 0xD800}, {0xED, 0xB0, 0x80, 0xED, 0xA0, 0x80}},
      {{0xD800, 0xD800, 0xDC00}, {0xED, 0xA0, 0x80, 0xF0, 0x90, 0x80, 0x80}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.in));
    Conversion r = convert(c.in, 16);
    EXPECT_EQ(ZCONVERT_OK, r.result);
    EXPECT_EQ(c.in.size(), r.consumed);
    EXPECT_EQ(c.out, r.written);
  }
  // A pair split by the end of the input is two halves: the high one alone.
  Units pair = {0xD83D, 0xDE00};
  const unsigned short* src = pair.data();
  unsigned char buf[8];
  unsigned char* dst = buf;
  EXPECT_EQ(ZCONVERT_OK, zconvert_UTF16_to_UTF8(&src, pair.data() + 1, &dst, buf + sizeof buf));
  EXPECT_EQ(pair.data() + 1, src);
  EXPECT_EQ(Bytes({0xED, 0xA0, 0xBD}), Bytes(buf, dst));
}

TEST(ZLocalHostNameTest, StopsBeforeTheFirstCharacterThatDoesNotFit) {
  // One character of each length: 1 + 2 + 3 + 4 bytes.
  Units in = {0x0041, 0x00E9, 0x20AC, 0xD83D, 0xDE00};
  Bytes all = {0x41, 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80};
  // For each room: the units and bytes of the characters that fit whole.
  struct Expect {
    size_t units, bytes;
  } fits[] = {{0, 0}, {1, 1}, {1, 1}, {2, 3}, {2, 3}, {2, 3},
              {3, 6}, {3, 6}, {3, 6}, {3, 6}, {5, 10}};
  for (size_t room = 0; room <= all.size(); ++room) {
    SCOPED_TRACE(room);
    Conversion r = convert(in, room);
    EXPECT_EQ(room == all.size() ? ZCONVERT_OK : ZCONVERT_TARGET_EXHAUSTED, r.result);
    EXPECT_EQ(fits[room].units, r.consumed);
    EXPECT_EQ(Bytes(all.begin(), all.begin() + fits[room].bytes), r.written);
  }
}

TEST(ZLocalHostNameTest, SetsAndClearsCloseOnExec) {
  int fds[2];
  ASSERT_EQ(0, pipe(fds));
  // Inheritance 0 sets close-on-exec, anything else clears it.
  for (auto set : {zsetfileinheritancesocket, zsetfileinheritance}) {
    for (int inherit : {0, 7, 0, 1}) {
      EXPECT_EQ(1, set(fds[0], inherit));
      EXPECT_EQ(inherit ? 0 : FD_CLOEXEC, fcntl(fds[0], F_GETFD) & FD_CLOEXEC) << inherit;
    }
  }
  close(fds[0]);
  close(fds[1]);
  EXPECT_EQ(0, zsetfileinheritance(fds[0], 0));  // closed descriptor
}
