// zbase tests: ZBuffer and ZConstBuffer.
#include "Z/ZBuffer.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "ZCollectionTestObjects.h"

// A failed allocation must come back as null, also under the sanitizers,
// so that the buffer's own out-of-memory path can be seen.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace {

std::string bytes(const ZAbstractBuffer& b) {
  return std::string(static_cast<const char*>(b.getBuffer()), b.getLength());
}

TEST(ZBufferTest, TextsKeepTheirTerminatingZero) {
  ZBuffer abc("abc");
  EXPECT_EQ(abc.getLength(), 4u);
  EXPECT_EQ(bytes(abc), std::string("abc", 4));
  ZBuffer none(static_cast<const char*>(nullptr));
  EXPECT_EQ(none.getLength(), 0u);
  EXPECT_EQ(none.getBuffer(), nullptr);

  char text[] = "hello";
  abc.setBuffer(text);
  EXPECT_EQ(bytes(abc), std::string("hello", 6));
  abc.setBuffer(static_cast<char*>(nullptr));
  EXPECT_EQ(abc.getLength(), 0u);
  EXPECT_EQ(abc.getBuffer(), nullptr);
  EXPECT_EQ(static_cast<void*>(abc), nullptr);
}

TEST(ZBufferTest, CopiesAreDeepAndLengthChangesKeepTheBlock) {
  char raw[] = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
  ZBuffer b(10, raw);
  ASSERT_NE(b.getBuffer(), static_cast<void*>(raw));
  ZBuffer c(b);
  ZObject* d = b.clone();
  ZBuffer e;
  e = b;
  for (const ZAbstractBuffer* x : {static_cast<const ZAbstractBuffer*>(&c),
                                   static_cast<const ZAbstractBuffer*>(d),
                                   static_cast<const ZAbstractBuffer*>(&e)}) {
    EXPECT_NE(x->getBuffer(), b.getBuffer());
    EXPECT_EQ(bytes(*x), "0123456789");
  }
  delete d;
  e = e;
  EXPECT_EQ(bytes(e), "0123456789");

  // Shrinking only shortens; growing again keeps the first bytes.
  b.setLength(4);
  EXPECT_EQ(bytes(b), "0123");
  b.setLength(10);
  EXPECT_EQ(b.getLength(), 10u);
  EXPECT_EQ(bytes(b).substr(0, 4), "0123");
  b.setLength(0);
  EXPECT_EQ(b.getBuffer(), nullptr);
  b.setLength(0);  // nothing to free
  EXPECT_EQ(b.getLength(), 0u);
}

TEST(ZBufferTest, TakeAndAdoptHandTheBlockOver) {
  ZBuffer b("xyz");
  void* block = b.getBuffer();
  unsigned long n = 99;
  void* p = nullptr;
  EXPECT_EQ(b.takeBuffer(n, p), block);
  EXPECT_EQ(p, block);
  EXPECT_EQ(n, 4u);
  EXPECT_EQ(b.getLength(), 0u);
  EXPECT_EQ(b.getBuffer(), nullptr);
  // The block now belongs to us; the buffer adopts it back without copying
  // and frees it when it dies.
  b.setBufferNoCopy(n, p);
  EXPECT_EQ(b.getBuffer(), block);
  EXPECT_EQ(bytes(b), std::string("xyz", 4));
}

TEST(ZBufferTest, FailedGrowthThrowsAndGivesUpTheBlock) {
  const unsigned long huge = 1ul << 62;
  ZBuffer empty;
  expectThrowAt<ZOutOfMemoryException>([&] { empty.setLength(huge); }, 1, "src/Z/ZBuffer", 143);
  EXPECT_EQ(empty.getLength(), 0u);

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
      {"b", 1, "aa", 2, -1},       {"aa", 2, "b", 1, 1},          {"abc", 3, "abd", 3, -1},
      {"\x80", 1, "\x7f", 1, 1},   {"abc", 3, "abc", 3, 0},       {"", 0, "", 0, 0},
      {"x\0y", 3, "x\0z", 3, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.a, c.na) + " vs " + std::string(c.b, c.nb));
    ZBuffer a(c.na, const_cast<char*>(c.a));
    ZBuffer b(c.nb, const_cast<char*>(c.b));
    EXPECT_EQ(a.compare(b), c.expected);
    ZConstBuffer view(c.nb, const_cast<char*>(c.b));
    EXPECT_EQ(a.compare(view), c.expected);
  }
  char same[] = "zz";
  ZConstBuffer v1(2, same), v2(2, same);
  EXPECT_EQ(v1.compare(v2), 0);
  EXPECT_TRUE(v1 == v2);
}

TEST(ZBufferTest, ConstBufferOnlyRefersToItsBytes) {
  char data[] = "stack bytes";  // freeing these would be caught by the sanitizers
  {
    ZConstBuffer v(5, data);
    EXPECT_EQ(v.getBuffer(), static_cast<void*>(data));
    ZConstBuffer copy(v);
    ZObject* cl = v.clone();
    ZConstBuffer assigned;
    assigned = v;
    EXPECT_EQ(copy.getBuffer(), static_cast<void*>(data));
    EXPECT_EQ(static_cast<ZConstBuffer*>(cl)->getBuffer(), static_cast<void*>(data));
    EXPECT_EQ(assigned.getLength(), 5u);
    delete cl;

    v.setLength(11);
    EXPECT_EQ(bytes(v), "stack bytes");
    unsigned long n = 0;
    void* p = nullptr;
    EXPECT_EQ(v.takeBuffer(n, p), static_cast<void*>(data));
    EXPECT_EQ(n, 11u);
    EXPECT_EQ(v.getLength(), 0u);
    EXPECT_EQ(v.getBuffer(), nullptr);
    v.setBuffer(3, data + 6);
    EXPECT_EQ(bytes(v), "byt");
  }
  EXPECT_STREQ(data, "stack bytes");
}

}  // namespace
