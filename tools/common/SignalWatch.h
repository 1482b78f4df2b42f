// Turns Ctrl-C and requests to end into a call, so that the program ends in order.
#pragma once

#include <csignal>
#include <functional>
#include <thread>

// Make it before any other thread, so that they all leave the signals to it. A second Ctrl-C ends the program
// at once.
class SignalWatch {
 public:
  SignalWatch();
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  // onSignal: called once, on a thread of its own, which is gone when Stop or the destructor returns.
  // beforeExit: called there when a second signal is about to end the program at once; may be empty. Once.
  void Start(std::function<void()> onSignal, std::function<void()> beforeExit = {});
  void Stop();

 private:
  sigset_t m_Signals;
  std::jthread m_Thread;
};
