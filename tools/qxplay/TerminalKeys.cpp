#include "tools/qxplay/TerminalKeys.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

#include "tools/qxplay/Command.h"

namespace {

// In the foreground of the terminal's session; others may neither read from it nor change it.
bool HasTerminal() {
  return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

}  // namespace

TerminalKeys::TerminalKeys(std::function<void(int key)> onKey) {
  m_bTerminal = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &m_Before) == 0;
  if (!m_bTerminal) return;
  m_nStopEvent = eventfd(0, EFD_CLOEXEC);
  if (m_nStopEvent < 0) return;
  m_Thread = std::jthread([this, call = std::move(onKey)](const std::stop_token& stop) { Run(stop, call); });
}

TerminalKeys::~TerminalKeys() {
  if (m_Thread.joinable()) {
    m_Thread.request_stop();
    eventfd_write(m_nStopEvent, 1);
    m_Thread.join();
  }
  if (m_nStopEvent >= 0) close(m_nStopEvent);
  Restore();
}

void TerminalKeys::Restore() const {
  if (m_bTerminal && HasTerminal()) tcsetattr(STDIN_FILENO, TCSANOW, &m_Before);
}

void TerminalKeys::Run(const std::stop_token& stop, const std::function<void(int key)>& onKey) const {
  // Losing the terminal at the wrong moment is an error of the call, and does not stop the program.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTTIN);
  sigaddset(&signals, SIGTTOU);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  constexpr int kLookAgainMs = 500;  // a shell that had the terminal meanwhile leaves it in its own mode
  while (!stop.stop_requested()) {
    const bool mine = HasTerminal();
    if (mine) TakeOver();
    pollfd inputs[] = {{.fd = m_nStopEvent, .events = POLLIN, .revents = 0},
                       {.fd = mine ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0}};
    if (poll(inputs, 2, kLookAgainMs) <= 0 || inputs[1].revents == 0) continue;
    char bytes[64];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof(bytes));
    if (count == 0 || (count < 0 && (inputs[1].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0)) return;
    if (count < 0) continue;
    for (const int key : KeysOfTerminal({bytes, static_cast<size_t>(count)}))
      onKey(key);
  }
}

// Keys at once and unseen; Ctrl-C and output stay as they are.
void TerminalKeys::TakeOver() const {
  termios mode;
  if (tcgetattr(STDIN_FILENO, &mode) != 0 || (mode.c_lflag & (ICANON | ECHO)) == 0) return;
  mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  mode.c_cc[VMIN] = 1;
  mode.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &mode);
}
