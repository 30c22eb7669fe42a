// zbase: fuzzes the strings: edits of a mutable string against std::string,
// the tokenizer and the character iterator against a plain byte split, and
// the code-set conversions (local code set to UTF-8 and back).
#include <cstdio>
#include <string>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZStringIterator.h"
#include "Z/ZStringTokenizer.h"
#include "Z/ZUTF8String.h"
#include "Z/zkelutil.h"
#include "fuzz_support.h"

namespace {

std::string noZero(std::string s) { return s.substr(0, s.find('\0')); }

std::string hex(const std::string& s) {
  std::string out;
  char b[4];
  for (unsigned char c : s) {
    std::snprintf(b, sizeof b, "%02x ", c);
    out += b;
  }
  return out;
}

void check(const ZAbstractString& s, const std::string& model, const char* what) {
  const std::string got(s.getChars(), s.getLength());
  if (got != model) fuzz::fail(what, hex(model), hex(got));
}

// Strict UTF-8: no overlong forms, surrogates or code points past U+10FFFF.
bool isUtf8(const std::string& s) {
  for (size_t i = 0; i < s.size();) {
    const unsigned char c = s[i];
    const size_t n = c < 0x80 ? 1 : c < 0xC2 ? 0 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : c < 0xF5 ? 4 : 0;
    if (n == 0 || i + n > s.size()) return false;
    unsigned long cp = n == 1 ? c : c & (0x7F >> n);
    for (size_t k = 1; k < n; ++k) {
      const unsigned char t = s[i + k];
      if ((t & 0xC0) != 0x80) return false;
      cp = cp << 6 | (t & 0x3F);
    }
    if ((n == 3 && cp < 0x800) || (n == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
        (cp >= 0xD800 && cp <= 0xDFFF)) {
      return false;
    }
    i += n;
  }
  return true;
}

// Words between ASCII delimiters, runs of delimiters counting as one.
std::vector<std::string> split(const std::string& s, const std::string& delimiters) {
  std::vector<std::string> words;
  size_t i = 0;
  for (;;) {
    i = s.find_first_not_of(delimiters, i);
    if (i == std::string::npos) return words;
    size_t end = s.find_first_of(delimiters, i);
    words.push_back(s.substr(i, end == std::string::npos ? std::string::npos : end - i));
    if (end == std::string::npos) return words;
    i = end;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  // Edits of a local-code-set string against std::string.
  ZLCString s;
  std::string model;
  for (int step = 0; step < 24 && !in.empty(); ++step) {
    const std::string t = noZero(in.text(8));
    const unsigned pos = model.empty() ? 0 : in.pick(static_cast<unsigned>(model.size()) + 1);
    switch (in.pick(6)) {
      case 0:
        s.append(t.c_str());
        model += t;
        break;
      case 1:
        s.prepend(t.c_str());
        model = t + model;
        break;
      case 2:
        s.insert(pos, t.c_str());
        model.insert(pos, t);
        break;
      case 3: {
        const unsigned count = in.pick(6);
        s.remove(pos, count);
        if (count == 0) {  // cuts at pos
          if (pos < model.size()) model.resize(pos);
        } else if (pos + count <= model.size()) {  // else nothing
          model.erase(pos, count);
        }
        break;
      }
      case 4:
        s.trunc(pos);
        model.resize(pos < model.size() ? pos : model.size());
        break;
      default:
        s.setChars(t.c_str());
        model = t;
    }
    check(s, model, "string edit");
  }

  // Tokenizer and iterator over UTF-8 text, with ASCII delimiters.
  const std::string text = noZero(in.rest());
  const std::string delimiters = text.empty() ? " " : std::string(1, (text[0] & 0x3F) + 0x20);
  ZUTF8String source(text.c_str()), token;
  try {
    ZStringTokenizer words(source, token, ZUTF8String(delimiters.c_str()));
    std::vector<std::string> got;
    while (words.hasMore()) got.push_back(words.getNext()->getChars());
    if (!isUtf8(text)) return 0;  // a stray byte may be measured either way
    if (got != split(text, delimiters)) fuzz::fail("tokenizer differs from a byte split", text);
    ZUTF8String character;
    ZStringIterator chars(source, character);
    std::string joined;
    while (chars.hasMore()) joined += chars.getNext()->getChars();
    if (joined != text) fuzz::fail("iterated characters do not join up", text, joined);
    // UTF-8 to the local code set and back, where the local code set is UTF-8.
    if (std::string(zgetLocalCodesetName()).find("UTF-8") != std::string::npos) {
      ZLCString local(source);
      ZUTF8String back(local);
      check(back, text, "code-set round trip");
    }
  } catch (const ZException&) {
    if (isUtf8(text)) fuzz::fail("valid UTF-8 was refused", text);
  }
  return 0;
}
