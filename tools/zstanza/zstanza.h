// zbase: zstanza, the pieces its source files share.
#ifndef ZSTANZA_ZSTANZA_H_
#define ZSTANZA_ZSTANZA_H_

#include "Z/zversion.h"

#include <functional>
#include <string>
#include <vector>

#include "Z/ZStanzaFileProperties.h"

namespace zstanza {

// Exit codes.
const int kOk = 0;
const int kMissing = 1;    // the stanza, key or value asked for is not there
const int kUsage = 2;      // wrong command line or edit line
const int kInvalid = 3;    // the file holds invalid data, or a value is not of the asked type
const int kIOFailed = 4;   // the file could not be read or written
const int kFailed = 5;     // any other failure of the library
const int kBusy = 6;       // another process kept the file locked for the whole --wait
const int kUnchanged = 7;  // with --check-changed: the edit left the file as it was

// A failure the tool reports itself: one line on standard error, an exit code.
struct Failure {
  int code;
  std::string message;
};

// Text helpers (text.cpp).

// Control bytes shown as \xNN, so that an error never writes them raw.
std::string escapeControls(const std::string& text);
// What is wrong with a name or value given on a command or edit line, or ""
// when it can be written and read back unchanged.
std::string badStanza(const std::string& stanza);
std::string badKey(const std::string& key);
std::string badValue(const std::string& value);
// 'text' for sh, with every ' written as '\''.
std::string shellQuote(const std::string& text);
// stanza_key with every byte other than a letter, digit or _ made _.
std::string shellName(const std::string& stanza, const std::string& key);
std::string jsonString(const std::string& text);
// Splits an edit line into words (quoting rule in the help text); false
// with `error` set when a quote is not closed.
bool splitWords(const std::string& line, std::vector<std::string>& words, std::string& error);
// The whole stream; a read error is a Failure.
std::string readStream(FILE* stream, const std::string& name);

// Files and transactions (transaction.cpp).

// Loads FILE, or standard input for "-", into `p`; a file that another
// process holds locked is retried until `wait` seconds have passed.
void loadForReading(ZStanzaFileProperties& p, const std::string& file, double wait);

struct EditSettings {
  double wait = 10;     // seconds to wait for a busy file
  std::string lockDir;  // where the process lock file lives; "" is the file's directory
};

// Loads FILE (an absent file starts empty), applies `edit` and stores the
// result, as one unit towards other zstanza processes and programs that use
// the library's process lock for the file. `edit` may run more than once
// (each time on a freshly loaded object) and throws to abort: then nothing is
// written. For "-" reads standard input and writes the result to standard
// output. Returns whether the edit changed the file; an unchanged file is
// not rewritten.
bool transact(const std::string& file, const EditSettings& settings,
              const std::function<void(ZStanzaFileProperties&)>& edit);

}  // namespace zstanza

#endif  // ZSTANZA_ZSTANZA_H_
