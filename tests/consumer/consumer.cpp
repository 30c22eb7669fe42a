// A client of zbase: prints one value of a stanza file, or the library's
// message for a failure. Built from outside the source tree by
// tests/install_check.sh, through CMake and through pkg-config.
#include <cstdio>
#include <cstdlib>

#include "Z/Z.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: consumer FILE STANZA KEY\n");
    return 2;
  }
  setenv("QXKELDIR", KELDIR, 0);  // the installed tables unless told otherwise
  try {
    ZStanzaFileProperties props(argv[1], 1);
    ZLCString value;
    props.getValue(argv[2], argv[3], value, 1, nullptr);
    ZUTF8String utf8(value.getChars());
    std::printf("%s = %s (%u bytes)\n", argv[3], value.getChars(), utf8.getLength());
  } catch (ZZException& e) {
    e.print();
    return 1;
  } catch (ZException& e) {
    e.print();
    return 1;
  }
  return 0;
}
