// zbase: ZJavaProperties, the flat property file reader and writer.
#include "Z/ZJavaProperties.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "Z/ZArrayList.h"
#include "Z/ZException.h"
#include "Z/ZLocalHostName.h"

namespace {

// Reader states; the numbers index the state table.
enum {
  kStartLine = 1,
  kStartLineBlanks = 2,
  kCommentLine = 3,
  kKeyChars = 4,
  kKeyCharEscape = 5,
  kKeyEndBlanksFirst = 6,
  kKeyEndBlanksFinal = 7,
  kValChars = 8,
  kValEscape = 9,
  kMultiLineVal = 10,
  kUU0 = 11,
  kUU1 = 12,
  kUU2 = 13,
  kUU3 = 14,
  kFound = 15,
  kError = 16,
};

// Space, tab, vertical tab and form feed; a line end is not a blank.
inline bool isBlank(int c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f'; }
inline bool isLineEnd(int c) { return c == '\n' || c == '\r'; }
inline bool isCommentMark(int c) { return c == '#' || c == '!'; }
inline bool isSeparator(int c) { return c == ':' || c == '='; }

// A whole-file advisory record lock of `type`, taken without waiting.
int lockFile(FILE* stream, short type) {
  struct flock whole = {};
  whole.l_type = type;
  whole.l_whence = SEEK_SET;
  return ::fcntl(fileno(stream), F_SETLK, &whole);
}

// A stream closed when it goes out of scope.
typedef std::unique_ptr<FILE, int (*)(FILE*)> Stream;

// Appends a value as the writer spells it: "\" and ":" escaped, bytes below
// 127 as they are (blanks, "=", "#" and line ends included, so such values do
// not read back the same: deliberate), and every byte from 127 up as "\u".
// A two- or three-byte UTF-8 lead byte takes its continuation bytes along
// (whatever they are, never reading past the value) and adds the code as four
// hex digits; any other such byte writes "\u" alone, which the reader rejects.
void appendValue(std::string& out, const char* v, unsigned int n) {
  for (unsigned int i = 0; i < n; ++i) {
    unsigned char b = static_cast<unsigned char>(v[i]);
    if (b == '\\' || b == ':') {
      out += '\\';
      out += static_cast<char>(b);
      continue;
    }
    if (b < 127) {
      out += static_cast<char>(b);
      continue;
    }
    out += "\\u";
    unsigned int more = (b >= 0xC0 && b <= 0xDF) ? 1 : (b >= 0xE0 && b <= 0xEF) ? 2 : 0;
    if (more == 0) continue;
    unsigned int code = b & (more == 1 ? 0x1Fu : 0x0Fu);
    for (unsigned int k = 0; k < more; ++k) {
      unsigned char next = i + 1 < n ? static_cast<unsigned char>(v[++i]) : 0;
      code = (code << 6) | (next & 0x3Fu);
    }
    char digits[8];
    std::snprintf(digits, sizeof digits, "%4.4x", code);
    out += digits;
  }
}

}  // namespace

ZJavaProperties::ZJavaProperties()
    : stateTable_{nullptr,
                  &ZJavaProperties::doStartLineState,
                  &ZJavaProperties::doStartLineBlanksState,
                  &ZJavaProperties::doCommentLineState,
                  &ZJavaProperties::doKeyCharsState,
                  &ZJavaProperties::doKeyCharEscapeState,
                  &ZJavaProperties::doKeyEndBlanksFirstState,
                  &ZJavaProperties::doKeyEndBlanksFinalState,
                  &ZJavaProperties::doValCharsState,
                  &ZJavaProperties::doValEscapeState,
                  &ZJavaProperties::doMultiLineValState,
                  &ZJavaProperties::doUU0State,
                  &ZJavaProperties::doUU1State,
                  &ZJavaProperties::doUU2State,
                  &ZJavaProperties::doUU3State,
                  nullptr},
      entries_(10, 1),
      searchKey_(nullptr),
      unicodeChar_(0) {}

ZJavaProperties::~ZJavaProperties() { delete searchKey_; }

ZObject* ZJavaProperties::clone() const {
  ZAbstractNotImplementedException("ZJavaProperties::clone")
      .throwException("src/Z/ZJavaProperties", 113);
}

// ---------------------------------------------------------------- reading

int ZJavaProperties::load(const char* path) {
  if (path == nullptr || *path == '\0') return 1;
  Stream stream(std::fopen(path, "r"), &std::fclose);
  if (!stream) {
    ZPropertiesIOException(path, "fopen(r)", errno).throwException("src/Z/ZJavaProperties", 122);
  }
  if (lockFile(stream.get(), F_RDLCK) != 0) {
    int err = errno;
    stream.reset();
    ZPropertiesIOException(path, "fcntl()", err).throwException("src/Z/ZJavaProperties", 127);
  }
  loadProperties(stream.get(), path);
  return 1;
}

int ZJavaProperties::load(const char* path, const char* key) {
  // The search key lives for this call only, also when it throws.
  struct Searching {
    ZUTF8String*& slot;
    ~Searching() {
      delete slot;
      slot = nullptr;
    }
  } searching{searchKey_};
  delete searchKey_;
  searchKey_ = new ZUTF8String(key);
  return load(path);
}

void ZJavaProperties::loadProperties(FILE* stream, const char* fileName) {
  int state = kStartLine;
  int previous = EOF;
  for (;;) {
    int c = getc(stream);
    if (c == EOF) {
      if (ferror(stream)) {
        ZUnexpectedEndOfFile(fileName).throwException("src/Z/ZJavaProperties", 154);
      }
      // A last line without a line end is dropped unless it holds the
      // searched key: deliberate.
      if (isSearchKey()) entries_.putEntry(&key_, &value_);
      return;
    }
    // CR LF and LF CR are one line end: the second character of the pair is
    // skipped and pairs with nothing, so CR LF CR LF is two line ends.
    if ((c == '\n' && previous == '\r') || (c == '\r' && previous == '\n')) {
      previous = EOF;
      continue;
    }
    previous = c;
    StateHandler handler = state >= 0 && state < 16 ? stateTable_[state] : nullptr;
    if (handler == nullptr) {
      ZJavaPropertyParseException(fileName).throwException("src/Z/ZJavaProperties", 170);
    }
    state = (this->*handler)(c);
    if (state == kError) {
      // The rest of the line is skipped as a comment and the entry dropped.
      key_.clear();
      value_.clear();
      state = kCommentLine;
    }
    if (state == kFound) return;
  }
}

bool ZJavaProperties::isSearchKey() const {
  return searchKey_ != nullptr && !key_.isEmpty() && key_.equals(*searchKey_);
}

int ZJavaProperties::storeEntry() {
  entries_.putEntry(&key_, &value_);
  return isSearchKey() ? kFound : kStartLine;
}

int ZJavaProperties::doStartLineState(int c) {
  key_.clear();
  value_.clear();
  if (isBlank(c)) return kStartLineBlanks;
  if (isLineEnd(c)) return kStartLine;
  if (isCommentMark(c)) return kCommentLine;
  // ":", "=" and "\" at the very start of a line are the first character of
  // the key, unlike after leading blanks (state 2): deliberate.
  key_ += static_cast<char>(c);
  return kKeyChars;
}

int ZJavaProperties::doStartLineBlanksState(int c) {
  if (isBlank(c)) return kStartLineBlanks;
  if (isLineEnd(c)) return kStartLine;
  if (isCommentMark(c)) return kCommentLine;
  // After leading blanks a separator makes the line bad, while a backslash
  // is taken into the key as it is, not as an escape: deliberate.
  if (isSeparator(c)) return kError;
  key_ += static_cast<char>(c);
  return kKeyChars;
}

int ZJavaProperties::doCommentLineState(int c) { return isLineEnd(c) ? kStartLine : kCommentLine; }

int ZJavaProperties::doKeyCharsState(int c) {
  if (isBlank(c)) return kKeyEndBlanksFirst;
  // A key without a value is a bad line, and because the line end itself is
  // what is bad, the next line is skipped as well: deliberate.
  if (isLineEnd(c)) return kError;
  if (isSeparator(c)) return kKeyEndBlanksFinal;
  if (c == '\\') return kKeyCharEscape;
  key_ += static_cast<char>(c);
  return kKeyChars;
}

int ZJavaProperties::doKeyCharEscapeState(int c) {
  if (c == '\\' || isBlank(c) || isSeparator(c)) {
    key_ += static_cast<char>(c);
    return kKeyChars;
  }
  return kError;  // a key has no other escapes: deliberate
}

int ZJavaProperties::doKeyEndBlanksFirstState(int c) {
  if (isBlank(c)) return kKeyEndBlanksFirst;
  if (isLineEnd(c)) return kError;  // as in doKeyCharsState: deliberate
  if (isSeparator(c)) return kKeyEndBlanksFinal;
  if (c == '\\') return kValEscape;
  value_ += static_cast<char>(c);
  return kValChars;
}

int ZJavaProperties::doKeyEndBlanksFinalState(int c) {
  if (isBlank(c)) return kKeyEndBlanksFinal;
  if (isLineEnd(c)) return storeEntry();
  if (c == '\\') return kValEscape;
  value_ += static_cast<char>(c);
  return kValChars;
}

int ZJavaProperties::doValCharsState(int c) {
  if (isLineEnd(c)) return storeEntry();
  if (c == '\\') return kValEscape;
  value_ += static_cast<char>(c);
  return kValChars;
}

int ZJavaProperties::doValEscapeState(int c) {
  if (isBlank(c) || c == '"' || c == '\'' || c == ':' || c == '\\') {
    value_ += static_cast<char>(c);
    return kValChars;
  }
  if (isLineEnd(c)) return kMultiLineVal;
  if (c == 'u' || c == 'U') return kUU0;
  // No "\n", "\t", "\=" or other escapes in values: deliberate.
  return kError;
}

int ZJavaProperties::doMultiLineValState(int c) {
  if (isBlank(c)) return kMultiLineVal;
  if (isLineEnd(c)) {
    // An empty continuation line ends the entry, which is stored unless
    // another key is searched; when it is the searched key, reading still
    // goes on: deliberate.
    if (searchKey_ == nullptr || isSearchKey()) entries_.putEntry(&key_, &value_);
    return kStartLine;
  }
  if (c == '\\') return kValEscape;
  value_ += static_cast<char>(c);
  return kValChars;
}

int ZJavaProperties::hexConv(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

int ZJavaProperties::doUU0State(int c) {
  int digit = hexConv(c);
  if (digit < 0) return kError;
  unicodeChar_ = static_cast<unsigned short>(digit);
  return kUU1;
}

int ZJavaProperties::doUU1State(int c) {
  int digit = hexConv(c);
  if (digit < 0) return kError;
  unicodeChar_ = static_cast<unsigned short>(unicodeChar_ << 4 | digit);
  return kUU2;
}

int ZJavaProperties::doUU2State(int c) {
  int digit = hexConv(c);
  if (digit < 0) return kError;
  unicodeChar_ = static_cast<unsigned short>(unicodeChar_ << 4 | digit);
  return kUU3;
}

int ZJavaProperties::doUU3State(int c) {
  int digit = hexConv(c);
  if (digit < 0) return kError;
  unicodeChar_ = static_cast<unsigned short>(unicodeChar_ << 4 | digit);
  // Each escape is converted by itself, so a surrogate pair becomes two
  // three-byte sequences instead of one character: deliberate.
  unsigned char bytes[4];
  const unsigned short* source = &unicodeChar_;
  unsigned char* target = bytes;
  if (zconvert_UTF16_to_UTF8(&source, source + 1, &target, bytes + sizeof bytes) != ZCONVERT_OK) {
    ZToUTF8Exception().throwException("src/Z/ZJavaProperties", 323);
  }
  value_.append(reinterpret_cast<const char*>(bytes), static_cast<unsigned int>(target - bytes));
  return kValChars;
}

// ---------------------------------------------------------------- entries

void ZJavaProperties::getValue(const char* key, ZUTF8String& result) const {
  result.clear();
  ZUTF8String probe(key);
  const ZObject* value = entries_.getEntry(&probe);
  if (value != nullptr) result = *static_cast<const ZUTF8String*>(value);
}

void ZJavaProperties::setValue(const char* key, const char* value) {
  if (key == nullptr || *key == '\0') {
    ZInvalidParameterException().throwException("src/Z/ZJavaProperties", 340);
  }
  ZUTF8String k(key);
  ZUTF8String v(value);
  entries_.putEntry(&k, &v);
}

// ---------------------------------------------------------------- writing

void ZJavaProperties::store(const char* path) {
  if (path == nullptr || *path == '\0') {
    ZInvalidParameterException().throwException("src/Z/ZJavaProperties", 351);
  }
  Stream stream(std::fopen(path, "wt"), &std::fclose);
  if (!stream) {
    ZPropertiesIOException(path, "fopen(wt)", errno).throwException("src/Z/ZJavaProperties", 355);
  }
  // The file is emptied by the open, before the lock is tried: a store into
  // a file that another process holds leaves it empty. Deliberate.
  if (lockFile(stream.get(), F_WRLCK) != 0) {
    int err = errno;
    stream.reset();
    ZPropertiesIOException(path, "fcntl()", err).throwException("src/Z/ZJavaProperties", 362);
  }
  try {
    std::string text("#\n");
    ZArrayList keys(10, 0);
    entries_.listKeys(keys);
    for (unsigned int i = 0; i < keys.size(); ++i) {
      const ZUTF8String* key = static_cast<const ZUTF8String*>(keys.get(i));
      const ZUTF8String* value = static_cast<const ZUTF8String*>(entries_.getEntry(key));
      text += key->getChars();  // keys are written without escapes: deliberate
      text += " = ";
      appendValue(text, value->getChars(), value->getLength());
      text += '\n';
    }
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size() ||
        std::fflush(stream.get()) != 0) {
      ZPropertiesIOException(path, "fwrite()", errno != 0 ? errno : EIO)
          .throwException("src/Z/ZJavaProperties", 380);
    }
    if (std::fclose(stream.release()) != 0) {
      ZPropertiesIOException(path, "fclose()", errno).throwException("src/Z/ZJavaProperties", 383);
    }
  } catch (...) {
    stream.reset();
    ::unlink(path);
    throw;
  }
}
