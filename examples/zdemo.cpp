// zdemo: a short tour of the library: strings in the local code set and in
// UTF-8, conversion, searching and editing, a list, and an exception that is
// caught and printed through the message service.
//
// Run it from the build tree (build/examples/zdemo). The code-set tables are
// found through QXKELDIR; when it is not set, the demo looks for share/kel
// in the directories above the program and above the working directory.
#include <limits.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Z/Z.h"

namespace {

bool isDirectory(const std::string& path) { return access(path.c_str(), R_OK | X_OK) == 0; }

// Looks for share/kel in dir and each directory above it.
std::string findKelDirAbove(std::string dir) {
  while (!dir.empty()) {
    std::string candidate = dir + "/share/kel";
    if (isDirectory(candidate)) return candidate;
    std::string::size_type slash = dir.rfind('/');
    if (slash == std::string::npos) break;
    dir.erase(slash);
  }
  return std::string();
}

// Must run before the first string is built: the code-set services read
// QXKELDIR once.
void setKelDir(const char* argv0) {
  if (std::getenv("QXKELDIR") != nullptr) return;
  std::string found;
  char exe[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n > 0) {
    exe[n] = '\0';
    found = findKelDirAbove(exe);
  }
  if (found.empty() && argv0 != nullptr) {
    char resolved[PATH_MAX];
    if (realpath(argv0, resolved) != nullptr) found = findKelDirAbove(resolved);
  }
  char cwd[PATH_MAX];
  if (found.empty() && getcwd(cwd, sizeof cwd) != nullptr) found = findKelDirAbove(cwd);
  if (found.empty()) found = "share/kel";
  setenv("QXKELDIR", found.c_str(), 1);
  std::printf("QXKELDIR was not set; using %s\n", found.c_str());
}

void strings() {
  std::printf("\n== Strings\n");
  std::printf("local code set: %s\n", zgetLocalCodesetName());

  ZLCString greeting("  Hello, wide world!  ");
  greeting.stripWhiteSpace();
  std::printf("stripped:          \"%s\" (%u bytes)\n", greeting.getChars(), greeting.getLength());
  std::printf("indexOf(\"wide\"):   %u\n", greeting.indexOf("wide"));
  std::printf("lastIndexOf('o'):  %u\n", greeting.lastIndexOf('o'));
  std::printf("endsWith(\"!\"):     %s\n", greeting.endsWith("!") ? "yes" : "no");
  std::printf("subString(7, 4):   \"%s\"\n", greeting.subString(7, 4).getChars());

  ZLCString edited(greeting);
  edited.replace("wide", "whole").insert(0, ">> ").append(" <<");
  edited.upper();
  std::printf("edited:            \"%s\"\n", edited.getChars());
  ZLCString csv("alpha,beta;gamma");
  csv.replaceAll(",;", ' ');
  std::printf("replaceAll:        \"%s\"\n", csv.getChars());

  // Converting between the two kinds happens when one is built from the other.
  ZUTF8String utf8(greeting);
  std::printf("as UTF-8:          \"%s\"\n", utf8.getChars());
  ZUTF8String accented("Caf\xC3\xA9 cr\xC3\xA8me");
  accented.lower();
  std::printf("UTF-8 text:        \"%s\" (%u bytes)\n", accented.getChars(), accented.getLength());
  ZLCString local(accented);
  std::printf("in the local set:  \"%s\"%s\n", local.getChars(),
              local.isEmpty() ? " (not representable: the conversion failed)" : "");

  ZLCString number(4096L);
  number += " bytes";
  std::printf("number:            \"%s\", hash %u\n", number.getChars(), number.hash());
}

void list() {
  std::printf("\n== A list that owns copies of its members\n");
  ZArrayList words(4, 1);
  const char* texts[] = {"pear", "apple", "fig", "cherry"};
  for (const char* t : texts) {
    ZLCString w(t);
    words.add(&w);  // the list stores its own clone
  }
  ZLCString fig("fig"), kiwi("kiwi");
  std::printf("size %u, indexOf(fig) %u, contains(kiwi) %s\n", words.size(), words.indexOf(&fig),
              words.contains(&kiwi) ? "yes" : "no");
  for (unsigned int i = 0; i < words.size(); ++i) {
    std::printf("  [%u] %s\n", i, static_cast<ZLCString*>(words.get(i))->getChars());
  }
}

void exception() {
  std::printf("\n== An exception, caught and printed by the message service\n");
  std::fflush(stdout);
  try {
    ZUTF8String s("r\xC3\xA9sum\xC3\xA9");
    s.replace('\xC3', 'e');  // a non-ASCII byte is refused
  } catch (ZException& e) {
    e.dumpException();
    std::fputc('\n', stderr);
    std::fflush(stderr);
    std::printf("caught %s (error %lu) thrown at %s line %d\n", e.getName(), e.getErrorNumber(),
                e.who(), e.where());
  }
}

}  // namespace

int main(int argc, char** argv) {
  setKelDir(argc > 0 ? argv[0] : nullptr);
  strings();
  list();
  exception();
  return 0;
}
