// zbase: growable lists of object pointers, their iterators, sorting and stacks.
#ifndef Z_ZARRAYLIST_H_
#define Z_ZARRAYLIST_H_

#include "Z/zversion.h"
#include "Z/ZObject.h"

class ZListIterator;

// Orders two objects for sorting: negative, zero or positive as `a` sorts
// before, with or after `b`. Sorting never hands it a null member.
class ZSortCompare {
 public:
  // Any value other than `ascending` sorts descending (the type is fixed so
  // that every int value is a valid order).
  enum sortorder : int { descending = 0, ascending = 1 };

  virtual int sortCompare(const ZObject* a, const ZObject* b) const = 0;

  // The process-wide comparison by ZObject::compare, made once on first use
  // and never destroyed.
  static const ZSortCompare& defaultSortCompare();

 protected:
  ~ZSortCompare() = default;
};

// a->compare(*b).
class ZDefaultSortCompare : public ZSortCompare {
 public:
  int sortCompare(const ZObject* a, const ZObject* b) const override;
};

// The operations of a list of object pointers. Indexes run from 0; a search
// that fails answers all bits set.
class ZList {
 public:
  virtual unsigned int size() const = 0;
  virtual int isEmpty() const = 0;
  virtual int contains(const ZObject* obj) const = 0;
  virtual void add(const ZObject* obj) = 0;
  virtual void add(unsigned int index, const ZObject* obj) = 0;
  virtual void addList(const ZList& other) = 0;
  virtual void remove(const ZObject* obj) = 0;
  virtual void remove(unsigned int index) = 0;
  virtual void remove(ZListIterator& iterator) = 0;
  virtual void removeAll() = 0;
  virtual ZObject* get(unsigned int index) const = 0;
  virtual void set(unsigned int index, const ZObject* obj) = 0;
  virtual unsigned int indexOf(const ZObject* obj) const = 0;
  virtual void sort(const ZSortCompare& cmp, const ZSortCompare::sortorder& order) = 0;
  virtual unsigned int lastIndexOf(const ZObject* obj) const = 0;
  virtual void subList(ZList& target, unsigned int from, unsigned int to) const = 0;
  virtual void swap(unsigned int i, unsigned int j) = 0;
  virtual void shuffle() = 0;
  // Steps the iterator back by one member.
  virtual void backUp(ZListIterator& iterator);
  // The index of the member the iterator handed out last.
  virtual unsigned int indexOf(ZListIterator& iterator);

 protected:
  ~ZList() = default;
};

// Joins the list operations to the object root and sorts through get() and
// swap().
class ZAbstractList : public ZObject, public ZList {
 public:
  int isEmpty() const override;
  // Quicksort of the whole list; not stable. Null members are never compared
  // and stay where they are.
  void sort(const ZSortCompare& cmp, const ZSortCompare::sortorder& order) override;
  // Sorts the members from `lo` to `hi`, both included.
  void quickSort(const ZSortCompare& cmp, const ZSortCompare::sortorder& order, int lo, int hi);
};

// A list kept as one contiguous block of pointers that grows by half its size
// (by one while it holds three members or fewer) and never shrinks. An owning
// list stores clones of what add() and set() are given and deletes members it
// removes or replaces; the NoCopy operations store the pointer itself. Indexes
// out of range are ignored (get answers null), nothing throws of its own. Not
// locked: callers serialise access.
class ZArrayList : public ZAbstractList {
 public:
  // A capacity of 0 is raised to 1.
  explicit ZArrayList(unsigned int capacity = 10, int ownsMembers = 0);
  // Same capacity and ownership, then the other's members as add() takes them.
  ZArrayList(const ZArrayList& other);
  // Empties this list and adds the other's members; this list keeps its own
  // ownership (an owning target clones, a non-owning one copies pointers).
  ZArrayList& operator=(const ZArrayList& other);
  ~ZArrayList() override;
  ZObject* clone() const override;

  unsigned int size() const override;
  virtual int ownsMembers() const;
  int contains(const ZObject* obj) const override;
  void add(const ZObject* obj) override;
  // Inserts before `index`; an index beyond the end is ignored (and nothing
  // is cloned).
  void add(unsigned int index, const ZObject* obj) override;
  // Adds every member of `other` in order, as add() does.
  void addList(const ZList& other) override;
  virtual void addNoCopy(ZObject* obj);
  virtual void addNoCopy(unsigned int index, ZObject* obj);
  // Removes the first member that `obj` calls equal.
  void remove(const ZObject* obj) override;
  void remove(unsigned int index) override;
  // Removes the member the iterator handed out last and steps the iterator
  // back, so that its next getNext() answers the member that followed.
  void remove(ZListIterator& iterator) override;
  // Deletes owned members; the capacity is kept.
  void removeAll() override;
  ZObject* get(unsigned int index) const override;
  void set(unsigned int index, const ZObject* obj) override;
  // The lowest index whose member `obj` calls equal; all bits set when none
  // does or `obj` is null. Null members never match.
  unsigned int indexOf(const ZObject* obj) const override;
  unsigned int lastIndexOf(const ZObject* obj) const override;
  // Adds the members from `from` to `to`, both included, to `target`; nothing
  // unless from <= to < size().
  void subList(ZList& target, unsigned int from, unsigned int to) const override;
  void swap(unsigned int i, unsigned int j) override;
  virtual unsigned int capacity() const;
  // Seeds the C library's generator with the time in seconds at every call,
  // deliberately: equal lists shuffled within one second end up alike.
  void shuffle() override;
  unsigned int indexOf(ZListIterator& iterator) override;

 private:
  unsigned int capacity_;
  ZObject** members_;
  unsigned int size_;
  int ownsMembers_;
};

// Walks a collection: hasMore(), then getNext(), which answers null at the end.
class ZIterator {
 public:
  virtual int hasMore() = 0;
  virtual ZObject* getNext() = 0;

 protected:
  ~ZIterator() = default;
};

// Base of the library's iterators: an object that also walks, adding the
// search for the next equal member. Not safe to share between threads.
class ZAbstractIterator : public ZObject, public ZIterator {
 public:
  // Walks on to the first member that `obj` calls equal, passing over nulls,
  // and returns it (the iterator stands just behind it); null when none is left.
  virtual ZObject* findNext(const ZObject& obj);
};

// Walks a list by index; the list is not owned and must outlive the iterator.
// The size is read at every step, so members added behind the position are
// seen. A null member comes back as null, like the end.
class ZListIterator : public ZAbstractIterator {
 public:
  explicit ZListIterator(const ZList& list);
  ZListIterator(const ZListIterator& other);
  // Copies only the position: this iterator keeps walking its own list
  // (deliberate).
  ZListIterator& operator=(const ZListIterator& other);
  ~ZListIterator() override;
  ZObject* clone() const override;

  int hasMore() override;
  ZObject* getNext() override;
  virtual void reset();
  // One step back, without a lower bound.
  virtual void backUp();
  // The index of the member handed out last.
  virtual unsigned int indexOf();

 private:
  unsigned int position_;
  const ZList* list_;
};

// The operations of a stack of object pointers.
class ZStack {
 public:
  virtual void push(ZObject* obj) = 0;
  // The top member, removed; null when the stack is empty.
  virtual ZObject* pop() = 0;
  virtual void popall() = 0;

 protected:
  ~ZStack() = default;
};

// Base of the stacks, giving them popall() in terms of pop().
class ZAbstractStack : public ZStack {
 public:
  // Pops until pop() answers null, so a null member stops it and leaves the
  // members below in place (deliberate).
  void popall() override;

 protected:
  ~ZAbstractStack() = default;
};

// A stack on a list that never owns its members; the top is the last member.
class ZArrayStack : public ZArrayList, public ZAbstractStack {
 public:
  explicit ZArrayStack(unsigned int capacity = 10);
  ZArrayStack(const ZArrayStack& other);
  ZArrayStack& operator=(const ZArrayStack& other);
  ~ZArrayStack() override;
  ZObject* clone() const override;

  void push(ZObject* obj) override;
  ZObject* pop() override;
};

#endif  // Z_ZARRAYLIST_H_
