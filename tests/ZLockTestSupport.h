// zbase tests: helpers shared by the lock, condition and thread suites.
#ifndef Z_TESTS_ZLOCKTESTSUPPORT_H_
#define Z_TESTS_ZLOCKTESTSUPPORT_H_

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZLCString.h"
#include "Z/ZMessage.h"
#include "Z/ZProcessLock.h"
#include "ZTestSupport.h"

// Records what the library reports instead of writing it to standard error.
// Installed for the lifetime of the object.
class RecordingMessageService : public ZMessageService {
 public:
  struct Message {
    std::string file;
    int line;
    int number;
    std::vector<std::string> inserts;
  };
  struct Dumped {
    std::string name;
    std::string file;
    int line;
    unsigned long number;
  };

  RecordingMessageService() { ZMessageService::setMessageService(this); }
  ~RecordingMessageService() { ZMessageService::setMessageService(nullptr); }

  void outputMessage(const char* file, int line, int number, int count, const ZLCString* s1,
                     const ZLCString* s2, const ZLCString* s3, const ZLCString* s4,
                     const ZLCString* s5, const ZLCString* s6) const override {
    const ZLCString* all[] = {s1, s2, s3, s4, s5, s6};
    Message m{file ? file : "", line, number, {}};
    for (int i = 0; i < count && i < 6; ++i) m.inserts.push_back(all[i] ? all[i]->getChars() : "");
    std::lock_guard<std::mutex> g(mu_);
    messages_.push_back(m);
  }
  void outputMessageUTF8(const char*, int, int, int, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*, const ZUTF8String*, const ZUTF8String*,
                         const ZUTF8String*) const override {}
  void outputException(ZException& e) const override {
    std::lock_guard<std::mutex> g(mu_);
    exceptions_.push_back(
        Dumped{e.getName(), e.who() ? e.who() : "", e.where(), e.getErrorNumber()});
  }
  void outputException(const ZZException*, va_list) const override {}

  std::vector<Message> messages() const {
    std::lock_guard<std::mutex> g(mu_);
    return messages_;
  }
  std::vector<Dumped> exceptions() const {
    std::lock_guard<std::mutex> g(mu_);
    return exceptions_;
  }
  // Exactly one message was reported: from `file` at `line`, with `number`
  // and these inserts.
  void expectOneMessage(const char* file, int line, int number,
                        const std::vector<std::string>& inserts) const {
    std::vector<Message> m = messages();
    ASSERT_EQ(1u, m.size());
    EXPECT_EQ(file, m[0].file);
    EXPECT_EQ(line, m[0].line);
    EXPECT_EQ(number, m[0].number);
    EXPECT_EQ(inserts, m[0].inserts);
  }
  // Exactly one exception was dumped: from `file` at `line`, with `number`.
  void expectOneException(const char* file, int line, unsigned long number) const {
    std::vector<Dumped> d = exceptions();
    ASSERT_EQ(1u, d.size());
    EXPECT_EQ(file, d[0].file);
    EXPECT_EQ(line, d[0].line);
    EXPECT_EQ(number, d[0].number);
  }

 private:
  mutable std::mutex mu_;
  mutable std::vector<Message> messages_;
  mutable std::vector<Dumped> exceptions_;
};

// A thread whose end the test waits for with a time bound: a deadlock ends
// the test program with a failure instead of hanging the run.
class BoundedThread {
 public:
  explicit BoundedThread(std::function<void()> body)
      : thread_([this, body] {
          body();
          done_ = true;
        }) {}
  ~BoundedThread() {
    if (thread_.joinable()) join();
  }

  bool finished() const { return done_; }

  // Waits until the thread has ended; gives up after `seconds`.
  void join(int seconds = 20) {
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!done_) {
      if (std::chrono::steady_clock::now() > until) {
        ADD_FAILURE() << "thread did not end within " << seconds << " s (deadlock?)";
        std::fflush(stdout);
        std::_Exit(1);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    thread_.join();
  }

 private:
  std::atomic<bool> done_{false};
  std::thread thread_;
};

// Polls `pred` until it holds; fails the program after `seconds`.
inline void waitUntil(const std::function<bool()>& pred, int seconds = 20) {
  auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!pred()) {
    if (std::chrono::steady_clock::now() > until) {
      ADD_FAILURE() << "condition not reached within " << seconds << " s";
      std::fflush(stdout);
      std::_Exit(1);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// Records the sequence updates a lock reports, as "new<-last;".
class SequenceRecorder : public ZObserverInterface {
 public:
  void update(ZObservableInterface*, const ZObservedParm& parm) override {
    const ZSequenceUpdate& u = dynamic_cast<const ZSequenceUpdate&>(parm);
    seen += std::to_string(u.getSequence()) + "<-" + std::to_string(u.getLastSequence()) + ";";
  }
  std::string seen;
};

inline void pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Runs `f`, which must throw E from `file` at `line` with `number` and
// return code `rc`.
template <class E, class F>
void expectThrowSite(F f, const char* file, int line, unsigned long number, int rc) {
  expectThrowAt<E>(f, number, file, line, [rc](E& e) { EXPECT_EQ(rc, e.rc()); });
}

#endif  // Z_TESTS_ZLOCKTESTSUPPORT_H_
