// zbase: byte buffers, owning (ZBuffer) and borrowed (ZConstBuffer).
#include "Z/ZBuffer.h"

#include <cstdlib>
#include <cstring>

#include "Z/ZException.h"

int ZAbstractBuffer::compare(const ZObject& other) const {
  const ZAbstractBuffer* that = dynamic_cast<const ZAbstractBuffer*>(&other);
  // Only buffers compare by content; anything else is ordered as an object.
  if (that == nullptr) return ZObject::compare(other);
  unsigned long n = getLength();
  unsigned long m = that->getLength();
  if (n < m) return -1;
  if (n > m) return 1;
  if (n == 0) return 0;
  const void* a = getBuffer();
  const void* b = that->getBuffer();
  if (a == b) return 0;
  int r = std::memcmp(a, b, n);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

ZBuffer::ZBuffer() : length_(0), buffer_(nullptr) {}

ZBuffer::ZBuffer(const char* s) : length_(0), buffer_(nullptr) {
  if (s != nullptr) setBuffer(std::strlen(s) + 1, const_cast<char*>(s));
}

ZBuffer::ZBuffer(unsigned long length, void* data) : length_(0), buffer_(nullptr) {
  setBuffer(length, data);
}

ZBuffer::ZBuffer(const ZBuffer& other) : ZAbstractBuffer(), length_(0), buffer_(nullptr) {
  setBuffer(other.length_, other.buffer_);
}

ZBuffer& ZBuffer::operator=(const ZBuffer& other) {
  if (this != &other) setBuffer(other.length_, other.buffer_);
  return *this;
}

ZBuffer::~ZBuffer() { setLength(0); }

ZObject* ZBuffer::clone() const { return new ZBuffer(*this); }

void ZBuffer::setLength(unsigned long length) {
  if (length == 0) {
    if (buffer_ != nullptr) {
      std::free(buffer_);
      buffer_ = nullptr;
      length_ = 0;
    }
    return;
  }
  if (length > length_) {
    // The result replaces the block before it is checked: on failure the old
    // block is given up and the length is left as it was (deliberate).
    buffer_ = std::realloc(buffer_, length);
    if (buffer_ == nullptr) ZOutOfMemoryException().throwException("src/Z/ZBuffer", 143);
  }
  length_ = length;
}

void ZBuffer::setBuffer(unsigned long length, void* data) {
  setLength(length);
  if (length_ != 0 && data != nullptr) std::memmove(buffer_, data, length_);
}

void ZBuffer::setBuffer(char* s) {
  if (s == nullptr) {
    setLength(0);
  } else {
    setBuffer(std::strlen(s) + 1, s);
  }
}

void ZBuffer::setBufferNoCopy(unsigned long length, void* data) {
  setLength(0);
  buffer_ = data;
  length_ = length;
}

unsigned long ZBuffer::getLength() const { return length_; }

void* ZBuffer::getBuffer() const { return buffer_; }

void* ZBuffer::takeBuffer(unsigned long& length, void*& data) {
  length = length_;
  data = buffer_;
  length_ = 0;
  buffer_ = nullptr;
  return data;
}

ZConstBuffer::ZConstBuffer() : length_(0), buffer_(nullptr) {}

ZConstBuffer::ZConstBuffer(unsigned long length, void* data) : length_(length), buffer_(data) {}

ZConstBuffer::ZConstBuffer(const ZConstBuffer& other)
    : ZAbstractBuffer(), length_(other.length_), buffer_(other.buffer_) {}

ZConstBuffer& ZConstBuffer::operator=(const ZConstBuffer& other) {
  if (this != &other) setBuffer(other.length_, other.buffer_);
  return *this;
}

ZConstBuffer::~ZConstBuffer() {}

ZObject* ZConstBuffer::clone() const { return new ZConstBuffer(*this); }

void ZConstBuffer::setLength(unsigned long length) { length_ = length; }

void ZConstBuffer::setBuffer(unsigned long length, void* data) {
  length_ = length;
  buffer_ = data;
}

unsigned long ZConstBuffer::getLength() const { return length_; }

void* ZConstBuffer::getBuffer() const { return buffer_; }

void* ZConstBuffer::takeBuffer(unsigned long& length, void*& data) {
  length = length_;
  data = buffer_;
  length_ = 0;
  buffer_ = nullptr;
  return data;
}
