// Tests of the message service: installation and the default output formats.
#include <gtest/gtest.h>
#include <pthread.h>

#include <memory>
#include <string>

#include "Z/ZException.h"
#include "Z/ZMessage.h"
#include "Z/ZUTF8String.h"
#include "ZLockTestSupport.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

std::string threadLine() {
  return " Thread: " + std::to_string(static_cast<unsigned long>(pthread_self())) + "\n";
}

// An exception of any number, to reach the table's edges.
class NumberedException : public ZZException {
 public:
  explicit NumberedException(int n) : ZZException(n, "NumberedException") {
    addLocation("src/Z/x", 3);
  }
  ZObject* clone() const override { return new NumberedException(*this); }
  [[noreturn]] void throwException(const char*, int) override { throw *this; }
};

// What the default service prints for `e`.
std::string dumped(ZException& e) {
  CaptureStderr();
  e.dumpException();
  return GetCapturedStderr();
}

TEST(ZMessageTest, DefaultServiceIsMadeOnceAndCanBeReplacedAndRestored) {
  ZMessageService* current = ZMessageService::messageService();
  EXPECT_EQ(current, ZMessageService::defaultMessageService());
  ASSERT_NE(nullptr, dynamic_cast<ZDefaultMessageService*>(current));
  {
    RecordingMessageService mine;
    EXPECT_EQ(&mine, ZMessageService::messageService());
    EXPECT_EQ(current, ZMessageService::defaultMessageService());
    ZInvalidParameterException().dumpException();
    EXPECT_EQ(1u, mine.exceptions().size());
  }  // uninstalls itself with setMessageService(nullptr)
  EXPECT_EQ(current, ZMessageService::messageService());
  std::unique_ptr<ZObject> clone(dynamic_cast<ZDefaultMessageService*>(current)->clone());
  EXPECT_NE(nullptr, dynamic_cast<ZDefaultMessageService*>(clone.get()));
}

TEST(ZMessageTest, DefaultExceptionOutput) {
  const std::string head = "Exception: NumberedException\n File: \"src/Z/x\" 3\n Error: ";
  const std::string none = "No default text defined in ZMessage for the exception\n";
  for (int n : {0, 23, 55, 1000}) {  // the empty entry, and numbers outside the table
    SCOPED_TRACE(n);
    NumberedException e(n);
    EXPECT_EQ(
        head + std::to_string(n) + "\n" + threadLine() + "NUM_MSGS = 55\n" + (n == 23 ? "" : none),
        dumped(e));
  }
  ZOutOfMemoryException oom;
  oom.addLocation("src/Z/ZObject", 65);
  EXPECT_EQ("Exception: ZOutOfMemoryException\n File: \"src/Z/ZObject\" 65\n Error: 1\n" +
                threadLine() + "NUM_MSGS = 55\nMemory allocation failure.",
            dumped(oom));
  // A template with arguments and a line break of its own.
  ZPropertiesInvalidDataException e("/etc/x.cfg", "=oops", 12);
  e.addLocation("src/Z/ZStanzaFileProperties", 512);
  EXPECT_EQ(
      "Exception: ZPropertiesInvalidDataException\n File: \"src/Z/ZStanzaFileProperties\" "
      "512\n Error: 44\n" +
          threadLine() +
          "NUM_MSGS = 55\nThe configuration file \"/etc/x.cfg\" contains invalid data at "
          "line 12.\nData: \"=oops\"",
      dumped(e));
}

TEST(ZMessageTest, MessagesWithAdditionalInformation) {
  ZMessageService* s = ZMessageService::messageService();
  ZLCString a("first"), b("second"), c("unused");
  const std::string head = "Error: 4\n File: \"src/Z/ZLock\" 99\n" + threadLine();
  for (int count : {0, 2}) {
    CaptureStderr();
    s->outputMessage("src/Z/ZLock", 99, 4, count, &a, &b, &c, nullptr, nullptr, nullptr);
    EXPECT_EQ(head + (count ? "Additional Information:\nfirst\nsecond\n" : ""),
              GetCapturedStderr());
  }
  // The default service does not show UTF-8 texts: count empty lines.
  ZUTF8String u1("eins"), u2("zwei");
  CaptureStderr();
  s->outputMessageUTF8("src/Z/ZThread", 7, 20, 2, &u1, &u2, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(
      "Error: 20\n File: \"src/Z/ZThread\" 7\n" + threadLine() + "Additional Information:\n\n\n",
      GetCapturedStderr());
}

TEST(ZMessageTest, TableTextsKeptCharacterForCharacter) {
  EXPECT_STREQ("Unexpected error from gethostnamebyname().  rc = %s.", ZDefaultMsgs[26]);
  EXPECT_STREQ("Unexpected end of file encounted while reading %s.", ZDefaultMsgs[53]);
  for (int i = 1; i < NUM_MSGS; ++i) {
    std::string t = ZDefaultMsgs[i];
    EXPECT_TRUE(t.empty() || t.back() != '\n') << i;
  }
}

}  // namespace
