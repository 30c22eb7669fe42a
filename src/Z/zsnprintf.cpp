// zbase: formatted output engine with positional arguments and wide strings.
#include "Z/zsnprintf.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Z/zkelutil.h"

namespace {

// Where a renderer writes: the next byte and the bytes left before the
// terminator. A null position with no room only measures.
struct Output {
  char* pos;
  size_t room;
};

void emit(Output* out, const char* text, size_t n) {
  if (n > out->room) n = out->room;
  if (n == 0) return;
  std::memcpy(out->pos, text, n);
  out->pos += n;
  out->room -= n;
}

void emitFill(Output* out, char c, long long n) {
  if (n <= 0) return;
  size_t k = static_cast<size_t>(n) > out->room ? out->room : static_cast<size_t>(n);
  if (k == 0) return;
  std::memset(out->pos, c, k);
  out->pos += k;
  out->room -= k;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads a decimal number; false when it does not fit an int.
bool readNumber(const char*& p, int* value) {
  long long n = 0;
  while (isDigit(*p)) {
    n = n * 10 + (*p - '0');
    if (n > INT_MAX) return false;
    ++p;
  }
  *value = static_cast<int>(n);
  return true;
}

// Argument types that are fetched alike from the argument list; one
// argument number used with two of these kinds cannot be fetched.
int fetchClass(int type) {
  switch (type) {
    case ZFMT_T_LONG:
    case ZFMT_T_ULONG:
      return 1;
    case ZFMT_T_LLONG:
    case ZFMT_T_ULLONG:
      return 2;
    case ZFMT_T_STRING:
    case ZFMT_T_WSTRING:
    case ZFMT_T_POINTER:
      return 3;
    case ZFMT_T_DOUBLE_E:
    case ZFMT_T_DOUBLE_F:
    case ZFMT_T_DOUBLE_G:
      return 4;
    case ZFMT_T_LDOUBLE_E:
    case ZFMT_T_LDOUBLE_F:
    case ZFMT_T_LDOUBLE_G:
      return 5;
    default:
      return 0;  // everything fetched as int or unsigned int
  }
}

bool isNumeric(int type) { return type >= ZFMT_T_SHORT && type <= ZFMT_T_LDOUBLE_G; }

zvsnprintf_record* newRecord(zvsnprintf_context* ctx) {
  if (ctx->recordCount == ctx->recordCapacity) {
    int cap = ctx->recordCapacity + ZVSNPRINTF_INLINE;
    zvsnprintf_record* grown;
    if (ctx->records == ctx->inlineRecords) {
      grown = static_cast<zvsnprintf_record*>(std::malloc(cap * sizeof(zvsnprintf_record)));
      if (grown) std::memcpy(grown, ctx->records, ctx->recordCount * sizeof(zvsnprintf_record));
    } else {
      grown = static_cast<zvsnprintf_record*>(
          std::realloc(ctx->records, cap * sizeof(zvsnprintf_record)));
    }
    if (!grown) return nullptr;
    ctx->records = grown;
    ctx->recordCapacity = cap;
  }
  return &ctx->records[ctx->recordCount++];
}

// Parses one conversion; p points just after its "%". Returns the first
// character after it, or null when the conversion is malformed.
const char* parseConversion(const char* p, zvsnprintf_record* rec) {
  unsigned int flags = 0;
  rec->value = 0;
  rec->width = 0;
  rec->precision = 0;

  if (isDigit(*p)) {
    const char* q = p;
    int n;
    if (!readNumber(q, &n)) return nullptr;
    if (*q == '$') {
      if (n < 1) return nullptr;
      flags |= ZFMT_POSITIONAL;
      rec->value = n;
      p = q + 1;
    }
  }

  for (;; ++p) {
    if (*p == ' ') {
      flags |= ZFMT_BLANK;
    } else if (*p == '#') {
      flags |= ZFMT_ALTERNATE;
    } else if (*p == '\'') {
      flags |= ZFMT_GROUP;
    } else if (*p == '+') {
      flags |= ZFMT_SIGN;
    } else if (*p == '-') {
      flags = (flags | ZFMT_LEFT) & ~ZFMT_ZERO;
    } else if (*p == '0') {
      if (!(flags & ZFMT_LEFT)) flags |= ZFMT_ZERO;
    } else {
      break;
    }
  }

  if (isDigit(*p)) {
    if (!readNumber(p, &rec->width)) return nullptr;
    flags |= ZFMT_WIDTH;
    if (*p == '*') return nullptr;
  } else if (*p == '*') {
    ++p;
    flags |= ZFMT_WIDTH_ARG;
    if (isDigit(*p)) {
      if (!(flags & ZFMT_POSITIONAL)) return nullptr;
      if (!readNumber(p, &rec->width) || *p != '$' || rec->width < 1) return nullptr;
      ++p;
      flags |= ZFMT_WIDTH_POS;
    }
  }

  if (*p == '.') {
    ++p;
    if (*p == '*') {
      ++p;
      flags |= ZFMT_PREC_ARG;
      if (isDigit(*p)) {
        if (!(flags & ZFMT_POSITIONAL)) return nullptr;
        if (!readNumber(p, &rec->precision) || *p != '$' || rec->precision < 1) return nullptr;
        ++p;
        flags |= ZFMT_PREC_POS;
      }
    } else {
      // "." alone is a precision of zero, as in printf.
      if (!readNumber(p, &rec->precision)) return nullptr;
      flags |= ZFMT_PREC;
    }
  }

  const unsigned int anyLength = ZFMT_SHORT | ZFMT_LONG | ZFMT_LONGLONG;
  for (;; ++p) {
    if (*p == 'h' || *p == 'L' || *p == 'q') {
      if (flags & anyLength) return nullptr;
      flags |= (*p == 'h') ? ZFMT_SHORT : ZFMT_LONGLONG;
    } else if (*p == 'l') {
      if (flags & (ZFMT_SHORT | ZFMT_LONGLONG)) return nullptr;
      flags = (flags & ZFMT_LONG) ? ((flags & ~ZFMT_LONG) | ZFMT_LONGLONG) : (flags | ZFMT_LONG);
    } else {
      break;
    }
  }

  const unsigned int length = flags & anyLength;
  int type;
  switch (*p) {
    case '%':
      type = ZFMT_T_PERCENT;
      flags |= ZFMT_PERCENT;
      break;
    case 'c':
    case 'C':
    case 's':
    case 'S':
    case 'p':
      // Their argument types do not depend on a length: one is accepted and
      // has no effect ("%ls" is "%s"). Only the floating conversions refuse
      // lengths.
      type = *p == 'c'   ? ZFMT_T_CHAR
             : *p == 'C' ? ZFMT_T_WCHAR
             : *p == 's' ? ZFMT_T_STRING
             : *p == 'S' ? ZFMT_T_WSTRING
                         : ZFMT_T_POINTER;
      if (type == ZFMT_T_POINTER) {
        flags |= ZFMT_ALTERNATE | ZFMT_ZERO | ZFMT_HEX;
      }
      break;
    case 'd':
    case 'i':
      type = length == ZFMT_SHORT  ? ZFMT_T_SHORT
             : length == ZFMT_LONG ? ZFMT_T_LONG
             : length              ? ZFMT_T_LLONG
                                   : ZFMT_T_INT;
      break;
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      type = length == ZFMT_SHORT  ? ZFMT_T_USHORT
             : length == ZFMT_LONG ? ZFMT_T_ULONG
             : length              ? ZFMT_T_ULLONG
                                   : ZFMT_T_UINT;
      if (*p == 'o') flags |= ZFMT_OCTAL;
      if (*p == 'x') flags |= ZFMT_HEX;
      if (*p == 'X') flags |= ZFMT_HEX | ZFMT_UPPERHEX;
      break;
    case 'e':
    case 'E':
    case 'f':
    case 'g':
    case 'G':
      // "%lf" is rejected, deliberately: only "L", "ll" and "q" select a
      // floating length (long double).
      if (length & (ZFMT_SHORT | ZFMT_LONG)) return nullptr;
      type = (*p == 'f')                ? ZFMT_T_DOUBLE_F
             : (*p == 'g' || *p == 'G') ? ZFMT_T_DOUBLE_G
                                        : ZFMT_T_DOUBLE_E;
      if (length) type += ZFMT_T_LDOUBLE_E - ZFMT_T_DOUBLE_E;
      if (*p == 'E' || *p == 'G') flags |= ZFMT_UPPEREXP;
      break;
    default:
      return nullptr;  // includes n, F, a, A, j, z, t and the end of the format
  }
  rec->type = type;
  rec->flags = flags;
  return p + 1;
}

// Gives a record's value, width or precision its argument number and notes
// the type it is fetched as. False on a clash of types.
bool useArgument(zvsnprintf_context* ctx, int number, int type) {
  zvsnprintf_arg* a = &ctx->args[number];
  if (a->type < 0) {
    a->type = type;
    return true;
  }
  return fetchClass(a->type) == fetchClass(type);
}

int numberArguments(zvsnprintf_context* ctx) {
  // First pass: argument numbers and the highest one.
  int counter = 0;
  long long highest = 0;
  for (int i = 0; i < ctx->recordCount; ++i) {
    zvsnprintf_record* r = &ctx->records[i];
    if (r->type == ZFMT_T_PERCENT) continue;
    if (r->flags & ZFMT_WIDTH_ARG) {
      if (r->flags & ZFMT_WIDTH_POS) {
        counter = r->width;
      } else {
        if (counter == INT_MAX) return -1;
        r->width = ++counter;
      }
      if (r->width > highest) highest = r->width;
    }
    if (r->flags & ZFMT_PREC_ARG) {
      if (r->flags & ZFMT_PREC_POS) {
        counter = r->precision;
      } else {
        if (counter == INT_MAX) return -1;
        r->precision = ++counter;
      }
      if (r->precision > highest) highest = r->precision;
    }
    if (r->flags & ZFMT_POSITIONAL) {
      counter = r->value;
    } else {
      if (counter == INT_MAX) return -1;
      r->value = ++counter;
    }
    if (r->value > highest) highest = r->value;
  }
  // Each record names at most three numbers: a higher number leaves a gap
  // (checked before a large array is allocated for it).
  if (highest > 3LL * ctx->recordCount) return -1;

  if (highest >= ZVSNPRINTF_INLINE) {
    ctx->args = static_cast<zvsnprintf_arg*>(std::malloc((highest + 1) * sizeof(zvsnprintf_arg)));
    if (!ctx->args) {
      ctx->args = ctx->inlineArgs;
      return -1;
    }
  }
  ctx->argCount = static_cast<int>(highest);
  for (int n = 0; n <= highest; ++n) ctx->args[n].type = -1;

  for (int i = 0; i < ctx->recordCount; ++i) {
    const zvsnprintf_record* r = &ctx->records[i];
    if (r->type == ZFMT_T_PERCENT) continue;
    if ((r->flags & ZFMT_WIDTH_ARG) && !useArgument(ctx, r->width, ZFMT_T_INT)) return -1;
    if ((r->flags & ZFMT_PREC_ARG) && !useArgument(ctx, r->precision, ZFMT_T_INT)) return -1;
    if (!useArgument(ctx, r->value, r->type)) return -1;
  }
  for (int n = 1; n <= highest; ++n) {
    if (ctx->args[n].type < 0) return -1;
  }
  return 0;
}

void fetchArguments(zvsnprintf_context* ctx, va_list args) {
  for (int n = 1; n <= ctx->argCount; ++n) {
    zvsnprintf_arg* a = &ctx->args[n];
    switch (a->type) {
      case ZFMT_T_USHORT:
      case ZFMT_T_UINT:
        a->v.u = va_arg(args, unsigned int);
        break;
      case ZFMT_T_LONG:
        a->v.i = va_arg(args, long);
        break;
      case ZFMT_T_ULONG:
        a->v.u = va_arg(args, unsigned long);
        break;
      case ZFMT_T_LLONG:
        a->v.i = va_arg(args, long long);
        break;
      case ZFMT_T_ULLONG:
        a->v.u = va_arg(args, unsigned long long);
        break;
      case ZFMT_T_STRING:
      case ZFMT_T_WSTRING:
      case ZFMT_T_POINTER:
        a->v.p = va_arg(args, const void*);
        break;
      case ZFMT_T_DOUBLE_E:
      case ZFMT_T_DOUBLE_F:
      case ZFMT_T_DOUBLE_G:
        a->v.d = va_arg(args, double);
        break;
      case ZFMT_T_LDOUBLE_E:
      case ZFMT_T_LDOUBLE_F:
      case ZFMT_T_LDOUBLE_G:
        a->v.ld = va_arg(args, long double);
        break;
      default:
        a->v.i = va_arg(args, int);
        break;
    }
  }
}

// Width, precision and pad character of one record.
struct RenderParams {
  int width;
  int precision;
  bool hasPrecision;
  char pad;
};

RenderParams getRenderParams(const zvsnprintf_record* rec, const zvsnprintf_arg* args) {
  RenderParams rp;
  rp.pad = ((rec->flags & ZFMT_ZERO) && isNumeric(rec->type)) ? '0' : ' ';
  // A negative width from an argument stays as it is: it pads nothing and
  // does not switch to left justification.
  if (rec->flags & ZFMT_WIDTH_ARG) {
    rp.width = static_cast<int>(args[rec->width].v.i);
  } else {
    rp.width = (rec->flags & ZFMT_WIDTH) ? rec->width : 0;
  }
  rp.hasPrecision = false;
  if (rec->flags & ZFMT_PREC_ARG) {
    rp.precision = static_cast<int>(args[rec->precision].v.i);
    rp.hasPrecision = rp.precision >= 0;  // negative: as if none was given
  } else if (rec->flags & ZFMT_PREC) {
    rp.precision = rec->precision;
    rp.hasPrecision = true;
  }
  if (!rp.hasPrecision) {
    if (rec->type >= ZFMT_T_SHORT && rec->type <= ZFMT_T_POINTER) {
      rp.precision = 1;
    } else if (rec->type == ZFMT_T_DOUBLE_F || rec->type == ZFMT_T_LDOUBLE_F) {
      rp.precision = 6;
    } else {
      rp.precision = 0;
    }
  }
  return rp;
}

// Text of `len` bytes padded to the width, before it or, with "-", after it.
long long padded(Output* out, const RenderParams& rp, unsigned int flags, const char* text,
                 size_t len) {
  long long fill = static_cast<long long>(rp.width) - static_cast<long long>(len);
  if (!(flags & ZFMT_LEFT)) emitFill(out, rp.pad, fill);
  emit(out, text, len);
  if (flags & ZFMT_LEFT) emitFill(out, ' ', fill);
  return fill > 0 ? rp.width : static_cast<long long>(len);
}

typedef long long (*Renderer)(kel_cs_handle cs, const zvsnprintf_record* rec,
                              const zvsnprintf_arg* args, Output* out);

long long render_percent(kel_cs_handle, const zvsnprintf_record*, const zvsnprintf_arg*,
                         Output* out) {
  emit(out, "%", 1);
  return 1;
}

long long render_char(kel_cs_handle, const zvsnprintf_record* rec, const zvsnprintf_arg* args,
                      Output* out) {
  RenderParams rp = getRenderParams(rec, args);
  char c = static_cast<char>(static_cast<unsigned char>(args[rec->value].v.i));
  return padded(out, rp, rec->flags, &c, 1);
}

// Converts one 16-bit wide character into the code set; its byte length,
// or -1 when it has no representation there.
int wideToMultibyte(kel_cs_handle cs, unsigned short wc, char* buf) {
  return kel_wctomb(cs, buf, static_cast<wchar_t>(wc));
}

long long render_wchar(kel_cs_handle cs, const zvsnprintf_record* rec, const zvsnprintf_arg* args,
                       Output* out) {
  RenderParams rp = getRenderParams(rec, args);
  char buf[KEL_MB_LEN_MAX];
  int n = wideToMultibyte(cs, static_cast<unsigned short>(args[rec->value].v.u), buf);
  if (n < 0) return -1;
  long long fill = static_cast<long long>(rp.width) - n;
  if (!(rec->flags & ZFMT_LEFT)) emitFill(out, ' ', fill);
  // A character that does not fit whole is left out and ends the output.
  if (static_cast<size_t>(n) <= out->room) {
    emit(out, buf, n);
  } else {
    out->room = 0;
  }
  if (rec->flags & ZFMT_LEFT) emitFill(out, ' ', fill);
  return fill > 0 ? rp.width : n;
}

long long renderWideString(kel_cs_handle cs, const zvsnprintf_record* rec, const RenderParams& rp,
                           const unsigned short* ws, Output* out) {
  // Measure first: the padding depends on the converted length, which the
  // precision limits to whole characters.
  char buf[KEL_MB_LEN_MAX];
  long long len = 0;
  for (const unsigned short* w = ws; *w; ++w) {
    int n = wideToMultibyte(cs, *w, buf);
    if (n < 0) return -1;
    if (rp.hasPrecision && len + n > rp.precision) break;
    len += n;
  }
  long long fill = static_cast<long long>(rp.width) - len;
  if (!(rec->flags & ZFMT_LEFT)) emitFill(out, ' ', fill);
  long long done = 0;
  for (const unsigned short* w = ws; *w && out->room > 0; ++w) {
    int n = wideToMultibyte(cs, *w, buf);
    if (n < 0) return -1;
    if (done + n > len) break;
    done += n;
    // Out of room inside a character: cut before it, never inside it.
    if (static_cast<size_t>(n) > out->room) {
      out->room = 0;
      break;
    }
    emit(out, buf, n);
  }
  if (rec->flags & ZFMT_LEFT) emitFill(out, ' ', fill);
  return fill > 0 ? rp.width : len;
}

long long render_string(kel_cs_handle cs, const zvsnprintf_record* rec, const zvsnprintf_arg* args,
                        Output* out) {
  RenderParams rp = getRenderParams(rec, args);
  if (rec->type == ZFMT_T_WSTRING) {
    static const unsigned short empty[1] = {0};
    const unsigned short* ws = static_cast<const unsigned short*>(args[rec->value].v.p);
    return renderWideString(cs, rec, rp, ws ? ws : empty, out);
  }
  const char* s = static_cast<const char*>(args[rec->value].v.p);
  if (!s) s = "";
  size_t len = rp.hasPrecision ? strnlen(s, static_cast<size_t>(rp.precision)) : std::strlen(s);
  return padded(out, rp, rec->flags, s, len);
}

// Integers: sign or prefix, zeros up to the precision, digits, padding.
long long renderInteger(const zvsnprintf_record* rec, const zvsnprintf_arg* args,
                        unsigned long long magnitude, char sign, Output* out) {
  RenderParams rp = getRenderParams(rec, args);
  const unsigned int flags = rec->flags;
  const unsigned int base = (flags & ZFMT_OCTAL) ? 8 : (flags & ZFMT_HEX) ? 16 : 10;
  const char* digitSet = (flags & ZFMT_UPPERHEX) ? "0123456789ABCDEF" : "0123456789abcdef";

  // Digits are produced from the right end of the buffer.
  char digits[32];
  char* const digitsEnd = digits + sizeof digits;
  char* d = digitsEnd;
  for (unsigned long long m = magnitude; m != 0; m /= base) *--d = digitSet[m % base];
  const int n = static_cast<int>(digitsEnd - d);

  long long zeros = rp.precision > n ? rp.precision - n : 0;
  if ((flags & ZFMT_ALTERNATE) && base == 8 && zeros == 0 && (n == 0 || *d != '0')) {
    zeros = 1;  // "#" makes the first octal digit a zero
  }
  char prefix[3];
  int plen = 0;
  if (sign) prefix[plen++] = sign;
  if ((flags & ZFMT_ALTERNATE) && base == 16 && (magnitude != 0 || rec->type == ZFMT_T_POINTER)) {
    prefix[plen++] = '0';
    prefix[plen++] = (flags & ZFMT_UPPERHEX) ? 'X' : 'x';
  }
  long long len = plen + zeros + n;
  long long fill = static_cast<long long>(rp.width) - len;
  // With a precision the zeros come from the precision, as in printf.
  bool zeroPad =
      rp.pad == '0' && !(flags & ZFMT_LEFT) && (!rp.hasPrecision || rec->type == ZFMT_T_POINTER);
  if (!(flags & ZFMT_LEFT) && !zeroPad) emitFill(out, ' ', fill);
  emit(out, prefix, plen);
  if (zeroPad) emitFill(out, '0', fill);
  emitFill(out, '0', zeros);
  emit(out, d, static_cast<size_t>(n));
  if (flags & ZFMT_LEFT) emitFill(out, ' ', fill);
  return fill > 0 ? rp.width : len;
}

long long render_longlong(kel_cs_handle, const zvsnprintf_record* rec, const zvsnprintf_arg* args,
                          Output* out) {
  long long v = args[rec->value].v.i;
  switch (rec->type) {
    case ZFMT_T_SHORT:
      v = static_cast<short>(v);
      break;
    case ZFMT_T_INT:
      v = static_cast<int>(v);
      break;
    case ZFMT_T_LONG:
      v = static_cast<long>(v);
      break;
    default:
      break;
  }
  unsigned long long magnitude =
      v < 0 ? 0ULL - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
  char sign = v < 0 ? '-' : (rec->flags & ZFMT_SIGN) ? '+' : (rec->flags & ZFMT_BLANK) ? ' ' : 0;
  return renderInteger(rec, args, magnitude, sign, out);
}

long long render_ulonglong(kel_cs_handle, const zvsnprintf_record* rec, const zvsnprintf_arg* args,
                           Output* out) {
  unsigned long long v = args[rec->value].v.u;
  switch (rec->type) {
    case ZFMT_T_USHORT:
      v = static_cast<unsigned short>(v);
      break;
    case ZFMT_T_UINT:
      v = static_cast<unsigned int>(v);
      break;
    case ZFMT_T_POINTER:
      v = reinterpret_cast<unsigned long long>(args[rec->value].v.p);
      break;
    default:
      break;
  }
  return renderInteger(rec, args, v, 0, out);
}

template <typename T>
int formatFloating(char* buf, size_t size, const char* fmt, const RenderParams& rp, bool useWidth,
                   bool usePrecision, T value) {
  int width = rp.width < 0 ? 0 : rp.width;
  if (useWidth && usePrecision) return std::snprintf(buf, size, fmt, width, rp.precision, value);
  if (useWidth) return std::snprintf(buf, size, fmt, width, value);
  if (usePrecision) return std::snprintf(buf, size, fmt, rp.precision, value);
  return std::snprintf(buf, size, fmt, value);
}

// Floating point goes through the C library, with the record's flags,
// width and precision rebuilt into a format of its own.
long long render_double(kel_cs_handle, const zvsnprintf_record* rec, const zvsnprintf_arg* args,
                        Output* out) {
  RenderParams rp = getRenderParams(rec, args);
  const unsigned int flags = rec->flags;
  char fmt[16];
  int f = 0;
  fmt[f++] = '%';
  if (flags & ZFMT_ZERO) fmt[f++] = '0';
  if (flags & ZFMT_ALTERNATE) fmt[f++] = '#';
  if (flags & ZFMT_LEFT) fmt[f++] = '-';
  if (flags & ZFMT_BLANK) fmt[f++] = ' ';
  if (flags & ZFMT_SIGN) fmt[f++] = '+';
  if (flags & ZFMT_GROUP) fmt[f++] = '\'';
  const bool useWidth = (flags & (ZFMT_WIDTH | ZFMT_WIDTH_ARG)) != 0;
  const bool usePrecision = rp.hasPrecision;
  if (useWidth) fmt[f++] = '*';
  if (usePrecision) {
    fmt[f++] = '.';
    fmt[f++] = '*';
  }
  const bool isLong = rec->type >= ZFMT_T_LDOUBLE_E;
  if (isLong) fmt[f++] = 'L';
  const bool upper = (flags & ZFMT_UPPEREXP) != 0;
  switch (rec->type) {
    case ZFMT_T_DOUBLE_E:
    case ZFMT_T_LDOUBLE_E:
      fmt[f++] = upper ? 'E' : 'e';
      break;
    case ZFMT_T_DOUBLE_F:
    case ZFMT_T_LDOUBLE_F:
      fmt[f++] = 'f';
      break;
    default:
      fmt[f++] = upper ? 'G' : 'g';
      break;
  }
  fmt[f] = '\0';

  // The scratch buffer holds the common case. A longer result ("%f" of
  // 1e300, large widths or precisions) is formatted again into a block only
  // as large as the room left: measuring, or a short buffer, allocates
  // nothing, since the scratch buffer already holds the bytes that fit.
  char scratch[100];
  char* text = scratch;
  const zvsnprintf_arg& a = args[rec->value];
  int n = isLong ? formatFloating(scratch, sizeof scratch, fmt, rp, useWidth, usePrecision, a.v.ld)
                 : formatFloating(scratch, sizeof scratch, fmt, rp, useWidth, usePrecision, a.v.d);
  if (n < 0) return -1;
  if (static_cast<size_t>(n) >= sizeof scratch && out->room >= sizeof scratch) {
    const size_t size =
        (static_cast<size_t>(n) < out->room ? static_cast<size_t>(n) : out->room) + 1;
    text = static_cast<char*>(std::malloc(size));
    if (!text) return -1;
    int m = isLong ? formatFloating(text, size, fmt, rp, useWidth, usePrecision, a.v.ld)
                   : formatFloating(text, size, fmt, rp, useWidth, usePrecision, a.v.d);
    if (m != n) {
      std::free(text);
      return -1;
    }
  }
  emit(out, text, static_cast<size_t>(n));
  if (text != scratch) std::free(text);
  return n;
}

const Renderer kRenderers[ZFMT_T_COUNT] = {
    render_char,      render_wchar,     render_string,    render_string,   render_longlong,
    render_ulonglong, render_longlong,  render_ulonglong, render_longlong, render_ulonglong,
    render_longlong,  render_ulonglong, render_ulonglong, render_double,   render_double,
    render_double,    render_double,    render_double,    render_double,   render_percent,
};

int parseFormat(zvsnprintf_context* ctx, const char* format) {
  const char* p = format;
  while ((p = std::strchr(p, '%')) != nullptr) {
    zvsnprintf_record* rec = newRecord(ctx);
    if (!rec) return -1;
    rec->start = p;
    p = parseConversion(p + 1, rec);
    if (!p) return -1;
    rec->end = p;
  }
  return 0;
}

}  // namespace

extern "C" {

int zvsnprintf_parse(zvsnprintf_context* context, kel_cs_handle codeSetHandle, const char* format,
                     va_list args) {
  if (!context) return -1;
  context->codeset = codeSetHandle;
  context->format = format;
  context->records = context->inlineRecords;
  context->recordCount = 0;
  context->recordCapacity = ZVSNPRINTF_INLINE;
  context->args = context->inlineArgs;
  context->argCount = 0;
  if (!format) return -1;
  if (parseFormat(context, format) != 0 || numberArguments(context) != 0) {
    // Nothing half-parsed may be rendered; done() still frees the tables.
    context->format = nullptr;
    context->recordCount = 0;
    return -1;
  }
  fetchArguments(context, args);
  return 0;
}

int zvsnprintf_render(zvsnprintf_context* context, char* buffer, size_t size) {
  if (!context || !context->format) return -1;
  Output out;
  out.pos = buffer;
  out.room = (buffer && size > 0) ? size - 1 : 0;
  long long total = 0;
  int rc = 0;
  const char* literal = context->format;
  for (int i = 0; i < context->recordCount; ++i) {
    const zvsnprintf_record* rec = &context->records[i];
    size_t n = static_cast<size_t>(rec->start - literal);
    emit(&out, literal, n);
    total += static_cast<long long>(n);
    long long r = kRenderers[rec->type](context->codeset, rec, context->args, &out);
    if (r < 0) {
      rc = -1;
      break;
    }
    total += r;
    literal = rec->end;
  }
  if (rc == 0) {
    size_t n = std::strlen(literal);
    emit(&out, literal, n);
    total += static_cast<long long>(n);
  }
  if (buffer && size > 0) *out.pos = '\0';
  if (rc != 0 || total > INT_MAX) return -1;
  return static_cast<int>(total);
}

void zvsnprintf_done(zvsnprintf_context* context) {
  if (!context) return;
  if (context->records && context->records != context->inlineRecords) {
    std::free(context->records);
  }
  if (context->args && context->args != context->inlineArgs) std::free(context->args);
  context->records = context->inlineRecords;
  context->recordCount = 0;
  context->recordCapacity = ZVSNPRINTF_INLINE;
  context->args = context->inlineArgs;
  context->argCount = 0;
}

int zvsnprintf(char* buffer, size_t size, const char* format, va_list args) {
  zvsnprintf_context ctx;
  int rc = zvsnprintf_parse(&ctx, zgetLCSHandle(), format, args);
  if (rc == 0) rc = zvsnprintf_render(&ctx, buffer, size);
  zvsnprintf_done(&ctx);
  return rc;
}

int zsnprintf(char* buffer, size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int rc = zvsnprintf(buffer, size, format, args);
  va_end(args);
  return rc;
}

int zvasprintf(char** result, const char* format, va_list args) {
  if (!result) return -1;
  *result = nullptr;
  if (!format || !args) return -1;
  zvsnprintf_context ctx;
  int len = zvsnprintf_parse(&ctx, zgetLCSHandle(), format, args);
  if (len == 0) len = zvsnprintf_render(&ctx, nullptr, 0);
  if (len >= 0) {
    char* block = static_cast<char*>(std::malloc(static_cast<size_t>(len) + 1));
    if (!block) {
      len = -1;
    } else if (zvsnprintf_render(&ctx, block, static_cast<size_t>(len) + 1) != len) {
      std::free(block);
      len = -1;
    } else {
      *result = block;
    }
  }
  zvsnprintf_done(&ctx);
  return len;
}

int zvsprintf(char** result, const char* format, va_list args) {
  return zvasprintf(result, format, args);
}

int zsprintf(char** result, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int rc = zvsprintf(result, format, args);
  va_end(args);
  return rc;
}

int zasprintf(char** result, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int rc = zvasprintf(result, format, args);
  va_end(args);
  return rc;
}

void zasprintf_free(void* pointer) { std::free(pointer); }

}  // extern "C"
