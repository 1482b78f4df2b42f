// Where pictures go: windows, screens, surfaces, callbacks and times.
#include "video/VideoViewer.h"

#include <functional>
#include <future>
#include <thread>

#include "tests/viewer/ViewerFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using VideoViewerTest = ViewerFixture;

// The host's drawing callbacks are plain functions; these forward to the running test.
std::function<void(void*surface, RECT*target, RECT*imageRect)> g_Before, g_After;

void __cdecl Before(uint32_t id, void* window, void* display, void* surface, RECT* target, RECT* imageRect) {
  EXPECT_TRUE(id == 7 && window != nullptr && display != nullptr);
  g_Before(surface, target, imageRect);
}
void __cdecl After(uint32_t, void*, void*, void* surface, RECT* target, RECT* imageRect) {
  g_After(surface, target, imageRect);
}

}  // namespace

TEST_F(VideoViewerTest, APictureTravelsFromOffScreenToBackToPrimary) {
  const std::string placed =
      "debug: VideoViewer.cpp(568): _CreateOffScreen first try,decodeid:7 Screen:0 QPF_YV12 "
      "bOffscreen:1 bLocalVidMem:1 bVideoMem:1 bSystemMem:0\n";
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(
      TakeLogLines(seam),
      ElementsAre(
          "error: VideoViewer.cpp(688): decodeid:7 _ShowFrameToScreen lpDDSOffscreen:0x0,try CreateScreen",
          placed));
  EXPECT_THAT(Copied(DisplayPart::Back), ElementsAre(std::pair(RECT{0, 0, 704, 576}, kWindow)));
  EXPECT_THAT(Copied(DisplayPart::Primary), ElementsAre(std::pair(kWindow, kWindow)));
  ASSERT_EQ(display.Records(DisplayCall::Lock).size(), 1u);
  EXPECT_EQ(display.Records(DisplayCall::Lock)[0].flags, DWORD{DDLOCK_WRITEONLY});

  // The next picture makes no surface, binds no clipper and logs nothing.
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(display.Records().size(), 4u) << "lock, unlock and two copies";
  EXPECT_THAT(TakeLogLines(seam), IsEmpty());

  // A new size or format makes a new surface; only a missing one is worth the error line.
  for (const uint32_t format : {QPF_YV12, QPF_NV12}) {
    EXPECT_TRUE(Show(TestPicture(format, 352, 288)));
    ASSERT_EQ(display.Records(DisplayCall::CreateSurface).size(), 1u);
    EXPECT_EQ(display.Records(DisplayCall::CreateSurface)[0].width, 352u);
    EXPECT_EQ(Copies(DisplayPart::Back)[0].source, (RECT{0, 0, 352, 288}));
    EXPECT_THAT(TakeLogLines(seam), ElementsAre(testing::StartsWith("debug: ")));
    EXPECT_EQ(display.LiveObjects(), screenObjects + 1);
  }
  // Opening a stream probes, keeps nothing, and switches the main window off when the size is new.
  EXPECT_TRUE(viewer->Init(352, 288));
  EXPECT_EQ(display.LiveObjects(), screenObjects);
  EXPECT_TRUE(Show(TestPicture(QPF_YV12, 352, 288)));
  EXPECT_EQ(Copies(DisplayPart::Back).size(), 1u);
  seam.TakeText();
  EXPECT_TRUE(viewer->Init(704, 576));
  EXPECT_THAT(TakeLogLines(seam), ElementsAre(placed));
  EXPECT_TRUE(Show(picture));
  EXPECT_THAT(display.Records(), IsEmpty());
}

TEST_F(VideoViewerTest, PlanesLieInTheSurfaceAsItsFormatWants) {
  const size_t rows = 576;
  std::vector<DWORD> formats;
  for (const uint32_t format : {QPF_YV12, QPF_NV12, QPF_NV12}) {
    ASSERT_TRUE(Show(TestPicture(format, 704, 576)));
    const std::vector<uint8_t> written = display.LastWritten();
    const auto pitch = static_cast<size_t>(display.LastPitch());
    EXPECT_EQ(written[pitch * 9 + 703], 10);
    // Row 3 of the chroma: pairs, or Cr first and Cb behind it.
    const DWORD fourCC = display.Records(DisplayCall::CreateSurface).back().fourCC;
    const bool isNv12 = fourCC == MAKEFOURCC('N', 'V', '1', '2');
    EXPECT_EQ(written[isNv12 ? pitch * (rows + 3) : pitch * rows * 5 / 4 + pitch / 2 * 3], 103);
    EXPECT_EQ(written[isNv12 ? pitch * (rows + 3) + 1 : pitch * rows + pitch / 2 * 3], 203);
    formats.push_back(fourCC);
    if (isNv12) display.RefuseFormat(QPF_NV12);  // then once more: the pairs are separated
    viewer->ResetView();
    EnableMain(kWindow);
  }
  constexpr DWORD kYv12 = MAKEFOURCC('Y', 'V', '1', '2');
  EXPECT_THAT(formats, ElementsAre(kYv12, MAKEFOURCC('N', 'V', '1', '2'), kYv12));
  // Half-size pictures use a quarter of the surface, with planes where the whole picture's height puts them.
  for (const LONG right : {363, 362}) {
    EnableMain({10, 10, right, 298});
    ASSERT_TRUE(Show(picture));
    const RECT used = right == 362 ? RECT{0, 0, 352, 288} : RECT{0, 0, 704, 576};
    EXPECT_EQ(display.Records(DisplayCall::Lock).back().target, used);
    EXPECT_EQ(Copies(DisplayPart::Back).back().source, used);
  }
  const auto pitch = static_cast<size_t>(display.LastPitch());
  EXPECT_EQ(display.LastWritten()[pitch], 3) << "the mean of rows 3 and 4";
  EXPECT_EQ(display.LastWritten()[pitch * rows + pitch / 2], 202);
}

TEST_F(VideoViewerTest, AWindowOnTwoScreensIsDrawnOnBoth) {
  EnableMain({1820, 100, 2020, 300});
  EXPECT_TRUE(Show(picture));
  const RECT whole = {0, 0, 352, 288}, onFirst = {1820, 100, 2020, 300}, onSecond = {-100, 100, 100, 300};
  EXPECT_THAT(Copied(DisplayPart::Back), ElementsAre(std::pair(whole, onFirst), std::pair(whole, onSecond)));
  const RECT ofFirst = {1820, 100, 1920, 300}, ofSecond = {0, 100, 100, 300};
  EXPECT_THAT(Copied(DisplayPart::Primary),
              ElementsAre(std::pair(ofFirst, ofFirst), std::pair(ofSecond, ofSecond)));
  EXPECT_EQ(Copies(DisplayPart::Back)[1].screen, 1);

  // One screen's failure leaves the other alone.
  display.Fail(DisplayCall::Blt, DisplayPart::Back, DDERR_GENERIC);
  EXPECT_TRUE(Show(picture));
  ASSERT_EQ(Copies(DisplayPart::Primary).size(), 1u);
  EXPECT_EQ(Copies(DisplayPart::Primary)[0].screen, 1);
  // A surface that cannot be made on the second one takes that of the first along.
  display.Fail(DisplayCall::CreateSurface, DisplayPart::OffScreen, DDERR_OUTOFMEMORY, 2, 4);
  EXPECT_TRUE(Show(TestPicture(QPF_YV12, 352, 288)));
  EXPECT_EQ(display.LiveObjects(), screenObjects);
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u);
  // Off every screen, and along their edges, there is nothing to do, and no failure.
  for (const RECT& off : {RECT{5000, 0, 5100, 100},
                          {-100, 0, 0, 100},
                          {3200, 0, 3300, 100},
                          {10, -9, 20, 0},
                          {10, 1080, 20, 1090}}) {
    EnableMain(off);
    EXPECT_TRUE(Show(picture));
    EXPECT_THAT(display.Records(), IsEmpty());
  }
}

TEST_F(VideoViewerTest, WindowsAreSwitchedAndClippersFollowThem) {
  constexpr RECT kSub = {10, 20, 714, 596}, kEmpty = {50, 50, 50, 80};
  // Shows a picture and checks its result, and which windows it was clipped to and drawn at.
  const auto expect = [&](bool result, const std::vector<HWND>& clipped, const std::vector<RECT>& drawn) {
    EXPECT_EQ(Show(picture), result);
    std::vector<HWND> bound;
    std::vector<RECT> places;
    for (const DisplayRecord& record : display.Records(DisplayCall::SetHWnd))
      bound.push_back(record.window);
    for (const DisplayRecord& record : Copies(DisplayPart::Back))
      places.push_back(record.target);
    std::vector<HWND> twice;  // there are two clippers
    for (HWND one : clipped)
      twice.insert(twice.end(), 2, one);
    EXPECT_EQ(bound, twice);
    EXPECT_EQ(places, drawn);
  };
  viewer->SetSubPreview(other, nullptr, true);
  expect(true, {window}, {kWindow});  // without a place, the sub window stays off
  viewer->SetSubPreview(other, &kSub, true);
  expect(true, {other}, {kWindow, kSub});
  expect(true, {window, other}, {kWindow, kSub});
  viewer->SetSubPreview(window, nullptr, true);  // a new window at the old place
  expect(true, {window}, {kWindow, kSub});
  viewer->SetMainPreview(nullptr, &kEmpty, false);  // changes nothing else
  expect(true, {}, {kSub});
  viewer->SetSubPreview(window, nullptr, false);
  expect(true, {}, {});
  viewer->SetMainPreview(other, nullptr, true);
  expect(true, {other}, {kWindow});
  // Windows that cannot be drawn fail the picture; the other one is drawn all the same.
  viewer->SetMainPreview(nullptr, nullptr, true);
  viewer->SetSubPreview(other, &kSub, true);
  expect(false, {}, {kSub});
  EnableMain(kEmpty);
  expect(false, {}, {kSub});
  EnableMain(kWindow);
  viewer->SetSubPreview(other, &kEmpty, true);
  expect(false, {window}, {kWindow});
}

TEST_F(VideoViewerTest, TheHostDrawsAroundTheCopyAndMayMoveIt) {
  constexpr RECT kImage = {30, 40, 130, 140}, kPlace = {80, 10, 784, 586};
  notification::SetCallBack(nullptr, nullptr, Before, After);
  g_Before = [&](void* surface, RECT* target, RECT* imageRect) {
    EXPECT_THAT(Copies(DisplayPart::Back), IsEmpty());
    EXPECT_EQ(surface, g_Screens[1].lpDDSBack.Get());
    EXPECT_EQ(*target, kPlace);
    *imageRect = kImage;
  };
  g_After = [&](void* surface, RECT* target, RECT* imageRect) {
    EXPECT_EQ(Copies(DisplayPart::Back).size(), 1u);
    EXPECT_EQ(surface, g_Screens[1].lpDDSBack.Get());
    EXPECT_TRUE(*target == kPlace && *imageRect == kImage);
  };
  EnableMain({2000, 10, 2704, 586});
  for (int kept = 0; kept < 2; ++kept) {
    EXPECT_TRUE(Show(picture));
    EXPECT_EQ(Copies(DisplayPart::Back)[0].target, kImage);
    EXPECT_EQ(Copies(DisplayPart::Primary)[0].target, kPlace) << "the window's place all the same";
    notification::SetCallBack(nullptr, nullptr, nullptr, After);
  }
  viewer->SetMainPreview(window, nullptr, true);  // clears the image's place
  notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
  EXPECT_TRUE(Show(picture));
  EXPECT_EQ(Copies(DisplayPart::Back)[0].target, kPlace);
}

TEST_F(VideoViewerTest, OnePictureAtATimeWhenTheViewLockIsOnAndEveryStageIsTimed) {
  // Tells when it is read for the first time; from then on a millisecond passes with every reading.
  struct TickingClock : ManualClock {
    int64_t PerformanceCounter() override {
      const int64_t now = ManualClock::PerformanceCounter();
      bRead.exchange(true) ? Advance(1) : read.set_value();
      return now;
    }
    std::atomic<bool> bRead{false};
    std::promise<void> read;
  } clock;
  std::thread player;
  notification::SetCallBack(nullptr, nullptr, Before, After);
  g_Before = [&](void*, RECT*, RECT*) { clock.Advance(100); };
  g_After = [&](void*, RECT*, RECT*) { clock.Advance(1000); };
  {
    ScopedLock others(g_ViewGlobalLock);
    player = std::thread([&] { EXPECT_TRUE(Show(picture)); });
    clock.read.get_future().wait();  // it has noted when its wait began
    clock.Advance(7);
    EXPECT_THAT(display.Records(), IsEmpty());
  }
  player.join();
  EXPECT_DOUBLE_EQ(timings.waitgloballock, 7);
  EXPECT_DOUBLE_EQ(timings.ddsback, 1102);
  EXPECT_DOUBLE_EQ(timings.ddsbackCallback, 1001);
  EXPECT_DOUBLE_EQ(timings.ddsprimary, 1);
  EXPECT_DOUBLE_EQ(timings.ddsoffscreen, 1);
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u);

  notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
  ReleaseScreens();
  viewer->ResetView();
  ASSERT_TRUE(InitScreens(false));
  EnableMain(kWindow);
  ScopedLock others(g_ViewGlobalLock);
  std::thread([&] { EXPECT_TRUE(Show(picture)); }).join();  // waits for nobody
  EXPECT_EQ(Copies(DisplayPart::Primary).size(), 1u);
}
