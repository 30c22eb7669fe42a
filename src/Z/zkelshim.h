// zbase: stand-in for the code-set services until they are available.
// Byte-oriented: enough for single-byte text and for UTF-8 byte handling.
#ifndef Z_ZKELSHIM_H_
#define Z_ZKELSHIM_H_

#include <cctype>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "Z/ZAbstractString.h"

namespace zkelshim {
inline char lcs_rec;
inline char utf8_rec;
}  // namespace zkelshim

inline ZCodesetHandle zgetLCSHandle() { return reinterpret_cast<ZCodesetHandle>(&zkelshim::lcs_rec); }
inline ZCodesetHandle zgetUTF8Handle() {
  return reinterpret_cast<ZCodesetHandle>(&zkelshim::utf8_rec);
}
inline const char* zgetLocalCodesetName() { return MB_CUR_MAX > 1 ? "UTF-8" : "ANSI_X3.4-1968"; }
inline int zmblen(ZCodesetHandle, const char* s, std::size_t n) {
  if (s == nullptr || n == 0 || *s == '\0') return 0;
  return 1;
}
inline char* zstrchr(ZCodesetHandle, const char* s, int c) {
  return const_cast<char*>(std::strchr(s, c));
}
inline char* zstrstr(ZCodesetHandle, const char* s, const char* f) {
  return const_cast<char*>(std::strstr(s, f));
}
inline int zstricmp(ZCodesetHandle, const char* a, const char* b) { return strcasecmp(a, b); }
inline int zstrnicmp(ZCodesetHandle, const char* a, const char* b, std::size_t n) {
  return strncasecmp(a, b, n);
}
inline char* zstrlower(ZCodesetHandle, char* s) {
  for (char* p = s; *p; ++p) *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
  return s;
}
inline char* zstrupper(ZCodesetHandle, char* s) {
  for (char* p = s; *p; ++p) *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
  return s;
}
inline int zstrcount(ZCodesetHandle, const char* s) {
  return s == nullptr ? 0 : static_cast<int>(std::strlen(s));
}
inline int zlcs_to_utf8(const char* src, std::size_t n, char* dst, std::size_t m) {
  if (!src || !dst || !n || !m || n > m) return 0;
  std::memcpy(dst, src, n);
  return static_cast<int>(n);
}
inline int zlcs_from_utf8(const char* src, std::size_t n, char* dst, std::size_t m) {
  return zlcs_to_utf8(src, n, dst, m);
}

#endif  // Z_ZKELSHIM_H_
