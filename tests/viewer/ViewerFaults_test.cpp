// Failing, lost and crashing devices: what is logged, what is dropped, and that the next picture is shown
// again.
#include <climits>

#include "tests/viewer/ViewerFixture.h"
#include "video/VideoViewer.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ViewerFaultsTest : public ViewerFixture {
 protected:
  ViewerFaultsTest() { EnableMain(kWindow); }

  void ExpectNextPictureIsShown() {
    display.ForgetRecords();
    seam.TakeText();
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u);
    EXPECT_THAT(TakeLogLines(seam), IsEmpty());
  }
};

std::string Hex(HRESULT code) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%x", static_cast<unsigned>(code));
  return text;
}

// As the library words it: code and description.
std::string Described(HRESULT code) {
  return "hr:" + Hex(code) + " hrmsg:" + DXGetErrorDescriptionA(code);
}

std::string SystemText(HRESULT code) {
  char* text = nullptr;
  FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
                 nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<char*>(&text), 0, nullptr);
  const std::string result = text != nullptr ? text : "(null)\n";
  LocalFree(text);
  return result;
}

std::string CopyLine(int line, HRESULT code, const std::string& rects, const std::string& failure) {
  return "error: VideoViewer.cpp(" + std::to_string(line) + "): decodeid:7 " + Described(code) +
         " errCode:13 " + rects + " " + failure + "13 errMsg:" + SystemText(code);
}

}  // namespace

TEST_F(ViewerFaultsTest, ASurfaceLostOnceIsRestoredUnnoticed) {
  for (const DisplayPart part : {DisplayPart::OffScreen, DisplayPart::Back, DisplayPart::Primary}) {
    Prime();
    display.Lose(part);
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(display.Records(DisplayCall::Restore).size(), 1u);
    EXPECT_EQ(display.Records(DisplayCall::Restore, part).size(), 1u);
    ASSERT_EQ(Copies(DisplayPart::Primary).empty(), false);
    EXPECT_EQ(Copies(DisplayPart::Primary).back().result, DD_OK);
    EXPECT_THAT(TakeLogLines(seam), IsEmpty());
  }
}

TEST_F(ViewerFaultsTest, ASurfaceLostForEverDropsThePictureAndIsLogged) {
  const std::string lost = Described(DDERR_SURFACELOST);
  const struct {
    DisplayPart part;
    std::string line;
    size_t backCopies, primaryCopies;  // tried
  } rows[] = {
      {DisplayPart::OffScreen,
       "error: VideoViewer.cpp(960): decodeid:7 " + lost +
           " errCode:13 pDDS->lpDDSOffscreen->Lock, DDERR_SURFACELOST\n",
       0, 0},
      {DisplayPart::Back,
       CopyLine(840, DDERR_SURFACELOST, "(0,0,704,576)->(100,100,704,576)",
                "DDERR_SURFACELOST after Restore,lpDDSOffscreen blt to lpDDSBack failed formatMsgErr:"),
       2, 0},
      {DisplayPart::Primary,
       CopyLine(921, DDERR_SURFACELOST, "(100,100,704,576)->(100,100,704,576)",
                "DDERR_SURFACELOST after Restore,lpDDSBack blt to lpDDSPrimary failed formatMsgErr:"),
       1, 2},
  };
  for (const auto& row : rows) {
    Prime();
    display.Lose(row.part, ScriptedDisplay::kForEver);
    EXPECT_TRUE(Show(picture));
    EXPECT_THAT(TakeLogLines(seam), ElementsAre(row.line));
    EXPECT_EQ(display.Records(DisplayCall::Restore).size(), 1u);
    EXPECT_EQ(Copies(DisplayPart::Back).size(), row.backCopies);
    EXPECT_EQ(Copies(DisplayPart::Primary).size(), row.primaryCopies);
    display.Lose(row.part, 1);
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(Copies(DisplayPart::Primary).back().result, DD_OK);
  }
}

TEST_F(ViewerFaultsTest, OtherFailuresAreNotRetried) {
  const struct {
    DisplayCall call;
    DisplayPart part;
    std::string line;
  } rows[] = {
      {DisplayCall::Lock, DisplayPart::OffScreen,
       "error: VideoViewer.cpp(960): decodeid:7 " + Described(DDERR_GENERIC) +
           " errCode:13 pDDS->lpDDSOffscreen->Lock, DDERR_SURFACELOST\n"},
      {DisplayCall::Blt, DisplayPart::Back,
       CopyLine(863, DDERR_GENERIC, "(0,0,704,576)->(-20,504,704,576)",
                "lpDDSOffscreen blt to lpDDSBack failed formatMsgErr")},
      {DisplayCall::Blt, DisplayPart::Primary,
       CopyLine(944, DDERR_GENERIC, "(0,504,684,576)->(0,504,684,576)",
                "lpDDSBack blt to lpDDSPrimary failed formatMsgErr:")},
  };
  EnableMain({-20, 504, 684, 1080});
  for (const auto& row : rows) {
    Prime();
    display.Fail(row.call, row.part, DDERR_GENERIC);
    EXPECT_TRUE(Show(picture));
    EXPECT_THAT(TakeLogLines(seam), ElementsAre(row.line));
    EXPECT_THAT(display.Records(DisplayCall::Restore), IsEmpty());
    ExpectNextPictureIsShown();
  }
}

TEST_F(ViewerFaultsTest, ADifferentFailureAfterTheRestoreIsTheOneLogged) {
  Prime();
  display.Fail(DisplayCall::Blt, DisplayPart::Back, DDERR_SURFACELOST, 1);
  display.Fail(DisplayCall::Blt, DisplayPart::Back, DDERR_GENERIC, 2);
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(TakeLogLines(seam),
              ElementsAre(CopyLine(
                  840, DDERR_GENERIC, "(0,0,704,576)->(100,100,704,576)",
                  "DDERR_SURFACELOST after Restore,lpDDSOffscreen blt to lpDDSBack failed formatMsgErr:")));
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

TEST_F(ViewerFaultsTest, ASurfaceThatCannotBeMadeOnOneScreenReleasesAll) {
  EnableMain({1820, 100, 2020, 300});
  Prime();
  EXPECT_EQ(display.LiveObjects(), screenObjects + 2);
  display.Fail(DisplayCall::CreateSurface, DisplayPart::OffScreen, DDERR_OUTOFMEMORY, 2, 4);
  EXPECT_TRUE(Show(TestPicture(QPF_YV12, 352, 288)));
  EXPECT_EQ(display.LiveObjects(), screenObjects);
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u) << "the first screen had its picture";
}

TEST_F(ViewerFaultsTest, ScreensThatWereNeverStarted) {
  Prime();
  viewer->ResetView();
  ReleaseScreens();
  seam.TakeText();
  EXPECT_FALSE(viewer->Init(704, 576));
  EXPECT_THAT(TakeLogLines(seam),
              ElementsAre("error: VideoViewer.cpp(533): _CreateScreen(): LPDIRECTDRAW7 == NULL!\n"));
  EnableMain(kWindow);
  EXPECT_TRUE(Show(picture));

  // The second of two screens could not be started; its monitor is known all the same.
  display.Fail(DisplayCall::CreateDevice, DisplayPart::Driver, DDERR_GENERIC, 2);
  EXPECT_FALSE(InitScreens(true));
  EnableMain({2000, 100, 2100, 200});
  seam.TakeText();
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(TakeLogLines(seam).back(),
            "error: VideoViewer.cpp(533): _CreateScreen(): LPDIRECTDRAW7 == NULL!\n");
  ReleaseScreens();
  screenObjects = 0;
}

TEST_F(ViewerFaultsTest, ACrashCostsOnePictureAndLeavesNothingLocked) {
  const struct {
    DisplayCall call;
    DisplayPart part;
  } rows[] = {
      {DisplayCall::Lock, DisplayPart::OffScreen},  {DisplayCall::Unlock, DisplayPart::OffScreen},
      {DisplayCall::SetHWnd, DisplayPart::Clipper}, {DisplayCall::Blt, DisplayPart::Back},
      {DisplayCall::Blt, DisplayPart::Primary},     {DisplayCall::CreateSurface, DisplayPart::OffScreen},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(static_cast<int>(row.call));
    viewer->ResetView();
    EnableMain(kWindow);
    g_Screens[0].hClipperWnd = nullptr;
    display.ForgetRecords();
    display.Crash(row.call, row.part);
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(display.LockedSurfaces(), 0);
    ExpectNextPictureIsShown();
  }
}

namespace {

void __cdecl CrashingCallback(uint32_t, void*, void*, void*, RECT*, RECT*) {
  throw "a host's mistake";
}

}  // namespace

TEST_F(ViewerFaultsTest, ACrashingHostCallbackCostsOnePicture) {
  Prime();
  notification::SetCallBack(nullptr, nullptr, CrashingCallback, nullptr);
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(Copies(DisplayPart::Back), IsEmpty());
  notification::SetCallBack(nullptr, nullptr, nullptr, CrashingCallback);
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(Copies(DisplayPart::Primary), IsEmpty());
  notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
  ExpectNextPictureIsShown();
}

TEST_F(ViewerFaultsTest, PicturesWithoutPlanesAreRefused) {
  Prime();
  timings.waitgloballock = 99;
  EXPECT_FALSE(viewer->ShowFrame(nullptr, picture.strides, QPF_YV12, 704, 576, timings));
  EXPECT_FALSE(viewer->ShowFrame(picture.planes, nullptr, QPF_YV12, 704, 576, timings));
  for (const size_t missing : {0u, 1u, 2u}) {
    const uint8_t* planes[] = {picture.planes[0], picture.planes[1], picture.planes[2]};
    planes[missing] = nullptr;
    EXPECT_FALSE(viewer->ShowFrame(planes, picture.strides, QPF_YV12, 704, 576, timings));
  }
  EXPECT_THAT(display.Records(), IsEmpty());
  EXPECT_DOUBLE_EQ(timings.waitgloballock, 99);
  // NV12 has only the first; a format that nothing is known of is copied as it lies in the surface.
  const uint8_t* luma[] = {picture.planes[0], nullptr, nullptr};
  const TestPicture nv12(QPF_NV12, 704, 576);
  luma[0] = nv12.planes[0];
  EXPECT_TRUE(viewer->ShowFrame(luma, nv12.strides, QPF_NV12, 704, 576, timings));
  const uint8_t* none[] = {nullptr, nullptr, nullptr};
  for (const uint32_t format : {0u, 1u, 2u, 5u, UINT_MAX})
    EXPECT_TRUE(viewer->ShowFrame(none, picture.strides, format, 704, 576, timings));
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 6u);
}

TEST_F(ViewerFaultsTest, AbsurdSizesAndRectanglesAreSafe) {
  const struct {
    int32_t width, height;
  } sizes[] = {{0, 0}, {0, 576}, {704, -576}, {-1, -1}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}};
  for (const auto& size : sizes) {
    EXPECT_FALSE(viewer->Init(size.width, size.height));
    EnableMain(kWindow);
    for (const uint32_t format : {QPF_YV12, QPF_NV12, QPF_XRGB})
      EXPECT_TRUE(
          viewer->ShowFrame(picture.planes, picture.strides, format, size.width, size.height, timings));
    EXPECT_EQ(display.LiveObjects(), screenObjects);
  }
  for (const RECT& place :
       {RECT{INT_MIN, INT_MIN, INT_MAX, INT_MAX}, RECT{-1, -1, INT_MAX, 1}, RECT{5, 5, 6, 6}}) {
    EnableMain(place);
    EXPECT_TRUE(Show(picture));
  }
  EnableMain(kWindow);
  EXPECT_TRUE(Show(picture));
  ExpectNextPictureIsShown();
}
