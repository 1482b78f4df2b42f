// The pixel kernels without vector instructions: the reference for the others, and what they use for the ends
// of rows.
#include "video/PixelKernels.h"

#include <cstring>

namespace {

uint8_t Clamp(int32_t value) {
  return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

void ToRGB32(const PixelRow& row, int32_t pixels) {
  for (intptr_t x = 0; x < pixels; x++) {
    PixelToRGB32(row.target + 4 * x, row.luma[x], row.cb[x / 2], row.cr[x / 2]);
  }
}

void ToYUY2(const PixelRow& row, int32_t pixels) {
  for (intptr_t x = 0; x < pixels; x += 2) {
    row.target[2 * x] = row.luma[x];
    row.target[2 * x + 1] = row.cb[x / 2];
    row.target[2 * x + 2] = row.luma[x + 1];
    row.target[2 * x + 3] = row.cr[x / 2];
  }
}

void Halve(uint8_t* target, const uint8_t* upper, const uint8_t* lower, int32_t pixels) {
  for (intptr_t x = 0; x < pixels; x++) {
    target[x] = static_cast<uint8_t>((upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1]) / 4);
  }
}

void Split(uint8_t* first, uint8_t* second, const uint8_t* source, int32_t pairs) {
  for (intptr_t x = 0; x < pairs; x++) {
    first[x] = source[2 * x];
    second[x] = source[2 * x + 1];
  }
}

}  // namespace

PixelRow RowFrom(const PixelRow& row, int32_t x, int32_t targetBytesPerPixel) {
  return {row.target + static_cast<intptr_t>(x) * targetBytesPerPixel, row.luma + x, row.cb + x / 2,
          row.cr + x / 2};
}

void CopyPlain(uint8_t* target, const uint8_t* source, size_t bytes) {
  memcpy(target, source, bytes);
}

// ITU-R BT.601 limited range (1.164, 2.018, 0.391, 0.813, 1.596) times 64, truncated.
void PixelToRGB32(uint8_t* target, int32_t luma, int32_t cb, int32_t cr) {
  const int32_t y = 74 * (luma - 16);
  const int32_t u = cb - 128;
  const int32_t v = cr - 128;
  target[0] = Clamp((y + 129 * u) >> 6);
  target[1] = Clamp((y - (25 * u + 52 * v)) >> 6);
  target[2] = Clamp((y + 102 * v) >> 6);
  target[3] = 0;
}

const PixelKernels kPlainPixelKernels = {"plain", ToRGB32, ToYUY2, Halve, Split, CopyPlain};
