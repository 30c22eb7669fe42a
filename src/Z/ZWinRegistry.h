// zbase: access to the Windows registry, which this platform does not have.
#ifndef Z_ZWINREGISTRY_H_
#define Z_ZWINREGISTRY_H_

#include "Z/zversion.h"

#include "Z/ZAbstractMutableString.h"
#include "Z/ZObject.h"

// Reads values of the Windows registry. Kept so that portable callers
// compile; on this platform every operation throws ZInvalidPlatformException.
class ZWinRegistry : public ZObject {
 public:
  ZWinRegistry();
  ~ZWinRegistry() override;

  // Would store the value `name` of the registry key `key` into value.
  static int getValue(const char* key, const char* name, ZAbstractMutableString& value);
  // Would tell whether the registry key `key` has the value `name`.
  static bool exists(const char* key, const char* name);
};

#endif  // Z_ZWINREGISTRY_H_
