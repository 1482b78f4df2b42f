// The window on an X11 display. SDL makes it and reads keys and mouse; it draws nothing, the pictures come
// from the player library.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "tools/qxplay/Host.h"

struct SDL_Window;
union SDL_Event;

// One at a time: it owns SDL's video part. Made, used and destroyed on the main thread, but for what Host
// gives to any thread.
class WindowHost : public Host {
 public:
  // Null, with the reason, when there is no X11 display. A window larger than the screen is made to fit.
  static std::unique_ptr<WindowHost> Create(int width, int height, std::string& error);
  ~WindowHost() override;

  void* Window() const override;
  Area DesktopArea() const override;
  bool IsWatched() const override { return true; }
  HostEvents Wait(std::chrono::milliseconds timeout) override;
  void FillAround(const Area& window, const std::vector<Area>& tiles) override;
  std::optional<Point> Pointer() const override;
  std::unique_ptr<SubWindow> MakeSubWindow() override;
  void Paint(void* window, const Area& place, const PixelView& picture) override;
  void SetTitle(const std::string& title) override;
  void ToggleFullScreen() override;
  void Wake() override;
  void RequestQuit() override;

 private:
  WindowHost() = default;
  class ChildWindow;

  bool MakeWindow(int width, int height);
  Area AreaOf(unsigned long window) const;
  void SurviveErrors();
  bool IsWindowThere() const;
  void Take(const SDL_Event& event, HostEvents& events);
  void TakeKey(const SDL_Event& event, HostEvents& events);
  void TakePointer(const SDL_Event& event, HostEvents& events) const;

  SDL_Window* m_pWindow = nullptr;
  struct _XDisplay* m_pDisplay = nullptr;  // SDL's connection
  unsigned long m_nWindow = 0;             // X11 identifier
  uint32_t m_nWakeEvent = 0;
  std::atomic<bool> m_bQuit = false;
  bool m_bRepeated = false;  // the key at hand is held down
  bool m_bLost = false;      // window or display are gone; main thread, also inside its calls into Xlib
};
