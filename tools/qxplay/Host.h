// Where qxplay shows its pictures and gets its keys from: a window on the display, or none.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/Mutex.h"
#include "tools/qxplay/Gestures.h"
#include "tools/qxplay/Layout.h"
#include "tools/qxplay/RgbImage.h"
#include "tools/qxplay/SubWindow.h"

struct HostEvents {
  bool quit = false;
  bool lost = false;      // the window or the whole display is gone; `quit` is set, too
  bool moved = false;     // the window lies elsewhere or has another size
  bool redraw = false;    // the pictures were covered
  std::vector<int> keys;  // in their order, as Command.h names them
  std::vector<PointerEvent> pointer;
};

class Host {
 public:
  virtual ~Host() = default;

  // What the player library takes as the window. Never null.
  virtual void* Window() const = 0;
  // The window's inside, virtual-desktop coordinates. Main thread.
  virtual Area DesktopArea() const = 0;
  // Whether somebody may be looking: the last picture stays until told otherwise.
  virtual bool IsWatched() const = 0;
  // Waits for events, for Wake, or until the time is over. Main thread.
  virtual HostEvents Wait(std::chrono::milliseconds timeout) = 0;
  // Paints the window black but for these areas; all in desktop coordinates. Main thread.
  virtual void FillAround(const Area& window, const std::vector<Area>& tiles) = 0;
  // Where the mouse is, desktop coordinates; none when it is not in the window. Main thread.
  virtual std::optional<Point> Pointer() const = 0;
  // Main thread; the host outlives it. It lies in the window, hidden until it is placed.
  virtual std::unique_ptr<SubWindow> MakeSubWindow() = 0;
  // Paints a picture into the window, or one of its sub windows, stretched to this place; desktop
  // coordinates. Main thread.
  virtual void Paint(void* window, const Area& place, const PixelView& picture) = 0;
  // Main thread.
  virtual void SetTitle(const std::string& title) = 0;
  // To full screen and back, where there is a window. Main thread.
  virtual void ToggleFullScreen() = 0;
  // Ends the wait. Any thread.
  virtual void Wake() = 0;
  // Has this and every later wait answer `quit`. Any thread.
  virtual void RequestQuit() = 0;
  // A key that was pressed elsewhere; goes to the next wait. Any thread.
  void PostKey(int key) EXCLUDES(m_KeyMutex) {
    {
      const MutexLock lock(m_KeyMutex);
      m_PostedKeys.push_back(key);
    }
    Wake();
  }

 protected:
  std::vector<int> TakePostedKeys() EXCLUDES(m_KeyMutex) {
    const MutexLock lock(m_KeyMutex);
    return std::exchange(m_PostedKeys, {});
  }

 private:
  Mutex m_KeyMutex;
  std::vector<int> m_PostedKeys GUARDED_BY(m_KeyMutex);
};
