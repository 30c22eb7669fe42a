/* zbase: the C interface used from C: the header compiles as strict C11, and
 * a round trip (open, read, walk, change, store) gives the expected file. */
#define _XOPEN_SOURCE 700

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "Z/zproperties_c.h"

static int failures = 0;
#define CHECK(c) \
  ((c) ? (void)0 : (void)(fprintf(stderr, "line %d: %s\n", __LINE__, #c), ++failures))

static int fileIs(const char* path, const char* text) {
  static char buffer[4096];
  FILE* f = fopen(path, "r");
  size_t n = f != NULL ? fread(buffer, 1, sizeof buffer - 1, f) : 0;
  if (f != NULL) fclose(f);
  buffer[n] = '\0';
  return strcmp(buffer, text) == 0;
}

int main(void) {
  char dir[] = "/tmp/zprop-ctest-XXXXXX", path[64], keys[64] = "";
  ZPROP_handle* h = NULL;
  ZPROP_iter_handle* it = NULL;
  int rc = -1;
  char* text;
  FILE* f;

  if (mkdtemp(dir) == NULL) return 2;
  snprintf(path, sizeof path, "%s/c.conf", dir);
  CHECK(zstzPropOpen(&h, path, ZPROP_OPEN_READ) == ZPROP_ERR_FILE && h == NULL);
  f = fopen(path, "w");
  fputs("[net]\n# where\nhost = a.example\nport = 80\nip6 = no\n", f);
  fclose(f);

  CHECK(zstzPropOpen(&h, path, ZPROP_OPEN_READWRITE) == ZPROP_OK);
  text = zstzPropGetStringValue(h, "net", "host", 1, &rc);
  CHECK(rc == ZPROP_OK && text != NULL && strcmp(text, "a.example") == 0);
  zstzPropFree(text);
  CHECK(zstzPropGetIntegerValue(h, "net", "port", 1, &rc) == 80 && rc == ZPROP_OK);
  CHECK(zstzPropGetBooleanValue(h, "net", "ip6", 1, &rc) == 0 && rc == ZPROP_OK);
  CHECK(zstzPropGetBooleanValue(h, "net", "gone", 1, &rc) == 0 && rc == ZPROP_ERR_MISSING);

  CHECK(zstzPropIter_init(h, "net", NULL, &it) == ZPROP_OK);
  while (zstzPropIter_next(it, &rc)) strcat(keys, zstzPropIter_getKey(it, &rc));
  CHECK(zstzPropIter_close(it) == ZPROP_OK && strcmp(keys, "hostportip6") == 0);

  CHECK(zstzPropSetIntegerValue(h, "net", "port", 8080) == ZPROP_OK);
  CHECK(zstzPropSetStringValue(h, "net", "host", NULL) == ZPROP_OK);
  CHECK(zstzPropStore(h, NULL) == ZPROP_OK);
  zstzPropClose(h);
  CHECK(fileIs(path, "[net]\n# where\nhost =\nport = 8080\nip6 = no\n"));

  unlink(path);
  rmdir(dir);
  return failures == 0 ? 0 : 1;
}
