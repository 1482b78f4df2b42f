// Where pictures go: windows, screens, surfaces, callbacks and times.
#include "video/VideoViewer.h"

#include <atomic>
#include <cstring>
#include <functional>
#include <future>
#include <thread>

#include "tests/viewer/ViewerFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class VideoViewerTest : public ViewerFixture {};

// The host's drawing callbacks are plain functions; these forward to the running test.
struct DrawCall {
  uint32_t nPlayerID;
  void *window, *display, *surface;
  RECT* target;
  RECT* imageRect;
};
std::function<void(const DrawCall&)> g_Before;
std::function<void(const DrawCall&)> g_After;

void __cdecl Before(uint32_t id, void* window, void* display, void* surface, RECT* target, RECT* imageRect) {
  if (g_Before) g_Before({id, window, display, surface, target, imageRect});
}
void __cdecl After(uint32_t id, void* window, void* display, void* surface, RECT* target, RECT* imageRect) {
  if (g_After) g_After({id, window, display, surface, target, imageRect});
}

class DrawCallbackTest : public ViewerFixture {
 protected:
  DrawCallbackTest() { notification::SetCallBack(nullptr, nullptr, Before, After); }
  ~DrawCallbackTest() override {
    g_Before = nullptr;
    g_After = nullptr;
  }
};

}  // namespace

TEST_F(VideoViewerTest, APictureTravelsFromOffScreenToBackToPrimary) {
  EnableMain(kWindow);
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(
      TakeLogLines(seam),
      ElementsAre(
          "error: VideoViewer.cpp(688): decodeid:7 _ShowFrameToScreen lpDDSOffscreen:0x0,try CreateScreen",
          "debug: VideoViewer.cpp(568): _CreateOffScreen first try,decodeid:7 Screen:0 QPF_YV12 "
          "bOffscreen:1 bLocalVidMem:1 bVideoMem:1 bSystemMem:0\n"));
  const auto back = Copies(DisplayPart::Back);
  ASSERT_EQ(back.size(), 1u);
  EXPECT_EQ(back[0].source, (RECT{0, 0, 704, 576}));
  EXPECT_EQ(back[0].target, kWindow);
  const auto primary = Copies(DisplayPart::Primary);
  ASSERT_EQ(primary.size(), 1u);
  EXPECT_EQ(primary[0].source, kWindow);
  EXPECT_EQ(primary[0].target, kWindow);
  const auto locks = display.Records(DisplayCall::Lock);
  ASSERT_EQ(locks.size(), 1u);
  EXPECT_EQ(locks[0].flags, DWORD{DDLOCK_WRITEONLY});
  EXPECT_EQ(locks[0].target, (RECT{0, 0, 704, 576}));

  // The next picture makes no surface, binds no clipper and logs nothing.
  Prime();
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(display.Records(DisplayCall::CreateSurface), IsEmpty());
  EXPECT_THAT(display.Records(DisplayCall::SetHWnd), IsEmpty());
  EXPECT_THAT(TakeLogLines(seam), IsEmpty());
}

TEST_F(VideoViewerTest, PlanesLieInTheSurfaceAsItsFormatWants) {
  EnableMain(kWindow);
  const size_t rows = 576;
  for (const uint32_t format : {QPF_YV12, QPF_NV12, QPF_NV12}) {
    ASSERT_TRUE(Show(TestPicture(format, 704, 576)));
    const std::vector<uint8_t> written = display.LastWritten();
    const auto pitch = static_cast<size_t>(display.LastPitch());
    ASSERT_EQ(written.size(), pitch * rows * 3 / 2);
    EXPECT_EQ(written[0], 1);
    EXPECT_EQ(written[pitch * 9 + 703], 10);
    const bool isNv12 =
        format == QPF_NV12 &&
        display.Records(DisplayCall::CreateSurface).back().format.dwFourCC == MAKEFOURCC('N', 'V', '1', '2');
    // Row 3 of the chroma: pairs, or Cr first and Cb behind it.
    const uint8_t* first =
        isNv12 ? &written[pitch * (rows + 3)] : &written[pitch * rows * 5 / 4 + pitch / 2 * 3];
    const uint8_t* second = isNv12 ? first + 1 : &written[pitch * rows + pitch / 2 * 3];
    EXPECT_EQ(*first, 103);
    EXPECT_EQ(*second, 203);
    if (isNv12) {  // then once more on a display without NV12: the pairs are separated
      display.RefuseFormat(QPF_NV12);
      viewer->ResetView();
      EnableMain(kWindow);
    }
  }
  EXPECT_EQ(display.Records(DisplayCall::CreateSurface).back().format.dwFourCC,
            MAKEFOURCC('Y', 'V', '1', '2'));
}

TEST_F(VideoViewerTest, HalfSizePicturesUseAQuarterOfTheSurface) {
  struct {
    RECT place, locked;
  } const rows[] = {{{10, 10, 362, 298}, {0, 0, 352, 288}}, {{10, 10, 363, 298}, {0, 0, 704, 576}}};
  for (const auto& row : rows) {
    EnableMain(row.place);
    ASSERT_TRUE(Show(picture));
    EXPECT_EQ(display.Records(DisplayCall::Lock).back().target, row.locked);
    EXPECT_EQ(Copies(DisplayPart::Back).back().source, row.locked);
    EXPECT_EQ(Copies(DisplayPart::Back).back().target, row.place);
  }
  // The planes stay where the whole picture's height puts them: luma rows 1 and 2 average to 1, Cr rows 200
  // and 201 to 200.
  EnableMain(rows[0].place);
  ASSERT_TRUE(Show(picture));
  const auto pitch = static_cast<size_t>(display.LastPitch());
  EXPECT_EQ(display.LastWritten()[0], 1);
  EXPECT_EQ(display.LastWritten()[pitch], 3);
  EXPECT_EQ(display.LastWritten()[pitch * 576 + pitch / 2], 202);
}

TEST_F(VideoViewerTest, AWindowOnTwoScreensIsDrawnOnBoth) {
  EnableMain({1820, 100, 2020, 300});
  EXPECT_TRUE(Show(picture));
  const auto back = Copies(DisplayPart::Back);
  const auto primary = Copies(DisplayPart::Primary);
  ASSERT_EQ(back.size(), 2u);
  ASSERT_EQ(primary.size(), 2u);
  EXPECT_EQ(back[0].target, (RECT{1820, 100, 2020, 300}));
  EXPECT_EQ(primary[0].target, (RECT{1820, 100, 1920, 300}));
  EXPECT_EQ(back[1].screen, 1);
  EXPECT_EQ(back[1].target, (RECT{-100, 100, 100, 300}));
  EXPECT_EQ(primary[1].target, (RECT{0, 100, 100, 300}));
  EXPECT_EQ(primary[1].source, (RECT{0, 100, 100, 300}));

  // One screen's failure leaves the other alone.
  display.ForgetRecords();
  display.Fail(DisplayCall::Blt, DisplayPart::Back, DDERR_GENERIC);
  EXPECT_TRUE(Show(picture));
  ASSERT_EQ(Copies(DisplayPart::Primary).size(), 1u);
  EXPECT_EQ(Copies(DisplayPart::Primary)[0].screen, 1);

  // Off every screen there is nothing to do, and no failure.
  display.ForgetRecords();
  EnableMain({5000, 0, 5100, 100});
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(display.Records(), IsEmpty());
}

TEST_F(VideoViewerTest, ClippersFollowTheWindowDrawnLast) {
  const auto other = reinterpret_cast<HWND>(uintptr_t{0x52});
  EnableMain(kWindow);
  viewer->SetSubPreview(other, &kWindow, true);
  EXPECT_TRUE(Show(picture));
  EXPECT_TRUE(Show(picture));
  const auto bound = display.Records(DisplayCall::SetHWnd);
  ASSERT_EQ(bound.size(), 8u);  // two clippers, two windows, two pictures
  const HWND expected[] = {window, window, other, other, window, window, other, other};
  for (size_t i = 0; i < bound.size(); ++i)
    EXPECT_EQ(bound[i].window, expected[i]) << i;
  EXPECT_EQ(g_Screens[0].hClipperWnd, other);
}

TEST_F(VideoViewerTest, WindowsThatCannotBeDrawnFailTheFrame) {
  EXPECT_TRUE(Show(picture)) << "no window is on";
  viewer->SetMainPreview(nullptr, &kWindow, true);
  EXPECT_FALSE(Show(picture));
  constexpr RECT kEmpty = {50, 50, 50, 80};
  EnableMain(kEmpty);
  viewer->SetSubPreview(window, &kWindow, true);
  EXPECT_FALSE(Show(picture)) << "the sub window is drawn all the same";
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u);
  viewer->SetMainPreview(nullptr, nullptr, false);
  EXPECT_TRUE(Show(picture));
  viewer->SetSubPreview(window, &kEmpty, true);
  EXPECT_FALSE(Show(picture));
}

TEST_F(VideoViewerTest, PreviewSettings) {
  // Main: a null rectangle keeps the old one; disabling changes nothing else.
  EnableMain(kWindow);
  viewer->SetMainPreview(nullptr, nullptr, false);
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(display.Records(), IsEmpty());
  viewer->SetMainPreview(window, nullptr, true);
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(Copies(DisplayPart::Back).back().target, kWindow);

  // Sub: enabling with a null rectangle changes only the window, on or off.
  viewer->SetMainPreview(nullptr, nullptr, false);
  viewer->SetSubPreview(window, nullptr, true);
  display.ForgetRecords();
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(display.Records(), IsEmpty());
  viewer->SetSubPreview(window, &kWindow, true);
  const auto other = reinterpret_cast<HWND>(uintptr_t{0x52});
  viewer->SetSubPreview(other, nullptr, true);
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(display.Records(DisplayCall::SetHWnd).back().window, other);
  EXPECT_EQ(Copies(DisplayPart::Back).back().target, kWindow);
  viewer->SetSubPreview(other, nullptr, false);
  display.ForgetRecords();
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(display.Records(), IsEmpty());
}

TEST_F(VideoViewerTest, InitProbesAndANewSizeSwitchesTheMainWindowOff) {
  EnableMain(kWindow);
  viewer->SetSubPreview(window, &kWindow, true);
  EXPECT_TRUE(viewer->Init(704, 576));
  EXPECT_EQ(display.LiveObjects(), screenObjects) << "the probe is not kept";
  EXPECT_THAT(TakeLogLines(seam),
              ElementsAre("debug: VideoViewer.cpp(568): _CreateOffScreen first try,decodeid:7 Screen:0 "
                          "QPF_YV12 bOffscreen:1 bLocalVidMem:1 bVideoMem:1 bSystemMem:0\n"));
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(Copies(DisplayPart::Back).size(), 1u) << "the sub window alone";
  EnableMain(kWindow);
  EXPECT_TRUE(viewer->Init(704, 576));
  display.ForgetRecords();
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(Copies(DisplayPart::Back).size(), 2u) << "the same size keeps the main window";
  viewer->ResetView();
  EXPECT_EQ(display.LiveObjects(), screenObjects);
  display.ForgetRecords();
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(Copies(DisplayPart::Back).size(), 1u);
}

TEST_F(VideoViewerTest, ANewPictureSizeOrFormatMakesNewSurfaces) {
  EnableMain(kWindow);
  Prime();
  EXPECT_TRUE(Show(TestPicture(QPF_YV12, 352, 288)));
  const auto made = display.Records(DisplayCall::CreateSurface);
  ASSERT_EQ(made.size(), 1u);
  EXPECT_EQ(made[0].width, 352u);
  EXPECT_EQ(made[0].height, 288u);
  EXPECT_EQ(Copies(DisplayPart::Back).back().source, (RECT{0, 0, 352, 288}));
  EXPECT_EQ(display.LiveObjects(), screenObjects + 1);
  EXPECT_TRUE(Show(TestPicture(QPF_NV12, 352, 288)));
  EXPECT_TRUE(Show(TestPicture(QPF_NV12, 352, 288)));
  EXPECT_EQ(display.Records(DisplayCall::CreateSurface).size(), 2u);
  EXPECT_EQ(display.LiveObjects(), screenObjects + 1);
  // Only a missing surface is worth the error line.
  for (const std::string& line : TakeLogLines(seam))
    EXPECT_THAT(line, testing::StartsWith("debug: "));
}

TEST_F(DrawCallbackTest, TheHostDrawsAroundTheCopyAndMayMoveIt) {
  constexpr RECT kImage = {30, 40, 130, 140};
  size_t copiesBefore = 99, copiesAfter = 99;
  g_Before = [&](const DrawCall& call) {
    copiesBefore = Copies(DisplayPart::Back).size();
    EXPECT_EQ(call.nPlayerID, 7u);
    EXPECT_EQ(call.window, window);
    EXPECT_EQ(call.display, g_Screens[1].lpDD.Get());
    EXPECT_EQ(call.surface, g_Screens[1].lpDDSBack.Get());
    EXPECT_EQ(*call.target, (RECT{80, 10, 784, 586}));
    EXPECT_EQ(*call.imageRect, RECT{});
    *call.imageRect = kImage;
  };
  g_After = [&](const DrawCall& call) {
    copiesAfter = Copies(DisplayPart::Back).size();
    EXPECT_EQ(*call.imageRect, kImage);
  };
  EnableMain({2000, 10, 2704, 586});
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(copiesBefore, 0u);
  EXPECT_EQ(copiesAfter, 1u);
  EXPECT_EQ(Copies(DisplayPart::Back)[0].target, kImage);
  EXPECT_EQ(Copies(DisplayPart::Primary)[0].target, (RECT{80, 10, 784, 586}))
      << "the window's place all the same";

  g_Before = nullptr;
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(Copies(DisplayPart::Back)[1].target, kImage) << "the viewer keeps it";
  g_After = nullptr;
  viewer->SetMainPreview(window, nullptr, true);
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(Copies(DisplayPart::Back)[2].target, (RECT{80, 10, 784, 586}))
      << "until the main window is set again";
}

TEST_F(DrawCallbackTest, CallbacksCountAsTheBackSurfacesTime) {
  g_Before = [&](const DrawCall&) { seam.Advance(3); };
  g_After = [&](const DrawCall&) { seam.Advance(5); };
  EnableMain(kWindow);
  EXPECT_TRUE(Show(picture));
  EXPECT_DOUBLE_EQ(timings.ddsback, 8);
  EXPECT_DOUBLE_EQ(timings.ddsbackCallback, 5);

  display.Fail(DisplayCall::Blt, DisplayPart::Back, DDERR_GENERIC);
  timings = {};
  EXPECT_TRUE(Show(picture));
  EXPECT_DOUBLE_EQ(timings.ddsback, 3) << "a failed copy took its time too, and had no after-copy callback";
  EXPECT_DOUBLE_EQ(timings.ddsbackCallback, 0);
}

namespace {

// A millisecond passes whenever the clock is read.
class TickingClock : public ManualClock {
 public:
  int64_t PerformanceCounter() override {
    Advance(1);
    return ManualClock::PerformanceCounter();
  }
};

}  // namespace

TEST_F(VideoViewerTest, EveryStageIsTimed) {
  TickingClock clock;
  EnableMain(kWindow);
  viewer->SetSubPreview(window, &kWindow, true);
  timings = {
      .waitgloballock = 99, .ddsback = 10, .ddsprimary = 20, .ddsoffscreen = 30, .ddsbackCallback = 40};
  EXPECT_TRUE(Show(picture));
  EXPECT_DOUBLE_EQ(timings.waitgloballock, 1);
  EXPECT_DOUBLE_EQ(timings.ddsback, 10 + 2 * 2);
  EXPECT_DOUBLE_EQ(timings.ddsprimary, 20 + 2);
  EXPECT_DOUBLE_EQ(timings.ddsoffscreen, 30 + 2);
  EXPECT_DOUBLE_EQ(timings.ddsbackCallback, 40 + 2);
}

namespace {

// Tells when the clock is read for the first time after Arm().
class WatchedClock : public ManualClock {
 public:
  void Arm() { m_bArmed = true; }
  void WaitForReading() { m_Read.get_future().wait(); }
  int64_t PerformanceCounter() override {
    const int64_t now = ManualClock::PerformanceCounter();
    if (m_bArmed.exchange(false)) m_Read.set_value();
    return now;
  }

 private:
  std::atomic<bool> m_bArmed{false};
  std::promise<void> m_Read;
};

}  // namespace

TEST_F(VideoViewerTest, OnePictureAtATimeWhenTheViewLockIsOn) {
  WatchedClock clock;
  EnableMain(kWindow);
  Prime();
  std::thread player;
  {
    ScopedLock others(g_ViewGlobalLock);
    clock.Arm();
    player = std::thread([&] { EXPECT_TRUE(Show(picture)); });
    clock.WaitForReading();  // it has noted when its wait began
    clock.Advance(7);
    EXPECT_THAT(display.Records(), IsEmpty());
  }
  player.join();
  EXPECT_DOUBLE_EQ(timings.waitgloballock, 7);
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u);

  ReleaseScreens();
  viewer->ResetView();
  ASSERT_TRUE(InitScreens(false));
  EnableMain(kWindow);
  ScopedLock others(g_ViewGlobalLock);
  std::thread([&] { EXPECT_TRUE(Show(picture)); }).join();  // waits for nobody
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 2u);
}
