// zbase: threads, sleeper threads and the thread pool.
#ifndef Z_ZTHREAD_H_
#define Z_ZTHREAD_H_

#include "Z/zversion.h"

#include <pthread.h>

#include <cstdint>

#include "Z/ZCondition.h"
#include "Z/ZHashMap.h"
#include "Z/ZLock.h"
#include "Z/ZObject.h"

class ZThreadPool;

// One POSIX thread. A subclass supplies run(), and may override
// runInitialize() to prepare (and to refuse running by returning non-zero)
// and exit() to clean up at the end.
//
// Exceptions never leave the thread: those of the library's family are
// handed to the message service, any other is reported as message 19.
//
// A detached thread made with deleteOnExit deletes its own object when it
// ends: do not touch such an object after starting it. Not copyable; the
// object must outlive its thread otherwise.
class ZThread : public ZObject {
 public:
  ZThread(int detached, int deleteOnExit);
  // An object for an existing thread, for comparison and hashing; never
  // started.
  explicit ZThread(unsigned int id);
  ~ZThread() override;

  ZThread(const ZThread&) = delete;
  ZThread& operator=(const ZThread&) = delete;

  // The thread identifier (its low 32 bits).
  unsigned int hash() const override;
  // Compares the low 32 bits of the identifiers as unsigned numbers; the
  // truncation is deliberate.
  int compare(const ZObject& other) const override;
  // Threads cannot be copied: throws ZNotClonableException.
  ZObject* clone() const override;

  // Creates the thread (detached or joinable). Throws ZThreadException
  // (15, 16 or 17) when the thread cannot be made.
  virtual void start();
  // start(), then waits until the new thread has run runInitialize();
  // returns what that returned (-1 when it threw). The wait is not repeated
  // on a spurious wake-up (kept as it is). A thread that deletes itself
  // when it ends waits, before it does, until its starter is done with the
  // start condition.
  virtual int startWithResults();
  // Joins a joinable thread; nothing for a detached one. Throws
  // ZThreadException (20) when the join fails.
  virtual void waitForExit();
  // Runs in the new thread before run(); non-zero skips run(). Returns 0.
  virtual int runInitialize();
  virtual void run() = 0;
  // Runs in the thread after run(), before the pool is told. Empty.
  virtual void exit();

  pthread_t getPThreadID() const;

  // A process-wide key for one object per thread. The object stored under
  // the key belongs to its thread and is deleted when the thread ends.
  // Throws ZThreadException (29).
  static void createThreadKey(unsigned int& key);
  // Throws ZThreadException (30).
  static void setThreadObject(unsigned int& key, ZObject* obj);
  static ZObject* getThreadObject(unsigned int& key);

 protected:
  // The thread routine: handshake, run(), clean-up.
  static void threadMain(ZThread* t);

  friend class ZThreadPool;

  pthread_t* threadId_;
  int32_t detached_;
  int32_t deleteOnExit_;
  ZThreadPool* pool_;
  ZCondition startCondition_;
  int initResult_;
};

// A worker that sleeps on its wake condition and does one unit of work,
// doWork(), per wake-up (or per time-out when made with a sleep time). The
// flags are guarded by the wake lock, and doWork() runs holding it, so that
// wakeUp() from another thread blocks while a unit of work runs. Hand the
// thread its work (a field of the subclass) under the same lock, or before
// wakeUp(). The loop lets the wake lock go only while it sleeps and while it
// reports a finished unit of work to its pool.
//
// Start it with start(), not startWithResults(): the ready handshake of
// start() would wait while holding the lock that runInitialize() needs.
class ZSleeperThread : public ZThread {
 public:
  ZSleeperThread();
  // Sleeps at most `sleepSeconds` between units of work; 0: until woken.
  explicit ZSleeperThread(unsigned long sleepSeconds);
  ZSleeperThread(int detached, int deleteOnExit);
  ZSleeperThread(int detached, int deleteOnExit, unsigned long sleepSeconds);
  // The wake condition uses `l`, so that the caller can guard its own data
  // (the work handed over) with the same lock. `l` must outlive the thread.
  explicit ZSleeperThread(ZLock& l);
  ~ZSleeperThread() override;

  // Returns once the loop runs: it holds or waits on the wake lock.
  void start() override;
  // Asks the loop to end and joins it (unless detached); then makes the
  // object startable again (not for a detached thread, which may still be
  // ending, and not for one that deletes itself).
  void waitForExit() override;
  void run() override;
  // One unit of work, run with the wake lock held.
  virtual void doWork() = 0;

  void wakeUp();
  // Clears the exit request and the started flag.
  void reset();

 private:
  int32_t exitRequested_;
  int32_t wakeRequested_;
  int32_t started_;
  uint64_t sleepSeconds_;
  ZCondition readyCondition_;
  ZCondition wakeCondition_;
};

// Bounds the number of running threads and keeps sleeper threads that have
// finished a unit of work parked for reuse.
//
// With parking (maxIdle above 0) getAvailableIdleThread() hands out running
// sleepers: give one its work and call its wakeUp(). Parked threads must be
// detached, since waitForExit() stops them while holding the pool's mutex.
// Safe to share between threads.
class ZThreadPool : public ZObject {
 public:
  // The larger of the two is the limit of running threads, the smaller the
  // limit of parked ones (0 disables parking). Throws ZThreadException (3 or
  // 7) when the mutex or the condition cannot be made.
  ZThreadPool(unsigned int a, unsigned int b);
  ~ZThreadPool() override;

  ZThreadPool(const ZThreadPool&) = delete;
  ZThreadPool& operator=(const ZThreadPool&) = delete;

  // Pools cannot be copied: throws ZNotClonableException.
  ZObject* clone() const override;

  // Makes a thread for getAvailableIdleThread(); null here.
  virtual ZThread* createThread();

  // Starts `t` as one of the pool's threads, waiting while the limit of
  // running threads is reached. When the thread cannot be started, the
  // failure is reported through the message service and not thrown, and the
  // thread is not counted: the caller is not told.
  void start(ZThread& t);
  // A parked thread (still running, waiting for wakeUp()), else a new one
  // from createThread(), started when parking is enabled. Without parking
  // the new thread is returned unstarted: start it with start(*t).
  void getAvailableIdleThread(ZThread*& t);
  // Called by a sleeper after a unit of work: `keep` is 1 when it has been
  // parked, 0 when it must end.
  void threadDoneNotification(ZThread& t, int& keep);
  // Called by each thread of the pool as it ends.
  void threadDeathNotification(ZThread& t);
  // Stops the parked threads and waits until no thread of the pool runs.
  // The record of parked threads is left as it is: the pool is not meant to
  // hand them out afterwards.
  void waitForExit();

  int getActiveCount() const;
  unsigned int getIdleCount() const;
  unsigned int getMaxThreads() const;
  unsigned int getMaxIdle() const;

 private:
  void lockMutex(int line) const;
  void unlockMutex(int line) const;

  ZHashMap idleThreads_;
  int32_t activeCount_;
  pthread_mutex_t* mutex_;
  pthread_cond_t* cond_;
  uint32_t maxThreads_;
  uint32_t maxIdle_;
  uint32_t idleCount_;
};

#endif  // Z_ZTHREAD_H_
