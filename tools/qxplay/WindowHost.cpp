#include "tools/qxplay/WindowHost.h"

#include <SDL.h>
#include <SDL_syswm.h>

#include <algorithm>

std::unique_ptr<WindowHost> WindowHost::Create(int width, int height, std::string& error) {
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");  // the player library draws into X11 windows
  SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
  std::unique_ptr<WindowHost> host(new WindowHost);
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0 || !host->MakeWindow(width, height)) {
    error = SDL_GetError();
    return nullptr;
  }
  return host;
}

WindowHost::~WindowHost() {
  if (m_pWindow) SDL_DestroyWindow(m_pWindow);
  SDL_QuitSubSystem(SDL_INIT_VIDEO);
  SDL_Quit();
}

bool WindowHost::MakeWindow(int width, int height) {
  SDL_Rect usable;
  if (SDL_GetDisplayUsableBounds(0, &usable) == 0 && usable.w > 0 && usable.h > 0) {
    const Area fit =
        FitInside({.right = std::min(width, usable.w), .bottom = std::min(height, usable.h)}, width, height);
    width = fit.Width();
    height = fit.Height();
  }
  m_pWindow = SDL_CreateWindow("qxplay", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width, height,
                               SDL_WINDOW_RESIZABLE);
  if (!m_pWindow) return false;
  SDL_SysWMinfo native;
  SDL_VERSION(&native.version);
  if (!SDL_GetWindowWMInfo(m_pWindow, &native) || native.subsystem != SDL_SYSWM_X11) return false;
  m_pDisplay = native.info.x11.display;
  m_nWindow = native.info.x11.window;
  m_nWakeEvent = SDL_RegisterEvents(1);
  // The server paints what the pictures leave free.
  XSetWindowBackground(m_pDisplay, m_nWindow, BlackPixel(m_pDisplay, DefaultScreen(m_pDisplay)));
  Clear();
  return true;
}

void* WindowHost::Window() const {
  return reinterpret_cast<void*>(m_nWindow);
}

Area WindowHost::DesktopArea() const {
  int left = 0, top = 0, width = 0, height = 0;
  SDL_GetWindowPosition(m_pWindow, &left, &top);
  SDL_GetWindowSize(m_pWindow, &width, &height);
  return {.left = left, .top = top, .right = left + width, .bottom = top + height};
}

HostEvents WindowHost::Wait(std::chrono::milliseconds timeout) {
  HostEvents events;
  SDL_Event event;
  if (!m_bQuit && SDL_WaitEventTimeout(&event, static_cast<int>(std::max(timeout.count(), int64_t{0})))) {
    do {
      Take(event, events);
    } while (SDL_PollEvent(&event));
  }
  events.quit = m_bQuit;
  return events;
}

void WindowHost::Take(const SDL_Event& event, HostEvents& events) {
  if (event.type == SDL_QUIT) m_bQuit = true;
  if (event.type == SDL_KEYDOWN && event.key.repeat == 0) TakeKey(event.key.keysym.sym, events);
  if (event.type != SDL_WINDOWEVENT) return;
  switch (event.window.event) {
    case SDL_WINDOWEVENT_SIZE_CHANGED:
      Clear();
      [[fallthrough]];
    case SDL_WINDOWEVENT_MOVED:
      events.moved = true;
      events.redraw = true;
      break;
    case SDL_WINDOWEVENT_EXPOSED:
    case SDL_WINDOWEVENT_SHOWN:
    case SDL_WINDOWEVENT_RESTORED:
      events.redraw = true;
      break;
    case SDL_WINDOWEVENT_CLOSE:
      m_bQuit = true;
      break;
    default:
      break;
  }
}

void WindowHost::TakeKey(int key, HostEvents& events) {
  if (key == SDLK_q || key == SDLK_ESCAPE) m_bQuit = true;
  if (key == SDLK_r) events.redraw = true;
  if (key == SDLK_f) {
    const bool full =
        (SDL_GetWindowFlags(m_pWindow) & SDL_WINDOW_FULLSCREEN_DESKTOP) == SDL_WINDOW_FULLSCREEN_DESKTOP;
    SDL_SetWindowFullscreen(m_pWindow, full ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
    events.moved = true;
    events.redraw = true;
  }
}

void WindowHost::SetTitle(const std::string& title) {
  SDL_SetWindowTitle(m_pWindow, title.c_str());
}

void WindowHost::Wake() {
  SDL_Event event{};
  event.type = m_nWakeEvent;
  SDL_PushEvent(&event);
}

void WindowHost::RequestQuit() {
  m_bQuit = true;
  Wake();
}

void WindowHost::Clear() {
  XClearWindow(m_pDisplay, m_nWindow);
  XFlush(m_pDisplay);
}
