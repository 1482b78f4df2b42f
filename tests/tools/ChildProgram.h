// A program of this project as its user runs it: arguments in, text and result out.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

class ChildProgram {
 public:
  // Its two outputs come as one text, line by line.
  ChildProgram(std::string program, std::vector<std::string> arguments);
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  // Reads until a line holds these words; false at the end of the output.
  bool ReadUntil(const std::string& words);
  void Interrupt(int signal = SIGINT);
  // Its result, 256 and above when a signal ended it.
  int Finish();
  const std::string& Output() const { return m_strOutput; }

 private:
  pid_t m_nProcess = 0;
  FILE* m_pOutput = nullptr;
  std::string m_strOutput;
};
