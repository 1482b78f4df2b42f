// What draws one item of the overlay into a picture, for each pixel format.
#pragma once

#include <cstdint>

// Strides are bytes a row, width and height pixels. Called under the overlay's lock; draws nothing outside
// the picture.
class IOsdDrawer {
 public:
  virtual ~IOsdDrawer() = default;
  virtual bool IsImage() const = 0;
  // Planes: luma, Cb, Cr.
  virtual void DrawYV12(uint8_t* const planes[3], const uint32_t strides[3], uint32_t width,
                        uint32_t height) = 0;
  virtual void DrawRGB32(uint8_t* plane, uint32_t stride, uint32_t width, uint32_t height) = 0;
  virtual void DrawYUY2(uint8_t* plane, uint32_t stride, uint32_t width, uint32_t height) = 0;
};
