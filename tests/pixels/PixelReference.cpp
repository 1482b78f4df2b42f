// The conversions once more, pixel by pixel from their formulas, to compare with.
#include "tests/pixels/PixelReference.h"

#include <algorithm>
#include <vector>

namespace {

uint8_t Clamped(int32_t value) {
  return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

void RGB32(const View* source, const View* target, int32_t width, int32_t height, bool bottomUp) {
  const bool hasChroma = width > 1 && height > 1;
  for (int32_t row = 0; row < height; row++) {
    const int32_t chromaRow = std::min(row / 2, height / 2 - 1);
    for (int32_t x = 0; x < width; x++) {
      const int32_t chromaX = std::min(x / 2, width / 2 - 1);
      const int32_t y = 74 * (source[0].Row(row)[x] - 16);
      const int32_t u = hasChroma ? source[1].Row(chromaRow)[chromaX] - 128 : 0;
      const int32_t v = hasChroma ? source[2].Row(chromaRow)[chromaX] - 128 : 0;
      uint8_t* pixel = target->Row(bottomUp ? height - 1 - row : row) + 4 * x;
      pixel[0] = Clamped((y + 129 * u) >> 6);
      pixel[1] = Clamped((y - (25 * u + 52 * v)) >> 6);
      pixel[2] = Clamped((y + 102 * v) >> 6);
      pixel[3] = 0;
    }
  }
}

void Box(const View& source, const View& target, int32_t width, int32_t height) {
  for (int32_t row = 0; row < height / 2; row++) {
    const uint8_t* upper = source.Row(2 * row);
    const uint8_t* lower = source.Row(2 * row + 1);
    for (int32_t x = 0; x < width / 2; x++) {
      target.Row(row)[x] =
          static_cast<uint8_t>((upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1]) / 4);
    }
  }
}

// Converts by way of a whole half-size picture.
void ThroughHalf(Conversion convert, const View* source, const View* target, int32_t width, int32_t height) {
  std::vector<uint8_t> scratch(static_cast<size_t>(width * height) * 3 / 8 + 1);
  const View half[3] = {{scratch.data(), width / 2},
                        {scratch.data() + width * height / 4, width / 4},
                        {scratch.data() + width * height * 5 / 16, width / 4}};
  ReferenceHalf(source, half, width, height);
  convert(half, target, width / 2, height / 2);
}

}  // namespace

void ReferenceRGB32(const View* source, const View* target, int32_t width, int32_t height) {
  RGB32(source, target, width, height, false);
}

void ReferenceRGB32BottomUp(const View* source, const View* target, int32_t width, int32_t height) {
  RGB32(source, target, width, height, true);
}

void ReferenceRGB32Half(const View* source, const View* target, int32_t width, int32_t height) {
  ThroughHalf(ReferenceRGB32, source, target, width, height);
}

void ReferenceYUY2(const View* source, const View* target, int32_t width, int32_t height) {
  for (int32_t row = 0; row < height / 2 * 2; row++) {
    for (int32_t x = 0; x < width / 16 * 16; x++) {
      target->Row(row)[2 * x] = source[0].Row(row)[x];
      target->Row(row)[2 * x + 1] = source[x % 2 == 0 ? 1 : 2].Row(row / 2)[x / 2];
    }
  }
}

void ReferenceYUY2Half(const View* source, const View* target, int32_t width, int32_t height) {
  ThroughHalf(ReferenceYUY2, source, target, width, height);
}

void ReferenceCopy(const View* source, const View* target, int32_t width, int32_t height) {
  for (int plane = 0; plane < 3; plane++) {
    const int32_t divisor = plane == 0 ? 1 : 2;
    for (int32_t row = 0; row < height / divisor; row++) {
      std::copy_n(source[plane].Row(row), width / divisor, target[plane].Row(row));
    }
  }
}

void ReferenceHalf(const View* source, const View* target, int32_t width, int32_t height) {
  Box(source[0], target[0], width, height);
  Box(source[1], target[1], width / 2, height / 2);
  Box(source[2], target[2], width / 2, height / 2);
}

void ReferenceNV12Copy(const View* source, const View* target, int32_t width, int32_t height) {
  for (int32_t row = 0; row < height * 3 / 2; row++)
    std::copy_n(source->Row(row), width, target->Row(row));
}

void ReferenceNV12ToPlanar(const View* source, const View* target, int32_t width, int32_t height) {
  for (int32_t row = 0; row < height; row++)
    std::copy_n(source->Row(row), width, target->Row(row));
  for (int32_t row = 0; row < height / 2; row++) {
    for (int32_t x = 0; x < width / 2; x++) {
      target[1].Row(row)[x] = source->Row(height + row)[2 * x];
      target[2].Row(row)[x] = source->Row(height + row)[2 * x + 1];
    }
  }
}
