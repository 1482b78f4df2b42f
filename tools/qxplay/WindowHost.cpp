#include "tools/qxplay/WindowHost.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <cstring>

#include "tools/qxplay/Command.h"

// A child of the window: what is drawn into the window leaves it alone, so that nothing flickers. Its mouse
// events are the window's.
class WindowHost::ChildWindow : public SubWindow {
 public:
  explicit ChildWindow(const WindowHost& host)
      : m_Host(host),
        m_nWindow(XCreateSimpleWindow(host.m_pDisplay, host.m_nWindow, 0, 0, 1, 1, 0, 0,
                                      BlackPixel(host.m_pDisplay, DefaultScreen(host.m_pDisplay)))) {}
  ~ChildWindow() override {
    if (m_Host.m_bLost) return;
    XDestroyWindow(m_Host.m_pDisplay, m_nWindow);
    XFlush(m_Host.m_pDisplay);
  }
  void* Handle() const override { return reinterpret_cast<void*>(m_nWindow); }
  // There when it returns: the player library has a connection of its own to the server.
  void Place(const Area& area) override {
    if (m_Host.m_bLost) return;
    const Area window = m_Host.DesktopArea();
    if (area.Width() > 0 && area.Height() > 0) {
      XMoveResizeWindow(m_Host.m_pDisplay, m_nWindow, area.left - window.left, area.top - window.top,
                        static_cast<unsigned>(area.Width()), static_cast<unsigned>(area.Height()));
      XMapWindow(m_Host.m_pDisplay, m_nWindow);
    } else {
      XUnmapWindow(m_Host.m_pDisplay, m_nWindow);
    }
    XSync(m_Host.m_pDisplay, False);
  }

 private:
  const WindowHost& m_Host;
  const ::Window m_nWindow;
};

std::unique_ptr<SubWindow> WindowHost::MakeSubWindow() {
  return std::make_unique<ChildWindow>(*this);
}

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
  if (m_bLost) return;  // SDL would wait for answers that do not come, or end the program
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
  SDL_StartTextInput();
  SurviveErrors();
  // The server paints what is uncovered beside the pictures.
  XSetWindowBackground(m_pDisplay, m_nWindow, BlackPixel(m_pDisplay, DefaultScreen(m_pDisplay)));
  return true;
}

// Xlib ends the program when the server or another client takes the window away, unless it is told not to.
void WindowHost::SurviveErrors() {
  XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
  XSetIOErrorHandler([](Display*) { return 0; });
  XSetIOErrorExitHandler(
      m_pDisplay, [](Display*, void* host) { static_cast<WindowHost*>(host)->m_bLost = true; }, this);
}

bool WindowHost::IsWindowThere() const {
  XWindowAttributes attributes;
  return !m_bLost && XGetWindowAttributes(m_pDisplay, m_nWindow, &attributes) && !m_bLost;
}

void* WindowHost::Window() const {
  return reinterpret_cast<void*>(m_nWindow);
}

// Asks the server: what SDL believes is wrong where no window manager has answered it.
Area WindowHost::DesktopArea() const {
  return AreaOf(m_nWindow);
}

Area WindowHost::AreaOf(unsigned long window) const {
  ::Window root = 0, child = 0;
  int x = 0, y = 0, left = 0, top = 0;
  unsigned width = 0, height = 0, border = 0, depth = 0;
  if (!XGetGeometry(m_pDisplay, window, &root, &x, &y, &width, &height, &border, &depth) ||
      !XTranslateCoordinates(m_pDisplay, window, root, 0, 0, &left, &top, &child)) {
    return {};
  }
  return {.left = left,
          .top = top,
          .right = left + static_cast<int>(width),
          .bottom = top + static_cast<int>(height)};
}

HostEvents WindowHost::Wait(std::chrono::milliseconds timeout) {
  HostEvents events;
  SDL_Event event;
  if (!m_bQuit && SDL_WaitEventTimeout(&event, static_cast<int>(std::max(timeout.count(), int64_t{0})))) {
    do {
      Take(event, events);
    } while (SDL_PollEvent(&event));
  }
  m_bLost = !IsWindowThere();
  if (m_bLost) m_bQuit = true;
  if (!events.pointer.empty() && !m_bLost) {
    const Area window = DesktopArea();
    for (PointerEvent& pointer : events.pointer)
      pointer.at = {pointer.at.x + window.left, pointer.at.y + window.top};
  }
  events.lost = m_bLost;
  events.quit = m_bQuit;
  std::ranges::copy(TakePostedKeys(), std::back_inserter(events.keys));
  return events;
}

void WindowHost::Take(const SDL_Event& event, HostEvents& events) {
  if (event.type == SDL_QUIT) m_bQuit = true;
  if (event.type == SDL_KEYDOWN || event.type == SDL_TEXTINPUT) TakeKey(event, events);
  TakePointer(event, events);
  if (event.type != SDL_WINDOWEVENT) return;
  switch (event.window.event) {
    case SDL_WINDOWEVENT_SIZE_CHANGED:
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

// In window coordinates.
void WindowHost::TakePointer(const SDL_Event& event, HostEvents& events) const {
  const bool button = event.type == SDL_MOUSEBUTTONDOWN || event.type == SDL_MOUSEBUTTONUP;
  if (button && event.button.button == SDL_BUTTON_LEFT) {
    const bool press = event.type == SDL_MOUSEBUTTONDOWN;
    events.pointer.push_back({.kind = press ? PointerEvent::Kind::kPress : PointerEvent::Kind::kRelease,
                              .at = {event.button.x, event.button.y},
                              .count = event.button.clicks});
  } else if (event.type == SDL_MOUSEMOTION && (event.motion.state & SDL_BUTTON_LMASK) != 0) {
    events.pointer.push_back({.kind = PointerEvent::Kind::kMove, .at = {event.motion.x, event.motion.y}});
  } else if (event.type == SDL_MOUSEWHEEL && event.wheel.y != 0) {
    events.pointer.push_back({.kind = PointerEvent::Kind::kWheel,
                              .at = {event.wheel.mouseX, event.wheel.mouseY},
                              .count = event.wheel.y});
  }
}

std::optional<Point> WindowHost::Pointer() const {
  if (SDL_GetMouseFocus() != m_pWindow) return std::nullopt;
  int x = 0, y = 0;
  SDL_GetMouseState(&x, &y);
  const Area window = DesktopArea();
  return Point{.x = window.left + x, .y = window.top + y};
}

// Characters come as text, because where they lie on the keyboard differs; text follows its key.
void WindowHost::TakeKey(const SDL_Event& event, HostEvents& events) {
  int key = 0;
  if (event.type == SDL_TEXTINPUT) {
    if (event.text.text[1] == '\0') key = static_cast<unsigned char>(event.text.text[0]);
  } else {
    m_bRepeated = event.key.repeat != 0;
    if ((event.key.keysym.mod & (KMOD_CTRL | KMOD_ALT | KMOD_GUI)) != 0) return;
    switch (event.key.keysym.sym) {
      case SDLK_LEFT:
        key = kKeyLeft;
        break;
      case SDLK_RIGHT:
        key = kKeyRight;
        break;
      case SDLK_ESCAPE:
        key = kKeyEscape;
        break;
      case SDLK_TAB:
        key = kKeyTab;
        break;
      default:
        break;
    }
  }
  if (key != 0 && (!m_bRepeated || DoesRepeat(key))) events.keys.push_back(key);
}

void WindowHost::ToggleFullScreen() {
  const bool full =
      (SDL_GetWindowFlags(m_pWindow) & SDL_WINDOW_FULLSCREEN_DESKTOP) == SDL_WINDOW_FULLSCREEN_DESKTOP;
  SDL_SetWindowFullscreen(m_pWindow, full ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
}

void WindowHost::FillAround(const Area& window, const std::vector<Area>& tiles) {
  const auto rectangleOf = [&](const Area& area) {
    return XRectangle{.x = static_cast<short>(area.left - window.left),
                      .y = static_cast<short>(area.top - window.top),
                      .width = static_cast<unsigned short>(area.Width()),
                      .height = static_cast<unsigned short>(area.Height())};
  };
  const Region free = XCreateRegion(), covered = XCreateRegion();
  XRectangle whole = rectangleOf(window);
  XUnionRectWithRegion(&whole, free, free);
  for (const Area& tile : tiles) {
    XRectangle rectangle = rectangleOf(tile);
    XUnionRectWithRegion(&rectangle, covered, covered);
  }
  XSubtractRegion(free, covered, free);
  const GC context = DefaultGC(m_pDisplay, DefaultScreen(m_pDisplay));
  XSetRegion(m_pDisplay, context, free);
  XSetForeground(m_pDisplay, context, BlackPixel(m_pDisplay, DefaultScreen(m_pDisplay)));
  XFillRectangle(m_pDisplay, m_nWindow, context, 0, 0, whole.width, whole.height);
  XSetClipMask(m_pDisplay, context, None);
  XFlush(m_pDisplay);
  XDestroyRegion(covered);
  XDestroyRegion(free);
}

// Nearest pixels: it stands in for a picture that the player library stretched before.
void WindowHost::Paint(void* window, const Area& place, const PixelView& picture) {
  const int width = place.Width(), height = place.Height();
  if (width <= 0 || height <= 0 || picture.width <= 0 || picture.height <= 0) return;
  const auto id = reinterpret_cast<unsigned long>(window);
  const int screen = DefaultScreen(m_pDisplay);
  XImage* image = XCreateImage(m_pDisplay, DefaultVisual(m_pDisplay, screen),
                               static_cast<unsigned>(DefaultDepth(m_pDisplay, screen)), ZPixmap, 0, nullptr,
                               static_cast<unsigned>(width), static_cast<unsigned>(height), 32, 0);
  if (!image) return;
  if (image->bits_per_pixel == 32) {
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    auto pixel = pixels.begin();
    for (int y = 0; y < height; ++y) {
      const uint8_t* row = picture.top + int64_t{picture.height} * y / height * picture.pitch;
      for (int x = 0; x < width; ++x, ++pixel)
        std::memcpy(&*pixel, row + int64_t{picture.width} * x / width * 4, sizeof(*pixel));
    }
    image->data = reinterpret_cast<char*>(pixels.data());
    const Area area = AreaOf(id);
    XPutImage(m_pDisplay, id, DefaultGC(m_pDisplay, screen), image, 0, 0, place.left - area.left,
              place.top - area.top, static_cast<unsigned>(width), static_cast<unsigned>(height));
    XFlush(m_pDisplay);
    image->data = nullptr;  // the vector's
  }
  XDestroyImage(image);
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
