// How the pixels of the four kinds of surfaces lie in memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

enum class PixelKind {
  kRgb32,  // bytes blue, green, red, unused
  kYuy2,   // bytes Y0 Cb Y1 Cr for two pixels
  kYv12,   // luma plane, then a Cr and a Cb plane of half the pitch and half the size, Cb at a quarter of the
           // luma bytes behind Cr
  kNv12,   // luma plane, then a plane of Cb Cr byte pairs of the same pitch and half the height
};

constexpr int32_t kMaxImageSide =
    16384;  // pixels; what display hardware of this interface's kind takes at most

// Pixels in somebody else's memory.
struct PixelImage {
  uint8_t* pBytes;
  int32_t nPitch;  // bytes from a row to the next; of the luma plane for planar kinds
  int32_t nWidth, nHeight;
  PixelKind kind;
};

struct PixelImageSize {
  int32_t nPitch;
  size_t nBytes;
};

// Room for an image of 1..kMaxImageSide pixels a side. The pitch is a multiple of 64, so that half of it
// starts every chroma row at a multiple of 32. Behind odd widths and heights there is room for the chroma of
// a last half block.
PixelImageSize SizeOfImage(PixelKind kind, int32_t width, int32_t height);

// Paints all of the image's memory, padding included, black.
void FillBlack(const PixelImage& image);

struct ChromaPlanes {
  const uint8_t *pCb, *pCr;
  int32_t nPitch;
};
// Of a kYv12 image.
ChromaPlanes ChromaOf(const PixelImage& image);

}  // namespace platform
