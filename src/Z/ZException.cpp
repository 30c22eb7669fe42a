// zbase: the exception family.
#include "Z/ZException.h"

#include <cstdarg>
#include <cstdlib>

#include "Z/ZMessage.h"
#include "Z/zkelutil.h"

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
ZObject* ZOutOfMemoryException::clone() const { return new ZOutOfMemoryException(*this); }
void ZOutOfMemoryException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZOutOfMemoryException(*this);
}

ZInvalidPlatformException::ZInvalidPlatformException()
    : ZZException(kZMsgInvalidPlatform, "ZInvalidPlatformException") {}
ZInvalidPlatformException::~ZInvalidPlatformException() {}
ZObject* ZInvalidPlatformException::clone() const { return new ZInvalidPlatformException(*this); }
void ZInvalidPlatformException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZInvalidPlatformException(*this);
}

ZNotClonableException::ZNotClonableException()
    : ZZException(kZMsgNotClonable, "ZNotClonableException") {}
ZNotClonableException::~ZNotClonableException() {}
ZObject* ZNotClonableException::clone() const { return new ZNotClonableException(*this); }
void ZNotClonableException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZNotClonableException(*this);
}

ZInvalidParameterException::ZInvalidParameterException()
    : ZZException(kZMsgInvalidParameter, "ZInvalidParameterException") {}
ZInvalidParameterException::~ZInvalidParameterException() {}
ZObject* ZInvalidParameterException::clone() const { return new ZInvalidParameterException(*this); }
void ZInvalidParameterException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZInvalidParameterException(*this);
}

ZAbstractNotImplementedException::ZAbstractNotImplementedException(const char* what)
    : ZZException(kZMsgNotImplemented, "ZAbstractNotImplementedException"), what_(what) {}
ZAbstractNotImplementedException::~ZAbstractNotImplementedException() {}
ZObject* ZAbstractNotImplementedException::clone() const {
  return new ZAbstractNotImplementedException(*this);
}
void ZAbstractNotImplementedException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZAbstractNotImplementedException(*this);
}
void ZAbstractNotImplementedException::print() { printinternal(this, what_.getChars()); }

ZNoKELEnvironmentException::ZNoKELEnvironmentException()
    : ZZException(kZMsgNoKELEnvironment, "ZNoKELEnvironmentException") {}
ZNoKELEnvironmentException::~ZNoKELEnvironmentException() {}
ZObject* ZNoKELEnvironmentException::clone() const { return new ZNoKELEnvironmentException(*this); }
void ZNoKELEnvironmentException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZNoKELEnvironmentException(*this);
}

ZKELMBLenException::ZKELMBLenException() : ZZException(kZMsgKELMBLen, "ZKELMBLenException") {}
ZKELMBLenException::~ZKELMBLenException() {}
ZObject* ZKELMBLenException::clone() const { return new ZKELMBLenException(*this); }
void ZKELMBLenException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZKELMBLenException(*this);
}

ZCodesetException::ZCodesetException(const char* codeset)
    : ZZException(kZMsgCodeset, "ZCodesetException"),
      directory_(std::getenv("QXKELDIR")),
      codeset_(codeset) {}
ZCodesetException::~ZCodesetException() {}
ZObject* ZCodesetException::clone() const { return new ZCodesetException(*this); }
void ZCodesetException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZCodesetException(*this);
}
void ZCodesetException::print() { printinternal(this, codeset_.getChars(), directory_.getChars()); }

ZUnsupportedException::ZUnsupportedException()
    : ZZException(kZMsgUnsupported, "ZUnsupportedException") {}
ZUnsupportedException::~ZUnsupportedException() {}
ZObject* ZUnsupportedException::clone() const { return new ZUnsupportedException(*this); }
void ZUnsupportedException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZUnsupportedException(*this);
}

ZToUTF8Exception::ZToUTF8Exception()
    : ZZException(kZMsgToUTF8, "ZToUTF8Exception"), codeset_(zgetLocalCodesetName()) {}
ZToUTF8Exception::~ZToUTF8Exception() {}
ZObject* ZToUTF8Exception::clone() const { return new ZToUTF8Exception(*this); }
void ZToUTF8Exception::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZToUTF8Exception(*this);
}
void ZToUTF8Exception::print() { printinternal(this, codeset_.getChars()); }

ZFromUTF8Exception::ZFromUTF8Exception()
    : ZZException(kZMsgFromUTF8, "ZFromUTF8Exception"), codeset_(zgetLocalCodesetName()) {}
ZFromUTF8Exception::~ZFromUTF8Exception() {}
ZObject* ZFromUTF8Exception::clone() const { return new ZFromUTF8Exception(*this); }
void ZFromUTF8Exception::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZFromUTF8Exception(*this);
}
void ZFromUTF8Exception::print() { printinternal(this, codeset_.getChars()); }

ZConverterException::ZConverterException(int number, int err, const char* from, const char* to)
    : ZZException(number, "ZConverterException"), err_(err), from_(from), to_(to) {}
ZConverterException::~ZConverterException() {}
ZObject* ZConverterException::clone() const { return new ZConverterException(*this); }
void ZConverterException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZConverterException(*this);
}
void ZConverterException::print() { printinternal(this, from_.getChars(), to_.getChars(), err_); }

ZConditionException::ZConditionException(int number, int rc)
    : ZZException(number, "ZConditionException"), rc_(rc) {}
ZConditionException::~ZConditionException() {}
ZObject* ZConditionException::clone() const { return new ZConditionException(*this); }
void ZConditionException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZConditionException(*this);
}
void ZConditionException::print() { printinternal(this, rc_); }

ZThreadException::ZThreadException(int number, int rc)
    : ZZException(number, "ZThreadException"), rc_(rc) {}
ZThreadException::~ZThreadException() {}
ZObject* ZThreadException::clone() const { return new ZThreadException(*this); }
void ZThreadException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZThreadException(*this);
}
void ZThreadException::print() { printinternal(this, rc_); }

ZResourceException::ZResourceException(int number, int rc)
    : ZZException(number, "ZResourceException"), rc_(rc) {}
ZResourceException::~ZResourceException() {}
void ZResourceException::print() { printinternal(this, rc_); }

ZLockResourceException::ZLockResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZLockResourceException::~ZLockResourceException() {}
ZObject* ZLockResourceException::clone() const { return new ZLockResourceException(*this); }
void ZLockResourceException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZLockResourceException(*this);
}

ZUnlockResourceException::ZUnlockResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZUnlockResourceException::~ZUnlockResourceException() {}
ZObject* ZUnlockResourceException::clone() const { return new ZUnlockResourceException(*this); }
void ZUnlockResourceException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZUnlockResourceException(*this);
}

ZReadResourceException::ZReadResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZReadResourceException::~ZReadResourceException() {}
ZObject* ZReadResourceException::clone() const { return new ZReadResourceException(*this); }
void ZReadResourceException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZReadResourceException(*this);
}

ZWriteResourceException::ZWriteResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZWriteResourceException::~ZWriteResourceException() {}
ZObject* ZWriteResourceException::clone() const { return new ZWriteResourceException(*this); }
void ZWriteResourceException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZWriteResourceException(*this);
}

ZCreateResourceException::ZCreateResourceException(int number, int rc)
    : ZResourceException(number, rc) {}
ZCreateResourceException::~ZCreateResourceException() {}
ZObject* ZCreateResourceException::clone() const { return new ZCreateResourceException(*this); }
void ZCreateResourceException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZCreateResourceException(*this);
}

ZOpenResourceException::ZOpenResourceException(int number, int rc, const char* file)
    : ZResourceException(number, rc), file_(file) {}
ZOpenResourceException::~ZOpenResourceException() {}
ZObject* ZOpenResourceException::clone() const { return new ZOpenResourceException(*this); }
void ZOpenResourceException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZOpenResourceException(*this);
}
void ZOpenResourceException::print() { printinternal(this, rc(), file_.getChars()); }

ZCloseResourceException::ZCloseResourceException(int number, int rc, const char* file)
    : ZResourceException(number, rc), file_(file) {}
ZCloseResourceException::~ZCloseResourceException() {}
ZObject* ZCloseResourceException::clone() const { return new ZCloseResourceException(*this); }
void ZCloseResourceException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZCloseResourceException(*this);
}
void ZCloseResourceException::print() { printinternal(this, rc(), file_.getChars()); }

ZInvalidResourceStateException::ZInvalidResourceStateException(const char* state)
    : ZResourceException(kZMsgInvalidLockState, -1), state_(state) {}
ZInvalidResourceStateException::~ZInvalidResourceStateException() {}
ZObject* ZInvalidResourceStateException::clone() const {
  return new ZInvalidResourceStateException(*this);
}
void ZInvalidResourceStateException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZInvalidResourceStateException(*this);
}
void ZInvalidResourceStateException::print() { printinternal(this, state_.getChars()); }

ZJavaPropertyParseException::ZJavaPropertyParseException(const char* file)
    : ZZException(kZMsgJavaPropertyParse, "ZJavaPropertyParseException"), file_(file) {}
ZJavaPropertyParseException::~ZJavaPropertyParseException() {}
ZObject* ZJavaPropertyParseException::clone() const {
  return new ZJavaPropertyParseException(*this);
}
void ZJavaPropertyParseException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZJavaPropertyParseException(*this);
}
void ZJavaPropertyParseException::print() { printinternal(this, file_.getChars()); }

ZUnexpectedEndOfFile::ZUnexpectedEndOfFile(const char* file)
    : ZZException(kZMsgUnexpectedEOF, "ZUnexpectedEndOfFile"), file_(file) {}
ZUnexpectedEndOfFile::~ZUnexpectedEndOfFile() {}
ZObject* ZUnexpectedEndOfFile::clone() const { return new ZUnexpectedEndOfFile(*this); }
void ZUnexpectedEndOfFile::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZUnexpectedEndOfFile(*this);
}
void ZUnexpectedEndOfFile::print() { printinternal(this, file_.getChars()); }

ZPropertiesException::ZPropertiesException(int number, const char* name, const char* file)
    : ZZException(number, name), file_(file) {}
ZPropertiesException::~ZPropertiesException() {}
void ZPropertiesException::print() { printinternal(this, file_.getChars()); }

ZPropertiesIOException::ZPropertiesIOException(const char* file, const char* api, int rc)
    : ZPropertiesException(kZMsgPropIO, "ZPropertiesIOException", file), api_(api), rc_(rc) {}
ZPropertiesIOException::~ZPropertiesIOException() {}
ZObject* ZPropertiesIOException::clone() const { return new ZPropertiesIOException(*this); }
void ZPropertiesIOException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZPropertiesIOException(*this);
}
void ZPropertiesIOException::print() { printinternal(this, file(), api_.getChars(), rc_); }

ZPropertiesInvalidDataException::ZPropertiesInvalidDataException(const char* file, const char* data,
                                                                 int line)
    : ZPropertiesException(kZMsgPropInvalidData, "ZPropertiesInvalidDataException", file),
      data_(data),
      line_(line) {}
ZPropertiesInvalidDataException::~ZPropertiesInvalidDataException() {}
ZObject* ZPropertiesInvalidDataException::clone() const {
  return new ZPropertiesInvalidDataException(*this);
}
void ZPropertiesInvalidDataException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZPropertiesInvalidDataException(*this);
}
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
ZObject* ZPropertiesInvalidValueException::clone() const {
  return new ZPropertiesInvalidValueException(*this);
}
void ZPropertiesInvalidValueException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZPropertiesInvalidValueException(*this);
}
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
ZObject* ZPropertiesIteratorException::clone() const {
  return new ZPropertiesIteratorException(*this);
}
void ZPropertiesIteratorException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZPropertiesIteratorException(*this);
}

ZPropertiesMissingPropertyException::ZPropertiesMissingPropertyException(const char* file,
                                                                         const char* stanza,
                                                                         const char* key)
    : ZPropertiesException(kZMsgPropMissing, "ZPropertiesMissingPropertyException", file),
      stanza_(stanza),
      key_(key) {}
ZPropertiesMissingPropertyException::~ZPropertiesMissingPropertyException() {}
ZObject* ZPropertiesMissingPropertyException::clone() const {
  return new ZPropertiesMissingPropertyException(*this);
}
void ZPropertiesMissingPropertyException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZPropertiesMissingPropertyException(*this);
}
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
ZObject* ZSharedLibraryLoadException::clone() const {
  return new ZSharedLibraryLoadException(*this);
}
void ZSharedLibraryLoadException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZSharedLibraryLoadException(*this);
}
void ZSharedLibraryLoadException::print() { printinternal(this, library(), rc(), text()); }

ZSharedLibraryResolveException::ZSharedLibraryResolveException(const char* library,
                                                               const char* symbol, const char* text,
                                                               int rc)
    : ZSharedLibraryException(kZMsgSharedLibraryResolve, "ZSharedLibraryResolveException", library,
                              text, rc),
      symbol_(symbol) {}
ZSharedLibraryResolveException::~ZSharedLibraryResolveException() {}
ZObject* ZSharedLibraryResolveException::clone() const {
  return new ZSharedLibraryResolveException(*this);
}
void ZSharedLibraryResolveException::throwException(const char* file, int line) {
  addLocation(file, line);
  throw ZSharedLibraryResolveException(*this);
}
void ZSharedLibraryResolveException::print() {
  printinternal(this, library(), symbol_.getChars(), rc(), text());
}
