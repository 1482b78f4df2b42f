// The headless display: its screens as QXSDKP_DISPLAY describes them, and its message queue.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/platform/DisplayTestSupport.h"

namespace {

bool SameRect(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

class HeadlessDisplayTest : public testing::Test {
 protected:
  void TearDown() override { ChooseDisplay(nullptr); }

  std::vector<EnumeratedDevice> m_Devices;
};

TEST_F(HeadlessDisplayTest, HasOneScreenUnlessToldOtherwise) {
  ChooseDisplay("headless");
  ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
  ASSERT_EQ(m_Devices.size(), 2u);
  EXPECT_FALSE(m_Devices[0].hasGuid);
  EXPECT_EQ(m_Devices[0].monitor, nullptr);
  ASSERT_TRUE(m_Devices[1].hasGuid);
  EXPECT_TRUE(SameRect(m_Devices[1].info.rcMonitor, {0, 0, 1920, 1080}));
  EXPECT_TRUE(SameRect(m_Devices[1].info.rcWork, {0, 0, 1920, 1080}));
  EXPECT_EQ(m_Devices[1].info.dwFlags, MONITORINFOF_PRIMARY);

  GUID zero = {};
  for (GUID* const guid : {static_cast<GUID*>(nullptr), &zero, &m_Devices[1].guid}) {
    TestScreen screen(guid);
    ASSERT_TRUE(screen.back);
    EXPECT_EQ(screen.desc.dwWidth, 1920u);
    EXPECT_EQ(screen.desc.dwHeight, 1080u);
  }
  GUID unknown = {1, 2, 3, {}};
  void* object = &unknown;
  EXPECT_EQ(DirectDrawCreateEx(&unknown, &object, IID_IDirectDraw7, nullptr), DDERR_INVALIDDIRECTDRAWGUID);
  EXPECT_EQ(object, nullptr);
}

TEST_F(HeadlessDisplayTest, PutsTheScreenAtTheOriginFirst) {
  ChooseDisplay("headless:800x600+-800+10,1280x1024+0+0,640x480+1280+-5,1280x1024+0+0");
  ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
  ASSERT_EQ(m_Devices.size(), 4u) << "a mirror is no screen of its own";
  EXPECT_TRUE(SameRect(m_Devices[1].info.rcMonitor, {0, 0, 1280, 1024}));
  EXPECT_EQ(m_Devices[1].info.dwFlags, MONITORINFOF_PRIMARY);
  EXPECT_TRUE(SameRect(m_Devices[2].info.rcMonitor, {-800, 10, 0, 610}));
  EXPECT_TRUE(SameRect(m_Devices[3].info.rcMonitor, {1280, -5, 1920, 475}));
  EXPECT_EQ(m_Devices[2].info.dwFlags, 0u);

  TestScreen primary(nullptr);
  TestScreen third(&m_Devices[3].guid);
  ASSERT_TRUE(primary.back && third.back);
  EXPECT_EQ(primary.desc.dwWidth, 1280u);
  EXPECT_EQ(third.desc.dwWidth, 640u);
}

TEST_F(HeadlessDisplayTest, RefusesMonitorHandlesThatItDidNotGive) {
  ChooseDisplay("headless");
  ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
  MONITORINFO info = {};
  info.cbSize = sizeof(info);
  EXPECT_FALSE(GetMonitorInfoA(nullptr, &info));
  EXPECT_FALSE(GetMonitorInfoA(reinterpret_cast<HMONITOR>(uintptr_t{2}), &info));
  EXPECT_FALSE(GetMonitorInfoA(m_Devices[1].monitor, nullptr));
  info.cbSize = 39;
  EXPECT_FALSE(GetMonitorInfoA(m_Devices[1].monitor, &info));
}

TEST_F(HeadlessDisplayTest, StopsEnumeratingWhenTheCallbackHasEnough) {
  ChooseDisplay("headless:64x64+0+0,64x64+64+0");
  int calls = 0;
  const auto second = [](GUID*, LPSTR, LPSTR, LPVOID context, HMONITOR) -> BOOL {
    return ++*static_cast<int*>(context) < 2 ? TRUE : FALSE;
  };
  EXPECT_EQ(DirectDrawEnumerateExA(second, &calls, DDENUM_ATTACHEDSECONDARYDEVICES), DD_OK);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(DirectDrawEnumerateExA(nullptr, nullptr, 0), DDERR_INVALIDPARAMS);
}

TEST_F(HeadlessDisplayTest, ComplainsOnceAboutAMalformedSettingAndHasNoDisplay) {
  std::string tooMany = "headless:1x1+0+0";
  for (int i = 1; i < 65; ++i)
    tooMany += ",1x1+" + std::to_string(i) + "+0";
  for (const char* const setting :
       {"headles", "headless:", "headless:640", "headless:640x480", "headless:640x480+0",
        "headless:640x480+0+0,", "headless:640x480+0+0 ", "headless:0x480+0+0", "headless:640x-480+0+0",
        "headless:16385x480+0+0", "headless:99999999999x480+0+0", "headless:640x480+2000000+0",
        "headless:+640x480+0+0", "X11", "x11:0", tooMany.c_str()}) {
    SCOPED_TRACE(setting);
    ChooseDisplay(setting);
    testing::internal::CaptureStderr();
    EXPECT_EQ(EnumerateDevices(m_Devices), DDERR_NODIRECTDRAWHW);
    EXPECT_TRUE(m_Devices.empty());
    EXPECT_FALSE(CreateDevice(nullptr));
    EXPECT_FALSE(PostMessageA(reinterpret_cast<HWND>(uintptr_t{1}), 1, 2, 3));
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, testing::StartsWith("qxsdkp: QXSDKP_DISPLAY=" + std::string(setting).substr(0, 200)));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
  }
  ChooseDisplay("headless");
  EXPECT_EQ(EnumerateDevices(m_Devices), DD_OK);
  EXPECT_TRUE(CreateDevice(nullptr));
}

TEST_F(HeadlessDisplayTest, IsTheDefaultWithoutAnXServer) {
  ChooseDisplay(nullptr);
  unsetenv("DISPLAY");
  testing::internal::CaptureStderr();
  EXPECT_EQ(EnumerateDevices(m_Devices), DD_OK);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(m_Devices.size(), 2u);

  setenv("DISPLAY", "/nowhere:77", 1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(EnumerateDevices(m_Devices), DD_OK);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("headless"));
  EXPECT_EQ(m_Devices.size(), 2u);
  ChooseDisplay("x11");
  testing::internal::CaptureStderr();
  EXPECT_EQ(EnumerateDevices(m_Devices), DDERR_NODIRECTDRAWHW);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("cannot be reached"));
  unsetenv("DISPLAY");
}

TEST_F(HeadlessDisplayTest, QueuesMessagesInOrderUpToItsBound) {
  ChooseDisplay("headless");
  ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
  MSG message;
  while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
  }
  const auto window = reinterpret_cast<HWND>(uintptr_t{42});
  EXPECT_FALSE(PostMessageA(nullptr, 1, 2, 3));
  EXPECT_FALSE(PeekMessageA(nullptr, nullptr, 0, 0, PM_REMOVE));
  // Twice, so that the queue wraps around.
  for (uint32_t round = 0; round < 2; ++round) {
    for (uint32_t i = 0; i < 256; ++i)
      ASSERT_TRUE(PostMessageA(window, i, round, -static_cast<LPARAM>(i)));
    EXPECT_FALSE(PostMessageA(window, 256, round, 0));
    // A new display keeps what was posted.
    ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
    for (uint32_t i = 0; i < 256; ++i) {
      ASSERT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
      EXPECT_EQ(message.hwnd, window);
      EXPECT_EQ(message.message, i);
      EXPECT_EQ(message.wParam, round);
      EXPECT_EQ(message.lParam, -static_cast<LPARAM>(i));
    }
    EXPECT_FALSE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
    ASSERT_TRUE(PostMessageA(window, 7, 7, 7));
    ASSERT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
  }
}

}  // namespace
