#include "tools/common/SignalWatch.h"

#include <pthread.h>
#include <unistd.h>

SignalWatch::SignalWatch() {
  sigemptyset(&m_Signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
    sigaddset(&m_Signals, signal);
  pthread_sigmask(SIG_BLOCK, &m_Signals, nullptr);
}

SignalWatch::~SignalWatch() {
  Stop();
}

void SignalWatch::Start(std::function<void()> onSignal, std::function<void()> beforeExit) {
  m_Thread = std::jthread([signals = m_Signals, call = std::move(onSignal),
                           last = std::move(beforeExit)](const std::stop_token& stop) {
    int signal = 0;
    sigwait(&signals, &signal);
    if (stop.stop_requested()) return;
    call();
    sigwait(&signals, &signal);
    if (stop.stop_requested()) return;
    if (last) last();
    _exit(128 + signal);
  });
}

void SignalWatch::Stop() {
  if (!m_Thread.joinable()) return;
  m_Thread.request_stop();
  pthread_kill(m_Thread.native_handle(), SIGTERM);  // wakes the thread; blocked everywhere else
  m_Thread.join();
}
