// zbase: one-shot buffer compression in the zlib stream format, and Adler-32.
#ifndef Z_ZSQUEEZE_H_
#define Z_ZSQUEEZE_H_

#include "Z/zversion.h"

// Compresses and decompresses whole buffers in one call. Results are zlib's
// status codes: 0 success, -2 stream error (bad arguments), -3 data error
// (corrupt or truncated input), -4 out of memory, -5 destination too small.
// Nothing is thrown; on -5 (and -4) the caller retries with a larger buffer.
//
// The object only remembers a pointer to its source (see setSource), so it is
// cheap to copy. One object must not be used by two threads at once; distinct
// objects are independent.
class ZSqueeze {
 public:
  ZSqueeze();

  // Remembers the input of squeeze() and unsqueeze(). The bytes are not
  // copied: the caller keeps them alive while the object uses them.
  void setSource(const void* bytes, unsigned long length);

  // The zlib level used by compress() and squeeze(): -1 (the default level)
  // or 0 to 9. An invalid level makes compress() report -2.
  void setCompressionLevel(int level);
  int getCompressionLevel() const;

  // Compresses sourceLength bytes from source into at most *destinationLength
  // bytes at destination. On success stores the compressed length in
  // *destinationLength and returns 0; otherwise returns the negative status
  // and leaves *destinationLength unchanged.
  int compress(void* destination, unsigned long* destinationLength, const void* source,
               unsigned long sourceLength);

  // The reverse of compress(). Input that ends before its stream does is
  // reported as -3 when the destination still had room, so that a caller who
  // retries on -5 with ever larger buffers cannot loop for ever.
  int uncompress(void* destination, unsigned long* destinationLength, const void* source,
                 unsigned long sourceLength);

  // compress()/uncompress() from the remembered source into destination,
  // which has room for capacity bytes. Return the produced length, or the
  // negative status (-5 when capacity was too small; the object stays usable).
  long squeeze(void* destination, unsigned long capacity);
  long unsqueeze(void* destination, unsigned long capacity);

 private:
  const unsigned char* source_;
  unsigned long long sourceLength_;
  int level_;
  // Set to 1 and consulted by no operation; it stays because the object
  // layout that callers were built against includes it.
  int flag_;
};

// The Adler-32 checksum.
class ZAdler32 {
 public:
  // Continues the checksum adler over length bytes. Start from 1 (which is
  // also what a null buffer returns); a length of 0 returns adler unchanged.
  static unsigned long adler32(unsigned long adler, const void* bytes, unsigned long length);
};

#endif  // Z_ZSQUEEZE_H_
