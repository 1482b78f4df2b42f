// A viewer on one or two scripted screens, with a picture to show and a clock that stands still.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "api/Notification.h"
#include "tests/support/LogLines.h"
#include "tests/support/ManualClock.h"
#include "tests/support/ScriptedDisplay.h"
#include "tests/viewer/Rects.h"
#include "video/VideoViewer.h"

constexpr RECT kScreen0 = {0, 0, 1920, 1080};
constexpr RECT kScreen1 = {1920, 0, 3200, 1024};
constexpr RECT kWindow = {100, 100, 804, 676};  // as large as the picture
constexpr int32_t kPlayer = 7;

// Planar pictures: luma 1, 2, 3 ... per row, Cb 100 and up, Cr 200 and up. NV12: the chroma pairs follow the
// luma.
struct TestPicture {
  TestPicture(uint32_t pixelFormat, int32_t w, int32_t h) : format(pixelFormat), width(w), height(h) {
    const auto rows = static_cast<size_t>(h);
    const auto columns = static_cast<size_t>(w);
    strides[0] = static_cast<uint32_t>(w + 32);
    strides[1] = strides[2] = static_cast<uint32_t>(w / 2 + 8);
    luma.resize(strides[0] * rows * 3 / 2);
    cb.resize(strides[1] * rows / 2);
    cr.resize(strides[2] * rows / 2);
    for (size_t row = 0; row < rows; ++row)
      for (size_t x = 0; x < columns; ++x)
        luma[row * strides[0] + x] = static_cast<uint8_t>(row + 1);
    for (size_t row = 0; row < rows / 2; ++row) {
      for (size_t x = 0; x < columns / 2; ++x) {
        cb[row * strides[1] + x] = static_cast<uint8_t>(row + 100);
        cr[row * strides[2] + x] = static_cast<uint8_t>(row + 200);
        uint8_t* pair = &luma[(rows + row) * strides[0] + 2 * x];
        pair[0] = cb[row * strides[1] + x];
        pair[1] = cr[row * strides[2] + x];
      }
    }
    planes[0] = luma.data();
    planes[1] = cb.data();
    planes[2] = cr.data();
  }

  uint32_t format;
  int32_t width, height;
  std::vector<uint8_t> luma, cb, cr;
  const uint8_t* planes[3];
  uint32_t strides[3];
};

class ViewerFixture : public testing::Test {
 protected:
  ViewerFixture()
      : display({{kScreen0, {0, 0, 1920, 1040}}, {kScreen1, kScreen1}}),
        viewer(std::make_unique<VideoViewer>()) {
    EXPECT_TRUE(InitScreens(true));
    viewer->SetPlayerID(kPlayer);
    screenObjects = display.LiveObjects();
    seam.TakeText();
    display.ForgetRecords();
  }
  ~ViewerFixture() override {
    notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(display.LockedSurfaces(), 0);
    viewer.reset();
    EXPECT_EQ(display.LiveObjects(), screenObjects) << "the viewer kept a surface";
    ReleaseScreens();
  }

  bool Show(const TestPicture& shown) {
    return viewer->ShowFrame(shown.planes, shown.strides, shown.format, shown.width, shown.height, timings);
  }
  // Shows a picture and forgets what was recorded and logged on the way.
  void Prime() {
    EXPECT_TRUE(Show(picture));
    display.ForgetRecords();
    seam.TakeText();
  }
  void EnableMain(const RECT& place) { viewer->SetMainPreview(window, &place, true); }
  std::vector<DisplayRecord> Copies(DisplayPart target) const {
    return display.Records(DisplayCall::Blt, target);
  }

  ManualClock seam;
  ScriptedDisplay display;
  std::unique_ptr<VideoViewer> viewer;
  TestPicture picture{QPF_YV12, 704, 576};
  ShowTimings timings;
  HWND window = reinterpret_cast<HWND>(uintptr_t{0x51});
  int screenObjects = 0;
};
