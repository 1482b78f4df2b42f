// Which monitors become screens, and what a start-up leaves behind when it fails at any step.
#include "video/Screens.h"

#include "tests/viewer/ViewerFixture.h"

using testing::ElementsAre;

namespace {

constexpr ScriptedMonitor kPrimary = {{0, 0, 1920, 1080}, {0, 0, 1920, 1040}};
constexpr ScriptedMonitor kLeft = {{-1280, 0, 0, 1024}, {-1280, 0, 0, 1024}};
constexpr ScriptedMonitor kAbove = {{0, -1080, 1920, 0}, {0, -1080, 1920, 0}};
constexpr int kObjectsPerScreen = 5;  // DirectDraw object, two surfaces, two clippers

class ScreensTest : public testing::Test {
 protected:
  TestSeam seam;
};

std::string PlacementLine(int screen) {
  return "debug: VideoViewer.cpp(217): CreateDDSBack Screen:" + std::to_string(screen) +
         " bOffscreen:1 bLocalVidMem:1 bVideoMem:1 bSystemMem:0 bRGB:1 bYUV:0\n";
}

}  // namespace

TEST_F(ScreensTest, PrimaryStandsFirstWhereverItWasFound) {
  ScriptedDisplay display({kLeft, kPrimary, kAbove});
  ASSERT_TRUE(InitScreens(true));
  EXPECT_THAT(TakeLogLines(seam), ElementsAre(PlacementLine(0), PlacementLine(1), PlacementLine(2)));
  EXPECT_EQ(display.Records(DisplayCall::SetCooperativeLevel)[2].flags,
            DWORD{DDSCL_NORMAL | DDSCL_MULTITHREADED});
  EXPECT_FALSE(display.Records(DisplayCall::CreateDevice)[0].defaultDevice);
  EXPECT_EQ(display.Records(DisplayCall::CreateSurface, DisplayPart::Back)[1].height, 1024u);
  // A second start builds the screens anew and leaks nothing.
  ASSERT_TRUE(InitScreens(false));
  EXPECT_FALSE(g_bViewLock);
  ASSERT_EQ(g_nScreenCount, 3);
  EXPECT_EQ(g_Screens[0].monitorInfo.rcMonitor, kPrimary.monitor);
  EXPECT_EQ(g_Screens[0].guid.Data1, 0u);
  EXPECT_EQ(g_Screens[1].monitorInfo.rcMonitor, kLeft.monitor);
  EXPECT_EQ(g_Screens[1].dwWidth, 1280u);
  EXPECT_EQ(g_Screens[2].monitorInfo.rcMonitor, kAbove.monitor);
  EXPECT_EQ(display.LiveObjects(), 3 * kObjectsPerScreen);

  // Hosts learn of as many screens as they have room for.
  for (const int32_t capacity : {64, 3, 2, 0, -1}) {
    ScreenRect rects[64] = {};
    int32_t count = capacity;
    GetScreenInfo(rects, &count);
    EXPECT_EQ(count, std::clamp(capacity, 0, 3));
    EXPECT_EQ(rects[0].work, capacity > 0 ? kPrimary.work : RECT{});
    EXPECT_EQ(rects[2].monitor, capacity > 2 ? kAbove.monitor : RECT{});
    GetScreenInfo(nullptr, &count);
    GetScreenInfo(rects, nullptr);
  }
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

TEST_F(ScreensTest, TheTableHoldsSixtyFourAndScreensDoWithoutClippers) {
  std::vector<ScriptedMonitor> monitors;
  for (int i = 1; i < 70; ++i)
    monitors.push_back({{100 * i, 0, 100 * i + 100, 50}, {100 * i, 0, 100 * i + 100, 50}});
  monitors.push_back(kPrimary);  // too late to be seen
  ScriptedDisplay display(monitors);
  display.Fail(DisplayCall::CreateClipper, DisplayPart::Device, DDERR_OUTOFMEMORY);
  ASSERT_TRUE(InitScreens(true));
  EXPECT_EQ(g_nScreenCount, 64);
  EXPECT_EQ(g_Screens[63].monitorInfo.rcMonitor.left, 6300);
  EXPECT_EQ(g_Screens[0].monitorInfo.rcMonitor, RECT{});
  EXPECT_TRUE(!g_Screens[0].lpPrimaryClipper && g_Screens[0].lpBackClipper);
  ReleaseScreens();
  EXPECT_EQ(display.LiveObjects(), 0);
}

TEST_F(ScreensTest, AFailingStepReleasesItsScreenAndKeepsTheOnesBefore) {
  const std::string tail =
      " errno:13 hr:0x80004005 description:" + std::string(DXGetErrorDescriptionA(DDERR_GENERIC)) + "\n";
  const struct {
    DisplayCall call;
    DisplayPart part;
    std::string line;
  } rows[] = {
      {DisplayCall::CreateDevice, DisplayPart::Driver, "123): DirectDrawCreateEx():Error!\n"},
      {DisplayCall::SetCooperativeLevel, DisplayPart::Device,
       "131): DIRECTDRAW7 SetCooperativeLevel():Error!\n"},
      {DisplayCall::CreateSurface, DisplayPart::Primary,
       "146): DIRECTDRAW7 CreateSurface():lpDDSPrimary Error!" + tail},
      {DisplayCall::GetSurfaceDesc, DisplayPart::Primary,
       "157): DIRECTDRAW7 GetSurfaceDesc():lpDDSPrimary Error errno:13!\n"},
      {DisplayCall::CreateSurface, DisplayPart::Back,
       "187): DIRECTDRAW7 CreateSurface():lpDDSBack Error!" + tail},
      {DisplayCall::GetSurfaceDesc, DisplayPart::Back,
       "199): DIRECTDRAW7 GetSurfaceDesc():lpDDSBack Error errno:13!\n"},
  };
  for (const auto& row : rows) {
    ScriptedDisplay display({kPrimary, kLeft});
    display.Fail(row.call, row.part, DDERR_GENERIC, 2);
    EXPECT_FALSE(InitScreens(true));
    EXPECT_EQ(display.LiveObjects(), kObjectsPerScreen) << row.line;
    EXPECT_THAT(TakeLogLines(seam), ElementsAre(PlacementLine(0), "error: VideoViewer.cpp(" + row.line));
    ReleaseScreens();
    EXPECT_EQ(display.LiveObjects(), 0);
  }
}
