// zbase: code-set services: locale and code-set handles, multibyte-safe string functions.
#ifndef Z_ZKELUTIL_H_
#define Z_ZKELUTIL_H_

#include "Z/zversion.h"

#include <stddef.h>
#include <stdio.h>
#include <time.h>

#include "kel/kel.h"

/*
 * The process-wide set-up is done once, on first use: the locale of the
 * environment is made the process locale, and two code-set handles are
 * opened, one for the local code set and one for UTF-8. They live until the
 * process ends, and may be used from any thread.
 *
 * The string and character functions take a code-set handle first and
 * otherwise behave as their C library counterparts for that code set.
 */

#ifdef __cplusplus
extern "C" {
#endif

/* The two handles. No string can work without them: when the set-up fails,
 * the reason is printed through the message service and the process aborts. */
kel_cs_handle zgetLCSHandle(void);
kel_cs_handle zgetUTF8Handle(void);
/* The local code-set name and the canonical locale name. When the set-up
 * fails the reason is printed and the value, possibly null, returned. */
const char* zgetLocalCodesetName(void);
const char* zgetlocale(void);
/* Directory of the code-set tables; null is ignored. */
void zset_cs_dir(const char* dir);

/* Byte length of the character at text (0 at the terminator, -1 if
 * malformed). For the local handle of a single-byte locale this is 1 without
 * looking at the text. */
int zmblen(kel_cs_handle handle, const char* text, size_t maxlen);
/* The number of bytes in the leading run of well-formed characters of text
 * (a byte count, not a character count). */
int zstrcount(kel_cs_handle handle, const char* text);
/* Byte length of the first character when it is white space (alphabetic), else 0. */
int zisspace(kel_cs_handle handle, const char* text, size_t maxlen);
int zisalpha(kel_cs_handle handle, const char* text, size_t maxlen);

/* Local code set <-> UTF-8: bytes written, 0 for a null pointer or a zero
 * length, negative on failure. No terminator is added. */
int zlcs_to_utf8(const char* src, size_t srclen, char* dst, size_t dstlen);
int zlcs_from_utf8(const char* src, size_t srclen, char* dst, size_t dstlen);

/* Hexadecimal and character dump of count bytes, to stderr for a null
 * stream. Dumps of several threads do not interleave. */
void zhex_dump(FILE* stream, int count, const unsigned char* data, const char* title);

int zmbtowc(kel_cs_handle handle, wchar_t* wc, const char* s, size_t n);
char* zstrstr(kel_cs_handle handle, const char* s, const char* find);
char* zstrpbrk(kel_cs_handle handle, const char* s, const char* accept);
char* zstrtok(kel_cs_handle handle, char* s, const char* delim, char** save);
size_t zstrspn(kel_cs_handle handle, const char* s, const char* accept);
size_t zstrcspn(kel_cs_handle handle, const char* s, const char* reject);
char* zstrncat(kel_cs_handle handle, char* dst, const char* src, size_t n);
char* zstrncpy(kel_cs_handle handle, char* dst, const char* src, size_t n);
char* zstrptime(kel_cs_handle handle, const char* s, const char* format, struct tm* tm);
char* zstrupper(kel_cs_handle handle, char* s);
char* zstrlower(kel_cs_handle handle, char* s);
int zstrnicmp(kel_cs_handle handle, const char* s1, const char* s2, size_t n);
int zstricmp(kel_cs_handle handle, const char* s1, const char* s2);
char* zstrrchr(kel_cs_handle handle, const char* s, int c);
char* zstrchr(kel_cs_handle handle, const char* s, int c);
int ziswupper(kel_cs_handle handle, wchar_t wc);
int ziswlower(kel_cs_handle handle, wchar_t wc);
int ziswspace(kel_cs_handle handle, wchar_t wc);
int ziswdigit(kel_cs_handle handle, wchar_t wc);
int ziswalpha(kel_cs_handle handle, wchar_t wc);
int ziswalnum(kel_cs_handle handle, wchar_t wc);

#ifdef __cplusplus
}

class ZAbstractMutableString;

/* The once-only set-up itself (run through its once-guard). */
void zonce_init();
/* Runs the set-up once and reports what it could not do: throws
 * ZNoKELEnvironmentException without QXKELDIR and ZCodesetException when a
 * handle could not be opened. */
void commonInit();
/* Sets out to the canonical locale name; returns 0. */
int ZGetLocale(ZAbstractMutableString& out);
#endif

#endif /* Z_ZKELUTIL_H_ */
