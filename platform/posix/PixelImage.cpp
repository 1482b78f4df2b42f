// Pitches, plane addresses and black of the four pixel kinds.
#include "platform/posix/PixelImage.h"

#include <cstring>

namespace platform {
namespace {

// Colour conversion may read a vector beyond the last row.
constexpr size_t kReadAheadBytes = 64;

size_t Product(int32_t a, int32_t b) {
  return static_cast<size_t>(a) * static_cast<size_t>(b);
}

size_t LumaBytes(const PixelImage& image) {
  return Product(image.nPitch, image.nHeight);
}

}  // namespace

PixelImageSize SizeOfImage(PixelKind kind, int32_t width, int32_t height) {
  const int32_t evenWidth = width + width % 2;
  const int32_t chromaRows = (height + 1) / 2;
  int32_t rowBytes = evenWidth;
  if (kind == PixelKind::kRgb32) rowBytes = width * 4;
  if (kind == PixelKind::kYuy2) rowBytes = evenWidth * 2;

  PixelImageSize size{(rowBytes + 63) / 64 * 64, 0};
  size.nBytes = Product(size.nPitch, height) + kReadAheadBytes;
  if (kind == PixelKind::kNv12) size.nBytes += Product(size.nPitch, chromaRows);
  // Cb starts a quarter of the luma bytes behind Cr, which is half a row too early for an odd height.
  if (kind == PixelKind::kYv12) {
    size.nBytes += Product(size.nPitch, height) / 4 + Product(size.nPitch / 2, chromaRows);
  }
  return size;
}

void FillBlack(const PixelImage& image) {
  constexpr int kBlackLuma = 16;
  constexpr int kNoChroma = 128;
  const size_t luma = LumaBytes(image);
  const size_t all = SizeOfImage(image.kind, image.nWidth, image.nHeight).nBytes;
  switch (image.kind) {
    case PixelKind::kRgb32:
      std::memset(image.pBytes, 0, all);
      break;
    case PixelKind::kYuy2:
      for (size_t offset = 0; offset < luma; offset += 4) {
        constexpr uint8_t kBlackPair[4] = {kBlackLuma, kNoChroma, kBlackLuma, kNoChroma};
        std::memcpy(image.pBytes + offset, kBlackPair, sizeof(kBlackPair));
      }
      break;
    case PixelKind::kYv12:
    case PixelKind::kNv12:
      std::memset(image.pBytes, kBlackLuma, luma);
      std::memset(image.pBytes + luma, kNoChroma, all - luma);
      break;
  }
}

ChromaPlanes ChromaOf(const PixelImage& image) {
  const size_t luma = LumaBytes(image);
  return {image.pBytes + luma / 4 * 5, image.pBytes + luma, image.nPitch / 2};
}

}  // namespace platform
