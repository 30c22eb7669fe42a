/* zbase: formatted output engine with positional arguments and wide strings. */
#ifndef Z_ZSNPRINTF_H_
#define Z_ZSNPRINTF_H_

#include "Z/zversion.h"

#include <stdarg.h>
#include <stddef.h>

#include "kel/kel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Flag bits of a conversion record. */
#define ZFMT_POSITIONAL 0x1
#define ZFMT_ALTERNATE 0x2
#define ZFMT_LEFT 0x4
#define ZFMT_ZERO 0x8
#define ZFMT_BLANK 0x10
#define ZFMT_SIGN 0x20
#define ZFMT_GROUP 0x40
#define ZFMT_WIDTH 0x80
#define ZFMT_WIDTH_ARG 0x100
#define ZFMT_WIDTH_POS 0x200
#define ZFMT_PREC 0x400
#define ZFMT_PREC_ARG 0x800
#define ZFMT_PREC_POS 0x1000
#define ZFMT_SHORT 0x2000
#define ZFMT_LONG 0x4000
#define ZFMT_LONGLONG 0x8000
#define ZFMT_OCTAL 0x10000
#define ZFMT_HEX 0x20000
#define ZFMT_UPPERHEX 0x40000
#define ZFMT_UPPEREXP 0x80000
#define ZFMT_PERCENT 0x100000

/* Argument type codes: what a conversion fetches from the argument list. */
enum {
  ZFMT_T_CHAR = 0,      /* c: int kept as one byte */
  ZFMT_T_WCHAR = 1,     /* C: int kept as a 16-bit wide character */
  ZFMT_T_STRING = 2,    /* s: multibyte string */
  ZFMT_T_WSTRING = 3,   /* S: 16-bit wide string */
  ZFMT_T_SHORT = 4,     /* hd, hi */
  ZFMT_T_USHORT = 5,    /* ho, hu, hx, hX */
  ZFMT_T_INT = 6,       /* d, i */
  ZFMT_T_UINT = 7,      /* o, u, x, X */
  ZFMT_T_LONG = 8,      /* ld, li */
  ZFMT_T_ULONG = 9,     /* lo, lu, lx, lX */
  ZFMT_T_LLONG = 10,    /* lld, Ld, qd */
  ZFMT_T_ULLONG = 11,   /* llo, llu, llx, llX and the L, q forms */
  ZFMT_T_POINTER = 12,  /* p */
  ZFMT_T_DOUBLE_E = 13, /* e, E */
  ZFMT_T_DOUBLE_F = 14, /* f */
  ZFMT_T_DOUBLE_G = 15, /* g, G */
  ZFMT_T_LDOUBLE_E = 16,
  ZFMT_T_LDOUBLE_F = 17,
  ZFMT_T_LDOUBLE_G = 18,
  ZFMT_T_PERCENT = 19, /* %% */
  ZFMT_T_COUNT = 20
};

/* One conversion of the format ("%" up to its conversion letter). */
typedef struct zvsnprintf_record {
  const char* start; /* the "%" in the format */
  const char* end;   /* first character after the conversion */
  int type;
  unsigned int flags;
  int value;     /* argument number of the value */
  int width;     /* argument number (with ZFMT_WIDTH_ARG) or the width itself */
  int precision; /* argument number (with ZFMT_PREC_ARG) or the precision itself */
} zvsnprintf_record;

/* One argument, by argument number. */
typedef struct zvsnprintf_arg {
  int type; /* -1 while no conversion refers to it */
  union {
    long long i;
    unsigned long long u;
    const void* p;
    double d;
    long double ld;
  } v;
} zvsnprintf_arg;

#define ZVSNPRINTF_INLINE 10

/* State shared by the parse and render passes. Lives on the caller's stack;
   formats of up to ten conversions and nine arguments need nothing else. */
typedef struct zvsnprintf_context {
  kel_cs_handle codeset;
  const char* format;
  zvsnprintf_record* records;
  int recordCount;
  int recordCapacity;
  zvsnprintf_arg* args; /* indexed by argument number, slot 0 unused */
  int argCount;         /* highest argument number */
  zvsnprintf_record inlineRecords[ZVSNPRINTF_INLINE];
  zvsnprintf_arg inlineArgs[ZVSNPRINTF_INLINE];
} zvsnprintf_context;

/* Parse pass: records every conversion and fetches every argument.
   0 on success; -1 on a bad format, a gap in the argument numbers or
   failed allocation. Call zvsnprintf_done afterwards in every case. */
int zvsnprintf_parse(zvsnprintf_context* context, kel_cs_handle codeSetHandle, const char* format,
                     va_list args);

/* Render pass: writes at most size - 1 characters and a NUL (when size is at
   least 1); returns the length of the complete result, or -1. A null buffer
   only measures. May be called any number of times after one parse. */
int zvsnprintf_render(zvsnprintf_context* context, char* buffer, size_t size);

/* Releases what the parse allocated. */
void zvsnprintf_done(zvsnprintf_context* context);

int zvsnprintf(char* buffer, size_t size, const char* format, va_list args);
int zsnprintf(char* buffer, size_t size, const char* format, ...);

/* Allocating forms: *result receives a NUL-terminated block to be released
   with zasprintf_free; the return value is its length, or -1 (and *result
   null) on any failure. */
int zvsprintf(char** result, const char* format, va_list args);
int zsprintf(char** result, const char* format, ...);
int zvasprintf(char** result, const char* format, va_list args);
int zasprintf(char** result, const char* format, ...);
void zasprintf_free(void* pointer);

#ifdef __cplusplus
}
#endif

#endif /* Z_ZSNPRINTF_H_ */
