// zbase: zstanza, quoting, escaping and the checks of names and values.
#include "Z/zversion.h"

#include <cstdio>
#include <cstring>

#include "zstanza.h"

namespace zstanza {
namespace {

// The blanks the reader strips around keys and values.
bool isBlank(char c) { return c != '\0' && std::strchr(" \t\n\v\f\r", c) != nullptr; }

bool hasOuterBlanks(const std::string& s) {
  return !s.empty() && (isBlank(s.front()) || isBlank(s.back()));
}

std::string quoted(const std::string& s) { return "'" + escapeControls(s) + "'"; }

}  // namespace

std::string escapeControls(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (c < 0x20 || c == 0x7f) {
      char hex[5];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string badStanza(const std::string& stanza) {
  if (stanza.empty()) return "a stanza name cannot be empty";
  if (stanza.find('\n') != std::string::npos) return "a stanza name cannot span lines";
  if (stanza.find(']') != std::string::npos) {
    return "a stanza name cannot contain ']': " + quoted(stanza);
  }
  return "";
}

std::string badKey(const std::string& key) {
  if (key.empty()) return "a key cannot be empty";
  if (key.find('\n') != std::string::npos) return "a key cannot span lines";
  if (key.find('=') != std::string::npos) return "a key cannot contain '=': " + quoted(key);
  if (hasOuterBlanks(key)) return "a key cannot begin or end with blanks: " + quoted(key);
  if (key[0] == '#' || key[0] == '[') return "a key cannot begin with '" + key.substr(0, 1) + "'";
  return "";
}

std::string badValue(const std::string& value) {
  if (value.find('\n') != std::string::npos) return "a value cannot span lines";
  if (hasOuterBlanks(value)) return "a value cannot begin or end with blanks: " + quoted(value);
  return "";
}

std::string shellQuote(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

std::string shellName(const std::string& stanza, const std::string& key) {
  std::string name = stanza + "_" + key;
  for (char& c : name) {
    const bool word = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (!word) c = '_';
  }
  if (name[0] >= '0' && name[0] <= '9') name.insert(0, "_");
  return name;
}

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20 || c == 0x7f) {
          char hex[7];
          std::snprintf(hex, sizeof hex, "\\u%04x", c);
          out += hex;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

bool splitWords(const std::string& line, std::vector<std::string>& words, std::string& error) {
  words.clear();
  size_t i = 0;
  const size_t n = line.size();
  for (;;) {
    while (i < n && (line[i] == ' ' || line[i] == '\t')) ++i;
    if (i == n) return true;
    std::string word;
    while (i < n && line[i] != ' ' && line[i] != '\t') {
      const char c = line[i++];
      if (c == '\'') {
        const size_t end = line.find('\'', i);
        if (end == std::string::npos) return error = "a ' is not closed", false;
        word.append(line, i, end - i);
        i = end + 1;
      } else if (c == '"') {
        for (;;) {
          if (i == n) return error = "a \" is not closed", false;
          char d = line[i++];
          if (d == '"') break;
          if (d == '\\' && i < n && (line[i] == '"' || line[i] == '\\')) d = line[i++];
          word += d;
        }
      } else if (c == '\\') {
        if (i == n) return error = "a line cannot end in \\", false;
        word += line[i++];
      } else {
        word += c;
      }
    }
    words.push_back(word);
  }
}

std::string readStream(FILE* stream, const std::string& name) {
  std::string text;
  char buffer[65536];
  size_t n;
  while ((n = std::fread(buffer, 1, sizeof buffer, stream)) > 0) text.append(buffer, n);
  if (std::ferror(stream)) throw Failure{kIOFailed, name + ": read error"};
  return text;
}

}  // namespace zstanza
