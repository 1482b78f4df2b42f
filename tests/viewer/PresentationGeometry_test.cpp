// Rectangles, surface formats and the planes of a surface, as tables.
#include "video/PresentationGeometry.h"

#include <climits>

#include "tests/viewer/ViewerFixture.h"
#include "video/SurfaceFormat.h"

TEST(PresentationGeometry, HalfSizeNeedsBothSidesAtMostHalf) {
  EXPECT_TRUE(UseHalfSize(QPF_YV12, 704, 576, {-100, -50, 252, 238}));
  EXPECT_FALSE(UseHalfSize(QPF_YV12, 704, 576, {0, 0, 353, 288}));
  EXPECT_FALSE(UseHalfSize(QPF_YV12, 704, 576, {0, 0, 352, 289}));
  EXPECT_FALSE(UseHalfSize(QPF_YV12, 705, 577, {0, 0, 353, 288})) << "the half is rounded down";
  EXPECT_FALSE(UseHalfSize(QPF_NV12, 704, 576, {0, 0, 100, 100})) << "planar pictures only";
  EXPECT_FALSE(UseHalfSize(QPF_YV12, 704, 576, {INT_MIN, INT_MIN, INT_MAX, INT_MAX}));
}

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

TEST(SurfaceFormat, NamesDescriptionsAndPitches) {
  constexpr DWORD kYuv = DDPF_FOURCC | DDPF_YUV;
  const struct {
    uint32_t format;
    const char* name;
    DWORD flags, fourCC, bits;  // flags 0: no surface has this format
    LONG pitch;                 // the least for 16 pixels
  } rows[] = {{0, "QPF_Unknown", 0, 0, 0, 0},
              {1, "QPF_XRGB", DDPF_RGB, 0, 32, 64},
              {2, "QPF_YUYV", kYuv, 0x32595559, 16, 32},
              {3, "QPF_YV12", kYuv, 0x32315659, 8, 16},
              {4, "QPF_NV12", kYuv, 0x3231564E, 8, 16},
              {5, "QPF_D3DSurface", 0, 0, 0, 0},
              {UINT_MAX, "QPF_Unknown", 0, 0, 0, 0}};
  uint8_t byte = 0;
  for (const auto& row : rows) {
    EXPECT_STREQ(FormatName(row.format), row.name);
    DDPIXELFORMAT description = {};
    EXPECT_EQ(DescribePixelFormat(row.format, description), row.flags != 0) << row.name;
    EXPECT_EQ(description.dwFlags, row.flags) << row.name;
    EXPECT_EQ(description.dwFourCC, row.fourCC) << row.name;
    EXPECT_EQ(description.dwRGBBitCount, row.bits) << row.name;
    EXPECT_EQ(description.dwGBitMask, row.format == 1 ? 0xFF00u : 0u) << row.name;

    SurfacePlanes planes;
    DDSURFACEDESC2 locked = EmptySurfaceDesc();
    for (void* memory : {static_cast<void*>(&byte), static_cast<void*>(nullptr)}) {
      locked.lpSurface = memory;
      for (const LONG pitch : {row.pitch, row.pitch - 1, LONG{-64}, LONG{0}}) {
        locked.lPitch = pitch;
        const bool fits = row.flags != 0 && pitch == row.pitch && memory != nullptr;
        EXPECT_EQ(LaySurfacePlanes(locked, row.format, 16, 4, planes), fits) << row.name << " " << pitch;
        EXPECT_FALSE(LaySurfacePlanes(locked, row.format, INT_MAX, 4, planes));
        EXPECT_FALSE(LaySurfacePlanes(locked, row.format, 0, -4, planes));
      }
    }
  }
}
