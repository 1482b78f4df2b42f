// Small pictures with their times on one sheet. Pure.
#pragma once

#include <chrono>
#include <vector>

#include "tools/qxplay/RgbImage.h"

struct Thumbnail {
  static constexpr int kWidth = 320;    // pixels, at most
  std::chrono::milliseconds elapsed{};  // since the begin
  RgbImage image;
};

// All of them, row by row; without any, a picture of no size.
RgbImage DrawSheet(const std::vector<Thumbnail>& thumbnails);
