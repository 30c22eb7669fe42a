// zbase: zstanza, reads and edits stanza configuration files from the shell.
#include "Z/zversion.h"

#include <limits.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"
#include "Z/ZStanzaFileProperties.h"

namespace {

// Exit codes.
const int kOk = 0;
const int kMissing = 1;   // the stanza, key or value asked for is not there
const int kUsage = 2;     // wrong command line
const int kInvalid = 3;   // the file holds invalid data, or a value is not of the asked type
const int kIOFailed = 4;  // the file could not be read, locked or written
const int kFailed = 5;    // any other failure of the library

const char kHelp[] =
    "usage: zstanza COMMAND FILE [ARGUMENTS] [OPTIONS]\n"
    "\n"
    "Reads and edits stanza configuration files:\n"
    "\n"
    "  # comment\n"
    "  [stanza]\n"
    "  key = value\n"
    "\n"
    "Commands:\n"
    "  get FILE STANZA KEY        print every value of the key, one a line\n"
    "      --int | --long | --bool  print the last value read as an unsigned 32-bit\n"
    "                               number (0x.. hex, 0.. octal), a signed 64-bit\n"
    "                               number, or a boolean (prints yes or no)\n"
    "  set FILE STANZA KEY VALUE  replace the key's values by VALUE (creates the\n"
    "                             file, stanza and key as needed)\n"
    "      --obfuscated             keep the value hidden, in the side file\n"
    "                               FILE.obf (see below)\n"
    "  add FILE STANZA KEY VALUE...  merge values into the key: a value already\n"
    "                             there (after the previous one found) is not added\n"
    "      --obfuscated             work on the key's hidden values\n"
    "  del FILE STANZA [KEY]      delete the key, or the whole stanza\n"
    "  list FILE [STANZA]         print the stanza names, or the stanza's entries\n"
    "                             (hidden values are not shown)\n"
    "  comment FILE STANZA KEY TEXT  replace the comment above the key (\"\" removes\n"
    "                             it; a \"#\" is put in front of every line)\n"
    "  check FILE                 read the file and its side file and report\n"
    "  dump FILE                  print the file as the library writes it back\n"
    "      --no-comments            without its comments and blank lines\n"
    "\n"
    "Values are taken literally: no quoting and no escapes. A key given several\n"
    "times holds several values. Comments and blank lines are kept when a file\n"
    "is written back. Hidden values live in a compressed side file named by the\n"
    "key \"file\" of the stanza \"configuration-database\".\n"
    "\n"
    "Errors print one line to standard error. Exit codes:\n"
    "  0  success\n"
    "  1  the stanza, key or value is missing (a key without values counts as\n"
    "     missing)\n"
    "  2  wrong usage\n"
    "  3  the file holds invalid data, or a value is not a valid number or boolean\n"
    "  4  the file could not be read, locked or written\n"
    "  5  any other failure\n"
    "\n"
    "QXKELDIR names the code-set tables; when it is not set, zstanza uses the\n"
    "share/kel directory that it finds beside its own installation or sources.\n";

// Prints the library's errors as one plain line: the message text alone.
class LineMessageService : public ZMessageService {
 public:
  void outputMessage(const char*, int, int number, int count, const ZLCString* s1,
                     const ZLCString* s2, const ZLCString* s3, const ZLCString* s4,
                     const ZLCString* s5, const ZLCString* s6) const override {
    std::string line = "zstanza: message " + std::to_string(number);
    const ZLCString* inserts[] = {s1, s2, s3, s4, s5, s6};
    for (int i = 0; i < count && i < 6; ++i) {
      if (inserts[i] != nullptr) line += std::string(" ") + inserts[i]->getChars();
    }
    std::fprintf(stderr, "%s\n", line.c_str());
  }
  void outputMessageUTF8(const char*, int, int number, int, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*) const override {
    std::fprintf(stderr, "zstanza: message %d\n", number);
  }
  void outputException(ZException& e) const override { e.print(); }
  void outputException(const ZZException* e, va_list args) const override {
    const unsigned long number = e->getErrorNumber();
    const char* format = number < static_cast<unsigned long>(NUM_MSGS) ? ZDefaultMsgs[number] : "";
    if (format == nullptr || *format == '\0') {
      std::fprintf(stderr, "zstanza: error %lu\n", number);
      return;
    }
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text(n > 0 ? n : 0, '\0');
    if (n > 0) std::vsnprintf(&text[0], n + 1, format, args);
    for (char& c : text) {
      if (c == '\n') c = ' ';
    }
    std::fprintf(stderr, "%s\n", text.c_str());
  }
};

int fail(int code, const std::string& text) {
  std::fprintf(stderr, "zstanza: %s\n", text.c_str());
  return code;
}

// Wrong usage, in one line like every other error.
int usage(const std::string& text) { return fail(kUsage, text + " (see zstanza --help)"); }

bool isDirectory(const std::string& path) { return ::access((path + "/.").c_str(), F_OK) == 0; }

// The code-set tables are needed before the first string is made: when the
// caller has not named them, look above the executable for share/zbase/kel
// (an installation) or share/kel (a build directory inside the source tree).
void findCodeSetTables() {
  if (std::getenv("QXKELDIR") != nullptr) return;
  char exe[PATH_MAX];
  ssize_t n = ::readlink("/proc/self/exe", exe, sizeof exe - 1);
  std::vector<std::string> candidates;
  if (n > 0) {
    exe[n] = '\0';
    std::string dir(exe);
    for (int up = 0; up < 4; ++up) {
      size_t slash = dir.rfind('/');
      if (slash == std::string::npos) break;
      dir.erase(slash);
      candidates.push_back(dir + "/share/zbase/kel");  // an installation
      candidates.push_back(dir + "/share/kel");        // a source tree
    }
  }
#ifdef ZSTANZA_SOURCE_DIR
  candidates.push_back(std::string(ZSTANZA_SOURCE_DIR) + "/share/kel");
#endif
  for (const std::string& dir : candidates) {
    if (isDirectory(dir)) {
      ::setenv("QXKELDIR", dir.c_str(), 1);
      return;
    }
  }
}

bool fileExists(const char* path) { return ::access(path, F_OK) == 0; }

bool spansLines(const char* text) { return std::strchr(text, '\n') != nullptr; }

struct Options {
  std::string command;
  std::vector<std::string> args;
  std::string type;  // --int, --long, --bool
  bool obfuscated = false;
  bool noComments = false;
};

int cmdGet(const Options& o) {
  if (o.args.size() != 3) return usage("get takes FILE STANZA KEY");
  const char* file = o.args[0].c_str();
  const char* stanza = o.args[1].c_str();
  const char* key = o.args[2].c_str();
  ZStanzaFileProperties p(file, 1);
  if (o.type == "--int") {
    std::printf("%u\n", p.getIntegerValue(stanza, key, 1, 0));
  } else if (o.type == "--long") {
    std::printf("%lld\n", p.getLongLongValue(stanza, key, 1, 0));
  } else if (o.type == "--bool") {
    std::printf("%s\n", p.getBooleanValue(stanza, key, 1, 0) ? "yes" : "no");
  } else {
    ZLCString last;
    p.getValue(stanza, key, last, 1, nullptr);  // a missing key throws here
    ZArrayList values(4, 1);
    p.getValues(stanza, key, values, ZPROP_STRING_LOCAL);
    for (unsigned int i = 0; i < values.size(); ++i) {
      std::printf("%s\n", static_cast<const ZLCString*>(values.get(i))->getChars());
    }
  }
  return kOk;
}

// Loads the file, or starts an empty one when there is none yet.
void openForEdit(ZStanzaFileProperties& p, const char* file) {
  if (fileExists(file)) p.load(file);
}

// A key that holds values keeps its kind; say so plainly instead of failing
// inside the library.
int checkKind(ZStanzaFileProperties& p, const char* stanza, const char* key, bool obfuscated) {
  if (!p.exists(stanza, key) || p.numValues(stanza, key) == 0) return kOk;
  const bool hidden = p.isObfuscated(stanza, key) != 0;
  if (hidden == obfuscated) return kOk;
  return usage(
      std::string("key '") + key + "' in stanza '" + stanza + "' holds " +
      (hidden ? "obfuscated values: use --obfuscated" : "plain values: drop --obfuscated"));
}

int cmdSet(const Options& o) {
  if (o.args.size() != 4) return usage("set takes FILE STANZA KEY VALUE");
  const char* file = o.args[0].c_str();
  const char* stanza = o.args[1].c_str();
  const char* key = o.args[2].c_str();
  const char* value = o.args[3].c_str();
  if (spansLines(value)) return usage("a value cannot span lines");
  ZStanzaFileProperties p(1);
  openForEdit(p, file);
  if (int rc = checkKind(p, stanza, key, o.obfuscated)) return rc;
  p.setValue(stanza, key, value, o.obfuscated ? 1 : 0);
  p.store(file);
  return kOk;
}

int cmdAdd(const Options& o) {
  if (o.args.size() < 4) return usage("add takes FILE STANZA KEY VALUE...");
  const char* file = o.args[0].c_str();
  const char* stanza = o.args[1].c_str();
  const char* key = o.args[2].c_str();
  ZArrayList values(o.args.size(), 1);
  for (size_t i = 3; i < o.args.size(); ++i) {
    if (spansLines(o.args[i].c_str())) return usage("a value cannot span lines");
    ZLCString value(o.args[i].c_str());
    values.add(&value);
  }
  ZStanzaFileProperties p(1);
  openForEdit(p, file);
  if (int rc = checkKind(p, stanza, key, o.obfuscated)) return rc;
  p.addValues(stanza, key, values, o.obfuscated ? 1 : 0);
  p.store(file);
  return kOk;
}

int cmdDel(const Options& o) {
  if (o.args.size() != 2 && o.args.size() != 3) return usage("del takes FILE STANZA [KEY]");
  const char* file = o.args[0].c_str();
  const char* stanza = o.args[1].c_str();
  ZStanzaFileProperties p(file, 1);
  if (o.args.size() == 3) {
    const char* key = o.args[2].c_str();
    if (!p.exists(stanza, key)) {
      return fail(kMissing, std::string("no key '") + key + "' in stanza '" + stanza + "'");
    }
    p.deleteKey(stanza, key);
  } else {
    if (!p.exists(stanza)) return fail(kMissing, std::string("no stanza '") + stanza + "'");
    p.deleteStanza(stanza);
  }
  p.store(file);
  return kOk;
}

int cmdList(const Options& o) {
  if (o.args.size() != 1 && o.args.size() != 2) return usage("list takes FILE [STANZA]");
  const char* file = o.args[0].c_str();
  ZStanzaFileProperties p(file, 1);
  if (o.args.size() == 1) {
    // Stanza names in the order of the file.
    const ZPCache* cache = p.getCache();
    for (unsigned int i = 0; i < cache->lines.size(); ++i) {
      const ZPropLine* line = static_cast<const ZPropLine*>(cache->lines.get(i));
      if (line->type == LINE_STANZA && cache->contains(line->text.getChars())) {
        std::printf("%s\n", line->text.getChars());
      }
    }
    return kOk;
  }
  const char* stanza = o.args[1].c_str();
  if (!p.exists(stanza)) return fail(kMissing, std::string("no stanza '") + stanza + "'");
  ZArrayList keys(10, 1);
  p.getKeys(stanza, keys);
  for (unsigned int i = 0; i < keys.size(); ++i) {
    const char* key = static_cast<const ZLCString*>(keys.get(i))->getChars();
    const unsigned int count = p.numValues(stanza, key);
    if (count != 0 && p.isObfuscated(stanza, key)) {
      std::printf("%s (obfuscated, %u value%s)\n", key, count, count == 1 ? "" : "s");
      continue;
    }
    ZArrayList values(4, 1);
    p.getValues(stanza, key, values, ZPROP_STRING_LOCAL);
    if (values.size() == 0) std::printf("%s =\n", key);
    for (unsigned int v = 0; v < values.size(); ++v) {
      std::printf("%s = %s\n", key, static_cast<const ZLCString*>(values.get(v))->getChars());
    }
  }
  return kOk;
}

int cmdComment(const Options& o) {
  if (o.args.size() != 4) return usage("comment takes FILE STANZA KEY TEXT");
  const char* file = o.args[0].c_str();
  const char* stanza = o.args[1].c_str();
  const char* key = o.args[2].c_str();
  const char* text = o.args[3].c_str();
  ZStanzaFileProperties p(file, 1);
  if (!p.exists(stanza, key)) {
    return fail(kMissing, std::string("no key '") + key + "' in stanza '" + stanza + "'");
  }
  p.setEntryComment(stanza, key, *text != '\0' ? text : nullptr);
  p.store(file);
  return kOk;
}

int cmdCheck(const Options& o) {
  if (o.args.size() != 1) return usage("check takes FILE");
  const char* file = o.args[0].c_str();
  ZStanzaFileProperties p(file, 1);
  ZArrayList stanzas(10, 1);
  p.keyNames(stanzas);
  unsigned int keys = 0, hidden = 0;
  for (unsigned int i = 0; i < stanzas.size(); ++i) {
    const char* stanza = static_cast<const ZLCString*>(stanzas.get(i))->getChars();
    ZArrayList names(10, 1);
    p.getKeys(stanza, names);
    keys += names.size();
    for (unsigned int k = 0; k < names.size(); ++k) {
      const char* key = static_cast<const ZLCString*>(names.get(k))->getChars();
      if (p.numValues(stanza, key) != 0 && p.isObfuscated(stanza, key)) ++hidden;
    }
  }
  std::printf("%s: %u stanza%s, %u key%s, %u obfuscated\n", file, stanzas.size(),
              stanzas.size() == 1 ? "" : "s", keys, keys == 1 ? "" : "s", hidden);
  return kOk;
}

int cmdDump(const Options& o) {
  if (o.args.size() != 1) return usage("dump takes FILE");
  const char* file = o.args[0].c_str();
  ZStanzaFileProperties p(file, o.noComments ? 0 : 1);
  p.getCache()->be_write(file, stdout);
  if (std::fflush(stdout) != 0) return fail(kIOFailed, "cannot write to standard output");
  return kOk;
}

// The exit code that tells the caller what kind of failure it was.
int exitCode(ZException& e) {
  if (dynamic_cast<ZPropertiesMissingPropertyException*>(&e)) return kMissing;
  if (dynamic_cast<ZPropertiesInvalidDataException*>(&e) ||
      dynamic_cast<ZPropertiesInvalidValueException*>(&e)) {
    return kInvalid;
  }
  if (dynamic_cast<ZPropertiesIOException*>(&e)) return kIOFailed;
  if (dynamic_cast<ZInvalidParameterException*>(&e)) return kUsage;
  return kFailed;
}

int run(const Options& o) {
  if (o.command == "get") return cmdGet(o);
  if (o.command == "set") return cmdSet(o);
  if (o.command == "add") return cmdAdd(o);
  if (o.command == "del") return cmdDel(o);
  if (o.command == "list") return cmdList(o);
  if (o.command == "comment") return cmdComment(o);
  if (o.command == "check") return cmdCheck(o);
  if (o.command == "dump") return cmdDump(o);
  return usage("unknown command '" + o.command + "'");
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  bool optionsEnded = false;
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (!optionsEnded && a == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && (a == "--help" || a == "-h")) {
      std::fputs(kHelp, stdout);
      return kOk;
    } else if (!optionsEnded && (a == "--int" || a == "--long" || a == "--bool")) {
      if (!o.type.empty() && o.type != a) return usage("choose one of --int, --long, --bool");
      o.type = a;
    } else if (!optionsEnded && a == "--obfuscated") {
      o.obfuscated = true;
    } else if (!optionsEnded && a == "--no-comments") {
      o.noComments = true;
    } else if (!optionsEnded && a.size() > 1 && a[0] == '-') {
      return usage("unknown option '" + a + "'");
    } else {
      words.push_back(a);
    }
  }
  if (words.empty()) return usage("no command given");
  o.command = words[0];
  o.args.assign(words.begin() + 1, words.end());
  if (!o.type.empty() && o.command != "get") return usage(o.type + " goes with get");
  if (o.obfuscated && o.command != "set" && o.command != "add") {
    return usage("--obfuscated goes with set and add");
  }
  if (o.noComments && o.command != "dump") return usage("--no-comments goes with dump");
  for (size_t i = 0; i < o.args.size() && i < 3; ++i) {
    if (o.args[i].empty()) {
      return usage("file, stanza and key names cannot be empty");
    }
  }

  findCodeSetTables();
  static LineMessageService service;
  ZMessageService::setMessageService(&service);
  try {
    return run(o);
  } catch (ZException& e) {
    e.dumpException();
    return exitCode(e);
  } catch (const std::exception& e) {
    return fail(kFailed, e.what());
  }
}
