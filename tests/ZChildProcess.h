// zbase tests: running part of a test in a child process.
#ifndef Z_TESTS_ZCHILDPROCESS_H_
#define Z_TESTS_ZCHILDPROCESS_H_

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

// Starts `body` in a child process, whose exit status is what `body` returns.
template <typename Body>
pid_t spawnChild(Body body) {
  std::fflush(nullptr);  // or the child would print the parent's pending output again
  pid_t pid = fork();
  if (pid == 0) {
    int rc = body();
    std::fflush(nullptr);
    _exit(rc);
  }
  return pid;
}

// The child's exit status, or -1 when it dies or does not end within
// `seconds` (it is killed then).
inline int reapChild(pid_t pid, int seconds = 60) {
  if (pid < 0) return -1;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs `body` in a child process, so that what it changes (libraries it
// loads, the host name) stays there, and returns its exit status as
// reapChild does. Assertions in `body` print as usual; return
// testing::Test::HasFailure() to pass their verdict on.
template <typename Body>
int inChild(Body body, int seconds = 60) {
  return reapChild(spawnChild(body), seconds);
}

#endif  // Z_TESTS_ZCHILDPROCESS_H_
