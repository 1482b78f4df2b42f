// Starts Xvfb and waits until it takes clients.
#include "tests/platform/XvfbServer.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

XvfbServer::XvfbServer(const std::vector<std::string>& moreArguments) {
  int ready[2];
  if (pipe(ready) != 0) return;
  const std::string descriptor = std::to_string(ready[1]);
  std::vector<std::string> arguments = {"Xvfb",         "-displayfd", descriptor, "-screen", "0",
                                        "1280x1024x24", "-nolisten",  "tcp",      "-noreset"};
  arguments.insert(arguments.end(), moreArguments.begin(), moreArguments.end());
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);

  m_nProcess = fork();
  if (m_nProcess == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // also when the test crashes
    close(ready[0]);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  close(ready[1]);
  // The server writes its number and a line end when it is ready; the end of the pipe means that it died.
  std::string number;
  char character;
  while (read(ready[0], &character, 1) == 1 && character != '\n')
    number += character;
  close(ready[0]);
  if (!number.empty()) m_Display = ":" + number;
}

void XvfbServer::Kill() {
  if (m_nProcess <= 0) return;
  kill(m_nProcess, SIGKILL);
  waitpid(m_nProcess, nullptr, 0);
  m_nProcess = -1;
  // A killed server leaves these behind.
  const std::string number = m_Display.empty() ? "" : m_Display.substr(1);
  if (number.empty()) return;
  unlink(("/tmp/.X" + number + "-lock").c_str());
  unlink(("/tmp/.X11-unix/X" + number).c_str());
}
