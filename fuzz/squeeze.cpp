// zbase: fuzzes the compression facade. Any bytes squeeze and unsqueeze back
// to themselves at every level; short destinations report -5; arbitrary
// input to unsqueeze gives a length or a negative status, never more bytes
// than the room it was given.
#include <cstring>
#include <vector>

#include "Z/ZSqueeze.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  ZSqueeze squeeze;
  squeeze.setCompressionLevel(data[0] % 11 - 1);
  squeeze.setSource(data + 1, size - 1);
  std::vector<unsigned char> packed(2 * size + 64);
  long n = squeeze.squeeze(packed.data(), packed.size());
  if (n <= 0) fuzz::fail("squeeze failed with room to spare");
  if (n > 1 && squeeze.squeeze(packed.data(), static_cast<unsigned long>(n) - 1) != -5) {
    fuzz::fail("a destination one byte short was not reported");
  }
  n = squeeze.squeeze(packed.data(), packed.size());
  ZSqueeze back;
  back.setSource(packed.data(), static_cast<unsigned long>(n));
  std::vector<unsigned char> plain(size + 1);
  long m = back.unsqueeze(plain.data(), plain.size());
  if (m != static_cast<long>(size - 1) || std::memcmp(plain.data(), data + 1, size - 1) != 0) {
    fuzz::fail("unsqueeze does not give the bytes back");
  }
  if (size > 2 && back.unsqueeze(plain.data(), size - 2) >= 0) {
    fuzz::fail("unsqueeze into too little room succeeded");
  }
  // The input itself as packed data.
  ZSqueeze raw;
  raw.setSource(data, size);
  std::vector<unsigned char> out(4 * size + 64);
  long r = raw.unsqueeze(out.data(), out.size());
  if (r > static_cast<long>(out.size())) fuzz::fail("unsqueeze wrote past its room");
  return 0;
}
