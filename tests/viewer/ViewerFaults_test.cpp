// Failing, lost and crashing devices: what is logged, what is dropped, and that the next picture is shown
// again.
#include <climits>
#include <functional>

#include "tests/viewer/ViewerFixture.h"
#include "video/PresentationGeometry.h"
#include "video/SurfaceFormat.h"

using testing::ElementsAre;

namespace {

using ViewerFaultsTest = ViewerFixture;

// As the library words it: code and description.
std::string Described(HRESULT code) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%x", static_cast<unsigned>(code));
  return "hr:" + std::string(text) + " hrmsg:" + DXGetErrorDescriptionA(code);
}

std::string CopyLine(int line, HRESULT code, const std::string& rects, const std::string& failure) {
  return "error: VideoViewer.cpp(" + std::to_string(line) + "): decodeid:7 " + Described(code) +
         " errCode:13 " + rects + " " + failure +
         "13 errMsg:" + (code == DDERR_GENERIC ? "Unspecified error" : "(null)\n");
}

void __cdecl CrashingCallback(uint32_t, void*, void*, void*, RECT*, RECT*) {
  throw "a host's mistake";
}

}  // namespace

TEST_F(ViewerFaultsTest, FailingSurfacesCostOnePictureAndLostOnesAreRestored) {
  constexpr HRESULT kLost = DDERR_SURFACELOST;
  using enum DisplayPart;
  const std::string toBack = "(0,0,704,576)->(-20,504,704,576)";
  const std::string toPrimary = "(0,504,684,576)->(0,504,684,576)";
  const std::string back = "lpDDSOffscreen blt to lpDDSBack failed formatMsgErr";
  const std::string primary = "lpDDSBack blt to lpDDSPrimary failed formatMsgErr:";
  const std::string afterRestore = "DDERR_SURFACELOST after Restore,";
  const auto lockLine = [](HRESULT code) {
    return "error: VideoViewer.cpp(960): decodeid:7 " + Described(code) +
           " errCode:13 pDDS->lpDDSOffscreen->Lock, DDERR_SURFACELOST\n";
  };
  const struct {
    DisplayPart part;
    HRESULT code, codeAfterRestore;
    std::string line;                  // none: the restore helps
    size_t backCopies, primaryCopies;  // tried
  } rows[] = {
      {OffScreen, kLost, DD_OK, "", 1, 1},
      {Back, kLost, DD_OK, "", 2, 1},
      {Primary, kLost, DD_OK, "", 1, 2},
      {OffScreen, kLost, kLost, lockLine(kLost), 0, 0},
      {Back, kLost, kLost, CopyLine(840, kLost, toBack, afterRestore + back + ":"), 2, 0},
      {Primary, kLost, kLost, CopyLine(921, kLost, toPrimary, afterRestore + primary), 1, 2},
      {Back, kLost, DDERR_GENERIC, CopyLine(840, DDERR_GENERIC, toBack, afterRestore + back + ":"), 2, 0},
      {OffScreen, DDERR_GENERIC, DD_OK, lockLine(DDERR_GENERIC), 0, 0},
      {Back, DDERR_GENERIC, DD_OK, CopyLine(863, DDERR_GENERIC, toBack, back), 1, 0},
      {Primary, DDERR_GENERIC, DD_OK, CopyLine(944, DDERR_GENERIC, toPrimary, primary), 1, 1},
  };
  EnableMain({-20, 504, 684, 1080});
  for (const auto& row : rows) {
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(Copies(Primary).size(), 1u) << "the next picture is shown";
    const DisplayCall call = row.part == OffScreen ? DisplayCall::Lock : DisplayCall::Blt;
    if (row.code == row.codeAfterRestore)
      display.Lose(row.part, ScriptedDisplay::kForEver);
    else if (row.codeAfterRestore == DD_OK && row.code == kLost)
      display.Lose(row.part);
    else
      display.Fail(call, row.part, row.code);
    if (row.codeAfterRestore == DDERR_GENERIC) display.Fail(call, row.part, DDERR_GENERIC, 2);
    EXPECT_TRUE(Show(picture));
    const std::vector<std::string> expected(row.line.empty() ? 0 : 1, row.line);
    EXPECT_EQ(TakeLogLines(seam), expected);
    EXPECT_EQ(display.Records(DisplayCall::Restore, row.part).size(), row.code == kLost ? 1u : 0u);
    EXPECT_EQ(Copies(Back).size(), row.backCopies) << row.line;
    EXPECT_EQ(Copies(Primary).size(), row.primaryCopies) << row.line;
    if (row.code == row.codeAfterRestore) {
      display.Lose(row.part, 1);
      EXPECT_TRUE(Show(picture));
    }
  }
}

TEST_F(ViewerFaultsTest, SurfacesFallBackToFormatsThatTheDisplayTakes) {
  const std::string refused =
      " description:" + std::string(DXGetErrorDescriptionA(DDERR_INVALIDPIXELFORMAT)) + "\n";
  const auto second = [&](const char* name) {
    return "error: VideoViewer.cpp(615): _CreateOffScreen second try,decodeid:7 Screen:0 "
           "CreateSurface():PixelFormat:" +
           std::string(name) + " Error! err:13 hr:0x88760091" + refused;
  };
  const std::string missing =
      "error: VideoViewer.cpp(688): decodeid:7 _ShowFrameToScreen lpDDSOffscreen:0x0,try CreateScreen";
  const std::string first =
      "error: VideoViewer.cpp(577): _CreateOffScreen first try,decodeid:7 Screen:0 "
      "CreateSurface():PixelFormat:QPF_YV12 "
      "dwWidth:704 dwHeight:576 Error! err:13 hr:0x88760091" +
      refused;
  const std::string placed = " bOffscreen:1 bLocalVidMem:1 bVideoMem:1 bSystemMem:0\n";

  display.RefuseFormat(QPF_YV12);
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(
      TakeLogLines(seam),
      ElementsAre(
          missing, first, second("QPF_YV12"),
          "debug: VideoViewer.cpp(606): _CreateOffScreen second try,decodeid:7 Screen:0 QPF_YUYV" + placed));
  EXPECT_EQ(display.LastWritten()[0], 1);
  EXPECT_EQ(display.LastWritten()[1], 100) << "packed";
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u);

  display.RefuseFormat(QPF_YUYV);
  ASSERT_TRUE(viewer->Init(704, 576)) << "32-bit RGB is left";
  viewer->ResetView();
  EnableMain(kWindow);
  seam.TakeText();
  display.RefuseFormat(QPF_XRGB);
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(TakeLogLines(seam),
              ElementsAre(missing, first, second("QPF_YV12"), second("QPF_YUYV"), second("QPF_XRGB")));
  EXPECT_FALSE(viewer->Init(704, 576));
  EXPECT_EQ(display.LiveObjects(), screenObjects);
}

TEST_F(ViewerFaultsTest, ScreensThatWereNeverStarted) {
  const std::string line = "error: VideoViewer.cpp(533): _CreateScreen(): LPDIRECTDRAW7 == NULL!\n";
  ReleaseScreens();
  EXPECT_FALSE(viewer->Init(704, 576));
  EXPECT_THAT(TakeLogLines(seam), ElementsAre(line));
  EXPECT_TRUE(Show(picture));

  // The second of two screens could not be started; its monitor is known all the same.
  display.Fail(DisplayCall::CreateDevice, DisplayPart::Driver, DDERR_GENERIC, 2);
  EXPECT_FALSE(InitScreens(true));
  EnableMain({2000, 100, 2100, 200});
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(TakeLogLines(seam).back(), line);
  ReleaseScreens();
  screenObjects = 0;
}

TEST_F(ViewerFaultsTest, ACrashCostsOnePictureAndLeavesNothingLocked) {
  using enum DisplayPart;
  const std::function<void()> crashes[] = {
      [&] { display.Crash(DisplayCall::Unlock, OffScreen); },
      [&] { display.Crash(DisplayCall::SetHWnd, Clipper); },
      [&] { display.Crash(DisplayCall::Blt, Back); },
      [&] { display.Crash(DisplayCall::CreateSurface, OffScreen); },
      [&] { notification::SetCallBack(nullptr, nullptr, CrashingCallback, nullptr); },
      [&] { notification::SetCallBack(nullptr, nullptr, nullptr, CrashingCallback); },
  };
  for (const auto& crash : crashes) {
    viewer->ResetView();
    EnableMain(kWindow);
    g_Screens[0].hClipperWnd = nullptr;
    crash();
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(display.LockedSurfaces(), 0);
    EXPECT_TRUE(Copies(Primary).empty());
    notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(Copies(Primary).size(), 1u);
  }
}

TEST_F(ViewerFaultsTest, PicturesWithoutPlanesAreRefused) {
  const uint8_t* const luma = picture.planes[0];
  const struct {
    const uint8_t* planes[3];
    uint32_t format;
    bool shown;
  } rows[] = {{{nullptr, luma, luma}, QPF_YV12, false},
              {{luma, nullptr, luma}, QPF_YV12, false},
              {{luma, luma, nullptr}, QPF_YV12, false},
              {{luma, nullptr, nullptr}, QPF_NV12, true},
              {{nullptr, luma, luma}, QPF_NV12, false},
              {{}, QPF_XRGB, true},
              {{}, 5, true},
              {{}, UINT_MAX, true}};
  for (const auto& row : rows) {
    display.ForgetRecords();
    EXPECT_EQ(viewer->ShowFrame(row.planes, picture.strides, row.format, 704, 576, timings), row.shown);
    // Of a format that nothing is known of, what lies in the surface is copied.
    EXPECT_EQ(Copies(DisplayPart::Primary).size(), row.shown ? 1u : 0u);
  }
  EXPECT_FALSE(viewer->ShowFrame(nullptr, picture.strides, QPF_YV12, 704, 576, timings));
  EXPECT_FALSE(viewer->ShowFrame(picture.planes, nullptr, QPF_YV12, 704, 576, timings));
}

TEST_F(ViewerFaultsTest, AbsurdSizesAndRectanglesAreSafe) {
  for (const auto& [width, height] :
       {std::pair{0, 0}, {0, 576}, {704, -576}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}}) {
    EXPECT_FALSE(viewer->Init(width, height));
    EnableMain(kWindow);
    for (const uint32_t format : {QPF_YV12, QPF_NV12, QPF_XRGB})
      EXPECT_TRUE(viewer->ShowFrame(picture.planes, picture.strides, format, width, height, timings));
    EXPECT_EQ(display.LiveObjects(), screenObjects);
  }
  EnableMain({INT_MIN, INT_MIN, INT_MAX, INT_MAX});
  EXPECT_TRUE(Show(picture));
}

TEST(SurfacePlanes, MustHoldThePicture) {
  uint8_t memory[64];
  DDSURFACEDESC2 locked = EmptySurfaceDesc();
  locked.lpSurface = memory;
  SurfacePlanes planes;
  const auto fits = [&](uint32_t format, LONG pitch, int32_t width, int32_t height) {
    locked.lPitch = pitch;
    return LaySurfacePlanes(locked, format, width, height, planes);
  };
  for (const auto& [format, pitch] :
       {std::pair{QPF_XRGB, 64}, {QPF_YUYV, 32}, {QPF_YV12, 16}, {QPF_NV12, 16}}) {
    EXPECT_TRUE(fits(format, pitch, 16, 4));
    EXPECT_FALSE(fits(format, pitch - 1, 16, 4) || fits(format, -pitch, 16, 4));
    EXPECT_FALSE(fits(format, pitch, INT_MAX, 4) || fits(format, pitch, 16, -4));
  }
  EXPECT_FALSE(fits(0, 64, 16, 4));
  locked.lpSurface = nullptr;
  EXPECT_FALSE(fits(QPF_XRGB, 64, 16, 4));
}

TEST(PresentationGeometry, NeverOverflows) {
  constexpr RECT kAll = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};
  EXPECT_EQ(WindowOnScreen(kAll, {-9, 100, 0, 200}), (RECT{INT_MIN + 9, INT_MIN, INT_MAX, INT_MAX - 100}));
  EXPECT_EQ(SourceOnSurface({-3, 0, INT_MIN, 9}, UINT_MAX, true),
            (RECT{-1, 0, INT_MIN / 2, INT_MIN / 2 + 5}));
  EXPECT_EQ(SourceOnSurface({0, 0, 1920, 1088}, 17, false), (RECT{0, 0, 1903, 1080})) << "half of 17 is 8";
  EXPECT_EQ(ZoomedIn({INT_MAX, INT_MAX, 0, 0}, 704, 576, 704, 576, INT_MAX - 1),
            (RECT{INT_MAX, INT_MAX, 704, 576}));
}
