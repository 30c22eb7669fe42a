// zbase: maps the library's public names to their exported, versioned names.
#ifndef Z_ZVERSION_H_
#define Z_ZVERSION_H_

// Every public class and C function is exported with the suffix _7_0_0; code
// writes the short name. Keep one section per family, one line per name.

// Object model, exceptions and the message service



// Strings



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



// Arrays, buffers, lists and stacks



// Maps and key maps



// Locks, conditions, read-write locks and threads



// Process read-write locks and file maps



// Shared libraries, compression and platform utilities



// Property cache



// Properties objects, stanza files and their C interface



#endif  // Z_ZVERSION_H_
