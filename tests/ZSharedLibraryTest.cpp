// zbase: tests of shared-library loading and the dynamic-loader wrappers.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>

#include "Z/ZException.h"
#include "Z/ZSharedLibrary.h"
#include "ZChildProcess.h"
#include "ZTestSupport.h"

namespace {

const std::string kDir = ZSHLIB_DIR;

std::string lib(const char* name) { return kDir + "/" + name; }

std::string notFound(const char* name) {
  return lib(name) + ": cannot open shared object file: No such file or directory";
}

typedef int (*IntFunction)();

int callAnswer(ZSharedLibrary& library) {
  return reinterpret_cast<IntFunction>(library.resolveSymbol("zshlib_answer"))();
}

// A library whose initialize hook asks the loaded library itself.
class AskingLibrary : public ZSharedLibrary {
 public:
  explicit AskingLibrary(const char* name) : ZSharedLibrary(name) {}
  int initialize() override {
    ++initializeCalls;
    return reinterpret_cast<IntFunction>(resolveSymbol("zshlib_init"))();
  }
  int initializeCalls = 0;
};

}  // namespace

TEST(ZSharedLibraryTest, LoaderWrappersReportErrorNumbers) {
  int e = -1;
  EXPECT_EQ(nullptr, zdlopen(nullptr, 0, &e));
  EXPECT_EQ(2, e);
  // The loader keeps the reason in its text; the number is whatever errno
  // holds after the call, never a stale value.
  errno = EBADF;
  EXPECT_EQ(nullptr, zdlopen(lib("libzshl_none.so").c_str(), 0, &e));
  EXPECT_EQ(errno, e);
  EXPECT_NE(EBADF, e);
  char* text = zdlerror(&e);
  EXPECT_EQ(notFound("libzshl_none.so"), text ? text : "(null)");
  std::free(text);
  EXPECT_EQ(nullptr, zdlerror(&e));  // reading the error clears it
  EXPECT_EQ(0, e);

  void* handle = zdlopen(lib("libzshl_plain.so").c_str(), 0, &e);
  ASSERT_NE(nullptr, handle);
  void* answer = zdlsym(handle, "zshlib_answer", &e);
  ASSERT_NE(nullptr, answer);
  EXPECT_EQ(0, e);
  EXPECT_EQ(42, reinterpret_cast<IntFunction>(answer)());
  EXPECT_EQ(nullptr, zdlsym(handle, "zshlib_missing", nullptr));
  text = zdlerror(nullptr);
  EXPECT_THAT(text ? text : "", testing::HasSubstr("undefined symbol: zshlib_missing"));
  std::free(text);
  EXPECT_EQ(nullptr, zdlsym(handle, nullptr, &e));
  EXPECT_EQ(nullptr, zdlsym(nullptr, "zshlib_answer", &e));
  EXPECT_EQ(0, zdlclose(handle, &e) + e);
  EXPECT_EQ(-1, zdlclose(nullptr, &e));
  EXPECT_EQ(2, e);
}

TEST(ZSharedLibraryTest, LoadsWithTheSuffixAddedOrCutOff) {
  // Found as given: no error is recorded.
  ZSharedLibrary plain(lib("libzshl_plain.so").c_str());
  plain.loadLibrary();
  EXPECT_EQ(42, callAnswer(plain));
  EXPECT_EQ(0, plain.getLastErrorNumber());
  EXPECT_STREQ("", plain.getLastErrorMessage().getChars());

  // Found at the first retry, with ".so" appended; the failure of the first
  // attempt stays recorded, and the name is as given.
  ZSharedLibrary retried(lib("libzshl_plain").c_str());
  retried.loadLibrary();
  EXPECT_EQ(42, callAnswer(retried));
  EXPECT_STREQ(lib("libzshl_plain").c_str(), retried.getLibraryName().getChars());
  EXPECT_EQ(notFound("libzshl_plain"), retried.getLastErrorMessage().getChars());

  // A file without the suffix, asked for with it: the suffix is cut.
  ZSharedLibrary bare(lib("libzshl_bare.so").c_str());
  bare.loadLibrary();
  EXPECT_EQ(9, callAnswer(bare));
  ZSharedLibrary direct(lib("libzshl_bare").c_str());
  direct.loadLibrary();
  EXPECT_EQ(bare.getHandle(), direct.getHandle());
  direct.unloadLibrary();
  EXPECT_EQ(nullptr, direct.getHandle());
  EXPECT_EQ(9, callAnswer(bare));  // still loaded through the other object
}

TEST(ZSharedLibraryTest, FailuresThrowWithTheLoadersText) {
  using Load = ZSharedLibraryLoadException;
  const char* const f = "src/Z/ZSharedLibrary";
  ZSharedLibrary none(lib("libzshl_none").c_str());
  expectThrowAt<Load>(
      [&] { none.loadLibrary(); }, 51, f, 155,
      [&](Load& e) {
        EXPECT_STREQ(lib("libzshl_none").c_str(), e.library());
        // The text of the last attempt, the name with ".so"; it stays readable.
        EXPECT_EQ(notFound("libzshl_none.so"), e.text());
        EXPECT_STREQ(e.text(), none.getLastErrorMessage().getChars());
        EXPECT_EQ(e.rc(), none.getLastErrorNumber());
        testing::internal::CaptureStderr();
        e.dumpException();
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    testing::HasSubstr("Shared library load/unload error (" + lib("libzshl_none") +
                                       ") " + std::to_string(e.rc()) + ".  " + e.text()));
      });
  EXPECT_EQ(nullptr, none.getHandle());

  ZSharedLibrary plain(lib("libzshl_plain.so").c_str());
  expectThrowAt<Load>([&] { plain.unloadLibrary(); }, 51, f, 172,
                      [](Load& e) {
                        EXPECT_EQ(2, e.rc());
                        EXPECT_STREQ("", e.text());  // the loader was not asked
                      });
  plain.loadLibrary();
  using Resolve = ZSharedLibraryResolveException;
  expectThrowAt<Resolve>([&] { plain.resolveSymbol("zshlib_missing"); }, 52, f, 184,
                         [&](Resolve& e) {
                           EXPECT_STREQ(lib("libzshl_plain.so").c_str(), e.library());
                           EXPECT_STREQ("zshlib_missing", e.symbol());
                           EXPECT_THAT(e.text(),
                                       testing::HasSubstr("undefined symbol: zshlib_missing"));
                           EXPECT_STREQ(e.text(), plain.getLastErrorMessage().getChars());
                         });
  EXPECT_EQ(42, callAnswer(plain));  // the library is still usable

  // A refusing initialize keeps the library loaded.
  AskingLibrary refuse(lib("libzshl_refuse").c_str());
  expectThrowAt<Load>([&] { refuse.loadLibrary(); }, 51, f, 162,
                      [&](Load& e) {
                        EXPECT_STREQ("initialize", e.text());
                        EXPECT_EQ(refuse.getLastErrorNumber(), e.rc());
                      });
  EXPECT_EQ(1, refuse.initializeCalls);
  EXPECT_EQ(7, callAnswer(refuse));
  refuse.unloadLibrary();
  AskingLibrary willing(lib("libzshl_plain.so").c_str());
  willing.loadLibrary();
  EXPECT_EQ(1, willing.initializeCalls);
}

TEST(ZSharedLibraryTest, ScopeAndResolutionFlags) {
  // Flags of 0 stand for RTLD_NOW | RTLD_GLOBAL, which the setters spell out.
  ZSharedLibrary l("x");
  EXPECT_EQ(0, l.getFlags());
  l.setLocalScope(1);
  l.setLazyResolution(1);
  EXPECT_EQ(RTLD_LAZY, l.getFlags());
  EXPECT_EQ(RTLD_LAZY, l.getLazyResolution());
  EXPECT_EQ(0, l.getLocalScope());  // never derived from the flags
  l.setLocalScope(0);
  l.setLazyResolution(0);
  EXPECT_EQ(RTLD_NOW | RTLD_GLOBAL, l.getFlags());
  EXPECT_EQ(0, l.getLazyResolution());

  // Global scope makes the library's symbols visible to everyone (checked in
  // children, before this process has loaded any library for good).
  auto visible = [](int local) {
    return inChild([local] {
      if (dlsym(RTLD_DEFAULT, "zshlib_answer") != nullptr) return 2;  // still loaded
      ZSharedLibrary plain(lib("libzshl_plain.so").c_str());
      plain.setLocalScope(local);
      plain.loadLibrary();
      return dlsym(RTLD_DEFAULT, "zshlib_answer") != nullptr ? 1 : 0;
    });
  };
  EXPECT_EQ(0, visible(1));
  EXPECT_EQ(1, visible(0));

  // A library with an unresolvable call loads only lazily.
  ZSharedLibrary eager(lib("libzshl_lazy").c_str());
  expectThrowAt<ZSharedLibraryLoadException>(
      [&] { eager.loadLibrary(); }, 51, "src/Z/ZSharedLibrary", 155,
      [](ZSharedLibraryLoadException& e) {
        EXPECT_THAT(e.text(), testing::HasSubstr("undefined symbol: zshlib_nowhere"));
      });
  ZSharedLibrary lazy(lib("libzshl_lazy.so").c_str());
  lazy.setLazyResolution(1);
  lazy.loadLibrary();
  EXPECT_EQ(5, callAnswer(lazy));
}

TEST(ZSharedLibraryTest, ComparesHashesAndClonesByName) {
  ZSharedLibrary a(lib("libzshl_plain.so").c_str(), RTLD_LAZY);
  ZSharedLibrary a2(lib("libzshl_plain.so").c_str());
  ZSharedLibrary b(lib("libzshl_refuse.so").c_str());
  EXPECT_TRUE(a.equals(a2) && a.hash() == a2.hash());
  EXPECT_EQ(-1, a.compare(b));
  EXPECT_EQ(1, b.compare(a));
  a.loadLibrary();
  std::unique_ptr<ZObject> copy(a.clone());
  ZSharedLibrary& c = dynamic_cast<ZSharedLibrary&>(*copy);
  EXPECT_TRUE(c.equals(a) && c.getFlags() == RTLD_LAZY);
  EXPECT_EQ(nullptr, c.getHandle());  // a copy is not loaded
}
