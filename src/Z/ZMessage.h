// zbase: the message service, the message table and the message numbers.
#ifndef Z_ZMESSAGE_H_
#define Z_ZMESSAGE_H_

#include "Z/zversion.h"

#include <pthread.h>

#include <cstdarg>

#include "Z/ZObject.h"

class ZException;
class ZZException;
class ZLCString;
class ZUTF8String;

// Message numbers: the index of each template in the message table.
const int kZMsgOutOfMemory = 1;
const int kZMsgConverterOpen = 2;
const int kZMsgMutexInit = 3;
const int kZMsgMutexDestroy = 4;
const int kZMsgMutexLock = 5;
const int kZMsgMutexUnlock = 6;
const int kZMsgCondInit = 7;
const int kZMsgCondDestroy = 8;
const int kZMsgCondWait = 9;
const int kZMsgCondSignal = 10;
const int kZMsgInvalidPlatform = 11;
const int kZMsgRegOpenKey = 12;
const int kZMsgRegQueryValue = 13;
const int kZMsgNotClonable = 14;
const int kZMsgThreadAttrInit = 15;
const int kZMsgThreadAttrSetDetachState = 16;
const int kZMsgThreadCreate = 17;
const int kZMsgThreadAttrDestroy = 18;
const int kZMsgUnknownException = 19;
const int kZMsgThreadJoin = 20;
const int kZMsgCondTimedWait = 21;
const int kZMsgInvalidParameter = 22;
const int kZMsgWSAStartup = 24;
const int kZMsgGetHostName = 25;
const int kZMsgGetHostByName = 26;
const int kZMsgCondBroadcast = 27;
const int kZMsgPropMissing = 28;
const int kZMsgThreadKeyCreate = 29;
const int kZMsgThreadSetSpecific = 30;
const int kZMsgNotImplemented = 31;
const int kZMsgInvalidLockState = 32;
const int kZMsgProcessLockObtain = 33;
const int kZMsgProcessLockRelease = 34;
const int kZMsgProcessLockRead = 35;
const int kZMsgProcessLockWrite = 36;
const int kZMsgProcessLockCreate = 37;
const int kZMsgProcessLockClose = 38;
const int kZMsgPropInvalidValue = 39;
const int kZMsgPropInvalidNumValue = 40;
const int kZMsgPropInvalidBoolValue = 41;
const int kZMsgPropIterator = 42;
const int kZMsgPropIO = 43;
const int kZMsgPropInvalidData = 44;
const int kZMsgNoKELEnvironment = 45;
const int kZMsgKELMBLen = 46;
const int kZMsgCodeset = 47;
const int kZMsgUnsupported = 48;
const int kZMsgToUTF8 = 49;
const int kZMsgFromUTF8 = 50;
const int kZMsgSharedLibraryLoad = 51;
const int kZMsgSharedLibraryResolve = 52;
const int kZMsgUnexpectedEOF = 53;
const int kZMsgJavaPropertyParse = 54;

// Number of entries of the message table (0 and 23 are empty).
const int NUM_MSGS = 55;

// The message table of the default service, indexed by message number.
extern const char* const ZDefaultMsgs[NUM_MSGS];

// Output formats of the default service.
extern const char* const defaultExcFormat;
extern const char* const defaultErrorFormat;
extern const char* const threadIdFormat;
extern const char* const addlInfo;
extern const char* const nummsgFormat;
extern const char* const noMsgText;

// The process-wide, replaceable sink for exceptions and messages. Until an
// application installs its own service (setMessageService), a default
// service writes to standard error. Installing is a plain pointer store:
// do it before starting threads. An installed service is not owned.
class ZMessageService {
 public:
  virtual void outputMessage(const char* file, int line, int number, int count, const ZLCString* s1,
                             const ZLCString* s2, const ZLCString* s3, const ZLCString* s4,
                             const ZLCString* s5, const ZLCString* s6) const = 0;
  virtual void outputMessageUTF8(const char* file, int line, int number, int count,
                                 const ZUTF8String* s1, const ZUTF8String* s2,
                                 const ZUTF8String* s3, const ZUTF8String* s4,
                                 const ZUTF8String* s5, const ZUTF8String* s6) const = 0;
  virtual void outputException(ZException& e) const = 0;
  virtual void outputException(const ZZException* e, va_list args) const = 0;

  // Makes the default service and installs it; returns it.
  static ZMessageService* init();
  static ZMessageService* defaultMessageService();
  static ZMessageService* messageService();
  // Installs s, or the default service again when s is null.
  static void setMessageService(const ZMessageService* s);
  static void routeZZException(const ZZException* e, va_list args);

  static ZMessageService* ms_;
  static ZMessageService* dms_;
  static pthread_once_t ms_once;
};

// Once-only initialisation routine of the message service: calls init().
void ZMessageService_c_init();

// Writes to standard error, with the templates of ZDefaultMsgs. Made once,
// on first demand, and never deleted.
class ZDefaultMessageService : public ZObject, public ZMessageService {
 public:
  ZDefaultMessageService();
  ~ZDefaultMessageService() override;

  ZObject* clone() const override;

  void outputMessage(const char* file, int line, int number, int count, const ZLCString* s1,
                     const ZLCString* s2, const ZLCString* s3, const ZLCString* s4,
                     const ZLCString* s5, const ZLCString* s6) const override;
  // The UTF-8 texts are not shown: the additional-information block holds
  // count empty lines. This is the default service's defined behaviour.
  void outputMessageUTF8(const char* file, int line, int number, int count, const ZUTF8String* s1,
                         const ZUTF8String* s2, const ZUTF8String* s3, const ZUTF8String* s4,
                         const ZUTF8String* s5, const ZUTF8String* s6) const override;
  // Asks the exception to print itself, which comes back through
  // routeZZException.
  void outputException(ZException& e) const override;
  void outputException(const ZZException* e, va_list args) const override;
};

// Library-internal: reports a failed system call's return code `rc` as the
// single insert of message `number` through the current service. Used where
// the library must not throw (destructors, the body of a thread).
void zreportReturnCode(const char* file, int line, int number, int rc);

#endif  // Z_ZMESSAGE_H_
