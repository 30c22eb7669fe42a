// zbase: the message service, the message table and the message numbers.
#include "Z/ZMessage.h"

#include <pthread.h>

#include <cstdio>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"

const char* const ZDefaultMsgs[NUM_MSGS] = {
    "",
    "Memory allocation failure.",
    "iconv_open failed for codepage %s to %s conversion. errno = %d.",
    "Unexpected error from pthread_mutex_init().  rc = %d.",
    "Unexpected error from pthread_mutex_destroy().  rc = %d.",
    "Unexpected error from pthread_mutex_lock().  rc = %d.",
    "Unexpected error from pthread_mutex_unlock().  rc = %d.",
    "Unexpected error from pthread_cond_init().  rc = %d.",
    "Unexpected error from pthread_cond_destroy().  rc = %d.",
    "Unexpected error from pthread_cond_wait().  rc = %d.",
    "Unexpected error from pthread_cond_signal().  rc = %d.",
    "This function is not supported on this platform.",
    "Unexpected error from Windows RegOpenKeyEx().  Open of registry key %s failed with error %s.",
    "Unexpected error from Windows RegQueryValueEx().  Read of value %s failed with error %s.",
    "Object is not cloneable.",
    "Unexpected error from pthread_attr_init().  rc = %d.",
    "Unexpected error from pthread_attr_setdetachstate().  rc = %d.",
    "Unexpected error from pthread_create().  rc = %d.",
    "Unexpected error from pthread_attr_destroy().  rc = %d.",
    "An unknown exception was caught.  No exception information available.",
    "Unexpected error from pthread_join().  rc = %d.",
    "Unexpected error from pthread_cond_timedwait().  rc = %d.",
    "A function or method was called with an invalid parameter.",
    "",
    "Unexpected error from WSAStartup().  rc = %s.",
    "Unexpected error from gethostname().  rc = %s.",
    "Unexpected error from gethostnamebyname().  rc = %s.",
    "Unexpected error from pthread_cond_broadcast().  rc = %d.",
    "The configuration file %s is missing the required attribute %s in stanza %s.",
    "Unexpected error from pthread_key_create().  rc = %d.",
    "Unexpected error from pthread_setspecific().  rc = %d.",
    "The requested function is not implemented.",
    "An unexpected lock state was detected.  The current lock state is %s.",
    "An unexpected error was received when trying to obtain a process lock.  rc = %d.",
    "An unexpected error was received when trying to release a process lock.  rc = %d.",
    "Read failed for a process lock.  rc = %d.",
    "Write failed for a process lock.  rc = %d.",
    "Create failed for a process lock.  rc = %d and the lock file name is %s.",
    "Close failed for a process lock.  rc = %d and the lock file name is %s.",
    "The configuration file %s has an invalid value %s for key %s in stanza %s.",
    "The configuration file %s has an invalid numeric value %s for key %s in stanza %s.",
    "The configuration file %s has an invalid boolean value %s for key %s in stanza %s.",
    "The iterator for  configuration file %s is in an invalid state for the operation",
    "Access failed for configuration file %s.  The access function was %s and return code was %d",
    "The configuration file \"%s\" contains invalid data at line %d.\nData: \"%s\"",
    "The QXKELDIR environment variable is not set.",
    "The kel_mblen() function returned -1.",
    "Codeset handle create failed for codeset \"%s\".  QXKELDIR is \"%s\"",
    "The operation is not supported.",
    "Local codeset %s string could not be converted to UTF-8.",
    "UTF-8 string could not be converted to the local codeset %s.",
    "Shared library load/unload error (%s) %d.  %s",
    "Shared library resolve error (%s:%s) %d.  %s",
    "Unexpected end of file encounted while reading %s.",
    "Internal error encountered while loading Java property file %s.",
};

const char* const defaultExcFormat = "Exception: %s\n File: \"%s\" %d\n Error: %d\n";
const char* const defaultErrorFormat = "Error: %d\n File: \"%s\" %d\n";
const char* const threadIdFormat = " Thread: %lu\n";
const char* const addlInfo = "Additional Information:\n";
const char* const nummsgFormat = "NUM_MSGS = %d\n";
const char* const noMsgText = "No default text defined in ZMessage for the exception\n";

// The current and the default service. They are plain pointers; the
// atomic accesses below only keep a concurrent first use well defined.
ZMessageService* ZMessageService::ms_ = nullptr;
ZMessageService* ZMessageService::dms_ = nullptr;
pthread_once_t ZMessageService::ms_once = PTHREAD_ONCE_INIT;

void ZMessageService_c_init() { ZMessageService::init(); }

namespace {

ZMessageService* load(ZMessageService* const* p) { return __atomic_load_n(p, __ATOMIC_ACQUIRE); }

void store(ZMessageService** p, ZMessageService* v) { __atomic_store_n(p, v, __ATOMIC_RELEASE); }

void writeThreadLine() {
  std::fprintf(stderr, threadIdFormat, static_cast<unsigned long>(pthread_self()));
}

}  // namespace

ZMessageService* ZMessageService::init() {
  ZDefaultMessageService* s = new ZDefaultMessageService();
  ZMessageService* m = s;
  store(&dms_, m);
  store(&ms_, m);
  return m;
}

ZMessageService* ZMessageService::defaultMessageService() {
  ZMessageService* s = load(&dms_);
  if (s == nullptr) {
    pthread_once(&ms_once, ZMessageService_c_init);
    s = load(&dms_);
  }
  return s;
}

ZMessageService* ZMessageService::messageService() {
  ZMessageService* s = load(&ms_);
  if (s == nullptr) {
    pthread_once(&ms_once, ZMessageService_c_init);
    s = load(&ms_);
  }
  return s;
}

void ZMessageService::setMessageService(const ZMessageService* s) {
  if (load(&dms_) == nullptr) pthread_once(&ms_once, ZMessageService_c_init);
  store(&ms_, s != nullptr ? const_cast<ZMessageService*>(s) : load(&dms_));
}

void zreportReturnCode(const char* file, int line, int number, int rc) {
  ZLCString text(rc);
  ZMessageService::messageService()->outputMessage(file, line, number, 1, &text, nullptr, nullptr,
                                                   nullptr, nullptr, nullptr);
}

void ZMessageService::routeZZException(const ZZException* e, va_list args) {
  messageService()->outputException(e, args);
}

ZDefaultMessageService::ZDefaultMessageService() {}

ZDefaultMessageService::~ZDefaultMessageService() {}

ZObject* ZDefaultMessageService::clone() const { return new ZDefaultMessageService(); }

void ZDefaultMessageService::outputMessage(const char* file, int line, int number, int count,
                                           const ZLCString* s1, const ZLCString* s2,
                                           const ZLCString* s3, const ZLCString* s4,
                                           const ZLCString* s5, const ZLCString* s6) const {
  std::fprintf(stderr, defaultErrorFormat, number, file != nullptr ? file : "(null)", line);
  writeThreadLine();
  if (count < 1) return;
  std::fputs(addlInfo, stderr);
  const ZLCString* texts[] = {s1, s2, s3, s4, s5, s6};
  for (int i = 0; i < count && i < 6; ++i) {
    if (texts[i] != nullptr) std::fputs(texts[i]->getChars(), stderr);
    std::fputc('\n', stderr);
  }
}

void ZDefaultMessageService::outputMessageUTF8(const char* file, int line, int number, int count,
                                               const ZUTF8String*, const ZUTF8String*,
                                               const ZUTF8String*, const ZUTF8String*,
                                               const ZUTF8String*, const ZUTF8String*) const {
  ZLCString e1, e2, e3, e4, e5, e6;
  outputMessage(file, line, number, count, &e1, &e2, &e3, &e4, &e5, &e6);
}

void ZDefaultMessageService::outputException(ZException& e) const { e.print(); }

void ZDefaultMessageService::outputException(const ZZException* e, va_list args) const {
  const char* who = e->who();
  std::fprintf(stderr, defaultExcFormat, e->getName(), who != nullptr ? who : "(null)", e->where(),
               static_cast<int>(e->getErrorNumber()));
  writeThreadLine();
  // The size of the message table, for every exception: deliberate.
  std::fprintf(stderr, nummsgFormat, NUM_MSGS);
  unsigned long n = e->getErrorNumber();
  if (n >= 1 && n < static_cast<unsigned long>(NUM_MSGS)) {
    const char* tmpl = ZDefaultMsgs[n];
    if (tmpl[0] != '\0') {
      va_list copy;
      va_copy(copy, args);
      std::vfprintf(stderr, tmpl, copy);
      va_end(copy);
    }
  } else {
    std::fputs(noMsgText, stderr);
  }
  std::fflush(stderr);
}
