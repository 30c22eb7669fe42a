// zbase: umbrella header, includes every public header of the library.
#ifndef Z_Z_H_
#define Z_Z_H_

#include "Z/zversion.h"

// Object model, exceptions and the message service



// Strings



// Code-set services



// Formatted output, string iteration and tokenising
#include "Z/zsnprintf.h"



// Arrays, buffers, lists and stacks



// Maps and key maps



// Locks, conditions, read-write locks and threads



// Process read-write locks and file maps



// Shared libraries, compression and platform utilities



// Property cache



// Properties objects, stanza files and their C interface



#endif  // Z_Z_H_
