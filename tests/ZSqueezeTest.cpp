// zbase: tests of the compression facade and the Adler-32 checksum.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "Z/ZSqueeze.h"

namespace {

typedef std::vector<unsigned char> Bytes;

Bytes randomBytes(size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  Bytes v(n);
  for (auto& b : v) b = static_cast<unsigned char>(gen());
  return v;
}

// Text-like data that compresses well but not trivially.
Bytes textBytes(size_t n) {
  static const char* words[] = {"stanza ", "key = ", "value\n", "[section]\n", "# note\n"};
  Bytes v;
  std::mt19937 gen(7);
  while (v.size() < n) {
    const char* w = words[gen() % 5];
    v.insert(v.end(), w, w + std::strlen(w));
  }
  v.resize(n);
  return v;
}

}  // namespace

TEST(ZSqueezeTest, RoundTripsInTheZlibStreamFormat) {
  const Bytes cases[] = {{}, {'x'}, randomBytes(10000, 1), textBytes(300000)};
  for (const Bytes& data : cases) {
    SCOPED_TRACE(data.size());
    ZSqueeze z;
    z.setSource(data.data(), data.size());
    Bytes packed(data.size() + data.size() / 100 + 64);
    long n = z.squeeze(packed.data(), packed.size());
    ASSERT_GT(n, 0);
    // zlib itself accepts the stream, whose trailer is the Adler-32 of the
    // data, big-endian.
    Bytes check(data.size() + 1);
    uLongf checkLength = check.size();
    ASSERT_EQ(Z_OK, ::uncompress(check.data(), &checkLength, packed.data(), n));
    EXPECT_EQ(data.size(), checkLength);
    const unsigned char* t = packed.data() + n - 4;
    EXPECT_EQ(::adler32(1, data.data(), data.size()),
              (unsigned long)t[0] << 24 | t[1] << 16 | t[2] << 8 | t[3]);

    ZSqueeze back;
    back.setSource(packed.data(), n);
    Bytes out(data.size() + 1, 0xEE);
    EXPECT_EQ((long)data.size(), back.unsqueeze(out.data(), out.size()));
    EXPECT_TRUE(std::equal(data.begin(), data.end(), out.begin()));
    EXPECT_EQ(0xEE, out[data.size()]);  // nothing written past the data
    // Destinations of exactly the needed size are enough, both ways.
    EXPECT_EQ(n, z.squeeze(packed.data(), n));
    EXPECT_EQ((long)data.size(), back.unsqueeze(out.data(), data.size()));
  }
  // A fresh object has an empty source: an empty stream is 8 bytes.
  unsigned char buffer[16];
  EXPECT_EQ(8, ZSqueeze().squeeze(buffer, sizeof buffer));
}

TEST(ZSqueezeTest, TooSmallDestinationIsABufferErrorAndTheObjectStaysUsable) {
  Bytes data = textBytes(200000);
  ZSqueeze z;
  EXPECT_EQ(-1, z.getCompressionLevel());
  z.setSource(data.data(), data.size());
  Bytes packed(16);
  EXPECT_EQ(Z_BUF_ERROR, z.squeeze(packed.data(), packed.size()));
  EXPECT_EQ(Z_BUF_ERROR, z.squeeze(nullptr, 0));
  // The retry loop a caller writes: double on every buffer error.
  long n;
  while ((n = z.squeeze(packed.data(), packed.size())) < 0) {
    ASSERT_EQ(Z_BUF_ERROR, n);
    packed.resize(packed.size() * 2);
  }
  ZSqueeze back(z);  // copies share the remembered source
  back.setSource(packed.data(), n);
  Bytes out(data.size());
  EXPECT_EQ(Z_BUF_ERROR, back.unsqueeze(out.data(), data.size() - 1));
  EXPECT_EQ((long)data.size(), back.unsqueeze(out.data(), out.size()));
  EXPECT_EQ(data, out);

  // compress() sets the length on success only.
  unsigned long length = 10;
  EXPECT_EQ(Z_BUF_ERROR, z.compress(packed.data(), &length, data.data(), data.size()));
  EXPECT_EQ(10u, length);
  length = packed.size();
  EXPECT_EQ(Z_OK, z.compress(packed.data(), &length, data.data(), data.size()));
  EXPECT_EQ((unsigned long)n, length);

  // Bad arguments and levels are stream errors; the level is used.
  EXPECT_EQ(Z_STREAM_ERROR, z.compress(packed.data(), nullptr, "x", 1));
  EXPECT_EQ(Z_STREAM_ERROR, z.uncompress(out.data(), &length, nullptr, 1));
  Bytes stored(data.size() + 1000);
  z.setCompressionLevel(0);
  EXPECT_GT(z.squeeze(stored.data(), stored.size()), (long)data.size());
  z.setCompressionLevel(10);
  EXPECT_EQ(Z_STREAM_ERROR, z.squeeze(out.data(), out.size()));
}

TEST(ZSqueezeTest, CorruptOrTruncatedInputIsADataError) {
  Bytes data = textBytes(5000);
  ZSqueeze z;
  z.setSource(data.data(), data.size());
  Bytes packed(data.size());
  long n = z.squeeze(packed.data(), packed.size());
  ASSERT_GT(n, 10);
  Bytes out(data.size() * 2);

  // Not a zlib header; a checksum that no longer matches.
  for (long at : {0L, n - 1}) {
    Bytes bad = packed;
    bad[at] ^= 0x41;
    z.setSource(bad.data(), n);
    EXPECT_EQ(Z_DATA_ERROR, z.unsqueeze(out.data(), out.size())) << at;
  }
  Bytes garbage = randomBytes(4096, 3);
  z.setSource(garbage.data(), garbage.size());
  EXPECT_EQ(Z_DATA_ERROR, z.unsqueeze(out.data(), out.size()));

  // Every truncation is a data error while room is left, so that a caller
  // who retries on buffer errors with ever larger buffers comes to an end.
  for (long cut = 0; cut < n; ++cut) {
    z.setSource(packed.data(), cut);
    ASSERT_EQ(Z_DATA_ERROR, z.unsqueeze(out.data(), out.size())) << "cut at " << cut;
  }
}

TEST(ZSqueezeTest, Adler32KnownValuesAndAgreementWithZlib) {
  EXPECT_EQ(0x024D0127ul, ZAdler32::adler32(1, "abc", 3));
  EXPECT_EQ(1ul, ZAdler32::adler32(0x12345678, nullptr, 10));
  EXPECT_EQ(0x12345678ul, ZAdler32::adler32(0x12345678, "abc", 0));
  // All 0xFF bytes drive both sums to their largest values between
  // reductions.
  Bytes ff(100000, 0xFF);
  for (unsigned long n : {5551ul, 5552ul, 5553ul, 100000ul}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(::adler32(0xFFF0FFF0ul, ff.data(), n), ZAdler32::adler32(0xFFF0FFF0ul, ff.data(), n));
  }
  // Continued in pieces of odd sizes, the result does not depend on them.
  Bytes data = randomBytes(1 << 20, 11);
  std::mt19937 gen(5);
  unsigned long ours = 1;
  for (size_t pos = 0, n; pos < data.size(); pos += n) {
    n = std::min<size_t>(gen() % 20000, data.size() - pos);
    ours = ZAdler32::adler32(ours, data.data() + pos, n);
  }
  EXPECT_EQ(::adler32(1, data.data(), data.size()), ours);
}
