// zbase: maps the library's public names to their exported, versioned names.
#ifndef Z_ZVERSION_H_
#define Z_ZVERSION_H_

// Every public class and C function is exported with the suffix _7_0_0; code
// writes the short name. Keep one section per family, one line per name.

// Object model, exceptions and the message service



// Strings



// Code-set services



// Formatted output, string iteration and tokenising
#define zvsnprintf_parse zvsnprintf_parse_7_0_0
#define zvsnprintf_render zvsnprintf_render_7_0_0
#define zvsnprintf_done zvsnprintf_done_7_0_0
#define zvsnprintf zvsnprintf_7_0_0
#define zsnprintf zsnprintf_7_0_0
#define zvsprintf zvsprintf_7_0_0
#define zsprintf zsprintf_7_0_0
#define zvasprintf zvasprintf_7_0_0
#define zasprintf zasprintf_7_0_0
#define zasprintf_free zasprintf_free_7_0_0
#define ZStringIterator ZStringIterator_7_0_0
#define ZStringTokenizer ZStringTokenizer_7_0_0



// Arrays, buffers, lists and stacks



// Maps and key maps



// Locks, conditions, read-write locks and threads



// Process read-write locks and file maps



// Shared libraries, compression and platform utilities



// Property cache



// Properties objects, stanza files and their C interface



#endif  // Z_ZVERSION_H_
