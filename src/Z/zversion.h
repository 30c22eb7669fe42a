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
#define zgetLCSHandle zgetLCSHandle_7_0_0
#define zgetUTF8Handle zgetUTF8Handle_7_0_0
#define zgetLocalCodesetName zgetLocalCodesetName_7_0_0
#define zgetlocale zgetlocale_7_0_0
#define zset_cs_dir zset_cs_dir_7_0_0
#define zmblen zmblen_7_0_0
#define zstrcount zstrcount_7_0_0
#define zisspace zisspace_7_0_0
#define zisalpha zisalpha_7_0_0
#define zlcs_to_utf8 zlcs_to_utf8_7_0_0
#define zlcs_from_utf8 zlcs_from_utf8_7_0_0
#define zhex_dump zhex_dump_7_0_0
#define zmbtowc zmbtowc_7_0_0
#define zstrstr zstrstr_7_0_0
#define zstrpbrk zstrpbrk_7_0_0
#define zstrtok zstrtok_7_0_0
#define zstrspn zstrspn_7_0_0
#define zstrcspn zstrcspn_7_0_0
#define zstrncat zstrncat_7_0_0
#define zstrncpy zstrncpy_7_0_0
#define zstrptime zstrptime_7_0_0
#define zstrupper zstrupper_7_0_0
#define zstrlower zstrlower_7_0_0
#define zstrnicmp zstrnicmp_7_0_0
#define zstricmp zstricmp_7_0_0
#define zstrrchr zstrrchr_7_0_0
#define zstrchr zstrchr_7_0_0
#define ziswupper ziswupper_7_0_0
#define ziswlower ziswlower_7_0_0
#define ziswspace ziswspace_7_0_0
#define ziswdigit ziswdigit_7_0_0
#define ziswalpha ziswalpha_7_0_0
#define ziswalnum ziswalnum_7_0_0
#define ZGetLocale ZGetLocale_7_0_0
#define ZAbstractUTF8Converter ZAbstractUTF8Converter_7_0_0
#define ZKELUTF8Converter ZKELUTF8Converter_7_0_0
#define ZWinRegistry ZWinRegistry_7_0_0



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
#define ZMap ZMap_7_0_0
#define ZAbstractMap ZAbstractMap_7_0_0
#define ZArrayMap ZArrayMap_7_0_0
#define ZHashMap ZHashMap_7_0_0
#define ZMapIterator ZMapIterator_7_0_0
#define ZArrayMapIterator ZArrayMapIterator_7_0_0
#define ZKeyMap ZKeyMap_7_0_0
#define ZAbstractKeyMap ZAbstractKeyMap_7_0_0
#define ZKeyEntry ZKeyEntry_7_0_0
#define ZHashKeyMap ZHashKeyMap_7_0_0



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
#define ZSqueeze ZSqueeze_7_0_0
#define ZAdler32 ZAdler32_7_0_0
#define ZLocalHostName ZLocalHostName_7_0_0
#define zconvert_UTF16_to_UTF8 zconvert_UTF16_to_UTF8_7_0_0
#define zsetfileinheritance zsetfileinheritance_7_0_0
#define zsetfileinheritancesocket zsetfileinheritancesocket_7_0_0
#define zinet_pton zinet_pton_7_0_0
#define zinet_ntop zinet_ntop_7_0_0
#define ZAbstractSharedLibrary ZAbstractSharedLibrary_7_0_0
#define ZSharedLibrary ZSharedLibrary_7_0_0
#define zdlopen zdlopen_7_0_0
#define zdlsym zdlsym_7_0_0
#define zdlclose zdlclose_7_0_0
#define zdlerror zdlerror_7_0_0



// Property cache
#define ZPropLine ZPropLine_7_0_0
#define ZObfuscatedItem ZObfuscatedItem_7_0_0
#define ZPKVList ZPKVList_7_0_0
#define ZPCache ZPCache_7_0_0
#define ZPCategoryBasedCache ZPCategoryBasedCache_7_0_0
#define ZPropRegistry ZPropRegistry_7_0_0
#define isCommentWeWant isCommentWeWant_7_0_0



// Properties objects, stanza files and their C interface
#define ZPropertyStringType ZPropertyStringType_7_0_0
#define ZPropertyChanged ZPropertyChanged_7_0_0
#define ZPropertiesInterface ZPropertiesInterface_7_0_0
#define ZPropertiesMutableInterface ZPropertiesMutableInterface_7_0_0
#define ZPropertiesFactoryInterface ZPropertiesFactoryInterface_7_0_0
#define ZAbstractProperties ZAbstractProperties_7_0_0
#define ZProperties ZProperties_7_0_0
#define ZAbstractPropertiesFactory ZAbstractPropertiesFactory_7_0_0
#define checkFileAccess checkFileAccess_7_0_0
#define checkAndSetTimeStamp checkAndSetTimeStamp_7_0_0
#define ZAbstractPropertiesIterator ZAbstractPropertiesIterator_7_0_0
#define ZPropertiesIterator ZPropertiesIterator_7_0_0
#define ZPropertyValuesIteratorInterface ZPropertyValuesIteratorInterface_7_0_0
#define ZAbstractPropertyValuesIterator ZAbstractPropertyValuesIterator_7_0_0

#define ZSCFData ZSCFData_7_0_0
#define ZKVEntry ZKVEntry_7_0_0
#define ZPropertiesKVList ZPropertiesKVList_7_0_0
#define ZStzFileItem ZStzFileItem_7_0_0
#define ZStanzaFileProperties ZStanzaFileProperties_7_0_0
#define ZStanzaIterator ZStanzaIterator_7_0_0
#define ZStanzaValueIterator ZStanzaValueIterator_7_0_0



#endif  // Z_ZVERSION_H_
