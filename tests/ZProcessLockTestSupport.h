// zbase tests: temporary directories, forked helper processes with a line
// protocol, and time-bounded thread joins for the process-lock tests.
#ifndef Z_TESTS_ZPROCESSLOCKTESTSUPPORT_H_
#define Z_TESTS_ZPROCESSLOCKTESTSUPPORT_H_

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Z/ZProcessLock.h"

namespace zproctest {

// Generous bounds: they only decide when a hang becomes a failure.
constexpr int kReplyTimeoutMs = 20000;
constexpr int kQuietMs = 300;

// A fresh directory under $TMPDIR (or /tmp), removed with its contents.
class TempDir {
 public:
  TempDir() {
    const char* base = getenv("TMPDIR");
    std::string templ = std::string(base != nullptr && *base ? base : "/tmp") + "/zplXXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    if (mkdtemp(buf.data()) != nullptr) path_ = buf.data();
  }
  ~TempDir() {
    if (path_.empty()) return;
    std::error_code ec;
    // Restore search and write permission that a test may have taken away.
    for (auto& e : std::filesystem::recursive_directory_iterator(path_, ec)) {
      if (e.is_directory(ec)) chmod(e.path().c_str(), 0700);
    }
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// A forked process running `body`; its return value is the exit status. The
// two sides talk in lines over a pair of pipes. The parent's destructor
// kills a child that is still running, so a hung child cannot hang the test.
class Child {
 public:
  explicit Child(std::function<int(Child&)> body) {
    // A child that ended early must fail the test, not kill it by SIGPIPE.
    signal(SIGPIPE, SIG_IGN);
    if (pipe(up_) != 0 || pipe(down_) != 0) return;
    fflush(stdout);
    fflush(stderr);
    pid_ = fork();
    if (pid_ == 0) {
      inChild_ = true;
      close(up_[0]);
      close(down_[1]);
      int rc = 99;
      try {
        rc = body(*this);
      } catch (...) {
        rc = 98;
      }
      _exit(rc);
    }
    close(up_[1]);
    close(down_[0]);
  }
  ~Child() {
    if (inChild_) return;
    if (pid_ > 0 && status_ < 0) {
      kill(pid_, SIGKILL);
      int st;
      waitpid(pid_, &st, 0);
    }
    close(up_[0]);
    close(down_[1]);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }

  // Sends one line to the other side.
  bool send(const std::string& line) {
    std::string text = line + "\n";
    int fd = inChild_ ? up_[1] : down_[1];
    return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }

  // The next line from the other side; "<timeout>" or "<eof>" otherwise.
  std::string receive(int timeoutMs = kReplyTimeoutMs) {
    int fd = inChild_ ? down_[0] : up_[0];
    std::string line;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
      int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                      deadline - std::chrono::steady_clock::now())
                                      .count());
      if (left < 0) left = 0;
      struct pollfd p = {fd, POLLIN, 0};
      int n = poll(&p, 1, left);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return "<timeout>";
      char c;
      ssize_t got = read(fd, &c, 1);
      if (got <= 0) return "<eof>";
      if (c == '\n') return line;
      line += c;
    }
  }

  // Exit status of the child, or -1 if it did not end in time (it is then
  // killed), or -2 if it died of a signal.
  int wait(int timeoutMs = kReplyTimeoutMs) {
    if (status_ >= 0) return status_;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
      int st;
      pid_t r = waitpid(pid_, &st, WNOHANG);
      if (r == pid_) {
        status_ = WIFEXITED(st) ? WEXITSTATUS(st) : 200;
        return WIFEXITED(st) ? status_ : -2;
      }
      if (std::chrono::steady_clock::now() > deadline) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &st, 0);
        status_ = 201;
        return -1;
      }
      usleep(2000);
    }
  }

 private:
  int up_[2] = {-1, -1};
  int down_[2] = {-1, -1};
  pid_t pid_ = -1;
  bool inChild_ = false;
  int status_ = -1;
};

// Records the sequence updates a lock sends its observers.
class Recorder : public ZObserverInterface {
 public:
  struct Notice {
    ZObservableInterface* source;
    unsigned long sequence;
    unsigned long last;
  };
  void update(ZObservableInterface* source, const ZObservedParm& parm) override {
    const ZSequenceUpdate& u = dynamic_cast<const ZSequenceUpdate&>(parm);
    notices.push_back({source, u.getSequence(), u.getLastSequence()});
  }
  std::vector<Notice> notices;
};

// Runs every function on its own thread and joins them within the bound. A
// thread that does not finish in time is a deadlock: the test program ends
// at once with a failure instead of hanging.
inline void runThreads(const std::vector<std::function<void()>>& bodies,
                       int timeoutMs = kReplyTimeoutMs) {
  std::vector<std::thread> threads;
  std::vector<std::future<void>> done;
  for (const auto& body : bodies) {
    auto task = std::make_shared<std::packaged_task<void()>>(body);
    done.push_back(task->get_future());
    threads.emplace_back([task] { (*task)(); });
  }
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (auto& f : done) {
    if (f.wait_until(deadline) != std::future_status::ready) {
      ADD_FAILURE() << "threads did not finish in time (deadlock?)";
      fprintf(stderr, "threads did not finish in time\n");
      fflush(stderr);
      _exit(3);
    }
  }
  for (auto& t : threads) t.join();
  for (auto& f : done) f.get();  // passes on an exception of a thread
}

}  // namespace zproctest

#endif  // Z_TESTS_ZPROCESSLOCKTESTSUPPORT_H_
