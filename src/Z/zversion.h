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
#define ZLockInterface ZLockInterface_7_0_0
#define ZAbstractLock ZAbstractLock_7_0_0
#define ZLock ZLock_7_0_0
#define ZResourceLock ZResourceLock_7_0_0
#define ZConditionInterface ZConditionInterface_7_0_0
#define ZAbstractCondition ZAbstractCondition_7_0_0
#define ZCondition ZCondition_7_0_0
#define ZBooleanCondition ZBooleanCondition_7_0_0
#define ZReadWriteLockInterface ZReadWriteLockInterface_7_0_0
#define ZAbstractReadWriteLock ZAbstractReadWriteLock_7_0_0
#define ZReadWriteLock ZReadWriteLock_7_0_0
#define ZStackReadWriteLock ZStackReadWriteLock_7_0_0
#define ZThread ZThread_7_0_0
#define ZSleeperThread ZSleeperThread_7_0_0
#define ZThreadPool ZThreadPool_7_0_0



// Process read-write locks and file maps



// Shared libraries, compression and platform utilities



// Property cache



// Properties objects, stanza files and their C interface



#endif  // Z_ZVERSION_H_
