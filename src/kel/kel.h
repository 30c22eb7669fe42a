/* zbase: C interface of libkel, the code-set (text services) library. */
#ifndef KEL_KEL_H_
#define KEL_KEL_H_

#include <stddef.h>
#include <time.h>

/*
 * Code-set handles name one character encoding. Every character and string
 * function works for the handle's code set, whatever the process locale is.
 * Wide characters are Unicode code points in every code set.
 *
 * A code-set handle may be shared between threads once opened; the library
 * serialises what needs it. A null handle is taken as ISO-8859-1 (each byte
 * is its own character) by the character and string functions, and makes the
 * conversions fail.
 *
 * Functions that return int report failure as -1 unless stated; the
 * conversions also set errno (EILSEQ: invalid or unconvertible input,
 * EINVAL: truncated input or bad argument, E2BIG: no room left).
 */

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kel_cs_rec* kel_cs_handle;
typedef struct kel_loc_rec* kel_loc_handle;

/* The most bytes kel_wctomb writes for one character. */
#define KEL_MB_LEN_MAX 16

/* Support library start-up; idempotent, returns 0. */
int varnel_initialize(void);

/*
 * Directory of the library's tables (the code-set alias table). Until it is
 * set, the value of the environment variable QXKELDIR is used. Returns 0, or
 * -1 for a null dir.
 */
int kel_set_dir(const char* dir);

/* The platform's locale name for character handling ("C", "C.UTF-8"). */
int kel_os_lang_name(char* buf, size_t size);
/* Canonical spelling of a locale name: "en_us.utf8" -> "en_US.UTF-8". */
int kel_canonical_loc(const char* name, char* buf, size_t size);
/* The local code-set name of the process locale (nl_langinfo(CODESET)). */
int kel_os_cs_name(char* buf, size_t size);

/* Locale handles: null when the platform has no such locale. */
kel_loc_handle kel_loc_new(const char* name);
const char* kel_loc_name(kel_loc_handle loc);
void kel_loc_free(kel_loc_handle loc);

/*
 * Opens a handle for a code-set name: the alias table first, then the names
 * the platform's converters know ("UTF8", "UTF-8", "ISO-8859-1", "EUC-JP",
 * ...). Null for an unknown or empty name.
 */
kel_cs_handle kel_cs_new(const char* name);
void kel_cs_free(kel_cs_handle cs);
/* The name the handle was resolved to (as the platform's converters know it). */
const char* kel_cs_name(kel_cs_handle cs);
/* Largest byte length of one character: 1 for single-byte code sets. */
int kel_cs_mb_max(kel_cs_handle cs);

/* Byte length of the character at s (at most n bytes looked at); 0 at the
 * terminator or for a null s; -1 if malformed or truncated. */
int kel_mblen(kel_cs_handle cs, const char* s, size_t n);
/* As kel_mblen, and stores the character in *wc when wc is not null. */
int kel_mbtowc(kel_cs_handle cs, wchar_t* wc, const char* s, size_t n);
/* Writes wc in the code set (at most KEL_MB_LEN_MAX bytes, no terminator);
 * returns the byte count, -1 when the code set cannot represent wc, 0 for a
 * null s. */
int kel_wctomb(kel_cs_handle cs, char* s, wchar_t wc);

/* Conversions between the handle's code set and UTF-8: srclen bytes are
 * converted (terminators included as ordinary characters); at most dstlen
 * bytes are written and no terminator is added. Returns the bytes written, or
 * -1 (errno set). A zero srclen gives 0. */
int kel_to_utf8(kel_cs_handle cs, const char* src, size_t srclen, char* dst, size_t dstlen);
int kel_from_utf8(kel_cs_handle cs, const char* src, size_t srclen, char* dst, size_t dstlen);

/* Counterparts of the C library's string functions that respect character
 * boundaries: a match never starts inside a multibyte character. */
char* kel_strstr(kel_cs_handle cs, const char* s, const char* find);
char* kel_strchr(kel_cs_handle cs, const char* s, int c);
char* kel_strrchr(kel_cs_handle cs, const char* s, int c);
char* kel_strpbrk(kel_cs_handle cs, const char* s, const char* accept);
size_t kel_strspn(kel_cs_handle cs, const char* s, const char* accept);
size_t kel_strcspn(kel_cs_handle cs, const char* s, const char* reject);
/* Re-entrant through *save; a null save uses a per-thread position. */
char* kel_strtok(kel_cs_handle cs, char* s, const char* delim, char** save);
/* Append / copy at most n bytes of whole characters. kel_strncat always
 * terminates; kel_strncpy fills the rest of the n bytes with zeros (and, as
 * strncpy, leaves dst unterminated when the copied characters fill n). */
char* kel_strncat(kel_cs_handle cs, char* dst, const char* src, size_t n);
char* kel_strncpy(kel_cs_handle cs, char* dst, const char* src, size_t n);
/* Case-insensitive comparisons by character; kel_strnicmp stops once n bytes
 * of s1 have been compared. */
int kel_stricmp(kel_cs_handle cs, const char* s1, const char* s2);
int kel_strnicmp(kel_cs_handle cs, const char* s1, const char* s2, size_t n);
/* Case mapping in place; a character whose other case has a different byte
 * length, or none in the code set, is left as it is. Returns s. */
char* kel_strupper(kel_cs_handle cs, char* s);
char* kel_strlower(kel_cs_handle cs, char* s);
char* kel_strptime(kel_cs_handle cs, const char* s, const char* format, struct tm* tm);

/* Unicode character classes. */
int kel_iswupper(kel_cs_handle cs, wchar_t wc);
int kel_iswlower(kel_cs_handle cs, wchar_t wc);
int kel_iswspace(kel_cs_handle cs, wchar_t wc);
int kel_iswdigit(kel_cs_handle cs, wchar_t wc);
int kel_iswalpha(kel_cs_handle cs, wchar_t wc);
int kel_iswalnum(kel_cs_handle cs, wchar_t wc);

#ifdef __cplusplus
}
#endif

#endif /* KEL_KEL_H_ */
