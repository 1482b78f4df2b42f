// The headless display: its screens as QXSDKP_DISPLAY describes them, and its message queue.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

#include "tests/platform/DisplayTestSupport.h"

namespace {

class HeadlessDisplayTest : public testing::Test {
 protected:
  ~HeadlessDisplayTest() override {
    ChooseDisplay(nullptr);
    unsetenv("DISPLAY");
  }
  HRESULT Enumerate(const char* setting = "headless") {
    ChooseDisplay(setting);
    return EnumerateDevices(m_Devices);
  }

  std::vector<EnumeratedDevice> m_Devices;
};

TEST_F(HeadlessDisplayTest, HasTheScreensThatItIsToldWithTheOneAtTheOriginFirst) {
  const struct {
    const char* setting;
    std::vector<RECT> screens;
  } rows[] = {{"headless", {{0, 0, 1920, 1080}}},
              // A mirror is no screen of its own.
              {"headless:800x600+-800+10,1280x1024+0+0,640x480+1280+-5,1280x1024+0+0",
               {{0, 0, 1280, 1024}, {-800, 10, 0, 610}, {1280, -5, 1920, 475}}}};
  for (const auto& row : rows) {
    ASSERT_EQ(Enumerate(row.setting), DD_OK);
    ASSERT_EQ(m_Devices.size(), row.screens.size() + 1);
    EXPECT_TRUE(!m_Devices[0].hasGuid && m_Devices[0].monitor == nullptr);
    for (size_t i = 0; i < row.screens.size(); ++i) {
      EnumeratedDevice& device = m_Devices[i + 1];
      EXPECT_EQ(std::memcmp(&device.info.rcMonitor, &row.screens[i], sizeof(RECT)), 0) << i;
      EXPECT_EQ(std::memcmp(&device.info.rcWork, &row.screens[i], sizeof(RECT)), 0) << i;
      EXPECT_EQ(device.info.dwFlags, i == 0 ? MONITORINFOF_PRIMARY : 0u);
      GUID zero = {};
      for (GUID* const guid : {static_cast<GUID*>(nullptr), &zero, &device.guid}) {
        const TestScreen screen(guid);
        const RECT& expected = row.screens[guid == &device.guid ? i : 0];
        EXPECT_TRUE(screen.back);
        EXPECT_EQ(screen.desc.dwWidth, static_cast<DWORD>(expected.right - expected.left));
        EXPECT_EQ(screen.desc.dwHeight, static_cast<DWORD>(expected.bottom - expected.top));
      }
    }
  }
  const auto second = [](GUID*, LPSTR, LPSTR, LPVOID calls, HMONITOR) -> BOOL {
    return ++*static_cast<int*>(calls) < 2 ? TRUE : FALSE;
  };
  int calls = 0;
  EXPECT_EQ(DirectDrawEnumerateExA(second, &calls, DDENUM_ATTACHEDSECONDARYDEVICES), DD_OK);
  EXPECT_EQ(calls, 2) << "the callback has had enough";
  EXPECT_EQ(DirectDrawEnumerateExA(nullptr, nullptr, 0), DDERR_INVALIDPARAMS);
  GUID unknown = {1, 2, 3, {}};
  EXPECT_FALSE(CreateDevice(&unknown));
  MONITORINFO info = {};
  info.cbSize = sizeof(info);
  EXPECT_FALSE(GetMonitorInfoA(reinterpret_cast<HMONITOR>(uintptr_t{9}), &info));
}

TEST_F(HeadlessDisplayTest, ComplainsOnceAboutAMalformedSettingAndHasNoDisplay) {
  std::string tooMany = "headless:1x1+0+0";
  for (int i = 1; i < 65; ++i)
    tooMany += ",1x1+" + std::to_string(i) + "+0";
  for (const char* const setting :
       {"headles", "headless:", "headless:640x480+0", "headless:640x480+0+0,", "headless:640x480+0+0 ",
        "headless:0x480+0+0", "headless:640x-480+0+0", "headless:16385x480+0+0",
        "headless:99999999999x480+0+0", "headless:640x480+2000000+0", "X11", tooMany.c_str()}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(Enumerate(setting), DDERR_NODIRECTDRAWHW);
    EXPECT_FALSE(CreateDevice(nullptr));
    EXPECT_FALSE(PostMessageA(reinterpret_cast<HWND>(uintptr_t{1}), 1, 2, 3));
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, testing::StartsWith("qxsdkp: QXSDKP_DISPLAY=" + std::string(setting).substr(0, 200)));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
  }
  EXPECT_EQ(Enumerate(), DD_OK);
  EXPECT_TRUE(CreateDevice(nullptr));
}

TEST_F(HeadlessDisplayTest, IsTheDefaultWithoutAnXServer) {
  const struct {
    const char *setting, *display, *complaint;
  } rows[] = {{nullptr, nullptr, ""},
              {nullptr, "/nowhere:77", "QXSDKP_DISPLAY is not set, and the X server"},
              {"x11", "/nowhere:77", "cannot be reached"}};
  for (const auto& row : rows) {
    SetVariable("DISPLAY", row.display);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Enumerate(row.setting), row.setting == nullptr ? DD_OK : DDERR_NODIRECTDRAWHW);
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, testing::HasSubstr(row.complaint));
    EXPECT_EQ(text.empty(), row.display == nullptr);
  }
}

TEST_F(HeadlessDisplayTest, QueuesMessagesInOrderUpToItsBound) {
  ASSERT_EQ(Enumerate(), DD_OK);
  MSG message;
  const auto window = reinterpret_cast<HWND>(uintptr_t{42});
  EXPECT_FALSE(PostMessageA(nullptr, 1, 2, 3));
  EXPECT_FALSE(PeekMessageA(nullptr, nullptr, 0, 0, PM_REMOVE));
  for (uint32_t round = 0; round < 3; ++round) {
    for (uint32_t i = 0; i < 256; ++i)
      ASSERT_TRUE(PostMessageA(window, i, round, -static_cast<LPARAM>(i)));
    EXPECT_FALSE(PostMessageA(window, 256, round, 0));
    ASSERT_EQ(Enumerate(), DD_OK);  // a new display keeps what was posted
    for (uint32_t i = 0; i < 256; ++i) {
      ASSERT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
      EXPECT_TRUE(message.hwnd == window && message.message == i && message.wParam == round &&
                  message.lParam == -static_cast<LPARAM>(i))
          << round << " " << i;
    }
    EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
    // So that the next round wraps around.
    ASSERT_TRUE(PostMessageA(window, 7, 7, 7) && PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
  }
}

}  // namespace
