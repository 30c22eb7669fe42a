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
#define ZArrayInterface ZArrayInterface_7_0_0
#define ZAbstractArray ZAbstractArray_7_0_0
#define ZArray ZArray_7_0_0
#define ZBufferInterface ZBufferInterface_7_0_0
#define ZAbstractBuffer ZAbstractBuffer_7_0_0
#define ZBuffer ZBuffer_7_0_0
#define ZConstBuffer ZConstBuffer_7_0_0
#define ZList ZList_7_0_0
#define ZAbstractList ZAbstractList_7_0_0
#define ZArrayList ZArrayList_7_0_0
#define ZIterator ZIterator_7_0_0
#define ZAbstractIterator ZAbstractIterator_7_0_0
#define ZListIterator ZListIterator_7_0_0
#define ZSortCompare ZSortCompare_7_0_0
#define ZDefaultSortCompare ZDefaultSortCompare_7_0_0
#define ZStack ZStack_7_0_0
#define ZAbstractStack ZAbstractStack_7_0_0
#define ZArrayStack ZArrayStack_7_0_0



// Maps and key maps



// Locks, conditions, read-write locks and threads



// Process read-write locks and file maps



// Shared libraries, compression and platform utilities



// Property cache



// Properties objects, stanza files and their C interface



#endif  // Z_ZVERSION_H_
