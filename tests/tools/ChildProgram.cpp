#include "tests/tools/ChildProgram.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

ChildProgram::ChildProgram(std::string program, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), std::move(program));
  std::vector<char*> pointers;
  for (std::string& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  posix_spawn_file_actions_addclose(&actions, ends[0]);
  posix_spawn_file_actions_addclose(&actions, ends[1]);
  EXPECT_EQ(posix_spawn(&m_nProcess, pointers[0], &actions, nullptr, pointers.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  m_pOutput = fdopen(ends[0], "r");
}

ChildProgram::~ChildProgram() {
  if (m_nProcess > 0) Finish();
  fclose(m_pOutput);
}

bool ChildProgram::ReadUntil(const std::string& words) {
  char line[512];
  while (fgets(line, sizeof(line), m_pOutput)) {
    m_strOutput += line;
    if (std::string(line).find(words) != std::string::npos) return true;
  }
  return false;
}

void ChildProgram::Interrupt(int signal) {
  kill(m_nProcess, signal);
}

int ChildProgram::Finish() {
  ReadUntil("never said");
  int status = 0;
  waitpid(m_nProcess, &status, 0);
  m_nProcess = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}
