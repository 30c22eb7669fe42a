// zbase: ZStringIterator, hands out the characters of a string one at a time.
#include "Z/ZStringIterator.h"

#include <cstdlib>

#include "Z/ZException.h"
#include "Z/zkelutil.h"

// The local code set is measured only where its characters can be longer
// than a byte; UTF-8 always is, whatever the locale.
ZStringIterator::ZStringIterator(const ZLCString& source, ZLCString& out)
    : ZStringIterator(source, out, static_cast<int>(MB_CUR_MAX)) {}

ZStringIterator::ZStringIterator(const ZLCConstString& source, ZLCString& out)
    : ZStringIterator(source, out, static_cast<int>(MB_CUR_MAX)) {}

ZStringIterator::ZStringIterator(const ZUTF8String& source, ZUTF8String& out)
    : ZStringIterator(source, out, 0) {}

ZStringIterator::ZStringIterator(const ZUTF8ConstString& source, ZUTF8String& out)
    : ZStringIterator(source, out, 0) {}

ZStringIterator::ZStringIterator(const ZAbstractString& source, ZAbstractMutableString& out,
                                 int mbMax)
    : position_(source.getChars()), source_(&source), out_(&out), mbMax_(mbMax) {}

ZStringIterator::ZStringIterator(const ZStringIterator& other)
    : ZAbstractIterator(other),
      position_(other.position_),
      source_(other.source_),
      out_(other.out_),
      mbMax_(other.mbMax_) {}

ZStringIterator::~ZStringIterator() {}

ZObject* ZStringIterator::clone() const { return new ZStringIterator(*this); }

int ZStringIterator::hasMore() { return position_ != nullptr && *position_ != '\0'; }

ZAbstractMutableString* ZStringIterator::getNext() {
  if (position_ == nullptr) return nullptr;
  out_->clear();
  // At the terminator the output stays empty and the position stays put,
  // so that a call without hasMore() never walks past the end of the text.
  if (*position_ == '\0') return out_;
  if (mbMax_ == 1) {
    out_->append(*position_);
    ++position_;
    return out_;
  }
  const char* start = source_->getChars();
  unsigned int passed = static_cast<unsigned int>(position_ - start);
  int len = zmblen(source_->getCodesetHandle(), position_, source_->getLength() - passed);
  if (len == -1) {
    ZKELMBLenException().throwException("src/Z/ZStringIterator", 113);
  }
  if (len > 0) {
    out_->append(position_, static_cast<unsigned int>(len));
    position_ += len;
  }
  return out_;
}

void ZStringIterator::reset() { position_ = source_->getChars(); }
