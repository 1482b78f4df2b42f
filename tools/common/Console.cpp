#include "tools/common/Console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

Console::Console(std::string program)
    : m_strProgram(std::move(program)), m_bTerminal(isatty(STDOUT_FILENO) != 0) {}

Console::~Console() {
  const MutexLock lock(m_Mutex);
  EndProgressLine();
}

void Console::Complain(const std::string& text) {
  const MutexLock lock(m_Mutex);
  EndProgressLine();
  fprintf(stderr, "%s: %s\n", m_strProgram.c_str(), text.c_str());
}

void Console::Say(const std::string& text) {
  const MutexLock lock(m_Mutex);
  EndProgressLine();
  printf("%s\n", text.c_str());
  fflush(stdout);
}

void Console::Progress(const std::string& text) {
  const MutexLock lock(m_Mutex);
  if (m_bTerminal) {
    // Blanks cover what a longer line left behind.
    const size_t blanks = m_nProgressLength - std::min(m_nProgressLength, text.size());
    printf("\r%s%*s", text.c_str(), static_cast<int>(blanks), "");
    m_nProgressLength = text.size();
  } else {
    printf("%s\n", text.c_str());
  }
  fflush(stdout);
}

void Console::EndProgressLine() {
  if (m_nProgressLength > 0) printf("\n");
  m_nProgressLength = 0;
  fflush(stdout);
}
