// zbase: stanza configuration files: their reader and writer, the side data of
// obfuscated values, and the key/value lists and batch requests built on them.
#include "Z/ZStanzaFileProperties.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Z/ZException.h"
#include "Z/ZSqueeze.h"

namespace {

const char kConfigStanza[] = "configuration-database";
const char kSideFileKey[] = "file";
const unsigned long kKeepComments = 1;  // attribute bit 0
const size_t kLineStep = 8192;          // line buffer: first size and growth step
const size_t kPackStart = 8192;         // packing buffer: first size
const size_t kPackStep = 4096;          // packing buffer: least growth step
// Unpacking starts at this many times the packed size, and at least at
// kUnpackLeast bytes, so that even an empty side file is judged by the facade.
const unsigned long kUnpackFactor = 8;
const unsigned long kUnpackLeast = 64;

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};
using CBlock = std::unique_ptr<char, FreeDeleter>;

inline bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Holds the stream's lock so that the reader can use the unlocked getc.
class StreamLock {
 public:
  explicit StreamLock(FILE* stream) : stream_(stream) { flockfile(stream_); }
  ~StreamLock() { funlockfile(stream_); }
  StreamLock(const StreamLock&) = delete;
  StreamLock& operator=(const StreamLock&) = delete;

 private:
  FILE* stream_;
};

// Appends a layout line; the line is freed if the list cannot take it.
void appendLine(ZArrayList& lines, unsigned int type, const char* text) {
  std::unique_ptr<ZPropLine> line(new ZPropLine(type, text));
  lines.addNoCopy(line.get());
  line.release();
}

inline int errnoOr(int fallback) { return errno != 0 ? errno : fallback; }

// Writes n bytes; a short write throws, naming the configuration file.
void put(FILE* stream, const char* fileName, const char* text, size_t n) {
  if (n != 0 && std::fwrite(text, 1, n, stream) != n) {
    ZPropertiesIOException(fileName, "fwrite()", errnoOr(EIO))
        .throwException("src/Z/ZStanzaFileProperties", 59);
  }
}

inline void put(FILE* stream, const char* fileName, const ZAbstractString& text) {
  put(stream, fileName, text.getChars(), text.getLength());
}

// Grows a malloc block to `capacity` bytes; failure throws (the block stays
// valid and is freed by its owner).
void growBlock(CBlock& block, size_t capacity) {
  void* grown = std::realloc(block.get(), capacity);
  if (grown == nullptr) ZOutOfMemoryException().throwException("src/Z/ZStanzaFileProperties", 71);
  block.release();
  block.reset(static_cast<char*>(grown));
}

// Reads the next line, newline included, into the buffer, growing it as
// needed, and terminates it. Returns the number of bytes read, 0 at the end.
size_t readLine(FILE* stream, const char* fileName, CBlock& buffer, size_t& capacity) {
  size_t length = 0;
  int c;
  while ((c = getc_unlocked(stream)) != EOF) {
    if (length + 1 >= capacity) {
      growBlock(buffer, capacity + kLineStep);
      capacity += kLineStep;
    }
    buffer.get()[length++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (c == EOF && ferror(stream)) {
    ZPropertiesIOException(fileName, "fgets()", errnoOr(EIO))
        .throwException("src/Z/ZStanzaFileProperties", 91);
  }
  buffer.get()[length] = '\0';
  return length;
}

}  // namespace

// ---------------------------------------------------------------------------
// ZSCFData

ZSCFData::ZSCFData() {}

ZSCFData::ZSCFData(const ZSCFData& other) : ZPCategoryBasedCache(other) {}

ZSCFData::~ZSCFData() {}

ZPCache* ZSCFData::clone() const { return new ZSCFData(*this); }

void ZSCFData::be_read(const char* fileName, FILE* stream) {
  if (fileName == nullptr) fileName = "";
  const bool keepComments = (attributes & kKeepComments) != 0;
  size_t capacity = kLineStep;
  CBlock buffer(static_cast<char*>(std::malloc(capacity)));
  if (!buffer) ZOutOfMemoryException().throwException("src/Z/ZStanzaFileProperties", 115);
  ZLCString stanza;  // the current stanza; empty before the first header
  int lineNumber = 0;
  StreamLock streamLock(stream);

  for (;;) {
    size_t length = readLine(stream, fileName, buffer, capacity);
    if (length == 0) break;
    ++lineNumber;
    char* line = buffer.get();
    // A zero byte would silently cut the line short: refuse the file.
    if (std::strlen(line) != length) {
      ZPropertiesInvalidDataException(fileName, line, lineNumber)
          .throwException("src/Z/ZStanzaFileProperties", 128);
    }
    while (length > 0 && isSpace(line[length - 1])) --length;
    line[length] = '\0';
    char* p = line;
    while (isSpace(*p)) ++p;

    if (*p == '\0') {
      if (keepComments) appendLine(lines, LINE_BLANK, "");
    } else if (*p == '#') {
      if (keepComments) appendLine(lines, LINE_COMMENT, p);
    } else if (*p == '[') {
      char* close = std::strchr(p + 1, ']');
      if (close == nullptr) {
        ZPropertiesInvalidDataException(fileName, line, lineNumber)
            .throwException("src/Z/ZStanzaFileProperties", 143);
      }
      *close = '\0';
      if (contains(p + 1)) {
        *close = ']';
        ZPropertiesInvalidDataException(fileName, line, lineNumber)
            .throwException("src/Z/ZStanzaFileProperties", 149);
      }
      stanza = p + 1;
      set(p + 1, nullptr, nullptr);
      appendLine(lines, LINE_STANZA, p + 1);
    } else {
      char* eq = std::strchr(p, '=');
      if (stanza.isEmpty() || *p == '=' || eq == nullptr) {
        ZPropertiesInvalidDataException(fileName, line, lineNumber)
            .throwException("src/Z/ZStanzaFileProperties", 158);
      }
      char* keyEnd = eq;
      while (keyEnd > p && isSpace(keyEnd[-1])) --keyEnd;
      char* value = eq + 1;
      while (isSpace(*value)) ++value;
      *keyEnd = '\0';
      const int existed = contains(stanza.getChars(), p);
      add(stanza.getChars(), p, value, 0);
      if (!existed) appendLine(lines, LINE_KEY, p);
      if (stanza.equals(kConfigStanza) && std::strcmp(p, kSideFileKey) == 0) {
        const char* slash = std::strrchr(fileName, '/');
        if (*value == '\0') {
          name.clear();  // "file =" names no side file
        } else if (*value == '/' || slash == nullptr) {
          name = value;
        } else {
          name = ZLCString(fileName, static_cast<unsigned int>(slash - fileName + 1));
          name += value;
        }
      }
    }
  }
}

void ZSCFData::be_write(const char* fileName, FILE* stream) {
  if (fileName == nullptr) fileName = "";
  ZLCString stanza;
  bool skip = false;
  for (unsigned int i = 0; i < lines.size(); ++i) {
    const ZPropLine* line = static_cast<const ZPropLine*>(lines.get(i));
    if (line->type == LINE_STANZA) {
      stanza = line->text;
      // A stanza deleted from the data takes all its lines with it.
      skip = !contains(stanza.getChars());
      if (!skip) {
        put(stream, fileName, "[", 1);
        put(stream, fileName, stanza);
        put(stream, fileName, "]\n", 2);
      }
      continue;
    }
    if (skip) continue;
    if (line->type == LINE_COMMENT || line->type == LINE_BLANK) {
      put(stream, fileName, line->text);
      put(stream, fileName, "\n", 1);
    } else if (line->type == LINE_KEY) {
      const char* key = line->text.getChars();
      if (!contains(stanza.getChars(), key)) continue;
      const ZArrayList* values = get(stanza.getChars(), key, GET_PLAIN);
      if (values != nullptr && values->size() != 0) {
        for (unsigned int v = 0; v < values->size(); ++v) {
          put(stream, fileName, line->text);
          put(stream, fileName, " = ", 3);
          put(stream, fileName, *static_cast<const ZLCString*>(values->get(v)));
          put(stream, fileName, "\n", 1);
        }
      } else if (!isObfuscated(stanza.getChars(), key)) {
        put(stream, fileName, line->text);
        put(stream, fileName, " =\n", 3);
      }
    }
  }
}

void ZSCFData::be_read_obfuscated(ZBuffer& buffer) {
  const unsigned long packedLength = buffer.getLength();
  ZSqueeze squeeze;
  squeeze.setSource(buffer.getBuffer(), packedLength);
  unsigned long capacity = packedLength * kUnpackFactor;
  if (capacity < kUnpackLeast || capacity / kUnpackFactor != packedLength) {
    capacity = packedLength > kUnpackLeast ? packedLength : kUnpackLeast;
  }
  ZBuffer records;
  long length;
  for (;;) {
    records.setLength(capacity + 1);  // one byte more, to terminate the last text
    length = squeeze.unsqueeze(records.getBuffer(), capacity);
    if (length != -5 && length != -4) break;
    capacity *= 2;
  }
  const char* data = static_cast<const char*>(records.getBuffer());
  const size_t end = length < 0 ? 0 : static_cast<size_t>(length);

  // Check every record before the first is added, so that a damaged side
  // file adds nothing: each is stanza, key and value, each ended by a zero
  // byte, then one more zero byte (left off after the last record).
  bool whole = length >= 0;
  for (size_t pos = 0; whole && pos < end;) {
    for (int field = 0; field < 3 && whole; ++field) {
      const void* zero = std::memchr(data + pos, '\0', end - pos);
      whole = zero != nullptr && (field == 2 || zero != data + pos);
      if (whole) pos = static_cast<const char*>(zero) - data + 1;
    }
    if (whole && pos < end) whole = data[pos++] == '\0';
  }
  if (!whole) {
    ZPropertiesInvalidDataException(name.getChars(), "", 0)
        .throwException("src/Z/ZStanzaFileProperties", 256);
  }
  for (size_t pos = 0; pos < end;) {
    const char* stanza = data + pos;
    const char* key = stanza + std::strlen(stanza) + 1;
    const char* value = key + std::strlen(key) + 1;
    add(stanza, key, value, 1);
    pos = (value - data) + std::strlen(value) + 2;
  }
}

void ZSCFData::be_write_obfuscated(ZBuffer& buffer) {
  size_t capacity = kPackStart;
  CBlock work(static_cast<char*>(std::malloc(capacity)));
  if (!work) ZOutOfMemoryException().throwException("src/Z/ZStanzaFileProperties", 270);
  size_t filled = 0;
  for (unsigned int i = 0; i < obfuscatedItems.size(); ++i) {
    const ZObfuscatedItem* item = static_cast<const ZObfuscatedItem*>(obfuscatedItems.get(i));
    const ZArrayList* values = get(item->stanza.getChars(), item->key.getChars(), GET_OBFUSCATED);
    if (values == nullptr) continue;
    const size_t stanzaLength = item->stanza.getLength();
    const size_t keyLength = item->key.getLength();
    for (unsigned int v = 0; v < values->size(); ++v) {
      const ZLCString* value = static_cast<const ZLCString*>(values->get(v));
      const size_t valueLength = value->getLength();
      const size_t record = stanzaLength + keyLength + valueLength + 4;
      // Grow by at least the record: one fixed step may not be enough.
      while (capacity - filled <= record) {
        const size_t grown = capacity + (record > kPackStep ? record : kPackStep);
        growBlock(work, grown);
        capacity = grown;
      }
      char* out = work.get() + filled;
      std::memcpy(out, item->stanza.getChars(), stanzaLength + 1);
      out += stanzaLength + 1;
      std::memcpy(out, item->key.getChars(), keyLength + 1);
      out += keyLength + 1;
      std::memcpy(out, value->getChars(), valueLength + 1);
      out[valueLength + 1] = '\0';
      filled += record;
    }
  }
  if (filled == 0) return;

  // The last record's closing zero byte is not stored.
  const unsigned long sourceLength = filled - 1;
  ZSqueeze squeeze;
  squeeze.setSource(work.get(), sourceLength);
  unsigned long outLength = 2 * sourceLength;
  buffer.setLength(outLength);
  long result = squeeze.squeeze(buffer.getBuffer(), outLength);
  while (result < 0) {
    outLength *= 2;
    buffer.setLength(outLength);
    result = squeeze.squeeze(buffer.getBuffer(), outLength);
  }
  buffer.setLength(static_cast<unsigned long>(result));
}
