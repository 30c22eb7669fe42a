// zbase: ZStringTokenizer, hands out the words of a string between delimiters.
#ifndef Z_ZSTRINGTOKENIZER_H_
#define Z_ZSTRINGTOKENIZER_H_

#include "Z/zversion.h"

#include "Z/ZAbstractMutableString.h"
#include "Z/ZArrayList.h"

// Splits a string into words separated by runs of delimiter characters
// (by default blank, tab, carriage return and line feed). Each getNext()
// writes the next word into the token string given at construction and
// returns it. Delimiters and text are compared as whole characters of the
// source's code set, so a multibyte delimiter matches whole and a multibyte
// character of the text is never split.
//
// The source and the token string are not owned and must outlive the
// tokenizer; the source must not change while it is split. The tokenizer
// owns its copy of the delimiters. Not safe to share between threads.
class ZStringTokenizer : public ZAbstractIterator {
 public:
  // Source and token must be of the same code set, else
  // ZUnsupportedException.
  ZStringTokenizer(const ZAbstractString& source, ZAbstractMutableString& token);
  ZStringTokenizer(const ZAbstractString& source, ZAbstractMutableString& token,
                   const ZAbstractString& delimiters);
  // Same position, source and token, and a copy of the delimiters.
  ZStringTokenizer(const ZStringTokenizer& other);
  ~ZStringTokenizer() override;

  ZObject* clone() const override;

  // Passes the delimiters at the position; true when text is left.
  virtual int hasMore(const ZAbstractString& delimiters);
  int hasMore() override;
  // The token holding the next word (empty at the end of the text: call
  // hasMore() first); null when the tokenizer has no position. Throws
  // ZKELMBLenException when a character cannot be measured.
  virtual ZAbstractMutableString* getNext(const ZAbstractString& delimiters);
  ZAbstractMutableString* getNext() override;
  virtual void reset();
  // Adds a copy of each remaining word to words. An owning list clones what
  // it is given; a non-owning list receives clones that the caller deletes.
  virtual void list(ZArrayList& words);

 private:
  ZStringTokenizer& operator=(const ZStringTokenizer&) = delete;

  void makeDelimiters();
  unsigned int scan(const ZAbstractString& delimiters, int wantDelimiters) const;

  const char* position_;
  const ZAbstractString* source_;
  ZAbstractMutableString* token_;
  ZAbstractMutableString* delimiters_;
  // 1: one byte per character; anything else: measure each character.
  int mbMax_;
};

#endif  // Z_ZSTRINGTOKENIZER_H_
