// Keeps a write into a pipe or socket whose reader is gone from killing the process.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace platform {

// Holds SIGPIPE back from the calling thread for its scope and swallows the one that a write meanwhile
// raised; the write fails with EPIPE instead. Handlers and masks of the host stay as they are. Costs four
// system calls.
class SigpipeBlock {
 public:
  SigpipeBlock() {
    sigset_t pending;
    sigpending(&pending);
    // One that already waits is the host's: it must be neither swallowed nor told apart from ours.
    m_bWasPending = sigismember(&pending, SIGPIPE) == 1;
    const sigset_t pipe = PipeSet();
    if (!m_bWasPending) pthread_sigmask(SIG_BLOCK, &pipe, &m_Earlier);
  }
  ~SigpipeBlock() {
    if (m_bWasPending) return;
    const int error = errno;
    const sigset_t pipe = PipeSet();
    const timespec noTime{};
    while (sigtimedwait(&pipe, nullptr, &noTime) == -1 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &m_Earlier, nullptr);
    errno = error;
  }
  SigpipeBlock(const SigpipeBlock&) = delete;
  SigpipeBlock& operator=(const SigpipeBlock&) = delete;

 private:
  static sigset_t PipeSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
  }

  sigset_t m_Earlier;
  bool m_bWasPending;
};

}  // namespace platform
