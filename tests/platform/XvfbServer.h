// An X server without hardware for one test.
#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

// Runs from construction to destruction, with one screen of 1280x1024 pixels, on a display number that was
// free.
class XvfbServer {
 public:
  explicit XvfbServer(const char* withoutExtension) {
    int ready[2];
    if (pipe(ready) != 0) return;
    const std::string descriptor = std::to_string(ready[1]);
    m_nProcess = fork();
    if (m_nProcess == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // also when the test crashes
      close(ready[0]);
      execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", "1280x1024x24", "-nolisten",
             "tcp", "-noreset", withoutExtension != nullptr ? "-extension" : nullptr, withoutExtension,
             nullptr);
      _exit(127);
    }
    close(ready[1]);
    // The server writes its number and a line end when it is ready; the end of the pipe means that it died.
    char character;
    while (read(ready[0], &character, 1) == 1 && character != '\n')
      m_Number += character;
    close(ready[0]);
  }
  ~XvfbServer() { Kill(); }
  XvfbServer(const XvfbServer&) = delete;
  XvfbServer& operator=(const XvfbServer&) = delete;

  // ":N"; ":" when the server could not be started.
  std::string Display() const { return ":" + m_Number; }
  // Ends the server without a farewell to its clients.
  void Kill() {
    if (m_nProcess <= 0) return;
    kill(m_nProcess, SIGKILL);
    waitpid(m_nProcess, nullptr, 0);
    m_nProcess = -1;
    if (m_Number.empty()) return;
    // A killed server leaves these behind.
    unlink(("/tmp/.X" + m_Number + "-lock").c_str());
    unlink(("/tmp/.X11-unix/X" + m_Number).c_str());
  }

 private:
  pid_t m_nProcess = -1;
  std::string m_Number;
};
