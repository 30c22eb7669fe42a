// Runs one code-set service request in a fresh process for ZkelutilTest.
#include <stdio.h>
#include <string.h>

#include "Z/zkelutil.h"

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  if (strcmp(argv[1], "name") == 0) {
    const char* name = zgetLocalCodesetName();
    const char* locale = zgetlocale();
    printf("name=%s locale=%s\n", name != nullptr ? name : "(null)",
           locale != nullptr ? locale : "(null)");
  } else if (strcmp(argv[1], "handle") == 0) {
    zgetLCSHandle();
    printf("alive\n");
  } else {
    return 2;
  }
  return 0;
}
