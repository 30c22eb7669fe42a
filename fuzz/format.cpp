// zbase: fuzzes the formatting engine against the C library for the
// conversions where the two are meant to agree: integers of every length,
// characters, strings and floating point (which the engine hands to the C
// library), with flags, widths, precisions and short buffers.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "Z/zsnprintf.h"
#include "fuzz_support.h"

namespace {

// Both results of one call, for comparison.
struct Result {
  int length;
  std::string text;
};

template <typename T>
void compare(const std::string& format, size_t size, T arg) {
  char ours[160], theirs[160];
  std::memset(ours, 'x', sizeof ours);
  std::memset(theirs, 'x', sizeof theirs);
  int a = zsnprintf(ours, size, format.c_str(), arg);
  int b = std::snprintf(theirs, size, format.c_str(), arg);
  if (a != b || std::memcmp(ours, theirs, sizeof ours) != 0) {
    fuzz::fail(
        ("zsnprintf differs from snprintf for \"" + format + "\" size " + std::to_string(size))
            .c_str(),
        std::to_string(a) + ": " + std::string(ours, size ? std::strlen(ours) : 0),
        std::to_string(b) + ": " + std::string(theirs, size ? std::strlen(theirs) : 0));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  for (int n = 0; n < 8 && !in.empty(); ++n) {
    std::string format = "<";
    // Flags: "#" only where its meaning is plain (hexadecimal, floating).
    static const char kFlags[] = "-+ 0";
    for (unsigned f = in.pick(4); f > 0; --f) format += kFlags[in.pick(4)];
    const unsigned kind = in.pick(7);
    if (kind == 1 || kind == 5) {
      if (in.pick(2)) format += '#';
    }
    if (in.pick(2)) format += std::to_string(in.pick(40));
    const bool precision = in.pick(2) == 1;
    const unsigned digits = in.pick(30);
    // Integers with a precision, and "0" with one, are where the engine's
    // own integer rendering is documented: left out here.
    if (precision && kind >= 4) format += "." + std::to_string(digits);
    const size_t room = in.pick(3) == 0 ? in.pick(20) : 160;
    uint64_t bits = 0;
    for (int b = 0; b < 8; ++b) bits = bits << 8 | in.byte();
    static const char* const kLengths[] = {"", "h", "l", "ll"};
    const unsigned lengthIndex = in.pick(4);
    const std::string intFormat = format + kLengths[lengthIndex];
    const char conversion = kind == 0 ? 'd' : kind == 1 ? 'x' : 'u';
    switch (kind) {
      case 0:
      case 1:
      case 2: {
        if (kind == 1 && bits == 0 && format.find('#') != std::string::npos) break;
        const std::string f = intFormat + conversion + ">";
        if (lengthIndex == 3) {
          compare(f, room, static_cast<long long>(bits));
        } else if (lengthIndex == 2) {
          compare(f, room, static_cast<long>(bits));
        } else {
          compare(f, room, static_cast<int>(bits));
        }
        break;
      }
      case 3:
        format.erase(std::remove(format.begin(), format.end(), '0'), format.end());
        compare(format + "c>", room, static_cast<int>(bits % 255 + 1));
        break;
      case 4: {
        const std::string s = in.text(12);
        // The engine pads text with blanks even under "0".
        format.erase(std::remove(format.begin() + 1, format.end(), '0'), format.end());
        compare(format + "s>", room, s.c_str());
        break;
      }
      case 5: {
        double d;
        std::memcpy(&d, &bits, sizeof d);
        static const char kFloat[] = "eEfgG";
        compare(format + kFloat[in.pick(5)] + ">", room, d);
        break;
      }
      default: {
        long double d = static_cast<long double>(static_cast<int64_t>(bits)) / (1 + in.pick(1000));
        static const char kFloat[] = "efg";
        compare(format + "L" + kFloat[in.pick(3)] + ">", room, d);
        break;
      }
    }
  }
  return 0;
}
