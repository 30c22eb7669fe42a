// zbase: one-shot buffer compression in the zlib stream format, and Adler-32.
#include "Z/ZSqueeze.h"

#include <zlib.h>

#include <climits>
#include <cstring>

namespace {

// The zlib version the stream structure is declared against; zlib only checks
// that the major version matches.
const char kZlibVersion[] = "1.1.4";

// zlib counts in unsigned int; longer buffers are fed to it in slices of
// this size (the loops below run once for anything shorter).
const unsigned long kSlice = UINT_MAX;

unsigned int sliceOf(unsigned long long remaining) {
  return static_cast<unsigned int>(remaining < kSlice ? remaining : kSlice);
}

// Drives deflate or inflate until the stream ends, fails or stalls. Buffers
// longer than one slice are fed in slices, the last one with Z_FINISH.
// outFull tells whether the destination was used up.
template <typename Step>
int drive(z_stream& strm, unsigned long long inLeft, unsigned long long outLeft, bool& outFull,
          Step step) {
  for (;;) {
    unsigned int inSlice = sliceOf(inLeft);
    unsigned int outSlice = sliceOf(outLeft);
    strm.avail_in = inSlice;
    strm.avail_out = outSlice;
    int rc = step(&strm, inLeft == inSlice ? Z_FINISH : Z_NO_FLUSH);
    unsigned int usedIn = inSlice - strm.avail_in;
    unsigned int usedOut = outSlice - strm.avail_out;
    inLeft -= usedIn;
    outLeft -= usedOut;
    if ((rc != Z_OK && rc != Z_BUF_ERROR) || (usedIn == 0 && usedOut == 0)) {
      outFull = outLeft == 0;
      return rc;
    }
  }
}

// Runs one whole stream: `init` sets it up, `step` (deflate or inflate) turns
// the source into at most *destinationLength bytes, `end` frees it. On success
// stores the produced length and returns what `end` returns (0). A stream that
// stalls before its end gives -5; outFull then tells whether the destination
// was used up.
template <typename Init, typename Step, typename End>
int oneShot(void* destination, unsigned long* destinationLength, const void* source,
            unsigned long sourceLength, bool& outFull, Init init, Step step, End end) {
  if (destinationLength == nullptr || (source == nullptr && sourceLength != 0)) {
    return Z_STREAM_ERROR;
  }
  // zlib refuses a null output pointer even with no room; a zero-sized
  // destination is simply too small.
  unsigned char none = 0;
  unsigned long capacity = destination != nullptr ? *destinationLength : 0;
  z_stream strm;
  std::memset(&strm, 0, sizeof strm);
  int rc = init(&strm);
  if (rc != Z_OK) return rc;
  strm.next_in = static_cast<Bytef*>(const_cast<void*>(source));
  strm.next_out = destination != nullptr ? static_cast<Bytef*>(destination) : &none;
  rc = drive(strm, sourceLength, capacity, outFull, step);
  if (rc == Z_STREAM_END) {
    *destinationLength = strm.total_out;
    return end(&strm);
  }
  end(&strm);
  return rc == Z_OK ? Z_BUF_ERROR : rc;
}

}  // namespace

ZSqueeze::ZSqueeze() : source_(nullptr), sourceLength_(0), level_(Z_DEFAULT_COMPRESSION), flag_(1) {
  (void)flag_;
}

void ZSqueeze::setSource(const void* bytes, unsigned long length) {
  source_ = static_cast<const unsigned char*>(bytes);
  sourceLength_ = length;
}

void ZSqueeze::setCompressionLevel(int level) { level_ = level; }

int ZSqueeze::getCompressionLevel() const { return level_; }

int ZSqueeze::compress(void* destination, unsigned long* destinationLength, const void* source,
                       unsigned long sourceLength) {
  int level = level_;
  bool outFull = false;
  return oneShot(
      destination, destinationLength, source, sourceLength, outFull,
      [level](z_stream* s) { return deflateInit_(s, level, kZlibVersion, sizeof *s); },
      [](z_stream* s, int flush) { return deflate(s, flush); }, deflateEnd);
}

int ZSqueeze::uncompress(void* destination, unsigned long* destinationLength, const void* source,
                         unsigned long sourceLength) {
  bool outFull = false;
  int rc = oneShot(
      destination, destinationLength, source, sourceLength, outFull,
      [](z_stream* s) { return inflateInit_(s, kZlibVersion, sizeof *s); },
      [](z_stream* s, int flush) { return inflate(s, flush); }, inflateEnd);
  // A stream that stalls with room left ended early (truncated input), and one
  // that wants a preset dictionary is not ours: both are bad data.
  if (rc == Z_NEED_DICT || (rc == Z_BUF_ERROR && !outFull)) return Z_DATA_ERROR;
  return rc;
}

long ZSqueeze::squeeze(void* destination, unsigned long capacity) {
  unsigned long length = capacity;
  int rc = compress(destination, &length, source_, static_cast<unsigned long>(sourceLength_));
  return rc == Z_OK ? static_cast<long>(length) : rc;
}

long ZSqueeze::unsqueeze(void* destination, unsigned long capacity) {
  unsigned long length = capacity;
  int rc = uncompress(destination, &length, source_, static_cast<unsigned long>(sourceLength_));
  return rc == Z_OK ? static_cast<long>(length) : rc;
}

unsigned long ZAdler32::adler32(unsigned long adler, const void* bytes, unsigned long length) {
  const unsigned long kBase = 65521;
  // Largest n such that 255 n (n + 1) / 2 + (n + 1) (kBase - 1) fits 32 bits:
  // the sums may run that long before they must be reduced.
  const unsigned long kMaxRun = 5552;
  if (bytes == nullptr) return 1;
  if (length == 0) return adler;
  const unsigned char* p = static_cast<const unsigned char*>(bytes);
  unsigned int a = static_cast<unsigned int>(adler & 0xffff) % kBase;
  unsigned int b = static_cast<unsigned int>((adler >> 16) & 0xffff) % kBase;
  while (length > 0) {
    unsigned long run = length < kMaxRun ? length : kMaxRun;
    length -= run;
    while (run >= 8) {
      a += p[0];
      b += a;
      a += p[1];
      b += a;
      a += p[2];
      b += a;
      a += p[3];
      b += a;
      a += p[4];
      b += a;
      a += p[5];
      b += a;
      a += p[6];
      b += a;
      a += p[7];
      b += a;
      p += 8;
      run -= 8;
    }
    while (run-- > 0) {
      a += *p++;
      b += a;
    }
    a %= kBase;
    b %= kBase;
  }
  return (static_cast<unsigned long>(b) << 16) | a;
}
