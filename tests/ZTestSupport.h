// zbase tests: helpers every suite may use.
#ifndef Z_TESTS_ZTESTSUPPORT_H_
#define Z_TESTS_ZTESTSUPPORT_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <type_traits>

// Runs `body`, which must throw exception class E with `number` from `file`
// at `line`; `more(e)`, when given, checks the rest of the exception.
template <class E, class F, class C = std::nullptr_t>
void expectThrowAt(F body, unsigned long number, const char* file, int line, C more = nullptr) {
  try {
    body();
    ADD_FAILURE() << "nothing thrown, expected " << file << ":" << line;
  } catch (E& e) {
    EXPECT_EQ(number, e.getErrorNumber());
    EXPECT_STREQ(file, e.who() ? e.who() : "(null)");
    EXPECT_EQ(line, e.where());
    if constexpr (!std::is_null_pointer_v<C>) more(e);
  }
}

// A fresh directory for the files of one test, removed with everything in it.
struct TempDir {
  std::string path;
  TempDir() {
    char templ[] = "/tmp/zbaseXXXXXX";
    path = mkdtemp(templ) ? templ : "/nonexistent";
  }
  ~TempDir() { std::filesystem::remove_all(path); }
  std::string file(const char* name) const { return path + "/" + name; }
};

// The bytes of a file ("" when it cannot be read), and a file made of `text`.
inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
inline void writeFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

#endif  // Z_TESTS_ZTESTSUPPORT_H_
