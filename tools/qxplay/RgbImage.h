// Pictures in memory: somebody else's pixels, own ones, and how those become a PNG file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/qxplay/Layout.h"

// Pixels in somebody's memory: bytes blue, green, red, unused.
struct PixelView {
  const uint8_t* top = nullptr;
  int pitch = 0;  // bytes from a row to the next
  int width = 0;
  int height = 0;
  // What of `part` lies in it.
  PixelView Cut(const Area& part) const;
};

// What QXSP_GetBitmap and QXSP_MediaFileGetOneFrame give, width * height pixels with the bottom row first,
// the right way up.
PixelView ViewOfBitmap(const std::vector<uint32_t>& pixels, int width, int height);

// An RGB picture, rows without gaps.
struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes;

  RgbImage() = default;
  RgbImage(int widthPixels, int heightPixels, uint8_t grey);
  uint8_t* At(int x, int y) { return &bytes[(static_cast<size_t>(y) * width + x) * 3]; }
};

// The picture at most `width` pixels wide, in its shape; each pixel the mean of those it stands for. `view`
// is not empty.
RgbImage Shrink(const PixelView& view, int width);

enum class WritePngResult { kWritten, kExists, kFailed };
// replace: a file of that name; else that is kExists. kFailed: `error` says why, and no file is left behind.
WritePngResult WritePng(const RgbImage& image, const std::string& file, bool replace, std::string& error);
