// zbase tests: ZBuffer and ZConstBuffer.
#include "Z/ZBuffer.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "ZCollectionTestObjects.h"

// Failed allocations come back as null also under the sanitizers, so that the
// buffer's own out-of-memory path can be reached.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace {

std::string bytes(const ZAbstractBuffer& b) {
  return std::string(static_cast<const char*>(b.getBuffer()), b.getLength());
}

TEST(ZBufferTest, CopiesAreDeepAndLengthChangesKeepTheBlock) {
  ZBuffer abc("abc");
  EXPECT_EQ(bytes(abc), std::string("abc", 4));  // with its terminating zero
  abc.setBuffer(static_cast<char*>(nullptr));
  EXPECT_EQ(abc.getLength(), 0u);
  EXPECT_EQ(static_cast<void*>(abc), nullptr);

  char raw[] = "0123456789";
  ZBuffer b(10, raw);
  ZBuffer c(b);
  EXPECT_NE(c.getBuffer(), b.getBuffer());
  EXPECT_EQ(bytes(c), "0123456789");
  // Shrinking only shortens; growing again keeps the first bytes.
  b.setLength(4);
  b.setLength(10);
  EXPECT_EQ(bytes(b).substr(0, 4), "0123");

  // takeBuffer hands the block over; setBufferNoCopy adopts it back.
  unsigned long n = 0;
  void* p = nullptr;
  void* block = b.getBuffer();
  EXPECT_EQ(b.takeBuffer(n, p), block);
  EXPECT_EQ(n, 10u);
  EXPECT_EQ(b.getBuffer(), nullptr);
  EXPECT_EQ(b.getLength(), 0u);
  c.setBufferNoCopy(n, p);
  EXPECT_EQ(c.getBuffer(), block);
}

TEST(ZBufferTest, FailedGrowthThrowsAndGivesUpTheBlock) {
  const unsigned long huge = 1ul << 62;
  ZBuffer b("abc");
  void* old = b.getBuffer();
  expectThrowAt<ZOutOfMemoryException>([&] { b.setLength(huge); }, 1, "src/Z/ZBuffer", 143);
  EXPECT_EQ(b.getBuffer(), nullptr);
  EXPECT_EQ(b.getLength(), 4u);  // the former length stays
  std::free(old);                // abandoned by the buffer
}

TEST(ZBufferTest, CompareOrdersByLengthThenUnsignedBytes) {
  struct Case {
    const char* a;
    unsigned long na;
    const char* b;
    unsigned long nb;
    int expected;
  };
  const Case cases[] = {
      {"b", 1, "aa", 2, -1},   {"aa", 2, "b", 1, 1}, {"abc", 3, "abd", 3, -1},
      {"\x80", 1, "\x7f", 1, 1}, {"abc", 3, "abc", 3, 0}, {"x\0y", 3, "x\0z", 3, -1},
      {"", 0, "", 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.a, c.na) + " vs " + std::string(c.b, c.nb));
    ZBuffer a(c.na, const_cast<char*>(c.a));
    ZConstBuffer view(c.nb, const_cast<char*>(c.b));
    EXPECT_EQ(a.compare(view), c.expected);
  }
}

TEST(ZBufferTest, ConstBufferOnlyRefersToItsBytes) {
  char data[] = "stack bytes";  // a free() of these would be caught by the sanitizers
  ZConstBuffer v(5, data);
  ZConstBuffer copy(v);
  ZObject* cl = v.clone();
  EXPECT_EQ(copy.getBuffer(), static_cast<void*>(data));
  EXPECT_EQ(static_cast<ZConstBuffer*>(cl)->getBuffer(), static_cast<void*>(data));
  delete cl;
  v.setLength(11);
  EXPECT_EQ(bytes(v), "stack bytes");
  unsigned long n = 0;
  void* p = nullptr;
  v.takeBuffer(n, p);
  EXPECT_EQ(n, 11u);
  EXPECT_EQ(v.getBuffer(), nullptr);
}

}  // namespace
