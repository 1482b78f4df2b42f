// What the cases need of the process they run in: the library started with headless screens and silent
// sound, the figures that the system keeps, and how a figure is printed beside its limit.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Ends the program with this text unless the condition holds.
void Require(bool condition, const std::string& what);

// QXSP_InitSDK with silent sound, nothing logged, and headless screens of 1920x1080 in a row.
void StartLibrary(int screens = 1);

// CPU time of all threads of the process so far, and of the calling thread.
double ProcessCpuMs();
double ThreadCpuMs();

struct ProcessFigures {
  size_t residentKiB = 0;  // VmRSS
  size_t threads = 0;
  size_t descriptors = 0;
};
ProcessFigures ReadProcessFigures();

// Prints "what: value unit, limit L: ok|missed".
void PrintLimited(const char* what, double value, const char* unit, double limit);

std::string ProgramPath();

// Runs the program with these arguments and waits for its end. False when it did not end with status 0.
bool RunProgram(const std::string& program, const std::vector<std::string>& arguments);
