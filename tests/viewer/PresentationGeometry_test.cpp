// Rectangles and the planes of a surface.
#include "video/PresentationGeometry.h"

#include <climits>

#include "tests/viewer/ViewerFixture.h"
#include "video/SurfaceFormat.h"

TEST(PresentationGeometry, SourceLosesTheCropBeforeItIsHalved) {
  EXPECT_EQ(SourceOnSurface({0, 0, 1920, 1088}, 17, false), (RECT{0, 0, 1903, 1080})) << "half of 17 is 8";
  EXPECT_EQ(SourceOnSurface({11, 21, 101, 201}, 16, true), (RECT{5, 10, 42, 96}));
  EXPECT_EQ(SourceOnSurface({-3, -5, 7, 9}, 0, true), (RECT{-1, -2, 3, 4})) << "toward zero";
  EXPECT_EQ(SourceOnSurface({0, 0, INT_MIN, 9}, UINT_MAX, true), (RECT{0, 0, INT_MIN / 2, INT_MIN / 2 + 5}));
}

TEST(PresentationGeometry, WindowsAreDrawnOnScreensThatTheyOverlap) {
  constexpr RECT kMonitor = {1920, 0, 3200, 1024}, kAll = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};
  for (const RECT& over : {RECT{1919, 10, 1921, 20}, {3199, 10, 3300, 20}, {2000, -9, 2100, 1}, kAll})
    EXPECT_TRUE(Overlaps(over, kMonitor)) << testing::PrintToString(over);
  for (const RECT& beside :
       {RECT{0, 10, 1920, 20}, {3200, 10, 3300, 20}, {2000, -9, 2100, 0}, {2000, 1024, 2100, 1100}})
    EXPECT_FALSE(Overlaps(beside, kMonitor)) << testing::PrintToString(beside);
  EXPECT_EQ(WindowOnScreen({1800, -9, 4000, 20}, kMonitor), (RECT{-120, -9, 2080, 20}));
  EXPECT_EQ(ClipToScreen({-120, -9, 2080, 2000}, kMonitor), (RECT{0, 0, 1280, 1024}));
  EXPECT_EQ(WindowOnScreen(kAll, {-9, 100, 0, 200}), (RECT{INT_MIN + 9, INT_MIN, INT_MAX, INT_MAX - 100}));
}

TEST(PresentationGeometry, PlanesFollowThePitchAndMustHoldThePicture) {
  uint8_t memory[64];
  DDSURFACEDESC2 locked = EmptySurfaceDesc();
  locked.lpSurface = memory;
  SurfacePlanes planes;
  const auto fits = [&](uint32_t format, LONG pitch, int32_t width, int32_t height) {
    locked.lPitch = pitch;
    return LaySurfacePlanes(locked, format, width, height, planes);
  };
  EXPECT_TRUE(fits(QPF_YV12, 6, 4, 3));  // 18 luma bytes, 18 * 5 / 4 = 22
  EXPECT_EQ(planes.pPlane[1] - memory, 22);
  EXPECT_EQ(planes.pPlane[2] - memory, 18);
  for (const auto& [format, pitch] :
       {std::pair{QPF_XRGB, 64}, {QPF_YUYV, 32}, {QPF_YV12, 16}, {QPF_NV12, 16}}) {
    EXPECT_TRUE(fits(format, pitch, 16, 4));
    EXPECT_FALSE(fits(format, pitch - 1, 16, 4));
    EXPECT_FALSE(fits(format, -pitch, 16, 4));
    EXPECT_FALSE(fits(format, pitch, INT_MAX, 4));
    EXPECT_FALSE(fits(format, pitch, 16, -4));
  }
  EXPECT_FALSE(fits(0, 64, 16, 4));
  locked.lpSurface = nullptr;
  EXPECT_FALSE(fits(QPF_XRGB, 64, 16, 4));
}

TEST(PresentationGeometry, ZoomingInGoesTowardsAPointAndStaysInsideThePicture) {
  const RECT whole = {0, 0, 704, 576};
  const struct {
    RECT shown;
    int32_t x, y, level;
    RECT closer;
  } cases[] = {
      {whole, 352, 288, 1, {176, 144, 528, 432}},
      {whole, 0, 0, 1, {0, 0, 352, 288}},
      {whole, 704, 576, 1, {352, 288, 704, 576}},
      {whole, INT32_MIN, INT32_MAX, 1, {0, 288, 352, 576}},
      {{176, 144, 528, 432}, 352, 288, 2, {264, 216, 498, 408}},
      {{500, 500, 600, 576},
       704,
       576,
       1,
       {852, 788, 704, 576}},  // the way there leaves the picture: shows nothing
      {{INT32_MAX, INT32_MAX, 0, 0}, 704, 576, 0x7FFFFFFE, {INT32_MAX, INT32_MAX, 704, 576}},
  };
  for (const auto& zoom : cases) {
    const RECT closer = ZoomedIn(zoom.shown, 704, 576, zoom.x, zoom.y, zoom.level);
    EXPECT_EQ(closer, zoom.closer) << zoom.x << " at level " << zoom.level;
  }
}
