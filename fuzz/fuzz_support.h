// zbase: helpers shared by the fuzz harnesses: an input reader, a scratch
// directory per process, and whole-file reads.
#ifndef Z_FUZZ_SUPPORT_H_
#define Z_FUZZ_SUPPORT_H_

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace fuzz {

// Hands out the fuzzer's bytes as small numbers and short texts; past the
// end it hands out zeros and empty texts.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return pos_ >= size_; }
  uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  unsigned pick(unsigned n) { return n == 0 ? 0 : byte() % n; }
  std::string text(size_t most) {
    size_t n = pick(static_cast<unsigned>(most) + 1);
    if (n > size_ - (pos_ < size_ ? pos_ : size_)) n = size_ - (pos_ < size_ ? pos_ : size_);
    std::string s(reinterpret_cast<const char*>(data_) + pos_, n);
    pos_ += n;
    return s;
  }
  std::string rest() {
    std::string s = text(size_);
    pos_ = size_;
    return s;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

// One scratch directory for the process, made on first use.
inline const std::string& scratch() {
  static const std::string dir = [] {
    char tmpl[] = "/tmp/zbase-fuzz-XXXXXX";
    const char* made = mkdtemp(tmpl);
    if (made == nullptr) abort();
    return std::string(made);
  }();
  return dir;
}

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void spit(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// Fails the run with a message: libFuzzer keeps the input that did it.
[[noreturn]] inline void fail(const char* what, const std::string& a = "",
                              const std::string& b = "") {
  std::fprintf(stderr, "invariant broken: %s\n--- first\n%s\n--- second\n%s\n", what, a.c_str(),
               b.c_str());
  abort();
}

}  // namespace fuzz

// Each harness is a program of its own that includes this header once: the
// library finds its code-set tables through QXKELDIR.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("QXKELDIR", ZBASE_SOURCE_DIR "/share/kel", 0);
  return 0;
}

#endif  // Z_FUZZ_SUPPORT_H_
