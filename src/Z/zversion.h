// zbase: maps the library's public names to their exported, versioned names.
#ifndef Z_ZVERSION_H_
#define Z_ZVERSION_H_

// Every public class and C function is exported with the suffix _7_0_0; code
// writes the short name. Keep one section per family, one line per name.

// Object model, exceptions and the message service



// Strings



// Code-set services



// Formatted output, string iteration and tokenising



// Arrays, buffers, lists and stacks



// Maps and key maps



// Locks, conditions, read-write locks and threads



// Process read-write locks and file maps



// Shared libraries, compression and platform utilities
#define ZSqueeze ZSqueeze_7_0_0
#define ZAdler32 ZAdler32_7_0_0
#define ZLocalHostName ZLocalHostName_7_0_0
#define zconvert_UTF16_to_UTF8 zconvert_UTF16_to_UTF8_7_0_0
#define zsetfileinheritance zsetfileinheritance_7_0_0
#define zsetfileinheritancesocket zsetfileinheritancesocket_7_0_0
#define zinet_pton zinet_pton_7_0_0
#define zinet_ntop zinet_ntop_7_0_0



// Property cache



// Properties objects, stanza files and their C interface



#endif  // Z_ZVERSION_H_
