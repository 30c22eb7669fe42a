/* zbase: a C program on the stanza-file interface. It reads a string, a
 * number and a boolean from the sample configuration, lists the keys of a
 * stanza and the values of a key, changes a value and stores a copy.
 *
 *   zprops_demo [CONFIG [COPY]]      (defaults: app.conf, app-edited.conf)
 *
 * Run it on a copy of examples/app.conf and app.conf.obf: storing rewrites
 * the side file that the configuration names, beside the configuration. */
#include <stdio.h>

#include "Z/zproperties_c.h"

static int fail(const char* what, int rc) {
  fprintf(stderr, "zprops_demo: %s failed with code %d\n", what, rc);
  return 1;
}

int main(int argc, char** argv) {
  const char* config = argc > 1 ? argv[1] : "app.conf";
  const char* copy = argc > 2 ? argv[2] : "app-edited.conf";
  ZPROP_handle* h = NULL;
  ZPROP_iter_handle* it = NULL;
  int rc = zstzPropOpen(&h, config, ZPROP_OPEN_READWRITE);
  if (rc != ZPROP_OK) return fail("open", rc);

  /* A string belongs to the caller until zstzPropFree. */
  char* host = zstzPropGetStringValue(h, "server", "host", 1, &rc);
  if (rc != ZPROP_OK) return fail("host", rc);
  unsigned int workers = zstzPropGetIntegerValue(h, "server", "workers", 1, &rc);
  if (rc != ZPROP_OK) return fail("workers", rc);
  int tls = zstzPropGetBooleanValue(h, "server", "tls", 0, &rc);
  if (rc != ZPROP_OK) return fail("tls", rc);
  printf("host %s, %u workers, tls %s\n", host, workers, tls ? "on" : "off");
  zstzPropFree(host);

  /* An iterator locks the file's object until it is closed. */
  rc = zstzPropIter_init(h, "server", NULL, &it);
  if (rc != ZPROP_OK) return fail("iterator", rc);
  printf("keys of [server]:");
  while (zstzPropIter_next(it, &rc)) printf(" %s", zstzPropIter_getKey(it, &rc));
  printf("\n");
  zstzPropIter_close(it);

  rc = zstzPropIter_init(h, "mirrors", "mirror", &it);
  if (rc != ZPROP_OK) return fail("value iterator", rc);
  printf("%u mirrors:\n", zstzPropIter_numValues(it, &rc));
  while (zstzPropIter_next(it, &rc)) printf("  %s\n", zstzPropIter_getValue(it, NULL, &rc));
  zstzPropIter_close(it);

  rc = zstzPropSetIntegerValue(h, "server", "workers", workers * 2);
  if (rc != ZPROP_OK) return fail("set", rc);
  rc = zstzPropStore(h, copy);
  if (rc != ZPROP_OK) return fail("store", rc);
  zstzPropClose(h);

  rc = zstzPropOpen(&h, copy, ZPROP_OPEN_READ);
  if (rc != ZPROP_OK) return fail("reopen", rc);
  printf("stored %s: workers = %u\n", copy,
         zstzPropGetIntegerValue(h, "server", "workers", 1, &rc));
  zstzPropClose(h);
  return rc == ZPROP_OK ? 0 : fail("read back", rc);
}
