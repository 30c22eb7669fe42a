// zbase: tests of the compression facade and the Adler-32 checksum.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "Z/ZSqueeze.h"

namespace {

std::vector<unsigned char> randomBytes(size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::vector<unsigned char> v(n);
  for (auto& b : v) b = static_cast<unsigned char>(gen());
  return v;
}

// Text-like data that compresses well but not trivially.
std::vector<unsigned char> textBytes(size_t n) {
  static const char* words[] = {"stanza ", "key = ", "value\n", "[section]\n", "# note\n"};
  std::vector<unsigned char> v;
  std::mt19937 gen(7);
  while (v.size() < n) {
    const char* w = words[gen() % 5];
    v.insert(v.end(), w, w + std::strlen(w));
  }
  v.resize(n);
  return v;
}

}  // namespace

TEST(ZSqueezeTest, RoundTripsBuffersOfEverySize) {
  struct Case {
    const char* name;
    std::vector<unsigned char> data;
  } cases[] = {
      {"empty", {}},
      {"one byte", {'x'}},
      {"small", {'a', 'b', 'c', 'a', 'b', 'c', 'a', 'b', 'c'}},
      {"incompressible", randomBytes(10000, 1)},
      {"large text", textBytes(3 * 1024 * 1024 + 17)},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.name);
    ZSqueeze z;
    z.setSource(c.data.data(), c.data.size());
    std::vector<unsigned char> packed(c.data.size() + c.data.size() / 100 + 64);
    long n = z.squeeze(packed.data(), packed.size());
    ASSERT_GT(n, 0);
    // The zlib stream format: a header zlib itself accepts, and a trailer
    // holding the Adler-32 of the data, big-endian.
    std::vector<unsigned char> check(c.data.size() + 1);
    uLongf checkLen = check.size();
    ASSERT_EQ(Z_OK, ::uncompress(check.data(), &checkLen, packed.data(), n));
    EXPECT_EQ(c.data.size(), checkLen);
    unsigned long adler = ZAdler32::adler32(1, c.data.data(), c.data.size());
    const unsigned char* t = packed.data() + n - 4;
    EXPECT_EQ(adler, (unsigned long)t[0] << 24 | t[1] << 16 | t[2] << 8 | t[3]);

    ZSqueeze back;
    back.setSource(packed.data(), n);
    std::vector<unsigned char> out(c.data.size() + 1, 0xEE);
    EXPECT_EQ((long)c.data.size(), back.unsqueeze(out.data(), out.size()));
    EXPECT_TRUE(std::equal(c.data.begin(), c.data.end(), out.begin()));
    EXPECT_EQ(0xEE, out[c.data.size()]);  // nothing written past the data

    // A destination of exactly the needed size is enough, both ways.
    std::vector<unsigned char> exact(n);
    EXPECT_EQ(n, z.squeeze(exact.data(), exact.size()));
    std::vector<unsigned char> exactOut(c.data.size());
    unsigned long len = exactOut.size();
    EXPECT_EQ(0, back.uncompress(exactOut.data(), &len, packed.data(), n));
    EXPECT_EQ(c.data.size(), len);
  }
}

TEST(ZSqueezeTest, TooSmallDestinationReportsBufferErrorAndAllowsRetry) {
  std::vector<unsigned char> data = textBytes(200000);
  ZSqueeze z;
  z.setSource(data.data(), data.size());
  std::vector<unsigned char> packed(16);
  EXPECT_EQ(Z_BUF_ERROR, z.squeeze(packed.data(), packed.size()));
  EXPECT_EQ(Z_BUF_ERROR, z.squeeze(nullptr, 0));
  // The retry loop a caller writes: double on every negative result.
  long n;
  while ((n = z.squeeze(packed.data(), packed.size())) < 0) {
    ASSERT_EQ(Z_BUF_ERROR, n);
    packed.resize(packed.size() * 2);
  }
  ASSERT_GT(n, 0);

  ZSqueeze back(z);  // copies share the remembered source
  back.setSource(packed.data(), n);
  std::vector<unsigned char> out(1000);
  EXPECT_EQ(Z_BUF_ERROR, back.unsqueeze(out.data(), out.size()));
  out.resize(data.size());
  EXPECT_EQ(Z_BUF_ERROR, back.unsqueeze(out.data(), data.size() - 1));
  EXPECT_EQ((long)data.size(), back.unsqueeze(out.data(), out.size()));
  EXPECT_EQ(data, out);

  // compress() leaves the length alone on failure and sets it on success.
  unsigned long len = 10;
  EXPECT_EQ(Z_BUF_ERROR, z.compress(packed.data(), &len, data.data(), data.size()));
  EXPECT_EQ(10u, len);
  len = packed.size();
  EXPECT_EQ(Z_OK, z.compress(packed.data(), &len, data.data(), data.size()));
  EXPECT_EQ((unsigned long)n, len);
}

TEST(ZSqueezeTest, CorruptOrTruncatedInputIsADataError) {
  std::vector<unsigned char> data = textBytes(5000);
  ZSqueeze z;
  z.setSource(data.data(), data.size());
  std::vector<unsigned char> packed(data.size());
  long n = z.squeeze(packed.data(), packed.size());
  ASSERT_GT(n, 10);
  std::vector<unsigned char> out(data.size() * 2);

  std::vector<unsigned char> bad = packed;
  bad[0] = 0x77;  // not a zlib header
  z.setSource(bad.data(), n);
  EXPECT_EQ(Z_DATA_ERROR, z.unsqueeze(out.data(), out.size()));

  bad = packed;
  bad[n - 1] ^= 0x01;  // checksum no longer matches
  EXPECT_EQ(Z_DATA_ERROR, z.unsqueeze(out.data(), out.size()));

  // Every truncation is a data error while room is left, so that a caller
  // that retries on buffer errors with ever larger buffers comes to an end.
  for (long cut = 0; cut < n; ++cut) {
    SCOPED_TRACE(cut);
    z.setSource(packed.data(), cut);
    long rc = z.unsqueeze(out.data(), out.size());
    EXPECT_EQ(Z_DATA_ERROR, rc);
  }

  std::vector<unsigned char> garbage = randomBytes(4096, 3);
  z.setSource(garbage.data(), garbage.size());
  EXPECT_EQ(Z_DATA_ERROR, z.unsqueeze(out.data(), out.size()));
}

TEST(ZSqueezeTest, BadArgumentsAndLevels) {
  ZSqueeze z;
  EXPECT_EQ(-1, z.getCompressionLevel());
  unsigned char buf[64];
  unsigned long len = sizeof buf;
  EXPECT_EQ(Z_STREAM_ERROR, z.compress(buf, nullptr, "x", 1));
  EXPECT_EQ(Z_STREAM_ERROR, z.compress(buf, &len, nullptr, 1));
  EXPECT_EQ(Z_STREAM_ERROR, z.uncompress(buf, &len, nullptr, 1));
  // A fresh object squeezes its empty source.
  EXPECT_EQ(8, z.squeeze(buf, sizeof buf));

  std::vector<unsigned char> data = textBytes(100000);
  z.setSource(data.data(), data.size());
  std::vector<unsigned char> packed(data.size() + 1000);
  z.setCompressionLevel(0);
  long stored = z.squeeze(packed.data(), packed.size());
  z.setCompressionLevel(9);
  long best = z.squeeze(packed.data(), packed.size());
  EXPECT_GT(stored, (long)data.size());
  EXPECT_LT(best, stored / 5);
  z.setCompressionLevel(10);
  EXPECT_EQ(Z_STREAM_ERROR, z.squeeze(packed.data(), packed.size()));
}

TEST(ZSqueezeTest, Adler32KnownValuesAndAgreementWithZlib) {
  EXPECT_EQ(0x024D0127ul, ZAdler32::adler32(1, "abc", 3));
  EXPECT_EQ(0x11E60398ul, ZAdler32::adler32(1, "Wikipedia", 9));
  EXPECT_EQ(1ul, ZAdler32::adler32(0x12345678, nullptr, 10));
  EXPECT_EQ(0x12345678ul, ZAdler32::adler32(0x12345678, "abc", 0));
  // All 0xFF bytes drive both sums to their largest values between
  // reductions.
  std::vector<unsigned char> ff(100000, 0xFF);
  for (unsigned long n : {1ul, 5551ul, 5552ul, 5553ul, 11104ul, 100000ul}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(::adler32(0xFFF0FFF0ul, ff.data(), n), ZAdler32::adler32(0xFFF0FFF0ul, ff.data(), n));
  }
  std::vector<unsigned char> data = randomBytes(1 << 20, 11);
  std::mt19937 gen(5);
  unsigned long ours = 1, theirs = ::adler32(0, nullptr, 0);
  size_t pos = 0;
  while (pos < data.size()) {
    // Continue in pieces of odd sizes: the result must not depend on them.
    size_t n = std::min<size_t>(gen() % 20000, data.size() - pos);
    ours = ZAdler32::adler32(ours, data.data() + pos, n);
    theirs = ::adler32(theirs, data.data() + pos, n);
    ASSERT_EQ(theirs, ours) << "at " << pos;
    pos += n;
  }
  EXPECT_EQ(::adler32(1, data.data(), data.size()), ours);
}
