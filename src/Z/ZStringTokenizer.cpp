// zbase: ZStringTokenizer, hands out the words of a string between delimiters.
#include "Z/ZStringTokenizer.h"

#include <cstdlib>
#include <cstring>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"
#include "Z/zkelutil.h"

namespace {

const char kDefaultDelimiters[] = " \t\r\n";

}  // namespace

ZStringTokenizer::ZStringTokenizer(const ZAbstractString& source, ZAbstractMutableString& token)
    : position_(source.getChars()),
      source_(&source),
      token_(&token),
      delimiters_(nullptr),
      mbMax_(0) {
  if (source.getCodesetHandle() != token.getCodesetHandle()) {
    ZUnsupportedException().throwException("src/Z/ZStringTokenizer", 97);
  }
  makeDelimiters();
  delimiters_->append(kDefaultDelimiters);
}

ZStringTokenizer::ZStringTokenizer(const ZAbstractString& source, ZAbstractMutableString& token,
                                   const ZAbstractString& delimiters)
    : position_(source.getChars()),
      source_(&source),
      token_(&token),
      delimiters_(nullptr),
      mbMax_(0) {
  if (source.getCodesetHandle() != token.getCodesetHandle()) {
    ZUnsupportedException().throwException("src/Z/ZStringTokenizer", 72);
  }
  makeDelimiters();
  // The bytes are taken as they are, whatever code set they are in.
  delimiters_->setChars(delimiters);
}

// An empty delimiter string of the source's family, and the measuring mode:
// the local code set is measured only where its characters can be longer
// than a byte, UTF-8 always.
void ZStringTokenizer::makeDelimiters() {
  if (source_->getCodesetHandle() == ZAbstractString::lcs_handle_) {
    mbMax_ = static_cast<int>(MB_CUR_MAX);
    delimiters_ = new ZLCString();
  } else {
    delimiters_ = new ZUTF8String();
  }
}

ZStringTokenizer::ZStringTokenizer(const ZStringTokenizer& other)
    : ZAbstractIterator(other),
      position_(other.position_),
      source_(other.source_),
      token_(other.token_),
      delimiters_(static_cast<ZAbstractMutableString*>(other.delimiters_->clone())),
      mbMax_(other.mbMax_) {}

ZStringTokenizer::~ZStringTokenizer() { delete delimiters_; }

ZObject* ZStringTokenizer::clone() const { return new ZStringTokenizer(*this); }

// Walks from the position over delimiter characters (wantDelimiters) or
// over the characters of a word; returns the bytes passed. The measuring
// bound starts at the source's whole length and shrinks by each character.
unsigned int ZStringTokenizer::scan(const ZAbstractString& delimiters, int wantDelimiters) const {
  const char* p = position_;
  if (p == nullptr || *p == '\0') return 0;
  const char* set = delimiters.getChars();
  unsigned int bound = source_->getLength();
  ZCodesetHandle handle = source_->getCodesetHandle();
  char ch[KEL_MB_LEN_MAX + 1];
  while (*p != '\0') {
    int len = 1;
    if (mbMax_ != 1) {
      len = zmblen(handle, p, bound);
      if (len == -1) {
        if (wantDelimiters) {
          ZKELMBLenException().throwException("src/Z/ZStringTokenizer", 269);
        }
        ZKELMBLenException().throwException("src/Z/ZStringTokenizer", 331);
      }
      if (len == 0) break;
      if (len > KEL_MB_LEN_MAX) len = KEL_MB_LEN_MAX;
    }
    std::memcpy(ch, p, static_cast<size_t>(len));
    ch[len] = '\0';
    const int isDelimiter = set != nullptr && std::strstr(set, ch) != nullptr;
    if (isDelimiter != wantDelimiters) break;
    p += len;
    bound = static_cast<unsigned int>(len) < bound ? bound - static_cast<unsigned int>(len) : 0;
  }
  return static_cast<unsigned int>(p - position_);
}

int ZStringTokenizer::hasMore(const ZAbstractString& delimiters) {
  if (position_ == nullptr) return 0;
  position_ += scan(delimiters, 1);
  return *position_ != '\0';
}

int ZStringTokenizer::hasMore() { return hasMore(*delimiters_); }

ZAbstractMutableString* ZStringTokenizer::getNext(const ZAbstractString& delimiters) {
  if (position_ == nullptr) return nullptr;
  position_ += scan(delimiters, 1);
  // Only the word itself is copied, so splitting a long text stays linear.
  const unsigned int length = scan(delimiters, 0);
  token_->clear();
  token_->append(position_, length);
  position_ += length;
  return token_;
}

ZAbstractMutableString* ZStringTokenizer::getNext() { return getNext(*delimiters_); }

void ZStringTokenizer::reset() { position_ = source_->getChars(); }

void ZStringTokenizer::list(ZArrayList& words) {
  if (position_ == nullptr) return;
  while (hasMore()) {
    ZAbstractMutableString* word = getNext();
    if (words.ownsMembers()) {
      words.add(word);
    } else {
      words.add(word->clone());
    }
  }
}
