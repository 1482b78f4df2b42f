// Which monitors become screens, and what a start-up leaves behind when it fails at any step.
#include "video/Screens.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/LogLines.h"
#include "tests/support/ScriptedDisplay.h"
#include "tests/viewer/Rects.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

constexpr ScriptedMonitor kPrimary = {{0, 0, 1920, 1080}, {0, 0, 1920, 1040}};
constexpr ScriptedMonitor kLeft = {{-1280, 0, 0, 1024}, {-1280, 0, 0, 1024}};
constexpr ScriptedMonitor kAbove = {{0, -1080, 1920, 0}, {0, -1080, 1920, 0}};
constexpr int kObjectsPerScreen = 5;  // DirectDraw object, two surfaces, two clippers

class ScreensTest : public testing::Test {
 protected:
  ~ScreensTest() override { ReleaseScreens(); }
  TestSeam seam;
};

std::string PlacementLine(int screen) {
  return "debug: VideoViewer.cpp(217): CreateDDSBack Screen:" + std::to_string(screen) +
         " bOffscreen:1 bLocalVidMem:1 bVideoMem:1 bSystemMem:0 bRGB:1 bYUV:0\n";
}

}  // namespace

TEST_F(ScreensTest, PrimaryStandsFirstWhereverItWasFound) {
  ScriptedDisplay display({kLeft, kPrimary, kAbove});
  ASSERT_TRUE(InitScreens(false));
  EXPECT_FALSE(g_bViewLock);
  ASSERT_EQ(g_nScreenCount, 3);
  EXPECT_EQ(g_Screens[0].monitorInfo.rcMonitor, kPrimary.monitor);
  EXPECT_EQ(g_Screens[0].dwWidth, 1920u);
  EXPECT_EQ(g_Screens[0].guid.Data1, 0u);
  EXPECT_EQ(g_Screens[1].monitorInfo.rcMonitor, kLeft.monitor);
  EXPECT_EQ(g_Screens[1].dwHeight, 1024u);
  EXPECT_EQ(g_Screens[2].monitorInfo.rcMonitor, kAbove.monitor);
  EXPECT_THAT(TakeLogLines(seam), ElementsAre(PlacementLine(0), PlacementLine(1), PlacementLine(2)));

  const auto levels = display.Records(DisplayCall::SetCooperativeLevel);
  ASSERT_EQ(levels.size(), 3u);
  EXPECT_EQ(levels[0].flags, DWORD{DDSCL_NORMAL | DDSCL_MULTITHREADED});
  EXPECT_FALSE(display.Records(DisplayCall::CreateDevice)[0].defaultDevice);
  const auto backs = display.Records(DisplayCall::CreateSurface, DisplayPart::Back);
  ASSERT_EQ(backs.size(), 3u);
  EXPECT_EQ(backs[1].width, 1280u);
  EXPECT_EQ(backs[1].height, 1024u);

  // A second start builds the screens anew and leaks nothing.
  ASSERT_TRUE(InitScreens(true));
  EXPECT_TRUE(g_bViewLock);
  EXPECT_EQ(g_nScreenCount, 3);
  EXPECT_EQ(display.LiveObjects(), 3 * kObjectsPerScreen);
  ReleaseScreens();
  ReleaseScreens();
  EXPECT_EQ(g_nScreenCount, 0);
  EXPECT_EQ(display.LiveObjects(), 0);
}

TEST_F(ScreensTest, WithoutDevicesTheDefaultDisplayServes) {
  // The second display's only monitor has gone since it was enumerated.
  for (const std::vector<ScriptedMonitor>& monitors :
       {std::vector<ScriptedMonitor>{}, std::vector<ScriptedMonitor>{{{0, 0, 1280, 1024}, {}, false}}}) {
    ScriptedDisplay display(monitors);
    ASSERT_TRUE(InitScreens(true));
    ASSERT_EQ(g_nScreenCount, 1);
    EXPECT_EQ(g_Screens[0].monitorInfo.rcMonitor, (RECT{0, 0, 1280, 1024}));
    EXPECT_EQ(g_Screens[0].monitorInfo.rcWork, (RECT{0, 0, 1280, 1024}));
    EXPECT_TRUE(display.Records(DisplayCall::CreateDevice)[0].defaultDevice);
    EXPECT_THAT(
        TakeLogLines(seam),
        ElementsAre("error: VideoViewer.cpp(114): DirectDrawEnumerateEx(): No Device!\n", PlacementLine(0)));
    ReleaseScreens();
  }
}

TEST_F(ScreensTest, TheTableHoldsSixtyFour) {
  std::vector<ScriptedMonitor> monitors;
  for (int i = 0; i < 70; ++i)
    monitors.push_back({{100 * i + 100, 0, 100 * i + 200, 50}, {100 * i + 100, 0, 100 * i + 200, 50}});
  monitors.push_back(kPrimary);  // too late to be seen
  ScriptedDisplay display(monitors);
  ASSERT_TRUE(InitScreens(true));
  EXPECT_EQ(g_nScreenCount, 64);
  EXPECT_EQ(g_Screens[63].monitorInfo.rcMonitor.left, 6300);
  EXPECT_EQ(g_Screens[0].monitorInfo.rcMonitor, RECT{});
  ReleaseScreens();
  EXPECT_EQ(display.LiveObjects(), 0);
}

TEST_F(ScreensTest, HostsLearnOfAsManyScreensAsTheyHaveRoomFor) {
  ScriptedDisplay display({kPrimary, kLeft});
  ASSERT_TRUE(InitScreens(true));
  ScreenRect rects[3] = {};
  int32_t count = 3;
  GetScreenInfo(rects, &count);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(rects[0].work, kPrimary.work);
  EXPECT_EQ(rects[1].monitor, kLeft.monitor);
  EXPECT_EQ(rects[2].monitor, RECT{});

  rects[1] = {};
  count = 1;
  GetScreenInfo(rects, &count);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(rects[1].monitor, RECT{});
  for (const int32_t capacity : {0, -1}) {
    count = capacity;
    GetScreenInfo(rects, &count);
    EXPECT_EQ(count, 0);
  }
  count = 3;
  GetScreenInfo(nullptr, &count);
  EXPECT_EQ(count, 3);
  GetScreenInfo(rects, nullptr);
  ReleaseScreens();
}

TEST_F(ScreensTest, AFailingStepReleasesItsScreenAndKeepsTheOnesBefore) {
  const std::string tail =
      " errno:13 hr:0x80004005 description:" + std::string(DXGetErrorDescriptionA(DDERR_GENERIC)) + "\n";
  const struct {
    DisplayCall call;
    DisplayPart part;
    std::string line;
  } rows[] = {
      {DisplayCall::CreateDevice, DisplayPart::Driver,
       "error: VideoViewer.cpp(123): DirectDrawCreateEx():Error!\n"},
      {DisplayCall::SetCooperativeLevel, DisplayPart::Device,
       "error: VideoViewer.cpp(131): DIRECTDRAW7 SetCooperativeLevel():Error!\n"},
      {DisplayCall::CreateSurface, DisplayPart::Primary,
       "error: VideoViewer.cpp(146): DIRECTDRAW7 CreateSurface():lpDDSPrimary Error!" + tail},
      {DisplayCall::GetSurfaceDesc, DisplayPart::Primary,
       "error: VideoViewer.cpp(157): DIRECTDRAW7 GetSurfaceDesc():lpDDSPrimary Error errno:13!\n"},
      {DisplayCall::CreateSurface, DisplayPart::Back,
       "error: VideoViewer.cpp(187): DIRECTDRAW7 CreateSurface():lpDDSBack Error!" + tail},
      {DisplayCall::GetSurfaceDesc, DisplayPart::Back,
       "error: VideoViewer.cpp(199): DIRECTDRAW7 GetSurfaceDesc():lpDDSBack Error errno:13!\n"},
  };
  for (const auto& row : rows) {
    for (const int failing : {1, 2}) {
      SCOPED_TRACE(row.line);
      ScriptedDisplay display({kPrimary, kLeft});
      display.Fail(row.call, row.part, DDERR_GENERIC, failing);
      EXPECT_FALSE(InitScreens(true));
      EXPECT_EQ(display.LiveObjects(), (failing - 1) * kObjectsPerScreen);
      std::vector<std::string> expected;
      if (failing == 2) expected.push_back(PlacementLine(0));
      expected.push_back(row.line);
      EXPECT_EQ(TakeLogLines(seam), expected);
      ReleaseScreens();
      EXPECT_EQ(display.LiveObjects(), 0);
    }
  }
}

TEST_F(ScreensTest, ScreensDoWithoutClippers) {
  ScriptedDisplay display({kPrimary});
  display.Fail(DisplayCall::CreateClipper, DisplayPart::Device, DDERR_OUTOFMEMORY);
  display.Fail(DisplayCall::SetClipper, DisplayPart::Back, DDERR_GENERIC);
  ASSERT_TRUE(InitScreens(true));
  EXPECT_FALSE(g_Screens[0].lpPrimaryClipper);
  EXPECT_TRUE(g_Screens[0].lpBackClipper);
  ReleaseScreens();
  EXPECT_EQ(display.LiveObjects(), 0);
}
