// zbase: maps the library's public names to their exported, versioned names.
#ifndef Z_ZVERSION_H_
#define Z_ZVERSION_H_

// Every public class and C function is exported with the suffix _7_0_0; code
// writes the short name. Keep one section per family, one line per name.

// Object model, exceptions and the message service
#define ZObject ZObject_7_0_0
#define ZObservableInterface ZObservableInterface_7_0_0
#define ZObserverInterface ZObserverInterface_7_0_0
#define ZObservedParm ZObservedParm_7_0_0
#define ZAbstractObservable ZAbstractObservable_7_0_0
#define Voyeur Voyeur_7_0_0
#define ZException ZException_7_0_0
#define ZZException ZZException_7_0_0
#define ZOutOfMemoryException ZOutOfMemoryException_7_0_0
#define ZInvalidPlatformException ZInvalidPlatformException_7_0_0
#define ZNotClonableException ZNotClonableException_7_0_0
#define ZInvalidParameterException ZInvalidParameterException_7_0_0
#define ZAbstractNotImplementedException ZAbstractNotImplementedException_7_0_0
#define ZNoKELEnvironmentException ZNoKELEnvironmentException_7_0_0
#define ZKELMBLenException ZKELMBLenException_7_0_0
#define ZCodesetException ZCodesetException_7_0_0
#define ZUnsupportedException ZUnsupportedException_7_0_0
#define ZToUTF8Exception ZToUTF8Exception_7_0_0
#define ZFromUTF8Exception ZFromUTF8Exception_7_0_0
#define ZConverterException ZConverterException_7_0_0
#define ZConditionException ZConditionException_7_0_0
#define ZThreadException ZThreadException_7_0_0
#define ZResourceException ZResourceException_7_0_0
#define ZLockResourceException ZLockResourceException_7_0_0
#define ZUnlockResourceException ZUnlockResourceException_7_0_0
#define ZReadResourceException ZReadResourceException_7_0_0
#define ZWriteResourceException ZWriteResourceException_7_0_0
#define ZCreateResourceException ZCreateResourceException_7_0_0
#define ZOpenResourceException ZOpenResourceException_7_0_0
#define ZCloseResourceException ZCloseResourceException_7_0_0
#define ZInvalidResourceStateException ZInvalidResourceStateException_7_0_0
#define ZJavaPropertyParseException ZJavaPropertyParseException_7_0_0
#define ZUnexpectedEndOfFile ZUnexpectedEndOfFile_7_0_0
#define ZPropertiesException ZPropertiesException_7_0_0
#define ZPropertiesIOException ZPropertiesIOException_7_0_0
#define ZPropertiesInvalidDataException ZPropertiesInvalidDataException_7_0_0
#define ZPropertiesInvalidValueException ZPropertiesInvalidValueException_7_0_0
#define ZPropertiesInvalidNumValueException ZPropertiesInvalidNumValueException_7_0_0
#define ZPropertiesInvalidBoolValueException ZPropertiesInvalidBoolValueException_7_0_0
#define ZPropertiesIteratorException ZPropertiesIteratorException_7_0_0
#define ZPropertiesMissingPropertyException ZPropertiesMissingPropertyException_7_0_0
#define ZSharedLibraryException ZSharedLibraryException_7_0_0
#define ZSharedLibraryLoadException ZSharedLibraryLoadException_7_0_0
#define ZSharedLibraryResolveException ZSharedLibraryResolveException_7_0_0
#define ZMessageService ZMessageService_7_0_0
#define ZDefaultMessageService ZDefaultMessageService_7_0_0



// Strings
#define ZAbstractString ZAbstractString_7_0_0
#define ZAbstractConstString ZAbstractConstString_7_0_0
#define ZAbstractMutableString ZAbstractMutableString_7_0_0
#define ZLCString ZLCString_7_0_0
#define ZLCConstString ZLCConstString_7_0_0
#define ZUTF8String ZUTF8String_7_0_0
#define ZUTF8ConstString ZUTF8ConstString_7_0_0



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
#define ZSequenceUpdate ZSequenceUpdate_7_0_0
#define ZAbstractProcessReadWriteLock ZAbstractProcessReadWriteLock_7_0_0
#define ZStubProcessReadWriteLock ZStubProcessReadWriteLock_7_0_0
#define ZAbstractProcessReadWriteFileLock ZAbstractProcessReadWriteFileLock_7_0_0
#define ZUnixProcessReadWriteFileLock ZUnixProcessReadWriteFileLock_7_0_0
#define ZStubProcessReadWriteFileLock ZStubProcessReadWriteFileLock_7_0_0
#define ZAbstractFileMap ZAbstractFileMap_7_0_0
#define ZUnixFileMap ZUnixFileMap_7_0_0



// Shared libraries, compression and platform utilities



// Property cache



// Properties objects, stanza files and their C interface



#endif  // Z_ZVERSION_H_
