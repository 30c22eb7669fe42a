// Tests of the exception family: numbers, names, locations, print arguments.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>

#include "Z/ZException.h"
#include "Z/ZMessage.h"
#include "ZTestSupport.h"

namespace {

// Renders each exception's template with the arguments its print supplies.
class RecordingService : public ZMessageService {
 public:
  void outputMessage(const char*, int, int, int, const ZLCString*, const ZLCString*,
                     const ZLCString*, const ZLCString*, const ZLCString*,
                     const ZLCString*) const override {}
  void outputMessageUTF8(const char*, int, int, int, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*) const override {}
  void outputException(ZException& e) const override { e.print(); }
  void outputException(const ZZException* e, va_list args) const override {
    char buf[512];
    std::vsnprintf(buf, sizeof buf, ZDefaultMsgs[e->getErrorNumber()], args);
    text = buf;
  }
  mutable std::string text;
};

class ZExceptionTest : public ::testing::Test {
 protected:
  void SetUp() override { ZMessageService::setMessageService(&service_); }
  void TearDown() override { ZMessageService::setMessageService(nullptr); }
  std::string printed(ZException& e) {
    service_.text.clear();
    e.dumpException();
    return service_.text;
  }
  RecordingService service_;
};

struct Case {
  std::function<ZZException*()> make;
  unsigned long number;
  const char* name;
  const char* text;
};

TEST_F(ZExceptionTest, EveryClassCarriesItsNumberNameAndPrintArguments) {
  const Case cases[] = {
      {[] { return new ZOutOfMemoryException(); }, 1, "ZOutOfMemoryException",
       "Memory allocation failure."},
      {[] { return new ZInvalidPlatformException(); }, 11, "ZInvalidPlatformException",
       "This function is not supported on this platform."},
      {[] { return new ZNotClonableException(); }, 14, "ZNotClonableException",
       "Object is not cloneable."},
      {[] { return new ZInvalidParameterException(); }, 22, "ZInvalidParameterException",
       "A function or method was called with an invalid parameter."},
      {[] { return new ZAbstractNotImplementedException("hidden"); }, 31,
       "ZAbstractNotImplementedException", "The requested function is not implemented."},
      {[] { return new ZNoKELEnvironmentException(); }, 45, "ZNoKELEnvironmentException",
       "The QXKELDIR environment variable is not set."},
      {[] { return new ZKELMBLenException(); }, 46, "ZKELMBLenException",
       "The kel_mblen() function returned -1."},
      {[] { return new ZUnsupportedException(); }, 48, "ZUnsupportedException",
       "The operation is not supported."},
      {[] { return new ZConverterException(2, 84, "ISO8859-1", "UTF-8"); }, 2,
       "ZConverterException",
       "iconv_open failed for codepage ISO8859-1 to UTF-8 conversion. errno = 84."},
      {[] { return new ZConditionException(9, 22); }, 9, "ZConditionException",
       "Unexpected error from pthread_cond_wait().  rc = 22."},
      {[] { return new ZThreadException(17, 11); }, 17, "ZThreadException",
       "Unexpected error from pthread_create().  rc = 11."},
      {[] { return new ZLockResourceException(5, 35); }, 5, "ZResourceException",
       "Unexpected error from pthread_mutex_lock().  rc = 35."},
      {[] { return new ZUnlockResourceException(6, 1); }, 6, "ZResourceException",
       "Unexpected error from pthread_mutex_unlock().  rc = 1."},
      {[] { return new ZReadResourceException(35, 5); }, 35, "ZResourceException",
       "Read failed for a process lock.  rc = 5."},
      {[] { return new ZWriteResourceException(36, 28); }, 36, "ZResourceException",
       "Write failed for a process lock.  rc = 28."},
      {[] { return new ZCreateResourceException(3, 12); }, 3, "ZResourceException",
       "Unexpected error from pthread_mutex_init().  rc = 12."},
      {[] { return new ZOpenResourceException(37, 13, "/tmp/._zplx"); }, 37, "ZResourceException",
       "Create failed for a process lock.  rc = 13 and the lock file name is /tmp/._zplx."},
      {[] { return new ZCloseResourceException(38, 9, "/tmp/._zply"); }, 38, "ZResourceException",
       "Close failed for a process lock.  rc = 9 and the lock file name is /tmp/._zply."},
      {[] { return new ZInvalidResourceStateException("PROTECT"); }, 32, "ZResourceException",
       "An unexpected lock state was detected.  The current lock state is PROTECT."},
      {[] { return new ZJavaPropertyParseException("a.properties"); }, 54,
       "ZJavaPropertyParseException",
       "Internal error encountered while loading Java property file a.properties."},
      {[] { return new ZUnexpectedEndOfFile("b.properties"); }, 53, "ZUnexpectedEndOfFile",
       "Unexpected end of file encounted while reading b.properties."},
      {[] { return new ZPropertiesIOException("c.cfg", "fcntl", 11); }, 43,
       "ZPropertiesIOException",
       "Access failed for configuration file c.cfg.  The access function was fcntl and return "
       "code was 11"},
      {[] { return new ZPropertiesInvalidDataException("d.cfg", "key value", 7); }, 44,
       "ZPropertiesInvalidDataException",
       "The configuration file \"d.cfg\" contains invalid data at line 7.\nData: \"key value\""},
      {[] { return new ZPropertiesInvalidValueException("e.cfg", "st", "k", "v"); }, 39,
       "ZPropertiesInvalidValueException",
       "The configuration file e.cfg has an invalid value v for key k in stanza st."},
      {[] { return new ZPropertiesInvalidNumValueException("e.cfg", "st", "k", "x1"); }, 40,
       "ZPropertiesInvalidValueException",
       "The configuration file e.cfg has an invalid numeric value x1 for key k in stanza st."},
      {[] { return new ZPropertiesInvalidBoolValueException("e.cfg", "st", "k", "maybe"); }, 41,
       "ZPropertiesInvalidValueException",
       "The configuration file e.cfg has an invalid boolean value maybe for key k in stanza st."},
      {[] { return new ZPropertiesIteratorException("f.cfg"); }, 42, "ZPropertiesIteratorException",
       "The iterator for  configuration file f.cfg is in an invalid state for the operation"},
      {[] { return new ZPropertiesMissingPropertyException("g.cfg", "st", "k"); }, 28,
       "ZPropertiesMissingPropertyException",
       "The configuration file g.cfg is missing the required attribute k in stanza st."},
      {[] { return new ZSharedLibraryLoadException("libx.so", "not found", 2); }, 51,
       "ZSharedLibraryLoadException", "Shared library load/unload error (libx.so) 2.  not found"},
      {[] { return new ZSharedLibraryResolveException("libx.so", "sym", "undefined", 3); }, 52,
       "ZSharedLibraryResolveException",
       "Shared library resolve error (libx.so:sym) 3.  undefined"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name + std::string(" ") + std::to_string(c.number));
    std::unique_ptr<ZZException> e(c.make());
    EXPECT_EQ(c.number, e->getErrorNumber());
    EXPECT_STREQ(c.name, e->getName());
    EXPECT_EQ(c.text, printed(*e));
    std::unique_ptr<ZObject> copy(e->clone());
    ZZException* ce = dynamic_cast<ZZException*>(copy.get());
    ASSERT_NE(nullptr, ce);
    EXPECT_EQ(c.text, printed(*ce));
    // Each class copies and throws itself, except the numeric and boolean
    // value exceptions, which copy and throw their base.
    EXPECT_EQ(c.number != 40 && c.number != 41, typeid(*e) == typeid(*ce));
    try {
      e->throwException("src/Z/Somewhere", 17);
    } catch (ZZException& thrown) {
      EXPECT_TRUE(typeid(*ce) == typeid(thrown));
      EXPECT_EQ(17, thrown.where());
      EXPECT_EQ(c.text, printed(thrown));
    }
  }
}

TEST_F(ZExceptionTest, ThrowRecordsTheLocationOnTheLocalAndTheThrownCopy) {
  ZOpenResourceException local(37, 13, "lockfile");
  EXPECT_EQ(nullptr, local.who());
  EXPECT_EQ(1, local.locationCount());
  expectThrowAt<ZResourceException>(
      [&] { local.throwException("src/Z/ZProcessLock", 212); }, 37, "src/Z/ZProcessLock", 212,
      [&](ZResourceException& e) {
        EXPECT_NE(&local, &e);
        EXPECT_STREQ("lockfile", dynamic_cast<ZOpenResourceException&>(e).value());
        EXPECT_EQ(13, e.rc());
      });
  EXPECT_STREQ("src/Z/ZProcessLock", local.who());
  EXPECT_EQ(212, local.where());

  // Only the latest location is kept; the index is ignored.
  local.addLocation("src/Z/ZFileLock", 9).addLocation("src/Z/ZFileLock", 10);
  const char* file = nullptr;
  int line = 0;
  EXPECT_TRUE(local.location(5, file, line));
  EXPECT_STREQ("src/Z/ZFileLock", file);
  EXPECT_EQ(10, line);

  // Copies own their strings.
  std::string stanza = "volatile";
  std::unique_ptr<ZPropertiesMissingPropertyException> copy;
  {
    ZPropertiesMissingPropertyException m("j.cfg", stanza.c_str(), "key");
    copy.reset(new ZPropertiesMissingPropertyException(m));
  }
  stanza.assign("changed!");
  EXPECT_STREQ("volatile", copy->category());
}

TEST_F(ZExceptionTest, CodesetExceptionsNameTheCodesetAndTheKelDirectoryAtConstruction) {
  const char* saved = std::getenv("QXKELDIR");
  std::string keep = saved != nullptr ? saved : "";
  ASSERT_EQ(0, setenv("QXKELDIR", "/opt/kel/tables", 1));
  ZCodesetException set("EBCDIC-XX");
  ASSERT_EQ(0, unsetenv("QXKELDIR"));
  ZCodesetException unset("EBCDIC-YY");
  if (saved != nullptr) setenv("QXKELDIR", keep.c_str(), 1);
  const std::string head = "Codeset handle create failed for codeset \"EBCDIC-";
  EXPECT_EQ(head + "XX\".  QXKELDIR is \"/opt/kel/tables\"", printed(set));
  EXPECT_EQ(head + "YY\".  QXKELDIR is \"\"", printed(unset));

  ZToUTF8Exception to;
  ZFromUTF8Exception from;
  EXPECT_EQ(49u, to.getErrorNumber());
  EXPECT_EQ(50u, from.getErrorNumber());
  std::string name = to.codeset();
  EXPECT_FALSE(name.empty());
  EXPECT_EQ("Local codeset " + name + " string could not be converted to UTF-8.", printed(to));
  EXPECT_EQ("UTF-8 string could not be converted to the local codeset " + name + ".",
            printed(from));
}

}  // namespace
