// zbase: umbrella header, includes every public header of the library.
#ifndef Z_Z_H_
#define Z_Z_H_

#include "Z/zversion.h"

// Object model, exceptions and the message service
#include "Z/ZObject.h"
#include "Z/ZObservable.h"
#include "Z/ZException.h"
#include "Z/ZMessage.h"



// Strings
#include "Z/ZAbstractString.h"
#include "Z/ZAbstractMutableString.h"
#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"



// Code-set services
#include "Z/zkelutil.h"
#include "Z/ZKELUTF8Converter.h"
#include "Z/ZWinRegistry.h"



// Formatted output, string iteration and tokenising
#include "Z/zsnprintf.h"
#include "Z/ZStringIterator.h"
#include "Z/ZStringTokenizer.h"



// Arrays, buffers, lists and stacks
#include "Z/ZArray.h"
#include "Z/ZBuffer.h"
#include "Z/ZArrayList.h"



// Maps and key maps
#include "Z/ZHashMap.h"
#include "Z/ZHashKeyMap.h"



// Locks, conditions, read-write locks and threads
#include "Z/ZLock.h"
#include "Z/ZCondition.h"
#include "Z/ZReadWriteLock.h"
#include "Z/ZThread.h"



// Process read-write locks and file maps
#include "Z/ZProcessLock.h"
#include "Z/ZFileLock.h"



// Shared libraries, compression and platform utilities
#include "Z/ZSqueeze.h"
#include "Z/ZLocalHostName.h"
#include "Z/ZSharedLibrary.h"



// Property cache
#include "Z/ZPropertiesImpl.h"



// Properties objects, stanza files and their C interface
#include "Z/ZProperties.h"

#include "Z/ZStanzaFileProperties.h"
#include "Z/zproperties_c.h"



// Java property files
#include "Z/ZJavaProperties.h"



#endif  // Z_Z_H_
