#include "tools/qxplay/RgbImage.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

PixelView PixelView::Cut(const Area& part) const {
  const int left = std::clamp(part.left, 0, width), upper = std::clamp(part.top, 0, height);
  const int right = std::clamp(part.right, left, width), bottom = std::clamp(part.bottom, upper, height);
  return {.top = top + static_cast<ptrdiff_t>(upper) * pitch + static_cast<ptrdiff_t>(left) * 4,
          .pitch = pitch,
          .width = right - left,
          .height = bottom - upper};
}

PixelView ViewOfBitmap(const std::vector<uint32_t>& pixels, int width, int height) {
  const uint32_t* last = pixels.data() + (pixels.size() - static_cast<size_t>(width));
  return {
      .top = reinterpret_cast<const uint8_t*>(last), .pitch = -width * 4, .width = width, .height = height};
}

RgbImage::RgbImage(int widthPixels, int heightPixels, uint8_t grey)
    : width(widthPixels),
      height(heightPixels),
      bytes(static_cast<size_t>(widthPixels) * heightPixels * 3, grey) {}

RgbImage Shrink(const PixelView& view, int width) {
  width = std::min(width, view.width);
  const int height = std::max(1, static_cast<int>(int64_t{view.height} * width / view.width));
  RgbImage image(width, height, 0);
  for (int y = 0; y < height; ++y) {
    const int top = static_cast<int>(int64_t{view.height} * y / height);
    const int bottom = std::max(top + 1, static_cast<int>(int64_t{view.height} * (y + 1) / height));
    for (int x = 0; x < width; ++x) {
      const int left = static_cast<int>(int64_t{view.width} * x / width);
      const int right = std::max(left + 1, static_cast<int>(int64_t{view.width} * (x + 1) / width));
      uint32_t blue = 0, green = 0, red = 0;
      for (int row = top; row < bottom; ++row) {
        const uint8_t* pixel =
            view.top + static_cast<ptrdiff_t>(row) * view.pitch + static_cast<ptrdiff_t>(left) * 4;
        for (int column = left; column < right; ++column, pixel += 4) {
          blue += pixel[0];
          green += pixel[1];
          red += pixel[2];
        }
      }
      const uint32_t count = static_cast<uint32_t>(bottom - top) * static_cast<uint32_t>(right - left);
      uint8_t* target = image.At(x, y);
      target[0] = static_cast<uint8_t>(red / count);
      target[1] = static_cast<uint8_t>(green / count);
      target[2] = static_cast<uint8_t>(blue / count);
    }
  }
  return image;
}

WritePngResult WritePng(const RgbImage& image, const std::string& file, bool replace, std::string& error) {
  FILE* const output = fopen(file.c_str(), replace ? "wb" : "wbx");
  if (!output) {
    error = std::strerror(errno);
    return errno == EEXIST && !replace ? WritePngResult::kExists : WritePngResult::kFailed;
  }
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width);
  png.height = static_cast<png_uint_32>(image.height);
  png.format = PNG_FORMAT_RGB;
  png.flags = PNG_IMAGE_FLAG_FAST;
  bool written = png_image_write_to_stdio(&png, output, 0, image.bytes.data(), 0, nullptr) != 0;
  if (!written) error = png.message;
  png_image_free(&png);
  if (fclose(output) != 0 && written) {
    error = std::strerror(errno);
    written = false;
  }
  std::error_code ignored;
  if (!written && std::filesystem::is_regular_file(file, ignored)) std::filesystem::remove(file, ignored);
  return written ? WritePngResult::kWritten : WritePngResult::kFailed;
}
