// A program as its user runs it: arguments in, text and result out.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <string>
#include <vector>

class ChildProgram {
 public:
  enum class Screen { kPipe, kTerminal };

  // Its two outputs come as one text. A terminal also takes keys.
  ChildProgram(std::string program, std::vector<std::string> arguments, Screen screen = Screen::kPipe);
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  // Reads until these words have come since the last ones; false at the end of the output, or of patience.
  bool ReadUntil(const std::string& words);
  void Interrupt(int signal = SIGINT) const { kill(m_nProcess, signal); }
  // Its result, 256 and above when a signal ended it.
  int Finish();
  const std::string& Output() const { return m_strOutput; }
  int Terminal() const { return m_nOutput; }

 private:
  pid_t m_nProcess = 0;
  int m_nOutput = -1;
  std::string m_strOutput;
  size_t m_nSeen = 0;
};
