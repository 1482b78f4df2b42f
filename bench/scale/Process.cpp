#include "bench/scale/Process.h"

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "qxsdkp.h"

namespace {

double ClockMs(clockid_t clock) {
  timespec time;
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

}  // namespace

void Require(bool condition, const std::string& what) {
  if (condition) return;
  std::fprintf(stderr, "bench_scale: %s\n", what.c_str());
  std::exit(1);
}

void StartLibrary(int screens) {
  std::string display = "headless:1920x1080+0+0";
  for (int i = 1; i < screens; ++i)
    display += ",1920x1080+" + std::to_string(i * 1920) + "+0";
  setenv("QXSDKP_DISPLAY", display.c_str(), 1);
  setenv("QXSDKP_SOUND", "null", 1);
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  Require(QXSP_InitSDK() == 1, "the library does not start");
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
}

double ProcessCpuMs() {
  return ClockMs(CLOCK_PROCESS_CPUTIME_ID);
}

double ThreadCpuMs() {
  return ClockMs(CLOCK_THREAD_CPUTIME_ID);
}

ProcessFigures ReadProcessFigures() {
  ProcessFigures figures;
  std::ifstream status("/proc/self/status");
  for (std::string key; status >> key;) {
    if (key == "VmRSS:") status >> figures.residentKiB;
    if (key == "Threads:") status >> figures.threads;
  }
  const std::filesystem::directory_iterator open("/proc/self/fd");
  // Listing them takes one.
  figures.descriptors = static_cast<size_t>(std::distance(begin(open), end(open))) - 1;
  return figures;
}

void PrintLimited(const char* what, double value, const char* unit, double limit) {
  std::printf("  %s: %.3g%s, limit %g%s: %s\n", what, value, unit, limit, unit,
              value <= limit ? "ok" : "missed");
}

std::string ProgramPath() {
  return std::filesystem::read_symlink("/proc/self/exe").string();
}

bool RunProgram(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<char*> values = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments)
    values.push_back(const_cast<char*>(argument.c_str()));
  values.push_back(nullptr);
  std::fflush(stdout);
  const pid_t child = fork();
  Require(child >= 0, "no further process");
  if (child == 0) {
    execv(program.c_str(), values.data());
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
