// A viewer on two scripted screens, with a picture to show and a clock that stands still.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "api/Notification.h"
#include "tests/support/LogLines.h"
#include "tests/support/ManualClock.h"
#include "tests/support/ScriptedDisplay.h"
#include "video/VideoViewer.h"

inline bool operator==(const RECT& a, const RECT& b) {
  return std::memcmp(&a, &b, sizeof(a)) == 0;
}
inline void PrintTo(const RECT& rect, std::ostream* out) {
  *out << '(' << rect.left << ',' << rect.top << ',' << rect.right << ',' << rect.bottom << ')';
}

constexpr RECT kWindow = {100, 100, 804, 676};  // as large as the picture

// Planar pictures: luma 1, 2, 3 ... per row, Cb 100 and up, Cr 200 and up. NV12: the chroma pairs follow the
// luma.
struct TestPicture {
  TestPicture(uint32_t pixelFormat, int32_t w, int32_t h) : format(pixelFormat), width(w), height(h) {
    for (size_t i = 0; i < 3; ++i) {
      strides[i] = static_cast<uint32_t>(i == 0 ? w + 32 : w / 2 + 8);
      memory[i].resize(strides[i] * static_cast<size_t>(i == 0 ? h * 3 / 2 : h / 2));
      planes[i] = memory[i].data();
      for (size_t at = 0; at < memory[i].size(); ++at)
        memory[i][at] = static_cast<uint8_t>(at / strides[i] + (i == 0 ? 1 : 100 * i));
    }
    for (size_t at = strides[0] * static_cast<size_t>(h); at < memory[0].size(); ++at) {
      const size_t row = at / strides[0] - static_cast<size_t>(h);
      memory[0][at] = static_cast<uint8_t>(row + (at % strides[0] % 2 == 0 ? 100 : 200));
    }
  }

  uint32_t format;
  int32_t width, height;
  std::vector<uint8_t> memory[3];
  const uint8_t* planes[3];
  uint32_t strides[3];
};

class ViewerFixture : public testing::Test {
 protected:
  ViewerFixture()
      : display({{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}}, {{1920, 0, 3200, 1024}, {1920, 0, 3200, 1024}}}) {
    EXPECT_TRUE(InitScreens(true));
    viewer->SetPlayerID(7);
    screenObjects = display.LiveObjects();
    EnableMain(kWindow);
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

  // Shows a picture; records and log lines are then those of this picture alone.
  bool Show(const TestPicture& shown) {
    display.ForgetRecords();
    seam.TakeText();
    return viewer->ShowFrame(shown.planes, shown.strides, shown.format, shown.width, shown.height, timings);
  }
  void EnableMain(const RECT& place) { viewer->SetMainPreview(window, &place, true); }
  std::vector<DisplayRecord> Copies(DisplayPart target) const {
    return display.Records(DisplayCall::Blt, target);
  }
  // Source and target of each copy onto this part.
  std::vector<std::pair<RECT, RECT>> Copied(DisplayPart target) const {
    std::vector<std::pair<RECT, RECT>> rects;
    for (const DisplayRecord& copy : Copies(target))
      rects.emplace_back(copy.source, copy.target);
    return rects;
  }

  ManualClock seam;
  ScriptedDisplay display;
  std::unique_ptr<VideoViewer> viewer = std::make_unique<VideoViewer>();
  TestPicture picture{QPF_YV12, 704, 576};
  ShowTimings timings;
  HWND window = reinterpret_cast<HWND>(uintptr_t{0x51});
  HWND other = reinterpret_cast<HWND>(uintptr_t{0x52});
  int screenObjects = 0;
};
