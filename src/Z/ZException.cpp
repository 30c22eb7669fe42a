// zbase: the exception family.
#include "Z/ZException.h"

#include <cstdarg>
#include <cstdlib>

#include "Z/ZMessage.h"
#include "Z/zkelutil.h"

// clone and throwException of a concrete exception: both copy the object as
// its own class, so that a handler for that class catches the thrown copy.
#define Z_EXCEPTION_COPIES(Class)                                     \
  ZObject* Class::clone() const { return new Class(*this); }          \
  void Class::throwException(const char* file, int line) {            \
    addLocation(file, line);                                          \
    throw Class(*this);                                               \
  }

ZException::ZException(unsigned long number, const char* name)
    : number_(number), name_(name), file_(nullptr), line_(0) {}

ZException::ZException(const ZException& other)
    : ZObject(other),
      number_(other.number_),
      name_(other.name_),
      file_(other.file_),
      line_(other.line_) {}

ZException& ZException::operator=(const ZException& other) {
  number_ = other.number_;
  name_ = other.name_;
  file_ = other.file_;
  line_ = other.line_;
  return *this;
}

ZException::~ZException() {}

ZException& ZException::addLocation(const char* file, unsigned long line) {
  file_ = file;
  line_ = static_cast<int>(line);
  return *this;
}

int ZException::location(int /*index*/, const char*& file, int& line) const {
  file = file_;
  line = line_;
  return 1;
}

int ZException::locationCount() const { return 1; }

const char* ZException::who() const { return file_; }

int ZException::where() const { return line_; }

void ZException::dumpException() { ZMessageService::messageService()->outputException(*this); }

ZZException::ZZException(int number, const char* name)
    : ZException(static_cast<unsigned long>(number), name) {}

ZZException::~ZZException() {}

void ZZException::print() { printinternal(this); }

void ZZException::printinternal(const ZZException* e, ...) {
  va_list args;
  va_start(args, e);
  ZMessageService::routeZZException(e, args);
  va_end(args);
}

ZOutOfMemoryException::ZOutOfMemoryException()
    : ZZException(kZMsgOutOfMemory, "ZOutOfMemoryException") {}
ZOutOfMemoryException::~ZOutOfMemoryException() {}
Z_EXCEPTION_COPIES(ZOutOfMemoryException)

ZInvalidPlatformException::ZInvalidPlatformException()
    : ZZException(kZMsgInvalidPlatform, "ZInvalidPlatformException") {}
ZInvalidPlatformException::~ZInvalidPlatformException() {}
Z_EXCEPTION_COPIES(ZInvalidPlatformException)

ZNotClonableException::ZNotClonableException()
    : ZZException(kZMsgNotClonable, "ZNotClonableException") {}
ZNotClonableException::~ZNotClonableException() {}
Z_EXCEPTION_COPIES(ZNotClonableException)

ZInvalidParameterException::ZInvalidParameterException()
    : ZZException(kZMsgInvalidParameter, "ZInvalidParameterException") {}
ZInvalidParameterException::~ZInvalidParameterException() {}
Z_EXCEPTION_COPIES(ZInvalidParameterException)

ZAbstractNotImplementedException::ZAbstractNotImplementedException(const char* what)
    : ZZException(kZMsgNotImplemented, "ZAbstractNotImplementedException"), what_(what) {}
ZAbstractNotImplementedException::~ZAbstractNotImplementedException() {}
Z_EXCEPTION_COPIES(ZAbstractNotImplementedException)
// Message 31 has no placeholder, so the text is handed on but never shown
// (deliberate).
void ZAbstractNotImplementedException::print() { printinternal(this, what_.getChars()); }

ZNoKELEnvironmentException::ZNoKELEnvironmentException()
    : ZZException(kZMsgNoKELEnvironment, "ZNoKELEnvironmentException") {}
ZNoKELEnvironmentException::~ZNoKELEnvironmentException() {}
Z_EXCEPTION_COPIES(ZNoKELEnvironmentException)

ZKELMBLenException::ZKELMBLenException() : ZZException(kZMsgKELMBLen, "ZKELMBLenException") {}
ZKELMBLenException::~ZKELMBLenException() {}
Z_EXCEPTION_COPIES(ZKELMBLenException)

ZCodesetException::ZCodesetException(const char* codeset)
    : ZZException(kZMsgCodeset, "ZCodesetException"),
      directory_(std::getenv("QXKELDIR")),
      codeset_(codeset) {}
ZCodesetException::~ZCodesetException() {}
Z_EXCEPTION_COPIES(ZCodesetException)
void ZCodesetException::print() { printinternal(this, codeset_.getChars(), directory_.getChars()); }

ZUnsupportedException::ZUnsupportedException()
    : ZZException(kZMsgUnsupported, "ZUnsupportedException") {}
ZUnsupportedException::~ZUnsupportedException() {}
Z_EXCEPTION_COPIES(ZUnsupportedException)

ZToUTF8Exception::ZToUTF8Exception()
    : ZZException(kZMsgToUTF8, "ZToUTF8Exception"), codeset_(zgetLocalCodesetName()) {}
ZToUTF8Exception::~ZToUTF8Exception() {}
Z_EXCEPTION_COPIES(ZToUTF8Exception)
void ZToUTF8Exception::print() { printinternal(this, codeset_.getChars()); }

ZFromUTF8Exception::ZFromUTF8Exception()
    : ZZException(kZMsgFromUTF8, "ZFromUTF8Exception"), codeset_(zgetLocalCodesetName()) {}
ZFromUTF8Exception::~ZFromUTF8Exception() {}
Z_EXCEPTION_COPIES(ZFromUTF8Exception)
void ZFromUTF8Exception::print() { printinternal(this, codeset_.getChars()); }

ZConverterException::ZConverterException(int number, int err, const char* from, const char* to)
    : ZZException(number, "ZConverterException"), err_(err), from_(from), to_(to) {}
ZConverterException::~ZConverterException() {}
Z_EXCEPTION_COPIES(ZConverterException)
void ZConverterException::print() { printinternal(this, from_.getChars(), to_.getChars(), err_); }

ZConditionException::ZConditionException(int number, int rc)
    : ZZException(number, "ZConditionException"), rc_(rc) {}
ZConditionException::~ZConditionException() {}
Z_EXCEPTION_COPIES(ZConditionException)
void ZConditionException::print() { printinternal(this, rc_); }

ZThreadException::ZThreadException(int number, int rc)
    : ZZException(number, "ZThreadException"), rc_(rc) {}
ZThreadException::~ZThreadException() {}
Z_EXCEPTION_COPIES(ZThreadException)
void ZThreadException::print() { printinternal(this, rc_); }

ZResourceException::ZResourceException(int number, int rc)
    : ZZException(number, "ZResourceException"), rc_(rc) {}
ZResourceException::~ZResourceException() {}
void ZResourceException::print() { printinternal(this, rc_); }

ZLockResourceException::ZLockResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZLockResourceException::~ZLockResourceException() {}
Z_EXCEPTION_COPIES(ZLockResourceException)

ZUnlockResourceException::ZUnlockResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZUnlockResourceException::~ZUnlockResourceException() {}
Z_EXCEPTION_COPIES(ZUnlockResourceException)

ZReadResourceException::ZReadResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZReadResourceException::~ZReadResourceException() {}
Z_EXCEPTION_COPIES(ZReadResourceException)

ZWriteResourceException::ZWriteResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZWriteResourceException::~ZWriteResourceException() {}
Z_EXCEPTION_COPIES(ZWriteResourceException)

ZCreateResourceException::ZCreateResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZCreateResourceException::~ZCreateResourceException() {}
Z_EXCEPTION_COPIES(ZCreateResourceException)

ZOpenResourceException::ZOpenResourceException(int number, int rc, const char* file)
    : ZResourceException(number, rc), file_(file) {}
ZOpenResourceException::~ZOpenResourceException() {}
Z_EXCEPTION_COPIES(ZOpenResourceException)
void ZOpenResourceException::print() { printinternal(this, rc(), file_.getChars()); }

ZCloseResourceException::ZCloseResourceException(int number, int rc, const char* file)
    : ZResourceException(number, rc), file_(file) {}
ZCloseResourceException::~ZCloseResourceException() {}
Z_EXCEPTION_COPIES(ZCloseResourceException)
void ZCloseResourceException::print() { printinternal(this, rc(), file_.getChars()); }

ZInvalidResourceStateException::ZInvalidResourceStateException(const char* state)
    : ZResourceException(kZMsgInvalidLockState, -1), state_(state) {}
ZInvalidResourceStateException::~ZInvalidResourceStateException() {}
Z_EXCEPTION_COPIES(ZInvalidResourceStateException)
void ZInvalidResourceStateException::print() { printinternal(this, state_.getChars()); }

ZJavaPropertyParseException::ZJavaPropertyParseException(const char* file)
    : ZZException(kZMsgJavaPropertyParse, "ZJavaPropertyParseException"), file_(file) {}
ZJavaPropertyParseException::~ZJavaPropertyParseException() {}
Z_EXCEPTION_COPIES(ZJavaPropertyParseException)
void ZJavaPropertyParseException::print() { printinternal(this, file_.getChars()); }

ZUnexpectedEndOfFile::ZUnexpectedEndOfFile(const char* file)
    : ZZException(kZMsgUnexpectedEOF, "ZUnexpectedEndOfFile"), file_(file) {}
ZUnexpectedEndOfFile::~ZUnexpectedEndOfFile() {}
Z_EXCEPTION_COPIES(ZUnexpectedEndOfFile)
void ZUnexpectedEndOfFile::print() { printinternal(this, file_.getChars()); }

ZPropertiesException::ZPropertiesException(int number, const char* name, const char* file)
    : ZZException(number, name), file_(file) {}
ZPropertiesException::~ZPropertiesException() {}
void ZPropertiesException::print() { printinternal(this, file_.getChars()); }

ZPropertiesIOException::ZPropertiesIOException(const char* file, const char* api, int rc)
    : ZPropertiesException(kZMsgPropIO, "ZPropertiesIOException", file), api_(api), rc_(rc) {}
ZPropertiesIOException::~ZPropertiesIOException() {}
Z_EXCEPTION_COPIES(ZPropertiesIOException)
void ZPropertiesIOException::print() { printinternal(this, file(), api_.getChars(), rc_); }

ZPropertiesInvalidDataException::ZPropertiesInvalidDataException(const char* file, const char* data,
                                                                 int line)
    : ZPropertiesException(kZMsgPropInvalidData, "ZPropertiesInvalidDataException", file),
      data_(data),
      line_(line) {}
ZPropertiesInvalidDataException::~ZPropertiesInvalidDataException() {}
Z_EXCEPTION_COPIES(ZPropertiesInvalidDataException)
void ZPropertiesInvalidDataException::print() {
  printinternal(this, file(), line_, data_.getChars());
}

ZPropertiesInvalidValueException::ZPropertiesInvalidValueException(const char* file,
                                                                   const char* stanza,
                                                                   const char* key,
                                                                   const char* value)
    : ZPropertiesException(kZMsgPropInvalidValue, "ZPropertiesInvalidValueException", file),
      stanza_(stanza),
      key_(key),
      value_(value) {}
ZPropertiesInvalidValueException::~ZPropertiesInvalidValueException() {}
Z_EXCEPTION_COPIES(ZPropertiesInvalidValueException)
void ZPropertiesInvalidValueException::print() {
  printinternal(this, file(), value_.getChars(), key_.getChars(), stanza_.getChars());
}

ZPropertiesInvalidNumValueException::ZPropertiesInvalidNumValueException(const char* file,
                                                                         const char* stanza,
                                                                         const char* key,
                                                                         const char* value)
    : ZPropertiesInvalidValueException(file, stanza, key, value) {
  setErrorNumber(kZMsgPropInvalidNumValue);
}
ZPropertiesInvalidNumValueException::~ZPropertiesInvalidNumValueException() {}

ZPropertiesInvalidBoolValueException::ZPropertiesInvalidBoolValueException(const char* file,
                                                                           const char* stanza,
                                                                           const char* key,
                                                                           const char* value)
    : ZPropertiesInvalidValueException(file, stanza, key, value) {
  setErrorNumber(kZMsgPropInvalidBoolValue);
}
ZPropertiesInvalidBoolValueException::~ZPropertiesInvalidBoolValueException() {}

ZPropertiesIteratorException::ZPropertiesIteratorException(const char* file)
    : ZPropertiesException(kZMsgPropIterator, "ZPropertiesIteratorException", file) {}
ZPropertiesIteratorException::~ZPropertiesIteratorException() {}
Z_EXCEPTION_COPIES(ZPropertiesIteratorException)

ZPropertiesMissingPropertyException::ZPropertiesMissingPropertyException(const char* file,
                                                                         const char* stanza,
                                                                         const char* key)
    : ZPropertiesException(kZMsgPropMissing, "ZPropertiesMissingPropertyException", file),
      stanza_(stanza),
      key_(key) {}
ZPropertiesMissingPropertyException::~ZPropertiesMissingPropertyException() {}
Z_EXCEPTION_COPIES(ZPropertiesMissingPropertyException)
void ZPropertiesMissingPropertyException::print() {
  printinternal(this, file(), key_.getChars(), stanza_.getChars());
}

ZSharedLibraryException::ZSharedLibraryException(int number, const char* name, const char* library,
                                                 const char* text, int rc)
    : ZZException(number, name), rc_(rc), library_(library), text_(text) {}
ZSharedLibraryException::~ZSharedLibraryException() {}
void ZSharedLibraryException::print() { printinternal(this, rc_, text_.getChars()); }

ZSharedLibraryLoadException::ZSharedLibraryLoadException(const char* library, const char* text,
                                                         int rc)
    : ZSharedLibraryException(kZMsgSharedLibraryLoad, "ZSharedLibraryLoadException", library, text,
                              rc) {}
ZSharedLibraryLoadException::~ZSharedLibraryLoadException() {}
Z_EXCEPTION_COPIES(ZSharedLibraryLoadException)
void ZSharedLibraryLoadException::print() { printinternal(this, library(), rc(), text()); }

ZSharedLibraryResolveException::ZSharedLibraryResolveException(const char* library,
                                                               const char* symbol, const char* text,
                                                               int rc)
    : ZSharedLibraryException(kZMsgSharedLibraryResolve, "ZSharedLibraryResolveException", library,
                              text, rc),
      symbol_(symbol) {}
ZSharedLibraryResolveException::~ZSharedLibraryResolveException() {}
Z_EXCEPTION_COPIES(ZSharedLibraryResolveException)
void ZSharedLibraryResolveException::print() {
  printinternal(this, library(), symbol_.getChars(), rc(), text());
}
