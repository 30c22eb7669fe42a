// Tests of the message service: installation and the default output formats.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"
#include "Z/ZUTF8String.h"

namespace {

// Redirects standard error into an anonymous temporary file.
class StderrCapture {
 public:
  StderrCapture() {
    std::fflush(stderr);
    file_ = std::tmpfile();
    saved_ = dup(2);
    dup2(fileno(file_), 2);
  }
  ~StderrCapture() {
    if (file_ != nullptr) finish();
  }
  std::string finish() {
    std::fflush(stderr);
    dup2(saved_, 2);
    close(saved_);
    std::rewind(file_);
    std::string text;
    char buf[512];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, file_)) > 0) text.append(buf, n);
    std::fclose(file_);
    file_ = nullptr;
    return text;
  }

 private:
  FILE* file_;
  int saved_;
};

std::string threadLine() {
  return " Thread: " + std::to_string(static_cast<unsigned long>(pthread_self())) + "\n";
}

// An exception of any number, to reach the table's edges.
class NumberedException : public ZZException {
 public:
  explicit NumberedException(int n) : ZZException(n, "NumberedException") {}
  ZObject* clone() const override { return new NumberedException(*this); }
  [[noreturn]] void throwException(const char* file, int line) override {
    addLocation(file, line);
    throw NumberedException(*this);
  }
};

class CountingService : public ZMessageService {
 public:
  void outputMessage(const char*, int, int number, int, const ZLCString*, const ZLCString*,
                     const ZLCString*, const ZLCString*, const ZLCString*,
                     const ZLCString*) const override {
    last = number;
  }
  void outputMessageUTF8(const char*, int, int, int, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*) const override {}
  void outputException(ZException&) const override { ++exceptions; }
  void outputException(const ZZException*, va_list) const override {}
  mutable int last = 0;
  mutable int exceptions = 0;
};

TEST(ZMessageTest, DefaultServiceIsMadeOnceAndCanBeReplacedAndRestored) {
  ZMessageService* current = ZMessageService::messageService();
  ASSERT_NE(nullptr, current);
  EXPECT_EQ(current, ZMessageService::defaultMessageService());
  EXPECT_NE(nullptr, dynamic_cast<ZDefaultMessageService*>(current));

  CountingService mine;
  ZMessageService::setMessageService(&mine);
  EXPECT_EQ(&mine, ZMessageService::messageService());
  EXPECT_EQ(current, ZMessageService::defaultMessageService());
  ZInvalidParameterException e;
  e.dumpException();
  EXPECT_EQ(1, mine.exceptions);
  ZMessageService::setMessageService(nullptr);
  EXPECT_EQ(current, ZMessageService::messageService());

  std::unique_ptr<ZObject> clone(dynamic_cast<ZDefaultMessageService*>(current)->clone());
  EXPECT_NE(nullptr, dynamic_cast<ZDefaultMessageService*>(clone.get()));
}

TEST(ZMessageTest, DefaultExceptionOutput) {
  StderrCapture cap;
  try {
    ZOutOfMemoryException().throwException("src/Z/ZObject", 65);
  } catch (ZException& e) {
    e.dumpException();
  }
  EXPECT_EQ("Exception: ZOutOfMemoryException\n File: \"src/Z/ZObject\" 65\n Error: 1\n" +
                threadLine() + "NUM_MSGS = 55\nMemory allocation failure.",
            cap.finish());
}

TEST(ZMessageTest, NumbersOutsideTheTableAndTheEmptyEntry) {
  const std::string head = "Exception: NumberedException\n File: \"src/Z/x\" 3\n Error: ";
  for (int n : {0, 55, 1000}) {
    SCOPED_TRACE(n);
    StderrCapture cap;
    NumberedException e(n);
    e.addLocation("src/Z/x", 3);
    e.dumpException();
    EXPECT_EQ(head + std::to_string(n) + "\n" + threadLine() +
                  "NUM_MSGS = 55\nNo default text defined in ZMessage for the exception\n",
              cap.finish());
  }
  StderrCapture cap;
  NumberedException e(23);
  e.addLocation("src/Z/x", 3);
  e.dumpException();
  EXPECT_EQ(head + "23\n" + threadLine() + "NUM_MSGS = 55\n", cap.finish());
}

TEST(ZMessageTest, TemplateWithArgumentsAndEmbeddedLineBreak) {
  StderrCapture cap;
  ZPropertiesInvalidDataException e("/etc/x.cfg", "=oops", 12);
  e.addLocation("src/Z/ZStanzaFileProperties", 512);
  e.dumpException();
  EXPECT_EQ(
      "Exception: ZPropertiesInvalidDataException\n File: \"src/Z/ZStanzaFileProperties\" "
      "512\n Error: 44\n" +
          threadLine() +
          "NUM_MSGS = 55\nThe configuration file \"/etc/x.cfg\" contains invalid data at "
          "line 12.\nData: \"=oops\"",
      cap.finish());
}

TEST(ZMessageTest, MessagesWithAdditionalInformation) {
  ZMessageService* s = ZMessageService::messageService();
  ZLCString a("first"), b("second"), c("unused");
  {
    StderrCapture cap;
    s->outputMessage("src/Z/ZLock", 99, 4, 0, &a, &b, &c, nullptr, nullptr, nullptr);
    EXPECT_EQ("Error: 4\n File: \"src/Z/ZLock\" 99\n" + threadLine(), cap.finish());
  }
  {
    StderrCapture cap;
    s->outputMessage("src/Z/ZLock", 99, 4, 2, &a, &b, &c, nullptr, nullptr, nullptr);
    EXPECT_EQ("Error: 4\n File: \"src/Z/ZLock\" 99\n" + threadLine() +
                  "Additional Information:\nfirst\nsecond\n",
              cap.finish());
  }
  {
    // The default service does not show UTF-8 texts: count empty lines.
    ZUTF8String u1("eins"), u2("zwei");
    StderrCapture cap;
    s->outputMessageUTF8("src/Z/ZThread", 7, 20, 2, &u1, &u2, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(
        "Error: 20\n File: \"src/Z/ZThread\" 7\n" + threadLine() + "Additional Information:\n\n\n",
        cap.finish());
  }
}

TEST(ZMessageTest, TableTextsKeptCharacterForCharacter) {
  EXPECT_STREQ("", ZDefaultMsgs[0]);
  EXPECT_STREQ("", ZDefaultMsgs[23]);
  EXPECT_STREQ("Unexpected error from gethostnamebyname().  rc = %s.", ZDefaultMsgs[26]);
  EXPECT_STREQ(
      "Access failed for configuration file %s.  The access function was %s and return "
      "code was %d",
      ZDefaultMsgs[43]);
  EXPECT_STREQ("Unexpected end of file encounted while reading %s.", ZDefaultMsgs[53]);
  for (int i = 1; i < NUM_MSGS; ++i) {
    std::string t = ZDefaultMsgs[i];
    EXPECT_TRUE(t.empty() || t.back() != '\n') << i;
  }
}

}  // namespace
