// zbase: tests of the C interface to stanza files: codes, batch reads,
// iterators, stored text and the validity marks of handles.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <new>
#include <string>

#include "Z/ZException.h"
#include "Z/zproperties_c.h"

namespace {

const char kSample[] =
    "# sample\n"
    "[s]\n"
    "name = alpha\n"
    "num = 0x10\n"
    "flag = yes\n"
    "bad = maybe\n"
    "empty =\n"
    "# three values\n"
    "multi = a\n"
    "multi = b\n"
    "multi = c\n"
    "big = -9000000000\n"
    "\n"
    "[t]\n"
    "k = v\n";

const ZPROPOpenMode kRead = ZPROP_OPEN_READ;

class ZPropertiesCTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/zprop-c-test-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(tmpl));
    dir_ = tmpl;
    file_ = dir_ + "/app.conf";
    write(file_, kSample);
    ASSERT_EQ(0, zstzPropOpen(&h_, file_.c_str(), kRead));
  }
  void TearDown() override {
    zstzPropClose(h_);
    std::filesystem::remove_all(dir_);
  }
  static void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  std::string dir_, file_;
  ZPROP_handle* h_ = nullptr;
};

// A live handle whose first mark is broken: every function must refuse it.
struct BrokenHandle : ZPROP_stz_handle {
  BrokenHandle() : ZPROP_stz_handle(kRead) { magic1 = 0; }
};

TEST_F(ZPropertiesCTest, EveryCallGivesTheCodeOfItsPath) {
  BrokenHandle broken;
  ZPROP_handle* bad = &broken;
  int rc = -1;
  // Each row gives "value/rc"; rc -1 means the call left it untouched.
  using Call = std::function<long long()>;
  const struct {
    const char* what;
    Call call;
    const char* expected;
  } rows[] = {
      {"exists stanza", [&] { return zstzPropExists(h_, "s", nullptr, &rc); }, "1/0"},
      {"exists key", [&] { return zstzPropExists(h_, "s", "nope", &rc); }, "0/0"},
      {"exists null stanza", [&] { return zstzPropExists(h_, nullptr, "k", &rc); }, "0/-1"},
      {"exists bad", [&] { return zstzPropExists(bad, "s", "name", &rc); }, "0/55"},
      {"stanzas", [&] { return zstzPropNumStanzas(h_, &rc); }, "2/0"},
      {"stanzas bad", [&] { return zstzPropNumStanzas(bad, &rc); }, "0/55"},
      {"keys", [&] { return zstzPropNumKeys(h_, "s", &rc); }, "7/0"},
      {"keys null", [&] { return zstzPropNumKeys(h_, nullptr, &rc); }, "0/-1"},
      {"keys bad", [&] { return zstzPropNumKeys(bad, "s", &rc); }, "0/55"},
      {"values", [&] { return zstzPropNumValues(h_, "s", "multi", &rc); }, "3/0"},
      {"values null key", [&] { return zstzPropNumValues(h_, "s", nullptr, &rc); }, "0/-1"},
      {"bool", [&] { return zstzPropGetBooleanValue(h_, "s", "flag", 1, &rc); }, "1/0"},
      {"bool invalid", [&] { return zstzPropGetBooleanValue(h_, "s", "bad", 1, &rc); }, "0/53"},
      {"bool missing", [&] { return zstzPropGetBooleanValue(h_, "s", "no", 1, &rc); }, "0/54"},
      {"bool optional", [&] { return zstzPropGetBooleanValue(h_, "s", "no", 0, &rc); }, "0/0"},
      {"bool null key", [&] { return zstzPropGetBooleanValue(h_, "s", nullptr, 1, &rc); }, "55/-1"},
      {"bool bad", [&] { return zstzPropGetBooleanValue(bad, "s", "flag", 1, &rc); }, "0/55"},
      {"int", [&] { return zstzPropGetIntegerValue(h_, "s", "num", 1, &rc); }, "16/0"},
      {"int invalid", [&] { return zstzPropGetIntegerValue(h_, "s", "bad", 0, &rc); }, "0/53"},
      {"int null key", [&] { return zstzPropGetIntegerValue(h_, "s", nullptr, 1, &rc); }, "55/-1"},
      {"long", [&] { return zstzPropGetLongLongValue(h_, "s", "big", 1, &rc); }, "-9000000000/0"},
      {"long hex", [&] { return zstzPropGetLongLongValue(h_, "s", "num", 0, &rc); }, "0/53"},
      {"long no value", [&] { return zstzPropGetLongLongValue(h_, "s", "empty", 0, &rc); }, "0/0"},
      {"long missing", [&] { return zstzPropGetLongLongValue(h_, "t", "x", 1, &rc); }, "0/54"},
      {"long null rc", [&] { return zstzPropGetLongLongValue(h_, "s", "big", 1, nullptr); },
       "55/-1"},
      {"set bad", [&] { return zstzPropSetStringValue(bad, "s", "k", "v"); }, "55/-1"},
      {"set null key", [&] { return zstzPropSetIntegerValue(h_, "s", nullptr, 1); }, "55/-1"},
      {"set empty stanza", [&] { return zstzPropSetBooleanValue(h_, "", "k", 1); }, "52/-1"},
      {"set long empty key", [&] { return zstzPropSetLongLongValue(h_, "s", "", 1); }, "52/-1"},
      {"remove key null", [&] { return zstzPropRemoveKey(h_, "s", nullptr); }, "55/-1"},
      {"remove key empty", [&] { return zstzPropRemoveKey(h_, "", "k"); }, "52/-1"},
      {"remove stanza null", [&] { return zstzPropRemoveStanza(h_, nullptr); }, "55/-1"},
      {"remove stanza empty", [&] { return zstzPropRemoveStanza(h_, ""); }, "52/-1"},
      {"file comment null", [&] { return zstzPropAddFileComment(h_, nullptr); }, "55/-1"},
      {"stanza comment bad", [&] { return zstzPropAddStanzaComment(bad, "s", "#"); }, "55/-1"},
      {"stanza comment empty", [&] { return zstzPropAddStanzaComment(h_, "", "#"); }, "52/-1"},
      {"line comment null", [&] { return zstzPropAddLineComment(h_, "s", "k", nullptr); }, "55/-1"},
      {"line comment empty", [&] { return zstzPropAddLineComment(h_, "s", "", "#"); }, "52/-1"},
      {"store bad", [&] { return zstzPropStore(bad, nullptr); }, "55/-1"},
      {"store nowhere", [&] { return zstzPropStore(h_, "/nonexistent/dir/x"); }, "51/-1"},
      {"iter bad", [&] { return zstzPropIter_init(bad, "s", nullptr, nullptr); }, "55/-1"},
      {"iter close null", [&] { return zstzPropIter_close(nullptr); }, "55/-1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    rc = -1;
    const long long value = row.call();
    EXPECT_EQ(row.expected, std::to_string(value) + "/" + std::to_string(rc));
  }
  // Unexpected exceptions leave the readers as they are: deliberate.
  EXPECT_THROW(zstzPropGetIntegerValue(h_, "", "k", 1, &rc), ZInvalidParameterException);
  EXPECT_THROW(zstzPropNumKeys(h_, "", &rc), ZInvalidParameterException);
  zstzPropClose(bad);  // ignored: it is not ours to delete
  EXPECT_EQ(0u, broken.magic1);
}

TEST_F(ZPropertiesCTest, OpenRefusesBadArgumentsAndLeavesNoHandle) {
  ZPROP_handle* h = h_;
  EXPECT_EQ(55, zstzPropOpen(nullptr, file_.c_str(), kRead));
  EXPECT_EQ(55, zstzPropOpen(&h, nullptr, kRead));
  EXPECT_EQ(55, zstzPropOpen(&h, file_.c_str(), static_cast<ZPROPOpenMode>(0)));
  EXPECT_EQ(55, zstzPropOpen(&h, file_.c_str(), static_cast<ZPROPOpenMode>(3)));
  EXPECT_EQ(h_, h);
  EXPECT_EQ(51, zstzPropOpen(&h, (dir_ + "/missing").c_str(), kRead));
  EXPECT_EQ(nullptr, h);
  write(dir_ + "/broken", "[s\n");
  h = h_;
  EXPECT_EQ(51, zstzPropOpen(&h, (dir_ + "/broken").c_str(), ZPROP_OPEN_READWRITE));
  EXPECT_EQ(nullptr, h);
}

TEST_F(ZPropertiesCTest, StringValuesCarryTheirMarkAndFreeIgnoresOthers) {
  int rc = -1;
  EXPECT_EQ(nullptr, zstzPropGetStringValue(h_, "s", "empty", 0, &rc));
  EXPECT_EQ(0, rc);
  EXPECT_EQ(nullptr, zstzPropGetStringValue(h_, "s", "empty", 1, &rc));
  EXPECT_EQ(54, rc);
  char* text = zstzPropGetStringValue(h_, "s", "multi", 1, &rc);
  ASSERT_NE(nullptr, text);
  EXPECT_STREQ("c", text);
  EXPECT_EQ(0, std::memcmp(text - 4, "\xEE\xEE\xFF\xC0", 4));
  zstzPropFree(text);  // a leak here fails the sanitizer build
  char foreign[] = "xxxxabc";
  zstzPropFree(foreign + 4);
  zstzPropFree(nullptr);
  EXPECT_STREQ("xxxxabc", foreign);
}

TEST_F(ZPropertiesCTest, GetValuesServesAllFourTypesAndKeepsResultsBeforeAFailure) {
  int flag = -1;
  unsigned int num = 0;
  char* name = nullptr;
  char* empty = reinterpret_cast<char*>(1);
  char** multi = nullptr;
  char** none = nullptr;
  ZPROPValueRequest req[] = {{ZPROP_TYPE_BOOLEAN, "s", "flag", 0, &flag},
                             {ZPROP_TYPE_INTEGER, "s", "num", 0, &num},
                             {ZPROP_TYPE_STRING, "s", "name", 0, &name},
                             {ZPROP_TYPE_STRING, "s", "empty", 1, &empty},
                             {ZPROP_TYPE_STRING_LIST, "s", "multi", 0, &multi},
                             {ZPROP_TYPE_STRING_LIST, "s", "gone", 0, &none},
                             {ZPROP_TYPE_INTEGER, "s", "no", 0, &num},
                             {ZPROP_TYPE_BOOLEAN, "s", "bad", 1, &flag}};
  EXPECT_EQ(0, zstzPropGetValues(h_, req, 6));
  EXPECT_EQ(1, flag);
  EXPECT_EQ(16u, num);
  EXPECT_STREQ("alpha", name);
  EXPECT_EQ(nullptr, empty);
  ASSERT_NE(nullptr, multi);
  EXPECT_STREQ("a", multi[0]);
  EXPECT_STREQ("c", multi[2]);
  EXPECT_EQ(nullptr, multi[3]);
  ASSERT_NE(nullptr, none);
  EXPECT_EQ(nullptr, none[0]);
  zstzPropFreeValuesList(h_, req, 6);
  EXPECT_EQ(nullptr, name);
  EXPECT_EQ(nullptr, multi);
  EXPECT_EQ(nullptr, none);
  // A must-exist miss stops the batch with 54 and keeps what came before it;
  // an optional miss (request 8) would not, an invalid value gives 53.
  EXPECT_EQ(54, zstzPropGetValues(h_, req, 7));
  EXPECT_NE(nullptr, name);
  zstzPropFreeValuesList(h_, req, 7);
  req[6].optional = 1;
  EXPECT_EQ(53, zstzPropGetValues(h_, req, 8));
  EXPECT_EQ(0u, num);
  zstzPropFreeValuesList(h_, req, 8);
  EXPECT_EQ(nullptr, name);

  BrokenHandle broken;
  EXPECT_EQ(55, zstzPropGetValues(&broken, req, 1));
  EXPECT_EQ(55, zstzPropGetValues(h_, nullptr, 1));
  EXPECT_EQ(0, zstzPropGetValues(h_, nullptr, 0));
  EXPECT_EQ(0, zstzPropGetValues(h_, req, -1));
  ZPROPValueRequest odd[] = {{ZPROP_TYPE_STRING, "s", "name", 0, nullptr}, {9, "s", "k", 0, &num}};
  EXPECT_EQ(55, zstzPropGetValues(h_, odd, 1));
  try {
    zstzPropGetValues(h_, odd + 1, 1);
    FAIL() << "no exception";
  } catch (ZInvalidParameterException& e) {
    EXPECT_EQ(22UL, e.getErrorNumber());
    EXPECT_STREQ("src/Z/zproperties_c", e.who());
    EXPECT_EQ(324, e.where());
  }
}

TEST_F(ZPropertiesCTest, EditsAreStoredByteForByteAndDiscardedByClose) {
  ASSERT_EQ(0, zstzPropSetStringValue(h_, "s", "name", "beta"));
  ASSERT_EQ(0, zstzPropSetIntegerValue(h_, "t", "n", 4294967295u));
  ASSERT_EQ(0, zstzPropSetLongLongValue(h_, "u", "l", -5));
  ASSERT_EQ(0, zstzPropSetBooleanValue(h_, "t", "k", 0));
  ASSERT_EQ(0, zstzPropRemoveKey(h_, "s", "bad"));
  ASSERT_EQ(0, zstzPropRemoveKey(h_, "s", "big"));
  ASSERT_EQ(0, zstzPropRemoveStanza(h_, "u"));
  ASSERT_EQ(0, zstzPropAddFileComment(h_, "edited"));
  ASSERT_EQ(0, zstzPropAddStanzaComment(h_, "t", "# second"));
  ASSERT_EQ(0, zstzPropAddLineComment(h_, "s", "num", "hex"));
  ASSERT_EQ(0, zstzPropStore(h_, ""));
  // Where comments and blank lines land is the cache's rule; the blank line
  // before a removed stanza stays.
  const std::string expected =
      "#edited\n"
      "\n"
      "# sample\n"
      "[s]\n"
      "name = beta\n"
      "\n"
      "#hex\n"
      "num = 0x10\n"
      "flag = yes\n"
      "empty =\n"
      "# three values\n"
      "multi = a\n"
      "multi = b\n"
      "multi = c\n"
      "\n"
      "[t]\n"
      "# second\n"
      "\n"
      "k = no\n"
      "n = 4294967295\n"
      "\n";
  EXPECT_EQ(expected, slurp(file_));
  // Changes after the store go nowhere when the handle is closed.
  ASSERT_EQ(0, zstzPropSetStringValue(h_, "s", "name", "gamma"));
  zstzPropClose(h_);
  h_ = nullptr;
  EXPECT_EQ(expected, slurp(file_));
}

TEST_F(ZPropertiesCTest, IteratorsWalkKeysAndChangeValues) {
  ZPROP_iter_handle* it = nullptr;
  int rc = -1;
  ASSERT_EQ(0, zstzPropIter_init(h_, "t", nullptr, &it));
  EXPECT_EQ(nullptr, zstzPropIter_getKey(it, &rc));
  EXPECT_EQ(57, rc);
  EXPECT_EQ(1u, zstzPropIter_numKeys(it, &rc));
  EXPECT_EQ(0u, zstzPropIter_numValues(it, &rc));
  EXPECT_EQ(57, rc);
  EXPECT_EQ(57, zstzPropIter_addValue(it, "x"));
  EXPECT_EQ(1, zstzPropIter_next(it, &rc));
  EXPECT_STREQ("k", zstzPropIter_getKey(it, &rc));
  EXPECT_STREQ("v", zstzPropIter_getValue(it, nullptr, &rc));
  EXPECT_EQ(0, zstzPropIter_next(it, &rc));
  EXPECT_EQ(0, rc);
  EXPECT_EQ(0, zstzPropIter_close(it));
  // A key without values has no first value: the narrow catching lets the
  // walker's exception through.
  ASSERT_EQ(0, zstzPropIter_init(h_, "s", nullptr, &it));
  for (int i = 0; i < 5; ++i) zstzPropIter_next(it, &rc);
  EXPECT_STREQ("empty", zstzPropIter_getKey(it, &rc));
  EXPECT_THROW(zstzPropIter_getValue(it, nullptr, &rc), ZInvalidParameterException);
  EXPECT_EQ(0, zstzPropIter_close(it));

  ASSERT_EQ(0, zstzPropIter_init(h_, "s", "multi", &it));
  EXPECT_STREQ("multi", zstzPropIter_getKey(it, &rc));
  EXPECT_STREQ("", zstzPropIter_getValue(it, nullptr, &rc));
  EXPECT_EQ(57, zstzPropIter_rmvValue(it));  // no current value yet
  EXPECT_EQ(1u, zstzPropIter_numKeys(it, &rc));
  EXPECT_EQ(3u, zstzPropIter_numValues(it, &rc));
  EXPECT_EQ(1, zstzPropIter_next(it, &rc));
  EXPECT_EQ(0, zstzPropIter_rmvValue(it));  // a goes; the next step gives b
  EXPECT_EQ(1, zstzPropIter_next(it, &rc));
  EXPECT_STREQ("b", zstzPropIter_getValue(it, nullptr, &rc));
  EXPECT_EQ(0, zstzPropIter_chgValue(it, "B"));
  EXPECT_EQ(0, zstzPropIter_addValue(it, "b2"));
  // Deliberate: a value iterator with a broken mark is still changed, and
  // says 55.
  it->magic2 = 0;
  EXPECT_EQ(55, zstzPropIter_chgValue(it, "B2"));
  EXPECT_EQ(0, zstzPropIter_next(it, &rc));
  EXPECT_EQ(55, rc);
  EXPECT_EQ(55, zstzPropIter_close(it));  // still destroyed: no leak, lock released
  EXPECT_EQ(3u, zstzPropNumValues(h_, "s", "multi", &rc));
  char** values = nullptr;
  ZPROPValueRequest req = {ZPROP_TYPE_STRING_LIST, "s", "multi", 0, &values};
  ASSERT_EQ(0, zstzPropGetValues(h_, &req, 1));
  EXPECT_STREQ("B|B2|c", (std::string(values[0]) + "|" + values[1] + "|" + values[2]).c_str());
  zstzPropFreeValuesList(h_, &req, 1);

  EXPECT_EQ(55, zstzPropIter_init(h_, nullptr, nullptr, &it));
  EXPECT_EQ(nullptr, it);
  EXPECT_EQ(55, zstzPropIter_init(h_, "s", nullptr, nullptr));
}

// The destructors' wipe of the marks must survive the optimised build, so
// that a closed handle is refused. The storage is the test's own, so the
// dead handles can be checked without touching freed memory.
TEST_F(ZPropertiesCTest, ClosedHandlesFailTheValidityCheck) {
  alignas(ZPROP_stz_handle) unsigned char file[sizeof(ZPROP_stz_handle)];
  ZPROP_stz_handle* h = new (file) ZPROP_stz_handle(kRead);
  int rc = -1;
  EXPECT_EQ(0, zstzPropSetStringValue(h, "s", "k", "v"));
  EXPECT_EQ(1u, zstzPropNumStanzas(h, &rc));
  h->~ZPROP_stz_handle();
  EXPECT_EQ(0u, zstzPropNumStanzas(h, &rc));
  EXPECT_EQ(55, rc);
  zstzPropClose(h);  // must not destroy it twice, nor free the test's storage

  ZStanzaFileProperties& p = static_cast<ZPROP_stz_handle*>(h_)->properties;
  alignas(ZPROP_stzvalue_iter_handle) unsigned char iter[sizeof(ZPROP_stzvalue_iter_handle)];
  ZPROP_iter_handle* it = new (iter) ZPROP_stzvalue_iter_handle(p, "s", "multi");
  EXPECT_EQ(1, zstzPropIter_next(it, &rc));
  it->~ZPROP_iter_handle();
  EXPECT_EQ(0, zstzPropIter_next(it, &rc));
  EXPECT_EQ(55, rc);
  EXPECT_EQ(55, zstzPropIter_addValue(it, "x"));  // kind 0: nothing is done
  EXPECT_EQ(3u, zstzPropNumValues(h_, "s", "multi", &rc));
}

TEST_F(ZPropertiesCTest, APlainValueOverObfuscatedOnesIsRefused) {
  ZStanzaFileProperties p(1);
  p.setValue("db", "password", "secret", 1);
  p.store((dir_ + "/obf.conf").c_str());
  ZPROP_handle* h = nullptr;
  ASSERT_EQ(0, zstzPropOpen(&h, (dir_ + "/obf.conf").c_str(), kRead));
  EXPECT_EQ(52, zstzPropSetStringValue(h, "db", "password", "plain"));
  int rc = -1;
  char* text = zstzPropGetStringValue(h, "db", "password", 1, &rc);
  EXPECT_STREQ("secret", text);
  zstzPropFree(text);
  ZPROP_iter_handle* it = nullptr;
  ASSERT_EQ(0, zstzPropIter_init(h, "db", "password", &it));
  EXPECT_EQ(1, zstzPropIter_next(it, &rc));
  EXPECT_STREQ("secret", zstzPropIter_getValue(it, nullptr, &rc));
  EXPECT_EQ(0, zstzPropIter_close(it));
  zstzPropClose(h);
}

// The interface has no lock of its own: the properties object's lock
// serialises a setter and a walker on one handle.
TEST_F(ZPropertiesCTest, OneHandleServesTwoThreads) {
  auto setter = std::async(std::launch::async, [this] {
    int failed = 0;
    for (unsigned int i = 0; i < 200; ++i) {
      failed += zstzPropSetIntegerValue(h_, "w", ("k" + std::to_string(i % 10)).c_str(), i);
    }
    return failed;
  });
  auto walker = std::async(std::launch::async, [this] {
    int rc = 0, failed = 0;
    for (int i = 0; i < 50; ++i) {
      ZPROP_iter_handle* it = nullptr;
      failed += zstzPropIter_init(h_, "w", nullptr, &it);
      while (zstzPropIter_next(it, &rc))
        failed += zstzPropIter_getValue(it, nullptr, &rc) == nullptr;
      failed += zstzPropIter_close(it) + rc;
    }
    return failed;
  });
  for (auto* f : {&setter, &walker}) {
    if (f->wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      ADD_FAILURE() << "deadlock";
      _exit(3);
    }
  }
  EXPECT_EQ(0, setter.get() + walker.get());
  int rc = -1;
  EXPECT_EQ(199u, zstzPropGetIntegerValue(h_, "w", "k9", 1, &rc));
}

}  // namespace
