// zbase: zstanza, reads and edits stanza configuration files from the shell.
#include "Z/zversion.h"

#include "zstanza/zstanza.h"

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

using namespace zstanza;

namespace {

const char kHelp[] =
    "usage: zstanza COMMAND FILE [ARGUMENTS] [OPTIONS]\n"
    "\n"
    "Reads and edits stanza configuration files:\n"
    "\n"
    "  # comment\n"
    "  [stanza]\n"
    "  key = value\n"
    "\n"
    "Reading:\n"
    "  get FILE STANZA KEY        print every value of the key\n"
    "      --int | --long | --bool  print the last value as an unsigned 32-bit number\n"
    "                               (0x.. hex, 0.. octal), a signed 64-bit number or\n"
    "                               a boolean (yes or no)\n"
    "      --default VALUE          print VALUE when the key is missing or empty\n"
    "  list FILE [STANZA]         print the stanza names, or the stanza's entries\n"
    "                             (hidden values are shown only by get)\n"
    "      --keys                   with STANZA: the key names only\n"
    "  check FILE                 read the file and its side file and report\n"
    "  dump FILE                  print the file as the library writes it back\n"
    "      --no-comments            without its comments and blank lines\n"
    "  --format=lines|ini|sh|json (get, list) lines: values one a line, or key =\n"
    "                             value lines; ini: key = value lines under their\n"
    "                             [stanza]; sh: stanza_key='value' lines for eval\n"
    "                             (values of one key joined by newlines; bytes\n"
    "                             other than letters, digits and _ in the name\n"
    "                             become _); json: an array of values, or an object\n"
    "                             of keys (of stanzas) to arrays of values. Without\n"
    "                             STANZA, list prints the names with lines and every\n"
    "                             stanza with the other formats.\n"
    "\n"
    "Editing (each command is one transaction):\n"
    "  set FILE STANZA KEY VALUE  replace the key's values by VALUE (creates the\n"
    "                             file, stanza and key as needed)\n"
    "  add FILE STANZA KEY VALUE...  merge values into the key: a value already\n"
    "                             there (after the previous one found) is not added\n"
    "  del FILE STANZA [KEY]      delete the key, or the whole stanza\n"
    "  comment FILE STANZA KEY TEXT  replace the comment above the key (\"\" removes\n"
    "                             it; a \"#\" is put in front of every line)\n"
    "  apply FILE                 apply the edit lines read from standard input, all\n"
    "                             or nothing: set|add|del|comment, then the\n"
    "                             arguments of the command without FILE, and\n"
    "                             --obfuscated or --existing where they apply\n"
    "  merge FILE [SOURCE|-]      add the stanzas and keys of SOURCE (default:\n"
    "                             standard input), replacing the values of keys that\n"
    "                             exist; FILE's comments and layout stay\n"
    "      --obfuscated             (set, add) keep the values hidden, in the side\n"
    "                               file FILE.obf (see below)\n"
    "      --existing               (set, del) fail when the stanza or key is absent;\n"
    "                               without it, deleting what is absent succeeds\n"
    "      --value-file PATH        (set, add) read the value from PATH (- is standard\n"
    "                               input), less one final newline; for add, each\n"
    "                               line is a value\n"
    "      --verbose                say on standard error whether the file changed\n"
    "      --check-changed          exit 7 when the file did not change\n"
    "      --wait SECONDS           wait for a file that another process is editing\n"
    "                               (default 10; 0 fails at once), then exit 6\n"
    "      --lock-dir DIR           keep the lock file in DIR instead of the file's\n"
    "                               directory\n"
    "\n"
    "Edit lines: words are separated by blanks; '...' takes its text literally;\n"
    "\"...\" too, except that \\\" and \\\\ stand for \" and \\; outside quotes \\ takes\n"
    "the next character literally. Blank lines and lines starting with # are\n"
    "skipped.\n"
    "\n"
    "FILE - reads standard input; editing commands then write the result to\n"
    "standard output. -- ends the options; where a value is expected, a word that\n"
    "starts with a single - (such as -5) is taken as the value.\n"
    "\n"
    "An edit holds the library's process lock for the file (the lock file\n"
    "._zplNAME beside it, where the directory allows) and an flock on the file,\n"
    "and rewrites the file in place only when the edit changed it.\n"
    "\n"
    "Values are taken literally: no quoting and no escapes; they cannot span\n"
    "lines or begin or end with blanks. A key given several times holds several\n"
    "values. Comments and blank lines are kept when a file is written back.\n"
    "Hidden values live in a compressed side file named by the key \"file\" of\n"
    "the stanza \"configuration-database\".\n"
    "\n"
    "Errors print one line to standard error. Exit codes:\n"
    "  0  success\n"
    "  1  the stanza, key or value is missing (a key without values counts as\n"
    "     missing)\n"
    "  2  wrong usage, or a bad edit line\n"
    "  3  the file holds invalid data, or a value is not a valid number or boolean\n"
    "  4  the file could not be read or written\n"
    "  5  any other failure\n"
    "  6  another process kept the file locked longer than --wait\n"
    "  7  with --check-changed: nothing changed\n"
    "\n"
    "QXKELDIR names the code-set tables; when it is not set, zstanza uses\n"
    "share/zbase/kel above its own installation (share/kel in a source tree).\n";

// Prints the library's errors as one line: "zstanza: " and the message, with
// control bytes escaped.
class LineMessageService : public ZMessageService {
 public:
  void outputMessage(const char*, int, int number, int count, const ZLCString* s1,
                     const ZLCString* s2, const ZLCString* s3, const ZLCString* s4,
                     const ZLCString* s5, const ZLCString* s6) const override {
    std::string line = "message " + std::to_string(number);
    const ZLCString* inserts[] = {s1, s2, s3, s4, s5, s6};
    for (int i = 0; i < count && i < 6; ++i) {
      if (inserts[i] != nullptr) line += std::string(" ") + inserts[i]->getChars();
    }
    print(line);
  }
  void outputMessageUTF8(const char*, int, int number, int, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*) const override {
    print("message " + std::to_string(number));
  }
  void outputException(ZException& e) const override { e.print(); }
  void outputException(const ZZException* e, va_list args) const override {
    const unsigned long number = e->getErrorNumber();
    const char* format = number < static_cast<unsigned long>(NUM_MSGS) ? ZDefaultMsgs[number] : "";
    if (format == nullptr || *format == '\0') return print("error " + std::to_string(number));
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text(n > 0 ? n : 0, '\0');
    if (n > 0) std::vsnprintf(&text[0], n + 1, format, args);
    // The templates' own line breaks join into one line.
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) text[at] = ' ';
    print(text);
  }
  static void print(const std::string& text) {
    std::fprintf(stderr, "zstanza: %s\n", escapeControls(text).c_str());
  }
};

int fail(int code, const std::string& text) {
  LineMessageService::print(text);
  return code;
}

Failure usage(const std::string& text) { return Failure{kUsage, text + " (see zstanza --help)"}; }

Failure missingKey(const std::string& stanza, const std::string& key) {
  return Failure{kMissing, "no key '" + key + "' in stanza '" + stanza + "'"};
}
Failure missingStanza(const std::string& stanza) {
  return Failure{kMissing, "no stanza '" + stanza + "'"};
}

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

// One edit: a command line's set, add, del or comment, or one edit line.
struct Edit {
  std::string command;
  std::vector<std::string> args;  // without FILE
  bool obfuscated = false;
  bool existing = false;
};

struct Options {
  std::string command;
  std::vector<std::string> args;
  std::string type;  // --int, --long, --bool
  std::string format = "lines";
  std::string defaultValue;
  bool hasDefault = false;
  bool keys = false;
  bool obfuscated = false;
  bool existing = false;
  bool noComments = false;
  bool verbose = false;
  bool checkChanged = false;
  bool hasValueFile = false;
  std::string valueFile;
  EditSettings settings;
};

// Throws the usage failure for an edit that cannot be applied to any file.
void checkEdit(const Edit& e) {
  const size_t n = e.args.size();
  bool fits = false;
  if (e.command == "set" || e.command == "comment") fits = n == 3;
  if (e.command == "add") fits = n >= 3;
  if (e.command == "del") fits = n == 1 || n == 2;
  if (!fits) {
    const char* shape = e.command == "set"       ? "STANZA KEY VALUE"
                        : e.command == "add"     ? "STANZA KEY VALUE..."
                        : e.command == "del"     ? "STANZA [KEY]"
                        : e.command == "comment" ? "STANZA KEY TEXT"
                                                 : nullptr;
    if (shape == nullptr) throw usage("unknown edit '" + e.command + "'");
    throw usage(e.command + " takes FILE " + shape);
  }
  if (e.obfuscated && e.command != "set" && e.command != "add") {
    throw usage("--obfuscated goes with set and add");
  }
  if (e.existing && e.command != "set" && e.command != "del") {
    throw usage("--existing goes with set and del");
  }
  std::string bad = badStanza(e.args[0]);
  if (bad.empty() && n > 1) bad = badKey(e.args[1]);
  for (size_t i = 2; bad.empty() && i < n && e.command != "comment"; ++i) bad = badValue(e.args[i]);
  if (!bad.empty()) throw usage(bad);
}

// A key that holds values keeps its kind; say so plainly instead of failing
// inside the library.
void checkKind(ZStanzaFileProperties& p, const char* stanza, const char* key, bool obfuscated) {
  if (!p.exists(stanza, key) || p.numValues(stanza, key) == 0) return;
  const bool hidden = p.isObfuscated(stanza, key) != 0;
  if (hidden == obfuscated) return;
  throw usage(std::string("key '") + key + "' in stanza '" + stanza + "' holds " +
              (hidden ? "obfuscated values: use --obfuscated" : "plain values: drop --obfuscated"));
}

void applyEdit(ZStanzaFileProperties& p, const Edit& e, bool toStream) {
  const char* stanza = e.args[0].c_str();
  const char* key = e.args.size() > 1 ? e.args[1].c_str() : nullptr;
  if (e.obfuscated && toStream) throw usage("standard output has no side file for --obfuscated");
  if (e.command == "del") {
    if (!p.exists(stanza)) {
      if (e.existing) throw missingStanza(stanza);
    } else if (key == nullptr) {
      p.deleteStanza(stanza);
    } else if (p.exists(stanza, key)) {
      p.deleteKey(stanza, key);
    } else if (e.existing) {
      throw missingKey(stanza, key);
    }
    return;
  }
  if (e.command == "comment") {
    if (!p.exists(stanza, key)) throw missingKey(stanza, key);
    p.setEntryComment(stanza, key, e.args[2].empty() ? nullptr : e.args[2].c_str());
    return;
  }
  if (e.existing && !p.exists(stanza)) throw missingStanza(stanza);
  if (e.existing && !p.exists(stanza, key)) throw missingKey(stanza, key);
  checkKind(p, stanza, key, e.obfuscated);
  if (e.command == "set") return p.setValue(stanza, key, e.args[2].c_str(), e.obfuscated ? 1 : 0);
  ZArrayList values(e.args.size(), 1);
  for (size_t i = 2; i < e.args.size(); ++i) {
    ZLCString value(e.args[i].c_str());
    values.add(&value);
  }
  p.addValues(stanza, key, values, e.obfuscated ? 1 : 0);
}

// Runs an edit as one transaction and reports whether it changed the file.
int edit(const Options& o, const std::function<void(ZStanzaFileProperties&)>& change) {
  const std::string& file = o.args[0];
  const bool changed = transact(file, o.settings, change);
  if (o.verbose) {
    std::fprintf(stderr, "zstanza: %s: %s\n", escapeControls(file).c_str(),
                 changed ? "changed" : "unchanged");
  }
  return o.checkChanged && !changed ? kUnchanged : kOk;
}

std::string readValueFile(const std::string& path) {
  if (path == "-") return readStream(stdin, "standard input");
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) throw Failure{kIOFailed, path + ": " + std::strerror(errno)};
  try {
    std::string text = readStream(f, path);
    std::fclose(f);
    return text;
  } catch (...) {
    std::fclose(f);
    throw;
  }
}

int cmdEdit(const Options& o) {
  if (o.args.empty()) throw usage(o.command + " takes FILE");
  Edit e{o.command, std::vector<std::string>(o.args.begin() + 1, o.args.end()), o.obfuscated,
         o.existing};
  if (o.hasValueFile) {
    std::string text = readValueFile(o.valueFile);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    if (o.command == "add") {
      for (size_t start = 0, end; start <= text.size(); start = end + 1) {
        end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        e.args.push_back(text.substr(start, end - start));
      }
    } else {
      e.args.push_back(text);
    }
  }
  checkEdit(e);
  return edit(o, [&](ZStanzaFileProperties& p) { applyEdit(p, e, o.args[0] == "-"); });
}

int cmdApply(const Options& o) {
  if (o.args.size() != 1) throw usage("apply takes FILE");
  std::vector<Edit> edits;
  std::vector<int> lineNumbers;
  const std::string text = readStream(stdin, "standard input");
  int number = 0;
  for (size_t start = 0, end; start < text.size(); start = end + 1) {
    end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    ++number;
    std::vector<std::string> words;
    std::string error;
    try {
      if (!splitWords(text.substr(start, end - start), words, error)) throw usage(error);
      if (words.empty() || words[0][0] == '#') continue;
      Edit e;
      e.command = words[0];
      bool optionsEnded = false;
      for (size_t i = 1; i < words.size(); ++i) {
        const std::string& w = words[i];
        if (!optionsEnded && w == "--") {
          optionsEnded = true;
        } else if (!optionsEnded && w == "--obfuscated") {
          e.obfuscated = true;
        } else if (!optionsEnded && w == "--existing") {
          e.existing = true;
        } else {
          e.args.push_back(w);
        }
      }
      checkEdit(e);
      edits.push_back(e);
      lineNumbers.push_back(number);
    } catch (Failure& f) {
      f.message = "line " + std::to_string(number) + ": " + f.message;
      throw;
    }
  }
  return edit(o, [&](ZStanzaFileProperties& p) {
    for (size_t i = 0; i < edits.size(); ++i) {
      try {
        applyEdit(p, edits[i], o.args[0] == "-");
      } catch (Failure& f) {
        f.message = "line " + std::to_string(lineNumbers[i]) + ": " + f.message;
        throw;
      }
    }
  });
}

// Stanza names in the order of the file.
std::vector<std::string> stanzaNames(ZStanzaFileProperties& p) {
  std::vector<std::string> names;
  const ZPCache* cache = p.getCache();
  for (unsigned int i = 0; i < cache->lines.size(); ++i) {
    const ZPropLine* line = static_cast<const ZPropLine*>(cache->lines.get(i));
    if (line->type == LINE_STANZA && cache->contains(line->text.getChars())) {
      names.push_back(line->text.getChars());
    }
  }
  return names;
}

std::vector<std::string> keyNames(ZStanzaFileProperties& p, const std::string& stanza) {
  ZArrayList keys(10, 1);
  p.getKeys(stanza.c_str(), keys);
  std::vector<std::string> names;
  for (unsigned int i = 0; i < keys.size(); ++i) {
    names.push_back(static_cast<const ZLCString*>(keys.get(i))->getChars());
  }
  return names;
}

std::vector<std::string> valuesOf(ZStanzaFileProperties& p, const std::string& stanza,
                                  const std::string& key, int* hidden = nullptr) {
  ZArrayList list(4, 1);
  int obfuscated = 0;
  p.getValues(stanza.c_str(), key.c_str(), list, obfuscated, ZPROP_STRING_LOCAL);
  if (hidden != nullptr) *hidden = obfuscated && list.size() != 0;
  std::vector<std::string> values;
  for (unsigned int i = 0; i < list.size(); ++i) {
    values.push_back(static_cast<const ZLCString*>(list.get(i))->getChars());
  }
  return values;
}

int cmdMerge(const Options& o) {
  if (o.args.size() != 1 && o.args.size() != 2) throw usage("merge takes FILE [SOURCE|-]");
  const std::string source = o.args.size() == 2 ? o.args[1] : "-";
  if (source == "-" && o.args[0] == "-") throw usage("FILE and SOURCE cannot both be -");
  ZStanzaFileProperties from(1);
  loadForReading(from, source, o.settings.wait);
  return edit(o, [&](ZStanzaFileProperties& p) {
    for (const std::string& stanza : stanzaNames(from)) {
      // The side-file pointer is the target's own; its stanza comes only
      // with other keys.
      if (!p.exists(stanza.c_str()) && stanza != "configuration-database") {
        p.addStanza(stanza.c_str());
      }
      for (const std::string& key : keyNames(from, stanza)) {
        if (stanza == "configuration-database" && key == "file") continue;  // the side file
        int hidden = 0;
        const std::vector<std::string> values = valuesOf(from, stanza, key, &hidden);
        if (hidden && o.args[0] == "-") {
          throw usage("standard output has no side file for the hidden values of '" + key + "'");
        }
        // Emptied first, the key may change its kind to the source's.
        p.setValue(stanza.c_str(), key.c_str(), "", 0);
        for (size_t i = 0; i < values.size(); ++i) {
          if (i == 0) {
            p.setValue(stanza.c_str(), key.c_str(), values[0].c_str(), hidden);
          } else {
            p.getCache()->add(stanza.c_str(), key.c_str(), values[i].c_str(), hidden);
          }
        }
      }
    }
  });
}

// Values in the chosen format, each line ended; json gives its array
// unended. `stanza` and `key` name them for the sh and ini forms.
std::string formatValues(const Options& o, const std::string& stanza, const std::string& key,
                         const std::vector<std::string>& values) {
  std::string out;
  if (o.format == "json") {
    for (size_t i = 0; i < values.size(); ++i) out += (i ? "," : "") + jsonString(values[i]);
    return "[" + out + "]";
  }
  if (o.format == "sh") {
    for (size_t i = 0; i < values.size(); ++i) out += (i ? "\n" : "") + values[i];
    return shellName(stanza, key) + "=" + shellQuote(out) + "\n";
  }
  if (o.format == "ini" && values.empty()) return key + " =\n";
  for (const std::string& v : values) {
    if (o.format == "ini") out += key + (v.empty() ? " =" : " = ");
    out += v + "\n";
  }
  return out;
}

int cmdGet(const Options& o) {
  if (o.args.size() != 3) throw usage("get takes FILE STANZA KEY");
  const char* stanza = o.args[1].c_str();
  const char* key = o.args[2].c_str();
  ZStanzaFileProperties p(1);
  loadForReading(p, o.args[0], o.settings.wait);
  std::vector<std::string> values;
  if (o.hasDefault && p.numValues(stanza, key) == 0) {
    values.push_back(o.defaultValue);
  } else if (o.type == "--int") {
    values.push_back(std::to_string(p.getIntegerValue(stanza, key, 1, 0)));
  } else if (o.type == "--long") {
    values.push_back(std::to_string(p.getLongLongValue(stanza, key, 1, 0)));
  } else if (o.type == "--bool") {
    values.push_back(p.getBooleanValue(stanza, key, 1, 0) ? "yes" : "no");
  } else {
    ZLCString last;
    p.getValue(stanza, key, last, 1, nullptr);  // a missing key throws here
    values = valuesOf(p, stanza, key);
  }
  std::string out = formatValues(o, stanza, key, values);
  std::fputs((o.format == "json" ? out + "\n" : out).c_str(), stdout);
  return kOk;
}

// The entries of one stanza in the chosen format; hidden values are left out
// (the lines format names them).
void printStanza(const Options& o, ZStanzaFileProperties& p, const std::string& stanza,
                 bool first) {
  if (o.format == "ini") std::printf(first ? "[%s]\n" : "\n[%s]\n", stanza.c_str());
  if (o.format == "json") std::printf("{");
  bool firstKey = true;
  for (const std::string& key : keyNames(p, stanza)) {
    int hidden = 0;
    const std::vector<std::string> values = valuesOf(p, stanza, key, &hidden);
    if (hidden) {
      const size_t n = values.size();
      if (o.format == "lines")
        std::printf("%s (obfuscated, %zu value%s)\n", key.c_str(), n, n == 1 ? "" : "s");
      continue;
    }
    Options as = o;
    as.format = o.format == "lines" ? "ini" : o.format;
    if (o.format == "json") std::printf("%s%s:", firstKey ? "" : ",", jsonString(key).c_str());
    std::fputs(formatValues(as, stanza, key, values).c_str(), stdout);
    firstKey = false;
  }
  if (o.format == "json") std::printf("}");
}

int cmdList(const Options& o) {
  if (o.args.size() != 1 && o.args.size() != 2) throw usage("list takes FILE [STANZA]");
  if (o.keys && (o.args.size() != 2 || o.format == "sh" || o.format == "ini")) {
    throw usage("--keys goes with list FILE STANZA and --format=lines or json");
  }
  ZStanzaFileProperties p(1);
  loadForReading(p, o.args[0], o.settings.wait);
  if (o.args.size() == 1) {
    const std::vector<std::string> names = stanzaNames(p);
    if (o.format == "json") std::printf("{");
    for (size_t i = 0; i < names.size(); ++i) {
      if (o.format == "lines") {
        std::printf("%s\n", names[i].c_str());
      } else {
        if (o.format == "json") std::printf("%s%s:", i ? "," : "", jsonString(names[i]).c_str());
        printStanza(o, p, names[i], i == 0);
      }
    }
    if (o.format == "json") std::printf("}\n");
    return kOk;
  }
  const std::string& stanza = o.args[1];
  if (!p.exists(stanza.c_str())) throw missingStanza(stanza);
  if (o.keys && o.format == "json") {
    std::printf("%s\n", formatValues(o, stanza, "", keyNames(p, stanza)).c_str());
  } else if (o.keys) {
    for (const std::string& key : keyNames(p, stanza)) std::printf("%s\n", key.c_str());
  } else {
    printStanza(o, p, stanza, true);
    if (o.format == "json") std::printf("\n");
  }
  return kOk;
}

int cmdCheck(const Options& o) {
  if (o.args.size() != 1) throw usage("check takes FILE");
  ZStanzaFileProperties p(1);
  loadForReading(p, o.args[0], o.settings.wait);
  const std::vector<std::string> stanzas = stanzaNames(p);
  size_t keys = 0, hidden = 0;
  for (const std::string& stanza : stanzas) {
    for (const std::string& key : keyNames(p, stanza)) {
      ++keys;
      if (p.numValues(stanza.c_str(), key.c_str()) != 0 &&
          p.isObfuscated(stanza.c_str(), key.c_str())) {
        ++hidden;
      }
    }
  }
  std::printf("%s: %zu stanza%s, %zu key%s, %zu obfuscated\n", o.args[0].c_str(), stanzas.size(),
              stanzas.size() == 1 ? "" : "s", keys, keys == 1 ? "" : "s", hidden);
  return kOk;
}

int cmdDump(const Options& o) {
  if (o.args.size() != 1) throw usage("dump takes FILE");
  ZStanzaFileProperties p(o.noComments ? 0 : 1);
  loadForReading(p, o.args[0], o.settings.wait);
  p.getCache()->be_write(o.args[0].c_str(), stdout);
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
  const std::string& c = o.command;
  if (c == "get") return cmdGet(o);
  if (c == "set" || c == "add" || c == "del" || c == "comment") return cmdEdit(o);
  if (c == "apply") return cmdApply(o);
  if (c == "merge") return cmdMerge(o);
  if (c == "list") return cmdList(o);
  if (c == "check") return cmdCheck(o);
  if (c == "dump") return cmdDump(o);
  throw usage("unknown command '" + c + "'");
}

bool isEditCommand(const std::string& c) {
  return c == "set" || c == "add" || c == "del" || c == "comment" || c == "apply" || c == "merge";
}

// Whether the next positional word of the command is a value, so that a
// word starting with - is taken as that value.
bool valueExpected(const std::string& command, size_t positionals) {
  if (command == "set" || command == "comment") return positionals == 4;
  return command == "add" && positionals >= 4;
}

// Checks the options against the command; throws a usage failure.
void checkOptions(const Options& o) {
  struct Rule {
    bool given;
    const char* option;
    const char* commands;  // space separated
  } rules[] = {
      {!o.type.empty(), "--int, --long and --bool go", "get"},
      {o.hasDefault, "--default goes", "get"},
      {o.format != "lines", "--format goes", "get list"},
      {o.keys, "--keys goes", "list"},
      {o.obfuscated, "--obfuscated goes", "set add"},
      {o.existing, "--existing goes", "set del"},
      {o.hasValueFile, "--value-file goes", "set add"},
      {o.noComments, "--no-comments goes", "dump"},
      {o.verbose, "--verbose goes", "set add del comment apply merge"},
      {o.checkChanged, "--check-changed goes", "set add del comment apply merge"},
      {!o.settings.lockDir.empty(), "--lock-dir goes", "set add del comment apply merge"},
  };
  for (const Rule& r : rules) {
    const std::string list = std::string(" ") + r.commands + " ";
    if (r.given && list.find(" " + o.command + " ") == std::string::npos) {
      std::string with = r.commands;
      const size_t last = with.rfind(' ');
      if (last != std::string::npos) with.replace(last, 1, " and ");
      for (size_t at; (at = with.find(' ')) != std::string::npos && at < with.rfind(" and ");) {
        with.replace(at, 1, ", ");
      }
      throw usage(std::string(r.option) + " with " + with);
    }
  }
  const bool stdinUsed = !o.args.empty() && o.args[0] == "-";
  if (stdinUsed && (o.command == "apply" || (o.hasValueFile && o.valueFile == "-"))) {
    throw usage("standard input cannot be both FILE and " +
                std::string(o.command == "apply" ? "the edit lines" : "the value file"));
  }
}

Options parse(int argc, char** argv) {
  Options o;
  bool optionsEnded = false;
  size_t positionals = 0;  // words so far, the command included
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    // The argument of an option: --name=VALUE or the next word.
    auto argument = [&](const std::string& name, std::string& out) {
      if (a.compare(0, name.size() + 1, name + "=") == 0) {
        out = a.substr(name.size() + 1);
        return true;
      }
      if (a != name) return false;
      if (i + 1 >= argc) throw usage(name + " needs a value");
      out = argv[++i];
      return true;
    };
    std::string value;
    if (optionsEnded || a == "-" || a.empty() || a[0] != '-' ||
        (valueExpected(o.command, positionals) &&
         a.compare(0, 2, "--") != 0)) {  // a value such as -5 where a value is expected
      if (positionals++ == 0) {
        o.command = a;
      } else {
        o.args.push_back(a);
      }
    } else if (a == "--") {
      optionsEnded = true;
    } else if (a == "--help" || a == "-h") {
      std::fputs(kHelp, stdout);
      std::exit(kOk);
    } else if (a == "--version") {
      std::printf("zstanza %s\n", ZSTANZA_VERSION);
      std::exit(kOk);
    } else if (a == "--int" || a == "--long" || a == "--bool") {
      if (!o.type.empty() && o.type != a) throw usage("choose one of --int, --long, --bool");
      o.type = a;
    } else if (a == "--obfuscated") {
      o.obfuscated = true;
    } else if (a == "--existing") {
      o.existing = true;
    } else if (a == "--keys") {
      o.keys = true;
    } else if (a == "--no-comments") {
      o.noComments = true;
    } else if (a == "--verbose") {
      o.verbose = true;
    } else if (a == "--check-changed") {
      o.checkChanged = true;
    } else if (argument("--format", o.format)) {
      if (o.format != "lines" && o.format != "ini" && o.format != "sh" && o.format != "json") {
        throw usage("--format is one of lines, ini, sh, json");
      }
    } else if (argument("--default", o.defaultValue)) {
      o.hasDefault = true;
    } else if (argument("--value-file", o.valueFile)) {
      o.hasValueFile = true;
    } else if (argument("--lock-dir", o.settings.lockDir)) {
      if (o.settings.lockDir.empty()) throw usage("--lock-dir needs a directory");
    } else if (argument("--wait", value)) {
      char* end = nullptr;
      o.settings.wait = std::strtod(value.c_str(), &end);
      if (value.empty() || *end != '\0' || !(o.settings.wait >= 0 && o.settings.wait <= 86400)) {
        throw usage("--wait takes a number of seconds from 0 to 86400");
      }
    } else {
      throw usage("unknown option '" + a + "'");
    }
  }
  if (o.command.empty()) throw usage("no command given");
  checkOptions(o);
  // Names are checked by the edits themselves; readers only refuse empty ones.
  for (size_t i = 0; i < o.args.size() && i < 3 && !isEditCommand(o.command); ++i) {
    if (o.args[i].empty()) throw usage("file, stanza and key names cannot be empty");
  }
  if (!o.args.empty() && o.args[0].empty()) throw usage("the file name cannot be empty");
  return o;
}

}  // namespace

int main(int argc, char** argv) {
  static LineMessageService service;
  try {
    const Options o = parse(argc, argv);
    findCodeSetTables();
    ZMessageService::setMessageService(&service);
    const int code = run(o);
    if (std::fflush(stdout) != 0) return fail(kIOFailed, "cannot write to standard output");
    return code;
  } catch (const Failure& f) {
    std::fflush(stdout);
    return fail(f.code, f.message);
  } catch (ZPropertiesIOException& e) {
    // The system's own words, and the file they are about.
    std::fflush(stdout);
    return fail(kIOFailed, std::string(e.file()) + ": " + std::strerror(e.excerrno()));
  } catch (ZException& e) {
    std::fflush(stdout);
    e.dumpException();
    return exitCode(e);
  } catch (const std::exception& e) {
    return fail(kFailed, e.what());
  }
}
