// zbase: byte buffers, owning (ZBuffer) and borrowed (ZConstBuffer).
#ifndef Z_ZBUFFER_H_
#define Z_ZBUFFER_H_

#include "Z/zversion.h"
#include "Z/ZObject.h"

// The operations of a run of bytes with a length.
class ZBufferInterface {
 public:
  virtual void setLength(unsigned long length) = 0;
  virtual void setBuffer(unsigned long length, void* data) = 0;
  virtual unsigned long getLength() const = 0;
  virtual void* getBuffer() const = 0;
  virtual void* takeBuffer(unsigned long& length, void*& data) = 0;

 protected:
  ~ZBufferInterface() = default;
};

// Buffers order first by length, then by their bytes taken as unsigned: a
// shorter buffer sorts first whatever it holds.
class ZAbstractBuffer : public ZObject, public ZBufferInterface {
 public:
  int compare(const ZObject& other) const override;
  operator void*() const { return getBuffer(); }
};

// Owns a block from the C allocator (released with free). The buffer does
// not remember the size of its block, only the number of valid bytes:
// shrinking keeps the block, growing reallocates. Not locked.
class ZBuffer : public ZAbstractBuffer {
 public:
  ZBuffer();
  // A copy of the text including its terminating zero; empty for null.
  explicit ZBuffer(const char* s);
  // A copy of `length` bytes at `data`.
  ZBuffer(unsigned long length, void* data);
  ZBuffer(const ZBuffer& other);
  ZBuffer& operator=(const ZBuffer& other);
  ~ZBuffer() override;
  ZObject* clone() const override;

  // Zero frees the block. Growing reallocates and leaves the new bytes as they
  // come; when that fails ZOutOfMemoryException is thrown and the buffer is
  // left without a block but with its former length (the old block is given
  // up, not restored). Shrinking only changes the length.
  void setLength(unsigned long length) override;
  // Sets the length, then copies that many bytes from `data` (none when
  // `data` is null: the bytes are then left as they come).
  void setBuffer(unsigned long length, void* data) override;
  // Copies a text with its terminating zero; null empties the buffer.
  virtual void setBuffer(char* s);
  // Adopts `data` (from malloc/realloc) as the block without copying.
  virtual void setBufferNoCopy(unsigned long length, void* data);
  unsigned long getLength() const override;
  void* getBuffer() const override;
  // Hands the block and its length to the caller (who frees it) and leaves
  // the buffer empty. Returns the block.
  void* takeBuffer(unsigned long& length, void*& data) override;

 private:
  unsigned long length_;
  void* buffer_;
};

// Refers to bytes that somebody else owns; never allocates or frees them.
// Copies refer to the same bytes. Not locked.
class ZConstBuffer : public ZAbstractBuffer {
 public:
  ZConstBuffer();
  ZConstBuffer(unsigned long length, void* data);
  ZConstBuffer(const ZConstBuffer& other);
  ZConstBuffer& operator=(const ZConstBuffer& other);
  ~ZConstBuffer() override;
  ZObject* clone() const override;

  // Changes only the length; the bytes are the owner's business.
  void setLength(unsigned long length) override;
  void setBuffer(unsigned long length, void* data) override;
  unsigned long getLength() const override;
  void* getBuffer() const override;
  void* takeBuffer(unsigned long& length, void*& data) override;

 private:
  unsigned long length_;
  void* buffer_;
};

#endif  // Z_ZBUFFER_H_
