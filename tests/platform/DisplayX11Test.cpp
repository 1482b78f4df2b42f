// The X11 display on a real server: what a window shows, and what happens when windows and servers go away.
#include <gtest/gtest.h>
#include <sys/uio.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <latch>
#include <memory>
#include <optional>
#include <thread>
#include <tuple>
#include <utility>

#include "platform/posix/X11Reply.h"
#include "tests/platform/DisplayTestSupport.h"
#include "tests/support/ChildProgram.h"

namespace {

using platform::OwnReply;

// An X server without hardware, with one screen of 1280x1024 pixels, on a display number that was free.
class XvfbServer {
 public:
  explicit XvfbServer(const std::string& withoutExtension)
      : m_Server("sh", {"-c", "exec Xvfb -displayfd 1 -screen 0 1280x1024x24 -nolisten tcp -noreset " +
                                  withoutExtension + " 2>/dev/null"}) {
    m_bStarted = m_Server.ReadUntil("\n");
    m_Number = m_Server.Output().substr(0, m_Server.Output().find('\n'));
  }
  ~XvfbServer() { Kill(); }

  bool IsStarted() const { return m_bStarted; }
  std::string Display() const { return ":" + m_Number; }
  // Ends the server without a farewell to its clients.
  void Kill() {
    if (!std::exchange(m_bStarted, false)) return;
    m_Server.Interrupt(SIGKILL);
    m_Server.Finish();
    // A killed server leaves these behind.
    unlink(("/tmp/.X" + m_Number + "-lock").c_str());
    unlink(("/tmp/.X11-unix/X" + m_Number).c_str());
  }

 private:
  ChildProgram m_Server;
  bool m_bStarted;
  std::string m_Number;
};

// The host's own connection, with its windows.
class HostClient {
 public:
  HostClient() : m_pXcb(xcb_connect(nullptr, nullptr)) {}
  ~HostClient() { xcb_disconnect(m_pXcb); }
  HostClient(const HostClient&) = delete;
  HostClient& operator=(const HostClient&) = delete;

  xcb_connection_t* Xcb() { return m_pXcb; }
  xcb_screen_t& Screen() { return *xcb_setup_roots_iterator(xcb_get_setup(m_pXcb)).data; }

  // A mapped window at this place of the desktop, black at first; with an alpha channel when its depth is 32.
  xcb_window_t CreateWindow(int16_t x, int16_t y, uint16_t width, uint16_t height,
                            uint8_t depth = XCB_COPY_FROM_PARENT) {
    const xcb_window_t root = Screen().root, window = xcb_generate_id(m_pXcb);
    uint32_t values[] = {0, 0, 1, Screen().default_colormap};
    xcb_visualid_t visual = Screen().root_visual;
    auto depths = xcb_screen_allowed_depths_iterator(&Screen());
    while (depth == 32 && depths.rem > 0 && depths.data->depth != 32)
      xcb_depth_next(&depths);
    if (depth == 32) {
      visual = xcb_depth_visuals(depths.data)->visual_id;
      values[3] = xcb_generate_id(m_pXcb);
      xcb_create_colormap(m_pXcb, XCB_COLORMAP_ALLOC_NONE, values[3], root, visual);
    }
    xcb_create_window(
        m_pXcb, depth, window, root, x, y, width, height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
        XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP, values);
    xcb_map_window(m_pXcb, window);
    Sync();
    return window;
  }
  void Move(xcb_window_t window, uint32_t x, uint32_t y) {
    const uint32_t values[] = {x, y};
    xcb_configure_window(m_pXcb, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    Sync();
  }
  void Destroy(xcb_window_t window) {
    xcb_destroy_window(m_pXcb, window);
    Sync();
  }
  void Sync() { OwnReply(xcb_get_input_focus_reply(m_pXcb, xcb_get_input_focus(m_pXcb), nullptr)); }

  // 0xRRGGBB at a place of the window.
  uint32_t Pixel(xcb_window_t window, LONG x, LONG y) {
    const auto cookie = xcb_get_image(m_pXcb, XCB_IMAGE_FORMAT_Z_PIXMAP, window, static_cast<int16_t>(x),
                                      static_cast<int16_t>(y), 1, 1, ~0u);
    const auto image = OwnReply(xcb_get_image_reply(m_pXcb, cookie, nullptr));
    uint32_t pixel = ~0u;
    if (image != nullptr) std::memcpy(&pixel, xcb_get_image_data(image.get()), sizeof(pixel));
    return image != nullptr ? pixel & 0xFFFFFF : pixel;
  }

 private:
  xcb_connection_t* const m_pXcb;
};

HWND Handle(xcb_window_t window) {
  return reinterpret_cast<HWND>(static_cast<uintptr_t>(window));
}

// Each pixel of the desktop has a colour of its own.
uint32_t DesktopColour(LONG x, LONG y) {
  return static_cast<uint32_t>(x) << 11 | static_cast<uint32_t>(y);
}

// Paints the back surface of a screen whose monitor begins at (left, top) of the desktop.
void PaintBack(TestScreen& screen, LONG left = 0, LONG top = 0) {
  DDSURFACEDESC2 desc = EmptyDesc();
  ASSERT_EQ(screen.back->Lock(nullptr, &desc, 0, nullptr), DD_OK);
  for (LONG y = 0; y < static_cast<LONG>(desc.dwHeight); ++y) {
    for (LONG x = 0; x < static_cast<LONG>(desc.dwWidth); ++x) {
      const uint32_t colour = DesktopColour(left + x, top + y);
      std::memcpy(static_cast<uint8_t*>(desc.lpSurface) + y * desc.lPitch + x * 4, &colour, sizeof(colour));
    }
  }
  screen.back->Unlock(nullptr);
}

// Cuts a monitor 1024 pixels high out of the desktop. By hand, since xcb_randr_set_monitor() of libxcb 1.15
// fails on its own assertion.
bool SetMonitor(xcb_connection_t* xcb, xcb_window_t root, const std::string& name, int16_t x, uint16_t width,
                bool primary, std::vector<xcb_randr_output_t>& outputs) {
  const auto atom = OwnReply(xcb_intern_atom_reply(
      xcb, xcb_intern_atom(xcb, 0, static_cast<uint16_t>(name.size()), name.c_str()), nullptr));
  if (atom == nullptr) return false;
  xcb_randr_set_monitor_request_t header{};
  header.window = root;
  xcb_randr_monitor_info_t info{};
  info.name = atom->atom;
  info.primary = primary ? 1 : 0;
  info.nOutput = static_cast<uint16_t>(outputs.size());
  info.x = x;
  info.width = width;
  info.height = 1024;
  // The first two elements belong to xcb_send_request.
  iovec parts[5] = {
      {}, {}, {&header, sizeof(header)}, {&info, sizeof(info)}, {outputs.data(), outputs.size() * 4}};
  const xcb_protocol_request_t request = {3, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
  const xcb_void_cookie_t cookie = {xcb_send_request(xcb, XCB_REQUEST_CHECKED, parts + 2, &request)};
  return OwnReply(xcb_request_check(xcb, cookie)) == nullptr;
}

class X11DisplayTest : public testing::Test {
 protected:
  void Start(const char* withoutExtension = "") {
    m_Server.emplace(withoutExtension);
    ASSERT_TRUE(m_Server->IsStarted());
    setenv("DISPLAY", m_Server->Display().c_str(), 1);
    ChooseDisplay("x11");
    m_Host.emplace();
  }
  void OpenScreen() {
    ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
    m_pScreen = std::make_unique<TestScreen>(nullptr);
    ASSERT_TRUE(m_pScreen->back);
    ASSERT_NO_FATAL_FAILURE(PaintBack(*m_pScreen));
  }
  HRESULT Show(xcb_window_t window, RECT rect) {
    m_pScreen->clipper->SetHWnd(0, Handle(window));
    return m_pScreen->Show(rect);
  }
  // Shows pictures in a new window until one fails; `end` is called while they go to it.
  HRESULT ShowUntil(const std::function<void(xcb_window_t)>& end) {
    const xcb_window_t window = m_Host->CreateWindow(0, 0, 640, 480);
    std::latch shown(1);
    HRESULT last = Show(window, {0, 0, 640, 480});
    std::thread player([&] {
      shown.count_down();
      while (last == DD_OK)
        last = Show(window, {0, 0, 640, 480});
    });
    shown.wait();
    end(window);
    player.join();
    return last;
  }
  void TearDown() override {
    m_pScreen.reset();
    // A display that is not the server's, so that the connection ends before the server.
    ChooseDisplay("headless");
    EnumerateDevices(m_Devices);
    ChooseDisplay(nullptr);
    m_Host.reset();
    unsetenv("DISPLAY");
  }

  std::optional<XvfbServer> m_Server;
  std::optional<HostClient> m_Host;
  std::vector<EnumeratedDevice> m_Devices;
  std::unique_ptr<TestScreen> m_pScreen;
};

// With shared memory, and with pixels in the requests.
class X11PictureTest : public X11DisplayTest, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(Start(GetParam() ? "" : "-extension MIT-SHM"));
    ASSERT_NO_FATAL_FAILURE(OpenScreen());
    std::ifstream mappings("/proc/self/maps");
    const std::string text(std::istreambuf_iterator<char>(mappings), {});
    ASSERT_EQ(text.find("memfd:qxsdkp-screen") != std::string::npos, GetParam())
        << "the other way is not tested";
  }
  void ExpectShown(xcb_window_t window, LONG left, LONG top, const RECT& shown) {
    for (const LONG x : {shown.left, (shown.left + shown.right) / 2, shown.right - 1}) {
      for (const LONG y : {shown.top, (shown.top + shown.bottom) / 2, shown.bottom - 1}) {
        EXPECT_EQ(m_Host->Pixel(window, x - left, y - top), DesktopColour(x, y)) << x << "," << y;
      }
    }
  }
};
INSTANTIATE_TEST_SUITE_P(Ways, X11PictureTest, testing::Bool(),
                         [](const auto& way) { return way.param ? "SharedMemory" : "PlainRequests"; });

TEST_P(X11PictureTest, PutsTheDesktopsPixelsWhereTheWindowIs) {
  const xcb_window_t window = m_Host->CreateWindow(100, 50, 64, 48);
  ASSERT_EQ(Show(window, {100, 50, 164, 98}), DD_OK);
  ExpectShown(window, 100, 50, {100, 50, 164, 98});

  // A rectangle that leaves the window, and the screen.
  const xcb_window_t corner = m_Host->CreateWindow(1250, 1000, 100, 100);
  ASSERT_EQ(Show(corner, {1260, 990, 1280, 1024}), DD_OK);
  ExpectShown(corner, 1250, 1000, {1260, 1000, 1280, 1024});
  EXPECT_EQ(m_Host->Pixel(corner, 5, 5), 0u);

  // The window moves and its host says where to: the next picture is right at once.
  m_Host->Move(window, 300, 200);
  ASSERT_EQ(Show(window, {300, 200, 364, 248}), DD_OK);
  ExpectShown(window, 300, 200, {300, 200, 364, 248});
  // It moves without a word: the pixels stay those of the desktop.
  m_Host->Move(window, 310, 205);
  ASSERT_EQ(Show(window, {300, 200, 364, 248}), DD_OK);
  ExpectShown(window, 310, 205, {310, 205, 364, 248});

  const xcb_window_t deep = m_Host->CreateWindow(10, 20, 50, 40, 32);
  ASSERT_EQ(Show(deep, {10, 20, 60, 60}), DD_OK);
  ExpectShown(deep, 10, 20, {10, 20, 60, 60});

  // All of the screen takes several plain requests.
  const xcb_window_t large = m_Host->CreateWindow(0, 0, 1280, 1024);
  ASSERT_EQ(Show(large, {0, 0, 1280, 1024}), DD_OK);
  for (LONG y = 0; y < 1024; y += 31)
    ExpectShown(large, 0, 0, {y % 7, y, 1280 - y % 5, y + 1});
}

TEST_P(X11PictureTest, FailsForAClosedWindowAndForNoOther) {
  const xcb_window_t good = m_Host->CreateWindow(0, 0, 32, 32);
  for (int round = 0; round < 5; ++round)
    EXPECT_EQ(ShowUntil([&](xcb_window_t window) { m_Host->Destroy(window); }), DDERR_INVALIDOBJECT);
  for (const xcb_window_t bad : {0x7FFFFFFFu, m_Host->Screen().default_colormap}) {
    EXPECT_EQ(Show(bad, {0, 0, 32, 32}), DDERR_INVALIDOBJECT) << "not a window";
    EXPECT_EQ(Show(good, {0, 0, 32, 32}), DD_OK);
  }
  m_pScreen->clipper->SetHWnd(0, reinterpret_cast<HWND>(uintptr_t{1} << 40));
  EXPECT_EQ(m_pScreen->Show({0, 0, 32, 32}), DDERR_INVALIDOBJECT);
  ASSERT_EQ(Show(good, {0, 0, 32, 32}), DD_OK);
  ExpectShown(good, 0, 0, {0, 0, 32, 32});
}

TEST_P(X11PictureTest, FailsForEverWhenTheServerIsGoneUntilItIsOpenedAnew) {
  const xcb_window_t window = m_Host->CreateWindow(0, 0, 64, 64);
  EXPECT_EQ(ShowUntil([&](xcb_window_t) { m_Server->Kill(); }), DDERR_GENERIC);
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(Show(window, {0, 0, 64, 64}), DDERR_GENERIC);
  EXPECT_FALSE(PostMessageA(Handle(window), 1, 2, 3));
  EXPECT_FALSE(CreateDevice(nullptr));
  EXPECT_TRUE(CreateSurface(*m_pScreen->device.Get(), OffScreenDesc(64, 64))) << "memory is still there";
  EXPECT_EQ(EnumerateDevices(m_Devices), DDERR_NODIRECTDRAWHW);

  m_Host.reset();
  ASSERT_NO_FATAL_FAILURE(Start());
  const std::unique_ptr<TestScreen> old = std::move(m_pScreen);
  ASSERT_NO_FATAL_FAILURE(OpenScreen());
  const xcb_window_t fresh = m_Host->CreateWindow(0, 0, 64, 64);
  ASSERT_EQ(Show(fresh, {0, 0, 64, 64}), DD_OK);
  ExpectShown(fresh, 0, 0, {0, 0, 64, 64});
  old->clipper->SetHWnd(0, Handle(fresh));
  EXPECT_EQ(old->Show({0, 0, 64, 64}), DDERR_GENERIC);
}

TEST_P(X11PictureTest, ManyThreadsShowInTheirOwnWindows) {
  std::atomic<int> failures = 0;
  std::vector<std::thread> players;
  std::vector<xcb_window_t> windows;
  for (int16_t left = 0; left < 1200; left = static_cast<int16_t>(left + 200)) {
    const xcb_window_t window = m_Host->CreateWindow(left, 0, 200, 150);
    windows.push_back(window);
    players.emplace_back([this, &failures, left, window] {
      const auto primary = CreateSurface(*m_pScreen->device.Get(), EmptyDesc(DDSCAPS_PRIMARYSURFACE));
      Owned<IDirectDrawClipper> clipper;
      m_pScreen->device->CreateClipper(0, clipper.Receive(), nullptr);
      clipper->SetHWnd(0, Handle(window));
      primary->SetClipper(clipper.Get());
      RECT rect = {left, 0, left + 200, 150};
      for (int frame = 0; frame < 50; ++frame) {
        if (primary->Blt(&rect, m_pScreen->back.Get(), &rect, 0, nullptr) != DD_OK) ++failures;
      }
    });
  }
  for (std::thread& player : players)
    player.join();
  EXPECT_EQ(failures, 0);
  for (size_t i = 0; i < windows.size(); ++i) {
    const auto left = static_cast<LONG>(i * 200);
    ExpectShown(windows[i], left, 0, {left, 0, left + 200, 150});
  }
}

TEST_F(X11DisplayTest, HasAScreenForEveryMonitor) {
  ASSERT_NO_FATAL_FAILURE(Start());
  const auto setMonitor = [&](const char* name, int16_t x, uint16_t width, bool primary,
                              std::vector<xcb_randr_output_t> outputs) {
    EXPECT_TRUE(SetMonitor(m_Host->Xcb(), m_Host->Screen().root, name, x, width, primary, outputs));
  };
  const auto resources = OwnReply(xcb_randr_get_screen_resources_reply(
      m_Host->Xcb(), xcb_randr_get_screen_resources(m_Host->Xcb(), m_Host->Screen().root), nullptr));
  ASSERT_NE(resources, nullptr);
  ASSERT_GE(xcb_randr_get_screen_resources_outputs_length(resources.get()), 1);
  // The right one is the server's primary; the one at the origin is ours.
  setMonitor("right", 680, 600, true, {});
  setMonitor("left", 0, 680, false, {xcb_randr_get_screen_resources_outputs(resources.get())[0]});

  ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
  ASSERT_EQ(m_Devices.size(), 3u);
  EXPECT_EQ(
      std::tuple(m_Devices[1].description, m_Devices[1].info.rcMonitor.right, m_Devices[1].info.dwFlags),
      std::tuple("left", 680, MONITORINFOF_PRIMARY));
  EXPECT_EQ(
      std::tuple(m_Devices[2].description, m_Devices[2].info.rcMonitor.left, m_Devices[2].info.rcWork.left),
      std::tuple("right", 680, 680));

  // A window across both: each screen shows its part.
  const xcb_window_t window = m_Host->CreateWindow(600, 100, 200, 100);
  TestScreen left(nullptr);
  TestScreen right(&m_Devices[2].guid);
  ASSERT_TRUE(left.back && right.back);
  EXPECT_EQ(right.desc.dwWidth, 600u);
  ASSERT_NO_FATAL_FAILURE(PaintBack(left, 0));
  ASSERT_NO_FATAL_FAILURE(PaintBack(right, 680));
  left.clipper->SetHWnd(0, Handle(window));
  right.clipper->SetHWnd(0, Handle(window));
  ASSERT_EQ(left.Show({600, 100, 680, 200}), DD_OK);
  EXPECT_EQ(m_Host->Pixel(window, 80, 0), 0u);
  ASSERT_EQ(right.Show({0, 100, 120, 200}), DD_OK);
  for (const int16_t x : {0, 79, 80, 199})
    EXPECT_EQ(m_Host->Pixel(window, x, 50), DesktopColour(600 + x, 150));
}

TEST_F(X11DisplayTest, SendsMessagesToTheWindowsOwner) {
  ASSERT_NO_FATAL_FAILURE(Start());
  ASSERT_NO_FATAL_FAILURE(OpenScreen());
  const xcb_window_t window = m_Host->CreateWindow(0, 0, 32, 32);
  ASSERT_TRUE(PostMessageA(Handle(window), 0x0401, 511, 2));
  const auto event = OwnReply(xcb_wait_for_event(m_Host->Xcb()));
  ASSERT_TRUE(event != nullptr && (event->response_type & 0x7F) == XCB_CLIENT_MESSAGE);
  const auto& message = *reinterpret_cast<const xcb_client_message_event_t*>(event.get());
  const auto name = OwnReply(
      xcb_intern_atom_reply(m_Host->Xcb(), xcb_intern_atom(m_Host->Xcb(), 1, 14, "QXSDKP_MESSAGE"), nullptr));
  ASSERT_NE(name, nullptr);
  EXPECT_TRUE(message.type == name->atom && message.format == 32 && message.window == window);
  const auto& data = message.data.data32;
  EXPECT_TRUE(data[0] == 0x0401 && data[1] == 511 && data[2] == 2);
  MSG queued;
  EXPECT_FALSE(PeekMessageA(&queued, nullptr, 0, 0, PM_REMOVE));
  m_Host->Destroy(window);
  EXPECT_FALSE(PostMessageA(Handle(window), 0x0401, 511, 2));
  EXPECT_FALSE(PostMessageA(nullptr, 0x0401, 511, 2));
}

TEST_F(X11DisplayTest, IsTheDefaultAndLeavesNothingBehind) {
  ASSERT_NO_FATAL_FAILURE(Start());
  ChooseDisplay(nullptr);
  const auto openDescriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  ptrdiff_t before = 0;
  for (int i = 0; i < 20; ++i) {
    ASSERT_NO_FATAL_FAILURE(OpenScreen());
    EXPECT_EQ(m_pScreen->desc.dwWidth, 1280u);
    m_pScreen.reset();
    if (i == 0) before = openDescriptors();
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
