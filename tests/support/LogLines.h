// Reads the library's log lines out of the debugger's text.
#pragma once

#include <string>
#include <vector>

#include "tests/support/TestSeam.h"

// The lines since the last call, without their time of day and the line end that the log adds: "error:
// File.cpp(12): text\n" when the text itself ends a line.
inline std::vector<std::string> TakeLogLines(TestSeam& seam) {
  constexpr size_t kTimeOfDay = sizeof("HH:MM:SS.mmm ") - 1;
  std::vector<std::string> lines = seam.TakeText();
  for (std::string& line : lines) {
    if (line.size() > kTimeOfDay) line = line.substr(kTimeOfDay, line.size() - kTimeOfDay - 1);
  }
  return lines;
}
