// zbase: converters between a code set and UTF-8 that fill byte buffers.
#ifndef Z_ZKELUTF8CONVERTER_H_
#define Z_ZKELUTF8CONVERTER_H_

#include "Z/zversion.h"

#include "Z/ZBuffer.h"
#include "Z/ZLCString.h"
#include "Z/ZObject.h"
#include "kel/kel.h"

// Converts terminated texts between one code set and UTF-8 into a ZBuffer.
class ZAbstractUTF8Converter : public ZObject {
 public:
  ZAbstractUTF8Converter();
  ~ZAbstractUTF8Converter() override;

  // The name of the converter's code set.
  virtual const char* getLocalCodeSet() const = 0;
  // Convert src with its terminator into out; return the bytes written
  // (terminator included) or a negative value, leaving out as sized then.
  virtual int convertToUTF8(const char* src, ZBuffer& out) = 0;
  virtual int convertToLocal(const char* src, ZBuffer& out) = 0;
};

// A converter with its own code-set handle, independent of the process's
// local code set. The handle is released with the converter; converters are
// not copied. One converter may be used by several threads at once.
class ZKELUTF8Converter : public ZAbstractUTF8Converter {
 public:
  // The local code set of the process.
  ZKELUTF8Converter();
  // codeset: null for the local code set of the process. dir: the directory
  // of the code-set tables, or null to rely on QXKELDIR, which must then be
  // set (else ZNoKELEnvironmentException). An unknown code set leaves the
  // converter without a handle: every conversion then fails.
  ZKELUTF8Converter(const char* codeset, const char* dir);
  ~ZKELUTF8Converter() override;
  ZKELUTF8Converter(const ZKELUTF8Converter&) = delete;
  ZKELUTF8Converter& operator=(const ZKELUTF8Converter&) = delete;

  const char* getLocalCodeSet() const override;
  // out is sized to 3 x strlen(src) + 1 bytes before converting.
  int convertToUTF8(const char* src, ZBuffer& out) override;
  // out is sized to 2 x strlen(src) + 1 bytes before converting.
  int convertToLocal(const char* src, ZBuffer& out) override;

 private:
  void init(const char* codeset, const char* dir);

  ZLCString localCodeSet_;
  ZLCConstString unused_;  // kept empty
  kel_cs_handle handle_;
};

#endif  // Z_ZKELUTF8CONVERTER_H_
