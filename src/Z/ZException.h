// zbase: the exception family.
#ifndef Z_ZEXCEPTION_H_
#define Z_ZEXCEPTION_H_

#include "Z/zversion.h"

#include "Z/ZLCString.h"
#include "Z/ZMessage.h"
#include "Z/ZObject.h"

// Root of the library's exceptions. Carries an error number (the index of a
// message template of the message service), the class name, and the one
// most recent throw location. Text is produced only when a catcher calls
// dumpException(). A throw site builds the exception locally and calls
// throwException(path, line), which records the location and throws a copy.
// The name and location texts are literals: they are kept as pointers.
class ZException : public ZObject {
 public:
  ZException(unsigned long number, const char* name);
  ZException(const ZException& other);
  ZException& operator=(const ZException& other);
  ~ZException() override;

  ZObject* clone() const override = 0;
  // Replaces the single stored location; returns the exception itself.
  virtual ZException& addLocation(const char* file, unsigned long line);
  // index is ignored, deliberately: only one location is ever kept. Returns
  // true.
  virtual int location(int index, const char*& file, int& line) const;
  // Always 1 (deliberate, see location).
  virtual int locationCount() const;
  // The recorded source path, or null before a location is recorded.
  virtual const char* who() const;
  // The recorded line, or 0 before a location is recorded.
  virtual int where() const;
  virtual void print() = 0;
  [[noreturn]] virtual void throwException(const char* file, int line) = 0;
  // Hands the exception to the current message service.
  virtual void dumpException();

  unsigned long getErrorNumber() const { return number_; }
  const char* getName() const { return name_; }

 protected:
  void setErrorNumber(unsigned long number) { number_ = number; }

 private:
  unsigned long number_;
  const char* name_;
  const char* file_;
  int line_;
};

// Base of every concrete library exception. print() hands the exception's
// own arguments, in the order of its message template, to the message
// service through printinternal.
class ZZException : public ZException {
 public:
  ZZException(int number, const char* name);
  ~ZZException() override;

  void print() override;
  // Packs the variable arguments and routes them to the message service.
  static void printinternal(const ZZException* e, ...);
};

// The exceptions below, with the message number each carries and when the
// library throws it. "given" means the throw site passes the number: the
// numbers in brackets are the ones it passes. Exceptions are values: a throw
// copies the object, and a caught copy belongs to its catcher's thread.
//
//   class                                  number  thrown when
//   ZOutOfMemoryException                   1      an allocation fails
//   ZInvalidPlatformException              11      a facility this platform lacks (ZWinRegistry)
//   ZNotClonableException                  14      clone() of an object that cannot be copied
//   ZInvalidParameterException             22      a null, empty or out-of-range argument
//   ZAbstractNotImplementedException       31      an operation the concrete class lacks; the
//                                                  text given is not shown (no placeholder)
//   ZNoKELEnvironmentException             45      QXKELDIR is not set
//   ZKELMBLenException                     46      a byte sequence is no character of the code set
//   ZCodesetException                      47      a code-set handle cannot be made; prints the
//                                                  code set and QXKELDIR as read at construction
//   ZUnsupportedException                  48      an operation the string class does not offer
//   ZToUTF8Exception                       49      local code-set text does not convert to UTF-8
//   ZFromUTF8Exception                     50      UTF-8 text does not convert to local code set
//   ZConverterException                 given (2)  not thrown by the library; for callers whose
//                                                  code-set converter cannot be opened
//   ZConditionException              given (7-10,  a condition call fails; rc is its return code
//                                          21, 27)
//   ZThreadException                 given (3, 5,  a thread, attribute, join or thread-key call
//                                   7, 15-18, 20,  fails; rc is its return code
//                                         29, 30)
//   ZResourceException (abstract)          given   rc is the system's return code (or 0)
//     ZLockResourceException            (5, 33)    a lock cannot be taken or is refused
//     ZUnlockResourceException          (6, 34)    a lock cannot be released or is not held
//     ZReadResourceException               (35)    a lock file cannot be read
//     ZWriteResourceException              (33)    a lock file cannot be written
//     ZCreateResourceException             (3)     a mutex cannot be made
//     ZOpenResourceException            given      not thrown by the library; for callers that
//     ZCloseResourceException           given      cannot open or close a named file (37, 38)
//     ZInvalidResourceStateException       32      a process lock is used in a state that
//                                                  forbids the operation (rc -1)
//   ZJavaPropertyParseException            54      a Java property file reader meets a state
//                                                  it has no rule for
//   ZUnexpectedEndOfFile                   53      reading a Java property file fails
//   ZPropertiesException (abstract)        given   carries the configuration file's name
//     ZPropertiesIOException               43      a call on the configuration or side file fails
//                                                  (the call's name and its errno)
//     ZPropertiesInvalidDataException      44      a line or side-file record cannot be parsed
//     ZPropertiesInvalidValueException     39      a value is not of the kind asked for
//     ZPropertiesInvalidNumValueException  40      a value is not a number (see below)
//     ZPropertiesInvalidBoolValueException 41      a value is not a boolean (see below)
//     ZPropertiesIteratorException         42      an iterator is used in a state that forbids it
//     ZPropertiesMissingPropertyException  28      a required stanza or key is missing
//   ZSharedLibraryException (abstract)     given   carries the library, the system's text and rc
//     ZSharedLibraryLoadException          51      a shared library cannot be loaded or unloaded
//     ZSharedLibraryResolveException       52      a symbol cannot be resolved
//
// Deliberate: every one of the resource exceptions stores the name
// "ZResourceException", not its own; the numeric and boolean value exceptions
// have no throwException of their own, so what is thrown is a
// ZPropertiesInvalidValueException carrying number 40 or 41.
class ZOutOfMemoryException : public ZZException {
 public:
  ZOutOfMemoryException();
  ~ZOutOfMemoryException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZInvalidPlatformException : public ZZException {
 public:
  ZInvalidPlatformException();
  ~ZInvalidPlatformException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZNotClonableException : public ZZException {
 public:
  ZNotClonableException();
  ~ZNotClonableException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZInvalidParameterException : public ZZException {
 public:
  ZInvalidParameterException();
  ~ZInvalidParameterException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZAbstractNotImplementedException : public ZZException {
 public:
  explicit ZAbstractNotImplementedException(const char* what);
  ~ZAbstractNotImplementedException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* value() const { return what_.getChars(); }

 private:
  ZLCString what_;
};

class ZNoKELEnvironmentException : public ZZException {
 public:
  ZNoKELEnvironmentException();
  ~ZNoKELEnvironmentException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZKELMBLenException : public ZZException {
 public:
  ZKELMBLenException();
  ~ZKELMBLenException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZCodesetException : public ZZException {
 public:
  explicit ZCodesetException(const char* codeset);
  ~ZCodesetException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* codeset() const { return codeset_.getChars(); }
  const char* directory() const { return directory_.getChars(); }

 private:
  ZLCString directory_;
  ZLCString codeset_;
};

class ZUnsupportedException : public ZZException {
 public:
  ZUnsupportedException();
  ~ZUnsupportedException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZToUTF8Exception : public ZZException {
 public:
  ZToUTF8Exception();
  ~ZToUTF8Exception() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* codeset() const { return codeset_.getChars(); }

 private:
  ZLCString codeset_;
};

class ZFromUTF8Exception : public ZZException {
 public:
  ZFromUTF8Exception();
  ~ZFromUTF8Exception() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* codeset() const { return codeset_.getChars(); }

 private:
  ZLCString codeset_;
};

class ZConverterException : public ZZException {
 public:
  ZConverterException(int number, int err, const char* from, const char* to);
  ~ZConverterException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  int err() const { return err_; }
  const char* from() const { return from_.getChars(); }
  const char* to() const { return to_.getChars(); }

 private:
  int err_;
  ZLCString from_;
  ZLCString to_;
};

class ZConditionException : public ZZException {
 public:
  ZConditionException(int number, int rc);
  ~ZConditionException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  int rc() const { return rc_; }

 private:
  int rc_;
};

class ZThreadException : public ZZException {
 public:
  ZThreadException(int number, int rc);
  ~ZThreadException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  int rc() const { return rc_; }

 private:
  int rc_;
};

class ZResourceException : public ZZException {
 public:
  ZResourceException(int number, int rc);
  ~ZResourceException() override;
  void print() override;
  int rc() const { return rc_; }

 private:
  int rc_;
};

class ZLockResourceException : public ZResourceException {
 public:
  ZLockResourceException(int number, int rc);
  ~ZLockResourceException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZUnlockResourceException : public ZResourceException {
 public:
  ZUnlockResourceException(int number, int rc);
  ~ZUnlockResourceException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZReadResourceException : public ZResourceException {
 public:
  ZReadResourceException(int number, int rc);
  ~ZReadResourceException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZWriteResourceException : public ZResourceException {
 public:
  ZWriteResourceException(int number, int rc);
  ~ZWriteResourceException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZCreateResourceException : public ZResourceException {
 public:
  ZCreateResourceException(int number, int rc);
  ~ZCreateResourceException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZOpenResourceException : public ZResourceException {
 public:
  ZOpenResourceException(int number, int rc, const char* file);
  ~ZOpenResourceException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* value() const { return file_.getChars(); }

 private:
  ZLCString file_;
};

class ZCloseResourceException : public ZResourceException {
 public:
  ZCloseResourceException(int number, int rc, const char* file);
  ~ZCloseResourceException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* value() const { return file_.getChars(); }

 private:
  ZLCString file_;
};

class ZInvalidResourceStateException : public ZResourceException {
 public:
  explicit ZInvalidResourceStateException(const char* state);
  ~ZInvalidResourceStateException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* value() const { return state_.getChars(); }

 private:
  ZLCString state_;
};

class ZJavaPropertyParseException : public ZZException {
 public:
  explicit ZJavaPropertyParseException(const char* file);
  ~ZJavaPropertyParseException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* file() const { return file_.getChars(); }

 private:
  ZLCString file_;
};

class ZUnexpectedEndOfFile : public ZZException {
 public:
  explicit ZUnexpectedEndOfFile(const char* file);
  ~ZUnexpectedEndOfFile() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* file() const { return file_.getChars(); }

 private:
  ZLCString file_;
};

class ZPropertiesException : public ZZException {
 public:
  ZPropertiesException(int number, const char* name, const char* file);
  ~ZPropertiesException() override;
  void print() override;
  const char* file() const { return file_.getChars(); }

 private:
  ZLCString file_;
};

class ZPropertiesIOException : public ZPropertiesException {
 public:
  ZPropertiesIOException(const char* file, const char* api, int rc);
  ~ZPropertiesIOException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* api() const { return api_.getChars(); }
  int excerrno() const { return rc_; }

 private:
  ZLCString api_;
  int rc_;
};

class ZPropertiesInvalidDataException : public ZPropertiesException {
 public:
  ZPropertiesInvalidDataException(const char* file, const char* data, int line);
  ~ZPropertiesInvalidDataException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* baddata() const { return data_.getChars(); }
  int badline() const { return line_; }

 private:
  ZLCString data_;
  int line_;
};

class ZPropertiesInvalidValueException : public ZPropertiesException {
 public:
  ZPropertiesInvalidValueException(const char* file, const char* stanza, const char* key,
                                   const char* value);
  ~ZPropertiesInvalidValueException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* category() const { return stanza_.getChars(); }
  const char* key() const { return key_.getChars(); }
  const char* value() const { return value_.getChars(); }

 private:
  ZLCString stanza_;
  ZLCString key_;
  ZLCString value_;
};

class ZPropertiesInvalidNumValueException : public ZPropertiesInvalidValueException {
 public:
  ZPropertiesInvalidNumValueException(const char* file, const char* stanza, const char* key,
                                      const char* value);
  ~ZPropertiesInvalidNumValueException() override;
};

class ZPropertiesInvalidBoolValueException : public ZPropertiesInvalidValueException {
 public:
  ZPropertiesInvalidBoolValueException(const char* file, const char* stanza, const char* key,
                                       const char* value);
  ~ZPropertiesInvalidBoolValueException() override;
};

class ZPropertiesIteratorException : public ZPropertiesException {
 public:
  explicit ZPropertiesIteratorException(const char* file);
  ~ZPropertiesIteratorException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
};

class ZPropertiesMissingPropertyException : public ZPropertiesException {
 public:
  ZPropertiesMissingPropertyException(const char* file, const char* stanza, const char* key);
  ~ZPropertiesMissingPropertyException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* category() const { return stanza_.getChars(); }
  const char* key() const { return key_.getChars(); }

 private:
  ZLCString stanza_;
  ZLCString key_;
};

class ZSharedLibraryException : public ZZException {
 public:
  ZSharedLibraryException(int number, const char* name, const char* library, const char* text,
                          int rc);
  ~ZSharedLibraryException() override;
  void print() override;
  int rc() const { return rc_; }
  const char* library() const { return library_.getChars(); }
  const char* text() const { return text_.getChars(); }

 private:
  int rc_;
  ZLCString library_;
  ZLCString text_;
};

class ZSharedLibraryLoadException : public ZSharedLibraryException {
 public:
  ZSharedLibraryLoadException(const char* library, const char* text, int rc);
  ~ZSharedLibraryLoadException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* symbol() const { return symbol_.getChars(); }

 private:
  ZLCString symbol_;
};

class ZSharedLibraryResolveException : public ZSharedLibraryException {
 public:
  ZSharedLibraryResolveException(const char* library, const char* symbol, const char* text, int rc);
  ~ZSharedLibraryResolveException() override;
  ZObject* clone() const override;
  [[noreturn]] void throwException(const char* file, int line) override;
  void print() override;
  const char* symbol() const { return symbol_.getChars(); }

 private:
  ZLCString symbol_;
};
#endif  // Z_ZEXCEPTION_H_
