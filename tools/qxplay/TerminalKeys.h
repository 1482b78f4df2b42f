// Reads single keys from the terminal that the program was started on.
#pragma once

#include <termios.h>

#include <functional>
#include <thread>

// One at a time. Does nothing when standard input is no terminal. Keys are left alone while another program
// has the terminal.
class TerminalKeys {
 public:
  // onKey: gets every key, as Command.h names them, on a thread of its own.
  explicit TerminalKeys(std::function<void(int key)> onKey);
  // Gives the terminal back as it was.
  ~TerminalKeys();
  TerminalKeys(const TerminalKeys&) = delete;
  TerminalKeys& operator=(const TerminalKeys&) = delete;

  // The same, for a program that ends at once. Any thread.
  void Restore() const;

 private:
  void Run(const std::stop_token& stop, const std::function<void(int key)>& onKey) const;
  void TakeOver() const;

  bool m_bTerminal = false;
  termios m_Before{};
  int m_nStopEvent = -1;  // readable when the thread is to end
  std::jthread m_Thread;
};
