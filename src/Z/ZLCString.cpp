// zbase: ZLCString and ZLCConstString, strings in the local code set of the process.
#include "Z/ZLCString.h"

#include "Z/ZUTF8String.h"

#define ZSTR ZLCString
#define ZSTR_CONST ZLCConstString
#define ZSTR_OTHER ZUTF8String
#define ZSTR_OTHER_CONST ZUTF8ConstString
#define ZSTR_HANDLE lcs_handle_
#include "Z/zstringfamily.inc"
