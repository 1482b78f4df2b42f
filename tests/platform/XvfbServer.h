// An X server without hardware for one test.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// Runs from construction to destruction, with one screen of 1280x1024 pixels, on a display number that was
// free.
class XvfbServer {
 public:
  explicit XvfbServer(const std::vector<std::string>& moreArguments = {});
  ~XvfbServer() { Kill(); }
  XvfbServer(const XvfbServer&) = delete;
  XvfbServer& operator=(const XvfbServer&) = delete;

  // ":N"; empty when the server could not be started.
  const std::string& Display() const { return m_Display; }
  // Ends the server without a farewell to its clients.
  void Kill();

 private:
  pid_t m_nProcess = -1;
  std::string m_Display;
};
