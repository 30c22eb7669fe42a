// zbase: code-set services: locale and code-set handles, multibyte-safe string functions.
#include "Z/zkelutil.h"

#include <locale.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "Z/ZAbstractMutableString.h"
#include "Z/ZException.h"
#include "Z/ZLock.h"

namespace {

// Process-wide values: written only by zonce_init, never freed. The ones
// that the getters read without going through the once-guard are atomic.
const char* keldir_ = nullptr;
int kel_rc = 0;
std::atomic<char*> locstring_{nullptr};
// Atomic like the others, although nothing reads it yet: an optimised build
// would otherwise drop the store, and leak checkers would then report the
// locale as lost.
std::atomic<kel_loc_handle> local_locale_handle_{nullptr};
std::atomic<char*> csname_{nullptr};
std::atomic<kel_cs_handle> zlocal_codeset_{nullptr};
std::atomic<kel_cs_handle> zutf8_codeset_{nullptr};
pthread_once_t kel_once = PTHREAD_ONCE_INIT;

// Set while a getter reports a failed set-up: building the exception
// builds strings, and strings ask for the handles again. Such nested
// requests get what there is (possibly null) instead of recursing, so that
// the report can be built and printed.
thread_local bool reportingFailure = false;

// Runs the set-up; prints the exception that reports a failure. False then.
bool initOrReport() {
  try {
    commonInit();
    return true;
  } catch (ZException& e) {
    e.print();
    return false;
  }
}

kel_cs_handle handleOrAbort(const std::atomic<kel_cs_handle>& slot) {
  kel_cs_handle h = slot.load(std::memory_order_acquire);
  if (h != nullptr || reportingFailure) return h;
  reportingFailure = true;
  bool ok = initOrReport();
  reportingFailure = false;
  h = slot.load(std::memory_order_acquire);
  if (!ok || h == nullptr) abort();
  return h;
}

const char* valueOrReport(const std::atomic<char*>& slot) {
  const char* v = slot.load(std::memory_order_acquire);
  if (v != nullptr || reportingFailure) return v;
  reportingFailure = true;
  initOrReport();
  reportingFailure = false;
  return slot.load(std::memory_order_acquire);
}

}  // namespace

void zonce_init() {
  if (locstring_.load(std::memory_order_acquire) != nullptr) return;
  setlocale(LC_ALL, "");
  varnel_initialize();
  keldir_ = getenv("QXKELDIR");
  if (keldir_ == nullptr) return;

  char lang[512] = "";  // a failed query leaves the default locale's name
  char canonical[512];
  kel_rc = kel_os_lang_name(lang, sizeof lang);
  kel_rc = kel_canonical_loc(lang, canonical, sizeof canonical);
  if (kel_rc != 0) return;
  locstring_.store(strdup(canonical), std::memory_order_release);
  local_locale_handle_.store(kel_loc_new(canonical), std::memory_order_release);

  char cs[32];
  kel_rc = kel_os_cs_name(cs, sizeof cs);
  if (kel_rc != 0) return;
  csname_.store(strdup(cs), std::memory_order_release);
  zlocal_codeset_.store(kel_cs_new(cs), std::memory_order_release);
  zutf8_codeset_.store(kel_cs_new("UTF8"), std::memory_order_release);
}

void commonInit() {
  pthread_once(&kel_once, zonce_init);
  if (keldir_ == nullptr) ZNoKELEnvironmentException().throwException("src/Z/zkelutil", 131);
  if (zlocal_codeset_ == nullptr)
    ZCodesetException(csname_.load()).throwException("src/Z/zkelutil", 135);
  if (zutf8_codeset_ == nullptr) ZCodesetException("UTF8").throwException("src/Z/zkelutil", 135);
}

int ZGetLocale(ZAbstractMutableString& out) {
  out = zgetlocale();
  return 0;
}

extern "C" {

kel_cs_handle zgetLCSHandle(void) { return handleOrAbort(zlocal_codeset_); }

kel_cs_handle zgetUTF8Handle(void) { return handleOrAbort(zutf8_codeset_); }

const char* zgetLocalCodesetName(void) { return valueOrReport(csname_); }

const char* zgetlocale(void) { return valueOrReport(locstring_); }

void zset_cs_dir(const char* dir) {
  if (dir != nullptr) kel_set_dir(dir);
}

int zmblen(kel_cs_handle handle, const char* text, size_t maxlen) {
  if (handle == zlocal_codeset_.load(std::memory_order_acquire) && MB_CUR_MAX == 1) return 1;
  return kel_mblen(handle, text, maxlen);
}

int zstrcount(kel_cs_handle handle, const char* text) {
  if (text == nullptr) return 0;
  int count = 0;
  // The terminator ends the walk even where zmblen answers 1 without looking.
  for (const char* p = text; *p != '\0';) {
    int n = zmblen(handle, p, 4);
    if (n <= 0) break;
    count += n;
    p += n;
  }
  return count;
}

int zisspace(kel_cs_handle handle, const char* text, size_t maxlen) {
  if (text == nullptr || maxlen == 0) return 0;
  wchar_t wc;
  int n = kel_mbtowc(handle, &wc, text, maxlen);
  if (n < 1 || !kel_iswspace(handle, wc)) return 0;
  return n;
}

int zisalpha(kel_cs_handle handle, const char* text, size_t maxlen) {
  if (text == nullptr || maxlen == 0) return 0;
  wchar_t wc;
  int n = kel_mbtowc(handle, &wc, text, maxlen);
  if (n < 1 || !kel_iswalpha(handle, wc)) return 0;
  return n;
}

int zlcs_to_utf8(const char* src, size_t srclen, char* dst, size_t dstlen) {
  if (src == nullptr || dst == nullptr || srclen == 0 || dstlen == 0) return 0;
  return kel_to_utf8(zgetLCSHandle(), src, srclen, dst, dstlen);
}

int zlcs_from_utf8(const char* src, size_t srclen, char* dst, size_t dstlen) {
  if (src == nullptr || dst == nullptr || srclen == 0 || dstlen == 0) return 0;
  return kel_from_utf8(zgetLCSHandle(), src, srclen, dst, dstlen);
}

void zhex_dump(FILE* stream, int count, const unsigned char* data, const char* title) {
  static ZLock* dumpLock = new ZLock();  // lives until the process ends
  if (stream == nullptr) stream = stderr;
  if (data == nullptr) count = 0;
  ZResourceLock hold(*dumpLock);
  if (title != nullptr) fprintf(stream, "\n\t%s\n", title);
  char column[17];
  memset(column, ' ', 16);
  column[16] = '\0';
  int i = 0;
  for (; i < count; ++i) {
    if (i % 16 == 0) {
      if (i > 0) fprintf(stream, "  *%s*", column);
      memset(column, ' ', 16);
      fprintf(stream, "\n%4.4x ", i);
    }
    if (i % 8 == 0) fputc(' ', stream);
    fprintf(stream, " %02x", data[i]);
    column[i % 16] = (data[i] >= 32 && data[i] <= 253) ? static_cast<char>(data[i]) : '.';
  }
  if (count > 0) {
    for (int pos = count % 16 == 0 ? 16 : count % 16; pos < 16; ++pos) {
      if (pos % 8 == 0) fputc(' ', stream);
      fputs("   ", stream);
    }
    fprintf(stream, "  *%s*", column);
  }
  fputc('\n', stream);
}

int zmbtowc(kel_cs_handle h, wchar_t* wc, const char* s, size_t n) {
  return kel_mbtowc(h, wc, s, n);
}
char* zstrstr(kel_cs_handle h, const char* s, const char* f) { return kel_strstr(h, s, f); }
char* zstrpbrk(kel_cs_handle h, const char* s, const char* a) { return kel_strpbrk(h, s, a); }
char* zstrtok(kel_cs_handle h, char* s, const char* d, char** save) {
  return kel_strtok(h, s, d, save);
}
size_t zstrspn(kel_cs_handle h, const char* s, const char* a) { return kel_strspn(h, s, a); }
size_t zstrcspn(kel_cs_handle h, const char* s, const char* r) { return kel_strcspn(h, s, r); }
char* zstrncat(kel_cs_handle h, char* d, const char* s, size_t n) {
  return kel_strncat(h, d, s, n);
}
char* zstrncpy(kel_cs_handle h, char* d, const char* s, size_t n) {
  return kel_strncpy(h, d, s, n);
}
char* zstrptime(kel_cs_handle h, const char* s, const char* f, struct tm* tm) {
  return kel_strptime(h, s, f, tm);
}
char* zstrupper(kel_cs_handle h, char* s) { return kel_strupper(h, s); }
char* zstrlower(kel_cs_handle h, char* s) { return kel_strlower(h, s); }
int zstrnicmp(kel_cs_handle h, const char* a, const char* b, size_t n) {
  return kel_strnicmp(h, a, b, n);
}
int zstricmp(kel_cs_handle h, const char* a, const char* b) { return kel_stricmp(h, a, b); }
char* zstrrchr(kel_cs_handle h, const char* s, int c) { return kel_strrchr(h, s, c); }
char* zstrchr(kel_cs_handle h, const char* s, int c) { return kel_strchr(h, s, c); }
int ziswupper(kel_cs_handle h, wchar_t wc) { return kel_iswupper(h, wc); }
int ziswlower(kel_cs_handle h, wchar_t wc) { return kel_iswlower(h, wc); }
int ziswspace(kel_cs_handle h, wchar_t wc) { return kel_iswspace(h, wc); }
int ziswdigit(kel_cs_handle h, wchar_t wc) { return kel_iswdigit(h, wc); }
int ziswalpha(kel_cs_handle h, wchar_t wc) { return kel_iswalpha(h, wc); }
int ziswalnum(kel_cs_handle h, wchar_t wc) { return kel_iswalnum(h, wc); }

}  // extern "C"
