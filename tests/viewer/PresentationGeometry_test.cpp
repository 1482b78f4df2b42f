// Rectangle decisions as tables.
#include "video/PresentationGeometry.h"

#include <gtest/gtest.h>

#include <climits>

#include "tests/viewer/Rects.h"

TEST(PresentationGeometry, HalfSizeNeedsBothSidesAtMostHalf) {
  struct {
    uint32_t format;
    int32_t width, height;
    RECT window;
    bool half;
  } const rows[] = {
      {QPF_YV12, 704, 576, {0, 0, 352, 288}, true},
      {QPF_YV12, 704, 576, {-100, -50, 252, 238}, true},
      {QPF_YV12, 704, 576, {0, 0, 353, 288}, false},
      {QPF_YV12, 704, 576, {0, 0, 352, 289}, false},
      {QPF_YV12, 705, 577, {0, 0, 352, 288}, true},  // the half is rounded down
      {QPF_YV12, 705, 577, {0, 0, 353, 288}, false},
      {QPF_NV12, 704, 576, {0, 0, 100, 100}, false},  // planar pictures only
      {QPF_XRGB, 704, 576, {0, 0, 100, 100}, false},
      {QPF_YV12, 704, 576, {INT_MIN, INT_MIN, INT_MAX, INT_MAX}, false},
  };
  for (const auto& row : rows)
    EXPECT_EQ(UseHalfSize(row.format, row.width, row.height, row.window), row.half)
        << row.width << "x" << row.height << " in " << testing::PrintToString(row.window);
}

TEST(PresentationGeometry, SourceLosesTheCropBeforeItIsHalved) {
  struct {
    RECT source;
    uint32_t nCrop;
    bool half;
    RECT expected;
  } const rows[] = {
      {{0, 0, 1920, 1088}, 0, false, {0, 0, 1920, 1088}},
      {{0, 0, 1920, 1088}, 16, false, {0, 0, 1904, 1080}},
      {{0, 0, 1920, 1088}, 17, false, {0, 0, 1903, 1080}},  // half of 17 is 8
      {{11, 21, 101, 201}, 16, true, {5, 10, 42, 96}},
      {{-3, -5, 7, 9}, 0, true, {-1, -2, 3, 4}},  // toward zero
      {{0, 0, 100, 100}, UINT_MAX, false, {0, 0, INT_MIN, 100 - INT_MAX}},
      {{0, 0, INT_MIN, INT_MIN}, UINT_MAX, true, {0, 0, INT_MIN / 2, INT_MIN / 2}},
  };
  for (const auto& row : rows)
    EXPECT_EQ(SourceOnSurface(row.source, row.nCrop, row.half), row.expected);
}

TEST(PresentationGeometry, WindowsTouchScreensThatTheyOverlap) {
  constexpr RECT monitor = {1920, 0, 3200, 1024};
  struct {
    RECT window;
    bool overlaps;
  } const rows[] = {
      {{1919, 10, 1921, 20}, true},
      {{1900, 10, 1920, 20}, false},  // ends where the monitor begins
      {{3199, 10, 3300, 20}, true},
      {{3200, 10, 3300, 20}, false},
      {{2000, -10, 2100, 1}, true},
      {{2000, -10, 2100, 0}, false},
      {{2000, 1023, 2100, 1100}, true},
      {{2000, 1024, 2100, 1100}, false},
      {{INT_MIN, INT_MIN, INT_MAX, INT_MAX}, true},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Overlaps(row.window, monitor), row.overlaps) << testing::PrintToString(row.window);
}

TEST(PresentationGeometry, TargetsAreTheScreensOwnAndCutToIt) {
  constexpr RECT monitor = {-1280, 100, 0, 1124};
  struct {
    RECT window, onScreen, clipped;
  } const rows[] = {
      {{-1000, 200, -500, 600}, {280, 100, 780, 500}, {280, 100, 780, 500}},
      {{-1400, 0, 100, 2000}, {-120, -100, 1380, 1900}, {0, 0, 1280, 1024}},
      {{INT_MIN, INT_MIN, INT_MAX, INT_MAX},
       {INT_MIN + 1280, INT_MIN, INT_MAX, INT_MAX - 100},
       {0, 0, 1280, 1024}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(WindowOnScreen(row.window, monitor), row.onScreen);
    EXPECT_EQ(ClipToScreen(row.onScreen, monitor), row.clipped);
  }
}
