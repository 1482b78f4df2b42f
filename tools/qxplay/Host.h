// Where qxplay shows its pictures: a window on the display, or none.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/qxplay/Layout.h"

struct HostEvents {
  bool quit = false;
  bool lost = false;    // the window or the whole display is gone; `quit` is set, too
  bool moved = false;   // the window lies elsewhere or has another size
  bool redraw = false;  // the pictures were covered, or the user asks for it
};

class Host {
 public:
  virtual ~Host() = default;

  // What the player library takes as the window. Never null.
  virtual void* Window() const = 0;
  // The window's inside, virtual-desktop coordinates. Main thread.
  virtual Area DesktopArea() const = 0;
  // Waits for events, for Wake, or until the time is over. Main thread.
  virtual HostEvents Wait(std::chrono::milliseconds timeout) = 0;
  // Paints the window black but for these areas; all in desktop coordinates. Main thread.
  virtual void FillAround(const Area& window, const std::vector<Area>& tiles) = 0;
  // Main thread.
  virtual void SetTitle(const std::string& title) = 0;
  // Ends the wait. Any thread.
  virtual void Wake() = 0;
  // Has this and every later wait answer `quit`. Any thread.
  virtual void RequestQuit() = 0;
};
