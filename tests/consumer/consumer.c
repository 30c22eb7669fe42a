/* A C client of zbase through the C interface: prints one value of a stanza
 * file. Built with pkg-config by tests/install_check.sh. */
#define _POSIX_C_SOURCE 200809L /* setenv */

#include <stdio.h>
#include <stdlib.h>

#include "Z/zproperties_c.h"

int main(int argc, char** argv) {
  ZPROP_handle* handle = NULL;
  char* value;
  int rc = 0;
  if (argc != 4) {
    fprintf(stderr, "usage: consumer FILE STANZA KEY\n");
    return 2;
  }
  setenv("QXKELDIR", KELDIR, 0);
  if (zstzPropOpen(&handle, argv[1], ZPROP_OPEN_READ) != 0) {
    fprintf(stderr, "cannot open %s\n", argv[1]);
    return 1;
  }
  value = zstzPropGetStringValue(handle, argv[2], argv[3], 1, &rc);
  if (rc == 0) printf("%s = %s\n", argv[3], value != NULL ? value : "");
  zstzPropFree(value);
  zstzPropClose(handle);
  return rc == 0 ? 0 : 1;
}
