// A small window that lies in the host's window, for a second view of a picture.
#pragma once

#include "tools/qxplay/Layout.h"

// Main thread. Gone from the screen when it is destroyed; the player must have let go of it by then.
class SubWindow {
 public:
  virtual ~SubWindow() = default;
  // What the player library takes as the window. Never null, and not the host's window.
  virtual void* Handle() const = 0;
  // Shows it there, desktop coordinates; an empty area hides it.
  virtual void Place(const Area& area) = 0;
};
