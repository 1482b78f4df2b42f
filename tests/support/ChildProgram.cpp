#include "tests/support/ChildProgram.h"

#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

ChildProgram::ChildProgram(std::string program, std::vector<std::string> arguments, Screen screen) {
  constexpr int kReadEnd = 0, kWriteEnd = 1;
  arguments.insert(arguments.begin(), std::move(program));
  std::vector<char*> pointers;
  for (std::string& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  int ends[2] = {-1, -1};
  if (screen == Screen::kPipe && pipe(ends) != 0) throw std::runtime_error("no pipe");
  m_nProcess = screen == Screen::kPipe ? fork() : forkpty(&ends[kReadEnd], nullptr, nullptr, nullptr);
  if (m_nProcess == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // also when the test crashes
    if (screen == Screen::kPipe) {
      dup2(ends[kWriteEnd], STDOUT_FILENO);
      dup2(ends[kWriteEnd], STDERR_FILENO);
      close(ends[kReadEnd]);
      close(ends[kWriteEnd]);
    }
    execvp(pointers[0], pointers.data());
    _exit(127);
  }
  if (m_nProcess < 0) throw std::runtime_error("no process");
  if (screen == Screen::kPipe) close(ends[kWriteEnd]);
  m_nOutput = ends[kReadEnd];
}

ChildProgram::~ChildProgram() {
  if (m_nProcess > 0) Finish();
  close(m_nOutput);
}

bool ChildProgram::ReadUntil(const std::string& words) {
  constexpr int kPatienceMs = 60'000;
  size_t found;
  while ((found = m_strOutput.find(words, m_nSeen)) == std::string::npos) {
    char bytes[512];
    pollfd readable = {m_nOutput, POLLIN, 0};
    const ssize_t count = poll(&readable, 1, kPatienceMs) == 1 ? read(m_nOutput, bytes, sizeof(bytes)) : 0;
    if (count <= 0) return false;
    m_strOutput.append(bytes, static_cast<size_t>(count));
  }
  m_nSeen = found + 1;
  return true;
}

int ChildProgram::Finish() {
  ReadUntil("never said");
  int status = 0;
  waitpid(m_nProcess, &status, 0);
  m_nProcess = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}
