// Runs one code-set service request in a fresh process for ZkelutilTest.
#include <stdio.h>
#include <string.h>

#include <thread>
#include <vector>

#include "Z/ZLCString.h"
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
  } else if (strcmp(argv[1], "threads") == 0) {
    // Several threads race to the first use of the set-up.
    const int n = 4;
    kel_cs_handle seen[n][2];
    const char* names[n];
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i) {
      threads.emplace_back([&seen, &names, i] {
        // Half of them come through the first string they build.
        if (i % 2) {
          ZLCString s("x");
          seen[i][0] = s.getCodesetHandle();
          seen[i][1] = ZAbstractString::utf8_handle_;
        } else {
          seen[i][0] = zgetLCSHandle();
          seen[i][1] = zgetUTF8Handle();
        }
        names[i] = zgetLocalCodesetName();
      });
    }
    for (auto& t : threads) t.join();
    bool same = true;
    for (int i = 1; i < n; ++i) {
      same = same && seen[i][0] == seen[0][0] && seen[i][1] == seen[0][1] && names[i] == names[0];
    }
    printf("%s\n", same && seen[0][0] != nullptr ? "same" : "different");
  } else {
    return 2;
  }
  return 0;
}
