// zbase: tests of the C interface to stanza files: codes, batch reads,
// iterators, stored text and the validity marks of handles.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <string>

#include "Z/ZException.h"
#include "Z/zproperties_c.h"
#include "ZTestSupport.h"

namespace {

const char kSample[] =
    "# sample\n[s]\nname = alpha\nnum = 0x10\nflag = yes\nbad = maybe\nempty =\n# three values\n"
    "multi = a\nmulti = b\nmulti = c\nbig = -9000000000\n\n[t]\nk = v\n";
const ZPROPOpenMode kRead = ZPROP_OPEN_READ;

// Entries up to the ending null, joined by "|"; "null" for no list.
std::string joined(char** list) {
  if (list == nullptr) return "null";
  std::string out;
  for (; *list != nullptr; ++list) out += std::string(*list) + "|";
  return out;
}

class ZPropertiesCTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::ofstream(file_) << kSample;
    ASSERT_EQ(0, zstzPropOpen(&h_, file_.c_str(), kRead));
  }
  void TearDown() override { zstzPropClose(h_); }
  std::string slurp() const { return readFile(file_); }
  ZStanzaFileProperties& properties() { return static_cast<ZPROP_stz_handle*>(h_)->properties; }

  TempDir dir_;
  std::string file_ = dir_.file("app.conf");
  ZPROP_handle* h_ = nullptr;
};

// Live handles with a broken mark: every function must refuse them.
struct BrokenHandle : ZPROP_stz_handle {
  BrokenHandle() : ZPROP_stz_handle(kRead) { magic1 = 0; }
};
struct BrokenIterator : ZPROP_stz_iter_handle {
  explicit BrokenIterator(ZStanzaFileProperties& p) : ZPROP_stz_iter_handle(p, "s") { magic2 = 0; }
};

TEST_F(ZPropertiesCTest, EveryCallGivesTheCodeOfItsPath) {
  BrokenHandle broken;
  ZPROP_handle* bad = &broken;
  BrokenIterator badIt(properties());
  ZPROP_iter_handle *keys = nullptr, *vals = nullptr;
  ASSERT_EQ(0, zstzPropIter_init(h_, "t", nullptr, &keys));
  ASSERT_EQ(0, zstzPropIter_init(h_, "s", "multi", &vals));
  ZPROP_handle* other = h_;
  const char* file = file_.c_str();
  int rc = -1;
  // Each row gives "value/rc"; rc -1 means the call left it untouched.
  const struct {
    const char* what;
    std::function<long long()> call;
    const char* expected;
  } rows[] = {
      {"open null out", [&] { return zstzPropOpen(nullptr, file, kRead); }, "55/-1"},
      {"open null file", [&] { return zstzPropOpen(&other, nullptr, kRead); }, "55/-1"},
      {"open mode 0", [&] { return zstzPropOpen(&other, file, ZPROPOpenMode(0)); }, "55/-1"},
      {"open mode 3", [&] { return zstzPropOpen(&other, file, ZPROPOpenMode(3)); }, "55/-1"},
      {"exists stanza", [&] { return zstzPropExists(h_, "s", nullptr, &rc); }, "1/0"},
      {"exists key", [&] { return zstzPropExists(h_, "s", "nope", &rc); }, "0/0"},
      {"exists null stanza", [&] { return zstzPropExists(h_, nullptr, "k", &rc); }, "0/-1"},
      {"exists bad", [&] { return zstzPropExists(bad, "s", "name", &rc); }, "0/55"},
      {"stanzas", [&] { return zstzPropNumStanzas(h_, &rc); }, "2/0"},
      {"keys", [&] { return zstzPropNumKeys(h_, "s", &rc); }, "7/0"},
      {"keys null", [&] { return zstzPropNumKeys(h_, nullptr, &rc); }, "0/-1"},
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
      {"long null rc", [&] { return zstzPropGetLongLongValue(h_, "s", "big", 1, nullptr); },
       "55/-1"},
      {"string bad", [&] { return !!zstzPropGetStringValue(bad, "s", "k", 0, &rc); }, "0/55"},
      {"set bad", [&] { return zstzPropSetStringValue(bad, "s", "k", "v"); }, "55/-1"},
      {"set null key", [&] { return zstzPropSetIntegerValue(h_, "s", nullptr, 1); }, "55/-1"},
      {"set empty stanza", [&] { return zstzPropSetBooleanValue(h_, "", "k", 1); }, "52/-1"},
      {"remove key null", [&] { return zstzPropRemoveKey(h_, "s", nullptr); }, "55/-1"},
      {"remove stanza null", [&] { return zstzPropRemoveStanza(h_, nullptr); }, "55/-1"},
      {"remove stanza empty", [&] { return zstzPropRemoveStanza(h_, ""); }, "52/-1"},
      {"file comment null", [&] { return zstzPropAddFileComment(h_, nullptr); }, "55/-1"},
      {"stanza comment bad", [&] { return zstzPropAddStanzaComment(bad, "s", "#"); }, "55/-1"},
      {"line comment null", [&] { return zstzPropAddLineComment(h_, "s", "k", nullptr); }, "55/-1"},
      {"store bad", [&] { return zstzPropStore(bad, nullptr); }, "55/-1"},
      {"store nowhere", [&] { return zstzPropStore(h_, "/nonexistent/dir/x"); }, "51/-1"},
      {"iter bad", [&] { return zstzPropIter_init(bad, "s", nullptr, nullptr); }, "55/-1"},
      {"iter close null", [&] { return zstzPropIter_close(nullptr); }, "55/-1"},
      // Iterators before their first step.
      {"keys key", [&] { return !!zstzPropIter_getKey(keys, &rc); }, "0/57"},
      {"keys value", [&] { return !!zstzPropIter_getValue(keys, nullptr, &rc); }, "0/57"},
      {"keys count", [&] { return zstzPropIter_numKeys(keys, &rc); }, "1/0"},
      {"keys values", [&] { return zstzPropIter_numValues(keys, &rc); }, "0/57"},
      {"keys add", [&] { return zstzPropIter_addValue(keys, "x"); }, "57/-1"},
      {"vals key", [&] { return !!zstzPropIter_getKey(vals, &rc); }, "1/0"},
      {"vals value", [&] { return *zstzPropIter_getValue(vals, nullptr, &rc); }, "0/0"},
      {"vals count", [&] { return zstzPropIter_numKeys(vals, &rc); }, "1/0"},
      {"vals values", [&] { return zstzPropIter_numValues(vals, &rc); }, "3/0"},
      {"vals remove", [&] { return zstzPropIter_rmvValue(vals); }, "57/-1"},
      {"bad next", [&] { return zstzPropIter_next(&badIt, &rc); }, "0/55"},
      {"bad values", [&] { return zstzPropIter_numValues(&badIt, &rc); }, "0/55"},
      {"bad key iter add", [&] { return zstzPropIter_addValue(&badIt, "x"); }, "57/-1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    rc = -1;
    const long long value = row.call();
    EXPECT_EQ(row.expected, std::to_string(value) + "/" + std::to_string(rc));
  }
  EXPECT_EQ(h_, other);  // refused opens leave the out pointer alone
  EXPECT_EQ(51, zstzPropOpen(&other, dir_.file("missing").c_str(), kRead));
  EXPECT_EQ(nullptr, other);
  std::ofstream(dir_.file("broken")) << "[s\n";
  other = h_;
  EXPECT_EQ(51, zstzPropOpen(&other, dir_.file("broken").c_str(), ZPROP_OPEN_READWRITE));
  EXPECT_EQ(nullptr, other);
  // Unexpected exceptions leave the readers as they are: deliberate.
  EXPECT_THROW(zstzPropGetIntegerValue(h_, "", "k", 1, &rc), ZInvalidParameterException);
  EXPECT_THROW(zstzPropNumKeys(h_, "", &rc), ZInvalidParameterException);
  zstzPropClose(bad);  // ignored: were it deleted, the stack would be freed
  EXPECT_EQ(0, zstzPropIter_close(keys) + zstzPropIter_close(vals));
}

TEST_F(ZPropertiesCTest, StringValuesCarryTheirMarkAndFreeIgnoresOthers) {
  int rc = -1;
  EXPECT_EQ(nullptr, zstzPropGetStringValue(h_, "s", "empty", 0, &rc));
  EXPECT_EQ(0, rc);
  EXPECT_EQ(nullptr, zstzPropGetStringValue(h_, "s", "empty", 1, &rc));
  EXPECT_EQ(54, rc);
  char* text = zstzPropGetStringValue(h_, "s", "multi", 1, &rc);
  ASSERT_STREQ("c", text);
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
  char *name = nullptr, *empty = file_.data();
  char **multi = nullptr, **none = nullptr;
  ZPROPValueRequest req[] = {{ZPROP_TYPE_BOOLEAN, "s", "flag", 0, &flag},
                             {ZPROP_TYPE_INTEGER, "s", "num", 0, &num},
                             {ZPROP_TYPE_STRING, "s", "name", 0, &name},
                             {ZPROP_TYPE_STRING, "s", "empty", 1, &empty},
                             {ZPROP_TYPE_STRING_LIST, "s", "multi", 0, &multi},
                             {ZPROP_TYPE_STRING_LIST, "s", "gone", 0, &none},
                             {ZPROP_TYPE_INTEGER, "s", "no", 0, &num},
                             {ZPROP_TYPE_BOOLEAN, "s", "bad", 1, &flag}};
  EXPECT_EQ(0, zstzPropGetValues(h_, req, 6));
  EXPECT_EQ("1 16 alpha", std::to_string(flag) + " " + std::to_string(num) + " " + name);
  EXPECT_EQ(nullptr, empty);
  EXPECT_EQ("a|b|c|", joined(multi));  // four entries, the last null
  EXPECT_EQ("", joined(none));
  zstzPropFreeValuesList(h_, req, 6);
  EXPECT_EQ(nullptr, name);
  EXPECT_EQ("null null", joined(multi) + " " + joined(none));
  // A must-exist miss stops the batch with 54, an invalid value with 53
  // (after an optional miss); what came before stays.
  EXPECT_EQ(54, zstzPropGetValues(h_, req, 7));
  EXPECT_EQ("alpha a|b|c|", std::string(name) + " " + joined(multi));
  zstzPropFreeValuesList(h_, req, 7);
  req[6].optional = 1;
  EXPECT_EQ(53, zstzPropGetValues(h_, req, 8));
  EXPECT_EQ(0u, num);
  zstzPropFreeValuesList(h_, req, 8);

  BrokenHandle broken;
  EXPECT_EQ(55, zstzPropGetValues(&broken, req, 1));
  EXPECT_EQ(55, zstzPropGetValues(h_, nullptr, 1));
  EXPECT_EQ(0, zstzPropGetValues(h_, nullptr, 0) + zstzPropGetValues(h_, req, -1));
  ZPROPValueRequest odd[] = {{ZPROP_TYPE_STRING, "s", "name", 0, nullptr}, {9, "s", "k", 0, &num}};
  EXPECT_EQ(55, zstzPropGetValues(h_, odd, 1));
  expectThrowAt<ZInvalidParameterException>([&] { zstzPropGetValues(h_, odd + 1, 1); }, 22,
                                            "src/Z/zproperties_c", 323);
}

TEST_F(ZPropertiesCTest, EditsAreStoredByteForByteAndDiscardedByClose) {
  ASSERT_EQ(0, zstzPropSetStringValue(h_, "s", "name", "beta"));
  ASSERT_EQ(0, zstzPropSetIntegerValue(h_, "t", "n", 4294967295u));
  ASSERT_EQ(0, zstzPropSetLongLongValue(h_, "u", "l", -5));
  ASSERT_EQ(0, zstzPropSetBooleanValue(h_, "t", "k", 0));
  ASSERT_EQ(0, zstzPropRemoveKey(h_, "s", "bad") + zstzPropRemoveKey(h_, "s", "big"));
  ASSERT_EQ(0, zstzPropRemoveStanza(h_, "u"));
  ASSERT_EQ(0, zstzPropAddFileComment(h_, "edited"));
  ASSERT_EQ(0, zstzPropAddStanzaComment(h_, "t", "# second"));
  ASSERT_EQ(0, zstzPropAddLineComment(h_, "s", "num", "hex"));
  ASSERT_EQ(0, zstzPropStore(h_, ""));
  // Where comments and blank lines land is the cache's rule; the blank line
  // before a removed stanza stays.
  const std::string expected =
      "#edited\n\n# sample\n[s]\nname = beta\n\n#hex\nnum = 0x10\nflag = yes\nempty =\n"
      "# three values\nmulti = a\nmulti = b\nmulti = c\n\n"
      "[t]\n# second\n\nk = no\nn = 4294967295\n\n";
  EXPECT_EQ(expected, slurp());
  ASSERT_EQ(0, zstzPropSetStringValue(h_, "s", "name", "gamma"));
  zstzPropClose(h_);
  h_ = nullptr;
  EXPECT_EQ(expected, slurp());
}

TEST_F(ZPropertiesCTest, IteratorsWalkKeysAndChangeValues) {
  ZPROP_iter_handle* it = nullptr;
  int rc = -1;
  std::string seen;
  ASSERT_EQ(0, zstzPropIter_init(h_, "s", nullptr, &it));
  while (zstzPropIter_next(it, &rc)) {
    const std::string key = zstzPropIter_getKey(it, &rc);
    seen += key;
    if (key == "empty") break;
    seen += std::string("=") + zstzPropIter_getValue(it, nullptr, &rc) + " ";
  }
  EXPECT_EQ("name=alpha num=0x10 flag=yes bad=maybe empty", seen);
  // A key without values has no first value: the narrow catching lets the
  // walker's exception through.
  EXPECT_THROW(zstzPropIter_getValue(it, nullptr, &rc), ZInvalidParameterException);
  EXPECT_EQ(0, zstzPropIter_close(it));

  ASSERT_EQ(0, zstzPropIter_init(h_, "s", "multi", &it));
  EXPECT_EQ(1, zstzPropIter_next(it, &rc));
  EXPECT_EQ(0, zstzPropIter_rmvValue(it));  // a goes; the next step gives b
  EXPECT_EQ(1, zstzPropIter_next(it, &rc));
  EXPECT_STREQ("b", zstzPropIter_getValue(it, nullptr, &rc));
  EXPECT_EQ(0, zstzPropIter_chgValue(it, "B") + zstzPropIter_addValue(it, "b2"));
  // Deliberate: a value iterator with a broken mark is still changed, and
  // says 55; closing destroys it all the same (no leak, lock released).
  it->magic2 = 0;
  EXPECT_EQ(55, zstzPropIter_chgValue(it, "B2"));
  EXPECT_EQ(55, zstzPropIter_close(it));
  char** values = nullptr;
  ZPROPValueRequest req = {ZPROP_TYPE_STRING_LIST, "s", "multi", 0, &values};
  ASSERT_EQ(0, zstzPropGetValues(h_, &req, 1));
  EXPECT_EQ("B|B2|c|", joined(values));
  zstzPropFreeValuesList(h_, &req, 1);

  EXPECT_EQ(55, zstzPropIter_init(h_, nullptr, nullptr, &it));
  EXPECT_EQ(nullptr, it);
}

// The destructors' wipe of the marks must survive the optimised build, so
// that a closed handle is refused. The storage is the test's own, so the
// dead handles can be checked without touching freed memory.
TEST_F(ZPropertiesCTest, ClosedHandlesFailTheValidityCheck) {
  alignas(ZPROP_stz_handle) unsigned char file[sizeof(ZPROP_stz_handle)];
  ZPROP_stz_handle* h = new (file) ZPROP_stz_handle(kRead);
  int rc = -1;
  EXPECT_EQ(0, zstzPropSetStringValue(h, "s", "k", "v"));
  h->~ZPROP_stz_handle();
  EXPECT_EQ(0u, zstzPropNumStanzas(h, &rc));
  EXPECT_EQ(55, rc);
  zstzPropClose(h);  // must not destroy it twice, nor free the test's storage

  alignas(ZPROP_stzvalue_iter_handle) unsigned char iter[sizeof(ZPROP_stzvalue_iter_handle)];
  ZPROP_iter_handle* it = new (iter) ZPROP_stzvalue_iter_handle(properties(), "s", "multi");
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
  p.store(file_.c_str());
  ZPROP_handle* h = nullptr;
  ASSERT_EQ(0, zstzPropOpen(&h, file_.c_str(), kRead));
  EXPECT_EQ(52, zstzPropSetStringValue(h, "db", "password", "plain"));
  int rc = -1;
  char* text = zstzPropGetStringValue(h, "db", "password", 1, &rc);
  EXPECT_STREQ("secret", text);
  zstzPropFree(text);
  zstzPropClose(h);
}

}  // namespace
