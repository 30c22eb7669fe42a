// zbase: ZStringIterator, hands out the characters of a string one at a time.
#ifndef Z_ZSTRINGITERATOR_H_
#define Z_ZSTRINGITERATOR_H_

#include "Z/zversion.h"

#include "Z/ZArrayList.h"
#include "Z/ZLCString.h"
#include "Z/ZUTF8String.h"

// Walks the characters of a string, multibyte characters whole. Each
// getNext() writes the next character into the output string given at
// construction and returns that string, so stepping allocates nothing.
// Neither the source nor the output string is owned: both must outlive the
// iterator, and the source must not change while it is walked. Not safe to
// share between threads.
class ZStringIterator : public ZAbstractIterator {
 public:
  ZStringIterator(const ZLCString& source, ZLCString& out);
  ZStringIterator(const ZLCConstString& source, ZLCString& out);
  ZStringIterator(const ZUTF8String& source, ZUTF8String& out);
  ZStringIterator(const ZUTF8ConstString& source, ZUTF8String& out);
  // Same position, source and output string.
  ZStringIterator(const ZStringIterator& other);
  ~ZStringIterator() override;

  ZObject* clone() const override;

  int hasMore() override;
  // The output string holding the next character; null when the iterator
  // has no position. At the end of the text the output string is empty:
  // call hasMore() first.
  // Throws ZKELMBLenException when the character cannot be measured.
  ZAbstractMutableString* getNext() override;
  virtual void reset();

 private:
  ZStringIterator(const ZAbstractString& source, ZAbstractMutableString& out, int mbMax);
  ZStringIterator& operator=(const ZStringIterator&) = delete;

  const char* position_;
  const ZAbstractString* source_;
  ZAbstractMutableString* out_;
  // 1: one byte per character; anything else: measure each character.
  int mbMax_;
};

#endif  // Z_ZSTRINGITERATOR_H_
