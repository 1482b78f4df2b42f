// The terminal: messages, and a progress line that is renewed in place where that is possible.
#pragma once

#include <string>

#include "tools/common/Mutex.h"

// Any thread.
class Console {
 public:
  // program: its name, in front of complaints.
  explicit Console(std::string program);
  // Ends an open progress line.
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  bool IsTerminal() const { return m_bTerminal; }
  // A line on standard error, the program's name in front.
  void Complain(const std::string& text);
  // A line on standard output.
  void Say(const std::string& text);
  // On a terminal in place of the progress line before, else a line of its own.
  void Progress(const std::string& text);

 private:
  void EndProgressLine() REQUIRES(m_Mutex);

  const std::string m_strProgram;
  const bool m_bTerminal;
  Mutex m_Mutex;
  size_t m_nProgressLength GUARDED_BY(m_Mutex) = 0;  // of the line that stands on the terminal; 0: none
};
